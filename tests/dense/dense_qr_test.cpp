// The QR family: factors against LAPACK's and multiplied out, T against the product of the reflectors, least squares
// against the normal equations, at the sizes where leaves, halves and panels begin.
#include "dense/dense_qr.h"

#include <gtest/gtest.h>

#include <cmath>
#include <eigen3/Eigen/Dense>
#include <limits>
#include <random>
#include <vector>

#include "dense/dense_qr_reflector.h"

extern "C" void dgeqrf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
                        const int* lwork, int* info);

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;

constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr double kMark = -7.25e33;
constexpr unsigned kSeed = 20240611;

MatrixXd randomMatrix(int rows, int cols, std::mt19937& random) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  return MatrixXd::NullaryExpr(rows, cols, [&] { return uniform(random); });
}

// The matrix in a store with three more rows, which hold a mark.
MatrixXd padded(const MatrixXd& a) {
  MatrixXd store = MatrixXd::Constant(a.rows() + 3, a.cols(), kMark);
  store.topRows(a.rows()) = a;
  return store;
}

bool marksIntact(const MatrixXd& store) {
  return (store.bottomRows(3).array() == kMark).all();
}

MatrixXd reflectorsOf(const MatrixXd& factored, int k) {
  MatrixXd v = factored.leftCols(k);
  for (int j = 0; j < k; ++j) {
    v.col(j).head(j).setZero();
    v(j, j) = 1.0;
  }
  return v;
}

// H_1 H_2 ... H_k, one reflector after the other.
MatrixXd orthogonalOf(const MatrixXd& factored, const VectorXd& tau) {
  const int m = static_cast<int>(factored.rows());
  const int k = static_cast<int>(tau.size());
  const MatrixXd v = reflectorsOf(factored, k);
  MatrixXd q = MatrixXd::Identity(m, m);
  for (int j = k - 1; j >= 0; --j) q -= tau(j) * v.col(j) * (v.col(j).transpose() * q).eval();
  return q;
}

MatrixXd upperOf(const MatrixXd& factored) {
  return factored.triangularView<Eigen::Upper>();
}

struct Factor {
  MatrixXd a;
  VectorXd tau;
};

Factor factor(const MatrixXd& a) {
  const int m = static_cast<int>(a.rows()), n = static_cast<int>(a.cols());
  MatrixXd store = padded(a);
  Factor f{a, VectorXd::Zero(std::min(m, n))};
  std::vector<double> area(static_cast<size_t>(qz::qrAreaEntries(n)) + 1, kMark);
  EXPECT_EQ(qz::LA_DenseQRFactor(m, n, store.data(), m + 3, f.tau.data(), area.data()), 0);
  EXPECT_EQ(area.back(), kMark);
  EXPECT_TRUE(marksIntact(store));
  f.a = store.topRows(m);
  return f;
}

void expectGoodFactor(const MatrixXd& a, const Factor& f) {
  const int m = static_cast<int>(a.rows()), n = static_cast<int>(a.cols());
  const double bound = 50.0 * std::max(m, n) * kEps;
  const MatrixXd q = orthogonalOf(f.a, f.tau);
  EXPECT_LE((q.transpose() * q - MatrixXd::Identity(m, m)).norm(), bound) << m << " " << n;
  const double norm = a.norm();
  EXPECT_LE((q * upperOf(f.a) - a).norm(), bound * norm) << m << " " << n;
}

// Entry by entry what LAPACK leaves: signs and storage are the same, and the matrices are well conditioned.
void expectLapacksFactor(const MatrixXd& a, const Factor& f) {
  const int m = static_cast<int>(a.rows()), n = static_cast<int>(a.cols());
  MatrixXd expected = a;
  VectorXd tau = VectorXd::Zero(std::min(m, n));
  std::vector<double> work(static_cast<size_t>(64 * n));
  const int lwork = static_cast<int>(work.size());
  int info = 0;
  dgeqrf_(&m, &n, expected.data(), &m, tau.data(), work.data(), &lwork, &info);
  ASSERT_EQ(info, 0);
  EXPECT_LE((f.a - expected).cwiseAbs().maxCoeff(), 1e-10 * std::max(m, n)) << m << " " << n;
  EXPECT_LE((f.tau - tau).cwiseAbs().maxCoeff(), 1e-10) << m << " " << n;
}

const int kWidths[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 31, 32, 33, 60, 63, 64, 65, 68, 69, 127, 128, 129, 200};

TEST(QRSplit, IsAMultipleOfFourAboutHalfOfTheWidth) {
  EXPECT_EQ(qz::qrSplit(5), 4);
  EXPECT_EQ(qz::qrSplit(6), 4);
  EXPECT_EQ(qz::qrSplit(8), 4);
  EXPECT_EQ(qz::qrSplit(12), 8);
  EXPECT_EQ(qz::qrSplit(64), 32);
  EXPECT_EQ(qz::qrSplit(96), 48);
  for (int w = 5; w <= 96; ++w) {
    EXPECT_EQ(qz::qrSplit(w) % 4, 0);
    EXPECT_GT(qz::qrSplit(w), 0);
    EXPECT_LT(qz::qrSplit(w), w);
  }
}

TEST(DenseQR, FactorsAtEveryPanelBoundaryForTallSquareAndWideShapes) {
  std::mt19937 random(kSeed);
  for (int n : kWidths) {
    for (int m : {n, n + 1, n + 40, 3 * n, std::max(1, n - 1), std::max(1, n / 2), 1}) {
      const MatrixXd a = randomMatrix(m, n, random);
      const Factor f = factor(a);
      expectGoodFactor(a, f);
      if (m != n && n < 70) expectLapacksFactor(a, f);
      if (HasFailure()) FAIL() << "seed " << kSeed;
    }
  }
}

TEST(DenseQR, GradedRankDeficientAndZeroColumns) {
  std::mt19937 random(kSeed + 1);
  for (int n : {4, 5, 17, 64, 65, 100}) {
    const int m = n + 9;
    MatrixXd graded = randomMatrix(m, n, random);
    for (int j = 0; j < n; ++j) graded.col(j) *= std::pow(10.0, -200.0 * j / n);
    expectGoodFactor(graded, factor(graded));
    const MatrixXd deficient = randomMatrix(m, 2, random) * randomMatrix(2, n, random);
    expectGoodFactor(deficient, factor(deficient));
    MatrixXd holes = randomMatrix(m, n, random);
    for (int j = 0; j < n; j += 3) holes.col(j).setZero();
    expectGoodFactor(holes, factor(holes));
    const MatrixXd zero = MatrixXd::Zero(m, n);
    const Factor f = factor(zero);
    EXPECT_EQ(f.tau.norm(), 0.0) << "a zero column has no reflector";
    EXPECT_EQ(f.a.norm(), 0.0);
  }
}

TEST(DenseQR, EntriesNearTheEndsOfTheRangeKeepTheirDigits) {
  std::mt19937 random(kSeed + 2);
  for (double scale : {1e-305, 1e-290, 1e-150, 1e150, 1e300}) {
    const MatrixXd a = scale * randomMatrix(30, 20, random);
    const Factor f = factor(a);
    const MatrixXd q = orthogonalOf(f.a, f.tau);
    EXPECT_LE((q.transpose() * q - MatrixXd::Identity(30, 30)).norm(), 1500 * kEps) << scale;
    const MatrixXd r = upperOf(f.a) / scale;
    EXPECT_LE((q * r - a / scale).norm(), 1500 * kEps * (a / scale).norm()) << scale;
  }
}

TEST(DenseQR, SingleReflectorSingleRowAndNothing) {
  Factor f = factor((MatrixXd(2, 1) << 3.0, 4.0).finished());
  EXPECT_DOUBLE_EQ(f.a(0, 0), -5.0);
  EXPECT_DOUBLE_EQ(f.a(1, 0), 0.5);
  EXPECT_DOUBLE_EQ(f.tau(0), 1.6);
  f = factor((MatrixXd(1, 3) << 3.0, 4.0, -1.0).finished());
  EXPECT_EQ(f.tau(0), 0.0);
  EXPECT_EQ(f.a(0, 0), 3.0);
  double untouched = kMark;
  EXPECT_EQ(qz::LA_DenseQRFactor(5, 0, &untouched, 5, &untouched, &untouched), 0);
  EXPECT_EQ(qz::DenseQRWithUpdate(5, -1, &untouched, 5, 1, &untouched, &untouched, &untouched), 0);
  EXPECT_EQ(qz::LA_DenseQRSolve(5, 0, 1, &untouched, 5, &untouched, 5, &untouched, &untouched), 0);
  EXPECT_EQ(untouched, kMark);
}

TEST(DenseQR, TriangularFactorOfAPanelIsThatOfItsReflectors) {
  std::mt19937 random(kSeed + 3);
  for (int n : {1, 2, 3, 4, 5, 6, 12, 13, 33, 64, 96}) {
    for (int m : {n, n + 1, n + 30}) {
      const MatrixXd a = randomMatrix(m, n, random);
      MatrixXd store = padded(a), t = MatrixXd::Constant(n + 2, n, kMark), formed = t;
      VectorXd tau(n);
      std::vector<double> work(static_cast<size_t>(n * n + 4));
      qz::DenseQRBlock(m, n, 1, store.data(), m + 3, tau.data(), t.data(), n + 2, work.data());
      EXPECT_TRUE(marksIntact(store));
      const MatrixXd factored = store.topRows(m);
      qz::qr_dlarft(m, n, store.data(), m + 3, tau.data(), formed.data(), n + 2);
      const MatrixXd v = reflectorsOf(factored, n);
      for (const MatrixXd& each : {t, formed}) {
        const MatrixXd triangle = each.topRows(n).triangularView<Eigen::Upper>();
        const MatrixXd q = MatrixXd::Identity(m, m) - v * triangle * v.transpose();
        EXPECT_LE((q - orthogonalOf(factored, tau)).norm(), 50 * m * kEps) << m << " " << n;
      }
      EXPECT_EQ(t(n, 0), kMark);
    }
  }
}

TEST(DenseQR, PanelWithoutTGivesTheSameFactors) {
  std::mt19937 random(kSeed + 4);
  for (int n : {1, 3, 4, 5, 12, 40, 64}) {
    const MatrixXd a = randomMatrix(n + 7, n, random);
    MatrixXd with = a, without = a, t = MatrixXd::Zero(n, n);
    VectorXd tau(n), tauWithout(n);
    std::vector<double> work(static_cast<size_t>(n * n + 4));
    qz::DenseQRBlock(n + 7, n, 1, with.data(), n + 7, tau.data(), t.data(), n, work.data());
    qz::DenseQRBlock(n + 7, n, 0, without.data(), n + 7, tauWithout.data(), t.data(), n, work.data());
    EXPECT_EQ(with, without);
    EXPECT_EQ(tau, tauWithout);
  }
}

TEST(DenseQR, BlockReflectorsMultiplyFromTheLeftBothWays) {
  std::mt19937 random(kSeed + 5);
  for (int k : {1, 3, 4, 5, 17, 64}) {
    const int m = k + 21;
    MatrixXd a = randomMatrix(m, k, random), t = MatrixXd::Zero(k, k);
    VectorXd tau(k);
    std::vector<double> work(static_cast<size_t>(100 * k + 4));
    qz::DenseQRBlock(m, k, 1, a.data(), m, tau.data(), t.data(), k, work.data());
    const MatrixXd q = orthogonalOf(a, tau);
    for (int n : {0, 1, 2, k - 1, k, k + 1, 90}) {
      const MatrixXd c = randomMatrix(m, n, random);
      for (const char* trans : {"T", "N"}) {
        MatrixXd store = padded(c);
        qz::qr_dlarfb(trans, m, n, k, a.data(), m, t.data(), k, store.data(), m + 3, work.data());
        const MatrixXd side = *trans == 'T' ? MatrixXd(q.transpose()) : q;
        const MatrixXd expected = side * c;
        EXPECT_LE((store.topRows(m) - expected).norm(), 50 * m * kEps * (c.norm() + 1)) << k << " " << n << trans;
        EXPECT_TRUE(marksIntact(store));
      }
      if (k > 4) continue;
      MatrixXd store = padded(c);
      qz::dqru4(m, n, k, a.data(), m, t.data(), k, store.data(), m + 3, work.data());
      EXPECT_LE((store.topRows(m) - q.transpose() * c).norm(), 50 * m * kEps * (c.norm() + 1)) << k << " " << n;
      EXPECT_TRUE(marksIntact(store));
    }
  }
}

TEST(DenseQR, FurtherColumnsAreCarriedAlongEvenBehindTheLastPanel) {
  std::mt19937 random(kSeed + 6);
  for (int n : {1, 4, 5, 63, 64, 65, 68, 129}) {
    for (int numExtra : {0, 1, 7, n + 50}) {
      const int m = n + 11;
      const MatrixXd a = randomMatrix(m, n, random), b = randomMatrix(m, numExtra, random);
      MatrixXd store = padded(a), extra = padded(b);
      VectorXd tau(n);
      std::vector<double> area(static_cast<size_t>(qz::qrAreaEntries(std::max(n, numExtra))) + 1, kMark);
      EXPECT_EQ(qz::DenseQRWithUpdate(m, n, store.data(), m + 3, numExtra, extra.data(), tau.data(), area.data()), 0);
      EXPECT_EQ(area.back(), kMark);
      const MatrixXd q = orthogonalOf(store.topRows(m), tau);
      EXPECT_LE((extra.topRows(m) - q.transpose() * b).norm(), 50 * m * kEps * (b.norm() + 1)) << n << " " << numExtra;
      EXPECT_TRUE(marksIntact(extra));
      EXPECT_LE((q * upperOf(store.topRows(m)) - a).norm(), 50 * m * kEps * a.norm());
    }
  }
}

TEST(DenseQR, SolvesLeastSquares) {
  std::mt19937 random(kSeed + 7);
  for (int n : {1, 4, 5, 64, 65, 90}) {
    for (int numRhs : {1, 3, 100}) {
      const int m = n + n / 2;
      MatrixXd a = randomMatrix(m, n, random);
      a.topRows(n).diagonal().array() += 4.0;
      const MatrixXd b = randomMatrix(m, numRhs, random);
      MatrixXd store = padded(a), x = MatrixXd::Constant(m + 5, numRhs, kMark);
      x.topRows(m) = b;
      VectorXd tau(n);
      std::vector<double> area(static_cast<size_t>(qz::qrAreaEntries(std::max(n, numRhs))));
      EXPECT_EQ(qz::LA_DenseQRSolve(m, n, numRhs, store.data(), m + 3, x.data(), m + 5, tau.data(), area.data()), 0);
      const MatrixXd residual = a * x.topRows(n) - b;
      EXPECT_LE((a.transpose() * residual).norm(), 1e-11 * a.norm() * b.norm()) << n << " " << numRhs;
      EXPECT_NEAR(x.middleRows(n, m - n).norm(), residual.norm(), 1e-11 * b.norm());
    }
  }
}

TEST(Reflector, SumOfSquaresNeitherOverflowsNorUnderflows) {
  EXPECT_EQ(qz::SqrtSumSquares(3.0, -4.0), 5.0);
  EXPECT_EQ(qz::SqrtSumSquares(0.0, 0.0), 0.0);
  EXPECT_EQ(qz::SqrtSumSquares(0.0, -2.5), 2.5);
  EXPECT_NEAR(qz::SqrtSumSquares(3e300, 4e300) / 5e300, 1.0, 1e-15);
  EXPECT_NEAR(qz::SqrtSumSquares(3e-300, 4e-300) / 5e-300, 1.0, 1e-15);
}

TEST(Reflector, LengthOneAndZeroTailHaveNone) {
  double alpha = -3.0, tau = 7.0, x[] = {0.0, 0.0};
  qz::my_dlarfg(1, &alpha, x, &tau);
  EXPECT_EQ(tau, 0.0);
  tau = 7.0;
  qz::my_dlarfg(3, &alpha, x, &tau);
  EXPECT_EQ(tau, 0.0);
  EXPECT_EQ(alpha, -3.0);
}

TEST(Reflector, AppliesToSeveralColumns) {
  std::mt19937 random(kSeed + 8);
  for (int m : {1, 2, 9}) {
    VectorXd v = randomMatrix(m, 1, random);
    double tau = 0.0;
    qz::my_dlarfg(m, v.data(), v.data() + 1, &tau);
    const MatrixXd c = randomMatrix(m, 5, random);
    MatrixXd store = padded(c);
    VectorXd work(5);
    qz::my_dlarf_one(m, 5, v.data() + 1, tau, store.data(), m + 3, work.data());
    v(0) = 1.0;
    const MatrixXd expected = c - tau * v * (v.transpose() * c);
    EXPECT_LE((store.topRows(m) - expected).norm(), 1e-14);
    EXPECT_TRUE(marksIntact(store));
  }
}

}  // namespace
