// The hand-off to the simplex module, between a fake presolver module and a fake simplex module.
#include "shell/crossover.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "shell/fake_engine.h"
#include "shell/fake_simplex.h"
#include "shell/lp_data.h"
#include "shell/recording_log.h"

namespace {

using namespace qz;
using qztest::events;
using qztest::FakeSimplex;
using qztest::LpData;
using Codes = std::vector<uint32_t>;
using Events = std::vector<std::string>;

constexpr double kRow[] = {2.0, 0.25};
constexpr double kCol[] = {4.0, 0.5, 8.0};

// Scales by the factors above, in the manner that the interface asks for.
struct FakeScaling {
  int32_t result = 0;
  int32_t undoResult = 0;
  int calls = 0;
  int undoCalls = 0;
  double tolerance = 0.0;
  int64_t factorsSeen = 0;

  static FakeScaling*& current() {
    static FakeScaling* scaling = nullptr;
    return scaling;
  }
};

// Multiplies the model by the factors, or by their inverses.
void applyFactors(double* matValue, const int32_t* rowIndex, const int32_t* colBegin, const int32_t* colLength,
                  double* obj, double* lower, double* upper, double* rhs, bool undo) {
  const auto factor = [undo](double f) { return undo ? 1.0 / f : f; };
  for (int32_t j = 0; j < 3; ++j) {
    obj[j] *= factor(kCol[j]);
    lower[j] /= factor(kCol[j]);
    upper[j] /= factor(kCol[j]);
    for (int32_t k = colBegin[j]; k < colBegin[j] + colLength[j]; ++k)
      matValue[k] *= factor(kRow[rowIndex[k]]) * factor(kCol[j]);
  }
  for (int32_t i = 0; i < 2; ++i) rhs[i] *= factor(kRow[i]);
}

int32_t scale(QzPresolveObject*, int32_t direction, int32_t numRow, int32_t numCol, int32_t, int32_t* colBegin,
              double tolerance, int32_t* colLength, int32_t* rowIndex, double* matValue, double* obj, double* lower,
              double* upper, double* rowScale, double* colScale, void*, void*, double* rhs, char*, double*, double*,
              double*, double*, double*) {
  FakeScaling& s = *FakeScaling::current();
  ++s.calls;
  s.tolerance = tolerance;
  EXPECT_EQ(direction, -1);
  EXPECT_EQ(numRow, 2);
  EXPECT_EQ(numCol, 3);
  for (int32_t i = 0; i <= 2; ++i) EXPECT_EQ(rowScale[i], 1.0) << "the objective row's factor too";
  for (int32_t j = 0; j <= 3; ++j) EXPECT_EQ(colScale[j], 1.0);
  if (s.result != 0) return s.result;
  std::copy_n(kRow, 2, rowScale);
  std::copy_n(kCol, 3, colScale);
  applyFactors(matValue, rowIndex, colBegin, colLength, obj, lower, upper, rhs, false);
  return 0;
}

int32_t unscale(QzPresolveObject*, int32_t direction, int32_t, int32_t, int32_t, int32_t* colBegin, double,
                int32_t* colLength, int32_t* rowIndex, double* matValue, double* obj, double* lower, double* upper,
                double* rowScale, double* colScale, void*, void*, double* rhs, char*, double*, double* primal,
                double* dual, double* reducedCost, double* activity) {
  FakeScaling& s = *FakeScaling::current();
  ++s.undoCalls;
  EXPECT_EQ(direction, -1);
  applyFactors(matValue, rowIndex, colBegin, colLength, obj, lower, upper, rhs, true);
  for (int32_t j = 0; j < 3; ++j) {
    primal[j] *= colScale[j];
    reducedCost[j] /= colScale[j];
  }
  for (int32_t i = 0; i < 2; ++i) {
    dual[i] *= rowScale[i];
    activity[i] /= rowScale[i];
  }
  return s.undoResult;
}

class Handoff : public ::testing::Test {
 protected:
  Handoff() {
    self() = this;
    FakeScaling::current() = &scaling;
    events.clear();
    host.table()->loadExtension = [](QzHostTable*, const wchar_t* name, int64_t length, int64_t) -> QzModule* {
      EXPECT_EQ(std::wstring(name, static_cast<size_t>(length)), L"qzsimpx");
      events.push_back("load simplex");
      return self()->loads ? &self()->simplex.module : nullptr;
    };
    presolver.scale = scale;
    presolver.unscale = unscale;
    handle = {&settings, &limits};
    env.pool = host.pool();
    env.log = log.log();
    env.statusCallback = this;
    env.options = &options;
    env.presolveObject = &presolver;
    env.presolveHandle = &handle;
    env.objConstantSaved = 7.0;
    options.tolPrimal = 1e-5;
    option.crossover = 1;
    option.timeLimit = 42.0;
    data.solPrimal = primal;
    data.solDual = dual;
    data.reducedCost = reducedCost;
    data.rowActivity = activity;
    data.point();
    EXPECT_EQ(NewSolution(&env, &solution, 2, 3, data.record.solPrimal, data.record.solDual), 0);
    for (int32_t j = 0; j < 3; ++j) {
      solution->lowerSlack[j] = 1.0 + j;
      solution->upperSlack[j] = 10.0 + j;
      solution->lowerDual[j] = 0.5 + j;
      solution->upperDual[j] = -0.25 - j;
    }
    solution->ineqnSlack[0] = 3.0;
    solution->ineqnSlack[1] = 5.0;
    simplex.onRun = [](QzSimplexObject*, QzPresolveObject*, QzPresolveHandle*, LpRecord* record) {
      record->status = 1;
      return 0;
    };
  }
  ~Handoff() override {
    FreeSolution(&env, &solution);
    EXPECT_EQ(host.outstanding(), 0);
    self() = nullptr;
    FakeScaling::current() = nullptr;
  }
  int32_t handOff(int32_t status = 1) { return iplpCrossover(&env, &data.record, solution, nullptr, &option, status); }
  void expectModelAsBefore() {
    const LpData before = model();
    EXPECT_EQ(data.matValue, before.matValue);
    EXPECT_EQ(data.obj, before.obj);
    EXPECT_EQ(data.lower, before.lower);
    EXPECT_EQ(data.upper, before.upper);
    EXPECT_EQ(data.rhs, before.rhs);
  }
  void expectSolutionAsBefore() {
    EXPECT_EQ(data.solPrimal, primal);
    EXPECT_EQ(data.solDual, dual);
    EXPECT_EQ(data.reducedCost, reducedCost);
    EXPECT_EQ(data.rowActivity, activity);
    for (int32_t j = 0; j < 3; ++j) {
      EXPECT_EQ(solution->lowerSlack[j], 1.0 + j);
      EXPECT_EQ(solution->upperSlack[j], 10.0 + j);
      EXPECT_EQ(solution->lowerDual[j], 0.5 + j);
      EXPECT_EQ(solution->upperDual[j], -0.25 - j);
    }
    EXPECT_EQ(solution->ineqnSlack[0], 3.0);
    EXPECT_EQ(solution->ineqnSlack[1], 5.0);
  }
  static LpData model() {
    return LpData(1, "GE", {3, 8}, {}, {{1, 0, 16, {{0, 1}, {1, 2}}}, {2, -4, 4, {{0, 3}}}, {3, 0, 64, {{1, 4}}}});
  }
  static Handoff*& self() {
    static Handoff* handoff = nullptr;
    return handoff;
  }

  const std::vector<double> primal = {8, 2, 24}, dual = {6, 1.5}, reducedCost = {0.5, -1, 2}, activity = {4, 16};
  qztest::TestHost host;
  FakeScaling scaling;
  FakeSimplex simplex;
  qztest::RecordingLog log;
  QzPresolveObject presolver{};
  QzPresolveSettings settings{};
  QzPresolveLimits limits{};
  QzPresolveHandle handle{};
  LpOptions options{};
  IpmOption option{};
  Env env{};
  LpData data = model();
  Solution* solution = nullptr;
  bool loads = true;
};

TEST_F(Handoff, RunsTheSimplexModuleOnTheScaledModelAndUndoesTheScaling) {
  bool ran = false;
  simplex.onRun = [&](QzSimplexObject* object, QzPresolveObject* presolveObject, QzPresolveHandle* presolveHandle,
                      LpRecord* record) {
    ran = true;
    EXPECT_EQ(object, &simplex.object);
    EXPECT_EQ(object->statusCallback, this);
    EXPECT_EQ(object->log, log.log());
    EXPECT_EQ(env.simplexModule, &simplex.module);
    EXPECT_EQ(env.simplexObject, object);
    EXPECT_EQ(presolveObject, &presolver);
    EXPECT_EQ(presolveHandle, &handle);
    EXPECT_EQ(record, &data.record);
    EXPECT_EQ(record->objValue, 7.0) << "the objective constant";
    for (int32_t j = 0; j < 3; ++j) {
      EXPECT_EQ(record->solPrimal[j], primal[j] / kCol[j]);
      EXPECT_EQ(record->reducedCost[j], reducedCost[j] * kCol[j]);
      EXPECT_EQ(solution->lowerSlack[j], (1.0 + j) / kCol[j]);
      EXPECT_EQ(solution->upperSlack[j], (10.0 + j) / kCol[j]);
      EXPECT_EQ(solution->lowerDual[j], (0.5 + j) * kCol[j]);
      EXPECT_EQ(solution->upperDual[j], (-0.25 - j) * kCol[j]);
    }
    for (int32_t i = 0; i < 2; ++i) {
      EXPECT_EQ(record->solDual[i], dual[i] / kRow[i]);
      EXPECT_EQ(record->rowActivity[i], activity[i] * kRow[i]);
      EXPECT_EQ(solution->ineqnSlack[i], (i == 0 ? 3.0 : 5.0) * kRow[i]);
    }
    EXPECT_EQ(record->matValue[1], 2.0 * kRow[1] * kCol[0]);
    return 0;
  };
  EXPECT_EQ(handOff(), 0);
  EXPECT_TRUE(ran);
  EXPECT_EQ(events, (Events{"load simplex", "make simplex", "run simplex", "destroy simplex", "unload simplex"}));
  EXPECT_EQ(env.simplexModule, nullptr);
  EXPECT_EQ(env.simplexObject, nullptr);
  EXPECT_EQ(scaling.tolerance, 1e-5);
  EXPECT_EQ(scaling.undoCalls, 1);
  expectModelAsBefore();
  expectSolutionAsBefore();
  EXPECT_TRUE(log.sent.empty());
}

TEST_F(Handoff, TheAnswerOfTheSimplexModuleIsUnscaled) {
  simplex.onRun = [](QzSimplexObject*, QzPresolveObject*, QzPresolveHandle*, LpRecord* record) {
    for (int32_t j = 0; j < 3; ++j) {
      record->solPrimal[j] = 1.0;
      record->reducedCost[j] = 1.0;
    }
    for (int32_t i = 0; i < 2; ++i) {
      record->solDual[i] = 1.0;
      record->rowActivity[i] = 1.0;
    }
    return 0;
  };
  EXPECT_EQ(handOff(), 0);
  EXPECT_EQ(data.solPrimal, (std::vector<double>{4, 0.5, 8}));
  EXPECT_EQ(data.reducedCost, (std::vector<double>{0.25, 2, 0.125}));
  EXPECT_EQ(data.solDual, (std::vector<double>{2, 0.25}));
  EXPECT_EQ(data.rowActivity, (std::vector<double>{0.5, 4}));
}

TEST_F(Handoff, FieldsBehindTheHandleAreSet) {
  for (int32_t crossover : {1, 2, 3}) {
    option.crossover = crossover;
    EXPECT_EQ(handOff(15), 0);
    EXPECT_EQ(settings.startMode, (crossover & 1) != 0 ? 2 : 1);
    EXPECT_EQ(settings.mode968, 3);
    EXPECT_EQ(settings.iterLimit, 0x7fffffff);
    EXPECT_EQ(settings.field960, -1);
    EXPECT_EQ(settings.interiorStatus, 15);
    EXPECT_EQ(limits.timeLimit, 42.0);
  }
}

TEST_F(Handoff, AStatusWithoutAPointIsGivenBack) {
  for (int32_t status : {7, 8, 10, 12, -1086}) EXPECT_EQ(handOff(status), status);
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(scaling.calls, 0);
}

TEST_F(Handoff, MissingPartsAreAFailure) {
  env.options = nullptr;
  EXPECT_EQ(handOff(), 10);
  env.options = &options;
  env.presolveObject = nullptr;
  EXPECT_EQ(handOff(), 10);
  env.presolveObject = &presolver;
  env.presolveHandle = nullptr;
  EXPECT_EQ(handOff(), 10);
  env.presolveHandle = &handle;
  EXPECT_EQ(iplpCrossover(&env, nullptr, solution, nullptr, &option, 1), 10) << "a quadratic model has no record";
  EXPECT_TRUE(events.empty());
}

TEST_F(Handoff, AFailedScalingEndsIt) {
  scaling.result = 10;
  EXPECT_EQ(handOff(), 10);
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(scaling.undoCalls, 0);
  expectSolutionAsBefore();
}

TEST_F(Handoff, AFailedUnscalingIsAFailureOfTheAnswer) {
  scaling.undoResult = 10;
  EXPECT_EQ(handOff(), 10);
  EXPECT_EQ(events.back(), "unload simplex");
}

TEST_F(Handoff, AMissingSimplexModuleVoidsTheAnswer) {
  loads = false;
  EXPECT_EQ(handOff(), -1086);
  ASSERT_EQ(log.codes(), Codes{0x827fd809});
  EXPECT_EQ(log.sent[0].level, 4);
  EXPECT_EQ(scaling.undoCalls, 0);
  EXPECT_EQ(data.solPrimal[0], primal[0] / kCol[0]) << "model and solution stay scaled";
  EXPECT_EQ(env.simplexModule, nullptr);
}

TEST_F(Handoff, ASimplexObjectThatCantBeMadeUnloadsTheModule) {
  simplex.makesObject = false;
  EXPECT_EQ(handOff(), -1086);
  ASSERT_EQ(log.codes(), Codes{0x827fd80a});
  EXPECT_EQ(log.sent[0].level, 4);
  EXPECT_EQ(events, (Events{"load simplex", "make simplex", "unload simplex"}));
  EXPECT_EQ(env.simplexModule, nullptr);
  EXPECT_EQ(env.simplexObject, nullptr);
}

TEST_F(Handoff, AFailureOfTheRunIsGivenBackBehindTheUndo) {
  simplex.onRun = [](QzSimplexObject*, QzPresolveObject*, QzPresolveHandle*, LpRecord*) { return -1086; };
  EXPECT_EQ(handOff(), -1086);
  EXPECT_EQ(scaling.undoCalls, 1);
  expectModelAsBefore();
  expectSolutionAsBefore();
  EXPECT_EQ(events.back(), "unload simplex");
}

TEST_F(Handoff, EveryFailingAllocationGivesEverythingBack) {
  const int64_t before = host.outstanding();
  for (int64_t k : {1, 2}) {
    host.failAllocation(k);
    EXPECT_EQ(handOff(), -1086) << k;
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), before);
    EXPECT_EQ(scaling.calls, 0);
  }
  const int64_t used = host.allocations();
  EXPECT_EQ(handOff(), 0);
  EXPECT_EQ(host.allocations() - used, 2);
}

}  // namespace
