// Checks of presolve, on a model that meets most of its rules, and of the light path.
#include "diagnostics/verify_presolve.h"

#include <gtest/gtest.h>

#include "diagnostics/spoken_log.h"
#include "shell/pool.h"
#include "transform/equation_system.h"
#include "transform/model_fixture.h"
#include "transform/presolve.h"
#include "transform/presolve_disabled.h"
#include "transform/reduced_model.h"

namespace qz {
namespace {

using qztest::expectBreach;
using qztest::expectSound;
using qztest::kInf;
using qztest::TestModel;

// Row 0 fixes x0 = 2; row 1 bounds x1 <= 3 and row 2 x2 >= 1; row 3 keeps 4 <= x2 <= 5; row 6 is free; rows 4, 5 stay.
// x5 is empty.
TestModel ruleModel() {
  return TestModel("ELGREGN", {4, 6, 2, 10, 30, 1, 0}, {0, 0, 0, 2, 0, 0, 0},
                   {{1, 0, kInf, {{0, 2}, {4, 1}}},
                    {2, 0, 9, {{1, 2}, {4, 1}, {5, 1}}},
                    {-1, 0, 20, {{2, 2}, {3, 2}, {4, 3}, {5, -2}}},
                    {1, 0, kInf, {{4, 1}, {5, 4}}},
                    {0.5, 0, 30, {{4, 2}, {5, 1}, {6, 1}}},
                    {1, -1, 1, {}}});
}

class VerifyPresolve : public ::testing::Test {
 protected:
  VerifyPresolve() : m(ruleModel()) {
    env.pool = host.pool();
    env.log = log.log();
    option.presolveMode = 0;
  }
  ~VerifyPresolve() override {
    release();
    EXPECT_EQ(host.outstanding(), 0);
  }
  void presolve() {
    release();
    p = poolAllocateZero<Presolver>(env.pool, 1);
    hub = Hub{};
    model = &m.model;
    ASSERT_EQ(ipmPresolve(&env, &model, &option, p, &hub, &in, &out, nullptr), 0) << log.all();
    ASSERT_EQ(p->preControl, PRECONTROL_REDUCED);
  }
  void release() {
    if (p != nullptr && p->inModel != nullptr) FreeReducedModel(&env, &model, nullptr);
    if (out != in) FreeSolution(&env, &out);
    out = nullptr;
    FreeSolution(&env, &in);
    DestroyPresolver(&env, &p);
  }
  auto structure() {
    return [this](int32_t level) { return VerifyPresolveStructure(&env, level, p->inModel, &option, p); };
  }
  auto values() {
    return [this](int32_t level) { return VerifyPresolveValue(&env, level, p->inModel, model, p); };
  }
  void breaks(int32_t& field, int32_t value, const std::string& text) {
    const int32_t old = field;
    field = value;
    expectBreach(log, 1, structure(), "VerifyPresolveStructure: " + text);
    field = old;
  }

  qztest::TestHost host;
  qztest::SpokenLog log;
  Env env{};
  IpmOption option = qztest::plainOption();
  TestModel m;
  Hub hub{};
  Presolver* p = nullptr;
  Model* model = nullptr;
  Solution* in = nullptr;
  Solution* out = nullptr;
};

TEST_F(VerifyPresolve, SoundReductionPasses) {
  presolve();
  ASSERT_EQ(p->rowMap[0], ROWMAP_FIXED);
  ASSERT_EQ(p->rowMap[1], ROWMAP_UPPER);
  ASSERT_EQ(p->rowMap[3], ROWMAP_RANGE);
  ASSERT_EQ(p->colMap[0], COLMAP_FIXED);
  ASSERT_EQ(p->colMap[5], COLMAP_EMPTY);
  expectSound(log, 1, structure());
  expectSound(log, 1, [&](int32_t l) { return verifyWorkingCopies(&env, l, p->inModel, p); });
  expectSound(log, 3, values());
}

TEST_F(VerifyPresolve, StatisticsMatchTheMaps) {
  presolve();
  breaks(p->numRemovedRow, p->numRemovedRow + 1, "numRemovedRow = ");
  breaks(p->numRemovedCol, p->numRemovedCol - 1, "numRemovedCol = ");
  breaks(p->numRemovedElement, p->numRemovedElement + 1, "numRemovedElement by row = ");
  breaks(p->rowLength[4], p->rowLength[4] + 1, "numRemovedElement by row = ");
  breaks(p->colLength[3], p->colLength[3] - 1, "numRemovedElement by column = ");
}

TEST_F(VerifyPresolve, EverythingIsProcessedUnlessThePassesRanOut) {
  presolve();
  breaks(p->rowChecked[4], 0, "rowChecked(4) should be 1");
  breaks(p->colChecked[3], 0, "colChecked(3) should be 1");
  p->rowChecked[4] = 0;
  p->numPass = p->maxPass;
  expectSound(log, 1, structure());
}

TEST_F(VerifyPresolve, MapsNumberTheKeptAndHoldKnownCodes) {
  presolve();
  breaks(p->rowMap[5], 3, "rowMap(5) = 3 should be 1");
  breaks(p->colMap[3], 7, "colMap(3) = 7 should be");
  breaks(p->rowMap[0], -8, "rowMap(0) = -8 should be at least -7");
  breaks(p->colMap[0], -4, "colMap(0) = -4 should be at least -3");
}

TEST_F(VerifyPresolve, BoundsLieInsideThoseOfTheModel) {
  presolve();
  p->lower[3] = -0.5;
  expectBreach(log, 1, structure(), "VerifyPresolveStructure: lower(3) = -0.5 should be at least");
  p->lower[3] = 0.0;
  p->upper[4] = 31.0;
  expectBreach(log, 1, structure(), "VerifyPresolveStructure: upper(4) = 31 should be at most");
}

TEST_F(VerifyPresolve, SettersStandInTheMapsOfTheirSide) {
  presolve();
  breaks(p->ubMap[1], -1, "ubMap(1) misses the row that set the bound");
  breaks(p->lbMap[1], 1, "lbMap(1) names a row of the other side");
  breaks(p->lbMap[2], -1, "lbMap(2) misses the row that set the bound");
  breaks(p->lbMap[3], 0, "lbMap(3) names a row that does not hold the column");
  breaks(p->ubMap[3], 99, "ubMap(3) = 99 should be from 0 to 6");
  const int32_t lower = p->lbMap[0];
  const int32_t upper = p->ubMap[0];
  p->lbMap[0] = p->ubMap[0] = -1;
  expectBreach(log, 1, structure(),
               "VerifyPresolveStructure: rowMap(0) says that the row fixed a column, and it did not");
  p->lbMap[0] = lower;
  p->ubMap[0] = upper;
}

TEST_F(VerifyPresolve, ColumnsToDetermineAreListed) {
  presolve();
  breaks(p->numPostdet, p->numRemovedCol + 1, "numPostdet = ");
  p->numPostdet = 1;
  p->postdetList[0] = 3;
  expectBreach(log, 1, structure(), "VerifyPresolveStructure: postdetList(0) names a column that is not determined");
  p->postdetList[0] = 77;
  expectBreach(log, 1, structure(), "VerifyPresolveStructure: postdetList(0) = 77 should be");
  p->numPostdet = 0;
}

TEST_F(VerifyPresolve, WorkingCopiesAreTransposesOnWhatIsKept) {
  presolve();
  const auto copies = [&](int32_t l) { return verifyWorkingCopies(&env, l, p->inModel, p); };
  p->rowValue[p->rowBegin[5]] += 1.0;
  expectBreach(log, 1, copies, "ipmVerifyRowMatrix: value(");
}

TEST_F(VerifyPresolve, ValuesOfTheReducedModel) {
  presolve();
  model->rhs[0] += 0.1;
  expectBreach(log, 3, values(), "VerifyPresolveValue: row residual(4) = ");
  model->rhs[0] -= 0.1;
  model->matValue[0] = -model->matValue[0];
  expectBreach(log, 3, values(), "VerifyPresolveValue: row residual(");
  model->matValue[0] = -model->matValue[0];
  model->obj[1] += 0.1;
  expectBreach(log, 3, values(), "VerifyPresolveValue: objective = ");
  model->obj[1] -= 0.1;
  --model->numRow;
  expectBreach(log, 3, values(), "VerifyPresolveValue: numRow = ");
  ++model->numRow;
  expectSound(log, 3, values());
}

TEST_F(VerifyPresolve, QuadraticTermsOfFixedColumnsMoveIntoTheCosts) {
  m.makeQuadratic({2, 2, 2, 2, 2, 0}, {{1, 0, 1}, {3, 0, -1}, {4, 3, 0.5}});
  presolve();
  expectSound(log, 1, structure());
  expectSound(log, 3, values());
  breaks(p->numRemovedQuadElement, 1, "numRemovedQuadElement = 1 should be 2");
  model->quadMatValue[0] += 1.0;
  expectBreach(log, 3, values(), "VerifyPresolveValue: objective = ");
}

TEST_F(VerifyPresolve, RangeRowThatLostASideIsMeasuredFromTheOther) {
  // Row 1 of sense R can't exceed its upper side, so that only the lower one is left.
  m = TestModel("GR", {1, 100}, {0, 98}, {{1, 0, 5, {{0, 1}, {1, 1}}}, {1, 0, 5, {{0, 1}, {1, 2}}}});
  presolve();
  ASSERT_EQ(p->rowSense[1], 'G');
  expectSound(log, 1, structure());
  expectSound(log, 3, values());
}

TEST_F(VerifyPresolve, EveryFailedAllocationIsTold) {
  presolve();
  const auto each = [&](auto verify, int32_t level) {
    const int64_t before = host.outstanding();
    const int64_t first = host.allocations();
    ASSERT_EQ(verify(level), 0);
    const int64_t needed = host.allocations() - first;
    ASSERT_GT(needed, 0);
    for (int64_t k = 1; k <= needed; ++k) {
      host.failAllocation(k);
      EXPECT_EQ(verify(level), -1086) << k;
      host.failAllocation(0);
      EXPECT_EQ(host.outstanding(), before);
    }
  };
  each(structure(), 1);
  each(values(), 3);
  each([&](int32_t l) { return verifyWorkingCopies(&env, l, p->inModel, p); }, 1);
}

TEST_F(VerifyPresolve, WholePresolveUnderItsOwnChecks) {
  option.debugLevel = 9;
  presolve();
  EXPECT_EQ(log.errors(), 0) << log.all();
  EXPECT_TRUE(log.says("running debug code......"));
}

TEST_F(VerifyPresolve, WholePresolveFailsAtEveryAllocationOfItsChecksToo) {
  option.debugLevel = 9;
  const int64_t first = host.allocations();
  presolve();
  const int64_t needed = host.allocations() - first;
  for (int64_t k = 2; k <= needed; ++k) {
    release();
    p = poolAllocateZero<Presolver>(env.pool, 1);
    hub = Hub{};
    model = &m.model;
    host.failAllocation(k - 1);
    EXPECT_EQ(ipmPresolve(&env, &model, &option, p, &hub, &in, &out, nullptr), -1086) << k;
    host.failAllocation(0);
    if (p->inModel != nullptr && p->preControl != PRECONTROL_REDUCED) p->inModel = nullptr;
  }
}

TEST_F(VerifyPresolve, LightPathCounts) {
  TestModel light = TestModel("LRGE", {6, 4, 3, 3}, {0, 3, 0, 0},
                              {{0.5, 0, kInf, {{0, 1}, {1, 1}, {2, 1}}}, {-2.3, -kInf, kInf, {{1, 2}, {2, -1}}}});
  hub.numFreeVar = 1;
  hub.numFreeElement = 2;
  hub.numRange = 1;
  hub.numLcont = 1;
  const auto verify = [&](int32_t l) { return VerifyPresolveDisabled(&env, l, &light.model, &option, &hub); };
  expectSound(log, 1, verify);
  const auto off = [&](int32_t& field, const std::string& text) {
    ++field;
    expectBreach(log, 1, verify, "VerifyPresolveDisabled: " + text);
    --field;
  };
  off(hub.numFreeVar, "numFreeVar = 2 should be 1");
  off(hub.numFreeElement, "numFreeElement = 3 should be 2");
  off(hub.numRange, "numRange = 2 should be 1");
  off(hub.numLcont, "numLcont = 2 should be 1");
}

// Chains, singletons and a pair of unknowns: the reductions of an equation system under their checks, and the solution.
TEST_F(VerifyPresolve, EquationSystemsPassTheirChecks) {
  // Rows: 2 x0 = 4; x0 + 3 x1 + x2 = 9; x1 + 5 x2 + x3 = ...; symmetric, with x3 coupled to x2 alone.
  std::vector<int32_t> begin{0, 1, 3, 6, 8}, index{0, 1, 2, 1, 2, 3, 2, 3};
  std::vector<double> value{2, 3, 1, 1, 5, 1, 1, 4};
  std::vector<double> rhs{4, 3 * 1 + 2, 1 + 5 * 2 + 3, 2 + 4 * 3};
  ASSERT_EQ(
      eqnSolve(1e20, 1e-6, &env, 4, 2, 1, begin.data(), index.data(), value.data(), rhs.data(), nullptr, 9, EQN_PLAIN),
      0)
      << log.all();
  EXPECT_EQ(log.errors(), 0) << log.all();
  const double expected[] = {2, 1, 2, 3};
  for (int k = 0; k < 4; ++k) EXPECT_NEAR(rhs[static_cast<size_t>(k)], expected[k], 1e-12);
}

TEST_F(VerifyPresolve, UnsymmetricEquationSystemIsABreach) {
  std::vector<int32_t> begin{0, 2, 4}, index{0, 1, 0, 1};
  std::vector<double> value{2, 1, -1, 3}, rhs{1, 1};
  EXPECT_EQ(
      eqnSolve(1e20, 1e-6, &env, 2, 1, 1, begin.data(), index.data(), value.data(), rhs.data(), nullptr, 1, EQN_PLAIN),
      10);
  EXPECT_TRUE(log.says("Error VerifySymMatrix: value(")) << log.all();
}

}  // namespace
}  // namespace qz
