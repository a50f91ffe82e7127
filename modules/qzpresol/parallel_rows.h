// Rows that are multiples of each other: one is enough, with the tighter sides of both (Tomlin and Welch 1986).
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t passParallelRows(Reducer& r);
void undoParallelRow(UndoReader record, Answer& answer);

}  // namespace qzpresol
