#include "sparse/ldl_solve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "sparse/factor_cleanup.h"
#include "sparse/ldl_analysis.h"
#include "sparse/ldl_factor.h"
#include "sparse/ldl_hand_made.h"
#include "sparse/ldl_matrices.h"
#include "support/test_host.h"

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
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

double backwardError(const MatrixXd& a, const VectorXd& x, const VectorXd& b) {
  if (b.size() == 0) return 0.0;
  const VectorXd r = b - a * x;
  const double scale = a.cwiseAbs().rowwise().sum().maxCoeff() * x.cwiseAbs().maxCoeff() + b.cwiseAbs().maxCoeff();
  return scale == 0.0 ? 0.0 : r.cwiseAbs().maxCoeff() / scale;
}

VectorXd randomVector(int n, std::mt19937& rng) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  VectorXd x(n);
  for (int i = 0; i < n; ++i) x(i) = uniform(rng);
  return x;
}

class LDLSolve : public ::testing::Test {
 protected:
  LDLSolve() {
    int32_t status = -1;
    env = qz::LA_CreateLAEnv(host.pool(), 0, &status);
    EXPECT_EQ(status, 0);
  }
  ~LDLSolve() override { qz::LA_FreeLAEnv(&env); }

  void factor(const SymmetricMatrix& a, HandMadeFactor& f) {
    ASSERT_EQ(qz::LA_FactorMatrixLDL(0, a.n, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env, &f.symbolic,
                                     &f.numeric),
              qz::LA_OK);
  }
  int32_t solve(const SymmetricMatrix& a, HandMadeFactor& f, VectorXd& x) {
    const int32_t status = qz::LA_SolveMatrixLDL(0, a.colBegin.data(), a.rowIndex.data(), a.value.data(), x.data(), env,
                                                 &f.symbolic, &f.numeric);
    EXPECT_EQ(f.symbolic.factorState, -1);
    return status;
  }

  qztest::TestHost host;
  qz::LAEnv* env = nullptr;
};

// ---- The single solves ----

// The solve against the dense inverse of what was factored: a factor with perturbations solves another system.
void expectSolves(const HandMadeFactor& f, int32_t (*solver)(int32_t, double*, const qz::SymbolicFactor*, double*),
                  std::mt19937& rng) {
  const int n = f.symbolic.numRows;
  const MatrixXd factored = qztest::multiplyOut(f.dense(), false);
  const MatrixXd bound = qztest::multiplyOut(f.dense(), true);
  const VectorXd b = randomVector(n, rng);
  VectorXd y = b;
  double untouched = 4711.0;
  ASSERT_EQ(solver(1, &untouched, &f.symbolic, y.data()), qz::LA_OK);
  EXPECT_EQ(untouched, 4711.0);
  // Componentwise: |b - A y| <= c n eps |L||D||L'| |y|.
  const VectorXd residual = b - factored * y;
  const VectorXd allowed = 20.0 * (n + 8) * qztest::kEps * (bound * y.cwiseAbs() + b.cwiseAbs());
  for (int i = 0; i < n; ++i) ASSERT_LE(std::fabs(residual(i)), allowed(i)) << i;

  // The caller's order gives the same numbers, permuted.
  VectorXd x(n);
  for (int j = 0; j < n; ++j) x(f.symbolic.perm[j]) = b(j);
  VectorXd work = VectorXd::Constant(n, 1e300);
  ASSERT_EQ(solver(0, x.data(), &f.symbolic, work.data()), qz::LA_OK);
  for (int j = 0; j < n; ++j) ASSERT_EQ(x(f.symbolic.perm[j]), y(j));
}

TEST_F(LDLSolve, SingleSolveInvertsTheFactor) {
  for (Shape shape : kAllShapes) {
    for (int n : {0, 1, 2, 3, 8, 40, 130}) {
      for (int widest : {1, 2, 3, 7, 130}) {
        SCOPED_TRACE(qztest::nameOf(shape) + ", n " + std::to_string(n) + ", widest " + std::to_string(widest));
        std::mt19937 rng(static_cast<unsigned>(100 * n + widest));
        const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(shape, n, rng));
        HandMadeFactor f(a, randomOrder(n, rng), randomSupernodes(n, widest, rng));
        factor(a, f);
        expectSolves(f, qz::ldl_solve, rng);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST_F(LDLSolve, SingleSolveWithManyRowsBelow) {
  for (int width : {1, 2, 5, 8, 97}) {
    for (int below : {511, 512, 513, 700}) {
      std::mt19937 rng(static_cast<unsigned>(width));
      const int n = width + below;
      // Diagonally dominant: only the rows below matter here.
      MatrixXd dense = MatrixXd::Zero(n, n);
      for (int i = 0; i < n; ++i) dense(i, i) = (i % 2 == 0 ? 100.0 : -100.0);
      for (int j = 0; j < width; ++j)
        for (int i = width; i < n; ++i) dense(i, j) = dense(j, i) = 0.01 * ((i * 7 + j * 3) % 11 - 5);
      const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
      HandMadeFactor f(a, identityOrder(n), {0, width, n});
      factor(a, f);
      VectorXd b = randomVector(n, rng);
      VectorXd x = b;
      VectorXd work(n);
      ASSERT_EQ(qz::ldl_solve(0, x.data(), &f.symbolic, work.data()), qz::LA_OK);
      EXPECT_LT(backwardError(dense, x, b), 1e-15 * n);
    }
  }
}

TEST_F(LDLSolve, BlockedSolveInvertsTheFactor) {
  for (Shape shape : kAllShapes) {
    for (int n : {0, 1, 2, 9, 70}) {
      for (int nb : {1, 4, 16, 50}) {
        for (int widest : {3, 40, 70}) {
          SCOPED_TRACE(qztest::nameOf(shape) + ", n " + std::to_string(n) + ", nb " + std::to_string(nb) + ", widest " +
                       std::to_string(widest));
          std::mt19937 rng(static_cast<unsigned>(100 * n + nb));
          const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(shape, n, rng));
          HandMadeFactor f(a, randomOrder(n, rng), randomSupernodes(n, widest, rng), nb);
          f.factorBlocked(f.permuted(a));
          qztest::expectFactorOf(f.dense(), f.permuted(a));
          if (HasFatalFailure()) return;
          expectSolves(f, qz::ldl_psolve, rng);
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

class LDLSolveOverflow : public LDLSolve, public ::testing::WithParamInterface<int> {};

TEST_P(LDLSolveOverflow, LimitOfAComponent) {
  const int nb = GetParam();
  const double limit = 1.7976931348623158e304;
  for (double value : {limit, 1.8e304, -1.8e304, std::numeric_limits<double>::infinity(),
                       std::numeric_limits<double>::quiet_NaN(), std::nextafter(limit, 0.0)}) {
    const SymmetricMatrix a = SymmetricMatrix::fromDense(MatrixXd::Identity(3, 3));
    HandMadeFactor f(a, identityOrder(3), equalSupernodes(3, 1), nb);
    if (nb > 0) {
      f.factorBlocked(a.dense);
    } else {
      factor(a, f);
    }
    env->maxRefine = 0;
    VectorXd x = VectorXd::Ones(3);
    x(1) = value;
    EXPECT_EQ(solve(a, f, x), std::fabs(value) < limit ? qz::LA_OK : qz::LA_OVERFLOW) << value;
    for (int32_t useFgmres : {0, 1}) {
      env->useFgmres = useFgmres;
      env->maxRefine = 2;
      x(1) = 1.8e304;
      EXPECT_EQ(solve(a, f, x), qz::LA_OVERFLOW);
    }
  }
}

TEST_P(LDLSolveOverflow, PairsAreTestedToo) {
  const int nb = GetParam();
  MatrixXd dense(2, 2);
  dense << 0.0, 1e-6, 1e-6, 0.0;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  HandMadeFactor f(a, identityOrder(2), {0, 2}, nb);
  if (nb > 0) {
    f.factorBlocked(a.dense);
  } else {
    factor(a, f);
  }
  ASSERT_LT(f.symbolic.pivotKind[0], 0);
  env->maxRefine = 0;
  VectorXd x(2);
  x << 1.0, 1e299;
  EXPECT_EQ(solve(a, f, x), qz::LA_OVERFLOW);
  x << 1e299, 1.0;
  EXPECT_EQ(solve(a, f, x), qz::LA_OVERFLOW);
  x << 1e297, -1e297;
  EXPECT_EQ(solve(a, f, x), qz::LA_OK);
  // A pair without an inverse: b = 0 and u v = 1 are both divisions by zero, and no number comes out.
  for (double offDiagonal : {0.0, 1.0}) {
    f.symbolic.lValues[0] = 1.0;
    f.symbolic.lValues[nb > 0 ? 2 : 1] = offDiagonal;
    f.symbolic.lValues[3] = 1.0;
    x << 1.0, 1.0;
    EXPECT_EQ(solve(a, f, x), qz::LA_OVERFLOW);
  }
}

TEST_P(LDLSolveOverflow, OnlyQuotientsByPivotsAreTested) {
  const int nb = GetParam();
  // L = [1 0; -1 1]. Ahead of the division by the large pivots a component passes the limit; in the other case the
  // backward half leads beyond it.
  for (double scale : {1e10, 1.0}) {
    MatrixXd dense(2, 2);
    dense << scale, -scale, -scale, 2.0 * scale;
    const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
    HandMadeFactor f(a, identityOrder(2), {0, 2}, nb);
    if (nb > 0) {
      f.factorBlocked(a.dense);
    } else {
      factor(a, f);
    }
    ASSERT_GE(f.symbolic.pivotKind[0], 0);
    env->maxRefine = 0;
    VectorXd x(2);
    if (scale > 1.0) {
      x << 1.5e304, 1.5e304;
    } else {
      x << 1e304, 0.0;
    }
    EXPECT_EQ(solve(a, f, x), qz::LA_OK);
    EXPECT_NEAR(x(0) * scale, scale > 1.0 ? 4.5e304 : 2e304, 1e292);
  }
}

TEST_P(LDLSolveOverflow, NotANumberInTheMatrixIsReported) {
  const int nb = GetParam();
  std::mt19937 rng(12);
  for (int where : {0, 5, 19}) {
    MatrixXd dense = makeMatrix(Shape::QuasiDefinite, 20, rng);
    dense(where, where) = std::numeric_limits<double>::quiet_NaN();
    const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
    HandMadeFactor f(a, identityOrder(20), equalSupernodes(20, 20), nb);
    if (nb > 0) {
      f.factorBlocked(a.dense);
    } else {
      factor(a, f);
    }
    VectorXd x = VectorXd::Ones(20);
    EXPECT_EQ(solve(a, f, x), qz::LA_OVERFLOW) << where;
  }
}

INSTANTIATE_TEST_SUITE_P(Layouts, LDLSolveOverflow, ::testing::Values(0, 2));

// ---- Refinement ----

TEST_F(LDLSolve, RefinedSolutionsHaveSmallBackwardErrors) {
  for (Shape shape : kAllShapes) {
    if (shape == Shape::Zero) continue;
    for (int32_t useFgmres : {0, 1}) {
      for (int n : {1, 2, 10, 60, 120}) {
        SCOPED_TRACE(qztest::nameOf(shape) + ", n " + std::to_string(n) + ", fgmres " + std::to_string(useFgmres));
        std::mt19937 rng(static_cast<unsigned>(n));
        const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(shape, n, rng));
        // Perturbed pivots are for FGMRES; without it the supernode is the whole matrix.
        const bool apart = useFgmres != 0 || factorsInAnyOrder(shape);
        HandMadeFactor f(a, randomOrder(n, rng), apart ? randomSupernodes(n, 6, rng) : std::vector<int32_t>{0, n});
        factor(a, f);
        env->useFgmres = useFgmres;
        env->maxRefine = 64;
        const VectorXd b = randomVector(n, rng);
        VectorXd x = b;
        const int32_t status = solve(a, f, x);
        EXPECT_TRUE(status == qz::LA_OK || status == qz::LA_FGMRES_TOLERANCE || status == qz::LA_FGMRES_LIMIT);
        EXPECT_EQ(env->maxRefine, std::min(64, n));
        EXPECT_LT(backwardError(a.dense, x, b), 1e-13);
      }
    }
  }
}

TEST_F(LDLSolve, PermutedSystemGivesTheSameSolution) {
  std::mt19937 rng(21);
  const int n = 50;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::SaddlePoint, n, rng));
  HandMadeFactor f(a, randomOrder(n, rng), randomSupernodes(n, 5, rng));
  factor(a, f);
  const SymmetricMatrix permuted = SymmetricMatrix::fromDense(f.permuted(a));
  const VectorXd b = randomVector(n, rng);
  for (int32_t useFgmres : {0, 1}) {
    env->useFgmres = useFgmres;
    env->maxRefine = 20;
    VectorXd x(n);
    for (int j = 0; j < n; ++j) x(j) = b(f.symbolic.perm[j]);
    const VectorXd rhs = x;
    const int32_t status = qz::LA_SolveMatrixLDL(1, permuted.colBegin.data(), permuted.rowIndex.data(),
                                                 permuted.value.data(), x.data(), env, &f.symbolic, &f.numeric);
    EXPECT_TRUE(status == 0 || status == 6 || status == 7);
    EXPECT_LT(backwardError(permuted.dense, x, rhs), useFgmres != 0 ? 1e-13 : 1e-6);
  }
}

TEST_F(LDLSolve, BlockedFactorIsRefinedToo) {
  std::mt19937 rng(22);
  const int n = 60;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::SaddlePoint, n, rng));
  HandMadeFactor f(a, randomOrder(n, rng), randomSupernodes(n, 20, rng), 7);
  f.factorBlocked(f.permuted(a));
  const VectorXd b = randomVector(n, rng);
  VectorXd x = b;
  const int32_t status = solve(a, f, x);
  EXPECT_TRUE(status == 6 || status == 7);
  EXPECT_LT(backwardError(a.dense, x, b), 1e-13);
}

TEST_F(LDLSolve, WithoutRefinementAndPerturbationIsOnePlainSolve) {
  std::mt19937 rng(23);
  const int n = 30;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::QuasiDefinite, n, rng));
  HandMadeFactor f(a, identityOrder(n), equalSupernodes(n, 3));
  factor(a, f);
  for (int32_t useFgmres : {0, 1}) {
    env->useFgmres = useFgmres;
    env->maxRefine = 0;
    const VectorXd b = randomVector(n, rng);
    VectorXd expected = b;
    VectorXd work(n);
    ASSERT_EQ(qz::ldl_solve(0, expected.data(), &f.symbolic, work.data()), 0);
    VectorXd x = b;
    const int64_t allocations = host.allocations();
    EXPECT_EQ(solve(a, f, x), qz::LA_OK);
    EXPECT_EQ(host.allocations(), allocations);
    EXPECT_EQ(x, expected);
    EXPECT_EQ(env->maxRefine, 0);
  }
}

// A diagonal matrix one entry of which is perturbed: the steps can be counted on the error of that component.
TEST_F(LDLSolve, StepsOfAPerturbedFactor) {
  const int n = 100;
  MatrixXd dense = MatrixXd::Identity(n, n);
  dense(3, 3) = 1e-12;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  HandMadeFactor f(a, identityOrder(n), equalSupernodes(n, 1));
  factor(a, f);
  ASSERT_EQ(f.symbolic.numPerturbed, 1);
  for (int32_t useFgmres : {0, 1}) {
    env->useFgmres = useFgmres;
    env->maxRefine = 0;
    VectorXd x = VectorXd::Zero(n);
    x(3) = 1e-12;
    const int32_t status = solve(a, f, x);
    EXPECT_EQ(env->maxRefine, useFgmres != 0 ? 64 : 2);
    if (useFgmres == 0) {
      EXPECT_EQ(status, qz::LA_OK);
      // x := x + (1e-12 - 1e-12 x) / tol, twice.
      double expected = 1e-12 / kTolerance;
      for (int step = 0; step < 2; ++step) expected += (1e-12 - expected * 1e-12) / kTolerance;
      EXPECT_EQ(x(3), expected);
    } else {
      EXPECT_TRUE(status == qz::LA_FGMRES_TOLERANCE || status == qz::LA_FGMRES_LIMIT);
    }
  }
}

TEST_F(LDLSolve, StepsAreCappedByTheSize) {
  for (int32_t useFgmres : {0, 1}) {
    const SymmetricMatrix a = SymmetricMatrix::fromDense(1e-12 * MatrixXd::Identity(1, 1));
    HandMadeFactor f(a, identityOrder(1), {0, 1});
    factor(a, f);
    env->useFgmres = useFgmres;
    env->maxRefine = 0;
    VectorXd x = VectorXd::Ones(1);
    solve(a, f, x);
    EXPECT_EQ(env->maxRefine, 1) << "min(64 or 2, n)";
    env->maxRefine = 50;
    x = VectorXd::Ones(1);
    solve(a, f, x);
    EXPECT_EQ(env->maxRefine, 1);
  }
}

TEST_F(LDLSolve, PlainRefinementRunsAllItsStepsOnAZeroResidual) {
  const SymmetricMatrix a = SymmetricMatrix::fromDense(2.0 * MatrixXd::Identity(4, 4));
  HandMadeFactor f(a, identityOrder(4), equalSupernodes(4, 1));
  factor(a, f);
  env->useFgmres = 0;
  env->maxRefine = 3;
  VectorXd x = VectorXd::Constant(4, 2.0);
  const int64_t allocations = host.allocations();
  EXPECT_EQ(solve(a, f, x), qz::LA_OK);
  EXPECT_EQ(x, VectorXd::Ones(4));
  EXPECT_EQ(env->maxRefine, 3);
  EXPECT_EQ(host.allocations(), allocations);
  // A factor off by two: x0 = 0.5, and each step halves the error.
  for (int i = 0; i < 4; ++i) f.symbolic.lValues[i] = 4.0;
  x = VectorXd::Constant(4, 2.0);
  EXPECT_EQ(solve(a, f, x), qz::LA_OK);
  EXPECT_EQ(x, VectorXd::Constant(4, 0.9375));
}

TEST_F(LDLSolve, ZeroMatrixIsSolvedWithoutANumberBeyondTheLimit) {
  for (int32_t useFgmres : {0, 1}) {
    const SymmetricMatrix a = SymmetricMatrix::fromDense(MatrixXd::Zero(5, 5));
    HandMadeFactor f(a, identityOrder(5), equalSupernodes(5, 2));
    factor(a, f);
    env->useFgmres = useFgmres;
    env->maxRefine = 0;
    VectorXd x = VectorXd::Ones(5);
    const int32_t status = solve(a, f, x);
    EXPECT_TRUE(status == 0 || status == 6 || status == 7);
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(std::isfinite(x(i)));
  }
}

TEST_F(LDLSolve, EmptySystem) {
  const SymmetricMatrix a = SymmetricMatrix::fromDense(MatrixXd::Zero(0, 0));
  HandMadeFactor f(a, {}, {0});
  factor(a, f);
  VectorXd x(0);
  EXPECT_EQ(solve(a, f, x), qz::LA_OK);
  EXPECT_EQ(env->maxRefine, 0);
}

TEST_F(LDLSolve, NullHandlesAreBadParameters) {
  const SymmetricMatrix a = SymmetricMatrix::fromDense(MatrixXd::Identity(1, 1));
  HandMadeFactor f(a, identityOrder(1), {0, 1});
  double x = 1.0;
  EXPECT_EQ(qz::LA_SolveMatrixLDL(0, a.colBegin.data(), a.rowIndex.data(), a.value.data(), &x, nullptr, &f.symbolic,
                                  &f.numeric),
            qz::LA_BAD_PARAMETER);
  EXPECT_EQ(
      qz::LA_SolveMatrixLDL(0, a.colBegin.data(), a.rowIndex.data(), a.value.data(), &x, env, nullptr, &f.numeric),
      qz::LA_BAD_PARAMETER);
  EXPECT_EQ(
      qz::LA_SolveMatrixLDL(0, a.colBegin.data(), a.rowIndex.data(), a.value.data(), &x, env, &f.symbolic, nullptr),
      qz::LA_BAD_PARAMETER);
}

TEST_F(LDLSolve, EveryFailedAllocationIsReportedAndNothingLeaks) {
  std::mt19937 rng(31);
  const int n = 40;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::QuasiDefinite, n, rng));
  HandMadeFactor f(a, identityOrder(n), equalSupernodes(n, 1));
  factor(a, f);
  const int64_t before = host.outstanding();
  const int64_t restart = env->fgmresRestart;
  // The scratch of so small a factor doesn't hold the area of FGMRES: two allocations.
  ASSERT_LT(f.symbolic.maxBlockEntries + f.symbolic.maxPanelEntries, restart * (restart + 2 * n + 3));
  for (int64_t k = 1; k <= 2; ++k) {
    host.failAllocation(k);
    VectorXd x = VectorXd::Ones(n);
    EXPECT_EQ(solve(a, f, x), qz::LA_NO_MEMORY) << k;
    EXPECT_EQ(host.outstanding(), before);
  }
  host.failAllocation(0);
  VectorXd x = VectorXd::Ones(n);
  const int64_t allocations = host.allocations();
  const int32_t status = solve(a, f, x);
  EXPECT_TRUE(status == 6 || status == 7);
  EXPECT_EQ(host.allocations(), allocations + 2);
  EXPECT_EQ(host.outstanding(), before);
}

TEST_F(LDLSolve, LargeScratchServesAsTheArea) {
  std::mt19937 rng(32);
  const int n = 150;
  const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(Shape::Dense, n, rng));
  HandMadeFactor f(a, identityOrder(n), {0, n});
  factor(a, f);
  ASSERT_GE(f.symbolic.maxBlockEntries + f.symbolic.maxPanelEntries, 16 * (16 + 2 * n + 3));
  const int64_t allocations = host.allocations();
  const VectorXd b = randomVector(n, rng);
  VectorXd x = b;
  const int32_t status = solve(a, f, x);
  EXPECT_TRUE(status == 6 || status == 7);
  EXPECT_EQ(host.allocations(), allocations + 1) << "the copy of the right-hand side";
  EXPECT_LT(backwardError(a.dense, x, b), 1e-14);
}

// ---- Behind the analysis ----

TEST_F(LDLSolve, AnalysedFactoredAndSolved) {
  env->computeInertia = 1;
  for (Shape shape : kAllShapes) {
    for (int n : {1, 2, 15, 90, 200}) {
      SCOPED_TRACE(qztest::nameOf(shape) + ", n " + std::to_string(n));
      std::mt19937 rng(static_cast<unsigned>(n + 1));
      const SymmetricMatrix a = SymmetricMatrix::fromDense(makeMatrix(shape, n, rng), shape != Shape::SaddlePoint);
      const int64_t before = host.outstanding();
      qz::SymbolicFactor* symbolic = nullptr;
      qz::NumericFactor* numeric = nullptr;
      ASSERT_EQ(
          qz::LA_AnalyzeMatrixLDL(n, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env, &symbolic, &numeric),
          qz::LA_OK);
      ASSERT_EQ(symbolic->blocked, 0);
      // Twice, as the engine refills a factor.
      for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(
            qz::LA_FactorMatrixLDL(0, n, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env, symbolic, numeric),
            qz::LA_OK);
        EXPECT_EQ(env->numPositivePivots + env->numNegativePivots, n);
        if (shape == Shape::Zero) continue;
        env->maxRefine = 64;
        const VectorXd b = randomVector(n, rng);
        VectorXd x = b;
        const int32_t status = qz::LA_SolveMatrixLDL(0, a.colBegin.data(), a.rowIndex.data(), a.value.data(), x.data(),
                                                     env, symbolic, numeric);
        EXPECT_TRUE(status == 6 || status == 7);
        EXPECT_LT(backwardError(a.dense, x, b), 1e-13);
      }
      qz::LA_CleanUpLDL(env, &symbolic, &numeric);
      EXPECT_EQ(host.outstanding(), before);
    }
  }
}

}  // namespace
