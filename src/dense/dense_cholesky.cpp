#include "dense/dense_cholesky.h"

#include <algorithm>
#include <cmath>

#include "dense/dense_cholesky_halves.h"
#include "dense/kernels.h"

namespace qz {

namespace {

// Takes the root of a pivot. False when the pivot was replaced, its column being to be cleared.
bool takePivot(double* pivot, double pivotTolerance) {
  const double magnitude = std::fabs(*pivot);
  if (!(magnitude > pivotTolerance)) {
    *pivot = kReplacedPivot;
    return false;
  }
  *pivot = std::sqrt(magnitude);
  return true;
}

// The unblocked step on the upper triangle, row by row.
void factorUpperUnblocked(int32_t n, double* a, int32_t lda, double pivotTolerance) {
  const int32_t one = 1;
  const double minusOne = -1.0;
  const double plusOne = 1.0;
  for (int32_t j = 0; j < n; ++j) {
    double* diagonal = a + j + static_cast<int64_t>(j) * lda;
    const bool kept = takePivot(diagonal, pivotTolerance);
    const double scale = 1.0 / diagonal[0];
    double* row = diagonal + lda;
    for (int64_t k = 0; k < n - j - 1; ++k) row[k * lda] = kept ? row[k * lda] * scale : 0.0;
    const int32_t rest = n - j - 1;
    if (rest == 0) break;
    const int32_t done = j + 1;
    const double* next = a + static_cast<int64_t>(done) * lda;
    my_dgemv("T", &done, &rest, &minusOne, next, &lda, next, &one, &plusOne,
             a + done + static_cast<int64_t>(done) * lda, &lda);
  }
}

}  // namespace

int32_t LA_DenseCholeskyNonBlock(int32_t n, double* a, int32_t lda, double pivotTolerance) {
  const int32_t one = 1;
  const double minusOne = -1.0;
  const double plusOne = 1.0;
  for (int32_t j = 0; j < n; ++j) {
    double* diagonal = a + j + static_cast<int64_t>(j) * lda;
    const int32_t rest = n - j - 1;
    double* column = diagonal + 1;
    if (takePivot(diagonal, pivotTolerance)) {
      const double scale = 1.0 / diagonal[0];
      for (int32_t i = 0; i < rest; ++i) column[i] *= scale;
    } else {
      std::fill_n(column, rest, 0.0);
    }
    if (rest == 0) break;
    const int32_t done = j + 1;
    my_dgemv("N", &rest, &done, &minusOne, a + done, &lda, a + done, &lda, &plusOne,
             a + done + static_cast<int64_t>(done) * lda, &one);
  }
  return n;
}

void LA_DenseCholeskyFactorize(int32_t n, double* a, int32_t lda, double pivotTolerance) {
  factorByHalves(n, a, lda, 0, [lda, pivotTolerance](int32_t size, double* block, int32_t) {
    LA_DenseCholeskyNonBlock(size, block, lda, pivotTolerance);
  });
}

void LA_DenseCholeskyUFactorize(int32_t n, double* a, int32_t lda, double pivotTolerance) {
  if (n < kCholeskyBlock) {
    factorUpperUnblocked(n, a, lda, pivotTolerance);
    return;
  }
  const int32_t n1 = n / 2;
  const int32_t n2 = n - n1;
  double* right = a + static_cast<int64_t>(n1) * lda;
  double* trailing = right + n1;
  LA_DenseCholeskyUFactorize(n1, a, lda, pivotTolerance);
  blas::dtrsm("L", "U", "T", "N", n1, n2, 1.0, a, lda, right, lda);
  blas::dsyrk("U", "T", n2, n1, -1.0, right, lda, 1.0, trailing, lda);
  LA_DenseCholeskyUFactorize(n2, trailing, lda, pivotTolerance);
}

void LA_DenseCholeskySolve(int32_t n, const double* l, int32_t lda, double* x) {
  blas::dtrsv("L", "N", "N", n, l, lda, x, 1);
  blas::dtrsv("L", "T", "N", n, l, lda, x, 1);
}

}  // namespace qz
