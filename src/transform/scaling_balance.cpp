#include "transform/scaling_balance.h"

#include <algorithm>

#include "diagnostics/verify_distribution.h"

namespace qz {

namespace {

constexpr double kFactorLow = 1e-6;
constexpr double kFactorHigh = 1e6;
constexpr double kLinearDistance = 100.0;
constexpr double kQuadraticDistance = 10.0;
constexpr double kSmallestMedianCost = 1e-6;
constexpr double kSmallestMedianElement = 1e-10;

struct Quartiles {
  double first;
  double second;
  double third;
};

Quartiles quartilesOf(int32_t count, const Distribution& d) {
  return {getPercentile(count, 0, nullptr, d, 0.25), getPercentile(count, 0, nullptr, d, 0.5),
          getPercentile(count, 0, nullptr, d, 0.75)};
}

// Every quartile of a lies more than `distance` times above its partner.
bool above(const Quartiles& a, const Quartiles& b, double distance) {
  return a.first > distance * b.first && a.second > distance * b.second && a.third > distance * b.third;
}

bool apart(const Quartiles& a, const Quartiles& b, double distance) {
  return above(a, b, distance) || above(b, a, distance);
}

}  // namespace

int32_t balanceObjective(Env* env, int32_t debugLevel, Model* model, ObjectiveBalance& balance) {
  balance.factor = 1.0;
  initDistribution(balance.matrix);
  initDistribution(balance.obj);
  getMatrixDistribution(env, model->numCol, model->colBegin, model->colLength, model->matValue, balance.matrix);
  int32_t status = VerifyPdfMatrix(env, debugLevel, model, balance.matrix);
  if (status != QZ_STATUS_OK) return status;
  const Quartiles matrix = quartilesOf(model->numCoef, balance.matrix);
  balance.matrixMedian = matrix.second;
  getVectorDistribution(env, model->numCol, model->obj, &balance.numObj, balance.obj);
  status = VerifyPdfObj(env, debugLevel, model, balance.obj);
  if (status != QZ_STATUS_OK) return status;
  const Quartiles costs = quartilesOf(balance.numObj, balance.obj);
  if (costs.second <= kSmallestMedianCost || !apart(costs, matrix, kLinearDistance)) return QZ_STATUS_OK;
  balance.factor = std::clamp(matrix.second / costs.second, kFactorLow, kFactorHigh);
  for (int32_t j = 0; j < model->numCol; ++j) model->obj[j] *= balance.factor;
  initDistribution(balance.obj);
  getVectorDistribution(env, model->numCol, model->obj, &balance.numObj, balance.obj);
  return VerifyPdfObj(env, debugLevel, model, balance.obj);
}

int32_t balanceQuadratic(Env* env, int32_t debugLevel, Model* model, Hub* hub) {
  hub->objScale = 1.0;
  Distribution matrix;
  Distribution diagonal;
  initDistribution(matrix);
  initDistribution(diagonal);
  getMatrixDistribution(env, model->numCol, model->colBegin, model->colLength, model->matValue, matrix);
  const int32_t status = VerifyPdfMatrix(env, debugLevel, model, matrix);
  if (status != QZ_STATUS_OK) return status;
  int32_t numDiagonal = 0;
  getVectorDistribution(env, model->numCol, model->quadDiag, &numDiagonal, diagonal);
  if (numDiagonal < 1) return QZ_STATUS_OK;
  const Quartiles a = quartilesOf(model->numCoef, matrix);
  const Quartiles d = quartilesOf(numDiagonal, diagonal);
  if (!apart(a, d, kQuadraticDistance)) return QZ_STATUS_OK;
  double factor = 0.0;
  if (a.second > kSmallestMedianElement) {
    factor = std::clamp(a.second / d.second, kFactorLow, kFactorHigh);
  } else {
    // Without a matrix to compare with only a diagonal that is extreme by itself is brought to 1.
    factor = 1.0 / d.second;
    if (kFactorLow < factor && factor < kFactorHigh) return QZ_STATUS_OK;
  }
  hub->scaleState = 1;
  hub->objScale = factor;
  for (int32_t j = 0; j < model->numCol; ++j) {
    model->obj[j] *= factor;
    model->quadDiag[j] *= factor;
    if (model->numQuadCoef < 1) continue;
    const int32_t begin = model->quadColBegin[j];
    for (int32_t k = begin; k < begin + model->quadColLength[j]; ++k) model->quadMatValue[k] *= factor;
  }
  return QZ_STATUS_OK;
}

}  // namespace qz
