// From the reduced model back: expansion of the solution, recovery of duals, row slacks.
#include <cmath>

#include "transform/dual_recovery.h"
#include "transform/postsolve.h"
#include "transform/presolve.h"
#include "transform/presolve_case.h"
#include "transform/reduced_model.h"
#include "transform/solution_expansion.h"

namespace {

using namespace qz;
using qztest::kInf;
using qztest::TestModel;

class Undo : public qztest::PresolveCase {
 protected:
  ~Undo() override { release(); }
  int32_t run(TestModel& m) {
    release();
    p = poolAllocateZero<Presolver>(env.pool, 1);
    hub = Hub{};
    model = &m.model;
    return ipmPresolve(&env, &model, &option, p, &hub, &in, &out, nullptr);
  }
  int32_t back(int32_t status = 1) {
    model->status = status;
    FreePresolver(&env, p);
    return ipmPostsolve(&env, &model, &option, p, out, in, &hub, nullptr);
  }
  void release() {
    if (p != nullptr && p->inModel != nullptr) FreeReducedModel(&env, &model, nullptr);
    if (out != in) FreeSolution(&env, &out);
    FreeSolution(&env, &in);
    out = nullptr;
    finish();
  }
  Model* model = nullptr;
  Hub hub{};
  Solution* in = nullptr;  // of the input model
  Solution* out = nullptr;
};

// 2 x >= 10 with 0 <= x and cost 2, beside a row and a column that stay.
TEST_F(Undo, SingletonRowTakesTheDualOfItsBound) {
  TestModel m("GLL", {10, 30, 20}, {}, {{2, 0, kInf, {{0, 2}, {1, 1}, {2, 1}}}, {-1, 0, kInf, {{1, 1}, {2, 2}}}});
  ASSERT_EQ(run(m), 0);
  ASSERT_EQ(p->rowMap[0], ROWMAP_LOWER);
  ASSERT_EQ(model->numCol, 2);
  // Optimal: x = 5, y = 7.5 by row 2 with dual -0.5; reduced cost of x is 2 + 0.5 on the bound 5.
  out->primal[0] = 5.0;
  out->primal[1] = 7.5;
  out->lowerDual[0] = 2.5;
  out->dual[p->rowMap[2]] = -0.5;
  out->upperSlack[0] = 0.0;
  ASSERT_EQ(back(), 0);
  EXPECT_EQ(model, &m.model);
  EXPECT_DOUBLE_EQ(in->dual[0], 1.25);
  EXPECT_EQ(in->dual[1], 0.0);
  EXPECT_EQ(in->dual[2], -0.5);
  EXPECT_EQ(in->lowerDual[0], 0.0);
  EXPECT_EQ(in->lowerSlack[0], 5.0);
  EXPECT_NEAR(m.a.reducedCost[0], 0.0, 1e-15);
  EXPECT_EQ(in->ineqnSlack[0], 0.0);
  EXPECT_EQ(m.a.rowActivity[0], 10.0);
  EXPECT_DOUBLE_EQ(m.model.objValue, 10.0 - 7.5);
  EXPECT_EQ(m.model.status, 1);
}

TEST_F(Undo, UpperSideMirrors) {
  TestModel m("LLL", {10, 30, 20}, {}, {{-2, 0, kInf, {{0, 2}, {1, 1}, {2, 1}}}, {-1, 0, kInf, {{1, 1}, {2, 1}}}});
  ASSERT_EQ(run(m), 0);
  ASSERT_EQ(p->rowMap[0], ROWMAP_UPPER);
  // x = 5 at its bound, y = 15 by row 2 with dual -1: reduced cost of x is -2 + 1 = -1.
  out->primal[0] = 5.0;
  out->primal[1] = 15.0;
  out->upperDual[0] = 1.0;
  out->dual[p->rowMap[2]] = -1.0;
  ASSERT_EQ(back(), 0);
  EXPECT_DOUBLE_EQ(in->dual[0], -0.5);
  EXPECT_EQ(in->upperDual[0], 0.0);
  EXPECT_EQ(in->upperSlack[0], 0.0);
  EXPECT_NEAR(m.a.reducedCost[0], 0.0, 1e-15);
}

// x + y <= 0 over x, y >= 0 forces both to 0: the row's dual must cover the worse of the two costs -1 and -3.
TEST_F(Undo, ForcingRowGetsTheLargestDualThatItsColumnsNeed) {
  for (bool swapped : {false, true}) {
    TestModel m("L", {0}, {}, {{swapped ? -3.0 : -1.0, 0, 9, {{0, 1}}}, {swapped ? -1.0 : -3.0, 0, 9, {{0, 1}}}});
    ASSERT_EQ(run(m), 1);
    ASSERT_EQ(p->rowMap[0], ROWMAP_FIXED);
    ASSERT_EQ(back(), 0);
    EXPECT_DOUBLE_EQ(in->dual[0], -3.0);
    EXPECT_DOUBLE_EQ(in->lowerDual[swapped ? 1 : 0], 2.0);
    EXPECT_NEAR(in->lowerDual[swapped ? 0 : 1], 0.0, 1e-15);
    EXPECT_EQ(in->upperDual[0], 0.0);
    EXPECT_EQ(in->upperDual[1], 0.0);
  }
}

// Row 0 fixes x; row 1 then fixes y; each takes what its own column needs.
TEST_F(Undo, ChainOfEquationsIsSolvedBackwards) {
  TestModel m("EE", {4, 10}, {}, {{3, -9, kInf, {{0, 2}, {1, 1}}}, {5, -kInf, kInf, {{1, 4}}}});
  ASSERT_EQ(run(m), 1);
  ASSERT_EQ(back(), 0);
  EXPECT_EQ(m.a.solPrimal[0], 2.0);
  EXPECT_EQ(m.a.solPrimal[1], 2.0);
  EXPECT_DOUBLE_EQ(m.a.solDual[1], 1.25);
  EXPECT_DOUBLE_EQ(m.a.solDual[0], (3 - 1.25) / 2);
  for (int j = 0; j < 2; ++j) EXPECT_NEAR(in->lowerDual[j] - in->upperDual[j], 0.0, 1e-15);
}

// y >= 1 by row 1, x <= 4 by row 2 through it, x >= 4 by row 3 with w fixed at -3; then row 2 alone is left to fix y at
// 1. If it took over the lower bound of y, x and y would hand their duals to row 2 in turn without end.
TEST_F(Undo, EquationThatConfirmsABoundLeavesItsSetter) {
  TestModel m("EGEE", {9, 1, -6.5, 23}, {},
              {{-3, -kInf, kInf, {{2, -0.75}, {3, 5}}},
               {3, -3, kInf, {{1, 1}, {2, -3.5}}},
               {1, -kInf, kInf, {{0, -3}, {3, -1}}}});
  ASSERT_EQ(run(m), 1);
  EXPECT_EQ(p->ubMap[0], 2);
  EXPECT_EQ(p->lbMap[0], 3);
  EXPECT_EQ(p->lbMap[1], 1);
  EXPECT_EQ(p->ubMap[1], 2);
  ASSERT_EQ(back(), 0);
  for (size_t j = 0; j < 3; ++j) {
    double reduced = m.a.obj[j];
    for (auto k = static_cast<size_t>(m.a.colBegin[j]); k < static_cast<size_t>(m.a.colBegin[j + 1]); ++k)
      reduced -= m.a.matValue[k] * m.a.solDual[static_cast<size_t>(m.a.rowIndex[k])];
    EXPECT_NEAR(reduced, 0.0, 1e-9) << "column " << j << " lies inside its own bounds";
  }
  EXPECT_GE(m.a.solDual[1], 0.0);
}

// x + y <= 4 bounds both columns from above; x >= 4 then fixes x, and what is left of the row bounds y by 0.
TEST_F(Undo, RowThatBoundsTwoColumnsServesBoth) {
  TestModel m("LG", {4, 4}, {}, {{-3, 0, kInf, {{0, 1}, {1, 1}}}, {-2, 0, kInf, {{0, 1}}}});
  ASSERT_EQ(run(m), 1);
  ASSERT_EQ(p->rowMap[0], ROWMAP_UPPER);
  ASSERT_EQ(p->ubMap[0], 0);
  ASSERT_EQ(p->ubMap[1], 0);
  ASSERT_EQ(back(), 0);
  EXPECT_EQ(m.a.solPrimal[0], 4.0);
  EXPECT_EQ(m.a.solPrimal[1], 0.0);
  EXPECT_DOUBLE_EQ(m.a.solDual[0], -3.0);
  EXPECT_EQ(m.a.solDual[1], 0.0);
  EXPECT_DOUBLE_EQ(in->lowerDual[1], 1.0);
}

// The row bounds x and is left without elements; its dual is not 0 for all that.
TEST_F(Undo, EmptyRowThatSetABoundTakesItsDual) {
  TestModel m("LGL", {8, 8, 0}, {}, {{-3, 0, kInf, {{0, 1}, {1, 1}}}, {2, 0, kInf, {{0, 1}, {2, 1}}}});
  ASSERT_EQ(run(m), 1);
  ASSERT_EQ(p->rowMap[0], ROWMAP_EMPTY);
  ASSERT_EQ(p->ubMap[0], 0);
  ASSERT_EQ(back(), 0);
  EXPECT_EQ(m.a.solPrimal[0], 8.0);
  EXPECT_DOUBLE_EQ(m.a.solDual[0], -3.0);
  EXPECT_EQ(m.a.solDual[1], 0.0);
  EXPECT_DOUBLE_EQ(in->lowerDual[1], 5.0);
}

TEST_F(Undo, BoundMovedByLessThanTheToleranceKeepsItsDual) {
  TestModel m("GL", {10 + 1e-6, 30}, {}, {{2, 5, kInf, {{0, 2}, {1, 1}}}, {-1, 0, kInf, {{1, 1}}}});
  ASSERT_EQ(run(m), 0);
  ASSERT_EQ(p->rowMap[0], ROWMAP_LOWER);
  out->primal[0] = 5.0 + 5e-7;
  out->primal[1] = 25.0;
  out->dual[0] = -1.0;
  out->lowerDual[0] = 3.0;
  ASSERT_EQ(back(), 0);
  EXPECT_EQ(in->dual[0], 0.0);
  EXPECT_EQ(in->lowerDual[0], 3.0);
}

TEST_F(Undo, DualsBelowTheToleranceOnPresolvedBoundsVanish) {
  TestModel m("GL", {10, 30}, {}, {{1 + 0.5e-6, 0, kInf, {{0, 2}, {1, 1}}}, {-1, 0, kInf, {{1, 1}}}});
  ASSERT_EQ(run(m), 0);
  out->primal[0] = 6.0;
  out->primal[1] = 24.0;
  out->lowerDual[0] = 0.5e-6;
  out->dual[0] = -1.0;
  m.a.obj[0] = -1.0;
  ASSERT_EQ(back(), 0);
  EXPECT_EQ(in->lowerDual[0], 0.0);
  EXPECT_EQ(in->dual[0], 0.0);
}

TEST_F(Undo, TightenedBoundsGoBackToTheUserWithTheirDuals) {
  // x + y >= 6, x <= 4, y <= 5, costs 1 and 2: x = 4, y = 2 = its presolved bound, with dual split by the engine.
  TestModel m("G", {6}, {}, {{1, 0, 4, {{0, 1}}}, {2, 0, 5, {{0, 1}}}});
  const auto before = m.a;
  ASSERT_EQ(run(m), 0);
  ASSERT_EQ(p->preControl, PRECONTROL_BOUND);
  in->primal[0] = 4.0;
  in->primal[1] = 2.0;
  in->dual[0] = 0.5;
  in->lowerDual[1] = 1.5;
  in->lowerDual[0] = 0.5;
  ASSERT_EQ(back(), 0);
  EXPECT_EQ(m.a.lower, before.lower);
  EXPECT_EQ(m.a.upper, before.upper);
  EXPECT_DOUBLE_EQ(in->dual[0], 2.0);
  EXPECT_EQ(in->lowerDual[1], 0.0);
  EXPECT_EQ(in->lowerSlack[1], 2.0);
  EXPECT_DOUBLE_EQ(in->upperDual[0], 1.0);
  EXPECT_EQ(in->lowerDual[0], 0.0);
}

TEST_F(Undo, FailedSolvesStayUnevaluated) {
  for (int32_t status : {1003, -1086, 12, 10, 3}) {
    TestModel m("GL", {10, 30}, {}, {{2, 0, kInf, {{0, 2}, {1, 1}}}, {-1, 0, kInf, {{1, 1}}}});
    for (double& v : m.a.rowActivity) v = -77;
    ASSERT_EQ(run(m), 0);
    ASSERT_EQ(back(status), 0);
    EXPECT_EQ(m.model.status, status);
    EXPECT_EQ(m.a.rowActivity[0], status == 3 ? 0.0 : -77.0);
  }
}

TEST_F(Undo, SolutionPointersMustFit) {
  TestModel m("GL", {10, 30}, {}, {{2, 0, kInf, {{0, 2}, {1, 1}}}, {-1, 0, kInf, {{1, 1}}}});
  ASSERT_EQ(run(m), 0);
  SubModel submodel{};
  for (auto [a, b] :
       {std::pair{in, in}, std::pair<Solution*, Solution*>{nullptr, in}, std::pair<Solution*, Solution*>{out, nullptr}})
    EXPECT_EQ(ipmPostsolve(&env, &model, &option, p, a, b, &hub, nullptr), 10);
  EXPECT_NE(p->inModel, nullptr);
  p->preControl = PRECONTROL_BOUND;
  EXPECT_EQ(ipmPostsolve(&env, &model, &option, p, out, in, &hub, nullptr), 10);
  ASSERT_EQ(host.messages.size(), 4u);
  EXPECT_EQ(host.messages[0].text, "PRECONTROL_REDUCED case solution pointer error");
  EXPECT_EQ(host.messages[3].text, "PRECONTROL_BOUND case solution pointer error");
  TestModel bound("G", {6}, {}, {{1, 0, 4, {{0, 1}}}, {2, 0, 5, {{0, 1}}}});
  p->preControl = PRECONTROL_REDUCED;
  ASSERT_EQ(run(bound), 0);
  EXPECT_EQ(ipmPostsolve(&env, &model, &option, p, out, in, &hub, &submodel), 10);
  EXPECT_EQ(host.messages.back().text, "PRECONTROL_BOUND case: submodel should not exist.");
  EXPECT_EQ(bound.a.lower[0], 0.0) << "the bounds are the user's all the same";
}

TEST_F(Undo, EveryFailedAllocationOfTheRecoveryIsTold) {
  for (int64_t k = 1; k <= 6; ++k) {
    TestModel m("GL", {10, 30}, {}, {{2, 0, kInf, {{0, 2}, {1, 1}}}, {-1, 0, kInf, {{1, 1}}}});
    ASSERT_EQ(run(m), 0);
    host.failAllocation(k);
    EXPECT_EQ(back(), k <= 5 ? -1086 : 0) << k;
    host.failAllocation(0);
    EXPECT_EQ(model, &m.model);
    EXPECT_EQ(p->inModel, nullptr);
  }
}

// The expansion alone, on a presolver that is written by hand.
class Expansion : public ::testing::Test {
 protected:
  void expand(TestModel& m, std::vector<int32_t> maps, std::vector<double> lower, std::vector<double> upper,
              int32_t keepPrimal = 0) {
    const size_t n = maps.size();
    for (auto* v : {&primal, &lowerSlack, &upperSlack, &lowerDual, &upperDual}) v->assign(n, -7.0);
    if (start.size() == n) primal = start;
    rows = {-7};
    slacks = {-7};
    solution = {primal.data(),    rows.data(),      lowerSlack.data(), upperSlack.data(),
                lowerDual.data(), upperDual.data(), slacks.data()};
    std::vector<int32_t> rowMap = {ROWMAP_EMPTY};
    Presolver p{};
    p.inModel = &m.model;
    p.rowMap = rowMap.data();
    p.colMap = maps.data();
    p.lower = lower.data();
    p.upper = upper.data();
    p.obj = workingCost.empty() ? m.a.obj.data() : workingCost.data();
    outputSolution(&p, nullptr, &solution, nullptr, keepPrimal, 1e20);
  }
  std::vector<double> workingCost;  // of presolve; empty for the costs of the model
  std::vector<double> start, primal, lowerSlack, upperSlack, lowerDual, upperDual, rows, slacks;
  Solution solution{};
};

TEST_F(Expansion, FixedColumnsHaveSlacksToTheUsersFiniteBounds) {
  TestModel m("E", {0}, {}, {{0, -kInf, kInf, {}}, {0, 1, 9, {}}});
  expand(m, {COLMAP_FIXED, COLMAP_FIXED}, {3, 4}, {3, 4});
  EXPECT_EQ(primal, (std::vector<double>{3, 4}));
  EXPECT_EQ(lowerSlack, (std::vector<double>{0, 3}));
  EXPECT_EQ(upperSlack, (std::vector<double>{0, 5}));
  EXPECT_EQ(lowerDual, (std::vector<double>{0, 0}));
  EXPECT_EQ(upperDual, (std::vector<double>{0, 0}));
  EXPECT_EQ(rows[0], 0.0);
  EXPECT_EQ(slacks[0], 0.0);
}

TEST_F(Expansion, EmptyColumnsGoWhereTheirCostSends) {
  TestModel m(
      "E", {0}, {},
      {{2, 0, 9, {}}, {-2, 0, 9, {}}, {0, -kInf, kInf, {}}, {0, -kInf, 9, {}}, {0, 1, 9, {}}, {2, 1, kInf, {}}});
  expand(m, std::vector<int32_t>(6, COLMAP_EMPTY), {0, 0, -kInf, -kInf, 1, 1}, {9, 9, kInf, 9, 9, kInf});
  EXPECT_EQ(primal, (std::vector<double>{0, 9, 0, 9, 1, 1}));
  EXPECT_EQ(lowerDual, (std::vector<double>{2, 0, 0, 0, 0, 2}));
  EXPECT_EQ(upperDual, (std::vector<double>{0, -2, 0, 0, 0, 0})) << "the repair turns the negative cost";
  EXPECT_EQ(lowerSlack, (std::vector<double>{0, 9, 0, 0, 0, 0}));
  EXPECT_EQ(upperSlack, (std::vector<double>{9, 0, 0, 0, 8, 0}));
}

TEST_F(Expansion, KeptPrimalIsPutIntoItsBounds) {
  TestModel m("E", {0}, {}, {{2, 0, 9, {}}, {-2, 0, 9, {}}, {1, 0, 9, {}}});
  start = {-1, 10, 4};
  expand(m, std::vector<int32_t>(3, COLMAP_EMPTY), {0, 0, 0}, {9, 9, 9}, 1);
  EXPECT_EQ(primal, (std::vector<double>{0, 9, 4}));
  EXPECT_EQ(lowerSlack, (std::vector<double>{0, 9, 4}));
  EXPECT_EQ(upperSlack, (std::vector<double>{9, 0, 5}));
  EXPECT_EQ(lowerDual, (std::vector<double>{0, 0, 0}));
}

TEST_F(Expansion, CurvedColumnsTakeTheirBestValue) {
  // q = 2, c = -6: minimiser 3. Then concave with ends 0 and 4.
  TestModel m(
      "E", {0}, {},
      {{-6, 0, 9, {}}, {-6, 5, 9, {}}, {-6, 0, 2, {}}, {1, 0, 4, {}}, {3, 0, 4, {}}, {2, 0, 4, {}}, {2, 0, 4, {}}});
  m.makeQuadratic({2, 2, 2, -1, -1, -1, 1e-11}, {});
  expand(m, std::vector<int32_t>(7, COLMAP_EMPTY), {0, 5, 0, 0, 0, 0, 0}, {9, 9, 2, 4, 4, 4, 4});
  // f(4) = (c - 2) 4: -4, 4, 0
  EXPECT_EQ(primal, (std::vector<double>{3, 5, 2, 4, 0, 0, 0}));
  for (size_t j = 0; j < 6; ++j) EXPECT_EQ(lowerDual[j] + upperDual[j], 0.0);
  EXPECT_EQ(lowerDual[6], 2.0) << "too flat: as a linear column";
  EXPECT_EQ(lowerSlack[0], 3.0);
  EXPECT_EQ(upperSlack[0], 6.0);
}

// Fixed neighbours have moved their products into the working costs.
TEST_F(Expansion, CostsAreThoseOfPresolve) {
  TestModel m("E", {0}, {}, {{2, 0, 9, {}}, {-6, 0, 9, {}}});
  m.makeQuadratic({0, 2}, {});
  workingCost = {-3, -10};
  expand(m, std::vector<int32_t>(2, COLMAP_EMPTY), {0, 0}, {9, 9});
  EXPECT_EQ(primal, (std::vector<double>{9, 5}));
  EXPECT_EQ(upperDual[0], -3.0);
}

TEST_F(Expansion, KeptDirectionIsExpandedInPlace) {
  TestModel m("EEE", {0, 0, 0}, {}, {{0, 0, 9, {}}, {0, 0, 9, {}}, {0, 0, 9, {}}});
  std::vector<int32_t> colMap = {COLMAP_FIXED, 0, 1}, rowMap = {0, ROWMAP_FREE, 1};
  std::vector<double> columns[5], dual = {5, 6, 99}, slack = {7, 8, 99}, bounds(3, 0.0), values(3, 0.0), rowValues(3);
  for (auto& v : columns) v = {1, 2, 99};
  KeptSolution kept{1,
                    1,
                    columns[0].data(),
                    dual.data(),
                    columns[1].data(),
                    columns[2].data(),
                    columns[3].data(),
                    columns[4].data(),
                    slack.data()};
  Hub hub{};
  hub.keptSolution = &kept;
  Presolver p{};
  p.inModel = &m.model;
  p.colMap = colMap.data();
  p.rowMap = rowMap.data();
  p.lower = p.upper = bounds.data();
  p.obj = m.a.obj.data();
  std::vector<double> a(3), b(3), c(3), d(3), e(3), f(3);
  Solution s{a.data(), b.data(), c.data(), d.data(), e.data(), f.data(), rowValues.data()};
  outputSolution(&p, nullptr, &s, &hub, 0, 1e20);
  for (auto& v : columns) EXPECT_EQ(v, (std::vector<double>{0, 1, 2}));
  EXPECT_EQ(dual, (std::vector<double>{5, 0, 6}));
  EXPECT_EQ(slack, (std::vector<double>{7, 0, 8}));
}

TEST(BoundDual, DiscrepancyKeepsBothNonNegative) {
  IpmOption option = qztest::plainOption();
  Env env{};
  struct {
    double lower, upper, r, newLower, newUpper;
  } const cases[] = {{0, 0.5, 2, 1.5, 0}, {0, 3, 2, 0, 1},      {1, 0, 2, 3, 0},
                     {1, 1e-7, 2, 3, 0},  {0.5, 0, -2, 0, 1.5}, {3, 0, -2, 1, 0},
                     {0, 1, -2, 0, 3},    {1e-7, 1, -2, 0, 3},  {0, 2, 2 + 5e-7, 0, -5e-7}};
  for (const auto& c : cases) {
    double lower = c.lower, upper = c.upper;
    Solution s{};
    s.lowerDual = &lower;
    s.upperDual = &upper;
    adjustBoundDual(&env, &option, &s, nullptr, 0, c.r);
    EXPECT_NEAR(lower, c.newLower, 1e-15) << c.lower << " " << c.upper << " " << c.r;
    EXPECT_NEAR(upper, c.newUpper, 1e-15);
    // The kept direction follows in proportion; what grows from nothing has no direction.
    double keptLower = 0.1 * c.lower, keptUpper = 0.2 * c.upper;
    KeptSolution kept{};
    kept.lowerDualDelta = &keptLower;
    kept.upperDualDelta = &keptUpper;
    Hub hub{};
    hub.keptSolution = &kept;
    lower = c.lower;
    upper = c.upper;
    adjustBoundDual(&env, &option, &s, &hub, 0, c.r);
    EXPECT_NEAR(keptLower, c.lower > 0 ? 0.1 * lower : 0.0, 1e-15);
    EXPECT_NEAR(keptUpper, c.upper > 0 ? 0.2 * upper : 0.0, 1e-15);
  }
}

TEST(RowSlack, RemovedAndTurnedRowsAreMeasured) {
  TestModel m("GLREGLRgR", {1, 2, 3, 4, 5, 6, 7, 8, 9}, {0, 0, 1, 0, 0, 0, 1, 0, 1}, {});
  for (double& a : m.a.rowActivity) a = 10;
  std::vector<int32_t> rowMap = {ROWMAP_FREE, ROWMAP_UPPER, ROWMAP_RANGE, ROWMAP_EMPTY, ROWMAP_FIXED, 0, 1, 2, 3};
  std::string senses = "GLREGLGGR";
  std::vector<double> slack(9, -1.0);
  Presolver p{};
  p.rowMap = rowMap.data();
  p.rowSense = senses.data();
  Solution s{};
  s.ineqnSlack = slack.data();
  adjustRowActivity(&m.model, &p, &s);
  EXPECT_EQ(slack, (std::vector<double>{9, -8, -7, 0, -1, -1, -3, -1, -1}));
}

TEST_F(Undo, SubstituteOfAFreeColumnIsTheShortestEquation) {
  TestModel m(
      "EEEG", {1, 1, 1, 1}, {},
      {{0, -kInf, kInf, {{0, 1}, {1, 2}, {2, -3}, {3, 9}}}, {0, 0, 1, {{0, 1}, {1, 1}, {2, 1}}}, {0, 0, 1, {{0, 1}}}});
  begin(m);
  replaceFreeVar(&env, &option, nullptr, p, 0);
  ASSERT_EQ(host.messages.size(), 2u);
  EXPECT_EQ(host.messages[0].text, "pivot=%15.7g   %15.7g") << "row 2 ties with row 1 and has the larger element";
  EXPECT_EQ(host.messages[1].text, "free variable %d is replace by %d vars");
}

}  // namespace
