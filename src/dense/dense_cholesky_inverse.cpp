// The inverse of a positive definite matrix from its Cholesky factor: A^-1 = L^-T L^-1.
#include <algorithm>
#include <cstdint>

#include "dense/blas.h"
#include "dense/dense_cholesky.h"

namespace qz {

namespace {

double* entry(double* a, int32_t lda, int32_t i, int32_t j) {
  return a + i + static_cast<int64_t>(j) * lda;
}

// L := L^-1, the last column first: column j is -L22^-1 l_j / l_jj with the inverse of the columns behind it.
void invertLowerUnblocked(int32_t n, double* l, int32_t lda) {
  for (int32_t j = n - 1; j >= 0; --j) {
    double* diagonal = entry(l, lda, j, j);
    diagonal[0] = 1.0 / diagonal[0];
    const int32_t rest = n - j - 1;
    if (rest == 0) continue;
    blas::dtrmv("L", "N", "N", rest, entry(l, lda, j + 1, j + 1), lda, diagonal + 1, 1);
    blas::dscal(rest, -diagonal[0], diagonal + 1, 1);
  }
}

// [L11; L21, L22]^-1 = [L11^-1; -L22^-1 L21 L11^-1, L22^-1].
void invertLower(int32_t n, double* l, int32_t lda) {
  if (n < kCholeskyBlock) {
    invertLowerUnblocked(n, l, lda);
    return;
  }
  const int32_t n1 = n / 2;
  const int32_t n2 = n - n1;
  double* below = entry(l, lda, n1, 0);
  double* trailing = entry(l, lda, n1, n1);
  blas::dtrsm("R", "L", "N", "N", n2, n1, -1.0, l, lda, below, lda);
  invertLower(n1, l, lda);
  invertLower(n2, trailing, lda);
  blas::dtrmm("L", "L", "N", "N", n2, n1, 1.0, trailing, lda, below, lda);
}

// The lower triangle of W'W in place of the lower triangle W, row i from the rows behind it, which are still W's.
void multiplyTransposedUnblocked(int32_t n, double* w, int32_t lda) {
  for (int32_t i = 0; i < n; ++i) {
    double* row = entry(w, lda, i, 0);
    double* diagonal = entry(w, lda, i, i);
    const double pivot = diagonal[0];
    const int32_t behind = n - i - 1;
    diagonal[0] = blas::ddot(behind + 1, diagonal, 1, diagonal, 1);
    if (i == 0) continue;
    if (behind == 0) {
      blas::dscal(i, pivot, row, lda);
    } else {
      blas::dgemv("T", behind, i, 1.0, row + 1, lda, diagonal + 1, 1, pivot, row, lda);
    }
  }
}

// With W = [W1; W2, W3]: W'W = [W1'W1 + W2'W2; W3'W2, W3'W3].
void multiplyTransposed(int32_t n, double* w, int32_t lda) {
  if (n < kCholeskyBlock) {
    multiplyTransposedUnblocked(n, w, lda);
    return;
  }
  const int32_t n1 = n / 2;
  const int32_t n2 = n - n1;
  double* below = entry(w, lda, n1, 0);
  double* trailing = entry(w, lda, n1, n1);
  multiplyTransposed(n1, w, lda);
  blas::dsyrk("L", "T", n1, n2, 1.0, below, lda, 1.0, w, lda);
  blas::dtrmm("L", "L", "T", "N", n2, n1, 1.0, trailing, lda, below, lda);
  multiplyTransposed(n2, trailing, lda);
}

}  // namespace

void LA_FindInverseChol(int32_t n, double* a, int32_t lda) {
  LA_DenseCholeskyFactorize(n, a, lda, 0.0);
  invertLower(n, a, lda);
  multiplyTransposed(n, a, lda);
  for (int32_t j = 1; j < n; ++j)
    for (int32_t i = 0; i < j; ++i) *entry(a, lda, i, j) = *entry(a, lda, j, i);
}

}  // namespace qz
