// The linear program in the form that the simplex steps work on: an equation for each row,
//
//   minimise  cost'x   subject to   A x - r = 0,   lower <= (x, r) <= upper
//
// Variable j < numCol is column j of the record, variable numCol + i the activity r of row i, with the column -e_i and
// no cost. So the reduced cost of an activity is the dual of its row.
#pragma once

#include <cstdint>

#include "pool_vector.h"
#include "qzipsolve/record.h"

namespace qzsimpx {

inline constexpr double kInfinity = 1e20;  // magnitude from which a bound is infinite

struct Program {
  Program(QzPool* pool, const LpRecord& its);

  const LpRecord& record;  // its matrix by columns
  int32_t numRow;
  int32_t numCol;
  int32_t numVar;            // numCol + numRow
  Array<double> lower;       // numVar; infinite ones as +-infinity
  Array<double> upper;       // numVar
  Array<double> cost;        // numVar
  Array<int32_t> rowBegin;   // numRow + 1: the matrix by rows
  Array<int32_t> rowColumn;  // numCoef
  Array<double> rowValue;    // numCoef

  // Calls visit(row, value) for each element of variable j's column.
  template <class Visit>
  void forColumn(int32_t j, Visit visit) const {
    if (j >= numCol) {
      visit(j - numCol, -1.0);
      return;
    }
    for (int32_t k = record.colBegin[j], end = k + record.colLength[j]; k < end; ++k)
      visit(record.rowIndex[k], record.matValue[k]);
  }
  // Calls visit(variable, value) for each element of equation i.
  template <class Visit>
  void forRow(int32_t i, Visit visit) const {
    for (int32_t k = rowBegin[i]; k < rowBegin[i + 1]; ++k) visit(rowColumn[k], rowValue[k]);
    visit(numCol + i, -1.0);
  }
  [[nodiscard]] bool hasLower(int32_t j) const { return lower[j] > -kInfinity; }
  [[nodiscard]] bool hasUpper(int32_t j) const { return upper[j] < kInfinity; }
  [[nodiscard]] bool isFixed(int32_t j) const { return lower[j] == upper[j]; }
  // The dot product of variable j's column with a vector over the rows.
  [[nodiscard]] double columnTimes(int32_t j, const double* vector) const;
};

}  // namespace qzsimpx
