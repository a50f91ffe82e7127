#include "transform/bound_relaxation.h"

#include <gtest/gtest.h>

#include <limits>

#include "shell/pool.h"
#include "transform/model_fixture.h"
#include "transform/standard_form.h"

namespace {

using namespace qz;
using qztest::kInf;
using qztest::TestModel;

constexpr double kLargest = std::numeric_limits<double>::max();

class BoundRelaxation : public ::testing::Test {
 protected:
  BoundRelaxation() {
    env.pool = host.pool();
    env.log = host.log();
  }
  ~BoundRelaxation() override { EXPECT_EQ(host.outstanding(), 0); }
  // Brings the model's own arrays back and frees the copies.
  void undo(TestModel& m) {
    if (hub.boundSwitchState == 1) {
      ASSERT_EQ(ipmSwitchBound(&env, &m.model, &hub), 0);
    }
    EXPECT_EQ(m.model.lower, m.a.lower.data());
    EXPECT_EQ(m.model.upper, m.a.upper.data());
    poolFree(env.pool, hub.altLower);
    poolFree(env.pool, hub.altUpper);
    hub = Hub{};
  }
  qztest::TestHost host;
  Env env{};
  IpmOption option = qztest::plainOption();
  Hub hub{};
};

TEST_F(BoundRelaxation, NothingWithoutMarks) {
  TestModel m("L", {1}, {0}, {{1, 0, 1, {{0, 1}}}});
  EXPECT_EQ(ipmRelaxBound(&env, &m.model, &option, &hub), 0);
  EXPECT_EQ(hub.altLower, nullptr);
  EXPECT_EQ(m.model.lower, m.a.lower.data());
}

TEST_F(BoundRelaxation, MarkedBoundsGoByTheirMagnitudes) {
  struct Case {
    uint8_t marks;
    double lower, upper;
    bool lowerGoes, upperGoes;
  };
  const Case cases[] = {{3, 100, 200, true, true},     {3, -100, 100, true, true},  {3, -50, 50, false, true},
                        {3, -60, 50, true, false},     {3, 99, 1e6, false, true},   {3, -1e6, 99.9, true, false},
                        {1, -1, 5, true, false},       {2, -1, 5, false, true},     {0, -1, 5, false, false},
                        {3, -kInf, 500, false, false}, {3, 500, kInf, false, false}};
  std::vector<qztest::ColumnSpec> columns;
  std::vector<uint8_t> marks;
  for (const Case& c : cases) {
    columns.push_back({1, c.lower, c.upper, {{0, 1}}});
    marks.push_back(c.marks);
  }
  TestModel m("R", {1}, {1}, columns);
  m.model.relaxColBound = marks.data();
  hub.numRange = 1;
  const qztest::ModelArrays before = m.a;
  ASSERT_EQ(ipmRelaxBound(&env, &m.model, &option, &hub), 0);
  EXPECT_EQ(hub.boundSwitchState, 1);
  EXPECT_EQ(hub.altLower, m.a.lower.data());
  EXPECT_EQ(hub.altUpper, m.a.upper.data());
  for (size_t j = 0; j < marks.size(); ++j) {
    EXPECT_EQ(m.model.lower[j], cases[j].lowerGoes ? -kLargest : cases[j].lower) << j;
    EXPECT_EQ(m.model.upper[j], cases[j].upperGoes ? kLargest : cases[j].upper) << j;
  }
  m.model.lower[marks.size()] = 0.0;  // room for the slack of the range row
  EXPECT_EQ(ipmRelaxBound(&env, &m.model, &option, &hub), 10) << "twice";
  undo(m);
  EXPECT_EQ(m.a, before);
}

TEST_F(BoundRelaxation, SwitchTurnsOverEachTime) {
  TestModel m("L", {1}, {0}, {{1, 0, 1, {{0, 1}}}});
  uint8_t mark = 2;
  m.model.relaxColBound = &mark;
  ASSERT_EQ(ipmRelaxBound(&env, &m.model, &option, &hub), 0);
  double* relaxed = m.model.upper;
  for (int k = 0; k < 2; ++k) {
    ASSERT_EQ(ipmSwitchBound(&env, &m.model, &hub), 0);
    EXPECT_EQ(hub.boundSwitchState, 0);
    EXPECT_EQ(hub.altUpper, relaxed);
    ASSERT_EQ(ipmSwitchBound(&env, &m.model, &hub), 0);
    EXPECT_EQ(hub.boundSwitchState, 1);
    EXPECT_EQ(m.model.upper, relaxed);
  }
  undo(m);
}

TEST_F(BoundRelaxation, LostSlackIsFoundBehindTheSwitch) {
  TestModel m("L", {1}, {0}, {{1, 2, 9, {{0, 1}}}});
  uint8_t mark = 2;
  m.model.relaxColBound = &mark;
  ASSERT_EQ(ipmRelaxBound(&env, &m.model, &option, &hub), 0);
  Solution* s = nullptr;
  ASSERT_EQ(NewSolution(&env, &s, 1, 1, m.model.solPrimal, m.model.solDual), 0);
  s->primal[0] = 5;
  ASSERT_EQ(ipmSwitchBound(&env, &m.model, &hub), 0);
  ASSERT_EQ(getLostSlack(&env, &m.model, &option, &hub, s), 0);
  EXPECT_EQ(s->upperSlack[0], 4.0);
  EXPECT_EQ(s->lowerSlack[0], 0.0) << "the engine saw this one";
  FreeSolution(&env, &s);
  undo(m);
}

TEST_F(BoundRelaxation, EveryFailedAllocationLeavesTheModel) {
  TestModel m("L", {1}, {0}, {{1, 0, 1, {{0, 1}}}});
  uint8_t mark = 2;
  m.model.relaxColBound = &mark;
  for (int64_t k = 1; k <= 2; ++k) {
    host.failAllocation(k);
    EXPECT_EQ(ipmRelaxBound(&env, &m.model, &option, &hub), -1086) << k;
    host.failAllocation(0);
    EXPECT_EQ(m.model.lower, m.a.lower.data());
    EXPECT_EQ(hub.altLower, nullptr);
  }
}

// A presolve that removed row 0 of the input, which tightened bounds, and kept the other rows in `m`.
struct Tightened {
  TestModel input, m;
  std::vector<int32_t> rowMap = {-4, 0, 1}, colMap, lbMap, ubMap;
  std::vector<double> lower, upper;
  Presolver p{};

  Tightened(TestModel in, TestModel reduced) : input(std::move(in)), m(std::move(reduced)) {
    input.point();
    m.point();
    const auto n = static_cast<size_t>(input.model.numCol);
    for (size_t j = 0; j < n; ++j) colMap.push_back(static_cast<int32_t>(j));
    lbMap.assign(n, -1);
    ubMap.assign(n, -1);
    lower.assign(m.a.lower.begin(), m.a.lower.begin() + static_cast<int64_t>(n));
    upper.assign(m.a.upper.begin(), m.a.upper.begin() + static_cast<int64_t>(n));
    p.preControl = PRECONTROL_REDUCED;
    p.inModel = &input.model;
    p.rowMap = rowMap.data();
    p.colMap = colMap.data();
    p.lbMap = lbMap.data();
    p.ubMap = ubMap.data();
    p.lower = lower.data();
    p.upper = upper.data();
  }
};

// x0 + x1 <= 5 with x >= 0 is kept; the removed row said x0 <= u0.
Tightened sumCase(double u0) {
  return Tightened(
      TestModel("LLL", {u0, 5, 9}, {0, 0, 0}, {{1, 0, kInf, {{0, 1}, {1, 1}}}, {1, 0, kInf, {{1, 1}, {2, 1}}}}),
      TestModel("LL", {5, 9}, {0, 0}, {{1, 0, u0, {{0, 1}}}, {1, 0, kInf, {{0, 1}, {1, 1}}}}));
}

TEST_F(BoundRelaxation, MarksABoundThatTheKeptRowsImply) {
  Tightened t = sumCase(6.0);
  t.ubMap[0] = 0;
  ASSERT_EQ(getRelaxBoundStatus(&env, &t.m.model, &option, &hub, &t.p), 0);
  ASSERT_NE(t.m.model.relaxColBound, nullptr);
  EXPECT_EQ(t.m.model.relaxColBound[0], RELAX_UPPER);
  EXPECT_EQ(t.m.model.relaxColBound[1], 0);
  EXPECT_EQ(getRelaxBoundStatus(&env, &t.m.model, &option, &hub, &t.p), 10);
  EXPECT_TRUE(host.loggedText("relaxColBound should not be set if control comes here."));
  poolFree(env.pool, t.m.model.relaxColBound);
}

TEST_F(BoundRelaxation, KeepsABoundThatOnlyTheRemovedRowGave) {
  Tightened t = sumCase(4.0);
  t.ubMap[0] = 0;
  ASSERT_EQ(getRelaxBoundStatus(&env, &t.m.model, &option, &hub, &t.p), 0);
  EXPECT_EQ(t.m.model.relaxColBound, nullptr) << "x0 <= 4 would be lost";
}

TEST_F(BoundRelaxation, KeepsABoundOfAKeptRowAndOneBarelyTightened) {
  Tightened kept = sumCase(6.0);
  kept.ubMap[0] = 1;
  ASSERT_EQ(getRelaxBoundStatus(&env, &kept.m.model, &option, &hub, &kept.p), 0);
  EXPECT_EQ(kept.m.model.relaxColBound, nullptr);
  Tightened barely = sumCase(6.0);
  barely.ubMap[0] = 0;
  barely.input.a.upper[0] = 6.0 + 0.5e-6;
  ASSERT_EQ(getRelaxBoundStatus(&env, &barely.m.model, &option, &hub, &barely.p), 0);
  EXPECT_EQ(barely.m.model.relaxColBound, nullptr);
}

// x0 + x1 <= 5 with x1 >= -3 gives x0 <= 8, which the far lower bound of x0 must not drown in its rounding.
TEST_F(BoundRelaxation, FarBoundsDoNotDrownTheImpliedOnes) {
  for (auto [bound, marked] : {std::pair{6.0, false}, std::pair{9.0, true}}) {
    const auto rows = [](double u) {
      return TestModel("L", {5}, {0}, {{1, -1e18, u, {{0, 1}}}, {1, -3, kInf, {{0, 1}}}});
    };
    Tightened t(rows(kInf), rows(bound));
    t.rowMap = {0, -4};
    t.p.rowMap = t.rowMap.data();
    t.ubMap[0] = 1;
    ASSERT_EQ(getRelaxBoundStatus(&env, &t.m.model, &option, &hub, &t.p), 0);
    EXPECT_EQ(t.m.model.relaxColBound != nullptr, marked) << bound;
    poolFree(env.pool, t.m.model.relaxColBound);
  }
}

TEST_F(BoundRelaxation, TwoBoundsThatImplyEachOtherDoNotBothGo) {
  // x0 = x1 is kept and both have the removed upper bound 6: one of them must stay.
  Tightened t(
      TestModel("LEL", {0, 0, 99}, {0, 0, 0}, {{1, 0, kInf, {{0, 1}, {1, 1}}}, {1, 0, kInf, {{0, 1}, {1, -1}}}}),
      TestModel("EL", {0, 99}, {0, 0}, {{1, 0, 6, {{0, 1}}}, {1, 0, 6, {{0, -1}}}}));
  t.ubMap = {0, 0};
  t.p.ubMap = t.ubMap.data();
  ASSERT_EQ(getRelaxBoundStatus(&env, &t.m.model, &option, &hub, &t.p), 0);
  ASSERT_NE(t.m.model.relaxColBound, nullptr);
  EXPECT_EQ(t.m.model.relaxColBound[0] + t.m.model.relaxColBound[1], RELAX_UPPER);
  poolFree(env.pool, t.m.model.relaxColBound);
}

TEST_F(BoundRelaxation, OnlyReductionsAndTightenedBoundsAreLookedAt) {
  Tightened t = sumCase(6.0);
  t.ubMap[0] = 0;
  t.p.preControl = PRECONTROL_NONE;
  ASSERT_EQ(getRelaxBoundStatus(&env, &t.m.model, &option, &hub, &t.p), 0);
  EXPECT_EQ(t.m.model.relaxColBound, nullptr);
}

// Dropping all marked bounds together never lets a point in: checked on a grid.
TEST_F(BoundRelaxation, MarkedBoundsAreImpliedTogether) {
  int marked = 0;
  for (unsigned seed = 0; seed < 400; ++seed) {
    std::mt19937 random(seed);
    std::string senses;
    std::vector<double> rhs, range;
    for (int i = 0; i < 3; ++i) {
      senses.push_back("LGER"[random() % 4]);
      rhs.push_back(static_cast<int>(random() % 9) - 2);
      range.push_back(static_cast<int>(random() % 4));
    }
    std::vector<qztest::ColumnSpec> loose, tight;
    for (int j = 0; j < 3; ++j) {
      const double l = static_cast<int>(random() % 4) - 2, u = l + static_cast<int>(random() % 5);
      qztest::ColumnSpec column{1, l, u, {}};
      for (int i = 0; i < 3; ++i)
        if (random() % 2) column.elements.emplace_back(i, static_cast<int>(random() % 5) - 2);
      tight.push_back(column);
      column.lower = -kInf;
      column.upper = kInf;
      loose.push_back(column);
    }
    Tightened t(TestModel(senses, rhs, range, loose), TestModel(senses, rhs, range, tight));
    t.lbMap.assign(3, 0);
    t.ubMap.assign(3, 0);
    t.p.lbMap = t.lbMap.data();
    t.p.ubMap = t.ubMap.data();
    ASSERT_EQ(getRelaxBoundStatus(&env, &t.m.model, &option, &hub, &t.p), 0);
    if (t.m.model.relaxColBound == nullptr) continue;
    ++marked;
    const uint8_t* marks = t.m.model.relaxColBound;
    for (int x0 = -9; x0 <= 9; ++x0)
      for (int x1 = -9; x1 <= 9; ++x1)
        for (int x2 = -9; x2 <= 9; ++x2) {
          const double x[] = {double(x0), double(x1), double(x2)};
          double activity[3] = {};
          bool inTight = true, inRelaxed = true;
          for (size_t j = 0; j < 3; ++j) {
            for (int k = t.m.a.colBegin[j]; k < t.m.a.colBegin[j] + t.m.a.colLength[j]; ++k)
              activity[t.m.a.rowIndex[static_cast<size_t>(k)]] += t.m.a.matValue[static_cast<size_t>(k)] * x[j];
            const bool low = x[j] >= t.m.a.lower[j], high = x[j] <= t.m.a.upper[j];
            inTight = inTight && low && high;
            inRelaxed = inRelaxed && (low || (marks[j] & RELAX_LOWER)) && (high || (marks[j] & RELAX_UPPER));
          }
          bool rows = true;
          for (size_t i = 0; i < 3; ++i) {
            const bool below = activity[i] <= rhs[i], above = activity[i] >= rhs[i];
            if (senses[i] == 'L') rows = rows && below;
            if (senses[i] == 'G') rows = rows && above;
            if (senses[i] == 'E') rows = rows && below && above;
            if (senses[i] == 'R') rows = rows && below && activity[i] >= rhs[i] - range[i];
          }
          if (rows && inRelaxed) {
            EXPECT_TRUE(inTight) << "seed " << seed;
          }
        }
    poolFree(env.pool, t.m.model.relaxColBound);
  }
  EXPECT_GT(marked, 50);
}

TEST_F(BoundRelaxation, MarkingSurvivesEveryFailedAllocation) {
  for (int64_t k = 1; k <= 3; ++k) {
    Tightened t = sumCase(6.0);
    t.ubMap[0] = 0;
    host.failAllocation(k);
    EXPECT_EQ(getRelaxBoundStatus(&env, &t.m.model, &option, &hub, &t.p), -1086) << k;
    host.failAllocation(0);
    EXPECT_EQ(t.m.model.relaxColBound, nullptr);
  }
}

TEST_F(BoundRelaxation, BoundChangedNeedsMoreThanTheTolerance) {
  TestModel m("L", {1}, {0}, {{1, 0, 8, {{0, 1}}}, {1, 0, 8, {{0, 1}}}});
  Presolver p{};
  std::vector<int32_t> colMap = {0, -1};
  std::vector<double> lower = {0, 5}, upper = {8, 8};
  p.colMap = colMap.data();
  p.lower = lower.data();
  p.upper = upper.data();
  ASSERT_EQ(isBoundChanged(&env, &m.model, &option, &p), 0);
  EXPECT_EQ(p.boundChanged, 0) << "the removed column does not count";
  lower[0] = 0.5e-6;
  upper[0] = 8 - 0.5e-6;
  ASSERT_EQ(isBoundChanged(&env, &m.model, &option, &p), 0);
  EXPECT_EQ(p.boundChanged, 0);
  lower[0] = 2e-6;
  ASSERT_EQ(isBoundChanged(&env, &m.model, &option, &p), 0);
  EXPECT_EQ(p.boundChanged, 1);
  lower[0] = 0;
  upper[0] = 8 - 2e-6;
  ASSERT_EQ(isBoundChanged(&env, &m.model, &option, &p), 0);
  EXPECT_EQ(p.boundChanged, 1);
}

}  // namespace
