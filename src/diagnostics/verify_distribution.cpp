#include "diagnostics/verify_distribution.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/check.h"
#include "shell/pool.h"
#include "transform/sorts.h"

namespace qz {

namespace {

constexpr double kBreakTolerance = 1e-6;  // relative
constexpr double kQuartiles[] = {0.25, 0.5, 0.75};

// Magnitudes of the model's data.
class Data {
 public:
  [[nodiscard]] int32_t make(Env* env, const Model* m) {
    const int64_t room = int64_t{m->numCoef} + m->numCol + m->numRow;
    return values_.allocate(env->pool, room);
  }
  void addMatrix(const Model* m) {
    for (int32_t j = 0; j < m->numCol; ++j)
      for (int32_t k = m->colBegin[j]; k < m->colBegin[j] + m->colLength[j]; ++k) put(m->matValue[k]);
  }
  void addVector(int32_t n, const double* vector) {
    for (int32_t k = 0; k < n; ++k)
      if (vector[k] != 0.0) put(vector[k]);
  }
  [[nodiscard]] double* get() const { return values_.get(); }
  [[nodiscard]] int32_t count() const { return count_; }

 private:
  void put(double value) { values_[count_++] = std::fabs(value); }

  PoolArray<double> values_;
  int32_t count_ = 0;
};

// The level whose decade (10^b, 10^(b + 1)] holds a magnitude.
int32_t levelOf(double value, const Distribution& d) {
  int32_t level = kLowestLevel;
  while (level < kHighestLevel && value > levelUpper(d, level)) ++level;
  return level;
}

void checkBreaks(Check& check, const Distribution& d) {
  for (int32_t k = 0; k < kNumBucket; ++k) {
    const double right = std::pow(10.0, k);
    const double left = std::pow(10.0, -k);
    check.close(L"breakRight", k, d.breakRight[k], right, kBreakTolerance * right);
    check.close(L"breakLeft", k, d.breakLeft[k], left, kBreakTolerance * left);
  }
}

// Sorted values against the buckets: each holds as many as lie in it.
void checkBuckets(Check& check, int32_t count, const double* sorted, const Distribution& d) {
  int32_t total = 0;
  int32_t at = 0;
  for (int32_t level = kLowestLevel; level <= kHighestLevel; ++level) {
    int32_t inside = 0;
    while (at < count && (level == kHighestLevel || sorted[at] <= levelUpper(d, level))) {
      ++inside;
      ++at;
    }
    if (level < 0)
      check.same(L"histogramLeft", -1 - level, levelCount(d, level), inside);
    else
      check.same(L"histogramRight", level, levelCount(d, level), inside);
    total += levelCount(d, level);
  }
  check.same(L"total count", -1, total, count);
}

void checkQuartiles(Check& check, int32_t count, const double* sorted, const Distribution& d) {
  for (int32_t q = 0; q < 3; ++q) {
    const double value = sorted[std::min(static_cast<int32_t>(count * kQuartiles[q]), count - 1)];
    const int32_t level = levelOf(value, d);
    const double quartile = getPercentile(count, 0, nullptr, d, kQuartiles[q]);
    check.atLeast(L"quartile", q + 1, quartile, levelLower(d, level) * (1.0 - kBreakTolerance));
    check.atMost(L"quartile", q + 1, quartile, levelUpper(d, level) * (1.0 + kBreakTolerance));
  }
}

// Sorts, and checks that it is sorted.
bool sorted(Check& check, int32_t count, double* values) {
  bool ascending = QZS_quickSortDblInc(nullptr, values, count) == QZ_STATUS_OK;
  for (int32_t k = 1; ascending && k < count; ++k) ascending = values[k - 1] <= values[k];
  if (!ascending) check.breach(L"sort", -1, L"aborted.");
  return ascending;
}

void checkSorted(Check& check, int32_t count, double* values, const Distribution& d) {
  checkBreaks(check, d);
  if (count < 1 || !sorted(check, count, values)) return;
  checkBuckets(check, count, values, d);
  if (check.numBreach() == 0) checkQuartiles(check, count, values, d);
}

// The distribution against the numbers of the model that `collect` takes.
template <class Collect>
int32_t verifyData(Env* env, int32_t level, const wchar_t* name, const Model* model, const Distribution& d,
                   Collect collect) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(env, name);
  Data data;
  if (data.make(env, model) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  collect(data);
  checkSorted(check, data.count(), data.get(), d);
  return check.report(level);
}

}  // namespace

int32_t VerifyDistribution(Env* env, int32_t level, int32_t count, double* values, const Distribution& d) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(env, L"VerifyDistribution");
  for (int32_t k = 0; k < count; ++k) values[k] = std::fabs(values[k]);
  checkSorted(check, count, values, d);
  return check.report(level);
}

int32_t VerifyPdfMatrix(Env* env, int32_t level, const Model* model, const Distribution& d) {
  return verifyData(env, level, L"VerifyPdfMatrix", model, d, [model](Data& data) { data.addMatrix(model); });
}

int32_t VerifyPdfObj(Env* env, int32_t level, const Model* model, const Distribution& d) {
  return verifyData(env, level, L"VerifyPdfObj", model, d,
                    [model](Data& data) { data.addVector(model->numCol, model->obj); });
}

int32_t VerifyPdfAll(Env* env, int32_t level, const Model* model, const Distribution& d) {
  return verifyData(env, level, L"VerifyPdfAll", model, d, [model](Data& data) {
    data.addMatrix(model);
    data.addVector(model->numCol, model->obj);
    data.addVector(model->numRow, model->rhs);
  });
}

int32_t VerifyOutlier(Env* env, int32_t level, const Model* model, int32_t numRight, int32_t numLeft,
                      double rightCutoff, double leftCutoff) {
  if (!verifies(level, VERIFY_ITERATION)) return QZ_STATUS_OK;
  Check check(env, L"VerifyOutlier");
  Data data;
  if (data.make(env, model) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  data.addMatrix(model);
  data.addVector(model->numCol, model->obj);
  data.addVector(model->numRow, model->rhs);
  const int32_t count = data.count();
  if (count < 1 || !sorted(check, count, data.get())) return check.report(level);
  check.atMost(L"numLeft", -1, numLeft, 0.5 * count);
  check.atMost(L"numRight", -1, numRight, 0.5 * count);
  if (!check.inRange(L"numLeft", -1, numLeft, count + 1) || !check.inRange(L"numRight", -1, numRight, count + 1))
    return check.report(level);
  const double* v = data.get();
  if (numLeft > 0) check.atMost(L"last outlier on the left", numLeft - 1, v[numLeft - 1], leftCutoff);
  if (numLeft < count && v[numLeft] <= leftCutoff)
    check.breach(L"value", numLeft, L"is an outlier that was not counted");
  const int32_t first = count - numRight;
  if (numRight > 0 && !(v[first] > rightCutoff)) check.breach(L"value", first, L"is no outlier and was counted");
  if (first > 0) check.atMost(L"largest value that is no outlier", first - 1, v[first - 1], rightCutoff);
  return check.report(level);
}

}  // namespace qz
