#include "dense/dense_ldl.h"

#include <cmath>

#include "dense/dense_ldl_pivot.h"
#include "shell/host_table.h"

namespace qz {

namespace {

constexpr int32_t kCancelled = 13;

// The last column of a trapezoid: no search, no interchange.
void factorSingleColumn(int32_t m, double* a, int32_t* pivots, double* w, int32_t* perturbedCount, double tolerance) {
  double pivot = a[0];
  if (std::fabs(pivot) <= tolerance) {
    pivot = perturbedPivot(pivot, tolerance);
    ++*perturbedCount;
  }
  a[0] = w[0] = pivot;
  pivots[0] = 0;
  const double inverse = 1.0 / pivot;
  double* __restrict__ column = a;
  double* __restrict__ product = w;
  for (int32_t i = 1; i < m; ++i) {
    product[i] = column[i];
    column[i] *= inverse;
  }
}

}  // namespace

int32_t LA_DenseLDLFactorize(int32_t m, int32_t n, double* a, int32_t lda, int32_t* pivots, double* w,
                             int32_t* perturbedCount, double* packA, double* packB, double tolerance) {
  return DenseLDLFactorWithFlag(m, n, a, lda, nullptr, pivots, w, perturbedCount, packA, packB, tolerance);
}

int32_t DenseLDLFactorWithFlag(int32_t m, int32_t n, double* a, int32_t lda, const QzThread* thread, int32_t* pivots,
                               double* w, int32_t* perturbedCount, double* packA, double* packB, double tolerance) {
  // W moves on with the panels as long as its columns are wanted afterwards.
  const int64_t workStep = m > n ? m : 0;
  int32_t k = 0;
  while (k < n) {
    if (threadCancelled(thread)) return kCancelled;
    double* diagonal = a + k + static_cast<int64_t>(k) * lda;
    double* work = w + k * workStep + k;
    if (m == n) work = w;
    int32_t done = 1;
    if (n - k == 1) {
      factorSingleColumn(m - k, diagonal, pivots + k, work, perturbedCount, tolerance);
    } else {
      DenseLDLDlasyf(m - k, n - k, &done, diagonal, lda, pivots + k, tolerance, work, m, perturbedCount, packA, packB);
    }
    for (int32_t j = k; j < k + done; ++j) pivots[j] += pivots[j] >= 0 ? k : -k;
    k += done;
  }
  return 0;
}

}  // namespace qz
