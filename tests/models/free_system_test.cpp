// Programs of equations in free columns alone: their optimality conditions are one linear system, which is solved
// without any iteration. Dense factorisations tell what the answer must be.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <string>

#include "models/certificate.h"
#include "models/generators.h"
#include "models/solving.h"

namespace {

using namespace models;
using Matrix = Eigen::MatrixXd;
using Vector = Eigen::VectorXd;

// min c'x on A x = b, of the given size and rank. Without `feasible` b lies outside the range of A, without `bounded` c
// outside the range of A'; both need a rank below the rows or the columns.
struct System {
  Matrix A;
  Vector b, c;
};

Matrix draw(Random& random, int numRow, int numCol) {
  return Matrix::NullaryExpr(numRow, numCol, [&] { return 1.0 * random.whole(-4, 4); });
}

System makeSystem(Random& random, int numRow, int numCol, int rank, bool feasible, bool bounded) {
  System s;
  do {
    s.A = draw(random, numRow, rank) * draw(random, rank, numCol);
  } while (s.A.colPivHouseholderQr().rank() != rank);
  s.b = s.A * draw(random, numCol, 1);
  s.c = s.A.transpose() * draw(random, numRow, 1);
  if (!feasible) s.b += s.A.transpose().fullPivLu().kernel().col(0);
  if (!bounded) s.c += s.A.fullPivLu().kernel().col(0);
  return s;
}

LinearProgram write(const System& s, Random& random) {
  LinearProgram program;
  program.sense = random.chance(0.5) ? 1 : -1;
  program.constant = random.whole(-9, 9);
  for (int i = 0; i < s.A.rows(); ++i) program.addRow(s.b[i], s.b[i]);
  for (int j = 0; j < s.A.cols(); ++j) {
    program.addColumn(s.c[j], -infinite, infinite);
    for (int i = 0; i < s.A.rows(); ++i)
      if (s.A(i, j) != 0.0) program.addEntry(i, s.A(i, j));
  }
  return program;
}

class FreeSystem : public ::testing::TestWithParam<double> {
 protected:
  Answer answer(const LinearProgram& program) { return solve(program, {{"presolve", GetParam()}, {"threads", 1}}); }
  // Every answer of a system without iterations is an optimum with a proof.
  void expectOptimum(const System& s, const LinearProgram& program) {
    const Answer found = answer(program);
    ASSERT_EQ(found.status, 1) << found.log;
    EXPECT_EQ(found.iterations, 0);
    const Vector y = s.A.transpose().colPivHouseholderQr().solve(s.c);
    const double value = s.b.dot(y) + program.constant;
    EXPECT_NEAR(found.objective, value, 1e-6 * (1.0 + std::fabs(value)));
    const Certificate certificate = certify(program, found);
    EXPECT_TRUE(certificate.holds(1e-6)) << certificate.text() << found.log;
  }
};

TEST_P(FreeSystem, SquareSystemHasItsOnePoint) {
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const int n = random.whole(1, 12);
    const System s = makeSystem(random, n, n, n, true, true);
    expectOptimum(s, write(s, random));
  }
}

TEST_P(FreeSystem, WideSystemWithACostInTheRangeOfTheRowsIsOptimalEverywhere) {
  for (uint64_t seed = 101; seed <= 160; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const int n = random.whole(2, 14), m = random.whole(1, n - 1);
    const System s = makeSystem(random, m, n, m, true, true);
    expectOptimum(s, write(s, random));
  }
}

TEST_P(FreeSystem, DependentEquationsAreNoObstacle) {
  for (uint64_t seed = 201; seed <= 260; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const int m = random.whole(2, 12), n = random.whole(2, 12), rank = random.whole(1, std::min(m, n) - 1);
    const System s = makeSystem(random, m, n, rank, true, true);
    expectOptimum(s, write(s, random));
  }
}

TEST_P(FreeSystem, WideSystemWithAnyOtherCostIsUnbounded) {
  for (uint64_t seed = 301; seed <= 360; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const int n = random.whole(2, 14), m = random.whole(1, n - 1);
    const Answer found = answer(write(makeSystem(random, m, n, m, true, false), random));
    EXPECT_EQ(found.status, 4) << found.log;
    EXPECT_EQ(found.iterations, 0);
  }
}

TEST_P(FreeSystem, ContradictingEquationsAreInfeasible) {
  for (uint64_t seed = 401; seed <= 460; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const int n = random.whole(1, 12), m = random.whole(n + 1, 14);
    const Answer found = answer(write(makeSystem(random, m, n, n, false, true), random));
    EXPECT_EQ(found.status, 3) << found.log;
    EXPECT_EQ(found.iterations, 0);
  }
}

TEST_P(FreeSystem, WithoutAPointAndWithoutADualPointBothAreSaid) {
  for (uint64_t seed = 501; seed <= 560; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const int m = random.whole(2, 12), n = random.whole(2, 12), rank = random.whole(1, std::min(m, n) - 1);
    const int status = answer(write(makeSystem(random, m, n, rank, false, false), random)).status;
    EXPECT_TRUE(status == 14 || status == 3 || status == 4) << status;
  }
}

// The iteration table has a header and the one line of the answer.
TEST_P(FreeSystem, OneLineIsShown) {
  Random random(7);
  const System s = makeSystem(random, 3, 3, 3, true, true);
  const Answer found = answer(write(s, random));
  EXPECT_NE(found.log.find("\n    0 "), std::string::npos) << found.log;
  EXPECT_EQ(found.log.find("\n    1 "), std::string::npos) << found.log;
}

INSTANTIATE_TEST_SUITE_P(BothPresolves, FreeSystem, ::testing::Values(-1.0, 0.0),
                         [](const auto& way) { return way.param == 0.0 ? "OwnPresolve" : "LightPath"; });

}  // namespace
