// Symbolic analysis of the LDL factorisation of a symmetric indefinite matrix: ordering, elimination tree, supernodes,
// storage, and the choice of serial or blocked factorisation.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// Analyses the n-by-n symmetric matrix (both triangles stored, diagonal entries optional, no entry twice). The values
// are read by the static pivoting permutations only. Both handles must be null on entry; whatever the status, what was
// built hangs from them and LA_CleanUpLDL frees it. On success:
//   symbolic: perm, invPerm, supernodes with their row lists (lIndex) and storage (lValues), pivotKind (-2 single, -1
//     column of a pair), threadScratch; serial: maxBlockEntries + maxPanelEntries doubles, maxBlockEntries being the
//     square of the largest h - w rounded up to a multiple of 32 and maxPanelEntries the largest w*h (w*96 when h = w);
//   numeric: numEntries and the room for the permuted lower triangle, panelWidth, packA, packB, work.
// factorState is -1 afterwards. The ordering used and the thread count chosen are written back to `env`.
// LA_OK; LA_NO_MEMORY; LA_INCONSISTENT for an unsymmetric pattern, a row out of range, an entry stored twice, or a
// leading block larger than the matrix; LA_SINGULAR from the static permutation of a general matrix; LA_TOO_LARGE;
// LA_BAD_PARAMETER for a null argument, a negative size or a handle in use; LA_CANCELLED when the host's break flag
// ended the static permutation or the ordering.
[[nodiscard]] int32_t LA_AnalyzeMatrixLDL(int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                          const double* matValue, LAEnv* env, SymbolicFactor** symbolic,
                                          NumericFactor** numeric);

}  // namespace qz
