// Flexible GMRES with dense factors as preconditioner, judged by a residual in long double.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include "dense/fgmres.h"
#include "dense/matrix_tools.h"

using namespace qz;
using qztest::Guarded;

namespace {

using Dense = Eigen::MatrixXd;
using Vector = Eigen::VectorXd;

struct Sparse {
  std::vector<int32_t> colBegin, rowIndex;
  std::vector<double> value;
};

Sparse sparseOf(const Dense& a) {
  Sparse s;
  s.colBegin.push_back(0);
  for (int j = 0; j < a.cols(); ++j) {
    for (int i = 0; i < a.rows(); ++i) {
      if (a(i, j) == 0.0) continue;
      s.rowIndex.push_back(i);
      s.value.push_back(a(i, j));
    }
    s.colBegin.push_back(static_cast<int32_t>(s.rowIndex.size()));
  }
  return s;
}

LAEnv environment() {
  LAEnv env{};
  env.useFgmres = 1;
  env.maxRefine = 64;
  env.fgmresMinimum = 4;
  env.fgmresRestart = 16;
  env.fgmresMode = 0;
  env.refineTolerance = 1e-16;
  env.refineResidual = -1.0;
  return env;
}

// The preconditioner of a test: counts its calls, keeps what it was asked, fails at a chosen call.
struct Preconditioner {
  std::function<Vector(const Vector&)> apply;
  int32_t job = 0;
  int32_t failAt = 0;
  int32_t calls = 0;
  std::vector<Vector> asked;
};

int32_t solveWith(int32_t job, double* in, void* context, double* out) {
  auto* preconditioner = static_cast<Preconditioner*>(context);
  EXPECT_EQ(job, preconditioner->job);
  ++preconditioner->calls;
  double* values = job == 0 ? in : out;
  double* work = job == 0 ? out : in;
  const Eigen::Index n = preconditioner->apply ? preconditioner->asked.front().size() : 0;
  const Vector f = Eigen::Map<Vector>(values, n);
  preconditioner->asked.push_back(f);
  Eigen::Map<Vector>(work, n).setConstant(std::numeric_limits<double>::quiet_NaN());  // work has no meaning afterwards
  if (preconditioner->calls == preconditioner->failAt) {
    Eigen::Map<Vector>(values, n).setConstant(std::numeric_limits<double>::infinity());
    return 8;
  }
  Eigen::Map<Vector>(values, n) = preconditioner->apply(f);
  return 0;
}

// ||b - A x|| / (|| |A| |x| || + ||b||) in long double.
double measureOf(const Dense& a, const Vector& b, const Vector& x) {
  using Long = Eigen::Matrix<long double, Eigen::Dynamic, 1>;
  const Eigen::Matrix<long double, Eigen::Dynamic, Eigen::Dynamic> wide = a.cast<long double>();
  const Long residual = b.cast<long double>() - wide * x.cast<long double>();
  const Long magnitude = wide.cwiseAbs() * x.cast<long double>().cwiseAbs();
  const long double denominator = magnitude.norm() + b.cast<long double>().norm();
  return denominator == 0.0L ? 0.0 : static_cast<double>(residual.norm() / denominator);
}

struct Outcome {
  int32_t status;
  Vector x;
};

// Runs with areas of exactly the promised sizes, guarded on both sides.
Outcome run(const Dense& a, const Vector& b, const Vector& x0, LAEnv* env, Preconditioner* preconditioner,
            int32_t flexibleOnly = 0) {
  const int32_t n = static_cast<int32_t>(b.size());
  const Sparse s = sparseOf(a);
  preconditioner->asked.assign(1, b);
  preconditioner->calls = 0;
  Guarded work(2 * n);
  Guarded area(fgmresAreaEntries(n, env->fgmresRestart));
  Guarded x(n);
  std::copy(x0.data(), x0.data() + n, x.data());
  const int32_t status = FGMRES(n, s.colBegin.data(), s.rowIndex.data(), s.value.data(), b.data(), preconditioner->job,
                                0.3, flexibleOnly, env, preconditioner, solveWith, x.data(), work.data(), area.data());
  EXPECT_TRUE(work.intact());
  EXPECT_TRUE(area.intact());
  EXPECT_TRUE(x.intact());
  preconditioner->asked.erase(preconditioner->asked.begin());
  return {status, Eigen::Map<Vector>(x.data(), n)};
}

Preconditioner factorsOf(const Dense& m, int32_t job = 0) {
  Preconditioner p;
  const auto factors = std::make_shared<Eigen::PartialPivLU<Dense>>(m);
  p.apply = [factors](const Vector& f) -> Vector { return factors->solve(f); };
  p.job = job;
  return p;
}

Preconditioner identity() {
  Preconditioner p;
  p.apply = [](const Vector& f) -> Vector { return f; };
  return p;
}

// A random symmetric indefinite matrix with about six entries a column and a diagonal away from zero.
Dense randomSymmetric(int32_t n, std::mt19937_64& generator) {
  std::uniform_real_distribution<double> entry(-1.0, 1.0);
  std::uniform_int_distribution<int32_t> index(0, n - 1);
  Dense a = Dense::Zero(n, n);
  for (int32_t j = 0; j < n; ++j) {
    a(j, j) = (j % 3 == 0 ? -3.0 : 3.0) + entry(generator);
    for (int32_t e = 0; e < 3; ++e) {
      const int32_t i = index(generator);
      a(i, j) = a(j, i) = entry(generator);
    }
  }
  return a;
}

Vector randomVector(int32_t n, std::mt19937_64& generator) {
  std::uniform_real_distribution<double> entry(-1.0, 1.0);
  Vector v(n);
  for (int32_t i = 0; i < n; ++i) v(i) = entry(generator);
  return v;
}

Vector unit(int32_t n, int32_t i) {
  Vector v = Vector::Zero(n);
  v(i) = 1.0;
  return v;
}

// Maps e_i to e_{i+1}: from e_0 the residual does not move before step n.
Dense shiftMatrix(int32_t n) {
  Dense a = Dense::Zero(n, n);
  for (int32_t j = 0; j < n; ++j) a((j + 1) % n, j) = 1.0;
  return a;
}

TEST(Fgmres, AreaHoldsBasisDirectionsHessenbergAndRotations) {
  EXPECT_EQ(fgmresAreaEntries(100, 16), 16 * (16 + 200 + 3));
  EXPECT_EQ(fgmresAreaEntries(5, 16), 5 * (5 + 10 + 3));
  EXPECT_EQ(fgmresAreaEntries(0, 16), 0);
  EXPECT_EQ(fgmresAreaEntries(2000000000, 1000000000), 1000000000LL * 5000000003LL);
  EXPECT_EQ(fgmresAreaEntries(2000000000, 2000000000), std::numeric_limits<int64_t>::max());
}

TEST(Fgmres, ResidualBelowToleranceMakesNoStep) {
  std::mt19937_64 generator(61);
  const Dense a = randomSymmetric(20, generator);
  const Vector b = randomVector(20, generator);
  const Vector x0 = a.partialPivLu().solve(b);
  Preconditioner p = factorsOf(a);
  LAEnv env = environment();
  env.refineTolerance = 1e-12;
  const Outcome out = run(a, b, x0, &env, &p);
  EXPECT_EQ(out.status, LA_FGMRES_TOLERANCE);
  EXPECT_EQ(p.calls, 0);
  EXPECT_EQ(out.x, x0);
  EXPECT_LT(env.refineResidual, 1e-14);
  EXPECT_GE(env.refineResidual, 0.0);
}

TEST(Fgmres, NoStepsAllowedOnlyMeasures) {
  std::mt19937_64 generator(62);
  const Dense a = randomSymmetric(20, generator);
  const Vector b = randomVector(20, generator);
  const Vector x0 = randomVector(20, generator);
  Preconditioner p = factorsOf(a);
  LAEnv env = environment();
  env.maxRefine = 0;
  const Outcome out = run(a, b, x0, &env, &p);
  EXPECT_EQ(out.status, LA_FGMRES_LIMIT);
  EXPECT_EQ(p.calls, 0);
  EXPECT_EQ(out.x, x0);
  EXPECT_NEAR(env.refineResidual / measureOf(a, b, x0), 1.0, 1e-12);
}

TEST(Fgmres, EmptySystemAndZeroRightHandSide) {
  Preconditioner p = identity();
  LAEnv env = environment();
  EXPECT_EQ(run(Dense(0, 0), Vector(0), Vector(0), &env, &p).status, LA_FGMRES_TOLERANCE);
  EXPECT_EQ(env.refineResidual, 0.0);
  const Dense a = Dense::Identity(3, 3);
  for (double tolerance : {1e-16, 0.0}) {
    env = environment();
    env.refineTolerance = tolerance;
    const Outcome out = run(a, Vector::Zero(3), Vector::Zero(3), &env, &p);
    EXPECT_EQ(out.status, LA_FGMRES_TOLERANCE) << tolerance;
    EXPECT_EQ(p.calls, 0);
    EXPECT_EQ(env.refineResidual, 0.0);
  }
}

TEST(Fgmres, ExactFactorsEndTheFirstCycleAfterOneStep) {
  std::mt19937_64 generator(63);
  Dense a = randomSymmetric(40, generator);
  a.row(7) *= 1e5;  // so that the factor solve leaves rounding above the breakdown limit
  a.col(7) *= 1e5;
  const Vector b = randomVector(40, generator);
  const Vector x0 = Vector::Zero(40);
  Preconditioner p = factorsOf(a);
  LAEnv env = environment();
  env.refineTolerance = 1e-12;
  const Outcome out = run(a, b, x0, &env, &p);
  EXPECT_EQ(out.status, LA_FGMRES_TOLERANCE);
  EXPECT_EQ(p.calls, 1);
  EXPECT_LT(measureOf(a, b, out.x), 1e-14);
}

TEST(Fgmres, BreakdownAtTheFirstStepLeavesXAndStoresItsMeasure) {
  const int32_t n = 6;
  Preconditioner p = identity();
  LAEnv env = environment();
  const Outcome exact = run(Dense::Identity(n, n), unit(n, 2), Vector::Zero(n), &env, &p);
  EXPECT_EQ(exact.status, LA_FGMRES_LIMIT);
  EXPECT_EQ(p.calls, 1);
  EXPECT_EQ(exact.x, Vector::Zero(n));
  EXPECT_EQ(env.refineResidual, 1.0);

  const Outcome zeroMatrix = run(Dense::Zero(n, n), unit(n, 2), unit(n, 1), &env, &p);
  EXPECT_EQ(zeroMatrix.status, LA_FGMRES_LIMIT);
  EXPECT_EQ(zeroMatrix.x, unit(n, 1));
  EXPECT_EQ(env.refineResidual, 1.0);
}

TEST(Fgmres, LaterBreakdownEndsWithTheExactSolution) {
  const int32_t n = 8;  // two distinct eigenvalues: the Krylov space has dimension two
  Dense a = Dense::Identity(n, n);
  for (int32_t i = 0; i < n; i += 2) a(i, i) = 4.0;
  const Vector b = Vector::Ones(n);
  for (int32_t mode : {0, 1, 2}) {
    Preconditioner p = identity();
    LAEnv env = environment();
    env.fgmresMode = mode;
    env.refineTolerance = 0.0;
    const Outcome out = run(a, b, Vector::Zero(n), &env, &p);
    EXPECT_EQ(p.calls, 2);
    EXPECT_LT((a * out.x - b).norm(), 1e-14);
    EXPECT_NEAR(env.refineResidual, measureOf(a, b, out.x), 1e-16);
  }
}

TEST(Fgmres, BreakdownInASingularDirectionKeepsXFinite) {
  const int32_t n = 3;  // e_0 goes to e_1, e_1 to zero: the second column of H vanishes
  Dense a = Dense::Zero(n, n);
  a(1, 0) = 1.0;
  Preconditioner p = identity();
  LAEnv env = environment();
  const Outcome out = run(a, unit(n, 0), Vector::Zero(n), &env, &p);
  EXPECT_EQ(out.status, LA_FGMRES_LIMIT);
  EXPECT_EQ(p.calls, 2);
  EXPECT_EQ(out.x, Vector::Zero(n));
  EXPECT_EQ(env.refineResidual, 1.0);
}

TEST(Fgmres, PerturbedFactorsAreRepairedInEveryModeAndDirection) {
  for (uint64_t seed = 1; seed <= 12; ++seed) {
    std::mt19937_64 generator(seed);
    const int32_t n = 10 + static_cast<int32_t>(seed) * 9;
    const Dense a = randomSymmetric(n, generator);
    Dense m = a;  // as static pivoting leaves it: some diagonal entries changed
    for (int32_t i = 0; i < n; i += 7) m(i, i) += 0.75;
    const Vector b = randomVector(n, generator);
    const Vector x0 = m.partialPivLu().solve(b);
    ASSERT_GT(measureOf(a, b, x0), 1e-6) << "seed " << seed;
    for (int32_t mode : {0, 1, 2}) {
      for (int32_t job : {0, 1}) {
        for (int32_t flexibleOnly : {0, 1}) {
          Preconditioner p = factorsOf(m, job);
          LAEnv env = environment();
          env.fgmresMode = mode;
          env.refineTolerance = 1e-14;
          const Outcome out = run(a, b, x0, &env, &p, flexibleOnly);
          const double measure = measureOf(a, b, out.x);
          ASSERT_EQ(out.status, LA_FGMRES_TOLERANCE) << "seed " << seed << " mode " << mode;
          ASSERT_LT(measure, 1e-14) << "seed " << seed << " mode " << mode;
          ASSERT_NEAR(env.refineResidual, measure, 1e-16);
          ASSERT_EQ(env.maxRefine, 64);
        }
      }
    }
  }
}

TEST(Fgmres, DirectionAndLastNormalisationDoNotChangeTheBits) {
  std::mt19937_64 generator(64);
  const int32_t n = 50;
  const Dense a = randomSymmetric(n, generator);
  Dense m = a;
  for (int32_t i = 0; i < n; i += 5) m(i, i) += 1.0;
  const Vector b = randomVector(n, generator);
  LAEnv env = environment();
  Preconditioner in = factorsOf(m, 0);
  Preconditioner out = factorsOf(m, 1);
  const Vector first = run(a, b, Vector::Zero(n), &env, &in, 0).x;
  EXPECT_EQ(first, run(a, b, Vector::Zero(n), &env, &out, 0).x);
  EXPECT_EQ(first, run(a, b, Vector::Zero(n), &env, &in, 1).x);
}

TEST(Fgmres, RankOneErrorNeedsTwoDirections) {
  std::mt19937_64 generator(65);
  const int32_t n = 60;
  const Dense a = randomSymmetric(n, generator);
  const Vector u = randomVector(n, generator);
  const Dense m = a + 5.0 * u * u.transpose();
  const Vector b = randomVector(n, generator);
  Preconditioner p = factorsOf(m);
  LAEnv env = environment();
  env.refineTolerance = 1e-12;
  const Outcome out = run(a, b, Vector::Zero(n), &env, &p);
  EXPECT_EQ(out.status, LA_FGMRES_TOLERANCE);
  EXPECT_EQ(p.calls, 2);
  EXPECT_LT(measureOf(a, b, out.x), 1e-12);
}

TEST(Fgmres, PreconditionerMayChangeFromStepToStep) {
  std::mt19937_64 generator(66);
  const int32_t n = 40;
  const Dense a = randomSymmetric(n, generator);
  const Vector b = randomVector(n, generator);
  const Eigen::PartialPivLU<Dense> factors(a);
  std::mt19937_64 noise(7);
  Preconditioner p;
  p.apply = [&](const Vector& f) -> Vector {
    const Vector d = factors.solve(f);
    return d + 0.05 * d.norm() / std::sqrt(n) * randomVector(n, noise);
  };
  LAEnv env = environment();
  env.refineTolerance = 1e-14;
  const Outcome out = run(a, b, Vector::Zero(n), &env, &p);
  EXPECT_EQ(out.status, LA_FGMRES_TOLERANCE);
  EXPECT_LT(measureOf(a, b, out.x), 1e-14);
}

TEST(Fgmres, BadlyScaledSaddlePointIsRefined) {
  for (uint64_t seed = 1; seed <= 10; ++seed) {
    std::mt19937_64 generator(seed);
    std::uniform_real_distribution<double> exponent(-6.0, 6.0);
    const int32_t columns = 30, rows = 12, n = columns + rows;
    Dense a = Dense::Zero(n, n);
    for (int32_t j = 0; j < columns; ++j) a(j, j) = -std::pow(10.0, exponent(generator));
    for (int32_t i = 0; i < rows; ++i) {
      const Vector row = randomVector(columns, generator);
      for (int32_t j = 0; j < columns; ++j) a(columns + i, j) = a(j, columns + i) = row(j);
    }
    Dense m = a;
    for (int32_t i = 0; i < 3; ++i) m(columns + i, columns + i) = 1e-4;
    const Vector b = randomVector(n, generator);
    const Vector x0 = m.partialPivLu().solve(b);
    Preconditioner p = factorsOf(m);
    LAEnv env = environment();
    const Outcome out = run(a, b, x0, &env, &p);
    EXPECT_TRUE(out.status == LA_FGMRES_TOLERANCE || out.status == LA_FGMRES_LIMIT);
    EXPECT_LT(measureOf(a, b, out.x), 1e-14) << "seed " << seed;
    EXPECT_LE(measureOf(a, b, out.x), measureOf(a, b, x0) * (1.0 + 1e-12)) << "seed " << seed;
  }
}

TEST(Fgmres, StagnationDoublesTheCycleUntilItExceedsTheLargest) {
  struct Case {
    int32_t n, minimum, restart, maxRefine, steps;
  };
  const Case cases[] = {
      {64, 4, 16, 1000, 4 + 8 + 16}, {64, 4, 15, 1000, 4 + 8},    {64, 4, 8, 1000, 4 + 8}, {64, 4, 7, 1000, 4},
      {64, 20, 8, 1000, 8},          {64, 1, 4, 1000, 1 + 2 + 4}, {64, 4, 16, 4, 4},       {64, 4, 16, 5, 4 + 8},
      {64, 4, 16, 12, 4 + 8},        {64, 4, 16, 13, 4 + 8 + 16}, {64, 4, 16, 1, 4},       {12, 4, 16, 1000, 4 + 8},
  };
  for (const Case& test : cases) {
    Preconditioner p = identity();
    LAEnv env = environment();
    env.fgmresMinimum = test.minimum;
    env.fgmresRestart = test.restart;
    env.maxRefine = test.maxRefine;
    const Outcome out = run(shiftMatrix(test.n), unit(test.n, 0), Vector::Zero(test.n), &env, &p);
    EXPECT_EQ(out.status, LA_FGMRES_LIMIT);
    EXPECT_EQ(p.calls, test.steps) << "minimum " << test.minimum << " restart " << test.restart << " limit "
                                   << test.maxRefine;
    EXPECT_EQ(out.x, Vector::Zero(test.n));
    EXPECT_EQ(env.refineResidual, 1.0);
    EXPECT_EQ(env.fgmresMinimum, test.minimum);
  }
}

TEST(Fgmres, CyclesThatPayOffKeepTheirLength) {
  const int32_t n = 40;  // each Richardson-like step of length one gains a fixed factor of about ten
  Dense a = Dense::Identity(n, n);
  for (int32_t i = 0; i < n; ++i) a(i, i) = 1.0 + 0.1 * std::sin(1.0 + i);
  Preconditioner p = identity();
  LAEnv env = environment();
  env.fgmresMinimum = 1;
  env.refineTolerance = 1e-10;
  const Outcome out = run(a, Vector::Ones(n), Vector::Zero(n), &env, &p);
  EXPECT_EQ(out.status, LA_FGMRES_TOLERANCE);
  EXPECT_GE(p.calls, 5);
  EXPECT_LE(p.calls, 12);
  const Vector residual = Vector::Ones(n) - a * out.x;  // every cycle began with the residual of a new point
  EXPECT_LT(residual.norm(), 1e-9);
  for (size_t c = 1; c < p.asked.size(); ++c) EXPECT_NE(p.asked[c], p.asked[c - 1]);
}

TEST(Fgmres, WorsePointIsDroppedAndTheStateRevertsToX) {
  // The last two entries of x nearly cancel in A x but not in |A| |x|. A correction that hardly lowers the residual
  // shortens them by more, so the measure grows; the shift block keeps 28 steps from doing better.
  const int32_t n = 66;
  const double delta = 0.1;
  Dense a = Dense::Zero(n, n);
  a.topLeftCorner(n - 2, n - 2) = shiftMatrix(n - 2);
  a(n - 2, n - 2) = a(n - 1, n - 1) = 1.0 + delta;
  a(n - 2, n - 1) = a(n - 1, n - 2) = -1.0;
  const Vector x0 = unit(n, n - 2) + unit(n, n - 1);
  const Vector b = unit(n, 0);
  const double before = measureOf(a, b, x0);
  Preconditioner p = identity();
  LAEnv env = environment();
  const Outcome out = run(a, b, x0, &env, &p);
  EXPECT_EQ(out.status, LA_FGMRES_LIMIT);
  EXPECT_EQ(out.x, x0);
  EXPECT_NEAR(env.refineResidual / before, 1.0, 1e-12);
  ASSERT_EQ(p.calls, 4 + 8 + 16);
  EXPECT_EQ(p.asked[0], p.asked[4]);  // the first direction of each cycle is the residual of the same x
  EXPECT_EQ(p.asked[0], p.asked[12]);
}

TEST(Fgmres, FailingSolveGivesEightAndKeepsTheBestPoint) {
  std::mt19937_64 generator(67);
  const int32_t n = 40;
  const Dense a = randomSymmetric(n, generator);
  Dense m = a;
  for (int32_t i = 0; i < n; i += 2) m(i, i) *= 1.5;
  const Vector b = randomVector(n, generator);
  for (int32_t failAt : {1, 2, 4, 5, 6}) {
    for (int32_t job : {0, 1}) {
      Preconditioner p = factorsOf(m, job);
      p.failAt = failAt;
      LAEnv env = environment();
      const Outcome out = run(a, b, Vector::Zero(n), &env, &p);
      EXPECT_EQ(out.status, LA_OVERFLOW);
      EXPECT_EQ(p.calls, failAt);
      EXPECT_TRUE(out.x.allFinite());
      EXPECT_EQ(out.x.norm() > 0.0, failAt > 4) << failAt;
      EXPECT_NEAR(env.refineResidual, measureOf(a, b, out.x), 1e-15);
    }
  }
}

TEST(Fgmres, NanInTheRightHandSideEndsWithoutTouchingX) {
  const int32_t n = 4;
  Vector b = Vector::Ones(n);
  b(2) = std::numeric_limits<double>::quiet_NaN();
  Preconditioner p = identity();
  LAEnv env = environment();
  const Outcome out = run(shiftMatrix(n), b, Vector::Zero(n), &env, &p);
  EXPECT_EQ(out.status, LA_FGMRES_LIMIT);
  EXPECT_EQ(out.x, Vector::Zero(n));
  EXPECT_TRUE(std::isnan(env.refineResidual));
}

TEST(Fgmres, NoOverrunForAnySizesOfCycleAndSystem) {
  for (int32_t n = 1; n <= 18; ++n) {
    std::mt19937_64 generator(static_cast<uint64_t>(n));
    const Dense a = randomSymmetric(n, generator) + 8.0 * Dense::Identity(n, n);
    const Vector b = randomVector(n, generator);
    for (int32_t restart : {1, 2, 3, 5, 16, 40}) {
      for (int32_t minimum : {1, 2, 4, 17, 40}) {
        for (int32_t mode : {0, 1}) {
          for (int32_t flexibleOnly : {0, 1}) {
            Preconditioner p = identity();
            LAEnv env = environment();
            env.fgmresRestart = restart;
            env.fgmresMinimum = minimum;
            env.fgmresMode = mode;
            const Outcome out = run(a, b, Vector::Zero(n), &env, &p, flexibleOnly);
            ASSERT_TRUE(out.x.allFinite());
            ASSERT_LE(measureOf(a, b, out.x), 1.0);
            ASSERT_NEAR(env.refineResidual, measureOf(a, b, out.x), 1e-15);
          }
        }
      }
    }
  }
}

TEST(Fgmres, SystemSmallerThanTheCycleIsSolvedInItsOwnDimension) {
  const int32_t n = 3;
  Preconditioner p = identity();
  LAEnv env = environment();
  env.refineTolerance = 1e-14;
  const Outcome out = run(shiftMatrix(n), unit(n, 0), Vector::Zero(n), &env, &p);
  EXPECT_EQ(out.status, LA_FGMRES_TOLERANCE);
  EXPECT_EQ(p.calls, 3);
  EXPECT_LT((out.x - unit(n, 2)).norm(), 1e-15);
}

}  // namespace
