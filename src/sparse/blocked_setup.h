// What a blocked factor needs beyond its structure: block grid, counters, task lists, scratch of the threads.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// Bytes of one thread's slice of threadScratch, a multiple of 32. Cholesky: maxBlockEntries doubles, 2016 bytes for
// tasks in transit, max(2 nb, n) integers. LDL: maxBlockEntries + max(maxPanelEntries, nb^2) doubles, so that a block
// which finds no shared product buffer has room for its product, 16 bytes, max(2 nb, n) integers.
[[nodiscard]] int64_t threadScratchSlice(const SymbolicFactor* symbolic);
// Its parts: the doubles at its start and the bytes behind them; the integers are last.
[[nodiscard]] int64_t threadScratchDoubles(const SymbolicFactor* symbolic);
[[nodiscard]] int64_t threadTransitBytes(const SymbolicFactor* symbolic);

// Largest w*h over the narrow supernodes (*maxPanelEntries), and the grid rows of the tallest wide one (*maxRows).
void sizeBlockedLDL(const SymbolicFactor* symbolic, int64_t* maxPanelEntries, int32_t* maxRows);

// All arrays of the parallel factorisations.
// The Cholesky variant: counters, lists or locks, leaves, pool, stacks, scratch, contexts. The LDL variant: the same
// without stacks, and the shared product buffers. LA_OK, LA_NO_MEMORY or LA_TOO_LARGE.
[[nodiscard]] int32_t setUpBlockedCholesky(LAEnv* env, SymbolicFactor* symbolic);
[[nodiscard]] int32_t setUpBlockedLDL(LAEnv* env, SymbolicFactor* symbolic);

}  // namespace qz
