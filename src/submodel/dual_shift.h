// Shift of big duals: the origin of listed duals is moved, y = h + y', and the costs take the rows' share, c' = c -
// A'h.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"
#include "transform/presolver.h"

namespace qz {

// Where subShiftDual finds the k-th listed row i: at position k of a sub-matrix, or at i of a whole matrix by rows.
enum : int32_t { SHIFT_DUAL_LISTED = 1, SHIFT_DUAL_WHOLE = 2 };

// Shifts the numBigDual listed duals and keeps the shifts in shiftDual. The dual of an equation goes to 0, that of an
// inequality to thresholdBig / 10 on its own side; rows of other senses stay. y and rowSense have numRow entries, obj
// numCol. 0; -1086; 10 with a message when a shift is in force or the action is neither of the two.
[[nodiscard]] int32_t subShiftDual(Env* env, SubModel* submodel, int32_t action, double* y, const char* rowSense,
                                   double* obj, const int32_t* rowBegin, const int32_t* rowLength,
                                   const int32_t* colIndex, const double* rowValue);

// The same on the engine's duals and costs, by a row-wise sub-matrix of the listed rows that it makes. 0, or -1086 or
// 10 (also when such a matrix exists) with nothing shifted.
[[nodiscard]] int32_t subShiftDualInvivo(Ipm* ipm, SubModel* submodel);

// The same on the duals of `solution` and the working costs of a presolve, when the big duals go in vitro. A null
// record gives 0.
[[nodiscard]] int32_t preSetSubDual(Env* env, Presolver* presolver, SubModel* submodel, Solution* solution);

// Undoes the shift on the engine's duals and costs, by the row-wise sub-matrix. Nothing happens when the count or an
// array that it needs is missing. With `freeRows` non-zero the row-wise arrays and shiftDual are freed.
void subUnshiftDual(Ipm* ipm, SubModel* submodel, int32_t freeRows);

}  // namespace qz
