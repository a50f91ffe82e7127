// The solve controller: builds the engine's state, finds the starting point, and calls the iteration.
#pragma once

#include "engine/ipm.h"
#include "transform/hub.h"

namespace qz {

// Solves `model`, which is in the engine's standard form, into `solution`. Returns 0, also for the limits 7 and 8, or
// the status of a failure (10, 12, -1086); model->status holds the outcome in every case, and the model's statistics
// are those of the last iterate.
[[nodiscard]] int32_t ipmSolve(Env* env, Model* model, IpmOption* option, Hub* hub, Solution* solution,
                               IPM_timer* timer);

// The cross-check of an infeasibility claim on a linear model. Returns the status that may stand:
//   with no column whose cost could run along an infinite bound, a dual infeasible claim fails (4 becomes 10, 14
//   becomes 3);
//   with x = 0 feasible, a primal infeasible claim fails (3 and 256 become 10, 14 becomes 4).
// Both rules read the status that came in; the second has the last word.
[[nodiscard]] int32_t crossCheckInfeasible(const Model* model, double dualInfeas, double tolDual, double infinityValue,
                                           int32_t status);

}  // namespace qz
