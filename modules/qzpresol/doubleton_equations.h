// Equations of two columns, a x + b y = side: x = (side - b y) / a goes out of the other rows and the objective, and
// its bounds become bounds of y.
#pragma once

#include "reductions.h"

namespace qzpresol {

[[nodiscard]] int32_t examineDoubletonEquation(Reducer& r, int32_t i);
void undoDoubletonEquation(UndoReader record, Answer& answer);

}  // namespace qzpresol
