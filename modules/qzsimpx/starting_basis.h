// The basis that the pushes start from.
#pragma once

#include "point.h"

namespace qzsimpx {

// Chooses and factors a basis with as many interior variables as can be found in it: a basis of the optimal face lies
// among them, and every other choice costs a push. Activities of rows that do not bind come first, then columns by
// their distance to the bounds. Rows that are left go to the variables at a bound with the smallest reduced costs,
// which a short dual push brings to 0, and at last to their own activities.
void chooseStartingBasis(const Program& program, Point& point, BasisFactor& factor);

}  // namespace qzsimpx
