// Each rule of presolve on models small enough to follow by hand.
#include <cmath>

#include "shell/pool.h"
#include "transform/bound_maps.h"
#include "transform/bound_tightening.h"
#include "transform/column_reductions.h"
#include "transform/noise.h"
#include "transform/presolve_case.h"
#include "transform/row_reductions.h"

namespace {

using namespace qz;
using qztest::Box;
using qztest::Elements;
using qztest::kInf;
using qztest::PresolveCase;
using qztest::TestModel;

constexpr double kTol = 1e-6;

using FreeRows = PresolveCase;

TEST_F(FreeRows, SensesBecomeCapitalInTheWorkingCopyOnly) {
  TestModel m("eglrELGR", {0, 0, 0, 0, 0, 0, 0, 0}, {}, {{1, 0, 1, {{0, 1}}}});
  begin(m);
  EXPECT_EQ(removeFreeRow(&env, &m.model, p), 0);
  EXPECT_EQ(std::string(p->rowSense, 8), "EGLRELGR");
  EXPECT_EQ(std::string(m.a.rowSense.begin(), m.a.rowSense.end()), "eglrELGR");
  EXPECT_EQ(p->numRemovedRow, 0);
}

TEST_F(FreeRows, RowsOfSenseNGo) {
  TestModel m("NEn", {9, 1, 9}, {}, {{1, 0, 1, {{0, 1}, {1, 2}, {2, 3}}}, {1, 0, 1, {{2, 5}, {1, 4}}}});
  begin(m);
  EXPECT_EQ(removeFreeRow(&env, &m.model, p), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FREE);
  EXPECT_EQ(p->rowMap[1], 0);
  EXPECT_EQ(p->rowMap[2], ROWMAP_FREE);
  EXPECT_EQ(p->numRemovedRow, 2);
  EXPECT_EQ(p->numRemovedElement, 3);
  EXPECT_EQ(column(0), (Elements{{1, 2}}));
  EXPECT_EQ(column(1), (Elements{{1, 4}}));
  EXPECT_TRUE(row(0).empty());
  EXPECT_TRUE(row(2).empty());
}

TEST_F(FreeRows, UnknownSenseIsAFailureAndCountsNothing) {
  TestModel m("NX", {9, 1}, {}, {{1, 0, 1, {{0, 1}, {1, 2}}}});
  begin(m);
  EXPECT_EQ(removeFreeRow(&env, &m.model, p), 10);
  EXPECT_EQ(p->numRemovedRow, 0);
  EXPECT_EQ(p->numRemovedElement, 0);
  ASSERT_EQ(host.messages.size(), 1u);
  EXPECT_EQ(host.messages[0].level, 0);
  EXPECT_EQ(host.messages[0].text, "unknown row type %c.");
}

using Bounds = PresolveCase;

TEST_F(Bounds, CrossingBeyondTheToleranceIsPrimalInfeasible) {
  struct {
    double lower, upper;
    int32_t status;
  } const cases[] = {
      {0, 1, 0},           {1, 1, 0},         {1 + 0.9 * kTol, 1, 0}, {1 + 1.1 * kTol, 1, 3}, {kInf, kInf, 4},
      {1e20, kInf, 4},     {-kInf, -1e20, 4}, {-kInf, -1e30, 4},      {5, -1e20, 3},          {-9.9e19, 9.9e19, 0},
      {9.9e19, -9.9e19, 3}};
  for (const auto& c : cases) {
    TestModel m("E", {1}, {}, {{1, 0, 1, {{0, 1}}}, {1, c.lower, c.upper, {{0, 1}}}});
    begin(m);
    EXPECT_EQ(detectInfeasBound(&env, &m.model, &option, p), c.status) << c.lower << " " << c.upper;
    EXPECT_EQ(p->infeasCol, c.status == 0 ? -1 : 1);
    EXPECT_EQ(p->infeasRow, -1);
  }
}

using FixedColumn = PresolveCase;

TEST_F(FixedColumn, MovesIntoTheRightHandSides) {
  TestModel m("EL", {10, 20}, {}, {{1, 3, 3, {{0, 2}, {1, -1}}}, {1, 0, 9, {{0, 1}, {1, 1}}}});
  begin(m);
  p->rowChecked[0] = p->rowChecked[1] = 1;
  EXPECT_EQ(removeFixedCol(&env, &m.model, &option, p, 0), 0);
  EXPECT_EQ(p->colMap[0], COLMAP_FIXED);
  EXPECT_EQ(p->rhs[0], 4.0);
  EXPECT_EQ(p->rhs[1], 23.0);
  EXPECT_EQ(row(0), (Elements{{1, 1}}));
  EXPECT_EQ(row(1), (Elements{{1, 1}}));
  EXPECT_EQ(p->numRemovedCol, 1);
  EXPECT_EQ(p->numRemovedElement, 2);
  EXPECT_EQ(p->changed, 1);
  EXPECT_EQ(p->rowChecked[0], 0);
  EXPECT_EQ(p->rowChecked[1], 0);
  EXPECT_EQ(m.a.rhs, (std::vector<double>{10, 20})) << "the caller's array stays";
}

TEST_F(FixedColumn, MovesItsProductsIntoTheCosts) {
  TestModel m("E", {1}, {}, {{1, 0, 9, {{0, 1}}}, {2, 5, 5, {{0, 1}}}, {3, 0, 9, {{0, 1}}}});
  m.makeQuadratic({1, 1, 1}, {{1, 0, 0.5}, {2, 0, 0.25}, {2, 1, -2}});
  begin(m);
  p->colChecked[0] = p->colChecked[2] = 1;
  EXPECT_EQ(removeFixedCol(&env, &m.model, &option, p, 1), 0);
  EXPECT_EQ(p->obj[0], 1 + 0.5 * 5);
  EXPECT_EQ(p->obj[2], 3 - 2 * 5.0);
  EXPECT_EQ(p->numRemovedQuadElement, 2);
  EXPECT_EQ(p->quadColLength[1], 0);
  EXPECT_EQ(p->quadRowLength[1], 0);
  EXPECT_EQ(p->quadColLength[0], 1);
  EXPECT_EQ(p->quadRowIndex[p->quadColBegin[0]], 2);
  EXPECT_EQ(p->quadRowLength[2], 1);
  EXPECT_EQ(p->quadColIndex[p->quadRowBegin[2]], 0);
  EXPECT_EQ(p->colChecked[0], 0);
  EXPECT_EQ(p->colChecked[2], 0);
}

using EmptyColumn = PresolveCase;

TEST_F(EmptyColumn, UnboundedOnlyWhereTheCostRunsAlongAnInfiniteBound) {
  struct {
    double cost, lower, upper;
    int32_t status;
  } const cases[] = {{0, -kInf, kInf, 0}, {1, 0, kInf, 0},   {1, -kInf, 0, 4}, {1, -1e20, 0, 4},
                     {-1, 0, kInf, 4},    {-1, -kInf, 7, 0}, {-1, 0, 1e20, 4}, {1e-30, -kInf, kInf, 4}};
  for (const auto& c : cases) {
    TestModel m("E", {0}, {}, {{c.cost, c.lower, c.upper, {}}});
    begin(m);
    EXPECT_EQ(removeEmptyCol(&env, &m.model, &option, p, 0), c.status) << c.cost << " " << c.lower;
    EXPECT_EQ(p->colMap[0], COLMAP_EMPTY);
    EXPECT_EQ(p->numRemovedCol, 1);
    EXPECT_EQ(p->infeasCol, c.status == 0 ? -1 : 0);
  }
}

TEST_F(EmptyColumn, CurvatureDecidesForAQuadraticColumn) {
  struct {
    double q, cost, lower, upper;
    int32_t status;
  } const cases[] = {{1, 1, -kInf, kInf, 0},    {-1, 0, -kInf, 3, 4},     {-1, 0, 3, kInf, 4},
                     {-1, 5, 0, 9, 0},          {1e-10, 1, -kInf, 9, 4},  {1.1e-10, 1, -kInf, 9, 0},
                     {-1e-10, -1, -kInf, 9, 0}, {-1e-10, -1, 0, kInf, 4}, {-1.1e-10, -1, -kInf, 9, 4}};
  for (const auto& c : cases) {
    TestModel m("E", {0}, {}, {{c.cost, c.lower, c.upper, {}}, {0, 0, 1, {{0, 1}}}});
    m.makeQuadratic({c.q, 0}, {});
    begin(m);
    EXPECT_EQ(removeEmptyCol(&env, &m.model, &option, p, 0), c.status) << c.q << " " << c.lower;
  }
}

TEST_F(EmptyColumn, StaysWhileItHasQuadraticElements) {
  TestModel m("E", {0}, {}, {{1, -kInf, kInf, {}}, {0, 0, 1, {}}});
  m.makeQuadratic({1, 1}, {{1, 0, 0.5}});
  begin(m);
  for (int32_t j : {0, 1}) {
    EXPECT_EQ(removeEmptyCol(&env, &m.model, &option, p, j), 0);
    EXPECT_EQ(p->colMap[j], 0);
  }
  EXPECT_EQ(p->numRemovedCol, 0);
}

using EmptyRow = PresolveCase;

TEST_F(EmptyRow, HoldsForZeroWithinTheTolerance) {
  struct {
    char sense;
    double rhs, range;
    int32_t status;
  } const cases[] = {
      {'E', kTol, 0, 0},         {'E', -kTol, 0, 0},     {'E', 1.01 * kTol, 0, 3}, {'E', -1.01 * kTol, 0, 3},
      {'L', -kTol, 0, 0},        {'L', -2 * kTol, 0, 3}, {'L', 5, 0, 0},           {'G', kTol, 0, 0},
      {'G', 2 * kTol, 0, 3},     {'G', -5, 0, 0},        {'R', 2, 3, 0},           {'R', -2 * kTol, 9, 3},
      {'R', 2, 2 - 2 * kTol, 3}, {'R', 2, 2, 0}};
  for (const auto& c : cases) {
    TestModel m(std::string("E") + c.sense, {1, c.rhs}, {0, c.range}, {{0, 0, 1, {{0, 1}}}});
    begin(m);
    EXPECT_EQ(removeEmptyRow(&env, &m.model, &option, p, 1, nullptr), c.status) << c.sense << c.rhs;
    EXPECT_EQ(p->rowMap[1], ROWMAP_EMPTY);
    EXPECT_EQ(p->numRemovedRow, 1);
    EXPECT_EQ(p->infeasRow, c.status == 0 ? -1 : 1);
  }
}

TEST_F(EmptyRow, ReentryAsksForARestartWhenALargeDualIsLost) {
  struct {
    char sense;
    double dual;
    int32_t status;
  } const cases[] = {{'G', 1, 0}, {'G', 1.1, 1003}, {'G', -9, 0},     {'L', -1, 0},      {'L', -1.1, 1003},
                     {'L', 9, 0}, {'E', 1, 0},      {'E', 1.1, 1003}, {'E', -1.1, 1003}, {'R', -1.1, 1003}};
  for (const auto& c : cases) {
    TestModel m(std::string(1, c.sense), {0}, {}, {{0, 0, 1, {}}});
    std::vector<double> dual = {c.dual};
    Solution solution{};
    solution.dual = dual.data();
    option.initOption = 4096;
    begin(m);
    EXPECT_EQ(removeEmptyRow(&env, &m.model, &option, p, 0, &solution), c.status) << c.sense << c.dual;
    begin(m);
    EXPECT_EQ(removeEmptyRow(&env, &m.model, &option, p, 0, nullptr), 0);
    option.initOption = 0;
    begin(m);
    EXPECT_EQ(removeEmptyRow(&env, &m.model, &option, p, 0, &solution), 0);
  }
}

TEST_F(EmptyRow, RestartReplacesInfeasible) {
  TestModel m("G", {5}, {}, {{0, 0, 1, {}}});
  std::vector<double> dual = {2};
  Solution solution{};
  solution.dual = dual.data();
  option.initOption = 4096;
  begin(m);
  EXPECT_EQ(removeEmptyRow(&env, &m.model, &option, p, 0, &solution), 1003);
  EXPECT_EQ(p->infeasRow, 0);
}

// One column with a singleton row 0 and a longer row 1.
class SingletonRow : public PresolveCase {
 protected:
  int32_t run(char sense, double a, double rhs, double range, Box box) {
    model = TestModel(std::string(1, sense) + "E", {rhs, 7}, {range, 0},
                      {{1, box.first, box.second, {{0, a}, {1, 1}}}, {1, 0, 1, {{1, 1}}}});
    begin(model);
    p->rowChecked[0] = p->rowChecked[1] = p->colChecked[0] = 1;
    return removeSingletonRow(&env, &model.model, &option, p, 0);
  }
  // The same with bounds that these rows have set before.
  int32_t runWithMaps(char sense, double a, double rhs, double range, Box box, int32_t lb, int32_t ub) {
    model = TestModel(std::string(1, sense) + "E", {rhs, 7}, {range, 0},
                      {{1, box.first, box.second, {{0, a}, {1, 1}}}, {1, 0, 1, {{1, 1}}}});
    begin(model);
    p->lbMap[0] = lb;
    p->ubMap[0] = ub;
    return removeSingletonRow(&env, &model.model, &option, p, 0);
  }
  TestModel model{"E", {0}, {}, {}};
};

TEST_F(SingletonRow, EquationFixesItsColumn) {
  EXPECT_EQ(run('E', 2, 6, 0, {0, 9}), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FIXED);
  EXPECT_EQ(bounds(0), (Box{3, 3}));
  EXPECT_EQ(p->lbMap[0], 0);
  EXPECT_EQ(p->ubMap[0], 0);
  EXPECT_EQ(p->rowChecked[1], 1) << "the column is removed on the next pass, which opens its rows";
  EXPECT_EQ(p->colChecked[0], 0);
  EXPECT_EQ(p->changed, 1);
  EXPECT_EQ(p->numRemovedRow, 1);
  EXPECT_EQ(p->numRemovedElement, 1);
  EXPECT_EQ(column(0), (Elements{{1, 1}}));
}

TEST_F(SingletonRow, EquationOutsideTheBoundsIsInfeasible) {
  EXPECT_EQ(run('E', 1, 9 + 2 * kTol, 0, {0, 9}), 3);
  EXPECT_EQ(p->infeasRow, 0);
  EXPECT_EQ(run('E', 1, -2 * kTol, 0, {0, 9}), 3);
  EXPECT_EQ(run('E', 1, 9 + 0.9 * kTol, 0, {0, 9}), 0);
  EXPECT_EQ(run('E', 1e6, 1e20, 0, {0, kInf}), 3) << "an infinite equation";
}

TEST_F(SingletonRow, EquationOnAFixedColumnIsFree) {
  EXPECT_EQ(run('E', 1, 3 + 0.9 * kTol, 0, {3, 3 + 0.009 * kTol}), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FREE);
  EXPECT_EQ(bounds(0), (Box{3, 3 + 0.009 * kTol}));
  EXPECT_EQ(p->lbMap[0], -1);
  EXPECT_EQ(run('E', 1, 3, 0, {3, 3 + 0.02 * kTol}), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FIXED);
}

TEST_F(SingletonRow, UpperSide) {
  for (auto [sense, a, rhs] : {std::tuple{'L', 2.0, 6.0}, std::tuple{'G', -2.0, -6.0}}) {
    EXPECT_EQ(run(sense, a, rhs, 0, {0, 9}), 0);
    EXPECT_EQ(p->rowMap[0], ROWMAP_UPPER);
    EXPECT_EQ(bounds(0), (Box{0, 3}));
    EXPECT_EQ(p->ubMap[0], 0);
    EXPECT_EQ(p->lbMap[0], -1);
    EXPECT_EQ(p->rowChecked[1], 0);
    EXPECT_EQ(run(sense, a, rhs, 0, {3 + 2 * kTol, 9}), 3);
    EXPECT_EQ(run(sense, a, rhs, 0, {3 + 0.5 * kTol, 9}), 0);
    EXPECT_EQ(run(sense, a, rhs, 0, {0, 2}), 0);
    EXPECT_EQ(p->rowMap[0], ROWMAP_FREE);
    EXPECT_EQ(bounds(0), (Box{0, 2}));
  }
}

TEST_F(SingletonRow, LowerSide) {
  for (auto [sense, a, rhs] : {std::tuple{'G', 2.0, 6.0}, std::tuple{'L', -2.0, -6.0}}) {
    EXPECT_EQ(run(sense, a, rhs, 0, {0, 9}), 0);
    EXPECT_EQ(p->rowMap[0], ROWMAP_LOWER);
    EXPECT_EQ(bounds(0), (Box{3, 9}));
    EXPECT_EQ(p->lbMap[0], 0);
    EXPECT_EQ(p->ubMap[0], -1);
    EXPECT_EQ(p->rowChecked[1], 0);
    EXPECT_EQ(run(sense, a, rhs, 0, {0, 3 - 2 * kTol}), 3);
    EXPECT_EQ(run(sense, a, rhs, 0, {4, 9}), 0);
    EXPECT_EQ(p->rowMap[0], ROWMAP_FREE);
  }
}

TEST_F(SingletonRow, ABoundMetExactlyIsFreeUnlessTheRowSetItItself) {
  EXPECT_EQ(runWithMaps('L', 2, 6, 0, {0, 3}, -1, 1), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FREE);
  EXPECT_EQ(p->ubMap[0], 1);
  EXPECT_EQ(runWithMaps('L', 2, 6, 0, {0, 3}, -1, 0), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_UPPER);
  EXPECT_EQ(runWithMaps('G', 2, 6, 0, {3, 9}, 1, -1), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FREE);
  EXPECT_EQ(runWithMaps('G', 2, 6, 0, {3, 9}, 0, -1), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_LOWER);
}

TEST_F(SingletonRow, InfiniteSidesBoundNothing) {
  EXPECT_EQ(run('L', 1e6, 1e20, 0, {0, kInf}), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FREE);
  EXPECT_EQ(bounds(0), (Box{0, kInf}));
  EXPECT_EQ(run('G', 1e6, -1e25, 0, {-kInf, 0}), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FREE);
  EXPECT_EQ(run('L', 1, -1e20, 0, {-kInf, 0}), 3);
  EXPECT_EQ(run('G', 1, 1e20, 0, {-kInf, kInf}), 3);
  EXPECT_EQ(run('R', 1e6, 5e6, 1e30, {-kInf, kInf}), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_UPPER);
  EXPECT_EQ(bounds(0), (Box{-kInf, 5}));
}

TEST_F(SingletonRow, RangeTakesTheTighterSides) {
  for (double a : {2.0, -2.0}) {
    // 3 <= x <= 5 in both signs
    const double rhs = a > 0 ? 10 : -6;
    EXPECT_EQ(run('R', a, rhs, 4, {0, 9}), 0);
    EXPECT_EQ(p->rowMap[0], ROWMAP_RANGE);
    EXPECT_EQ(bounds(0), (Box{3, 5}));
    EXPECT_EQ(p->rowChecked[1], 0);
    EXPECT_EQ(run('R', a, rhs, 4, {4, 9}), 0);
    EXPECT_EQ(p->rowMap[0], ROWMAP_UPPER);
    EXPECT_EQ(bounds(0), (Box{4, 5}));
    EXPECT_EQ(run('R', a, rhs, 4, {0, 4}), 0);
    EXPECT_EQ(p->rowMap[0], ROWMAP_LOWER);
    EXPECT_EQ(bounds(0), (Box{3, 4}));
    EXPECT_EQ(run('R', a, rhs, 4, {3, 5}), 0);
    EXPECT_EQ(p->rowMap[0], ROWMAP_FREE);
    EXPECT_EQ(p->rowChecked[1], 1);
    EXPECT_EQ(run('R', a, rhs, 4, {5 + 2 * kTol, 9}), 3);
    EXPECT_EQ(p->infeasRow, 0);
    EXPECT_EQ(run('R', a, rhs, 4, {5 - 0.005 * kTol, 9}), 0);
    EXPECT_EQ(bounds(0), (Box{5 - 0.005 * kTol, 5 - 0.005 * kTol})) << "nearly fixed snaps";
  }
}

TEST_F(SingletonRow, RangeReadsItsOwnEarlierBoundsFromTheMaps) {
  EXPECT_EQ(runWithMaps('R', 2, 10, 4, {3, 5}, 0, 0), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_RANGE);
  EXPECT_EQ(runWithMaps('R', 2, 10, 4, {3, 5}, 0, 1), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_LOWER);
  EXPECT_EQ(runWithMaps('R', 2, 10, 4, {3, 5}, -1, 0), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_UPPER);
  EXPECT_EQ(runWithMaps('R', 2, 10, 4, {3, 9}, 0, -1), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_RANGE) << "upper is new, lower was its own";
}

TEST_F(SingletonRow, NullRangeIsAWidthOfZero) {
  TestModel m("R", {6}, {}, {{1, 0, 9, {{0, 2}}}});
  begin(m);
  EXPECT_EQ(removeSingletonRow(&env, &m.model, &option, p, 0), 0);
  EXPECT_EQ(bounds(0), (Box{3, 3}));
}

TEST(BoundMaps, TheFormerRowLosesItsRole) {
  qztest::TestHost host;
  Env env{};
  env.log = host.log();
  struct {
    int32_t code, afterUpper, afterLower;
    const char* end;
  } const cases[] = {{ROWMAP_RANGE, ROWMAP_LOWER, ROWMAP_UPPER, nullptr},
                     {ROWMAP_UPPER, ROWMAP_FREE, ROWMAP_UPPER, nullptr},
                     {ROWMAP_LOWER, ROWMAP_LOWER, ROWMAP_FREE, nullptr},
                     {0, 0, 0, nullptr},
                     {ROWMAP_POSTDET, ROWMAP_POSTDET, ROWMAP_POSTDET, "ROWMAP_POSTDET shall never change bound again."},
                     {ROWMAP_EMPTY, ROWMAP_EMPTY, ROWMAP_EMPTY, "ROWMAP_EMPTY shall never change bound again."},
                     {ROWMAP_FIXED, ROWMAP_FIXED, ROWMAP_FIXED, "ROWMAP_FIXED shall never change bound again."},
                     {ROWMAP_FREE, ROWMAP_FREE, ROWMAP_FREE, "ROWMAP_FREE case should not happen."},
                     {-8, -8, -8, "unknown rowMap type."}};
  for (const auto& c : cases) {
    for (bool upper : {false, true}) {
      int32_t rowMap[2] = {c.code, 0};
      int32_t map[1] = {0};
      host.messages.clear();
      (upper ? updateMapUpper : updateMapLower)(&env, rowMap, map, 0, 1);
      EXPECT_EQ(map[0], 1);
      EXPECT_EQ(rowMap[0], upper ? c.afterUpper : c.afterLower) << c.code;
      ASSERT_EQ(host.messages.size(), c.end == nullptr ? 0u : 1u);
      if (c.end != nullptr) {
        EXPECT_TRUE(host.loggedText(c.end)) << host.messages[0].text;
        EXPECT_EQ(host.loggedText(upper ? "updateMapUpper" : "updateMapLower"), c.code != -8);
        EXPECT_EQ(host.messages[0].level, 0);
      }
    }
  }
}

TEST(BoundMaps, TheSameRowAgainChangesNothing) {
  Env env{};
  int32_t rowMap[1] = {ROWMAP_UPPER};
  int32_t map[1] = {0};
  updateMapUpper(&env, rowMap, map, 0, 0);
  EXPECT_EQ(rowMap[0], ROWMAP_UPPER);
  map[0] = -1;
  updateMapUpper(&env, rowMap, map, 0, 0);
  EXPECT_EQ(map[0], 0);
}

// One row 2 x - 3 y with x in [1, 4], y in [-1, 2]: activities from -4 to 11.
class Tighten : public PresolveCase {
 protected:
  int32_t run(char sense, double rhs, double range = 0, Box x = {1, 4}, Box y = {-1, 2}) {
    model = TestModel(std::string(1, sense) + "L", {rhs, 99}, {range, 0},
                      {{1, x.first, x.second, {{0, 2}, {1, 1}}}, {1, y.first, y.second, {{0, -3}, {1, 1}}}});
    begin(model);
    for (int32_t k : {0, 1}) p->rowChecked[k] = p->colChecked[k] = 1;
    return tightenBound(&env, &model.model, &option, p, 0);
  }
  bool untouched() const {
    return p->changed == 0 && p->numRemovedRow == 0 && p->rowMap[0] == 0 && p->lbMap[0] == -1 && p->ubMap[0] == -1 &&
           p->lbMap[1] == -1 && p->ubMap[1] == -1;
  }
  TestModel model{"E", {0}, {}, {}};
};

TEST_F(Tighten, InfeasibleBeyondTheTolerance) {
  EXPECT_EQ(run('L', -4 - 2 * kTol), 3);
  EXPECT_EQ(p->infeasRow, 0);
  EXPECT_EQ(run('G', 11 + 2 * kTol), 3);
  EXPECT_EQ(run('E', -4 - 2 * kTol), 3);
  EXPECT_EQ(run('E', 11 + 2 * kTol), 3);
  EXPECT_EQ(run('R', -4 - 2 * kTol, 5), 3);
  EXPECT_EQ(run('R', 20, 9 - 2 * kTol), 3);
  EXPECT_EQ(run('L', -4 - 0.5 * kTol), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FIXED);
}

TEST_F(Tighten, ForcingAtTheMinimum) {
  for (auto [sense, range] : {std::pair{'L', 0.0}, std::pair{'E', 0.0}, std::pair{'R', 3.0}}) {
    EXPECT_EQ(run(sense, -4, range), 0);
    EXPECT_EQ(p->rowMap[0], ROWMAP_FIXED);
    EXPECT_EQ(bounds(0), (Box{1, 1}));
    EXPECT_EQ(bounds(1), (Box{2, 2}));
    EXPECT_EQ(p->ubMap[0], 0);
    EXPECT_EQ(p->lbMap[0], -1);
    EXPECT_EQ(p->lbMap[1], 0);
    EXPECT_EQ(p->ubMap[1], -1);
    EXPECT_EQ(p->numRemovedRow, 1);
    EXPECT_EQ(p->numRemovedElement, 0) << "the columns take their elements along";
    EXPECT_EQ(row(0).size(), 2u);
    EXPECT_EQ(p->colChecked[0], 0);
    EXPECT_EQ(p->changed, 1);
  }
}

TEST_F(Tighten, ForcingAtTheMaximum) {
  for (auto [sense, rhs, range] :
       {std::tuple{'G', 11.0, 0.0}, std::tuple{'E', 11.0, 0.0}, std::tuple{'R', 14.0, 3.0}}) {
    EXPECT_EQ(run(sense, rhs, range), 0);
    EXPECT_EQ(p->rowMap[0], ROWMAP_FIXED);
    EXPECT_EQ(bounds(0), (Box{4, 4}));
    EXPECT_EQ(bounds(1), (Box{-1, -1}));
    EXPECT_EQ(p->lbMap[0], 0);
    EXPECT_EQ(p->ubMap[1], 0);
  }
}

TEST_F(Tighten, ForcingIsTestedBeforeRedundant) {
  EXPECT_EQ(run('L', 2 - 6, 0, {1, 1}, {2, 2}), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_EMPTY) << "all columns sat at the forced bound";
  EXPECT_EQ(row(0).size(), 2u);
  EXPECT_EQ(run('G', 2 - 6, 0, {1, 1}, {2, 2}), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_EMPTY);
}

TEST_F(Tighten, RedundantRowsGo) {
  for (auto [sense, rhs, range] : {std::tuple{'L', 11.0, 0.0}, std::tuple{'G', -4.0, 0.0}, std::tuple{'R', 11.0, 16.0},
                                   std::tuple{'L', 1e25, 0.0}, std::tuple{'G', -1e20, 0.0}}) {
    EXPECT_EQ(run(sense, rhs, range), 0);
    EXPECT_EQ(p->rowMap[0], ROWMAP_FREE) << sense;
    EXPECT_EQ(p->numRemovedRow, 1);
    EXPECT_EQ(p->numRemovedElement, 2);
    EXPECT_TRUE(row(0).empty());
    EXPECT_EQ(column(0), (Elements{{1, 1}}));
    EXPECT_EQ(p->colChecked[0], 0);
    EXPECT_EQ(p->colChecked[1], 0);
    EXPECT_EQ(p->changed, 1);
    EXPECT_EQ(bounds(0), (Box{1, 4}));
  }
}

TEST_F(Tighten, InfiniteRowsWithoutBoundsAreRedundantToo) {
  EXPECT_EQ(run('L', 1e20, 0, {-kInf, kInf}, {-kInf, kInf}), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FREE);
  EXPECT_EQ(run('G', -1e20, 0, {-kInf, kInf}, {-kInf, kInf}), 0);
  EXPECT_EQ(p->rowMap[0], ROWMAP_FREE);
}

TEST_F(Tighten, LessRowBoundsBothColumns) {
  EXPECT_EQ(run('L', -1), 0);  // 2 x <= -1 + 3 y <= 5, 3 y >= 2 x + 1 >= 3
  EXPECT_EQ(bounds(0), (Box{1, 2.5}));
  EXPECT_EQ(bounds(1), (Box{1, 2}));
  EXPECT_EQ(p->ubMap[0], 0);
  EXPECT_EQ(p->lbMap[1], 0);
  EXPECT_EQ(p->lbMap[0], -1);
  EXPECT_EQ(p->changed, 1);
  EXPECT_EQ(p->rowChecked[0], 0);
  EXPECT_EQ(p->rowChecked[1], 0);
  EXPECT_EQ(p->colChecked[0], 0);
  EXPECT_EQ(p->rowMap[0], 0);
}

TEST_F(Tighten, GreaterRowBoundsBothColumns) {
  EXPECT_EQ(run('G', 8), 0);  // 2 x >= 8 + 3 y >= 5, 3 y <= 2 x - 8 <= 0
  EXPECT_EQ(bounds(0), (Box{2.5, 4}));
  EXPECT_EQ(bounds(1), (Box{-1, 0}));
  EXPECT_EQ(p->lbMap[0], 0);
  EXPECT_EQ(p->ubMap[1], 0);
}

TEST_F(Tighten, EquationBoundsFromBothSides) {
  EXPECT_EQ(run('E', 2, 0, {-9, 9}), 0);  // 2 x = 2 + 3 y in [-1, 8]
  EXPECT_EQ(p->upper[0], 4);
  EXPECT_EQ(p->rowChecked[0], 0) << "the row is looked at again with the bound that it has just set";
  EXPECT_EQ(tightenBound(&env, &model.model, &option, p, 0), 0);
  EXPECT_EQ(bounds(0), (Box{-0.5, 4}));
  EXPECT_EQ(bounds(1), (Box{-1, 2}));
}

TEST_F(Tighten, RangeBoundsFromBothSides) {
  EXPECT_EQ(run('R', 2, 1, {-9, 9}), 0);  // 1 <= 2 x - 3 y <= 2
  EXPECT_EQ(tightenBound(&env, &model.model, &option, p, 0), 0);
  EXPECT_EQ(bounds(0), (Box{-1, 4}));
  EXPECT_EQ(p->rowSense[0], 'R');
  EXPECT_EQ(p->numChangeRange, 0);
}

TEST_F(Tighten, OneInfiniteTermBoundsItsColumnAlone) {
  EXPECT_EQ(run('L', 5, 0, {-kInf, 4}, {-1, 2}), 0);  // 2 x <= 5 + 3 y <= 11 does not beat 4
  EXPECT_TRUE(untouched());
  EXPECT_EQ(run('L', 1, 0, {-kInf, 4}, {-1, 2}), 0);
  EXPECT_EQ(bounds(0), (Box{-kInf, 3.5}));
  EXPECT_EQ(bounds(1), (Box{-1, 2}));
  EXPECT_EQ(run('L', 5, 0, {1, 4}, {-1, kInf}), 0);  // 3 y >= 2 x - 5 >= -3
  EXPECT_TRUE(untouched());
  EXPECT_EQ(run('L', -1, 0, {1, kInf}, {-kInf, kInf}), 0);
  EXPECT_EQ(bounds(1), (Box{1, kInf}));
  EXPECT_EQ(run('G', 8, 0, {-kInf, kInf}, {-1, 2}), 0);
  EXPECT_EQ(bounds(0), (Box{2.5, kInf}));
}

TEST_F(Tighten, TwoInfiniteTermsBoundNothing) {
  EXPECT_EQ(run('L', -1, 0, {-kInf, 4}, {-1, kInf}), 0);
  EXPECT_TRUE(untouched());
  EXPECT_EQ(run('E', -1, 0, {-kInf, kInf}, {-kInf, kInf}), 0);
  EXPECT_TRUE(untouched());
}

TEST_F(Tighten, BoundsMustBeBeatenByMoreThanTheTolerance) {
  EXPECT_EQ(run('L', 2 - kTol, 0, {-9, 4}, {-1, 2}), 0);  // x <= 4 - tol / 2
  EXPECT_EQ(p->upper[0], 4);
  EXPECT_EQ(run('L', 2 - 3 * kTol, 0, {-9, 4}, {-1, 2}), 0);
  EXPECT_NEAR(p->upper[0], 4 - 1.5 * kTol, 1e-14);
}

TEST_F(Tighten, BoundsThatDrownInRoundingAreNotTaken) {
  EXPECT_EQ(run('L', 5, 0, {-1e18, kInf}, {-1, 2}), 0);  // 2 x <= 5 + 3 y <= 11
  EXPECT_TRUE(bounds(0).second >= 5.5) << bounds(0).second;
  EXPECT_EQ(run('G', -5, 0, {-kInf, 1e18}, {-1, 2}), 0);  // 2 x >= -5 + 3 y >= -8
  EXPECT_TRUE(bounds(0).first <= -4) << bounds(0).first;
  EXPECT_EQ(run('L', 5, 0, {-1e6, kInf}, {-1, 2}), 0);
  EXPECT_NEAR(bounds(0).second, 5.5, 1e-9);
}

// 2 x - 3 y with products that are rounded by 32: its least value is -32 and its greatest 32, and both come out as 0.
TEST_F(Tighten, VerdictsDoNotRestOnRounding) {
  const Box farX = {3e17 + 128, kInf};
  const Box farY = {-kInf, 2e17 + 96};
  EXPECT_EQ(run('L', -1, 0, farX, farY), 0) << "infeasible by the rounded sum";
  EXPECT_EQ(p->numRemovedRow, 0);
  EXPECT_EQ(run('G', 0, 0, farX, farY), 0) << "redundant";
  EXPECT_EQ(p->numRemovedRow, 0);
  EXPECT_EQ(run('E', 0, 0, farX, farY), 0) << "forcing";
  EXPECT_EQ(p->numRemovedRow, 0);
  EXPECT_EQ(run('R', 100, 101, farX, farY), 0) << "a side that is implied";
  EXPECT_EQ(p->rowSense[0], 'R');
  const Box nearX = {-kInf, 3e17 + 256};
  const Box nearY = {2e17 + 160, kInf};
  EXPECT_EQ(run('G', 1, 0, nearX, nearY), 0) << "infeasible";
  EXPECT_EQ(p->numRemovedRow, 0);
  EXPECT_EQ(run('L', 0, 0, nearX, nearY), 0) << "redundant";
  EXPECT_EQ(p->numRemovedRow, 0);
}

// The last digit of 1e12 is worth 1.2e-4.
TEST_F(Tighten, TheLastDigitOfALargeSideIsNoInfeasibility) {
  const double next = std::nextafter(1e12, 2e12);
  EXPECT_EQ(run('L', 1e12, 0, {next / 2, kInf}, {-1, 0}), 0);
  EXPECT_EQ(run('G', next, 0, {0, 5e11}, {0, 1}), 0);
  EXPECT_EQ(run('L', 1e12, 0, {next, kInf}, {-1, 0}), 3);
}

TEST_F(Tighten, RangeLosesAnImpliedSide) {
  EXPECT_EQ(run('R', 12, 11), 0);  // 1 <= row, 11 is the maximum
  EXPECT_EQ(p->rowSense[0], 'G');
  EXPECT_EQ(p->rhs[0], 1.0);
  EXPECT_EQ(p->numChangeRange, 1);
  EXPECT_EQ(run('R', 3, 9), 0);  // row <= 3, -4 is the minimum
  EXPECT_EQ(p->rowSense[0], 'L');
  EXPECT_EQ(p->rhs[0], 3.0);
  EXPECT_EQ(p->numChangeRange, 1);
  EXPECT_EQ(run('R', 3, 7), 0) << "the minimum equals the lower side: nothing is dropped";
  EXPECT_EQ(p->rowSense[0], 'R');
}

TEST_F(Tighten, UnknownSenseIsReported) {
  EXPECT_EQ(run('X', 0), 0);
  EXPECT_TRUE(untouched());
  EXPECT_TRUE(host.loggedText("Error: unknown row type."));
}

using Noise = PresolveCase;

TestModel columnOf(const std::vector<double>& values) {
  std::vector<qztest::ColumnSpec> columns = {{0, 0, 1, {}}};
  for (size_t i = 0; i < values.size(); ++i) columns[0].elements.emplace_back(static_cast<int32_t>(i), values[i]);
  return TestModel(std::string(values.size(), 'E'), std::vector<double>(values.size(), 0.0), {}, columns);
}

TEST_F(Noise, ThresholdIsTheFirstGapAboveTheSmallestElements) {
  struct {
    std::vector<double> values;
    double threshold;
    int32_t removed;
  } const cases[] = {
      {{1, 2, 0.5}, 1e20, 0}, {{1, 1e-12, -3e-13}, 1e-11, 2},  // classes 12 and 13, gap at 11
      {{1, 9e-8}, 1e20, 0},                                    // class 7, gap at 6: ordinary
      {{1, 9e-9}, 1e-7, 1},                                    // class 8, gap at 7
      {{1, 9e-7}, 1e20, 0},   {{1, 9e-8, 9e-9, 9e-10}, 1e20, 0}, {{1, 0.9e-19}, 1e-18, 1}, {{}, 1e20, 0},
  };
  for (const auto& c : cases) {
    TestModel m = columnOf(c.values);
    begin(m);
    detectNoise(&env, &m.model, p);
    EXPECT_NEAR(p->noiseThreshold / c.threshold, 1.0, 1e-12);
    EXPECT_EQ(p->numRemovedElement, c.removed);
  }
}

TEST_F(Noise, WithoutAGapOnlyTheLastClassIsNoise) {
  std::vector<double> values;
  for (int32_t k = 0; k < 20; ++k) values.push_back(0.5 * std::pow(10.0, -k));
  TestModel m = columnOf(values);
  begin(m);
  detectNoise(&env, &m.model, p);
  EXPECT_NEAR(p->noiseThreshold / 1e-19, 1.0, 1e-12);
  EXPECT_EQ(p->numRemovedElement, 1);
  values.pop_back();
  TestModel kept = columnOf(values);
  begin(kept);
  detectNoise(&env, &kept.model, p);
  EXPECT_EQ(p->noiseThreshold, 1e20);
}

TEST_F(Noise, RemovalTakesNeighboursOutOfBothCopies) {
  TestModel m("EE", {0, 0}, {}, {{0, 0, 1, {{0, 1e-12}, {1, -1e-12}}}, {0, 0, 1, {{0, 3}, {1, 1e-11}}}});
  begin(m);
  p->noiseThreshold = 1e-11;
  removeNoiseA(&env, &m.model, p);
  EXPECT_TRUE(column(0).empty());
  EXPECT_EQ(column(1), (Elements{{0, 3}}));
  EXPECT_EQ(row(0), (Elements{{1, 3}}));
  EXPECT_TRUE(row(1).empty());
  EXPECT_EQ(p->numRemovedElement, 0);
  EXPECT_TRUE(host.messages.empty());
}

TEST_F(Noise, VectorsLoseEntriesUpToTheThreshold) {
  std::vector<double> obj = {1, 1e-9, -1e-9, 1.1e-9}, rhs = {-1e-10, 2};
  removeNoiseBC(1e-9, 2, 4, obj.data(), rhs.data());
  EXPECT_EQ(obj, (std::vector<double>{1, 0, 0, 1.1e-9}));
  EXPECT_EQ(rhs, (std::vector<double>{0, 2}));
}

}  // namespace
