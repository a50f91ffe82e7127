// Columns without bounds, or whose bounds the rows imply, go by an equation that they stand in (Andersen and Andersen
// 1995):
//
//     a_ij x_j + sum_k a_ik x_k = b    =>    x_j = (b - sum_k a_ik x_k) / a_ij
//
// in all other rows and in the objective. Row i and column j are gone; the other rows of column j take the entries of
// row i over. A step is taken only where that leaves no more entries than before, and where a_ij is not small in its
// row nor in its column.
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t passFreeSubstitution(Reducer& r);
void undoFreeSubstitution(UndoReader record, Answer& answer);

}  // namespace qzpresol
