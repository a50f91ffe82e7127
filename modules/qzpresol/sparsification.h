// Equations taken out of other rows, where that leaves fewer entries (Chang and McCormick 1993):
//
//     row r of A  becomes  row r - f * row i,   its sides go by -f * b_i,   y_i of before is y_i - f y_r
//
// with the f that cancels most entries of row r. Values and reduced costs stay what they are, and
// so do the places in a basis. (Where the equation is basic, which is degenerate, and row r has a dual, the equation's
// dual is not 0 as that of a basic row of a vertex would be.)
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t passSparsification(Reducer& r);
void undoSparsification(UndoReader record, Answer& answer);

}  // namespace qzpresol
