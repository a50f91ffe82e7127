#include "transform/distribution.h"

#include <algorithm>
#include <cmath>

#include "shell/log.h"

namespace qz {

namespace {

constexpr int32_t kLast = kNumBucket - 2;  // the bucket that takes everything beyond
constexpr double kOutlierShare = 0.05;
constexpr double kBigShare = 0.5;
constexpr int32_t kGroupDistance = 6;  // decades from the median at which a separate group is an outlier group
constexpr int32_t kLeastSpan = 4;      // decades that the data must span to have outliers

void countValue(double value, Distribution& d) {
  const double v = std::fabs(value);
  int32_t k = 0;
  if (v > 1.0) {
    while (k < kLast && v > d.breakRight[k + 1]) ++k;
    ++d.histogramRight[k];
  } else {
    while (k < kLast && v <= d.breakLeft[k + 1]) ++k;
    ++d.histogramLeft[k];
  }
}

int32_t decadeOf(double value) {
  return static_cast<int32_t>(std::floor(std::log10(value)));
}

// Outliers at one end.
struct End {
  int32_t number = 0;
  double cutoff;
};

// Groups of small values from level L upward; `median` is the median's level.
End outliersLeft(int32_t count, int32_t median, int32_t lowest, const Distribution& d) {
  End end{0, 1e-15};
  int32_t next = 0;
  int32_t group = 0;
  double cutoff = 0.0;
  extendLeft(lowest, &next, &group, &cutoff, d);
  if (median - next >= kGroupDistance) {
    do {
      end.number += group;
      end.cutoff = cutoff;
      extendLeft(skipLeft(next, d), &next, &group, &cutoff, d);
    } while (median - next >= kGroupDistance);
    return end;
  }
  const auto budget = static_cast<int32_t>(count * kOutlierShare);
  int32_t limit = std::min(median - 4, decadeOf(getPercentile(count, 0, nullptr, d, 0.1)) - 2);
  if (limit < -15) limit = kLowestLevel;
  int32_t sum = 0;
  for (int32_t level = lowest; level < limit && sum + levelCount(d, level) <= budget; ++level) {
    sum += levelCount(d, level);
    cutoff = levelUpper(d, level);
    if (sum > 0) end = {sum, cutoff};
  }
  return end;
}

// Groups of large values from level R downward.
End outliersRight(int32_t count, int32_t median, int32_t highest, const Distribution& d) {
  End end{0, 1e15};
  int32_t next = 0;
  int32_t group = 0;
  double cutoff = 0.0;
  extendRight(highest, &next, &group, &cutoff, d);
  if (next - median >= kGroupDistance) {
    do {
      end.number += group;
      end.cutoff = cutoff;
      extendRight(skipRight(next, d), &next, &group, &cutoff, d);
    } while (next - median >= kGroupDistance);
    return end;
  }
  const auto budget = static_cast<int32_t>(count * kOutlierShare);
  const int32_t limit =
      std::min(std::max(median + 4, decadeOf(getPercentile(count, 0, nullptr, d, 0.9)) + 2), kHighestLevel);
  int32_t sum = 0;
  for (int32_t level = highest; level > limit && sum + levelCount(d, level) <= budget; --level) {
    sum += levelCount(d, level);
    cutoff = levelLower(d, level);
    if (sum > 0) end = {sum, cutoff};
  }
  return end;
}

// The break point of the lowest of the taken top buckets, or above the foot by which they hang together with the
// middle of the data.
double startOfTop(const int32_t* histogram, const double* breaks, int32_t first, int32_t top, int32_t* numBig) {
  int32_t k = first;
  if (histogram[first] == 0) {
    while (histogram[k] == 0) ++k;
    return breaks[k];
  }
  int32_t foot = 0;
  while (k < top && histogram[k] != 0) foot += histogram[k++];
  if (k >= top) return breaks[first];
  *numBig -= foot;
  return breaks[k];
}

}  // namespace

double levelLower(const Distribution& d, int32_t level) {
  if (level >= 0) return d.breakRight[level];
  return d.breakLeft[std::min(-level, kNumBucket - 1)];
}

double levelUpper(const Distribution& d, int32_t level) {
  if (level < 0) return d.breakLeft[-1 - level];
  return d.breakRight[std::min(level + 1, kNumBucket - 1)];
}

void initDistribution(Distribution& d) {
  static constexpr double kPowers[kNumBucket] = {1e0, 1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7, 1e8,
                                                 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16};
  double left = 1.0;
  for (int32_t k = 0; k < kNumBucket; ++k) {
    d.histogramLeft[k] = d.histogramRight[k] = 0;
    d.breakRight[k] = kPowers[k];
    d.breakLeft[k] = left;
    left *= 0.1;
  }
}

void getMatrixDistribution(Env*, int32_t numCol, const int32_t* colBegin, const int32_t* colLength,
                           const double* matValue, Distribution& d) {
  for (int32_t j = 0; j < numCol; ++j) {
    const double* value = matValue + colBegin[j];
    for (int32_t k = 0; k < colLength[j]; ++k) countValue(value[k], d);
  }
}

void getVectorDistribution(Env*, int32_t n, const double* vector, int32_t* count, Distribution& d) {
  int32_t counted = 0;
  for (int32_t j = 0; j < n; ++j) {
    if (vector[j] == 0.0) continue;
    countValue(vector[j], d);
    ++counted;
  }
  *count = counted;
}

void getQuadDistribution(Env*, int32_t n, const double* diag, int32_t* count, const double* x, Distribution& d,
                         double alpha) {
  int32_t counted = 0;
  for (int32_t j = 0; j < n; ++j) {
    if (diag[j] == 0.0) continue;
    countValue(alpha * diag[j] * x[j] * x[j], d);
    ++counted;
  }
  *count = counted;
}

void addDistribution(const Distribution& from, Distribution& to) {
  for (int32_t k = 0; k < kNumBucket; ++k) {
    to.histogramLeft[k] += from.histogramLeft[k];
    to.histogramRight[k] += from.histogramRight[k];
  }
}

double getPercentile(int32_t count, int32_t mode, int32_t* out, const Distribution& d, double p) {
  if (count < 1 || mode < 0 || mode > 2) {
    if (out != nullptr) *out = 0;
    return 0.0;
  }
  const auto target = static_cast<int32_t>(count * p);
  int32_t running = 0;
  int32_t level = kLowestLevel;
  while (level < kHighestLevel && running + levelCount(d, level) <= target) running += levelCount(d, level++);
  const double low = levelLower(d, level);
  const double high = levelUpper(d, level);
  const int32_t inside = levelCount(d, level);
  switch (mode) {
    case 0:
      // The walk ends in the top bucket even when that is empty.
      return inside == 0 ? low : low + ((target - running) * (high - low)) / inside;
    case 1:
      if (out != nullptr) *out = count - inside - running;
      return high;
    default:
      if (out != nullptr) *out = running;
      return low;
  }
}

int32_t countOutlier(Env*, int32_t count, int32_t* numRight, int32_t* numLeft, double* rightCutoff, double* leftCutoff,
                     const Distribution& d) {
  *numRight = *numLeft = 0;
  *rightCutoff = 1e15;
  *leftCutoff = 1e-15;
  if (count < 1) return 0;
  const int32_t highest = skipRight(kHighestLevel, d);
  const int32_t lowest = skipLeft(kLowestLevel, d);
  if (highest - lowest < kLeastSpan) return 0;
  const int32_t median = std::clamp(decadeOf(getPercentile(count, 0, nullptr, d, 0.5)), kLowestLevel, kHighestLevel);
  const End left = outliersLeft(count, median, lowest, d);
  const End right = outliersRight(count, median, highest, d);
  *numLeft = left.number;
  *leftCutoff = left.cutoff;
  *numRight = right.number;
  *rightCutoff = right.cutoff;
  return *numRight + *numLeft;
}

double getBigdataThreshold(Env*, int32_t count, const int32_t* histogram, const double* breaks, int32_t* numBig,
                           double lowest) {
  *numBig = 0;
  int32_t top = kNumBucket - 1;
  while (top > 0 && histogram[top] == 0) --top;
  const double above = breaks[std::min(top + 1, kNumBucket - 1)];
  if (lowest >= above) return lowest;
  const auto half = static_cast<int32_t>(count * kBigShare);
  int32_t sum = 0;
  int32_t first = top + 1;
  for (int32_t k = std::min(top, kLast); k >= 1; --k) {
    if (sum + histogram[k] > half || breaks[k + 1] <= lowest) break;
    sum += histogram[k];
    first = k;
  }
  if (first > top) return above;
  *numBig = sum;
  // The break point of the last bucket taken may lie below the lowest threshold allowed.
  return std::max(startOfTop(histogram, breaks, first, top, numBig), lowest);
}

void extendLeft(int32_t level, int32_t* next, int32_t* count, double* cutoff, const Distribution& d) {
  *count = 0;
  *cutoff = levelLower(d, level);
  while (level <= kHighestLevel && levelCount(d, level) != 0) {
    *count += levelCount(d, level);
    *cutoff = levelUpper(d, level);
    ++level;
  }
  *next = level;
}

void extendRight(int32_t level, int32_t* next, int32_t* count, double* cutoff, const Distribution& d) {
  *count = 0;
  *cutoff = levelUpper(d, level);
  while (level >= kLowestLevel && levelCount(d, level) != 0) {
    *count += levelCount(d, level);
    *cutoff = levelLower(d, level);
    --level;
  }
  *next = level;
}

int32_t skipLeft(int32_t level, const Distribution& d) {
  while (level <= kHighestLevel && levelCount(d, level) == 0) ++level;
  return level;
}

int32_t skipRight(int32_t level, const Distribution& d) {
  while (level >= kLowestLevel && levelCount(d, level) == 0) --level;
  return level;
}

void printDistribution(Env* env, const Distribution& d) {
  logText(env->log, QZ_LOG_DEBUG, L"");
  for (int32_t k = kNumBucket - 1; k >= 0; --k)
    logText(env->log, QZ_LOG_DEBUG, L" histogramLeft(%d) = %d", k, d.histogramLeft[k]);
  for (int32_t k = 0; k < kNumBucket; ++k)
    logText(env->log, QZ_LOG_DEBUG, L"histogramRight(%d) = %d", k, d.histogramRight[k]);
  logText(env->log, QZ_LOG_DEBUG, L"");
}

}  // namespace qz
