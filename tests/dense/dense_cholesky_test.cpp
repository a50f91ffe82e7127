// The dense Cholesky family: factors are compared with LAPACK's, multiplied out, and used in solves; pivots that are
// not above the tolerance are followed by hand.
#include "dense/dense_cholesky.h"

#include <gtest/gtest.h>

#include <cmath>
#include <eigen3/Eigen/Dense>
#include <limits>
#include <random>
#include <string>

extern "C" void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info);

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;

constexpr double kMark = -7.25e33;
constexpr double kEps = std::numeric_limits<double>::epsilon();
const double kNaN = std::nan("");
// Around the sizes where the halving starts, and where halves are halved.
const int kSizes[] = {0, 1, 2, 3, 5, 17, 95, 96, 97, 98, 192, 193, 194, 195, 230, 388};

// A matrix with more rows in memory than it has; what lies outside a triangle holds a mark.
struct Store {
  int n;
  int lda;
  MatrixXd a;

  Store(const MatrixXd& full, bool lower, int pad) : n(static_cast<int>(full.rows())), lda(n + pad) {
    a = MatrixXd::Constant(lda, n, kMark);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        if (i == j || (i > j) == lower) a(i, j) = full(i, j);
  }
  int leading() const { return lda > 0 ? lda : 1; }
  MatrixXd lower() const { return a.topRows(n).triangularView<Eigen::Lower>(); }
  MatrixXd upper() const { return a.topRows(n).triangularView<Eigen::Upper>(); }
  bool outsideIntact(bool lower) const {
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < lda; ++i)
        if ((i >= n || (i != j && (i > j) != lower)) && a(i, j) != kMark) return false;
    return true;
  }
};

MatrixXd randomMatrix(int rows, int cols, std::mt19937& random) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  return MatrixXd::NullaryExpr(rows, cols, [&] { return uniform(random); });
}

MatrixXd positiveDefinite(int n, std::mt19937& random) {
  const MatrixXd r = randomMatrix(n, n + 5, random);
  MatrixXd a = r * r.transpose();
  a.diagonal().array() += 0.1 * n;
  return a;
}

// Rows and columns scaled over eight decades.
MatrixXd badlyScaled(int n, std::mt19937& random) {
  std::uniform_real_distribution<double> exponent(-4.0, 4.0);
  const VectorXd scale = VectorXd::NullaryExpr(n, [&] { return std::pow(10.0, exponent(random)); });
  return scale.asDiagonal() * positiveDefinite(n, random) * scale.asDiagonal();
}

MatrixXd symmetric(int n, std::mt19937& random) {
  const MatrixXd r = randomMatrix(n, n, random);
  return r + r.transpose();
}

// |L L' - A| within what the rounding of n products can do, entry by entry against sqrt(a_ii a_jj).
void expectProduct(const MatrixXd& l, const MatrixXd& a) {
  const int n = static_cast<int>(a.rows());
  const MatrixXd difference = l * l.transpose() - a;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      ASSERT_LE(std::fabs(difference(i, j)), 4.0 * (n + 4) * kEps * std::sqrt(a(i, i) * a(j, j))) << i << " " << j;
}

TEST(DenseCholesky, LowerFactorMultipliesOutAndAgreesWithLapack) {
  for (int n : kSizes) {
    for (bool scaled : {false, true}) {
      SCOPED_TRACE("n " + std::to_string(n) + (scaled ? ", scaled" : ""));
      std::mt19937 random(static_cast<unsigned>(n) + 1);
      const MatrixXd a = scaled ? badlyScaled(n, random) : positiveDefinite(n, random);
      Store ours(a, true, 3);
      qz::LA_DenseCholeskyFactorize(n, ours.a.data(), ours.leading(), 0.0);
      EXPECT_TRUE(ours.outsideIntact(true));
      expectProduct(ours.lower(), a);
      Store theirs(a, true, 3);
      int info = -1;
      const int leading = theirs.leading();
      dpotrf_("L", &n, theirs.a.data(), &leading, &info);
      ASSERT_EQ(info, 0);
      if (!scaled) {
        EXPECT_LE((ours.lower() - theirs.lower()).norm(), 1e-12 * (1.0 + theirs.lower().norm()));
      }
    }
  }
}

TEST(DenseCholesky, UpperFactorIsTheTransposeOfTheLowerOne) {
  for (int n : kSizes) {
    SCOPED_TRACE(n);
    std::mt19937 random(static_cast<unsigned>(n) + 2);
    const MatrixXd a = badlyScaled(n, random);
    Store upper(a, false, 2);
    qz::LA_DenseCholeskyUFactorize(n, upper.a.data(), upper.leading(), 0.0);
    EXPECT_TRUE(upper.outsideIntact(false));
    expectProduct(upper.upper().transpose(), a);
  }
}

TEST(DenseCholesky, UnblockedStepDoesAllColumns) {
  for (int n : {0, 1, 2, 31, 96, 120}) {
    std::mt19937 random(static_cast<unsigned>(n) + 3);
    const MatrixXd a = positiveDefinite(n, random);
    Store store(a, true, 1);
    EXPECT_EQ(qz::LA_DenseCholeskyNonBlock(n, store.a.data(), store.leading(), 0.0), n);
    expectProduct(store.lower(), a);
  }
}

TEST(DenseCholesky, NinetySixColumnsStayUnblockedAndNinetySevenDoNot) {
  for (int n : {96, 97}) {
    std::mt19937 random(11);
    const MatrixXd a = positiveDefinite(n, random);
    Store whole(a, true, 0);
    Store step(a, true, 0);
    qz::LA_DenseCholeskyFactorize(n, whole.a.data(), n, 0.0);
    qz::LA_DenseCholeskyNonBlock(n, step.a.data(), n, 0.0);
    EXPECT_EQ(whole.lower() == step.lower(), n == 96) << "the order of the sums tells which way was taken";
  }
}

TEST(DenseCholesky, PivotAtTheToleranceIsReplacedAndItsColumnCleared) {
  const double tolerance = 0.25;
  for (double pivot : {0.25, -0.25, 0.0, -0.0, 0.2, kNaN}) {
    MatrixXd a(3, 3);
    a << pivot, 5.0, 7.0, 5.0, 4.0, 2.0, 7.0, 2.0, 9.0;
    MatrixXd lower = a;
    qz::LA_DenseCholeskyFactorize(3, lower.data(), 3, tolerance);
    EXPECT_EQ(lower(0, 0), 1.1579208923731618e+77);
    EXPECT_EQ(lower(1, 0), 0.0);
    EXPECT_EQ(lower(2, 0), 0.0);
    EXPECT_EQ(lower(1, 1), 2.0);
    EXPECT_EQ(lower(2, 1), 1.0);
    EXPECT_DOUBLE_EQ(lower(2, 2), std::sqrt(8.0));
    MatrixXd upper = a;
    qz::LA_DenseCholeskyUFactorize(3, upper.data(), 3, tolerance);
    EXPECT_EQ(upper(0, 0), 1.1579208923731618e+77);
    EXPECT_EQ(upper(0, 1), 0.0);
    EXPECT_EQ(upper(0, 2), 0.0);
    EXPECT_EQ(upper(1, 1), 2.0);
    EXPECT_EQ(upper(1, 2), 1.0);
    EXPECT_DOUBLE_EQ(upper(2, 2), std::sqrt(8.0));
  }
}

TEST(DenseCholesky, PivotJustAboveTheToleranceIsTaken) {
  const double tolerance = 0.25;
  for (double sign : {1.0, -1.0}) {
    MatrixXd a(2, 2);
    a << sign * std::nextafter(tolerance, 1.0), 0.5, 0.5, 4.0;
    MatrixXd lower = a;
    qz::LA_DenseCholeskyFactorize(2, lower.data(), 2, tolerance);
    EXPECT_EQ(lower(0, 0), 0.5);
    EXPECT_EQ(lower(1, 0), 1.0);
    EXPECT_DOUBLE_EQ(lower(1, 1), std::sqrt(3.0));
  }
}

TEST(DenseCholesky, NegativePivotPassesAsItsMagnitude) {
  MatrixXd a(2, 2);
  a << 4.0, 6.0, 6.0, 5.0;  // the second pivot is 5 - 9 = -4
  MatrixXd lower = a;
  qz::LA_DenseCholeskyFactorize(2, lower.data(), 2, 1e-8);
  EXPECT_EQ(lower(0, 0), 2.0);
  EXPECT_EQ(lower(1, 0), 3.0);
  EXPECT_EQ(lower(1, 1), 2.0);
  MatrixXd upper = a;
  qz::LA_DenseCholeskyUFactorize(2, upper.data(), 2, 1e-8);
  EXPECT_EQ(upper(0, 1), 3.0);
  EXPECT_EQ(upper(1, 1), 2.0);
}

TEST(DenseCholesky, SolveLeavesOutTheVariablesOfDependentRows) {
  for (int n : {2, 10, 96, 97, 200}) {
    SCOPED_TRACE(n);
    std::mt19937 random(static_cast<unsigned>(n) + 5);
    const int rank = n / 2;
    const MatrixXd r = randomMatrix(n, rank, random);
    const MatrixXd a = r * r.transpose();
    Store store(a, true, 0);
    const double tolerance = 1e-8 * a.norm();
    qz::LA_DenseCholeskyFactorize(n, store.a.data(), n, tolerance);
    int replaced = 0;
    for (int j = 0; j < n; ++j) replaced += store.a(j, j) == qz::kReplacedPivot ? 1 : 0;
    EXPECT_EQ(replaced, n - rank);
    const VectorXd b = a * randomMatrix(n, 1, random);
    VectorXd x = b;
    qz::LA_DenseCholeskySolve(n, store.a.data(), n, x.data());
    EXPECT_LE((a * x - b).norm(), 1e-6 * b.norm());
    for (int j = 0; j < n; ++j) {
      if (store.a(j, j) == qz::kReplacedPivot) {
        EXPECT_LE(std::fabs(x[j]), 1e-60);
      }
    }
  }
}

TEST(DenseCholesky, SolveHasASmallBackwardError) {
  for (int n : kSizes) {
    std::mt19937 random(static_cast<unsigned>(n) + 6);
    const MatrixXd a = badlyScaled(n, random);
    Store store(a, true, 4);
    qz::LA_DenseCholeskyFactorize(n, store.a.data(), store.leading(), 0.0);
    const VectorXd b = randomMatrix(n, 1, random);
    VectorXd x = b;
    qz::LA_DenseCholeskySolve(n, store.a.data(), store.leading(), x.data());
    if (n == 0) continue;
    EXPECT_LE((a * x - b).norm(), 50.0 * n * kEps * (a.norm() * x.norm() + b.norm())) << n;
  }
}

TEST(DenseCholesky, InverseFillsBothTriangles) {
  for (int n : kSizes) {
    SCOPED_TRACE(n);
    std::mt19937 random(static_cast<unsigned>(n) + 7);
    const MatrixXd a = positiveDefinite(n, random);
    Store store(a, true, 2);
    qz::LA_FindInverseChol(n, store.a.data(), store.leading());
    for (int j = 0; j < n; ++j)
      for (int i = n; i < store.lda; ++i) ASSERT_EQ(store.a(i, j), kMark);
    const MatrixXd inverse = store.a.topRows(n);
    EXPECT_TRUE(inverse == inverse.transpose());
    EXPECT_LE((a * inverse - MatrixXd::Identity(n, n)).norm(), 1e-11 * (1.0 + n));
  }
}

TEST(DenseCholesky, GMW81FactorsThePerturbedMatrix) {
  for (int n : kSizes) {
    SCOPED_TRACE(n);
    std::mt19937 random(static_cast<unsigned>(n) + 8);
    const MatrixXd a = symmetric(n, random);
    const double betaSquared = 4.0;
    Store store(a, true, 1);
    VectorXd e = VectorXd::Constant(n, kNaN);
    qz::LA_DenseCholeskyGMW81Factorize(n, store.a.data(), store.leading(), e.data(), betaSquared);
    EXPECT_TRUE(store.outsideIntact(true));
    for (int j = 0; j < n; ++j) EXPECT_GE(e[j], 0.0);
    MatrixXd perturbed = a;
    perturbed.diagonal() += e;
    if (n == 0) continue;
    const MatrixXd l = store.lower();
    EXPECT_LE((l * l.transpose() - perturbed).norm(), 100.0 * n * kEps * (1.0 + perturbed.norm()));
    if (n < 97) {
      EXPECT_LE(MatrixXd(l.triangularView<Eigen::StrictlyLower>()).cwiseAbs().maxCoeff(),
                std::sqrt(betaSquared) * (1.0 + 1e-12));
    }
  }
}

TEST(DenseCholesky, GMW81OnTheZeroMatrix) {
  for (int n : {1, 5, 97}) {
    MatrixXd a = MatrixXd::Zero(n, n);
    VectorXd e(n);
    qz::LA_DenseCholeskyGMW81Factorize(n, a.data(), n, e.data(), 1.0);
    for (int j = 0; j < n; ++j) {
      EXPECT_EQ(e[j], 1e-10);
      EXPECT_EQ(a(j, j), std::sqrt(1e-10));
    }
  }
}

TEST(DenseCholesky, GMW81LeavesAMatrixWithLargePivotsAlone) {
  std::mt19937 random(9);
  const MatrixXd a = positiveDefinite(60, random);
  Store plain(a, true, 0);
  Store modified(a, true, 0);
  VectorXd e(60);
  qz::LA_DenseCholeskyFactorize(60, plain.a.data(), 60, 0.0);
  qz::LA_DenseCholeskyGMW81Factorize(60, modified.a.data(), 60, e.data(), 1e6);
  EXPECT_TRUE(e.isZero(0.0));
  EXPECT_TRUE(plain.lower() == modified.lower());
}

double gammaOf(const MatrixXd& a) {
  return a.rows() == 0 ? 0.0 : a.diagonal().cwiseAbs().maxCoeff();
}

struct SE99 {
  MatrixXd l;
  VectorXd e;
  int32_t phase = 1;
  double maxPerturbation = 0.0;

  explicit SE99(const MatrixXd& a) {
    const int n = static_cast<int>(a.rows());
    Store store(a, true, 1);
    e = VectorXd::Constant(n, kNaN);
    qz::LA_DenseCholeskySE99Factorize(n, store.a.data(), store.leading(), &phase, &maxPerturbation, e.data(),
                                      gammaOf(a));
    EXPECT_TRUE(store.outsideIntact(true));
    l = store.lower();
  }
};

TEST(DenseCholesky, SE99StaysInPhaseOneOnAPositiveDefiniteMatrix) {
  for (int n : kSizes) {
    SCOPED_TRACE(n);
    std::mt19937 random(static_cast<unsigned>(n) + 10);
    const MatrixXd a = positiveDefinite(n, random);
    const SE99 result(a);
    EXPECT_EQ(result.phase, 1);
    EXPECT_EQ(result.maxPerturbation, 0.0);
    EXPECT_TRUE(result.e.isZero(0.0));
    expectProduct(result.l, a);
  }
}

TEST(DenseCholesky, SE99FactorsThePerturbedMatrix) {
  for (int n : kSizes) {
    if (n == 0) continue;
    SCOPED_TRACE(n);
    std::mt19937 random(static_cast<unsigned>(n) + 12);
    const MatrixXd a = symmetric(n, random) - 0.5 * MatrixXd::Identity(n, n);
    const SE99 result(a);
    EXPECT_EQ(result.phase, 2);
    for (int j = 0; j < n; ++j) {
      EXPECT_GE(result.e[j], 0.0);
      EXPECT_LE(result.e[j], result.maxPerturbation);
    }
    MatrixXd perturbed = a;
    perturbed.diagonal() += result.e;
    ASSERT_TRUE(result.l.allFinite());
    EXPECT_LE((result.l * result.l.transpose() - perturbed).norm(), 1e-12 * n * (1.0 + perturbed.norm()));
  }
}

TEST(DenseCholesky, SE99RaisesASingleNegativeEntry) {
  MatrixXd a = MatrixXd::Constant(1, 1, -2.0);
  const SE99 result(a);
  const double tau = 4.806217383937356e-06;
  const double expected = std::max(2.0 * tau / (1.0 - tau), 2.309972554166164e-11 * 2.0) + 2.0;
  EXPECT_EQ(result.phase, 2);
  EXPECT_DOUBLE_EQ(result.e[0], expected);
  EXPECT_EQ(result.maxPerturbation, result.e[0]);
  EXPECT_NEAR(result.l(0, 0), std::sqrt(expected - 2.0), 1e-10);
}

TEST(DenseCholesky, SE99LiftsAZeroEntryToOne) {
  // Both candidates stay below the floor, so the pivot becomes 1.
  MatrixXd a = MatrixXd::Zero(1, 1);
  const SE99 result(a);
  EXPECT_EQ(result.e[0], 1.0);
  EXPECT_EQ(result.l(0, 0), 1.0);
}

TEST(DenseCholesky, SE99ShiftsThePairByItsSmallerEigenvalue) {
  MatrixXd a(2, 2);
  a << 0.0, 3.0, 3.0, 0.0;  // eigenvalues -3 and 3
  const SE99 result(a);
  const double tau = 4.806217383937356e-06;
  EXPECT_EQ(result.phase, 2);
  EXPECT_DOUBLE_EQ(result.e[0], 6.0 * tau / (1.0 - tau) + 3.0);
  EXPECT_EQ(result.e[0], result.e[1]);
  EXPECT_EQ(result.maxPerturbation, result.e[0]);
}

TEST(DenseCholesky, SE99GoesOnInPhaseTwoBehindTheFirstHalf) {
  // Indefinite in its first columns only; the later half begins in phase two and keeps the perturbation.
  const int n = 120;
  std::mt19937 random(13);
  MatrixXd a = positiveDefinite(n, random);
  a(0, 0) = -1.0;
  const SE99 result(a);
  EXPECT_EQ(result.phase, 2);
  for (int j = 60; j < n; ++j) EXPECT_GE(result.e[j], result.e[0]);
}

}  // namespace
