// End to end through the C API: tiny models solved by hand, each with the modules built in and along the path, with
// both linear systems and with the second presolve on and off. Every optimal claim is checked by a certificate that is
// computed here from the model.
#include <gtest/gtest.h>

#include <algorithm>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "host/builtin_modules.h"
#include "host/faults.h"
#include "host/loader.h"
#include "host/pools.h"
#include "qzlp.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// A model given row by row, dense.
struct Model {
  int32_t sense = 1;
  double constant = 0.0;
  std::vector<double> obj, lower, upper;
  std::string rowSense;
  std::vector<double> rhs, range;
  std::vector<std::vector<double>> rows;

  Model& column(double cost, double low, double high) {
    obj.push_back(cost);
    lower.push_back(low);
    upper.push_back(high);
    return *this;
  }
  Model& row(std::vector<double> values, char kind, double right, double width = 0.0) {
    rows.push_back(std::move(values));
    rowSense.push_back(kind);
    rhs.push_back(right);
    range.push_back(width);
    return *this;
  }
};

int load(qzlp* lp, const Model& m) {
  std::vector<int32_t> begin{0}, index;
  std::vector<double> value;
  for (size_t j = 0; j < m.obj.size(); ++j) {
    for (size_t i = 0; i < m.rows.size(); ++i) {
      if (m.rows[i][j] == 0.0) continue;
      index.push_back(static_cast<int32_t>(i));
      value.push_back(m.rows[i][j]);
    }
    begin.push_back(static_cast<int32_t>(index.size()));
  }
  qzlp_model model{};
  model.numRow = static_cast<int32_t>(m.rows.size());
  model.numCol = static_cast<int32_t>(m.obj.size());
  model.numCoef = static_cast<int32_t>(index.size());
  model.objSense = m.sense;
  model.objConstant = m.constant;
  model.colBegin = begin.data();
  model.rowIndex = index.data();
  model.matValue = value.data();
  model.obj = m.obj.data();
  model.lower = m.lower.data();
  model.upper = m.upper.data();
  model.rowSense = m.rowSense.data();
  model.rhs = m.rhs.data();
  model.range = m.range.data();
  return qzlp_loadModel(lp, &model);
}

constexpr double kTolerance = 1e-5;

// How far `value` lies outside of [low, high], relative to the bound that it misses.
double outside(double value, double low, double high) {
  if (value < low) return (low - value) / (1.0 + std::fabs(low));
  if (value > high) return (value - high) / (1.0 + std::fabs(high));
  return 0.0;
}

// The interval of row i.
std::pair<double, double> interval(const Model& m, size_t i) {
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

// The smallest value of `slope` * t over [low, high], as a dual bound takes it; a slope within the tolerance is 0.
double smallest(double slope, double low, double high, const char* what, size_t at) {
  const double end = slope > 0.0 ? low : high;
  if (std::isfinite(end)) return slope * end;
  EXPECT_LE(std::fabs(slope), kTolerance) << what << " " << at << " has a dual of the wrong sign";
  return 0.0;
}

// Primal feasibility, dual signs and equal objectives: together they prove the optimum up to the tolerance.
void expectOptimal(qzlp* lp, const Model& m, double optimum) {
  ASSERT_EQ(qzlp_status(lp), QZLP_STATUS_OPTIMAL) << qzlp_statusName(qzlp_status(lp));
  EXPECT_NEAR(qzlp_objective(lp), optimum, kTolerance * (1.0 + std::fabs(optimum)));
  const double* x = qzlp_primal(lp);
  const double* y = qzlp_dual(lp);
  const double* d = qzlp_reducedCost(lp);
  const double* activity = qzlp_rowActivity(lp);
  double primal = 0.0;
  double dual = 0.0;
  for (size_t i = 0; i < m.rows.size(); ++i) {
    double sum = 0.0;
    for (size_t j = 0; j < m.obj.size(); ++j) sum += m.rows[i][j] * x[j];
    EXPECT_NEAR(activity[i], sum, 1e-9 * (1.0 + std::fabs(sum))) << "row " << i;
    const auto [low, high] = interval(m, i);
    EXPECT_LE(outside(sum, low, high), kTolerance) << "row " << i;
    dual += smallest(m.sense * y[i], low, high, "row", i);
  }
  for (size_t j = 0; j < m.obj.size(); ++j) {
    double price = 0.0;
    for (size_t i = 0; i < m.rows.size(); ++i) price += m.rows[i][j] * y[i];
    EXPECT_NEAR(d[j], m.obj[j] - price, 1e-9 * (1.0 + std::fabs(price))) << "column " << j;
    EXPECT_LE(outside(x[j], m.lower[j], m.upper[j]), kTolerance) << "column " << j;
    primal += m.sense * m.obj[j] * x[j];
    dual += smallest(m.sense * d[j], m.lower[j], m.upper[j], "column", j);
  }
  EXPECT_NEAR(primal, dual, 2 * kTolerance * (1.0 + std::fabs(primal)));
  EXPECT_NEAR(qzlp_objective(lp), m.sense * primal + m.constant, 1e-9 * (1.0 + std::fabs(primal)));
}

// Where the modules come from, the method, the second presolve.
using Setting = std::tuple<bool, int, int>;

class Solve : public testing::TestWithParam<Setting> {
 protected:
  void SetUp() override {
    qzhost::registerBuiltinModules();
    qzhost::useBuiltins(std::get<0>(GetParam()));
    qzhost::setModulePath(QZ_TEST_MODULES);
    before_ = qzhost::allPoolCounts();
    lp_ = qzlp_create();
    ASSERT_NE(lp_, nullptr) << qzlp_error(nullptr);
    ASSERT_EQ(qzlp_setIntOption(lp_, "method", std::get<1>(GetParam())), QZLP_OK);
    ASSERT_EQ(qzlp_setIntOption(lp_, "presolve", std::get<2>(GetParam())), QZLP_OK);
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
    if (HasFailure()) printf("%s", log_.c_str());
  }
  void run(const Model& m) {
    ASSERT_EQ(load(lp_, m), QZLP_OK) << qzlp_error(lp_);
    ASSERT_EQ(qzlp_solve(lp_), QZLP_OK) << qzlp_error(lp_);
  }
  void optimal(const Model& m, double optimum) {
    run(m);
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

std::string nameOf(const testing::TestParamInfo<Setting>& info) {
  return std::string(std::get<0>(info.param) ? "BuiltIn" : "SharedObjects") +
         (std::get<1>(info.param) == 0 ? "Augmented" : "Normal") +
         (std::get<2>(info.param) == 0 ? "Presolved" : "Light");
}

INSTANTIATE_TEST_SUITE_P(Settings, Solve,
                         testing::Combine(testing::Bool(), testing::Values(0, 1), testing::Values(-1, 0)), nameOf);

// Both rows bind at (3, 1).
Model production() {
  Model m;
  m.sense = -1;
  m.constant = 10.0;
  return m.column(1, 0, kInf).column(2, 0, kInf).row({1, 1}, 'L', 4).row({1, 3}, 'L', 6);
}

// Supplies 20 and 30, demands 10, 25 and 15, costs 8 6 10 and 9 12 13. Duals u = (0, 3), v = (6, 6, 10) price every
// cell at most at its cost, with equality in the cells of the plan (0,1) 20, (1,0) 10, (1,2) 15; demand 2 misses 5,
// which source 1 brings at 12 against 9. So v(2) = 9, u = (-3, 0), v = (9, 12, 13) and supply 0 is worth 6 - 12 = -6:
// u(0) = -6, and the plan is x01 = 20, x10 = 10, x11 = 5, x12 = 15: 120 + 90 + 60 + 195 = 465.
Model transport() {
  Model m;
  for (double cost : {8, 6, 10, 9, 12, 13}) m.column(cost, 0, kInf);
  return m.row({1, 1, 1, 0, 0, 0}, 'L', 20)
      .row({0, 0, 0, 1, 1, 1}, 'L', 30)
      .row({1, 0, 0, 1, 0, 0}, 'E', 10)
      .row({0, 1, 0, 0, 1, 0}, 'E', 25)
      .row({0, 0, 1, 0, 0, 1}, 'G', 15);
}

TEST_P(Solve, MaximisationWithAConstant) {
  optimal(production(), 15.0);
}

TEST_P(Solve, Transport) {
  optimal(transport(), 465.0);
}

// x = y + 1, so 1 <= 2 y + 1 <= 5.
TEST_P(Solve, FreeColumnAndRangeRowAtItsLowerSide) {
  Model m;
  m.column(2, -kInf, kInf).column(1, 0, 3).row({1, 1}, 'R', 5, 4).row({1, -1}, 'E', 1);
  optimal(m, 2.0);
}

TEST_P(Solve, RangeRowAtItsUpperSide) {
  Model m;
  m.sense = -1;
  m.column(2, -kInf, kInf).column(1, 0, 3).row({1, 1}, 'R', 5, 4).row({1, -1}, 'E', 1);
  optimal(m, 8.0);  // y = 2, x = 3
}

TEST_P(Solve, RowsOfLowerCaseSensesAndAFreeRow) {
  Model m;
  m.column(1, 0, kInf).column(1, 0, kInf).row({1, 2}, 'g', 4).row({5, -1}, 'N', 3).row({3, 1}, 'g', 6);
  optimal(m, 14.0 / 5.0);  // x = 8/5, y = 6/5
}

TEST_P(Solve, BoxesWithoutRows) {
  Model m;
  m.column(-1, 0, 2).column(1, -1, 5).column(0, 3, 3);
  optimal(m, -3.0);
}

TEST_P(Solve, ColumnsWithUpperBoundsAlone) {
  Model m;
  m.column(-1, -kInf, 4).column(-1, -kInf, 3).row({1, 1}, 'L', 6).row({1, -1}, 'L', 10);
  optimal(m, -6.0);
}

TEST_P(Solve, FixedColumns) {
  Model m;
  m.column(3, 2, 2).column(1, 0, kInf).column(5, -1, -1).row({1, 1, 1}, 'G', 4);
  optimal(m, 6.0 + 3.0 - 5.0);
}

TEST_P(Solve, NegativeLowerBounds) {
  Model m;
  m.column(1, -5, 5).column(1, -7, 2).row({1, 1}, 'G', -10).row({1, -1}, 'L', 1);
  optimal(m, -10.0);
}

TEST_P(Solve, ASquareSystemWithoutChoice) {
  Model m;
  m.column(1, -kInf, kInf).column(-1, -kInf, kInf).row({2, 1}, 'E', 5).row({1, -1}, 'E', 1);
  optimal(m, 1.0);  // x = 2, y = 1
}

// Four rows meet in the optimum of two columns.
TEST_P(Solve, DegenerateVertex) {
  Model m;
  m.sense = -1;
  m.column(1, 0, kInf).column(1, 0, kInf);
  m.row({1, 0}, 'L', 1).row({0, 1}, 'L', 1).row({1, 1}, 'L', 2).row({1, 2}, 'L', 3);
  optimal(m, 2.0);
}

// The whole edge from (4, 0) to (0, 4) is optimal.
TEST_P(Solve, AnOptimalFace) {
  Model m;
  m.column(1, 0, kInf).column(1, 0, kInf).row({1, 1}, 'G', 4);
  optimal(m, 4.0);
}

TEST_P(Solve, BadlyScaledRowsAndColumns) {
  Model m;
  m.column(1e4, 0, kInf).column(2e-3, 0, kInf).row({1e5, 1e-2}, 'G', 4e3).row({1e3, 3e-4}, 'G', 6e1);
  // In u = 1e5 x / 1e3 and v = 1e-2 y / 1e3: u + v >= 4, u + 3 v >= 6, cost 100 u + 200 v: u = 3, v = 1.
  optimal(m, 500.0);
}

TEST_P(Solve, NoObjective) {
  Model m;
  m.column(0, 0, 10).column(0, 0, 10).row({1, 1}, 'E', 5).row({1, -1}, 'L', 2);
  optimal(m, 0.0);
}

TEST_P(Solve, TheEmptyModel) {
  Model m;
  m.constant = 7.5;
  optimal(m, 7.5);
}

TEST_P(Solve, RowsWithoutColumns) {
  Model good;
  good.row({}, 'L', 1).row({}, 'G', -1).row({}, 'E', 0).row({}, 'R', 1, 3);
  optimal(good, 0.0);
  Model bad;
  bad.row({}, 'G', 1);
  ends(bad, QZLP_STATUS_PRIMAL_INFEASIBLE);
}

TEST_P(Solve, EmptyRowsAndColumns) {
  Model m;
  m.column(1, 0, kInf).column(-2, 0, 4).column(1, 0, kInf);
  m.row({0, 0, 0}, 'L', 3).row({1, 0, 2}, 'G', 2).row({0, 0, 0}, 'E', 0);
  optimal(m, -7.0);
}

TEST_P(Solve, RowsThatContradictOneAnother) {
  Model m;
  m.column(1, 0, 1).column(1, 0, 1).row({1, 1}, 'L', 1).row({1, 2}, 'G', 5);
  ends(m, QZLP_STATUS_PRIMAL_INFEASIBLE);
}

// Only the two rows together have no point: x + y >= 3 and x + y <= 2 with free room for each column.
TEST_P(Solve, ContradictionThatBoundsDoNotShow) {
  Model m;
  m.column(1, 0, kInf).column(2, 0, kInf).column(1, 0, kInf);
  m.row({1, 1, 0}, 'G', 3).row({1, 0, 1}, 'L', 1).row({0, 1, -1}, 'L', 1);
  ends(m, QZLP_STATUS_PRIMAL_INFEASIBLE);
}

TEST_P(Solve, CrossedBounds) {
  Model m;
  m.column(1, 2, 1).column(1, 0, kInf).row({1, 1}, 'G', 1);
  ends(m, QZLP_STATUS_PRIMAL_INFEASIBLE);
}

TEST_P(Solve, AnUnboundedRay) {
  Model m;
  m.column(-1, 0, kInf).column(-1, 0, kInf).row({1, -1}, 'L', 1).row({-1, 1}, 'L', 1);
  ends(m, QZLP_STATUS_DUAL_INFEASIBLE);
}

TEST_P(Solve, AnUnboundedColumnWithoutRows) {
  Model m;
  m.column(-1, 0, kInf).column(1, 0, 1).row({0, 1}, 'L', 1);
  ends(m, QZLP_STATUS_DUAL_INFEASIBLE);
}

// ---- Limits and breaks ----

TEST_P(Solve, NoTimeLeft) {
  ASSERT_EQ(qzlp_setDoubleOption(lp_, "timeLimit", 0.0), QZLP_OK);
  ends(transport(), QZLP_STATUS_TIME_LIMIT);
  ASSERT_EQ(qzlp_resetOptions(lp_), QZLP_OK);
  optimal(transport(), 465.0);
}

TEST_P(Solve, IterationLimits) {
  for (int32_t limit : {0, 1, 2}) {
    ASSERT_EQ(qzlp_setIntOption(lp_, "maxIter", limit), QZLP_OK);
    ends(transport(), QZLP_STATUS_ITERATION_LIMIT);
    EXPECT_LE(qzlp_iterations(lp_), limit);
  }
  ASSERT_EQ(qzlp_setIntOption(lp_, "maxIter", 1000), QZLP_OK);
  optimal(transport(), 465.0);
}

TEST_P(Solve, ABreakAtEveryPollEndsTheSolve) {
  struct Counter {
    int polls = 0;
    int stopAt = 0;
  } counter;
  qzlp_setBreakCallback(
      lp_,
      [](void* data) {
        auto* c = static_cast<Counter*>(data);
        return ++c->polls >= c->stopAt && c->stopAt > 0 ? 1 : 0;
      },
      &counter);
  optimal(transport(), 465.0);
  const int polls = counter.polls;
  EXPECT_GT(polls, 10) << "a solve asks between its stages";
  for (int k = 1; k <= polls; ++k) {
    counter = {0, k};
    run(transport());
    EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_INTERRUPTED) << "poll " << k << " of " << polls;
  }
  counter = {0, 0};
  optimal(transport(), 465.0);
  EXPECT_EQ(counter.polls, polls) << "a break leaves nothing behind";
}

// ---- Repetition, faults, threads ----

TEST_P(Solve, RepeatedSolvesGiveTheSameBits) {
  optimal(transport(), 465.0);
  const std::vector<double> first(qzlp_primal(lp_), qzlp_primal(lp_) + 6);
  const std::vector<double> duals(qzlp_dual(lp_), qzlp_dual(lp_) + 5);
  const int32_t iterations = qzlp_iterations(lp_);
  for (int round = 0; round < 3; ++round) {
    optimal(production(), 15.0);
    optimal(transport(), 465.0);
    EXPECT_EQ(std::vector<double>(qzlp_primal(lp_), qzlp_primal(lp_) + 6), first);
    EXPECT_EQ(std::vector<double>(qzlp_dual(lp_), qzlp_dual(lp_) + 5), duals);
    EXPECT_EQ(qzlp_iterations(lp_), iterations);
  }
}

TEST_P(Solve, MemoryDoesNotGrowFromSolveToSolve) {
  optimal(transport(), 465.0);
  const int64_t held = qzlp_memoryInUse();
  for (int round = 0; round < 5; ++round) optimal(transport(), 465.0);
  EXPECT_EQ(qzlp_memoryInUse(), held);
  EXPECT_GE(qzlp_memoryPeak(), held);
}

// Requests of the second solve of a handle, which finds its modules loaded.
TEST_P(Solve, EveryAllocationOfASolveMayFail) {
  optimal(transport(), 465.0);
  const int64_t before = qzhost::allocationCount();
  const int64_t held = qzlp_memoryInUse();
  ASSERT_EQ(qzlp_solve(lp_), QZLP_OK);
  const int64_t requests = qzhost::allocationCount() - before;
  EXPECT_GT(requests, 20);
  for (int64_t k = 1; k <= requests; ++k) {
    qzhost::failAllocation(k);
    EXPECT_EQ(qzlp_solve(lp_), QZLP_ERROR_MEMORY) << "request " << k << " of " << requests;
    qzhost::failAllocation(0);
    EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_OUT_OF_MEMORY) << "request " << k << " of " << requests;
    EXPECT_STRNE(qzlp_error(lp_), "");
    EXPECT_EQ(qzlp_memoryInUse(), held) << "request " << k << " of " << requests << " left memory behind";
  }
  optimal(transport(), 465.0);
}

// The first solve loads modules too; a failure there leaves a handle that solves when it is asked again.
TEST_P(Solve, EveryAllocationOfAFirstSolveMayFail) {
  const int64_t before = qzhost::allocationCount();
  optimal(transport(), 465.0);
  const int64_t requests = qzhost::allocationCount() - before;
  for (int64_t k = 1; k <= requests; ++k) {
    qzlp* fresh = qzlp_create();
    ASSERT_NE(fresh, nullptr);
    ASSERT_EQ(qzlp_setIntOption(fresh, "method", std::get<1>(GetParam())), QZLP_OK);
    ASSERT_EQ(qzlp_setIntOption(fresh, "presolve", std::get<2>(GetParam())), QZLP_OK);
    ASSERT_EQ(load(fresh, transport()), QZLP_OK);
    qzhost::failAllocation(k);
    const int code = qzlp_solve(fresh);
    qzhost::failAllocation(0);
    if (code == QZLP_OK) {  // modules that lp_ holds need nothing a second time
      EXPECT_GT(k, 20);
      qzlp_destroy(fresh);
      break;
    }
    EXPECT_EQ(qzlp_status(fresh), QZLP_STATUS_OUT_OF_MEMORY) << "request " << k;
    ASSERT_EQ(qzlp_solve(fresh), QZLP_OK) << "behind request " << k << ": " << qzlp_error(fresh);
    expectOptimal(fresh, transport(), 465.0);
    qzlp_destroy(fresh);
  }
}

TEST_P(Solve, HandlesInSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      qzlp* own = qzlp_create();
      ASSERT_NE(own, nullptr);
      qzlp_setIntOption(own, "method", std::get<1>(GetParam()));
      for (int round = 0; round < 5; ++round) {
        const Model m = (round + t) % 2 == 0 ? production() : transport();
        ASSERT_EQ(load(own, m), QZLP_OK);
        ASSERT_EQ(qzlp_solve(own), QZLP_OK);
        expectOptimal(own, m, (round + t) % 2 == 0 ? 15.0 : 465.0);
      }
      qzlp_destroy(own);
    });
  for (std::thread& thread : threads) thread.join();
}

TEST_P(Solve, TheLogTellsTheStoryOfASolve) {
  optimal(production(), 15.0);
  for (const char* part : {"Iter  Complementarity", "Optimal solution found.", "Objective value: 1", "seconds"})
    EXPECT_NE(log_.find(part), std::string::npos) << part;
  EXPECT_EQ(log_.find("0x827f"), std::string::npos) << "a code without a text";
  log_.clear();
  ASSERT_EQ(qzlp_setIntOption(lp_, "printLevel", 0), QZLP_OK);
  ASSERT_EQ(qzlp_setIntOption(lp_, "logFrequency", 0), QZLP_OK);
  optimal(production(), 15.0);
  // Print level 0 is silent but for texts of the debug level, such as the size of the normal matrix.
  const bool normal = std::get<1>(GetParam()) == 1;
  EXPECT_EQ(log_.find("A*A'") != std::string::npos, normal) << log_;
  EXPECT_EQ(std::count(log_.begin(), log_.end(), '\n'), normal ? 2 : 0) << log_;
}

TEST(SolveModules, AMissingPresolverIsToldByName) {
  qzhost::registerBuiltinModules();
  qzlp* lp = qzlp_create();
  ASSERT_NE(lp, nullptr) << qzlp_error(nullptr);
  ASSERT_EQ(load(lp, production()), QZLP_OK);
  qzhost::useBuiltins(false);
  qzhost::setModulePath("/no/such/folder");
  EXPECT_EQ(qzlp_solve(lp), QZLP_ERROR_MODULE);
  EXPECT_NE(std::string(qzlp_error(lp)).find("/no/such/folder"), std::string::npos) << qzlp_error(lp);
  qzhost::useBuiltins(true);
  EXPECT_EQ(qzlp_solve(lp), QZLP_OK);
  EXPECT_EQ(qzlp_status(lp), QZLP_STATUS_OPTIMAL);
  qzlp_destroy(lp);
}

}  // namespace
