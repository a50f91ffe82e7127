#include "transform/bound_shift.h"

#include <gtest/gtest.h>

#include <cmath>

#include "shell/pool.h"
#include "transform/model_fixture.h"

namespace {

using namespace qz;
using qztest::kInf;
using qztest::TestModel;

class BoundShift : public ::testing::Test {
 protected:
  BoundShift() { env.pool = host.pool(); }
  ~BoundShift() override {
    release();
    EXPECT_EQ(host.outstanding(), 0);
  }
  void release() {
    poolFree(env.pool, presolver.shiftValue);
    poolFree(env.pool, presolver.shiftStatus);
    FreeSolution(&env, &solution);
  }
  int32_t shift(TestModel& m, Hub* hub = nullptr) {
    return ipmShiftBound(&env, &m.model, &option, hub, &presolver, solution);
  }
  int32_t restore(TestModel& m, Hub* hub = nullptr) {
    return ipmShiftRestore(&env, &m.model, &option, hub, &presolver, solution);
  }
  qztest::TestHost host;
  Env env{};
  IpmOption option = qztest::plainOption();
  Presolver presolver{};
  Solution* solution = nullptr;
};

// One column of each kind in one row 2 x (cost 3).
TestModel kinds() {
  std::vector<qztest::ColumnSpec> columns;
  for (auto [l, u] : std::vector<std::pair<double, double>>{
           {-kInf, kInf}, {-kInf, 0}, {-kInf, 3}, {5, 7}, {-2, kInf}, {0, 4}, {4, 4}, {-1e20, -6}})
    columns.push_back({3, l, u, {{0, 2.0}}});
  return TestModel("L", {100}, {0}, columns);
}

TEST_F(BoundShift, EveryKindOfColumnAsTheTableSays) {
  TestModel m = kinds();
  ASSERT_EQ(shift(m), 0);
  const std::vector<int32_t> status = {0, -2, -1, 1, 1, 0, 1, -1};
  const std::vector<double> value = {0, 0, 3, 5, -2, 0, 4, -6};
  const std::vector<double> upper = {kInf, kInf, kInf, 2, kInf, 4, 0, 1e20};
  for (size_t j = 0; j < 8; ++j) {
    EXPECT_EQ(presolver.shiftStatus[j], status[j]) << j;
    EXPECT_EQ(presolver.shiftValue[j], value[j]) << j;
    EXPECT_EQ(m.a.lower[j], j == 0 ? -kInf : 0.0) << j;
    EXPECT_EQ(m.a.upper[j], upper[j]) << j;
    EXPECT_EQ(m.a.obj[j], status[j] < 0 ? -3.0 : 3.0) << j;
    EXPECT_EQ(m.a.matValue[j], status[j] < 0 ? -2.0 : 2.0) << j;
  }
  EXPECT_EQ(m.a.rhs[0], 100 - 2 * (3 + 5 - 2 + 4 - 6));
}

TEST_F(BoundShift, UpperBoundZeroLeavesTheRightHandSide) {
  TestModel zero("G", {7}, {0}, {{1, -kInf, 0, {{0, 5}}}});
  ASSERT_EQ(shift(zero), 0);
  EXPECT_EQ(zero.a.rhs[0], 7.0);
  release();
  TestModel three("G", {7}, {0}, {{1, -kInf, 3, {{0, 5}}}});
  ASSERT_EQ(shift(three), 0);
  EXPECT_EQ(three.a.rhs[0], -8.0);
}

TEST_F(BoundShift, SecondCallUsesTheSameArrays) {
  TestModel m = kinds();
  ASSERT_EQ(shift(m), 0);
  const double* value = presolver.shiftValue;
  const int64_t blocks = host.outstanding();
  ASSERT_EQ(restore(m), 0);
  ASSERT_EQ(shift(m), 0);
  EXPECT_EQ(presolver.shiftValue, value);
  EXPECT_EQ(host.outstanding(), blocks);
}

TEST_F(BoundShift, RoundTripOnRandomModels) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::mt19937 random(seed);
    TestModel m = qztest::randomModel(random, 1 + static_cast<int>(random() % 8), static_cast<int>(random() % 12));
    for (int j = 0; j < m.model.numCol; ++j)
      if (random() % 3 == 0 && m.a.lower[j] > -1e20) {
        const double by = std::normal_distribution<double>(0, 30)(random);
        m.a.lower[j] += by;
        if (m.a.upper[j] < 1e20) m.a.upper[j] += by;
      }
    const qztest::ModelArrays before = m.a;
    ASSERT_EQ(shift(m), 0);
    for (int j = 0; j < m.model.numCol; ++j)
      EXPECT_TRUE(m.a.lower[j] == 0.0 || (m.a.lower[j] <= -1e20 && m.a.upper[j] >= 1e20));
    ASSERT_EQ(restore(m), 0);
    EXPECT_EQ(m.a.matValue, before.matValue) << seed;
    EXPECT_EQ(m.a.obj, before.obj) << seed;
    EXPECT_EQ(m.a.lower, before.lower) << seed;
    for (size_t j = 0; j < before.upper.size(); ++j)
      EXPECT_NEAR(m.a.upper[j], before.upper[j], 1e-13 * (1 + std::abs(before.upper[j])));
    for (size_t i = 0; i < before.rhs.size(); ++i) EXPECT_NEAR(m.a.rhs[i], before.rhs[i], 1e-11);
    release();
  }
}

// Row activities less rhs, reduced costs, slacks and objective differences are the same before and behind the shift.
TEST_F(BoundShift, ShiftedModelIsTheSameModel) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    std::mt19937 random(1000 + seed);
    const bool quadratic = seed % 2 == 1;
    TestModel m = qztest::randomModel(random, 4, 6);
    std::normal_distribution<double> normal;
    if (quadratic) {
      std::vector<double> diag;
      std::vector<std::tuple<int32_t, int32_t, double>> triangle;
      for (int j = 0; j < 6; ++j) {
        diag.push_back(normal(random));
        for (int i = j + 1; i < 6; ++i)
          if (random() % 2) triangle.emplace_back(i, j, normal(random));
      }
      m.makeQuadratic(diag, triangle);
    }
    for (int j = 0; j < 6; ++j)
      if (m.a.lower[j] > -1e20)
        m.a.lower[j] = normal(random), m.a.upper[j] = m.a.upper[j] < 1e20 ? m.a.lower[j] + 2 : kInf;
    const TestModel original = m;
    auto objective = [](const TestModel& t, const std::vector<double>& x) {
      double f = 0;
      for (size_t j = 0; j < 6; ++j) {
        f += t.a.obj[j] * x[j];
        if (t.a.quadDiag.empty()) continue;
        f += 0.5 * t.a.quadDiag[j] * x[j] * x[j];
        for (int k = t.a.quadColBegin[j]; k < t.a.quadColBegin[j] + t.a.quadColLength[j]; ++k)
          f += t.a.quadMatValue[static_cast<size_t>(k)] * x[j] *
               x[static_cast<size_t>(t.a.quadRowIndex[static_cast<size_t>(k)])];
      }
      return f;
    };
    auto residual = [](const TestModel& t, const std::vector<double>& x, size_t row) {
      double r = -t.a.rhs[row];
      for (size_t j = 0; j < 6; ++j)
        for (int k = t.a.colBegin[j]; k < t.a.colBegin[j] + t.a.colLength[j]; ++k)
          if (t.a.rowIndex[static_cast<size_t>(k)] == static_cast<int>(row))
            r += t.a.matValue[static_cast<size_t>(k)] * x[j];
      return r;
    };
    ASSERT_EQ(shift(m), 0);
    std::vector<double> differences;
    for (int sample = 0; sample < 4; ++sample) {
      std::vector<double> x(6), moved(6);
      for (size_t j = 0; j < 6; ++j) {
        x[j] = normal(random);
        const double p = presolver.shiftValue[j];
        moved[j] = presolver.shiftStatus[j] < 0 ? p - x[j] : x[j] - p;
      }
      for (size_t i = 0; i < 4; ++i) EXPECT_NEAR(residual(m, moved, i), residual(original, x, i), 1e-10) << seed;
      differences.push_back(objective(m, moved) - objective(original, x));
    }
    for (double d : differences) EXPECT_NEAR(d, differences[0], 1e-9) << "seed " << seed << ": a constant apart";
    ASSERT_EQ(restore(m), 0);
    for (size_t j = 0; j < 6; ++j) EXPECT_NEAR(m.a.obj[j], original.a.obj[j], 1e-11) << seed;
    for (size_t k = 0; k < m.a.quadMatValue.size(); ++k) EXPECT_EQ(m.a.quadMatValue[k], original.a.quadMatValue[k]);
    release();
  }
}

TEST_F(BoundShift, SolutionMovesAlongAndBack) {
  TestModel m = kinds();
  ASSERT_EQ(NewSolution(&env, &solution, 1, 8, m.model.solPrimal, m.model.solDual), 0);
  const std::vector<double> x = {1, -4, 2, 6, 0, 3, 4, -8};
  for (int j = 0; j < 8; ++j) {
    solution->primal[j] = x[static_cast<size_t>(j)];
    solution->lowerSlack[j] = 10 + j;
    solution->upperSlack[j] = 20 + j;
    solution->lowerDual[j] = 30 + j;
    solution->upperDual[j] = 40 + j;
  }
  solution->dual[0] = 5;
  ASSERT_EQ(shift(m), 0);
  const double moved[] = {1, 4, 1, 1, 2, 3, 0, 2};
  for (int j = 0; j < 8; ++j) {
    EXPECT_EQ(solution->primal[j], moved[j]) << j;
    const bool turned = presolver.shiftStatus[j] < 0;
    EXPECT_EQ(solution->lowerSlack[j], (turned ? 20 : 10) + j);
    EXPECT_EQ(solution->upperDual[j], (turned ? 30 : 40) + j);
  }
  EXPECT_EQ(solution->dual[0], 5);
  ASSERT_EQ(restore(m), 0);
  for (int j = 0; j < 8; ++j) {
    EXPECT_EQ(solution->primal[j], x[static_cast<size_t>(j)]);
    EXPECT_EQ(solution->lowerSlack[j], 10 + j);
    EXPECT_EQ(solution->upperSlack[j], 20 + j);
    EXPECT_EQ(solution->lowerDual[j], 30 + j);
    EXPECT_EQ(solution->upperDual[j], 40 + j);
  }
}

TEST_F(BoundShift, AlternateBoundsAndTheKeptDirectionFollow) {
  // Relaxed bounds in the model: column 0 lost its upper bound, column 1 its lower one; column 2 keeps both infinite
  // below in either pair.
  TestModel m("G", {1}, {0}, {{1, 2, 1e300, {{0, 1}}}, {1, -1e300, 9, {{0, 1}}}, {1, -kInf, 4, {{0, 1}}}});
  std::vector<double> lower = {2, 6, -kInf}, upper = {8, 9, 4};
  Hub hub{};
  hub.altLower = lower.data();
  hub.altUpper = upper.data();
  double delta[7][3] = {{1, 2, 3}, {0, 0, 0}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}, {13, 14, 15}, {0, 0, 0}};
  KeptSolution kept{0, 0, delta[0], delta[1], delta[2], delta[3], delta[4], delta[5], delta[6]};
  hub.keptSolution = &kept;
  ASSERT_EQ(shift(m, &hub), 0);
  EXPECT_EQ(lower, (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(upper, (std::vector<double>{6, 3, kInf}));
  EXPECT_EQ(delta[0][1], 2) << "the direction is of the shifted columns and moves on the way back alone";
  ASSERT_EQ(restore(m, &hub), 0);
  EXPECT_EQ(lower, (std::vector<double>{2, 6, -kInf}));
  EXPECT_EQ(upper, (std::vector<double>{8, 9, 4}));
  EXPECT_EQ(delta[0][0], 1) << "a shift does not move a direction";
  EXPECT_EQ(delta[0][1], -2);
  EXPECT_EQ(delta[2][1], 8);
  EXPECT_EQ(delta[3][1], 5);
  EXPECT_EQ(delta[4][2], 15);
  EXPECT_EQ(delta[5][2], 12);
}

TEST_F(BoundShift, EveryFailedAllocationIsOutOfMemory) {
  TestModel m = kinds();
  for (int64_t k = 1; k <= 2; ++k) {
    host.failAllocation(k);
    EXPECT_EQ(shift(m), -1086) << k;
    host.failAllocation(0);
    EXPECT_EQ(m.a.lower[3], 5.0) << "nothing moved";
    release();
  }
  host.failAllocation(3);
  EXPECT_EQ(shift(m), 0);
  host.failAllocation(0);
}

TEST_F(BoundShift, RestoreWithoutAShiftDoesNothing) {
  TestModel m = kinds();
  const qztest::ModelArrays before = m.a;
  EXPECT_EQ(restore(m), 0);
  EXPECT_EQ(m.a, before);
}

}  // namespace
