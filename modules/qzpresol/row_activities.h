// Rows judged by what their columns' bounds let them reach (Brearley, Mitra, Williams 1975).
//
// A row that cannot reach beyond a side does not need it; one that needs neither is redundant. A row that cannot reach
// a side is infeasible, and one that reaches it in a single point forces every column to its bound there.
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t examineActivity(Reducer& r, int32_t i);
void undoForcingRow(UndoReader record, Answer& answer);

}  // namespace qzpresol
