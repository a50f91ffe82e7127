// Block reflectors: forming T of many columns, and applying I - V T V' or its transpose by products.
#include <cstdint>

#include "dense/blas.h"
#include "dense/dense_qr.h"

namespace qz {

namespace {

// W = C'V held as n by k: the products run along the columns of C.
void applyTall(const char* trans, int32_t m, int32_t n, int32_t k, const double* v, int32_t ldv, const double* t,
               int32_t ldt, double* c, int32_t ldc, double* w) {
  for (int32_t j = 0; j < k; ++j) blas::dcopy(n, c + j, ldc, w + static_cast<int64_t>(j) * n, 1);
  blas::dtrmm("R", "L", "N", "U", n, k, 1.0, v, ldv, w, n);
  if (m > k) blas::dgemm("T", "N", n, k, m - k, 1.0, c + k, ldc, v + k, ldv, 1.0, w, n);
  blas::dtrmm("R", "U", *trans == 'T' ? "N" : "T", "N", n, k, 1.0, t, ldt, w, n);
  if (m > k) blas::dgemm("N", "T", m - k, n, k, -1.0, v + k, ldv, w, n, 1.0, c + k, ldc);
  blas::dtrmm("R", "L", "T", "U", n, k, 1.0, v, ldv, w, n);
  for (int32_t j = 0; j < k; ++j) blas::daxpy(n, -1.0, w + static_cast<int64_t>(j) * n, 1, c + j, ldc);
}

// W = V'C held as k by n, for a C of few columns.
void applyWide(const char* trans, int32_t m, int32_t n, int32_t k, const double* v, int32_t ldv, const double* t,
               int32_t ldt, double* c, int32_t ldc, double* w) {
  for (int32_t j = 0; j < n; ++j)
    blas::dcopy(k, c + static_cast<int64_t>(j) * ldc, 1, w + static_cast<int64_t>(j) * k, 1);
  blas::dtrmm("L", "L", "T", "U", k, n, 1.0, v, ldv, w, k);
  if (m > k) blas::dgemm("T", "N", k, n, m - k, 1.0, v + k, ldv, c + k, ldc, 1.0, w, k);
  blas::dtrmm("L", "U", trans, "N", k, n, 1.0, t, ldt, w, k);
  if (m > k) blas::dgemm("N", "N", m - k, n, k, -1.0, v + k, ldv, w, k, 1.0, c + k, ldc);
  blas::dtrmm("L", "L", "N", "U", k, n, 1.0, v, ldv, w, k);
  for (int32_t j = 0; j < n; ++j)
    blas::daxpy(k, -1.0, w + static_cast<int64_t>(j) * k, 1, c + static_cast<int64_t>(j) * ldc, 1);
}

}  // namespace

void qrConnectT(int32_t m, int32_t s, int32_t w, const double* v, int32_t ldv, double* t, int32_t ldt) {
  const int32_t rest = w - s;
  const double* second = v + s + static_cast<int64_t>(s) * ldv;
  double* t12 = t + static_cast<int64_t>(s) * ldt;
  // V1'V2: rows s to w - 1 of V1 meet the unit triangle of V2, the rows behind them its full part.
  for (int32_t j = 0; j < rest; ++j) blas::dcopy(s, v + s + j, ldv, t12 + static_cast<int64_t>(j) * ldt, 1);
  blas::dtrmm("R", "L", "N", "U", s, rest, 1.0, second, ldv, t12, ldt);
  if (m > w) blas::dgemm("T", "N", s, rest, m - w, 1.0, v + w, ldv, second + rest, ldv, 1.0, t12, ldt);
  blas::dtrmm("L", "U", "N", "N", s, rest, -1.0, t, ldt, t12, ldt);
  blas::dtrmm("R", "U", "N", "N", s, rest, 1.0, t12 + s, ldt, t12, ldt);
}

void qr_dlarft(int32_t m, int32_t k, const double* v, int32_t ldv, const double* tau, double* t, int32_t ldt) {
  if (k <= kQRLeafWidth) {
    dlarft4(m, k, v, ldv, tau, t, ldt);
    return;
  }
  const int32_t s = qrSplit(k);
  qr_dlarft(m, s, v, ldv, tau, t, ldt);
  qr_dlarft(m - s, k - s, v + s + static_cast<int64_t>(s) * ldv, ldv, tau + s, t + s + static_cast<int64_t>(s) * ldt,
            ldt);
  qrConnectT(m, s, k, v, ldv, t, ldt);
}

void qr_dlarfb(const char* trans, int32_t m, int32_t n, int32_t k, const double* v, int32_t ldv, const double* t,
               int32_t ldt, double* c, int32_t ldc, double* work) {
  if (n < 1 || k < 1) return;
  if (n < k) {
    applyWide(trans, m, n, k, v, ldv, t, ldt, c, ldc, work);
  } else {
    applyTall(trans, m, n, k, v, ldv, t, ldt, c, ldc, work);
  }
}

}  // namespace qz
