// The equation system's presolve and solve against dense factorisations, and the direct solve of linear systems against
// their optimality conditions. A thread count of 0 makes every call of the sparse factorisation fail, which shows that
// a system was solved without one.
#include "transform/equation_system.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <random>
#include <vector>

#include "shell/pool.h"
#include "support/test_host.h"

namespace {

using Matrix = Eigen::MatrixXd;
using Vector = Eigen::VectorXd;
using qztest::TestHost;

constexpr double kTol = 1e-6;
constexpr double kUnset = 1e20;

// A matrix in packed columns. Zero entries are left out, but for those that `stored` lists.
struct Packed {
  std::vector<int32_t> begin{0};
  std::vector<int32_t> index;
  std::vector<double> value;

  explicit Packed(const Matrix& matrix, bool storeDiagonal = false) {
    for (int j = 0; j < matrix.cols(); ++j) {
      for (int i = 0; i < matrix.rows(); ++i) {
        if (matrix(i, j) == 0.0 && !(storeDiagonal && i == j)) continue;
        index.push_back(i);
        value.push_back(matrix(i, j));
      }
      begin.push_back(static_cast<int32_t>(index.size()));
    }
  }
};

class EquationSystem : public ::testing::Test {
 protected:
  EquationSystem() {
    env.pool = host.pool();
    env.log = host.log();
  }

  // Solves and leaves the solution in x.
  int32_t solve(const Matrix& matrix, const Vector& rhs, int32_t mode = qz::EQN_PLAIN, const double* start = nullptr,
                int32_t numCol = 0, int32_t numThread = 1, bool storeDiagonal = false) {
    Packed packed(matrix, storeDiagonal);
    x = rhs;
    const int64_t before = host.outstanding();
    const int32_t status =
        qz::eqnSolve(1e20, kTol, &env, static_cast<int32_t>(rhs.size()), numCol, numThread, packed.begin.data(),
                     packed.index.data(), packed.value.data(), x.data(), start, 0, mode);
    EXPECT_EQ(host.outstanding(), before);
    return status;
  }
  int32_t solveWithoutFactor(const Matrix& matrix, const Vector& rhs, const double* start = nullptr) {
    return solve(matrix, rhs, qz::EQN_PLAIN, start, 0, 0);
  }
  void expectSolves(const Matrix& matrix, const Vector& rhs, double tolerance) const {
    const double scale = matrix.cwiseAbs().maxCoeff() * x.cwiseAbs().maxCoeff() + rhs.cwiseAbs().maxCoeff() + 1.0;
    EXPECT_LT((matrix * x - rhs).cwiseAbs().maxCoeff(), tolerance * scale);
  }

  TestHost host;
  qz::Env env{};
  Vector x;
};

Matrix symmetric(const Matrix& lower) {
  return lower.selfadjointView<Eigen::Lower>();
}

TEST_F(EquationSystem, RandomSystemsMatchADenseSolve) {
  std::mt19937 random(11);
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> uniform;
  int compared = 0;
  for (int trial = 0; trial < 400; ++trial) {
    SCOPED_TRACE(trial);
    const int n = 1 + static_cast<int>(random() % 30);
    const double density = 0.3 * uniform(random);
    Matrix lower = Matrix::Zero(n, n);
    for (int j = 0; j < n; ++j) {
      if (uniform(random) < 0.7) lower(j, j) = normal(random);
      for (int i = j + 1; i < n; ++i)
        if (uniform(random) < density) lower(i, j) = normal(random);
    }
    const Matrix matrix = symmetric(lower);
    const Vector rhs = Vector::NullaryExpr(n, [&] { return normal(random); });
    const Eigen::JacobiSVD<Matrix> svd(matrix, Eigen::ComputeThinU | Eigen::ComputeThinV);
    if (svd.singularValues()[n - 1] <= 1e-4 * svd.singularValues()[0]) continue;
    ASSERT_EQ(solve(matrix, rhs), 0) << matrix;
    expectSolves(matrix, rhs, 1e-9);
    EXPECT_LT((x - svd.solve(rhs)).norm(), 1e-6 * (1.0 + x.norm()));
    ++compared;
  }
  EXPECT_GT(compared, 80);
}

TEST_F(EquationSystem, SingularConsistentSystemsAreSolved) {
  std::mt19937 random(12);
  std::normal_distribution<double> normal;
  for (int trial = 0; trial < 60; ++trial) {
    SCOPED_TRACE(trial);
    const int n = 4 + static_cast<int>(random() % 12);
    Matrix matrix = Matrix::Zero(n, n);  // a rank of two blocks less one each, and an empty row
    const int first = 2 + static_cast<int>(random() % (n - 3));
    for (const auto& [from, to] : {std::pair{0, first}, {first, n - 1}}) {
      const int size = to - from;
      const Matrix factor = Matrix::NullaryExpr(size, std::max(size - 1, 1), [&] { return normal(random); });
      matrix.block(from, from, size, size) = factor * factor.transpose();
    }
    const Vector rhs = matrix * Vector::NullaryExpr(n, [&] { return normal(random); });
    ASSERT_EQ(solve(matrix, rhs), 0);
    expectSolves(matrix, rhs, 1e-7);
  }
}

TEST_F(EquationSystem, EquationWithoutSolutionIsNamedByItsSide) {
  Matrix matrix = Matrix::Zero(3, 3);
  matrix(1, 1) = 2.0;
  EXPECT_EQ(solve(matrix, Vector::Unit(3, 2), 0, nullptr, 2), 3);
  EXPECT_EQ(solve(matrix, Vector::Unit(3, 0), 0, nullptr, 2), 4);
  EXPECT_EQ(solve(matrix, 1e-6 * Vector::Unit(3, 2), 0, nullptr, 2), 0);
}

TEST_F(EquationSystem, NoUnknownNoWork) {
  std::vector<int32_t> begin{0};
  const int64_t before = host.allocations();
  EXPECT_EQ(qz::eqnSolve(1e20, kTol, &env, 0, 0, 1, begin.data(), nullptr, nullptr, nullptr, nullptr, 0, 100), 0);
  EXPECT_EQ(host.allocations(), before);
}

TEST_F(EquationSystem, OffDiagonalPairResolvesWithoutFactorisation) {
  Matrix matrix(2, 2);
  matrix << 0, 4, 4, 0;
  ASSERT_EQ(solveWithoutFactor(matrix, Vector::LinSpaced(2, 8, 20)), 0);
  EXPECT_EQ(x[0], 5.0);
  EXPECT_EQ(x[1], 2.0);
}

TEST_F(EquationSystem, SingletonOfAColumnWithDiagonalIsDeterminedAfterwards) {
  Matrix matrix(2, 2);  // 4 x1 = 8, 4 x0 + 3 x1 = 20
  matrix << 0, 4, 4, 3;
  ASSERT_EQ(solveWithoutFactor(matrix, Vector::LinSpaced(2, 8, 20)), 0);
  EXPECT_EQ(x[1], 2.0);
  EXPECT_EQ(x[0], 3.5);
}

TEST_F(EquationSystem, TriangularSaddlesResolveInReverseOrder) {
  std::mt19937 random(13);
  std::normal_distribution<double> normal;
  for (int n = 1; n < 15; ++n) {
    SCOPED_TRACE(n);
    Matrix triangle = Matrix::Zero(n, n);
    for (int j = 0; j < n; ++j)
      for (int i = j; i < n; ++i)
        if (i == j || random() % 2 == 0) triangle(i, j) = i == j ? 1.0 + std::fabs(normal(random)) : normal(random);
    Matrix matrix = Matrix::Zero(2 * n, 2 * n);
    matrix.topRightCorner(n, n) = triangle.transpose();
    matrix.bottomLeftCorner(n, n) = triangle;
    const Vector rhs = Vector::NullaryExpr(2 * n, [&] { return normal(random); });
    ASSERT_EQ(solveWithoutFactor(matrix, rhs), 0);
    EXPECT_LT((x - matrix.fullPivLu().solve(rhs)).norm(), 1e-8 * (1.0 + x.norm()));
  }
}

// A leaf of a tree is a row of two elements; elimination fills nothing in, and makes diagonals where there were none.
TEST_F(EquationSystem, TreesResolveWithoutFactorisation) {
  std::mt19937 random(14);
  std::uniform_real_distribution<double> uniform(0.5, 2.0);
  for (int trial = 0; trial < 50; ++trial) {
    SCOPED_TRACE(trial);
    const int n = 2 + static_cast<int>(random() % 20);
    Matrix lower = Matrix::Zero(n, n);
    std::vector<int> degree(static_cast<size_t>(n), 0);
    for (int i = 1; i < n; ++i) {
      const int parent = static_cast<int>(random() % static_cast<unsigned>(i));
      lower(i, parent) = uniform(random);
      ++degree[static_cast<size_t>(i)];
      ++degree[static_cast<size_t>(parent)];
    }
    for (int i = 0; i < n; ++i)
      if (degree[static_cast<size_t>(i)] == 1 || random() % 2 == 0) lower(i, i) = 3.0 + uniform(random);
    const Matrix matrix = symmetric(lower);
    const Vector rhs = Vector::NullaryExpr(n, [&] { return uniform(random); });
    ASSERT_EQ(solveWithoutFactor(matrix, rhs), 0);
    expectSolves(matrix, rhs, 1e-10);
  }
}

TEST_F(EquationSystem, DiagonalThatCancelsLeavesAnEmptyEquation) {
  Matrix matrix(2, 2);  // 4 - 2^2 / 1 = 0
  matrix << 1, 2, 2, 4;
  const Vector start = Vector::LinSpaced(2, 7, 3);
  ASSERT_EQ(solveWithoutFactor(matrix, Vector::LinSpaced(2, 1, 2), start.data()), 0);
  EXPECT_EQ(x[1], 3.0);  // no equation holds it
  EXPECT_EQ(x[0], -5.0);
  EXPECT_EQ(solve(matrix, Vector::LinSpaced(2, 1, 3), 0, nullptr, 1), 3);
}

TEST_F(EquationSystem, TinyPivotIsLeftToTheFactorisation) {
  Matrix matrix(3, 3);
  matrix << 1, 1e7, 0, 1e7, 2, 1, 0, 1, 1;
  EXPECT_EQ(solveWithoutFactor(matrix, Vector::Ones(3)), 0);
  matrix(0, 1) = matrix(1, 0) = 1e9;
  EXPECT_NE(solveWithoutFactor(matrix, Vector::Ones(3)), 0);
  ASSERT_EQ(solve(matrix, Vector::Ones(3)), 0);
  expectSolves(matrix, Vector::Ones(3), 1e-14);
}

TEST_F(EquationSystem, ElementsFarBelowTheOthersAreNoise) {
  Matrix matrix = Matrix::Identity(2, 2);
  matrix(0, 1) = matrix(1, 0) = 1e-12;
  ASSERT_EQ(solveWithoutFactor(matrix, Vector::LinSpaced(2, 3, 4)), 0);
  EXPECT_EQ(x, Vector::LinSpaced(2, 3, 4));
}

TEST_F(EquationSystem, EmptyUnknownsTakeTheStart) {
  Matrix matrix = Matrix::Zero(3, 3);
  matrix(1, 1) = 2.0;
  const Vector start = Vector::LinSpaced(3, 5, 7);
  ASSERT_EQ(solveWithoutFactor(matrix, 4.0 * Vector::Unit(3, 1), start.data()), 0);
  EXPECT_EQ(x, (Vector(3) << 5, 2, 7).finished());
  ASSERT_EQ(solveWithoutFactor(matrix, 4.0 * Vector::Unit(3, 1)), 0);
  EXPECT_EQ(x, (Vector(3) << 0, 2, 0).finished());
}

Matrix denseThree() {
  Matrix matrix(3, 3);
  matrix << 2, 1, 1, 1, 3, 1, 1, 1, 4;
  return matrix;
}

TEST_F(EquationSystem, RegularisationLiftsStoredDiagonalsWhateverTheirSign) {
  Matrix matrix = denseThree();
  Matrix lifted = matrix;
  matrix(0, 0) = -1e-9;
  matrix(1, 1) = 0.0;
  matrix(2, 2) = -1e-6;
  lifted(0, 0) = 1e-6;
  lifted(1, 1) = 1e-6;
  lifted(2, 2) = -1e-6;
  Packed packed(matrix, true);
  x = Vector::Ones(3);
  ASSERT_EQ(qz::eqnSolve(1e20, kTol, &env, 3, 3, 1, packed.begin.data(), packed.index.data(), packed.value.data(),
                         x.data(), nullptr, 0, qz::EQN_REGULARISE),
            0);
  EXPECT_EQ(packed.value, Packed(lifted).value);
  EXPECT_LT((lifted * x - Vector::Ones(3)).norm(), 1e-12);
}

TEST_F(EquationSystem, SolutionNearTheReferenceIsTaken) {
  const Vector exact = Vector::LinSpaced(3, 1, 3);
  const Vector rhs = denseThree() * exact;
  Vector start = exact;
  start[1] += 0.5;
  ASSERT_EQ(solve(denseThree(), rhs, qz::EQN_TO_POINT, start.data()), 0);
  EXPECT_LT((x - exact).norm(), 1e-12);
}

TEST_F(EquationSystem, OneStrayingEntryBringsTheReferenceBack) {
  const Vector exact = Vector::LinSpaced(3, 1, 3);
  const Vector rhs = denseThree() * exact;
  Vector start = exact;
  start[1] = 0.9;  // |2 - 0.9| exceeds 0.9
  ASSERT_EQ(solve(denseThree(), rhs, qz::EQN_TO_POINT, start.data()), 0);
  EXPECT_EQ(x, start);

  // With a reference of 0 the limit is 1e-4.
  for (const double size : {0.99e-4, 1.01e-4}) {
    const Vector small = size * Vector::Ones(3);
    start.setZero();
    ASSERT_EQ(solve(denseThree(), denseThree() * small, qz::EQN_TO_POINT, start.data()), 0);
    EXPECT_EQ(x.norm() > 0.0, size < 1e-4);
  }
}

TEST_F(EquationSystem, ReferenceOfAReducedSystemIsMapped) {
  Matrix matrix = Matrix::Zero(5, 5);
  matrix(0, 0) = 2.0;
  matrix.block(2, 2, 3, 3) = denseThree();
  const Vector exact = (Vector(5) << 4, 0, 1, 2, 3).finished();
  Vector start = (Vector(5) << 9, 8, 1, 0.9, 3).finished();
  ASSERT_EQ(solve(matrix, matrix * exact, qz::EQN_TO_POINT, start.data()), 0);
  EXPECT_EQ(x, (Vector(5) << 4, 8, 1, 0.9, 3).finished());
  start[3] = 1.5;
  ASSERT_EQ(solve(matrix, matrix * exact, qz::EQN_TO_POINT, start.data()), 0);
  EXPECT_LT((x - (Vector(5) << 4, 8, 1, 2, 3).finished()).norm(), 1e-12);
}

TEST_F(EquationSystem, ReferenceIsAskedFor) {
  EXPECT_EQ(solve(denseThree(), Vector::Ones(3), qz::EQN_TO_POINT), 10);
}

TEST_F(EquationSystem, FailedFactorisationIsAFailure) {
  EXPECT_EQ(solve(denseThree(), Vector::Ones(3), qz::EQN_PLAIN, nullptr, 0, 0), 10);
}

// Matrices that are not symmetric.

TEST_F(EquationSystem, SingletonWithALongerColumnIsRefused) {
  Matrix matrix = denseThree();
  matrix.row(0) << 0, 1, 0;
  EXPECT_EQ(solve(matrix, Vector::Ones(3)), 10);
  EXPECT_TRUE(host.loggedText("Error removeSingletonEquation: length of column %d must be 1"));
}

TEST_F(EquationSystem, SingletonWithAColumnElsewhereIsRefused) {
  Matrix matrix = denseThree();
  matrix.row(0) << 0, 1, 0;
  matrix.col(0) << 0, 0, 1;
  EXPECT_EQ(solve(matrix, Vector::Ones(3)), 10);
  EXPECT_TRUE(host.loggedText("Error removeSingletonEquation: row index of column %d must be %d"));
}

TEST_F(EquationSystem, PairWithAnotherColumnIsRefused) {
  Matrix matrix = denseThree();
  matrix.row(0) << 1, 1, 0;
  matrix.col(0) << 1, 0, 1;
  EXPECT_EQ(solve(matrix, Vector::Ones(3)), 10);
  EXPECT_TRUE(host.loggedText("Error replaceVarOne: matrix is not symmetric %d<>%d"));
}

TEST_F(EquationSystem, UnequalTrianglesAreRefusedBeforeASolveToAPoint) {
  Matrix matrix = Matrix::Ones(4, 4);
  matrix(0, 3) = 0.0;
  const Vector start = Vector::Ones(4);
  EXPECT_EQ(solve(matrix, Vector::Ones(4), qz::EQN_TO_POINT, start.data()), 10);
  EXPECT_TRUE(host.loggedText("Error solveToPoint: half numCoef=%d should be %d"));
}

TEST_F(EquationSystem, EveryFailedAllocationIsReported) {
  Matrix matrix = Matrix::Zero(5, 5);
  matrix(0, 0) = 2.0;
  matrix.block(2, 2, 3, 3) = denseThree();
  const Vector start = Vector::Ones(5);
  int64_t k = 1;
  for (;; ++k) {
    host.failAllocation(k);
    const int32_t status = solve(matrix, matrix * start, qz::EQN_TO_POINT, start.data());
    host.failAllocation(0);
    if (status == 0) break;
    ASSERT_EQ(status, -1086) << k;
  }
  EXPECT_GT(k, 20);
}

TEST_F(EquationSystem, CancelledFactorisationIsAnInterruption) {
  std::mt19937 random(15);
  std::normal_distribution<double> normal;
  const int n = 60;
  const Matrix matrix = symmetric(Matrix::NullaryExpr(n, n, [&] { return normal(random); }));
  host.cancelThread(true);
  EXPECT_EQ(solve(matrix, Vector::Ones(n)), 12);
  host.cancelThread(false);
  EXPECT_EQ(solve(matrix, Vector::Ones(n)), 0);
}

// The direct solve.

class SpecialSolve : public EquationSystem {
 protected:
  // minimise c'x + x'Qx / 2 subject to A x = b; an empty Q makes a linear model.
  int32_t run(const Matrix& A, const Vector& b, const Vector& c, const Matrix& Q, int32_t usePresolve) {
    const auto m = static_cast<size_t>(A.rows());
    const auto n = static_cast<size_t>(A.cols());
    Packed columns(A);
    Matrix strict = Matrix::Zero(A.cols(), A.cols());
    if (Q.size() > 0) strict = Q.triangularView<Eigen::StrictlyLower>();
    Packed triangle(strict);
    const auto lengths = [](const Packed& packed) {
      std::vector<int32_t> length;
      for (size_t j = 0; j + 1 < packed.begin.size(); ++j) length.push_back(packed.begin[j + 1] - packed.begin[j]);
      return length;
    };
    std::vector<int32_t> colLength = lengths(columns);
    std::vector<int32_t> quadLength = lengths(triangle);
    std::vector<double> rhs(b.data(), b.data() + m);
    std::vector<double> obj(c.data(), c.data() + n);
    std::vector<double> diag(n, 0.0);
    for (size_t j = 0; j < n && Q.size() > 0; ++j) diag[j] = Q(static_cast<int>(j), static_cast<int>(j));
    model = {};
    model.typeModel = Q.size() > 0 ? qz::IPM_MODEL_QP : qz::IPM_MODEL_LP;
    model.numRow = static_cast<int32_t>(m);
    model.numCol = static_cast<int32_t>(n);
    model.numCoef = columns.begin.back();
    model.colBegin = columns.begin.data();
    model.colLength = colLength.data();
    model.rowIndex = columns.index.data();
    model.matValue = columns.value.data();
    if (Q.size() > 0) {
      model.numQuadCoef = triangle.begin.back();
      model.quadDiag = diag.data();
      model.quadColBegin = triangle.begin.data();
      model.quadColLength = quadLength.data();
      model.quadRowIndex = triangle.index.data();
      model.quadMatValue = triangle.value.data();
    }
    model.objSense = objSense;
    model.objConstant = objConstant;
    model.rhs = rhs.data();
    model.obj = obj.data();
    model.numIter = 99;
    model.status = -5;
    qz::IpmOption option{};
    option.tolPrimal = option.tolDual = option.tolOptimality = kTol;
    option.infinityValue = 1e20;
    option.numThread = numThread;

    qz::Solution solution{};
    std::vector<double> primal(n, kUnset), dual(m, kUnset), slacks(5 * std::max(n, m), kUnset);
    solution.primal = primal.data();
    solution.dual = dual.data();
    double* at = slacks.data();
    for (double** array :
         {&solution.lowerSlack, &solution.upperSlack, &solution.lowerDual, &solution.upperDual, &solution.ineqnSlack}) {
      *array = at;
      at += std::max(n, m);
    }
    const int64_t before = host.outstanding();
    const int32_t status = qz::ipmSpecSolve(&env, &model, &option, &solution, usePresolve);
    EXPECT_EQ(host.outstanding(), before);
    x = Eigen::Map<Vector>(primal.data(), A.cols());
    y = Eigen::Map<Vector>(dual.data(), A.rows());
    if (status == 0) {
      for (const double* array : {solution.lowerSlack, solution.upperSlack, solution.lowerDual, solution.upperDual})
        for (size_t j = 0; j < n; ++j) EXPECT_EQ(array[j], 0.0);
      for (size_t i = 0; i < m; ++i) EXPECT_EQ(solution.ineqnSlack[i], 0.0);
    }
    return status;
  }

  qz::Model model{};
  Vector y;
  int32_t objSense = 1;
  double objConstant = 0.0;
  int32_t numThread = 1;
};

TEST_F(SpecialSolve, QuadraticModelsMatchTheirConditions) {
  std::mt19937 random(16);
  std::normal_distribution<double> normal;
  const auto draw = [&] { return normal(random); };
  for (int trial = 0; trial < 40; ++trial) {
    SCOPED_TRACE(trial);
    const int n = 1 + static_cast<int>(random() % 12);
    const int m = static_cast<int>(random() % static_cast<unsigned>(n));
    const Matrix factor = Matrix::NullaryExpr(n, n, draw);
    const Matrix Q = factor * factor.transpose() + Matrix::Identity(n, n);
    const Matrix A = Matrix::NullaryExpr(m, n, draw);
    const Vector b = Vector::NullaryExpr(m, draw);
    const Vector c = Vector::NullaryExpr(n, draw);
    Matrix K = Matrix::Zero(n + m, n + m);
    K << Q, -A.transpose(), -A, Matrix::Zero(m, m);
    Vector r(n + m);
    r << -c, -b;
    const Vector exact = K.fullPivLu().solve(r);
    objSense = trial % 2 == 0 ? 1 : -1;
    objConstant = trial;
    for (int32_t usePresolve : {0, 1}) {
      ASSERT_EQ(run(A, b, c, Q, usePresolve), 0);
      EXPECT_EQ(model.status, 1);
      EXPECT_EQ(model.numIter, 0);
      EXPECT_LT((x - exact.head(n)).norm(), 1e-8 * (1.0 + x.norm()));
      EXPECT_LT((y - exact.tail(m)).norm(), 1e-7 * (1.0 + y.norm()));
      const double value = c.dot(x) + 0.5 * x.dot(Q * x);
      EXPECT_NEAR(model.objValue, objSense * (value + objConstant), 1e-9 * (1.0 + std::fabs(value)));
      EXPECT_LT(model.dualityGap, 1e-9);
      EXPECT_EQ(model.boundInfeas, 0.0);
      EXPECT_EQ(model.complementarity, 0.0);
    }
  }
}

TEST_F(SpecialSolve, LinearModelWithItsOnePoint) {
  Matrix A(2, 2);
  A << 1, 1, 1, -1;
  for (int32_t usePresolve : {0, 1}) {
    ASSERT_EQ(run(A, Vector::LinSpaced(2, 5, 1), Vector::LinSpaced(2, 1, 2), {}, usePresolve), 0);
    EXPECT_EQ(model.status, 1);
    EXPECT_NEAR(x[0], 3.0, 1e-12);
    EXPECT_NEAR(x[1], 2.0, 1e-12);
    EXPECT_NEAR(model.objValue, 7.0, 1e-11);
  }
}

TEST_F(SpecialSolve, DiagonalAloneNeedsNoFactorisation) {
  numThread = 0;
  ASSERT_EQ(run(Matrix::Zero(0, 3), Vector(0), Vector::LinSpaced(3, -1, -3), 2.0 * Matrix::Identity(3, 3), 1), 0);
  EXPECT_EQ(model.status, 1);
  EXPECT_EQ(x, (Vector(3) << 0.5, 1.0, 1.5).finished());
  EXPECT_EQ(model.objValue, -3.5);
}

TEST_F(SpecialSolve, ContradictingEquationsAreReturned) {
  EXPECT_EQ(run(Matrix::Zero(1, 1), Vector::Ones(1), Vector::Zero(1), Matrix::Ones(1, 1), 1), 3);
  EXPECT_EQ(run(Matrix::Zero(1, 1), Vector::Zero(1), Vector::Ones(1), {}, 1), 4);
  EXPECT_EQ(model.status, -5);
}

TEST_F(SpecialSolve, EveryFailedAllocationIsReported) {
  Matrix Q = Matrix::Identity(3, 3);
  Q(1, 0) = Q(0, 1) = 0.5;
  for (int32_t usePresolve : {0, 1}) {
    int64_t k = 1;
    for (;; ++k) {
      host.failAllocation(k);
      const int32_t status = run(Matrix::Ones(1, 3), Vector::Ones(1), Vector::Ones(3), Q, usePresolve);
      host.failAllocation(0);
      if (status == 0) break;
      ASSERT_EQ(status, -1086) << k;
      EXPECT_EQ(model.status, -5);
    }
    EXPECT_GT(k, 10);
  }
}

}  // namespace
