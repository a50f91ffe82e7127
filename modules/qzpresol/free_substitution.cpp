#include "free_substitution.h"

#include <algorithm>

#include "implied_bounds.h"

namespace qzpresol {

namespace {

// A pivot is at least this share of the largest entry of its column, so that no multiplier exceeds its inverse, and of
// its row, so that the column's value does not magnify the errors of the others.
constexpr double kColumnShare = 0.1;
constexpr double kRowShare = 0.01;
// Of two values whose difference is this share of them, nothing but roundoff is left.
constexpr double kCancelled = 1e-12;
// A difference between that and this share has lost too many digits to go on with.
constexpr double kDoubtful = 1e-7;
constexpr int32_t kMostRows = 10;      // longest column looked at
constexpr int64_t kMostProduct = 500;  // most entries of the row times those of the column

// What is left of `from` when `term` is taken away; a mere roundoff is 0.
double difference(double from, double term) {
  const double rest = from - term;
  return std::fabs(rest) <= kCancelled * std::max(std::fabs(from), std::fabs(term)) ? 0.0 : rest;
}

struct Entry {
  int32_t line;
  double value;
};

class Substitution {
 public:
  explicit Substitution(Reducer& r) : r_(r), s_(r.store), reaches_(r.store) {}

  // Short columns first: they fill least.
  int32_t run() {
    int32_t status = allocate();
    const int64_t mostWork = s_.work + 10 * (s_.liveEntries + s_.numCol);
    for (int32_t length = 2; length <= kMostRows; ++length)
      for (int32_t j = 0; j < s_.numCol && status == QZ_STATUS_OK && s_.work < mostWork; ++j)
        if (s_.columnAlive[j] != 0 && s_.columnCount[j] == length) status = tryColumn(j);
    return status;
  }

 private:
  int32_t allocate() {
    const bool all = reaches_.create() == QZ_STATUS_OK &&
                     inPivotRow_.allocateZero(s_.pool, s_.numCol) == QZ_STATUS_OK &&
                     inOtherRow_.allocateZero(s_.pool, s_.numCol) == QZ_STATUS_OK &&
                     pivotRow_.allocate(s_.pool, s_.numCol) == QZ_STATUS_OK;
    return all ? QZ_STATUS_OK : QZ_STATUS_OUT_OF_MEMORY;
  }

  int32_t tryColumn(int32_t j) {
    takeColumn(j);
    if (!reaches_.lowerIsImplied(j) || !reaches_.upperIsImplied(j)) return QZ_STATUS_OK;
    const int32_t i = choosePivot(j);
    if (i < 0) return QZ_STATUS_OK;
    takePivotRow(i, j);
    const bool pays = doesNotFill(i);
    const int32_t status = pays ? substitute(i, j) : QZ_STATUS_OK;
    for (int32_t k = 0; k < pivotLength_; ++k) inPivotRow_[pivotRow_[k].line] = 0.0;
    return status;
  }

  void takeColumn(int32_t j) {
    columnLength_ = 0;
    s_.eachInColumn(j, [&](int32_t i, double a) { column_[columnLength_++] = {i, a}; });
  }

  void takePivotRow(int32_t i, int32_t j) {
    pivotLength_ = 0;
    s_.eachInRow(i, [&](int32_t k, double a) {
      if (k == j) {
        pivot_ = a;
        return;
      }
      pivotRow_[pivotLength_++] = {k, a};
      inPivotRow_[k] = a;
    });
  }

  // The shortest equation of column j whose pivot is large enough; -1 without one.
  int32_t choosePivot(int32_t j) {
    double largest = 0.0;
    for (int32_t k = 0; k < columnLength_; ++k) largest = std::max(largest, std::fabs(column_[k].value));
    int32_t best = -1;
    bool small = false;
    for (int32_t k = 0; k < columnLength_; ++k) {
      const auto [i, a] = column_[k];
      if (!s_.isEquation(i) || int64_t{s_.rowCount[i]} * columnLength_ > kMostProduct) continue;
      if (best >= 0 && s_.rowCount[i] >= s_.rowCount[best]) continue;
      if (std::fabs(a) < kColumnShare * largest || std::fabs(a) < kRowShare * largestInRow(i) ||
          !Store::offsetBears(s_.cost[j] / a * s_.rowLower[i])) {
        small = true;
        continue;
      }
      best = i;
    }
    if (best < 0 && small) r_.skipped(ReductionKind::kFreeSubstitution);
    return best;
  }

  double largestInRow(int32_t i) const {
    double largest = 0.0;
    s_.eachInRow(i, [&](int32_t, double a) { largest = std::max(largest, std::fabs(a)); });
    return largest;
  }

  // Counts what the step brings and takes: the entries of the pivot row and of the column go; each other row of the
  // column gets those of the pivot row that it has not, and loses those that cancel.
  bool doesNotFill(int32_t i) {
    int64_t change = -int64_t{pivotLength_} - columnLength_;
    for (int32_t k = 0; k < columnLength_; ++k) {
      if (column_[k].line == i) continue;
      const double factor = column_[k].value / pivot_;
      change += pivotLength_;
      bool doubtful = false;
      s_.eachInRow(column_[k].line, [&](int32_t l, double a) {
        if (inPivotRow_[l] == 0.0) return;
        const double term = factor * inPivotRow_[l];
        const double rest = difference(a, term);
        change -= rest == 0.0 ? 2 : 1;
        doubtful = doubtful || (rest != 0.0 && std::fabs(rest) < kDoubtful * std::fabs(term));
      });
      if (doubtful) {
        r_.skipped(ReductionKind::kFreeSubstitution);
        return false;
      }
    }
    return change <= 0;
  }

  int32_t substitute(int32_t i, int32_t j) {
    const double b = s_.rowLower[i];
    const double c = s_.cost[j];
    int32_t status = record(i, j, b, c);
    if (status != QZ_STATUS_OK) return status;
    s_.removeRow(i);
    s_.removeColumn(j);
    for (int32_t k = 0; k < columnLength_ && status == QZ_STATUS_OK; ++k) {
      if (column_[k].line == i) continue;
      status = addPivotRow(column_[k].line, column_[k].value / pivot_, b);
    }
    if (status != QZ_STATUS_OK) return status;
    const double price = c / pivot_;
    s_.offset.add(price * b);
    for (int32_t k = 0; k < pivotLength_ && price != 0.0; ++k) {
      const auto [l, a] = pivotRow_[k];
      s_.setCost(l, difference(s_.cost[l], price * a));
    }
    r_.applied(ReductionKind::kFreeSubstitution);
    return QZ_STATUS_OK;
  }

  // Row `to` less `factor` times the pivot row, without column j.
  int32_t addPivotRow(int32_t to, double factor, double b) {
    reaches_.forget(to);
    s_.shiftSides(to, -factor * b);
    s_.eachInRow(to, [&](int32_t l, double a) { inOtherRow_[l] = a; });
    int32_t status = QZ_STATUS_OK;
    for (int32_t k = 0; k < pivotLength_ && status == QZ_STATUS_OK; ++k) {
      const auto [l, a] = pivotRow_[k];
      status = s_.changeEntry(to, l, difference(inOtherRow_[l], factor * a));
      inOtherRow_[l] = 0.0;
    }
    s_.eachInRow(to, [&](int32_t l, double) { inOtherRow_[l] = 0.0; });
    return status;
  }

  int32_t record(int32_t i, int32_t j, double b, double c) {
    const int64_t length = int64_t{pivotLength_} + columnLength_ - 1;
    const int32_t status = r_.undo.open(UndoKind::kFreeSubstitution, 4 + length, 3 + length);
    if (status != QZ_STATUS_OK) return status;
    r_.undo.index(i);
    r_.undo.index(j);
    r_.undo.index(pivotLength_);
    r_.undo.index(columnLength_ - 1);
    r_.undo.value(pivot_);
    r_.undo.value(b);
    r_.undo.value(c);
    for (int32_t k = 0; k < pivotLength_; ++k) put(pivotRow_[k]);
    for (int32_t k = 0; k < columnLength_; ++k)
      if (column_[k].line != i) put(column_[k]);
    return QZ_STATUS_OK;
  }
  void put(const Entry& entry) {
    r_.undo.index(entry.line);
    r_.undo.value(entry.value);
  }

  Reducer& r_;
  Store& s_;
  RowReaches reaches_;                // each bound of a column may be implied by another row
  qz::PoolArray<double> inPivotRow_;  // numCol: the pivot row's entries, 0 elsewhere and between the steps
  qz::PoolArray<double> inOtherRow_;
  qz::PoolArray<Entry> pivotRow_;  // without column j
  int32_t pivotLength_ = 0;
  double pivot_ = 0.0;
  Entry column_[kMostRows];
  int32_t columnLength_ = 0;
};

}  // namespace

int32_t passFreeSubstitution(Reducer& r) {
  return Substitution(r).run();
}

// x_j by the equation; y_i so that the reduced cost of column j is 0.
void undoFreeSubstitution(UndoReader record, Answer& answer) {
  const int32_t i = record.index();
  const int32_t j = record.index();
  const int32_t inRow = record.index();
  const int32_t inColumn = record.index();
  const double pivot = record.value();
  double rest = answer.sideFactor * record.value();
  double unpaid = answer.costFactor * record.value();
  for (int32_t k = 0; k < inRow; ++k) rest -= record.value() * answer.x[record.index()];
  for (int32_t k = 0; k < inColumn; ++k) unpaid -= record.value() * answer.y[record.index()];
  answer.x[j] = rest / pivot;
  answer.y[i] = unpaid / pivot;
  answer.z[j] = 0.0;
  if (answer.columnBasis == nullptr) return;
  answer.columnBasis[j] = QZ_BASIS_BASIC;
  answer.rowBasis[i] = QZ_BASIS_LOWER;
}

}  // namespace qzpresol
