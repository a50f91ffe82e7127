#include "transform/scaling.h"

#include <algorithm>

#include "qzipsolve/presolve_module.h"
#include "shell/pool.h"
#include "transform/row_scaling.h"
#include "transform/scaling_balance.h"
#include "transform/scaling_outliers.h"
#include "transform/small_data.h"

namespace qz {

namespace {

// Has the presolver module scale the model. On success the arrays are hub's.
int32_t computeFactors(Env* env, Model* model, const IpmOption* options, Hub* hub) {
  auto* presolver = static_cast<QzPresolveObject*>(env->presolveObject);
  if (presolver == nullptr || presolver->scale == nullptr) return QZ_STATUS_FAILED;
  const int64_t numRow = int64_t{model->numRow} + 1;
  const int64_t numCol = int64_t{model->numCol} + 1;
  PoolArray<double> rowScale;
  PoolArray<double> colScale;
  if (rowScale.allocate(env->pool, numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  if (colScale.allocate(env->pool, numCol) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  std::fill_n(rowScale.get(), numRow, 1.0);
  std::fill_n(colScale.get(), numCol, 1.0);
  const int32_t direction = model->typeModel == IPM_MODEL_LP ? 1 : -1;
  const int32_t status = presolver->scale(
      presolver, direction, model->numRow, model->numCol, model->numCoef, model->colBegin, options->tolPrimal,
      model->colLength, model->rowIndex, model->matValue, model->obj, model->lower, model->upper, rowScale.get(),
      colScale.get(), nullptr, nullptr, model->rhs, model->rowSense, model->range, nullptr, nullptr, nullptr, nullptr);
  if (status != QZ_STATUS_OK) return status;
  hub->rowScale = rowScale.release();
  hub->colScale = colScale.release();
  hub->objScale = hub->rowScale[model->numRow];
  return QZ_STATUS_OK;
}

bool allOne(const double* factor, int32_t n) {
  return std::all_of(factor, factor + n, [](double f) { return f == 1.0; });
}

// Folds the balance in and settles what is scaled; factors that are all 1 are given back.
void settleState(Env* env, const Model* model, Hub* hub, double balance) {
  hub->objScale *= balance;
  hub->rowScale[model->numRow] *= balance;
  if (!allOne(hub->rowScale, model->numRow) || !allOne(hub->colScale, model->numCol)) {
    hub->scaleState = 2;
    return;
  }
  hub->scaleState = hub->objScale != 1.0 ? 1 : 0;
  poolFree(env->pool, hub->colScale);
  poolFree(env->pool, hub->rowScale);
}

// The factors while outliers are hidden; these come back whatever happens.
int32_t scaleAroundOutliers(Env* env, Model* model, const IpmOption* options, Hub* hub, ObjectiveBalance& balance) {
  Outliers outliers;
  int32_t status = hideOutliers(env, options->debugLevel, model, balance, outliers);
  if (status != QZ_STATUS_OK) return status;
  status = computeFactors(env, model, options, hub);
  if (status != QZ_STATUS_OK) {
    restoreOutliers(model, outliers, nullptr, nullptr, 1.0);
    return status;
  }
  restoreOutliers(model, outliers, hub->rowScale, hub->colScale, hub->objScale);
  settleState(env, model, hub, balance.factor);
  return QZ_STATUS_OK;
}

// Alternate bounds are in true units until here.
void scaleAlternateBounds(const Model* model, const IpmOption* options, Hub* hub) {
  if (hub->altLower == nullptr || hub->altUpper == nullptr || hub->scaleState != 2) return;
  for (int32_t j = 0; j < model->numCol; ++j) {
    if (hub->altLower[j] > -options->infinityValue) hub->altLower[j] /= hub->colScale[j];
    if (hub->altUpper[j] < options->infinityValue) hub->altUpper[j] /= hub->colScale[j];
  }
}

}  // namespace

int32_t ipmScale(Env* env, Model* model, IpmOption* options, Hub* hub, void*) {
  hub->objScale = 1.0;
  if (options->initOption == 1) return iplpScaleRow(env, model, hub);
  if (model->typeModel == IPM_MODEL_QP) return balanceQuadratic(env, options->debugLevel, model, hub);
  ObjectiveBalance balance;
  int32_t status = balanceObjective(env, options->debugLevel, model, balance);
  if (status != QZ_STATUS_OK) return status;
  status = scaleAroundOutliers(env, model, options, hub, balance);
  if (status != QZ_STATUS_OK) return status;
  status = settleSmallData(env, model, options, hub);
  if (status != QZ_STATUS_OK) return status;
  scaleAlternateBounds(model, options, hub);
  return QZ_STATUS_OK;
}

}  // namespace qz
