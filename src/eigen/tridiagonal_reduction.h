// Q'A Q = T for a dense symmetric matrix, T tridiagonal.
#pragma once

#include <cstdint>

namespace qz {

inline constexpr int32_t kReductionPanel = 96;  // columns of a panel, and reflectors of a block

// Reduces the lower triangle of a. diag (n) and offDiag (n - 1) receive T, tau (n - 1) the scalars of the reflectors,
// whose vectors stand below the first subdiagonal with their leading 1 implied. work: 96 * n entries when n > 96.
// Dongarra, Sorensen, Hammarling (1989), J. Comput. Appl. Math. 27: the trailing matrix gets a rank-2k update a panel.
void reduceToTridiagonal(int32_t n, double* a, int32_t lda, double* diag, double* offDiag, double* tau, double* work);

// Entries of `work` below.
[[nodiscard]] int64_t backTransformWorkEntries(int32_t n);

// z := Q z for the n-by-n matrix z. With fewer than 96 reflectors one after the other, otherwise in blocks.
void backTransform(int32_t n, const double* a, int32_t lda, const double* tau, double* z, int32_t ldz, double* work);

}  // namespace qz
