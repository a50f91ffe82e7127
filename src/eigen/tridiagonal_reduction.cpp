#include "eigen/tridiagonal_reduction.h"

#include <algorithm>
#include <cstdint>

#include "dense/blas.h"
#include "dense/dense_qr.h"
#include "dense/dense_qr_reflector.h"

namespace qz {

namespace {

double* entry(double* a, int32_t lda, int32_t i, int32_t j) {
  return a + i + static_cast<int64_t>(j) * lda;
}

const double* entry(const double* a, int32_t lda, int32_t i, int32_t j) {
  return a + i + static_cast<int64_t>(j) * lda;
}

// w := w - tau/2 (w'v) v, so that the two-sided reflection is A - v w' - w v'.
void completeUpdateVector(int32_t n, double tau, const double* v, double* w) {
  blas::daxpy(n, -0.5 * tau * blas::ddot(n, w, 1, v, 1), v, 1, w, 1);
}

// w := tau (A - V W' - W V') v below the diagonal of column i, with the reflectors 0 to i - 1 of the panel.
void formUpdateVector(int32_t n, int32_t i, const double* a, int32_t lda, double tau, double* w, int32_t ldw) {
  const int32_t rest = n - i - 1;
  const double* v = entry(a, lda, i + 1, i);
  double* target = entry(w, ldw, i + 1, i);
  double* head = entry(w, ldw, 0, i);
  blas::dsymv("L", rest, 1.0, entry(a, lda, i + 1, i + 1), lda, v, 1, 0.0, target, 1);
  if (i > 0) {
    blas::dgemv("T", rest, i, 1.0, w + i + 1, ldw, v, 1, 0.0, head, 1);
    blas::dgemv("N", rest, i, -1.0, a + i + 1, lda, head, 1, 1.0, target, 1);
    blas::dgemv("T", rest, i, 1.0, a + i + 1, lda, v, 1, 0.0, head, 1);
    blas::dgemv("N", rest, i, -1.0, w + i + 1, ldw, head, 1, 1.0, target, 1);
  }
  blas::dscal(rest, tau, target, 1);
  completeUpdateVector(rest, tau, v, target);
}

// The first `width` columns of an n-by-n triangle, n > width. The leading entries of the reflectors are left as ones
// for the trailing update.
void reducePanel(int32_t n, int32_t width, double* a, int32_t lda, double* offDiag, double* tau, double* w,
                 int32_t ldw) {
  for (int32_t i = 0; i < width; ++i) {
    double* column = entry(a, lda, i, i);
    if (i > 0) {
      blas::dgemv("N", n - i, i, -1.0, a + i, lda, w + i, ldw, 1.0, column, 1);
      blas::dgemv("N", n - i, i, -1.0, w + i, ldw, a + i, lda, 1.0, column, 1);
    }
    my_dlarfg(n - i - 1, column + 1, column + 2, tau + i);
    offDiag[i] = column[1];
    column[1] = 1.0;
    formUpdateVector(n, i, a, lda, tau[i], w, ldw);
  }
}

// The columns of a small triangle, one by one. w: n entries.
void reduceUnblocked(int32_t n, double* a, int32_t lda, double* offDiag, double* tau, double* w) {
  for (int32_t i = 0; i + 1 < n; ++i) {
    const int32_t rest = n - i - 1;
    double* v = entry(a, lda, i + 1, i);
    my_dlarfg(rest, v, v + 1, tau + i);
    offDiag[i] = v[0];
    if (tau[i] == 0.0) continue;
    v[0] = 1.0;
    blas::dsymv("L", rest, tau[i], entry(a, lda, i + 1, i + 1), lda, v, 1, 0.0, w, 1);
    completeUpdateVector(rest, tau[i], v, w);
    blas::dsyr2("L", rest, -1.0, v, 1, w, 1, entry(a, lda, i + 1, i + 1), lda);
  }
}

}  // namespace

void reduceToTridiagonal(int32_t n, double* a, int32_t lda, double* diag, double* offDiag, double* tau, double* work) {
  int32_t first = 0;
  for (; n - first > kReductionPanel; first += kReductionPanel) {
    const int32_t left = n - first;
    const int32_t behind = left - kReductionPanel;
    double* panel = entry(a, lda, first, first);
    reducePanel(left, kReductionPanel, panel, lda, offDiag + first, tau + first, work, left);
    blas::dsyr2k("L", "N", behind, kReductionPanel, -1.0, panel + kReductionPanel, lda, work + kReductionPanel, left,
                 1.0, entry(panel, lda, kReductionPanel, kReductionPanel), lda);
  }
  // The values are not needed yet: their array is the update vector.
  reduceUnblocked(n - first, entry(a, lda, first, first), lda, offDiag + first, tau + first, diag);
  for (int32_t i = 0; i < n; ++i) diag[i] = *entry(a, lda, i, i);
}

int64_t backTransformWorkEntries(int32_t n) {
  if (n - 1 < kReductionPanel) return n;
  return static_cast<int64_t>(kReductionPanel) * (kReductionPanel + static_cast<int64_t>(n));
}

void backTransform(int32_t n, const double* a, int32_t lda, const double* tau, double* z, int32_t ldz, double* work) {
  const int32_t numReflectors = n - 1;
  if (numReflectors < kReductionPanel) {
    for (int32_t i = numReflectors - 1; i >= 0; --i)
      my_dlarf_one(n - i - 1, n, entry(a, lda, i + 2, i), tau[i], z + i + 1, ldz, work);
    return;
  }
  double* t = work;
  double* scratch = work + static_cast<int64_t>(kReductionPanel) * kReductionPanel;
  const int32_t lastBlock = (numReflectors - 1) / kReductionPanel * kReductionPanel;
  for (int32_t i = lastBlock; i >= 0; i -= kReductionPanel) {
    const int32_t width = std::min(kReductionPanel, numReflectors - i);
    const double* v = entry(a, lda, i + 1, i);
    qr_dlarft(n - i - 1, width, v, lda, tau + i, t, kReductionPanel);
    qr_dlarfb("N", n - i - 1, n, width, v, lda, t, kReductionPanel, z + i + 1, ldz, scratch);
  }
}

}  // namespace qz
