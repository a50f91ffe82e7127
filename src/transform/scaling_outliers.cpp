#include "transform/scaling_outliers.h"

#include <cmath>

#include "diagnostics/verify_distribution.h"
#include "shell/log.h"

namespace qz {

namespace {

// Moves outliers into the record while it has room; counts on without.
struct Collector {
  Outliers& out;
  double leftCutoff;
  double rightCutoff;
  double replacement;
  int32_t found = 0;

  [[nodiscard]] bool full() const { return found >= out.number; }
  void visit(double& value, int32_t position, int32_t column) {
    const double v = std::fabs(value);
    if (v > leftCutoff && v <= rightCutoff) return;
    if (!full()) {
      out.position[found] = position;
      out.column[found] = column;
      out.value[found] = value;
      value = replacement;
    }
    ++found;
  }
};

// The matrix whole, costs and right-hand sides while the list has room and zeros aside.
void collect(Model* model, Collector& collector) {
  for (int32_t j = 0; j < model->numCol; ++j)
    for (int32_t k = model->colBegin[j]; k < model->colBegin[j] + model->colLength[j]; ++k)
      collector.visit(model->matValue[k], k, j);
  collector.out.numMatrix = collector.found;
  for (int32_t j = 0; j < model->numCol && !collector.full(); ++j)
    if (model->obj[j] != 0.0) collector.visit(model->obj[j], j, j);
  collector.out.numObj = collector.found - collector.out.numMatrix;
  for (int32_t i = 0; i < model->numRow && !collector.full(); ++i)
    if (model->rhs[i] != 0.0) collector.visit(model->rhs[i], i, 0);
}

int32_t allocate(QzPool* pool, int32_t number, Outliers& outliers) {
  outliers.number = number;
  if (outliers.position.allocate(pool, number) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  if (outliers.column.allocate(pool, number) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  if (outliers.value.allocate(pool, number) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  return QZ_STATUS_OK;
}

}  // namespace

int32_t hideOutliers(Env* env, int32_t debugLevel, Model* model, ObjectiveBalance& balance, Outliers& outliers) {
  int32_t numRhs = 0;
  addDistribution(balance.obj, balance.matrix);
  getVectorDistribution(env, model->numRow, model->rhs, &numRhs, balance.matrix);
  const int32_t count = model->numCoef + balance.numObj + numRhs;
  int32_t status = VerifyPdfAll(env, debugLevel, model, balance.matrix);
  if (status != QZ_STATUS_OK) return status;
  int32_t numRight = 0;
  int32_t numLeft = 0;
  double rightCutoff = 0.0;
  double leftCutoff = 0.0;
  const int32_t number = countOutlier(env, count, &numRight, &numLeft, &rightCutoff, &leftCutoff, balance.matrix);
  if (number < 0) return QZ_STATUS_FAILED;
  status = VerifyOutlier(env, debugLevel, model, numRight, numLeft, rightCutoff, leftCutoff);
  if (status != QZ_STATUS_OK || number == 0) return status;
  status = allocate(env->pool, number, outliers);
  if (status != QZ_STATUS_OK) return status;
  Collector collector{outliers, leftCutoff, rightCutoff, balance.matrixMedian};
  collect(model, collector);
  if (collector.found == number) return QZ_STATUS_OK;
  logText(env->log, QZ_LOG_DEBUG, L"Error ipmScale: numOutlier=%d should be %d", collector.found, number);
  if (collector.found < number) outliers.number = collector.found;
  restoreOutliers(model, outliers, nullptr, nullptr, 1.0);
  outliers.number = 0;
  return QZ_STATUS_FAILED;
}

void restoreOutliers(Model* model, const Outliers& outliers, const double* rowScale, const double* colScale,
                     double objScale) {
  const auto factor = [](const double* scale, int32_t index) { return scale == nullptr ? 1.0 : scale[index]; };
  for (int32_t n = 0; n < outliers.number; ++n) {
    const int32_t at = outliers.position[n];
    const double value = outliers.value[n];
    if (n < outliers.numMatrix)
      model->matValue[at] = value * factor(colScale, outliers.column[n]) * factor(rowScale, model->rowIndex[at]);
    else if (n < outliers.numMatrix + outliers.numObj)
      model->obj[at] = value * factor(colScale, at) * objScale;
    else
      model->rhs[at] = factor(rowScale, at) * value;
  }
}

}  // namespace qz
