// The sparse Cholesky factorisation and its solves: on normal matrices through the analysis, and on records made by
// hand for structures that the analysis seldom gives and for the blocked layout.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "dense/dense_cholesky.h"
#include "shell/pool.h"
#include "sparse/cholesky_analysis.h"
#include "sparse/cholesky_factor.h"
#include "sparse/cholesky_solve.h"
#include "sparse/factor_cleanup.h"
#include "sparse/ldl_hand_made.h"
#include "sparse/matrix_norms.h"
#include "support/test_host.h"

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
using qztest::equalSupernodes;
using qztest::HandMadeFactor;
using qztest::identityOrder;
using qztest::randomOrder;
using qztest::randomSupernodes;
using qztest::SymmetricMatrix;

constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr double kTolerance = 1.053671212772351e-8;

// A D A' of a random sparse A with m rows, D over `decades` decades.
MatrixXd normalMatrix(int m, int n, double perColumn, double decades, std::mt19937& random) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::uniform_real_distribution<double> chance(0.0, 1.0);
  MatrixXd a = MatrixXd::Zero(m, n);
  for (int j = 0; j < n; ++j) {
    if (m > 0) a(static_cast<int>(random() % static_cast<unsigned>(m)), j) = 1.0;
    for (int i = 0; i < m; ++i)
      if (chance(random) < perColumn / m) a(i, j) = uniform(random);
  }
  const VectorXd d = VectorXd::NullaryExpr(n, [&] { return std::pow(10.0, decades * uniform(random)); });
  const MatrixXd product = a * d.asDiagonal() * a.transpose();
  return product.selfadjointView<Eigen::Lower>();
}

double maxNorm(const MatrixXd& a) {
  return a.size() == 0 ? 0.0 : a.cwiseAbs().rowwise().sum().maxCoeff();
}

// |A x - b| / (|A| |x| + |b|), largest components.
double backwardError(const MatrixXd& a, const VectorXd& x, const VectorXd& b) {
  if (b.size() == 0) return 0.0;
  return (a * x - b).cwiseAbs().maxCoeff() / (maxNorm(a) * x.cwiseAbs().maxCoeff() + b.cwiseAbs().maxCoeff());
}

VectorXd randomVector(int n, std::mt19937& random) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  return VectorXd::NullaryExpr(n, [&] { return uniform(random); });
}

// L of a record by hand, spread over a dense matrix.
MatrixXd denseFactor(const qz::SymbolicFactor& f) {
  MatrixXd l = MatrixXd::Zero(f.numRows, f.numRows);
  for (int32_t s = 0; s < f.numSupernodes; ++s) {
    const int64_t h = f.lIndexBegin[s + 1] - f.lIndexBegin[s];
    for (int32_t k = 0; k < f.snStart[s + 1] - f.snStart[s]; ++k)
      for (int64_t i = k; i < h; ++i)
        l(f.lIndex[f.lIndexBegin[s] + i], f.snStart[s] + k) = f.lValues[f.lValueBegin[s] + k * h + i];
  }
  return l;
}

// Writes a dense L into a blocked record: block columns row by row.
void fillBlocked(const qz::SymbolicFactor& f, const MatrixXd& l) {
  for (int32_t s = 0; s < f.numSupernodes; ++s) {
    const int32_t w = f.snStart[s + 1] - f.snStart[s];
    const auto h = static_cast<int32_t>(f.lIndexBegin[s + 1] - f.lIndexBegin[s]);
    double* value = f.lValues + f.lValueBegin[s];
    for (int32_t from = 0; from < w; from += f.blockSize) {
      const int32_t to = std::min(w, from + f.blockSize);
      for (int32_t i = from; i < h; ++i)
        for (int32_t k = from; k < to; ++k) {
          const int32_t row = f.lIndex[f.lIndexBegin[s] + i];
          *value++ = k > i ? std::nan("") : l(row, f.snStart[s] + k);
        }
    }
    ASSERT_EQ(value, f.lValues + f.lValueBegin[s + 1]);
  }
}

class Cholesky : public ::testing::Test {
 protected:
  Cholesky() {
    int32_t status = -1;
    env = qz::LA_CreateLAEnv(host.pool(), 0, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(qz::LA_SetIntParam(env, qz::LA_KEY_PROBLEM_KIND, 0), 0);
  }
  ~Cholesky() override {
    qz::LA_CleanUpCholesky(env, &symbolic, &numeric);
    qz::LA_FreeLAEnv(&env);
    EXPECT_EQ(host.outstanding(), 0);
  }

  int32_t analyze(const SymmetricMatrix& a) {
    qz::LA_CleanUpCholesky(env, &symbolic, &numeric);
    return qz::LA_AnalyzeMatrixCholesky(a.n, a.colBegin.data(), a.rowIndex.data(), env, &symbolic, &numeric);
  }
  int32_t factor(const SymmetricMatrix& a) {
    return qz::LA_FactorMatrixCholesky(0, a.n, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env, symbolic,
                                       numeric);
  }
  int32_t factor(const SymmetricMatrix& a, HandMadeFactor& f) {
    return qz::LA_FactorMatrixCholesky(0, a.n, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env, &f.symbolic,
                                       &f.numeric);
  }
  VectorXd solve(const VectorXd& b) {
    VectorXd x = b;
    qz::LA_SolveMatrixChol(0, x.data(), env, symbolic, numeric);
    return x;
  }

  qztest::TestHost host;
  qz::LAEnv* env = nullptr;
  qz::SymbolicFactor* symbolic = nullptr;
  qz::NumericFactor* numeric = nullptr;
};

TEST_F(Cholesky, SolvesNormalMatricesWithASmallBackwardError) {
  for (int m : {0, 1, 2, 3, 7, 30, 90, 200}) {
    for (double perColumn : {0.0, 1.0, 3.0, 12.0}) {
      for (unsigned seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE("m " + std::to_string(m) + ", per column " + std::to_string(perColumn) + ", seed " +
                     std::to_string(seed));
        std::mt19937 random(seed);
        MatrixXd dense = normalMatrix(m, 3 * m, perColumn, 2.0, random);
        dense.diagonal().array() += 1.0;
        const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
        ASSERT_EQ(analyze(a), qz::LA_OK);
        ASSERT_EQ(factor(a), qz::LA_OK);
        EXPECT_EQ(symbolic->factorState, -1);
        const VectorXd b = randomVector(m, random);
        EXPECT_LE(backwardError(dense, solve(b), b), 100.0 * (m + 1) * kEps);
        EXPECT_EQ(symbolic->factorState, -1);
      }
    }
  }
}

TEST_F(Cholesky, RefillsTheFactorWithNewValues) {
  std::mt19937 random(5);
  const MatrixXd pattern = normalMatrix(60, 150, 3.0, 0.0, random) + MatrixXd::Identity(60, 60);
  ASSERT_EQ(analyze(SymmetricMatrix::fromDense(pattern)), qz::LA_OK);
  for (int round = 0; round < 3; ++round) {
    MatrixXd dense = pattern;
    dense.diagonal().array() += 10.0 * round;
    const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
    ASSERT_EQ(factor(a), qz::LA_OK);
    const VectorXd b = randomVector(60, random);
    EXPECT_LE(backwardError(dense, solve(b), b), 1e-12);
  }
}

TEST_F(Cholesky, DependentRowsDropOut) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const int m = 40;
    const int rank = 30;
    // Rows 30 to 39 are combinations of the others.
    MatrixXd rows = MatrixXd::Zero(m, 80);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    for (int i = 0; i < rank; ++i)
      for (int j = 0; j < 80; ++j)
        if (random() % 8 == 0 || j == i) rows(i, j) = j == i ? 2.0 : uniform(random);
    for (int i = rank; i < m; ++i) rows.row(i) = rows.row(i - rank) - 2.0 * rows.row(i - rank + 7);
    const MatrixXd dense = rows * rows.transpose();
    const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
    ASSERT_EQ(analyze(a), qz::LA_OK);
    ASSERT_EQ(factor(a), qz::LA_OK);
    const VectorXd b = rows * randomVector(80, random);
    const VectorXd x = solve(b);
    ASSERT_TRUE(x.allFinite());
    EXPECT_LE((dense * x - b).norm(), 1e-7 * b.norm());
    int zero = 0;
    for (int i = 0; i < m; ++i) zero += std::fabs(x[i]) < 1e-50 ? 1 : 0;
    EXPECT_EQ(zero, m - rank);
  }
}

TEST_F(Cholesky, EmptyRowsWithoutDiagonalGiveZero) {
  std::mt19937 random(6);
  MatrixXd dense = normalMatrix(30, 60, 3.0, 0.0, random) + MatrixXd::Identity(30, 30);
  for (int i : {0, 7, 8, 29}) {
    dense.row(i).setZero();
    dense.col(i).setZero();
  }
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense, false);
  ASSERT_LT(a.colBegin[1], 1);
  ASSERT_EQ(analyze(a), qz::LA_OK);
  ASSERT_EQ(factor(a), qz::LA_OK);
  VectorXd b = randomVector(30, random);
  const VectorXd x = solve(b);
  for (int i : {0, 7, 8, 29}) {
    EXPECT_LE(std::fabs(x[i]), 1e-100);
    b[i] = 0.0;
  }
  EXPECT_LE(backwardError(dense, x, b), 1e-13);
}

TEST_F(Cholesky, MatrixOfNothingButZerosGivesZero) {
  const SymmetricMatrix a = SymmetricMatrix::fromDense(MatrixXd::Zero(12, 12));
  ASSERT_EQ(analyze(a), qz::LA_OK);
  ASSERT_EQ(factor(a), qz::LA_OK);
  EXPECT_EQ(symbolic->pivotTolerance, 0.0);
  EXPECT_LE(solve(VectorXd::Ones(12)).cwiseAbs().maxCoeff(), 1e-100);
}

TEST_F(Cholesky, EntriesThatAreNoNumbersEndWithoutAFailure) {
  std::mt19937 random(7);
  MatrixXd dense = normalMatrix(50, 100, 4.0, 1.0, random) + MatrixXd::Identity(50, 50);
  dense(20, 20) = std::nan("");
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  ASSERT_EQ(analyze(a), qz::LA_OK);
  EXPECT_EQ(factor(a), qz::LA_OK);
  EXPECT_TRUE(std::isfinite(symbolic->pivotTolerance));
}

TEST_F(Cholesky, FactorOfHandMadeSupernodesMultipliesOut) {
  for (int n : {1, 2, 5, 20, 60, 130}) {
    for (int widest : {1, 2, 4, 5, 30, 130}) {
      for (double perColumn : {1.0, 4.0}) {
        SCOPED_TRACE("n " + std::to_string(n) + ", widest " + std::to_string(widest));
        std::mt19937 random(static_cast<unsigned>(1000 * n + widest));
        const MatrixXd dense = normalMatrix(n, 2 * n, perColumn, 1.0, random) + MatrixXd::Identity(n, n);
        const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
        HandMadeFactor f(a, randomOrder(n, random), randomSupernodes(n, widest, random));
        ASSERT_EQ(factor(a, f), qz::LA_OK);
        const MatrixXd l = denseFactor(f.symbolic);
        const MatrixXd permuted = f.permuted(a);
        EXPECT_LE((l * l.transpose() - permuted).norm(), 20.0 * n * kEps * permuted.norm());
        const Eigen::LLT<MatrixXd> oracle(permuted);
        ASSERT_EQ(oracle.info(), Eigen::Success);
        EXPECT_LE((l - MatrixXd(oracle.matrixL())).norm(), 1e-9 * l.norm());
      }
    }
  }
}

// Descendants of every width, one, some and all of whose rows are columns of the supernode that they reach.
TEST_F(Cholesky, PartsOfSupernodesReachTheirAncestorsOneAfterTheOther) {
  for (int width : {1, 2, 3, 4, 5, 40, 97}) {
    for (int touched : {1, 2, 9, 10}) {
      SCOPED_TRACE("width " + std::to_string(width) + ", touched " + std::to_string(touched));
      const int n = width + 30;
      std::mt19937 random(static_cast<unsigned>(100 * width + touched));
      MatrixXd dense = MatrixXd::Identity(n, n) * 50.0;
      std::uniform_real_distribution<double> uniform(-1.0, 1.0);
      const auto couple = [&](int i, int j) { dense(i, j) = dense(j, i) = uniform(random); };
      for (int j = 0; j < width; ++j) {
        for (int i = 0; i < j; ++i) couple(i, j);
        // `touched` columns of each of three ancestors of ten columns.
        for (int block = 0; block < 3; ++block)
          for (int k = 0; k < touched; ++k) couple(width + 10 * block + (10 - touched) / 2 + k, j);
      }
      const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
      HandMadeFactor f(a, identityOrder(n), {0, width, width + 10, width + 20, n});
      ASSERT_EQ(factor(a, f), qz::LA_OK);
      const MatrixXd l = denseFactor(f.symbolic);
      EXPECT_LE((l * l.transpose() - dense).norm(), 20.0 * n * kEps * dense.norm());
    }
  }
}

TEST_F(Cholesky, IsRepeatableBitByBit) {
  std::mt19937 random(3);
  const MatrixXd dense = normalMatrix(80, 200, 4.0, 2.0, random) + MatrixXd::Identity(80, 80);
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  HandMadeFactor f(a, randomOrder(80, random), randomSupernodes(80, 9, random));
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  const MatrixXd first = denseFactor(f.symbolic);
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  EXPECT_TRUE(first == denseFactor(f.symbolic));
}

// The lower triangle of a dense matrix by columns.
SymmetricMatrix lowerOf(const MatrixXd& dense) {
  SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  SymmetricMatrix lower;
  lower.n = a.n;
  for (int32_t j = 0; j < a.n; ++j) {
    lower.colBegin.push_back(static_cast<int32_t>(lower.rowIndex.size()));
    for (int32_t p = a.colBegin[static_cast<size_t>(j)]; p < a.colBegin[static_cast<size_t>(j) + 1]; ++p) {
      if (a.rowIndex[static_cast<size_t>(p)] < j) continue;
      lower.rowIndex.push_back(a.rowIndex[static_cast<size_t>(p)]);
      lower.value.push_back(a.value[static_cast<size_t>(p)]);
    }
  }
  lower.colBegin.push_back(static_cast<int32_t>(lower.rowIndex.size()));
  return lower;
}

TEST_F(Cholesky, PermutedInputIsOnlyReadAndGivesTheSameFactor) {
  std::mt19937 random(4);
  const int n = 70;
  const MatrixXd dense = normalMatrix(n, 200, 4.0, 2.0, random) + MatrixXd::Identity(n, n);
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  HandMadeFactor f(a, randomOrder(n, random), randomSupernodes(n, 6, random));
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  const MatrixXd expected = denseFactor(f.symbolic);
  const double tolerance = f.symbolic.pivotTolerance;
  const int32_t* ownRows = f.numeric.rowIndex;

  const SymmetricMatrix lower = lowerOf(f.permuted(a));
  const SymmetricMatrix before = lower;
  ASSERT_EQ(qz::LA_FactorMatrixCholesky(1, n, lower.colBegin.data(), lower.rowIndex.data(), lower.value.data(), env,
                                        &f.symbolic, &f.numeric),
            qz::LA_OK);
  EXPECT_TRUE(expected == denseFactor(f.symbolic));
  EXPECT_NEAR(f.symbolic.pivotTolerance, tolerance, 1e-14 * tolerance);
  EXPECT_EQ(f.numeric.rowIndex, ownRows);
  EXPECT_EQ(before.value, lower.value);

  // A solve in the factor's order works on the vector itself.
  const VectorXd b = randomVector(n, random);
  VectorXd x = b;
  qz::LA_SolveMatrixChol(1, x.data(), env, &f.symbolic, &f.numeric);
  EXPECT_LE(backwardError(f.permuted(a), x, b), 1e-12);

  // And the record's own arrays still serve the next call.
  ASSERT_EQ(factor(a, f), qz::LA_OK);
  EXPECT_TRUE(expected == denseFactor(f.symbolic));
}

TEST_F(Cholesky, ToleranceFollowsTheNormOfTheMatrix) {
  std::mt19937 random(8);
  const MatrixXd dense = normalMatrix(20, 50, 4.0, 1.0, random) + MatrixXd::Identity(20, 20);
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  ASSERT_EQ(analyze(a), qz::LA_OK);
  ASSERT_EQ(factor(a), qz::LA_OK);
  const double norm = maxNorm(dense);
  EXPECT_NEAR(symbolic->pivotTolerance, qz::choleskyPivotTolerance(norm), 1e-13 * symbolic->pivotTolerance);

  // Other kinds of problems keep what stands there.
  ASSERT_EQ(qz::LA_SetIntParam(env, qz::LA_KEY_PROBLEM_KIND, 4), 0);
  symbolic->pivotTolerance = 0.125;
  ASSERT_EQ(factor(a), qz::LA_OK);
  EXPECT_EQ(symbolic->pivotTolerance, 0.125);
  ASSERT_EQ(analyze(a), qz::LA_OK);
  ASSERT_EQ(factor(a), qz::LA_OK);
  EXPECT_EQ(symbolic->pivotTolerance, 0.0);
}

TEST(CholeskyPivotTolerance, JumpsDownAtItsTwoLimits) {
  const double first = 9741.98468610229;
  const double second = 94906265.62425153;
  const auto above = [](double x) { return std::nextafter(x, 1e300); };
  EXPECT_EQ(qz::choleskyPivotTolerance(0.0), 0.0);
  EXPECT_EQ(qz::choleskyPivotTolerance(1.0), kTolerance);
  EXPECT_EQ(qz::choleskyPivotTolerance(first), kTolerance * first);
  EXPECT_EQ(qz::choleskyPivotTolerance(above(first)), kTolerance * std::sqrt(above(first)));
  EXPECT_EQ(qz::choleskyPivotTolerance(second), kTolerance * std::sqrt(second));
  EXPECT_DOUBLE_EQ(qz::choleskyPivotTolerance(above(second)), kTolerance * std::pow(second, 0.25));
  EXPECT_DOUBLE_EQ(qz::choleskyPivotTolerance(1e20), kTolerance * 1e5);
}

TEST_F(Cholesky, CancelledThreadEndsTheFactorisation) {
  std::mt19937 random(9);
  const SymmetricMatrix a =
      SymmetricMatrix::fromDense(normalMatrix(40, 90, 3.0, 1.0, random) + MatrixXd::Identity(40, 40));
  ASSERT_EQ(analyze(a), qz::LA_OK);
  host.cancelThread(true);
  EXPECT_EQ(factor(a), qz::LA_CANCELLED);
  EXPECT_EQ(symbolic->factorState, -1);
  host.cancelThread(false);
  EXPECT_EQ(factor(a), qz::LA_OK);
}

TEST_F(Cholesky, RefusesWhatWasNotAnalysed) {
  std::mt19937 random(10);
  const MatrixXd dense = normalMatrix(20, 30, 3.0, 1.0, random) + MatrixXd::Identity(20, 20);
  const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
  ASSERT_EQ(analyze(a), qz::LA_OK);
  const SymmetricMatrix smaller = SymmetricMatrix::fromDense(dense.topLeftCorner(19, 19));
  EXPECT_EQ(factor(smaller), qz::LA_INCONSISTENT);
  const SymmetricMatrix fuller = SymmetricMatrix::fromDense(MatrixXd::Ones(20, 20));
  EXPECT_EQ(factor(fuller), qz::LA_INCONSISTENT);
  EXPECT_EQ(qz::LA_FactorMatrixCholesky(0, 20, a.colBegin.data(), a.rowIndex.data(), a.value.data(), nullptr, symbolic,
                                        numeric),
            qz::LA_BAD_PARAMETER);
  EXPECT_EQ(
      qz::LA_FactorMatrixCholesky(0, 20, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env, nullptr, numeric),
      qz::LA_BAD_PARAMETER);
  EXPECT_EQ(
      qz::LA_FactorMatrixCholesky(0, 20, a.colBegin.data(), a.rowIndex.data(), a.value.data(), env, symbolic, nullptr),
      qz::LA_BAD_PARAMETER);
  EXPECT_EQ(factor(a), qz::LA_OK);
}

TEST_F(Cholesky, EntryWithoutAPlaceInTheStructureIsInconsistent) {
  // Analysed without the coupling of rows 0 and 3, factored with it in place of the one of rows 1 and 3.
  MatrixXd dense = MatrixXd::Identity(4, 4) * 3.0;
  dense(1, 3) = dense(3, 1) = 1.0;
  HandMadeFactor f(SymmetricMatrix::fromDense(dense), identityOrder(4), {0, 1, 2, 3, 4});
  dense(1, 3) = dense(3, 1) = 0.0;
  dense(0, 3) = dense(3, 0) = 1.0;
  EXPECT_EQ(factor(SymmetricMatrix::fromDense(dense), f), qz::LA_INCONSISTENT);
  EXPECT_EQ(f.symbolic.factorState, -1);
}

TEST_F(Cholesky, EveryFailingAllocationOfTheAnalysisIsToldAndCleanedUp) {
  std::mt19937 random(11);
  const SymmetricMatrix a =
      SymmetricMatrix::fromDense(normalMatrix(50, 120, 3.0, 1.0, random) + MatrixXd::Identity(50, 50));
  const int64_t before = host.outstanding();
  for (int64_t k = 1;; ++k) {
    ASSERT_LT(k, 100);
    host.failAllocation(k);
    const int32_t status = analyze(a);
    host.failAllocation(0);
    if (status == qz::LA_OK) break;
    EXPECT_EQ(status, qz::LA_NO_MEMORY) << k;
    qz::LA_CleanUpCholesky(env, &symbolic, &numeric);
    EXPECT_EQ(host.outstanding(), before);
    EXPECT_EQ(symbolic, nullptr);
    EXPECT_EQ(numeric, nullptr);
  }
  // Factorisation and solve ask for nothing.
  host.failAllocation(1, true);
  EXPECT_EQ(factor(a), qz::LA_OK);
  EXPECT_TRUE(solve(VectorXd::Ones(50)).allFinite());
  host.failAllocation(0);
}

TEST_F(Cholesky, BlockedLayoutSolves) {
  for (int n : {0, 1, 2, 9, 40, 100}) {
    for (int blockSize : {1, 2, 7, 16, 64}) {
      for (int widest : {1, 5, 33, 100}) {
        SCOPED_TRACE("n " + std::to_string(n) + ", block " + std::to_string(blockSize) + ", widest " +
                     std::to_string(widest));
        std::mt19937 random(static_cast<unsigned>(10000 * n + 100 * blockSize + widest));
        const MatrixXd dense = normalMatrix(n, 2 * n, 2.0, 1.0, random) + MatrixXd::Identity(n, n);
        const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
        HandMadeFactor f(a, randomOrder(n, random), randomSupernodes(n, widest, random), blockSize);
        const Eigen::LLT<MatrixXd> oracle(f.permuted(a));
        fillBlocked(f.symbolic, oracle.matrixL());
        const VectorXd b = randomVector(n, random);
        VectorXd x = b;
        qz::LA_SolveMatrixChol(0, x.data(), env, &f.symbolic, &f.numeric);
        EXPECT_LE(backwardError(dense, x, b), 1e-13);
        EXPECT_EQ(f.symbolic.factorState, -1);
      }
    }
  }
}

TEST_F(Cholesky, SupernodesWithNothingBelowSolve) {
  // Block diagonal: every supernode has h = w.
  for (int blockSize : {0, 4}) {
    std::mt19937 random(12);
    const int n = 30;
    MatrixXd dense = MatrixXd::Zero(n, n);
    for (int from = 0; from < n; from += 10)
      dense.block(from, from, 10, 10) = normalMatrix(10, 40, 10.0, 1.0, random) + MatrixXd::Identity(10, 10);
    const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
    HandMadeFactor f(a, identityOrder(n), equalSupernodes(n, 10), blockSize);
    if (blockSize == 0) {
      ASSERT_EQ(factor(a, f), qz::LA_OK);
    } else {
      const Eigen::LLT<MatrixXd> oracle(dense);
      fillBlocked(f.symbolic, oracle.matrixL());
    }
    const VectorXd b = randomVector(n, random);
    VectorXd x = b;
    qz::LA_SolveMatrixChol(0, x.data(), env, &f.symbolic, &f.numeric);
    EXPECT_LE(backwardError(dense, x, b), 1e-13);
  }
}

TEST(MatrixNorms, AgreeWithDenseOnes) {
  std::mt19937 random(13);
  for (int n : {0, 1, 4, 30}) {
    const MatrixXd dense = normalMatrix(n, 2 * n, 2.0, 2.0, random);
    const SymmetricMatrix a = SymmetricMatrix::fromDense(dense);
    const SymmetricMatrix lower = lowerOf(dense);
    VectorXd work = VectorXd::Constant(n + 1, -1.0);
    EXPECT_NEAR(qz::Get1NormOfSymMatrix(n, a.colBegin.data(), a.value.data()), maxNorm(dense), 1e-13 * maxNorm(dense));
    EXPECT_NEAR(qz::Get1NormOfLowerTriangMatrix(n, lower.colBegin.data(), lower.rowIndex.data(), lower.value.data(),
                                                work.data()),
                maxNorm(dense), 1e-13 * maxNorm(dense));
    for (int j = 0; j < n; ++j) EXPECT_NEAR(work[j], dense.col(j).cwiseAbs().sum(), 1e-13 * maxNorm(dense));
    EXPECT_EQ(work[n], -1.0);
  }
}

TEST(MatrixNorms, ResidualOfAZeroRightHandSideIsZeroWhateverTheProductIs) {
  const int32_t rowBegin[] = {0, 2, 3};
  const int32_t colIndex[] = {0, 1, 0};
  const double value[] = {2.0, 1.0, -4.0};
  const double x[] = {1.0, 2.0};
  const double zero[] = {0.0, 0.0};
  EXPECT_EQ(qz::LA_CalculateInfNormResidual(2, rowBegin, colIndex, value, x, zero), 0.0);
}

TEST(MatrixNorms, ResidualIsMeasuredByTheSizesOfItsParts) {
  // Rows (2 1) and (-4 0), x = (1, 2), b = (3, -5): residual (1, 1), |A| = 4.
  const int32_t rowBegin[] = {0, 2, 3};
  const int32_t colIndex[] = {0, 1, 0};
  const double value[] = {2.0, 1.0, -4.0};
  const double x[] = {1.0, 2.0};
  const double b[] = {3.0, -5.0};
  EXPECT_EQ(qz::LA_CalculateInfNormResidual(2, rowBegin, colIndex, value, x, b), 1.0 / (5.0 + 4.0 * 2.0));
  const double zero[] = {0.0, 0.0};
  EXPECT_EQ(qz::LA_CalculateInfNormResidual(2, rowBegin, colIndex, value, zero, b), 1.0);
}

}  // namespace
