#include "row_activities.h"

#include <algorithm>

#include "elementary_steps.h"

namespace qzpresol {

namespace {

bool infeasible(const Reducer& r, int32_t i, const RowActivity& reach) {
  const Store& s = r.store;
  const double tolerance = r.feasibility(s.rowSize[i]) + kSafe * reach.magnitude;
  const bool below = reach.high.infinite == 0 && reach.high.finite < s.rowLower[i] - tolerance;
  const bool above = reach.low.infinite == 0 && reach.low.finite > s.rowUpper[i] + tolerance;
  return below || above;
}

// Whether all columns must stand at their bounds of the end that is `gap` away from the side: no column may have room
// left that matters, however small its entry.
bool forces(const Reducer& r, int32_t i, const ActivityEnd& end, double gap) {
  if (end.infinite > 0 || gap > kSafe) return false;
  double smallest = 1.0;
  r.store.eachInRow(i, [&](int32_t, double a) { smallest = std::min(smallest, std::fabs(a)); });
  return gap <= kSafe * smallest;
}

// The columns of row i go to their bounds where the row reaches its upper side at the least (`atUpper`), or its lower
// one at the most.
int32_t force(Reducer& r, int32_t i, bool atUpper) {
  Store& s = r.store;
  const int32_t count = s.rowCount[i];
  qz::PoolArray<int32_t> column;
  qz::PoolArray<uint8_t> goesLow;
  if (column.allocate(s.pool, count) != QZ_STATUS_OK || goesLow.allocate(s.pool, count) != QZ_STATUS_OK ||
      r.undo.open(UndoKind::kForcingRow, int64_t{count} + 3, count) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  r.undo.index(i);
  r.undo.index(atUpper ? 1 : 0);
  r.undo.index(count);
  int32_t k = 0;
  s.eachInRow(i, [&](int32_t j, double a) {
    r.undo.index(j);
    r.undo.value(a);
    column[k] = j;
    goesLow[k++] = (a > 0.0) == atUpper ? 1 : 0;
  });
  s.removeRow(i);
  for (k = 0; k < count; ++k) {
    const int32_t status = goesLow[k] != 0 ? fixAtLower(r, column[k]) : fixAtUpper(r, column[k]);
    if (status != QZ_STATUS_OK) return status;
  }
  r.applied(ReductionKind::kForcingRow);
  return QZ_STATUS_OK;
}

// The sides that the row cannot pass go; true when none is left.
bool dropSides(Reducer& r, int32_t i, const RowActivity& reach) {
  Store& s = r.store;
  double low = s.rowLower[i];
  double high = s.rowUpper[i];
  if (reach.low.infinite == 0 && reach.low.finite >= low - kSafe * (1.0 + std::fabs(low))) low = -kInfinity;
  if (reach.high.infinite == 0 && reach.high.finite <= high + kSafe * (1.0 + std::fabs(high))) high = kInfinity;
  if (infinite(low) && infinite(high)) return true;
  s.setSides(i, low, high);
  return false;
}

}  // namespace

int32_t examineActivity(Reducer& r, int32_t i) {
  const Store& s = r.store;
  const RowActivity reach = s.activity(i);
  if (infeasible(r, i, reach)) {
    settleByRow(r, i);
    return QZ_STATUS_OK;
  }
  if (forces(r, i, reach.low, s.rowUpper[i] - reach.low.finite)) return force(r, i, true);
  if (forces(r, i, reach.high, reach.high.finite - s.rowLower[i])) return force(r, i, false);
  if (!dropSides(r, i, reach)) return QZ_STATUS_OK;
  r.applied(ReductionKind::kRedundantRow);
  return dropRow(r, i);
}

// The dual goes as far from 0 as the wrong signs of the columns' reduced costs need: at the upper side y <= z / a for
// all columns, whatever the sign of a, at the lower side y >= z / a. The column that asks for most becomes basic.
void undoForcingRow(UndoReader record, Answer& answer) {
  const int32_t i = record.index();
  const bool atUpper = record.index() != 0;
  const int32_t count = record.index();
  double y = 0.0;
  int32_t pivot = -1;
  for (int32_t k = 0; k < count; ++k) {
    const double ratio = answer.z[record.nextIndex[k]] / record.nextValue[k];
    if (atUpper ? ratio >= y : ratio <= y) continue;
    y = ratio;
    pivot = record.nextIndex[k];
  }
  answer.y[i] = y;
  for (int32_t k = 0; k < count; ++k) answer.z[record.nextIndex[k]] -= record.nextValue[k] * y;
  if (pivot >= 0) answer.z[pivot] = 0.0;
  if (answer.rowBasis == nullptr) return;
  answer.rowBasis[i] = QZ_BASIS_BASIC;
  if (pivot < 0) return;
  answer.rowBasis[i] = atUpper ? QZ_BASIS_UPPER : QZ_BASIS_LOWER;
  answer.columnBasis[pivot] = QZ_BASIS_BASIC;
}

}  // namespace qzpresol
