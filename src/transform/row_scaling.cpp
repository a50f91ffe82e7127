#include "transform/row_scaling.h"

#include <algorithm>
#include <cmath>

#include "shell/pool.h"

namespace qz {

namespace {

bool divides(double divisor) {
  return divisor >= kLeastDivisor;
}

// Calls visit(element, row) for each element of the matrix.
template <class Visit>
void forEachElement(Model* model, Visit visit) {
  for (int32_t j = 0; j < model->numCol; ++j)
    for (int32_t k = model->colBegin[j]; k < model->colBegin[j] + model->colLength[j]; ++k)
      visit(model->matValue[k], model->rowIndex[k]);
}

// Calls visit(value) for each coefficient of the objective, those of a quadratic term included.
template <class Visit>
void forEachCost(Model* model, Visit visit) {
  for (int32_t j = 0; j < model->numCol; ++j) visit(model->obj[j]);
  if (model->typeModel != IPM_MODEL_QP) return;
  for (int32_t j = 0; j < model->numCol; ++j) visit(model->quadDiag[j]);
  if (model->numQuadCoef == 0) return;
  for (int32_t j = 0; j < model->numCol; ++j)
    for (int32_t k = model->quadColBegin[j]; k < model->quadColBegin[j] + model->quadColLength[j]; ++k)
      visit(model->quadMatValue[k]);
}

}  // namespace

int32_t iplpScaleRow(Env* env, Model* model, Hub* hub) {
  double largest = 0.0;
  for (int32_t j = 0; j < model->numCol; ++j) largest = std::max(largest, std::fabs(model->obj[j]));
  double* rowScale = poolAllocateZero<double>(env->pool, model->numRow);
  if (rowScale == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  hub->objScale = largest;
  hub->rowScale = rowScale;
  if (divides(largest)) forEachCost(model, [largest](double& cost) { cost /= largest; });
  forEachElement(model, [&](double value, int32_t row) { rowScale[row] = std::max(rowScale[row], std::fabs(value)); });
  for (int32_t i = 0; i < model->numRow; ++i) {
    rowScale[i] = std::max(rowScale[i], std::fabs(model->rhs[i]));
    if (model->rowSense[i] == 'R') rowScale[i] = 1.0;
    if (divides(rowScale[i])) model->rhs[i] /= rowScale[i];
  }
  forEachElement(model, [&](double& value, int32_t row) {
    if (divides(rowScale[row])) value /= rowScale[row];
  });
  return QZ_STATUS_OK;
}

int32_t iplpUnscaleRow(Env*, Model* model, Hub* hub) {
  const double* rowScale = hub->rowScale;
  if (divides(hub->objScale)) forEachCost(model, [hub](double& cost) { cost *= hub->objScale; });
  forEachElement(model, [&](double& value, int32_t row) {
    if (divides(rowScale[row])) value *= rowScale[row];
  });
  for (int32_t i = 0; i < model->numRow; ++i) {
    if (!divides(rowScale[i])) continue;
    model->rhs[i] *= rowScale[i];
    model->solDual[i] /= rowScale[i];
    if (divides(hub->objScale)) model->solDual[i] *= hub->objScale;
  }
  return QZ_STATUS_OK;
}

int32_t undoRowScaling(Env* env, Model* model, Hub* hub, Solution* solution) {
  const int32_t status = iplpUnscaleRow(env, model, hub);
  if (status != QZ_STATUS_OK) return status;
  if (divides(hub->objScale)) {
    for (int32_t j = 0; j < model->numCol; ++j) {
      solution->lowerDual[j] *= hub->objScale;
      solution->upperDual[j] *= hub->objScale;
    }
    // The duals of undivided rows are prices of the divided objective as well: left as they are, they would contradict
    // the bound duals, and the last check would refuse every such answer.
    for (int32_t i = 0; i < model->numRow; ++i)
      if (!divides(hub->rowScale[i])) model->solDual[i] *= hub->objScale;
  }
  // The slack of a range row came from its unscaled slack column; its divisor is 1.
  for (int32_t i = 0; i < model->numRow; ++i)
    if (divides(hub->rowScale[i])) solution->ineqnSlack[i] *= hub->rowScale[i];
  poolFree(env->pool, hub->rowScale);
  hub->objScale = 1.0;
  return QZ_STATUS_OK;
}

}  // namespace qz
