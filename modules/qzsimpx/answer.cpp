#include "answer.h"

#include <algorithm>
#include <cmath>

namespace qzsimpx {

namespace {

uint8_t basisCode(Place place) {
  switch (place) {
    case Place::basic:
      return QZ_BASIS_BASIC;
    case Place::lower:
      return QZ_BASIS_LOWER;
    case Place::upper:
      return QZ_BASIS_UPPER;
    default:
      return QZ_BASIS_FREE;
  }
}

double square(double value) {
  return value * value;
}

// Sums of squares of violations and of what they are measured by.
struct Violations {
  double primal = 0.0;
  double bound = 0.0;
  double dual = 0.0;
  double side = 0.0;
  double limit = 0.0;
  double cost = 0.0;
};

double beyond(const Program& p, int32_t j, double value) {
  return std::max({p.lower[j] - value, value - p.upper[j], 0.0});
}

// The part of a reduced cost that no bound at hand can carry.
double unpriced(const Program& p, int32_t j, double value, double reducedCost) {
  if (p.isFixed(j)) return 0.0;
  const bool atLower = p.hasLower(j) && (!p.hasUpper(j) || value - p.lower[j] <= p.upper[j] - value);
  if (atLower) return std::max(-reducedCost, 0.0);
  return p.hasUpper(j) ? std::max(reducedCost, 0.0) : std::fabs(reducedCost);
}

double finiteSquare(const Program& p, int32_t j) {
  return (p.hasLower(j) ? square(p.lower[j]) : 0.0) + (p.hasUpper(j) && !p.isFixed(j) ? square(p.upper[j]) : 0.0);
}

Violations measure(const Program& p, const LpRecord& record) {
  Violations v;
  for (int32_t j = 0; j < p.numCol; ++j) {
    v.bound += square(beyond(p, j, record.solPrimal[j]));
    v.limit += finiteSquare(p, j);
    v.dual += square(unpriced(p, j, record.solPrimal[j], record.reducedCost[j]));
    v.cost += square(p.cost[j]);
  }
  for (int32_t i = 0; i < p.numRow; ++i) {
    v.primal += square(beyond(p, p.numCol + i, record.rowActivity[i]));
    v.side += finiteSquare(p, p.numCol + i);
    v.dual += square(unpriced(p, p.numCol + i, record.rowActivity[i], record.solDual[i]));
  }
  return v;
}

}  // namespace

void writePoint(const Program& p, const Point& point, LpRecord& record) {
  std::fill_n(record.rowActivity, p.numRow, 0.0);
  for (int32_t j = 0; j < p.numCol; ++j) {
    record.solPrimal[j] = point.x[j];
    record.reducedCost[j] = p.cost[j] - p.columnTimes(j, point.y.data());
    p.forColumn(j, [&](int32_t i, double value) { record.rowActivity[i] += value * point.x[j]; });
  }
  std::copy_n(point.y.data(), p.numRow, record.solDual);
  if (record.colBasis != nullptr)
    for (int32_t j = 0; j < p.numCol; ++j) record.colBasis[j] = basisCode(point.place[j]);
  if (record.rowBasis != nullptr)
    for (int32_t i = 0; i < p.numRow; ++i) record.rowBasis[i] = basisCode(point.place[p.numCol + i]);
}

void writeMeasures(const Program& p, double constant, LpRecord& record) {
  const Violations v = measure(p, record);
  double objective = constant;
  for (int32_t j = 0; j < p.numCol; ++j) objective += p.cost[j] * record.solPrimal[j];
  record.objValue = record.objSense * objective;
  record.primalInfeas = std::sqrt(v.primal) / (1.0 + std::sqrt(v.side));
  record.boundInfeas = std::sqrt(v.bound) / (1.0 + std::sqrt(v.limit));
  record.dualInfeas = std::sqrt(v.dual) / (1.0 + std::sqrt(v.cost));
}

bool isWithin(const LpRecord& record, double tolPrimal, double tolDual) {
  constexpr double kExcess = 10.0;
  return record.primalInfeas <= kExcess * tolPrimal && record.boundInfeas <= kExcess * tolPrimal &&
         record.dualInfeas <= kExcess * tolDual;  // false for what is no number
}

void clearBasis(const Program& p, LpRecord& record) {
  if (record.colBasis != nullptr) std::fill_n(record.colBasis, p.numCol, uint8_t{QZ_BASIS_NONE});
  if (record.rowBasis != nullptr) std::fill_n(record.rowBasis, p.numRow, uint8_t{QZ_BASIS_NONE});
}

}  // namespace qzsimpx
