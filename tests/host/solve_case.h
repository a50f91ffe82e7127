// What the tests of whole solves through the C API share: a model given dense, its way into a handle, a proof of every
// optimal claim that is computed from the model, and the fixture around a handle.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "host/builtin_modules.h"
#include "host/faults.h"
#include "host/loader.h"
#include "host/pools.h"
#include "qzlp.h"

namespace solving {

inline constexpr double kInf = std::numeric_limits<double>::infinity();
inline constexpr double kTolerance = 1e-5;

// Rows of A, and the entries of the symmetric Q, which are zero for a linear model.
struct Model {
  int32_t sense = 1;
  double constant = 0.0;
  std::vector<double> obj, lower, upper;
  std::string rowSense;
  std::vector<double> rhs, range;
  std::vector<std::vector<double>> rows, q;

  Model& column(double cost, double low, double high) {
    obj.push_back(cost);
    lower.push_back(low);
    upper.push_back(high);
    q.resize(obj.size());
    for (std::vector<double>& line : q) line.resize(obj.size(), 0.0);
    return *this;
  }
  Model& row(std::vector<double> values, char kind, double right, double width = 0.0) {
    rows.push_back(std::move(values));
    rowSense.push_back(kind);
    rhs.push_back(right);
    range.push_back(width);
    return *this;
  }
  // Sets Q[i][j] and Q[j][i].
  Model& term(size_t i, size_t j, double value) {
    q[i][j] = q[j][i] = value;
    return *this;
  }
};

struct Columns {
  std::vector<int32_t> begin{0}, index;
  std::vector<double> value;
};

// Entries of a dense matrix that `kept` lets through, from the last row of each column to the first.
template <class Kept>
Columns columnsOf(const std::vector<std::vector<double>>& dense, size_t numCol, Kept kept) {
  Columns out;
  for (size_t j = 0; j < numCol; ++j) {
    for (size_t i = dense.size(); i-- > 0;) {
      if (dense[i][j] == 0.0 || !kept(i, j)) continue;
      out.index.push_back(static_cast<int32_t>(i));
      out.value.push_back(dense[i][j]);
    }
    out.begin.push_back(static_cast<int32_t>(out.index.size()));
  }
  return out;
}

inline int loadLinear(qzlp* lp, const Model& m) {
  const Columns a = columnsOf(m.rows, m.obj.size(), [](size_t, size_t) { return true; });
  qzlp_model model{};
  model.numRow = static_cast<int32_t>(m.rows.size());
  model.numCol = static_cast<int32_t>(m.obj.size());
  model.numCoef = static_cast<int32_t>(a.index.size());
  model.objSense = m.sense;
  model.objConstant = m.constant;
  model.colBegin = a.begin.data();
  model.rowIndex = a.index.data();
  model.matValue = a.value.data();
  model.obj = m.obj.data();
  model.lower = m.lower.data();
  model.upper = m.upper.data();
  model.rowSense = m.rowSense.data();
  model.rhs = m.rhs.data();
  model.range = m.range.data();
  return qzlp_loadModel(lp, &model);
}

inline int loadQuadratic(qzlp* lp, const Model& m, int form) {
  const Columns q = columnsOf(m.q, m.obj.size(), [form](size_t i, size_t j) {
    return form == QZLP_FULL || (form == QZLP_LOWER ? i >= j : i <= j);
  });
  const qzlp_quadratic quadratic{
      form, static_cast<int32_t>(q.index.size()), q.begin.data(), nullptr, q.index.data(), q.value.data()};
  return qzlp_loadQuadratic(lp, &quadratic);
}

// How far `value` lies outside of [low, high], relative to the bound that it misses.
inline double outside(double value, double low, double high) {
  if (value < low) return (low - value) / (1.0 + std::fabs(low));
  if (value > high) return (value - high) / (1.0 + std::fabs(high));
  return 0.0;
}

// The interval of row i.
inline std::pair<double, double> interval(const Model& m, size_t i) {
  switch (m.rowSense[i] & ~0x20) {
    case 'E':
      return {m.rhs[i], m.rhs[i]};
    case 'L':
      return {-kInf, m.rhs[i]};
    case 'G':
      return {m.rhs[i], kInf};
    case 'R':
      return {m.rhs[i] - m.range[i], m.rhs[i]};
    default:
      return {-kInf, kInf};
  }
}

// The smallest value of `slope` * t over [low, high]; a slope within the tolerance is 0 where that end is infinite.
inline double smallest(double slope, double low, double high, const char* what, size_t at) {
  const double end = slope > 0.0 ? low : high;
  if (std::isfinite(end)) return slope * end;
  EXPECT_LE(std::fabs(slope), kTolerance) << what << " " << at << " has a dual of the wrong sign";
  return 0.0;
}

// Primal feasibility, dual signs, and equal objectives c'x + x'Qx / 2 and (sides and bounds at their duals) - x'Qx / 2:
// together they prove the optimum of a convex model up to the tolerance.
inline void expectOptimal(qzlp* lp, const Model& m, double optimum) {
  ASSERT_EQ(qzlp_status(lp), QZLP_STATUS_OPTIMAL) << qzlp_statusName(qzlp_status(lp));
  EXPECT_NEAR(qzlp_objective(lp), optimum, kTolerance * (1.0 + std::fabs(optimum)));
  const double* x = qzlp_primal(lp);
  const double* y = qzlp_dual(lp);
  double half = 0.0;
  double primal = 0.0;
  double dual = 0.0;
  for (size_t i = 0; i < m.rows.size(); ++i) {
    double sum = 0.0;
    for (size_t j = 0; j < m.obj.size(); ++j) sum += m.rows[i][j] * x[j];
    EXPECT_NEAR(qzlp_rowActivity(lp)[i], sum, 1e-9 * (1.0 + std::fabs(sum))) << "row " << i;
    const auto [low, high] = interval(m, i);
    EXPECT_LE(outside(sum, low, high), kTolerance) << "row " << i;
    dual += smallest(m.sense * y[i], low, high, "row", i);
  }
  for (size_t j = 0; j < m.obj.size(); ++j) {
    double gradient = m.obj[j];
    double price = 0.0;
    for (size_t i = 0; i < m.obj.size(); ++i) {
      gradient += m.q[i][j] * x[i];
      half += 0.5 * m.sense * x[i] * m.q[i][j] * x[j];
    }
    for (size_t i = 0; i < m.rows.size(); ++i) price += m.rows[i][j] * y[i];
    const double reduced = gradient - price;
    EXPECT_NEAR(qzlp_reducedCost(lp)[j], reduced, 1e-9 * (1.0 + std::max(std::fabs(m.obj[j]), std::fabs(price))))
        << "column " << j;
    EXPECT_LE(outside(x[j], m.lower[j], m.upper[j]), kTolerance) << "column " << j;
    primal += m.sense * m.obj[j] * x[j];
    dual += smallest(m.sense * reduced, m.lower[j], m.upper[j], "column", j);
  }
  EXPECT_NEAR(primal + half, dual - half, 2 * kTolerance * (1.0 + std::fabs(primal + half)));
  EXPECT_NEAR(qzlp_objective(lp), m.sense * (primal + half) + m.constant, 1e-9 * (1.0 + std::fabs(primal) + half));
}

// A handle with the modules built in or along the path. A failed test shows the log; no memory and no module may stay.
template <class Setting>
class SolveCase : public testing::TestWithParam<Setting> {
 protected:
  virtual int load(const Model& m, int form) = 0;

  void open(bool builtIn) {
    qzhost::registerBuiltinModules();
    qzhost::useBuiltins(builtIn);
    qzhost::setModulePath(QZ_TEST_MODULES);
    before_ = qzhost::allPoolCounts();
    lp_ = qzlp_create();
    ASSERT_NE(lp_, nullptr) << qzlp_error(nullptr);
    qzlp_setLogCallback(
        lp_,
        [](int, uint32_t, const char* line, void* log) { *static_cast<std::string*>(log) += std::string(line) + "\n"; },
        &log_);
  }
  void TearDown() override {
    qzhost::failAllocation(0);
    qzlp_destroy(lp_);
    const qzhost::PoolCounts now = qzhost::allPoolCounts();
    EXPECT_EQ(now.pools, before_.pools);
    EXPECT_EQ(now.blocks, before_.blocks);
    EXPECT_EQ(now.bytes, before_.bytes);
    EXPECT_EQ(qzhost::loadedModules(), 0);
    qzhost::useBuiltins(true);
    if (testing::Test::HasFailure()) printf("%s", log_.c_str());
  }
  void run(const Model& m, int form = QZLP_LOWER) {
    ASSERT_EQ(load(m, form), QZLP_OK) << qzlp_error(lp_);
    ASSERT_EQ(qzlp_solve(lp_), QZLP_OK) << qzlp_error(lp_);
  }
  void optimal(const Model& m, double optimum, int form = QZLP_LOWER) {
    run(m, form);
    expectOptimal(lp_, m, optimum);
  }
  void ends(const Model& m, int status) {
    run(m);
    EXPECT_EQ(qzlp_status(lp_), status) << qzlp_statusName(qzlp_status(lp_));
  }

  qzlp* lp_ = nullptr;
  std::string log_;
  qzhost::PoolCounts before_;
};

}  // namespace solving
