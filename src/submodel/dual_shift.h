// Shift of big duals: the origin of listed duals is moved, y = h + y', and the costs take the rows' share, c' = c -
// A'h.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"

namespace qz {

// Undoes the shift on the engine's duals and costs, by the row-wise sub-matrix. Nothing happens when the count or an
// array that it needs is missing. With `freeRows` non-zero the row-wise arrays and shiftDual are freed.
void subUnshiftDual(Ipm* ipm, SubModel* submodel, int32_t freeRows);

}  // namespace qz
