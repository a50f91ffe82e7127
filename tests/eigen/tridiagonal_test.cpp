// The parts of the dense eigen-solver, one by one: 2-by-2 problems against LAPACK's, rotations, sorting and merging,
// the tridiagonal solvers, the secular equation, the reduction to Hessenberg form.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "eigen/divide_conquer.h"
#include "eigen/hessenberg.h"
#include "eigen/secular_equation.h"
#include "eigen/symmetric_samples.h"
#include "eigen/tridiagonal_qr.h"
#include "eigen/tridiagonal_tools.h"

extern "C" {
void dlaev2_(const double* a, const double* b, const double* c, double* rt1, double* rt2, double* cs, double* sn);
void dgehrd_(const int* n, const int* ilo, const int* ihi, double* a, const int* lda, double* tau, double* work,
             const int* lwork, int* info);
}

namespace {

using namespace qztest;

constexpr double kEps = 1.110223024625157e-16;
constexpr unsigned kSeed = 1618;

TEST(TwoByTwo, AreThoseOfTheReferenceInAllSignsAndSizes) {
  const double entries[] = {0.0, 1.0, -1.0, 2.5, -3.0, 1e-200, -1e150, 1e-8};
  for (double a : entries) {
    for (double b : entries) {
      for (double c : entries) {
        double rt1, rt2, cs, sn, r1, r2, c1, s1, v1, v2;
        dlaev2_(&a, &b, &c, &r1, &r2, &c1, &s1);
        qz::EigS2by2(&rt1, &rt2, &cs, &sn, a, b, c);
        qz::EigV2by2(&v1, &v2, a, b, c);
        EXPECT_EQ(v1, rt1);
        EXPECT_EQ(v2, rt2);
        const double unit = std::max({std::fabs(a), std::fabs(b), std::fabs(c), 1e-300});
        EXPECT_NEAR(rt1 / unit, r1 / unit, 4 * kEps) << a << " " << b << " " << c;
        EXPECT_NEAR(rt2 / unit, r2 / unit, 4 * kEps) << a << " " << b << " " << c;
        EXPECT_NEAR(cs, c1, 4 * kEps) << a << " " << b << " " << c;
        EXPECT_NEAR(sn, s1, 4 * kEps) << a << " " << b << " " << c;
      }
    }
  }
}

TEST(GivensSequence, IsTheProductOfItsRotations) {
  std::mt19937 random(kSeed);
  for (const char* side : {"L", "R"}) {
    for (const char* direction : {"F", "B"}) {
      const int m = 5, n = 6;
      const MatrixXd a = randomMatrix(m, n, random);
      const int order = *side == 'L' ? m : n;
      std::vector<double> c, s;
      for (int k = 0; k + 1 < order; ++k) {
        c.push_back(std::cos(1.0 + k));
        s.push_back(std::sin(1.0 + k));
      }
      c[1] = 1.0;
      s[1] = 0.0;
      MatrixXd p = MatrixXd::Identity(order, order);
      for (int step = 0; step + 1 < order; ++step) {
        const int k = *direction == 'F' ? step : order - 2 - step;
        MatrixXd r = MatrixXd::Identity(order, order);
        r(k, k) = r(k + 1, k + 1) = c[static_cast<size_t>(k)];
        r(k, k + 1) = s[static_cast<size_t>(k)];
        r(k + 1, k) = -s[static_cast<size_t>(k)];
        p = r * p;
      }
      MatrixXd result = a;
      qz::ApplyGivensSeq(side, direction, m, n, c.data(), s.data(), result.data(), m);
      MatrixXd expected = a;
      if (*side == 'L') expected = p * a;
      if (*side == 'R') expected = a * p.transpose();
      EXPECT_LE((result - expected).norm(), 1e-14) << side << direction;
    }
  }
}

TEST(TridiagonalNorm, IsTheLargestColumnSum) {
  const double d[] = {1.0, -4.0, 2.0}, e[] = {-3.0, 5.0};
  EXPECT_EQ(qz::NormTridiag(3, d, e), 12.0);
  EXPECT_EQ(qz::NormTridiag(1, d, nullptr), 1.0);
  EXPECT_EQ(qz::NormTridiag(0, nullptr, nullptr), 0.0);
}

TEST(MergeSortedLists, BothDirectionsAndEmptyLists) {
  const double values[] = {1.0, 4.0, 6.0, 5.0, 4.0, 0.0};
  int32_t index[6];
  qz::MergeSortedLists(3, 3, values, 1, -1, index);
  EXPECT_EQ(std::vector<int32_t>(index, index + 6), (std::vector<int32_t>{5, 0, 1, 4, 3, 2}));
  qz::MergeSortedLists(0, 3, values + 3, 1, -1, index);
  EXPECT_EQ(std::vector<int32_t>(index, index + 3), (std::vector<int32_t>{2, 1, 0}));
  qz::MergeSortedLists(3, 0, values, 1, 1, index);
  EXPECT_EQ(std::vector<int32_t>(index, index + 3), (std::vector<int32_t>{0, 1, 2}));
  const double falling[] = {9.0, 2.0, 3.0};
  qz::MergeSortedLists(2, 1, falling, -1, 1, index);
  EXPECT_EQ(std::vector<int32_t>(index, index + 3), (std::vector<int32_t>{1, 2, 0}));
}

TEST(SortEigenSystem, ColumnsGoWithTheirValues) {
  double values[] = {3.0, 1.0, 2.0};
  MatrixXd v = MatrixXd::Identity(3, 3);
  qz::SortEigenSystem(3, values, v.data(), 3);
  EXPECT_EQ(std::vector<double>(values, values + 3), (std::vector<double>{1.0, 2.0, 3.0}));
  EXPECT_EQ(v(1, 0), 1.0);
  EXPECT_EQ(v(2, 1), 1.0);
  EXPECT_EQ(v(0, 2), 1.0);
}

// QR iteration and divide and conquer alone, both directions of grading, against the matrix itself.
TEST(TridiagonalSolvers, ResidualOrthogonalityAndValuesAgree) {
  std::mt19937 random(kSeed + 1);
  for (int n : {1, 2, 3, 5, 24, 25, 26, 27, 50, 51, 52, 53, 101, 130}) {
    for (int style = 0; style < 6; ++style) {
      VectorXd d = randomMatrix(n, 1, random), e = randomMatrix(n, 1, random);
      if (style == 1) d.setZero();
      if (style == 2 || style == 3)
        for (int i = 0; i < n; ++i) {
          const double scale = std::pow(10.0, -12.0 * (style == 2 ? i : n - 1 - i) / n);
          d(i) *= scale;
          e(i) *= scale;
        }
      if (style == 4) e *= -1e-9;
      if (style == 5) {
        d.setConstant(2.0);
        e.setConstant(-1.0);
      }
      MatrixXd a = d.asDiagonal();
      for (int i = 0; i + 1 < n; ++i) a(i, i + 1) = a(i + 1, i) = e(i);
      std::vector<double> work(static_cast<size_t>(qz::divideAndConquerWorkEntries(n)) + 1, -7e33);
      VectorXd values[3] = {d, d, d};
      VectorXd off = e;
      MatrixXd z = MatrixXd::Identity(n, n), q = z;
      ASSERT_EQ(qz::EigenSolverTridiagQR(n, values[0].data(), off.data(), z.data(), n, work.data()), 0);
      off = e;
      ASSERT_EQ(qz::DivideAndConquer(n, values[1].data(), off.data(), q.data(), n, work.data()), 0);
      EXPECT_EQ(work.back(), -7e33);
      off = e;
      ASSERT_EQ(qz::EigenValuesTridiagPWK(n, values[2].data(), off.data()), 0);
      const double bound = 50 * n * kEps * std::max(a.norm(), 1e-300);
      for (int k = 0; k < 2; ++k) {
        const MatrixXd& v = k == 0 ? z : q;
        EXPECT_LE((a * v - v * values[k].asDiagonal()).norm(), bound) << n << " " << style << " " << k;
        EXPECT_LE((v.transpose() * v - MatrixXd::Identity(n, n)).norm(), 50 * n * kEps) << n << " " << style << k;
      }
      EXPECT_LE((values[0] - values[1]).cwiseAbs().maxCoeff(), bound) << n << " " << style;
      EXPECT_LE((values[0] - values[2]).cwiseAbs().maxCoeff(), bound) << n << " " << style;
    }
  }
}

TEST(TridiagonalSolvers, CouplingsBelowRoundingDeflateEveryColumnOfAMerge) {
  for (int n : {26, 60, 120}) {
    const VectorXd d = VectorXd::LinSpaced(n, 1.0, 3.0);
    VectorXd values = d;
    VectorXd off = VectorXd::Constant(n, 1e-20);
    std::vector<double> work(static_cast<size_t>(qz::divideAndConquerWorkEntries(n)));
    MatrixXd q = MatrixXd::Constant(n, n, -7e33);
    ASSERT_EQ(qz::DivideAndConquer(n, values.data(), off.data(), q.data(), n, work.data()), 0);
    EXPECT_TRUE(values == d);
    EXPECT_TRUE(q.cwiseAbs() == MatrixXd::Identity(n, n));
  }
}

TEST(TridiagonalSolvers, FailureIsCountedNotLooped) {
  const double nan = std::nan("");
  std::vector<double> work(40);
  double d[] = {1.0, nan, 2.0, 3.0}, e[] = {1.0, 1.0, 1.0};
  MatrixXd z = MatrixXd::Identity(4, 4);
  EXPECT_GT(qz::EigenSolverTridiagQR(4, d, e, z.data(), 4, work.data()), 0);
  double d2[] = {1.0, nan, 2.0, 3.0}, e2[] = {1.0, 1.0, 1.0};
  EXPECT_GT(qz::EigenValuesTridiagPWK(4, d2, e2), 0);
}

TEST(SecularEquation, RootsInterlaceAndSatisfyIt) {
  std::mt19937 random(kSeed + 2);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  for (int k : {1, 2, 3, 4, 10, 60}) {
    for (int round = 0; round < 20; ++round) {
      std::vector<double> d, z, delta(static_cast<size_t>(k));
      double at = uniform(random);
      for (int j = 0; j < k; ++j) {
        at += std::pow(10.0, -6.0 * std::fabs(uniform(random)));
        d.push_back(at);
        z.push_back(std::pow(10.0, -5.0 * std::fabs(uniform(random))) * (j % 2 == 0 ? 1.0 : -1.0));
      }
      const double norm = Eigen::Map<VectorXd>(z.data(), k).norm();
      for (double& x : z) x /= norm;
      const double rho = std::pow(10.0, 3.0 * uniform(random));
      for (int i = 0; i < k; ++i) {
        double root = 0.0;
        ASSERT_EQ(qz::solveSecularRoot(k, i, d.data(), z.data(), rho, delta.data(), &root), 0);
        EXPECT_GE(root, d[static_cast<size_t>(i)]);
        EXPECT_LE(root, i + 1 < k ? d[static_cast<size_t>(i) + 1] : d.back() + rho * (1 + 1e-12));
        double f = 1.0 / rho, scale = 1.0 / rho;
        for (size_t j = 0; j < d.size(); ++j) {
          EXPECT_EQ(delta[j] > 0.0, static_cast<int>(j) > i) << "sign of d_j - root";
          const double term = z[j] * z[j] / delta[j];
          f += term;
          scale += std::fabs(term);
        }
        EXPECT_LE(std::fabs(f), 100 * k * kEps * scale) << "seed " << kSeed + 2;
      }
    }
  }
}

TEST(Hessenberg, IsThatOfTheReferenceWholeAndInPart) {
  std::mt19937 random(kSeed + 3);
  for (int n : {1, 2, 3, 10, 32, 33, 34, 65, 70}) {
    for (auto [ilo, ihi] : {std::pair(0, n - 1), std::pair(n / 4, n - 1 - n / 5), std::pair(n / 2, n / 2)}) {
      MatrixXd a = randomMatrix(n, n, random);
      for (int j = 0; j < n; ++j)
        for (int i = j + 1; i < n; ++i)
          if (j < ilo || i > ihi) a(i, j) = 0.0;
      MatrixXd ours = a, theirs = a;
      VectorXd tau = VectorXd::Constant(n, 9.0), expected = VectorXd::Zero(n);
      std::vector<double> work(static_cast<size_t>(qz::genToHessWorkEntries(n)) + 1, -7e33);
      qz::GenToHess(n, ilo, ihi, ours.data(), n, tau.data(), work.data());
      EXPECT_EQ(work.back(), -7e33);
      const int first = ilo + 1, last = ihi + 1, lwork = 64 * n + 64 * 80;
      int info = 0;
      std::vector<double> space(static_cast<size_t>(lwork));
      dgehrd_(&n, &first, &last, theirs.data(), &n, expected.data(), space.data(), &lwork, &info);
      ASSERT_EQ(info, 0);
      EXPECT_LE((ours - theirs).cwiseAbs().maxCoeff(), 1e-10 * n) << n << " " << ilo << " " << ihi;
      if (n > 1) {
        EXPECT_LE((tau - expected).head(n - 1).cwiseAbs().maxCoeff(), 1e-10) << n << " " << ilo;
      }
    }
  }
}

}  // namespace
