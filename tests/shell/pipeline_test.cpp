// ipmMain around a planted engine.
#include "shell/pipeline.h"

#include <gtest/gtest.h>

#include <cmath>

#include "shell/fake_engine.h"
#include "shell/pipeline_case.h"
#include "shell/pool.h"
#include "shell/recording_log.h"
#include "transform/model_fixture.h"

namespace {

using namespace qz;
using qztest::EngineCall;
using qztest::handModel;
using qztest::kDuals;
using qztest::kInf;
using qztest::kPoint;
using qztest::plantSolution;
using qztest::TestModel;

class Pipeline : public qztest::PipelineCase {
 protected:
  Pipeline() {
    env.log = log.log();
    option.printLevel = 1;
    qztest::events.clear();
    qztest::fakeEngine = [](const EngineCall& call) {
      plantSolution(call, kPoint, kDuals);
      return call.model->status = 1, 0;
    };
  }
  ~Pipeline() override { qztest::fakeEngine = nullptr; }
  int32_t solve(TestModel& m) {
    const int64_t before = host.outstanding();
    const int32_t status = ipmMain(&env, &m.model, &option, timer, nullptr);
    EXPECT_EQ(host.outstanding(), before) << "everything of the call is given back";
    EXPECT_EQ(status, m.model.status);
    return status;
  }
  qztest::RecordingLog log;
};

TEST_F(Pipeline, AnswerOfBothMethodsComesBackInTheCallersTerms) {
  for (int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL}) {
    TestModel m = handModel();
    const qztest::ModelArrays before = m.a;
    option.typeMethod = method;
    bool called = false;
    qztest::fakeEngine = [&](const EngineCall& call) {
      called = true;
      EXPECT_EQ(call.env, &env);
      EXPECT_EQ(call.option, &option);
      EXPECT_EQ(call.timer, timer);
      EXPECT_EQ(call.hub->typeMethod, method);
      EXPECT_EQ(call.hub->numRowInput, 4);
      EXPECT_EQ(call.hub->numColInput, 3);
      EXPECT_EQ(call.hub->numCoefSaved, 9);
      EXPECT_EQ(std::string(call.model->rowSense, 4), "GEGE");
      EXPECT_EQ(call.model->numCol, method == IPM_METHOD_NORMAL ? 5 : 4);
      EXPECT_EQ(call.solution->primal, call.model->solPrimal);
      plantSolution(call, kPoint, kDuals);
      return call.model->status = 1, 0;
    };
    EXPECT_EQ(solve(m), 1);
    EXPECT_TRUE(called);
    EXPECT_NEAR(m.model.objValue, -5.9, 1e-14);
    EXPECT_EQ(m.model.numCol, 3);
    EXPECT_EQ(m.model.numCoef, 9);
    for (int j = 0; j < 3; ++j) EXPECT_DOUBLE_EQ(m.a.solPrimal[j], kPoint[j]);
    for (int i = 0; i < 4; ++i) EXPECT_DOUBLE_EQ(m.a.solDual[i], kDuals[i]);
    const double activity[] = {6, 4, 3, 3}, reduced[] = {0, -1.5, 0};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(m.a.rowActivity[i], activity[i], 1e-14);
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(m.a.reducedCost[j], reduced[j], 1e-14);
    EXPECT_EQ(m.a.rowSense, before.rowSense);
    EXPECT_EQ(m.a.rhs, before.rhs);
    EXPECT_TRUE(std::equal(before.matValue.begin(), before.matValue.begin() + 9, m.a.matValue.begin()));
    EXPECT_EQ(m.a.lower[2], method == IPM_METHOD_NORMAL ? -std::numeric_limits<double>::max() : -kInf);
    EXPECT_TRUE(log.sent.empty()) << "a linear model is reported by its caller";
  }
}

TEST_F(Pipeline, ReducedCostIsTheDifferenceOfTheBoundDuals) {
  TestModel m = handModel();
  qztest::fakeEngine = [](const EngineCall& call) {
    plantSolution(call, kPoint, kDuals);
    call.solution->lowerDual[0] = 0.25;
    call.solution->upperDual[1] = 7.0;
    call.model->complementarity = 1e-4;
    return call.model->status = 15, 0;
  };
  EXPECT_EQ(solve(m), 15);
  EXPECT_EQ(m.a.reducedCost[0], 0.25);
  EXPECT_EQ(m.a.reducedCost[1], -7.0);
}

TEST_F(Pipeline, EngineIsAskedForADigitMoreThanTheCaller) {
  for (auto [asked, given] : {std::pair{1e-6, 1e-7}, std::pair{1e-3, 1e-4}, std::pair{5e-8, 1e-8},
                              std::pair{1e-8, 1e-8}, std::pair{1e-12, 1e-12}}) {
    TestModel m = handModel();
    option.tolOptimality = asked;
    qztest::fakeEngine = [expected = given](const EngineCall& call) {
      EXPECT_DOUBLE_EQ(call.option->tolOptimality, expected);
      plantSolution(call, kPoint, kDuals);
      return call.model->status = 1, 0;
    };
    EXPECT_EQ(solve(m), 1);
    EXPECT_EQ(option.tolOptimality, asked);
  }
}

TEST_F(Pipeline, EngineThatMissedOnlyItsOwnToleranceIsOptimal) {
  for (auto [gap, status] : {std::pair{9e-7, 1}, std::pair{1.1e-6, 15}}) {
    TestModel m = handModel();
    qztest::fakeEngine = [measure = gap](const EngineCall& call) {
      plantSolution(call, kPoint, kDuals);
      call.model->dualityGap = measure;
      return call.model->status = 15, 0;
    };
    EXPECT_EQ(solve(m), status);
  }
}

TEST_F(Pipeline, MaximisationTurnsTheObjectiveValue) {
  TestModel m = handModel();
  m.model.objSense = -1;  // the arrays already hold the negated objective
  m.model.objConstant = 0.9;
  EXPECT_EQ(solve(m), 1);
  EXPECT_NEAR(m.model.objValue, 5.0, 1e-14);
}

TEST_F(Pipeline, LimitsGoThroughAllUndoingStages) {
  for (int32_t status : {7, 8, 3, 4, 14}) {
    TestModel m = handModel();
    qztest::fakeEngine = [status](const EngineCall& call) {
      plantSolution(call, kPoint, kDuals);
      return call.model->status = status, 0;
    };
    EXPECT_EQ(solve(m), status);
    EXPECT_EQ(std::string(m.a.rowSense.begin(), m.a.rowSense.end()), "LRGE");
    EXPECT_NEAR(m.a.rowActivity[0], 6.0, 1e-14);
  }
}

TEST_F(Pipeline, FailuresOfTheEngineSkipTheStagesBehindIt) {
  for (int32_t status : {10, 12, -1086}) {
    TestModel m = handModel();
    m.a.rowActivity[0] = m.a.reducedCost[0] = -77.0;
    qztest::fakeEngine = [status](const EngineCall& call) {
      plantSolution(call, kPoint, kDuals);
      call.model->status = 1;  // what the iteration last believed
      return status;
    };
    EXPECT_EQ(solve(m), status);
    EXPECT_EQ(m.a.rowActivity[0], -77.0);
    EXPECT_EQ(m.a.reducedCost[0], -77.0);
  }
}

TEST_F(Pipeline, StatusTenOfASucceedingEngineLeavesThePointUnevaluated) {
  TestModel m = handModel();
  m.a.rowActivity[0] = -77.0;
  qztest::fakeEngine = [](const EngineCall& call) { return call.model->status = 10, 0; };
  EXPECT_EQ(solve(m), 10);
  EXPECT_EQ(m.a.rowActivity[0], -77.0);
  EXPECT_EQ(std::string(m.a.rowSense.begin(), m.a.rowSense.end()), "LRGE");
}

TEST_F(Pipeline, EngineMustLeaveTheModelUnscaled) {
  for (int what = 0; what < 3; ++what) {
    for (int32_t status : {1, 7, 10, 12, -1086}) {
      log.sent.clear();
      TestModel m = handModel();
      qztest::fakeEngine = [&](const EngineCall& call) {
        if (what == 0) call.hub->scaleState = 2;
        if (what == 1) call.hub->rowScale = poolAllocate<double>(env.pool, 5);
        if (what == 2) call.hub->colScale = poolAllocate<double>(env.pool, 4);
        plantSolution(call, kPoint, kDuals);
        return call.model->status = status, 0;
      };
      const bool checked = status == 1 || status == 7;
      EXPECT_EQ(solve(m), checked ? 10 : status);
      ASSERT_EQ(log.sent.size(), checked ? 1u : 0u);
      if (!checked) continue;
      EXPECT_EQ(log.sent[0].level, 4);
      EXPECT_EQ(log.sent[0].text,
                what == 0 ? "Model is not properly unscaled." : "Scaling factor array is not properly released.");
    }
  }
}

TEST_F(Pipeline, PresolveFailureReachesTheStatusWithoutTheEngine) {
  TestModel empty("E", {1}, {}, {{1, 0, 1, {}}});
  EXPECT_EQ(solve(empty), 10);
  TestModel infinite = handModel();
  infinite.a.lower[0] = 1e25;
  EXPECT_EQ(solve(infinite), 4);
  EXPECT_TRUE(qztest::events.empty());
}

TEST_F(Pipeline, SplitFailureReachesTheStatusWithoutTheEngine) {
  TestModel m = handModel();
  m.a.lower[2] = -1e20;
  option.typeMethod = IPM_METHOD_NORMAL;
  EXPECT_EQ(solve(m), 10);
  EXPECT_TRUE(qztest::events.empty());
}

TEST_F(Pipeline, EveryFailedAllocationGivesOutOfMemoryAndLeavesNothing) {
  option.typeMethod = IPM_METHOD_NORMAL;
  for (int64_t k = 1;; ++k) {
    TestModel m = handModel();
    host.failAllocation(k);
    const int32_t status = solve(m);
    host.failAllocation(0);
    if (status == 1) {
      EXPECT_EQ(k, 17) << "hub, presolver, six of the solution, two of the shift, two of the scaling, four lists";
      break;
    }
    ASSERT_EQ(status, -1086) << k;
  }
  TestModel m = handModel();
  EXPECT_EQ(solve(m), 1) << "and the next solve is not harmed";
}

TEST_F(Pipeline, QuadraticModelTakesTheAugmentedSystemAndReportsItself) {
  TestModel m = handModel();
  m.makeQuadratic({1, 0, 2}, {{2, 0, 0.5}});
  option.typeMethod = IPM_METHOD_NORMAL;
  clock.cpu = 10.0;
  IPM_timerStart(timer);
  qztest::fakeEngine = [this](const EngineCall& call) {
    EXPECT_EQ(call.hub->typeMethod, IPM_METHOD_AUGMENTED);
    EXPECT_EQ(call.option->typeMethod, IPM_METHOD_AUGMENTED);
    EXPECT_EQ(call.hub->colPlus, nullptr);
    plantSolution(call, kPoint, kDuals);
    clock.cpu += 2.5;
    return call.model->status = 1, 0;
  };
  EXPECT_EQ(solve(m), 1);
  // 0.5 (1 * 4 + 2 * 1) + 0.5 * 2 * -1 = 2 on top of the linear part
  EXPECT_NEAR(m.model.objValue, -3.9, 1e-14);
  EXPECT_EQ(log.codes(), (std::vector<uint32_t>{0x827fd86a, 0x827fd86f, 0x827fd870, 0x827fd9b4, 0x827fd864, 0x827fd805,
                                                0x827fd001, 0x827fd002, 0x827fd806}));
  EXPECT_EQ(log.sent[7].arguments[0], m.model.objValue);
  EXPECT_DOUBLE_EQ(log.sent[8].arguments[0], 2.5);
  log.sent.clear();
  option.printLevel = 0;
  EXPECT_EQ(solve(m), 1);
  EXPECT_TRUE(log.sent.empty());
}

// The status of a model that presolve reduced and the convexity test then refused belongs to the caller's model.
TEST_F(Pipeline, RefusalOfAReducedModelReachesTheCallersModel) {
  for (const double diagonal : {2.0, -2.0}) {
    TestModel m("LL", {4, 7}, {}, {{-1, 0, 3, {{0, 1}, {1, 1}}}, {-1, 0, 3, {{0, 1}, {1, 2}}}, {5, 2, 2, {{0, 1}}}});
    m.makeQuadratic({diagonal, diagonal, 1}, {{1, 0, 0.5}});
    const qztest::ModelArrays before = m.a;
    qztest::events.clear();
    log.sent.clear();
    qztest::fakeEngine = [&](const EngineCall& call) {
      EXPECT_NE(call.model, &m.model);
      EXPECT_EQ(call.model->numCol, 2) << "the fixed column is gone";
      return call.model->status = 7, 0;
    };
    EXPECT_EQ(solve(m), diagonal > 0.0 ? 7 : 1000);
    EXPECT_EQ(qztest::events.size(), diagonal > 0.0 ? 1u : 0u);
    EXPECT_EQ(log.find(0x827fd008) != nullptr, diagonal > 0.0) << "the iteration limit is told";
    EXPECT_EQ(m.model.numCol, 3);
    EXPECT_EQ(m.a.matValue, before.matValue);
    EXPECT_EQ(m.a.rhs, before.rhs);
    EXPECT_EQ(m.a.obj, before.obj);
    EXPECT_EQ(m.a.quadDiag, before.quadDiag);
  }
}

// 6 <= x + y with x <= 4, y <= 5 only tightens bounds; the second model loses its singleton row.
TestModel boundModel() {
  return TestModel("GR", {6, 3}, {0, 2},
                   {{1, 0, 4, {{0, 1}}}, {2, 0, 5, {{0, 1}}}, {1, -kInf, kInf, {{1, 1}}}, {1, -kInf, kInf, {{1, 2}}}});
}
TestModel singletonModel() {
  return TestModel("GL", {10, 30}, {0, 0}, {{2, 0, kInf, {{0, 2}, {1, 1}}}, {-1, 0, kInf, {{1, 1}}}});
}

TEST_F(Pipeline, OwnPresolveComesBackFromEveryEndOfTheEngine) {
  option.presolveMode = 0;
  for (bool reduces : {false, true}) {
    for (int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL}) {
      for (int32_t result : {0, 10, 12, -1086}) {
        SCOPED_TRACE(std::to_string(reduces) + " " + std::to_string(method) + " " + std::to_string(result));
        TestModel m = reduces ? singletonModel() : boundModel();
        qztest::ModelArrays before = m.a;
        option.typeMethod = method;
        bool called = false;
        qztest::fakeEngine = [&](const EngineCall& call) {
          called = true;
          EXPECT_EQ(call.model == &m.model, !reduces);
          EXPECT_EQ(call.model->obj == m.a.obj.data(), !reduces);
          call.model->status = result == 0 ? 7 : 1;
          call.model->numIter = 3;
          return result;
        };
        EXPECT_EQ(solve(m), result == 0 ? 7 : result);
        EXPECT_TRUE(called);
        EXPECT_EQ(m.model.numIter, 3);
        const auto numCol = static_cast<size_t>(reduces ? 2 : 4);
        EXPECT_EQ(m.model.numCol, static_cast<int32_t>(numCol));
        for (size_t j = 0; j < 2; ++j) {
          EXPECT_EQ(m.a.lower[j], before.lower[j]);
          EXPECT_EQ(m.a.upper[j], before.upper[j]);
        }
        if (reduces) {
          EXPECT_EQ(m.a.rowSense, before.rowSense);
          EXPECT_EQ(m.a.rhs, before.rhs);
          EXPECT_EQ(m.a.matValue, before.matValue);
        }
      }
    }
  }
}

TEST_F(Pipeline, OnlyModeZeroRunsTheOwnPresolveOfALinearModel) {
  for (int32_t mode : {-1, 0, 1, 2}) {
    TestModel m = singletonModel();
    option.presolveMode = mode;
    qztest::fakeEngine = [mode](const EngineCall& call) {
      EXPECT_EQ(call.model->numRow, mode == 0 ? 1 : 2);
      return call.model->status = 7, 0;
    };
    EXPECT_EQ(solve(m), 7);
  }
}

TEST_F(Pipeline, ModelSolvedByPresolveNeverMeetsTheEngine) {
  TestModel m("EL", {6, 9}, {}, {{3, 0, 9, {{0, 2}, {1, 1}}}, {-1, 0, 4, {}}});
  option.presolveMode = 0;
  EXPECT_EQ(solve(m), 1);
  EXPECT_TRUE(qztest::events.empty());
  EXPECT_EQ(m.a.solPrimal[0], 3.0);
  EXPECT_EQ(m.a.solPrimal[1], 4.0);
  EXPECT_EQ(m.a.solDual[0], 1.5);
  EXPECT_EQ(m.a.solDual[1], 0.0);
  EXPECT_EQ(m.a.reducedCost[0], 0.0);
  EXPECT_EQ(m.a.reducedCost[1], -1.0);
  EXPECT_EQ(m.model.objValue, 5.0);
}

TEST_F(Pipeline, SolveTimeIsTheTimeWithin) {
  TestModel m = handModel();
  clock.cpu = 3.0;  // before the call
  qztest::fakeEngine = [this](const EngineCall& call) {
    clock.cpu += 1.25;
    return call.model->status = 7, 0;
  };
  solve(m);
  EXPECT_DOUBLE_EQ(m.model.solveTime, 1.25);
}

TEST_F(Pipeline, ThreadsAreAnnouncedFromTwoOn) {
  using Codes = std::vector<uint32_t>;
  struct Case {
    int32_t printLevel, numThread, threadMode;
    Codes codes;
  };
  for (const Case& c :
       {Case{1, 1, 0, {}}, Case{1, 1, 2, {}}, Case{0, 4, 2, {}}, Case{1, 2, 0, {0x827fd015, 0x827fd815}},
        Case{2, 4, 2, {0x827fd816, 0x827fd015, 0x827fd815}}, Case{1, 2, 1, {0x827fd015, 0x827fd815}}}) {
    log.sent.clear();
    TestModel m = handModel();
    option.printLevel = c.printLevel;
    option.numThread = c.numThread;
    option.threadMode = c.threadMode;
    solve(m);
    EXPECT_EQ(log.codes(), c.codes);
    if (c.codes.empty()) continue;
    EXPECT_EQ(log.sent.back().arguments[0], c.numThread);
    EXPECT_EQ(log.sent.back().level, 2);
    EXPECT_EQ(log.sent.front().level, c.threadMode == 2 ? 3 : 2);
  }
}

TEST_F(Pipeline, CrossoverIsClearedWhereNoneRan) {
  for (int32_t status : {7, 8, 10, 12, 3}) {
    TestModel m = handModel();
    option.crossover = 3;
    qztest::fakeEngine = [status](const EngineCall& call) {
      EXPECT_EQ(call.option->crossover, 3);
      plantSolution(call, kPoint, kDuals);
      return call.model->status = status, 0;
    };
    EXPECT_EQ(solve(m), status);
    EXPECT_EQ(option.crossover, 0);
    EXPECT_EQ(m.model.crossoverTime, 0.0);
  }
}

// Without the record that the model came from there is nothing to hand off.
TEST_F(Pipeline, CrossoverWithoutARecordFails) {
  for (int32_t status : {1, 15}) {
    TestModel m = handModel();
    option.crossover = 1;
    option.maxIter = 100;
    option.timeLimit = 50.0;
    qztest::fakeEngine = [status](const EngineCall& call) {
      plantSolution(call, kPoint, kDuals);
      call.model->numIter = 30;
      return call.model->status = status, 0;
    };
    EXPECT_EQ(solve(m), 10);
    EXPECT_EQ(option.crossover, 1);
    EXPECT_EQ(option.maxIter, 70) << "what the interior-point method used is gone";
    EXPECT_LE(option.timeLimit, 50.0);
  }
}

TEST_F(Pipeline, NullLogIsSilent) {
  env.log = nullptr;
  option.numThread = 4;
  TestModel m = handModel();
  EXPECT_EQ(solve(m), 1);
}

// A quadratic model that the engine calls infeasible is tried once more; a linear one has its own cross-check.
TEST_F(Pipeline, AQuadraticModelThatLooksInfeasibleIsTriedOnceMore) {
  for (const int32_t first : {3, 4, 14, 256, 10, 1, 7, 8}) {
    for (const int32_t second : {1, 3, 8}) {
      TestModel m("GG", {1, 0}, {}, {{1, 0, kInf, {{0, 1}, {1, 1}}}, {1, 0, kInf, {{0, 1}, {1, -1}}}});
      m.makeQuadratic({1, 2}, {{1, 0, 0.5}});
      option.maxIter = 50;
      std::vector<int32_t> wide, limits;
      qztest::fakeEngine = [&](const EngineCall& call) {
        wide.push_back(call.hub->wideStart);
        limits.push_back(call.option->maxIter);
        call.model->numIter = 20;
        call.model->status = wide.size() == 1 ? first : second;
        return 0;
      };
      const bool doubtful = first != 1 && first != 7 && first != 8;
      EXPECT_EQ(solve(m), doubtful ? second : first);
      EXPECT_EQ(wide, doubtful ? (std::vector<int32_t>{0, 1}) : std::vector<int32_t>{0});
      EXPECT_EQ(limits, doubtful ? (std::vector<int32_t>{50, 30}) : std::vector<int32_t>{50});
      EXPECT_EQ(m.model.numIter, doubtful ? 40 : 20);
      EXPECT_EQ(option.maxIter, 50);
    }
  }
  TestModel linear = handModel();
  int calls = 0;
  qztest::fakeEngine = [&](const EngineCall& call) { return ++calls, call.model->status = 3, 0; };
  EXPECT_EQ(solve(linear), 3);
  EXPECT_EQ(calls, 1);
}

}  // namespace
