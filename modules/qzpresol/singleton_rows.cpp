#include "singleton_rows.h"

#include "elementary_steps.h"

namespace qzpresol {

namespace {

// Bits of the record: which bounds the row gave, and whether both bounds are one value.
constexpr int32_t kLowerFromRow = 1;
constexpr int32_t kUpperFromRow = 2;
constexpr int32_t kOneValue = 4;

double quotient(double side, double a) {
  return infinite(side) ? (a > 0.0 ? side : -side) : side / a;
}

// A bound that only repeats the column's own up to roundoff is the column's.
bool tighter(double gain, double bound) {
  return gain > 1e-15 * std::fabs(bound);
}

}  // namespace

int32_t examineEmptyRow(Reducer& r, int32_t i) {
  Store& s = r.store;
  if (s.rowCount[i] > 0) return QZ_STATUS_OK;
  const double tolerance = r.feasibility(s.rowSize[i]);
  if (s.rowLower[i] > tolerance || s.rowUpper[i] < -tolerance) {
    settleByRow(r, i);
    return QZ_STATUS_OK;
  }
  r.applied(ReductionKind::kEmptyRow);
  return dropRow(r, i);
}

int32_t examineSingletonRow(Reducer& r, int32_t i) {
  Store& s = r.store;
  if (s.rowCount[i] != 1) return QZ_STATUS_OK;
  double a = 0.0;
  const int32_t j = s.onlyInRow(i, a);
  double low = quotient(a > 0.0 ? s.rowLower[i] : s.rowUpper[i], a);
  double high = quotient(a > 0.0 ? s.rowUpper[i] : s.rowLower[i], a);
  // A tiny entry makes a bound that no interior point can tell from none; the row says it better.
  if ((infinite(low) && low > 0.0) || (infinite(high) && high < 0.0)) {
    r.skipped(ReductionKind::kSingletonRow);
    return QZ_STATUS_OK;
  }
  int32_t from = 0;
  if (s.isEquation(i) || tighter(low - s.lower[j], low)) from |= kLowerFromRow;
  if (s.isEquation(i) || tighter(s.upper[j] - high, high)) from |= kUpperFromRow;
  if ((from & kLowerFromRow) == 0) low = s.lower[j];
  if ((from & kUpperFromRow) == 0) high = s.upper[j];
  // An equation may leave the column's own bounds by the tolerance, but no more.
  if (low > s.upper[j] + r.feasibility(s.upper[j]) || high < s.lower[j] - r.feasibility(s.lower[j])) {
    settleByRow(r, i);
    return QZ_STATUS_OK;
  }
  if (!narrowBounds(r, j, low, high)) return QZ_STATUS_OK;
  if (s.isFixed(j)) from |= kOneValue;
  const int32_t status = r.undo.open(UndoKind::kSingletonRow, 3, 1);
  if (status != QZ_STATUS_OK) return status;
  r.undo.index(i);
  r.undo.index(j);
  r.undo.index(from);
  r.undo.value(a);
  s.removeRow(i);
  r.applied(ReductionKind::kSingletonRow);
  return QZ_STATUS_OK;
}

// The row takes over the reduced cost of its column where it gave the bound that carries it: y = z / a, and z = 0.
void undoSingletonRow(UndoReader record, Answer& answer) {
  const int32_t i = record.index();
  const int32_t j = record.index();
  const int32_t from = record.index();
  const double a = record.value();
  const double z = answer.z[j];
  bool atLower = z > 0.0;
  bool takesOver = z != 0.0;
  if (answer.columnBasis != nullptr) {
    const uint8_t place = answer.columnBasis[j];
    takesOver = place == QZ_BASIS_LOWER || place == QZ_BASIS_UPPER;
    if ((from & kOneValue) != 0) {
      atLower = z >= 0.0;
      if (takesOver) answer.columnBasis[j] = atLower ? QZ_BASIS_LOWER : QZ_BASIS_UPPER;
    } else {
      atLower = place == QZ_BASIS_LOWER;
    }
  }
  takesOver = takesOver && (from & (atLower ? kLowerFromRow : kUpperFromRow)) != 0;
  answer.y[i] = takesOver ? z / a : 0.0;
  if (takesOver) answer.z[j] = 0.0;
  if (answer.rowBasis == nullptr) return;
  answer.rowBasis[i] = QZ_BASIS_BASIC;
  if (!takesOver) return;
  answer.rowBasis[i] = atLower == (a > 0.0) ? QZ_BASIS_LOWER : QZ_BASIS_UPPER;
  answer.columnBasis[j] = QZ_BASIS_BASIC;
}

}  // namespace qzpresol
