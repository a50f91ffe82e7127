// Columns with one entry: slacks of their row (Andersen and Andersen 1995).
//
//     rowLower <= rest + a x <= rowUpper,   lower <= x <= upper,   cost c
//
// In an equation the dual of the row can be shifted by p = c / a, y = p + y', which takes the cost of x to 0 and those
// of the other columns to c_k - p a_k. A column without cost is nothing but room for the rest of its row:
//
//     rowLower - max a x <= rest <= rowUpper - min a x
//
// A bound of x that the row implies gives infinite room, and a row whose both sides have that is gone: a free column
// takes its row along. In an inequality a cost other than 0 decides the side where the row ends, if nothing but the row
// stops the column where the cost sends it; the row is an equation then.
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t examineSingletonColumn(Reducer& r, int32_t j);
void undoSlackColumn(UndoReader record, Answer& answer);

}  // namespace qzpresol
