// Flexible GMRES: refines the solution of A x = b with the factors of a nearby matrix as right preconditioner.
//
// Static pivoting leaves the factors of A + E, not of A. Each cycle builds an orthonormal basis v_1 .. v_j of the
// Krylov space, keeps the preconditioned directions z_j = M^-1 v_j, and so holds the Arnoldi relation
//   A Z_j = V_{j+1} H_j,      x + Z_j y with y = argmin || beta e_1 - H_j y ||.
// Storing Z lets M change from step to step, as a solve with rounding errors does. Every vector is orthogonalised
// twice: with an inexact preconditioner one sweep loses the basis. Saad (1993), SIAM J. Sci. Comput. 14(2); Arioli,
// Duff, Gratton, Pralet (2007), SIAM J. Sci. Comput. 29(5).
#pragma once

#include <cstdint>

#include "sparse/la_env.h"

namespace qz {

// The factor solve M d = f. job 0: `in` holds f and receives d, `out` is work. job not 0: the roles swap, `out` holds f
// and receives d, `in` is work. Each has n entries. A result other than 0 stops the run.
using FgmresSolve = int32_t (*)(int32_t job, double* in, void* context, double* out);

// Entries of `area` below: k (k + 2n + 3) with k = min(fgmresRestart, n); 0 for an empty system. In 64 bits, so that
// the caller can test it against what it may allocate.
[[nodiscard]] int64_t fgmresAreaEntries(int32_t n, int32_t fgmresRestart);

// Improves x. The matrix is n by n by columns with both triangles stored. rhs: b, n entries. x: n entries, a solution
// to start from, replaced only by better ones. work: 2n entries. area: fgmresAreaEntries(n, env->fgmresRestart)
// entries. job: which of its two directions `solve` works in. stagnationFactor: a cycle whose measure is not below that
// fraction of the previous one did not pay off. flexibleOnly: normalise the last direction of a cycle too.
//
// Of `env` it reads maxRefine (limit of inner steps over the whole run, tested between cycles), fgmresMinimum (first
// cycle length), fgmresRestart (largest), both capped by n, fgmresMode (0 classical Gram-Schmidt by matrix-vector
// products, 1 and 2 modified Gram-Schmidt) and refineTolerance. It sets refineResidual to the measure of the x left
// behind,
//   relResidual = ||b - A x|| / (|| |A| |x| || + ||b||), 2-norms, 0 for a zero denominator.
//
// Returns 6 when refineTolerance > relResidual or no step was needed, 7 when the limits, a breakdown or stagnation
// ended the run before that, 8 when `solve` failed. Allocates nothing.
[[nodiscard]] int32_t FGMRES(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                             const double* rhs, int32_t job, double stagnationFactor, int32_t flexibleOnly, LAEnv* env,
                             void* context, FgmresSolve solve, double* x, double* work, double* area);

}  // namespace qz
