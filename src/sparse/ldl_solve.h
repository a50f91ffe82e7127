// Solves with a finished LDL factor, and their refinement.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// One solve with the factor; ldl_solve for the layout that is not blocked, ldl_psolve for the blocked one.
// alreadyPermuted 0: `in` is the right-hand side in the caller's order and receives the solution, `out` is an n-vector
// of work. Otherwise `out` is the right-hand side in the factor's order and receives the solution; `in` is not touched.
// LA_OK, or LA_OVERFLOW when a component behind D is not below 1.7976931348623158e304 in magnitude or is not a number.
[[nodiscard]] int32_t ldl_solve(int32_t alreadyPermuted, double* in, const SymbolicFactor* symbolic, double* out);
[[nodiscard]] int32_t ldl_psolve(int32_t alreadyPermuted, double* in, const SymbolicFactor* symbolic, double* out);

// Solves A x = b with refinement; x holds b and receives the solution. The matrix is the one that was factored, both
// triangles, in the caller's order (alreadyPermuted 0) or the factor's, x likewise.
// Let m = maxRefine of `env`, or, when that is 0 and pivots were perturbed, 64 with useFgmres and else 2; at most n. m
// is stored back. m = 0: one plain solve. useFgmres: FGMRES with the factor as preconditioner, to refineTolerance.
// Otherwise m steps of iterative refinement without a test of convergence. LA_OK; LA_FGMRES_TOLERANCE and
// LA_FGMRES_LIMIT, which are successes too; LA_OVERFLOW, the partly solved vector being left in x; LA_NO_MEMORY, x
// being left as it is; LA_BAD_PARAMETER for a null handle.
[[nodiscard]] int32_t LA_SolveMatrixLDL(int32_t alreadyPermuted, const int32_t* colBegin, const int32_t* rowIndex,
                                        const double* matValue, double* x, LAEnv* env, SymbolicFactor* symbolic,
                                        NumericFactor* numeric);

}  // namespace qz
