// A few eigenpairs at one end of the spectrum of a sparse symmetric matrix, by a thick-restart Davidson iteration: one
// vector a step, the correction from an inner symmetric QMR solve (correction.h), Rayleigh-Ritz on the basis by the
// dense solver. Stathopoulos and Saad (1998), Electron. Trans. Numer. Anal. 7; Stathopoulos (2007), SIAM J. Sci.
// Comput. 29(2).
//
// Converged pairs stay in the basis: their Ritz vectors are the first ones kept at a restart, and later vectors are
// orthogonalised against them. A Ritz value that comes up in front of an accepted one, as a missed value does, takes
// its place and must converge in its turn.
#pragma once

#include <cstdint>

#include "eigen/sparse_product.h"
#include "sparse/la_env.h"

namespace qz {

inline constexpr int32_t kEigenLimit = 12;  // the limit of products was reached; the outputs hold the current values

// What the sizes of the iteration depend on; `averageEntries` is stored entries per column.
struct DavidsonSizes {
  int32_t maxBasis;     // columns of the basis
  int32_t restartSize;  // Ritz vectors kept at a restart
};
[[nodiscard]] DavidsonSizes chooseDavidsonSizes(int32_t n, int32_t numWanted, double norm1, double averageEntries);

// The matrix: n columns, both triangles stored. Of `env` it reads the memory handle, eigenCount (capped by n), eigenEnd
// and eigenIterationLimit, a limit of products with A (10000 per pair when not positive). matVec: null for the
// product of this library. eigenvalues and residuals: eigenCount entries, eigenvectors n by eigenCount; values ascend
// for end "S" and descend for "L". A pair is accepted when its residual is below 1e-12 of the norm of A, or does not
// fall any more.
//
// Returns 0; 1 when memory is short; 10 when a dense problem failed, outputs undefined; 11 when no independent vector
// could be found and kEigenLimit at the limit of products, both with the current values in the outputs.
[[nodiscard]] int32_t LA_SparseSymEigenSolver(int32_t n, const int32_t* colStart, const int32_t* rowIndex,
                                              const double* value, LAEnv* env, SymMatVec matVec, double* eigenvalues,
                                              double* eigenvectors, double* residuals);

}  // namespace qz
