// The working model of the presolver:
//
//     minimise cost'x + offset   subject to   rowLower <= A x <= rowUpper,   lower <= x <= upper
//
// A stands twice, by rows and by columns. Rows and columns keep the caller's numbers; a removed one is marked dead and
// its entries are skipped from then on where other lines list them, so that a removal costs no more than its own
// length. A line that lists more dead entries than live ones is compacted. Sides and bounds beyond 1e20 in magnitude
// are exactly -1e20 or 1e20.
//
// Everything that changes goes through the functions below, which mark what a change concerns in the two queues:
//   a row when its entries, its sides or the bounds of its columns changed;
//   a column when its entries, its bounds or its cost changed, or a side of one of its rows came or went.
// They count the entries that they touch in `work`, by which the reducer ends loops that cost too much.
#pragma once

#include <cmath>
#include <cstdint>

#include "change_queue.h"
#include "compressed_lines.h"
#include "qzipsolve/record.h"

namespace qzpresol {

inline constexpr double kInfinity = 1e20;     // magnitude from which a bound or right-hand side is infinite
inline constexpr double kSmallest = 1e-20;    // elements below it count as zero
inline constexpr double kMostOffset = 1e9;    // largest term of the offset that a substitution may bring
inline constexpr double kFixedWidth = 1e-12;  // a column no wider is fixed at its lower bound

inline bool infinite(double value) {
  return std::fabs(value) >= kInfinity;
}

// A sum with its rounding errors beside it (Neumaier 1974).
struct CompensatedSum {
  double sum;
  double error;
  void add(double term) {
    const double total = sum + term;
    error += std::fabs(sum) >= std::fabs(term) ? (sum - total) + term : (term - total) + sum;
    sum = total;
  }
  [[nodiscard]] double value() const { return sum + error; }
};

// One end of what a row can reach within the bounds of its columns: the finite terms, and how many are infinite.
struct ActivityEnd {
  double finite;
  int32_t infinite;
};

struct RowActivity {
  ActivityEnd low;
  ActivityEnd high;
  double magnitude;  // largest finite term: its roundoff is in both ends
};

struct Store {
  explicit Store(QzPool* itsPool) : pool(itsPool), byRow(itsPool), byColumn(itsPool) {}

  // Copies the caller's record, whose dimensions and values have been checked, as a minimisation. `rowLower` and
  // `rowUpper` (numRow) are its rows' intervals. All lines are queued. 0 or -1086.
  [[nodiscard]] int32_t load(const LpRecord& record, const double* rowLowerIn, const double* rowUpperIn);

  // visit(column, value) for each live entry of a row; visit(row, value) for each of a column. The visitor must not
  // change entries.
  template <class Visit>
  void eachInRow(int32_t i, Visit visit) const {
    eachLive(byRow, i, columnAlive.get(), visit);
  }
  template <class Visit>
  void eachInColumn(int32_t j, Visit visit) const {
    eachLive(byColumn, j, rowAlive.get(), visit);
  }
  // The only live entry of a row or column that has one: its column or row, and its value.
  int32_t onlyInRow(int32_t i, double& value) const;
  int32_t onlyInColumn(int32_t j, double& value) const;

  // Computed afresh from the row, so that no errors add up over many changes.
  [[nodiscard]] RowActivity activity(int32_t i) const;

  [[nodiscard]] bool isEquation(int32_t i) const { return rowLower[i] == rowUpper[i]; }
  [[nodiscard]] bool isFixed(int32_t j) const {
    return upper[j] - lower[j] <= kFixedWidth * std::fmax(1.0, std::fabs(lower[j]));
  }

  void removeRow(int32_t i);
  // The column's share must have been taken into the sides and the offset, if it has a value.
  void removeColumn(int32_t j);
  // Takes `value` for column j out of the sides of its rows and its cost into the offset, and removes it.
  void fixColumn(int32_t j, double value);

  void setBounds(int32_t j, double newLower, double newUpper);
  void setSides(int32_t i, double newLower, double newUpper);
  void setCost(int32_t j, double newCost);
  // Whether the objective bears a term that goes into its offset: the solver judges the gap against what is left of the
  // objective, and a large offset says that this cancels against it.
  [[nodiscard]] static bool offsetBears(double term) { return std::fabs(term) <= kMostOffset; }
  // Adds `change` to both sides as far as they are finite.
  void shiftSides(int32_t i, double change);

  // Entry (i, j) becomes `newValue`; 0 takes it out, and an absent one comes in. Both copies are searched, at the cost
  // of the shorter loops over row i and column j. Pointers into lines are void afterwards. 0 or -1086.
  [[nodiscard]] int32_t changeEntry(int32_t i, int32_t j, double newValue);

  QzPool* pool;
  int32_t numRow = 0;  // of the caller
  int32_t numCol = 0;
  int32_t liveRows = 0;
  int32_t liveColumns = 0;
  int64_t liveEntries = 0;
  qz::PoolArray<double> rowLower;  // numRow
  qz::PoolArray<double> rowUpper;
  qz::PoolArray<double> rowSize;  // numRow: largest finite side of the caller, to judge violations by
  qz::PoolArray<double> lower;    // numCol
  qz::PoolArray<double> upper;
  qz::PoolArray<double> cost;
  CompensatedSum offset{};
  qz::PoolArray<uint8_t> rowAlive;     // numRow
  qz::PoolArray<uint8_t> columnAlive;  // numCol
  qz::PoolArray<int32_t> rowCount;     // numRow: live entries
  qz::PoolArray<int32_t> columnCount;  // numCol
  CompressedLines byRow;
  CompressedLines byColumn;
  ChangeQueue changedRows;
  ChangeQueue changedColumns;
  mutable int64_t work = 0;

 private:
  template <class Visit>
  void eachLive(const CompressedLines& lines, int32_t line, const uint8_t* alive, Visit visit) const {
    const int32_t* index = lines.index(line);
    const double* value = lines.value(line);
    const int32_t length = lines.length(line);
    work += length;
    for (int32_t k = 0; k < length; ++k)
      if (alive[index[k]] != 0) visit(index[k], value[k]);
  }
  [[nodiscard]] int32_t allocate();
  [[nodiscard]] int32_t copyMatrix(const LpRecord& record);
  void forgetInRow(int32_t i);
  void forgetInColumn(int32_t j);
};

}  // namespace qzpresol
