#include "dual_fixing.h"

#include "elementary_steps.h"

namespace qzpresol {

namespace {

// How many sides of rows the column runs into on its way down, and up.
struct Locks {
  int32_t down;
  int32_t up;
};

Locks locksOf(const Store& s, int32_t j) {
  Locks locks{};
  s.eachInColumn(j, [&](int32_t i, double a) {
    const bool hasLower = !infinite(s.rowLower[i]);
    const bool hasUpper = !infinite(s.rowUpper[i]);
    if (a > 0.0 ? hasLower : hasUpper) ++locks.down;
    if (a > 0.0 ? hasUpper : hasLower) ++locks.up;
  });
  return locks;
}

// Writes what gives the column its value behind the rows: its far bound, and each row with the side that it ends at.
int32_t recordOpenColumn(Reducer& r, int32_t j, bool down, const int32_t* row, int32_t numRow) {
  const Store& s = r.store;
  int64_t entries = 0;
  for (int32_t k = 0; k < numRow; ++k) entries += s.rowCount[row[k]];
  const int32_t status = r.undo.open(UndoKind::kOpenColumn, 3 + 3 * int64_t{numRow} + entries, 1 + numRow + entries);
  if (status != QZ_STATUS_OK) return status;
  r.undo.index(j);
  r.undo.index(down ? 1 : 0);
  r.undo.index(numRow);
  r.undo.value(down ? s.upper[j] : s.lower[j]);
  for (int32_t k = 0; k < numRow; ++k) {
    const int32_t i = row[k];
    const bool atUpper = !infinite(s.rowUpper[i]);
    r.undo.index(i);
    r.undo.index(atUpper ? 1 : 0);
    r.undo.index(s.rowCount[i]);
    r.undo.value(atUpper ? s.rowUpper[i] : s.rowLower[i]);
    s.eachInRow(i, [&](int32_t column, double a) {
      r.undo.index(column);
      r.undo.value(a);
    });
  }
  return QZ_STATUS_OK;
}

// The column meets all its rows by going far enough. Rows without sides ask for nothing; they wait for their turn.
int32_t removeWithRows(Reducer& r, int32_t j, bool down) {
  Store& s = r.store;
  qz::PoolArray<int32_t> row;
  if (row.allocate(s.pool, s.columnCount[j]) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  int32_t numRow = 0;
  s.eachInColumn(j, [&](int32_t i, double) {
    if (!infinite(s.rowLower[i]) || !infinite(s.rowUpper[i])) row[numRow++] = i;
  });
  const int32_t status = recordOpenColumn(r, j, down, row.get(), numRow);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t k = 0; k < numRow; ++k) s.removeRow(row[k]);
  s.removeColumn(j);
  return QZ_STATUS_OK;
}

int32_t fix(Reducer& r, int32_t j, bool down) {
  const Store& s = r.store;
  if (infinite(down ? s.lower[j] : s.upper[j])) {
    if (s.cost[j] != 0.0) {
      r.settle(QZ_PRESOL_DUAL_INFEASIBLE, {{j, down ? -1.0 : 1.0}});
      return QZ_STATUS_OK;
    }
    r.applied(ReductionKind::kDualFixing);
    return removeWithRows(r, j, down);
  }
  r.applied(ReductionKind::kDualFixing);
  return down ? fixAtLower(r, j) : fixAtUpper(r, j);
}

}  // namespace

int32_t examineDualFixing(Reducer& r, int32_t j) {
  const Store& s = r.store;
  const Locks locks = locksOf(s, j);
  const bool down = locks.down == 0 && s.cost[j] >= 0.0;
  const bool up = locks.up == 0 && s.cost[j] <= 0.0;
  if (down && up) return fix(r, j, !infinite(s.lower[j]));
  if (down || up) return fix(r, j, down);
  return QZ_STATUS_OK;
}

// The column goes back from its far bound just as far as the rows ask; the row that asks for most ends there.
void undoOpenColumn(UndoReader record, Answer& answer) {
  const int32_t j = record.index();
  const bool down = record.index() != 0;
  const int32_t numRow = record.index();
  const double bound = record.value();
  double x = infinite(bound) ? bound : answer.sideFactor * bound;
  int32_t binding = -1;
  bool bindsAtUpper = false;
  for (int32_t r = 0; r < numRow; ++r) {
    const int32_t i = record.index();
    const bool atUpper = record.index() != 0;
    const int32_t count = record.index();
    double rest = answer.sideFactor * record.value();
    double pivot = 0.0;
    for (int32_t k = 0; k < count; ++k) {
      const int32_t column = record.index();
      const double a = record.value();
      if (column == j)
        pivot = a;
      else
        rest -= a * answer.x[column];
    }
    answer.y[i] = 0.0;
    if (answer.rowBasis != nullptr) answer.rowBasis[i] = QZ_BASIS_BASIC;
    const double end = rest / pivot;
    if (down ? end >= x : end <= x) continue;
    x = end;
    binding = i;
    bindsAtUpper = atUpper;
  }
  answer.x[j] = infinite(x) ? 0.0 : x;
  answer.z[j] = 0.0;
  if (answer.columnBasis == nullptr) return;
  if (binding >= 0) {
    answer.columnBasis[j] = QZ_BASIS_BASIC;
    answer.rowBasis[binding] = bindsAtUpper ? QZ_BASIS_UPPER : QZ_BASIS_LOWER;
  } else {
    answer.columnBasis[j] = infinite(x) ? QZ_BASIS_FREE : down ? QZ_BASIS_UPPER : QZ_BASIS_LOWER;
  }
}

}  // namespace qzpresol
