#include "settled_columns.h"

#include "elementary_steps.h"

namespace qzpresol {

int32_t fixIdle(Reducer& r, int32_t j) {
  const double low = r.store.lower[j];
  const double high = r.store.upper[j];
  if (infinite(low) && infinite(high)) return fixColumn(r, j, 0.0, QZ_BASIS_FREE);
  if (infinite(low)) return fixAtUpper(r, j);
  return infinite(high) || std::fabs(low) <= std::fabs(high) ? fixAtLower(r, j) : fixAtUpper(r, j);
}

int32_t examineFixedColumn(Reducer& r, int32_t j) {
  if (!r.store.isFixed(j)) return QZ_STATUS_OK;
  r.applied(ReductionKind::kFixedColumn);
  return fixAtLower(r, j);
}

// Where the bound that the cost points to is missing no dual point exists: the reduced cost is the cost, whose sign
// only that bound could carry.
int32_t examineEmptyColumn(Reducer& r, int32_t j) {
  const Store& s = r.store;
  if (s.columnCount[j] > 0) return QZ_STATUS_OK;
  const double cost = s.cost[j];
  if ((cost > 0.0 && infinite(s.lower[j])) || (cost < 0.0 && infinite(s.upper[j]))) {
    r.settle(QZ_PRESOL_DUAL_INFEASIBLE, {{j, cost > 0.0 ? -1.0 : 1.0}});
    return QZ_STATUS_OK;
  }
  r.applied(ReductionKind::kEmptyColumn);
  if (cost == 0.0) return fixIdle(r, j);
  return cost > 0.0 ? fixAtLower(r, j) : fixAtUpper(r, j);
}

}  // namespace qzpresol
