// When the iteration stops: the poll for a break or a used-up limit, and the decision stage that tells optimal,
// near-optimal, infeasible, unbounded, diverging and stalled points apart.
#pragma once

#include "engine/ipm.h"
#include "submodel/submodel.h"
#include "transform/hub.h"

namespace qz {

// Asks the caller's break callback, then the timer. A break sets status 12, a reached limit status 8 (which wins when
// both hold), and either sets stopState to STOP_NOW. Returns true when one of them was seen now.
[[nodiscard]] bool pollStop(Ipm* ipm);

// Polls, and then tests the iteration count: at maxIter status 7; beyond a fixed ceiling of 1000 iterations, which
// holds whatever maxIter says, status 10.
void decideLimits(Ipm* ipm);

// Reads the fresh measures and ipm->status (the verdict of getSolutionStatus on them), and sets stopState, status and
// the counters of good, bad and stalled iterations.
//
// The order of the tests is part of the method: a test that jumps keeps those behind it from running, the iteration
// limit among them. A pending in vitro change, or a big-value level that has just been left, keeps the exact-point
// reset off: the point is about to change.
void decideStop(Ipm* ipm, Hub* hub, const SubModel* submodel);

}  // namespace qz
