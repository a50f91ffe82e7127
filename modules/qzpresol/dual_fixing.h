// Columns that every row and the cost let go the same way (Brearley, Mitra, Williams 1975). Such a column goes to its
// bound there. Without that bound, no dual point exists when the cost is not 0; and when it is, the column can meet
// each of its rows whatever the others do, so that these go too.
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t examineDualFixing(Reducer& r, int32_t j);
void undoOpenColumn(UndoReader record, Answer& answer);

}  // namespace qzpresol
