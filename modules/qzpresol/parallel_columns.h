// Columns that are multiples of each other, column k = t * column j (Tomlin and Welch 1986).
//
// With c_k = t c_j only x_j + t x_k matters: it takes the place of x_j. Where one of the two is free, the other stays
// at a bound instead. With other costs z_k = c_k - t c_j + t z_j, and where the sign of t z_j is known, since x_j has
// no bound on one side, and is that of c_k - t c_j, column k stays at the bound that this sign points to.
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t passParallelColumns(Reducer& r);
void undoMergedColumn(UndoReader record, Answer& answer);

}  // namespace qzpresol
