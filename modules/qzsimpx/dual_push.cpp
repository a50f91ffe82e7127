#include "dual_push.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qzsimpx {

namespace {

constexpr double kSmallestPivot = 1e-7;
constexpr double kSlip = 1e-9;  // reduced costs may pass 0 by this for the sake of a larger pivot
constexpr double kNegligible = 1e-11;
constexpr double kNone = std::numeric_limits<double>::infinity();

// One row of the tableau, over the variables outside of the basis.
struct TableauRow {
  explicit TableauRow(QzPool* pool, const Program& p) : value(pool, p.numVar), index(pool) {}

  void compute(const Program& p, const Point& point, CoinIndexedVector& unit) {
    for (int32_t j : index) value[j] = 0.0;
    index.clear();
    const int* row = unit.getIndices();
    const double* rho = unit.denseVector();
    for (int k = 0; k < unit.getNumElements(); ++k)
      p.forRow(row[k], [&](int32_t j, double element) {
        if (point.isBasic(j)) return;
        if (value[j] == 0.0) index.push_back(j);
        value[j] += element * rho[row[k]];
        if (value[j] == 0.0) value[j] = std::numeric_limits<double>::min();  // it stands in the index
      });
  }

  Array<double> value;  // numVar, 0 outside of the index
  Array<int32_t> index;
};

// How far the reduced cost of nonbasic variable j may move by a rate of this sign.
double roomOf(const Program& p, const Point& point, int32_t j, double rate) {
  if (p.isFixed(j)) return kNone;
  const double d = point.d[j];
  if (point.place[j] == Place::lower) return rate < 0.0 ? std::max(d, 0.0) : kNone;
  if (point.place[j] == Place::upper) return rate > 0.0 ? std::max(-d, 0.0) : kNone;
  return 0.0;
}

// The nonbasic variable that ends a push of `step`, -1 when none does; by the ratio test of Harris.
int32_t findBlock(const Program& p, const Point& point, const TableauRow& row, double step) {
  const double sign = step < 0.0 ? -1.0 : 1.0;
  double longest = std::fabs(step);
  bool blocked = false;
  for (int32_t j : row.index) {
    const double rate = -sign * row.value[j];
    if (std::fabs(rate) <= kSmallestPivot) continue;
    const double ratio = (roomOf(p, point, j, rate) + kSlip) / std::fabs(rate);
    if (ratio >= longest) continue;
    longest = ratio;
    blocked = true;
  }
  if (!blocked) return -1;
  int32_t best = -1;
  for (int32_t j : row.index) {
    const double rate = -sign * row.value[j];
    if (std::fabs(rate) <= kSmallestPivot || roomOf(p, point, j, rate) / std::fabs(rate) > longest) continue;
    if (best < 0 || std::fabs(row.value[j]) > std::fabs(row.value[best])) best = j;
  }
  return best;
}

void push(const Program& p, Point& point, BasisFactor& factor, Limits& limits, TableauRow& row, int32_t q) {
  const int32_t leaving = point.head[q];
  row.compute(p, point, factor.solveUnit(q));
  double step = point.d[leaving];
  const int32_t entering = findBlock(p, point, row, step);
  if (entering >= 0) step = point.d[entering] / row.value[entering];
  for (int32_t j : row.index) point.d[j] -= step * row.value[j];
  point.d[leaving] -= step;
  if (entering < 0) return;
  point.d[entering] = 0.0;
  const CoinIndexedVector& column = factor.solveColumn(entering);
  moveToBound(p, point, leaving, nearerBound(p, point, leaving));
  limits.countChange();
  changeBasis(p, point, factor, q, entering, column.denseVector()[q]);
}

// Off its bounds a basic variable's reduced cost is no price but an error, and is taken for 0.
bool standsAtBound(const Program& p, const Point& point, int32_t j) {
  return point.isInterior[j] == 0 && (p.hasLower(j) || p.hasUpper(j));
}

}  // namespace

int32_t pushDual(const Program& p, Point& point, BasisFactor& factor, Limits& limits) {
  TableauRow row(point.pool, p);
  Array<int32_t> waiting = point.head;
  for (int32_t j : waiting) {
    if (!point.isBasic(j) || std::fabs(point.d[j]) <= kNegligible) continue;
    if (!standsAtBound(p, point, j)) {
      point.d[j] = 0.0;
      continue;
    }
    if (limits.check() != QZ_STATUS_OK) return limits.status();
    push(p, point, factor, limits, row, point.position[j]);
  }
  return QZ_STATUS_OK;
}

}  // namespace qzsimpx
