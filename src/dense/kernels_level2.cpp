// Matrix-vector kernels: products, triangular solves and products, symmetric forms.
//
// The inner loops run down columns. A product takes four columns at a time, so that the vector it adds to is read and
// written once for four; a transposed product takes four columns so that the vector is read once for four.
#include <algorithm>

#include "dense/clones.h"
#include "dense/kernels.h"

namespace qz {

namespace {

bool isLetter(const char* option, char letter) {
  return *option == letter;
}

// Where a strided vector starts: a negative increment walks backwards from the far end.
template <typename T>
T* start(T* x, int32_t n, int64_t incx) {
  return incx < 0 ? x - static_cast<int64_t>(n - 1) * incx : x;
}

// y := y - f0 a0 - f1 a1 - f2 a2 - f3 a3.
QZ_CLONES void subtractFour(int32_t m, const double* __restrict a, int64_t lda, double f0, double f1, double f2,
                            double f3, double* __restrict y) {
  const double* __restrict a0 = a;
  const double* __restrict a1 = a + lda;
  const double* __restrict a2 = a1 + lda;
  const double* __restrict a3 = a2 + lda;
  for (int32_t i = 0; i < m; ++i) y[i] = y[i] - (f0 * a0[i] + f1 * a1[i] + f2 * a2[i] + f3 * a3[i]);
}

QZ_CLONES void addMultiple(int32_t n, double factor, const double* __restrict x, double* __restrict y) {
  for (int32_t i = 0; i < n; ++i) y[i] += factor * x[i];
}

constexpr int32_t SUMS = 4;  // partial sums per column

double total(const double (&sum)[SUMS]) {
  return (sum[0] + sum[2]) + (sum[1] + sum[3]);
}

// out[c] := column c of A times x, for four columns.
QZ_CLONES void dotFour(int32_t m, const double* __restrict a, int64_t lda, const double* __restrict x, double* out) {
  double sum[4][SUMS] = {};
  const int32_t whole = m - m % SUMS;
  for (int32_t i = 0; i < whole; i += SUMS) {
    for (int32_t c = 0; c < 4; ++c) {
      const double* __restrict column = a + c * lda;
      for (int32_t s = 0; s < SUMS; ++s) sum[c][s] += column[i + s] * x[i + s];
    }
  }
  for (int32_t i = whole; i < m; ++i) {
    for (int32_t c = 0; c < 4; ++c) sum[c][i - whole] += a[i + c * lda] * x[i];
  }
  for (int32_t c = 0; c < 4; ++c) out[c] = total(sum[c]);
}

QZ_CLONES double dotOne(int32_t m, const double* __restrict a, const double* __restrict x) {
  double sum[SUMS] = {};
  const int32_t whole = m - m % SUMS;
  for (int32_t i = 0; i < whole; i += SUMS) {
    for (int32_t s = 0; s < SUMS; ++s) sum[s] += a[i + s] * x[i + s];
  }
  for (int32_t i = whole; i < m; ++i) sum[i - whole] += a[i] * x[i];
  return total(sum);
}

// y := y + factor a, and the sum of a times x, in one pass: a symmetric column used twice.
QZ_CLONES double addAndDot(int32_t n, double factor, const double* __restrict a, const double* __restrict x,
                           double* __restrict y) {
  double sum[SUMS] = {};
  const int32_t whole = n - n % SUMS;
  for (int32_t i = 0; i < whole; i += SUMS) {
    for (int32_t s = 0; s < SUMS; ++s) {
      y[i + s] += factor * a[i + s];
      sum[s] += a[i + s] * x[i + s];
    }
  }
  for (int32_t i = whole; i < n; ++i) {
    y[i] += factor * a[i];
    sum[i - whole] += a[i] * x[i];
  }
  return total(sum);
}

void scaleStrided(int32_t n, double beta, double* y, int32_t incy) {
  if (beta == 1.0) return;
  double* v = start(y, n, incy);
  for (int32_t i = 0; i < n; ++i, v += incy) *v = beta == 0.0 ? 0.0 : beta * *v;
}

// y := y + alpha A x for a symmetric matrix of which `column(j)` gives the stored part of column j: rows j to n (lower)
// or 0 to j (upper).
template <typename Column>
void addSymmetricProduct(bool lower, int32_t n, double alpha, Column column, const double* x, int64_t incx, double* y,
                         int64_t incy) {
  const double* u = start(x, n, incx);
  double* v = start(y, n, incy);
  for (int32_t j = 0; j < n; ++j) {
    const double* a = column(j);
    const int32_t first = lower ? j + 1 : 0;
    const int32_t count = lower ? n - j - 1 : j;
    const double* below = lower ? a + 1 : a;
    const double factor = alpha * u[j * incx];
    double sum = 0.0;
    if (incx == 1 && incy == 1) {
      sum = addAndDot(count, factor, below, u + first, v + first);
    } else {
      for (int32_t i = 0; i < count; ++i) {
        v[(first + i) * incy] += factor * below[i];
        sum += below[i] * u[(first + i) * incx];
      }
    }
    v[j * incy] += factor * (lower ? a[0] : a[j]) + alpha * sum;
  }
}

}  // namespace

// ---- General products ----

void my_dgemv_n_1m1_yone(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, const double* x,
                         const int32_t* incx, double* y) {
  const int64_t stride = *lda;
  const int64_t step = *incx;
  const double* u = start(x, *n, step);
  int32_t j = 0;
  for (; j + 4 <= *n; j += 4) {
    const double* f = u + j * step;
    subtractFour(*m, a + j * stride, stride, f[0], f[step], f[2 * step], f[3 * step], y);
  }
  for (; j < *n; ++j) addMultiple(*m, -u[j * step], a + j * stride, y);
}

void my_dgemv_t_1m1_xone(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, const double* x,
                         double* y, const int32_t* incy) {
  const int64_t stride = *lda;
  const int64_t step = *incy;
  double* v = start(y, *n, step);
  int32_t j = 0;
  for (; j + 4 <= *n; j += 4) {
    double product[4];
    dotFour(*m, a + j * stride, stride, x, product);
    for (int32_t c = 0; c < 4; ++c) v[(j + c) * step] -= product[c];
  }
  for (; j < *n; ++j) v[j * step] -= dotOne(*m, a + j * stride, x);
}

void my_dgemv(const char* trans, const int32_t* m, const int32_t* n, const double* /*alpha*/, const double* a,
              const int32_t* lda, const double* x, const int32_t* incx, const double* beta, double* y,
              const int32_t* incy) {
  const bool plain = isLetter(trans, 'N');
  scaleStrided(plain ? *m : *n, *beta, y, *incy);
  if (plain) {
    my_dgemv_n_1m1_yone(m, n, a, lda, x, incx, y);
  } else {
    my_dgemv_t_1m1_xone(m, n, a, lda, x, y, incy);
  }
}

// ---- Triangular solves ----

void my_dtrsv_ln(const char* diag, const int32_t* n, const double* a, const int32_t* lda, double* x,
                 const int32_t* incx) {
  const int64_t stride = *lda;
  const int64_t step = *incx;
  const bool unit = isLetter(diag, 'U');
  double* u = start(x, *n, step);
  for (int32_t j = 0; j < *n; ++j) {
    const double* column = a + j * stride;
    if (!unit) u[j * step] /= column[j];
    const double value = u[j * step];
    if (step == 1) {
      addMultiple(*n - j - 1, -value, column + j + 1, u + j + 1);
    } else {
      for (int32_t i = j + 1; i < *n; ++i) u[i * step] -= value * column[i];
    }
  }
}

void my_dtrsv_unn(const int32_t* n, const double* a, const int32_t* lda, double* x, const int32_t* incx) {
  const int64_t stride = *lda;
  const int64_t step = *incx;
  double* u = start(x, *n, step);
  for (int32_t j = *n - 1; j >= 0; --j) {
    const double* column = a + j * stride;
    u[j * step] /= column[j];
    const double value = u[j * step];
    if (step == 1) {
      addMultiple(j, -value, column, u);
    } else {
      for (int32_t i = 0; i < j; ++i) u[i * step] -= value * column[i];
    }
  }
}

void my_dtrsv_utn(const int32_t* n, const double* a, const int32_t* lda, double* x, const int32_t* incx) {
  const int64_t stride = *lda;
  const int64_t step = *incx;
  double* u = start(x, *n, step);
  for (int32_t j = 0; j < *n; ++j) {
    const double* column = a + j * stride;
    double sum = 0.0;
    if (step == 1) {
      sum = dotOne(j, column, u);
    } else {
      for (int32_t i = 0; i < j; ++i) sum += column[i] * u[i * step];
    }
    u[j * step] = (u[j * step] - sum) / column[j];
  }
}

void my_dtrsv(const char* uplo, const char* trans, const char* diag, const int32_t* n, const double* a,
              const int32_t* lda, double* x, const int32_t* incx) {
  if (isLetter(uplo, 'L')) {
    my_dtrsv_ln(diag, n, a, lda, x, incx);
  } else if (isLetter(trans, 'N')) {
    my_dtrsv_unn(n, a, lda, x, incx);
  } else {
    my_dtrsv_utn(n, a, lda, x, incx);
  }
}

// ---- Triangular products ----

void my_dtrmv_ln_one(const char* diag, const int32_t* n, const double* a, const int32_t* lda, double* x) {
  const int64_t stride = *lda;
  for (int32_t j = *n - 1; j >= 0; --j) {
    const double* column = a + j * stride;
    addMultiple(*n - j - 1, x[j], column + j + 1, x + j + 1);
    if (!isLetter(diag, 'U')) x[j] *= column[j];
  }
}

void my_dtrmv_lt_one(const char* diag, const int32_t* n, const double* a, const int32_t* lda, double* x) {
  const int64_t stride = *lda;
  for (int32_t j = 0; j < *n; ++j) {
    const double* column = a + j * stride;
    if (!isLetter(diag, 'U')) x[j] *= column[j];
    x[j] += dotOne(*n - j - 1, column + j + 1, x + j + 1);
  }
}

void my_dtrmv_un_one(const char* diag, const int32_t* n, const double* a, const int32_t* lda, double* x) {
  const int64_t stride = *lda;
  for (int32_t j = 0; j < *n; ++j) {
    const double* column = a + j * stride;
    addMultiple(j, x[j], column, x);
    if (!isLetter(diag, 'U')) x[j] *= column[j];
  }
}

void my_dtrmv_ut_one(const char* diag, const int32_t* n, const double* a, const int32_t* lda, double* x) {
  const int64_t stride = *lda;
  for (int32_t j = *n - 1; j >= 0; --j) {
    const double* column = a + j * stride;
    if (!isLetter(diag, 'U')) x[j] *= column[j];
    x[j] += dotOne(j, column, x);
  }
}

// ---- Symmetric products ----

void my_dsymv(const char* uplo, const int32_t* n, const double* alpha, const double* a, const int32_t* lda,
              const double* x, const int32_t* incx, const double* beta, double* y, const int32_t* incy) {
  scaleStrided(*n, *beta, y, *incy);
  if (*alpha == 0.0) return;
  const bool lower = isLetter(uplo, 'L');
  const int64_t step = lower ? *lda + 1 : *lda;
  addSymmetricProduct(
      lower, *n, *alpha, [&](int32_t j) { return a + j * step; }, x, *incx, y, *incy);
}

void my_dspmv(const char* uplo, const int32_t* n, const double* alpha, const double* ap, const double* x,
              const int32_t* incx, const double* beta, double* y, const int32_t* incy) {
  scaleStrided(*n, *beta, y, *incy);
  if (*alpha == 0.0) return;
  const bool lower = isLetter(uplo, 'L');
  const int64_t order = *n;
  const auto column = [&](int64_t j) { return ap + (lower ? j * order - j * (j - 1) / 2 : j * (j + 1) / 2); };
  addSymmetricProduct(lower, *n, *alpha, column, x, *incx, y, *incy);
}

}  // namespace qz
