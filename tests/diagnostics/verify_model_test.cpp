// Checks of the input, of what became of it, and of the answer.
#include <gtest/gtest.h>

#include <cmath>

#include "diagnostics/spoken_log.h"
#include "diagnostics/verify_input.h"
#include "diagnostics/verify_model.h"
#include "diagnostics/verify_shift.h"
#include "transform/model_fixture.h"

namespace qz {
namespace {

using qztest::expectBreach;
using qztest::expectSound;
using qztest::kInf;
using qztest::TestModel;

// min 0.5 x0 - 2.3 x1 - 2.3 x2 on the rows x0 + x1 <= 6, 1 <= x0 + x1 + 2 x2 <= 4, x0 - x2 >= 3, x1 + x2 = 3 with x0 >=
// 0, 0 <= x1 <= 4 and x2 free: optimum (2, 4, -1), duals (-1, -0.5, 2, 0.7), reduced costs (0, -1.5, 0), objective
// -5.9.
TestModel handModel() {
  return TestModel("LRGE", {6, 4, 3, 3}, {0, 3, 0, 0},
                   {{0.5, 0, kInf, {{0, 1}, {1, 1}, {2, 1}}},
                    {-2.3, 0, 4, {{0, 1}, {1, 1}, {3, 1}}},
                    {-2.3, -kInf, kInf, {{1, 2}, {2, -1}, {3, 1}}}});
}

class VerifyModel : public ::testing::Test {
 protected:
  VerifyModel() : m(handModel()) {
    env.pool = host.pool();
    env.log = log.log();
    const double x[] = {2, 4, -1}, y[] = {-1, -0.5, 2, 0.7};
    std::copy(x, x + 3, m.a.solPrimal.begin());
    std::copy(y, y + 4, m.a.solDual.begin());
    upperDual[1] = 1.5;
    solution = {m.a.solPrimal.data(), m.a.solDual.data(), slack.data(),     otherSlack.data(),
                lowerDual.data(),     upperDual.data(),   ineqnSlack.data()};
    m.model.status = QZ_STATUS_OPTIMAL;
  }
  ~VerifyModel() override { EXPECT_EQ(host.outstanding(), 0); }

  qztest::TestHost host;
  qztest::SpokenLog log;
  Env env{};
  IpmOption option = qztest::plainOption();
  TestModel m;
  std::vector<double> slack = {2, 4, 0}, otherSlack = {0, 0, 0}, lowerDual = {0, 0, 0}, upperDual = {0, 0, 0},
                      ineqnSlack = {0, 0, 0, 0};
  Solution solution{};
};

class VerifyInput : public VerifyModel {
 protected:
  auto verify() {
    return [this](int32_t level) { return ipmVerifyInput(&env, level, &m.model); };
  }
};

TEST_F(VerifyInput, SoundModelsPass) {
  expectSound(log, 1, verify());
  m.makeQuadratic({1, 2, 0}, {{1, 0, -0.5}, {2, 0, 0.25}});
  expectSound(log, 1, verify());
  m.a.rowSense = {'l', 'r', 'N', 'e'};  // presolve takes either case, and free rows
  expectSound(log, 1, verify());
}

TEST_F(VerifyInput, CountsAndTypes) {
  m.model.numRow = -1;
  expectBreach(log, 1, verify(), "input: numRow = -1 should be at least 0");
  m.model.numRow = 4;
  m.model.numCoef = 7;
  expectBreach(log, 1, verify(), "input: numCoef = 7 should be 9");
  m.model.numCoef = 9;
  m.model.numQuadCoef = 2;
  expectBreach(log, 1, verify(), "input: numQuadCoef = 2 should be 0");
  m.model.numQuadCoef = 0;
  m.model.typeModel = 10;
  expectBreach(log, 1, verify(), "input: typeModel is unknown");
  m.model.typeModel = 1;
  m.model.objSense = 0;
  expectBreach(log, 1, verify(), "input: objSense should be 1 or -1");
}

TEST_F(VerifyInput, PointersThatCountsAskFor) {
  m.model.rhs = nullptr;
  m.model.matValue = nullptr;
  expectBreach(log, 1, verify(), "input: rhs is null and should not be");
  EXPECT_TRUE(log.says("Error input: matValue is null"));
  EXPECT_EQ(log.errors(), 2) << "one run reports all";
}

TEST_F(VerifyInput, QuadraticModelNeedsItsArrays) {
  m.makeQuadratic({1, 2, 0}, {{1, 0, -0.5}});
  m.model.quadDiag = nullptr;
  m.model.quadRowIndex = nullptr;
  expectBreach(log, 1, verify(), "input: quadDiag is null");
  EXPECT_TRUE(log.says("input: quadRowIndex is null"));
}

TEST_F(VerifyInput, ColumnsOfTheMatrix) {
  m.a.rowIndex[1] = 4;
  expectBreach(log, 1, verify(), "input: rowIndex(1) = 4 should be from 0 to 3");
  m.a.rowIndex[1] = 0;
  expectBreach(log, 1, verify(), "input: rowIndex(1) occurs twice in its column");
  m.a.rowIndex[1] = 1;
  m.a.colLength[2] = 5;
  expectBreach(log, 1, verify(), "input: colLength(2) is out of range");
  m.a.colLength[2] = 3;
  m.a.colBegin[0] = -1;
  expectBreach(log, 1, verify(), "input: colBegin(0) = -1 should be at least 0");
}

TEST_F(VerifyInput, MagnitudesFrom1em20To1e20) {
  for (const double good : {1e-20, -1e-20, 1e20, -1e20}) {
    m.a.matValue[0] = good;
    expectSound(log, 1, verify());
  }
  for (const double bad : {0.0, 9.9e-21, 1.01e20, std::nan("")}) {
    m.a.matValue[0] = bad;
    expectBreach(log, 1, verify(), "input: matValue(0) should be from 1e-20 to 1e20 in magnitude");
  }
}

TEST_F(VerifyInput, QuadraticTriangleLiesStrictlyBelowTheDiagonal) {
  m.makeQuadratic({1, 2, 0}, {{1, 0, -0.5}, {2, 1, 0.25}});
  expectSound(log, 1, verify());
  m.a.quadRowIndex[1] = 1;
  expectBreach(log, 1, verify(), "input: quadRowIndex(1) should lie below the diagonal");
  m.a.quadRowIndex[1] = 3;
  expectBreach(log, 1, verify(), "input: quadRowIndex(1) = 3 should be from 0 to 2");
  m.a.quadRowIndex[1] = 2;
  m.a.quadMatValue[0] = 0.0;
  expectBreach(log, 1, verify(), "input: quadMatValue(0) should be");
}

TEST_F(VerifyInput, SensesAndRanges) {
  m.a.range[1] = -1.0;
  expectBreach(log, 1, verify(), "input: range(1) = -1 should be at least 0");
  m.a.range[1] = 3.0;
  m.a.range[0] = 2.0;
  expectBreach(log, 1, verify(), "input: range(0) = 2 should be about 0");
  m.a.range[0] = 0.0;
  m.model.range = nullptr;
  expectBreach(log, 1, verify(), "input: rowSense(1) is R, and there is no range");
  m.model.range = m.a.range.data();
  m.a.rowSense[3] = 'X';
  expectBreach(log, 1, verify(), "input: rowSense(3) is unknown");
}

TEST_F(VerifyInput, ActivityIsZeroAtEntry) {
  m.a.rowActivity[2] = 1e-3;
  expectBreach(log, 1, verify(), "input: rowActivity(2) = 0.001 should be about 0");
}

TEST_F(VerifyInput, CallbackExactlyWithItsData) {
  int data = 0;
  m.model.callerDataStruct = &data;
  expectBreach(log, 1, verify(), "input: checkSolverBreak is null and should not be");
  m.model.checkSolverBreak = [](void*) { return 0; };
  expectSound(log, 1, verify());
  m.model.callerDataStruct = nullptr;
  expectBreach(log, 1, verify(), "input: checkSolverBreak should be null");
}

TEST_F(VerifyInput, OutOfMemory) {
  host.failAllocation(1);
  EXPECT_EQ(ipmVerifyInput(&env, 1, &m.model), -1086);
}

class VerifyCopy : public VerifyModel {
 protected:
  void take() { ASSERT_EQ(VerifyCopyModel(&env, 1, &m.model, &copy), 0); }
  ~VerifyCopy() override { VerifyDeleteModel(&env, 1, &copy); }
  auto compare() {
    return [this](int32_t level) { return VerifyCompareModel(&env, level, &m.model, &copy); };
  }
  Model copy{};
};

TEST_F(VerifyCopy, NothingIsCopiedBelowLevelOne) {
  EXPECT_EQ(VerifyCopyModel(&env, 0, &m.model, &copy), 0);
  EXPECT_EQ(copy.colBegin, nullptr);
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(VerifyCopy, EveryFieldIsCompared) {
  m.makeQuadratic({1, 2, 0}, {{1, 0, -0.5}});
  take();
  expectSound(log, 1, compare());
  const auto breaks = [&](double& value, const std::string& name) {
    const double old = value;
    value += 1e-6 * (1.0 + std::fabs(old));
    expectBreach(log, 1, compare(), "VerifyCompareModel: " + name);
    value = old;
  };
  breaks(m.a.obj[1], "obj(1)");
  breaks(m.a.lower[0], "lower(0)");
  breaks(m.a.upper[1], "upper(1)");
  breaks(m.a.rhs[3], "rhs(3)");
  breaks(m.a.range[1], "range(1)");
  breaks(m.a.matValue[4], "matValue(4)");
  breaks(m.a.quadDiag[1], "quadDiag(1)");
  breaks(m.a.quadMatValue[0], "quadMatValue(0)");
  breaks(m.model.objConstant, "objConstant");
  const auto shifts = [&](int32_t& value, const std::string& name) {
    ++value;
    expectBreach(log, 1, compare(), "VerifyCompareModel: " + name);
    --value;
  };
  shifts(m.a.colBegin[1], "colBegin(1)");
  shifts(m.a.colLength[1], "colLength(1)");
  shifts(m.a.rowIndex[0], "rowIndex(0)");
  shifts(m.a.quadRowIndex[0], "quadRowIndex(0)");
  shifts(m.a.quadColLength[1], "quadColLength(1)");
  shifts(m.model.numRow, "numRow");
  shifts(m.model.numCol, "numCol");
  shifts(m.model.numCoef, "numCoef");
  shifts(m.model.numQuadCoef, "numQuadCoef");
  shifts(m.model.objSense, "objSense");
  m.a.rowSense[0] = 'G';
  expectBreach(log, 1, compare(), "VerifyCompareModel: rowSense(0) = 71 should be 76");
  m.a.rowSense[0] = 'L';
  expectSound(log, 1, compare());
}

TEST_F(VerifyCopy, InfiniteBoundsAreAllAlikeOnOneSide) {
  take();
  m.a.upper[0] = 1.7976931348623157e308;
  m.a.lower[2] = -1e20;
  expectSound(log, 1, compare());
  m.a.lower[2] = 1e20;
  expectBreach(log, 1, compare(), "VerifyCompareModel: lower(2)");
}

TEST_F(VerifyCopy, RoundingOfATransformationIsNoBreach) {
  take();
  m.a.rhs[0] = 6.0 + 1e-9;
  expectSound(log, 1, compare());
}

TEST_F(VerifyCopy, EveryFailedAllocationGivesAllBack) {
  m.makeQuadratic({1, 2, 0}, {{1, 0, -0.5}});
  const int64_t before = host.allocations();
  take();
  const int64_t needed = host.allocations() - before;
  VerifyDeleteModel(&env, 1, &copy);
  EXPECT_EQ(needed, 15);
  for (int64_t k = 1; k <= needed; ++k) {
    host.failAllocation(k);
    EXPECT_EQ(VerifyCopyModel(&env, 1, &m.model, &copy), -1086) << k;
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), 0) << k;
  }
}

TEST_F(VerifyModel, SolutionPassesAndLevelsHold) {
  expectSound(log, 3, [&](int32_t l) { return VerifyModelPrimal(&env, l, &m.model, &option, &solution); });
  expectSound(log, 3, [&](int32_t l) { return VerifyModelBound(&env, l, &m.model, &option, &solution); });
  expectSound(log, 3, [&](int32_t l) { return VerifyModelDual(&env, l, &m.model, &option, &solution); });
  expectSound(log, 3, [&](int32_t l) { return VerifyModelGap(&env, l, &m.model, &option, &solution); });
}

TEST_F(VerifyModel, EachKindOfRowIsMeasured) {
  const auto verify = [&](int32_t l) { return VerifyModelPrimal(&env, l, &m.model, &option, &solution); };
  const std::string told = "VerifyModelPrimal: rows of the solution";
  for (const auto& [row, by] : std::vector<std::pair<size_t, double>>{{0, -0.1}, {1, -0.1}, {2, 0.1}, {3, 0.1}}) {
    m.a.rhs[row] += by;
    expectBreach(log, 3, verify, told);
    m.a.rhs[row] -= by;
  }
  m.a.rhs[1] += 3.1;  // below the lower side of the range
  expectBreach(log, 3, verify, told);
  m.a.rhs[1] -= 3.2;
  m.a.rhs[0] = 1e30;  // an infinite side bounds nothing
  m.a.rhs[1] = 4.0;
  expectSound(log, 3, verify);
}

TEST_F(VerifyModel, BoundsAreMeasured) {
  const auto verify = [&](int32_t l) { return VerifyModelBound(&env, l, &m.model, &option, &solution); };
  m.a.upper[1] = 3.9;
  expectBreach(log, 3, verify, "VerifyModelBound: bounds of the solution");
  m.a.upper[1] = 4.0;
  m.a.lower[0] = 2.1;
  expectBreach(log, 3, verify, "VerifyModelBound: bounds of the solution");
  m.a.lower[0] = 0.0;
  m.a.solPrimal[2] = std::nan("");
  expectBreach(log, 3, verify, "VerifyModelBound: primal(2) is not a number");
}

TEST_F(VerifyModel, FlippedSignOfADualIsFound) {
  const auto dual = [&](int32_t l) { return VerifyModelDual(&env, l, &m.model, &option, &solution); };
  const auto gap = [&](int32_t l) { return VerifyModelGap(&env, l, &m.model, &option, &solution); };
  m.a.solDual[3] = -m.a.solDual[3];
  expectBreach(log, 3, dual, "VerifyModelDual: columns of the solution");
  expectBreach(log, 3, gap, "VerifyModelGap: dual objective");
  m.a.solDual[3] = -m.a.solDual[3];
  upperDual[1] = -1.5;
  expectBreach(log, 3, dual, "VerifyModelDual: columns of the solution");
}

TEST_F(VerifyModel, RangeRowPricesTheSideOfItsDual) {
  // The dual of the range row is negative, so its upper side 4 counts; with the lower side the objectives would differ.
  const auto gap = [&](int32_t l) { return VerifyModelGap(&env, l, &m.model, &option, &solution); };
  expectSound(log, 3, gap);
  m.a.range[1] = 100.0;
  expectSound(log, 3, gap);
}

TEST_F(VerifyModel, QuadraticTermEntersDualAndGap) {
  // min x^2 - 2 x on 0 <= x <= 3: x = 1, no bound is active; Q = 2.
  TestModel q("", {}, {}, {{-2.0, 0, 3, {}}});
  q.makeQuadratic({2.0}, {});
  q.a.solPrimal[0] = 1.0;
  q.model.status = QZ_STATUS_OPTIMAL;
  std::vector<double> none = {0};
  const Solution point{q.a.solPrimal.data(), none.data(), none.data(), none.data(),
                       none.data(),          none.data(), none.data()};
  expectSound(log, 3, [&](int32_t l) { return VerifyModelDual(&env, l, &q.model, &option, &point); });
  expectSound(log, 3, [&](int32_t l) { return VerifyModelGap(&env, l, &q.model, &option, &point); });
  q.a.quadDiag[0] = 2.1;
  expectBreach(
      log, 3, [&](int32_t l) { return VerifyModelDual(&env, l, &q.model, &option, &point); },
      "VerifyModelDual: columns of the solution");
}

TEST_F(VerifyModel, NearOptimalPointHasTenTimesTheTolerance) {
  const auto verify = [&](int32_t l) { return VerifyModelPrimal(&env, l, &m.model, &option, &solution); };
  m.a.rhs[3] += 1e-4;
  expectBreach(log, 3, verify, "VerifyModelPrimal");
  m.model.status = QZ_STATUS_NEAR_OPTIMAL;
  expectSound(log, 3, verify);
  m.model.status = QZ_STATUS_OPTIMAL;
  option.tolPrimal = 1e-4;  // a looser tolerance of the solve is a looser check
  expectSound(log, 3, verify);
}

// Rounding grows with the data: an error of 1e-3 beside numbers of 1e8 is none.
TEST_F(VerifyModel, LargeDataAreJudgedOnTheirScale) {
  const double large = 1e8;
  for (auto* values :
       {&m.a.rhs, &m.a.range, &m.a.lower, &m.a.upper, &m.a.solPrimal, &m.a.obj, &m.a.solDual, &upperDual})
    for (double& value : *values)
      if (std::fabs(value) < kInf) value *= large;
  const auto primal = [&](int32_t l) { return VerifyModelPrimal(&env, l, &m.model, &option, &solution); };
  const auto bound = [&](int32_t l) { return VerifyModelBound(&env, l, &m.model, &option, &solution); };
  const auto dual = [&](int32_t l) { return VerifyModelDual(&env, l, &m.model, &option, &solution); };
  const auto gap = [&](int32_t l) { return VerifyModelGap(&env, l, &m.model, &option, &solution); };
  m.a.solPrimal[1] += 1e-3;  // beyond its bound, and beyond two rows
  upperDual[1] += 1e-3;
  for (const double excess : {0.0, 1e-4 * large}) {
    m.a.solPrimal[1] += excess;
    upperDual[1] += excess;
    if (excess == 0.0) {
      expectSound(log, 3, primal);
      expectSound(log, 3, bound);
      expectSound(log, 3, dual);
      expectSound(log, 3, gap);
    } else {
      expectBreach(log, 3, primal, "VerifyModelPrimal: rows of the solution");
      expectBreach(log, 3, bound, "VerifyModelBound: bounds of the solution");
      expectBreach(log, 3, dual, "VerifyModelDual: columns of the solution");
      expectBreach(log, 3, gap, "VerifyModelGap: dual objective");
    }
  }
}

class VerifyAnswer : public VerifyModel {
 protected:
  VerifyAnswer() {
    const double activity[] = {6, 4, 3, 3}, reduced[] = {0, -1.5, 0};
    std::copy(activity, activity + 4, m.a.rowActivity.begin());
    std::copy(reduced, reduced + 3, m.a.reducedCost.begin());
    m.model.objValue = -5.9;
  }
  auto verify() {
    return [this](int32_t level) { return VerifyOutput(&env, level, &m.model, &option); };
  }
};

TEST_F(VerifyAnswer, EveryOutputIsRecomputed) {
  expectSound(log, 3, verify());
  m.a.rowActivity[1] = 4.1;
  expectBreach(log, 3, verify(), "VerifyOutput: rowActivity(1) = 4.1 should be about 4");
  m.a.rowActivity[1] = 4.0;
  m.a.reducedCost[1] = 1.5;
  expectBreach(log, 3, verify(), "VerifyOutput: reducedCost");
  m.a.reducedCost[1] = -1.5;
  m.model.objValue = 5.9;
  expectBreach(log, 3, verify(), "VerifyOutput: objValue = 5.9 should be about -5.9");
}

TEST_F(VerifyAnswer, MaximisationTurnsTheObjective) {
  m.model.objSense = -1;
  m.model.objConstant = 0.9;
  m.model.objValue = 5.0;
  expectSound(log, 3, verify());
}

TEST_F(VerifyAnswer, WholeListingFromLevelNine) {
  EXPECT_EQ(verify()(8), 0);
  EXPECT_FALSE(log.says("primal(0)="));
  EXPECT_EQ(verify()(9), 0);
  EXPECT_TRUE(log.says("primal(2)=             -1   reducedCost(2)=              0")) << log.all();
  EXPECT_TRUE(log.says("dual(3)=            0.7   rowActivity(3)=              3"));
}

class VerifyShift : public VerifyModel {
 protected:
  VerifyShift() {
    m.a.lower[0] = 1.0;  // shifted
    m.a.lower[2] = -kInf;
    m.a.upper[2] = 7.0;  // reflected
    otherSlack[2] = 8.0;
    slack[0] = 1.0;
  }
  auto verify() {
    return [this](int32_t level) { return VerifyShiftBound(&env, level, &m.model, &option, &solution); };
  }
};

TEST_F(VerifyShift, LeavesEverythingBitForBit) {
  const qztest::ModelArrays before = m.a;
  expectSound(log, 3, verify());
  EXPECT_TRUE(m.a == before);
  EXPECT_EQ(slack, (std::vector<double>{1, 4, 0}));
  EXPECT_EQ(otherSlack, (std::vector<double>{0, 0, 8}));
}

// A shift there and back rounds; the check leaves what it found all the same.
TEST_F(VerifyShift, RoundingOfTheShiftIsTakenBack) {
  const double upper = 2.9;
  double shift = 0.05;
  while (shift < 2.0 && (upper - shift) + shift == upper) shift += 0.01;
  ASSERT_NE((upper - shift) + shift, upper);
  m.a.lower[0] = shift;
  m.a.upper[0] = upper;
  slack[0] = 2.0 - shift;
  otherSlack[0] = upper - 2.0;
  const qztest::ModelArrays before = m.a;
  expectSound(log, 3, verify());
  EXPECT_TRUE(m.a == before);
}

TEST_F(VerifyShift, FindsAPointThatDoesNotSolveTheModelAndStillRestoresIt) {
  m.a.solPrimal[0] = 2.5;
  const qztest::ModelArrays before = m.a;
  expectBreach(log, 3, verify(), "VerifyShiftBound: shift does not keep the residuals or does not come back");
  EXPECT_TRUE(m.a == before);
}

TEST_F(VerifyShift, EveryFailedAllocationRestoresTheModel) {
  const qztest::ModelArrays before = m.a;
  const int64_t first = host.allocations();
  ASSERT_EQ(verify()(3), 0);
  const int64_t needed = host.allocations() - first;
  for (int64_t k = 1; k <= needed; ++k) {
    host.failAllocation(k);
    EXPECT_EQ(verify()(3), -1086) << k;
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), 0) << k;
    EXPECT_TRUE(m.a == before) << k;
  }
}

}  // namespace
}  // namespace qz
