// A caller's record on arrays of exact size.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "qzipsolve/record.h"

namespace qztest {

struct LpColumn {
  double cost, lower, upper;
  std::vector<std::pair<int32_t, double>> elements;
};

struct LpData {
  std::vector<int32_t> colBegin, colLength, rowIndex;
  std::vector<double> matValue, obj, rhs, range, lower, upper, solPrimal, solDual, reducedCost, rowActivity;
  std::vector<char> rowSense;
  LpRecord record{};

  LpData(int32_t objSense, const std::string& senses, std::vector<double> right, std::vector<double> widths,
         const std::vector<LpColumn>& columns)
      : rhs(std::move(right)), range(std::move(widths)), rowSense(senses.begin(), senses.end()) {
    for (const LpColumn& column : columns) {
      colBegin.push_back(static_cast<int32_t>(rowIndex.size()));
      colLength.push_back(static_cast<int32_t>(column.elements.size()));
      for (auto [row, value] : column.elements) {
        rowIndex.push_back(row);
        matValue.push_back(value);
      }
      obj.push_back(column.cost);
      lower.push_back(column.lower);
      upper.push_back(column.upper);
    }
    const size_t numCol = columns.size(), numRow = senses.size();
    solPrimal.resize(numCol);
    reducedCost.resize(numCol);
    solDual.resize(numRow);
    rowActivity.resize(numRow);
    record.objSense = objSense;
    record.numRow = static_cast<int32_t>(numRow);
    record.numCol = static_cast<int32_t>(numCol);
    record.numCoef = static_cast<int32_t>(rowIndex.size());
    point();
  }
  LpData(const LpData& other) { *this = other; }
  LpData& operator=(const LpData& other) {
    colBegin = other.colBegin;
    colLength = other.colLength;
    rowIndex = other.rowIndex;
    matValue = other.matValue;
    obj = other.obj;
    rhs = other.rhs;
    range = other.range;
    lower = other.lower;
    upper = other.upper;
    solPrimal = other.solPrimal;
    solDual = other.solDual;
    reducedCost = other.reducedCost;
    rowActivity = other.rowActivity;
    rowSense = other.rowSense;
    record = other.record;
    point();
    return *this;
  }
  void point() {
    record.matValue = matValue.data();
    record.rowIndex = rowIndex.data();
    record.colBegin = colBegin.data();
    record.colLength = colLength.data();
    record.obj = obj.data();
    record.rhs = rhs.data();
    record.range = range.empty() ? nullptr : range.data();
    record.lower = lower.data();
    record.upper = upper.data();
    record.rowSense = rowSense.data();
    record.solPrimal = solPrimal.data();
    record.solDual = solDual.data();
    record.reducedCost = reducedCost.data();
    record.rowActivity = rowActivity.data();
  }
};

}  // namespace qztest
