// The primal half of a crossover (Megiddo 1991; Bixby and Saltzman 1994).
#pragma once

#include "point.h"
#include "run_limits.h"

namespace qzsimpx {

// Pushes every variable that is between its bounds and outside of the basis to a bound. Basic variables stay within
// their bounds, and those that belong to a bound stay there: the optimal face is not left. One that would be carried
// beyond takes the pushed one's place outside of the basis. At most one basis change a push. A status of the limits.
int32_t pushPrimal(const Program& program, Point& point, BasisFactor& factor, Limits& limits);

}  // namespace qzsimpx
