#include "submodel/big_data.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/verify_submodel.h"
#include "shell/log.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kMatrixShare = 0.95;     // percentile of the matrix that the thresholds are made of
constexpr double kDefaultMat = 100.0;     // for a matrix of elements below 1
constexpr double kSmallestBig = 10000.0;  // no right-hand side or cost under it is big
constexpr double kSmallestFar = 1000.0;   // no bound under it is far

// A map that numbers what is kept, and the list of what is not.
struct Marking {
  int32_t* map;
  int32_t* list;
  int32_t numMarked = 0;
  int32_t numKept = 0;

  void add(int32_t i, bool marked) {
    if (marked) {
      map[i] = -1;
      list[numMarked++] = i;
    } else {
      map[i] = numKept++;
    }
  }
};

// Where the big values of a vector begin, never below thresholdBig; *numBig receives how many there are.
double vectorThreshold(Env* env, const SubModel* submodel, int32_t n, const double* vector, int32_t* numBig) {
  Distribution d;
  initDistribution(d);
  int32_t count = 0;
  getVectorDistribution(env, n, vector, &count, d);
  return getBigdataThreshold(env, count, d.histogramRight, d.breakRight, numBig, submodel->thresholdBig);
}

double matrixThreshold(Env* env, const Model* model) {
  Distribution d;
  initDistribution(d);
  getMatrixDistribution(env, model->numCol, model->colBegin, model->colLength, model->matValue, d);
  const double percentile = getPercentile(model->numCoef, 0, nullptr, d, kMatrixShare);
  return percentile < 1.0 ? kDefaultMat : percentile;
}

bool isThreshold(double value) {
  return value >= 1.0 && value < kInfinity;
}

// Tells every threshold that is none; 0 or 10.
int32_t checkThresholds(Env* env, const SubModel* submodel) {
  int32_t status = QZ_STATUS_OK;
  const auto check = [&](double value, auto& text) {
    if (isThreshold(value)) return;
    logText(env->log, QZ_LOG_ERROR, text, value);
    status = QZ_STATUS_FAILED;
  };
  check(submodel->thresholdMat, L"submodel->thresholdMat = %f is not valid.");
  check(submodel->thresholdBig, L"submodel->thresholdBig = %f is not valid.");
  check(submodel->thresholdBound, L"submodel->thresholdBound = %f is not valid.");
  check(submodel->thresholdRow, L"submodel->thresholdRow = %f is not valid.");
  check(submodel->thresholdCol, L"submodel->thresholdCol = %f is not valid.");
  return status;
}

}  // namespace

int32_t markBigRhs(Env* env, const Model* model, SubModel* submodel) {
  int32_t numBig = 0;
  submodel->thresholdRow = vectorThreshold(env, submodel, model->numRow, model->rhs, &numBig);
  Marking rows{submodel->rowMapSub, submodel->idxRowSub};
  for (int32_t i = 0; i < model->numRow; ++i)
    rows.add(i, numBig > 0 && std::fabs(model->rhs[i]) > submodel->thresholdRow && model->rowSense[i] != 'E');
  submodel->numRowSub = rows.numMarked;
  if (rows.numMarked + rows.numKept != model->numRow) {
    logText(env->log, QZ_LOG_DEBUG, L"Error markBigRhs: numRowSub=%d + pos=%d <> numRow=%d", rows.numMarked,
            rows.numKept, model->numRow);
    return QZ_STATUS_FAILED;
  }
  if (rows.numMarked > std::max(numBig, 0)) {
    logText(env->log, QZ_LOG_DEBUG, L"Error markBigRhs: numRowSub=%d numBig=%d", rows.numMarked, numBig);
    return QZ_STATUS_FAILED;
  }
  if (rows.numMarked == 0) FreeRowSub(env, submodel);
  return QZ_STATUS_OK;
}

int32_t markBigCol(Env* env, const Model* model, SubModel* submodel, double infinity) {
  int32_t numBig = 0;
  submodel->thresholdCol = vectorThreshold(env, submodel, model->numCol, model->obj, &numBig);
  Marking columns{submodel->colMapSub, submodel->idxColSub};
  for (int32_t j = 0; j < model->numCol; ++j) {
    const bool bounded = model->lower[j] > -infinity || model->upper[j] < infinity;
    columns.add(j, numBig > 0 && std::fabs(model->obj[j]) > submodel->thresholdCol && bounded);
  }
  submodel->numColSub = columns.numMarked;
  if (columns.numMarked + columns.numKept != model->numCol) {
    logText(env->log, QZ_LOG_DEBUG, L"Error markBigCol: numColSub=%d + pos=%d <> numCol=%d", columns.numMarked,
            columns.numKept, model->numCol);
    return QZ_STATUS_FAILED;
  }
  if (columns.numMarked > std::max(numBig, 0)) {
    logText(env->log, QZ_LOG_DEBUG, L"Error markBigCol: numColSub=%d numBig=%d", columns.numMarked, numBig);
    return QZ_STATUS_FAILED;
  }
  if (columns.numMarked == 0) FreeColSub(env, submodel);
  return QZ_STATUS_OK;
}

void markFarBounds(Env* env, const Model* model, SubModel* submodel, double infinity) {
  const double far = submodel->thresholdBound;
  submodel->numBoundSub = 0;
  for (int32_t j = 0; j < model->numCol; ++j) {
    int32_t marks = 0;
    if (model->lower[j] > -infinity && model->lower[j] < -far) marks |= SUB_LOWER;
    if (model->upper[j] < infinity && model->upper[j] > far) marks |= SUB_UPPER;
    submodel->statusBoundSub[j] = marks;
    if (marks != 0) submodel->idxBoundSub[submodel->numBoundSub++] = j;
  }
  if (submodel->numBoundSub > 0) return;
  poolFree(env->pool, submodel->lowerSub);
  poolFree(env->pool, submodel->upperSub);
}

int32_t ipmMarkBigdata(Env* env, const Model* model, SubModel* submodel, const IpmOption* options) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  const double infinity = options->infinityValue;
  const double mat = matrixThreshold(env, model);
  submodel->thresholdMat = mat;
  submodel->thresholdBig = std::max(100.0 * mat, kSmallestBig);
  submodel->thresholdBound = std::max(10.0 * mat, kSmallestFar);
  int32_t status = markBigRhs(env, model, submodel);
  if (status != QZ_STATUS_OK) return status;
  status = VerifySubmodelRowThreshold(env, options->debugLevel, model, submodel);
  if (status != QZ_STATUS_OK) return status;
  status = markBigCol(env, model, submodel, infinity);
  if (status != QZ_STATUS_OK) return status;
  status = VerifySubmodelColThreshold(env, options->debugLevel, model, submodel, infinity);
  if (status != QZ_STATUS_OK) return status;
  markFarBounds(env, model, submodel, infinity);
  return checkThresholds(env, submodel);
}

}  // namespace qz
