// The dense LDL family: factors are multiplied out, compared with LAPACK, and used in solves.
#include "dense/dense_ldl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <eigen3/Eigen/Dense>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "dense/ldl_oracle.h"
#include "support/test_host.h"

extern "C" void dsytrf_(const char* uplo, const int* n, double* a, const int* lda, int* ipiv, double* work,
                        const int* lwork, int* info);

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
using qztest::expectFactorOf;
using qztest::expectValidPivots;
using qztest::Factor;
using qztest::multiplyOut;

using qztest::kEps;
using qztest::kTolerance;

enum class Kind { Random, ZeroDiagonal, QuasiDefinite, Singular, WildScaling, Zero, Identity, Tiny, SaddlePoint };
const std::vector<Kind> kAllKinds = {Kind::Random,   Kind::ZeroDiagonal, Kind::QuasiDefinite,
                                     Kind::Singular, Kind::WildScaling,  Kind::Zero,
                                     Kind::Identity, Kind::Tiny,         Kind::SaddlePoint};

std::string nameOf(Kind kind) {
  static const char* names[] = {"random", "zero diagonal", "quasi-definite", "singular",    "wild scaling",
                                "zero",   "identity",      "tiny",           "saddle point"};
  return names[static_cast<int>(kind)];
}

MatrixXd randomMatrix(int rows, int cols, std::mt19937& rng) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  MatrixXd a(rows, cols);
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i) a(i, j) = uniform(rng);
  return a;
}

MatrixXd symmetricMatrix(Kind kind, int n, std::mt19937& rng) {
  MatrixXd r = randomMatrix(n, n, rng);
  MatrixXd a = r + r.transpose();
  std::uniform_real_distribution<double> exponent(-4.0, 4.0);
  switch (kind) {
    case Kind::Random:
      break;
    case Kind::ZeroDiagonal:
      a.diagonal().setZero();
      break;
    case Kind::QuasiDefinite:
      for (int i = 0; i < n; ++i) a(i, i) = (i % 2 == 0 ? 1.0 : -1.0) * (n + 1.0);
      break;
    case Kind::Singular: {
      const int rank = (n + 1) / 2;
      MatrixXd half = randomMatrix(n, rank, rng);
      MatrixXd signs = MatrixXd::Zero(rank, rank);
      for (int i = 0; i < rank; ++i) signs(i, i) = i % 3 == 0 ? -1.0 : 1.0;
      a = half * signs * half.transpose();
      a = (0.5 * (a + a.transpose())).eval();
      break;
    }
    case Kind::WildScaling: {
      VectorXd scale(n);
      for (int i = 0; i < n; ++i) scale(i) = std::pow(10.0, exponent(rng));
      a = (scale.asDiagonal() * a * scale.asDiagonal()).eval();
      break;
    }
    case Kind::Zero:
      a.setZero();
      break;
    case Kind::Identity:
      a.setIdentity();
      break;
    case Kind::Tiny:
      a *= 1e-10;
      break;
    case Kind::SaddlePoint: {
      const int half = n / 2;
      a.setZero();
      for (int i = 0; i < n - half; ++i) a(i, i) = std::pow(10.0, exponent(rng));
      if (half > 0 && n > half) {
        a.bottomLeftCorner(half, n - half) = randomMatrix(half, n - half, rng);
        a.topRightCorner(n - half, half) = a.bottomLeftCorner(half, n - half).transpose();
      }
      break;
    }
  }
  return a;
}

std::vector<double> packBuffer() {
  return std::vector<double>(96 * 96);
}

Factor factorTrapezoid(const MatrixXd& matrix, int n, double tolerance = kTolerance) {
  Factor f;
  f.m = static_cast<int>(matrix.rows());
  f.n = n;
  // The upper triangle is none of the factorisation's business.
  f.a = matrix.leftCols(n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < j; ++i) f.a(i, j) = std::numeric_limits<double>::quiet_NaN();
  f.pivots.assign(static_cast<size_t>(n), 12345);
  f.w.assign(static_cast<size_t>(f.m > n ? f.m * n : f.m * 96) + 1, 0.0);
  f.w.back() = 4711.0;
  std::vector<double> packA = packBuffer();
  std::vector<double> packB = packBuffer();
  EXPECT_EQ(qz::LA_DenseLDLFactorize(f.m, n, f.a.data(), f.m, f.pivots.data(), f.w.data(), &f.perturbed, packA.data(),
                                     packB.data(), tolerance),
            0);
  EXPECT_EQ(f.w.back(), 4711.0);
  return f;
}

// The rows of L D that the panel form leaves in its workspace.
void expectProductInWorkspace(const Factor& f) {
  if (f.m == f.n) return;
  for (int i = f.n; i < f.m; ++i) {
    for (int k = 0; k < f.n;) {
      const int32_t pivot = f.pivots[static_cast<size_t>(k)];
      const auto w = [&](int row, int column) { return f.w[static_cast<size_t>(row + column * f.m)]; };
      if (pivot >= 0) {
        const double expected = f.a(i, k) * f.a(k, k);
        ASSERT_NEAR(w(i, k), expected, 4 * kEps * std::fabs(expected));
        k += 1;
      } else {
        const double scale = std::fabs(f.a(i, k)) + std::fabs(f.a(i, k + 1));
        const double size = std::max({std::fabs(f.a(k, k)), std::fabs(f.a(k + 1, k)), std::fabs(f.a(k + 1, k + 1))});
        ASSERT_NEAR(w(i, k), f.a(i, k) * f.a(k, k) + f.a(i, k + 1) * f.a(k + 1, k), 64 * kEps * scale * size);
        ASSERT_NEAR(w(i, k + 1), f.a(i, k) * f.a(k + 1, k) + f.a(i, k + 1) * f.a(k + 1, k + 1),
                    64 * kEps * scale * size);
        k += 2;
      }
    }
  }
}

std::vector<int> interestingSizes() {
  std::vector<int> sizes;
  for (int n = 0; n <= 17; ++n) sizes.push_back(n);
  for (int n : {32, 33, 47, 48, 49, 63, 64, 65, 94, 95, 96, 97, 98, 191, 192, 193}) sizes.push_back(n);
  return sizes;
}

// ---- The panel form ----

TEST(DenseLDLFactorize, SquareMultipliesOutToTheMatrix) {
  for (Kind kind : kAllKinds) {
    for (int n : interestingSizes()) {
      SCOPED_TRACE(nameOf(kind) + ", seed " + std::to_string(n));
      std::mt19937 rng(static_cast<unsigned>(n));
      const MatrixXd matrix = symmetricMatrix(kind, n, rng);
      expectFactorOf(factorTrapezoid(matrix, n), matrix);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(DenseLDLFactorize, TrapezoidMultipliesOutToTheMatrix) {
  for (Kind kind : kAllKinds) {
    for (int n : {1, 2, 3, 5, 8, 17, 95, 96, 97, 130, 193}) {
      for (int extra : {1, 2, 7, 100}) {
        SCOPED_TRACE(nameOf(kind) + ", n " + std::to_string(n) + ", rows below " + std::to_string(extra));
        std::mt19937 rng(static_cast<unsigned>(n * 1000 + extra));
        const MatrixXd matrix = symmetricMatrix(kind, n + extra, rng);
        const Factor f = factorTrapezoid(matrix, n);
        expectFactorOf(f, matrix);
        if (HasFatalFailure()) return;
        expectProductInWorkspace(f);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(DenseLDLFactorize, HugeRowsBelowAreNeverChosenAsPivots) {
  std::mt19937 rng(7);
  MatrixXd matrix = symmetricMatrix(Kind::Random, 120, rng);
  matrix.bottomRows(20) *= 1e6;
  for (int n : {1, 4, 100}) {
    const Factor f = factorTrapezoid(matrix, n);
    expectFactorOf(f, matrix);
    expectProductInWorkspace(f);
  }
}

TEST(DenseLDLFactorize, AgreesWithLapackOnRegularMatrices) {
  for (Kind kind : {Kind::Random, Kind::ZeroDiagonal, Kind::QuasiDefinite}) {
    for (int n : {1, 2, 3, 10, 33, 64, 95, 96, 97, 150, 193}) {
      SCOPED_TRACE(nameOf(kind) + ", n " + std::to_string(n));
      std::mt19937 rng(static_cast<unsigned>(n + 99));
      const MatrixXd matrix = symmetricMatrix(kind, n, rng);
      if (matrix.cwiseAbs().maxCoeff() == 0.0) continue;  // n = 1 without a diagonal
      const Factor f = factorTrapezoid(matrix, n);
      MatrixXd lapack = matrix;
      std::vector<int> ipiv(static_cast<size_t>(n));
      int lwork = 64 * n;
      std::vector<double> work(static_cast<size_t>(lwork));
      int info = 0;
      dsytrf_("L", &n, lapack.data(), &n, ipiv.data(), work.data(), &lwork, &info);
      ASSERT_EQ(info, 0);
      for (int k = 0; k < n; ++k) {
        const int theirs = ipiv[static_cast<size_t>(k)];
        const int ours = f.pivots[static_cast<size_t>(k)];
        ASSERT_EQ(ours >= 0 ? ours + 1 : ours - 1, theirs) << k;
        for (int i = k; i < n; ++i) ASSERT_NEAR(f.a(i, k), lapack(i, k), 1e-9 * (1.0 + std::fabs(lapack(i, k))));
      }
    }
  }
}

TEST(DenseLDLFactorize, GrowthStaysSmallOnSquareMatrices) {
  for (Kind kind : {Kind::Random, Kind::ZeroDiagonal, Kind::QuasiDefinite, Kind::SaddlePoint}) {
    for (int n : {20, 97, 200}) {
      SCOPED_TRACE(nameOf(kind) + ", n " + std::to_string(n));
      std::mt19937 rng(static_cast<unsigned>(n + 5));
      const MatrixXd matrix = symmetricMatrix(kind, n, rng);
      const Factor f = factorTrapezoid(matrix, n);
      EXPECT_LT(multiplyOut(f, true).cwiseAbs().maxCoeff(), 36.0 * n * matrix.cwiseAbs().maxCoeff());
    }
  }
}

TEST(DenseLDLFactorize, ZeroMatrixPerturbsEveryPivotUpwards) {
  for (int n : {1, 5, 96, 97, 193}) {
    const Factor f = factorTrapezoid(MatrixXd::Zero(n + 3, n + 3), n);
    EXPECT_EQ(f.perturbed, n);
    for (int k = 0; k < n; ++k) {
      EXPECT_EQ(f.a(k, k), kTolerance);
      EXPECT_EQ(f.pivots[static_cast<size_t>(k)], k);
    }
  }
}

TEST(DenseLDLFactorize, SignOfATinyPivotSurvives) {
  MatrixXd matrix = MatrixXd::Identity(4, 4);
  matrix(1, 1) = -1e-12;
  matrix(2, 2) = 1e-12;
  matrix(3, 3) = -0.0;
  const Factor f = factorTrapezoid(matrix, 4);
  EXPECT_EQ(f.perturbed, 3);
  EXPECT_EQ(f.a(0, 0), 1.0);
  EXPECT_EQ(f.a(1, 1), -kTolerance);
  EXPECT_EQ(f.a(2, 2), kTolerance);
  EXPECT_EQ(f.a(3, 3), kTolerance);
}

TEST(DenseLDLFactorize, ColumnExactlyAtTheToleranceIsPerturbed) {
  for (int n : {1, 2, 3}) {
    MatrixXd matrix = MatrixXd::Zero(n, n);
    for (int i = 0; i < n; ++i) matrix(i, i) = i == 0 ? -kTolerance : 1.0;
    EXPECT_EQ(factorTrapezoid(matrix, n).perturbed, 1) << n;
    matrix(0, 0) = -std::nextafter(kTolerance, 1.0);
    EXPECT_EQ(factorTrapezoid(matrix, n).perturbed, 0) << n;
  }
}

TEST(DenseLDLFactorize, CountIsAddedToAndNotCleared) {
  double a[1] = {0.0};
  double w[96] = {};
  int32_t pivots[1];
  int32_t perturbed = 41;
  std::vector<double> packA = packBuffer();
  std::vector<double> packB = packBuffer();
  ASSERT_EQ(qz::LA_DenseLDLFactorize(1, 1, a, 1, pivots, w, &perturbed, packA.data(), packB.data(), kTolerance), 0);
  EXPECT_EQ(perturbed, 42);
}

TEST(DenseLDLFactorize, SmallCandidateDiagonalLeadsToAPair) {
  // |a11| < alpha |a21| and a22 small: a pair; a22 large: row 1 comes first.
  MatrixXd pair(2, 2);
  pair << 0.1, 1.0, 1.0, 0.1;
  Factor f = factorTrapezoid(pair, 2);
  EXPECT_EQ(f.pivots[0], -1);
  EXPECT_EQ(f.pivots[1], -1);
  MatrixXd swap(2, 2);
  swap << 0.1, 1.0, 1.0, 3.0;
  f = factorTrapezoid(swap, 2);
  EXPECT_EQ(f.pivots[0], 1);
  EXPECT_EQ(f.pivots[1], 1);
  EXPECT_EQ(f.a(0, 0), 3.0);
}

TEST(DenseLDLFactorize, CandidateDiagonalAtTheToleranceIsAccepted) {
  // rowmax 1.5 tol, alpha rowmax < tol: the diagonal entry tol just passes the panel form's test.
  MatrixXd matrix(2, 2);
  matrix << 0.0, 1.5 * kTolerance, 1.5 * kTolerance, kTolerance;
  const Factor f = factorTrapezoid(matrix, 2);
  EXPECT_EQ(f.pivots[0], 1);
  EXPECT_EQ(f.a(0, 0), kTolerance);
}

TEST(DenseLDLFactorize, NotANumberEndsWithoutLeavingTheArrays) {
  for (int n : {1, 2, 5, 96, 97, 130}) {
    for (int where : {0, n / 2, n - 1}) {
      std::mt19937 rng(static_cast<unsigned>(n));
      MatrixXd matrix = symmetricMatrix(Kind::ZeroDiagonal, n + 2, rng);
      matrix(where, where) = std::numeric_limits<double>::quiet_NaN();
      expectValidPivots(factorTrapezoid(matrix, n));
      matrix(where, where) = std::numeric_limits<double>::infinity();
      expectValidPivots(factorTrapezoid(matrix, n));
      matrix.setConstant(std::numeric_limits<double>::quiet_NaN());
      expectValidPivots(factorTrapezoid(matrix, n));
    }
  }
}

TEST(DenseLDLDlasyf, PanelWidths) {
  std::vector<double> packA = packBuffer();
  std::vector<double> packB = packBuffer();
  for (int n : {1, 50, 95, 96, 97, 150}) {
    MatrixXd a = MatrixXd::Identity(n, n);
    std::vector<int32_t> pivots(static_cast<size_t>(n));
    std::vector<double> w(static_cast<size_t>(n) * 96);
    int32_t perturbed = 0;
    int32_t done = -1;
    qz::DenseLDLDlasyf(n, n, &done, a.data(), n, pivots.data(), kTolerance, w.data(), n, &perturbed, packA.data(),
                       packB.data());
    EXPECT_EQ(done, n < 97 ? n : 95) << n;
  }
}

TEST(DenseLDLDlasyf, PairInTheLastColumnWidensThePanel) {
  const int n = 130;
  MatrixXd matrix = MatrixXd::Identity(n, n);
  matrix(94, 94) = matrix(95, 95) = 0.0;
  matrix(94, 95) = matrix(95, 94) = 1.0;
  MatrixXd a = matrix;
  std::vector<int32_t> pivots(static_cast<size_t>(n));
  std::vector<double> w(static_cast<size_t>(n) * 96);
  std::vector<double> packA = packBuffer();
  std::vector<double> packB = packBuffer();
  int32_t perturbed = 0;
  int32_t done = -1;
  qz::DenseLDLDlasyf(n, n, &done, a.data(), n, pivots.data(), kTolerance, w.data(), n, &perturbed, packA.data(),
                     packB.data());
  EXPECT_EQ(done, 96);
  EXPECT_EQ(pivots[94], -95);
  EXPECT_EQ(pivots[95], -95);
  std::mt19937 rng(3);
  matrix.bottomRows(30) += 0.01 * randomMatrix(30, n, rng);
  matrix = (0.5 * (matrix + matrix.transpose())).eval();
  expectFactorOf(factorTrapezoid(matrix, n), matrix);
}

TEST(DenseLDLFactorize, LaterPanelsShiftTheirPivots) {
  const int n = 200;
  MatrixXd matrix = MatrixXd::Identity(n, n);
  matrix(150, 150) = matrix(180, 180) = 0.0;
  matrix(150, 180) = matrix(180, 150) = 1.0;
  const Factor f = factorTrapezoid(matrix, n);
  EXPECT_EQ(f.pivots[150], -180);
  EXPECT_EQ(f.pivots[151], -180);
  EXPECT_EQ(f.pivots[180], 180);
  expectFactorOf(f, matrix);
}

TEST(DenseLDLFactorWithFlag, CancelWordEndsIt) {
  qztest::TestHost host;
  std::mt19937 rng(5);
  const int n = 100;
  MatrixXd a = symmetricMatrix(Kind::Random, n, rng);
  std::vector<int32_t> pivots(static_cast<size_t>(n));
  std::vector<double> w(static_cast<size_t>(n) * 96);
  std::vector<double> packA = packBuffer();
  std::vector<double> packB = packBuffer();
  int32_t perturbed = 0;
  host.cancelThread(true);
  EXPECT_EQ(qz::DenseLDLFactorWithFlag(n, n, a.data(), n, host.thread(), pivots.data(), w.data(), &perturbed,
                                       packA.data(), packB.data(), kTolerance),
            13);
  host.cancelThread(false);
  EXPECT_EQ(qz::DenseLDLFactorWithFlag(n, n, a.data(), n, host.thread(), pivots.data(), w.data(), &perturbed,
                                       packA.data(), packB.data(), kTolerance),
            0);
}

// ---- The unblocked form ----

Factor factorUnblocked(const MatrixXd& matrix) {
  Factor f;
  f.m = f.n = static_cast<int>(matrix.rows());
  f.a = matrix;
  for (int j = 0; j < f.n; ++j)
    for (int i = 0; i < j; ++i) f.a(i, j) = std::numeric_limits<double>::quiet_NaN();
  f.pivots.assign(static_cast<size_t>(f.n), 12345);
  qz::DenseLDLNonBlock(kTolerance, f.n, f.a.data(), f.m, f.pivots.data(), &f.perturbed);
  return f;
}

TEST(DenseLDLNonBlock, MultipliesOutToTheMatrix) {
  for (Kind kind : kAllKinds) {
    for (int n : interestingSizes()) {
      SCOPED_TRACE(nameOf(kind) + ", seed " + std::to_string(n));
      std::mt19937 rng(static_cast<unsigned>(n + 17));
      const MatrixXd matrix = symmetricMatrix(kind, n, rng);
      expectFactorOf(factorUnblocked(matrix), matrix);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(DenseLDLNonBlock, ChoosesThePivotsOfThePanelForm) {
  for (Kind kind : {Kind::Random, Kind::ZeroDiagonal, Kind::SaddlePoint}) {
    for (int n : {2, 7, 96, 150}) {
      std::mt19937 rng(static_cast<unsigned>(n + 31));
      const MatrixXd matrix = symmetricMatrix(kind, n, rng);
      EXPECT_EQ(factorUnblocked(matrix).pivots, factorTrapezoid(matrix, n).pivots) << nameOf(kind) << n;
    }
  }
}

TEST(DenseLDLNonBlock, CandidateDiagonalAtTheToleranceIsRefused) {
  MatrixXd matrix(2, 2);
  matrix << 0.0, 1.5 * kTolerance, 1.5 * kTolerance, kTolerance;
  const Factor f = factorUnblocked(matrix);
  EXPECT_EQ(f.pivots[0], -1);
  EXPECT_EQ(f.pivots[1], -1);
}

TEST(DenseLDLNonBlock, ZeroMatrixPerturbsEveryPivotUpwards) {
  const Factor f = factorUnblocked(MatrixXd::Zero(9, 9));
  EXPECT_EQ(f.perturbed, 9);
  for (int k = 0; k < 9; ++k) EXPECT_EQ(f.a(k, k), kTolerance);
}

TEST(DenseLDLNonBlock, NotANumberEndsWithoutLeavingTheArrays) {
  for (int n : {1, 2, 3, 70}) {
    MatrixXd matrix = MatrixXd::Constant(n, n, std::numeric_limits<double>::quiet_NaN());
    expectValidPivots(factorUnblocked(matrix));
  }
}

// ---- Solves ----

double backwardError(const MatrixXd& a, const VectorXd& x, const VectorXd& b) {
  const VectorXd r = b - a * x;
  return r.cwiseAbs().maxCoeff() /
         (a.cwiseAbs().rowwise().sum().maxCoeff() * x.cwiseAbs().maxCoeff() + b.cwiseAbs().maxCoeff());
}

TEST(DenseLDLSolve, OneAndManyHaveSmallBackwardErrors) {
  for (Kind kind : {Kind::Random, Kind::ZeroDiagonal, Kind::QuasiDefinite, Kind::WildScaling, Kind::SaddlePoint}) {
    for (int n : {1, 2, 3, 4, 9, 30, 95, 96, 97, 193}) {
      SCOPED_TRACE(nameOf(kind) + ", n " + std::to_string(n));
      std::mt19937 rng(static_cast<unsigned>(n + 3));
      const MatrixXd matrix = symmetricMatrix(kind, n, rng);
      const Factor f = factorTrapezoid(matrix, n);
      if (f.perturbed > 0) continue;  // the saddle point of an odd size is singular
      const MatrixXd b = randomMatrix(n, 5, rng);
      MatrixXd many = b;
      qz::LA_DenseLDLSolveMany(5, n, f.a.data(), n, f.pivots.data(), many.data(), n);
      for (int j = 0; j < 5; ++j) {
        VectorXd x = b.col(j);
        qz::LA_DenseLDLSolveOne(n, f.a.data(), n, f.pivots.data(), x.data());
        EXPECT_LT(backwardError(matrix, x, b.col(j)), 1e-13 * (n + 1));
        EXPECT_LT(backwardError(matrix, many.col(j), b.col(j)), 1e-13 * (n + 1));
      }
    }
  }
}

TEST(DenseLDLSolve, BackwardHalfIsTheTransposeOfTheForwardHalf) {
  // With D = I instead of the factor's, the whole solve is Lt^-1 applied to its own transpose: check by columns.
  std::mt19937 rng(8);
  const int n = 40;
  const MatrixXd matrix = symmetricMatrix(Kind::ZeroDiagonal, n, rng);
  const Factor f = factorTrapezoid(matrix, n);
  MatrixXd backward = MatrixXd::Identity(n, n);
  for (int j = 0; j < n; ++j) qz::LA_DenseLDLSolveOne_Lt(n, f.a.data(), n, f.pivots.data(), backward.col(j).data());
  MatrixXd d = MatrixXd::Zero(n, n);
  for (int k = 0; k < n; ++k) {
    d(k, k) = f.a(k, k);
    if (f.pivots[static_cast<size_t>(k)] < 0) {
      d(k + 1, k + 1) = f.a(k + 1, k + 1);
      d(k + 1, k) = d(k, k + 1) = f.a(k + 1, k);
      ++k;
    }
  }
  // A^-1 = M D^-1 M' with M the backward half.
  const MatrixXd inverse = backward * d.inverse() * backward.transpose();
  EXPECT_LT((inverse * matrix - MatrixXd::Identity(n, n)).cwiseAbs().maxCoeff(), 1e-9);
}

TEST(DenseLDLSolve, EmptyIsNoWork) {
  double x = 3.0;
  qz::LA_DenseLDLSolveOne(0, nullptr, 1, nullptr, &x);
  qz::LA_DenseLDLSolveMany(0, 5, nullptr, 5, nullptr, nullptr, 5);
  qz::SolveLD(0, 5, nullptr, 5, nullptr, nullptr, 5, nullptr, 5);
  EXPECT_EQ(x, 3.0);
}

// ---- Rows below a factored block ----

TEST(SolveLD, CompletesATrapezoidAndItsProduct) {
  for (Kind kind : kAllKinds) {
    for (int n : {1, 2, 3, 5, 47, 48, 49, 64, 65, 130}) {
      for (int rows : {1, 3, 4, 5, 60}) {
        SCOPED_TRACE(nameOf(kind) + ", n " + std::to_string(n) + ", rows " + std::to_string(rows));
        std::mt19937 rng(static_cast<unsigned>(n * 100 + rows));
        const MatrixXd matrix = symmetricMatrix(kind, n + rows, rng);
        Factor f = factorUnblocked(matrix.topLeftCorner(n, n));
        // Row by row, with leading dimensions of their own.
        const int lda = n + 3;
        const int ldb = n + 1;
        const int ldProduct = n + 2;
        std::vector<double> a(static_cast<size_t>(lda * n), 1e300);
        std::vector<double> b(static_cast<size_t>(ldb * rows), 1e300);
        std::vector<double> product(static_cast<size_t>(ldProduct * rows));
        for (int i = 0; i < n; ++i)
          for (int j = 0; j <= i; ++j) a[static_cast<size_t>(i * lda + j)] = f.a(i, j);
        for (int i = 0; i < rows; ++i)
          for (int j = 0; j < n; ++j) b[static_cast<size_t>(i * ldb + j)] = matrix(n + i, j);
        qz::SolveLD(rows, n, a.data(), lda, f.pivots.data(), b.data(), ldb, product.data(), ldProduct);

        Factor whole;
        whole.m = n + rows;
        whole.n = n;
        whole.pivots = f.pivots;
        whole.perturbed = f.perturbed;
        whole.a = MatrixXd::Zero(n + rows, n);
        whole.a.topRows(n) = f.a;
        whole.w.assign(static_cast<size_t>((n + rows) * n), 0.0);
        for (int i = 0; i < rows; ++i) {
          for (int j = 0; j < n; ++j) {
            whole.a(n + i, j) = b[static_cast<size_t>(i * ldb + j)];
            whole.w[static_cast<size_t>(n + i + j * (n + rows))] = product[static_cast<size_t>(i * ldProduct + j)];
          }
          EXPECT_EQ(b[static_cast<size_t>(i * ldb + n)], 1e300);
        }
        expectFactorOf(whole, matrix);
        if (HasFatalFailure()) return;
        expectProductInWorkspace(whole);
        if (HasFatalFailure()) return;

        std::vector<double> again(product.size(), -1.0);
        qz::MultiplyLD(rows, n, a.data(), lda, f.pivots.data(), b.data(), ldb, again.data(), ldProduct);
        for (int i = 0; i < rows; ++i)
          for (int j = 0; j < n; ++j)
            ASSERT_EQ(again[static_cast<size_t>(i * ldProduct + j)], product[static_cast<size_t>(i * ldProduct + j)]);
      }
    }
  }
}

}  // namespace
