// Starting points: a strictly interior point from one or two least-squares solves with the augmented matrix, and a
// shift that pushes every slack and every dual away from zero (in the manner of Mehrotra 1992).
//
// Linear model. The primal start x minimises the squared distances to all bounds and the squared row slacks subject to
// A x - s = b; the dual start y gives the bound duals of least norm subject to A'y + zl - zu = c. Bounds, rows and
// columns that a submodel has set aside as far or big take no part in the solves and are filled in afterwards.
//
// All return 0, a status of the factorisation (-1086, 12), or 10.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"

namespace qz {

// The whole start, once per solve. The submodel may be null. On success the iterate is complete, with method 11 the
// augmented matrix stands analysed, and its diagonals are zero.
[[nodiscard]] int32_t ipmInitLP(Ipm* ipm, SubModel* submodel);
[[nodiscard]] int32_t ipmInitQP(Ipm* ipm, SubModel* submodel);

// x and all primal slacks of a linear model.
[[nodiscard]] int32_t initPrimal(Ipm* ipm, SubModel* submodel);
// The same with the rows of the submodel left out of the solve.
[[nodiscard]] int32_t initPrimalPartial(Ipm* ipm, SubModel* submodel);

// y and the bound duals; for a quadratic model at the x that stands.
[[nodiscard]] int32_t initDual(Ipm* ipm, SubModel* submodel);
// The same for a linear model with the columns of the submodel left out of the solve.
[[nodiscard]] int32_t lpInitDualPartial(Ipm* ipm, SubModel* submodel);

// Puts the own state in order for the iteration: diagonals of the augmented matrix (method 11), slack steps of rows
// that are not G, everything of absent bounds, and minPositive.
void initInternal(Ipm* ipm);

// The amount by which a start moves its positive quantities when the smallest of them is `smallest`: 0 from
// max(100 tol, 1e-4) on, at least 0.1 for a quadratic model otherwise.
[[nodiscard]] double startShift(double smallest, double tol, int32_t typeModel);

}  // namespace qz
