// One panel of the dense LDL factorisation, left-looking: a column is brought up to date when its turn comes, in the
// workspace W, which keeps the columns before their division by D. So the columns behind the panel can be updated by
// one product A := A - L (L D)'.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dense/blas.h"
#include "dense/dense_ldl.h"
#include "dense/dense_ldl_pivot.h"
#include "dense/kernels.h"

namespace qz {

namespace {

// Columns that a panel leaves behind 95 or 96 factored ones.
constexpr int32_t kFullPanel = kLDLPanelWidth - 1;

struct Panel {
  int32_t m;
  int32_t n;
  double* a;
  int64_t lda;
  double* w;
  int64_t ldw;
  double tolerance;

  double* column(int64_t j) const { return a + j * lda; }
  double* work(int64_t j) const { return w + j * ldw; }
};

struct Pivot {
  int32_t width;  // 1 or 2 columns
  int32_t row;    // interchanged with the last of them
  bool perturbed;
};

// y := y - A x, A rows-by-columns, x with a stride. Short products are not worth a call.
void subtractProduct(int32_t rows, int32_t columns, const double* a, int64_t lda, const double* x, int64_t stride,
                     double* y) {
  if (columns == 0 || rows == 0) return;
  if (static_cast<int64_t>(rows) * columns > 1024) {
    const int32_t lda32 = static_cast<int32_t>(lda);
    const int32_t stride32 = static_cast<int32_t>(stride);
    my_dgemv_n_1m1_yone(&rows, &columns, a, &lda32, x, &stride32, y);
    return;
  }
  double* __restrict__ target = y;
  int32_t j = 0;
  for (; j + 1 < columns; j += 2) {
    const double* __restrict__ first = a + j * lda;
    const double* __restrict__ second = first + lda;
    const double x0 = x[j * stride];
    const double x1 = x[(j + 1) * stride];
    for (int32_t i = 0; i < rows; ++i) target[i] -= first[i] * x0 + second[i] * x1;
  }
  if (j < columns) {
    const double* __restrict__ last = a + j * lda;
    const double x0 = x[j * stride];
    for (int32_t i = 0; i < rows; ++i) target[i] -= last[i] * x0;
  }
}

// Column k of the trailing matrix, up to date, into W(:, k) from row k on.
void formColumn(const Panel& p, int32_t k) {
  double* w = p.work(k) + k;
  std::copy_n(p.column(k) + k, p.m - k, w);
  subtractProduct(p.m - k, k, p.a + k, p.lda, p.w + k, p.ldw, w);
}

// Column `row` of the trailing matrix, of which only the lower part is stored, into W(:, k + 1) from row k on.
void formOtherColumn(const Panel& p, int32_t k, int32_t row) {
  double* w = p.work(k + 1);
  for (int32_t j = k; j < row; ++j) w[j] = p.column(j)[row];
  std::copy_n(p.column(row) + row, p.m - row, w + row);
  subtractProduct(p.m - k, k, p.a + k, p.lda, p.w + row, p.ldw, w + k);
}

// The search in the square part. Leaves the pivot column or columns in W(:, k) and W(:, k + 1).
Pivot choosePivot(const Panel& p, int32_t k) {
  double* w = p.work(k);
  const double absakk = std::fabs(w[k]);
  const LargestEntry below = largestEntry(p.n - k - 1, w + k + 1, 1);
  const double colmax = below.magnitude;
  if (std::max(absakk, colmax) <= p.tolerance) {
    w[k] = perturbedPivot(w[k], p.tolerance);
    return {1, k, true};
  }
  // Written so that a column that is not a number is taken as it stands: the last column has no neighbour.
  if (!(absakk < kBunchKaufmanAlpha * colmax)) return {1, k, false};

  const int32_t row = k + 1 + below.position;
  formOtherColumn(p, k, row);
  const double* other = p.work(k + 1);
  const double rowmax = std::max(largestEntry(row - k, other + k, 1).magnitude,
                                 largestEntry(p.n - row - 1, other + row + 1, 1).magnitude);
  if (absakk >= diagonalThreshold(colmax, rowmax)) return {1, k, false};
  if (std::fabs(other[row]) >= std::max(p.tolerance, kBunchKaufmanAlpha * rowmax)) {
    std::copy_n(other + k, p.m - k, w + k);
    return {1, row, false};
  }
  return {2, row, false};
}

// Interchanges rows and columns `from` (the last column of the pivot at k) and `to` of the trailing matrix, and the
// rows of the panel's earlier columns in A and W. Column `from` itself lives in W by now: only its old content moves.
void interchange(const Panel& p, int32_t k, int32_t from, int32_t to) {
  if (from == to) return;
  const double* source = p.column(from);
  double* target = p.column(to);
  target[to] = source[from];
  for (int32_t i = from + 1; i < to; ++i) p.column(i)[to] = source[i];
  std::copy(source + to + 1, source + p.m, target + to + 1);
  for (int32_t j = 0; j < k; ++j) std::swap(p.column(j)[from], p.column(j)[to]);
  for (int32_t j = 0; j <= from; ++j) std::swap(p.work(j)[from], p.work(j)[to]);
}

void storeSingle(const Panel& p, int32_t k) {
  const double* __restrict__ w = p.work(k);
  double* __restrict__ a = p.column(k);
  a[k] = w[k];
  const double inverse = 1.0 / w[k];
  for (int32_t i = k + 1; i < p.m; ++i) a[i] = w[i] * inverse;
}

void storePair(const Panel& p, int32_t k) {
  const double* __restrict__ w0 = p.work(k);
  const double* __restrict__ w1 = p.work(k + 1);
  double* __restrict__ a0 = p.column(k);
  double* __restrict__ a1 = p.column(k + 1);
  a0[k] = w0[k];
  a0[k + 1] = w0[k + 1];
  a1[k + 1] = w1[k + 1];
  const InversePair d = invertPair(w0[k], w0[k + 1], w1[k + 1]);
  for (int32_t i = k + 2; i < p.m; ++i) {
    a0[i] = (d.v * w0[i] - w1[i]) * d.s;
    a1[i] = (d.u * w1[i] - w0[i]) * d.s;
  }
}

// Columns behind the panel: A := A - L (L D)', in strips whose diagonal block is a triangle.
void updateTrailing(const Panel& p, int32_t done, double* packA, double* packB) {
  const double minusOne = -1.0;
  const double one = 1.0;
  const int32_t lda = static_cast<int32_t>(p.lda);
  const int32_t ldw = static_cast<int32_t>(p.ldw);
  for (int32_t j = done; j < p.n; j += kLDLPanelWidth) {
    const int32_t width = std::min(kLDLPanelWidth, p.n - j);
    const int32_t below = j + width;
    my_dsyrk2("L", &width, &done, &minusOne, p.a + j, &lda, p.w + j, &ldw, &one, p.column(j) + j, &lda, packA, packB);
    if (below < p.m) {
      blas::dgemm("N", "T", p.m - below, width, done, -1.0, p.a + below, lda, p.w + j, ldw, 1.0, p.column(j) + below,
                  lda);
    }
  }
}

// Puts the rows of each of the panel's columns back into the order that they had at its own step.
void undoInterchanges(const Panel& p, int32_t done, const int32_t* pivots) {
  for (int32_t j = done - 1; j > 0; --j) {
    const int32_t from = j;
    int32_t to = pivots[j];
    if (to < 0) {
      to = -to;
      --j;
    }
    if (from == to) continue;
    for (int32_t c = 0; c < j; ++c) std::swap(p.column(c)[from], p.column(c)[to]);
  }
}

}  // namespace

void DenseLDLDlasyf(int32_t m, int32_t n, int32_t* numDone, double* a, int32_t lda, int32_t* pivots, double tolerance,
                    double* w, int32_t ldw, int32_t* perturbedCount, double* packA, double* packB) {
  const Panel p{m, n, a, lda, w, ldw, tolerance};
  const int32_t limit = n <= kLDLPanelWidth ? n : kFullPanel;
  int32_t k = 0;
  while (k < limit) {
    formColumn(p, k);
    const Pivot pivot = choosePivot(p, k);
    if (pivot.perturbed) ++*perturbedCount;
    interchange(p, k, k + pivot.width - 1, pivot.row);
    if (pivot.width == 1) {
      storeSingle(p, k);
      pivots[k] = pivot.row;
    } else {
      storePair(p, k);
      pivots[k] = pivots[k + 1] = -pivot.row;
    }
    k += pivot.width;
  }
  if (k < n) updateTrailing(p, k, packA, packB);
  undoInterchanges(p, k, pivots);
  *numDone = k;
}

}  // namespace qz
