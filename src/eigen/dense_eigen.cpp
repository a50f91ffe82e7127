#include "eigen/dense_eigen.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "dense/blas.h"
#include "eigen/divide_conquer.h"
#include "eigen/tridiagonal_qr.h"
#include "eigen/tridiagonal_reduction.h"
#include "eigen/tridiagonal_tools.h"

namespace qz {

namespace {

double* entry(double* a, int32_t lda, int32_t i, int32_t j) {
  return a + i + static_cast<int64_t>(j) * lda;
}

// The arrays that are cut from `work`. The panels of the reduction lie where the vectors come later.
struct Workspace {
  double* offDiag;  // n
  double* tau;      // n
  double* vectors;  // n * n, or the panels alone without vectors
  double* scratch;  // of the tridiagonal solvers and the back-transformation
};

Workspace cutWork(int32_t n, double* work) {
  const int64_t size = n;
  return {work, work + size, work + 2 * size, work + 2 * size + size * size};
}

// The largest magnitude in the lower triangle; infinity when an entry is not finite.
double largestEntry(int32_t n, const double* a, int32_t lda) {
  double largest = 0.0;
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t i = j; i < n; ++i) {
      const double value = std::fabs(a[i + static_cast<int64_t>(j) * lda]);
      if (!std::isfinite(value)) return std::numeric_limits<double>::infinity();
      largest = std::max(largest, value);
    }
  }
  return largest;
}

// Factor that brings the matrix into the range where squares of its entries can be trusted; 1 when it is there.
double scaleFactor(double largest) {
  const double huge = std::sqrt(std::numeric_limits<double>::max());
  if (largest > 0.0 && largest < kUnitRoundoff) return kUnitRoundoff / largest;
  return largest > huge ? huge / largest : 1.0;
}

void scaleTriangle(int32_t n, double* a, int32_t lda, double factor) {
  for (int32_t j = 0; j < n; ++j) blas::dscal(n - j, factor, entry(a, lda, j, j), 1);
}

// Largest magnitude of a tridiagonal matrix.
double largestOf(int32_t n, const double* diag, const double* offDiag) {
  double largest = 0.0;
  for (int32_t i = 0; i < n; ++i) largest = std::max(largest, std::fabs(diag[i]));
  for (int32_t i = 0; i + 1 < n; ++i) largest = std::max(largest, std::fabs(offDiag[i]));
  return largest;
}

// The end (exclusive) of the block that starts at `start`. A coupling is dropped when it is below 2^-53 of the product
// of its neighbours, both measured in units of the matrix, so that what is dropped is never above 2^-53 of the norm;
// below norm 1 the plain product is small enough.
int32_t blockEnd(int32_t n, int32_t start, const double* diag, const double* offDiag, double unit) {
  for (int32_t i = start; i + 1 < n; ++i) {
    const double product = (std::fabs(diag[i]) / unit) * std::fabs(diag[i + 1]);
    if (offDiag[i] == 0.0 || kUnitRoundoff * product > std::fabs(offDiag[i])) return i + 1;
  }
  return n;
}

// A large block, with its largest entry brought to 1. There is one that is not zero, since a zero coupling ends a
// block.
int32_t solveLargeBlock(int32_t n, double* diag, double* offDiag, double* z, int32_t ldz, double* scratch) {
  const double largest = largestOf(n, diag, offDiag);
  for (int32_t i = 0; i < n; ++i) diag[i] /= largest;
  for (int32_t i = 0; i + 1 < n; ++i) offDiag[i] /= largest;
  const int32_t status = DivideAndConquer(n, diag, offDiag, z, ldz, scratch);
  for (int32_t i = 0; i < n; ++i) diag[i] *= largest;
  return status;
}

// Vectors of a tridiagonal matrix into z, n by n; the values in diag, ascending.
int32_t solveTridiagonal(int32_t n, double* diag, double* offDiag, double* z, double* scratch) {
  std::fill_n(z, static_cast<int64_t>(n) * n, 0.0);
  for (int32_t j = 0; j < n; ++j) *entry(z, n, j, j) = 1.0;
  if (n <= kLargestLeaf) return EigenSolverTridiagQR(n, diag, offDiag, z, n, scratch) == 0 ? kEigenOK : kEigenFailed;
  const double unit = std::max(1.0, largestOf(n, diag, offDiag));
  for (int32_t start = 0; start < n;) {
    const int32_t end = blockEnd(n, start, diag, offDiag, unit);
    const int32_t size = end - start;
    double* block = entry(z, n, start, start);
    if (size > kLargestLeaf) {
      const int32_t status = solveLargeBlock(size, diag + start, offDiag + start, block, n, scratch);
      if (status != kEigenOK) return status;
    } else if (size > 1) {
      if (EigenSolverTridiagQR(size, diag + start, offDiag + start, block, n, scratch) != 0) return kEigenFailed;
    }
    start = end;
  }
  SortEigenSystem(n, diag, z, n);
  return kEigenOK;
}

}  // namespace

int64_t denseSymEigenWorkEntries(const char* job, int32_t n) {
  const int64_t size = n;
  if (*job != 'V') return 2 * size + (n > kReductionPanel ? kReductionPanel * size : 0);
  return 2 * size + size * size + std::max(divideAndConquerWorkEntries(n), backTransformWorkEntries(n));
}

int32_t LA_DenseSymEigenSolver(const char* job, int32_t n, double* a, int32_t lda, double* eigenvalues, double* work) {
  if (n < 1) return kEigenOK;
  const bool wantVectors = *job == 'V';
  const double largest = largestEntry(n, a, lda);
  if (std::isinf(largest)) return kEigenFailed;
  if (n == 1) {
    eigenvalues[0] = a[0];
    if (wantVectors) a[0] = 1.0;
    return kEigenOK;
  }
  const double factor = scaleFactor(largest);
  if (factor != 1.0) scaleTriangle(n, a, lda, factor);
  const Workspace space = cutWork(n, work);
  reduceToTridiagonal(n, a, lda, eigenvalues, space.offDiag, space.tau, space.vectors);
  if (wantVectors) {
    const int32_t status = solveTridiagonal(n, eigenvalues, space.offDiag, space.vectors, space.scratch);
    if (status != kEigenOK) return status;
    backTransform(n, a, lda, space.tau, space.vectors, n, space.scratch);
    for (int32_t j = 0; j < n; ++j) std::copy_n(entry(space.vectors, n, 0, j), n, entry(a, lda, 0, j));
  } else if (EigenValuesTridiagPWK(n, eigenvalues, space.offDiag) != 0) {
    return kEigenFailed;
  }
  if (factor != 1.0)
    for (int32_t i = 0; i < n; ++i) eigenvalues[i] /= factor;
  return kEigenOK;
}

void LA_ComputeEigenDecompAccuracy(int32_t n, const double* a, int32_t lda, const double* values, const double* vectors,
                                   int32_t ldVectors, double* residual, double* orthogonality, double* work) {
  *residual = *orthogonality = 0.0;
  if (n < 1) return;
  double norm = 0.0;
  for (int32_t j = 0; j < n; ++j) {
    double sum = 0.0;
    for (int32_t i = 0; i < n; ++i)
      sum += std::fabs(i < j ? a[j + static_cast<int64_t>(i) * lda] : a[i + static_cast<int64_t>(j) * lda]);
    norm = std::max(norm, sum);
  }
  // Largest column sum of work minus the given multiples of the columns of `minus`.
  const auto largestColumn = [&](auto column) {
    double largest = 0.0;
    for (int32_t j = 0; j < n; ++j) {
      double sum = 0.0;
      for (int32_t i = 0; i < n; ++i) sum += std::fabs(work[i + static_cast<int64_t>(j) * n] - column(i, j));
      largest = std::max(largest, sum);
    }
    return largest / (n * kUnitRoundoff);
  };
  blas::dsymm("L", "L", n, n, 1.0, a, lda, vectors, ldVectors, 0.0, work, n);
  const double unit = norm > 0.0 ? norm : 1.0;
  *residual = largestColumn(
                  [&](int32_t i, int32_t j) { return vectors[i + static_cast<int64_t>(j) * ldVectors] * values[j]; }) /
              unit;
  blas::dgemm("T", "N", n, n, n, 1.0, vectors, ldVectors, vectors, ldVectors, 0.0, work, n);
  *orthogonality = largestColumn([](int32_t i, int32_t j) { return i == j ? 1.0 : 0.0; });
}

}  // namespace qz
