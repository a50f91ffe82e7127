#include "transform/standard_form.h"

#include <gtest/gtest.h>

#include <cmath>

#include "shell/pool.h"
#include "transform/free_columns.h"
#include "transform/model_fixture.h"
#include "transform/presolve_disabled.h"

namespace {

using namespace qz;
using qztest::kInf;
using qztest::randomModel;
using qztest::TestModel;

constexpr double kLargest = std::numeric_limits<double>::max();

class StandardForm : public ::testing::Test {
 protected:
  StandardForm() {
    env.pool = host.pool();
    env.log = host.log();
  }
  // Counts as the presolve does and makes a hub.
  void count(TestModel& m) {
    hub = Hub{};
    Presolver presolver{};
    ASSERT_EQ(countFreeVar(&env, &m.model, &option, &presolver, &hub), 0);
    countRowSenses(&m.model, &hub);
    ASSERT_EQ(NewSolution(&env, &solution, m.model.numRow, hub.numFreeVar + hub.numRange + m.model.numCol,
                          m.model.solPrimal, m.model.solDual),
              0);
  }
  void release() {
    FreeSolution(&env, &solution);
    poolFree(env.pool, hub.colPlus);
    poolFree(env.pool, hub.colMinus);
    poolFree(env.pool, hub.rangeRowList);
    poolFree(env.pool, hub.lcontRowList);
    EXPECT_EQ(host.outstanding(), 0);
  }
  void expectOneMessage(const std::string& text) {
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(host.messages[0].level, 4);
    EXPECT_EQ(host.messages[0].text, text);
  }
  qztest::TestHost host;
  Env env{};
  Hub hub{};
  IpmOption option = qztest::plainOption();
  Solution* solution = nullptr;
};

TEST_F(StandardForm, ModelWithNothingToDoPassesUnchanged) {
  TestModel m("EGG", {1, 2, 3}, {}, {{1, 0, kInf, {{0, 1}, {2, 3}}}, {2, -1, 4, {{1, -1}}}, {0, 0, kInf, {}}});
  const qztest::ModelArrays before = m.a;
  count(m);
  hub.altLower = hub.altUpper = nullptr;
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  EXPECT_EQ(hub.numColSaved, 3);
  EXPECT_EQ(hub.numRowSaved, 3);
  EXPECT_EQ(hub.numCoefSaved, 3);
  EXPECT_EQ(hub.numQuadCoefSaved, 0);
  EXPECT_EQ(m.model.numCol, 3);
  EXPECT_EQ(hub.rangeRowList, nullptr);
  EXPECT_EQ(hub.lcontRowList, nullptr);
  ASSERT_EQ(splitFreeVar(&env, &m.model, &hub), 0);
  ASSERT_EQ(mergeFreeVar(&env, &m.model, &hub, solution), 0);
  ASSERT_EQ(removeSlack(&env, &m.model, &hub, solution), 0);
  std::vector<double> altLower = m.a.lower, altUpper = m.a.upper;
  hub.altLower = altLower.data();
  hub.altUpper = altUpper.data();
  ASSERT_EQ(getLostSlack(&env, &m.model, &option, &hub, solution), 0);
  EXPECT_EQ(m.a, before);
  EXPECT_EQ(m.model.numCoef, 3);
  for (int j = 0; j < 3; ++j) {
    EXPECT_EQ(solution->lowerSlack[j], 0.0);
    EXPECT_EQ(solution->upperSlack[j], 0.0);
  }
  release();
}

TEST_F(StandardForm, EndMarkIsWrittenWithoutAnySlack) {
  TestModel m("E", {1}, {}, {{1, 0, 1, {{0, 1}}}});
  count(m);
  m.a.colBegin[1] = -5;
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  EXPECT_EQ(m.a.colBegin[1], 1);
  release();
}

TEST_F(StandardForm, LessRowTurnsAndItsRangeEntryStays) {
  TestModel m("LGE", {5, 6, 7}, {0, 0, 0}, {{1, 0, kInf, {{0, 2}, {1, 3}}}, {1, 0, kInf, {{2, 4}, {0, -6}}}});
  count(m);
  m.a.range = {0.0, 9.0, 9.0};
  m.model.range = m.a.range.data();
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  EXPECT_EQ(std::string(m.a.rowSense.begin(), m.a.rowSense.end()), "GGE");
  EXPECT_EQ(m.a.rhs, (std::vector<double>{-5, 6, 7}));
  EXPECT_EQ(m.a.matValue, (std::vector<double>{-2, 3, 4, 6}));
  EXPECT_EQ(m.a.range, (std::vector<double>{0.0, 9.0, 9.0})) << "no range entry is touched";
  EXPECT_EQ(hub.lcontRowList[0], 0);
  solution->dual[0] = 1.5;
  solution->dual[1] = 2.5;
  ASSERT_EQ(removeSlack(&env, &m.model, &hub, solution), 0);
  EXPECT_EQ(solution->dual[0], -1.5);
  EXPECT_EQ(solution->dual[1], 2.5);
  EXPECT_EQ(std::string(m.a.rowSense.begin(), m.a.rowSense.end()), "LGE");
  release();
}

TEST_F(StandardForm, RangeRowBecomesAnEquationWithASlackColumn) {
  TestModel m("GRLR", {1, 8, 3, 4}, {0, 2.5, 0, 0}, {{7, 0, kInf, {{1, 2}, {2, 3}, {3, -1}}}});
  count(m);
  ASSERT_EQ(hub.numRange, 2);
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  EXPECT_EQ(std::string(m.a.rowSense.begin(), m.a.rowSense.end()), "GEGE");
  EXPECT_EQ(m.a.rhs, (std::vector<double>{1, 8, -3, 4})) << "a range row is never negated";
  EXPECT_EQ(m.model.numCol, 3);
  EXPECT_EQ(m.model.numCoef, 5);
  EXPECT_EQ(hub.rangeColBegin, 1);
  EXPECT_EQ(hub.rangeCoefBegin, 3);
  EXPECT_EQ(m.a.colBegin, (std::vector<int32_t>{0, 3, 4, 5}));
  EXPECT_EQ(m.a.colLength, (std::vector<int32_t>{3, 1, 1}));
  EXPECT_EQ(m.a.rowIndex, (std::vector<int32_t>{1, 2, 3, 1, 3}));
  EXPECT_EQ(m.a.matValue, (std::vector<double>{2, -3, -1, 1, 1}));
  EXPECT_EQ(m.a.obj, (std::vector<double>{7, 0, 0}));
  EXPECT_EQ(m.a.lower, (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(m.a.upper, (std::vector<double>{kInf, 2.5, 0})) << "a range of 0 gives a slack fixed at 0";
  solution->primal[1] = 0.75;
  solution->primal[2] = 0.125;
  ASSERT_EQ(removeSlack(&env, &m.model, &hub, solution), 0);
  EXPECT_EQ(std::string(m.a.rowSense.begin(), m.a.rowSense.end()), "GRLR");
  EXPECT_EQ(solution->ineqnSlack[1], 0.75);
  EXPECT_EQ(solution->ineqnSlack[3], 0.125);
  EXPECT_EQ(solution->ineqnSlack[0], 0.0);
  EXPECT_EQ(m.model.numCol, 1);
  EXPECT_EQ(m.model.numCoef, 3);
  release();
}

TEST_F(StandardForm, RangeRowWithoutARangeArrayHasWidthZero) {
  TestModel m("R", {8}, {}, {{7, 0, kInf, {{0, 2}}}});
  count(m);
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  EXPECT_EQ(m.a.upper[1], 0.0);
  release();
}

TEST_F(StandardForm, SlackBoundsAlsoGoToTheAlternateBounds) {
  TestModel m("R", {8}, {3}, {{7, 0, kInf, {{0, 2}}}});
  count(m);
  std::vector<double> altLower = {5, 5}, altUpper = {6, 6};
  hub.altLower = altLower.data();
  hub.altUpper = altUpper.data();
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  EXPECT_EQ(altLower, (std::vector<double>{5, 0}));
  EXPECT_EQ(altUpper, (std::vector<double>{6, 3}));
  hub.altLower = hub.altUpper = nullptr;
  release();
}

TEST_F(StandardForm, OneAlternateArrayAloneIsNotWritten) {
  TestModel m("R", {8}, {3}, {{7, 0, kInf, {{0, 2}}}});
  count(m);
  std::vector<double> altUpper = {6, 6};
  hub.altUpper = altUpper.data();
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  EXPECT_EQ(altUpper, (std::vector<double>{6, 6}));
  hub.altUpper = nullptr;
  release();
}

TEST_F(StandardForm, QuadraticArraysGrowWithTheSlacks) {
  TestModel m("RR", {8, 9}, {3, 1}, {{7, 0, kInf, {{0, 2}}}, {1, 0, kInf, {{1, 2}}}});
  m.makeQuadratic({2, 3}, {{1, 0, 0.5}});
  count(m);
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  EXPECT_EQ(hub.numQuadCoefSaved, 1);
  EXPECT_EQ(m.a.quadDiag, (std::vector<double>{2, 3, 0, 0}));
  EXPECT_EQ(m.a.quadColBegin, (std::vector<int32_t>{0, 1, 1, 1, 1}));
  EXPECT_EQ(m.a.quadColLength, (std::vector<int32_t>{1, 0, 0, 0}));
  release();
}

TEST_F(StandardForm, QuadraticArraysStayWithoutRangeRows) {
  TestModel m("G", {8}, {}, {{7, 0, kInf, {{0, 2}}}});
  m.makeQuadratic({2}, {});
  m.a.quadColBegin[1] = 44;
  count(m);
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  EXPECT_EQ(m.a.quadColBegin[1], 44);
  release();
}

TEST_F(StandardForm, RoundTripsAreBitForBit) {
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    TestModel m = randomModel(random, static_cast<int32_t>(random() % 9), static_cast<int32_t>(random() % 12));
    count(m);
    const qztest::ModelArrays before = m.a;
    const Model record = m.model;
    ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
    for (char sense : m.a.rowSense) ASSERT_TRUE(sense == 'E' || sense == 'G');
    ASSERT_EQ(m.model.numCol, record.numCol + hub.numRange);
    ASSERT_EQ(m.model.numCoef, record.numCoef + hub.numRange);
    ASSERT_EQ(removeSlack(&env, &m.model, &hub, solution), 0);
    const auto sameBits = [](const auto& a, const auto& b, size_t n) {
      return n == 0 || std::memcmp(a.data(), b.data(), n * sizeof a[0]) == 0;
    };
    const auto nCol = static_cast<size_t>(record.numCol), nCoef = static_cast<size_t>(record.numCoef);
    EXPECT_TRUE(sameBits(m.a.matValue, before.matValue, nCoef));
    EXPECT_TRUE(sameBits(m.a.rowIndex, before.rowIndex, nCoef));
    EXPECT_TRUE(sameBits(m.a.colBegin, before.colBegin, nCol + 1));
    EXPECT_TRUE(sameBits(m.a.colLength, before.colLength, nCol));
    EXPECT_TRUE(sameBits(m.a.rhs, before.rhs, before.rhs.size()));
    EXPECT_TRUE(sameBits(m.a.range, before.range, before.range.size()));
    EXPECT_TRUE(sameBits(m.a.lower, before.lower, nCol));
    EXPECT_TRUE(sameBits(m.a.upper, before.upper, nCol));
    EXPECT_TRUE(sameBits(m.a.obj, before.obj, nCol));
    EXPECT_EQ(m.a.rowSense, before.rowSense);
    EXPECT_EQ(m.model.numCol, record.numCol);
    EXPECT_EQ(m.model.numCoef, record.numCoef);
    release();
  }
}

// The extended model has the invariants that the engine relies on, and its rows say the same as the caller's.
TEST_F(StandardForm, ExtendedModelKeepsItsInvariants) {
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    TestModel m = randomModel(random, 7, 11);
    count(m);
    const TestModel original = m;
    const Model before = m.model;
    ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
    ASSERT_EQ(splitFreeVar(&env, &m.model, &hub), 0);
    const Model& e = m.model;
    ASSERT_EQ(e.numCol, hub.numColSaved + hub.numRange + hub.numFreeVar);
    ASSERT_EQ(e.numCoef, hub.numCoefSaved + hub.numRange + hub.numFreeElement);
    ASSERT_EQ(e.numRow, hub.numRowSaved);
    ASSERT_EQ(e.colBegin[e.numCol], e.numCoef);
    for (int32_t k = 0; k < hub.numRange; ++k) {
      const int32_t col = hub.numColSaved + k;
      ASSERT_EQ(e.colLength[col], 1);
      ASSERT_EQ(e.rowIndex[e.colBegin[col]], hub.rangeRowList[k]);
      ASSERT_EQ(e.matValue[e.colBegin[col]], 1.0);
      ASSERT_EQ(e.upper[col], e.range[hub.rangeRowList[k]]);
      if (k > 0) {
        ASSERT_LT(hub.rangeRowList[k - 1], hub.rangeRowList[k]);
      }
    }
    for (int32_t k = 0; k < hub.numFreeVar; ++k) {
      const int32_t plus = hub.colPlus[k], minus = hub.colMinus[k];
      ASSERT_EQ(minus, hub.numColSaved + hub.numRange + k);
      ASSERT_EQ(e.colLength[plus], e.colLength[minus]);
      for (int32_t t = 0; t < e.colLength[plus]; ++t) {
        ASSERT_EQ(e.rowIndex[e.colBegin[plus] + t], e.rowIndex[e.colBegin[minus] + t]);
        ASSERT_EQ(e.matValue[e.colBegin[plus] + t] + e.matValue[e.colBegin[minus] + t], 0.0);
      }
      ASSERT_EQ(e.lower[plus], 0.0);
      ASSERT_EQ(e.lower[minus], 0.0);
      ASSERT_EQ(e.upper[plus], kLargest);
      ASSERT_EQ(e.upper[minus], kLargest);
      ASSERT_EQ(e.obj[plus], -e.obj[minus]);
    }
    // At random points: a row of the extended model reads as the caller's row, seen from the side of its sense.
    std::normal_distribution<double> normal(0.0, 2.0);
    std::vector<double> x(static_cast<size_t>(e.numCol));
    for (double& v : x) v = normal(random);
    std::vector<double> outer(x.begin(), x.begin() + before.numCol);
    for (int32_t k = 0; k < hub.numFreeVar; ++k) outer[hub.colPlus[k]] = x[hub.colPlus[k]] - x[hub.colMinus[k]];
    std::vector<double> rowOut(7, 0.0), rowIn(7, 0.0);
    for (int32_t j = 0; j < before.numCol; ++j)
      for (int32_t k = original.a.colBegin[j]; k < original.a.colBegin[j] + original.a.colLength[j]; ++k)
        rowOut[original.a.rowIndex[k]] += original.a.matValue[k] * outer[j];
    for (int32_t j = 0; j < e.numCol; ++j)
      for (int32_t k = e.colBegin[j]; k < e.colBegin[j] + e.colLength[j]; ++k)
        rowIn[e.rowIndex[k]] += e.matValue[k] * x[j];
    for (int32_t i = 0, slack = 0; i < 7; ++i) {
      const double out = rowOut[i] - original.a.rhs[i];
      const double in = rowIn[i] - e.rhs[i];
      switch (original.a.rowSense[i]) {
        case 'L':
          EXPECT_NEAR(in, -out, 1e-12);
          break;
        case 'R':
          EXPECT_NEAR(in, out + x[hub.numColSaved + slack++], 1e-12);
          break;
        default:
          EXPECT_NEAR(in, out, 1e-12);
          break;
      }
    }
    release();
  }
}

TEST_F(StandardForm, SplitAndMergeGiveTheMatrixBackWithTheLargestBounds) {
  TestModel m("EE", {1, 2}, {}, {{3, -kInf, kInf, {{0, 2}, {1, -4}}}, {1, 0, 5, {{1, 1}}}, {-2, -1e25, 1e21, {}}});
  count(m);
  ASSERT_EQ(hub.numFreeVar, 2);
  ASSERT_EQ(hub.numFreeElement, 2);
  const qztest::ModelArrays before = m.a;
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  ASSERT_EQ(splitFreeVar(&env, &m.model, &hub), 0);
  EXPECT_EQ(hub.colPlus[0], 0);
  EXPECT_EQ(hub.colPlus[1], 2);
  EXPECT_EQ(hub.colMinus[0], 3);
  EXPECT_EQ(hub.colMinus[1], 4);
  EXPECT_EQ(m.a.colLength, (std::vector<int32_t>{2, 1, 0, 2, 0}))
      << "a free column without elements gets a partner too";
  EXPECT_EQ(m.a.rowIndex, (std::vector<int32_t>{0, 1, 1, 0, 1}));
  EXPECT_EQ(m.a.matValue, (std::vector<double>{2, -4, 1, -2, 4}));
  EXPECT_EQ(m.a.colBegin, (std::vector<int32_t>{0, 2, 3, 3, 5, 5}));
  EXPECT_EQ(m.a.obj, (std::vector<double>{3, 1, -2, -3, 2}));
  EXPECT_EQ(m.model.numCol, 5);
  EXPECT_EQ(m.model.numCoef, 5);
  for (int j = 0; j < 5; ++j) {
    solution->primal[j] = j + 1.0;
    solution->lowerSlack[j] = solution->upperSlack[j] = solution->lowerDual[j] = solution->upperDual[j] = 9.0;
  }
  ASSERT_EQ(mergeFreeVar(&env, &m.model, &hub, solution), 0);
  EXPECT_EQ(m.model.numCol, 3);
  EXPECT_EQ(m.model.numCoef, 3);
  EXPECT_EQ(solution->primal[0], 1.0 - 4.0);
  EXPECT_EQ(solution->primal[2], 3.0 - 5.0);
  EXPECT_EQ(solution->primal[1], 2.0);
  for (int j : {0, 2}) {
    EXPECT_EQ(m.a.lower[j], -kLargest);
    EXPECT_EQ(m.a.upper[j], kLargest);
    EXPECT_EQ(solution->lowerSlack[j], 0.0);
    EXPECT_EQ(solution->upperSlack[j], 0.0);
    EXPECT_EQ(solution->lowerDual[j], 0.0);
    EXPECT_EQ(solution->upperDual[j], 0.0);
  }
  EXPECT_EQ(solution->lowerDual[1], 9.0);
  ASSERT_EQ(removeSlack(&env, &m.model, &hub, solution), 0);
  EXPECT_TRUE(std::equal(before.matValue.begin(), before.matValue.begin() + 3, m.a.matValue.begin()));
  release();
}

TEST_F(StandardForm, QuadraticArraysAreNotReadForASplitColumn) {
  TestModel m("E", {1}, {}, {{3, -kInf, kInf, {{0, 2}}}});
  count(m);
  m.model.typeModel = IPM_MODEL_QP;  // with null quadratic arrays
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  ASSERT_EQ(splitFreeVar(&env, &m.model, &hub), 0);
  release();
}

TEST_F(StandardForm, BoundOfExactlyTheInfinityCountsAsFreeButDoesNotSplit) {
  for (int side = 0; side < 2; ++side) {
    host.messages.clear();
    TestModel m("E", {1}, {}, {{3, side == 0 ? -1e20 : -kInf, side == 0 ? kInf : 1e20, {{0, 2}}}});
    count(m);
    ASSERT_EQ(hub.numFreeVar, 1);
    ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
    EXPECT_EQ(splitFreeVar(&env, &m.model, &hub), 10);
    EXPECT_EQ(hub.colPlus, nullptr);
    EXPECT_EQ(hub.colMinus, nullptr);
    expectOneMessage("splitFreeVar: Input model with numFreeVar=%d, however real number of free var is %d");
    release();
  }
}

TEST_F(StandardForm, WrongCountsAreFailures) {
  const std::string rangeText = "Input model with numRange=%d, however real number of range constraint is %d";
  const std::string lessText = "Input model with numLcont=%d, however real number of L constraint is %d";
  const std::string elementText =
      "splitFreeVar: Input model with numFreeElement=%d, however real number of free var is %d";
  for (int32_t change : {-1, 1}) {
    TestModel m("RRLL", {1, 2, 3, 4}, {1, 1, 0, 0}, {{3, -kInf, kInf, {{0, 2}}}, {3, -kInf, kInf, {{2, 2}}}});
    count(m);
    hub.numRange += change;
    host.messages.clear();
    EXPECT_EQ(addSlack(&env, &m.model, &hub), 10);
    expectOneMessage(rangeText);
    hub.numRange -= change;
    hub.numLcont += change;
    host.messages.clear();
    EXPECT_EQ(addSlack(&env, &m.model, &hub), 10);
    expectOneMessage(lessText);
    EXPECT_EQ(hub.rangeRowList, nullptr);
    EXPECT_EQ(hub.lcontRowList, nullptr);
    release();
  }
  for (int32_t change : {-1, 1}) {
    TestModel m("E", {1}, {}, {{3, -kInf, kInf, {{0, 2}}}});
    count(m);
    ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
    hub.numFreeElement += change;
    host.messages.clear();
    EXPECT_EQ(splitFreeVar(&env, &m.model, &hub), 10);
    expectOneMessage(elementText);
    EXPECT_EQ(hub.colPlus, nullptr);
    release();
  }
}

TEST_F(StandardForm, FailedAllocationsLeaveNothingBehind) {
  for (int64_t k = 1;; ++k) {
    TestModel m("RL", {1, 2}, {1, 0}, {{3, -kInf, kInf, {{0, 2}}}});
    count(m);
    host.messages.clear();
    host.failAllocation(k);
    int32_t status = addSlack(&env, &m.model, &hub);
    if (status == 0) status = splitFreeVar(&env, &m.model, &hub);
    host.failAllocation(0);
    EXPECT_TRUE(host.messages.empty());
    release();
    if (status == 0) {
      EXPECT_EQ(k, 5) << "two lists of rows and two of columns";
      break;
    }
    EXPECT_EQ(status, -1086);
  }
}

TEST_F(StandardForm, KeptDirectionFollowsTheSlacks) {
  TestModel m("LRG", {1, 2, 3}, {0, 4, 0}, {{1, 0, kInf, {{0, 1}, {1, 1}, {2, 1}}}});
  count(m);
  ASSERT_EQ(addSlack(&env, &m.model, &hub), 0);
  std::vector<double> primal = {0.5, 0.25}, dual = {1, 2, 3}, slack = {7, 8, 9};
  KeptSolution kept{};
  kept.primalDelta = primal.data();
  kept.dualDelta = dual.data();
  kept.ineqnSlackDelta = slack.data();
  hub.keptSolution = &kept;
  ASSERT_EQ(removeSlack(&env, &m.model, &hub, solution), 0);
  EXPECT_EQ(dual, (std::vector<double>{-1, 2, 3}));
  EXPECT_EQ(slack, (std::vector<double>{7, 0.25, 9}));
  hub.keptSolution = nullptr;
  release();
}

TEST_F(StandardForm, LostSlacksComeFromThePoint) {
  TestModel m("E", {1}, {}, {{0, 1, 9, {{0, 1}}}, {0, 1, 9, {}}, {0, 1, 9, {}}, {0, -kInf, kInf, {}}, {0, 1, 9, {}}});
  count(m);
  std::vector<double> altLower = {-kLargest, 1, -1e20, -kInf, -kInf};
  std::vector<double> altUpper = {9, kLargest, 1e20, kInf, kInf};
  hub.altLower = altLower.data();
  hub.altUpper = altUpper.data();
  for (int j = 0; j < 5; ++j) solution->primal[j] = 4.0;
  ASSERT_EQ(getLostSlack(&env, &m.model, &option, &hub, solution), 0);
  EXPECT_EQ(std::vector<double>(solution->lowerSlack, solution->lowerSlack + 5), (std::vector<double>{3, 0, 0, 0, 3}));
  EXPECT_EQ(std::vector<double>(solution->upperSlack, solution->upperSlack + 5), (std::vector<double>{0, 5, 0, 0, 5}))
      << "a relaxed bound of exactly the infinity does not count";
  for (int j = 0; j < 5; ++j) {
    EXPECT_EQ(solution->lowerDual[j], 0.0);
    EXPECT_EQ(solution->upperDual[j], 0.0);
  }
  hub.altLower = hub.altUpper = nullptr;
  release();
}

}  // namespace
