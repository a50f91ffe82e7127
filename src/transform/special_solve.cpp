#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "engine/augmented_system.h"
#include "engine/linear_algebra.h"
#include "engine/measures.h"
#include "shell/pool.h"
#include "transform/equation_system.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// The optimality conditions [Q, -A'; -A, 0] (x, y) = (-c, -b).
struct Conditions {
  int32_t numDim = 0;
  PoolArray<int32_t> begin;
  PoolArray<int32_t> index;
  PoolArray<double> value;
  PoolArray<double> rhs;
};

int32_t makeConditions(Env* env, const Model* model, Conditions* system) {
  QzPool* pool = env->pool;
  const int64_t numDim = int64_t{model->numRow} + model->numCol;
  const int64_t capacity = numDim + 2 * (int64_t{model->numCoef} + model->numQuadCoef);
  if (capacity > std::numeric_limits<int32_t>::max()) return QZ_STATUS_OUT_OF_MEMORY;
  PoolArray<int32_t> colDiagIndex;
  PoolArray<int32_t> rowDiagIndex;
  if (system->begin.allocate(pool, numDim + 1) != QZ_STATUS_OK ||
      system->index.allocate(pool, capacity) != QZ_STATUS_OK ||
      system->value.allocate(pool, capacity) != QZ_STATUS_OK || system->rhs.allocate(pool, numDim) != QZ_STATUS_OK ||
      colDiagIndex.allocate(pool, model->numCol) != QZ_STATUS_OK ||
      rowDiagIndex.allocate(pool, model->numRow) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  system->numDim = static_cast<int32_t>(numDim);

  if (model->typeModel == IPM_MODEL_QP && model->numQuadCoef > 0) {
    const int32_t status =
        createAugmentMatrixQP(env, model->numRow, model->numCol, model->numCoef, model->numQuadCoef, model->colBegin,
                              model->colLength, model->rowIndex, model->matValue, model->quadColBegin,
                              model->quadColLength, model->quadRowIndex, model->quadMatValue, system->begin.get(),
                              system->index.get(), system->value.get(), colDiagIndex.get(), rowDiagIndex.get());
    if (status != QZ_STATUS_OK) return status;
  } else {
    createAugmentMatrix(model->numRow, model->numCol, model->colBegin, model->colLength, model->rowIndex,
                        model->matValue, system->begin.get(), system->index.get(), system->value.get(),
                        colDiagIndex.get(), rowDiagIndex.get());
  }
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (model->typeModel == IPM_MODEL_QP) system->value[colDiagIndex[j]] = model->quadDiag[j];
    system->rhs[j] = -model->obj[j];
  }
  for (int32_t i = 0; i < model->numRow; ++i) system->rhs[model->numCol + i] = -model->rhs[i];
  return QZ_STATUS_OK;
}

int32_t solveConditions(Env* env, const Model* model, const IpmOption* options, Conditions* system,
                        int32_t usePresolve) {
  if (system->numDim == 0) return QZ_STATUS_OK;
  if (usePresolve != 0)
    return eqnSolve(options->infinityValue, options->tolPrimal, env, system->numDim, model->numCol, options->numThread,
                    system->begin.get(), system->index.get(), system->value.get(), system->rhs.get(), nullptr,
                    options->debugLevel, EQN_PLAIN);
  const int32_t status = solveEquationLDL(env, options->debugLevel, nullptr, system->numDim, model->numCol,
                                          options->numThread, system->begin.get(), system->index.get(),
                                          system->value.get(), system->rhs.get(), nullptr, nullptr, nullptr, nullptr);
  return status == kSolveFailed ? QZ_STATUS_FAILED : status;
}

void takeSolution(const Model* model, const double* point, Solution* solution) {
  std::copy_n(point, model->numCol, solution->primal);
  std::copy_n(point + model->numCol, model->numRow, solution->dual);
  clearBuffer(model->numCol, solution->lowerSlack);
  clearBuffer(model->numCol, solution->upperSlack);
  clearBuffer(model->numCol, solution->lowerDual);
  clearBuffer(model->numCol, solution->upperDual);
  clearBuffer(model->numRow, solution->ineqnSlack);
}

double dot(int32_t n, const double* a, const double* b) {
  double sum = 0.0;
  for (int32_t i = 0; i < n; ++i) sum += a[i] * b[i];
  return sum;
}

// What the conditions leave over at a point, with the given shares of their right-hand sides:
//   row = A x - shareB b,   col = shareC c + Q x - A'y.
struct Residuals {
  PoolArray<double> row;  // numRow
  PoolArray<double> col;  // numCol

  int32_t allocate(QzPool* pool, const Model* model) {
    if (row.allocate(pool, model->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    return col.allocate(pool, model->numCol);
  }
  void compute(const Model* model, const double* x, const double* y, double shareB, double shareC) {
    matrixTimesVector(model->numRow, model->numCol, model->colBegin, model->colLength, model->rowIndex, model->matValue,
                      x, row.get());
    for (int32_t i = 0; i < model->numRow; ++i) row[i] -= shareB * model->rhs[i];
    vectorTimesMatrix(model->numCol, model->colBegin, model->colLength, model->rowIndex, model->matValue, y, col.get());
    for (int32_t j = 0; j < model->numCol; ++j) col[j] = shareC * model->obj[j] - col[j];
    if (model->typeModel == IPM_MODEL_QP)
      symmatrixTimesVector(model->numCol, model->quadColBegin, model->quadColLength, model->quadRowIndex,
                           model->quadMatValue, model->quadDiag, x, col.get(), 1.0);
  }
  [[nodiscard]] double primal(const Model* model) const {
    return norm2(model->numRow, row.get()) / (1.0 + norm2(model->numRow, model->rhs));
  }
  [[nodiscard]] double dual(const Model* model) const {
    return norm2(model->numCol, col.get()) / (1.0 + norm2(model->numCol, model->obj));
  }
};

// Measures and status of the model at the solution.
void measure(Model* model, const IpmOption* options, const Solution* solution, Residuals* residuals) {
  const double* x = solution->primal;
  const double* y = solution->dual;
  residuals->compute(model, x, y, 1.0, 1.0);
  double half = 0.0;
  if (model->typeModel == IPM_MODEL_QP)
    half = calcQuadForm(model->numCol, model->quadColBegin, model->quadColLength, model->quadRowIndex,
                        model->quadMatValue, model->quadDiag, x);
  const double primal = dot(model->numCol, model->obj, x) + half;
  const double dual = dot(model->numRow, model->rhs, y) - half;
  model->primalInfeas = residuals->primal(model);
  model->dualInfeas = residuals->dual(model);
  model->boundInfeas = 0.0;
  model->complementarity = 0.0;
  model->dualityGap = std::fabs(primal - dual) / (1.0 + std::fabs(primal));
  model->numIter = 0;
  model->objValue = model->objSense * (primal + model->objConstant);
  model->status = getSolutionStatus(options->tolPrimal, options->tolDual, options->tolOptimality,
                                    options->tolOptimality, model->primalInfeas, model->boundInfeas, model->dualInfeas,
                                    model->dualityGap, model->complementarity);
}

// Adds the solution for one half of the right-hand side, that of b or that of c, when it has one. Without, a status 3
// or 4 of the equation solve says the same, and the half stays away.
int32_t addHalf(Env* env, const Model* model, const IpmOption* options, Solution* solution, int32_t usePresolve,
                bool ofB, Residuals* residuals) {
  Conditions half;
  int32_t status = makeConditions(env, model, &half);
  if (status != QZ_STATUS_OK) return status;
  if (ofB)
    clearBuffer(model->numCol, half.rhs.get());
  else
    clearBuffer(model->numRow, half.rhs.get() + model->numCol);
  status = solveConditions(env, model, options, &half, usePresolve);
  if (status == QZ_STATUS_PRIMAL_INFEASIBLE || status == QZ_STATUS_DUAL_INFEASIBLE) return QZ_STATUS_OK;
  if (status != QZ_STATUS_OK) return status;
  const double* x = half.rhs.get();
  const double* y = x + model->numCol;
  residuals->compute(model, x, y, ofB ? 1.0 : 0.0, ofB ? 0.0 : 1.0);
  // Written so that a residual that is not a number is no solution.
  const bool holds = residuals->primal(model) <= options->tolPrimal && residuals->dual(model) <= options->tolDual;
  if (!holds) return QZ_STATUS_OK;
  for (int32_t j = 0; j < model->numCol; ++j) solution->primal[j] += x[j];
  for (int32_t i = 0; i < model->numRow; ++i) solution->dual[i] += y[i];
  return QZ_STATUS_OK;
}

// Where the rows contradict each other the solve has no solution to find, and what it leaves says nothing about the
// columns either; and the other way round. The conditions are linear: with Q positive semi-definite
//   A x = b, Q x - A'y = 0   is solvable exactly when A x = b is, and
//   A x = 0, Q x - A'y = -c  exactly when some dual point exists,
// so the halves tell which side it is. Their sum, without a half that has no solution, is the answer.
int32_t solveByHalves(Env* env, Model* model, const IpmOption* options, Solution* solution, int32_t usePresolve,
                      Residuals* residuals) {
  clearBuffer(model->numCol, solution->primal);
  clearBuffer(model->numRow, solution->dual);
  for (const bool ofB : {true, false}) {
    const int32_t status = addHalf(env, model, options, solution, usePresolve, ofB, residuals);
    if (status != QZ_STATUS_OK) return status;
  }
  measure(model, options, solution, residuals);
  return QZ_STATUS_OK;
}

}  // namespace

int32_t ipmSpecSolve(Env* env, Model* model, const IpmOption* options, Solution* solution, int32_t usePresolve) {
  Conditions system;
  int32_t status = makeConditions(env, model, &system);
  if (status != QZ_STATUS_OK) return status;
  status = solveConditions(env, model, options, &system, usePresolve);
  if (status != QZ_STATUS_OK) return status;
  Residuals residuals;
  if (residuals.allocate(env->pool, model) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  takeSolution(model, system.rhs.get(), solution);
  measure(model, options, solution, &residuals);
  if (model->status != QZ_STATUS_BOTH_INFEASIBLE) return QZ_STATUS_OK;
  return solveByHalves(env, model, options, solution, usePresolve, &residuals);
}

}  // namespace qz
