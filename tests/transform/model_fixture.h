// A model on arrays with just the room that the standard form asks for, and a solution beside it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "shell/records.h"
#include "support/test_host.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qztest {

inline constexpr double kInf = 1e30;

// One column as it is written down: bounds, cost, elements.
struct ColumnSpec {
  double cost, lower, upper;
  std::vector<std::pair<int32_t, double>> elements;
};

// Every array is a vector of exact size, so that the address sanitizer sees the first access too far.
struct ModelArrays {
  std::vector<int32_t> colBegin, colLength, rowIndex;
  std::vector<double> matValue, obj, rhs, range, lower, upper, solPrimal, solDual, reducedCost, rowActivity;
  std::vector<char> rowSense;
  std::vector<int32_t> quadColBegin, quadColLength, quadRowIndex;
  std::vector<double> quadDiag, quadMatValue;

  bool operator==(const ModelArrays&) const = default;
};

struct TestModel {
  ModelArrays a;
  qz::Model model{};

  TestModel(const std::string& senses, const std::vector<double>& rhs, const std::vector<double>& range,
            const std::vector<ColumnSpec>& columns) {
    a.rowSense.assign(senses.begin(), senses.end());
    a.rhs = rhs;
    a.range = range;
    int32_t numFree = 0, numFreeElement = 0;
    for (const ColumnSpec& column : columns) {
      a.colBegin.push_back(static_cast<int32_t>(a.rowIndex.size()));
      a.colLength.push_back(static_cast<int32_t>(column.elements.size()));
      for (auto [row, value] : column.elements) {
        a.rowIndex.push_back(row);
        a.matValue.push_back(value);
      }
      a.obj.push_back(column.cost);
      a.lower.push_back(column.lower);
      a.upper.push_back(column.upper);
      if (column.lower <= -1e20 && column.upper >= 1e20) {
        ++numFree;
        numFreeElement += a.colLength.back();
      }
    }
    const auto numRange = static_cast<size_t>(std::count(senses.begin(), senses.end(), 'R'));
    const size_t room = columns.size() + numRange + static_cast<size_t>(numFree);
    model.numCoef = static_cast<int32_t>(a.rowIndex.size());
    a.rowIndex.resize(a.rowIndex.size() + numRange + static_cast<size_t>(numFreeElement), -1);
    a.matValue.resize(a.rowIndex.size(), -1.0);
    a.colBegin.push_back(model.numCoef);
    a.colBegin.resize(room + 1, -1);
    a.colLength.resize(room, -1);
    for (auto* v : {&a.obj, &a.lower, &a.upper, &a.solPrimal, &a.reducedCost}) v->resize(room, -1.0);
    a.solDual.resize(senses.size());
    a.rowActivity.resize(senses.size());
    model.typeModel = qz::IPM_MODEL_LP;
    model.numRow = static_cast<int32_t>(senses.size());
    model.numCol = static_cast<int32_t>(columns.size());
    model.objSense = 1;
    point();
  }

  // Adds a quadratic term: the diagonal, and the strict lower triangle as (row, column, value) sorted by column.
  void makeQuadratic(std::vector<double> diag, const std::vector<std::tuple<int32_t, int32_t, double>>& triangle) {
    const size_t room = a.obj.size();
    model.typeModel = qz::IPM_MODEL_QP;
    model.numQuadCoef = static_cast<int32_t>(triangle.size());
    a.quadDiag = std::move(diag);
    a.quadColBegin.assign(1, 0);
    for (int32_t j = 0; j < model.numCol; ++j) {
      for (auto [row, col, value] : triangle)
        if (col == j) {
          a.quadRowIndex.push_back(row);
          a.quadMatValue.push_back(value);
        }
      a.quadColBegin.push_back(static_cast<int32_t>(a.quadRowIndex.size()));
      a.quadColLength.push_back(a.quadColBegin[j + 1] - a.quadColBegin[j]);
    }
    a.quadDiag.resize(room, -1.0);
    a.quadColBegin.resize(room + 1, -1);
    a.quadColLength.resize(room, -1);
    point();
  }

  void point() {
    model.colBegin = a.colBegin.data();
    model.colLength = a.colLength.data();
    model.rowIndex = a.rowIndex.data();
    model.matValue = a.matValue.data();
    model.obj = a.obj.data();
    model.rowSense = a.rowSense.data();
    model.rhs = a.rhs.data();
    model.range = a.range.empty() ? nullptr : a.range.data();
    model.lower = a.lower.data();
    model.upper = a.upper.data();
    model.solPrimal = a.solPrimal.data();
    model.solDual = a.solDual.data();
    model.reducedCost = a.reducedCost.data();
    model.rowActivity = a.rowActivity.data();
    if (model.typeModel == qz::IPM_MODEL_QP) {
      model.quadDiag = a.quadDiag.data();
      model.quadColBegin = a.quadColBegin.data();
      model.quadColLength = a.quadColLength.data();
      model.quadRowIndex = a.quadRowIndex.data();
      model.quadMatValue = a.quadMatValue.data();
    }
  }
};

// A model with every row sense, and with bounded, boxed and free columns.
inline TestModel randomModel(std::mt19937& random, int32_t numRow, int32_t numCol) {
  std::normal_distribution<double> normal(0.0, 4.0);
  std::string senses;
  std::vector<double> rhs, range;
  for (int32_t i = 0; i < numRow; ++i) {
    senses.push_back("ELGR"[random() % 4]);
    rhs.push_back(normal(random));
    range.push_back(senses.back() == 'R' && random() % 4 != 0 ? std::abs(normal(random)) : 0.0);
  }
  std::vector<ColumnSpec> columns;
  for (int32_t j = 0; j < numCol; ++j) {
    ColumnSpec column{normal(random), 0.0, kInf, {}};
    switch (random() % 4) {
      case 0:
        column.lower = -kInf;
        break;
      case 1:
        column.upper = 1.0 + std::abs(normal(random));
        break;
      case 2:
        column = {column.cost, -kInf, normal(random), {}};
        break;
      default:
        break;
    }
    for (int32_t i = 0; i < numRow; ++i)
      if (random() % 3 == 0) column.elements.emplace_back(i, normal(random));
    std::shuffle(column.elements.begin(), column.elements.end(), random);
    columns.push_back(column);
  }
  return TestModel(senses, rhs, range, columns);
}

inline qz::IpmOption plainOption() {
  qz::IpmOption option{};
  option.presolveMode = -1;
  option.tolPrimal = option.tolDual = option.tolOptimality = 1e-6;
  option.infinityValue = 1e20;
  option.typeMethod = qz::IPM_METHOD_AUGMENTED;
  return option;
}

}  // namespace qztest
