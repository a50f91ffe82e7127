// The unblocked, right-looking form of the dense LDL factorisation: every pivot updates the whole trailing triangle.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dense/dense_ldl.h"
#include "dense/dense_ldl_pivot.h"
#include "dense/kernels.h"

namespace qz {

namespace {

struct Square {
  int32_t n;
  double* a;
  int64_t lda;

  double* column(int64_t j) const { return a + j * lda; }
};

// Width of the pivot at column k, and the row to interchange with its last column.
int32_t choosePivot(const Square& s, int32_t k, double tolerance, int32_t* row, int32_t* perturbedCount) {
  double* column = s.column(k);
  const double absakk = std::fabs(column[k]);
  const LargestEntry below = largestEntry(s.n - k - 1, column + k + 1, 1);
  const double colmax = below.magnitude;
  *row = k;
  if (std::max(absakk, colmax) <= tolerance) {
    column[k] = perturbedPivot(column[k], tolerance);
    ++*perturbedCount;
    return 1;
  }
  if (!(absakk < kBunchKaufmanAlpha * colmax)) return 1;

  const int32_t candidate = k + 1 + below.position;
  const double* other = s.column(candidate);
  const double rowmax = std::max(largestEntry(candidate - k, column + candidate, static_cast<int32_t>(s.lda)).magnitude,
                                 largestEntry(s.n - candidate - 1, other + candidate + 1, 1).magnitude);
  if (absakk >= diagonalThreshold(colmax, rowmax)) return 1;
  *row = candidate;
  const double diagonal = std::fabs(other[candidate]);
  return diagonal <= tolerance || diagonal < kBunchKaufmanAlpha * rowmax ? 2 : 1;
}

// Interchanges rows and columns `from` and `to` of the trailing matrix that begins at column k.
void interchange(const Square& s, int32_t k, int32_t from, int32_t to) {
  if (from == to) return;
  double* source = s.column(from);
  double* target = s.column(to);
  std::swap_ranges(source + to + 1, source + s.n, target + to + 1);
  for (int32_t i = from + 1; i < to; ++i) std::swap(source[i], s.column(i)[to]);
  std::swap(source[from], target[to]);
  if (from != k) std::swap(s.column(k)[from], s.column(k)[to]);
}

// One elimination step with the 2-by-2 pivot at columns k and k + 1.
void eliminatePair(const Square& s, int32_t k) {
  double* __restrict__ a0 = s.column(k);
  double* __restrict__ a1 = s.column(k + 1);
  const InversePair d = invertPair(a0[k], a0[k + 1], a1[k + 1]);
  for (int32_t j = k + 2; j < s.n; ++j) {
    double* __restrict__ target = s.column(j);
    const double l0 = (d.v * a0[j] - a1[j]) * d.s;
    const double l1 = (d.u * a1[j] - a0[j]) * d.s;
    for (int32_t i = j; i < s.n; ++i) target[i] -= a0[i] * l0 + a1[i] * l1;
    a0[j] = l0;
    a1[j] = l1;
  }
}

}  // namespace

void DenseLDLNonBlock(double tolerance, int32_t n, double* a, int32_t lda, int32_t* pivots, int32_t* perturbedCount) {
  const Square s{n, a, lda};
  int32_t k = 0;
  while (k < n) {
    int32_t row = k;
    const int32_t width = choosePivot(s, k, tolerance, &row, perturbedCount);
    interchange(s, k, k + width - 1, row);
    if (width == 1) {
      double* diagonal = s.column(k) + k;
      const int32_t rest = n - k - 1;
      const double inverse = 1.0 / diagonal[0];
      if (rest > 0) my_dsyr_dscal(&rest, diagonal + 1, diagonal + lda + 1, &inverse, &lda);
      pivots[k] = row;
    } else {
      eliminatePair(s, k);
      pivots[k] = pivots[k + 1] = -row;
    }
    k += width;
  }
}

}  // namespace qz
