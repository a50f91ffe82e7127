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

// Measures and status of the model; rowWork and colWork are scratch of numRow and numCol entries.
void measure(Model* model, const IpmOption* options, const Solution* solution, double* rowWork, double* colWork) {
  const int32_t numRow = model->numRow;
  const int32_t numCol = model->numCol;
  const double* x = solution->primal;
  const double* y = solution->dual;
  const bool quadratic = model->typeModel == IPM_MODEL_QP;

  matrixTimesVector(numRow, numCol, model->colBegin, model->colLength, model->rowIndex, model->matValue, x, rowWork);
  for (int32_t i = 0; i < numRow; ++i) rowWork[i] -= model->rhs[i];
  vectorTimesMatrix(numCol, model->colBegin, model->colLength, model->rowIndex, model->matValue, y, colWork);
  for (int32_t j = 0; j < numCol; ++j) colWork[j] = model->obj[j] - colWork[j];
  double half = 0.0;
  if (quadratic) {
    symmatrixTimesVector(numCol, model->quadColBegin, model->quadColLength, model->quadRowIndex, model->quadMatValue,
                         model->quadDiag, x, colWork, 1.0);
    half = calcQuadForm(numCol, model->quadColBegin, model->quadColLength, model->quadRowIndex, model->quadMatValue,
                        model->quadDiag, x);
  }
  const double primal = dot(numCol, model->obj, x) + half;
  const double dual = dot(numRow, model->rhs, y) - half;
  model->primalInfeas = norm2(numRow, rowWork) / (1.0 + norm2(numRow, model->rhs));
  model->dualInfeas = norm2(numCol, colWork) / (1.0 + norm2(numCol, model->obj));
  model->boundInfeas = 0.0;
  model->complementarity = 0.0;
  model->dualityGap = std::fabs(primal - dual) / (1.0 + std::fabs(primal));
  model->numIter = 0;
  model->objValue = model->objSense * (primal + model->objConstant);
  model->status = getSolutionStatus(options->tolPrimal, options->tolDual, options->tolOptimality,
                                    options->tolOptimality, model->primalInfeas, model->boundInfeas, model->dualInfeas,
                                    model->dualityGap, model->complementarity);
}

}  // namespace

int32_t ipmSpecSolve(Env* env, Model* model, const IpmOption* options, Solution* solution, int32_t usePresolve) {
  Conditions system;
  int32_t status = makeConditions(env, model, &system);
  if (status != QZ_STATUS_OK) return status;
  status = solveConditions(env, model, options, &system, usePresolve);
  if (status != QZ_STATUS_OK) return status;
  PoolArray<double> rowWork;
  PoolArray<double> colWork;
  if (rowWork.allocate(env->pool, model->numRow) != QZ_STATUS_OK ||
      colWork.allocate(env->pool, model->numCol) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  takeSolution(model, system.rhs.get(), solution);
  measure(model, options, solution, rowWork.get(), colWork.get());
  return QZ_STATUS_OK;
}

}  // namespace qz
