#include "eigen/davidson_basis.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dense/blas.h"
#include "eigen/dense_eigen.h"
#include "eigen/orthogonalize.h"
#include "eigen/random_vector.h"

namespace qz {

namespace {

constexpr int32_t kRotationRows = 256;  // rows of V and W that a restart turns at once

double* columnOf(double* a, int64_t ld, int32_t j) {
  return a + ld * j;
}

// Work of the dense solver, a square matrix, or a block of rows.
int64_t scratchEntries(int32_t maxCount) {
  const int64_t size = maxCount;
  return std::max({denseSymEigenWorkEntries("V", maxCount), size * size, kRotationRows * size});
}

// a := a C by blocks of rows, C with `columns` columns.
void rotateColumns(const DavidsonBasis& b, int32_t columns, double* a) {
  const int32_t n = b.matrix.n;
  for (int32_t first = 0; first < n; first += kRotationRows) {
    const int32_t rows = std::min(kRotationRows, n - first);
    blas::dgemm("N", "N", rows, columns, b.count, 1.0, a + first, n, b.kept, b.maxCount, 0.0, b.scratch, rows);
    for (int32_t j = 0; j < columns; ++j)
      std::copy_n(b.scratch + static_cast<int64_t>(j) * rows, rows, columnOf(a, n, j) + first);
  }
}

// H := C'H C.
void rotateProjection(DavidsonBasis* b, int32_t columns) {
  blas::dsymm("L", "L", b->count, columns, 1.0, b->H, b->maxCount, b->kept, b->maxCount, 0.0, b->scratch, b->count);
  blas::dgemm("T", "N", columns, columns, b->count, 1.0, b->kept, b->maxCount, b->scratch, b->count, 0.0, b->H,
              b->maxCount);
}

}  // namespace

double basisEntries(int32_t n, int32_t maxCount) {
  const double size = maxCount;
  return 2.0 * n * size + 3.0 * size * size + 2.0 * size + static_cast<double>(scratchEntries(maxCount));
}

double* cutBasis(DavidsonBasis* basis, double* memory) {
  const int64_t size = basis->maxCount;
  const int64_t tall = size * basis->matrix.n;
  basis->V = memory;
  basis->W = basis->V + tall;
  basis->H = basis->W + tall;
  basis->coefficients = basis->H + size * size;
  basis->kept = basis->coefficients + size * size;
  basis->ritzValues = basis->kept + size * size;
  basis->previous = basis->ritzValues + size;
  basis->scratch = basis->previous + size;
  return basis->scratch + scratchEntries(basis->maxCount);
}

int32_t extendBasis(DavidsonBasis* basis, int32_t upTo) {
  const SparseSymMatrix& a = basis->matrix;
  const int32_t first = basis->count;
  if (upTo <= first) return 0;
  const int32_t status = LA_AddAndOrthogonalize(first, upTo - 1, basis->V, a.n, basis->scratch, basis->seed);
  if (status != 0) return status;
  for (int32_t j = first; j < upTo; ++j)
    a.multiply(a.n, a.colStart, a.rowIndex, a.value, columnOf(basis->V, a.n, j), columnOf(basis->W, a.n, j));
  basis->products += upTo - first;
  double* columns = columnOf(basis->H, basis->maxCount, first);
  if (upTo - first == 1) {
    blas::dgemv("T", a.n, upTo, 1.0, basis->V, a.n, columnOf(basis->W, a.n, first), 1, 0.0, columns, 1);
  } else {
    blas::dgemm("T", "N", upTo, upTo - first, a.n, 1.0, basis->V, a.n, columnOf(basis->W, a.n, first), a.n, 0.0,
                columns, basis->maxCount);
  }
  for (int32_t j = first; j < upTo; ++j)
    for (int32_t i = 0; i < j; ++i)
      columnOf(basis->H, basis->maxCount, i)[j] = columnOf(basis->H, basis->maxCount, j)[i];
  basis->count = upTo;
  return 0;
}

int32_t extendRandomly(DavidsonBasis* basis, int32_t upTo) {
  const int32_t n = basis->matrix.n;
  for (int32_t j = basis->count; j < upTo; ++j) RandSeedVector(n, basis->seed, columnOf(basis->V, n, j));
  return extendBasis(basis, upTo);
}

int32_t computeRitzPairs(DavidsonBasis* basis) {
  const int32_t k = basis->count;
  const int32_t ld = basis->maxCount;
  for (int32_t j = 0; j < k; ++j) std::copy_n(columnOf(basis->H, ld, j), k, columnOf(basis->coefficients, ld, j));
  const int32_t status = LA_DenseSymEigenSolver("V", k, basis->coefficients, ld, basis->ritzValues, basis->scratch);
  if (status != 0) return status;
  if (!basis->smallest) {
    std::reverse(basis->ritzValues, basis->ritzValues + k);
    for (int32_t j = 0; j < k / 2; ++j)
      blas::dswap(k, columnOf(basis->coefficients, ld, j), 1, columnOf(basis->coefficients, ld, k - 1 - j), 1);
  }
  const double largest = std::max(std::fabs(basis->ritzValues[0]), std::fabs(basis->ritzValues[k - 1]));
  basis->normEstimate = std::max(basis->normEstimate, largest);
  return 0;
}

void formRitzVector(const DavidsonBasis& basis, int32_t j, double* x, double* y) {
  const int32_t n = basis.matrix.n;
  const double* s = columnOf(basis.coefficients, basis.maxCount, j);
  blas::dgemv("N", n, basis.count, 1.0, basis.V, n, s, 1, 0.0, x, 1);
  if (y != nullptr) blas::dgemv("N", n, basis.count, 1.0, basis.W, n, s, 1, 0.0, y, 1);
}

int32_t restartBasis(DavidsonBasis* basis, int32_t keep) {
  const int32_t k = basis->count;
  const int32_t ld = basis->maxCount;
  int32_t columns = std::min(keep, k);
  std::fill_n(basis->kept, static_cast<int64_t>(ld) * ld, 0.0);
  for (int32_t j = 0; j < columns; ++j)
    std::copy_n(columnOf(basis->coefficients, ld, j), k, columnOf(basis->kept, ld, j));
  if (columns + 1 < ld) {
    double* direction = columnOf(basis->kept, ld, columns);
    std::copy_n(basis->previous, k, direction);
    columns += LA_OrthogonalizeICGS(1, direction, ld, columns, basis->kept, basis->scratch);
  }
  rotateColumns(*basis, columns, basis->V);
  rotateColumns(*basis, columns, basis->W);
  rotateProjection(basis, columns);
  basis->count = columns;
  std::fill_n(basis->previous, ld, 0.0);
  const int32_t extended = extendRandomly(basis, keep);
  const int32_t solved = computeRitzPairs(basis);  // what is there must fit the basis in any case
  return extended != 0 ? extended : solved;
}

}  // namespace qz
