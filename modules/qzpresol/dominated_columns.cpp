#include "dominated_columns.h"

#include <algorithm>

#include "elementary_steps.h"

namespace qzpresol {

namespace {

constexpr int32_t kMostRounds = 3;       // rounds of bounding the duals
constexpr double kLargestDual = 1e8;     // a bound beyond it says nothing
constexpr double kWorthwhile = 1e-2;     // relative gain that makes a new bound worth a witness
constexpr double kTermError = 1e-12;     // relative error that a sum of terms may carry
constexpr double kSmallestPivot = 1e-4;  // against the column's largest entry

class DualBounds {
 public:
  explicit DualBounds(Reducer& r) : r_(r), s_(r.store) {}

  int32_t run() {
    if (!allocate()) return QZ_STATUS_OUT_OF_MEMORY;
    startFromSides();
    const int64_t mostWork = s_.work + 10 * (s_.liveEntries + s_.numCol);
    bool changed = true;
    for (int32_t round = 0; round < kMostRounds && changed && s_.work < mostWork; ++round) {
      changed = false;
      for (int32_t j = 0; j < s_.numCol; ++j)
        if (s_.columnAlive[j] != 0) changed |= boundDuals(j);
    }
    return fixColumns();
  }

 private:
  bool allocate() {
    return low_.allocate(s_.pool, s_.numRow) == QZ_STATUS_OK && high_.allocate(s_.pool, s_.numRow) == QZ_STATUS_OK &&
           witness_.allocateZero(s_.pool, s_.numCol) == QZ_STATUS_OK;
  }

  void startFromSides() {
    for (int32_t i = 0; i < s_.numRow; ++i) {
      low_[i] = infinite(s_.rowUpper[i]) ? 0.0 : -kInfinity;
      high_[i] = infinite(s_.rowLower[i]) ? 0.0 : kInfinity;
    }
  }

  // What a_j'y can reach.
  RowActivity reachOf(int32_t j) const {
    RowActivity reach{};
    s_.eachInColumn(j, [&](int32_t i, double a) {
      add(reach.low, a, a > 0.0 ? low_[i] : high_[i], reach.magnitude);
      add(reach.high, a, a > 0.0 ? high_[i] : low_[i], reach.magnitude);
    });
    return reach;
  }
  static void add(ActivityEnd& end, double a, double bound, double& magnitude) {
    if (infinite(bound)) {
      ++end.infinite;
      return;
    }
    end.finite += a * bound;
    magnitude = std::max(magnitude, std::fabs(a * bound));
  }

  // Column j as a row of the dual: a_j'y <= c_j without an upper bound, a_j'y >= c_j without a lower one.
  bool boundDuals(int32_t j) {
    const bool atMost = infinite(s_.upper[j]);
    const bool atLeast = infinite(s_.lower[j]);
    if (!atMost && !atLeast) return false;
    const RowActivity reach = reachOf(j);
    const bool useful = (atMost && reach.low.infinite <= 1) || (atLeast && reach.high.infinite <= 1);
    if (!useful) return false;
    double largest = 0.0;
    s_.eachInColumn(j, [&](int32_t, double a) { largest = std::max(largest, std::fabs(a)); });
    bool changed = false;
    s_.eachInColumn(j, [&](int32_t i, double a) {
      if (std::fabs(a) < kSmallestPivot * largest) return;
      if (atMost) changed |= boundOne(j, i, a, reach.low, a > 0.0 ? low_[i] : high_[i], reach.magnitude, a > 0.0);
      if (atLeast) changed |= boundOne(j, i, a, reach.high, a > 0.0 ? high_[i] : low_[i], reach.magnitude, a < 0.0);
    });
    return changed;
  }

  // The other terms of column j reach `end` without a * own: a y_i is bounded by c_j less that, y_i from above when
  // `above`. `reach` stands for the bounds before column j, which are the wider ones, so that it stays valid.
  bool boundOne(int32_t j, int32_t i, double a, const ActivityEnd& end, double own, double magnitude, bool above) {
    const bool ownInfinite = infinite(own);
    if (end.infinite != (ownInfinite ? 1 : 0)) return false;
    const double rest = ownInfinite ? end.finite : end.finite - a * own;
    const double error = kTermError * (magnitude + std::fabs(s_.cost[j])) / std::fabs(a);
    const double bound = (s_.cost[j] - rest) / a + (above ? error : -error);
    if (std::fabs(bound) > kLargestDual) return false;
    double& old = above ? high_[i] : low_[i];
    const double gain = above ? old - bound : bound - old;
    if (!infinite(old) && gain <= kWorthwhile * (1.0 + std::fabs(old))) return false;
    old = bound;
    witness_[j] = 1;
    return true;
  }

  int32_t fixColumns() {
    for (int32_t j = 0; j < s_.numCol && r_.outcome == 0; ++j) {
      if (s_.columnAlive[j] == 0 || witness_[j] != 0) continue;
      const int32_t status = tryToFix(j);
      if (status != QZ_STATUS_OK) return status;
    }
    return QZ_STATUS_OK;
  }

  int32_t tryToFix(int32_t j) {
    const RowActivity reach = reachOf(j);
    const double error = kTermError * (reach.magnitude + std::fabs(s_.cost[j]));
    if (reach.high.infinite == 0 && s_.cost[j] - reach.high.finite >= -error)
      return settleAt(j, s_.lower[j], s_.cost[j] - reach.high.finite, error, true);
    if (reach.low.infinite == 0 && s_.cost[j] - reach.low.finite <= error)
      return settleAt(j, s_.upper[j], reach.low.finite - s_.cost[j], error, false);
    return QZ_STATUS_OK;
  }

  // The reduced cost of column j points to `bound` by at least `by`. Without that bound no dual point exists, unless
  // the reduced cost may be 0.
  int32_t settleAt(int32_t j, double bound, double by, double error, bool atLower) {
    const bool strict = by > error;
    if (infinite(bound)) {
      if (by > r_.feasibility(s_.cost[j])) r_.settle(QZ_PRESOL_DUAL_INFEASIBLE);
      return QZ_STATUS_OK;
    }
    r_.applied(strict ? ReductionKind::kDominatedColumn : ReductionKind::kWeaklyDominatedColumn);
    return atLower ? fixAtLower(r_, j) : fixAtUpper(r_, j);
  }

  Reducer& r_;
  Store& s_;
  qz::PoolArray<double> low_;  // numRow: bounds of the duals
  qz::PoolArray<double> high_;
  qz::PoolArray<uint8_t> witness_;  // numCol
};

}  // namespace

int32_t passDominatedColumns(Reducer& r) {
  return DualBounds(r).run();
}

}  // namespace qzpresol
