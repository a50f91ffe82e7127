// Solves with a finished Cholesky factor.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// x := (P' L L' P)^-1 x, in place, without refinement. alreadyPermuted 0: `rhs` stands in the caller's order; otherwise
// in the factor's, and the sweeps run on it directly. Works in the work vector of `numeric`. Cannot fail: the component
// of a replaced pivot comes out practically 0.
void LA_SolveMatrixChol(int32_t alreadyPermuted, double* rhs, LAEnv* env, SymbolicFactor* symbolic,
                        NumericFactor* numeric);

// Both sweeps on a vector y in the factor's order: chol_solve for the layout that is not blocked, chol_psolve for the
// blocked one. `below`: as many entries as a supernode has rows below its columns, at most numRows.
void chol_solve(const SymbolicFactor* symbolic, double* y, double* below);
void chol_psolve(const SymbolicFactor* symbolic, double* y, double* below);

}  // namespace qz
