#include "eigen/divide_conquer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dense/blas.h"
#include "dense/dense_qr_reflector.h"
#include "eigen/dense_eigen.h"
#include "eigen/secular_equation.h"
#include "eigen/tridiagonal_qr.h"
#include "eigen/tridiagonal_tools.h"

namespace qz {

namespace {

// Where the vector of a column lives.
enum ColumnType : int32_t { TOP_ONLY, MIXED, BOTTOM_ONLY, DEFLATED, NUM_TYPES };

// One merge, in arrays of the largest problem.
struct Merge {
  int32_t n;
  int32_t n1;
  double* d;
  double* q;
  int32_t ldq;
  double rho;
  double* z;
  double* dlamda;    // k poles, ascending; later the sorted values
  double* w;         // k weights
  double* area;      // grouped halves, deflated vectors and work of the secular solve; later the permuted vectors
  int32_t* type;     // of each column of q
  int32_t* sorted;   // the columns in ascending order of d; later the order of the results
  int32_t* chosen;   // k columns that take part, ascending, then the deflated ones, descending
  int32_t* grouped;  // of the k, positions in `chosen` by type
  int32_t k;
  int32_t firstDeflated;
};

double* columnOf(const Merge& merge, int32_t j) {
  return merge.q + static_cast<int64_t>(j) * merge.ldq;
}

// z = (last row of Q1, first row of Q2) / sqrt(2); the norm of u is sqrt(2), so rho doubles, and a negative rho goes
// into the sign of the lower half.
void formUpdate(Merge* merge) {
  const int32_t n1 = merge->n1;
  const int32_t n2 = merge->n - n1;
  const double scale = 1.0 / std::sqrt(2.0);
  for (int32_t j = 0; j < n1; ++j) merge->z[j] = scale * columnOf(*merge, j)[n1 - 1];
  const double lowerScale = merge->rho < 0.0 ? -scale : scale;
  for (int32_t j = 0; j < n2; ++j) merge->z[n1 + j] = lowerScale * columnOf(*merge, n1 + j)[n1];
  merge->rho = std::fabs(2.0 * merge->rho);
}

// Keeps the deflated columns, from position firstDeflated on, in descending order of their values.
void addDeflated(Merge* merge, int32_t column) {
  int32_t at = --merge->firstDeflated;
  while (at + 1 < merge->n && merge->d[column] < merge->d[merge->chosen[at + 1]]) {
    merge->chosen[at] = merge->chosen[at + 1];
    ++at;
  }
  merge->chosen[at] = column;
  merge->type[column] = DEFLATED;
}

void addChosen(Merge* merge, int32_t column) {
  merge->dlamda[merge->k] = merge->d[column];
  merge->w[merge->k] = merge->z[column];
  merge->chosen[merge->k++] = column;
}

// Rotates two columns so that z vanishes in the first, when the off-diagonal that this leaves is negligible.
bool rotateAway(Merge* merge, int32_t first, int32_t second, double tolerance) {
  double s = merge->z[first];
  double c = merge->z[second];
  const double norm = SqrtSumSquares(c, s);
  const double gap = merge->d[second] - merge->d[first];
  c /= norm;
  s /= -norm;
  if (std::fabs(gap * c * s) > tolerance) return false;
  merge->z[second] = norm;
  merge->z[first] = 0.0;
  if (merge->type[first] != merge->type[second]) merge->type[second] = MIXED;
  blas::drot(merge->n, columnOf(*merge, first), 1, columnOf(*merge, second), 1, c, s);
  const double low = merge->d[first];
  const double high = merge->d[second];
  merge->d[first] = low * c * c + high * s * s;
  merge->d[second] = low * s * s + high * c * c;
  return true;
}

void deflate(Merge* merge) {
  const int32_t n = merge->n;
  const double largestD = std::fabs(merge->d[blas::idamax(n, merge->d, 1) - 1]);
  const double largestZ = std::fabs(merge->z[blas::idamax(n, merge->z, 1) - 1]);
  const double tolerance = 8.0 * kUnitRoundoff * std::max(largestD, largestZ);
  MergeSortedLists(merge->n1, n - merge->n1, merge->d, 1, 1, merge->sorted);
  for (int32_t j = 0; j < n; ++j) merge->type[j] = j < merge->n1 ? TOP_ONLY : BOTTOM_ONLY;
  merge->k = 0;
  merge->firstDeflated = n;
  int32_t pending = -1;
  for (int32_t at = 0; at < n; ++at) {
    const int32_t column = merge->sorted[at];
    if (merge->rho * std::fabs(merge->z[column]) <= tolerance) {
      addDeflated(merge, column);
      continue;
    }
    if (pending >= 0) {
      if (rotateAway(merge, pending, column, tolerance)) {
        addDeflated(merge, pending);
      } else {
        addChosen(merge, pending);
      }
    }
    pending = column;
  }
  if (pending >= 0) addChosen(merge, pending);
}

// Copies the columns by type to the area, halves that are zero left out, and returns the groups. *deflatedAt receives
// the place of the deflated columns, *freeAt that behind them.
SecularGroups groupColumns(Merge* merge, double** deflatedAt, double** freeAt) {
  const int32_t k = merge->k;
  const int32_t n1 = merge->n1;
  const int32_t n2 = merge->n - n1;
  int32_t count[NUM_TYPES] = {};
  for (int32_t g = 0; g < k; ++g) ++count[merge->type[merge->chosen[g]]];
  int32_t next[NUM_TYPES] = {0, count[TOP_ONLY], count[TOP_ONLY] + count[MIXED], 0};
  for (int32_t g = 0; g < k; ++g) merge->grouped[next[merge->type[merge->chosen[g]]]++] = g;

  double* top = merge->area;
  double* bottom = top + static_cast<int64_t>(n1) * (count[TOP_ONLY] + count[MIXED]);
  double* to = top;
  for (int32_t g = 0; g < count[TOP_ONLY] + count[MIXED]; ++g, to += n1)
    std::copy_n(columnOf(*merge, merge->chosen[merge->grouped[g]]), n1, to);
  for (int32_t g = count[TOP_ONLY]; g < k; ++g, to += n2)
    std::copy_n(columnOf(*merge, merge->chosen[merge->grouped[g]]) + n1, n2, to);
  *deflatedAt = to;
  for (int32_t at = k; at < merge->n; ++at, to += merge->n)
    std::copy_n(columnOf(*merge, merge->chosen[at]), merge->n, to);
  *freeAt = to;
  return {count[TOP_ONLY], count[MIXED], count[BOTTOM_ONLY], merge->grouped, top, bottom};
}

// The new values (k ascending, then the deflated ones descending) and their columns in ascending order.
void sortResults(Merge* merge) {
  const int32_t n = merge->n;
  MergeSortedLists(merge->k, n - merge->k, merge->d, 1, -1, merge->sorted);
  for (int32_t at = 0; at < n; ++at) {
    merge->dlamda[at] = merge->d[merge->sorted[at]];
    std::copy_n(columnOf(*merge, merge->sorted[at]), n, merge->area + static_cast<int64_t>(at) * n);
  }
  std::copy_n(merge->dlamda, n, merge->d);
  for (int32_t j = 0; j < n; ++j) std::copy_n(merge->area + static_cast<int64_t>(j) * n, n, columnOf(*merge, j));
}

int32_t mergeHalves(Merge* merge) {
  formUpdate(merge);
  deflate(merge);
  double* deflated = nullptr;
  double* work = nullptr;
  const SecularGroups groups = groupColumns(merge, &deflated, &work);
  const int32_t k = merge->k;
  for (int32_t at = k; at < merge->n; ++at) merge->z[at] = merge->d[merge->chosen[at]];
  if (k > 0) {
    const int32_t status = SolveSecularEquation(k, merge->n, merge->n1, merge->d, merge->q, merge->ldq, merge->rho,
                                                merge->dlamda, merge->w, groups, work);
    if (status != kEigenOK) return status;
  }
  for (int32_t at = k; at < merge->n; ++at) {
    merge->d[at] = merge->z[at];
    std::copy_n(deflated + static_cast<int64_t>(at - k) * merge->n, merge->n, columnOf(*merge, at));
  }
  sortResults(merge);
  return kEigenOK;
}

// The space of all merges, cut once for the largest.
Merge cutWork(int32_t n, double* work) {
  Merge space{};
  space.z = work;
  space.dlamda = space.z + n;
  space.w = space.dlamda + n;
  space.type = reinterpret_cast<int32_t*>(space.w + n);
  space.sorted = space.type + n;
  space.chosen = space.sorted + n;
  space.grouped = space.chosen + n;
  space.area = work + 5 * static_cast<int64_t>(n);
  return space;
}

// NOLINTNEXTLINE(misc-no-recursion): the depth is log2 of n / 25.
int32_t solvePart(int32_t n, double* d, double* e, double* q, int32_t ldq, const Merge& space) {
  for (int32_t j = 0; j < n; ++j) std::fill_n(q + static_cast<int64_t>(j) * ldq, n, 0.0);
  if (n <= kLargestLeaf) {
    for (int32_t j = 0; j < n; ++j) q[j + static_cast<int64_t>(j) * ldq] = 1.0;
    return EigenSolverTridiagQR(n, d, e, q, ldq, space.area) == 0 ? kEigenOK : kEigenFailed;
  }
  const int32_t n1 = n / 2;
  const double rho = e[n1 - 1];
  d[n1 - 1] -= std::fabs(rho);
  d[n1] -= std::fabs(rho);
  int32_t status = solvePart(n1, d, e, q, ldq, space);
  if (status != kEigenOK) return status;
  status = solvePart(n - n1, d + n1, e + n1, q + n1 + static_cast<int64_t>(n1) * ldq, ldq, space);
  if (status != kEigenOK) return status;
  Merge merge = space;
  merge.n = n;
  merge.n1 = n1;
  merge.d = d;
  merge.q = q;
  merge.ldq = ldq;
  merge.rho = rho;
  return mergeHalves(&merge);
}

}  // namespace

int64_t divideAndConquerWorkEntries(int32_t n) {
  // Vectors and positions; both halves of the grouped columns, at most n1^2 + n2^2, and deflated columns with the small
  // vectors, at most n^2 together; a vector of the secular solve. At least the rotations of a leaf.
  const int64_t size = n;
  return 5 * size + size * size + (size * size + 1) / 2 + size + 2 * kLargestLeaf;
}

int32_t DivideAndConquer(int32_t n, double* diag, double* offDiag, double* q, int32_t ldq, double* work) {
  return n < 1 ? kEigenOK : solvePart(n, diag, offDiag, q, ldq, cutWork(n, work));
}

}  // namespace qz
