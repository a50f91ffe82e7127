// Counts the columns without bounds, on which the choice of the route stands.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Sets numFreeVar, numFreeElement and numRelaxFree of hub, from zero, and raises preRoute: PREROUTE_FREE when any
// column is or may become free; PREROUTE_SYSTEM when every column is free as it stands and the model is a linear system
// (only E rows, or no matrix elements and a quadratic triangle). A column that is free only once relaxColBound drops
// its bounds never makes a system: those bounds hold. 0.
[[nodiscard]] int32_t countFreeVar(Env* env, const Model* model, const IpmOption* options, Presolver* presolver,
                                   Hub* hub);

// The same on the presolved model, behind the passes and before setMapping: over the kept columns and rows, with the
// bounds of the presolver. A bound that a removed row tightened by at least tolPrimal counts as one that may be
// relaxed: a column with only such bounds counts in numRelaxFree. preRoute is set afresh. 0.
[[nodiscard]] int32_t countProcessedFreeVar(Env* env, const Model* model, const IpmOption* options,
                                            Presolver* presolver, Hub* hub);

}  // namespace qz
