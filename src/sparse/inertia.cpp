#include "sparse/inertia.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace qz {

namespace {

constexpr double kInitialMinimum = 1e20;
constexpr double kNegligibleMaximum = 1.110223024625157e-16;

struct PivotStatistics {
  int32_t positive = 0;
  int32_t negative = 0;
  double minimum = kInitialMinimum;
  double maximum = 0.0;

  void count(bool isPositive) { ++(isPositive ? positive : negative); }

  void addSingle(double pivot) {
    count(pivot > 0.0);
    minimum = std::min(minimum, std::fabs(pivot));
    maximum = std::max(maximum, std::fabs(pivot));
  }

  // The pivot (a b; b c). Its eigenvalues are (a + c -+ t) / 2 with t^2 = 4 b^2 + (a - c)^2; only their signs count.
  void addPair(double a, double b, double c) {
    const double t = std::hypot(2.0 * b, a - c);
    count(a - t + c > 0.0);
    count(t + a + c > 0.0);
    const double smaller = std::min(std::fabs(a), std::fabs(c));
    if (smaller > 0.0) minimum = std::min(minimum, smaller);
    maximum = std::max(maximum, std::max(std::fabs(a), std::fabs(c)));
  }

  // The pivots of one diagonal block: entry (i, i) at i * (leading + 1), the off-diagonal entry of a pair `offset`
  // behind the first of its diagonal entries.
  void addBlock(int32_t width, const int32_t* pivots, const double* values, int64_t leading, int64_t offset) {
    for (int32_t k = 0; k < width;) {
      const double* diagonal = values + k * (leading + 1);
      if (pivots[k] >= 0) {
        addSingle(diagonal[0]);
        k += 1;
      } else {
        addPair(diagonal[0], diagonal[offset], diagonal[leading + 1]);
        k += 2;
      }
    }
  }

  void store(LAEnv* env) const {
    env->numPositivePivots = positive;
    env->numNegativePivots = negative;
    env->pivotRatio = maximum < kNegligibleMaximum ? 0.0 : minimum / maximum;
  }
};

int64_t heightOf(const SymbolicFactor* symbolic, int32_t s) {
  return symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s];
}

}  // namespace

void GetLStatsLDL(const SymbolicFactor* symbolic, LAEnv* env) {
  PivotStatistics statistics;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const int32_t first = symbolic->snStart[s];
    statistics.addBlock(symbolic->snStart[s + 1] - first, symbolic->pivotKind + first,
                        symbolic->lValues + symbolic->lValueBegin[s], heightOf(symbolic, s), 1);
  }
  statistics.store(env);
}

void GetLStatsLDLBlocked(const SymbolicFactor* symbolic, LAEnv* env) {
  PivotStatistics statistics;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const double* values = symbolic->lValues + symbolic->lValueBegin[s];
    int64_t rows = heightOf(symbolic, s);
    for (int32_t first = symbolic->snStart[s]; first < symbolic->snStart[s + 1];) {
      const int32_t width = std::min(symbolic->blockSize, symbolic->snStart[s + 1] - first);
      statistics.addBlock(width, symbolic->pivotKind + first, values, width, width);
      values += rows * width;
      rows -= width;
      first += width;
    }
  }
  statistics.store(env);
}

}  // namespace qz
