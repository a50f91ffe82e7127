#include "eigen/sparse_eigen.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dense/blas.h"
#include "eigen/correction.h"
#include "eigen/davidson_basis.h"
#include "eigen/dense_eigen.h"
#include "eigen/orthogonalize.h"
#include "eigen/tridiagonal_tools.h"
#include "shell/pool.h"
#include "sparse/matrix_norms.h"

namespace qz {

namespace {

constexpr double kTolerance = 1e-12;  // of a residual, relative to the norm of the matrix
constexpr int32_t kProductsPerPair = 10000;
constexpr int32_t kWarmUpSteps = 15;  // steps without acceptance for a matrix of large norm
constexpr double kWarmUpNorm = 1e5;
constexpr int32_t kInnerLimit = 3000;
constexpr double kBytesLimit = 18446744073709551616.0;  // 2^64
constexpr int32_t kTallVectors = 8;                     // n entries each, beside the basis

int32_t truncated(double x) {
  return static_cast<int32_t>(x);
}

struct Davidson {
  DavidsonBasis basis;
  CorrectionSpace space;
  double* x;           // target's Ritz vector
  double* image;       // A x
  double* residual;    // A x - theta x
  double* accepted;    // numWanted: values of the pairs taken as converged
  double* acceptedAt;  // numWanted: their residuals
  int32_t numWanted;
  int32_t restartSize;
  int32_t numConverged;
  int64_t maxMatVec;
  int64_t outerSteps;
  int32_t stallCount;
  double bestResidual;
  double residualNorm;  // of the target
};

double* cutVectors(Davidson* d, double* memory) {
  const int64_t n = d->basis.matrix.n;
  double** vectors[kTallVectors] = {&d->x,           &d->image,          &d->residual,
                                    &d->space.t,     &d->space.residual, &d->space.direction,
                                    &d->space.image, &d->space.step};
  for (double** vector : vectors) {
    *vector = memory;
    memory += n;
  }
  d->accepted = memory;
  d->acceptedAt = memory + d->numWanted;
  return d->acceptedAt + d->numWanted;
}

double convergenceLimit(const Davidson& d, double theta) {
  const double estimate = d.basis.normEstimate;
  const double limit = estimate * kTolerance;
  // A tiny value of a huge matrix must be seen as what it is.
  return d.numWanted == 1 && estimate > 1e15 && std::fabs(theta) / estimate < 1e-5 ? 1e-5 * limit : limit;
}

void startTarget(Davidson* d) {
  d->stallCount = 0;
  d->bestResidual = 1e300;
}

// Forms the Ritz vector of the target, its image and its residual.
void formTarget(Davidson* d) {
  const int32_t n = d->basis.matrix.n;
  const double theta = d->basis.ritzValues[d->numConverged];
  formRitzVector(d->basis, d->numConverged, d->x, d->image);
  std::copy_n(d->image, n, d->residual);
  blas::daxpy(n, -theta, d->x, 1, d->residual, 1);
  d->residualNorm = blas::dnrm2(n, d->residual, 1);
}

bool accepts(Davidson* d) {
  const double rho = d->residualNorm;
  if (0.8 * d->bestResidual >= rho) {
    d->bestResidual = rho;
    d->stallCount = 0;
  } else {
    ++d->stallCount;
  }
  // With a complete basis the Ritz pairs are the eigenpairs; a zero residual cannot be improved.
  if (d->basis.count == d->basis.matrix.n || rho == 0.0) return true;
  const bool warmingUp = d->basis.normEstimate >= kWarmUpNorm && d->outerSteps < kWarmUpSteps;
  if (warmingUp && d->basis.products <= d->maxMatVec) return false;
  const int32_t patience = 5 * (d->numConverged + 1) + 15;
  return rho < convergenceLimit(*d, d->basis.ritzValues[d->numConverged]) || d->stallCount >= patience;
}

void lockTarget(Davidson* d) {
  d->accepted[d->numConverged] = d->basis.ritzValues[d->numConverged];
  d->acceptedAt[d->numConverged] = d->residualNorm;
  ++d->numConverged;
  startTarget(d);
}

// By interlacing the values only move outwards, and an accepted one by no more than its residual: one that moved
// further has been displaced by a new value.
void reopenDisplaced(Davidson* d) {
  for (int32_t j = 0; j < d->numConverged; ++j) {
    const double moved = std::fabs(d->basis.ritzValues[j] - d->accepted[j]);
    if (moved <= 2.0 * std::max(d->acceptedAt[j], d->basis.normEstimate * kTolerance)) continue;
    d->numConverged = j;
    startTarget(d);
    return;
  }
}

// How small a residual of the corrected vector is worth the products.
double correctionTarget(const Davidson& d) {
  const double estimate = d.basis.normEstimate;
  const double target = estimate < 1e12 ? 0.01 * d.residualNorm : estimate * kTolerance / 1.8;
  return d.numWanted > 1 ? std::max(target, 0.1 * d.residualNorm) : target;
}

// The next direction, in the column behind the basis; a random one when the inner solve gives nothing.
int32_t expand(Davidson* d) {
  DavidsonBasis& b = d->basis;
  const int64_t left = std::max<int64_t>(kInnerLimit, d->maxMatVec - b.products);
  const Correction problem{
      d->x,       d->residual, b.ritzValues[d->numConverged], d->residualNorm, b.normEstimate, correctionTarget(*d),
      b.smallest, left};
  int64_t products = 0;
  bool found = solveCorrection(b.matrix, problem, d->space, &products);
  b.products += products;
  const double norm = found ? blas::dnrm2(b.matrix.n, d->space.t, 1) : 0.0;
  found = found && norm > 0.0 && std::isfinite(norm);
  const double* s = b.coefficients + static_cast<int64_t>(d->numConverged) * b.maxCount;
  std::fill_n(b.previous, b.maxCount, 0.0);
  std::copy_n(s, b.count, b.previous);
  if (!found) return extendRandomly(&b, b.count + 1);
  std::copy_n(d->space.t, b.matrix.n, b.V + static_cast<int64_t>(b.count) * b.matrix.n);
  return extendBasis(&b, b.count + 1);
}

// One step on a target that is not accepted.
int32_t step(Davidson* d) {
  // A restart changes the coordinates of the target, not its vector.
  if (d->basis.count == d->basis.maxCount) {
    const int32_t status = restartBasis(&d->basis, d->restartSize);
    if (status != 0) return status;
  }
  int32_t status = expand(d);
  if (status != 0) return status;
  status = computeRitzPairs(&d->basis);
  if (status != 0) return status;
  ++d->outerSteps;
  reopenDisplaced(d);
  return 0;
}

// Among values that agree, vectors accepted early turn when the next copy comes up. The target goes back to the first
// pair that has lost its accuracy, if there is one.
void reopenTurned(Davidson* d) {
  if (d->basis.count == d->basis.matrix.n) return;
  const int32_t all = d->numConverged;
  for (d->numConverged = 0; d->numConverged < all; ++d->numConverged) {
    const int32_t j = d->numConverged;
    formTarget(d);
    const double limit = std::max(convergenceLimit(*d, d->basis.ritzValues[j]), 2.0 * d->acceptedAt[j]);
    if (d->residualNorm > limit) return;
  }
}

int32_t start(Davidson* d) {
  const int32_t status = extendRandomly(&d->basis, d->restartSize);
  return status != 0 ? status : computeRitzPairs(&d->basis);
}

int32_t iterate(Davidson* d) {
  startTarget(d);
  while (d->numConverged < d->numWanted) {
    formTarget(d);
    if (accepts(d)) {
      lockTarget(d);
      if (d->numConverged == d->numWanted && d->numWanted > 1) reopenTurned(d);
      continue;
    }
    if (d->basis.products > d->maxMatVec) return kEigenLimit;
    const int32_t status = step(d);
    if (status != 0) return status;
  }
  return 0;
}

// The current values, vectors and residuals of all pairs asked for.
void writePairs(Davidson* d, double* eigenvalues, double* eigenvectors, double* residuals) {
  const int32_t n = d->basis.matrix.n;
  const int32_t count = std::min(d->numWanted, d->basis.count);
  for (int32_t j = 0; j < count; ++j) {
    double* x = eigenvectors + static_cast<int64_t>(j) * n;
    eigenvalues[j] = d->basis.ritzValues[j];
    formRitzVector(d->basis, j, x, d->image);
    blas::daxpy(n, -eigenvalues[j], x, 1, d->image, 1);
    residuals[j] = blas::dnrm2(n, d->image, 1);
  }
}

// One and two columns need no iteration.
int32_t solveTiny(const SparseSymMatrix& matrix, int32_t numWanted, bool smallest, double* eigenvalues,
                  double* eigenvectors, double* residuals) {
  const int32_t n = matrix.n;
  double a[4] = {};
  for (int32_t j = 0; j < n; ++j)
    for (int32_t p = matrix.colStart[j]; p < matrix.colStart[j + 1]; ++p)
      a[matrix.rowIndex[p] + j * n] += matrix.value[p];
  if (n == 1) {
    eigenvalues[0] = a[0];
    eigenvectors[0] = 1.0;
    residuals[0] = 0.0;
    return 0;
  }
  double values[2];
  double work[128];
  const int32_t status = LA_DenseSymEigenSolver("V", n, a, n, values, work);
  if (status != 0) return status;
  for (int32_t j = 0; j < numWanted; ++j) {
    const int32_t from = smallest ? j : n - 1 - j;
    eigenvalues[j] = values[from];
    std::copy_n(a + from * n, n, eigenvectors + j * n);
    residuals[j] = kUnitRoundoff;
  }
  return 0;
}

}  // namespace

DavidsonSizes chooseDavidsonSizes(int32_t n, int32_t numWanted, double norm1, double averageEntries) {
  const double wanted = numWanted;
  double maxBasis = 5.0 * wanted;
  if (numWanted >= 20 && averageEntries < 4.9 && norm1 < 1e8) maxBasis = 3.0 * wanted;
  if (numWanted < 5) maxBasis = norm1 <= 1e10 ? 2.0 * wanted + 13.0 : wanted + 19.0;
  const int32_t room = truncated(std::min<double>(n, maxBasis));
  int32_t restartSize = std::max(numWanted, truncated(0.5 + 0.4 * room));
  if (norm1 > 1000.0 && norm1 < 1e10 && restartSize < 50)
    restartSize = std::max(numWanted, truncated(0.5 + 0.75 * room));
  return {room, restartSize};
}

int32_t LA_SparseSymEigenSolver(int32_t n, const int32_t* colStart, const int32_t* rowIndex, const double* value,
                                LAEnv* env, SymMatVec matVec, double* eigenvalues, double* eigenvectors,
                                double* residuals) {
  if (n < 1) return 0;
  const bool smallest = env->eigenEnd != 'L';
  const SparseSymMatrix matrix{n, colStart, rowIndex, value, matVec != nullptr ? matVec : LA_SparseSymMatVecMult};
  Davidson d{};
  d.numWanted = std::min(env->eigenCount, n);
  if (n <= 2) return solveTiny(matrix, d.numWanted, smallest, eigenvalues, eigenvectors, residuals);

  const double averageEntries = static_cast<double>(colStart[n]) / n;
  const DavidsonSizes sizes =
      chooseDavidsonSizes(n, d.numWanted, Get1NormOfSymMatrix(n, colStart, value), averageEntries);
  d.basis.matrix = matrix;
  d.basis.smallest = smallest;
  d.basis.maxCount = sizes.maxBasis;
  // A restart must leave room for a new column; a complete basis is never restarted and may be kept whole.
  d.restartSize = sizes.maxBasis < n ? std::min(sizes.restartSize, sizes.maxBasis - 1) : sizes.restartSize;
  d.maxMatVec =
      env->eigenIterationLimit > 0 ? env->eigenIterationLimit : static_cast<int64_t>(kProductsPerPair) * d.numWanted;
  const uint32_t seed[4] = {1, 2, 3, 5};
  std::copy_n(seed, 4, d.basis.seed);

  const double entries = basisEntries(n, sizes.maxBasis) + static_cast<double>(kTallVectors) * n + 2.0 * d.numWanted;
  if (entries * sizeof(double) >= kBytesLimit) return LA_NO_MEMORY;
  PoolArray<double> memory;
  if (memory.allocate(env->memory, static_cast<int64_t>(entries)) != QZ_STATUS_OK) return LA_NO_MEMORY;
  cutVectors(&d, cutBasis(&d.basis, memory.get()));

  int32_t status = start(&d);
  if (status == 0) status = iterate(&d);
  if (status == 0 || status == kEigenLimit || status == kEigenNoVector)
    writePairs(&d, eigenvalues, eigenvectors, residuals);
  return status;
}

}  // namespace qz
