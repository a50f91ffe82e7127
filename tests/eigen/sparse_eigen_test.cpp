// The sparse eigen-solver against a dense oracle: both ends, several pairs, multiple values, large norms, all sizes
// where a path changes; its random vectors, orthogonalisation and limits.
#include "eigen/sparse_eigen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "eigen/correction.h"
#include "eigen/orthogonalize.h"
#include "eigen/random_vector.h"
#include "eigen/symmetric_samples.h"
#include "support/test_host.h"

extern "C" {
void dlarnv_(const int* idist, int* iseed, const int* n, double* x);
void dsyevr_(const char* job, const char* range, const char* uplo, const int* n, double* a, const int* lda,
             const double* vl, const double* vu, const int* il, const int* iu, const double* abstol, int* m, double* w,
             double* z, const int* ldz, int* isuppz, double* work, const int* lwork, int* iwork, const int* liwork,
             int* info);
}

namespace {

using namespace qztest;

constexpr unsigned kSeed = 4711;

struct Sparse {
  int n = 0;
  std::vector<int32_t> start{0}, row;
  std::vector<double> value;
  double norm1() const {
    double norm = 0.0;
    for (int j = 0; j < n; ++j) {
      double sum = 0.0;
      for (int p = start[j]; p < start[j + 1]; ++p) sum += std::fabs(value[p]);
      norm = std::max(norm, sum);
    }
    return norm;
  }
  VectorXd times(const VectorXd& x) const {
    VectorXd y = VectorXd::Zero(n);
    for (int j = 0; j < n; ++j)
      for (int p = start[j]; p < start[j + 1]; ++p) y(row[p]) += value[p] * x(j);
    return y;
  }
};

Sparse sparseOf(const MatrixXd& a) {
  Sparse s;
  s.n = static_cast<int>(a.rows());
  for (int j = 0; j < s.n; ++j) {
    for (int i = 0; i < s.n; ++i) {
      if (a(i, j) == 0.0) continue;
      s.row.push_back(i);
      s.value.push_back(a(i, j));
    }
    s.start.push_back(static_cast<int32_t>(s.row.size()));
  }
  return s;
}

MatrixXd randomSparse(int n, double perColumn, std::mt19937& random) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::uniform_int_distribution<int> index(0, n - 1);
  MatrixXd a = MatrixXd::Zero(n, n);
  for (int k = 0; k < static_cast<int>(0.5 * perColumn * n); ++k) {
    const int i = index(random), j = index(random);
    a(i, j) = a(j, i) = uniform(random);
  }
  for (int i = 0; i < n; ++i) a(i, i) = 2.0 * uniform(random);
  return a;
}

struct Solved {
  int32_t status = -1;
  VectorXd values, residuals;
  MatrixXd vectors;
};

class SparseEigen : public ::testing::Test {
 protected:
  SparseEigen() {
    int32_t status = 0;
    env = qz::LA_CreateLAEnv(host.pool(), 0, &status);
  }
  ~SparseEigen() override {
    qz::LA_FreeLAEnv(&env);
    EXPECT_EQ(host.outstanding(), 0);
  }
  Solved solve(const Sparse& a, char end, int count, qz::SymMatVec matVec = nullptr) {
    EXPECT_EQ(qz::LA_SetCharParam(env, qz::LA_KEY_EIGEN_END, end), 0);
    EXPECT_EQ(qz::LA_SetIntParam(env, qz::LA_KEY_EIGEN_COUNT, count), 0);
    Solved s;
    const int got = std::min(count, a.n);
    s.values = s.residuals = VectorXd::Constant(got, -77.0);
    s.vectors = MatrixXd::Zero(a.n, got);
    s.status = qz::LA_SparseSymEigenSolver(a.n, a.start.data(), a.row.data(), a.value.data(), env, matVec,
                                           s.values.data(), s.vectors.data(), s.residuals.data());
    return s;
  }

  // All pairs at one end against the oracle's values.
  void expectPairs(const MatrixXd& dense, char end, int count, const std::string& what, double tolerance = 1e-11) {
    const Sparse a = sparseOf(dense);
    const Solved s = solve(a, end, count);
    ASSERT_EQ(s.status, 0) << what;
    const int got = std::min(count, a.n);
    const VectorXd expected = extremes(dense, end, got);
    const double norm = std::max(a.norm1(), 1e-300);
    EXPECT_LE((s.values - expected).cwiseAbs().maxCoeff(), tolerance * norm) << what;
    EXPECT_LE((s.vectors.transpose() * s.vectors - MatrixXd::Identity(got, got)).norm(), 1e-10) << what;
    for (int j = 0; j < got; ++j) {
      const double residual = (a.times(s.vectors.col(j)) - s.values(j) * s.vectors.col(j)).norm();
      EXPECT_LE(residual, tolerance * norm) << what << " pair " << j;
      EXPECT_LE(s.residuals(j), tolerance * norm) << what << " pair " << j;
    }
  }

  static VectorXd extremes(const MatrixXd& dense, char end, int count) {
    MatrixXd copy = dense;
    const int n = static_cast<int>(dense.rows());
    const int il = end == 'S' ? 1 : n - count + 1, iu = end == 'S' ? count : n;
    VectorXd w(n);
    std::vector<double> work(static_cast<size_t>(40 * n));
    std::vector<int> iwork(static_cast<size_t>(20 * n)), support(static_cast<size_t>(2 * n));
    const int lwork = 40 * n, liwork = 20 * n;
    const double zero = 0.0;
    double z = 0.0;
    int m = 0, info = 0;
    dsyevr_("N", "I", "L", &n, copy.data(), &n, &zero, &zero, &il, &iu, &zero, &m, w.data(), &z, &n, support.data(),
            work.data(), &lwork, iwork.data(), &liwork, &info);
    EXPECT_EQ(info, 0);
    VectorXd values = w.head(count);
    if (end == 'L') values.reverseInPlace();
    return values;
  }

  TestHost host;
  qz::LAEnv* env = nullptr;
};

TEST_F(SparseEigen, EverySmallSizeBothEndsEveryCount) {
  std::mt19937 random(kSeed);
  for (int n = 1; n <= 24; ++n) {
    const MatrixXd a = randomSymmetric(n, random);
    for (int count : {1, 2, 3, 5, n - 1, n, n + 3}) {
      if (count < 1) continue;
      for (char end : {'S', 'L'})
        expectPairs(a, end, count, "n " + std::to_string(n) + " count " + std::to_string(count) + " " + end);
    }
  }
  if (HasFailure()) FAIL() << "seed " << kSeed;
}

TEST_F(SparseEigen, RandomSparseMatricesBothEndsSeveralPairs) {
  std::mt19937 random(kSeed + 1);
  for (int n : {30, 100, 300}) {
    const MatrixXd a = randomSparse(n, 5.0, random);
    for (int count : {1, 2, 4, 5, 10, 20}) {
      for (char end : {'S', 'L'})
        expectPairs(a, end, count, "n " + std::to_string(n) + " count " + std::to_string(count) + " " + end);
    }
  }
  if (HasFailure()) FAIL() << "seed " << kSeed + 1;
}

TEST_F(SparseEigen, LargeRandomSparseMatrix) {
  std::mt19937 random(kSeed + 2);
  const MatrixXd a = randomSparse(2000, 6.0, random);
  expectPairs(a, 'S', 1, "smallest");
  expectPairs(a, 'L', 3, "largest three");
  const MatrixXd b = randomSparse(700, 6.0, random);
  for (char end : {'S', 'L'})
    for (int count : {3, 6}) expectPairs(b, end, count, std::string("700 ") + end);
}

TEST_F(SparseEigen, MultipleValuesAreFoundAsOftenAsTheyOccur) {
  std::mt19937 random(kSeed + 3);
  for (int n : {20, 60, 150}) {
    VectorXd values(n);
    for (int i = 0; i < n; ++i) values(i) = i < 3 ? -2.0 : i < 5 ? -1.5 : 0.01 * i;
    const MatrixXd a = withSpectrum(values, random);
    for (int count : {1, 2, 3, 5, 6}) expectPairs(a, 'S', count, "multiple, count " + std::to_string(count));
    expectPairs(-a, 'L', 5, "multiple, other end");
  }
  // A semidefinite matrix of low rank: most values are zero.
  const MatrixXd factor = randomMatrix(80, 5, random);
  expectPairs(factor * factor.transpose(), 'S', 1, "low rank");
  expectPairs(factor * factor.transpose(), 'L', 5, "low rank");
  if (HasFailure()) FAIL() << "seed " << kSeed + 3;
}

TEST_F(SparseEigen, NormsOfAllSizes) {
  std::mt19937 random(kSeed + 4);
  for (double scale : {1e-30, 1e-8, 1e3, 1e5, 1e8, 1e11, 1e14, 1e17, 1e25}) {
    for (int n : {3, 4, 5, 6, 7, 17, 50, 120}) {
      const MatrixXd a = scale * randomSparse(n, 4.0, random);
      for (int count : {1, 2, 6}) {
        for (char end : {'S', 'L'})
          expectPairs(a, end, count,
                      "scale " + std::to_string(scale) + " n " + std::to_string(n) + " count " + std::to_string(count) +
                          " " + end);
      }
    }
  }
  if (HasFailure()) FAIL() << "seed " << kSeed + 4;
}

TEST_F(SparseEigen, TinyValueOfAHugeMatrixIsResolvedBeyondTheUsualLimit) {
  // Values 1 .. 30 at scale 1, the rest near 1e18, in separate blocks: the small ones do not hide behind the norm.
  MatrixXd a = MatrixXd::Zero(60, 60);
  std::mt19937 random(kSeed + 5);
  a.bottomRightCorner(30, 30) = 1e18 * (10.0 * MatrixXd::Identity(30, 30) + randomSymmetric(30, random));
  for (int i = 0; i < 30; ++i) a(i, i) = 1.0 + i;
  const Solved s = solve(sparseOf(a), 'S', 1);
  EXPECT_TRUE(s.status == 0 || s.status == 12);
  EXPECT_LE(std::fabs(s.values(0)), 1e5) << "below 1e-12 of the norm";
}

TEST_F(SparseEigen, OneByOneAndTwoByTwoAreDirect) {
  MatrixXd one(1, 1);
  one << -3.25;
  Solved s = solve(sparseOf(one), 'S', 1);
  EXPECT_EQ(s.status, 0);
  EXPECT_EQ(s.values(0), -3.25);
  EXPECT_EQ(s.vectors(0, 0), 1.0);
  EXPECT_EQ(s.residuals(0), 0.0);
  Sparse empty;
  empty.n = 1;
  empty.start = {0, 0};
  s = solve(empty, 'L', 1);
  EXPECT_EQ(s.status, 0);
  EXPECT_EQ(s.values(0), 0.0);
  MatrixXd two(2, 2);
  two << 1.0, 2.0, 2.0, 1.0;
  s = solve(sparseOf(two), 'L', 2);
  EXPECT_EQ(s.status, 0);
  EXPECT_NEAR(s.values(0), 3.0, 1e-15);
  EXPECT_NEAR(s.values(1), -1.0, 1e-15);
  EXPECT_EQ(s.residuals(0), 0x1p-53);
  EXPECT_EQ(s.residuals(1), 0x1p-53);
}

TEST_F(SparseEigen, ZeroMatrixHasZeroValuesAndResiduals) {
  for (int n : {3, 40}) {
    Sparse zero;
    zero.n = n;
    zero.start.assign(static_cast<size_t>(n) + 1, 0);
    for (int count : {1, 4}) {
      const Solved s = solve(zero, 'S', count);
      EXPECT_EQ(s.status, 0);
      EXPECT_EQ(s.values.cwiseAbs().maxCoeff(), 0.0);
      EXPECT_EQ(s.residuals.cwiseAbs().maxCoeff(), 0.0);
    }
  }
}

int32_t calls = 0;
void countedProduct(int32_t n, const int32_t* colStart, const int32_t* rowIndex, const double* value, const double* x,
                    double* y) {
  ++calls;
  qz::LA_SparseSymMatVecMult(n, colStart, rowIndex, value, x, y);
}

// A product with an error of its own, as of an inexact operator: no residual falls below about 1e-6.
void noisyProduct(int32_t n, const int32_t* colStart, const int32_t* rowIndex, const double* value, const double* x,
                  double* y) {
  static std::mt19937 random(1);
  std::uniform_real_distribution<double> uniform(-1e-6, 1e-6);
  qz::LA_SparseSymMatVecMult(n, colStart, rowIndex, value, x, y);
  for (int32_t i = 0; i < n; ++i) y[i] += uniform(random) / std::sqrt(n);
}

TEST_F(SparseEigen, TwentyStepsWithoutProgressAcceptTheFirstPair) {
  std::mt19937 random(kSeed + 11);
  const MatrixXd a = randomSparse(120, 4.0, random);
  const Solved s = solve(sparseOf(a), 'S', 1, noisyProduct);
  EXPECT_EQ(s.status, 0);
  EXPECT_NEAR(s.values(0), extremes(a, 'S', 1)(0), 1e-4);
  EXPECT_GT(s.residuals(0), 1e-9) << "the noise kept it from converging";
}

TEST_F(SparseEigen, LargeNormsTakeFifteenStepsBeforeAPairIsAccepted) {
  std::mt19937 random(kSeed + 12);
  VectorXd values = VectorXd::LinSpaced(60, 1.0, 2.0);
  values(0) = -1.0;
  values(59) = 3.0;
  const MatrixXd a = withSpectrum(values, random);
  const int32_t start = qz::chooseDavidsonSizes(60, 1, 1e6, 60).restartSize;
  calls = 0;
  EXPECT_EQ(solve(sparseOf(1e6 * a), 'S', 1, countedProduct).status, 0);
  EXPECT_GE(calls, start + 15);
}

TEST_F(SparseEigen, LimitOfProductsGivesTheCurrentValues) {
  const MatrixXd a = secondDifference(800);
  ASSERT_EQ(qz::LA_SetIntParam(env, qz::LA_KEY_EIGEN_ITERATION_LIMIT, 5), 0);
  calls = 0;
  const Solved s = solve(sparseOf(a), 'S', 1, countedProduct);
  EXPECT_EQ(s.status, 12);
  EXPECT_GT(calls, 5);
  EXPECT_LE(calls, 3100) << "one inner solve at most runs past the limit";
  EXPECT_GT(s.values(0), 0.0);
  EXPECT_LT(s.values(0), 4.0);
  EXPECT_NEAR(s.vectors.col(0).norm(), 1.0, 1e-12);
  EXPECT_NEAR(s.residuals(0), (a * s.vectors.col(0) - s.values(0) * s.vectors.col(0)).norm(), 1e-12);
}

// When the limit is just used up one inner solve still runs: an inner solve that is not allowed a product would leave
// nothing but a random vector.
TEST_F(SparseEigen, InnerSolvesAreNotCutShortByTheLimit) {
  const Sparse a = sparseOf(secondDifference(800));
  const qz::DavidsonSizes sizes = qz::chooseDavidsonSizes(a.n, 1, a.norm1(), static_cast<double>(a.start.back()) / a.n);
  ASSERT_EQ(qz::LA_SetIntParam(env, qz::LA_KEY_EIGEN_ITERATION_LIMIT, sizes.restartSize), 0);
  calls = 0;
  EXPECT_EQ(solve(a, 'S', 1, countedProduct).status, 12);
  EXPECT_GT(calls, sizes.restartSize + 1) << "a random vector alone costs one";
}

TEST_F(SparseEigen, SecondDifferenceMatrixIsResolvedAtItsHardEnd) {
  expectPairs(secondDifference(800), 'S', 1, "second difference", 1e-10);
  expectPairs(secondDifference(200), 'S', 3, "second difference");
}

TEST_F(SparseEigen, MemoryShortOrTooMuch) {
  std::mt19937 random(kSeed + 6);
  const Sparse a = sparseOf(randomSparse(40, 4.0, random));
  for (int64_t k = 1;; ++k) {
    host.failAllocation(k);
    const int64_t before = host.outstanding();
    const Solved s = solve(a, 'S', 2);
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), before);
    if (s.status == 0) {
      EXPECT_EQ(k, 2) << "one block of memory for everything";
      break;
    }
    EXPECT_EQ(s.status, 1);
  }
}

TEST_F(SparseEigen, NumbersThatAreNotFiniteFail) {
  MatrixXd a = secondDifference(30);
  a(4, 4) = std::nan("");
  EXPECT_EQ(solve(sparseOf(a), 'S', 1).status, 10);
  a = secondDifference(2);
  a(0, 0) = std::numeric_limits<double>::infinity();
  EXPECT_EQ(solve(sparseOf(a), 'S', 1).status, 10);
}

TEST_F(SparseEigen, SameBitsEveryTime) {
  std::mt19937 random(kSeed + 7);
  const Sparse a = sparseOf(randomSparse(90, 4.0, random));
  const Solved first = solve(a, 'L', 3), second = solve(a, 'L', 3);
  EXPECT_EQ(first.values, second.values);
  EXPECT_EQ(first.vectors, second.vectors);
}

TEST(DavidsonSizes, FollowTheirTableAtEveryBoundary) {
  const auto sizes = [](int n, int wanted, double norm, double average) {
    const qz::DavidsonSizes s = qz::chooseDavidsonSizes(n, wanted, norm, average);
    return std::pair<int, int>(s.maxBasis, s.restartSize);
  };
  using Pair = std::pair<int, int>;
  EXPECT_EQ(sizes(100000, 1, 500.0, 9), Pair(15, 6));
  EXPECT_EQ(sizes(100000, 1, 1000.0, 9), Pair(15, 6));
  EXPECT_EQ(sizes(100000, 1, 5000.0, 9), Pair(15, 11));
  EXPECT_EQ(sizes(100000, 1, 1e10, 9), Pair(15, 6));
  EXPECT_EQ(sizes(100000, 1, 2e10, 9), Pair(20, 8));
  EXPECT_EQ(sizes(100000, 4, 1.0, 9), Pair(21, 8));
  EXPECT_EQ(sizes(100000, 4, 2e10, 9), Pair(23, 9));
  EXPECT_EQ(sizes(100000, 5, 1.0, 9), Pair(25, 10));
  EXPECT_EQ(sizes(100000, 19, 1.0, 2), Pair(95, 38));
  EXPECT_EQ(sizes(100000, 20, 1.0, 4.8), Pair(60, 24));
  EXPECT_EQ(sizes(100000, 20, 1.0, 4.9), Pair(100, 40));
  EXPECT_EQ(sizes(100000, 20, 1e8, 2), Pair(100, 75));
  EXPECT_EQ(sizes(100000, 25, 5000.0, 9), Pair(125, 50)) << "no growth from 50 on";
  EXPECT_EQ(sizes(3, 1, 500.0, 9), Pair(3, 1));
  EXPECT_EQ(sizes(3, 1, 5000.0, 9), Pair(3, 2));
  EXPECT_EQ(sizes(12, 12, 1.0, 9), Pair(12, 12));
}

// A restart keeps the columns, the previous direction, and room for a new one, whatever the matrix.
TEST(DavidsonSizes, LeaveRoomBehindARestart) {
  for (int32_t n = 3; n < 300; ++n) {
    for (int32_t wanted = 1; wanted <= n; ++wanted) {
      for (const double norm : {1.0, 1e4, 1e9, 1e12}) {
        for (const double entries : {2.0, 8.0}) {
          const qz::DavidsonSizes sizes = qz::chooseDavidsonSizes(n, wanted, norm, entries);
          if (sizes.maxBasis == n) continue;  // complete, and never restarted
          ASSERT_LE(sizes.restartSize + 2, sizes.maxBasis) << n << " " << wanted << " " << norm << " " << entries;
        }
      }
    }
  }
}

// The residual of x + t, which is known from scalars alone, against the true one: with its target next to the residual
// that so many products give, the solve stops behind the first of them that meet it.
TEST(Correction, StopsAsSoonAsTheCorrectedVectorMeetsItsTarget) {
  std::mt19937 random(kSeed + 9);
  int stops = 0;
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    const int n = 40;
    const MatrixXd a = randomSymmetric(n, random);
    const Sparse sparse = sparseOf(a);
    VectorXd x = Eigen::SelfAdjointEigenSolver<MatrixXd>(a).eigenvectors().col(0) +
                 std::pow(10.0, -1.5 - 0.5 * (round % 4)) * randomMatrix(n, 1, random);
    x.normalize();
    const double theta = x.dot(a * x);
    const VectorXd r = a * x - theta * x;
    MatrixXd room(n, 5);
    const qz::SparseSymMatrix matrix{n, sparse.start.data(), sparse.row.data(), sparse.value.data(),
                                     qz::LA_SparseSymMatVecMult};
    const qz::CorrectionSpace space{room.col(0).data(), room.col(1).data(), room.col(2).data(), room.col(3).data(),
                                    room.col(4).data()};
    const auto run = [&](double target, int64_t most) {
      const qz::Correction problem{x.data(), r.data(), theta, r.norm(), a.norm(), target, true, most};
      int64_t products = 0;
      EXPECT_TRUE(qz::solveCorrection(matrix, problem, space, &products));
      return products;
    };
    std::vector<double> residual;
    for (int64_t most = 1; run(0.0, most) == most && most < 20; ++most) {
      const VectorXd corrected = (x + room.col(0)).normalized();
      residual.push_back((a * corrected - corrected.dot(a * corrected) * corrected).norm());
    }
    for (const double reached : residual) {
      for (const double share : {1.0 + 1e-6, 1.0 - 1e-6}) {
        const double target = share * reached;
        const auto first = std::find_if(residual.begin(), residual.end(), [&](double met) { return met < target; });
        if (first == residual.end()) continue;  // the solve ends for another reason
        EXPECT_EQ(run(target, 100), first - residual.begin() + 1) << reached;
        ++stops;
      }
    }
  }
  EXPECT_GT(stops, 40);
}

TEST(RandomVector, IsThatOfTheReferenceGeneratorAcrossBatchesAndCalls) {
  uint32_t seed[] = {1, 2, 3, 5};
  int oracleSeed[] = {1, 2, 3, 5};
  const int symmetric = 2;
  for (int n : {1, 2, 63, 64, 65, 200, 1000}) {
    std::vector<double> ours(static_cast<size_t>(n)), theirs(static_cast<size_t>(n));
    qz::RandSeedVector(n, seed, ours.data());
    dlarnv_(&symmetric, oracleSeed, &n, theirs.data());
    EXPECT_EQ(ours, theirs) << n;
    for (int k = 0; k < 4; ++k) EXPECT_EQ(static_cast<int>(seed[k]), oracleSeed[k]);
  }
}

TEST(Orthogonalize, NewColumnsAreOrthonormalAndDependentOnesAreReplaced) {
  std::mt19937 random(kSeed + 8);
  const int n = 40;
  MatrixXd v = randomMatrix(n, 8, random);
  v.col(3) = v.col(1) - 2.0 * v.col(0);
  v.col(5).setZero();
  v.col(6) = v.col(2) + 1e-10 * v.col(6);
  std::vector<double> work(8);
  uint32_t seed[] = {1, 2, 3, 5};
  const MatrixXd before = v;
  ASSERT_EQ(qz::LA_AddAndOrthogonalize(0, 7, v.data(), n, work.data(), seed), 0);
  EXPECT_LE((v.transpose() * v - MatrixXd::Identity(8, 8)).norm(), 1e-14);
  // What was independent lies in the span.
  for (int j : {0, 1, 2, 4, 6, 7}) EXPECT_LE((before.col(j) - v * (v.transpose() * before.col(j))).norm(), 1e-13) << j;
}

TEST(Orthogonalize, NoRoomLeftIsToldAfterElevenRandomVectors) {
  MatrixXd v = MatrixXd::Identity(3, 4);
  v.col(3) << 1.0, 1.0, 1.0;
  std::vector<double> work(8);
  uint32_t seed[] = {1, 2, 3, 5};
  EXPECT_EQ(qz::LA_AddAndOrthogonalize(3, 3, v.data(), 3, work.data(), seed), 11);
  uint32_t expected[] = {1, 2, 3, 5};
  std::vector<double> drawn(3);
  for (int k = 0; k < 11; ++k) qz::RandSeedVector(3, expected, drawn.data());
  EXPECT_TRUE(std::equal(seed, seed + 4, expected));
}

TEST(Orthogonalize, CoefficientVectorsLoseTheirDependentOnes) {
  std::mt19937 random(kSeed + 9);
  const int n = 12;
  const MatrixXd q = MatrixXd::Identity(n, 3);
  MatrixXd v = randomMatrix(n, 4, random).colwise().normalized();
  const MatrixXd last = v.col(3);
  v.col(1) = (0.6 * q.col(0) + 0.8 * q.col(2)).eval();
  std::vector<double> work(8);
  const int left = qz::LA_OrthogonalizeICGS(4, v.data(), n, 3, q.data(), work.data());
  ASSERT_EQ(left, 3);
  MatrixXd all(n, 6);
  all << q, v.leftCols(3);
  EXPECT_LE((all.transpose() * all - MatrixXd::Identity(6, 6)).norm(), 1e-14);
  EXPECT_LE((last - all * (all.transpose() * last)).norm(), 1e-14) << "the last one came into the gap";
}

TEST(SparseProduct, OddAndEvenSizesAndUnevenColumns) {
  std::mt19937 random(kSeed + 10);
  for (int n : {1, 2, 3, 4, 9, 50}) {
    MatrixXd a = randomSparse(n, 3.0, random);
    if (n > 3) {
      a.col(2).setZero();
      a.row(2).setZero();
    }
    if (n > 3) {
      a.col(3).setOnes();
      a.row(3).setOnes();
    }
    const Sparse s = sparseOf(a);
    const VectorXd x = randomMatrix(n, 1, random);
    VectorXd y(n);
    qz::LA_SparseSymMatVecMult(n, s.start.data(), s.row.data(), s.value.data(), x.data(), y.data());
    EXPECT_LE((y - a * x).norm(), 1e-14 * (1 + a.norm()));
  }
}

}  // namespace
