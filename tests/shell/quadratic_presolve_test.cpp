// Small convex quadratic programs through the whole pipeline, presolve and engine, against the conditions of Karush,
// Kuhn and Tucker on the model as it came in.
#include <gtest/gtest.h>

#include <cmath>

#include "engine/controller.h"
#include "shell/pipeline_case.h"
#include "shell/pool.h"
#include "transform/bound_shift.h"
#include "transform/hub.h"
#include "transform/model_fixture.h"
#include "transform/sparse_helpers.h"
#include "transform/standard_form.h"

namespace {

using namespace qz;
using qztest::kInf;
using qztest::ModelArrays;
using qztest::TestModel;

class QuadraticPresolve : public qztest::PipelineCase {
 protected:
  QuadraticPresolve() {
    option.maxIter = 200;
    option.timeLimit = 1e30;
    option.numThread = 1;
  }
  int32_t solve(TestModel& m) {
    IpmOption mine = option;
    return ipmMain(&env, &m.model, &mine, timer, nullptr);
  }
};

// A program around a point: rows of every sense that the point meets, many of them with one or two elements or tight on
// the box, columns of every kind, and Q = D + B'B with a few elements.
TestModel randomProgram(std::mt19937& random) {
  const auto whole = [&random](int low, int high) {
    return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
  };
  const int32_t numCol = whole(2, 8), numRow = whole(1, 7);
  std::vector<qztest::ColumnSpec> columns;
  std::vector<double> point;
  for (int32_t j = 0; j < numCol; ++j) {
    qztest::ColumnSpec c{1.0 * whole(-6, 6), 0, kInf, {}};
    const int kind = whole(0, 6);
    if (kind == 0) c.lower = -kInf;
    if (kind == 1) c.lower = c.upper = whole(-2, 2);
    if (kind >= 4) c.upper = whole(1, 6);
    point.push_back(std::min(std::max(1.0 * whole(-1, 4), c.lower), c.upper));
    columns.push_back(c);
  }
  std::string senses;
  std::vector<double> rhs, range;
  for (int32_t i = 0; i < numRow; ++i) {
    const int length = whole(0, 2) == 0 ? 1 : whole(0, 4);
    double activity = 0.0, least = 0.0;
    for (int32_t j = 0, k = 0; j < numCol && k < length; ++j) {
      if (whole(0, numCol - 1) > length) continue;
      const double a = whole(0, 3) == 0 ? -whole(1, 4) : whole(1, 4);
      columns[static_cast<size_t>(j)].elements.emplace_back(i, a);
      activity += a * point[static_cast<size_t>(j)];
      least += a * (a > 0 ? columns[static_cast<size_t>(j)].lower : columns[static_cast<size_t>(j)].upper);
      ++k;
    }
    senses.push_back("ELGRN"[whole(0, 4)]);
    const int gap = whole(0, 4);
    const double side = senses.back() == 'L' || senses.back() == 'R' ? activity + gap
                        : senses.back() == 'G'                       ? activity - gap
                                                                     : activity;
    rhs.push_back(senses.back() == 'L' && std::fabs(least - activity) < 0.5 ? least : side);
    range.push_back(senses.back() == 'R' ? gap + whole(0, 5) : 0.0);
  }
  TestModel m(senses, rhs, range, columns);
  std::vector<double> diag(static_cast<size_t>(numCol));
  for (double& d : diag) d = whole(0, 3);
  std::vector<std::tuple<int32_t, int32_t, double>> triangle;
  for (int32_t j = 0; j + 1 < numCol; ++j)
    if (whole(0, 2) == 0) {
      const int32_t i = whole(j + 1, numCol - 1);
      const double b = whole(0, 1) == 0 ? -1.0 : 1.0;
      diag[static_cast<size_t>(j)] += 1.0;  // (x_j + b x_i)^2 / 2
      diag[static_cast<size_t>(i)] += 1.0;
      triangle.emplace_back(i, j, b);
    }
  m.makeQuadratic(diag, triangle);
  return m;
}

// The largest violation of the optimality conditions at the model's answer.
double conditionError(const TestModel& m) {
  const auto& a = m.a;
  const auto numCol = static_cast<size_t>(m.model.numCol), numRow = static_cast<size_t>(m.model.numRow);
  std::vector<double> activity(numRow, 0.0), reduced(a.obj.begin(), a.obj.begin() + m.model.numCol);
  double worst = 0.0;
  const auto check = [&worst](double violation) { worst = std::max(worst, violation); };
  for (size_t j = 0; j < numCol; ++j) {
    reduced[j] += a.quadDiag[j] * a.solPrimal[j];
    for (int32_t k = a.colBegin[j]; k < a.colBegin[j] + a.colLength[j]; ++k) {
      const auto i = static_cast<size_t>(a.rowIndex[static_cast<size_t>(k)]);
      activity[i] += a.matValue[static_cast<size_t>(k)] * a.solPrimal[j];
      reduced[j] -= a.matValue[static_cast<size_t>(k)] * a.solDual[i];
    }
  }
  for (size_t j = 0; j < numCol; ++j)
    for (int32_t k = a.quadColBegin[j]; k < a.quadColBegin[j] + a.quadColLength[j]; ++k) {
      const auto i = static_cast<size_t>(a.quadRowIndex[static_cast<size_t>(k)]);
      reduced[i] += a.quadMatValue[static_cast<size_t>(k)] * a.solPrimal[j];
      reduced[j] += a.quadMatValue[static_cast<size_t>(k)] * a.solPrimal[i];
    }
  for (size_t i = 0; i < numRow; ++i) {
    const double y = a.solDual[i], above = a.rhs[i] - activity[i];
    const char sense = a.rowSense[i];
    if (sense == 'N') {
      check(std::fabs(y));
      continue;
    }
    const double below = sense == 'R' ? activity[i] - a.rhs[i] + a.range[i] : sense == 'L' ? kInf : -above;
    const double room = sense == 'G' ? kInf : above;
    check(-room);
    check(-below);
    check(y > 0 ? std::min(y, below) : std::min(-y, room));
  }
  for (size_t j = 0; j < numCol; ++j) {
    const double below = a.lower[j] <= -1e20 ? kInf : a.solPrimal[j] - a.lower[j];
    const double above = a.upper[j] >= 1e20 ? kInf : a.upper[j] - a.solPrimal[j];
    check(-below);
    check(-above);
    check(reduced[j] > 0 ? std::min(reduced[j], below) : std::min(-reduced[j], above));
    check(std::fabs(a.reducedCost[j] - reduced[j]));
  }
  return worst;
}

TEST_F(QuadraticPresolve, AnswersMeetTheOptimalityConditionsAndLeaveTheModel) {
  int solved = 0, unbounded = 0, reduced = 0;
  for (uint32_t seed = 1; seed <= 1500; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    TestModel m = randomProgram(random);
    const ModelArrays before = m.a;
    const int64_t outstanding = host.outstanding();
    const int32_t status = solve(m);
    EXPECT_EQ(host.outstanding(), outstanding);
    ASSERT_TRUE(status == 1 || status == 15 || status == 4 || status == 14) << status;
    ModelArrays after = m.a;
    after.solPrimal = before.solPrimal;
    after.solDual = before.solDual;
    after.reducedCost = before.reducedCost;
    after.rowActivity = before.rowActivity;
    EXPECT_EQ(after == before, true) << "the caller's arrays are as they were, bit for bit";
    if (status == 1 || status == 15) {
      ++solved;
      EXPECT_LT(conditionError(m), 1e-3);
    } else {
      ++unbounded;
    }
    reduced += m.model.numIter == 0 ? 1 : 0;
  }
  EXPECT_GT(solved, 900);
  EXPECT_GT(unbounded, 20);
  EXPECT_GT(reduced, 50) << "some are solved by presolve alone";
  std::printf("solved %d unbounded %d without the engine %d\n", solved, unbounded, reduced);
}

TEST_F(QuadraticPresolve, SeparableModelWithoutRowsIsSolvedByPresolve) {
  TestModel m("N", {0}, {}, {{-6, 0, 9, {}}, {-6, 5, 9, {}}, {-6, 0, 2, {}}, {3, 1, 4, {}}});
  m.makeQuadratic({2, 2, 2, 0}, {});
  EXPECT_EQ(solve(m), 1);
  EXPECT_EQ(m.a.solPrimal[0], 3.0);
  EXPECT_EQ(m.a.solPrimal[1], 5.0);
  EXPECT_EQ(m.a.solPrimal[2], 2.0);
  EXPECT_EQ(m.a.solPrimal[3], 1.0);
  EXPECT_LT(conditionError(m), 1e-12);
  EXPECT_EQ(m.model.objValue, -9.0 + (25.0 - 30.0) + (4.0 - 12.0) + 3.0);
}

// 1/2 (x^2 + y^2 + z^2) on x + y + z = 6, all free; w, when it is there, is held at 3 by its box, v at 2 by a row.
TestModel freeSystem(bool reducible) {
  if (!reducible) {
    TestModel m("E", {6}, {}, {{0, -kInf, kInf, {{0, 1}}}, {0, -kInf, kInf, {{0, 1}}}, {0, -kInf, kInf, {{0, 1}}}});
    m.makeQuadratic({1, 1, 1}, {});
    return m;
  }
  TestModel m("EE", {11, 4}, {},
              {{0, -kInf, kInf, {{0, 1}}},
               {0, -kInf, kInf, {{0, 1}}},
               {0, -kInf, kInf, {{0, 1}}},
               {1, 3, 3, {{0, 1}}},
               {-1, -kInf, kInf, {{0, 1}, {1, 2}}}});
  m.makeQuadratic({1, 1, 1, 0, 0}, {});
  return m;
}

TEST_F(QuadraticPresolve, FreeSystemIsAnsweredWithoutIterations) {
  for (bool reducible : {false, true}) {
    SCOPED_TRACE(reducible);
    TestModel m = freeSystem(reducible);
    const ModelArrays before = m.a;
    EXPECT_EQ(solve(m), 1);
    EXPECT_EQ(m.model.numIter, 0);
    for (size_t j = 0; j < 3; ++j) EXPECT_NEAR(m.a.solPrimal[j], 2.0, 1e-9);
    EXPECT_NEAR(m.a.solDual[0], 2.0, 1e-9);
    EXPECT_NEAR(m.model.objValue, reducible ? 7.0 : 6.0, 1e-9);
    EXPECT_LT(conditionError(m), 1e-8);
    EXPECT_EQ(m.a.matValue, before.matValue);
    EXPECT_EQ(m.a.lower, before.lower);
    EXPECT_EQ(m.a.upper, before.upper);
  }
}

TEST_F(QuadraticPresolve, FreeSystemThatIsNotConvexIsRefused) {
  for (bool reducible : {false, true}) {
    TestModel m = freeSystem(reducible);
    m.a.quadDiag[1] = -1.0;
    const int64_t outstanding = host.outstanding();
    EXPECT_EQ(solve(m), 1000);
    EXPECT_EQ(host.outstanding(), outstanding);
  }
}

TEST_F(QuadraticPresolve, FreeSystemTellsItsSideThatHasNoSolution) {
  for (bool reducible : {false, true}) {
    for (auto [rhs, diagonal, status] :
         {std::tuple{4.0, 1.0, 1}, std::tuple{5.0, 1.0, 3}, std::tuple{4.0, 0.0, 4}, std::tuple{5.0, 0.0, 14}}) {
      SCOPED_TRACE(std::to_string(reducible) + " " + std::to_string(status));
      std::vector<qztest::ColumnSpec> columns = {{1, -kInf, kInf, {{0, 1}, {1, 1}}},
                                                 {2, -kInf, kInf, {{0, 1}, {1, 1}}}};
      std::vector<double> curvature = {diagonal, diagonal};
      if (reducible) columns.push_back({1, 3, 3, {{0, 2}}}), curvature.push_back(0.0);
      TestModel m("EE", {reducible ? 10.0 : 4.0, rhs}, {}, columns);
      m.makeQuadratic(curvature, {{1, 0, 0.0}});
      EXPECT_EQ(solve(m), status);
      EXPECT_EQ(m.model.numIter, 0);
      if (status == 1) {
        EXPECT_LT(conditionError(m), 1e-8);
      }
    }
  }
}

// 5 <= x by a row of its own, beside the box [0, 10]: the row goes, its bound must not.
TEST_F(QuadraticPresolve, BoundOfARemovedRowHoldsInABox) {
  TestModel m("GL", {5, 30}, {}, {{0, 0, 10, {{0, 1}, {1, 1}}}, {0, 0, 10, {{1, 2}}}});
  m.makeQuadratic({1, 1}, {});
  EXPECT_EQ(solve(m), 1);
  EXPECT_NEAR(m.a.solPrimal[0], 5.0, 1e-5);
  EXPECT_NEAR(m.a.solDual[0], 5.0, 1e-4);
  EXPECT_LT(conditionError(m), 1e-4);
}

// All columns are free but for x >= 8, which a removed row asks for: no system of equations.
TEST_F(QuadraticPresolve, BoundOfARemovedRowHoldsBesideFreeColumns) {
  TestModel m("EG", {10, 8}, {},
              {{0, -kInf, kInf, {{0, 1}, {1, 1}}}, {0, -kInf, kInf, {{0, 1}}}, {0, -kInf, kInf, {{0, 1}}}});
  m.makeQuadratic({1, 1, 1}, {});
  EXPECT_EQ(solve(m), 1);
  EXPECT_NEAR(m.a.solPrimal[0], 8.0, 1e-5);
  EXPECT_NEAR(m.a.solPrimal[1], 1.0, 1e-5);
  EXPECT_NEAR(m.a.solPrimal[2], 1.0, 1e-5);
  EXPECT_LT(conditionError(m), 1e-4);
}

// x + y <= 5 with y >= -3 gives x <= 8, whatever the far bound of x itself: 1e18 less 1e18 is no 8.
TEST_F(QuadraticPresolve, FarBoundsDoNotDrownTheImpliedOnes) {
  for (double far : {1e6, 1e12, 1e16, 1e18}) {
    SCOPED_TRACE(far);
    TestModel m("L", {5}, {}, {{-20, -far, far, {{0, 1}}}, {0, -3, 10, {{0, 1}}}});
    m.makeQuadratic({1, 0}, {});
    EXPECT_EQ(solve(m), 1);
    EXPECT_NEAR(m.a.solPrimal[0], 8.0, 1e-4);
    EXPECT_NEAR(m.a.solPrimal[1], -3.0, 1e-4);
  }
}

TEST_F(QuadraticPresolve, FreeSystemWithTriangleMatchesItsConditions) {
  for (uint32_t seed = 1; seed <= 100; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto whole = [&random](int low, int high) {
      return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
    };
    const int n = whole(2, 10), rows = whole(1, n - 1);
    std::vector<qztest::ColumnSpec> columns;
    std::vector<double> rhs(static_cast<size_t>(rows), 0.0);
    for (int j = 0; j < n; ++j) {
      columns.push_back({1.0 * whole(-5, 5), -kInf, kInf, {}});
      for (int i = 0; i < rows; ++i) {
        const int value = j == i ? 9 : whole(-1, 1);
        if (value == 0) continue;
        columns.back().elements.emplace_back(i, value);
        rhs[static_cast<size_t>(i)] += value * (j - 2);
      }
    }
    TestModel m(std::string(static_cast<size_t>(rows), 'E'), rhs, {}, columns);
    std::vector<std::tuple<int32_t, int32_t, double>> triangle;
    for (int j = 0; j + 1 < n; ++j) triangle.emplace_back(j + 1, j, whole(0, 1) == 0 ? -1.0 : 1.0);
    m.makeQuadratic(std::vector<double>(static_cast<size_t>(n), 2.0 + whole(0, 2)), triangle);
    ASSERT_EQ(solve(m), 1);
    EXPECT_EQ(m.model.numIter, 0);
    EXPECT_LT(conditionError(m), 1e-6);
  }
}

TEST_F(QuadraticPresolve, FreeSystemWithoutMemoryLeavesTheInput) {
  for (bool reducible : {false, true}) {
    int64_t last = 0;
    for (int64_t k = 1; last == 0; ++k) {
      TestModel m = freeSystem(reducible);
      const ModelArrays before = m.a;
      const int64_t outstanding = host.outstanding();
      host.failAllocation(k);
      const int32_t status = solve(m);
      host.failAllocation(0);
      EXPECT_EQ(host.outstanding(), outstanding) << k;
      EXPECT_EQ(m.a.matValue, before.matValue) << k;
      EXPECT_EQ(m.a.rhs, before.rhs) << k;
      if (status == -1086) continue;
      ASSERT_EQ(status, 1) << k;
      last = k;
    }
    EXPECT_GT(last, 30);
  }
}

// The engine on the model as it stands, in standard form but without presolve, with columns shifted or not. Fixed
// columns get a little room, and free rows lose their elements.
int32_t solvePlain(Env* env, TestModel m, IPM_timer* timer, IpmOption option, bool shifted, double& objective) {
  ModelArrays& a = m.a;
  for (size_t k = 0; k < static_cast<size_t>(m.model.numCoef); ++k)
    if (a.rowSense[static_cast<size_t>(a.rowIndex[k])] == 'N') a.matValue[k] = 0.0;
  for (size_t i = 0; i < a.rowSense.size(); ++i)
    if (a.rowSense[i] == 'N') {
      a.rowSense[i] = 'L';
      a.rhs[i] = 1.0;
    }
  for (int32_t j = 0; j < m.model.numCol; ++j)
    if (a.lower[j] == a.upper[j]) {
      a.lower[j] -= 1e-6;
      a.upper[j] += 1e-6;
    }
  m.point();
  Hub* hub = poolAllocateZero<Hub>(env->pool, 1);
  hub->objScale = 1.0;
  hub->numRange = static_cast<int32_t>(std::count(a.rowSense.begin(), a.rowSense.end(), 'R'));
  hub->numLcont = static_cast<int32_t>(std::count(a.rowSense.begin(), a.rowSense.end(), 'L'));
  hub->typeMethod = IPM_METHOD_AUGMENTED;
  Solution* solution = nullptr;
  const int32_t numCol = m.model.numCol;
  int32_t status =
      NewSolution(env, &solution, m.model.numRow, numCol + hub->numRange, m.model.solPrimal, m.model.solDual);
  Presolver* shifts = poolAllocateZero<Presolver>(env->pool, 1);
  if (status == 0 && shifted) status = ipmShiftBound(env, &m.model, &option, hub, shifts, nullptr);
  if (status == 0) status = addSlack(env, &m.model, hub);
  if (status == 0) status = ipmSolve(env, &m.model, &option, hub, solution, timer);
  if (status == 0) status = removeSlack(env, &m.model, hub, solution);
  if (status == 0 && shifted) status = ipmShiftRestore(env, &m.model, &option, hub, shifts, solution);
  DestroyPresolver(env, &shifts);
  objective = calcQuadForm(numCol, a.quadColBegin.data(), a.quadColLength.data(), a.quadRowIndex.data(),
                           a.quadMatValue.data(), a.quadDiag.data(), a.solPrimal.data());
  for (int32_t j = 0; j < numCol; ++j) objective += a.obj[j] * a.solPrimal[j];
  FreeSolution(env, &solution);
  FreeHub(env, &hub);
  return status == 0 ? m.model.status : status;
}

// A plain solve that meets an optimum meets the one that presolve brings back, and presolve loses none.
TEST_F(QuadraticPresolve, AgreesWithTheEngineWithoutPresolve) {
  int compared = 0, onlyPresolved = 0, neither = 0;
  for (uint32_t seed = 1; seed <= 1500; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    TestModel m = randomProgram(random);
    double objective = 0.0;
    const int64_t outstanding = host.outstanding();
    const int32_t plain = solvePlain(&env, m, timer, option, seed % 2 == 0, objective);
    EXPECT_EQ(host.outstanding(), outstanding);
    const int32_t status = solve(m);
    const bool presolvedOptimal = status == 1 || status == 15;
    if (plain == 1) {
      ASSERT_TRUE(presolvedOptimal) << status;
      EXPECT_NEAR(m.model.objValue, objective, 1e-4 * (1.0 + std::fabs(objective)));
      ++compared;
    } else {
      ++(presolvedOptimal ? onlyPresolved : neither);
    }
  }
  std::printf("compared %d, optimal with presolve alone %d, neither %d\n", compared, onlyPresolved, neither);
  EXPECT_GT(compared, 1000);
  EXPECT_GT(neither, 20);
}

TEST_F(QuadraticPresolve, FailedAllocationsBringTheInputBack) {
  std::mt19937 random(7);
  int64_t last = 0;
  for (int64_t k = 1; last == 0; ++k) {
    random.seed(7);
    TestModel m = randomProgram(random);
    const ModelArrays before = m.a;
    const int64_t outstanding = host.outstanding();
    host.failAllocation(k);
    const int32_t status = solve(m);
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), outstanding) << k;
    EXPECT_EQ(m.a.rhs, before.rhs) << k;
    EXPECT_EQ(m.a.lower, before.lower) << k;
    EXPECT_EQ(m.a.matValue, before.matValue) << k;
    if (status == -1086) continue;
    ASSERT_TRUE(status == 1 || status == 15 || status == 4) << status << " at " << k;
    last = k;
  }
  EXPECT_GT(last, 30);
}

}  // namespace
