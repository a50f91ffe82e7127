#include "shell/remeasure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "shell/lp_data.h"
#include "shell/recording_log.h"

namespace {

using qz::remeasureAnswer;
using qztest::LpColumn;
using qztest::LpData;

constexpr double kInf = 1e30;
using Real = long double;

// The measures written down from their definitions: a dense model, each kind of row and column as a list of one-sided
// conditions, in long double.
struct Oracle {
  Real primalInfeas = 0, boundInfeas = 0, dualInfeas = 0, gap = 0, objValue = 0, comp = 0;
  std::vector<Real> reduced, activity;

  // `hessian`: the whole symmetric Q, or empty.
  Oracle(const LpRecord& r, const std::vector<std::vector<double>>& hessian, Real tolPrimal, Real tolDual) {
    const auto nRow = static_cast<size_t>(r.numRow), nCol = static_cast<size_t>(r.numCol);
    std::vector<std::vector<Real>> a(nRow, std::vector<Real>(nCol, 0));
    for (size_t j = 0; j < nCol; ++j)
      for (int32_t k = 0; k < r.colLength[j]; ++k) a[r.rowIndex[r.colBegin[j] + k]][j] = r.matValue[r.colBegin[j] + k];
    activity.assign(nRow, 0);
    reduced.assign(nCol, 0);
    for (size_t i = 0; i < nRow; ++i)
      for (size_t j = 0; j < nCol; ++j) activity[i] += a[i][j] * r.solPrimal[j];
    for (size_t j = 0; j < nCol; ++j) {
      reduced[j] = r.obj[j];
      for (size_t i = 0; i < hessian.size(); ++i) reduced[j] += static_cast<Real>(hessian[i][j]) * r.solPrimal[i];
      for (size_t i = 0; i < nRow; ++i) reduced[j] -= a[i][j] * r.solDual[i];
    }
    const Real large = std::max(tolPrimal, tolDual);
    const auto pair = [&](Real residual, Real dual) {
      const Real p = std::fabs(residual), q = std::fabs(dual), lo = std::min(p, q), hi = std::max(p, q);
      return lo >= 1e-6L * hi || lo >= large ? p * q : 0;
    };
    Real rhsNorm = 0, objNorm = 0, lowNorm = 0, upNorm = 0, rowRes = 0, boundRes = 0, dualRes = 0;
    Real primal = 0, dualObjective = 0;
    for (size_t i = 0; i < nRow; ++i) {
      if (std::fabs(r.rhs[i]) >= 1e20) continue;
      Real b = r.rhs[i];
      const Real y = r.solDual[i];
      char sense = r.rowSense[i];
      if (sense >= 'a') sense = static_cast<char>(sense - 32);
      if (sense == 'R') {
        const Real w = r.range == nullptr ? 0 : r.range[i];
        sense = activity[i] >= b - w / 2 ? 'L' : 'G';
        if (sense == 'G') b -= w;
      }
      if (sense != 'E' && sense != 'L' && sense != 'G') continue;
      const Real residual = b - activity[i];
      dualObjective += y * b;
      rhsNorm += b * b;
      if (sense == 'E' || (sense == 'L' && residual < 0) || (sense == 'G' && residual > 0))
        rowRes += residual * residual;
      if (sense != 'E') comp += pair(residual, y);
    }
    for (size_t j = 0; j < nCol; ++j) {
      const Real c = r.obj[j], x = r.solPrimal[j], l = r.lower[j], u = r.upper[j];
      // Sign tests look at the minimisation of objSense * obj.
      const Real d = r.objSense > 0 ? reduced[j] : -reduced[j];
      if (std::fabs(c) < 1e20L) {
        primal += c * x;
        objNorm += c * c;
      }
      const bool low = l > -1e20L, up = u < 1e20L;
      if (low && up && u <= static_cast<Real>(r.lower[j] + 1e-12)) {
        dualObjective += reduced[j] * l;
        continue;
      }
      if (!low && !up) {
        dualRes += d * d;
        continue;
      }
      if (low) lowNorm += l * l;
      if (up) upNorm += u * u;
      const bool lowerSide = low && (!up || x <= l + (u - l) / 2);
      const Real residual = lowerSide ? x - l : u - x;
      const Real bound = lowerSide ? l : u;
      const Real wrong = lowerSide ? std::min<Real>(d, 0) : std::max<Real>(d, 0);
      dualObjective += reduced[j] * bound;
      boundRes += residual < 0 ? residual * residual : 0;
      dualRes += wrong * wrong;
      comp += pair(residual, d);
    }
    Real half = 0;
    for (size_t i = 0; i < hessian.size(); ++i)
      for (size_t j = 0; j < hessian.size(); ++j)
        half += static_cast<Real>(hessian[i][j]) * r.solPrimal[i] * r.solPrimal[j] / 2;
    primal += half;
    dualObjective -= half;
    primalInfeas = std::sqrt(rowRes) / (1 + std::sqrt(rhsNorm));
    boundInfeas = std::sqrt(boundRes) / (1 + std::sqrt(lowNorm) + std::sqrt(upNorm));
    dualInfeas = std::sqrt(dualRes) / (1 + std::sqrt(objNorm));
    gap = std::fabs(primal - dualObjective) / (1 + std::fabs(primal));
    objValue = primal + r.objConstant;
    comp = std::min<Real>(comp, r.complementarity);
  }
};

void expectClose(double value, Real expected, const char* what) {
  EXPECT_NEAR(value, static_cast<double>(expected), 1e-11 * (1.0 + std::fabs(static_cast<double>(expected)))) << what;
}

LpData randomLp(std::mt19937& random) {
  std::normal_distribution<double> normal(0.0, 3.0);
  const auto numRow = static_cast<int32_t>(random() % 12), numCol = static_cast<int32_t>(random() % 15);
  std::string senses;
  std::vector<double> rhs, range;
  for (int32_t i = 0; i < numRow; ++i) {
    senses.push_back("ELGRelgr"[random() % 8]);
    rhs.push_back(random() % 10 == 0 ? (random() % 2 == 0 ? 1e20 : -kInf) : normal(random));
    range.push_back(std::fabs(normal(random)));
  }
  if (random() % 4 == 0) range.clear();
  std::vector<LpColumn> columns;
  for (int32_t j = 0; j < numCol; ++j) {
    LpColumn column{random() % 12 == 0 ? 1e20 : normal(random), 0.0, kInf, {}};
    const double low = normal(random);
    switch (random() % 6) {
      case 0:
        column.lower = -1e20;
        break;
      case 1:
        column = {column.cost, low, low + std::fabs(normal(random)), {}};
        break;
      case 2:
        column = {column.cost, -kInf, low, {}};
        break;
      case 3:
        column = {column.cost, low, kInf, {}};
        break;
      case 4:
        column = {column.cost, low, low, {}};
        break;
      default:
        break;
    }
    for (int32_t i = 0; i < numRow; ++i)
      if (random() % 3 == 0) column.elements.emplace_back(i, normal(random));
    columns.push_back(column);
  }
  LpData data(random() % 2 == 0 ? 1 : -1, senses, rhs, range, columns);
  // Points near bounds and duals near zero too, so that pairs fall on both sides of the separation test.
  for (double& x : data.solPrimal) x = normal(random) * (random() % 3 == 0 ? 1e-7 : 1.0);
  for (int32_t j = 0; j < numCol; ++j)
    if (random() % 2 == 0 && std::fabs(data.lower[j]) < 1e20) data.solPrimal[j] += data.lower[j];
  for (double& y : data.solDual) y = random() % 3 == 0 ? 0.0 : normal(random) * (random() % 3 == 0 ? 1e-8 : 1.0);
  data.record.objConstant = normal(random);
  data.record.complementarity = random() % 2 == 0 ? 1e300 : 0.5;
  return data;
}

// A random symmetric Q in both forms.
struct RandomQ {
  std::vector<std::vector<double>> dense;
  std::vector<double> diag, value;
  std::vector<int32_t> begin, length, row;

  RandomQ(std::mt19937& random, size_t n) : dense(n, std::vector<double>(n, 0.0)) {
    std::normal_distribution<double> normal(0.0, 3.0);
    for (size_t j = 0; j < n; ++j) {
      begin.push_back(static_cast<int32_t>(row.size()));
      diag.push_back(dense[j][j] = random() % 3 == 0 ? 0.0 : normal(random));
      for (size_t i = j + 1; i < n; ++i) {
        if (random() % 4 != 0) continue;
        dense[i][j] = dense[j][i] = normal(random);
        row.push_back(static_cast<int32_t>(i));
        value.push_back(dense[i][j]);
      }
      length.push_back(static_cast<int32_t>(row.size()) - begin.back());
    }
  }
  [[nodiscard]] qz::QuadraticTerm term() const {
    return {diag.data(), begin.data(), length.data(), row.data(), value.data()};
  }
};

void compareRandomModels(bool quadratic) {
  qztest::RecordingLog log;
  for (uint32_t seed = 1; seed <= 2000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    LpData data = randomLp(random);
    const RandomQ q(random, quadratic ? static_cast<size_t>(data.record.numCol) : 0);
    const qz::QuadraticTerm term = q.term();
    const double tolPrimal = seed % 2 == 0 ? 1e-6 : 1e-2, tolDual = seed % 3 == 0 ? 1e-3 : 1e-8;
    const Oracle oracle(data.record, q.dense, tolPrimal, tolDual);
    ASSERT_TRUE(remeasureAnswer(log.log(), &data.record, quadratic ? &term : nullptr, tolPrimal, tolDual));
    expectClose(data.record.primalInfeas, oracle.primalInfeas, "primal");
    expectClose(data.record.boundInfeas, oracle.boundInfeas, "bound");
    expectClose(data.record.dualInfeas, oracle.dualInfeas, "dual");
    expectClose(data.record.dualityGap, oracle.gap, "gap");
    expectClose(data.record.objValue, oracle.objValue, "objective");
    expectClose(data.record.complementarity, oracle.comp, "complementarity");
    for (size_t i = 0; i < oracle.activity.size(); ++i)
      expectClose(data.rowActivity[i], oracle.activity[i], "activity");
    for (size_t j = 0; j < oracle.reduced.size(); ++j) expectClose(data.reducedCost[j], oracle.reduced[j], "reduced");
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_TRUE(log.sent.empty());
}

TEST(Remeasure, AgreesWithTheDefinitionsOnRandomModels) {
  compareRandomModels(false);
}

TEST(Remeasure, AgreesWithTheDefinitionsOnRandomQuadraticModels) {
  compareRandomModels(true);
}

// min x0^2 + 2 x1^2 + 3 x2^2 on x0 + x1 + x2 = 11: (6, 3, 2), multiplier 12.
TEST(Remeasure, QuadraticOptimumHasNoGap) {
  LpData data(1, "E", {11}, {}, {{0, 0, kInf, {{0, 1}}}, {0, 0, kInf, {{0, 1}}}, {0, 0, kInf, {{0, 1}}}});
  const std::vector<double> diag{2, 4, 6};
  const qz::QuadraticTerm term{diag.data(), nullptr, nullptr, nullptr, nullptr};
  data.solPrimal = {6, 3, 2};
  data.solDual = {12};
  data.point();
  data.record.complementarity = 1.0;
  ASSERT_TRUE(remeasureAnswer(nullptr, &data.record, &term, 1e-6, 1e-6));
  EXPECT_EQ(data.record.objValue, 66.0);
  EXPECT_EQ(data.record.dualityGap, 0.0);
  EXPECT_EQ(data.record.dualInfeas, 0.0);
  EXPECT_EQ(data.reducedCost, (std::vector<double>{0, 0, 0}));
}

// The verdict over an answer, and what it says.
TEST(Remeasure, AnAnswerIsJudgedByItsMeasures) {
  LpRecord record{};
  qz::IpmOption option{};
  option.tolPrimal = 1e-6;
  option.tolDual = 1e-4;
  option.tolOptimality = 1e-5;
  qztest::RecordingLog log;
  EXPECT_EQ(qz::judgeAnswer(log.log(), &record, &option), QZ_STATUS_OPTIMAL);
  record.dualityGap = 1.0;  // the complementarity is met
  EXPECT_EQ(qz::judgeAnswer(log.log(), &record, &option), QZ_STATUS_NEAR_OPTIMAL);
  EXPECT_TRUE(log.sent.empty());
  record.complementarity = 1.0;
  record.primalInfeas = 0.9e-5;  // above the tolerance, but not ten times
  record.boundInfeas = 1.1e-5;
  record.dualInfeas = 1.1e-3;
  EXPECT_EQ(qz::judgeAnswer(log.log(), &record, &option), QZ_STATUS_FAILED);
  ASSERT_EQ(log.sent.size(), 2U);
  EXPECT_EQ(log.sent[0].code, QZ_MSG_CHECK_BOUND);
  EXPECT_EQ(log.sent[1].code, QZ_MSG_CHECK_DUAL);
}

// max 3 x0 + x1, x0 + x1 <= 4, 0 <= x0 <= 3, 1 <= x1: optimum (3, 1), objective 10, y = 1, reduced costs (2, 0).
TEST(Remeasure, OptimalMaximisationHasNoGap) {
  LpData data(-1, "L", {4}, {}, {{3, 0, 3, {{0, 1}}}, {1, 1, kInf, {{0, 1}}}});
  data.solPrimal = {3, 1};
  data.solDual = {1};
  data.point();
  data.record.objConstant = 0.5;
  data.record.complementarity = 1.0;
  ASSERT_TRUE(remeasureAnswer(nullptr, &data.record, nullptr, 1e-6, 1e-6));
  EXPECT_EQ(data.record.dualityGap, 0.0);
  EXPECT_EQ(data.record.dualInfeas, 0.0);
  EXPECT_EQ(data.record.primalInfeas, 0.0);
  EXPECT_EQ(data.record.boundInfeas, 0.0);
  EXPECT_EQ(data.record.complementarity, 0.0);
  EXPECT_EQ(data.record.objValue, 10.5);
  data.record.objSense = 1;
  ASSERT_TRUE(remeasureAnswer(nullptr, &data.record, nullptr, 1e-6, 1e-6));
  EXPECT_DOUBLE_EQ(data.record.dualInfeas, 2.0 / (std::sqrt(10.0) + 1.0)) << "not optimal for the minimisation";
}

TEST(Remeasure, RowWithInfiniteRightHandSideTakesNoPart) {
  for (double infinite : {1e20, -1e20, kInf, -kInf}) {
    LpData data(1, "EL", {infinite, infinite}, {}, {{0, 0, kInf, {{0, 1}, {1, 1}}}});
    data.solPrimal = {5};
    data.solDual = {7, 7};
    data.point();
    data.obj[0] = 14.0;
    data.record.complementarity = 1e300;
    ASSERT_TRUE(remeasureAnswer(nullptr, &data.record, nullptr, 1e-6, 1e-6));
    EXPECT_EQ(data.record.primalInfeas, 0.0);
    EXPECT_EQ(data.record.dualityGap, 70.0 / 71.0) << "the dual objective got nothing";
    EXPECT_EQ(data.rowActivity, (std::vector<double>{5, 5}));
  }
}

TEST(Remeasure, FixedColumnAddsOnlyToTheDualObjective) {
  for (double width : {0.0, 1e-12}) {
    LpData data(1, "", {}, {}, {{-4, 2, 2 + width, {}}});
    data.solPrimal = {99};  // far from its bound
    data.point();
    data.record.complementarity = 7.0;
    ASSERT_TRUE(remeasureAnswer(nullptr, &data.record, nullptr, 1e-6, 1e-6));
    EXPECT_EQ(data.record.boundInfeas, 0.0);
    EXPECT_EQ(data.record.dualInfeas, 0.0);
    EXPECT_EQ(data.record.complementarity, 0.0);
    EXPECT_EQ(data.record.dualityGap, std::fabs(-4 * 99.0 + 4 * 2.0) / (4 * 99.0 + 1)) << "cost and norm count before";
  }
  LpData open(1, "", {}, {}, {{-4, 2, 2 + 1e-9, {}}});
  open.solPrimal = {99};
  open.point();
  ASSERT_TRUE(remeasureAnswer(nullptr, &open.record, nullptr, 1e-6, 1e-6));
  EXPECT_GT(open.record.boundInfeas, 1.0) << "a wider box is not fixed";
}

TEST(Remeasure, RangeRowAtItsMiddleCountsAsTheUpperSide) {
  const auto gapAt = [](double activity) {
    LpData data(1, "R", {10}, {4}, {{0, -kInf, kInf, {{0, 1}}}});
    data.solPrimal = {activity};
    data.solDual = {1.5};
    data.point();
    EXPECT_TRUE(remeasureAnswer(nullptr, &data.record, nullptr, 1e-6, 1e-6));
    return data.record.dualityGap;  // |0 - y * side| / 1
  };
  EXPECT_EQ(gapAt(8.0), 15.0);
  EXPECT_EQ(gapAt(std::nextafter(8.0, 0.0)), 9.0);
}

TEST(Remeasure, RangeRowIsFeasibleWithinItsWidthOnly) {
  const auto residualAt = [](double activity) {
    LpData data(1, "R", {10}, {4}, {{0, -kInf, kInf, {{0, 1}}}});
    data.solPrimal = {activity};
    data.point();
    EXPECT_TRUE(remeasureAnswer(nullptr, &data.record, nullptr, 1e-6, 1e-6));
    return data.record.primalInfeas;
  };
  EXPECT_EQ(residualAt(10.0), 0.0);
  EXPECT_EQ(residualAt(6.0), 0.0);
  EXPECT_DOUBLE_EQ(residualAt(11.0), 1.0 / 11.0);
  EXPECT_DOUBLE_EQ(residualAt(5.0), 1.0 / 7.0);
}

TEST(Remeasure, LowerCaseSensesCountAndUnknownOnesAreNamed) {
  qztest::RecordingLog log;
  LpData data(1, "eNx", {1, 1, 1}, {}, {{0, -kInf, kInf, {{0, 1}, {1, 1}, {2, 1}}}});
  data.solPrimal = {3};
  data.point();
  ASSERT_TRUE(remeasureAnswer(log.log(), &data.record, nullptr, 1e-6, 1e-6));
  EXPECT_EQ(data.record.primalInfeas, 1.0) << "the residual 2 of the equation over 1 + 1";
  ASSERT_EQ(log.sent.size(), 2u);
  EXPECT_EQ(log.sent[0].level, 0);
  EXPECT_EQ(log.sent[0].text, "Unknown row sense(%d) = %c");
  EXPECT_EQ(log.sent[0].arguments, (std::vector<double>{1, 'N'}));
  EXPECT_EQ(log.sent[1].arguments, (std::vector<double>{2, 'x'}));
}

// One boxed column at distance `distance` from its lower bound with reduced cost d.
double complementarityOf(double distance, double d, double tolPrimal, double tolDual) {
  LpData data(1, "", {}, {}, {{d, 0, kInf, {}}});
  data.solPrimal = {distance};
  data.point();
  data.record.complementarity = 1e300;
  EXPECT_TRUE(remeasureAnswer(nullptr, &data.record, nullptr, tolPrimal, tolDual));
  return data.record.complementarity;
}

TEST(Remeasure, OnlyPairsThatHaveNotSeparatedCount) {
  EXPECT_EQ(complementarityOf(1.0, 1.01e-6, 1e-2, 1e-2), 1.01e-6) << "within the ratio";
  EXPECT_EQ(complementarityOf(1.0, 0.99e-6, 1e-2, 1e-2), 0.0) << "below ratio and tolerance";
  EXPECT_EQ(complementarityOf(1e9, 1e-2, 1e-2, 1e-8), 1e7) << "at the larger tolerance";
  EXPECT_EQ(complementarityOf(1e9, 1e-2, 1e-8, 1e-2), 1e7);
  EXPECT_EQ(complementarityOf(1e9, 0.99e-2, 1e-2, 1e-8), 0.0);
}

TEST(Remeasure, SmallerComplementarityStays) {
  LpData data(1, "", {}, {}, {{2, 0, kInf, {}}});
  data.solPrimal = {3};
  data.point();
  data.record.complementarity = 0.25;
  ASSERT_TRUE(remeasureAnswer(nullptr, &data.record, nullptr, 1e-6, 1e-6));
  EXPECT_EQ(data.record.complementarity, 0.25);
  data.record.complementarity = 8.0;
  ASSERT_TRUE(remeasureAnswer(nullptr, &data.record, nullptr, 1e-6, 1e-6));
  EXPECT_EQ(data.record.complementarity, 6.0);
}

TEST(Remeasure, MissingArraysLeaveTheRecordAlone) {
  LpData data(1, "E", {1}, {}, {{2, 0, kInf, {{0, 1}}}});
  for (double* LpRecord::*array :
       {&LpRecord::solPrimal, &LpRecord::solDual, &LpRecord::reducedCost, &LpRecord::rowActivity}) {
    LpRecord record = data.record;
    record.*array = nullptr;
    record.objValue = record.primalInfeas = 77.0;
    data.reducedCost[0] = 66.0;
    EXPECT_FALSE(remeasureAnswer(nullptr, &record, nullptr, 1e-6, 1e-6));
    EXPECT_EQ(record.objValue, 77.0);
    EXPECT_EQ(record.primalInfeas, 77.0);
    EXPECT_EQ(data.reducedCost[0], 66.0);
  }
  LpRecord rowless = data.record;
  rowless.numRow = rowless.numCoef = 0;
  data.colLength[0] = 0;
  rowless.solDual = rowless.rowActivity = nullptr;
  EXPECT_TRUE(remeasureAnswer(nullptr, &rowless, nullptr, 1e-6, 1e-6)) << "no rows need no row arrays";
}

TEST(Remeasure, GapsBetweenColumnsAreNotRead) {
  LpData data(1, "E", {1}, {}, {{2, 0, kInf, {{0, 1}}}, {3, 0, kInf, {{0, 4}}}});
  data.rowIndex = {-9, 0, -9, 0};
  data.matValue = {1e300, 1, 1e300, 4};
  data.colBegin = {1, 3};
  data.solPrimal = {1, 2};
  data.solDual = {0.5};
  data.point();
  ASSERT_TRUE(remeasureAnswer(nullptr, &data.record, nullptr, 1e-6, 1e-6));
  EXPECT_EQ(data.rowActivity[0], 9.0);
  EXPECT_EQ(data.reducedCost, (std::vector<double>{1.5, 1.0}));
}

}  // namespace
