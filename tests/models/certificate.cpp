#include "models/certificate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace models {

namespace {

using Real = long double;

// A x and the sums of the magnitudes of its terms.
struct RowSums {
  std::vector<Real> sum, magnitude;
};

RowSums rowSums(const LinearProgram& program, const std::vector<double>& x) {
  RowSums rows;
  rows.sum.assign(program.rowLower.size(), 0.0L);
  rows.magnitude.assign(program.rowLower.size(), 0.0L);
  for (size_t j = 0; j < program.cost.size(); ++j) {
    for (int k = program.colBegin[j]; k < program.colBegin[j + 1]; ++k) {
      const auto row = static_cast<size_t>(program.rowIndex[static_cast<size_t>(k)]);
      const Real term = static_cast<Real>(program.value[static_cast<size_t>(k)]) * x[j];
      rows.sum[row] += term;
      rows.magnitude[row] += std::fabs(term);
    }
  }
  return rows;
}

// Q x, for a program without curvature zeros, and the sum of the magnitudes of its terms.
struct CurvatureSums {
  std::vector<Real> sum, magnitude;
};

CurvatureSums curvatureTimes(const LinearProgram& program, const std::vector<double>& x) {
  const std::vector<Real> zeros(program.cost.size(), 0.0L);
  CurvatureSums out{zeros, zeros};
  const auto add = [&](size_t i, Real term) {
    out.sum[i] += term;
    out.magnitude[i] += std::fabs(term);
  };
  for (const Curvature& entry : program.curvature) {
    const auto i = static_cast<size_t>(entry.row), j = static_cast<size_t>(entry.col);
    add(i, static_cast<Real>(entry.value) * x[j]);
    if (i != j) add(j, static_cast<Real>(entry.value) * x[i]);
  }
  return out;
}

// start - A'y for one column, and the sum of the magnitudes of its terms.
struct ColumnSum {
  Real sum, magnitude;
};

ColumnSum columnSum(const LinearProgram& program, size_t j, Real start, const std::vector<double>& y, Real factor) {
  ColumnSum column{start, std::fabs(start)};
  for (int k = program.colBegin[j]; k < program.colBegin[j + 1]; ++k) {
    const auto row = static_cast<size_t>(program.rowIndex[static_cast<size_t>(k)]);
    const Real term = static_cast<Real>(program.value[static_cast<size_t>(k)]) * y[row] * factor;
    column.sum -= term;
    column.magnitude += std::fabs(term);
  }
  return column;
}

// How far a value lies outside of its two sides, never negative.
Real outside(Real value, double low, double high) {
  if (low > -infinite && value < low) return static_cast<Real>(low) - value;
  if (high < infinite && value > high) return value - high;
  return 0.0L;
}

// How far a multiplier has a sign that its absent sides forbid.
Real wrongSign(Real multiplier, double low, double high) {
  const bool forbidden = multiplier > 0.0L ? low == -infinite : high == infinite;
  return forbidden ? std::fabs(multiplier) : 0.0L;
}

struct Sums {
  Real rowViolation = 0.0L, rowNorm = 0.0L;
  Real boundViolation = 0.0L, boundNorm = 0.0L;
  Real dualViolation = 0.0L, costNorm = 0.0L;
  Real primal = 0.0L, dual = 0.0L;
  Real magnitude = 0.0L;  // of the terms of the primal objective
  Real complementarity = 0.0L;
};

Real squareIfFinite(double side) {
  return std::isfinite(side) ? static_cast<Real>(side) * side : 0.0L;
}

// Adds the part of one multiplier at the sides of its row or column.
void addMultiplier(Sums& sums, Real multiplier, Real value, double low, double high) {
  const Real wrong = wrongSign(multiplier, low, high);
  sums.dualViolation += wrong * wrong;
  if (wrong > 0.0L || multiplier == 0.0L) return;
  const Real side = multiplier > 0.0L ? low : high;
  sums.dual += multiplier * side;
  sums.complementarity = std::max(sums.complementarity, std::fabs(multiplier * (value - side)));
}

void judgeRows(const LinearProgram& program, const Answer& answer, Sums& sums, Certificate& certificate) {
  const RowSums rows = rowSums(program, answer.primal);
  for (size_t i = 0; i < program.rowLower.size(); ++i) {
    const double low = program.rowLower[i];
    const double high = program.rowUpper[i];
    const Real violation = outside(rows.sum[i], low, high);
    const double side = !std::isfinite(low) ? high : rows.sum[i] < low || !std::isfinite(high) ? low : high;
    const Real scale = 1.0L + rows.magnitude[i] + (std::isfinite(side) ? std::fabs(static_cast<Real>(side)) : 0.0L);
    certificate.worstRow = std::max(certificate.worstRow, static_cast<double>(violation / scale));
    certificate.activityError =
        std::max(certificate.activityError,
                 static_cast<double>(std::fabs(rows.sum[i] - answer.activity[i]) / (1.0L + rows.magnitude[i])));
    sums.rowViolation += violation * violation;
    sums.rowNorm += std::max(squareIfFinite(low), squareIfFinite(high));
    addMultiplier(sums, static_cast<Real>(answer.dual[i]) * program.sense, rows.sum[i], low, high);
  }
}

void judgeColumns(const LinearProgram& program, const Answer& answer, Sums& sums, Certificate& certificate) {
  const CurvatureSums slope = curvatureTimes(program, answer.primal);
  for (size_t j = 0; j < program.cost.size(); ++j) {
    ColumnSum reduced = columnSum(program, j, program.cost[j] + slope.sum[j], answer.dual, 1.0L);
    reduced.magnitude += std::fabs(static_cast<Real>(program.cost[j])) + slope.magnitude[j];
    certificate.reducedCostError =
        std::max(certificate.reducedCostError,
                 static_cast<double>(std::fabs(reduced.sum - answer.reducedCost[j]) / (1.0L + reduced.magnitude)));
    const Real x = answer.primal[j];
    const Real violation = outside(x, program.lower[j], program.upper[j]);
    sums.boundViolation += violation * violation;
    sums.boundNorm += squareIfFinite(program.lower[j]) + squareIfFinite(program.upper[j]);
    sums.costNorm += static_cast<Real>(program.cost[j]) * program.cost[j];
    const Real half = 0.5L * x * slope.sum[j] * program.sense;
    sums.primal += static_cast<Real>(program.cost[j]) * x * program.sense + half;
    sums.dual -= half;
    sums.magnitude += std::fabs(x) * (std::fabs(static_cast<Real>(program.cost[j])) + slope.magnitude[j]);
    addMultiplier(sums, reduced.sum * program.sense, x, program.lower[j], program.upper[j]);
  }
}

bool allFinite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

}  // namespace

bool Certificate::holds(double tolerance) const {
  constexpr double ownTolerance = 1e-9;  // the claim against itself is only rounding
  const auto within = [](double measure, double limit) { return measure <= limit; };  // false for NaN
  return within(activityError, ownTolerance) && within(reducedCostError, ownTolerance) &&
         within(objectiveError, ownTolerance) && within(rowViolation, tolerance) && within(boundViolation, tolerance) &&
         within(dualViolation, tolerance) && within(gap, tolerance) && within(worstRow, 1e3 * tolerance);
}

std::string Certificate::text() const {
  char line[400];
  std::snprintf(line, sizeof(line),
                "rows %.1e (worst %.1e) bounds %.1e dual %.1e gap %.1e complementarity %.1e; against itself: activity "
                "%.1e reduced cost %.1e objective %.1e; primal %.12g dual %.12g",
                rowViolation, worstRow, boundViolation, dualViolation, gap, complementarity, activityError,
                reducedCostError, objectiveError, primalObjective, dualObjective);
  return line;
}

Certificate certify(const LinearProgram& program, const Answer& answer) {
  Certificate certificate;
  const auto numRow = program.rowLower.size();
  const auto numCol = program.cost.size();
  const bool complete = answer.primal.size() == numCol && answer.reducedCost.size() == numCol &&
                        answer.activity.size() == numRow && answer.dual.size() == numRow;
  if (!complete || !allFinite(answer.primal) || !allFinite(answer.dual) || !allFinite(answer.reducedCost) ||
      !allFinite(answer.activity) || !std::isfinite(answer.objective)) {
    certificate.gap = infinite;
    return certificate;
  }
  Sums sums;
  judgeRows(program, answer, sums, certificate);
  judgeColumns(program, answer, sums, certificate);
  const auto ratio = [](Real violation2, Real norm2) {
    return static_cast<double>(std::sqrt(violation2) / (1.0L + std::sqrt(norm2)));
  };
  certificate.rowViolation = ratio(sums.rowViolation, sums.rowNorm);
  certificate.boundViolation = ratio(sums.boundViolation, sums.boundNorm);
  certificate.dualViolation = ratio(sums.dualViolation, sums.costNorm);
  const Real scale = 1.0L + std::fabs(sums.primal);
  certificate.gap = static_cast<double>(std::fabs(sums.primal - sums.dual) / scale);
  certificate.complementarity = static_cast<double>(sums.complementarity / scale);
  certificate.primalObjective = static_cast<double>(sums.primal * program.sense);
  certificate.dualObjective = static_cast<double>(sums.dual * program.sense);
  const Real claimed = static_cast<Real>(answer.objective) - program.constant;
  certificate.objectiveError =
      static_cast<double>(std::fabs(sums.primal * program.sense - claimed) / (1.0L + sums.magnitude));
  return certificate;
}

bool provesInfeasible(const LinearProgram& program, const std::vector<double>& y, double margin) {
  Real least = 0.0L;  // of y'(A x) where the rows hold
  Real magnitude = 0.0L;
  for (size_t i = 0; i < program.rowLower.size(); ++i) {
    if (y[i] == 0.0) continue;
    const double side = y[i] > 0.0 ? program.rowLower[i] : program.rowUpper[i];
    if (!std::isfinite(side)) return false;
    least += static_cast<Real>(y[i]) * side;
    magnitude += std::fabs(static_cast<Real>(y[i]) * side);
  }
  Real most = 0.0L;  // of (A'y)'x where the bounds hold
  for (size_t j = 0; j < program.cost.size(); ++j) {
    const ColumnSum column = columnSum(program, j, 0.0L, y, -1.0L);
    if (std::fabs(column.sum) <= 1e-15L * column.magnitude) continue;  // rounding of an exact zero
    const double side = column.sum > 0.0L ? program.upper[j] : program.lower[j];
    if (!std::isfinite(side)) return false;
    most += column.sum * side;
    magnitude += std::fabs(column.sum * side);
  }
  return least - most > static_cast<Real>(margin) * magnitude;
}

bool provesUnbounded(const LinearProgram& program, const std::vector<double>& r, double tolerance) {
  const RowSums rows = rowSums(program, r);
  for (size_t i = 0; i < program.rowLower.size(); ++i) {
    const Real slack = static_cast<Real>(tolerance) * rows.magnitude[i];
    if (std::isfinite(program.rowLower[i]) && rows.sum[i] < -slack) return false;
    if (std::isfinite(program.rowUpper[i]) && rows.sum[i] > slack) return false;
  }
  for (const Real curved : curvatureTimes(program, r).sum)
    if (std::fabs(curved) > static_cast<Real>(tolerance)) return false;
  Real change = 0.0L;
  Real magnitude = 0.0L;
  for (size_t j = 0; j < program.cost.size(); ++j) {
    if (std::isfinite(program.lower[j]) && r[j] < 0.0) return false;
    if (std::isfinite(program.upper[j]) && r[j] > 0.0) return false;
    change += static_cast<Real>(program.cost[j]) * r[j] * program.sense;
    magnitude += std::fabs(static_cast<Real>(program.cost[j]) * r[j]);
  }
  return change < -static_cast<Real>(1e-9) * magnitude && magnitude > 0.0L;
}

bool isFeasible(const LinearProgram& program, const std::vector<double>& x, double tolerance) {
  const RowSums rows = rowSums(program, x);
  for (size_t i = 0; i < program.rowLower.size(); ++i) {
    const Real slack = static_cast<Real>(tolerance) * (1.0L + rows.magnitude[i]);
    if (outside(rows.sum[i], program.rowLower[i], program.rowUpper[i]) > slack) return false;
  }
  for (size_t j = 0; j < program.cost.size(); ++j)
    if (outside(x[j], program.lower[j], program.upper[j]) > static_cast<Real>(tolerance) * (1.0L + std::fabs(x[j])))
      return false;
  return true;
}

}  // namespace models
