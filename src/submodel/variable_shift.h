// Shift of big variables: with x = h + x' the rows read A x' = b - A h, the bounds move by h, and a quadratic objective
// takes the gradient Q h into its linear term.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"

namespace qz {

// Shifts the numBigVar listed variables and keeps the shifts in shiftPrimal. A variable is moved to 0, unless a bound
// is within min(0.05 |x|, thresholdBig / 2) of it: then that bound becomes 0. x, lower and upper have numCol entries,
// rhs numRow; bounds of magnitude `infinity` or more stay. 0; -1086; 10 with a message when a shift is in force.
[[nodiscard]] int32_t subShiftPrimal(Env* env, SubModel* submodel, double* x, double* lower, double* upper, double* rhs,
                                     double infinity, const int32_t* colBegin, const int32_t* colLength,
                                     const int32_t* rowIndex, const double* matValue);

// gradient += Q h, or -= with a negative sign; numCol entries. Q is a diagonal and numQuad elements of the strict lower
// triangle. Called behind the shift and ahead of its undoing; without a shift nothing happens. 0 or -1086.
[[nodiscard]] int32_t subShiftPrimalQP(Env* env, const SubModel* submodel, int32_t sign, int32_t numCol,
                                       int32_t numQuad, double* gradient, const double* quadDiag,
                                       const int32_t* quadColBegin, const int32_t* quadColLength,
                                       const int32_t* quadRowIndex, const double* quadValue);

// Moves the engine's bounds and sides once more by the shifts in force; the point stays. Without a shift nothing
// happens.
void subShiftData(const Ipm* ipm, const SubModel* submodel);

// Undoes subShiftPrimal on the engine's point and data and frees the shifts; without a shift nothing happens.
void subUnshiftPrimal(Ipm* ipm, SubModel* submodel);

}  // namespace qz
