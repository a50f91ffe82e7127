// End to end through the C API: tiny models solved by hand, each with the modules built in and along the path, with
// both linear systems and with the second presolve on and off. Every optimal claim is checked by a certificate that is
// computed here from the model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "host/faults.h"
#include "host/loader.h"
#include "host/pools.h"
#include "host/solve_case.h"
#include "qzlp.h"

namespace {

using solving::expectOptimal;
using solving::kInf;
using solving::loadLinear;
using solving::Model;

// Where the modules come from, the method, the second presolve.
using Setting = std::tuple<bool, int, int>;

class Solve : public solving::SolveCase<Setting> {
 protected:
  void SetUp() override {
    open(std::get<0>(GetParam()));
    ASSERT_EQ(qzlp_setIntOption(lp_, "method", std::get<1>(GetParam())), QZLP_OK);
    ASSERT_EQ(qzlp_setIntOption(lp_, "presolve", std::get<2>(GetParam())), QZLP_OK);
  }
  int load(const Model& m, int /*form*/) override { return loadLinear(lp_, m); }
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
    ASSERT_EQ(loadLinear(fresh, transport()), QZLP_OK);
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
        ASSERT_EQ(loadLinear(own, m), QZLP_OK);
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
  ASSERT_EQ(loadLinear(lp, production()), QZLP_OK);
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
