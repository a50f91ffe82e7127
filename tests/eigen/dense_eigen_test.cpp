// The dense symmetric eigen-solver: residual and orthogonality of what it returns, and its values against LAPACK's, on
// easy and hard matrices at the sizes where the methods change.
#include "eigen/dense_eigen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "eigen/symmetric_samples.h"
#include "eigen/tridiagonal_qr.h"
#include "eigen/tridiagonal_reduction.h"

extern "C" void dsyev_(const char* job, const char* uplo, const int* n, double* a, const int* lda, double* w,
                       double* work, const int* lwork, int* info);

namespace {

using namespace qztest;

constexpr double kEps = 1.110223024625157e-16;
constexpr double kMark = -7.25e33;
constexpr unsigned kSeed = 77120;

struct Decomposition {
  int status;
  VectorXd values;
  MatrixXd vectors;
};

// Only the lower triangle is handed over; rows of padding and the end of the work area hold marks.
Decomposition decompose(const MatrixXd& a, const char* job = "V") {
  const int n = static_cast<int>(a.rows()), lda = n + 2;
  MatrixXd store = MatrixXd::Constant(lda, n, kMark);
  for (int j = 0; j < n; ++j) store.col(j).segment(j, n - j) = a.col(j).tail(n - j);
  std::vector<double> work(static_cast<size_t>(qz::denseSymEigenWorkEntries(job, n)) + 1, kMark);
  Decomposition result{0, VectorXd::Constant(n + 1, kMark), {}};
  result.status = qz::LA_DenseSymEigenSolver(job, n, store.data(), lda, result.values.data(), work.data());
  EXPECT_EQ(work.back(), kMark) << "work area overrun, n = " << n;
  EXPECT_EQ(result.values(n), kMark);
  EXPECT_TRUE((store.bottomRows(2).array() == kMark).all());
  result.values.conservativeResize(n);
  result.vectors = store.topRows(n);
  return result;
}

VectorXd oracleValues(const MatrixXd& a) {
  MatrixXd copy = a;
  const int n = static_cast<int>(a.rows());
  VectorXd values(n);
  const int lwork = 40 * n + 10;
  std::vector<double> work(static_cast<size_t>(lwork));
  int info = 0;
  dsyev_("N", "L", &n, copy.data(), &n, values.data(), work.data(), &lwork, &info);
  EXPECT_EQ(info, 0);
  return values;
}

bool ascending(const VectorXd& values) {
  return std::is_sorted(values.data(), values.data() + values.size());
}

// Residual and orthogonality at most 50 n times the machine precision, values likewise against the oracle.
void expectGood(const MatrixXd& a, const std::string& what) {
  const int n = static_cast<int>(a.rows());
  const double bound = 50.0 * n * kEps;
  const double largest = a.cwiseAbs().maxCoeff();
  const double unit = largest > 0.0 ? largest : 1.0;
  const MatrixXd scaled = a / unit;
  // Values of a matrix of denormal numbers can be no finer than these are.
  const double grain = n * std::numeric_limits<double>::denorm_min() / unit;
  const double norm = std::max(scaled.norm(), std::numeric_limits<double>::min());
  const Decomposition d = decompose(a);
  ASSERT_EQ(d.status, 0) << what << " n = " << n;
  EXPECT_TRUE(ascending(d.values)) << what << " n = " << n;
  const VectorXd values = d.values / unit;
  EXPECT_LE((scaled * d.vectors - d.vectors * values.asDiagonal()).norm() / norm, bound + grain)
      << what << " n = " << n;
  EXPECT_LE((d.vectors.transpose() * d.vectors - MatrixXd::Identity(n, n)).norm(), bound) << what << " n = " << n;
  const VectorXd expected = oracleValues(scaled);
  EXPECT_LE((values - expected).cwiseAbs().maxCoeff(), bound * norm + grain) << what << " n = " << n;
  const Decomposition only = decompose(a, "N");
  ASSERT_EQ(only.status, 0) << what << " n = " << n;
  EXPECT_TRUE(ascending(only.values)) << what << " n = " << n;
  EXPECT_LE((only.values / unit - expected).cwiseAbs().maxCoeff(), bound * norm + grain) << what << " n = " << n;
}

struct Kind {
  std::string name;
  std::function<MatrixXd(int, std::mt19937&)> make;
};

std::vector<Kind> kinds() {
  return {
      {"random", [](int n, std::mt19937& r) { return randomSymmetric(n, r); }},
      {"zero", [](int n, std::mt19937&) { return MatrixXd(MatrixXd::Zero(n, n)); }},
      {"identity", [](int n, std::mt19937&) { return MatrixXd(MatrixXd::Identity(n, n)); }},
      {"diagonal", [](int n, std::mt19937& r) { return MatrixXd(randomMatrix(n, 1, r).col(0).asDiagonal()); }},
      {"graded", [](int n, std::mt19937& r) { return graded(n, 20.0, r); }},
      {"graded to denormals", [](int n, std::mt19937& r) { return graded(n, 318.0, r); }},
      {"clustered", [](int n, std::mt19937& r) { return clustered(n, r); }},
      {"glued", [](int n, std::mt19937&) { return glued(n, 1e-8); }},
      {"glued at roundoff", [](int n, std::mt19937&) { return glued(n, 1e-14); }},
      {"second difference", [](int n, std::mt19937&) { return secondDifference(n); }},
      {"rank one",
       [](int n, std::mt19937& r) {
         const VectorXd v = randomMatrix(n, 1, r);
         return MatrixXd(v * v.transpose());
       }},
      {"zero diagonal",
       [](int n, std::mt19937& r) {
         MatrixXd a = randomSymmetric(n, r);
         a.diagonal().setZero();
         return a;
       }},
      {"reversed graded", [](int n, std::mt19937& r) { return MatrixXd(graded(n, 30.0, r).reverse()); }},
  };
}

// By QR iteration alone, in the layout of `decompose`.
VectorXd valuesByQrIteration(const MatrixXd& a) {
  const int n = static_cast<int>(a.rows()), lda = n + 2;
  MatrixXd store = MatrixXd::Zero(lda, n);
  store.topRows(n) = a;
  VectorXd values(n), offDiag(n), tau(n);
  std::vector<double> work(static_cast<size_t>(qz::denseSymEigenWorkEntries("V", n)));
  qz::reduceToTridiagonal(n, store.data(), lda, values.data(), offDiag.data(), tau.data(), work.data());
  MatrixXd vectors = MatrixXd::Identity(n, n);
  EXPECT_EQ(qz::EigenSolverTridiagQR(n, values.data(), offDiag.data(), vectors.data(), n, work.data()), 0);
  return values;
}

TEST(DenseEigen, QrIterationSolvesUpToTwentyFiveRows) {
  std::mt19937 random(kSeed + 25);
  for (int n : {24, 25, 26, 27}) {
    const MatrixXd a = randomSymmetric(n, random);
    EXPECT_EQ(decompose(a).values == valuesByQrIteration(a), n <= 25) << "to the bit, n = " << n;
  }
}

// A zero coupling parts a matrix between zero diagonals too, where no product of neighbours is above it.
TEST(DenseEigen, ZeroCouplingPartsAZeroDiagonal) {
  const int half = 20;
  MatrixXd a = MatrixXd::Zero(2 * half, 2 * half);
  for (int i = 0; i + 1 < 2 * half; ++i)
    if (i != half - 1) a(i, i + 1) = a(i + 1, i) = 1.0 + 0.3 * (i % 7);
  VectorXd parts(2 * half);
  parts << decompose(a.topLeftCorner(half, half)).values, decompose(a.bottomRightCorner(half, half)).values;
  std::sort(parts.data(), parts.data() + parts.size());
  EXPECT_EQ(decompose(a).values, parts) << "to the bit";
}

TEST(DenseEigen, EverySizeToSixtyAndEveryThresholdOnEveryKind) {
  std::mt19937 random(kSeed);
  std::vector<int> sizes;
  for (int n = 1; n <= 60; ++n) sizes.push_back(n);
  for (int n : {77, 95, 96, 97, 98, 100, 101, 102, 128, 192, 193, 194}) sizes.push_back(n);
  for (const Kind& kind : kinds()) {
    for (int n : sizes) expectGood(kind.make(n, random), kind.name);
    if (HasFailure()) FAIL() << "seed " << kSeed;
  }
}

TEST(DenseEigen, LargeSizes) {
  std::mt19937 random(kSeed + 1);
  for (int n : {289, 290, 385, 600}) {
    expectGood(randomSymmetric(n, random), "random");
    expectGood(clustered(n, random), "clustered");
    expectGood(glued(n, 1e-10), "glued");
    expectGood(graded(n, 40.0, random), "graded");
    if (HasFailure()) FAIL() << "seed " << kSeed + 1;
  }
}

TEST(DenseEigen, ScaleOfTheMatrixDoesNotMatter) {
  std::mt19937 random(kSeed + 2);
  for (double scale : {1e-320, 1e-308, 1e-200, 1e-17, 1e-10, 1e3, 1e8, 1e16, 1e153, 1e155, 1e300}) {
    for (int n : {2, 3, 20, 25, 26, 60, 110}) {
      MatrixXd a = scale * randomSymmetric(n, random);
      if (scale < 1e-310) a = a.unaryExpr([](double x) { return std::ldexp(std::round(std::ldexp(x, 1074)), -1074); });
      expectGood(a, "scaled by " + std::to_string(std::log10(scale)));
    }
  }
  // A strong diagonal with couplings that a test on the plain product of the diagonal would drop.
  for (double scale : {1e4, 1e7, 1e10}) {
    MatrixXd a = scale * MatrixXd::Identity(40, 40);
    for (int i = 0; i + 1 < 40; ++i) a(i, i + 1) = a(i + 1, i) = 1e-7 * scale;
    expectGood(a, "strong diagonal");
  }
}

TEST(DenseEigen, ManyRandomTridiagonalsWithZeroAndTinyCouplings) {
  std::mt19937 random(kSeed + 3);
  std::uniform_int_distribution<int> size(2, 90), pick(0, 5);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  for (int round = 0; round < 150; ++round) {
    const int n = size(random);
    const int style = round % 4;
    MatrixXd a = MatrixXd::Zero(n, n);
    for (int i = 0; i < n; ++i) {
      a(i, i) = style == 0 ? std::round(2 * uniform(random)) : uniform(random) * std::pow(10.0, -4.0 * style);
      if (i + 1 == n) continue;
      const int choice = pick(random);
      const double e = choice == 0 ? 0.0 : choice == 1 ? 1e-17 : choice == 2 ? 1e-9 : uniform(random);
      a(i, i + 1) = a(i + 1, i) = e;
    }
    expectGood(a, "tridiagonal round " + std::to_string(round));
    if (HasFailure()) FAIL() << "seed " << kSeed + 3;
  }
}

TEST(DenseEigen, OneByOneAndNothing) {
  double a = -4.5, value = 0.0;
  EXPECT_EQ(qz::LA_DenseSymEigenSolver("V", 1, &a, 1, &value, nullptr), 0);
  EXPECT_EQ(value, -4.5);
  EXPECT_EQ(a, 1.0);
  EXPECT_EQ(qz::LA_DenseSymEigenSolver("V", 0, nullptr, 1, nullptr, nullptr), 0);
}

TEST(DenseEigen, DiagonalMatrixIsOnlySorted) {
  for (int n : {5, 25, 26, 120}) {
    VectorXd values(n);
    const int half = n / 2;
    for (int i = 0; i < n; ++i) values(i) = (i * 7) % n - half;
    const Decomposition d = decompose(values.asDiagonal());
    ASSERT_EQ(d.status, 0);
    for (int i = 0; i < n; ++i) {
      EXPECT_EQ(d.values(i), i - n / 2);
      EXPECT_EQ(d.vectors.col(i).cwiseAbs().sum(), 1.0);
    }
  }
}

TEST(DenseEigen, NumbersThatAreNotFiniteFail) {
  for (double bad : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    for (int n : {1, 2, 10, 40}) {
      MatrixXd a = MatrixXd::Identity(n, n);
      a(n - 1, 0) = bad;
      EXPECT_EQ(decompose(a).status, 10);
      EXPECT_EQ(decompose(a, "N").status, 10);
    }
  }
}

TEST(DenseEigen, AccuracyMeasuresSeeGoodAndBadDecompositions) {
  std::mt19937 random(kSeed + 4);
  const int n = 40;
  const MatrixXd a = randomSymmetric(n, random);
  Decomposition d = decompose(a);
  MatrixXd work(n, n);
  double residual = -1.0, orthogonality = -1.0;
  qz::LA_ComputeEigenDecompAccuracy(n, a.data(), n, d.values.data(), d.vectors.data(), n, &residual, &orthogonality,
                                    work.data());
  const auto norm1 = [](const MatrixXd& m) { return m.cwiseAbs().colwise().sum().maxCoeff(); };
  const double expected = norm1(a * d.vectors - d.vectors * d.values.asDiagonal()) / norm1(a) / (n * kEps);
  EXPECT_NEAR(residual, expected, 0.5);
  EXPECT_LT(residual, 50.0);
  EXPECT_LT(orthogonality, 50.0);
  d.values(3) += 1e-6;
  d.vectors.col(5) *= 1.0 + 1e-7;
  qz::LA_ComputeEigenDecompAccuracy(n, a.data(), n, d.values.data(), d.vectors.data(), n, &residual, &orthogonality,
                                    work.data());
  EXPECT_GT(residual, 1e3);
  EXPECT_GT(orthogonality, 1e3);
  const MatrixXd zero = MatrixXd::Zero(3, 3), identity = MatrixXd::Identity(3, 3);
  const VectorXd zeros = VectorXd::Zero(3);
  qz::LA_ComputeEigenDecompAccuracy(3, zero.data(), 3, zeros.data(), identity.data(), 3, &residual, &orthogonality,
                                    work.data());
  EXPECT_EQ(residual, 0.0);
  EXPECT_EQ(orthogonality, 0.0);
}

}  // namespace
