#include "residuals.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace qzlpApp {

namespace {

using Real = long double;

constexpr double infinite = 1e20;  // magnitudes from here on are no side and no bound
constexpr double noSide = std::numeric_limits<double>::infinity();

struct Interval {
  double lower, upper;  // infinite where there is none
};

Interval sidesOf(const ModelFile& model, size_t i) {
  const double rhs = model.rhs[i];
  Interval sides{-noSide, noSide};
  switch (model.rowSense[i]) {
    case 'E':
      sides = {rhs, rhs};
      break;
    case 'L':
      sides.upper = rhs;
      break;
    case 'G':
      sides.lower = rhs;
      break;
    case 'R':
      sides = {rhs - model.range[i], rhs};
      break;
    default:
      break;
  }
  if (sides.lower <= -infinite) sides.lower = -noSide;
  if (sides.upper >= infinite) sides.upper = noSide;
  return sides;
}

Interval boundsOf(const ModelFile& model, size_t j) {
  return {model.lower[j] <= -infinite ? -noSide : model.lower[j], model.upper[j] >= infinite ? noSide : model.upper[j]};
}

double finiteMagnitude(double side) {
  return std::isfinite(side) ? std::fabs(side) : 0.0;
}

// A measure in the making.
class Violations {
 public:
  void add(Real violation, const std::string& where) {
    squares_ += violation * violation;
    if (!(violation > largest_)) return;
    largest_ = violation;
    where_ = &where;
  }
  void addDatum(double value) { data_ += static_cast<Real>(value) * value; }
  Residual byNorm() const { return residual(std::sqrt(squares_) / (1.0L + std::sqrt(data_))); }
  Residual over(Real scale) const { return residual(largest_ / scale); }

 private:
  Residual residual(Real relative) const {
    return {static_cast<double>(largest_), static_cast<double>(relative), where_ == nullptr ? "" : *where_};
  }

  Real squares_ = 0.0L, data_ = 0.0L, largest_ = 0.0L;
  const std::string* where_ = nullptr;
};

struct Measures {
  Violations rows, bounds, dual, complementarity;
  Real primalObjective = 0.0L, dualObjective = 0.0L;  // of the minimisation, without the constant
};

Real outside(Real value, const Interval& interval) {
  if (value < interval.lower) return interval.lower - value;
  if (value > interval.upper) return value - interval.upper;
  return 0.0L;
}

// A multiplier above 0 holds its row or column at the lower end of the interval, one below 0 at the upper end.
void addMultiplier(Measures& m, Real multiplier, Real value, const Interval& interval, const std::string& where) {
  if (multiplier == 0.0L) return;
  const double side = multiplier > 0.0L ? interval.lower : interval.upper;
  if (!std::isfinite(side)) {
    m.dual.add(std::fabs(multiplier), where);
    return;
  }
  m.dualObjective += multiplier * side;
  m.complementarity.add(std::fabs(multiplier * (value - side)), where);
}

std::vector<Real> activities(const ModelFile& model, const double* primal) {
  std::vector<Real> activity(model.rowSense.size(), 0.0L);
  for (size_t j = 0; j < model.obj.size(); ++j)
    for (auto k = static_cast<size_t>(model.colBegin[j]); k < static_cast<size_t>(model.colBegin[j + 1]); ++k)
      activity[static_cast<size_t>(model.rowIndex[k])] += static_cast<Real>(model.matValue[k]) * primal[j];
  return activity;
}

// Q x, from the lower triangle.
std::vector<Real> curvature(const ModelFile& model, const double* primal) {
  std::vector<Real> product(model.obj.size(), 0.0L);
  for (size_t j = 0; j < model.obj.size(); ++j) {
    for (auto k = static_cast<size_t>(model.quadBegin[j]); k < static_cast<size_t>(model.quadBegin[j + 1]); ++k) {
      const auto i = static_cast<size_t>(model.quadIndex[k]);
      const Real value = model.quadValue[k];
      product[i] += value * primal[j];
      if (i != j) product[j] += value * primal[i];
    }
  }
  return product;
}

void measureRows(const ModelFile& model, const double* primal, const double* dual, Measures& m) {
  const std::vector<Real> activity = activities(model, primal);
  for (size_t i = 0; i < activity.size(); ++i) {
    const Interval sides = sidesOf(model, i);
    const std::string& name = model.rowNames[i];
    m.rows.add(outside(activity[i], sides), name);
    m.rows.addDatum(std::max(finiteMagnitude(sides.lower), finiteMagnitude(sides.upper)));
    addMultiplier(m, static_cast<Real>(dual[i]) * model.objSense, activity[i], sides, name);
  }
}

void measureColumns(const ModelFile& model, const double* primal, const double* dual, Measures& m) {
  const std::vector<Real> slope = curvature(model, primal);
  for (size_t j = 0; j < model.obj.size(); ++j) {
    Real reduced = model.obj[j] + slope[j];
    for (auto k = static_cast<size_t>(model.colBegin[j]); k < static_cast<size_t>(model.colBegin[j + 1]); ++k)
      reduced -= static_cast<Real>(model.matValue[k]) * dual[static_cast<size_t>(model.rowIndex[k])];
    const Interval bounds = boundsOf(model, j);
    const std::string& name = model.colNames[j];
    const Real half = 0.5L * primal[j] * slope[j] * model.objSense;
    m.primalObjective += static_cast<Real>(model.obj[j]) * primal[j] * model.objSense + half;
    m.dualObjective -= half;
    m.dual.addDatum(model.obj[j]);
    m.bounds.add(outside(primal[j], bounds), name);
    m.bounds.addDatum(finiteMagnitude(bounds.lower));
    m.bounds.addDatum(finiteMagnitude(bounds.upper));
    addMultiplier(m, reduced * model.objSense, primal[j], bounds, name);
  }
}

}  // namespace

std::array<Residuals::Named, 5> Residuals::all() const {
  return {{{"Rows", "rows", &rows},
           {"Bounds", "bounds", &bounds},
           {"Duals", "duals", &dual},
           {"Duality gap", "gap", &gap},
           {"Complementarity", "complementarity", &complementarity}}};
}

Residuals residualsOf(const ModelFile& model, const double* primal, const double* dual) {
  Measures m;
  measureRows(model, primal, dual, m);
  measureColumns(model, primal, dual, m);
  const Real distance = std::fabs(m.primalObjective - m.dualObjective);
  const Real scale = 1.0L + std::fabs(m.primalObjective);
  Residuals result;
  result.rows = m.rows.byNorm();
  result.bounds = m.bounds.byNorm();
  result.dual = m.dual.byNorm();
  result.gap = {static_cast<double>(distance), static_cast<double>(distance / scale), {}};
  result.complementarity = m.complementarity.over(scale);
  result.dualObjective = static_cast<double>(m.dualObjective * model.objSense + model.objConstant);
  return result;
}

}  // namespace qzlpApp
