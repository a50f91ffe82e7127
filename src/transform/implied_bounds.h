// Bounds that a row implies: good for seeing what is redundant or infeasible, no good to an interior point.
//
// Two equations can tighten the boxes of each other's columns towards the one point that they allow, and the passes of
// the presolve leave a box about as wide as the tolerance around it. Such a box has no interior to speak of; and any
// implied bound that is active at the optimum makes the optimum degenerate, as the row says the same. So these bounds
// are left to the presolve (Andersen, Andersen 1995, do so too). With them greenbeb ends without an answer, and one
// small random program in two thousand. On a network without capacities they follow from each other in chains and grow
// up to 1e19; the starting point of a quadratic model, drawn to the middle of every box, would be lost there.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Appends to the presolver's list of changes. 0 or -1086.
[[nodiscard]] int32_t noteBoundChange(Env* env, Presolver* presolver, const BoundChange& change);

// Gives the columns of the presolved model the bounds back that they had before its rows implied tighter ones: the last
// change first, each only when its row is still there and implies the bound by the bounds then in force. So
// every step leaves the set of feasible points as it is, whatever presolve has removed because of the bound. The true
// bounds are kept in the hub's alternate arrays (ipmSwitchBound), and the presolver goes on knowing the tight ones.
// With the normal equations no column loses its last bound. 0 or -1086.
[[nodiscard]] int32_t releaseImpliedBounds(Env* env, Model* model, const IpmOption* options, Hub* hub,
                                           const Presolver* presolver);

}  // namespace qz
