// Removal of far bounds: a bound that nothing is near is pushed out of the way until it is restored. Which side of a
// listed column is concerned stands in statusBoundSub.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"
#include "transform/hub.h"

namespace qz {

// Where a removed bound stands: beyond every infinity.
inline constexpr double kRemovedBound = 1.7976931348623157e308;

// Removes the bounds of the numBigBoundSlack listed columns: keeps both bounds and both duals of each (lowerSub,
// upperSub, savedLowerDual, savedUpperDual), pushes the concerned ones to +-kRemovedBound and clears their slacks and
// duals. All arrays have numCol entries. 0; -1086; 10 with a message when bounds are removed already.
[[nodiscard]] int32_t subRemoveBound(Env* env, SubModel* submodel, double* lower, double* upper, double* lowerSlack,
                                     double* upperSlack, double* lowerDual, double* upperDual);

// The same on the engine's state, whose directions, bound flags and counts follow. 0, or -1086 or 10 with nothing
// changed.
[[nodiscard]] int32_t subRemoveBoundInvivo(Ipm* ipm, SubModel* submodel);

// Pushes the concerned bounds of the listed columns to +-kRemovedBound, and nothing else; arrays of numCol entries.
void pushBoundsAway(const SubModel* submodel, double* lower, double* upper);

// How many bounds a removal of the listed ones would take. It must stay below the engine's complementary pairs, whose
// number divides mu.
[[nodiscard]] int32_t subCountRemoveBound(const Ipm* ipm, const SubModel* submodel);

// Puts the removed bounds back into the engine's state and frees what kept them. Each slack is the distance to the
// bound; each dual the saved one, or 0 when only the in vivo level is in force (ROUTE_INVIVO). Without removed bounds
// nothing happens.
void subRestoreBound(Ipm* ipm, const Hub* hub, SubModel* submodel);

}  // namespace qz
