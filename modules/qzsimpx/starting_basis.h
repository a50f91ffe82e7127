// The basis that the pushes start from.
#pragma once

#include "point.h"

namespace qzsimpx {

// Chooses and factors a basis with as many interior variables as can be found in it: a basis of the optimal face lies
// among them, and every other choice costs a push. Activities of rows that do not bind come first, then columns by
// their distance to the bounds; what is left of the rows is covered by their activities.
void chooseStartingBasis(const Program& program, Point& point, BasisFactor& factor);

}  // namespace qzsimpx
