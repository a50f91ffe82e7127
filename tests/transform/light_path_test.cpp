// The light presolve, the free-column count, the evaluation behind the engine, and the records' destructors.
#include <gtest/gtest.h>

#include <cmath>

#include "shell/pool.h"
#include "transform/free_columns.h"
#include "transform/model_fixture.h"
#include "transform/postsolve.h"
#include "transform/presolve_disabled.h"

namespace {

using namespace qz;
using qztest::kInf;
using qztest::TestModel;

class LightPath : public ::testing::Test {
 protected:
  LightPath() {
    env.pool = host.pool();
    env.log = host.log();
  }
  int32_t countFree(TestModel& m) {
    presolver = Presolver{};
    hub.numFreeVar = hub.numFreeElement = hub.numRelaxFree = 99;  // from an earlier round
    return countFreeVar(&env, &m.model, &option, &presolver, &hub);
  }
  int32_t run(TestModel& m) {
    presolver = Presolver{};
    hub = Hub{};
    return ipmPresolveDisabled(&env, &m.model, &option, &presolver, &hub, &in, &out);
  }
  qztest::TestHost host;
  Env env{};
  Hub hub{};
  Presolver presolver{};
  IpmOption option = qztest::plainOption();
  Solution* in = nullptr;
  Solution* out = nullptr;
};

TEST_F(LightPath, CountStartsFromZeroAndIncludesExactInfinities) {
  TestModel m("G", {1}, {},
              {{0, -1e20, 1e20, {{0, 1}}},
               {0, -kInf, kInf, {}},
               {0, 0, kInf, {{0, 2}}},
               {0, -kInf, 0, {{0, 2}}},
               {0, -9.999e19, kInf, {}}});
  EXPECT_EQ(countFree(m), 0);
  EXPECT_EQ(hub.numFreeVar, 2);
  EXPECT_EQ(hub.numFreeElement, 1);
  EXPECT_EQ(hub.numRelaxFree, 0);
  EXPECT_EQ(presolver.preRoute, PREROUTE_FREE);
}

TEST_F(LightPath, NoFreeColumnLeavesTheRoute) {
  TestModel m("E", {1}, {}, {{0, 0, 1, {{0, 1}}}});
  EXPECT_EQ(countFree(m), 0);
  EXPECT_EQ(hub.numFreeVar, 0);
  EXPECT_EQ(presolver.preRoute, PREROUTE_NORMAL);
}

TEST_F(LightPath, ModelWithoutColumnsIsNoSystem) {
  TestModel m("E", {1}, {}, {});
  EXPECT_EQ(countFree(m), 0);
  EXPECT_EQ(presolver.preRoute, PREROUTE_NORMAL);
}

TEST_F(LightPath, RelaxationCountsApartFromFreeColumns) {
  TestModel m("E", {1}, {},
              {{0, 0, 1, {{0, 1}}},
               {0, 0, 1, {{0, 1}}},
               {0, 0, 1, {{0, 1}}},
               {0, -kInf, 1, {{0, 1}}},
               {0, 0, kInf, {{0, 1}}},
               {0, -kInf, kInf, {{0, 1}}}});
  std::vector<uint8_t> relax = {1, 2, 3, 2, 1, 3};
  m.model.relaxColBound = relax.data();
  EXPECT_EQ(countFree(m), 0);
  EXPECT_EQ(hub.numRelaxFree, 3);
  EXPECT_EQ(hub.numFreeVar, 1);
  EXPECT_EQ(hub.numFreeElement, 1) << "a relaxed column is not split";
  EXPECT_EQ(presolver.preRoute, PREROUTE_FREE);
}

TEST_F(LightPath, RelaxedBoundsNeverMakeASystem) {
  TestModel m("E", {10}, {}, {{0, 8, 9, {{0, 1}}}, {0, -kInf, kInf, {{0, 1}}}});
  std::vector<uint8_t> relax = {3, 0};
  m.model.relaxColBound = relax.data();
  EXPECT_EQ(countFree(m), 0);
  EXPECT_EQ(presolver.preRoute, PREROUTE_FREE);
}

TEST_F(LightPath, AllFreeColumnsAndEquationsAreASystem) {
  TestModel m("EE", {1, 2}, {}, {{0, -kInf, kInf, {{0, 1}}}, {0, -kInf, kInf, {{1, 1}}}});
  EXPECT_EQ(countFree(m), 0);
  EXPECT_EQ(presolver.preRoute, PREROUTE_SYSTEM);
  m.a.rowSense[1] = 'G';
  EXPECT_EQ(countFree(m), 0);
  EXPECT_EQ(presolver.preRoute, PREROUTE_FREE);
}

TEST_F(LightPath, QuadraticModelWithoutRowsElementsIsASystemOnlyWithATriangle) {
  TestModel m("", {}, {}, {{1, -kInf, kInf, {}}, {1, -kInf, kInf, {}}});
  m.makeQuadratic({1, 1}, {{1, 0, 0.5}});
  EXPECT_EQ(countFree(m), 0);
  EXPECT_EQ(presolver.preRoute, PREROUTE_SYSTEM);
  m.model.numQuadCoef = 0;
  EXPECT_EQ(countFree(m), 0);
  EXPECT_EQ(presolver.preRoute, PREROUTE_FREE);
  m.model.typeModel = IPM_MODEL_LP;
  EXPECT_EQ(countFree(m), 0);
  EXPECT_EQ(presolver.preRoute, PREROUTE_FREE);
}

TEST_F(LightPath, MakesOneSolutionWithRoomForTheStandardForm) {
  TestModel m("LRGRE", {1, 2, 3, 4, 5}, {0, 1, 0, 1, 0}, {{0, -kInf, kInf, {{0, 1}}}, {0, 0, 1, {{1, 1}}}});
  ASSERT_EQ(run(m), 0);
  EXPECT_EQ(presolver.preControl, PRECONTROL_NONE);
  EXPECT_EQ(presolver.preRoute, PREROUTE_FREE);
  EXPECT_EQ(hub.numLcont, 1);
  EXPECT_EQ(hub.numRange, 2);
  EXPECT_EQ(hub.numFreeVar, 1);
  ASSERT_NE(in, nullptr);
  EXPECT_EQ(in, out);
  EXPECT_EQ(in->primal, m.model.solPrimal);
  EXPECT_EQ(in->dual, m.model.solDual);
  in->lowerSlack[2 + 2 + 1 - 1] = 1.0;  // the last of numCol + numRange + numFreeVar
  FreeSolution(&env, &in);
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(LightPath, RoomIsExactlyColumnsRangeRowsAndFreeColumns) {
  TestModel m("R", {1}, {1}, {{0, -kInf, kInf, {{0, 1}}}});
  const int64_t before = host.outstandingBytes();
  ASSERT_EQ(run(m), 0);
  EXPECT_EQ(host.outstandingBytes() - before, static_cast<int64_t>(sizeof(Solution)) + 4 * 3 * 8 + 8);
  FreeSolution(&env, &in);
}

TEST_F(LightPath, LinearSystemIsAnsweredHere) {
  TestModel m("E", {6}, {}, {{8, -kInf, kInf, {{0, 2}}}});
  option.numThread = 1;
  option.logFrequency = 1;
  const int64_t before = host.outstandingBytes();
  ASSERT_EQ(run(m), 0);
  EXPECT_EQ(host.outstandingBytes() - before, static_cast<int64_t>(sizeof(Solution)) + 4 * 8 + 8)
      << "no room for columns of the standard form";
  EXPECT_EQ(presolver.preControl, PRECONTROL_NONE);
  EXPECT_EQ(presolver.preRoute, PREROUTE_FINISHED);
  EXPECT_EQ(m.model.status, 1);
  EXPECT_EQ(m.a.solPrimal[0], 3.0);
  EXPECT_EQ(m.a.solDual[0], 4.0);
  EXPECT_EQ(m.a.rowActivity[0], 6.0);
  EXPECT_EQ(m.a.reducedCost[0], 0.0);
  EXPECT_EQ(m.model.objValue, 24.0);
  std::vector<std::pair<uint32_t, int32_t>> lines;
  for (const auto& message : host.messages) lines.emplace_back(message.code, message.level);
  EXPECT_EQ(lines,
            (std::vector<std::pair<uint32_t, int32_t>>{{0x827fd802u, 100}, {0x827fd803u, 100}, {0x827fd804u, 101}}));
  FreeSolution(&env, &in);
}

TEST_F(LightPath, QuadraticSystemMustBeConvex) {
  for (double diagonal : {1.0, -1.0}) {
    TestModel m("E", {6}, {}, {{0, -kInf, kInf, {{0, 2}}}});
    m.makeQuadratic({diagonal}, {});
    option.numThread = 1;
    EXPECT_EQ(run(m), diagonal > 0 ? 0 : 1000);
    EXPECT_EQ(m.model.status, diagonal > 0 ? 1 : 1000);
    EXPECT_EQ(presolver.preRoute, PREROUTE_FINISHED);
    FreeSolution(&env, &in);
  }
}

TEST_F(LightPath, ModelWithoutElementsIsAFailure) {
  TestModel m("E", {1}, {}, {{0, 0, 1, {}}});
  EXPECT_EQ(run(m), 10);
  ASSERT_EQ(host.messages.size(), 1u);
  EXPECT_EQ(host.messages[0].level, 4);
  EXPECT_EQ(host.messages[0].text, "numCoef==0  numQuadCoef==0, external presolver should have solved this instance");
  EXPECT_EQ(in, nullptr);
}

TEST_F(LightPath, BoundsAtTheWrongInfinityAreRefused) {
  TestModel low("E", {1}, {}, {{0, 1e20, kInf, {{0, 1}}}});
  EXPECT_EQ(run(low), 4);
  TestModel up("E", {1}, {}, {{0, 0, 1, {{0, 1}}}, {0, -kInf, -1e20, {{0, 1}}}});
  EXPECT_EQ(run(up), 4);
  EXPECT_EQ(in, nullptr);
  TestModel inside("E", {1}, {}, {{0, -kInf, -9.99e19, {{0, 1}}}});
  EXPECT_EQ(run(inside), 0);
  FreeSolution(&env, &in);
}

TEST_F(LightPath, FailedAllocationsLeaveNothingBehind) {
  TestModel m("R", {1}, {1}, {{0, 0, 1, {{0, 1}}}});
  for (int64_t k = 1; k <= 6; ++k) {
    host.failAllocation(k);
    EXPECT_EQ(run(m), -1086) << k;
    host.failAllocation(0);
    EXPECT_EQ(in, nullptr);
    EXPECT_EQ(host.outstanding(), 0);
  }
  host.failAllocation(7);
  EXPECT_EQ(run(m), 0);
  host.failAllocation(0);
  FreeSolution(&env, &in);
}

TEST_F(LightPath, EvaluationGivesObjectiveActivitiesAndReducedCosts) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    TestModel m = qztest::randomModel(random, 6, 9);
    const bool quadratic = seed % 2 == 0;
    std::normal_distribution<double> normal(0.0, 2.0);
    std::vector<double> diag(9, 0.0);
    std::vector<std::tuple<int32_t, int32_t, double>> triangle;
    if (quadratic) {
      for (double& q : diag) q = std::fabs(normal(random));
      for (int32_t j = 0; j < 9; ++j)
        for (int32_t i = j + 1; i < 9; ++i)
          if (random() % 4 == 0) triangle.emplace_back(i, j, normal(random));
      m.makeQuadratic(diag, triangle);
    }
    m.model.objSense = seed % 3 == 0 ? -1 : 1;
    m.model.objConstant = 2.5;
    for (int32_t j = 0; j < 9; ++j) m.a.solPrimal[j] = normal(random);
    for (double& y : m.a.solDual) y = normal(random);
    evaluateSolution(&env, &m.model);

    long double value = 2.5L;
    std::vector<long double> activity(6, 0.0L), reduced(9);
    for (int32_t j = 0; j < 9; ++j) {
      const long double x = m.a.solPrimal[j];
      value += m.a.obj[j] * x + 0.5L * diag[j] * x * x;
      reduced[j] = m.a.obj[j] + static_cast<long double>(diag[j]) * x;
      for (int32_t k = m.a.colBegin[j]; k < m.a.colBegin[j] + m.a.colLength[j]; ++k) {
        activity[m.a.rowIndex[k]] += m.a.matValue[k] * x;
        reduced[j] -= static_cast<long double>(m.a.matValue[k]) * m.a.solDual[m.a.rowIndex[k]];
      }
    }
    for (auto [i, j, q] : triangle) {
      value += static_cast<long double>(q) * m.a.solPrimal[i] * m.a.solPrimal[j];
      reduced[i] += static_cast<long double>(q) * m.a.solPrimal[j];
      reduced[j] += static_cast<long double>(q) * m.a.solPrimal[i];
    }
    EXPECT_NEAR(m.model.objValue, static_cast<double>(m.model.objSense * value), 1e-11);
    for (int32_t i = 0; i < 6; ++i) EXPECT_NEAR(m.a.rowActivity[i], static_cast<double>(activity[i]), 1e-12);
    for (int32_t j = 0; j < 9; ++j) EXPECT_NEAR(m.a.reducedCost[j], static_cast<double>(reduced[j]), 1e-12);
  }
}

class Postsolve : public LightPath {
 protected:
  Postsolve() : m("E", {1}, {}, {{2, 0, 9, {{0, 3}}}}) {
    m.a.solPrimal[0] = 4.0;
    m.a.rowActivity[0] = m.a.reducedCost[0] = -7.0;
    presolver.preControl = PRECONTROL_NONE;
  }
  int32_t postsolve(Solution* from, Solution* to, SubModel* submodel = nullptr) {
    Model* model = &m.model;
    const int32_t status = ipmPostsolve(&env, &model, &option, &presolver, from, to, &hub, submodel);
    EXPECT_EQ(model, &m.model);
    return status;
  }
  TestModel m;
  Solution solution{};
};

TEST_F(Postsolve, EvaluatesUnlessTheSolveFailedOrWasBroken) {
  for (int32_t status : {0, 1, 3, 4, 7, 8, 14, 15, 1003, -1086, 12, 10}) {
    m.a.rowActivity[0] = -7.0;
    m.model.status = status;
    EXPECT_EQ(postsolve(&solution, &solution), 0);
    const bool good = status != 1003 && status != -1086 && status != 12 && status != 10;
    EXPECT_EQ(m.a.rowActivity[0], good ? 12.0 : -7.0) << status;
  }
}

TEST_F(Postsolve, ControlThatStayedZeroIsTakenAsUnchanged) {
  presolver.preControl = 0;
  EXPECT_EQ(postsolve(&solution, &solution), 0);
  EXPECT_EQ(m.a.rowActivity[0], 12.0);
}

TEST_F(Postsolve, SolutionsMustBeOneAndTheSame) {
  Solution other{};
  EXPECT_EQ(postsolve(&other, &solution), 10);
  EXPECT_EQ(postsolve(&solution, nullptr), 10);
  EXPECT_EQ(postsolve(nullptr, nullptr), 10);
  ASSERT_EQ(host.messages.size(), 3u);
  EXPECT_EQ(host.messages[0].level, 4);
  EXPECT_EQ(host.messages[0].text, "PRECONTROL_NONE case solution pointer error");
  EXPECT_EQ(m.a.rowActivity[0], -7.0);
}

TEST_F(Postsolve, SubmodelHasNoPlaceHere) {
  SubModel submodel{};
  EXPECT_EQ(postsolve(&solution, &solution, &submodel), 10);
  ASSERT_EQ(host.messages.size(), 1u);
  EXPECT_EQ(host.messages[0].level, 4);
  EXPECT_EQ(host.messages[0].text, "PRECONTROL_BOUND case: submodel should not exist.");
}

// Every pointer field of the two records is freed: each gets a block of its own, and none may be left.
TEST_F(LightPath, HubAndPresolverFreeEverythingTheyHold) {
  FreeHub(&env, nullptr);
  DestroyPresolver(&env, nullptr);
  Hub* none = nullptr;
  Presolver* noPresolver = nullptr;
  FreeHub(&env, &none);
  DestroyPresolver(&env, &noPresolver);

  Hub* h = poolAllocateZero<Hub>(env.pool, 1);
  for (int32_t** p : {&h->colPlus, &h->colMinus, &h->rangeRowList, &h->lcontRowList, &h->smallObjCol, &h->smallRhsRow})
    *p = poolAllocate<int32_t>(env.pool, 3);
  for (double** p : {&h->altLower, &h->altUpper, &h->rowScale, &h->colScale, &h->smallObjValue, &h->smallRhsValue})
    *p = poolAllocate<double>(env.pool, 3);
  h->numSmallObj = 3;
  h->numSmallRhs = 2;
  KeptSolution* kept = h->keptSolution = poolAllocateZero<KeptSolution>(env.pool, 1);
  for (double** p : {&kept->primalDelta, &kept->dualDelta, &kept->lowerSlackDelta, &kept->upperSlackDelta,
                     &kept->lowerDualDelta, &kept->upperDualDelta, &kept->ineqnSlackDelta})
    *p = poolAllocate<double>(env.pool, 3);
  const int64_t all = host.outstanding();
  FreeHubSmall(&env, h);
  EXPECT_EQ(host.outstanding(), all - 4);
  EXPECT_EQ(h->numSmallObj, 0);
  EXPECT_EQ(h->numSmallRhs, 0);
  EXPECT_EQ(h->smallObjCol, nullptr);
  FreeHub(&env, &h);
  EXPECT_EQ(h, nullptr);
  EXPECT_EQ(host.outstanding(), 0);

  auto* p = poolAllocateZero<Presolver>(env.pool, 1);
  for (int32_t** field :
       {&p->colBegin, &p->colLength, &p->rowIndex, &p->rowBegin, &p->rowLength, &p->colIndex, &p->quadColBegin,
        &p->quadColLength, &p->quadRowIndex, &p->quadRowBegin, &p->quadRowLength, &p->quadColIndex, &p->rowMap,
        &p->colMap, &p->lbMap, &p->ubMap, &p->postdetList, &p->rowChecked, &p->colChecked})
    *field = poolAllocate<int32_t>(env.pool, 2);
  for (double** field :
       {&p->matValue, &p->rowValue, &p->quadMatValue, &p->quadRowValue, &p->rhs, &p->obj, &p->lower, &p->upper})
    *field = poolAllocate<double>(env.pool, 2);
  p->rowSense = poolAllocate<char>(env.pool, 2);
  DestroyPresolver(&env, &p);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(host.outstanding(), 0);
}

}  // namespace
