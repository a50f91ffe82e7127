// Bounds of a column that a row and the bounds of its other columns imply:
//
//     a x_j + rest = activity in [rowLower, rowUpper],  rest in [low, high]   =>   a x_j in [rowLower - high, rowUpper
//     - low]
//
// They are never handed on. They tell that the column's own bound can go, because no point of the others passes it.
#pragma once

#include <cstdint>

#include "store.h"

namespace qzpresol {

struct Interval {
  double low;
  double high;
};

// What row i implies for its column j with the entry `a`, from the row's reach. Infinite where it implies nothing, or
// nothing that the roundoff of large terms leaves sure.
[[nodiscard]] Interval impliedBounds(const Store& s, int32_t i, int32_t j, double a, const RowActivity& reach);

// Whether the bound of column j below, above is one that no point passes when it goes.
[[nodiscard]] bool impliesLower(const Store& s, int32_t j, const Interval& implied);
[[nodiscard]] bool impliesUpper(const Store& s, int32_t j, const Interval& implied);

}  // namespace qzpresol
