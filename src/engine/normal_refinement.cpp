#include "engine/normal_refinement.h"

#include <algorithm>
#include <cmath>

#include "engine/engine_state.h"
#include "engine/normal_system.h"

namespace qz {

namespace {

constexpr double kDiagonal = 1e-12;    // added to the balanced diagonal
constexpr int32_t kMaxCycles = 3;      // runs of the conjugate gradients, each from a fresh residual
constexpr int32_t kMaxSteps = 20;      // steps of a run
constexpr double kRounding = 1e-15;    // of the terms of a residual: more cannot be had
constexpr double kRelative = 1e-8;     // of these terms: less is not asked for
constexpr double kOfTolerance = 0.01;  // what a step may leave in the rows, of the tolerance
constexpr double kOfResidual = 1e-3;   // and of what the rows miss now
constexpr double kAcceptable = 0.1;    // of the larger of the two: a solution with a larger error is of no use

// The slices of Ipm::refineWork.
struct Work {
  explicit Work(const Ipm* ipm)
      : kept(ipm->refineWork),
        residual(kept + ipm->numDim),
        preconditioned(residual + ipm->numRow),
        direction(preconditioned + ipm->numRow),
        image(direction + ipm->numRow),
        columns(image + ipm->numRow) {}

  double* kept;            // numDim: the solution before a run
  double* residual;        // numRow, like the next three: -rr - A dx - E dy
  double* preconditioned;  // M^-1 of it, nearly
  double* direction;       // p
  double* image;           // M p
  double* columns;         // numCol: D A'p
};

// How far the rows are missed, and the size of the terms that cancel there; 2-norms.
struct Misfit {
  double residual;
  double terms;
};

double norm(int32_t count, const double* v) {
  double squares = 0.0;
  for (int32_t i = 0; i < count; ++i) squares += v[i] * v[i];
  return std::sqrt(squares);
}

double dot(int32_t count, const double* a, const double* b) {
  double sum = 0.0;
  for (int32_t i = 0; i < count; ++i) sum += a[i] * b[i];
  return sum;
}

// Rows without a diagonal in M have no elements: no step can change what they miss.
bool isLive(const Ipm* ipm, int32_t i) {
  return ipm->ineqnDiagIndex[i] >= 0;
}

// work.residual := -rr - A dx - E dy. `image` serves as room for the sizes of the terms.
Misfit measureRows(const Ipm* ipm, const double* rhs, const double* v, const Work& work) {
  const double* rowPart = rhs + ipm->numCol;
  const double* dy = v + ipm->numCol;
  double* __restrict residual = work.residual;
  double* __restrict size = work.image;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    residual[i] = isLive(ipm, i) ? -rowPart[i] : 0.0;
    size[i] = std::fabs(residual[i]);
  }
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const int32_t end = ipm->colBegin[j] + ipm->colLength[j];
    for (int32_t k = ipm->colBegin[j]; k < end; ++k) {
      const double term = ipm->matValue[k] * v[j];
      residual[ipm->rowIndex[k]] -= term;
      size[ipm->rowIndex[k]] += std::fabs(term);
    }
  }
  forEachIneqnRow(ipm, [&](int32_t i) {
    const double term = ipm->ineqnSlack[i] / ipm->dual[i] * dy[i];
    residual[i] -= term;
    size[i] += std::fabs(term);
  });
  return {norm(ipm->numRow, residual), norm(ipm->numRow, size)};
}

// image := M p through columns := D A'p.
void multiply(const Ipm* ipm, const Work& work) {
  const double* __restrict p = work.direction;
  double* __restrict image = work.image;
  std::fill_n(image, ipm->numRow, 0.0);
  forEachIneqnRow(ipm, [&](int32_t i) { image[i] = ipm->ineqnSlack[i] / ipm->dual[i] * p[i]; });
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const int32_t end = ipm->colBegin[j] + ipm->colLength[j];
    double product = 0.0;
    for (int32_t k = ipm->colBegin[j]; k < end; ++k) product += ipm->matValue[k] * p[ipm->rowIndex[k]];
    const double weighted = ipm->normalDiag[j] * product;
    work.columns[j] = weighted;
    for (int32_t k = ipm->colBegin[j]; k < end; ++k) image[ipm->rowIndex[k]] += ipm->matValue[k] * weighted;
  }
}

// One run of preconditioned conjugate gradients on M c = residual, adding (D A'c, c) to v on the way (Hestenes and
// Stiefel, 1952). It ends early where rounding has made the matrix or the preconditioner indefinite.
int32_t correct(Ipm* ipm, double aim, const Work& work, double* v) {
  const int32_t m = ipm->numRow;
  double previous = 0.0;
  for (int32_t step = 0; step < kMaxSteps && norm(m, work.residual) > aim; ++step) {
    std::copy_n(work.residual, m, work.preconditioned);
    const int32_t status = applyNormalInverse(ipm, work.preconditioned);
    if (status != QZ_STATUS_OK) return status;
    const double product = dot(m, work.residual, work.preconditioned);
    if (!(product > 0.0)) break;
    const double share = step == 0 ? 0.0 : product / previous;
    for (int32_t i = 0; i < m; ++i)
      work.direction[i] = work.preconditioned[i] + (step == 0 ? 0.0 : share * work.direction[i]);
    previous = product;
    multiply(ipm, work);
    const double curvature = dot(m, work.direction, work.image);
    if (!(curvature > 0.0)) break;
    const double length = product / curvature;
    for (int32_t j = 0; j < ipm->numCol; ++j) v[j] += length * work.columns[j];
    for (int32_t i = 0; i < m; ++i) {
      v[ipm->numCol + i] += length * work.direction[i];
      work.residual[i] -= length * work.image[i];
    }
  }
  return QZ_STATUS_OK;
}

}  // namespace

int64_t refinementWorkEntries(int64_t numRow, int64_t numCol) {
  return numRow + numCol + 4 * numRow + numCol;
}

void boundNormalDiag(Ipm* ipm) {
  for (int32_t j = 0; j < ipm->numCol; ++j)
    ipm->normalDiag[j] = std::min(ipm->normalDiag[j], (1.0 + std::fabs(ipm->primal[j])) / kLeastTheta);
}

void balanceNormalMatrix(Ipm* ipm) {
  double* factor = ipm->refineWork;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const double diagonal = isLive(ipm, i) ? ipm->ipmMatValue[ipm->ineqnDiagIndex[i]] : 0.0;
    factor[i] = diagonal > 0.0 ? 1.0 / std::sqrt(diagonal) : 1.0;
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (!isLive(ipm, i)) continue;
    for (int32_t p = ipm->ipmColBegin[i]; p < ipm->ipmColBegin[i + 1]; ++p)
      ipm->ipmMatValue[p] *= factor[i] * factor[ipm->ipmRowIndex[p]];
    const bool coupled = ipm->ipmColBegin[i + 1] - ipm->ipmColBegin[i] > 1;  // a lone diagonal sees no rounding
    if (coupled) ipm->ipmMatValue[ipm->ineqnDiagIndex[i]] += kDiagonal;
    ipm->normalScale[i] *= factor[i];
  }
}

int32_t refineNormalSolution(Ipm* ipm, const double* rhs, double* v, bool* accurate) {
  const Work work(ipm);
  const double unit = ipm->normRhs + 1.0;
  Misfit misfit = measureRows(ipm, rhs, v, work);
  const double wanted = std::max(kOfTolerance * ipm->tolPrimal, kOfResidual * ipm->primalInfeas) * unit;
  const double aim = std::max(kRounding * misfit.terms, std::min(kRelative * misfit.terms, wanted));
  for (int32_t cycle = 0; cycle < kMaxCycles && !(misfit.residual <= aim); ++cycle) {
    std::copy_n(v, ipm->numDim, work.kept);
    const int32_t status = correct(ipm, 0.1 * aim, work, v);
    if (status != QZ_STATUS_OK) return status;
    const Misfit before = misfit;
    misfit = measureRows(ipm, rhs, v, work);
    if (!(misfit.residual < before.residual)) {
      std::copy_n(work.kept, ipm->numDim, v);
      misfit = before;
      break;
    }
    if (misfit.residual > 0.5 * before.residual) break;
  }
  const double acceptable = kAcceptable * std::max(ipm->tolPrimal, ipm->primalInfeas) * unit;
  *accurate = misfit.residual <= acceptable;
  return QZ_STATUS_OK;
}

}  // namespace qz
