// Which row set a column's bound: the maps that the recovery of duals reads.
#pragma once

#include <cstdint>

#include "shell/host_table.h"

namespace qz {

// Note that `row` now sets the upper (lower) bound of `col`: ubMap[col] (lbMap[col]) becomes row. A removed row that
// set this bound before loses the role: a RANGE row keeps its other side, a one-sided row becomes FREE. A former row
// whose code has no such role to lose is an error text at level 0 and nothing else.
void updateMapUpper(Env* env, int32_t* rowMap, int32_t* ubMap, int32_t col, int32_t row);
void updateMapLower(Env* env, int32_t* rowMap, int32_t* lbMap, int32_t col, int32_t row);

}  // namespace qz
