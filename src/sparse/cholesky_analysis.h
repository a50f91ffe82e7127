// Symbolic analysis of the Cholesky factorisation of a symmetric positive semidefinite matrix: ordering, elimination
// tree, supernodes, storage, and the choice of serial or blocked factorisation.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// Analyses the pattern of an n-by-n symmetric matrix (both triangles stored, diagonal entries optional, no entry
// twice). Both handles must be null on entry; whatever the status, what was built hangs from them and
// LA_CleanUpCholesky frees it. On success:
//   symbolic: perm, invPerm, supernodes with their row lists (lIndex) and storage (lValues); pivotKind is null;
//     threadScratch; serial: maxBlockEntries doubles, the largest product |R|*q of a run of q rows of a supernode that
//     fall into one ancestor, R being the rows from the run's first on;
//   numeric: numEntries and the room for the permuted lower triangle, work.
// factorState is -1 afterwards. The ordering used and the thread count chosen are written back to `env`.
// LA_OK; LA_NO_MEMORY; LA_INCONSISTENT for an unsymmetric pattern, a row out of range or an entry stored twice;
// LA_TOO_LARGE; LA_BAD_PARAMETER for a null argument, a negative size or a handle in use; LA_CANCELLED when the host's
// break flag ended the ordering.
[[nodiscard]] int32_t LA_AnalyzeMatrixCholesky(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, LAEnv* env,
                                               SymbolicFactor** symbolic, NumericFactor** numeric);

}  // namespace qz
