#include "eigen/correction.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dense/blas.h"
#include "eigen/tridiagonal_tools.h"

namespace qz {

namespace {

constexpr double kLargestRatio = 9007199254740988.0;
constexpr double kResidualsAgree = 0.9878;

// w := (I - x x') (A - theta I) d for a d orthogonal to x.
void applyProjected(const SparseSymMatrix& matrix, const Correction& p, const double* d, double* w) {
  const int32_t n = matrix.n;
  matrix.multiply(n, matrix.colStart, matrix.rowIndex, matrix.value, d, w);
  blas::daxpy(n, -p.theta, d, 1, w, 1);
  blas::daxpy(n, -blas::ddot(n, p.x, 1, w, 1), p.x, 1, w, 1);
}

// Scalars that follow x + t. With b = -r, B the projected matrix and s the last step of t, the directions being
// conjugate: b's, s'Bs, (t before s)'Bs, and from them g = t'r and h = t'Bt.
struct Tracker {
  double rightSide = 0.0;
  double energy = 0.0;
  double coupling = 0.0;
  double g = 0.0;
  double h = 0.0;

  // s := shrink s + stretch d, with g_d'g_d = square and d'Bd = curvature.
  void advance(double shrink, double stretch, double square, double curvature) {
    rightSide = shrink * rightSide + stretch * square;
    g -= rightSide;
    coupling = shrink * (coupling + energy);
    energy = shrink * shrink * energy + stretch * stretch * curvature;
    h += 2.0 * coupling + energy;
  }
};

// The inner loop ends: the two residuals part, the target is met, or the value moves the wrong way. *theta is the value
// of the step before and becomes that of this one. q = |x + t|^2, tau the quasi-residual.
bool shouldStop(const Correction& p, const Tracker& tracker, double q, double tau, double* theta) {
  const double delta = (2.0 * tracker.g + tracker.h) / q;
  const double square = (tau * tau + tracker.g * tracker.g) / q - delta * delta;
  const double eigenResidual = std::sqrt(square < 0.0 ? tau * tau / q : square);
  const double factor = std::max(kResidualsAgree, std::sqrt(tau / p.residualNorm)) * std::sqrt(q);
  const double previous = *theta;
  *theta = p.theta + delta;
  if (factor * eigenResidual >= tau) return true;
  if (std::max(factor * tau, p.target) > eigenResidual) return true;
  return p.smallest ? *theta > previous : *theta < previous;
}

}  // namespace

bool solveCorrection(const SparseSymMatrix& matrix, const Correction& p, const CorrectionSpace& space,
                     int64_t* numProducts) {
  const int32_t n = matrix.n;
  // Near convergence rounding leaves a part of r along x, which the projected matrix could never reduce.
  const double along = blas::ddot(n, p.x, 1, p.r, 1);
  for (int32_t i = 0; i < n; ++i) space.residual[i] = along * p.x[i] - p.r[i];
  std::copy_n(space.residual, n, space.direction);
  std::fill_n(space.t, n, 0.0);
  std::fill_n(space.step, n, 0.0);

  double tau = blas::dnrm2(n, space.residual, 1);
  double square = tau * tau;
  double ratioBefore = 0.0;
  double theta = p.theta;
  Tracker tracker;
  bool produced = false;
  *numProducts = 0;
  while (*numProducts < p.maxMatVec && square > 0.0) {
    applyProjected(matrix, p, space.direction, space.image);
    ++*numProducts;
    const double curvature = blas::ddot(n, space.direction, 1, space.image, 1);
    // Relative to the norm of A, so that the scale of the matrix does not matter.
    if (!(std::fabs(curvature) * kLargestRatio > square * p.normEstimate)) break;
    const double length = square / curvature;
    blas::daxpy(n, -length, space.image, 1, space.residual, 1);
    const double norm = blas::dnrm2(n, space.residual, 1);
    const double ratio = norm / tau;
    const double cosine = 1.0 / std::sqrt(1.0 + ratio * ratio);
    tau *= ratio * cosine;
    const double shrink = cosine * cosine * ratioBefore * ratioBefore;
    const double stretch = length * cosine * cosine;
    ratioBefore = ratio;
    for (int32_t i = 0; i < n; ++i) {
      space.step[i] = shrink * space.step[i] + stretch * space.direction[i];
      space.t[i] += space.step[i];
    }
    produced = true;
    tracker.advance(shrink, stretch, square, curvature);
    const double q = 1.0 + blas::ddot(n, space.t, 1, space.t, 1);
    if (shouldStop(p, tracker, q, tau, &theta)) break;
    const double squareBefore = square;
    square = norm * norm;
    const double keep = square / squareBefore;
    for (int32_t i = 0; i < n; ++i) space.direction[i] = space.residual[i] + keep * space.direction[i];
  }
  return produced;
}

}  // namespace qz
