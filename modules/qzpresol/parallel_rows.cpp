#include "parallel_rows.h"

#include "parallel_lines.h"

namespace qzpresol {

namespace {

// Bits of the record.
constexpr int32_t kLowerFromOther = 1;  // the removed row gave the lower side of the one that stays
constexpr int32_t kUpperFromOther = 2;
constexpr int32_t kOneValue = 4;       // what stays is an equation
constexpr int32_t kOtherEquation = 8;  // the removed row was one

double quotient(double side, double factor) {
  return infinite(side) ? (factor > 0.0 ? side : -side) : side / factor;
}

// What the rows `own` and `other` = factor * own say together, in terms of `own`.
struct Merged {
  double low, high;
  int32_t from = 0;
  int32_t contradicts = 0;  // 1: the other row lies above this one, -1: below, 0: they meet
};

void merge(const Reducer& r, int32_t own, int32_t other, double factor, Merged& m) {
  const Store& s = r.store;
  m.low = quotient(factor > 0.0 ? s.rowLower[other] : s.rowUpper[other], factor);
  m.high = quotient(factor > 0.0 ? s.rowUpper[other] : s.rowLower[other], factor);
  m.from = kLowerFromOther | kUpperFromOther;
  const bool ownEquation = s.isEquation(own);
  const double tolerance = r.feasibility(std::fmax(s.rowSize[own], s.rowSize[other] / std::fabs(factor)));
  m.contradicts = m.low > s.rowUpper[own] + tolerance ? 1 : m.high < s.rowLower[own] - tolerance ? -1 : 0;
  if (m.contradicts != 0) return;
  if (s.isEquation(other)) m.from |= kOtherEquation;
  const bool otherDecides = s.isEquation(other) && !ownEquation;
  if (ownEquation || (!otherDecides && s.rowLower[own] >= m.low)) {
    m.low = s.rowLower[own];
    m.from &= ~kLowerFromOther;
  }
  if (ownEquation || (!otherDecides && s.rowUpper[own] <= m.high)) {
    m.high = s.rowUpper[own];
    m.from &= ~kUpperFromOther;
  }
  if (m.low > m.high) m.low = m.high = 0.5 * (m.low + m.high);
  if (m.high - m.low <= kFixedWidth) m.low = m.high;
  if (m.low == m.high) m.from |= kOneValue;
}

int32_t absorb(Reducer& r, int32_t own, int32_t other, double factor) {
  Merged merged{};
  merge(r, own, other, factor, merged);
  if (merged.contradicts != 0) {
    const double sign = merged.contradicts;
    r.settle(QZ_PRESOL_PRIMAL_INFEASIBLE, {{own, -sign}, {other, sign / factor}});
    return QZ_STATUS_OK;
  }
  const int32_t status = r.undo.open(UndoKind::kParallelRow, 3, 1);
  if (status != QZ_STATUS_OK) return status;
  r.undo.index(own);
  r.undo.index(other);
  r.undo.index(merged.from);
  r.undo.value(factor);
  r.store.setSides(own, merged.low, merged.high);
  r.store.removeRow(other);
  r.applied(ReductionKind::kParallelRow);
  return QZ_STATUS_OK;
}

}  // namespace

int32_t passParallelRows(Reducer& r) {
  Store& s = r.store;
  ParallelLines lines;
  int32_t status = lines.create(s.pool, s.numRow, s.numCol);
  if (status != QZ_STATUS_OK) return status;
  const auto each = [&](int32_t i, auto visit) { s.eachInRow(i, visit); };
  for (int32_t i = 0; i < s.numRow; ++i)
    if (s.rowAlive[i] != 0 && s.rowCount[i] > 1) lines.add(i, each);
  lines.compare(each, [&](int32_t own, int32_t other, double factor) {
    status = absorb(r, own, other, factor);
    return status == QZ_STATUS_OK && r.outcome == 0 ? own : -1;
  });
  return status;
}

// The dual of the row that stays belongs to the row whose side carries it: y_other * factor = y_own.
void undoParallelRow(UndoReader record, Answer& answer) {
  const int32_t own = record.index();
  const int32_t other = record.index();
  const int32_t from = record.index();
  const double factor = record.value();
  const double y = answer.y[own];
  bool binds = y != 0.0;
  bool atLower = y > 0.0;
  // A row that has a dual although it is basic has it from a row that it was taken out of: the dual's sign decides.
  if (answer.rowBasis != nullptr && answer.rowBasis[own] != QZ_BASIS_BASIC) {
    binds = true;
    atLower = (from & kOneValue) != 0 ? y >= 0.0 : answer.rowBasis[own] == QZ_BASIS_LOWER;
  }
  const bool moves = binds && (from & (atLower ? kLowerFromOther : kUpperFromOther)) != 0;
  answer.y[other] = moves ? y / factor : 0.0;
  if (moves) answer.y[own] = 0.0;
  if (answer.rowBasis == nullptr) return;
  const bool basic = answer.rowBasis[own] == QZ_BASIS_BASIC;
  answer.rowBasis[other] = QZ_BASIS_BASIC;
  if (basic) return;
  if (moves) {
    const bool lower = (from & kOtherEquation) != 0 || atLower == (factor > 0.0);
    answer.rowBasis[other] = lower ? QZ_BASIS_LOWER : QZ_BASIS_UPPER;
    answer.rowBasis[own] = QZ_BASIS_BASIC;
  } else if ((from & kLowerFromOther) != 0 && !atLower) {
    answer.rowBasis[own] = QZ_BASIS_UPPER;  // the upper side of one value, of which the other row gave the lower
  }
}

}  // namespace qzpresol
