#include "transform/noise.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "transform/sparse_helpers.h"

namespace qz {

namespace {

constexpr int32_t kNumClass = 20;
constexpr int32_t kFirstNoiseClass = 7;  // a gap above this decade is ordinary data
constexpr double kNoNoise = 1e20;

// Tops of the decades as repeated products, so that a class boundary is the same number wherever it is computed.
constexpr std::array<double, kNumClass> makeTops() {
  std::array<double, kNumClass> tops{};
  double top = 1.0;
  for (double& entry : tops) {
    entry = top;
    top *= 0.1;
  }
  return tops;
}
constexpr std::array<double, kNumClass> kTop = makeTops();

// Class k holds (kTop[k + 1], kTop[k]]; the first takes all larger values too, the last all smaller ones.
int32_t classOf(double magnitude) {
  int32_t k = 0;
  while (k + 1 < kNumClass && magnitude <= kTop[static_cast<size_t>(k) + 1]) ++k;
  return k;
}

}  // namespace

void detectNoise(Env*, const Model* model, Presolver* p) {
  p->noiseThreshold = kNoNoise;
  std::array<int32_t, kNumClass> count{};
  for (int32_t j = 0; j < model->numCol; ++j) {
    for (int32_t k = p->colBegin[j], end = k + p->colLength[j]; k < end; ++k)
      ++count[static_cast<size_t>(classOf(std::fabs(p->matValue[k])))];
  }
  int32_t smallest = kNumClass - 1;
  while (smallest >= 0 && count[static_cast<size_t>(smallest)] == 0) --smallest;
  if (smallest < kFirstNoiseClass) return;
  int32_t sum = 0;
  int32_t gap = smallest;
  for (; gap >= 0 && count[static_cast<size_t>(gap)] > 0; --gap) sum += count[static_cast<size_t>(gap)];
  if (gap >= kFirstNoiseClass) {
    p->noiseThreshold = kTop[static_cast<size_t>(gap)];
    p->numRemovedElement += sum;
  } else if (count[kNumClass - 1] > 0) {
    p->noiseThreshold = kTop[kNumClass - 1];
    p->numRemovedElement += count[kNumClass - 1];
  }
}

void removeNoiseA(Env* env, const Model* model, Presolver* p) {
  for (int32_t j = 0; j < model->numCol; ++j) {
    // A removal moves the next element into the place.
    for (int32_t k = p->colBegin[j]; k < p->colBegin[j] + p->colLength[j];) {
      if (std::fabs(p->matValue[k]) > p->noiseThreshold) {
        ++k;
        continue;
      }
      const int32_t i = p->rowIndex[k];
      removeElement(env, i, j, p->colBegin, p->colLength, p->rowIndex, p->matValue);
      removeElement(env, j, i, p->rowBegin, p->rowLength, p->colIndex, p->rowValue);
    }
  }
}

void removeNoiseBC(double threshold, int32_t numRow, int32_t numCol, double* obj, double* rhs) {
  const auto isNoise = [threshold](double value) { return std::fabs(value) <= threshold; };
  std::replace_if(obj, obj + numCol, isNoise, 0.0);
  std::replace_if(rhs, rhs + numRow, isNoise, 0.0);
}

}  // namespace qz
