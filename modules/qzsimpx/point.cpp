#include "point.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qzsimpx {

namespace {

double clipped(const Program& p, int32_t j, double value) {
  return std::min(std::max(value, p.lower[j]), p.upper[j]);
}

}  // namespace

Point::Point(QzPool* itsPool, const Program& p)
    : pool(itsPool),
      x(pool, p.numVar),
      y(pool, p.numRow),
      d(pool, p.numVar),
      isInterior(pool, p.numVar),
      place(pool, p.numVar, Place::between),
      head(pool),
      position(pool, p.numVar) {}

double slackOf(const Program& p, const Point& point, int32_t j) {
  return std::min(point.x[j] - p.lower[j], p.upper[j] - point.x[j]);
}

Place nearerBound(const Program& p, const Point& point, int32_t j) {
  if (!p.hasUpper(j)) return p.hasLower(j) ? Place::lower : Place::between;
  if (!p.hasLower(j)) return Place::upper;
  return point.x[j] - p.lower[j] <= p.upper[j] - point.x[j] ? Place::lower : Place::upper;
}

void readInterior(const Program& p, Point& point) {
  const LpRecord& record = p.record;
  for (int32_t i = 0; i < p.numRow; ++i) {
    point.y[i] = record.solDual[i];
    point.x[p.numCol + i] = 0.0;
  }
  for (int32_t j = 0; j < p.numCol; ++j) {
    point.x[j] = clipped(p, j, record.solPrimal[j]);
    p.forColumn(j, [&](int32_t i, double value) { point.x[p.numCol + i] += value * point.x[j]; });
  }
  for (int32_t j = p.numCol; j < p.numVar; ++j) point.x[j] = clipped(p, j, point.x[j]);
  for (int32_t j = 0; j < p.numVar; ++j) {
    point.d[j] = p.cost[j] - p.columnTimes(j, point.y.data());
    point.isInterior[j] = slackOf(p, point, j) > std::fabs(point.d[j]) ? 1 : 0;
    point.place[j] = Place::between;
    if (point.isInterior[j] != 0)
      point.d[j] = 0.0;
    else
      moveToBound(p, point, j, nearerBound(p, point, j));
  }
}

void moveToBound(const Program& p, Point& point, int32_t j, Place bound) {
  point.place[j] = bound;
  point.x[j] = bound == Place::lower ? p.lower[j] : p.upper[j];
}

void computeBasics(const Program& p, Point& point, BasisFactor& factor) {
  Array<double> work(point.pool, p.numRow);
  for (int32_t j = 0; j < p.numVar; ++j) {
    if (point.isBasic(j) || point.x[j] == 0.0) continue;
    p.forColumn(j, [&](int32_t i, double value) { work[i] -= value * point.x[j]; });
  }
  factor.solveDense(work.data());
  for (int32_t q = 0; q < p.numRow; ++q) point.x[point.head[q]] = work[q];
}

void factorBasis(const Program& p, Point& point, BasisFactor& factor) {
  Array<char> rowIsCovered(point.pool);
  Array<int32_t> before = point.head;
  while (factor.factor(point.head, rowIsCovered) < p.numRow) {
    for (int32_t q = 0; q < p.numRow; ++q)
      if (point.head[q] < 0) point.place[before[q]] = Place::between;
    int32_t row = 0;
    for (int32_t q = 0; q < p.numRow; ++q) {
      if (point.head[q] >= 0) continue;
      while (rowIsCovered[row] != 0) ++row;
      point.head[q] = p.numCol + row++;
      point.place[point.head[q]] = Place::basic;
    }
    before = point.head;
  }
  for (int32_t q = 0; q < p.numRow; ++q) point.position[point.head[q]] = q;
  computeBasics(p, point, factor);
}

void changeBasis(const Program& p, Point& point, BasisFactor& factor, int32_t q, int32_t j, double pivot) {
  point.head[q] = j;
  point.position[j] = q;
  point.place[j] = Place::basic;
  if (!factor.replace(q, pivot) || factor.wantsFactor()) factorBasis(p, point, factor);
}

}  // namespace qzsimpx
