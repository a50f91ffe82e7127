// The steps of a crossover one by one: what each of them promises.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "dual_push.h"
#include "primal_push.h"
#include "qzsimpx/interior_record.h"
#include "starting_basis.h"
#include "support/test_host.h"

namespace {

using namespace qzsimpx;
using qztest::crossoverCase;
using qztest::InteriorRecord;

constexpr int kNumCase = 60;

struct Steps {
  Steps(qztest::TestHost& host, int number, double noise = 1e-8)
      : known(crossoverCase(number)),
        data(known.program, known.primal, known.dual, noise, 77),
        program(host.pool(), data.record),
        point(host.pool(), program),
        factor(host.pool(), program) {
    settings.timeType = 1;
    settings.iterLimit = 0x7fffffff;
    limits.timeLimit = 1e6;
    readInterior(program, point);
  }
  Limits newLimits() { return Limits(QzPresolveHandle{&settings, &limits}, data.record); }

  // Violation of the equations of the program.
  double residual() const {
    double worst = 0.0;
    for (int32_t i = 0; i < program.numRow; ++i) {
      double sum = 0.0;
      program.forRow(i, [&](int32_t j, double value) { sum += value * point.x[j]; });
      worst = std::max(worst, std::fabs(sum));
    }
    return worst;
  }
  double boundViolation() const {
    double worst = 0.0;
    for (int32_t j = 0; j < program.numVar; ++j)
      worst = std::max({worst, program.lower[j] - point.x[j], point.x[j] - program.upper[j]});
    return worst;
  }
  int32_t numBasic() const {
    int32_t count = 0;
    for (int32_t j = 0; j < program.numVar; ++j) count += point.isBasic(j) ? 1 : 0;
    return count;
  }
  int32_t numBetween() const {
    int32_t count = 0;
    for (int32_t j = 0; j < program.numVar; ++j)
      if (point.place[j] == Place::between && (program.hasLower(j) || program.hasUpper(j))) ++count;
    return count;
  }
  void expectSoundBasis() const {
    EXPECT_EQ(numBasic(), program.numRow);
    for (int32_t q = 0; q < program.numRow; ++q) {
      EXPECT_TRUE(point.isBasic(point.head[q]));
      EXPECT_EQ(point.position[point.head[q]], q);
    }
    for (int32_t j = 0; j < program.numVar; ++j) {
      if (point.place[j] == Place::lower) {
        EXPECT_EQ(point.x[j], program.lower[j]);
      }
      if (point.place[j] == Place::upper) {
        EXPECT_EQ(point.x[j], program.upper[j]);
      }
    }
  }

  models::KnownOptimum known;
  InteriorRecord data;
  Program program;
  Point point;
  BasisFactor factor;
  QzPresolveSettings settings{};
  QzPresolveLimits limits{};
};

TEST(Program, ActivitiesAreVariablesWithTheRowsSides) {
  qztest::TestHost host;
  models::LinearProgram lp;
  lp.addRow(1.0, 1.0);
  lp.addRow(-models::infinite, 5.0);
  lp.addRow(2.0, models::infinite);
  lp.addRow(-3.0, 4.0);
  lp.addColumn(7.0, 0.0, models::infinite);
  lp.addEntry(0, 2.0);
  lp.addEntry(3, -1.0);
  lp.addColumn(8.0, -models::infinite, 9.0);
  lp.addEntry(0, 3.0);
  const InteriorRecord data(lp, {0, 0}, {0, 0, 0, 0}, 0.0, 1);
  const Program p(host.pool(), data.record);
  EXPECT_EQ(p.numVar, 6);
  const double inf = models::infinite;
  const double lower[] = {0, -inf, 1, -inf, 2, -3}, upper[] = {inf, 9, 1, 5, inf, 4};
  for (int32_t j = 0; j < 6; ++j) {
    EXPECT_EQ(p.lower[j], lower[j]) << j;
    EXPECT_EQ(p.upper[j], upper[j]) << j;
  }
  std::vector<std::pair<int32_t, double>> row;
  p.forRow(0, [&](int32_t j, double value) { row.emplace_back(j, value); });
  EXPECT_EQ(row, (std::vector<std::pair<int32_t, double>>{{0, 2.0}, {1, 3.0}, {2, -1.0}}));
  const double y[] = {1, 10, 100, 1000};
  EXPECT_EQ(p.columnTimes(0, y), 2.0 - 1000.0);
  EXPECT_EQ(p.columnTimes(4, y), -100.0) << "so the reduced cost of an activity is its row's dual";
  EXPECT_TRUE(p.isFixed(2));
  EXPECT_FALSE(p.isFixed(5));
}

TEST(Pushes, OfEachComplementaryPairOneSideIsZero) {
  qztest::TestHost host;
  for (int number = 0; number < kNumCase; ++number) {
    SCOPED_TRACE(number);
    const Steps s(host, number);
    for (int32_t j = 0; j < s.program.numVar; ++j) {
      if (s.point.isInterior[j] != 0) {
        EXPECT_EQ(s.point.d[j], 0.0);
        EXPECT_EQ(s.point.place[j], Place::between);
      } else {
        EXPECT_EQ(slackOf(s.program, s.point, j), 0.0);
        EXPECT_NE(s.point.place[j], Place::between);
      }
    }
  }
}

TEST(Pushes, TheFirstBasisIsOneAndHoldsInteriorVariables) {
  qztest::TestHost host;
  int32_t inside = 0, rows = 0;
  for (int number = 0; number < kNumCase; ++number) {
    SCOPED_TRACE(number);
    Steps s(host, number);
    chooseStartingBasis(s.program, s.point, s.factor);
    s.expectSoundBasis();
    EXPECT_LE(s.residual(), 1e-9);
    for (int32_t j : s.point.head) inside += s.point.isInterior[j] != 0 ? 1 : 0;
    rows += s.program.numRow;
  }
  EXPECT_GT(inside, 0.8 * rows) << "the cases have interior variables enough for nearly every row";
}

TEST(Pushes, ThePrimalPushReachesAVertexOfTheFace) {
  qztest::TestHost host;
  int32_t numChange = 0;
  for (int number = 0; number < kNumCase; ++number) {
    SCOPED_TRACE(number);
    Steps s(host, number);
    chooseStartingBasis(s.program, s.point, s.factor);
    Limits limits = s.newLimits();
    ASSERT_EQ(pushPrimal(s.program, s.point, s.factor, limits), QZ_STATUS_OK);
    s.expectSoundBasis();
    EXPECT_EQ(s.numBetween(), 0);
    // What leaves the basis is set to its bound, which it misses by the accuracy of the interior point.
    EXPECT_LE(s.residual(), 1e-6);
    EXPECT_LE(s.boundViolation(), 1e-6);
    // Nothing with a price has left its bound.
    for (int32_t j = 0; j < s.program.numVar; ++j)
      if (s.point.d[j] != 0.0) {
        EXPECT_LE(slackOf(s.program, s.point, j), 1e-6);
      }
    double objective = 0.0;
    for (int32_t j = 0; j < s.program.numCol; ++j) objective += s.program.cost[j] * s.point.x[j];
    EXPECT_NEAR(objective + s.known.program.constant, s.known.objective, 1e-6 * (1.0 + std::fabs(s.known.objective)));
    numChange += limits.numChange();
  }
  EXPECT_GT(numChange, 0) << "some pushes are blocked";
}

TEST(Pushes, TheDualPushClearsTheReducedCostsOfTheBasis) {
  qztest::TestHost host;
  int32_t numChange = 0;
  for (int number = 0; number < kNumCase; ++number) {
    SCOPED_TRACE(number);
    Steps s(host, number);
    chooseStartingBasis(s.program, s.point, s.factor);
    Limits limits = s.newLimits();
    ASSERT_EQ(pushPrimal(s.program, s.point, s.factor, limits), QZ_STATUS_OK);
    const int32_t before = limits.numChange();
    const Array<double> x = s.point.x;
    ASSERT_EQ(pushDual(s.program, s.point, s.factor, limits), QZ_STATUS_OK);
    numChange += limits.numChange() - before;
    s.expectSoundBasis();
    for (int32_t j = 0; j < s.program.numVar; ++j) {
      EXPECT_NEAR(s.point.x[j], x[j], 1e-6) << "the primal point stays";
      const double d = s.point.d[j];
      if (s.point.isBasic(j)) {
        EXPECT_LE(std::fabs(d), 1e-9);
      }
      if (s.point.isBasic(j) || s.program.isFixed(j)) continue;
      if (s.point.place[j] == Place::lower) {
        EXPECT_GE(d, -1e-6);
      }
      if (s.point.place[j] == Place::upper) {
        EXPECT_LE(d, 1e-6);
      }
    }
  }
  EXPECT_GT(numChange, 0) << "some pushes are blocked";
}

TEST(Pushes, BothOrdersEndAtAnOptimalBasis) {
  qztest::TestHost host;
  for (int number = 0; number < kNumCase; ++number) {
    SCOPED_TRACE(number);
    Steps s(host, number);
    chooseStartingBasis(s.program, s.point, s.factor);
    Limits limits = s.newLimits();
    ASSERT_EQ(pushDual(s.program, s.point, s.factor, limits), QZ_STATUS_OK);
    ASSERT_EQ(pushPrimal(s.program, s.point, s.factor, limits), QZ_STATUS_OK);
    s.expectSoundBasis();
    EXPECT_EQ(s.numBetween(), 0);
    for (int32_t j : s.point.head) EXPECT_LE(std::fabs(s.point.d[j]), 1e-6);
    EXPECT_LE(s.boundViolation(), 1e-6);
  }
}

// x + y = 2 with both free: one of them is outside of the basis and stands at 0.
TEST(Pushes, AFreeVariableOutsideOfTheBasisGoesToZero) {
  qztest::TestHost host;
  models::LinearProgram lp;
  lp.addRow(2.0, 2.0);
  for (int j = 0; j < 2; ++j) {
    lp.addColumn(3.0, -models::infinite, models::infinite);
    lp.addEntry(0, 1.0);
  }
  InteriorRecord data(lp, {0.5, 1.5}, {3.0}, 0.0, 1);
  const Program program(host.pool(), data.record);
  Point point(host.pool(), program);
  BasisFactor factor(host.pool(), program);
  readInterior(program, point);
  chooseStartingBasis(program, point, factor);
  QzPresolveSettings settings{};
  settings.iterLimit = 100;
  QzPresolveLimits rest{};
  rest.timeLimit = 1e6;
  Limits limits(QzPresolveHandle{&settings, &rest}, data.record);
  ASSERT_EQ(pushPrimal(program, point, factor, limits), QZ_STATUS_OK);
  EXPECT_EQ(limits.numChange(), 0);
  const int32_t in = point.isBasic(0) ? 0 : 1;
  EXPECT_DOUBLE_EQ(point.x[in], 2.0);
  EXPECT_EQ(point.x[1 - in], 0.0);
  EXPECT_EQ(point.place[1 - in], Place::between);
}

// The face of min x + y on x + y >= 1 is an edge; its middle goes to an end of it.
TEST(Pushes, APointInsideOfAnEdgeGoesToOneOfItsEnds) {
  qztest::TestHost host;
  models::LinearProgram lp;
  lp.addRow(1.0, models::infinite);
  for (int j = 0; j < 2; ++j) {
    lp.addColumn(1.0, 0.0, models::infinite);
    lp.addEntry(0, 1.0);
  }
  InteriorRecord data(lp, {0.3, 0.7}, {1.0}, 0.0, 1);
  const Program program(host.pool(), data.record);
  Point point(host.pool(), program);
  BasisFactor factor(host.pool(), program);
  readInterior(program, point);
  chooseStartingBasis(program, point, factor);
  EXPECT_TRUE(point.isBasic(1)) << "the farther one from its bound";
  QzPresolveSettings settings{};
  settings.iterLimit = 100;
  QzPresolveLimits rest{};
  rest.timeLimit = 1e6;
  Limits limits(QzPresolveHandle{&settings, &rest}, data.record);
  ASSERT_EQ(pushPrimal(program, point, factor, limits), QZ_STATUS_OK);
  EXPECT_EQ(point.x[0], 0.0);
  EXPECT_DOUBLE_EQ(point.x[1], 1.0);
  EXPECT_EQ(limits.numChange(), 0);
}

}  // namespace
