// The loop of the iteration where it is left: failed phases of a step, limits and verdicts in scaled terms, and the
// status that it hands over. A dense solver with prescribed statuses stands in for the sparse one.
#include "engine/iteration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "engine/constructed_model.h"
#include "engine/dense_ldl.h"
#include "engine/engine_case.h"
#include "engine/measures.h"
#include "engine/start_point.h"
#include "shell/fake_timer_module.h"

namespace qz {
namespace {

using qztest::denseLdl;
using qztest::DenseLdl;
using qztest::EngineCase;

constexpr double kObjScale = 0.25;

class Iteration : public ::testing::Test {
 protected:
  // The engine at the start of a small model, with a healthy solver and no limit near.
  void make() {
    denseLdl = DenseLdl{};
    std::mt19937 random(3);
    qztest::RandomShape shape;
    shape.lowerShare = 1.0;
    test = std::make_unique<EngineCase>(host, qztest::construct(random, shape).model);
    ASSERT_TRUE(test->start());
    ipm = test->ipm;
    timer = IPM_timer{};
    timer.type = 1;  // real time
    timer.perfModule = &clock.module;
    timer.realStart = host.now;
    timer.realLimit = timer.cpuLimit = 1e9;
    ipm->timer = &timer;
    ASSERT_EQ(ipmInitLP(ipm, nullptr), 0);
    ipm->stopState = STOP_ITERATE;
    computeMeasurement(ipm);
    denseLdl = DenseLdl{};
  }
  // From here on the objective of the engine's model counts as divided by 4.
  void pretendScaled() {
    test->hub.scaleState = 1;
    test->hub.objScale = kObjScale;
    test->hub.typeMethod = IPM_METHOD_AUGMENTED;
    test->hub.numRowSaved = ipm->numRow;
    test->hub.numColSaved = ipm->numCol;
    test->hub.numCoefSaved = ipm->numCoef;
  }
  int32_t run() { return ipmMethod(ipm, &test->hub, nullptr); }
  double largestInfeasibility() const { return std::max({ipm->primalInfeas, ipm->boundInfeas, ipm->dualInfeas}); }
  // Tolerances that make the start near-optimal: feasible, gap and complementarity open by less than a factor of 100.
  void callNearOptimal() {
    ipm->tolPrimal = ipm->tolDual = 2.0 * largestInfeasibility();
    ipm->tolOptimality = ipm->tolComplement = std::max(ipm->dualityGap, ipm->complementarity) / 50.0;
    ASSERT_GT(ipm->dualityGap, ipm->tolOptimality);
  }
  // Every mu counts as exhausted, so that the run stops where it stands.
  void stopAtOnce() { ipm->muLimit = 1e300; }

  qztest::TestHost host;
  qztest::FakeTimerModule clock;
  IPM_timer timer{};
  std::unique_ptr<EngineCase> test;
  Ipm* ipm = nullptr;
};

TEST_F(Iteration, FailedSolveLeavesWithTheMeasuredStatusOnePassEarlier) {
  for (const int32_t failing : {0, 1}) {  // the predictor's solve, the corrector's
    SCOPED_TRACE(failing);
    make();
    callNearOptimal();
    denseLdl.solveScript.assign(static_cast<size_t>(failing), 0);
    denseLdl.solveStatus = 8;
    EXPECT_EQ(run(), QZ_STATUS_NEAR_OPTIMAL);
    EXPECT_EQ(denseLdl.solves, failing + 1);
    EXPECT_EQ(ipm->status, QZ_STATUS_NEAR_OPTIMAL);
    EXPECT_EQ(ipm->stopState, STOP_NOW);
    EXPECT_EQ(ipm->numIter, 0);
  }
}

TEST_F(Iteration, FailedSolveLeavesInTrueTermsWithTheStatusOfTheScaledOnes) {
  make();
  callNearOptimal();
  pretendScaled();
  const double cost = ipm->obj[0];
  const double measured = ipm->objValuePrimal;
  denseLdl.solveStatus = 8;
  EXPECT_EQ(run(), QZ_STATUS_NEAR_OPTIMAL);
  EXPECT_EQ(test->hub.scaleState, 0);
  EXPECT_EQ(ipm->obj[0], cost / kObjScale);
  EXPECT_EQ(ipm->objValuePrimal, measured) << "not decided on again";
  EXPECT_EQ(ipm->stopState, STOP_NOW);
  EXPECT_EQ(ipm->numIter, 0);
}

TEST_F(Iteration, FailedSolveOnAScaledReductionIsTheControllersToUnscale) {
  make();
  pretendScaled();
  test->hub.routeSubmodel = ROUTE_INVITRO;
  denseLdl.solveStatus = 8;
  EXPECT_EQ(run(), QZ_STATUS_UNSCALE);
  EXPECT_EQ(test->hub.routeSubmodel, ROUTE_UNSCALE);
  EXPECT_EQ(test->hub.scaleState, 1);
}

TEST_F(Iteration, MemoryAndBreakOfASolveAreHandedOn) {
  for (const auto& [from, to] : {std::pair{1, QZ_STATUS_OUT_OF_MEMORY}, std::pair{13, QZ_STATUS_INTERRUPTED}}) {
    for (const int32_t failing : {0, 1}) {
      make();
      callNearOptimal();
      denseLdl.solveScript.assign(static_cast<size_t>(failing), 0);
      denseLdl.solveStatus = from;
      EXPECT_EQ(run(), to);
      EXPECT_EQ(ipm->numIter, 0);
    }
  }
}

TEST_F(Iteration, FailedFactorisationLeavesWithItsOwnStatusInThePassThatItBelongsTo) {
  for (const auto& [from, to] :
       {std::pair{1, QZ_STATUS_OUT_OF_MEMORY}, std::pair{13, QZ_STATUS_INTERRUPTED}, std::pair{2, QZ_STATUS_FAILED}}) {
    make();
    callNearOptimal();
    denseLdl.factorStatus = from;
    EXPECT_EQ(run(), to);
    EXPECT_EQ(denseLdl.solves, 0);
    EXPECT_EQ(ipm->numIter, 1);
  }
}

TEST_F(Iteration, LimitsLeaveInTrueTermsWithTheMeasuresOfTheScaledOnes) {
  for (const bool time : {false, true}) {
    make();
    pretendScaled();
    const double cost = ipm->obj[0];
    const double measured = ipm->objValuePrimal;
    if (time)
      timer.realLimit = 0.0;
    else
      ipm->maxIter = 0;
    EXPECT_EQ(run(), time ? QZ_STATUS_TIME_LIMIT : QZ_STATUS_ITERATION_LIMIT);
    EXPECT_EQ(test->hub.scaleState, 0);
    EXPECT_EQ(ipm->obj[0], cost / kObjScale);
    EXPECT_EQ(ipm->objValuePrimal, measured);
    EXPECT_EQ(ipm->stopState, STOP_NOW);
  }
}

TEST_F(Iteration, UnscaledPointIsMeasuredInTheSamePassAgainstTheOldMeasures) {
  make();
  pretendScaled();
  stopAtOnce();
  const double measured = ipm->objValuePrimal;
  const double before = ipm->mu;
  ipm->mu = ipm->infinityValue;  // as ahead of the first pass
  const int32_t result = run();
  EXPECT_EQ(result, ipm->status);
  EXPECT_EQ(test->hub.scaleState, 0);
  EXPECT_NEAR(ipm->objValuePrimal, measured / kObjScale, 1e-12 * (1.0 + std::fabs(measured)));
  EXPECT_NEAR(ipm->mu, before / kObjScale, 1e-12 * before);
  EXPECT_EQ(ipm->prevMu, ipm->infinityValue) << "what stood ahead of the pass";
  EXPECT_EQ(ipm->numIter, 0);
}

TEST_F(Iteration, NearOptimalWithAClosedGapLeavesAsOptimalThoughTheRowsMissByMoreThanTheTolerance) {
  make();
  stopAtOnce();
  ipm->tolPrimal = std::max(ipm->primalInfeas, ipm->boundInfeas) / 5.0;
  ipm->tolDual = 2.0 * ipm->dualInfeas;
  ipm->tolOptimality = 2.0 * ipm->dualityGap;
  ipm->tolComplement = 2.0 * ipm->complementarity;
  EXPECT_EQ(run(), QZ_STATUS_OPTIMAL);
  EXPECT_EQ(ipm->status, QZ_STATUS_OPTIMAL);
}

TEST_F(Iteration, NearOptimalWithAnOpenGapStaysSo) {
  make();
  stopAtOnce();
  callNearOptimal();
  EXPECT_EQ(run(), QZ_STATUS_NEAR_OPTIMAL);
  EXPECT_EQ(ipm->status, QZ_STATUS_NEAR_OPTIMAL);
}

// The previous measures of the first pass are zeros, which no start improves on.
TEST_F(Iteration, FirstPassCountsABadStep) {
  make();
  ASSERT_GT(largestInfeasibility(), 0.0);
  ipm->mu = ipm->infinityValue;
  ipm->dualityGap = ipm->primalInfeas = ipm->boundInfeas = ipm->dualInfeas = 0.0;
  ipm->maxIter = 0;
  EXPECT_EQ(run(), QZ_STATUS_ITERATION_LIMIT);
  EXPECT_EQ(ipm->countBadStep, 1);
}

}  // namespace
}  // namespace qz
