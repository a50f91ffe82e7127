#include "elementary_steps.h"

namespace qzpresol {

int32_t fixColumn(Reducer& r, int32_t j, double value, uint8_t place) {
  Store& s = r.store;
  const int32_t status = r.undo.open(UndoKind::kFixedColumn, s.columnCount[j] + 3, s.columnCount[j] + 2);
  if (status != QZ_STATUS_OK) return status;
  r.undo.index(j);
  r.undo.index(place);
  r.undo.index(s.columnCount[j]);
  r.undo.value(value);
  r.undo.value(s.cost[j]);
  s.eachInColumn(j, [&](int32_t i, double a) {
    r.undo.index(i);
    r.undo.value(a);
  });
  s.fixColumn(j, value);
  return QZ_STATUS_OK;
}

int32_t fixAtLower(Reducer& r, int32_t j) {
  return fixColumn(r, j, r.store.lower[j], QZ_BASIS_LOWER);
}

int32_t fixAtUpper(Reducer& r, int32_t j) {
  return fixColumn(r, j, r.store.upper[j], QZ_BASIS_UPPER);
}

void undoFixedColumn(UndoReader record, Answer& answer) {
  const int32_t j = record.index();
  const auto place = static_cast<uint8_t>(record.index());
  const int32_t count = record.index();
  answer.x[j] = answer.sideFactor * record.value();
  double z = answer.costFactor * record.value();
  for (int32_t k = 0; k < count; ++k) z -= record.value() * answer.y[record.index()];
  answer.z[j] = z;
  if (answer.columnBasis != nullptr) answer.columnBasis[j] = place;
}

int32_t dropRow(Reducer& r, int32_t i) {
  const int32_t status = r.undo.open(UndoKind::kRedundantRow, 1, 0);
  if (status != QZ_STATUS_OK) return status;
  r.undo.index(i);
  r.store.removeRow(i);
  return QZ_STATUS_OK;
}

void undoRedundantRow(UndoReader record, Answer& answer) {
  const int32_t i = record.index();
  answer.y[i] = 0.0;
  if (answer.rowBasis != nullptr) answer.rowBasis[i] = QZ_BASIS_BASIC;
}

void settleByRow(Reducer& r, int32_t i) {
  const Store& s = r.store;
  const RowActivity reach = s.activity(i);
  const bool tooLow = reach.high.infinite == 0 && reach.high.finite < s.rowLower[i];
  r.settle(QZ_PRESOL_PRIMAL_INFEASIBLE, {{i, tooLow ? 1.0 : -1.0}});
}

bool narrowBounds(Reducer& r, int32_t j, double newLower, double newUpper) {
  if (newLower > newUpper) {
    if (newLower - newUpper > r.feasibility(std::fmin(std::fabs(newLower), std::fabs(newUpper)))) {
      r.settle(QZ_PRESOL_PRIMAL_INFEASIBLE);
      return false;
    }
    newLower = newUpper = 0.5 * (newLower + newUpper);
  }
  r.store.setBounds(j, newLower, newUpper);
  return true;
}

}  // namespace qzpresol
