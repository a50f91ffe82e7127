#include "dependent_equations.h"

#include <algorithm>
#include <functional>

#include "elementary_steps.h"

namespace qzpresol {

namespace {

constexpr double kVanished = 1e-11;   // entries below this share of what they are made of are roundoff
constexpr double kPivotShare = 1e-2;  // least pivot against the largest entry of its row
constexpr double kClear = 1e-7;       // a row whose entries are all below this share, but not all roundoff, is left out
constexpr int64_t kWorkPerEntry = 10;

struct Entry {
  int32_t column;
  double value;
};

// A row of the echelon form, scaled so that its pivot is 1.
struct EchelonRow {
  int64_t begin, end;  // its entries but the pivot
  double rhs;
  double size;  // largest side that it is made of
};

class DependentEquations {
 public:
  explicit DependentEquations(Reducer& r) : r_(r), s_(r.store), entry_(r.store.pool) {}

  int32_t run() {
    int32_t status = allocate();
    if (status != QZ_STATUS_OK) return status;
    peel();
    const int64_t mostWork = s_.work + kWorkPerEntry * (s_.liveEntries + s_.numRow);
    sortCore();
    for (int32_t k = 0; k < numCore_ && status == QZ_STATUS_OK && r_.outcome == 0 && s_.work < mostWork; ++k)
      status = eliminate(core_[k]);
    return status;
  }

 private:
  int32_t allocate() {
    QzPool* pool = s_.pool;
    const bool all =
        inCore_.allocateZero(pool, s_.numRow) == QZ_STATUS_OK && core_.allocate(pool, s_.numRow) == QZ_STATUS_OK &&
        echelon_.allocate(pool, s_.numRow) == QZ_STATUS_OK && count_.allocateZero(pool, s_.numCol) == QZ_STATUS_OK &&
        queue_.allocate(pool, s_.numCol) == QZ_STATUS_OK && pivotOf_.allocate(pool, s_.numCol) == QZ_STATUS_OK &&
        value_.allocateZero(pool, s_.numCol) == QZ_STATUS_OK && size_.allocateZero(pool, s_.numCol) == QZ_STATUS_OK &&
        pattern_.allocate(pool, s_.numCol) == QZ_STATUS_OK && listed_.allocateZero(pool, s_.numCol) == QZ_STATUS_OK &&
        heap_.allocate(pool, s_.numCol) == QZ_STATUS_OK;
    return all ? QZ_STATUS_OK : QZ_STATUS_OUT_OF_MEMORY;
  }

  // Counts the equations of each column, and takes away those that have a column alone, as long as there are any.
  void peel() {
    for (int32_t i = 0; i < s_.numRow; ++i) {
      inCore_[i] = s_.rowAlive[i] != 0 && s_.isEquation(i) ? 1 : 0;
      if (inCore_[i] != 0) s_.eachInRow(i, [&](int32_t j, double) { ++count_[j]; });
    }
    int32_t numQueue = 0;
    for (int32_t j = 0; j < s_.numCol; ++j)
      if (count_[j] == 1) queue_[numQueue++] = j;
    while (numQueue > 0) {
      const int32_t j = queue_[--numQueue];
      if (count_[j] != 1) continue;
      int32_t alone = -1;
      s_.eachInColumn(j, [&](int32_t i, double) {
        if (inCore_[i] != 0) alone = i;
      });
      inCore_[alone] = 0;
      s_.eachInRow(alone, [&](int32_t l, double) {
        if (--count_[l] == 1) queue_[numQueue++] = l;
      });
    }
  }

  // Short equations first: they fill the others least.
  void sortCore() {
    for (int32_t i = 0; i < s_.numRow; ++i)
      if (inCore_[i] != 0) core_[numCore_++] = i;
    std::sort(core_.get(), core_.get() + numCore_, [&](int32_t a, int32_t b) {
      return s_.rowCount[a] != s_.rowCount[b] ? s_.rowCount[a] < s_.rowCount[b] : a < b;
    });
    std::fill_n(pivotOf_.get(), s_.numCol, -1);
  }

  // Takes the echelon rows out of row i, in the order in which they were made, and judges what is left.
  int32_t eliminate(int32_t i) {
    numPattern_ = numHeap_ = 0;
    double rhs = s_.rowLower[i];
    double size = std::fabs(rhs);
    s_.eachInRow(i, [&](int32_t j, double a) { addEntry(j, a); });
    while (numHeap_ > 0) {
      std::pop_heap(heap_.get(), heap_.get() + numHeap_, std::greater<>());
      const int32_t p = heap_[--numHeap_];
      const int32_t pivot = pivotColumn(p);
      const double factor = value_[pivot];
      const bool vanished = isRoundoff(pivot);
      value_[pivot] = size_[pivot] = 0.0;
      if (vanished) continue;
      const EchelonRow& row = echelon_[p];
      for (int64_t k = row.begin; k < row.end; ++k) addEntry(entry_[k].column, -factor * entry_[k].value);
      rhs -= factor * row.rhs;
      size = std::max(size, std::fabs(factor) * row.size);
      s_.work += row.end - row.begin;
    }
    const int32_t status = judge(i, rhs, size);
    for (int32_t k = 0; k < numPattern_; ++k) {
      const int32_t j = pattern_[k];
      value_[j] = size_[j] = 0.0;
      listed_[j] = 0;
    }
    return status;
  }

  void addEntry(int32_t j, double term) {
    value_[j] += term;
    size_[j] = std::max(size_[j], std::fabs(term));
    if (listed_[j] != 0) return;
    listed_[j] = 1;
    pattern_[numPattern_++] = j;
    if (pivotOf_[j] < 0) return;
    heap_[numHeap_++] = pivotOf_[j];
    std::push_heap(heap_.get(), heap_.get() + numHeap_, std::greater<>());
  }

  // The pivot's column stands in front of the entries.
  [[nodiscard]] int32_t pivotColumn(int32_t p) const { return entry_[echelon_[p].begin - 1].column; }
  [[nodiscard]] bool isRoundoff(int32_t j) const { return std::fabs(value_[j]) <= kVanished * size_[j]; }

  int32_t judge(int32_t i, double rhs, double size) {
    double largest = 0.0;
    double scale = 0.0;
    for (int32_t k = 0; k < numPattern_; ++k) {
      const int32_t j = pattern_[k];
      if (!isRoundoff(j)) largest = std::max(largest, std::fabs(value_[j]));
      scale = std::max(scale, size_[j]);
    }
    if (largest == 0.0) return settle(i, rhs, size);
    if (largest < kClear * scale) {
      r_.skipped(ReductionKind::kDependentEquation);
      return QZ_STATUS_OK;
    }
    return makeEchelonRow(largest, rhs, size);
  }

  // Nothing is left of row i but its right-hand side. One that is left, too, is a contradiction, unless it is not clear
  // of the tolerance.
  int32_t settle(int32_t i, double rhs, double size) {
    if (std::fabs(rhs) > r_.feasibility(size)) {
      r_.settle(QZ_PRESOL_PRIMAL_INFEASIBLE);
      return QZ_STATUS_OK;
    }
    r_.applied(ReductionKind::kDependentEquation);
    return dropRow(r_, i);
  }

  // The pivot is the column that the fewest equations have, among those that are large enough.
  int32_t makeEchelonRow(double largest, double rhs, double size) {
    int32_t pivot = -1;
    int32_t length = 0;
    for (int32_t k = 0; k < numPattern_; ++k) {
      const int32_t j = pattern_[k];
      if (isRoundoff(j)) continue;
      ++length;
      if (std::fabs(value_[j]) >= kPivotShare * largest && (pivot < 0 || count_[j] < count_[pivot])) pivot = j;
    }
    if (entry_.makeRoom(length) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    const double divisor = value_[pivot];
    entry_.push({pivot, 1.0});
    const int64_t begin = entry_.size();
    for (int32_t k = 0; k < numPattern_; ++k)
      if (pattern_[k] != pivot && !isRoundoff(pattern_[k])) entry_.push({pattern_[k], value_[pattern_[k]] / divisor});
    echelon_[numEchelon_] = {begin, entry_.size(), rhs / divisor, size / std::fabs(divisor)};
    pivotOf_[pivot] = numEchelon_++;
    s_.work += length;
    return QZ_STATUS_OK;
  }

  Reducer& r_;
  Store& s_;
  qz::PoolArray<uint8_t> inCore_;  // numRow
  qz::PoolArray<int32_t> core_;    // the equations that are left, by length
  int32_t numCore_ = 0;
  qz::PoolArray<int32_t> count_;  // numCol: equations of the core that have the column
  qz::PoolArray<int32_t> queue_;
  GrowingArray<Entry> entry_;  // of the echelon rows, each behind its pivot
  qz::PoolArray<EchelonRow> echelon_;
  int32_t numEchelon_ = 0;
  qz::PoolArray<int32_t> pivotOf_;  // numCol: the echelon row whose pivot it is, or -1
  // The row in elimination, by columns: its values, the largest terms that they are made of, its columns, and the
  // echelon rows that are still to be taken out.
  qz::PoolArray<double> value_;
  qz::PoolArray<double> size_;
  qz::PoolArray<int32_t> pattern_;
  int32_t numPattern_ = 0;
  qz::PoolArray<uint8_t> listed_;
  qz::PoolArray<int32_t> heap_;
  int32_t numHeap_ = 0;
};

}  // namespace

int32_t passDependentEquations(Reducer& r) {
  return DependentEquations(r).run();
}

}  // namespace qzpresol
