// Small random programs of every kind against Clp: status and objective must agree, and every optimum is certified.
#include <gtest/gtest.h>

#include <cmath>

#include "models/certificate.h"
#include "models/generators.h"
#include "models/oracle.h"
#include "models/solving.h"

namespace {

using namespace models;

void compare(const LinearProgram& program, const Verdict& verdict, const std::vector<Choice>& route) {
  const Answer answer = solve(program, route);
  ASSERT_TRUE(isTrueStatus(verdict, answer.status)) << answer.status << answer.log;
  if (verdict.kind != Kind::kOptimal) return;
  EXPECT_NEAR(answer.objective, verdict.objective, 1e-6 * (1.0 + std::fabs(verdict.objective)));
  const Certificate certificate = certify(program, answer);
  EXPECT_TRUE(certificate.holds(1e-6)) << certificate.text() << "\n" << answer.log;
}

void compareMany(uint64_t first, uint64_t last, const std::vector<Choice>& route) {
  for (uint64_t seed = first; seed <= last; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const LinearProgram program = anyProgram(seed);
    compare(program, askOracle(program), route);
  }
}

TEST(RandomAgainstClp, AugmentedSystem) {
  compareMany(1, 1000, {{"method", 0}});
}
TEST(RandomAgainstClp, NormalEquations) {
  if (!hasNormalEquations()) GTEST_SKIP() << "this build's solver has no normal equations";
  compareMany(1, 1000, {{"method", 1}});
}
TEST(RandomAgainstClp, OwnPresolve) {
  compareMany(1, 1000, {{"method", 0}, {"presolve", 0}});
}
TEST(RandomAgainstClp, OwnPresolveNormalEquations) {
  if (!hasNormalEquations()) GTEST_SKIP() << "this build's solver has no normal equations";
  compareMany(1, 500, {{"method", 1}, {"presolve", 0}});
}
TEST(RandomAgainstClp, RowScaling) {
  compareMany(1, 500, {{"scaling", 1}});
}

TEST(RandomAgainstClp, AllKindsOfAnswersAppear) {
  int count[3] = {0, 0, 0};
  for (uint64_t seed = 1; seed <= 1000; ++seed) ++count[static_cast<int>(askOracle(anyProgram(seed)).kind)];
  EXPECT_GT(count[0], 200);
  EXPECT_GT(count[1], 50);
  EXPECT_GT(count[2], 50);
}

}  // namespace
