#include "sparse/ldl_solve.h"

#include <algorithm>

#include "dense/fgmres.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr int32_t kStepsWithFgmres = 64;  // refinement of a perturbed factor when none was asked for
constexpr int32_t kStepsWithout = 2;
constexpr double kStagnationFactor = 0.3;

// The matrix of a solve, its factor, and which order the vectors stand in.
struct System {
  int32_t alreadyPermuted;
  const int32_t* colBegin;
  const int32_t* rowIndex;
  const double* matValue;
  LAEnv* env;
  SymbolicFactor* symbolic;
  double* work;  // n-vector of the single solve
};

int32_t refinementSteps(const LAEnv* env, const SymbolicFactor* symbolic) {
  int32_t steps = env->maxRefine;
  if (steps == 0 && symbolic->numPerturbed >= 1) steps = env->useFgmres != 0 ? kStepsWithFgmres : kStepsWithout;
  return std::min(steps, symbolic->numRows);
}

// One factor solve, as FGMRES calls it: `job` tells which vector is in the factor's order.
int32_t solveByFactor(int32_t job, double* in, void* context, double* out) {
  const SymbolicFactor* symbolic = static_cast<const SymbolicFactor*>(context);
  return symbolic->blocked == 1 ? ldl_psolve(job, in, symbolic, out) : ldl_solve(job, in, symbolic, out);
}

// x := (factor)^-1 x, x in the order of the system.
int32_t solveInPlace(const System& system, double* x) {
  return system.alreadyPermuted == 0 ? solveByFactor(0, x, system.symbolic, system.work)
                                     : solveByFactor(1, system.work, system.symbolic, x);
}

// residual := b - A x
void formResidual(const System& system, const double* b, const double* x, double* residual) {
  const int32_t n = system.symbolic->numRows;
  std::copy_n(b, n, residual);
  for (int32_t j = 0; j < n; ++j) {
    const double xj = x[j];
    for (int32_t p = system.colBegin[j]; p < system.colBegin[j + 1]; ++p) {
      residual[system.rowIndex[p]] -= xj * system.matValue[p];
    }
  }
}

// A fixed number of steps x := x + (factor)^-1 (b - A x).
int32_t refinePlainly(const System& system, int32_t steps, const double* b, double* residual, double* x) {
  const int32_t n = system.symbolic->numRows;
  for (int32_t step = 0; step < steps; ++step) {
    formResidual(system, b, x, residual);
    const int32_t status = solveInPlace(system, residual);
    if (status != LA_OK) return status;
    for (int32_t j = 0; j < n; ++j) x[j] += residual[j];
  }
  return LA_OK;
}

// FGMRES from x on. Its area is the scratch of the factorisation where that is large enough; the solves don't use it.
int32_t refineByFgmres(const System& system, const double* b, double* work, double* x) {
  SymbolicFactor* symbolic = system.symbolic;
  const int64_t need = fgmresAreaEntries(symbolic->numRows, system.env->fgmresRestart);
  const int64_t spare = static_cast<int64_t>(symbolic->maxBlockEntries) + symbolic->maxPanelEntries;
  PoolArray<double> ownArea;
  double* area = static_cast<double*>(symbolic->threadScratch);
  if (area == nullptr || spare < need) {
    if (ownArea.allocate(system.env->memory, need) != QZ_STATUS_OK) return LA_NO_MEMORY;
    area = ownArea.get();
  }
  return FGMRES(symbolic->numRows, system.colBegin, system.rowIndex, system.matValue, b, system.alreadyPermuted,
                kStagnationFactor, 0, system.env, symbolic, solveByFactor, x, work, area);
}

int32_t solveAndRefine(const System& system, int32_t steps, double* b, double* work, double* x) {
  const int32_t n = system.symbolic->numRows;
  if (steps > 0) std::copy_n(x, n, b);
  const int32_t status = solveInPlace(system, x);
  if (status != LA_OK || steps == 0) return status;
  return system.env->useFgmres != 0 ? refineByFgmres(system, b, work, x) : refinePlainly(system, steps, b, work, x);
}

}  // namespace

int32_t LA_SolveMatrixLDL(int32_t alreadyPermuted, const int32_t* colBegin, const int32_t* rowIndex,
                          const double* matValue, double* x, LAEnv* env, SymbolicFactor* symbolic,
                          NumericFactor* numeric) {
  if (env == nullptr || symbolic == nullptr || numeric == nullptr) return LA_BAD_PARAMETER;
  const int32_t n = symbolic->numRows;
  const int32_t steps = refinementSteps(env, symbolic);
  env->maxRefine = steps;
  // numeric->work: the vector of the single solve, two of the refinement, and the copy of the right-hand side of the
  // plain one.
  PoolArray<double> rhsCopy;
  double* b = numeric->work + 3 * static_cast<int64_t>(n);
  if (steps > 0 && env->useFgmres != 0) {
    if (rhsCopy.allocate(env->memory, n) != QZ_STATUS_OK) return LA_NO_MEMORY;
    b = rhsCopy.get();
  }
  const System system{alreadyPermuted, colBegin, rowIndex, matValue, env, symbolic, numeric->work};
  symbolic->factorState = 2;
  const int32_t status = solveAndRefine(system, steps, b, numeric->work + n, x);
  symbolic->factorState = -1;
  return status;
}

}  // namespace qz
