// What is left to do behind the pushes, by Clp.
#pragma once

#include "point.h"
#include "run_limits.h"

namespace qzsimpx {

// Runs the simplex method from the basis of the point to an optimal one: the primal method with startMode 1, the dual
// one with 2, and if that fails the other one with looser tolerances. On QZ_STATUS_OPTIMAL the point is the basic
// answer, with its basis. Otherwise the status tells why there is none: that of the limits, infeasible, unbounded, or
// QZ_STATUS_FAILED.
int32_t cleanUp(const Program& program, Point& point, Limits& limits, const QzPresolveSettings& settings);

}  // namespace qzsimpx
