#include "engine/stopping.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/test_host.h"

namespace qz {
namespace {

int32_t takeCpuSample(QzTimerModule*, QzTimerSample* sample) {
  *sample = QzTimerSample{};
  return 0;
}

int32_t noDifference(QzTimerModule*, const QzTimerSample*, const QzTimerSample*, QzTimerDifference* difference) {
  *difference = QzTimerDifference{};
  return 0;
}

// An iterate in the middle of a healthy run: nothing is met yet and everything falls.
class Stopping : public ::testing::Test {
 protected:
  Stopping() {
    perf.takeSample = takeCpuSample;
    perf.difference = noDifference;
    timer.type = 1;
    timer.perfModule = &perf;
    timer.realLimit = std::numeric_limits<double>::max();
    timer.realStart = host.now;
    ipm.timer = &timer;
    ipm.tolPrimal = ipm.tolDual = ipm.tolOptimality = ipm.tolComplement = 1e-6;
    ipm.infinityValue = 1e20;
    ipm.muLimit = 1e-20;
    ipm.positiveLimit = 1e-50;
    ipm.maxIter = 500;
    ipm.numIter = 5;
    ipm.firstMu = 100.0;
    ipm.mu = 1.0;
    ipm.prevMu = 2.0;
    ipm.dualityGap = 1.0;
    ipm.prevGap = 2.0;
    ipm.primalInfeas = ipm.boundInfeas = ipm.dualInfeas = 1e-2;
    ipm.prevPrimalInfeas = ipm.prevBoundInfeas = ipm.prevDualInfeas = 1e-1;
    ipm.complRatio = 0.5;
    ipm.complementarity = 1.0;
    ipm.minPositive = 1e-3;
    ipm.maxPrimal = ipm.maxDual = 10.0;
    ipm.alphaPrimal = ipm.alphaDual = 0.5;
    ipm.status = QZ_STATUS_BOTH_INFEASIBLE;
    ipm.model = &model;
    ipm.primal = &primal;
    ipm.dual = &dual;
    ipm.workReal1 = &work;
    model.numRow = model.numCol = model.numCoef = 1;
    model.colBegin = &begin;
    model.colLength = &length;
    model.rowIndex = &begin;
    model.matValue = &element;
    model.obj = &cost;
    model.lower = &lower;
    model.upper = &upper;
    model.rhs = &rhs;
    model.rowSense = &sense;
  }
  // min -x on 1 x >= 0, x >= 0, far out.
  void runAlongARay() {
    cost = -1.0;
    primal = 1e6;
  }
  // x <= -1 against x >= 0, with a large multiplier.
  void runAlongAFarkasProof() {
    element = -1.0;
    rhs = 1.0;
    dual = 1e6;
  }
  void feasible() {
    ipm.primalInfeas = ipm.boundInfeas = ipm.dualInfeas = 1e-7;
    ipm.prevPrimalInfeas = ipm.prevBoundInfeas = ipm.prevDualInfeas = 1e-7;
  }
  // mu has stopped falling at 1e-5.
  void stall() {
    feasible();
    ipm.mu = ipm.prevMu = 1e-5;
    ipm.dualityGap = 0.05;
  }
  void decide() { decideStop(&ipm, &hub, &submodel); }

  qztest::TestHost host;
  QzTimerModule perf{};
  IPM_timer timer{};
  Hub hub{};
  SubModel submodel{};
  Ipm ipm{};
  Model model{};
  double cost = 1.0, element = 1.0, lower = 0.0, upper = 1e20, rhs = 0.0, primal = 1.0, dual = 1.0, work = 0.0;
  int32_t begin = 0, length = 1;
  char sense = 'G';
};

int32_t askOnce(void* calls) {
  return ++*static_cast<int*>(calls) == 1 ? 1 : 0;
}

TEST_F(Stopping, HealthyIterateGoesOn) {
  decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
  EXPECT_EQ(ipm.status, QZ_STATUS_BOTH_INFEASIBLE);
  EXPECT_EQ(ipm.countBadStep, 0);
}

TEST_F(Stopping, PollWithoutCallbackOrLimitSeesNothing) {
  EXPECT_FALSE(pollStop(&ipm));
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
}

TEST_F(Stopping, PollReportsABreak) {
  int calls = 0;
  ipm.checkSolverBreak = askOnce;
  ipm.callerDataStruct = &calls;
  EXPECT_TRUE(pollStop(&ipm));
  EXPECT_EQ(ipm.status, QZ_STATUS_INTERRUPTED);
  EXPECT_EQ(ipm.stopState, STOP_NOW);
}

TEST_F(Stopping, LimitWinsOverABreakOfTheSameMoment) {
  int calls = 0;
  ipm.checkSolverBreak = askOnce;
  ipm.callerDataStruct = &calls;
  timer.realLimit = 0.0;  // a limit that equals the used time counts as reached
  EXPECT_TRUE(pollStop(&ipm));
  EXPECT_EQ(ipm.status, QZ_STATUS_TIME_LIMIT);
}

TEST_F(Stopping, FirstMuFollowsMuOnlyAtIterationZero) {
  decide();
  EXPECT_EQ(ipm.firstMu, 100.0);
  ipm.numIter = 0;
  decide();
  EXPECT_EQ(ipm.firstMu, 1.0);
}

TEST_F(Stopping, OptimalStopsAtOnceWithoutUnscaleCheck) {
  ipm.status = QZ_STATUS_OPTIMAL;
  ipm.maxIter = 0;  // the iteration limit is not asked
  decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
  EXPECT_EQ(ipm.status, QZ_STATUS_OPTIMAL);
}

TEST_F(Stopping, OptimalWithUnscaleCheckIsToBeConfirmed) {
  ipm.status = QZ_STATUS_OPTIMAL;
  ipm.unscaleCheck = 1;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_RESET_GO_ON);
}

TEST_F(Stopping, OptimalWithUnscaleCheckStopsWhileAChangeIsPending) {
  int32_t SubModel::*const flags[] = {&SubModel::bBigBoundSlack, &SubModel::bBigIneqnSlack, &SubModel::bBigBoundDual};
  for (auto flag : flags) {
    submodel = SubModel{};
    submodel.*flag = BIG_INVITRO;
    ipm.status = QZ_STATUS_OPTIMAL;
    ipm.unscaleCheck = 1;
    decide();
    EXPECT_EQ(ipm.stopState, STOP_NOW);
    submodel.*flag = BIG_INVIVO;  // an in vivo change alone is not pending
    decide();
    EXPECT_EQ(ipm.stopState, STOP_RESET_GO_ON);
  }
}

TEST_F(Stopping, LeftBigLevelCountsAsPendingOnce) {
  hub.bigLevelLeft = 1;
  ipm.status = QZ_STATUS_OPTIMAL;
  ipm.unscaleCheck = 1;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
  EXPECT_EQ(hub.bigLevelLeft, 0);
  decide();
  EXPECT_EQ(ipm.stopState, STOP_RESET_GO_ON);
}

TEST_F(Stopping, NullSubmodelReadsAsNoChange) {
  ipm.status = QZ_STATUS_OPTIMAL;
  ipm.unscaleCheck = 1;
  decideStop(&ipm, &hub, nullptr);
  EXPECT_EQ(ipm.stopState, STOP_RESET_GO_ON);
}

TEST_F(Stopping, MuAtItsLimitGoesOnAndBelowStops) {
  ipm.mu = 1e-20;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
  ipm.mu = 0.9e-20;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
}

TEST_F(Stopping, VanishingSlackStops) {
  ipm.minPositive = 0.9e-50;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
}

TEST_F(Stopping, IterationLimitStillSpeaksForAnExhaustedIterate) {
  ipm.mu = 0.9e-20;
  ipm.maxIter = 5;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
  EXPECT_EQ(ipm.status, QZ_STATUS_ITERATION_LIMIT);
}

TEST_F(Stopping, DivergingPrimalTurnsNearOptimalIntoDualInfeasible) {
  ipm.status = QZ_STATUS_NEAR_OPTIMAL;
  ipm.maxPrimal = 1e20;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
  EXPECT_EQ(ipm.status, QZ_STATUS_DUAL_INFEASIBLE);
}

TEST_F(Stopping, DivergingPairTurnsNearOptimalIntoBothInfeasible) {
  ipm.status = QZ_STATUS_NEAR_OPTIMAL;
  ipm.maxPrimal = ipm.maxDual = 1e20;
  decide();
  EXPECT_EQ(ipm.status, QZ_STATUS_BOTH_INFEASIBLE);
}

TEST_F(Stopping, DivergingDualTurnsNearOptimalIntoPrimalInfeasible) {
  ipm.status = QZ_STATUS_NEAR_OPTIMAL;
  ipm.maxDual = 1e20;
  decide();
  EXPECT_EQ(ipm.status, QZ_STATUS_PRIMAL_INFEASIBLE);
}

TEST_F(Stopping, DivergenceKeepsAnyOtherStatus) {
  ipm.status = QZ_STATUS_FAILED;
  ipm.maxPrimal = 1e20;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
  EXPECT_EQ(ipm.status, QZ_STATUS_FAILED);
}

TEST_F(Stopping, FeasibleAndSeparatedAsksForAReset) {
  feasible();
  ipm.complRatio = 0.001;
  ipm.status = QZ_STATUS_FAILED;
  ipm.maxIter = 0;  // not asked either
  decide();
  EXPECT_EQ(ipm.stopState, STOP_RESET_GO_ON);
  ipm.complRatio = 0.0011;
  ipm.maxIter = 500;
  ipm.stopState = STOP_ITERATE;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
}

// An infeasible model may come by such points on its way.
TEST_F(Stopping, ExhaustedIterateThatHasSeparatedGoesOn) {
  for (const bool slack : {false, true}) {
    feasible();
    ipm.complRatio = 0.001;
    ipm.status = QZ_STATUS_NEAR_OPTIMAL;
    ipm.mu = slack ? 1.0 : 0.9e-20;
    ipm.minPositive = slack ? 0.9e-50 : 1.0;
    decide();
    EXPECT_EQ(ipm.stopState, STOP_RESET_GO_ON);
  }
}

TEST_F(Stopping, PendingChangeKeepsTheResetOff) {
  feasible();
  ipm.complRatio = 0.0;
  submodel.bBigIneqnSlack = BIG_INVITRO;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
}

TEST_F(Stopping, GoodStepsAreCountedInARow) {
  ipm.alphaPrimal = ipm.alphaDual = 0.91;
  decide();
  decide();
  EXPECT_EQ(ipm.countGoodStep, 2);
  ipm.alphaDual = 0.9;
  decide();
  EXPECT_EQ(ipm.countGoodStep, 0);
}

TEST_F(Stopping, PointThatCannotMoveCountsAsBad) {
  ipm.alphaPrimal = ipm.alphaDual = 0.9e-6;
  decide();
  EXPECT_EQ(ipm.countBadStep, 0) << "the infeasibilities still fall";
  ipm.prevPrimalInfeas = ipm.primalInfeas;
  decide();
  EXPECT_EQ(ipm.countBadStep, 1);
  ipm.alphaDual = 1.1e-6;
  decide();
  EXPECT_EQ(ipm.countBadStep, 1);
  ipm.numIter = 0;
  ipm.alphaDual = 0.0;
  decide();
  EXPECT_EQ(ipm.countBadStep, 1) << "no step was made yet";
}

TEST_F(Stopping, GrownMuAloneDoesNotStop) {
  ipm.mu = 1e30;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE) << "where there is no interior the first steps may multiply mu";
}

TEST_F(Stopping, GrownMuAlongAFarkasProofStops) {
  runAlongAFarkasProof();
  ipm.mu = 1.01e5;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
}

TEST_F(Stopping, GrownMuAlongARayStops) {
  runAlongARay();
  ipm.mu = 1e5;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
  ipm.mu = 1.01e5;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
}

TEST_F(Stopping, GrownMuIsMeasuredAgainstOneWhenTheFirstWasSmaller) {
  runAlongARay();
  ipm.firstMu = 1e-3;
  ipm.mu = 999.0;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
  ipm.mu = 1001.0;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
}

TEST_F(Stopping, ThirdStalledIterationTriesALastResetWhenSeparating) {
  stall();
  ipm.complRatio = 0.05;
  decide();
  decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
  EXPECT_EQ(ipm.countStall, 2);
  decide();
  EXPECT_EQ(ipm.stopState, STOP_RESET_STOP);
}

TEST_F(Stopping, ThirdStalledIterationEndsNearOptimalWhenNotSeparating) {
  stall();
  ipm.complRatio = 0.1;
  for (int k = 0; k < 3; ++k) decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
  EXPECT_EQ(ipm.status, QZ_STATUS_NEAR_OPTIMAL);
}

TEST_F(Stopping, ThirdStalledIterationEndsNearOptimalWhileAChangeIsPending) {
  stall();
  ipm.complRatio = 0.05;
  submodel.bBigBoundSlack = BIG_INVITRO;
  for (int k = 0; k < 3; ++k) decide();
  EXPECT_EQ(ipm.status, QZ_STATUS_NEAR_OPTIMAL);
}

TEST_F(Stopping, StallFarFromFeasibleStopsAsItIs) {
  stall();
  ipm.primalInfeas = ipm.prevPrimalInfeas = 1.1e-4;
  ipm.status = QZ_STATUS_PRIMAL_INFEASIBLE;
  for (int k = 0; k < 3; ++k) decide();
  EXPECT_EQ(ipm.stopState, STOP_NOW);
  EXPECT_EQ(ipm.status, QZ_STATUS_PRIMAL_INFEASIBLE);
}

TEST_F(Stopping, StallKeepsItsCountWhileAnInfeasibilityStillFalls) {
  stall();
  ipm.complRatio = 0.05;
  decide();
  ipm.dualInfeas = 1e-3;
  ipm.prevDualInfeas = 1e-2;
  decide();
  EXPECT_EQ(ipm.countStall, 1);
}

TEST_F(Stopping, StallCountIsClearedByAFallingMu) {
  stall();
  ipm.complRatio = 0.05;
  decide();
  ipm.prevMu = 2e-5;
  decide();
  EXPECT_EQ(ipm.countStall, 0);
}

TEST_F(Stopping, LargeMuOrLargeGapIsNoStall) {
  stall();
  ipm.complRatio = 0.05;
  ipm.mu = ipm.prevMu = 1.1e-4;
  decide();
  EXPECT_EQ(ipm.countStall, 0);
  ipm.mu = ipm.prevMu = 1e-4;
  ipm.dualityGap = 0.1;
  decide();
  EXPECT_EQ(ipm.countStall, 0);
  ipm.dualityGap = 0.09;
  decide();
  EXPECT_EQ(ipm.countStall, 1);
}

TEST_F(Stopping, FiftiethBadStepStops) {
  ipm.mu = 3.0;  // grown, and the infeasibilities did not fall by a hundredth
  ipm.prevPrimalInfeas = ipm.prevBoundInfeas = ipm.prevDualInfeas = 1e-2;
  for (int k = 0; k < 49; ++k) decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
  decide();
  EXPECT_EQ(ipm.countBadStep, 50);
  EXPECT_EQ(ipm.stopState, STOP_NOW);
}

TEST_F(Stopping, OneFallingSideMakesAStepGood) {
  ipm.mu = 3.0;
  decide();  // all three infeasibilities fall
  EXPECT_EQ(ipm.countBadStep, 0);
  ipm.prevPrimalInfeas = 1e-2;
  decide();  // one of them does not, and mu grew
  EXPECT_EQ(ipm.countBadStep, 1);
}

TEST_F(Stopping, UndefinedMuCountsABadStepAndNothingElse) {
  ipm.mu = std::numeric_limits<double>::quiet_NaN();
  ipm.prevPrimalInfeas = 1e-2;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
  EXPECT_EQ(ipm.countBadStep, 1);
  EXPECT_EQ(ipm.countStall, 0);
}

TEST_F(Stopping, IterationLimitIsReachedExactly) {
  ipm.maxIter = 6;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
  ipm.maxIter = 5;
  decide();
  EXPECT_EQ(ipm.status, QZ_STATUS_ITERATION_LIMIT);
  EXPECT_EQ(ipm.stopState, STOP_NOW);
}

TEST_F(Stopping, IterationCeilingIsAFailure) {
  ipm.maxIter = 5000;
  ipm.numIter = 999;
  decide();
  EXPECT_EQ(ipm.stopState, STOP_ITERATE);
  ipm.numIter = 1000;
  decide();
  EXPECT_EQ(ipm.status, QZ_STATUS_FAILED);
  EXPECT_EQ(ipm.stopState, STOP_NOW);
}

TEST_F(Stopping, IterationLimitGoesBeforeTheCeiling) {
  ipm.maxIter = 1000;
  ipm.numIter = 1000;
  decide();
  EXPECT_EQ(ipm.status, QZ_STATUS_ITERATION_LIMIT);
}

TEST_F(Stopping, BreakInTheDecisionGoesBeforeTheIterationLimit) {
  int calls = 0;
  ipm.checkSolverBreak = askOnce;
  ipm.callerDataStruct = &calls;
  ipm.maxIter = 0;
  decide();
  EXPECT_EQ(ipm.status, QZ_STATUS_INTERRUPTED);
}

}  // namespace
}  // namespace qz
