// Symmetric tridiagonal eigenproblems by implicit QL and QR iteration.
//
// Both first set to zero every off-diagonal with |e_i| <= 2^-53 sqrt(|d_i| |d_i+1|), and treat the unreduced blocks
// between them one by one, each scaled by its norm. A block is swept from the end with the smaller diagonal entry, so
// that graded matrices keep their small values: QR when the last is smaller than the first, QL otherwise. QR is QL on
// the block read backwards. The limit is 30 n sweeps in all.
#pragma once

#include <cstdint>

namespace qz {

// Values and vectors: Wilkinson's shift, bulge chase, all rotations of a sweep applied to z at once. z (n by n) holds
// an orthogonal matrix, the identity for the vectors of T itself, and is multiplied by the vectors of T from the right.
// diag becomes the values, ascending, the columns of z in the same order; offDiag is destroyed. work: 2n entries.
// Returns 0, or the number of off-diagonals that did not vanish.
[[nodiscard]] int32_t EigenSolverTridiagQR(int32_t n, double* diag, double* offDiag, double* z, int32_t ldz,
                                           double* work);

// Values only, by the variant of Pal, Walker and Kahan on the squares of the off-diagonals: no square root but that of
// the shift. Parlett (1998), The Symmetric Eigenvalue Problem, 8.15. diag becomes the values, ascending; offDiag is
// destroyed. Returns 0, or the number of off-diagonals that did not vanish.
[[nodiscard]] int32_t EigenValuesTridiagPWK(int32_t n, double* diag, double* offDiag);

}  // namespace qz
