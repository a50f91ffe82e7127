#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/controller.h"

namespace qz {
namespace {

constexpr double kInf = 1e20;

// min x0 + 2 x1, one row, x >= 0: no ray, and x = 0 is feasible.
class CrossCheck : public ::testing::Test {
 protected:
  int32_t check(int32_t status, double dualInfeas = 0.0) {
    Model model{};
    model.typeModel = IPM_MODEL_LP;
    model.numRow = static_cast<int32_t>(sense.size());
    model.numCol = static_cast<int32_t>(obj.size());
    model.obj = obj.data();
    model.lower = lower.data();
    model.upper = upper.data();
    model.rhs = rhs.data();
    model.rowSense = sense.data();
    if (!quadDiag.empty()) {
      model.typeModel = IPM_MODEL_QP;
      model.quadDiag = quadDiag.data();
      model.numQuadCoef = numQuadCoef;
    }
    return crossCheckInfeasible(&model, dualInfeas, 1e-6, kInf, status);
  }
  void makeRay() { lower[0] = -kInf; }
  void makeZeroInfeasible() { rhs[0] = 1.0; }

  std::vector<double> obj{1.0, 2.0};
  std::vector<double> lower{0.0, 0.0};
  std::vector<double> upper{kInf, kInf};
  std::vector<double> rhs{-1.0};
  std::vector<double> quadDiag;  // empty for a linear model
  int32_t numQuadCoef = 0;
  std::string sense{"G"};
};

TEST_F(CrossCheck, PrimalInfeasibleWithFeasibleZeroIsAFailure) {
  EXPECT_EQ(check(3), 10);
  EXPECT_EQ(check(256), 10);
}

TEST_F(CrossCheck, BothInfeasibleWithCostsBlockedByBoundsIsPrimalInfeasible) {
  makeZeroInfeasible();
  EXPECT_EQ(check(14), 3);
}

TEST_F(CrossCheck, BothInfeasibleWithBothChecksIsDualInfeasible) {
  EXPECT_EQ(check(14), 4);
}

TEST_F(CrossCheck, DualInfeasibleWithoutARayIsAFailure) {
  EXPECT_EQ(check(4), 10);
  makeZeroInfeasible();
  EXPECT_EQ(check(4), 10);
}

TEST_F(CrossCheck, ClaimsStandWithoutEvidence) {
  makeRay();
  makeZeroInfeasible();
  for (const int32_t status : {3, 4, 14, 256}) EXPECT_EQ(check(status), status);
}

TEST_F(CrossCheck, RayBySignOfTheCost) {
  obj[1] = -2.0;  // runs along the missing upper bound
  makeZeroInfeasible();
  EXPECT_EQ(check(4), 4);
  upper[1] = 5.0;
  EXPECT_EQ(check(4), 10);
  obj[1] = 0.0;
  upper[1] = kInf;
  EXPECT_EQ(check(4), 10);
}

// A ray has no curvature along it: with a diagonal Hessian it rests in the curved columns.
TEST_F(CrossCheck, CurvedColumnsCarryNoRay) {
  makeRay();
  makeZeroInfeasible();
  quadDiag = {0.0, 2.0};
  EXPECT_EQ(check(14), 14) << "a flat column runs on";
  quadDiag = {2.0, 2.0};
  EXPECT_EQ(check(14), 3);
  numQuadCoef = 1;
  EXPECT_EQ(check(14), 14) << "columns that are curved each may be flat together";
}

TEST_F(CrossCheck, DualInfeasibilityAboveItsToleranceKeepsThePrimalClaim) {
  EXPECT_EQ(check(3, 1e-6), 10);
  EXPECT_EQ(check(3, 1.1e-6), 3);
  EXPECT_EQ(check(14, 1.1e-6), 3);
}

TEST_F(CrossCheck, ZeroAgainstEachKindOfRow) {
  const auto holds = [&](char kind, double b) {
    sense[0] = kind;
    rhs[0] = b;
    return check(3) == 10;
  };
  EXPECT_TRUE(holds('E', 0.0));
  EXPECT_FALSE(holds('E', 1e-9));
  EXPECT_TRUE(holds('G', 0.0));
  EXPECT_FALSE(holds('G', 1e-9));
  EXPECT_TRUE(holds('L', 0.0));
  EXPECT_FALSE(holds('L', -1e-9));
  EXPECT_FALSE(holds('R', 0.0));
}

TEST_F(CrossCheck, ZeroAgainstTheBounds) {
  lower[0] = 1e-9;
  EXPECT_EQ(check(3), 3);
  lower[0] = -5.0;
  upper[0] = -1e-9;
  EXPECT_EQ(check(3), 3);
  upper[0] = 0.0;
  EXPECT_EQ(check(3), 10);
}

}  // namespace
}  // namespace qz
