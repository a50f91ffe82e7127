#include "transform/scaling_undo.h"

#include <algorithm>

#include "qzipsolve/presolve_module.h"
#include "shell/pool.h"
#include "transform/row_scaling.h"

namespace qz {

namespace {

// Position of `value` in an ascending list of n entries, -1 when it is not there.
int32_t findIn(const int32_t* list, int32_t n, int32_t value) {
  if (list == nullptr) return -1;
  const int32_t* at = std::lower_bound(list, list + n, value);
  return at != list + n && *at == value ? static_cast<int32_t>(at - list) : -1;
}

void addMapped(double* vector, const int32_t* map, int32_t at, double value) {
  const int32_t to = map == nullptr ? at : map[at];
  if (to >= 0) vector[to] += value;
}

void restoreSmallData(Ipm* ipm, Hub* hub, const SubModel* submodel) {
  const int32_t* colMap = submodel == nullptr ? nullptr : submodel->colMapSub;
  const int32_t* rowMap = submodel == nullptr ? nullptr : submodel->rowMapSub;
  hub->smallRestored = 1;
  for (int32_t k = 0; k < hub->numSmallObj; ++k) {
    const int32_t col = hub->smallObjCol[k];
    addMapped(ipm->obj, colMap, col, hub->smallObjValue[k]);
    const int32_t split = findIn(hub->colPlus, hub->numFreeVar, col);
    if (split >= 0) addMapped(ipm->obj, colMap, hub->colMinus[split], -hub->smallObjValue[k]);
  }
  for (int32_t k = 0; k < hub->numSmallRhs; ++k) {
    const int32_t row = hub->smallRhsRow[k];
    const bool negated = findIn(hub->lcontRowList, hub->numLcont, row) >= 0;
    addMapped(ipm->rhs, rowMap, row, negated ? -hub->smallRhsValue[k] : hub->smallRhsValue[k]);
  }
  FreeHubSmall(ipm->env, hub);
}

void unscaleQuadratic(Ipm* ipm, double o) {
  if (ipm->typeModel != IPM_MODEL_QP || o == 1.0) return;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    ipm->quadDiag[j] /= o;
    if (ipm->numQuadCoef < 1) continue;
    const int32_t begin = ipm->quadColBegin[j];
    for (int32_t k = begin; k < begin + ipm->quadColLength[j]; ++k) ipm->quadMatValue[k] /= o;
  }
}

void unscaleObjective(Ipm* ipm, const Hub* hub) {
  const double o = hub->objScale;
  const auto column = [&](int32_t j) {
    ipm->obj[j] /= o;
    ipm->lowerDual[j] /= o;
    ipm->upperDual[j] /= o;
  };
  for (int32_t j = 0; j < hub->numColSaved + hub->numRange; ++j) column(j);
  if (hub->typeMethod == IPM_METHOD_NORMAL && hub->colMinus != nullptr)
    for (int32_t k = 0; k < hub->numFreeVar; ++k) column(hub->colMinus[k]);
  for (int32_t i = 0; i < hub->numRowSaved; ++i) ipm->dual[i] /= o;
  unscaleQuadratic(ipm, o);
}

// A model column, or the negative part of one, with factor c.
void unscaleColumn(Ipm* ipm, const Hub* hub, int32_t j, double c) {
  const double q = hub->objScale * c;
  ipm->primal[j] *= c;
  ipm->obj[j] /= q;
  if (ipm->lower[j] > -ipm->infinityValue) {
    ipm->lower[j] *= c;
    ipm->lowerSlack[j] *= c;
    ipm->lowerDual[j] /= q;
  }
  if (ipm->upper[j] < ipm->infinityValue) {
    ipm->upper[j] *= c;
    ipm->upperSlack[j] *= c;
    ipm->upperDual[j] /= q;
  }
  const int32_t begin = ipm->colBegin[j];
  for (int32_t k = begin; k < begin + ipm->colLength[j]; ++k) ipm->matValue[k] /= c * hub->rowScale[ipm->rowIndex[k]];
}

void unscaleAlternate(const Hub* hub, int32_t j, double c, double infinity) {
  if (hub->altLower == nullptr || hub->altUpper == nullptr) return;
  if (hub->altLower[j] > -infinity) hub->altLower[j] *= c;
  if (hub->altUpper[j] < infinity) hub->altUpper[j] *= c;
}

void unscaleRangeSlack(Ipm* ipm, const Hub* hub, int32_t k) {
  const int32_t row = hub->rangeRowList[k];
  const int32_t n = hub->numColSaved + k;
  const double r = hub->rowScale[row];
  const double o = hub->objScale;
  if (ipm->model->range != nullptr) ipm->model->range[row] /= r;
  ipm->primal[n] /= r;
  if (ipm->lower[n] > -ipm->infinityValue) {
    ipm->lower[n] /= r;
    ipm->lowerSlack[n] /= r;
    ipm->lowerDual[n] *= r / o;
  }
  if (ipm->upper[n] < ipm->infinityValue) {
    ipm->upper[n] /= r;
    ipm->upperSlack[n] /= r;
    ipm->upperDual[n] *= r / o;
  }
}

void unscaleEverything(Ipm* ipm, const Hub* hub) {
  for (int32_t j = 0; j < hub->numColSaved; ++j) {
    unscaleColumn(ipm, hub, j, hub->colScale[j]);
    unscaleAlternate(hub, j, hub->colScale[j], ipm->infinityValue);
  }
  for (int32_t k = 0; k < hub->numRange; ++k) unscaleRangeSlack(ipm, hub, k);
  if (hub->typeMethod == IPM_METHOD_NORMAL && hub->colMinus != nullptr)
    for (int32_t k = 0; k < hub->numFreeVar; ++k)
      unscaleColumn(ipm, hub, hub->colMinus[k], hub->colScale[hub->colPlus[k]]);
  for (int32_t i = 0; i < hub->numRowSaved; ++i) {
    const double r = hub->rowScale[i];
    ipm->dual[i] *= r / hub->objScale;
    ipm->rhs[i] /= r;
    ipm->ineqnSlack[i] /= r;
  }
  unscaleQuadratic(ipm, hub->objScale);
}

// The seven arrays that a point and a direction have in common.
struct Point {
  double* primal;
  double* dual;
  double* lowerSlack;
  double* upperSlack;
  double* lowerDual;
  double* upperDual;
  double* ineqnSlack;
};

// With null arrays only the objective is scaled.
void unscalePoint(const Model* model, const double* rowScale, const double* colScale, double o, const Point& point) {
  for (int32_t j = 0; j < model->numCol; ++j) {
    const double c = colScale == nullptr ? 1.0 : colScale[j];
    point.primal[j] *= c;
    point.lowerSlack[j] *= c;
    point.upperSlack[j] *= c;
    point.lowerDual[j] /= c * o;
    point.upperDual[j] /= c * o;
  }
  for (int32_t i = 0; i < model->numRow; ++i) {
    const double r = rowScale == nullptr ? 1.0 : rowScale[i];
    point.dual[i] *= r / o;
    point.ineqnSlack[i] /= r;
  }
}

int32_t unscaleModelOld(Env* env, Model* model, const IpmOption* options, const Hub* hub) {
  if (hub->scaleState == 1) {
    for (int32_t j = 0; j < model->numCol; ++j) model->obj[j] /= hub->objScale;
    return QZ_STATUS_OK;
  }
  auto* presolver = static_cast<QzPresolveObject*>(env->presolveObject);
  if (presolver == nullptr || presolver->unscale == nullptr) return QZ_STATUS_FAILED;
  const int32_t direction = model->typeModel == IPM_MODEL_LP ? 1 : -1;
  return presolver->unscale(presolver, direction, model->numRow, model->numCol, model->numCoef, model->colBegin,
                            options->tolPrimal, model->colLength, model->rowIndex, model->matValue, model->obj,
                            model->lower, model->upper, hub->rowScale, hub->colScale, nullptr, nullptr, model->rhs,
                            model->rowSense, model->range, nullptr, nullptr, nullptr, nullptr);
}

void unscaleQuadraticOld(Model* model, const Hub* hub, Solution* solution) {
  const double o = hub->objScale;
  if (o == 1.0) return;
  for (int32_t j = 0; j < model->numCol; ++j) {
    solution->lowerDual[j] /= o;
    solution->upperDual[j] /= o;
    model->obj[j] /= o;
    model->quadDiag[j] /= o;
    if (model->numQuadCoef < 1) continue;
    const int32_t begin = model->quadColBegin[j];
    for (int32_t k = begin; k < begin + model->quadColLength[j]; ++k) model->quadMatValue[k] /= o;
  }
  for (int32_t i = 0; i < model->numRow; ++i) solution->dual[i] /= o;
}

int32_t unscaleLinearOld(Env* env, Model* model, const IpmOption* options, Hub* hub, Solution* solution) {
  if (hub->scaleState == 2)
    for (int32_t j = 0; j < model->numCol; ++j) unscaleAlternate(hub, j, hub->colScale[j], options->infinityValue);
  for (int32_t k = 0; k < hub->numSmallObj; ++k) model->obj[hub->smallObjCol[k]] = hub->smallObjValue[k];
  for (int32_t k = 0; k < hub->numSmallRhs; ++k) model->rhs[hub->smallRhsRow[k]] = hub->smallRhsValue[k];
  FreeHubSmall(env, hub);
  hub->smallRestored = 1;
  if (hub->scaleState == 0) return QZ_STATUS_OK;
  const int32_t status = unscaleModelOld(env, model, options, hub);
  if (status != QZ_STATUS_OK) return status;
  const double* rowScale = hub->scaleState == 2 ? hub->rowScale : nullptr;
  const double* colScale = hub->scaleState == 2 ? hub->colScale : nullptr;
  const Solution& s = *solution;
  unscalePoint(model, rowScale, colScale, hub->objScale,
               {s.primal, s.dual, s.lowerSlack, s.upperSlack, s.lowerDual, s.upperDual, s.ineqnSlack});
  if (hub->keptSolution == nullptr) return QZ_STATUS_OK;
  const KeptSolution& d = *hub->keptSolution;
  unscalePoint(model, rowScale, colScale, hub->objScale,
               {d.primalDelta, d.dualDelta, d.lowerSlackDelta, d.upperSlackDelta, d.lowerDualDelta, d.upperDualDelta,
                d.ineqnSlackDelta});
  return QZ_STATUS_OK;
}

// Factor of a column that is no range slack.
double columnFactor(const Hub* hub, int32_t n) {
  return hub->colScale[n < hub->numColSaved ? n : hub->colPlus[n - hub->numColSaved - hub->numRange]];
}

// Row of a range slack, -1 for any other column.
int32_t slackRow(const Hub* hub, int32_t n) {
  const int32_t k = n - hub->numColSaved;
  return k >= 0 && k < hub->numRange ? hub->rangeRowList[k] : -1;
}

}  // namespace

void ipmUnscale(Ipm* ipm, Hub* hub, SubModel* submodel) {
  if (hub->smallRestored == 0) restoreSmallData(ipm, hub, submodel);
  if (hub->scaleState == 1) unscaleObjective(ipm, hub);
  if (hub->scaleState == 2) unscaleEverything(ipm, hub);
  // The growth of mu is judged against its first value. Slacks and duals scale against each other but for the
  // objective.
  if (hub->scaleState != 0) ipm->firstMu /= hub->objScale;
}

int32_t ipmUnscaleOld(Env* env, Model* model, IpmOption* options, Hub* hub, Solution* solution) {
  if (options->initOption == 1) return undoRowScaling(env, model, hub, solution);
  if (model->typeModel == IPM_MODEL_QP) {
    unscaleQuadraticOld(model, hub, solution);
  } else {
    const int32_t status = unscaleLinearOld(env, model, options, hub, solution);
    if (status != QZ_STATUS_OK) return status;
  }
  releaseFactors(env, hub);
  return QZ_STATUS_OK;
}

void releaseFactors(Env* env, Hub* hub) {
  poolFree(env->pool, hub->colScale);
  poolFree(env->pool, hub->rowScale);
  hub->scaleState = 0;
  hub->objScale = 1.0;
}

double unscaleColumnValue(const Hub* hub, int32_t n, double value) {
  const int32_t row = slackRow(hub, n);
  return row >= 0 ? value / hub->rowScale[row] : value * columnFactor(hub, n);
}

double unscaleColumnDual(const Hub* hub, int32_t n, double value) {
  const int32_t row = slackRow(hub, n);
  return row >= 0 ? value * (hub->rowScale[row] / hub->objScale) : value / (columnFactor(hub, n) * hub->objScale);
}

double unscaleElement(const Hub* hub, int32_t i, int32_t n, double value) {
  return slackRow(hub, n) >= 0 ? value : value / (columnFactor(hub, n) * hub->rowScale[i]);
}

}  // namespace qz
