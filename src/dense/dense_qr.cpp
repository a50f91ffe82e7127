// The drivers: panels over the matrix, recursion within a panel.
#include "dense/dense_qr.h"

#include <algorithm>
#include <cstdint>

#include "dense/blas.h"

namespace qz {

namespace {

double* entry(double* a, int32_t lda, int32_t i, int32_t j) {
  return a + i + static_cast<int64_t>(j) * lda;
}

// c := Q'c with the reflectors of a panel.
void applyPanel(int32_t m, int32_t n, int32_t k, const double* v, int32_t ldv, const double* t, int32_t ldt, double* c,
                int32_t ldc, double* work) {
  if (n < 1) return;
  if (k <= kQRLeafWidth) {
    dqru4(m, n, k, v, ldv, t, ldt, c, ldc, work);
  } else {
    qr_dlarfb("T", m, n, k, v, ldv, t, ldt, c, ldc, work);
  }
}

// Factors a panel by panel; each one's reflectors go through the columns behind it and through `extra`.
void factorPanels(int32_t m, int32_t n, double* a, int32_t lda, int32_t numExtra, double* extra, int32_t ldExtra,
                  double* tau, double* t) {
  double* work = t + static_cast<int64_t>(kQRPanelWidth) * kQRPanelWidth;
  const int32_t numReflectors = std::min(m, n);
  for (int32_t j = 0; j < numReflectors; j += kQRPanelWidth) {
    const int32_t width = std::min(kQRPanelWidth, numReflectors - j);
    const int32_t behind = n - j - width;
    const int32_t wantT = behind > 0 || numExtra > 0 ? 1 : 0;
    double* panel = entry(a, lda, j, j);
    DenseQRBlock(m - j, width, wantT, panel, lda, tau + j, t, kQRPanelWidth, work);
    applyPanel(m - j, behind, width, panel, lda, t, kQRPanelWidth, entry(a, lda, j, j + width), lda, work);
    if (numExtra > 0) applyPanel(m - j, numExtra, width, panel, lda, t, kQRPanelWidth, extra + j, ldExtra, work);
  }
}

}  // namespace

void DenseQRBlock(int32_t m, int32_t n, int32_t wantT, double* a, int32_t lda, double* tau, double* t, int32_t ldt,
                  double* work) {
  if (n <= kQRLeafWidth) {
    dqra4(m, n, wantT, a, lda, tau, t, ldt, work, a + n);
    return;
  }
  const int32_t s = qrSplit(n);
  DenseQRBlock(m, s, 1, a, lda, tau, t, ldt, work);
  applyPanel(m, n - s, s, a, lda, t, ldt, entry(a, lda, 0, s), lda, work);
  DenseQRBlock(m - s, n - s, wantT, entry(a, lda, s, s), lda, tau + s, entry(t, ldt, s, s), ldt, work);
  if (wantT != 0) qrConnectT(m, s, n, a, lda, t, ldt);
}

int32_t LA_DenseQRFactor(int32_t m, int32_t n, double* a, int32_t lda, double* tau, double* t) {
  if (n >= 1) factorPanels(m, n, a, lda, 0, nullptr, lda, tau, t);
  return 0;
}

int32_t DenseQRWithUpdate(int32_t m, int32_t n, double* a, int32_t lda, int32_t numExtra, double* extra, double* tau,
                          double* t) {
  if (n >= 1) factorPanels(m, n, a, lda, numExtra, extra, lda, tau, t);
  return 0;
}

int32_t LA_DenseQRSolve(int32_t m, int32_t n, int32_t numRhs, double* a, int32_t lda, double* b, int32_t ldb,
                        double* tau, double* t) {
  if (n < 1) return 0;
  factorPanels(m, n, a, lda, numRhs, b, ldb, tau, t);
  if (numRhs > 0) blas::dtrsm("L", "U", "N", "N", n, numRhs, 1.0, a, lda, b, ldb);
  return 0;
}

}  // namespace qz
