// iplpMain between a fake presolver module and a planted engine.
#include "shell/iplp_main.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/check.h"
#include "shell/lp_options.h"
#include "shell/solver_world.h"
#include "shell/timer.h"

namespace {

using namespace qz;
using qztest::EngineCall;
using qztest::events;
using qztest::fakeEngine;
using qztest::LpData;
using qztest::plantSolution;
using Codes = std::vector<uint32_t>;
using Events = std::vector<std::string>;

constexpr double kInf = 1e30;
constexpr uint32_t kBase = 0x827fd000u;

// The optimum of handData below, for objSense 1; the maximisation of the negated objective has it too, with the duals
// negated in the caller's terms.
const std::vector<double> kPoint = {2, 4, -1}, kDuals = {-1, -0.5, 2, 0.7};
constexpr double kObjective = -5.9;

LpData handData(int32_t objSense = 1) {
  const double s = objSense;
  return LpData(objSense, "LRGE", {6, 4, 3, 3}, {0, 3, 0, 0},
                {{0.5 * s, 0, kInf, {{0, 1}, {1, 1}, {2, 1}}},
                 {-2.3 * s, 0, 4, {{0, 1}, {1, 1}, {3, 1}}},
                 {-2.3 * s, -kInf, kInf, {{1, 2}, {2, -1}, {3, 1}}}});
}

class Solve : public qztest::SolverWorld {
 protected:
  Solve() {
    makeInstance();
    options = instance->createLpOptions(instance);
    options->timeType = 1;
    options->timeLimit = 1000.0;
    plant(1);
  }
  // The engine finds the optimum and says `status`.
  void plant(int32_t status, int32_t returns = 0) {
    fakeEngine = [status, returns](const EngineCall& call) {
      plantSolution(call, kPoint, kDuals);
      call.model->numIter = 13;
      call.model->complementarity = 1e-9;
      call.model->status = status;
      return returns;
    };
  }
  int32_t solve(LpData& lp) {
    log.sent.clear();
    events.clear();
    const int32_t status = instance->iplpMain(instance, &lp.record, options);
    EXPECT_EQ(lp.record.status, status);
    EXPECT_EQ(instance->presolveHandle, nullptr);
    EXPECT_EQ(presolver.object.handle, nullptr);
    EXPECT_EQ(presolver.object.result, nullptr);
    return status;
  }
  LpOptions* options;
  LpData data = handData();
};

const Events kWholeRoad = {"load presolver", "make presolver", "prepare",     "reduce",
                           "engine",         "postsolve",      "free result", "free handle"};

TEST_F(Solve, OptimumComesBackConfirmedAndReported) {
  options->printLevel = 1;
  data.record.objConstant = 100.0;
  EXPECT_EQ(solve(data), 1);
  EXPECT_EQ(events, kWholeRoad);
  EXPECT_EQ(presolver.preparedFor, options);
  EXPECT_EQ(presolver.reducing, &data.record);
  EXPECT_EQ(presolver.object.log, log.log());
  EXPECT_EQ(instance->options, options);
  EXPECT_EQ(instance->objConstantSaved, 100.0);
  EXPECT_EQ(data.record.returnCode, 0);
  EXPECT_EQ(data.record.numIter, 13);
  EXPECT_NEAR(data.record.objValue, 100.0 + kObjective, 1e-13);
  EXPECT_NEAR(data.record.dualityGap, 0.0, 1e-14);
  for (double measure : {data.record.primalInfeas, data.record.dualInfeas, data.record.boundInfeas})
    EXPECT_NEAR(measure, 0.0, 1e-14);
  for (int j = 0; j < 3; ++j) EXPECT_DOUBLE_EQ(data.solPrimal[j], kPoint[j]);
  for (int i = 0; i < 4; ++i) EXPECT_DOUBLE_EQ(data.solDual[i], kDuals[i]);
  EXPECT_EQ(log.codes(), (Codes{kBase + 0x801, kBase + 0x805, kBase + 0x001, kBase + 0x002, kBase + 0x806}));
  for (const qztest::Recorded& message : log.sent) EXPECT_EQ(message.level, 2);
}

TEST_F(Solve, MaximisationIsConfirmedToo) {
  LpData maximum = handData(-1);
  maximum.record.objConstant = 2.0;
  EXPECT_EQ(solve(maximum), 1);
  EXPECT_NEAR(maximum.record.objValue, 2.0 - kObjective, 1e-13);
  EXPECT_NEAR(maximum.record.dualityGap, 0.0, 1e-14);
  EXPECT_NEAR(log.find(kBase + 2)->arguments[0], 2.0 - kObjective, 1e-13);
  EXPECT_EQ(instance->objConstantSaved, -2.0);
}

TEST_F(Solve, NormalEquationsGiveTheSame) {
  options->methodOption = 1;
  EXPECT_EQ(solve(data), 1);
  EXPECT_NEAR(data.record.objValue, kObjective, 1e-13);
  EXPECT_NEAR(data.solPrimal[2], -1.0, 1e-15);
}

TEST_F(Solve, ModuleObjectAndTimerAreKeptOverSolves) {
  EXPECT_EQ(solve(data), 1);
  void* timer = instance->timer;
  EXPECT_EQ(solve(data), 1);
  EXPECT_EQ(instance->timer, timer);
  EXPECT_EQ(events, (Events{"prepare", "reduce", "engine", "postsolve", "free result", "free handle"}));
}

TEST_F(Solve, CallerOptionsMayBeNull) {
  events.clear();
  EXPECT_EQ(instance->iplpMain(instance, &data.record, nullptr), 1);
  ASSERT_NE(instance->options, nullptr);
  EXPECT_NE(instance->options, options);
  EXPECT_EQ(instance->options->methodOption, 100);
}

TEST_F(Solve, NullRecordIsAFailure) {
  EXPECT_EQ(instance->iplpMain(instance, nullptr, options), 10);
}

TEST_F(Solve, BreakCallbackTravelsToTheModel) {
  int word = 0;
  data.record.checkSolverBreak = [](void* given) -> int32_t { return ++*static_cast<int*>(given); };
  data.record.callerDataStruct = &word;
  uint8_t relax[3] = {1, 0, 2};
  presolver.relaxColBound = relax;
  bool called = false;
  fakeEngine = [&](const EngineCall& call) {
    called = true;
    EXPECT_EQ(call.model->checkSolverBreak(call.model->callerDataStruct), 1);
    EXPECT_EQ(call.model->relaxColBound, relax);
    return call.model->status = 12;
  };
  EXPECT_EQ(solve(data), 12);
  EXPECT_TRUE(called);
  EXPECT_EQ(word, 1);
  EXPECT_EQ(log.codes(), (Codes{kBase + 0x801, kBase + 0x805, kBase + 0x011, kBase + 0x806}));
}

TEST_F(Solve, SolveBehindABreakFindsTheOptimum) {
  plant(12, 12);
  EXPECT_EQ(solve(data), 12);
  plant(1);
  EXPECT_EQ(solve(data), 1);
  EXPECT_NEAR(data.record.objValue, kObjective, 1e-13);
  EXPECT_EQ(std::string(data.rowSense.begin(), data.rowSense.end()), "LRGE");
}

TEST_F(Solve, RejectedOptionsEndBeforeAnythingIsMade) {
  options->tolPrimal = 0.0;
  const int64_t before = host.outstanding();
  data.record.presolveTime = data.record.totalTime = 9.0;
  EXPECT_EQ(solve(data), 10);
  EXPECT_EQ(data.record.returnCode, 10);
  EXPECT_EQ(data.record.presolveTime, 0.0);
  EXPECT_EQ(data.record.totalTime, 0.0);
  EXPECT_EQ(host.outstanding(), before);
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(log.codes(), (Codes{kBase + 0x812}));
  EXPECT_EQ(instance->timer, nullptr);
}

TEST_F(Solve, RejectionBehindASolveChargesNoTime) {
  EXPECT_EQ(solve(data), 1);
  pass(50.0);
  options->initOption = 7;
  const double limit = options->timeLimit, used = options->usedTime;
  EXPECT_EQ(solve(data), 10);
  EXPECT_EQ(options->timeLimit, limit);
  EXPECT_EQ(options->usedTime, used);
}

TEST_F(Solve, TimerThatCannotBeMadeIsOutOfMemory) {
  timerLoads = false;
  EXPECT_EQ(solve(data), -1086);
  EXPECT_EQ(data.record.returnCode, -1086);
  EXPECT_TRUE(events.empty());
  timerLoads = true;
  EXPECT_EQ(solve(data), 1);
}

TEST_F(Solve, MissingPresolverIsReported) {
  presolverLoads = false;
  EXPECT_EQ(solve(data), -1086);
  EXPECT_EQ(data.record.returnCode, -1086);
  EXPECT_EQ(log.codes(), (Codes{kBase + 0x807}));
  EXPECT_EQ(log.sent[0].level, 4);
  presolverLoads = true;
  presolver.makesObject = false;
  EXPECT_EQ(solve(data), -1086);
  EXPECT_EQ(log.codes(), (Codes{kBase + 0x808}));
  EXPECT_EQ(log.sent[0].level, 4);
  presolver.makesObject = true;
  EXPECT_EQ(solve(data), 1);
  EXPECT_EQ(events[0], "make presolver") << "the module was kept";
}

TEST_F(Solve, FailedSetupOfThePresolverIsTheStatus) {
  presolver.prepareCode = 87;
  EXPECT_EQ(solve(data), 10) << "87 in the presolver's numbering";
  EXPECT_EQ(data.record.returnCode, 10);
  EXPECT_EQ(log.codes(), (Codes{kBase + 0x80b}));
  EXPECT_EQ(log.sent[0].level, 4);
  EXPECT_EQ(events.back(), "free handle");
  presolver.prepareCode = -1086;
  presolver.givesHandle = false;
  EXPECT_EQ(solve(data), -1086);
  presolver.prepareCode = 0;
  EXPECT_EQ(solve(data), -1086) << "no handle, though it says it went well";
  presolver.givesHandle = true;
  EXPECT_EQ(solve(data), 1);
}

TEST_F(Solve, ErrorOfTheReductionIsTheFinalStatus) {
  presolver.reduceCode = -1086;
  presolver.onReduce = [this] { pass(3.0); };
  EXPECT_EQ(solve(data), -1086);
  EXPECT_EQ(data.record.returnCode, -1086);
  EXPECT_DOUBLE_EQ(data.record.presolveTime, 3.0);
  EXPECT_DOUBLE_EQ(data.record.totalTime, 3.0);
  EXPECT_EQ(events, (Events{"load presolver", "make presolver", "prepare", "reduce", "free result", "free handle"}));
  EXPECT_TRUE(log.sent.empty());
}

TEST_F(Solve, ModelThatThePresolverSolvesAloneSkipsTheEngine) {
  presolver.reduceCode = 1;
  presolver.onReduce = [this] { pass(3.0); };
  presolver.onPostsolve = [this] { pass(0.5); };
  data.reducedCost[0] = data.rowActivity[0] = -55.0;
  data.record.primalInfeas = 44.0;
  struct Case {
    int32_t presolver, status;
  };
  for (const Case& c : {Case{81, 1}, Case{82, 82}, Case{83, 14}, Case{84, 84}, Case{85, 4}, Case{86, 3}, Case{87, 10},
                        Case{88, 8}, Case{89, 12}, Case{1, 1}, Case{0, 0}}) {
    presolver.solvedStatus = c.presolver;
    EXPECT_EQ(solve(data), c.status);
    EXPECT_EQ(data.record.returnCode, 0);
    EXPECT_DOUBLE_EQ(data.record.presolveTime, 3.5);
    EXPECT_DOUBLE_EQ(data.record.totalTime, 3.5);
    EXPECT_TRUE(log.sent.empty()) << "no report";
    EXPECT_EQ(data.reducedCost[0], -55.0) << "no new measure";
    EXPECT_EQ(data.record.primalInfeas, 44.0);
    EXPECT_EQ(std::count(events.begin(), events.end(), "engine"), 0);
    EXPECT_EQ(std::count(events.begin(), events.end(), "postsolve"), 1);
  }
}

TEST_F(Solve, TimeUsedUpByThePresolverEndsTheSolve) {
  for (int32_t type : {0, 1}) {
    options->timeType = type;
    options->timeLimit = 3.0;
    options->usedTime = 0.0;
    presolver.onReduce = [this] { pass(3.0); };
    EXPECT_EQ(solve(data), 8);
    EXPECT_EQ(data.record.returnCode, 0);
    EXPECT_EQ(log.codes(), (Codes{kBase + (type == 0 ? 0x00bu : 0x00cu)})) << "without an objective value";
    EXPECT_EQ(log.sent[0].level, 2);
    EXPECT_DOUBLE_EQ(data.record.totalTime, 3.0);
    EXPECT_EQ(std::count(events.begin(), events.end(), "engine"), 0);
    EXPECT_EQ(std::count(events.begin(), events.end(), "postsolve"), 0);
    EXPECT_DOUBLE_EQ(options->timeLimit, -3.0);
    EXPECT_DOUBLE_EQ(options->usedTime, 6.0);
  }
}

TEST_F(Solve, PresolveTimeCountsTwice) {
  options->timeLimit = 100.0;
  presolver.onReduce = [this] { pass(10.0); };
  presolver.onPostsolve = [this] { pass(2.0); };
  fakeEngine = [this](const EngineCall& call) {
    double limit = 0.0, left = 0.0;
    IPM_timerGetLimit(call.timer, &limit);
    IPM_timerLeftTime(call.timer, &left);
    EXPECT_DOUBLE_EQ(limit, 90.0) << "lowered by the presolve";
    EXPECT_DOUBLE_EQ(left, 80.0) << "and its reading includes the presolve";
    EXPECT_DOUBLE_EQ(call.option->timeLimit, 90.0);
    pass(5.0);
    plantSolution(call, kPoint, kDuals);
    return call.model->status = 1, 0;
  };
  EXPECT_EQ(solve(data), 1);
  EXPECT_DOUBLE_EQ(data.record.presolveTime, 12.0);
  EXPECT_DOUBLE_EQ(data.record.totalTime, 17.0);
  EXPECT_DOUBLE_EQ(log.find(kBase + 0x806)->arguments[0], 5.0);
  EXPECT_DOUBLE_EQ(options->usedTime, 10.0 + 17.0) << "the first reading and then the total";
  EXPECT_DOUBLE_EQ(options->timeLimit, 100.0 - 27.0);
}

TEST_F(Solve, ClockFollowsTheTimeType) {
  options->timeType = 0;
  fakeEngine = [this](const EngineCall& call) {
    clock.cpu += 2.0;
    host.now += 9.0;
    return call.model->status = 7, 0;
  };
  solve(data);
  EXPECT_DOUBLE_EQ(data.record.totalTime, 2.0);
  options->timeType = 5;
  solve(data);
  EXPECT_DOUBLE_EQ(data.record.totalTime, 9.0);
}

// What the input check turns down ends with the status 0, which is none, and the report of an unknown one.
TEST_F(Solve, RefusedInputIsReportedAsAnUnknownStatus) {
  if (!kVerificationBuilt) GTEST_SKIP() << "this build has no input check";
  options->debugLevel = 1;
  presolver.onReduce = [this] { presolver.reduced()->matValue[0] = 0.0; };
  EXPECT_EQ(solve(data), 0);
  EXPECT_EQ(data.record.returnCode, 0);
  EXPECT_EQ(std::count(events.begin(), events.end(), "engine"), 0);
  EXPECT_EQ(std::count(events.begin(), events.end(), "postsolve"), 1);
  EXPECT_NE(log.find(kBase + 0x012), nullptr);
  options->debugLevel = 0;
  EXPECT_EQ(solve(data), 1) << "nobody looks at level 0";
}

TEST_F(Solve, OutOfMemoryInTheEngineSkipsThePostsolve) {
  plant(1, -1086);
  data.solPrimal[0] = -33.0;
  EXPECT_EQ(solve(data), -1086);
  EXPECT_EQ(data.record.returnCode, -1086);
  EXPECT_EQ(data.solPrimal[0], -33.0);
  EXPECT_EQ(events,
            (Events{"load presolver", "make presolver", "prepare", "reduce", "engine", "free result", "free handle"}));
  EXPECT_EQ(log.codes(), (Codes{kBase + 0x801, kBase + 0x805, kBase + 0x006, kBase + 0x806}));
  EXPECT_EQ(log.sent[2].level, 4);
}

TEST_F(Solve, FailedPostsolveIsReportedByItsOwnNumber) {
  struct Case {
    int32_t code, status, level;
    uint32_t message;
  };
  for (const Case& c : {Case{89, 12, 3, kBase + 0x011}, Case{-1086, -1086, 4, kBase + 0x006},
                        Case{87, 10, 2, kBase + 0x00d}, Case{5, 5, 2, kBase + 0x00d}}) {
    presolver.postsolveCode = c.code;
    data.record.complementarity = 0.0;
    EXPECT_EQ(solve(data), c.status);
    EXPECT_EQ(data.record.returnCode, c.status);
    EXPECT_EQ(log.codes(), (Codes{kBase + 0x801, kBase + 0x805, c.message, kBase + 0x806}));
    EXPECT_EQ(log.sent[2].level, c.level);
    options->printLevel = 0;
    EXPECT_EQ(solve(data), c.status);
    EXPECT_TRUE(log.sent.empty());
    options->printLevel = 2;
    presolver.reduceCode = 1;  // without a model there is no solve time
    EXPECT_EQ(solve(data), c.status);
    EXPECT_EQ(log.codes(), (Codes{c.message}));
    presolver.reduceCode = 0;
  }
}

TEST_F(Solve, UnconfirmedOptimumComesBackAsAFailure) {
  fakeEngine = [](const EngineCall& call) {
    plantSolution(call, {2.5, 5.0, -1}, {-1, -0.5, 2, 0.7});  // beyond the bound of x1 and the rows
    call.solution->dual[2] = -7.0;
    return call.model->status = 1, 0;
  };
  EXPECT_EQ(solve(data), 10);
  EXPECT_EQ(data.record.returnCode, 0);
  EXPECT_EQ(log.codes(), (Codes{kBase + 0x801, kBase + 0x805, kBase + 0x8ce, kBase + 0x8cf, kBase + 0x8d0,
                                kBase + 0x00d, kBase + 0x806}));
  const double values[] = {data.record.primalInfeas, data.record.boundInfeas, data.record.dualInfeas};
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(log.sent[2 + k].level, 4);
    EXPECT_EQ(log.sent[2 + k].arguments, (std::vector<double>{values[k], 1e-6}));
    EXPECT_GT(values[k], 1e-5);
  }
}

TEST_F(Solve, ExcessIsNamedOnlyBeyondTenTimesTheTolerance) {
  // A bound violation of x1 alone, of a size on either side of ten times its tolerance.
  for (double factor : {0.9, 1.1}) {
    const double bounds = 1.0 + 4.0;  // 1 + norm of the finite bounds
    const double beyond = factor * 10.0 * 1e-6 * bounds;
    data.rhs = {6 + beyond, 4 + beyond, 3, 3 + beyond};
    data.point();
    fakeEngine = [beyond](const EngineCall& call) {
      plantSolution(call, {2, 4 + beyond, -1}, kDuals);
      call.model->complementarity = 1e300;  // a small one would make it an answer of reduced accuracy
      return call.model->status = 1, 0;
    };
    options->tolOptimality = 1e-12;
    EXPECT_EQ(solve(data), 10);
    const bool named = log.find(kBase + 0x8cf) != nullptr;
    EXPECT_EQ(named, factor > 1.0);
    EXPECT_EQ(log.find(kBase + 0x8ce), nullptr);
    EXPECT_EQ(log.find(kBase + 0x8d0), nullptr);
  }
}

TEST_F(Solve, GapAloneGivesTenWithoutMeasures) {
  // Feasible on both sides, but far from optimal: x0 may be anything, its cost is not met.
  LpData open(1, "G", {1}, {}, {{1, 0, 10, {{0, 1}}}});
  fakeEngine = [](const EngineCall& call) {
    plantSolution(call, {5}, {0});
    call.model->complementarity = 1e300;
    return call.model->status = 1, 0;
  };
  options->printLevel = 1;
  EXPECT_EQ(solve(open), 10);
  EXPECT_EQ(log.codes(), (Codes{kBase + 0x801, kBase + 0x805, kBase + 0x00d, kBase + 0x806}));
}

TEST_F(Solve, ComplementarityIsHeldAgainstTheOptimalityTolerance) {
  // x0 x d0 = 1e-4 beside an objective of 1e6, which hides it from the relative gap.
  LpData pair(1, "E", {1e6}, {}, {{0.25, 0, kInf, {}}, {1, -kInf, kInf, {{0, 1}}}});
  fakeEngine = [](const EngineCall& call) {
    plantSolution(call, {4e-4, 1e6}, {1});
    call.model->complementarity = 1e300;
    return call.model->status = 1, 0;
  };
  options->tolPrimal = options->tolDual = 1e-2;
  EXPECT_EQ(solve(pair), 15);
  EXPECT_DOUBLE_EQ(pair.record.complementarity, 1e-4);
  options->tolOptimality = 1e-3;
  EXPECT_EQ(solve(pair), 1);
}

TEST_F(Solve, ReducedAccuracyIsMeasuredAgain) {
  plant(15);
  EXPECT_EQ(solve(data), 1) << "the caller's data confirm a full optimum";
  EXPECT_NE(log.find(kBase + 0x001), nullptr);
}

TEST_F(Solve, LimitsAreMeasuredButKeepTheirStatus) {
  for (int32_t status : {7, 8}) {
    plant(status);
    data.record.dualityGap = 77.0;
    EXPECT_EQ(solve(data), status);
    EXPECT_NEAR(data.record.dualityGap, 0.0, 1e-14);
    EXPECT_NEAR(data.record.objValue, kObjective, 1e-13);
  }
}

TEST_F(Solve, OtherEndsAreNotMeasured) {
  for (int32_t status : {3, 4, 14}) {
    fakeEngine = [status](const EngineCall& call) {
      plantSolution(call, kPoint, kDuals);
      call.model->dualityGap = 55.0;
      return call.model->status = status, 0;
    };
    EXPECT_EQ(solve(data), status);
    EXPECT_EQ(data.record.dualityGap, 55.0);
  }
}

TEST_F(Solve, ReportUsesTheModelsObjective) {
  // The record's constant comes in behind the presolver, which gave the engine none.
  presolver.onReduce = [this] { presolver.reduced()->objValue = 0.0; };
  data.record.objConstant = 50.0;
  EXPECT_EQ(solve(data), 1);
  EXPECT_NEAR(log.find(kBase + 2)->arguments[0], kObjective, 1e-13);
  EXPECT_NEAR(data.record.objValue, 50.0 + kObjective, 1e-13);
}

TEST_F(Solve, CrossoverThatDidNotRunIsReportedNormally) {
  options->crossover = 1;
  plant(7);
  EXPECT_EQ(solve(data), 7);
  EXPECT_NE(log.find(kBase + 0x008), nullptr);
  EXPECT_NE(log.find(kBase + 0x806), nullptr);
  EXPECT_EQ(options->crossover, 1) << "the caller's own choice stays";
}

// The simplex module's answer, reported by itself: nothing is measured again.
TEST_F(Solve, CrossoverReplacesTheInteriorAnswer) {
  options->crossover = 2;
  options->printLevel = 1;
  options->maxIter = 1000;
  pass(2.0);
  simplex.onRun = [this](QzSimplexObject*, QzPresolveObject*, QzPresolveHandle* handle, LpRecord* record) {
    EXPECT_EQ(record, presolver.reduced());
    EXPECT_EQ(handle, &presolver.handle);
    EXPECT_EQ(handle->settings->startMode, 1);
    EXPECT_EQ(record->objValue, 100.0) << "the objective constant";
    EXPECT_EQ(record->checkSolverBreak, data.record.checkSolverBreak);
    record->status = 1;
    record->objValue = 77.0;
    record->primalInfeas = 1e-11;
    record->dualInfeas = 2e-11;
    record->boundInfeas = 3e-11;
    record->solPrimal[0] = 123.0;
    pass(4.0);
    return 0;
  };
  data.record.objConstant = 100.0;
  EXPECT_EQ(solve(data), 1);
  EXPECT_EQ(events,
            (Events{"load presolver", "make presolver", "prepare", "reduce", "engine", "load simplex", "make simplex",
                    "run simplex", "destroy simplex", "unload simplex", "postsolve", "free result", "free handle"}));
  EXPECT_EQ(data.record.objValue, 77.0);
  EXPECT_EQ(data.record.dualityGap, 0.0);
  EXPECT_EQ(data.record.complementarity, 0.0);
  EXPECT_EQ(data.record.primalInfeas, 1e-11);
  EXPECT_EQ(data.record.dualInfeas, 2e-11);
  EXPECT_EQ(data.record.boundInfeas, 3e-11);
  EXPECT_EQ(data.record.numIter, 13) << "of the interior-point method";
  EXPECT_EQ(data.solPrimal[0], 123.0);
  EXPECT_NEAR(data.record.totalTime, 4.0, 1e-9) << "the crossover's time counts";
  EXPECT_EQ(log.codes(), (Codes{kBase + 0x801, kBase + 0x805, kBase + 0x806}));
}

TEST_F(Solve, CrossoverGetsTheTimeThatIsLeft) {
  options->crossover = 1;
  presolver.onReduce = [this] { pass(10.0); };
  fakeEngine = [this](const EngineCall& call) {
    plantSolution(call, kPoint, kDuals);
    pass(20.0);
    return call.model->status = 1, 0;
  };
  double given = 0.0;
  simplex.onRun = [&](QzSimplexObject*, QzPresolveObject*, QzPresolveHandle* handle, LpRecord* record) {
    given = handle->limits->timeLimit;
    EXPECT_EQ(handle->settings->startMode, 2);
    EXPECT_EQ(handle->settings->iterLimit, 0x7fffffff);
    record->status = 1;
    return 0;
  };
  EXPECT_EQ(solve(data), 1);
  EXPECT_NEAR(given, 1000.0 - 10.0 - 30.0, 1e-9) << "the presolver module's time counts twice";
}

TEST_F(Solve, CrossoverWithoutASimplexModuleVoidsTheAnswer) {
  options->crossover = 1;
  simplexLoads = false;
  EXPECT_EQ(solve(data), -1086);
  EXPECT_EQ(data.record.returnCode, -1086);
  EXPECT_NE(log.find(kBase + 0x809), nullptr);
  EXPECT_EQ(log.find(kBase + 0x006), nullptr) << "no final report behind a crossover";
  EXPECT_EQ(std::count(events.begin(), events.end(), "postsolve"), 0);
  EXPECT_EQ(events.back(), "free handle");
  EXPECT_EQ(data.matValue, handData().matValue);
  EXPECT_EQ(data.obj, handData().obj);
}

TEST_F(Solve, CrossoverThatStopsGivesItsStatus) {
  options->crossover = 1;
  for (int32_t status : {7, 8, 12, 10, 3}) {
    simplex.onRun = [status](QzSimplexObject*, QzPresolveObject*, QzPresolveHandle*, LpRecord* record) {
      record->status = status;
      return 0;
    };
    EXPECT_EQ(solve(data), status);
    EXPECT_EQ(log.find(kBase + 0x001), nullptr);
  }
  simplex.onRun = [](QzSimplexObject*, QzPresolveObject*, QzPresolveHandle*, LpRecord*) { return 10; };
  EXPECT_EQ(solve(data), 10) << "a failed run is the status";
}

// What a crossover leaves behind does not reach into the next solve.
TEST_F(Solve, SolvesAfterACrossoverAreAsBefore) {
  options->crossover = 1;
  simplexLoads = false;
  EXPECT_EQ(solve(data), -1086);
  options->crossover = 0;
  EXPECT_EQ(solve(data), 1);
  EXPECT_NEAR(data.record.objValue, kObjective, 1e-13);
}

TEST_F(Solve, PrintLevelZeroIsSilent) {
  options->printLevel = 0;
  EXPECT_EQ(solve(data), 1);
  EXPECT_TRUE(log.sent.empty());
}

TEST_F(Solve, NullLogIsSilent) {
  instance->log = nullptr;
  EXPECT_EQ(solve(data), 1);
  EXPECT_TRUE(log.sent.empty());
}

TEST_F(Solve, MissingAnswerArraysKeepTheEnginesStatus) {
  data.record.rowActivity = nullptr;
  data.record.dualityGap = 7.0;
  EXPECT_EQ(solve(data), 1);
  EXPECT_EQ(data.record.dualityGap, 0.0) << "the engine's";
}

TEST_F(Solve, PresolverWithoutAResultIsOutOfMemory) {
  presolver.givesResult = false;
  for (int32_t code : {0, 1}) {
    presolver.reduceCode = code;
    EXPECT_EQ(solve(data), -1086);
    EXPECT_EQ(events.back(), "free handle");
  }
}

TEST_F(Solve, EveryFailedAllocationIsOutOfMemoryAndLeavesNothing) {
  options->methodOption = 1;
  EXPECT_EQ(solve(data), 1);
  const int64_t before = host.outstanding();
  for (int64_t k = 1;; ++k) {
    host.failAllocation(k);
    const int32_t status = solve(data);
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), before) << k;
    EXPECT_EQ(events.back(), "free handle");
    if (status == 1) {
      EXPECT_EQ(k, 19) << "model, options, and sixteen in the pipeline";
      break;
    }
    ASSERT_EQ(status, -1086) << k;
    ASSERT_EQ(data.record.returnCode, -1086);
  }
}

TEST_F(Solve, OptionsThatCannotBeMadeAreOutOfMemory) {
  host.failAllocation(1);
  EXPECT_EQ(instance->iplpMain(instance, &data.record, nullptr), -1086);
  host.failAllocation(0);
  EXPECT_EQ(data.record.status, -1086);
  EXPECT_EQ(data.record.returnCode, -1086);
}

TEST(PresolverStatus, TranslationLeavesAllOtherNumbers) {
  for (int32_t same : {0, 1, 3, 12, 80, 82, 84, 90, -1086, -81}) EXPECT_EQ(translatePresolverStatus(same), same);
}

}  // namespace
