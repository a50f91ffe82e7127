#include "dominated_columns.h"

#include <algorithm>

#include "elementary_steps.h"
#include "implied_bounds.h"

namespace qzpresol {

namespace {

constexpr int32_t kMostRounds = 3;       // rounds of bounding the duals
constexpr double kLargestDual = 1e8;     // a bound beyond it says nothing
constexpr double kWorthwhile = 1e-2;     // relative gain that makes a new bound worth a witness
constexpr double kTermError = 1e-12;     // relative error that a sum of terms may carry
constexpr double kSmallestPivot = 1e-4;  // against the column's largest entry

class DualBounds {
 public:
  explicit DualBounds(Reducer& r) : r_(r), s_(r.store), reaches_(r.store) {}

  int32_t run() {
    if (!allocate()) return QZ_STATUS_OUT_OF_MEMORY;
    startFromSides();
    const int64_t mostWork = s_.work + 10 * (s_.liveEntries + s_.numCol);
    bool changed = true;
    for (int32_t round = 0; round < kMostRounds && changed && s_.work < mostWork; ++round) changed = boundByAll();
    const int32_t status = fixColumns();
    if (status != QZ_STATUS_OK || s_.work >= mostWork) return status;
    takesSigns_ = true;
    boundByAll();
    return tightenRows();
  }

 private:
  bool allocate() {
    return low_.allocate(s_.pool, s_.numRow) == QZ_STATUS_OK && high_.allocate(s_.pool, s_.numRow) == QZ_STATUS_OK &&
           derived_.allocateZero(s_.pool, s_.numRow) == QZ_STATUS_OK &&
           signUsed_.allocateZero(s_.pool, s_.numRow) == QZ_STATUS_OK &&
           witness_.allocateZero(s_.pool, s_.numCol) == QZ_STATUS_OK && reaches_.create() == QZ_STATUS_OK;
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

  bool boundByAll() {
    bool changed = false;
    for (int32_t j = 0; j < s_.numCol; ++j)
      if (s_.columnAlive[j] != 0) changed |= boundDuals(j);
    return changed;
  }

  // Column j as a row of the dual: a_j'y <= c_j without an upper bound, a_j'y >= c_j without a lower one. One after the
  // other, since the second may lean on what the first has made.
  bool boundDuals(int32_t j) {
    const bool atMost = boundBySide(j, true);
    return boundBySide(j, false) || atMost;
  }

  bool boundBySide(int32_t j, bool atMost) {
    const RowActivity reach = reachOf(j);
    const ActivityEnd& end = atMost ? reach.low : reach.high;
    if (end.infinite > 1 || !(atMost ? reaches_.upperCanGo(j) : reaches_.lowerCanGo(j))) return false;
    double largest = 0.0;
    s_.eachInColumn(j, [&](int32_t, double a) { largest = std::max(largest, std::fabs(a)); });
    bool helped = false;
    s_.eachInColumn(j, [&](int32_t i, double a) {
      if (std::fabs(a) >= kSmallestPivot * largest)
        helped |= boundOne(j, i, a, end, reach.magnitude, (a > 0.0) == atMost);
    });
    if (helped) takeWitness(j, atMost);
    return helped;
  }

  // The other terms of column j reach `end` without that of row i: y_i is bounded by c_j less that, from above when
  // `above`.
  bool boundOne(int32_t j, int32_t i, double a, const ActivityEnd& end, double magnitude, bool above) {
    const double own = above ? low_[i] : high_[i];
    const bool ownInfinite = infinite(own);
    if (end.infinite != (ownInfinite ? 1 : 0)) return false;
    const double rest = ownInfinite ? end.finite : end.finite - a * own;
    const double error = kTermError * (magnitude + std::fabs(s_.cost[j])) / std::fabs(a);
    const double bound = (s_.cost[j] - rest) / a + (above ? error : -error);
    if (std::fabs(bound) > kLargestDual) return false;
    double& old = above ? high_[i] : low_[i];
    const double gain = above ? old - bound : bound - old;
    const uint8_t side = above ? kAbove : kBelow;
    const bool worthwhile = infinite(old) || gain > kWorthwhile * (1.0 + std::fabs(old));
    // When the columns are through, a sign that one of them gives too is worth as much: the row need not give it.
    const bool repeats = takesSigns_ && (derived_[i] & side) == 0 && (signUsed_[i] & side) == 0 && gain >= 0.0;
    if (!worthwhile && !repeats) return false;
    old = bound;
    derived_[i] |= side;
    return true;
  }

  // Column j stays, without its bound above (`atMost`) or below, and so do the signs that its rows have lent it.
  void takeWitness(int32_t j, bool atMost) {
    witness_[j] = 1;
    const bool open = infinite(atMost ? s_.upper[j] : s_.lower[j]);
    anyOpened_ = anyOpened_ || !open;
    if (!open && atMost) reaches_.openUpper(j);
    if (!open && !atMost) reaches_.openLower(j);
    s_.eachInColumn(j, [&](int32_t i, double a) {
      const uint8_t side = (a > 0.0) == atMost ? kBelow : kAbove;
      if ((derived_[i] & side) == 0) signUsed_[i] |= side;
    });
  }

  int32_t fixColumns() {
    for (int32_t j = 0; j < s_.numCol && r_.outcome == 0; ++j) {
      if (s_.columnAlive[j] == 0 || witness_[j] != 0) continue;
      const int32_t status = tryToFix(j);
      if (status != QZ_STATUS_OK) return status;
    }
    return QZ_STATUS_OK;
  }

  // A row whose dual points to one side whatever its own sides say.
  int32_t tightenRows() {
    int32_t status = QZ_STATUS_OK;
    for (int32_t i = 0; i < s_.numRow && status == QZ_STATUS_OK && r_.outcome == 0; ++i) {
      if (s_.rowAlive[i] == 0 || s_.isEquation(i)) continue;
      const auto proved = [&](uint8_t side) { return (derived_[i] & side) != 0 && (signUsed_[i] & side) == 0; };
      if (proved(kBelow) && low_[i] >= 0.0 && !infinite(s_.rowLower[i]))
        status = tightenRow(i, s_.rowLower[i], QZ_BASIS_LOWER);
      else if (proved(kAbove) && high_[i] <= 0.0 && !infinite(s_.rowUpper[i]))
        status = tightenRow(i, s_.rowUpper[i], QZ_BASIS_UPPER);
    }
    return status;
  }

  int32_t tightenRow(int32_t i, double side, uint8_t place) {
    const int32_t status = r_.undo.open(UndoKind::kTightRow, 2, 0);
    if (status != QZ_STATUS_OK) return status;
    r_.undo.index(i);
    r_.undo.index(place);
    s_.setSides(i, side, side);
    r_.applied(ReductionKind::kTightRow);
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
  // the reduced cost may be 0; where bounds have gone that is so of the model without them alone.
  int32_t settleAt(int32_t j, double bound, double by, double error, bool atLower) {
    const bool strict = by > error;
    if (infinite(bound)) {
      if (!anyOpened_ && by > r_.feasibility(s_.cost[j])) r_.settle(QZ_PRESOL_DUAL_INFEASIBLE);
      return QZ_STATUS_OK;
    }
    r_.applied(strict ? ReductionKind::kDominatedColumn : ReductionKind::kWeaklyDominatedColumn);
    reaches_.takeOut(j);
    return atLower ? fixAtLower(r_, j) : fixAtUpper(r_, j);
  }

  // Sides of an interval, as bits.
  static constexpr uint8_t kBelow = 1;
  static constexpr uint8_t kAbove = 2;

  Reducer& r_;
  Store& s_;
  RowReaches reaches_;
  qz::PoolArray<double> low_;  // numRow: bounds of the duals
  qz::PoolArray<double> high_;
  qz::PoolArray<uint8_t> derived_;   // numRow: the bounds that columns have made
  qz::PoolArray<uint8_t> signUsed_;  // numRow: the signs of duals by the row's sides that have helped to make others
  qz::PoolArray<uint8_t> witness_;   // numCol
  bool takesSigns_ = false;
  bool anyOpened_ = false;  // a bound that a row implies has gone
};

}  // namespace

int32_t passDominatedColumns(Reducer& r) {
  return DualBounds(r).run();
}

void undoTightRow(UndoReader record, Answer& answer) {
  const int32_t i = record.index();
  const auto place = static_cast<uint8_t>(record.index());
  if (answer.rowBasis != nullptr && answer.rowBasis[i] != QZ_BASIS_BASIC) answer.rowBasis[i] = place;
}

}  // namespace qzpresol
