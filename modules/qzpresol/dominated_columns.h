// Columns whose reduced cost has a known sign in every dual point (Andersen and Andersen 1995; Gondzio 1997).
//
// The sides of a row bound its dual: y_i >= 0 without an upper side, y_i <= 0 without a lower one. A column without
// upper bound has z_j >= 0, that is a_j'y <= c_j, and one without lower bound a_j'y >= c_j: rows of the dual, which
// bound single duals by what the others can reach. Under these bounds z_j = c_j - a_j'y lies in an interval; a column
// with z_j >= 0 throughout stays at its lower bound, one with z_j <= 0 at its upper bound.
//
// A bound of the column that a row implies can go first, so that the column bounds duals as one without it.
//
// The same holds for the slacks of the rows: where y_i >= 0 follows from other rows and columns, or y_i <= 0, the row
// ends at its lower side, or at its upper side, and is an equation from then on.
//
// All that is right when the bounds on y hold in the model that is left, too: a column that has helped to make one
// stays, as a witness, for the rest of the pass, and so does a row of which the sign of its dual has helped.
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t passDominatedColumns(Reducer& r);
void undoTightRow(UndoReader record, Answer& answer);

}  // namespace qzpresol
