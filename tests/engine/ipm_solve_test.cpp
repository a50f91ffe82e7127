// The controller as a whole, on a small model in standard form.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "engine/constructed_model.h"
#include "engine/controller.h"
#include "engine/engine_case.h"
#include "shell/pool.h"

namespace qz {
namespace {

class IpmSolve : public ::testing::Test {
 protected:
  ~IpmSolve() override { release(); }
  void make(bool quadratic = false) {
    release();
    std::mt19937 random(5);
    qztest::RandomShape shape;
    shape.quadratic = quadratic;
    shape.lowerShare = 1.0;
    truth = qztest::construct(random, shape);
    test = std::make_unique<qztest::EngineCase>(host, truth.model);
    activity.assign(static_cast<size_t>(truth.model.rows()), 0.0);
    test->model.rowActivity = activity.data();
    hub = poolAllocateZero<Hub>(host.pool(), 1);
    hub->numRowSaved = hub->numRowInput = truth.model.rows();
    hub->numColSaved = hub->numColInput = truth.model.cols();
    hub->numCoefSaved = test->model.numCoef;
    perf.takeSample = [](QzTimerModule*, QzTimerSample* sample) -> int32_t { return *sample = {}, 0; };
    perf.difference = [](QzTimerModule*, const QzTimerSample*, const QzTimerSample*,
                         QzTimerDifference* difference) -> int32_t { return *difference = {}, 0; };
    timer.perfModule = &perf;
    timer.type = 1;
    timer.realStart = host.now;
    timer.realLimit = 1e9;
  }
  void release() {
    if (test == nullptr) return;
    FreeHub(&test->env, &hub);
    test.reset();
  }
  int32_t solve() { return ipmSolve(&test->env, &test->model, &test->option, hub, &test->solution, &timer); }

  qztest::TestHost host;
  std::unique_ptr<qztest::EngineCase> test;
  qztest::Constructed truth;
  Hub* hub = nullptr;
  QzTimerModule perf{};
  IPM_timer timer{};
  std::vector<double> activity;
};

TEST_F(IpmSolve, EndsOptimalAndGivesEverythingBack) {
  for (const bool quadratic : {false, true}) {
    const int64_t before = host.outstanding();
    make(quadratic);
    const int64_t made = host.outstanding();
    EXPECT_EQ(solve(), 0);
    EXPECT_EQ(test->model.status, QZ_STATUS_OPTIMAL);
    EXPECT_GT(test->model.numIter, 0);
    EXPECT_LT(test->model.dualityGap, 1e-6);
    EXPECT_EQ(host.outstanding(), made);
    release();
    EXPECT_EQ(host.outstanding(), before);
  }
}

TEST_F(IpmSolve, TheDirectionIsKeptOnlyForACrossoverBehindASuccess) {
  make();
  ASSERT_EQ(solve(), 0);
  EXPECT_EQ(hub->keptSolution, nullptr);
  make();
  test->option.crossover = 1;
  ASSERT_EQ(solve(), 0);
  EXPECT_NE(hub->keptSolution, nullptr);
  make();
  test->option.crossover = 1;
  test->model.checkSolverBreak = [](void*) -> int32_t { return 1; };
  EXPECT_EQ(solve(), QZ_STATUS_INTERRUPTED);
  EXPECT_EQ(test->model.status, QZ_STATUS_INTERRUPTED);
  EXPECT_EQ(test->model.numIter, 0);
  EXPECT_EQ(hub->keptSolution, nullptr);
}

TEST_F(IpmSolve, LimitsAreNoFailureOfTheController) {
  make();
  test->option.maxIter = 0;
  EXPECT_EQ(solve(), 0);
  EXPECT_EQ(test->model.status, QZ_STATUS_ITERATION_LIMIT);
  make();
  timer.realLimit = 0.0;
  EXPECT_EQ(solve(), 0);
  EXPECT_EQ(test->model.status, QZ_STATUS_TIME_LIMIT);
}

TEST_F(IpmSolve, AnUnknownModelTypeFails) {
  make();
  test->model.typeModel = 7;
  EXPECT_EQ(solve(), QZ_STATUS_FAILED);
  EXPECT_EQ(test->model.status, QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error ipmSolve: unknown model type."));
}

TEST_F(IpmSolve, EveryFailedAllocationIsReportedAndNothingLeaks) {
  int failures = 0;
  for (int64_t k = 1;; ++k) {
    SCOPED_TRACE("allocation " + std::to_string(k));
    make();
    const int64_t made = host.outstanding();
    const int64_t allocations = host.allocations();
    host.failAllocation(k);
    const int32_t status = solve();
    host.failAllocation(0);
    const bool reached = host.allocations() - allocations >= k;
    EXPECT_EQ(host.outstanding(), made);
    if (!reached) {
      EXPECT_EQ(status, 0);
      break;
    }
    EXPECT_TRUE(status == QZ_STATUS_OUT_OF_MEMORY || status == 0) << status;
    EXPECT_EQ(test->model.status, status == 0 ? int32_t{QZ_STATUS_OPTIMAL} : status);
    failures += status != 0 ? 1 : 0;
  }
  EXPECT_GT(failures, 40);
}

}  // namespace
}  // namespace qz
