// Rows with one entry or none. A row rowLower <= a x <= rowUpper is a pair of bounds of x; a row without entries holds
// or never does.
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t examineEmptyRow(Reducer& r, int32_t i);
[[nodiscard]] int32_t examineSingletonRow(Reducer& r, int32_t i);
void undoSingletonRow(UndoReader record, Answer& answer);

}  // namespace qzpresol
