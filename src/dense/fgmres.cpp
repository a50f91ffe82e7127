#include "dense/fgmres.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "dense/blas.h"
#include "dense/kernels.h"

namespace qz {

namespace {

// A new direction shorter than this is a breakdown: the Krylov space is invariant up to rounding.
constexpr double BREAKDOWN_LIMIT = 5.551115123125785e-16;

struct SparseColumns {
  int32_t n;
  const int32_t* colBegin;
  const int32_t* rowIndex;
  const double* matValue;
};

// What stays the same over the run, and the areas that the cycles work in.
struct Run {
  SparseColumns matrix;
  const double* rhs;
  double normB;
  int32_t job;
  int32_t flexibleOnly;
  int32_t mode;
  int32_t largestCycle;  // k
  FgmresSolve solve;
  void* context;
  double* solveWork;   // n: for `solve`, and between two solves the sums of the second sweep
  double* vector;      // n: the residual, then the direction in the making
  double* basis;       // n by k: v_1 .. v_k
  double* directions;  // n by k: z_1 .. z_k
  double* hessenberg;  // k by k: R, the rotated upper triangle of H
  double* cosines;     // k
  double* sines;       // k
  double* gains;       // k: the rotated right-hand side g
};

// The point that is kept, with its measures. `scale` is what its residual is measured against.
struct Point {
  double scale;
  double normR;
  double relResidual;
};

enum class CycleEnd { REGULAR, BREAKDOWN, FIRST_STEP_BREAKDOWN, SOLVE_FAILED };

struct CycleResult {
  int32_t steps;
  CycleEnd end;
};

double norm(int32_t n, const double* x) {
  const int32_t one = 1;
  return my_dnrm2(&n, x, &one);
}

// y := A x.
void multiply(const SparseColumns& a, const double* __restrict x, double* __restrict y) {
  std::fill(y, y + a.n, 0.0);
  for (int32_t j = 0; j < a.n; ++j) {
    const double xj = x[j];
    for (int32_t e = a.colBegin[j]; e < a.colBegin[j + 1]; ++e) y[a.rowIndex[e]] += xj * a.matValue[e];
  }
}

// r := b - A x.
void residual(const SparseColumns& a, const double* rhs, const double* __restrict x, double* __restrict r) {
  std::copy(rhs, rhs + a.n, r);
  for (int32_t j = 0; j < a.n; ++j) {
    const double xj = x[j];
    for (int32_t e = a.colBegin[j]; e < a.colBegin[j + 1]; ++e) r[a.rowIndex[e]] -= xj * a.matValue[e];
  }
}

// r := b - A x and magnitude := |A| |x|, in one pass.
void residualAndMagnitude(const SparseColumns& a, const double* rhs, const double* __restrict x, double* __restrict r,
                          double* __restrict magnitude) {
  std::copy(rhs, rhs + a.n, r);
  std::fill(magnitude, magnitude + a.n, 0.0);
  for (int32_t j = 0; j < a.n; ++j) {
    const double xj = x[j];
    for (int32_t e = a.colBegin[j]; e < a.colBegin[j + 1]; ++e) {
      const double product = xj * a.matValue[e];
      r[a.rowIndex[e]] -= product;
      magnitude[a.rowIndex[e]] += std::fabs(product);
    }
  }
}

// Leaves the residual of x in run.vector. The scale is || |A| |x| || + ||b||, the norm of what a componentwise bound of
// the rounding errors allows (Oettli and Prager 1964), and not ||A|| ||x|| + ||b||: the diagonal of an interior-point
// matrix runs up to 1e16 where x is small, and a norm of the whole matrix would call any residual tiny.
Point measure(const Run& run, const double* x) {
  residualAndMagnitude(run.matrix, run.rhs, x, run.vector, run.solveWork);
  Point point;
  point.scale = norm(run.matrix.n, run.solveWork) + run.normB;
  point.normR = norm(run.matrix.n, run.vector);
  point.relResidual = point.scale == 0.0 ? 0.0 : point.normR / point.scale;
  return point;
}

// Classical Gram-Schmidt, twice: h := V^T w, w := w - V h, and the same again with its coefficients added.
void orthogonaliseClassical(const Run& run, int32_t count, double* h) {
  const int32_t n = run.matrix.n;
  double* w = run.vector;
  double* again = run.solveWork;
  blas::dgemv("T", n, count, 1.0, run.basis, n, w, 1, 0.0, h, 1);
  blas::dgemv("N", n, count, -1.0, run.basis, n, h, 1, 1.0, w, 1);
  blas::dgemv("T", n, count, 1.0, run.basis, n, w, 1, 0.0, again, 1);
  blas::dgemv("N", n, count, -1.0, run.basis, n, again, 1, 1.0, w, 1);
  for (int32_t i = 0; i < count; ++i) h[i] += again[i];
}

// Modified Gram-Schmidt in two sweeps.
void orthogonaliseModified(const Run& run, int32_t count, double* h) {
  const int32_t n = run.matrix.n;
  std::fill(h, h + count, 0.0);
  for (int32_t sweep = 0; sweep < 2; ++sweep) {
    for (int32_t i = 0; i < count; ++i) {
      const double* v = run.basis + static_cast<int64_t>(i) * n;
      const double share = blas::ddot(n, v, 1, run.vector, 1);
      blas::daxpy(n, -share, v, 1, run.vector, 1);
      h[i] += share;
    }
  }
}

// Brings column j of H to triangular form with the earlier rotations and a new one, and turns g along. `below` is
// h_{j+1,j}. Returns |g_{j+1}|, the norm of the residual that the least-squares problem promises.
double rotate(const Run& run, int32_t j, double below, double* column, double gain) {
  for (int32_t i = 0; i < j; ++i) {
    const double upper = column[i];
    const double lower = column[i + 1];
    column[i] = run.cosines[i] * upper + run.sines[i] * lower;
    column[i + 1] = run.cosines[i] * lower - run.sines[i] * upper;
  }
  my_drotg(&column[j], &below, &run.cosines[j], &run.sines[j]);
  run.gains[j] = run.cosines[j] * gain;
  return -run.sines[j] * gain;
}

// z_j := M^-1 v_j and w := A z_j; false when the solve fails.
bool applyPreconditioned(const Run& run, int32_t j) {
  const int32_t n = run.matrix.n;
  const int64_t offset = static_cast<int64_t>(j) * n;
  double* z = run.directions + offset;
  std::copy(run.basis + offset, run.basis + offset + n, z);
  const int32_t status = run.job == 0 ? run.solve(run.job, z, run.context, run.solveWork)
                                      : run.solve(run.job, run.solveWork, run.context, z);
  if (status != 0) return false;
  multiply(run.matrix, z, run.vector);
  return true;
}

// One cycle of at most `cycle` Arnoldi steps from the residual in run.vector, until |g_{j+1}| <= target.
CycleResult arnoldi(const Run& run, int32_t cycle, double normR, double target) {
  const int32_t n = run.matrix.n;
  if (normR <= target || cycle <= 0) return {0, CycleEnd::REGULAR};
  std::copy(run.vector, run.vector + n, run.basis);
  if (normR > 0.0) blas::dscal(n, 1.0 / normR, run.basis, 1);
  double gain = normR;
  for (int32_t j = 0;; ++j) {
    if (!applyPreconditioned(run, j)) return {j, CycleEnd::SOLVE_FAILED};
    double* column = run.hessenberg + static_cast<int64_t>(j) * run.largestCycle;
    if (run.mode == 0) {
      orthogonaliseClassical(run, j + 1, column);
    } else {
      orthogonaliseModified(run, j + 1, column);
    }
    const double below = std::sqrt(blas::ddot(n, run.vector, 1, run.vector, 1));
    const bool breakdown = !(below > BREAKDOWN_LIMIT);
    if (breakdown && j == 0) return {1, CycleEnd::FIRST_STEP_BREAKDOWN};
    if (!breakdown && (run.flexibleOnly != 0 || j + 1 < cycle)) {
      blas::dscal(n, 1.0 / below, run.vector, 1);
      if (j + 1 < run.largestCycle) {
        std::copy(run.vector, run.vector + n, run.basis + static_cast<int64_t>(j + 1) * n);
      }
    }
    gain = rotate(run, j, below, column, gain);
    if (breakdown || std::fabs(gain) <= target || j + 1 == cycle) {
      return {j + 1, breakdown ? CycleEnd::BREAKDOWN : CycleEnd::REGULAR};
    }
  }
}

// x_new := x + Z y with R y = g, in the place of v_1, which is spent. A column whose rotated diagonal is exactly 0 can
// only be the last one, at a breakdown; it says nothing about y and is left out.
double* correctedPoint(const Run& run, int32_t steps, const double* x) {
  const int32_t n = run.matrix.n;
  const int32_t ldh = run.largestCycle;
  int32_t count = steps;
  while (count > 0 && run.hessenberg[static_cast<int64_t>(count - 1) * (ldh + 1)] == 0.0) --count;
  double* xNew = run.basis;
  std::copy(x, x + n, xNew);
  blas::dtrsv("U", "N", "N", count, run.hessenberg, ldh, run.gains, 1);
  blas::dgemv("N", n, count, 1.0, run.directions, n, run.gains, 1, 1.0, xNew, 1);
  return xNew;
}

// The cycles, from the point whose residual is in run.vector. `point` follows x.
int32_t runCycles(const Run& run, const LAEnv& env, double stagnationFactor, double* x, Point* point) {
  const int32_t n = run.matrix.n;
  int32_t cycle = std::min(env.fgmresMinimum, run.largestCycle);
  int32_t stepsUsed = 0;
  for (;;) {
    const double target = point->scale * env.refineTolerance;
    const CycleResult done = arnoldi(run, cycle, point->normR, target);
    if (done.end == CycleEnd::SOLVE_FAILED) return LA_OVERFLOW;
    if (done.end == CycleEnd::FIRST_STEP_BREAKDOWN) return LA_FGMRES_LIMIT;
    if (done.steps == 0) return LA_FGMRES_TOLERANCE;
    stepsUsed += done.steps;

    const double previous = point->relResidual;
    double* xNew = correctedPoint(run, done.steps, x);
    const Point candidate = measure(run, xNew);
    const bool breakdown = done.end == CycleEnd::BREAKDOWN;
    const bool stagnated = candidate.relResidual >= stagnationFactor * previous && !breakdown;
    const bool better = candidate.relResidual < previous;
    if (better) {
      std::copy(xNew, xNew + n, x);
      *point = candidate;
    }
    if (stagnated) cycle = 2 * std::min(cycle, run.largestCycle);
    const bool more = cycle <= run.largestCycle && point->relResidual > env.refineTolerance &&
                      stepsUsed < env.maxRefine && !breakdown;
    if (!more) return env.refineTolerance > point->relResidual ? LA_FGMRES_TOLERANCE : LA_FGMRES_LIMIT;
    if (!better) residual(run.matrix, run.rhs, x, run.vector);
  }
}

}  // namespace

int64_t fgmresAreaEntries(int32_t n, int32_t fgmresRestart) {
  const int64_t k = std::max(0, std::min(fgmresRestart, n));
  int64_t entries = 0;
  const bool overflow = __builtin_mul_overflow(k, k + 2 * static_cast<int64_t>(n) + 3, &entries);
  return overflow ? std::numeric_limits<int64_t>::max() : entries;
}

int32_t FGMRES(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue, const double* rhs,
               int32_t job, double stagnationFactor, int32_t flexibleOnly, LAEnv* env, void* context, FgmresSolve solve,
               double* x, double* work, double* area) {
  Run run;
  run.matrix = {n, colBegin, rowIndex, matValue};
  run.rhs = rhs;
  run.normB = norm(n, rhs);
  run.job = job;
  run.flexibleOnly = flexibleOnly;
  run.mode = env->fgmresMode;
  run.largestCycle = std::max(0, std::min(env->fgmresRestart, n));
  run.solve = solve;
  run.context = context;
  run.solveWork = work;
  run.vector = work + n;
  const int64_t k = run.largestCycle;
  run.basis = area;
  run.directions = run.basis + k * n;
  run.hessenberg = run.directions + k * n;
  run.cosines = run.hessenberg + k * k;
  run.sines = run.cosines + k;
  run.gains = run.sines + k;

  Point point = measure(run, x);
  int32_t status = LA_FGMRES_TOLERANCE;
  if (!(env->refineTolerance > point.relResidual)) {
    status = env->maxRefine <= 0 ? LA_FGMRES_LIMIT : runCycles(run, *env, stagnationFactor, x, &point);
  }
  env->refineResidual = point.relResidual;
  return status;
}

}  // namespace qz
