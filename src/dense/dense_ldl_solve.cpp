// Solves with a square dense LDL factor.
#include <algorithm>
#include <cstdint>

#include "dense/blas.h"
#include "dense/dense_ldl.h"
#include "dense/dense_ldl_pivot.h"

namespace qz {

namespace {

// y := y - alpha x.
void subtractMultiple(int32_t n, double alpha, const double* __restrict__ x, double* __restrict__ y) {
  for (int32_t i = 0; i < n; ++i) y[i] -= alpha * x[i];
}

double innerProduct(int32_t n, const double* __restrict__ x, const double* __restrict__ y) {
  double sum = 0.0;
  for (int32_t i = 0; i < n; ++i) sum += x[i] * y[i];
  return sum;
}

}  // namespace

void LA_DenseLDLSolveOne(int32_t n, const double* a, int32_t lda, const int32_t* pivots, double* x) {
  int32_t k = 0;
  while (k < n) {
    const double* column = a + static_cast<int64_t>(k) * lda;
    if (pivots[k] >= 0) {
      std::swap(x[k], x[pivots[k]]);
      subtractMultiple(n - k - 1, x[k], column + k + 1, x + k + 1);
      x[k] /= column[k];
      k += 1;
    } else {
      std::swap(x[k + 1], x[-pivots[k]]);
      const double* next = column + lda;
      subtractMultiple(n - k - 2, x[k], column + k + 2, x + k + 2);
      subtractMultiple(n - k - 2, x[k + 1], next + k + 2, x + k + 2);
      const InversePair d = invertPair(column[k], column[k + 1], next[k + 1]);
      const double x0 = (d.v * x[k] - x[k + 1]) * d.s;
      x[k + 1] = (d.u * x[k + 1] - x[k]) * d.s;
      x[k] = x0;
      k += 2;
    }
  }
  LA_DenseLDLSolveOne_Lt(n, a, lda, pivots, x);
}

void LA_DenseLDLSolveOne_Lt(int32_t n, const double* a, int32_t lda, const int32_t* pivots, double* x) {
  int32_t k = n - 1;
  while (k >= 0) {
    const double* column = a + static_cast<int64_t>(k) * lda;
    x[k] -= innerProduct(n - k - 1, column + k + 1, x + k + 1);
    if (pivots[k] >= 0) {
      std::swap(x[k], x[pivots[k]]);
      k -= 1;
    } else {
      x[k - 1] -= innerProduct(n - k - 1, column - lda + k + 1, x + k + 1);
      std::swap(x[k], x[-pivots[k]]);
      k -= 2;
    }
  }
}

void LA_DenseLDLSolveMany(int32_t numRhs, int32_t n, const double* a, int32_t lda, const int32_t* pivots, double* b,
                          int32_t ldb) {
  if (numRhs <= 0) return;
  int32_t k = 0;
  while (k < n) {
    const double* column = a + static_cast<int64_t>(k) * lda;
    if (pivots[k] >= 0) {
      if (pivots[k] != k) blas::dswap(numRhs, b + k, ldb, b + pivots[k], ldb);
      if (k + 1 < n) blas::dger(n - k - 1, numRhs, -1.0, column + k + 1, 1, b + k, ldb, b + k + 1, ldb);
      blas::dscal(numRhs, 1.0 / column[k], b + k, ldb);
      k += 1;
    } else {
      const double* next = column + lda;
      if (-pivots[k] != k + 1) blas::dswap(numRhs, b + k + 1, ldb, b - pivots[k], ldb);
      if (k + 2 < n) {
        blas::dger(n - k - 2, numRhs, -1.0, column + k + 2, 1, b + k, ldb, b + k + 2, ldb);
        blas::dger(n - k - 2, numRhs, -1.0, next + k + 2, 1, b + k + 1, ldb, b + k + 2, ldb);
      }
      const InversePair d = invertPair(column[k], column[k + 1], next[k + 1]);
      for (int32_t j = 0; j < numRhs; ++j) {
        double* x = b + k + static_cast<int64_t>(j) * ldb;
        const double x0 = (d.v * x[0] - x[1]) * d.s;
        x[1] = (d.u * x[1] - x[0]) * d.s;
        x[0] = x0;
      }
      k += 2;
    }
  }
  for (k = n - 1; k >= 0;) {
    const double* column = a + static_cast<int64_t>(k) * lda;
    const int32_t rest = n - k - 1;
    if (rest > 0) blas::dgemv("T", rest, numRhs, -1.0, b + k + 1, ldb, column + k + 1, 1, 1.0, b + k, ldb);
    if (pivots[k] >= 0) {
      if (pivots[k] != k) blas::dswap(numRhs, b + k, ldb, b + pivots[k], ldb);
      k -= 1;
    } else {
      if (rest > 0) {
        blas::dgemv("T", rest, numRhs, -1.0, b + k + 1, ldb, column - lda + k + 1, 1, 1.0, b + k - 1, ldb);
      }
      if (-pivots[k] != k) blas::dswap(numRhs, b + k, ldb, b - pivots[k], ldb);
      k -= 2;
    }
  }
}

}  // namespace qz
