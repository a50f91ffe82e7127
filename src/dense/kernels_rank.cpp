// Updates of rank one and two, outer products and copies: the small steps of the unblocked factorisations.
#include <cstring>

#include "dense/clones.h"
#include "dense/kernels.h"

namespace qz {

namespace {

bool isLetter(const char* option, char letter) {
  return *option == letter;
}

QZ_CLONES void rankOne(int32_t m, int32_t n, double alpha, const double* __restrict x, const double* __restrict y,
                       int64_t incy, double* __restrict a, int64_t lda) {
  for (int32_t j = 0; j < n; ++j) {
    const double factor = alpha * y[j * incy];
    double* __restrict column = a + j * lda;
    for (int32_t i = 0; i < m; ++i) column[i] += factor * x[i];
  }
}

QZ_CLONES void rankTwo(int32_t m, int32_t n, double alpha, const double* __restrict x1, const double* __restrict y1,
                       const double* __restrict x2, const double* __restrict y2, double* __restrict a, int64_t lda) {
  for (int32_t j = 0; j < n; ++j) {
    const double first = alpha * y1[j];
    const double second = alpha * y2[j];
    double* __restrict column = a + j * lda;
    for (int32_t i = 0; i < m; ++i) column[i] += first * x1[i] + second * x2[i];
  }
}

// Rows [from(j), to(j)) of column j += alpha x_j x.
QZ_CLONES void symmetricRankOne(bool lower, int32_t n, double alpha, const double* __restrict x, double* __restrict a,
                                int64_t lda) {
  for (int32_t j = 0; j < n; ++j) {
    const double factor = alpha * x[j];
    double* __restrict column = a + j * lda;
    const int32_t from = lower ? j : 0;
    const int32_t to = lower ? n : j + 1;
    for (int32_t i = from; i < to; ++i) column[i] += factor * x[i];
  }
}

void symmetricRankOneStrided(bool lower, int32_t n, double alpha, const double* x, int64_t incx, double* a,
                             int64_t lda) {
  const double* u = incx < 0 ? x - (n - 1) * incx : x;
  for (int32_t j = 0; j < n; ++j) {
    const double factor = alpha * u[j * incx];
    const int32_t from = lower ? j : 0;
    const int32_t to = lower ? n : j + 1;
    for (int32_t i = from; i < to; ++i) a[i + j * lda] += factor * u[i * incx];
  }
}

QZ_CLONES void symmetricRankTwoLower(int32_t n, double alpha, const double* __restrict x, const double* __restrict y,
                                     double* __restrict a, int64_t lda) {
  for (int32_t j = 0; j < n; ++j) {
    const double factorX = alpha * y[j];
    const double factorY = alpha * x[j];
    double* __restrict column = a + j * lda;
    for (int32_t i = j; i < n; ++i) column[i] += factorX * x[i] + factorY * y[i];
  }
}

// Column j of the trailing triangle needs x_j .. x_n unscaled, and no later column needs x_j: so x_j is scaled when its
// column is done.
QZ_CLONES void eliminate(int32_t n, double* __restrict x, double* __restrict y, double alpha, int64_t ldy) {
  for (int32_t j = 0; j < n; ++j) {
    const double scaled = alpha * x[j];
    double* __restrict column = y + j * ldy;
    for (int32_t i = j; i < n; ++i) column[i] -= scaled * x[i];
    x[j] = scaled;
  }
}

// Four columns of C in one pass over x.
QZ_CLONES void outerFour(int32_t m, const double* __restrict x, const double* __restrict y, double* __restrict c) {
  double* __restrict c0 = c;
  double* __restrict c1 = c0 + m;
  double* __restrict c2 = c1 + m;
  double* __restrict c3 = c2 + m;
  const double y0 = y[0];
  const double y1 = y[1];
  const double y2 = y[2];
  const double y3 = y[3];
  for (int32_t i = 0; i < m; ++i) {
    const double value = x[i];
    c0[i] = value * y0;
    c1[i] = value * y1;
    c2[i] = value * y2;
    c3[i] = value * y3;
  }
}

}  // namespace

void my_dger_one(const int32_t* m, const int32_t* n, const double* alpha, const double* x, const double* y, double* a,
                 const int32_t* lda) {
  rankOne(*m, *n, *alpha, x, y, 1, a, *lda);
}

void my_dger_xone(const int32_t* m, const int32_t* n, const double* alpha, const double* x, const double* y,
                  const int32_t* incy, double* a, const int32_t* lda) {
  const int64_t step = *incy;
  rankOne(*m, *n, *alpha, x, step < 0 ? y - (*n - 1) * step : y, step, a, *lda);
}

void my_dger2_one(const int32_t* m, const int32_t* n, const double* alpha, const double* x1, const double* y1,
                  const double* x2, const double* y2, double* a, const int32_t* lda) {
  rankTwo(*m, *n, *alpha, x1, y1, x2, y2, a, *lda);
}

void my_dsyr(const char* uplo, const int32_t* n, const double* alpha, const double* x, const int32_t* incx, double* a,
             const int32_t* lda) {
  const bool lower = isLetter(uplo, 'L');
  if (*incx == 1) {
    symmetricRankOne(lower, *n, *alpha, x, a, *lda);
  } else {
    symmetricRankOneStrided(lower, *n, *alpha, x, *incx, a, *lda);
  }
}

void my_dsyr2_l_one(const int32_t* n, const double* alpha, const double* x, const double* y, double* a,
                    const int32_t* lda) {
  symmetricRankTwoLower(*n, *alpha, x, y, a, *lda);
}

void my_dsyr_dscal(const int32_t* n, double* x, double* y, const double* alpha, const int32_t* ldy) {
  eliminate(*n, x, y, *alpha, *ldy);
}

void my_outer_prod(const int32_t* m, const int32_t* n, const double* x, const double* y, double* c) {
  const int64_t rows = *m;
  int32_t j = 0;
  for (; j + 4 <= *n; j += 4) outerFour(*m, x, y + j, c + j * rows);
  for (; j < *n; ++j) {
    const double factor = y[j];
    double* __restrict column = c + j * rows;
    for (int64_t i = 0; i < rows; ++i) column[i] = x[i] * factor;
  }
}

void my_copyMatrix(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, double* b,
                   const int32_t* ldb) {
  if (*m <= 0) return;
  const size_t bytes = static_cast<size_t>(*m) * sizeof(double);
  for (int64_t j = 0; j < *n; ++j) std::memcpy(b + j * *ldb, a + j * *lda, bytes);
}

}  // namespace qz
