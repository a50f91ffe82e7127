#include "transform/small_data.h"

#include <algorithm>
#include <cmath>

#include "shell/pool.h"
#include "transform/distribution.h"

namespace qz {

namespace {

// What was taken out of a vector.
struct Removed {
  PoolArray<int32_t> index;
  PoolArray<double> value;
  int32_t number = 0;

  [[nodiscard]] int32_t allocate(QzPool* pool, int32_t room) {
    if (index.allocate(pool, room) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    return value.allocate(pool, room);
  }
  void take(int32_t at, double& entry) {
    index[number] = at;
    value[number] = entry;
    ++number;
    entry = 0.0;
  }
};

// A lift needs factor arrays, which a model without row and column factors has given back.
int32_t provideFactors(Env* env, const Model* model, Hub* hub) {
  if (hub->scaleState == 2) return QZ_STATUS_OK;
  const int64_t numRow = int64_t{model->numRow} + 1;
  const int64_t numCol = int64_t{model->numCol} + 1;
  PoolArray<double> rowScale;
  PoolArray<double> colScale;
  if (rowScale.allocate(env->pool, numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  if (colScale.allocate(env->pool, numCol) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  std::fill_n(rowScale.get(), numRow, 1.0);
  std::fill_n(colScale.get(), numCol, 1.0);
  rowScale[model->numRow] = hub->objScale;
  hub->rowScale = rowScale.release();
  hub->colScale = colScale.release();
  hub->scaleState = 2;
  return QZ_STATUS_OK;
}

void liftColumn(Model* model, Hub* hub, int32_t j, double g, double infinity) {
  hub->colScale[j] *= g;
  model->obj[j] *= g;
  if (model->lower[j] > -infinity) model->lower[j] /= g;
  if (model->upper[j] < infinity) model->upper[j] /= g;
  const int32_t begin = model->colBegin[j];
  for (int32_t k = begin; k < begin + model->colLength[j]; ++k) model->matValue[k] *= g;
}

// The factor that column j asks for, 1 for none. A fixed column has no width to measure by.
double columnLift(Model* model, IpmOption* options, const SmallBand& band, double width, int32_t j, Removed& removed) {
  const double infinity = options->infinityValue;
  const double box = model->upper[j] - model->lower[j];
  const bool boxed = model->lower[j] > -infinity && model->upper[j] < infinity && box > 0.0;
  if (boxed && box < width) return box / width;
  const double v = std::fabs(model->obj[j]);
  if (v == 0.0 || v >= band.limit) return 1.0;
  if (v < band.noise) {
    removed.take(j, model->obj[j]);
    return 1.0;
  }
  options->unscaleCheck = 1;
  const double g = band.limit / v;
  return boxed ? std::min(box / width, g) : g;
}

int32_t settleColumns(Env* env, Model* model, IpmOption* options, Hub* hub, Removed& removed) {
  const double width = 10.0 * options->tolDual;
  const SmallBand band = findSmallBand(env, model->numCol, model->obj, width);
  if (!band.on) return QZ_STATUS_OK;
  if (removed.allocate(env->pool, model->numCol) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t j = 0; j < model->numCol; ++j) {
    const double g = columnLift(model, options, band, width, j, removed);
    if (g == 1.0) continue;
    const int32_t status = provideFactors(env, model, hub);
    if (status != QZ_STATUS_OK) return status;
    liftColumn(model, hub, j, g, options->infinityValue);
  }
  return QZ_STATUS_OK;
}

// Applies the lifts of all rows to the matrix in one pass.
void liftElements(Model* model, const double* lift) {
  for (int32_t j = 0; j < model->numCol; ++j)
    for (int32_t k = model->colBegin[j]; k < model->colBegin[j] + model->colLength[j]; ++k)
      model->matValue[k] *= lift[model->rowIndex[k]];
}

int32_t settleRows(Env* env, Model* model, IpmOption* options, Hub* hub, const SmallBand& band, Removed& removed) {
  if (!band.on) return QZ_STATUS_OK;
  if (removed.allocate(env->pool, model->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  PoolArray<double> lift;  // one factor per row, made for the first one
  for (int32_t i = 0; i < model->numRow; ++i) {
    const double v = std::fabs(model->rhs[i]);
    if (v == 0.0 || v >= band.limit) continue;
    if (v < band.noise) {
      removed.take(i, model->rhs[i]);
      continue;
    }
    if (!lift) {
      const int32_t status = provideFactors(env, model, hub);
      if (status != QZ_STATUS_OK) return status;
      if (lift.allocate(env->pool, model->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
      std::fill_n(lift.get(), model->numRow, 1.0);
    }
    lift[i] = band.limit / v;
    options->unscaleCheck = 1;
    hub->rowScale[i] *= lift[i];
    model->rhs[i] *= lift[i];
    if (model->rowSense[i] == 'R' && model->range != nullptr) model->range[i] *= lift[i];
  }
  if (lift) liftElements(model, lift.get());
  return QZ_STATUS_OK;
}

}  // namespace

SmallBand findSmallBand(Env* env, int32_t n, const double* vector, double limit) {
  Distribution d;
  initDistribution(d);
  int32_t count = 0;
  getVectorDistribution(env, n, vector, &count, d);
  if (count < 1) return {false, 0.0, 0.0};
  const double least = d.breakLeft[kNumBucket - 1];
  const int32_t decade =
      std::clamp(static_cast<int32_t>(std::floor(std::log10(limit))), kLowestLevel + 2, kHighestLevel);
  int32_t below = 0;  // where the values below the run around the limit begin
  double top = limit;
  if (levelCount(d, decade - 1) == 0 && levelCount(d, decade) == 0) {
    top = least;
    below = decade - 1;
  } else {
    const bool occupied = levelCount(d, decade - 1) != 0;
    const int32_t from = occupied ? decade - 1 : decade - 2;
    const int32_t widest = occupied ? 3 : 2;
    int32_t right = 0;
    int32_t left = 0;
    int32_t inRun = 0;
    double cutoff = 0.0;
    extendRight(from, &right, &inRun, &cutoff, d);
    extendLeft(from, &left, &inRun, &cutoff, d);
    if (left > decade || left > widest + right) top = least;
    below = right;
  }
  const int32_t next = skipRight(below, d);
  const double noise = next < kLowestLevel ? least : levelUpper(d, next);
  top = std::max(noise, top);
  return {top > least, noise, top};
}

int32_t settleSmallData(Env* env, Model* model, IpmOption* options, Hub* hub) {
  // Both sides are judged by the model as it was scaled: the lifts of columns do not move right-hand sides.
  const SmallBand rows = findSmallBand(env, model->numRow, model->rhs, 10.0 * options->tolPrimal);
  Removed costs;
  Removed sides;
  int32_t status = settleColumns(env, model, options, hub, costs);
  if (status != QZ_STATUS_OK) return status;
  status = settleRows(env, model, options, hub, rows, sides);
  if (status != QZ_STATUS_OK) return status;
  if (costs.number > 0) {
    hub->numSmallObj = costs.number;
    hub->smallObjCol = costs.index.release();
    hub->smallObjValue = costs.value.release();
  }
  if (sides.number > 0) {
    hub->numSmallRhs = sides.number;
    hub->smallRhsRow = sides.index.release();
    hub->smallRhsValue = sides.value.release();
  }
  return QZ_STATUS_OK;
}

}  // namespace qz
