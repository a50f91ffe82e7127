#include "engine/rays.h"

#include <cmath>

#include "transform/row_scaling.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

double square(double value) {
  return value * value;
}

// A sum and the magnitudes of what it is made of.
struct Gain {
  double sum = 0.0;
  double magnitude = 0.0;

  void add(double term, double itsMagnitude) {
    sum += term;
    magnitude += itsMagnitude;
  }
  void add(double term) { add(term, std::fabs(term)); }
};

// A gain that is lost in the rounding of its terms proves nothing: along dependent rows the multipliers grow without
// limit, and with them what the sides of these rows disagree by in their last digits. Sides and costs have an absolute
// rounding too, where they are what reductions have left of larger ones; the tolerances are as absolute below 1.
bool proves(const Gain& gain, double violation2, double norm2) {
  return gain.sum > kGainMargin * gain.magnitude &&
         std::sqrt(violation2) * (1.0 + std::sqrt(norm2)) <= kRayTolerance * gain.sum;
}

// What row i has been divided by.
double divisor(const double* rowScale, int32_t i) {
  return rowScale != nullptr && rowScale[i] >= kLeastDivisor ? rowScale[i] : 1.0;
}

}  // namespace

bool isRay(const Model* model, const double* x, double infinityValue, const double* rowScale, double* work) {
  Gain gain;
  double cost2 = 0.0;
  double violation2 = 0.0;
  for (int32_t j = 0; j < model->numCol; ++j) {
    gain.add(-model->obj[j] * x[j], (1.0 + std::fabs(model->obj[j])) * std::fabs(x[j]));
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
  Gain gain;
  double side2 = 0.0;
  double violation2 = 0.0;
  for (int32_t i = 0; i < model->numRow; ++i) {
    gain.add(model->rhs[i] * y[i], (1.0 + std::fabs(model->rhs[i])) * std::fabs(y[i]));
    side2 += square(model->rhs[i] * divisor(rowScale, i));
    if (model->rowSense[i] == 'G' && y[i] < 0.0) violation2 += square(y[i] / divisor(rowScale, i));
  }
  for (int32_t j = 0; j < model->numCol; ++j) {
    Gain d;
    for (int32_t k = model->colBegin[j], end = k + model->colLength[j]; k < end; ++k)
      d.add(-model->matValue[k] * y[model->rowIndex[k]]);
    const bool hasLower = model->lower[j] > -infinityValue;
    const bool hasUpper = model->upper[j] < infinityValue;
    if (hasLower) side2 += square(model->lower[j]);
    if (hasUpper) side2 += square(model->upper[j]);
    const double bound = d.sum > 0.0 ? model->lower[j] : model->upper[j];
    if (d.sum > 0.0 ? hasLower : hasUpper)
      gain.add(d.sum * bound, d.magnitude * std::fabs(bound));
    else
      violation2 += square(d.sum);
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
