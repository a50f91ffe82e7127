#include "dense/dense_qr_reflector.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dense/blas.h"

namespace qz {

namespace {

// Below the first, squares and quotients of the column would lose digits to gradual underflow; the factor is exact.
constexpr double kTinyColumn = 0x1p-960;
constexpr double kTinyFactor = 0x1p+500;

}  // namespace

double SqrtSumSquares(double a, double b) {
  const double high = std::max(std::fabs(a), std::fabs(b));
  const double low = std::min(std::fabs(a), std::fabs(b));
  if (low == 0.0) return high;
  const double quotient = low / high;
  return high * std::sqrt(1.0 + quotient * quotient);
}

void my_dlarfg(int32_t n, double* alpha, double* x, double* tau) {
  *tau = 0.0;
  if (n <= 1) return;
  double norm = blas::dnrm2(n - 1, x, 1);
  if (norm == 0.0) return;
  const bool tiny = std::max(std::fabs(*alpha), norm) < kTinyColumn;
  if (tiny) {
    *alpha *= kTinyFactor;
    blas::dscal(n - 1, kTinyFactor, x, 1);
    norm = blas::dnrm2(n - 1, x, 1);
  }
  const double beta = -std::copysign(SqrtSumSquares(*alpha, norm), *alpha);
  *tau = (beta - *alpha) / beta;
  blas::dscal(n - 1, 1.0 / (*alpha - beta), x, 1);
  *alpha = tiny ? beta / kTinyFactor : beta;
}

void my_dlarf_one(int32_t m, int32_t n, const double* x, double tau, double* c, int32_t ldc, double* work) {
  if (tau == 0.0 || m < 1 || n < 1) return;
  blas::dcopy(n, c, ldc, work, 1);
  if (m > 1) blas::dgemv("T", m - 1, n, 1.0, c + 1, ldc, x, 1, 1.0, work, 1);
  blas::daxpy(n, -tau, work, 1, c, ldc);
  if (m > 1) blas::dger(m - 1, n, -tau, x, 1, work, 1, c + 1, ldc);
}

}  // namespace qz
