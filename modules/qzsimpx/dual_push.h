// The dual half of a crossover (Megiddo 1991).
#pragma once

#include "point.h"
#include "run_limits.h"

namespace qzsimpx {

// Brings the reduced cost of every basic variable to 0. The reduced costs of the others keep the signs that their
// bounds ask for; one that would lose it enters the basis, at its bound, in place of the pushed variable. At most one
// basis change a push, and none moves the primal point. A status of the limits.
int32_t pushDual(const Program& program, Point& point, BasisFactor& factor, Limits& limits);

}  // namespace qzsimpx
