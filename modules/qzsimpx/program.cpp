#include "program.h"

#include <cmath>
#include <limits>

namespace qzsimpx {

namespace {

constexpr double kNone = std::numeric_limits<double>::infinity();

double lowerSide(double bound) {
  return bound <= -kInfinity ? -kNone : bound;
}

double upperSide(double bound) {
  return bound >= kInfinity ? kNone : bound;
}

void takeRowSides(Program& p, int32_t i) {
  const double rhs = p.record.rhs[i];
  double low = -kNone;
  double high = kNone;
  switch (p.record.rowSense[i]) {
    case 'E':
      low = rhs;
      high = rhs;
      break;
    case 'G':
      low = rhs;
      break;
    case 'R':
      low = rhs - p.record.range[i];
      high = rhs;
      break;
    default:
      high = rhs;
      break;
  }
  p.lower[p.numCol + i] = lowerSide(low);
  p.upper[p.numCol + i] = upperSide(high);
}

void turnToRows(Program& p) {
  for (int32_t j = 0; j < p.numCol; ++j) p.forColumn(j, [&](int32_t i, double) { ++p.rowBegin[i + 1]; });
  for (int32_t i = 0; i < p.numRow; ++i) p.rowBegin[i + 1] += p.rowBegin[i];
  p.rowColumn.resize(p.rowBegin[p.numRow]);
  p.rowValue.resize(p.rowBegin[p.numRow]);
  for (int32_t j = p.numCol - 1; j >= 0; --j)
    p.forColumn(j, [&](int32_t i, double value) {
      const int32_t k = --p.rowBegin[i + 1];
      p.rowColumn[k] = j;
      p.rowValue[k] = value;
    });
  // Every end has moved down to its row's begin.
  for (int32_t i = 0; i < p.numRow; ++i) p.rowBegin[i] = p.rowBegin[i + 1];
  p.rowBegin[p.numRow] = p.rowColumn.size();
}

}  // namespace

Program::Program(QzPool* pool, const LpRecord& its)
    : record(its),
      numRow(its.numRow),
      numCol(its.numCol),
      numVar(its.numRow + its.numCol),
      lower(pool, numVar),
      upper(pool, numVar),
      cost(pool, numVar),
      rowBegin(pool, int64_t{its.numRow} + 1),
      rowColumn(pool),
      rowValue(pool) {
  for (int32_t j = 0; j < numCol; ++j) {
    lower[j] = lowerSide(record.lower[j]);
    upper[j] = upperSide(record.upper[j]);
    cost[j] = record.obj[j];
  }
  for (int32_t i = 0; i < numRow; ++i) takeRowSides(*this, i);
  turnToRows(*this);
}

double Program::columnTimes(int32_t j, const double* vector) const {
  double sum = 0.0;
  forColumn(j, [&](int32_t i, double value) { sum += value * vector[i]; });
  return sum;
}

}  // namespace qzsimpx
