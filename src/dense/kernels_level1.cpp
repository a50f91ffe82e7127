// Level 1 of the kernel layer, with the meanings of the BLAS.
#include <cmath>
#include <cstring>
#include <limits>

#include "dense/clones.h"
#include "dense/kernels.h"

namespace qz {

namespace {

// Where a strided vector starts: a negative increment walks backwards from the far end.
template <typename T>
T* start(T* x, int32_t n, int32_t incx) {
  return incx < 0 ? x - static_cast<int64_t>(n - 1) * incx : x;
}

constexpr int32_t SUMS = 8;  // partial sums of a reduction

double total(const double (&sum)[SUMS]) {
  return ((sum[0] + sum[4]) + (sum[2] + sum[6])) + ((sum[1] + sum[5]) + (sum[3] + sum[7]));
}

QZ_CLONES double dotContiguous(int32_t n, const double* __restrict x, const double* __restrict y) {
  double sum[SUMS] = {};
  const int32_t whole = n - n % SUMS;
  for (int32_t i = 0; i < whole; i += SUMS) {
    for (int32_t s = 0; s < SUMS; ++s) sum[s] += x[i + s] * y[i + s];
  }
  for (int32_t i = whole; i < n; ++i) sum[i - whole] += x[i] * y[i];
  return total(sum);
}

QZ_CLONES double sumOfMagnitudes(int32_t n, const double* __restrict x) {
  double sum[SUMS] = {};
  const int32_t whole = n - n % SUMS;
  for (int32_t i = 0; i < whole; i += SUMS) {
    for (int32_t s = 0; s < SUMS; ++s) sum[s] += std::fabs(x[i + s]);
  }
  for (int32_t i = whole; i < n; ++i) sum[i - whole] += std::fabs(x[i]);
  return total(sum);
}

QZ_CLONES void addMultiple(int32_t n, double alpha, const double* __restrict x, double* __restrict y) {
  for (int32_t i = 0; i < n; ++i) y[i] += alpha * x[i];
}

QZ_CLONES void multiply(int32_t n, double alpha, double* __restrict x) {
  for (int32_t i = 0; i < n; ++i) x[i] *= alpha;
}

QZ_CLONES void rotate(int32_t n, double* __restrict x, double* __restrict y, double c, double s) {
  for (int32_t i = 0; i < n; ++i) {
    const double first = c * x[i] + s * y[i];
    y[i] = c * y[i] - s * x[i];
    x[i] = first;
  }
}

}  // namespace

double my_ddot(const int32_t* n, const double* x, const int32_t* incx, const double* y, const int32_t* incy) {
  if (*incx == 1 && *incy == 1) return dotContiguous(*n, x, y);
  const double* u = start(x, *n, *incx);
  const double* v = start(y, *n, *incy);
  double sum = 0.0;
  for (int32_t i = 0; i < *n; ++i, u += *incx, v += *incy) sum += *u * *v;
  return sum;
}

void my_dcopy(const int32_t* n, const double* x, const int32_t* incx, double* y, const int32_t* incy) {
  if (*n <= 0) return;
  if (*incx == 1 && *incy == 1) {
    std::memcpy(y, x, static_cast<size_t>(*n) * sizeof(double));
    return;
  }
  const double* u = start(x, *n, *incx);
  double* v = start(y, *n, *incy);
  for (int32_t i = 0; i < *n; ++i, u += *incx, v += *incy) *v = *u;
}

void my_daxpy(const int32_t* n, const double* alpha, const double* x, const int32_t* incx, double* y,
              const int32_t* incy) {
  if (*alpha == 0.0) return;
  if (*incx == 1 && *incy == 1) {
    addMultiple(*n, *alpha, x, y);
    return;
  }
  const double* u = start(x, *n, *incx);
  double* v = start(y, *n, *incy);
  for (int32_t i = 0; i < *n; ++i, u += *incx, v += *incy) *v += *alpha * *u;
}

void my_dscal(const int32_t* n, const double* alpha, double* x, const int32_t* incx) {
  if (*incx <= 0) return;
  if (*incx == 1) {
    multiply(*n, *alpha, x);
    return;
  }
  for (int32_t i = 0; i < *n; ++i) x[static_cast<int64_t>(i) * *incx] *= *alpha;
}

int32_t my_idamax(const int32_t* n, const double* x, const int32_t* incx) {
  if (*n < 1 || *incx < 1) return 0;
  int32_t best = 0;
  double largest = std::fabs(x[0]);
  for (int32_t i = 1; i < *n; ++i) {
    const double magnitude = std::fabs(x[static_cast<int64_t>(i) * *incx]);
    if (magnitude > largest) {
      largest = magnitude;
      best = i;
    }
  }
  return best + 1;
}

void my_dswap(const int32_t* n, double* x, const int32_t* incx, double* y, const int32_t* incy) {
  double* u = start(x, *n, *incx);
  double* v = start(y, *n, *incy);
  for (int32_t i = 0; i < *n; ++i, u += *incx, v += *incy) {
    const double held = *u;
    *u = *v;
    *v = held;
  }
}

// The plain sum of squares is safe when it neither overflows nor falls so low that lost squares could matter; otherwise
// the scaled sum: norm = scale sqrt(sum), with scale the largest magnitude so far (Hammarling; Lawson et al. 1979).
double my_dnrm2(const int32_t* n, const double* x, const int32_t* incx) {
  if (*n < 1 || *incx < 1) return 0.0;
  const double squares = my_ddot(n, x, incx, x, incx);
  constexpr double SAFE_LOW = 1e-280;
  if (squares > SAFE_LOW && squares <= std::numeric_limits<double>::max()) return std::sqrt(squares);
  double scale = 0.0;
  double sum = 1.0;
  for (int32_t i = 0; i < *n; ++i) {
    const double magnitude = std::fabs(x[static_cast<int64_t>(i) * *incx]);
    if (magnitude == 0.0) continue;
    if (!(magnitude <= std::numeric_limits<double>::max())) return magnitude + squares;
    if (scale < magnitude) {
      const double ratio = scale / magnitude;
      sum = 1.0 + sum * ratio * ratio;
      scale = magnitude;
    } else {
      const double ratio = magnitude / scale;
      sum += ratio * ratio;
    }
  }
  return scale * std::sqrt(sum);
}

double my_dasum(const int32_t* n, const double* x, const int32_t* incx) {
  if (*incx <= 0) return 0.0;
  if (*incx == 1) return sumOfMagnitudes(*n, x);
  double sum = 0.0;
  for (int32_t i = 0; i < *n; ++i) sum += std::fabs(x[static_cast<int64_t>(i) * *incx]);
  return sum;
}

void my_drotg(double* a, double* b, double* c, double* s) {
  const double magnitudeA = std::fabs(*a);
  const double magnitudeB = std::fabs(*b);
  const double scale = magnitudeA + magnitudeB;
  if (scale == 0.0) {
    *c = 1.0;
    *s = 0.0;
    *a = 0.0;
    *b = 0.0;
    return;
  }
  const double scaledA = *a / scale;
  const double scaledB = *b / scale;
  const double sign = (magnitudeA > magnitudeB ? *a : *b) < 0.0 ? -1.0 : 1.0;
  const double r = sign * scale * std::sqrt(scaledA * scaledA + scaledB * scaledB);
  *c = *a / r;
  *s = *b / r;
  double z = 1.0;
  if (magnitudeA > magnitudeB) {
    z = *s;
  } else if (*c != 0.0) {
    z = 1.0 / *c;
  }
  *a = r;
  *b = z;
}

void my_drot(const int32_t* n, double* x, const int32_t* incx, double* y, const int32_t* incy, const double* c,
             const double* s) {
  if (*incx == 1 && *incy == 1) {
    rotate(*n, x, y, *c, *s);
    return;
  }
  double* u = start(x, *n, *incx);
  double* v = start(y, *n, *incy);
  for (int32_t i = 0; i < *n; ++i, u += *incx, v += *incy) {
    const double first = *c * *u + *s * *v;
    *v = *c * *v - *s * *u;
    *u = first;
  }
}

}  // namespace qz
