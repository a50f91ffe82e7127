// Geometric-mean scaling (Fulkerson and Wolfe 1962), then equilibration of rows and columns: the largest
// magnitude of every column is brought to about 1. Factors are rounded to powers of two. The objective row keeps the
// factor 1: the solver balances it by its own statistics before.

#include "scaling.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "presolve_object.h"
#include "shell/pool.h"

namespace qzpresol {

namespace {

constexpr double kLargest = std::numeric_limits<double>::max();
constexpr int32_t kNumPass = 1;           // geometric passes
constexpr double kGeometricSpread = 1e3;  // quotient of the extreme magnitudes from which they are made

// Smallest and largest magnitude of a row, a column or the whole matrix.
struct Extremes {
  double smallest = kLargest;
  double largest = 0.0;

  void take(double magnitude) {
    smallest = std::min(smallest, magnitude);
    largest = std::max(largest, magnitude);
  }
};

// A matrix by columns under factors. Zeros among its elements do not count.
struct ScaledMatrix {
  int32_t numRow;
  int32_t numCol;
  const int32_t* colBegin;
  const int32_t* colLength;
  const int32_t* rowIndex;
  const double* matValue;
  double* rowScale;
  double* colScale;
  Extremes* row;  // numRow

  // Calls visit(scaled magnitude, row) for each element of column j.
  template <class Visit>
  void forColumn(int32_t j, Visit visit) const {
    for (int32_t k = colBegin[j]; k < colBegin[j] + colLength[j]; ++k) {
      const int32_t i = rowIndex[k];
      const double magnitude = std::fabs(matValue[k]) * rowScale[i] * colScale[j];
      if (magnitude > 0.0) visit(magnitude, i);
    }
  }
  void measureRows() const {
    std::fill_n(row, numRow, Extremes{});
    for (int32_t j = 0; j < numCol; ++j) forColumn(j, [&](double magnitude, int32_t i) { row[i].take(magnitude); });
  }
  [[nodiscard]] Extremes measureColumn(int32_t j) const {
    Extremes extremes;
    forColumn(j, [&](double magnitude, int32_t) { extremes.take(magnitude); });
    return extremes;
  }
};

double spreadOf(const ScaledMatrix& m) {
  m.measureRows();
  Extremes all;
  for (int32_t i = 0; i < m.numRow; ++i) {
    if (m.row[i].largest == 0.0) continue;
    all.take(m.row[i].smallest);
    all.take(m.row[i].largest);
  }
  return all.largest == 0.0 ? 1.0 : all.largest / all.smallest;
}

// Rows, then columns, are divided by divisor(extremes).
template <class Divisor>
void divideRowsAndColumns(const ScaledMatrix& m, Divisor divisor) {
  m.measureRows();
  for (int32_t i = 0; i < m.numRow; ++i)
    if (m.row[i].largest > 0.0) m.rowScale[i] /= divisor(m.row[i]);
  for (int32_t j = 0; j < m.numCol; ++j) {
    const Extremes column = m.measureColumn(j);
    if (column.largest > 0.0) m.colScale[j] /= divisor(column);
  }
}

double nearestPowerOfTwo(double factor) {
  return std::ldexp(1.0, static_cast<int>(std::lround(std::log2(factor))));
}

void computeFactors(const ScaledMatrix& m) {
  if (spreadOf(m) >= kGeometricSpread)
    for (int32_t pass = 0; pass < kNumPass; ++pass)
      divideRowsAndColumns(m, [](const Extremes& e) { return std::sqrt(e.smallest) * std::sqrt(e.largest); });
  divideRowsAndColumns(m, [](const Extremes& e) { return e.largest; });
  for (int32_t i = 0; i < m.numRow; ++i) m.rowScale[i] = nearestPowerOfTwo(m.rowScale[i]);
  for (int32_t j = 0; j < m.numCol; ++j) m.colScale[j] = nearestPowerOfTwo(m.colScale[j]);
}

bool finite(double value) {
  return std::fabs(value) < kInfinity;
}

}  // namespace

int32_t scaleModel(QzPresolveObject* object, int32_t direction, int32_t numRow, int32_t numCol, int32_t,
                   int32_t* colBegin, double, int32_t* colLength, int32_t* rowIndex, double* matValue, double* obj,
                   double* lower, double* upper, double* rowScale, double* colScale, void*, void*, double* rhs, char*,
                   double* range, double*, double*, double*, double*) {
  qz::PoolArray<Extremes> rows;
  if (rows.allocate(object->pool, numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  computeFactors({numRow, numCol, colBegin, colLength, rowIndex, matValue, rowScale, colScale, rows.get()});
  const double o = direction == 1 ? rowScale[numRow] : 1.0;
  for (int32_t j = 0; j < numCol; ++j) {
    const double c = colScale[j];
    obj[j] *= c * o;
    if (finite(lower[j])) lower[j] /= c;
    if (finite(upper[j])) upper[j] /= c;
    for (int32_t k = colBegin[j]; k < colBegin[j] + colLength[j]; ++k) matValue[k] *= rowScale[rowIndex[k]] * c;
  }
  for (int32_t i = 0; i < numRow; ++i) {
    if (finite(rhs[i])) rhs[i] *= rowScale[i];
    if (range != nullptr && finite(range[i])) range[i] *= rowScale[i];
  }
  return QZ_STATUS_OK;
}

int32_t unscaleModel(QzPresolveObject*, int32_t direction, int32_t numRow, int32_t numCol, int32_t, int32_t* colBegin,
                     double, int32_t* colLength, int32_t* rowIndex, double* matValue, double* obj, double* lower,
                     double* upper, double* rowScale, double* colScale, void*, void*, double* rhs, char*, double* range,
                     double* solPrimal, double* solDual, double* reducedCost, double* rowActivity) {
  const double o = direction == 1 ? rowScale[numRow] : 1.0;
  for (int32_t j = 0; j < numCol; ++j) {
    const double c = colScale[j];
    obj[j] /= c * o;
    if (finite(lower[j])) lower[j] *= c;
    if (finite(upper[j])) upper[j] *= c;
    if (solPrimal != nullptr) solPrimal[j] *= c;
    if (reducedCost != nullptr) reducedCost[j] /= c * o;
    for (int32_t k = colBegin[j]; k < colBegin[j] + colLength[j]; ++k) matValue[k] /= rowScale[rowIndex[k]] * c;
  }
  for (int32_t i = 0; i < numRow; ++i) {
    const double r = rowScale[i];
    if (finite(rhs[i])) rhs[i] /= r;
    if (range != nullptr && finite(range[i])) range[i] /= r;
    if (solDual != nullptr) solDual[i] *= r / o;
    if (rowActivity != nullptr) rowActivity[i] /= r;
  }
  return QZ_STATUS_OK;
}

}  // namespace qzpresol
