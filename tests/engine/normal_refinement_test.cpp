// What keeps the normal equations accurate: bounded weights, the balanced matrix, the correction of a solution, and the
// augmented system where that is not enough.
#include "engine/normal_refinement.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "engine/linear_algebra_cholesky.h"
#include "engine/newton_system.h"
#include "engine/normal_case.h"
#include "engine/normal_system.h"

namespace {

using qztest::boundedModel;
using qztest::DenseModel;
using qztest::denseNormal;
using qztest::kNone;
using qztest::Matrix;
using qztest::newtonMatrix;
using qztest::NormalCase;
using qztest::RandomShape;
using qztest::shapeOf;
using qztest::storedNormal;
using qztest::TestHost;
using qztest::Vector;

class NormalRefinement : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(host.outstanding(), 0); }

  TestHost host;
};

// Non-negative columns and the given rows, all equations.
DenseModel equations(const Matrix& a) {
  DenseModel model;
  model.A = a;
  model.c = Vector::Zero(a.cols());
  model.b = Vector::Zero(a.rows());
  model.sense = std::string(static_cast<size_t>(a.rows()), 'E');
  model.lower = Vector::Zero(a.cols());
  model.upper = Vector::Constant(a.cols(), kNone);
  return model;
}

// Makes D_j = d[j], at x = 0.
void setWeights(qz::Ipm* ipm, const Vector& d) {
  for (int j = 0; j < ipm->numCol; ++j) {
    ipm->primal[j] = 0.0;
    ipm->lowerSlack[j] = d[j];
    ipm->lowerDual[j] = 1.0;
  }
}

Vector randomVector(std::mt19937& random, int count) {
  std::normal_distribution<double> normal;
  return Vector::NullaryExpr(count, [&] { return normal(random); });
}

TEST_F(NormalRefinement, WeightsAreBoundedByTheSizeOfTheColumn) {
  std::mt19937 random(1);
  NormalCase engine(host, equations(Matrix::Ones(1, 6)), random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  const double infinity = std::numeric_limits<double>::infinity();
  const double weights[6] = {9.9e9, 1.1e10, infinity, -5.0, 1e30, std::nan("")};
  const double x[6] = {0.0, 0.0, -3.0, 0.0, 1e6, 0.0};
  for (int j = 0; j < 6; ++j) {
    ipm->normalDiag[j] = weights[j];
    ipm->primal[j] = x[j];
  }
  qz::boundNormalDiag(ipm);
  EXPECT_EQ(ipm->normalDiag[0], 9.9e9);
  EXPECT_DOUBLE_EQ(ipm->normalDiag[1], 1e10);
  EXPECT_DOUBLE_EQ(ipm->normalDiag[2], 4e10);
  EXPECT_EQ(ipm->normalDiag[3], -5.0);
  EXPECT_DOUBLE_EQ(ipm->normalDiag[4], 1.000001e16);
  EXPECT_TRUE(std::isnan(ipm->normalDiag[5]));
}

TEST_F(NormalRefinement, BalancedMatrixHasAUnitDiagonalAndKnowsItsScale) {
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    NormalCase engine(host, boundedModel(random, shapeOf(seed)), random);
    ASSERT_TRUE(engine.started);
    qz::Ipm* ipm = engine.ipm;
    ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
    ASSERT_EQ(qz::formSystem(ipm), 0);
    const Matrix before = storedNormal(*ipm);
    for (int call : {1, 2}) {
      qz::balanceNormalMatrix(ipm);
      const Matrix balanced = storedNormal(*ipm);
      Vector inverse(ipm->numRow);
      for (int i = 0; i < ipm->numRow; ++i) {
        inverse[i] = 1.0 / ipm->normalScale[i];
        if (ipm->ineqnDiagIndex[i] < 0) continue;
        const bool coupled = ipm->ipmColBegin[i + 1] - ipm->ipmColBegin[i] > 1;
        EXPECT_NEAR(balanced(i, i), coupled ? 1.0 + 1e-12 : 1.0, 1e-15) << "row " << i << " call " << call;
      }
      const Matrix back = inverse.asDiagonal() * balanced * inverse.asDiagonal();
      EXPECT_LE((back - before).norm(), 3e-12 * before.norm());
    }
  }
}

TEST_F(NormalRefinement, RowOfSmallWeightsStaysInTheSolve) {
  // M = diag(2e3, 2e-10), but for 1e-12 that couples the rows: its norm makes a pivot rule drop the second row.
  Matrix a(2, 5);
  a << 1.0, 1.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 1.0, 1.0;
  Vector d(5);
  d << 1e3, 1e3, 1e-12, 1e-10, 1e-10;
  std::mt19937 random(2);
  NormalCase engine(host, equations(a), random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
  setWeights(ipm, d);

  ASSERT_EQ(qz::formSystem(ipm), 0);
  ASSERT_EQ(qz::chFactorize(&engine.env, ipm), 0);
  Vector v = Vector::Zero(7);
  v[6] = -1.0;
  ASSERT_EQ(qz::solveNormalEquation(ipm, v.data()), 0);
  EXPECT_LE(std::fabs(v[6]), 1e-60) << "the rule of the norm";

  ASSERT_EQ(qz::formSystem(ipm), 0);
  ASSERT_EQ(qz::factorSystem(ipm), 0);
  v.setZero();
  v[6] = -1.0;
  ASSERT_EQ(qz::solveSystem(ipm, v.data()), 0);
  EXPECT_NEAR(v[6] * (2e-10 + 1e-12), 1.0, 1e-10);
  EXPECT_NEAR((a * v.head(5))[1], 1.0, 1e-12);
  EXPECT_EQ(ipm->typeMethod, qz::IPM_METHOD_NORMAL);
}

TEST_F(NormalRefinement, DependentRowsAreMetWhereTheyAgree) {
  for (uint32_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    Matrix a(12, 30);
    for (int i = 0; i < 10; ++i) a.row(i) = randomVector(random, 30).transpose();
    a.row(10) = a.row(3) - 2.0 * a.row(7);
    a.row(11) = a.row(0);
    NormalCase engine(host, equations(a), random);
    ASSERT_TRUE(engine.started);
    qz::Ipm* ipm = engine.ipm;
    ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
    setWeights(ipm, Vector::NullaryExpr(30, [&] { return std::pow(10.0, 2.0 * normal(random)); }));
    ASSERT_EQ(qz::formSystem(ipm), 0);
    ASSERT_EQ(qz::factorSystem(ipm), 0);
    Vector rhs = Vector::Zero(42);
    rhs.head(30) = randomVector(random, 30);
    rhs.tail(12) = a * randomVector(random, 30);
    Vector v = rhs;
    ASSERT_EQ(qz::solveSystem(ipm, v.data()), 0);
    EXPECT_EQ(ipm->typeMethod, qz::IPM_METHOD_NORMAL);
    EXPECT_LE((rhs.tail(12) + a * v.head(30)).norm(), 1e-7 * (rhs.norm() + a.norm() * v.head(30).norm()));
  }
}

// The factor belongs to another iterate: to a near one when `spread` is small.
void solveWithStaleFactor(TestHost& host, uint32_t seed, double spread, int32_t expectedMethod) {
  std::mt19937 random(seed);
  RandomShape shape;
  shape.rows = 20;
  shape.cols = 60;
  shape.density = 0.3;
  DenseModel model = boundedModel(random, shape);
  for (int i = 0; i < model.rows(); ++i) model.A(i, i) += 3.0;
  NormalCase engine(host, model, random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
  ASSERT_EQ(qz::formSystem(ipm), 0);
  ASSERT_EQ(qz::factorSystem(ipm), 0);
  std::normal_distribution<double> normal;
  for (int j = 0; j < ipm->numCol; ++j) {
    const double factor = std::pow(10.0, spread * normal(random));
    ipm->lowerSlack[j] *= factor;
    ipm->upperSlack[j] *= factor;
  }
  ASSERT_EQ(qz::computeNormalDiag(ipm), 0);
  const Vector rhs = randomVector(random, ipm->numDim);
  Vector v = rhs;
  ASSERT_EQ(qz::solveSystem(ipm, v.data()), 0);
  EXPECT_EQ(ipm->typeMethod, expectedMethod);
  const Matrix kkt = newtonMatrix(engine);
  EXPECT_LE((kkt * v - rhs).norm(), 1e-7 * (kkt.norm() * v.norm() + rhs.norm()));
  const auto rows = kkt.bottomRows(ipm->numRow);
  EXPECT_LE((rows * v - rhs.tail(ipm->numRow)).norm(), 1e-6 * (1.0 + model.b.norm() + rhs.norm()));
}

TEST_F(NormalRefinement, ANearbyFactorIsGoodEnough) {
  for (uint32_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    solveWithStaleFactor(host, seed, 0.2, qz::IPM_METHOD_NORMAL);
  }
}

TEST_F(NormalRefinement, AnInaccurateSolutionIsTakenFromTheAugmentedSystem) {
  for (uint32_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    host.messages.clear();
    solveWithStaleFactor(host, seed, 6.0, qz::IPM_METHOD_AUGMENTED);
    EXPECT_TRUE(host.loggedText("The normal equations are no longer accurate"));
  }
}

// Two rows that contradict each other: no step meets them.
DenseModel contradiction(std::mt19937& random) {
  Matrix a(4, 9);
  for (int i = 0; i < 3; ++i) a.row(i) = randomVector(random, 9).transpose();
  a.row(3) = a.row(1);
  return equations(a);
}

TEST_F(NormalRefinement, TheChangeOfMethodLastsAndLeavesNoHandleOfTheFirst) {
  std::mt19937 random(5);
  NormalCase engine(host, contradiction(random), random);
  ASSERT_TRUE(engine.started);
  qz::Ipm* ipm = engine.ipm;
  ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
  ASSERT_EQ(qz::formSystem(ipm), 0);
  ASSERT_EQ(qz::factorSystem(ipm), 0);
  for (int solve : {1, 2}) {
    Vector v = Vector::Zero(13);
    v.tail(4) << 1.0, 2.0, 3.0, -2.0;
    ASSERT_EQ(qz::solveSystem(ipm, v.data()), 0) << solve;
    EXPECT_TRUE(v.allFinite());
    EXPECT_EQ(ipm->typeMethod, qz::IPM_METHOD_AUGMENTED);
    EXPECT_EQ(ipm->cholFactor, nullptr);
    EXPECT_NE(ipm->ldlFactor, nullptr);
    ASSERT_EQ(qz::formSystem(ipm), 0);
    ASSERT_EQ(qz::factorSystem(ipm), 0);
  }
}

TEST_F(NormalRefinement, EveryFailingAllocationOfTheChangeIsTold) {
  for (int64_t k = 1;; ++k) {
    ASSERT_LT(k, 200);
    std::mt19937 random(5);
    NormalCase engine(host, contradiction(random), random);
    ASSERT_TRUE(engine.started);
    qz::Ipm* ipm = engine.ipm;
    ASSERT_EQ(qz::ipmInitNormal(ipm), 0);
    ASSERT_EQ(qz::formSystem(ipm), 0);
    ASSERT_EQ(qz::factorSystem(ipm), 0);
    Vector v = Vector::Ones(13);
    v[12] = -1.0;
    host.failAllocation(k);
    const int32_t status = qz::solveSystem(ipm, v.data());
    host.failAllocation(0);
    if (status == 0) {
      EXPECT_GT(k, 10);
      break;
    }
    EXPECT_EQ(status, -1086) << k;
  }
}

}  // namespace
