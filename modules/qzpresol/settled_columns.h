// Columns that have only one value to take: fixed ones, and ones without entries, which go where their cost points.
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t examineFixedColumn(Reducer& r, int32_t j);
[[nodiscard]] int32_t examineEmptyColumn(Reducer& r, int32_t j);

// Fixes column j where nothing holds and nothing costs it: at a bound, as a vertex has it, near 0. 0 or -1086.
[[nodiscard]] int32_t fixIdle(Reducer& r, int32_t j);

}  // namespace qzpresol
