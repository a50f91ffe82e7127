// The scaling stages of a model, with planted factors of the presolver module.
#include "transform/scaling.h"

#include <gtest/gtest.h>

#include <cmath>

#include "qzipsolve/presolve_module.h"
#include "shell/pool.h"
#include "transform/model_fixture.h"
#include "transform/row_scaling.h"
#include "transform/scaling_undo.h"
#include "transform/small_data.h"

namespace {

using namespace qz;
using qztest::kInf;
using qztest::TestModel;

// What the module finds: factors by row and column, a status, and what it saw.
struct Planted {
  std::vector<double> row, col;
  int32_t status = 0;
  int32_t direction = 0;
  std::vector<double> seenMatrix, seenObj, seenRhs;
} planted;

int32_t plantedScale(QzPresolveObject*, int32_t direction, int32_t numRow, int32_t numCol, int32_t numCoef,
                     int32_t* colBegin, double tolerance, int32_t* colLength, int32_t* rowIndex, double* matValue,
                     double* obj, double* lower, double* upper, double* rowScale, double* colScale, void*, void*,
                     double* rhs, char*, double* range, double*, double*, double*, double*) {
  planted.direction = direction;
  EXPECT_EQ(tolerance, 1e-6);
  planted.seenMatrix.assign(matValue, matValue + numCoef);
  planted.seenObj.assign(obj, obj + numCol);
  planted.seenRhs.assign(rhs, rhs + numRow);
  for (int32_t i = 0; i <= numRow; ++i) EXPECT_EQ(rowScale[i], 1.0);
  for (int32_t j = 0; j <= numCol; ++j) EXPECT_EQ(colScale[j], 1.0);
  if (planted.status != 0) return planted.status;
  for (size_t i = 0; i < planted.row.size(); ++i) rowScale[i] = planted.row[i];
  for (size_t j = 0; j < planted.col.size(); ++j) colScale[j] = planted.col[j];
  for (int32_t j = 0; j < numCol; ++j) {
    obj[j] *= colScale[j] * rowScale[numRow];
    if (lower[j] > -1e20) lower[j] /= colScale[j];
    if (upper[j] < 1e20) upper[j] /= colScale[j];
    for (int32_t k = colBegin[j]; k < colBegin[j] + colLength[j]; ++k)
      matValue[k] *= rowScale[rowIndex[k]] * colScale[j];
  }
  for (int32_t i = 0; i < numRow; ++i) {
    rhs[i] *= rowScale[i];
    if (range != nullptr) range[i] *= rowScale[i];
  }
  return 0;
}

class Scaling : public ::testing::Test {
 protected:
  Scaling() {
    planted = Planted{};
    env.pool = host.pool();
    env.log = host.log();
    object.scale = plantedScale;
    env.presolveObject = &object;
  }
  ~Scaling() override {
    release();
    EXPECT_EQ(host.outstanding(), 0);
  }
  void release() {
    releaseFactors(&env, &hub);
    FreeHubSmall(&env, &hub);
  }
  int32_t scale(TestModel& m) {
    release();
    hub = Hub{};
    option.unscaleCheck = 0;
    return ipmScale(&env, &m.model, &option, &hub, nullptr);
  }
  qztest::TestHost host;
  QzPresolveObject object{};
  Env env{};
  IpmOption option = qztest::plainOption();
  Hub hub{};
};

// n columns of one element each in row 0.
TestModel wide(const std::vector<double>& elements, const std::vector<double>& costs, double rhs, double upper = kInf) {
  std::vector<qztest::ColumnSpec> columns;
  for (size_t j = 0; j < elements.size(); ++j) columns.push_back({costs[j], 0, upper, {{0, elements[j]}}});
  return TestModel("E", {rhs}, {0}, columns);
}

TEST_F(Scaling, AllFactorsOfOneLeaveNothingScaled) {
  TestModel m = wide({5, 5, 5, 5}, {5, 5, 5, 5}, 5);
  const qztest::ModelArrays before = m.a;
  ASSERT_EQ(scale(m), 0);
  EXPECT_EQ(planted.direction, 1);
  EXPECT_EQ(hub.scaleState, 0);
  EXPECT_EQ(hub.objScale, 1.0);
  EXPECT_EQ(hub.rowScale, nullptr);
  EXPECT_EQ(hub.colScale, nullptr);
  EXPECT_EQ(m.a, before);
  EXPECT_EQ(option.unscaleCheck, 0);
}

TEST_F(Scaling, ObjectiveFactorAloneIsStateOne) {
  planted.row = {1.0, 0.25};
  TestModel m = wide({5, 5, 5, 5}, {5, 5, 5, 5}, 5);
  ASSERT_EQ(scale(m), 0);
  EXPECT_EQ(hub.scaleState, 1);
  EXPECT_EQ(hub.objScale, 0.25);
  EXPECT_EQ(hub.rowScale, nullptr);
  EXPECT_EQ(m.a.obj[0], 1.25);
}

TEST_F(Scaling, FactorsStayWhileOneOfThemIsNotOne) {
  planted.row = {1.0, 2.0};
  planted.col = {1.0, 1.0, 4.0, 1.0};
  TestModel m = wide({5, 5, 5, 5}, {5, 5, 5, 5}, 5);
  ASSERT_EQ(scale(m), 0);
  EXPECT_EQ(hub.scaleState, 2);
  EXPECT_EQ(hub.rowScale[1], 2.0);
  EXPECT_EQ(hub.colScale[2], 4.0);
}

TEST_F(Scaling, ObjectiveIsBalancedBeyondAHundredfoldInAllQuartiles) {
  TestModel m = wide({5, 5, 5, 5}, {5e3, 5e3, 5e3, 5e3}, 5);
  ASSERT_EQ(scale(m), 0);
  EXPECT_DOUBLE_EQ(hub.objScale, 1e-3);
  EXPECT_DOUBLE_EQ(m.a.obj[1], 5.0);
  EXPECT_EQ(hub.scaleState, 1);
  TestModel near = wide({5, 5, 5, 5}, {5e2, 5e2, 5e2, 5e2}, 5);
  ASSERT_EQ(scale(near), 0);
  EXPECT_EQ(hub.objScale, 1.0) << "exactly a hundred times";
  TestModel mixed = wide({5, 5, 5, 5}, {5, 5, 5e3, 5e3}, 5);
  ASSERT_EQ(scale(mixed), 0);
  EXPECT_EQ(hub.objScale, 1.0) << "one quartile is near";
}

TEST_F(Scaling, BalanceFoldsIntoTheObjectiveRowAndIsClamped) {
  planted.row = {2.0, 0.5};
  TestModel m = wide({5, 5, 5, 5}, {5e9, 5e9, 5e9, 5e9}, 5);
  ASSERT_EQ(scale(m), 0);
  EXPECT_EQ(hub.objScale, 0.5e-6);
  EXPECT_EQ(hub.rowScale[1], 0.5e-6);
  EXPECT_DOUBLE_EQ(m.a.obj[0], 2.5e3);
}

TEST_F(Scaling, MedianCostOfAMillionthIsLeftAlone) {
  // All costs in the decade up to 1e-6: the median is inside it, so at most 1e-6.
  TestModel m = wide({5, 5, 5, 5}, {5e-7, 5e-7, 5e-7, 5e-7}, 5);
  planted.row = {1.0, 1.0};
  ASSERT_EQ(scale(m), 0);
  EXPECT_EQ(hub.objScale, 1.0);
}

TEST_F(Scaling, OutliersAreHiddenFromTheFactorsAndComeBackUnderThem) {
  std::vector<double> elements(100, 5.0), costs(100, 5.0);
  elements[7] = 5e9;
  costs[9] = -5e9;
  TestModel m = wide(elements, costs, 5e10);
  planted.row = {2.0, 4.0};
  planted.col.assign(101, 8.0);
  ASSERT_EQ(scale(m), 0);
  const double median = 1.0 + 50 * 9.0 / 99;  // of the matrix
  EXPECT_DOUBLE_EQ(planted.seenMatrix[7], median);
  EXPECT_DOUBLE_EQ(planted.seenObj[9], median);
  EXPECT_DOUBLE_EQ(planted.seenRhs[0], median);
  EXPECT_EQ(m.a.matValue[7], 5e9 * 8 * 2);
  EXPECT_EQ(m.a.obj[9], -5e9 * 8 * 4);
  EXPECT_EQ(m.a.rhs[0], 5e10 * 2);
  EXPECT_EQ(m.a.matValue[8], 80.0);
}

TEST_F(Scaling, OutliersComeBackOnEveryFailure) {
  std::vector<double> elements(100, 5.0), costs(100, 5.0);
  elements[7] = 5e9;
  const TestModel original = wide(elements, costs, 5);
  TestModel m = original;
  m.point();
  planted.status = 77;
  EXPECT_EQ(scale(m), 77);
  EXPECT_EQ(m.a, original.a);
  EXPECT_EQ(hub.rowScale, nullptr);
  planted.status = 0;
  env.presolveObject = nullptr;
  EXPECT_EQ(scale(m), 10);
  EXPECT_EQ(m.a, original.a);
  env.presolveObject = &object;
  for (int64_t k = 1; k <= 5; ++k) {
    host.failAllocation(k);
    EXPECT_EQ(scale(m), -1086) << k;
    host.failAllocation(0);
    EXPECT_EQ(m.a, original.a) << k;
  }
}

TEST_F(Scaling, OutliersThatDoNotAddUpAreAFailure) {
  // Stored zeros lie below the resting cutoff although the left end has no outliers: they hang together with the rest
  // and exceed the budget.
  std::vector<double> elements(100, 5.0), costs(100, 5.0);
  for (size_t j = 0; j < 20; ++j) elements[j] = std::pow(10.0, -static_cast<double>(j % 16)) * 0.5;
  for (size_t j = 20; j < 33; ++j) elements[j] = 0.0;
  elements[99] = 5e9;
  TestModel m = wide(elements, costs, 5);
  const qztest::ModelArrays before = m.a;
  EXPECT_EQ(scale(m), 10);
  EXPECT_TRUE(host.loggedText("Error ipmScale: numOutlier=%d should be %d"));
  EXPECT_EQ(m.a, before);
}

TEST_F(Scaling, AlternateBoundsFollowTheFinalColumnFactors) {
  planted.col = {2.0, 4.0};
  TestModel m("E", {5}, {0}, {{5, 0, 9, {{0, 5}}}, {5, -kInf, kInf, {{0, 5}}}});
  std::vector<double> lower = {1, -kInf}, upper = {8, 6};
  Hub h{};
  h.altLower = lower.data();
  h.altUpper = upper.data();
  ASSERT_EQ(ipmScale(&env, &m.model, &option, &h, nullptr), 0);
  EXPECT_EQ(lower, (std::vector<double>{0.5, -kInf}));
  EXPECT_EQ(upper, (std::vector<double>{4, 1.5}));
  releaseFactors(&env, &h);
}

TEST_F(Scaling, AlternateBoundsFollowTheLiftsToo) {
  TestModel m("E", {5}, {0}, {{4e-6, 0, kInf, {{0, 5}}}, {4e-6, 0, 1.2e-5, {{0, 5}}}, {5, 0, 9, {{0, 5}}}});
  std::vector<double> lower = {-5, -kInf, 1}, upper = {10, 2.4e-5, kInf};
  Hub h{};
  h.altLower = lower.data();
  h.altUpper = upper.data();
  ASSERT_EQ(ipmScale(&env, &m.model, &option, &h, nullptr), 0);
  ASSERT_DOUBLE_EQ(h.colScale[0], 2.5);
  EXPECT_DOUBLE_EQ(lower[0], -2.0);
  EXPECT_DOUBLE_EQ(upper[0], 4.0);
  EXPECT_EQ(lower[1], -kInf);
  EXPECT_DOUBLE_EQ(upper[1], 2e-5);
  EXPECT_EQ(lower[2], 1.0);
  EXPECT_EQ(upper[2], kInf);
  releaseFactors(&env, &h);
}

TEST_F(Scaling, FactorsMadeForALiftKeepTheObjectives) {
  planted.row = {1, 1, 0.25};
  TestModel m("EE", {4e-6, 5}, {0, 0}, {{5, 0, kInf, {{0, 5}, {1, 5}}}, {5, 0, kInf, {{0, 5}}}});
  ASSERT_EQ(scale(m), 0);
  EXPECT_EQ(hub.scaleState, 2);
  EXPECT_EQ(hub.objScale, 0.25);
  EXPECT_EQ(hub.rowScale[2], 0.25);
  EXPECT_DOUBLE_EQ(hub.rowScale[0], 2.5);
  EXPECT_EQ(m.a.obj[0], 1.25);
}

TEST_F(Scaling, SmallRightHandSidesAreLiftedOrTakenOut) {
  // T = 1e-5. The values around it reach no further: 4e-6 is lifted, 3e-9 is noise below the gap.
  TestModel m("ERGE", {4e-6, -3e-9, 5, -4e-6}, {0, 2, 0, 0},
              {{5, 0, kInf, {{0, 5}, {1, 5}, {2, 5}, {3, 5}}}, {5, 0, kInf, {{0, 5}}}});
  ASSERT_EQ(scale(m), 0);
  EXPECT_DOUBLE_EQ(m.a.rhs[0], 1e-5);
  EXPECT_EQ(m.a.rhs[1], 0.0);
  EXPECT_DOUBLE_EQ(m.a.rhs[3], -1e-5) << "the sign stays";
  EXPECT_EQ(m.a.rhs[2], 5.0);
  ASSERT_EQ(hub.numSmallRhs, 1);
  EXPECT_EQ(hub.smallRhsRow[0], 1);
  EXPECT_EQ(hub.smallRhsValue[0], -3e-9);
  EXPECT_EQ(hub.scaleState, 2) << "the factor arrays were made for the lift";
  EXPECT_DOUBLE_EQ(hub.rowScale[0], 2.5);
  EXPECT_EQ(hub.rowScale[1], 1.0);
  EXPECT_EQ(hub.rowScale[4], hub.objScale);
  EXPECT_DOUBLE_EQ(m.a.matValue[0], 12.5);
  EXPECT_EQ(m.a.matValue[1], 5.0);
  EXPECT_DOUBLE_EQ(m.a.matValue[4], 12.5);
  EXPECT_EQ(option.unscaleCheck, 1);
}

TEST_F(Scaling, LiftOfARangeRowLiftsItsRange) {
  TestModel m("RE", {4e-6, 5}, {2, 0}, {{5, 0, kInf, {{0, 5}, {1, 5}}}});
  ASSERT_EQ(scale(m), 0);
  EXPECT_DOUBLE_EQ(m.a.range[0], 5.0);
}

TEST_F(Scaling, NoiseAloneNeedsNoFactors) {
  TestModel m("EE", {3e-9, 5}, {0, 0}, {{5, 0, kInf, {{0, 5}, {1, 5}}}, {-3e-9, 0, kInf, {{0, 5}}}});
  ASSERT_EQ(scale(m), 0);
  EXPECT_EQ(hub.scaleState, 0);
  EXPECT_EQ(hub.rowScale, nullptr);
  EXPECT_EQ(hub.numSmallRhs, 1);
  ASSERT_EQ(hub.numSmallObj, 1);
  EXPECT_EQ(hub.smallObjCol[0], 1);
  EXPECT_EQ(hub.smallObjValue[0], -3e-9);
  EXPECT_EQ(m.a.obj[1], 0.0);
  EXPECT_EQ(option.unscaleCheck, 0);
}

TEST_F(Scaling, TinyBoxGetsItsFactorWhateverItsCost) {
  TestModel m("E", {5}, {0},
              {{5, 0, 1e-7, {{0, 5}}},
               {3e-9, 0, 1e-7, {{0, 5}}},
               {5, 2, 2, {{0, 5}}},
               {5, 0, 9, {{0, 5}}},
               {5, 2, 2 - 1e-9, {{0, 5}}}});
  ASSERT_EQ(scale(m), 0);
  for (size_t j = 0; j < 2; ++j) {
    EXPECT_DOUBLE_EQ(m.a.upper[j], 1e-5) << "the box is as wide as the limit";
    EXPECT_DOUBLE_EQ(hub.colScale[j], 1e-2);
    EXPECT_DOUBLE_EQ(m.a.matValue[j], 5e-2);
  }
  EXPECT_DOUBLE_EQ(m.a.obj[1], 3e-11) << "not looked at";
  EXPECT_EQ(hub.numSmallObj, 0);
  EXPECT_EQ(hub.colScale[2], 1.0) << "a fixed column has no width to measure by";
  EXPECT_EQ(m.a.upper[2], 2.0);
  EXPECT_EQ(hub.colScale[3], 1.0);
  EXPECT_EQ(hub.colScale[4], 1.0) << "bounds that cross by a rounding have none either";
  EXPECT_EQ(option.unscaleCheck, 0);
}

TEST_F(Scaling, WithoutCostsTinyBoxesStay) {
  TestModel m("E", {5}, {0}, {{0, 0, 1e-7, {{0, 5}}}, {0, 0, 9, {{0, 5}}}});
  ASSERT_EQ(scale(m), 0);
  EXPECT_EQ(m.a.upper[0], 1e-7);
  EXPECT_EQ(hub.scaleState, 0);
}

TEST_F(Scaling, SmallCostIsLiftedAsFarAsItsBoxAllows) {
  TestModel m("E", {5}, {0}, {{4e-6, 0, kInf, {{0, 5}}}, {4e-6, 0, 1.2e-5, {{0, 5}}}, {5, 0, 9, {{0, 5}}}});
  ASSERT_EQ(scale(m), 0);
  EXPECT_DOUBLE_EQ(m.a.obj[0], 1e-5);
  EXPECT_DOUBLE_EQ(hub.colScale[0], 2.5);
  EXPECT_DOUBLE_EQ(hub.colScale[1], 1.2);
  EXPECT_DOUBLE_EQ(m.a.upper[1], 1e-5);
  EXPECT_EQ(option.unscaleCheck, 1);
}

TEST_F(Scaling, WideRunAroundTheLimitIsNoNoise) {
  // Decades -9 to -5 hang together around 1e-5.
  const double run[] = {5e-9, 5e-8, 5e-7, 5e-6, 5e-5};
  const SmallBand wideBand = findSmallBand(&env, 5, run, 1e-5);
  EXPECT_FALSE(wideBand.on);
  const double narrow[] = {5e-6, 5e-7, 5};  // two decades below the limit, a gap above
  const SmallBand band = findSmallBand(&env, 3, narrow, 1e-5);
  EXPECT_TRUE(band.on);
  EXPECT_EQ(band.limit, 1e-5);
  EXPECT_EQ(band.noise, 1.000000000000001e-16);
  const double gap[] = {5e-8, 5};  // nothing around the limit: all below is noise
  const SmallBand noise = findSmallBand(&env, 2, gap, 1e-5);
  EXPECT_TRUE(noise.on);
  EXPECT_DOUBLE_EQ(noise.noise, 1e-7);
  EXPECT_EQ(noise.limit, noise.noise);
  EXPECT_FALSE(findSmallBand(&env, 0, nullptr, 1e-5).on);
  const double none[] = {5};
  EXPECT_FALSE(findSmallBand(&env, 1, none, 1e-5).on) << "a gap, and nothing below it";
}

TEST_F(Scaling, EveryFailedAllocationIsOutOfMemory) {
  int64_t k = 1;
  for (; k < 40; ++k) {
    TestModel m("RE", {4e-6, 3e-9}, {2, 0}, {{5, 0, kInf, {{0, 5}, {1, 5}}}, {4e-6, 0, kInf, {{1, 5}}}});
    host.failAllocation(k);
    const int32_t status = scale(m);
    host.failAllocation(0);
    if (status == 0) break;
    ASSERT_EQ(status, -1086) << k;
  }
  EXPECT_EQ(k, 13) << "three lists of outliers, factors, two lists, factors again, two lists, the lifts";
}

TEST_F(Scaling, QuadraticObjectiveIsBalancedTenfold) {
  for (const auto& [diag, factor] :
       std::vector<std::pair<double, double>>{{5e3, 1e-3}, {5e1, 1.0}, {5e9, 1e-6}, {5e-3, 0.0}}) {
    TestModel m = wide({5, 5, 5, 5}, {1, 2, 3, 4}, 5);
    m.makeQuadratic({diag, diag, diag, diag}, {{1, 0, 7.0}});
    ASSERT_EQ(scale(m), 0);
    const double f = factor == 0.0 ? hub.objScale : factor;
    if (factor == 0.0) {
      EXPECT_NEAR(f, 1e3, 1e-9);
    }
    EXPECT_DOUBLE_EQ(hub.objScale, f);
    EXPECT_EQ(hub.scaleState, f == 1.0 ? 0 : 1);
    EXPECT_DOUBLE_EQ(m.a.obj[3], 4 * f);
    EXPECT_DOUBLE_EQ(m.a.quadDiag[2], diag * f);
    EXPECT_DOUBLE_EQ(m.a.quadMatValue[0], 7 * f);
  }
  TestModel linear = wide({5, 5}, {1, 2}, 5);
  linear.makeQuadratic({0, 0}, {});
  ASSERT_EQ(scale(linear), 0);
  EXPECT_EQ(hub.objScale, 1.0);
}

TEST_F(Scaling, RowScalingDividesByTheLargestAndComesBack) {
  option.initOption = 1;
  TestModel m("LRGE", {400, 50, 3, 20}, {0, 30, 0, 0},
              {{-80, 0, kInf, {{0, 100}, {1, 200}, {2, 2}, {3, -10}}}, {8, 0, 4, {{0, -25}, {2, 9.5}}}});
  const qztest::ModelArrays before = m.a;
  ASSERT_EQ(scale(m), 0);
  EXPECT_EQ(hub.scaleState, 0);
  EXPECT_EQ(hub.objScale, 80.0);
  EXPECT_EQ(std::vector<double>(hub.rowScale, hub.rowScale + 4), (std::vector<double>{400, 1, 9.5, 20}));
  EXPECT_EQ(m.a.obj[0], -1.0);
  EXPECT_EQ(m.a.rhs, (std::vector<double>{1, 50, 3, 1}));
  EXPECT_EQ(m.a.matValue[0], 0.25);
  EXPECT_EQ(m.a.matValue[1], 200.0) << "a range row keeps its terms, like its range";
  m.a.solDual = {4, 5, 6, 7};
  m.point();
  Solution* s = nullptr;
  ASSERT_EQ(NewSolution(&env, &s, 4, 2, m.model.solPrimal, m.model.solDual), 0);
  s->lowerDual[0] = 2;
  s->ineqnSlack[0] = 3;
  s->ineqnSlack[1] = 3;
  ASSERT_EQ(ipmUnscaleOld(&env, &m.model, &option, &hub, s), 0);
  EXPECT_EQ(m.a.matValue, before.matValue);
  EXPECT_EQ(m.a.rhs, before.rhs);
  EXPECT_EQ(m.a.obj, before.obj);
  EXPECT_EQ(m.a.solDual, (std::vector<double>{4 / 400.0 * 80, 5.0 * 80, 6.0 * 80, 7 / 20.0 * 80}))
      << "every dual is a price of the divided objective";
  EXPECT_EQ(s->lowerDual[0], 160);
  EXPECT_EQ(s->ineqnSlack[0], 1200);
  EXPECT_EQ(s->ineqnSlack[1], 3);
  EXPECT_EQ(hub.rowScale, nullptr);
  FreeSolution(&env, &s);
}

TEST_F(Scaling, RowScalingDividesTheQuadraticTermWithTheCosts) {
  option.initOption = 1;
  TestModel m("L", {4}, {0}, {{-80, 0, kInf, {{0, 1}}}, {8, 0, 4, {{0, 2}}}, {0, 0, 4, {}}});
  m.makeQuadratic({16, 0, 5}, {{1, 0, 4}, {2, 1, -1}});
  const qztest::ModelArrays before = m.a;
  ASSERT_EQ(scale(m), 0);
  EXPECT_EQ(hub.objScale, 80.0);
  EXPECT_EQ(m.a.obj[0], -1.0);
  EXPECT_EQ(m.a.quadDiag[0], 0.2);
  EXPECT_EQ(m.a.quadDiag[2], 0.0625);
  EXPECT_EQ(m.a.quadMatValue, (std::vector<double>{0.05, -0.0125}));
  Solution* s = nullptr;
  ASSERT_EQ(NewSolution(&env, &s, 1, 3, m.model.solPrimal, m.model.solDual), 0);
  ASSERT_EQ(ipmUnscaleOld(&env, &m.model, &option, &hub, s), 0);
  EXPECT_EQ(m.a.obj, before.obj);
  EXPECT_EQ(m.a.quadDiag, before.quadDiag);
  EXPECT_EQ(m.a.quadMatValue, before.quadMatValue);
  FreeSolution(&env, &s);
}

TEST_F(Scaling, RowScalingWithoutMemory) {
  option.initOption = 1;
  TestModel m = wide({50}, {50}, 50);
  host.failAllocation(1);
  EXPECT_EQ(scale(m), -1086);
  host.failAllocation(0);
  EXPECT_EQ(m.a.obj[0], 50.0);
}

}  // namespace
