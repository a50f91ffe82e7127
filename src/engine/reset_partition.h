// The optimal partition that an iterate tells: which columns sit at a bound, which rows are active (Mehrotra and Ye
// 1993; Tapia and Zhang 1991 on what the ratio of a complementary pair indicates).
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "shell/pool.h"

namespace qz {

// Entries of ResetPartition below 0. From 0 on an entry is the number in the reduced system.
enum : int32_t { RESET_ROW_DROPPED = -1, RESET_AT_LOWER = -2, RESET_AT_UPPER = -3 };

struct ResetPartition {
  PoolArray<int32_t> colState;  // numCol: RESET_AT_LOWER, RESET_AT_UPPER, or the number of a kept column
  PoolArray<int32_t> rowState;  // numRow: RESET_ROW_DROPPED, or the number of a kept row
  int32_t numColKept = 0;
  int32_t numRowKept = 0;
};

// Tells the partition. A pair of a slack s and a dual z is small when both are below 1e-4; it decides by the ratio
// alone, 0.1 z > s for the bound and 0.1 s > z against it. Any other pair decides by max(1e-4, 0.1 z) > s, which is
// asked first, or max(1e-4, 0.1 s) > z. A column with two bounds follows its small pair (the lower one first) alone;
// without one it must decide for one bound, the lower first, or against both. E rows are kept, other rows by the second
// rule. 0; 10 when some column or row gives no decision; -1086.
[[nodiscard]] int32_t makeResetPartition(const Ipm* ipm, ResetPartition* partition);

}  // namespace qz
