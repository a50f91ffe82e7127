#include "submodel/variable_shift.h"

#include <vector>

#include "submodel/submodel_case.h"

namespace qz {
namespace {

using qztest::kNone;
using qztest::smallModel;

class VariableShift : public qztest::SubModelTest {
 protected:
  int32_t shift() {
    return subShiftPrimal(env, submodel, ipm->primal, ipm->lower, ipm->upper, ipm->rhs, ipm->infinityValue,
                          ipm->colBegin, ipm->colLength, ipm->rowIndex, ipm->matValue);
  }
  int32_t shiftGradient(int32_t sign) {
    return subShiftPrimalQP(env, submodel, sign, ipm->numCol, ipm->numQuadCoef, ipm->obj, ipm->quadDiag,
                            ipm->quadColBegin, ipm->quadColLength, ipm->quadRowIndex, ipm->quadMatValue);
  }
};

TEST_F(VariableShift, NearALowerBoundTheBoundBecomesZero) {
  make(smallModel());
  ipm->primal[0] = 1e6;
  ipm->lower[0] = 999000.0;
  bigVars({0});
  ASSERT_EQ(shift(), 0);
  EXPECT_EQ(submodel->shiftPrimal[0], 999000.0);
  EXPECT_EQ(ipm->primal[0], 1000.0);
  EXPECT_EQ(ipm->lower[0], 0.0);
  EXPECT_EQ(ipm->upper[0], kNone);
  EXPECT_EQ(ipm->rhs[0], 10.0 - 999000.0);
  EXPECT_EQ(ipm->rhs[1], 20.0);
  EXPECT_EQ(ipm->rhs[2], 30.0 - 2 * 999000.0);
}

TEST_F(VariableShift, NearAnUpperBoundTheBoundBecomesZero) {
  make(smallModel());
  ipm->primal[3] = -1e6;
  ipm->upper[3] = -999000.0;
  bigVars({3});
  ASSERT_EQ(shift(), 0);
  EXPECT_EQ(ipm->primal[3], -1000.0);
  EXPECT_EQ(ipm->upper[3], 0.0);
  EXPECT_EQ(ipm->lower[3], -kNone);
}

TEST_F(VariableShift, ABoundExactlyAtTheLimitStillCountsAsNear) {
  make(smallModel());
  ipm->primal[0] = 1e6;
  ipm->lower[0] = 995000.0;  // half of thresholdBig away
  bigVars({0});
  ASSERT_EQ(shift(), 0);
  EXPECT_EQ(submodel->shiftPrimal[0], 995000.0);
}

TEST_F(VariableShift, FarFromItsBoundsTheVariableItselfBecomesZero) {
  make(smallModel());
  ipm->primal[0] = 1e6;
  bigVars({0});
  ASSERT_EQ(shift(), 0);
  EXPECT_EQ(ipm->primal[0], 0.0);
  EXPECT_EQ(ipm->lower[0], -1e6);
}

TEST_F(VariableShift, AFreeVariableStandsAtZeroAfterwards) {
  make(smallModel());
  ipm->primal[2] = 1e6;
  bigVars({2});
  ASSERT_EQ(shift(), 0);
  EXPECT_EQ(ipm->primal[2], 0.0);
  EXPECT_EQ(submodel->shiftPrimal[0], 1e6);
  EXPECT_EQ(ipm->lower[2], -kNone);
  EXPECT_EQ(ipm->upper[2], kNone);
}

TEST_F(VariableShift, ARemovedBoundIsNoFiniteOne) {
  make(smallModel());
  ipm->primal[0] = 1e6;
  ipm->lower[0] = -1.7976931348623157e308;
  bigVars({0});
  ASSERT_EQ(shift(), 0);
  EXPECT_EQ(ipm->lower[0], -1.7976931348623157e308);
  EXPECT_EQ(ipm->primal[0], 0.0);
}

TEST_F(VariableShift, ShiftAndUnshiftGiveBackEverything) {
  make(smallModel());
  const std::vector<double> x{1e6, -3e6, 2e5, 7.0};
  std::copy(x.begin(), x.end(), ipm->primal);
  const auto lower = copy(ipm->lower, 4);
  const auto upper = copy(ipm->upper, 4);
  const auto rhs = copy(ipm->rhs, 3);
  bigVars({1, 0, 2});
  ASSERT_EQ(shift(), 0);
  EXPECT_NE(copy(ipm->rhs, 3), rhs);
  subUnshiftPrimal(ipm, submodel);
  for (int j = 0; j < 4; ++j) {
    EXPECT_NEAR(ipm->primal[j], x[static_cast<size_t>(j)], 1e-8);
    EXPECT_NEAR(ipm->lower[j], lower[static_cast<size_t>(j)], 1e-8);
    EXPECT_NEAR(ipm->upper[j], upper[static_cast<size_t>(j)], 1e-8);
  }
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(ipm->rhs[i], rhs[static_cast<size_t>(i)], 1e-8);
  EXPECT_EQ(submodel->shiftPrimal, nullptr);
}

TEST_F(VariableShift, UnshiftWithoutAShiftDoesNothing) {
  make(smallModel());
  ipm->primal[0] = 5.0;
  bigVars({0});
  subUnshiftPrimal(ipm, submodel);
  EXPECT_EQ(ipm->primal[0], 5.0);
  submodel->numBigVar = 0;
  subUnshiftPrimal(ipm, submodel);
  subUnshiftPrimal(ipm, nullptr);
}

TEST_F(VariableShift, NothingListedMeansNothingDone) {
  make(smallModel());
  EXPECT_EQ(shift(), 0);
  EXPECT_EQ(submodel->shiftPrimal, nullptr);
}

TEST_F(VariableShift, ASecondShiftIsAnErrorAndChangesNothing) {
  make(smallModel());
  ipm->primal[2] = 1e6;
  bigVars({2});
  ASSERT_EQ(shift(), 0);
  ipm->primal[2] = 2e6;
  EXPECT_EQ(shift(), QZ_STATUS_FAILED);
  EXPECT_TRUE(host.loggedText("Error subShiftPrimal: submodel->shiftPrimal should be NULL"));
  EXPECT_EQ(ipm->primal[2], 2e6);
  EXPECT_EQ(submodel->shiftPrimal[0], 1e6);
}

TEST_F(VariableShift, FailedAllocationChangesNothing) {
  make(smallModel());
  ipm->primal[2] = 1e6;
  bigVars({2});
  host.failAllocation(1);
  EXPECT_EQ(shift(), QZ_STATUS_OUT_OF_MEMORY);
  EXPECT_EQ(ipm->primal[2], 1e6);
  EXPECT_EQ(submodel->shiftPrimal, nullptr);
}

// c'x + x'Qx / 2 at x = h + x' is (c + Q h)'x' + x'Q x' / 2 and a constant.
TEST_F(VariableShift, QuadraticGradientTakesTheProductWithTheShift) {
  make(smallModel(true));
  const std::vector<double> x{1e6, -3e6, 2e5, 7.0};
  std::copy(x.begin(), x.end(), ipm->primal);
  bigVars({1, 2});
  ASSERT_EQ(shift(), 0);
  qztest::Vector h = qztest::Vector::Zero(4);
  h[1] = submodel->shiftPrimal[0];
  h[2] = submodel->shiftPrimal[1];
  const qztest::Vector expected = test->dense().c + test->dense().Q * h;
  ASSERT_EQ(shiftGradient(1), 0);
  for (int j = 0; j < 4; ++j) EXPECT_DOUBLE_EQ(ipm->obj[j], expected[j]);
  ASSERT_EQ(shiftGradient(-1), 0);
  for (int j = 0; j < 4; ++j) EXPECT_NEAR(ipm->obj[j], test->dense().c[j], 1e-8);
}

TEST_F(VariableShift, DiagonalQuadraticNeedsNoMemory) {
  qztest::DenseModel dense = smallModel(true);
  const qztest::Vector diagonal = dense.Q.diagonal();
  dense.Q = diagonal.asDiagonal();
  make(dense);
  ASSERT_EQ(ipm->numQuadCoef, 0);
  ipm->primal[2] = 1e6;
  bigVars({2});
  ASSERT_EQ(shift(), 0);
  host.failAllocation(1);
  ASSERT_EQ(shiftGradient(1), 0);
  host.failAllocation(0);
  EXPECT_EQ(ipm->obj[2], 3.0 + 6.0 * 1e6);
  EXPECT_EQ(ipm->obj[1], -2.0);
}

TEST_F(VariableShift, QuadraticPartReportsAFailedAllocationAndLeavesTheGradient) {
  make(smallModel(true));
  ipm->primal[2] = 1e6;
  bigVars({2});
  ASSERT_EQ(shift(), 0);
  host.failAllocation(1);
  EXPECT_EQ(shiftGradient(1), QZ_STATUS_OUT_OF_MEMORY);
  EXPECT_EQ(ipm->obj[2], 3.0);
}

TEST_F(VariableShift, QuadraticPartWithoutAShiftDoesNothing) {
  make(smallModel(true));
  bigVars({2});
  EXPECT_EQ(shiftGradient(-1), 0);
  EXPECT_EQ(ipm->obj[2], 3.0);
}

}  // namespace
}  // namespace qz
