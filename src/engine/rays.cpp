#include "engine/rays.h"

#include <cmath>

#include "transform/row_scaling.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

double square(double value) {
  return value * value;
}

bool proves(double gain, double violation2, double norm2) {
  return gain > 0.0 && std::sqrt(violation2) * (1.0 + std::sqrt(norm2)) <= kRayTolerance * gain;
}

// What row i has been divided by.
double divisor(const double* rowScale, int32_t i) {
  return rowScale != nullptr && rowScale[i] >= kLeastDivisor ? rowScale[i] : 1.0;
}

}  // namespace

bool isRay(const Model* model, const double* x, double infinityValue, const double* rowScale, double* work) {
  double gain = 0.0;
  double cost2 = 0.0;
  double violation2 = 0.0;
  for (int32_t j = 0; j < model->numCol; ++j) {
    gain -= model->obj[j] * x[j];
    cost2 += square(model->obj[j]);
    const bool barred = x[j] < 0.0 ? model->lower[j] > -infinityValue : model->upper[j] < infinityValue;
    if (barred) violation2 += square(x[j]);
  }
  matrixTimesVector(model->numRow, model->numCol, model->colBegin, model->colLength, model->rowIndex, model->matValue,
                    x, work);
  for (int32_t i = 0; i < model->numRow; ++i)
    if (model->rowSense[i] == 'E' || work[i] < 0.0) violation2 += square(work[i] * divisor(rowScale, i));
  if (model->typeModel == IPM_MODEL_QP) {
    clearBuffer(model->numCol, work);
    symmatrixTimesVector(model->numCol, model->quadColBegin, model->quadColLength, model->quadRowIndex,
                         model->quadMatValue, model->quadDiag, x, work, 1.0);
    for (int32_t j = 0; j < model->numCol; ++j) violation2 += square(work[j]);
  }
  return proves(gain, violation2, cost2);
}

bool isFarkasProof(const Model* model, const double* y, double infinityValue, const double* rowScale) {
  double gain = 0.0;
  double side2 = 0.0;
  double violation2 = 0.0;
  for (int32_t i = 0; i < model->numRow; ++i) {
    gain += model->rhs[i] * y[i];
    side2 += square(model->rhs[i] * divisor(rowScale, i));
    if (model->rowSense[i] == 'G' && y[i] < 0.0) violation2 += square(y[i] / divisor(rowScale, i));
  }
  for (int32_t j = 0; j < model->numCol; ++j) {
    double d = 0.0;
    for (int32_t k = model->colBegin[j], end = k + model->colLength[j]; k < end; ++k)
      d -= model->matValue[k] * y[model->rowIndex[k]];
    const bool hasLower = model->lower[j] > -infinityValue;
    const bool hasUpper = model->upper[j] < infinityValue;
    if (hasLower) side2 += square(model->lower[j]);
    if (hasUpper) side2 += square(model->upper[j]);
    if (d > 0.0 ? hasLower : hasUpper)
      gain += d * (d > 0.0 ? model->lower[j] : model->upper[j]);
    else
      violation2 += square(d);
  }
  return proves(gain, violation2, side2);
}

int32_t statusByRays(const Model* model, const double* x, const double* y, double infinityValue, const double* rowScale,
                     double* work, int32_t unproved) {
  const bool noDualPoint = isRay(model, x, infinityValue, rowScale, work);
  const bool noPoint = isFarkasProof(model, y, infinityValue, rowScale);
  if (noDualPoint && noPoint) return QZ_STATUS_BOTH_INFEASIBLE;
  if (noDualPoint) return QZ_STATUS_DUAL_INFEASIBLE;
  return noPoint ? QZ_STATUS_PRIMAL_INFEASIBLE : unproved;
}

}  // namespace qz
