// The convexity test: diagonal and sparse Hessians on both sides of the tolerance, and every failure.
#include "eigen/convexity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

#include "eigen/sparse_eigen.h"
#include "eigen/symmetric_samples.h"
#include "shell/host_table.h"
#include "sparse/la_env.h"
#include "transform/model_fixture.h"

namespace {

using namespace qztest;

constexpr unsigned kSeed = 90210;

class Convexity : public ::testing::Test {
 protected:
  Convexity() { env.pool = host.pool(); }
  ~Convexity() override { EXPECT_EQ(host.outstanding(), 0); }

  static TestModel modelOf(const MatrixXd& q) {
    const int n = static_cast<int>(q.rows());
    TestModel m("L", {1.0}, {0.0},
                std::vector<ColumnSpec>(static_cast<size_t>(n), ColumnSpec{1.0, 0.0, kInf, {{0, 1}}}));
    std::vector<double> diagonal;
    std::vector<std::tuple<int32_t, int32_t, double>> triangle;
    for (int j = 0; j < n; ++j) {
      diagonal.push_back(q(j, j));
      for (int i = j + 1; i < n; ++i)
        if (q(i, j) != 0.0) triangle.emplace_back(i, j, q(i, j));
    }
    m.makeQuadratic(diagonal, triangle);
    return m;
  }
  int32_t detect(const MatrixXd& q) {
    TestModel m = modelOf(q);
    const ModelArrays before = m.a;
    const int32_t status = qz::ipmDetectConvexity(&env, &m.model);
    EXPECT_EQ(m.a, before) << "the model is not changed";
    return status;
  }

  TestHost host;
  qz::Env env{};
};

MatrixXd diagonalOf(std::initializer_list<double> values) {
  VectorXd v(static_cast<int>(values.size()));
  int i = 0;
  for (double x : values) v(i++) = x;
  return v.asDiagonal();
}

TEST_F(Convexity, DiagonalIsDecidedOnItsSmallestEntry) {
  EXPECT_EQ(detect(diagonalOf({1.0, 0.0, 3.0})), 0);
  EXPECT_EQ(detect(diagonalOf({1.0, -5e-5, 3.0})), 0);
  EXPECT_EQ(detect(diagonalOf({1.0, -0.0001, 3.0})), 0) << "the tolerance itself is convex";
  EXPECT_EQ(detect(diagonalOf({1.0, std::nextafter(-0.0001, -1.0), 3.0})), 1000);
  EXPECT_EQ(detect(diagonalOf({-2.0})), 1000);
  EXPECT_EQ(detect(diagonalOf({2.0})), 0);
  EXPECT_EQ(host.allocations(), 0);
}

// The smallest value of a chain of fourth differences is so small, and so many are near it, that the search uses up its
// products. The value that it has by then decides.
TEST_F(Convexity, LimitOfProductsDecidesByTheValueReached) {
  const int n = 600;
  MatrixXd q = secondDifference(n) * secondDifference(n);
  TestModel m = modelOf(q);
  EXPECT_EQ(qz::ipmDetectConvexity(&env, &m.model), 0);
  int32_t status = 0;
  qz::LAEnv* laEnv = qz::LA_CreateLAEnv(host.pool(), 0, &status);
  ASSERT_NE(laEnv, nullptr);
  ASSERT_EQ(qz::LA_SetCharParam(laEnv, qz::LA_KEY_EIGEN_END, 'S'), 0);
  ASSERT_EQ(qz::LA_SetIntParam(laEnv, qz::LA_KEY_EIGEN_COUNT, 1), 0);
  std::vector<int32_t> start{0}, row;
  std::vector<double> value;
  for (int j = 0; j < n; ++j) {
    for (int i = std::max(0, j - 2); i <= std::min(n - 1, j + 2); ++i) {
      row.push_back(i);
      value.push_back(q(i, j));
    }
    start.push_back(static_cast<int32_t>(row.size()));
  }
  double smallest = 0.0, residual = 0.0;
  VectorXd vector(n);
  EXPECT_EQ(qz::LA_SparseSymEigenSolver(n, start.data(), row.data(), value.data(), laEnv, nullptr, &smallest,
                                        vector.data(), &residual),
            qz::kEigenLimit)
      << "what this test is about";
  qz::LA_FreeLAEnv(&laEnv);
}

TEST_F(Convexity, NoColumnsAndLinearModelsAreConvex) {
  qz::Model empty{};
  empty.typeModel = qz::IPM_MODEL_QP;
  EXPECT_EQ(qz::ipmDetectConvexity(&env, &empty), 0);
  TestModel m = modelOf(diagonalOf({-1.0, -1.0}));
  m.model.typeModel = qz::IPM_MODEL_LP;
  EXPECT_EQ(qz::ipmDetectConvexity(&env, &m.model), 0);
  m.model.typeModel = qz::IPM_MODEL_EQUATIONS;
  EXPECT_EQ(qz::ipmDetectConvexity(&env, &m.model), 0);
}

TEST_F(Convexity, ZeroDiagonalWithOffDiagonalsIsNotConvex) {
  MatrixXd q = MatrixXd::Zero(2, 2);
  q(0, 1) = q(1, 0) = 0.5;
  EXPECT_EQ(detect(q), 1000);
  q = MatrixXd::Zero(12, 12);
  q(11, 3) = q(3, 11) = 1e-3;
  EXPECT_EQ(detect(q), 1000);
  q(11, 3) = q(3, 11) = 0.9e-4;
  EXPECT_EQ(detect(q), 0) << "smallest value -0.00009";
}

TEST_F(Convexity, SmallestEigenvalueAroundTheTolerance) {
  std::mt19937 random(kSeed);
  for (int n : {2, 3, 5, 30, 120}) {
    for (double smallest : {-5e-5, -9.9e-5, 0.0, 1.0, -1.01e-4, -1e-3, -7.0}) {
      VectorXd values(n);
      for (int i = 0; i < n; ++i) values(i) = i == 0 ? smallest : 1.5 + 0.1 * i;
      EXPECT_EQ(detect(withSpectrum(values, random)), smallest < -1e-4 ? 1000 : 0) << n << " " << smallest;
    }
  }
  if (HasFailure()) FAIL() << "seed " << kSeed;
}

TEST_F(Convexity, SemidefiniteHessiansOfLowRankAreConvex) {
  std::mt19937 random(kSeed + 1);
  for (int n : {10, 60, 200}) {
    for (int rank : {1, 3, n / 2}) {
      const MatrixXd f = randomMatrix(n, rank, random);
      MatrixXd q = f * f.transpose();
      q = 0.5 * (q + q.transpose()).eval();
      EXPECT_EQ(detect(q), 0) << n << " " << rank;
      q(0, 0) -= 2.0 * q(0, 0) + 1.0;
      EXPECT_EQ(detect(q), 1000) << n << " " << rank;
    }
  }
}

TEST_F(Convexity, EmptyColumnsBetweenFullOnes) {
  MatrixXd q = MatrixXd::Zero(40, 40);
  for (int i = 0; i + 5 < 40; i += 5) q(i, i + 5) = q(i + 5, i) = -1.0;
  for (int i = 0; i < 40; i += 5) q(i, i) = 2.0;
  EXPECT_EQ(detect(q), 0);
  q(20, 20) = 0.1;
  EXPECT_EQ(detect(q), 1000);
}

TEST_F(Convexity, EveryAllocationMayFail) {
  std::mt19937 random(kSeed + 2);
  VectorXd values(20);
  for (int i = 0; i < 20; ++i) values(i) = i;
  TestModel m = modelOf(withSpectrum(values, random));
  int64_t k = 1;
  for (;; ++k) {
    host.failAllocation(k);
    const int32_t status = qz::ipmDetectConvexity(&env, &m.model);
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), 0) << k;
    if (status == 0) break;
    ASSERT_EQ(status, -1086) << k;
  }
  EXPECT_EQ(k, 11) << "three arrays, four temporary ones, the environment, the vector, the solver's block";
}

TEST_F(Convexity, NumbersThatAreNotFiniteAreAFailure) {
  MatrixXd q = secondDifference(10);
  q(5, 4) = q(4, 5) = std::nan("");
  TestModel m = modelOf(q);  // a NaN is not equal to itself, so the arrays are not compared
  EXPECT_EQ(qz::ipmDetectConvexity(&env, &m.model), 10);
}

}  // namespace
