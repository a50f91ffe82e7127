// The two steps that most reductions end in: a column gets its value, a row goes without binding. Each changes the
// store and records how to take it back.
#pragma once

#include <cstdint>

#include "reducer.h"

namespace qzpresol {

// Column j takes `value` and goes. `place` is where it stands then: QZ_BASIS_LOWER, _UPPER or _FREE. 0 or -1086.
[[nodiscard]] int32_t fixColumn(Reducer& r, int32_t j, double value, uint8_t place);
// At its lower or upper bound, which is finite.
[[nodiscard]] int32_t fixAtLower(Reducer& r, int32_t j);
[[nodiscard]] int32_t fixAtUpper(Reducer& r, int32_t j);
// Row i holds wherever the others do: its dual is 0 and its activity basic. 0 or -1086.
[[nodiscard]] int32_t dropRow(Reducer& r, int32_t i);
// Row i can't be met within the bounds of its columns: the model is infeasible, and the row proves it.
void settleByRow(Reducer& r, int32_t i);
// New bounds of column j that a reduction has found, which must not be wider. False, with the outcome set, when they
// cross by more than the tolerance; bounds that cross by less meet in the middle.
[[nodiscard]] bool narrowBounds(Reducer& r, int32_t j, double newLower, double newUpper);

void undoFixedColumn(UndoReader record, Answer& answer);
void undoRedundantRow(UndoReader record, Answer& answer);

}  // namespace qzpresol
