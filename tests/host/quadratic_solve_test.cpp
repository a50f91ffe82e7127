// Quadratic models end to end through the C API: tiny ones solved by hand, with the modules built in and along the
// path. Every optimal claim is proved here from the model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <thread>
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
using solving::loadQuadratic;
using solving::Model;

int loadWhole(qzlp* lp, const Model& m, int form = QZLP_LOWER) {
  const int code = loadLinear(lp, m);
  return code == QZLP_OK ? loadQuadratic(lp, m, form) : code;
}

// Whether modules come built in or along the path.
class QuadraticSolve : public solving::SolveCase<bool> {
 protected:
  void SetUp() override { open(GetParam()); }
  int load(const Model& m, int form) override { return loadWhole(lp_, m, form); }
  void pointIs(const std::vector<double>& x) {
    for (size_t j = 0; j < x.size(); ++j) EXPECT_NEAR(qzlp_primal(lp_)[j], x[j], 1e-4) << "column " << j;
  }
};

std::string nameOf(const testing::TestParamInfo<bool>& info) {
  return info.param ? "BuiltIn" : "SharedObjects";
}

INSTANTIATE_TEST_SUITE_P(Modules, QuadraticSolve, testing::Bool(), nameOf);

// x = 1.2, y = 1.4 is where the gradient (1 - 2 x + y, 3 + x - 3 y) vanishes; no row or bound binds.
Model interior() {
  Model m;
  m.sense = -1;
  m.constant = 5.0;
  m.column(1, 0, kInf).column(3, 0, 3).column(0, 0, 2).row({1, 1, 0}, 'L', 4).row({1, -1, 1}, 'R', 3, 2);
  return m.term(0, 0, -2).term(0, 1, 1).term(1, 1, -3);
}

// Minimum of x^2 + 2 y^2 + 3 z^2 on x + y + z = 11: x : y : z = 6 : 3 : 2, multiplier 12.
Model shares() {
  Model m;
  m.column(0, 0, kInf).column(0, 0, kInf).column(0, 0, kInf).row({1, 1, 1}, 'E', 11);
  return m.term(0, 0, 2).term(1, 1, 4).term(2, 2, 6);
}

TEST_P(QuadraticSolve, MaximisationWithAConstantAndAnInteriorOptimum) {
  optimal(interior(), 7.7);
  pointIs({1.2, 1.4});
}

TEST_P(QuadraticSolve, EveryFormOfQGivesTheSameAnswer) {
  optimal(interior(), 7.7, QZLP_LOWER);
  const std::vector<double> lower(qzlp_primal(lp_), qzlp_primal(lp_) + 3);
  for (const int form : {QZLP_UPPER, QZLP_FULL}) {
    optimal(interior(), 7.7, form);
    EXPECT_EQ(std::vector<double>(qzlp_primal(lp_), qzlp_primal(lp_) + 3), lower) << form;
  }
}

TEST_P(QuadraticSolve, AnEquationSharesItsSideOut) {
  optimal(shares(), 36 + 2 * 9 + 3 * 4);
  pointIs({6, 3, 2});
  EXPECT_NEAR(qzlp_dual(lp_)[0], 12.0, 1e-4);
}

TEST_P(QuadraticSolve, DualsOfAMaximisationAreOfTheObjectiveAsItStands) {
  Model m = shares();
  m.sense = -1;
  for (size_t j = 0; j < 3; ++j) m.term(j, j, -m.q[j][j]);
  optimal(m, -66.0);
  EXPECT_NEAR(qzlp_dual(lp_)[0], -12.0, 1e-4);
}

TEST_P(QuadraticSolve, RowsWithInfiniteSidesAndFreeRows) {
  Model m = shares();
  m.row({1, 0, 0}, 'L', kInf).row({0, 1, 1}, 'G', -kInf).row({5, -1, 2}, 'n', 3).row({1, 1, 0}, 'R', 1e25, 1.0);
  m.rowSense[4] = 'L';
  m.range[4] = 0.0;
  optimal(m, 66.0);
}

// The unconstrained minimum of (x - 3)^2 + (y - 3)^2 has x + y = 6.
TEST_P(QuadraticSolve, RangeRowsAtEitherSide) {
  Model m;
  m.constant = 18.0;
  m.column(-6, -kInf, kInf).column(-6, -kInf, kInf).term(0, 0, 2).term(1, 1, 2).row({1, 1}, 'R', 4, 3);
  optimal(m, 2.0);
  pointIs({2, 2});
  m.rhs[0] = 9;
  m.range[0] = 1;
  optimal(m, 2.0);
  pointIs({4, 4});
  m.range[0] = 5;
  optimal(m, 0.0);
  pointIs({3, 3});
  m.rhs[0] = 8;
  m.range[0] = 0;  // an equation
  optimal(m, 2.0);
}

TEST_P(QuadraticSolve, FixedColumnsPullOnTheOthers) {
  // x = 2 fixed adds 2 y to the objective: y^2 + 2 y - 6 y has its minimum at y = 2.
  Model m;
  m.column(1, 2, 2).column(-6, 0, kInf).column(4, -1, -1).row({1, 1, 1}, 'L', 10);
  m.term(0, 0, 2).term(0, 1, 1).term(1, 1, 2);
  optimal(m, 2 + 4 - 4 + (4 + 4 - 12));
  pointIs({2, 2, -1});
}

TEST_P(QuadraticSolve, AllColumnsFixed) {
  Model m;
  m.column(1, 2, 2).column(-6, 3, 3).term(0, 0, 2).term(0, 1, 1).term(1, 1, 2).row({1, 1}, 'L', 10);
  optimal(m, 2 - 18 + 4 + 6 + 9);
}

TEST_P(QuadraticSolve, EmptyRowsAndColumns) {
  Model m = interior();
  m.column(0, -1, 1).column(-2, -kInf, 4).column(3, -2, kInf).column(1, -kInf, kInf).term(6, 6, -1);
  for (std::vector<double>& row : m.rows) row.resize(7, 0.0);
  m.row(std::vector<double>(7, 0.0), 'L', 2).row(std::vector<double>(7, 0.0), 'E', 0);
  m.row(std::vector<double>(7, 0.0), 'G', -3).row(std::vector<double>(7, 0.0), 'R', 1, 4);
  m.obj[4] = 2;   // at its upper bound: 8
  m.obj[5] = -3;  // at its lower bound: 6
  optimal(m, 7.7 + 8 + 6 + 0.5);
}

TEST_P(QuadraticSolve, EmptyRowsThatNothingMeets) {
  Model m = shares();
  m.row({0, 0, 0}, 'G', 1);
  ends(m, QZLP_STATUS_PRIMAL_INFEASIBLE);
}

TEST_P(QuadraticSolve, SeparableWithoutRows) {
  Model m;
  m.column(-6, 0, 9).column(-6, 5, 9).column(-6, 0, 2).column(3, 1, 4).column(-4, -kInf, kInf);
  for (const size_t j : {size_t{0}, size_t{1}, size_t{2}, size_t{4}}) m.term(j, j, 2);
  optimal(m, -9 - 5 - 8 + 3 - 4);
}

TEST_P(QuadraticSolve, CoupledWithoutRows) {
  Model m;
  m.column(1, -kInf, kInf).column(3, -kInf, kInf).term(0, 0, 2).term(0, 1, -1).term(1, 1, 3);
  optimal(m, -2.7);
  pointIs({-1.2, -1.4});
  // y >= 0 leaves x^2 + x.
  m.lower[1] = 0;
  optimal(m, -0.25);
  pointIs({-0.5, 0});
}

TEST_P(QuadraticSolve, FreeColumnsWithoutCurvature) {
  // z is free and has no curvature; its row makes z = 2 - x - y: x^2 + y^2 - x - y + 2.
  Model m;
  m.column(0, -kInf, kInf).column(0, -kInf, kInf).column(1, -kInf, kInf).row({1, 1, 1}, 'E', 2);
  m.term(0, 0, 2).term(1, 1, 2);
  optimal(m, 1.5);
  pointIs({0.5, 0.5, 1});
}

TEST_P(QuadraticSolve, ASingularHessian) {
  // (x + y - 2)^2 / 2 on a box: a whole edge is optimal.
  Model m;
  m.constant = 2.0;
  m.column(-2, 0, 5).column(-2, 0, 5).term(0, 0, 1).term(0, 1, 1).term(1, 1, 1).row({1, -1}, 'L', 1);
  optimal(m, 0.0);
}

TEST_P(QuadraticSolve, BadlyScaledCurvature) {
  // In u = x / 1e3 and v = 1e3 y: (u - 1)^2 + (v - 2)^2 with u + v <= 2: (0.5, 1.5).
  Model m;
  m.constant = 5.0;
  m.column(-2e-3, 0, kInf).column(-4e3, 0, kInf).term(0, 0, 2e-6).term(1, 1, 2e6).row({1e-3, 1e3}, 'L', 2);
  optimal(m, 0.5);
}

TEST_P(QuadraticSolve, DegenerateActiveSet) {
  // Four rows and a bound meet in (1, 1).
  Model m;
  m.column(-6, 0, 1).column(-6, 0, kInf).term(0, 0, 2).term(1, 1, 2);
  m.row({1, 1}, 'L', 2).row({0, 1}, 'L', 1).row({1, 2}, 'L', 3).row({2, 1}, 'L', 3);
  optimal(m, -10.0);
}

// Curvature that is far from the size of the rows has the objective scaled, and the answer scaled back.
TEST_P(QuadraticSolve, CurvatureOfAnySize) {
  for (const double factor : {1e-7, 1e-4, 1e-2, 1e2, 1e4, 1e7}) {
    Model m = shares();
    for (size_t j = 0; j < 3; ++j) m.term(j, j, factor * m.q[j][j]);
    optimal(m, 66.0 * factor);
    if (factor < 1e-2) continue;  // the tolerances leave room for other points
    pointIs({6, 3, 2});
    EXPECT_NEAR(qzlp_dual(lp_)[0], 12.0 * factor, 1e-4 * factor);
  }
}

TEST_P(QuadraticSolve, RowScaling) {
  ASSERT_EQ(qzlp_setIntOption(lp_, "scaling", 1), QZLP_OK);
  Model m = shares();
  optimal(m, 66.0);
  // An objective and a row that are divided.
  for (size_t j = 0; j < 3; ++j) m.term(j, j, 50 * m.q[j][j]);
  m.obj = {100, 200, -300};
  m.rows[0] = {40, 40, 40};
  m.rhs[0] = 440;
  m.row({30, -1, 0}, 'R', 500, 1000).row({2, 0, 70}, 'G', 90);
  // 100 x + 100, 200 y + 200, 300 z - 300 = 40 mu: x = r - 1, y = r / 2 - 1, z = r / 3 + 1 with r = 40 mu / 100, and
  // x + y + z = 11 gives r = 72 / 11.
  const double r = 72.0 / 11.0;
  const double x = r - 1, y = r / 2 - 1, z = r / 3 + 1;
  optimal(m, 100 * x + 200 * y - 300 * z + 50 * (x * x + 2 * y * y + 3 * z * z));
}

TEST_P(QuadraticSolve, TheMethodOptionIsOfNoEffect) {
  ASSERT_EQ(qzlp_setIntOption(lp_, "method", 1), QZLP_OK);
  optimal(interior(), 7.7);
  ASSERT_EQ(qzlp_setIntOption(lp_, "crossover", 1), QZLP_OK);
  optimal(shares(), 66.0);
  for (const int32_t mode : {-1, 0, 1, 2, 3}) {
    ASSERT_EQ(qzlp_setIntOption(lp_, "presolve", mode), QZLP_OK);
    optimal(shares(), 66.0);
  }
}

TEST_P(QuadraticSolve, AQuadraticPartMayComeAndGo) {
  Model m;
  m.column(-4, 0, 5).column(0, 0, 5).row({1, 1}, 'L', 7);
  Model curved = m;
  curved.term(0, 0, 2);
  ASSERT_EQ(loadLinear(lp_, m), QZLP_OK);
  ASSERT_EQ(qzlp_solve(lp_), QZLP_OK);
  expectOptimal(lp_, m, -20);
  ASSERT_EQ(loadQuadratic(lp_, curved, QZLP_LOWER), QZLP_OK);
  ASSERT_EQ(qzlp_solve(lp_), QZLP_OK);
  expectOptimal(lp_, curved, -4);
  ASSERT_EQ(qzlp_loadQuadratic(lp_, nullptr), QZLP_OK);
  ASSERT_EQ(qzlp_solve(lp_), QZLP_OK);
  expectOptimal(lp_, m, -20);
}

// ---- Models without an optimum ----

TEST_P(QuadraticSolve, RowsThatContradictOneAnother) {
  Model m = shares();
  m.row({1, 1, 1}, 'L', 10);
  ends(m, QZLP_STATUS_PRIMAL_INFEASIBLE);
  Model n;
  n.column(1, 0, kInf).column(2, 0, kInf).column(1, 0, kInf).term(0, 0, 1).term(1, 1, 1).term(2, 2, 1);
  n.row({1, 1, 0}, 'G', 3).row({1, 0, 1}, 'L', 1).row({0, 1, -1}, 'L', 1);
  ends(n, QZLP_STATUS_PRIMAL_INFEASIBLE);
}

TEST_P(QuadraticSolve, CrossedBounds) {
  Model m = shares();
  m.lower[1] = 3;
  m.upper[1] = 2;
  ends(m, QZLP_STATUS_PRIMAL_INFEASIBLE);
}

TEST_P(QuadraticSolve, UnboundedAlongAFlatDirection) {
  // (x - y)^2 - x - y falls for ever along x = y.
  Model m;
  m.column(-1, 0, kInf).column(-1, 0, kInf).term(0, 0, 2).term(0, 1, -2).term(1, 1, 2).row({1, -1}, 'L', 1);
  run(m);
  EXPECT_TRUE(qzlp_status(lp_) == QZLP_STATUS_DUAL_INFEASIBLE || qzlp_status(lp_) == QZLP_STATUS_BOTH_INFEASIBLE)
      << qzlp_statusName(qzlp_status(lp_));
  Model empty = shares();
  empty.column(-1, 0, kInf);
  empty.rows[0].push_back(0.0);
  ends(empty, QZLP_STATUS_DUAL_INFEASIBLE);
}

// A model with the eigenvalues d + 1, d - 1, 3 on a box.
Model curvature(double d) {
  Model m;
  m.column(1, -1, 1).column(-1, -1, 1).column(0, -1, 1).row({1, 1, 1}, 'L', 1).row({1, 0, -1}, 'L', 1);
  return m.term(0, 0, d).term(0, 1, 1).term(1, 1, d).term(2, 2, 3);
}

TEST_P(QuadraticSolve, AModelThatIsNotConvexEndsSoInBothSenses) {
  Model m = curvature(0.5);
  ends(m, QZLP_STATUS_NOT_CONVEX);
  EXPECT_NE(log_.find("to minimise is not convex"), std::string::npos) << log_;
  EXPECT_EQ(qzlp_iterations(lp_), 0);
  log_.clear();
  m.sense = -1;
  ends(m, QZLP_STATUS_NOT_CONVEX);
  EXPECT_NE(log_.find("to maximise is not concave"), std::string::npos) << log_;
  // Convex models are not concave, and the other way round.
  m = shares();
  m.sense = -1;
  ends(m, QZLP_STATUS_NOT_CONVEX);
  m = interior();
  m.sense = 1;
  ends(m, QZLP_STATUS_NOT_CONVEX);
}

TEST_P(QuadraticSolve, ASlightlyNegativeEigenvalueCountsAsConvex) {
  optimal(curvature(1.0), -2.0 + 0.0);  // x = -1, y = 1: -2 + (1 - 2 + 1) / 2
  run(curvature(1.0 - 5e-5));
  EXPECT_NE(qzlp_status(lp_), QZLP_STATUS_NOT_CONVEX);
  EXPECT_NEAR(qzlp_objective(lp_), -2.0 - 5e-5, 1e-5);
  ends(curvature(1.0 - 1.5e-4), QZLP_STATUS_NOT_CONVEX);
}

// ---- Limits, breaks, faults ----

TEST_P(QuadraticSolve, NoTimeLeft) {
  ASSERT_EQ(qzlp_setDoubleOption(lp_, "timeLimit", 0.0), QZLP_OK);
  ends(interior(), QZLP_STATUS_TIME_LIMIT);
  ASSERT_EQ(qzlp_resetOptions(lp_), QZLP_OK);
  optimal(interior(), 7.7);
}

TEST_P(QuadraticSolve, IterationLimits) {
  for (const int32_t limit : {0, 1, 2}) {
    ASSERT_EQ(qzlp_setIntOption(lp_, "maxIter", limit), QZLP_OK);
    ends(interior(), QZLP_STATUS_ITERATION_LIMIT);
    EXPECT_LE(qzlp_iterations(lp_), limit);
  }
  ASSERT_EQ(qzlp_setIntOption(lp_, "maxIter", 1000), QZLP_OK);
  optimal(interior(), 7.7);
}

TEST_P(QuadraticSolve, ABreakAtEveryPollEndsTheSolve) {
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
  optimal(interior(), 7.7);
  const int polls = counter.polls;
  EXPECT_GT(polls, 10);
  for (int k = 1; k <= polls; ++k) {
    counter = {0, k};
    run(interior());
    EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_INTERRUPTED) << "poll " << k << " of " << polls;
  }
  counter = {0, 0};
  optimal(interior(), 7.7);
}

TEST_P(QuadraticSolve, EveryAllocationMayFail) {
  optimal(interior(), 7.7);
  const int64_t before = qzhost::allocationCount();
  const int64_t held = qzlp_memoryInUse();
  ASSERT_EQ(qzlp_solve(lp_), QZLP_OK);
  const int64_t requests = qzhost::allocationCount() - before;
  EXPECT_GT(requests, 20);
  for (int64_t k = 1; k <= requests; ++k) {
    qzhost::failAllocation(k);
    const int code = qzlp_solve(lp_);
    qzhost::failAllocation(0);
    EXPECT_TRUE(code == QZLP_ERROR_MEMORY || code == QZLP_ERROR_MODULE) << "request " << k << " of " << requests;
    EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_OUT_OF_MEMORY) << "request " << k << " of " << requests;
    EXPECT_STRNE(qzlp_error(lp_), "");
    EXPECT_EQ(qzlp_memoryInUse(), held) << "request " << k << " of " << requests << " left memory behind";
  }
  optimal(interior(), 7.7);
}

TEST_P(QuadraticSolve, RepeatedSolvesGiveTheSameBitsAndHoldNoMoreMemory) {
  optimal(interior(), 7.7);
  const std::vector<double> first(qzlp_primal(lp_), qzlp_primal(lp_) + 3);
  const int64_t held = qzlp_memoryInUse();
  for (int round = 0; round < 3; ++round) {
    optimal(shares(), 66.0);
    optimal(interior(), 7.7);
    EXPECT_EQ(std::vector<double>(qzlp_primal(lp_), qzlp_primal(lp_) + 3), first);
    EXPECT_EQ(qzlp_memoryInUse(), held);
  }
}

TEST_P(QuadraticSolve, HandlesInSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      qzlp* own = qzlp_create();
      ASSERT_NE(own, nullptr);
      for (int round = 0; round < 5; ++round) {
        const bool even = (round + t) % 2 == 0;
        const Model m = even ? interior() : shares();
        ASSERT_EQ(loadWhole(own, m), QZLP_OK);
        ASSERT_EQ(qzlp_solve(own), QZLP_OK);
        expectOptimal(own, m, even ? 7.7 : 66.0);
      }
      qzlp_destroy(own);
    });
  for (std::thread& thread : threads) thread.join();
}

TEST_P(QuadraticSolve, TheLogTellsTheStoryOfASolve) {
  optimal(interior(), 7.7);
  for (const char* part :
       {"quadratic model", "Iter  Complementarity", "Optimal solution found.", "Objective value: 7.7"})
    EXPECT_NE(log_.find(part), std::string::npos) << part << "\n" << log_;
  EXPECT_EQ(log_.find("0x827f"), std::string::npos) << "a code without a text";
  log_.clear();
  ASSERT_EQ(qzlp_setIntOption(lp_, "printLevel", 0), QZLP_OK);
  optimal(interior(), 7.7);
  EXPECT_EQ(log_, "");
}

}  // namespace
