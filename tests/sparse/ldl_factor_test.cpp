#include "sparse/ldl_factor.h"

#include <gtest/gtest.h>

#include <limits>

#include "dense/ldl_oracle.h"
#include "sparse/inertia.h"
#include "sparse/ldl_hand_made.h"
#include "sparse/ldl_matrices.h"
#include "support/test_host.h"

namespace {

using Eigen::MatrixXd;
using qztest::equalSupernodes;
using qztest::factorsInAnyOrder;
using qztest::HandMadeFactor;
using qztest::identityOrder;
using qztest::kAllShapes;
using qztest::kTolerance;
using qztest::makeMatrix;
using qztest::randomOrder;
using qztest::randomSupernodes;
using qztest::Shape;
using qztest::SymmetricMatrix;

class LDLFactor : public ::testing::Test {
 protected:
  LDLFactor() {
    int32_t status = -1;
    env = qz::LA_CreateLAEnv(host.pool(), 0, &status);
    EXPECT_EQ(status, 0);
  }
  ~LDLFactor() override { qz::LA_FreeLAEnv(&env); }

  int32_t factor(const SymmetricMatrix& a, HandMadeFactor& f) {
    return qz::LA_FactorMatrixLDL(0, a.n, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env, &f.symbolic,
                                  &f.numeric);
  }

  qztest::TestHost host;
  qz::LAEnv* env = nullptr;
};

TEST_F(LDLFactor, MultipliesOutToThePermutedMatrix) {
  for (Shape shape : kAllShapes) {
    for (int n : {0, 1, 2, 3, 7, 20, 60, 130}) {
      for (int widest : {1, 2, 4, 5, 30, 130}) {
        SCOPED_TRACE(qztest::nameOf(shape) + ", n " + std::to_string(n) + ", widest " + std::to_string(widest));
        std::mt19937 rng(static_cast<unsigned>(1000 * n + widest));
        const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(shape, n, rng));
        HandMadeFactor f(a, randomOrder(n, rng), randomSupernodes(n, widest, rng));
        ASSERT_EQ(factor(a, f), qz::LA_OK);
        EXPECT_EQ(f.symbolic.factorState, -1);
        EXPECT_EQ(f.symbolic.pivotTolerance, kTolerance);
        if (factorsInAnyOrder(shape)) {
          EXPECT_EQ(f.symbolic.numPerturbed, 0);
        }
        qztest::expectFactorOf(f.dense(), f.permuted(a));
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST_F(LDLFactor, OneDenseSupernodeAroundThePanelWidth) {
  for (int n : {95, 96, 97, 192, 193}) {
    std::mt19937 rng(static_cast<unsigned>(n));
    const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::Dense, n, rng));
    HandMadeFactor f(a, randomOrder(n, rng), {0, n});
    ASSERT_EQ(factor(a, f), qz::LA_OK);
    qztest::expectFactorOf(f.dense(), f.permuted(a));
  }
}

TEST_F(LDLFactor, WideSupernodesWithManyRowsBelow) {
  // Updates of several strips, from panels of several widths.
  for (int width : {1, 3, 4, 5, 96, 97, 110}) {
    std::mt19937 rng(static_cast<unsigned>(width));
    const int n = width + 230;
    const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::Dense, n, rng));
    HandMadeFactor f(a, identityOrder(n), {0, width, width + 100, width + 101, n});
    ASSERT_EQ(factor(a, f), qz::LA_OK);
    qztest::expectFactorOf(f.dense(), f.permuted(a));
  }
}

TEST_F(LDLFactor, FewRowsInATallTargetAreSearchedFor) {
  const int leaves = 60;
  const int wide = 20;
  const int n = leaves + 420;
  std::mt19937 rng(77);
  std::uniform_int_distribution<int> anywhere(leaves, n - 1);
  std::uniform_int_distribution<int> inTarget(leaves, leaves + wide - 1);
  MatrixXd dense = MatrixXd::Zero(n, n);
  dense.bottomRightCorner(n - leaves, n - leaves) = makeMatrix(Shape::Dense, n - leaves, rng);
  for (int j = 0; j < leaves; ++j) {
    dense(j, j) = j % 2 == 0 ? 3.0 : -3.0;
    const int first = inTarget(rng);
    dense(first, j) = dense(j, first) = 0.3;
    for (int k = 0; k < 1 + j % 4; ++k) {
      const int row = k == 0 && j % 5 == 0 ? n - 1 : anywhere(rng);
      dense(row, j) = dense(j, row) = -0.2;
    }
  }
  std::vector<int32_t> starts;
  for (int j = 0; j < leaves; ++j) starts.push_back(j);
  starts.insert(starts.end(), {leaves, leaves + wide, n});
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  HandMadeFactor f(a, identityOrder(n), starts);
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  qztest::expectFactorOf(f.dense(), f.permuted(a));
}

TEST_F(LDLFactor, IsRepeatableBitByBit) {
  std::mt19937 rng(3);
  const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::Indefinite, 80, rng));
  HandMadeFactor f(a, randomOrder(80, rng), randomSupernodes(80, 9, rng));
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  const MatrixXd first = f.dense().a;
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  EXPECT_EQ(first, f.dense().a);
}

TEST_F(LDLFactor, PermutedInputGivesTheSameFactor) {
  std::mt19937 rng(4);
  const int n = 70;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::QuasiDefinite, n, rng));
  HandMadeFactor f(a, randomOrder(n, rng), randomSupernodes(n, 6, rng));
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  const MatrixXd expected = f.dense().a;
  const SymmetricMatrix b = SymmetricMatrix::fromDense(f.permuted(a));
  ASSERT_EQ(
      qz::LA_FactorMatrixLDL(1, n, b.colBegin.data(), b.rowIndex.data(), b.value.data(), env, &f.symbolic, &f.numeric),
      qz::LA_OK);
  EXPECT_EQ(expected, f.dense().a);
}

TEST_F(LDLFactor, ZeroMatrixPerturbsAndCountsEveryPivot) {
  for (int width : {1, 2, 7, 50}) {
    const int n = 50;
    const SymmetricMatrix a = SymmetricMatrix::fromDense(MatrixXd::Zero(n, n));
    HandMadeFactor f(a, identityOrder(n), equalSupernodes(n, width));
    ASSERT_EQ(factor(a, f), qz::LA_OK);
    EXPECT_EQ(f.symbolic.numPerturbed, n);
    const MatrixXd l = f.dense().a;
    for (int k = 0; k < n; ++k) EXPECT_EQ(l(k, k), kTolerance);
    ASSERT_EQ(factor(a, f), qz::LA_OK);
    EXPECT_EQ(f.symbolic.numPerturbed, n) << "the count belongs to the last factorisation";
  }
}

TEST_F(LDLFactor, SignOfATinyPivotSurvives) {
  for (int width : {1, 3}) {
    MatrixXd dense = MatrixXd::Identity(6, 6);
    dense(2, 2) = -1e-12;
    dense(3, 3) = 1e-12;
    dense(4, 4) = -1e-300;
    const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
    HandMadeFactor f(a, identityOrder(6), equalSupernodes(6, width));
    ASSERT_EQ(factor(a, f), qz::LA_OK);
    EXPECT_EQ(f.symbolic.numPerturbed, 3);
    EXPECT_EQ(f.dense().a(2, 2), -kTolerance);
    EXPECT_EQ(f.dense().a(3, 3), kTolerance);
    EXPECT_EQ(f.dense().a(4, 4), -kTolerance);
  }
}

TEST_F(LDLFactor, ThresholdIsNotScaledByTheMatrix) {
  // A matrix of size 1e12 with a pivot of 1e-7: far below rounding, yet above the threshold.
  MatrixXd dense = 1e12 * MatrixXd::Identity(3, 3);
  dense(1, 1) = 1e-7;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  HandMadeFactor f(a, identityOrder(3), equalSupernodes(3, 1));
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  EXPECT_EQ(f.symbolic.numPerturbed, 0);
  EXPECT_EQ(f.dense().a(1, 1), 1e-7);
}

TEST_F(LDLFactor, PairInsideASupernodeBecomesATwoByTwoPivot) {
  MatrixXd dense = MatrixXd::Zero(4, 4);
  dense(0, 1) = dense(1, 0) = 1.0;
  dense(0, 2) = dense(2, 0) = 0.5;
  dense(2, 2) = dense(3, 3) = 1.0;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  HandMadeFactor together(a, identityOrder(4), {0, 2, 3, 4});
  ASSERT_EQ(factor(a, together), qz::LA_OK);
  EXPECT_EQ(together.symbolic.numPerturbed, 0);
  EXPECT_EQ(together.symbolic.pivotKind[0], -1);
  EXPECT_EQ(together.symbolic.pivotKind[1], -1);
  // Apart, the first column has no pivot of its own: none is delayed, it is perturbed.
  HandMadeFactor apart(a, identityOrder(4), {0, 1, 2, 3, 4});
  ASSERT_EQ(factor(a, apart), qz::LA_OK);
  EXPECT_EQ(apart.symbolic.numPerturbed, 1);
}

TEST_F(LDLFactor, PairOfTheStaticPermutationMayStillTakeSinglePivots) {
  MatrixXd dense(2, 2);
  dense << 4.0, 1.0, 1.0, -4.0;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  HandMadeFactor f(a, identityOrder(2), {0, 2});
  f.symbolic.pivotKind[0] = f.symbolic.pivotKind[1] = -1;
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  EXPECT_EQ(f.symbolic.pivotKind[0], 0);
  EXPECT_EQ(f.symbolic.pivotKind[1], 1);
}

TEST_F(LDLFactor, MissingDiagonalEntriesCountAsZero) {
  std::mt19937 rng(9);
  MatrixXd dense = makeMatrix(Shape::SaddlePoint, 30, rng);
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense, false);
  HandMadeFactor f(a, identityOrder(30), equalSupernodes(30, 30));
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  EXPECT_EQ(f.symbolic.numPerturbed, 0);
  qztest::expectFactorOf(f.dense(), f.permuted(a));
}

// ---- What does not fit ----

TEST_F(LDLFactor, WrongEntryCountIsInconsistent) {
  std::mt19937 rng(5);
  MatrixXd dense = makeMatrix(Shape::QuasiDefinite, 20, rng);
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  for (int32_t alreadyPermuted : {0, 1}) {
    for (int32_t delta : {-1, 1}) {
      HandMadeFactor f(a, identityOrder(20), equalSupernodes(20, 3));
      f.numeric.numEntries += delta;
      EXPECT_EQ(qz::LA_FactorMatrixLDL(alreadyPermuted, 20, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env,
                                       &f.symbolic, &f.numeric),
                qz::LA_INCONSISTENT);
      EXPECT_EQ(f.symbolic.factorState, -1);
    }
  }
}

TEST_F(LDLFactor, OtherPatternOfTheSameSizeIsInconsistent) {
  MatrixXd analysed = MatrixXd::Identity(6, 6);
  analysed(0, 1) = analysed(1, 0) = 0.5;
  MatrixXd other = MatrixXd::Identity(6, 6);
  other(0, 5) = other(5, 0) = 0.5;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(analysed);
  const SymmetricMatrix b = SymmetricMatrix::fromDense(other);
  HandMadeFactor f(a, identityOrder(6), equalSupernodes(6, 1));
  EXPECT_EQ(factor(b, f), qz::LA_INCONSISTENT);
  EXPECT_EQ(f.symbolic.factorState, -1);
  EXPECT_EQ(factor(a, f), qz::LA_OK);
}

TEST_F(LDLFactor, OtherSizeIsInconsistentAndNullIsABadParameter) {
  const SymmetricMatrix a = SymmetricMatrix::fromDense(MatrixXd::Identity(3, 3));
  HandMadeFactor f(a, identityOrder(3), equalSupernodes(3, 1));
  EXPECT_EQ(
      qz::LA_FactorMatrixLDL(0, 2, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env, &f.symbolic, &f.numeric),
      qz::LA_INCONSISTENT);
  EXPECT_EQ(qz::LA_FactorMatrixLDL(0, 3, a.colBegin.data(), a.rowIndex.data(), a.value.data(), nullptr, &f.symbolic,
                                   &f.numeric),
            qz::LA_BAD_PARAMETER);
  EXPECT_EQ(
      qz::LA_FactorMatrixLDL(0, 3, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env, nullptr, &f.numeric),
      qz::LA_BAD_PARAMETER);
  EXPECT_EQ(
      qz::LA_FactorMatrixLDL(0, 3, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env, &f.symbolic, nullptr),
      qz::LA_BAD_PARAMETER);
}

TEST_F(LDLFactor, CancelWordEndsIt) {
  std::mt19937 rng(6);
  const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::QuasiDefinite, 40, rng));
  HandMadeFactor f(a, identityOrder(40), equalSupernodes(40, 4));
  host.cancelThread(true);
  EXPECT_EQ(factor(a, f), qz::LA_CANCELLED);
  EXPECT_EQ(f.symbolic.factorState, -1);
  host.cancelThread(false);
  EXPECT_EQ(factor(a, f), qz::LA_OK);
  qztest::expectFactorOf(f.dense(), f.permuted(a));
}

TEST_F(LDLFactor, AllocatesNothing) {
  std::mt19937 rng(6);
  const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::QuasiDefinite, 40, rng));
  HandMadeFactor f(a, identityOrder(40), equalSupernodes(40, 4));
  env->computeInertia = 1;
  const int64_t before = host.allocations();
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  EXPECT_EQ(host.allocations(), before);
}

TEST_F(LDLFactor, NotANumberFlowsThrough) {
  std::mt19937 rng(7);
  for (int width : {1, 3, 40}) {
    SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::QuasiDefinite, 40, rng));
    a.value[0] = std::numeric_limits<double>::quiet_NaN();
    HandMadeFactor f(a, identityOrder(40), equalSupernodes(40, width));
    EXPECT_EQ(factor(a, f), qz::LA_OK);
  }
}

// ---- Inertia ----

struct Inertia {
  int positive = 0;
  int negative = 0;
};

Inertia inertiaByEigenvalues(const MatrixXd& a) {
  Inertia inertia;
  const Eigen::SelfAdjointEigenSolver<MatrixXd> solver(a, Eigen::EigenvaluesOnly);
  for (int i = 0; i < a.rows(); ++i) ++(solver.eigenvalues()(i) > 0.0 ? inertia.positive : inertia.negative);
  return inertia;
}

TEST_F(LDLFactor, InertiaAgreesWithTheEigenvalues) {
  env->computeInertia = 1;
  for (Shape shape : {Shape::QuasiDefinite, Shape::Arrow, Shape::Disconnected, Shape::Diagonal}) {
    for (int n : {1, 2, 10, 60}) {
      std::mt19937 rng(static_cast<unsigned>(n));
      const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(shape, n, rng));
      HandMadeFactor f(a, randomOrder(n, rng), randomSupernodes(n, 5, rng));
      ASSERT_EQ(factor(a, f), qz::LA_OK);
      const Inertia expected = inertiaByEigenvalues(a.dense);
      EXPECT_EQ(env->numPositivePivots, expected.positive) << qztest::nameOf(shape) << n;
      EXPECT_EQ(env->numNegativePivots, expected.negative) << qztest::nameOf(shape) << n;
    }
  }
  for (int n : {2, 3, 50, 100}) {
    std::mt19937 rng(static_cast<unsigned>(n));
    const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::Dense, n, rng));
    const Inertia expected = inertiaByEigenvalues(a.dense);
    HandMadeFactor f(a, randomOrder(n, rng), {0, n});
    ASSERT_EQ(factor(a, f), qz::LA_OK);
    EXPECT_EQ(env->numPositivePivots, expected.positive);
    EXPECT_EQ(env->numNegativePivots, expected.negative);
    for (int nb : {16, 37, 96}) {
      HandMadeFactor blocked(a, identityOrder(n), {0, n}, nb);
      blocked.factorBlocked(a.dense);
      if (blocked.symbolic.numPerturbed > 0) continue;
      env->numPositivePivots = env->numNegativePivots = -1;
      qz::GetLStatsLDLBlocked(&blocked.symbolic, env);
      EXPECT_EQ(env->numPositivePivots, expected.positive);
      EXPECT_EQ(env->numNegativePivots, expected.negative);
    }
  }
}

TEST_F(LDLFactor, InertiaIsLeftAloneUnlessAskedFor) {
  const SymmetricMatrix a = SymmetricMatrix::fromDense(MatrixXd::Identity(3, 3));
  HandMadeFactor f(a, identityOrder(3), equalSupernodes(3, 1));
  env->numPositivePivots = 77;
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  EXPECT_EQ(env->numPositivePivots, 77);
}

TEST_F(LDLFactor, PivotRatioOfPositivePivots) {
  env->computeInertia = 1;
  MatrixXd dense = MatrixXd::Identity(4, 4);
  dense(1, 1) = 8.0;
  dense(2, 2) = 0.25;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  HandMadeFactor f(a, identityOrder(4), equalSupernodes(4, 2));
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  EXPECT_EQ(env->numPositivePivots, 4);
  EXPECT_EQ(env->numNegativePivots, 0);
  EXPECT_EQ(env->pivotRatio, 0.25 / 8.0);
}

TEST_F(LDLFactor, PivotRatioOfAPairTakesItsDiagonal) {
  env->computeInertia = 1;
  MatrixXd dense(3, 3);
  dense << 0.0, 10.0, 0.0, 10.0, 0.5, 0.0, 0.0, 0.0, 2.0;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  HandMadeFactor f(a, identityOrder(3), {0, 2, 3});
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  EXPECT_EQ(env->numPositivePivots, 2);
  EXPECT_EQ(env->numNegativePivots, 1);
  // min(|0|, |0.5|) is not positive: it is passed over.
  EXPECT_EQ(env->pivotRatio, 1.0);
}

TEST_F(LDLFactor, TinyLargestPivotGivesRatioZero) {
  env->computeInertia = 1;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(MatrixXd::Identity(2, 2));
  HandMadeFactor f(a, identityOrder(2), equalSupernodes(2, 1));
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  // The threshold keeps factors away from such pivots: put them there.
  f.symbolic.lValues[0] = f.symbolic.lValues[1] = 1.1e-16;
  qz::GetLStatsLDL(&f.symbolic, env);
  EXPECT_EQ(env->pivotRatio, 0.0);
  f.symbolic.lValues[0] = f.symbolic.lValues[1] = 1.110223024625157e-16;
  qz::GetLStatsLDL(&f.symbolic, env);
  EXPECT_EQ(env->pivotRatio, 1.0);
  HandMadeFactor empty(SymmetricMatrix::fromDense(MatrixXd::Zero(0, 0)), {}, {0});
  qz::GetLStatsLDL(&empty.symbolic, env);
  EXPECT_EQ(env->pivotRatio, 0.0);
  EXPECT_EQ(env->numPositivePivots, 0);
}

TEST_F(LDLFactor, InertiaOfHugePairsDoesNotOverflow) {
  const SymmetricMatrix a = SymmetricMatrix::fromDense(MatrixXd::Constant(2, 2, 1.0));
  HandMadeFactor f(a, identityOrder(2), {0, 2});
  // (a b; b c) = 1e200 (3 1; 1 3), both eigenvalues positive.
  f.symbolic.lValues[0] = f.symbolic.lValues[3] = 3e200;
  f.symbolic.lValues[1] = 1e200;
  f.symbolic.pivotKind[0] = f.symbolic.pivotKind[1] = -1;
  qz::GetLStatsLDL(&f.symbolic, env);
  EXPECT_EQ(env->numPositivePivots, 2);
  EXPECT_EQ(env->numNegativePivots, 0);
}

}  // namespace
