#include "doubleton_equations.h"

#include <algorithm>
#include <utility>

#include "elementary_steps.h"

namespace qzpresol {

namespace {

constexpr double kPivot = 1e-3;       // least size of the entry of x, relative to that of y and to its column
constexpr double kCancelled = 1e-13;  // a difference this small against its terms is 0
constexpr int32_t kMostEntries = 32;  // of the column that goes

// Bits of the record: which bounds of y are bounds of x, and whether both bounds are one value.
constexpr int32_t kLowerFromX = 1;
constexpr int32_t kUpperFromX = 2;
constexpr int32_t kOneValue = 4;

struct Doubleton {
  int32_t i;
  int32_t x;
  int32_t y;
  double a;
  double b;
  double side;
};

bool pivotIsSound(const Store& s, const Doubleton& d) {
  double largest = std::fabs(d.b);
  s.eachInColumn(d.x, [&](int32_t, double a) { largest = std::max(largest, std::fabs(a)); });
  return std::fabs(d.a) >= kPivot * largest && std::fabs(d.b) >= kPivot * std::fabs(d.a) &&
         Store::offsetBears(s.cost[d.x] * (d.side / d.a));
}

// The column with fewer entries goes, if its entry is sound, else the other one. False when neither can.
bool choose(const Store& s, int32_t i, Doubleton& d) {
  d = {i, -1, -1, 0.0, 0.0, s.rowLower[i]};
  s.eachInRow(i, [&](int32_t j, double a) {
    if (d.x < 0) {
      d.x = j;
      d.a = a;
    } else {
      d.y = j;
      d.b = a;
    }
  });
  const auto exchange = [&] {
    std::swap(d.x, d.y);
    std::swap(d.a, d.b);
  };
  if (s.columnCount[d.x] > s.columnCount[d.y]) exchange();
  if (s.columnCount[d.x] <= kMostEntries && pivotIsSound(s, d)) return true;
  exchange();
  return s.columnCount[d.x] <= kMostEntries && pivotIsSound(s, d);
}

// Value of y where x takes `bound`; infinite ones turn with the signs.
double ofY(const Doubleton& d, double bound) {
  if (infinite(bound)) return (d.a > 0.0) == (d.b > 0.0) ? -bound : bound;
  return (d.side - d.a * bound) / d.b;
}

double difference(double value, double share) {
  const double result = value - share;
  return std::fabs(result) <= kCancelled * (std::fabs(value) + std::fabs(share)) ? 0.0 : result;
}

// Hands the bounds of x to y and tells which of y's are x's. False when they cross.
bool handBounds(Reducer& r, const Doubleton& d, int32_t& from) {
  const Store& s = r.store;
  double low = ofY(d, s.lower[d.x]);
  double high = ofY(d, s.upper[d.x]);
  if (low > high) std::swap(low, high);
  from = 0;
  if (low > s.lower[d.y]) from |= kLowerFromX;
  if (high < s.upper[d.y]) from |= kUpperFromX;
  low = std::max(low, s.lower[d.y]);
  high = std::min(high, s.upper[d.y]);
  if (!narrowBounds(r, d.y, std::clamp(low, -kInfinity, kInfinity), std::clamp(high, -kInfinity, kInfinity)))
    return false;
  if (s.isFixed(d.y)) from |= kOneValue;
  return true;
}

// x out of the rows that it stands in besides row i, which is dead; `row` and `value` are its `count` entries there.
int32_t substitute(Store& s, const Doubleton& d, const int32_t* row, const double* value, int32_t count) {
  const double ratio = d.b / d.a;
  const double shift = d.side / d.a;
  for (int32_t k = 0; k < count; ++k) {
    const int32_t at = s.byColumn.find(d.y, row[k]);
    const double old = at < 0 ? 0.0 : s.byColumn.value(d.y)[at];
    const int32_t status = s.changeEntry(row[k], d.y, difference(old, value[k] * ratio));
    if (status != QZ_STATUS_OK) return status;
    s.shiftSides(row[k], -value[k] * shift);
  }
  s.offset.add(s.cost[d.x] * shift);
  s.setCost(d.y, difference(s.cost[d.y], s.cost[d.x] * ratio));
  s.removeColumn(d.x);
  return QZ_STATUS_OK;
}

int32_t recordDoubleton(Reducer& r, const Doubleton& d, int32_t from, const double low, const double high) {
  const Store& s = r.store;
  const int32_t count = s.columnCount[d.x] - 1;
  const int32_t status = r.undo.open(UndoKind::kDoubletonEquation, int64_t{count} + 5, int64_t{count} + 6);
  if (status != QZ_STATUS_OK) return status;
  for (const int32_t index : {d.i, d.x, d.y, from, count}) r.undo.index(index);
  for (const double value : {d.a, d.b, d.side, low, high, s.cost[d.x]}) r.undo.value(value);
  s.eachInColumn(d.x, [&](int32_t i, double a) {
    if (i == d.i) return;
    r.undo.index(i);
    r.undo.value(a);
  });
  return QZ_STATUS_OK;
}

}  // namespace

int32_t examineDoubletonEquation(Reducer& r, int32_t i) {
  Store& s = r.store;
  if (s.rowCount[i] != 2 || !s.isEquation(i)) return QZ_STATUS_OK;
  Doubleton d{};
  if (!choose(s, i, d)) {
    r.skipped(ReductionKind::kDoubletonEquation);
    return QZ_STATUS_OK;
  }
  const int32_t count = s.columnCount[d.x] - 1;
  qz::PoolArray<int32_t> row;
  qz::PoolArray<double> value;
  if (row.allocate(s.pool, count) != QZ_STATUS_OK || value.allocate(s.pool, count) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  int32_t k = 0;
  s.eachInColumn(d.x, [&](int32_t other, double a) {
    if (other == i) return;
    row[k] = other;
    value[k++] = a;
  });
  int32_t from = 0;
  if (!handBounds(r, d, from)) return QZ_STATUS_OK;
  const int32_t status = recordDoubleton(r, d, from, s.lower[d.x], s.upper[d.x]);
  if (status != QZ_STATUS_OK) return status;
  s.removeRow(i);
  r.applied(ReductionKind::kDoubletonEquation);
  return substitute(s, d, row.get(), value.get(), count);
}

// With the dual of the equation that takes the reduced cost of x to 0, y has that of the step. Where y stands at a
// bound of x, the dual moves by z / b: y has none then, and x takes -a / b of it.
void undoDoubletonEquation(UndoReader record, Answer& answer) {
  const int32_t i = record.index();
  const int32_t x = record.index();
  const int32_t y = record.index();
  const int32_t from = record.index();
  const int32_t count = record.index();
  const double a = record.value();
  const double b = record.value();
  const double side = answer.sideFactor * record.value();
  const double low = answer.sideFactor * record.value();
  const double high = answer.sideFactor * record.value();
  double dual = answer.costFactor * record.value();
  for (int32_t k = 0; k < count; ++k) dual -= record.value() * answer.y[record.index()];
  answer.x[x] = (side - b * answer.x[y]) / a;
  answer.y[i] = dual / a;
  answer.z[x] = 0.0;
  const double z = answer.z[y];
  bool atLower = z > 0.0;
  bool atBound = z != 0.0;
  if (answer.columnBasis != nullptr) {
    const uint8_t place = answer.columnBasis[y];
    atBound = place == QZ_BASIS_LOWER || place == QZ_BASIS_UPPER;
    atLower = (from & kOneValue) != 0 ? z >= 0.0 : place == QZ_BASIS_LOWER;
    answer.columnBasis[x] = QZ_BASIS_BASIC;
    answer.rowBasis[i] = QZ_BASIS_LOWER;
    if (atBound) answer.columnBasis[y] = atLower ? QZ_BASIS_LOWER : QZ_BASIS_UPPER;
  }
  if (!atBound || (from & (atLower ? kLowerFromX : kUpperFromX)) == 0) return;
  answer.y[i] += z / b;
  answer.z[y] = 0.0;
  answer.z[x] = -a * (z / b);
  if (answer.columnBasis == nullptr) return;
  const bool xAtLower = atLower != ((a > 0.0) == (b > 0.0));
  answer.x[x] = xAtLower ? low : high;
  answer.columnBasis[x] = xAtLower ? QZ_BASIS_LOWER : QZ_BASIS_UPPER;
  answer.columnBasis[y] = QZ_BASIS_BASIC;
}

}  // namespace qzpresol
