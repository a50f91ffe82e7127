// The reduced Newton system of an iteration by the method of the solve: the augmented system with its LDL
// factorisation, or the normal equations with their Cholesky factorisation. Both take the right-hand side (column part,
// row part) to (dx, dy).
#pragma once

#include <cstdint>

#include "engine/ipm.h"

namespace qz {

// Writes the values of the matrix for the iterate. 0, or 10 for a free column in the normal equations.
[[nodiscard]] int32_t formSystem(Ipm* ipm);

// Factors the matrix. 0, -1086, 12 or 10.
[[nodiscard]] int32_t factorSystem(Ipm* ipm);

// Solves in place on a vector of numDim entries. A solution of the normal equations is refined; where it stays
// inaccurate, the augmented system takes over for the rest of the solve (typeMethod changes, and all that belongs to
// the method) and solves. 0, or what the method's phases say: ldlSolve, solveNormalEquation, or those of ipmInitAugmat.
[[nodiscard]] int32_t solveSystem(Ipm* ipm, double* vector);

}  // namespace qz
