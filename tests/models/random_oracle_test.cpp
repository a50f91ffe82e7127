// Small random programs of every kind against Clp: status and objective must agree, and every optimum is certified.
#include <gtest/gtest.h>

#include <coin/Clp_C_Interface.h>
#include <algorithm>
#include <cmath>
#include <memory>

#include "models/certificate.h"
#include "models/generators.h"
#include "models/solving.h"

namespace {

using namespace models;

struct Verdict {
  int status;  // of Clp: 0 optimal, 1 primal infeasible, 2 dual infeasible
  double objective;
};

std::vector<double> bounded(std::vector<double> sides) {
  for (double& side : sides) side = std::clamp(side, -1e300, 1e300);
  return sides;
}

// Without any coefficient, which Clp does not take: every row holds or not at 0, every column goes its own way.
Verdict judgeWithoutMatrix(const LinearProgram& program) {
  for (size_t i = 0; i < program.rowLower.size(); ++i)
    if (program.rowLower[i] > 0.0 || program.rowUpper[i] < 0.0) return {1, 0.0};
  double objective = program.constant;
  for (size_t j = 0; j < program.cost.size(); ++j) {
    const double cost = program.cost[j];
    if (cost == 0.0) continue;
    const double best = cost * program.sense > 0.0 ? program.lower[j] : program.upper[j];
    if (!std::isfinite(best)) return {2, 0.0};
    objective += cost * best;
  }
  return {0, objective};
}

Verdict askOracle(const LinearProgram& program) {
  if (program.value.empty()) return judgeWithoutMatrix(program);
  const std::unique_ptr<Clp_Simplex, void (*)(Clp_Simplex*)> clp(Clp_newModel(), Clp_deleteModel);
  Clp_setLogLevel(clp.get(), 0);
  const std::vector<double> lower = bounded(program.lower), upper = bounded(program.upper);
  const std::vector<double> rowLower = bounded(program.rowLower), rowUpper = bounded(program.rowUpper);
  const std::vector<CoinBigIndex> begin(program.colBegin.begin(), program.colBegin.end());
  Clp_loadProblem(clp.get(), program.numCol(), program.numRow(), begin.data(), program.rowIndex.data(),
                  program.value.data(), lower.data(), upper.data(), program.cost.data(), rowLower.data(),
                  rowUpper.data());
  Clp_setOptimizationDirection(clp.get(), program.sense);
  Clp_primal(clp.get(), 0);
  return {Clp_status(clp.get()), Clp_objectiveValue(clp.get()) + program.constant};
}

void compare(const LinearProgram& program, const Verdict& verdict, const std::vector<Choice>& route) {
  const Answer answer = solve(program, route);
  switch (verdict.status) {
    case 0: {
      ASSERT_EQ(answer.status, 1) << answer.log;
      EXPECT_NEAR(answer.objective, verdict.objective, 1e-6 * (1.0 + std::fabs(verdict.objective)));
      const Certificate certificate = certify(program, answer);
      EXPECT_TRUE(certificate.holds(1e-6)) << certificate.text() << "\n" << answer.log;
      break;
    }
    case 1:  // a program without a point may have no dual point either, and each of the two may show first
      EXPECT_TRUE(answer.status == 3 || answer.status == 14 || answer.status == 4) << answer.status << answer.log;
      break;
    case 2:
      EXPECT_TRUE(answer.status == 4 || answer.status == 14) << answer.status << answer.log;
      break;
    default:
      FAIL() << "the oracle gave up with status " << verdict.status;
  }
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
  for (uint64_t seed = 1; seed <= 1000; ++seed) ++count[std::clamp(askOracle(anyProgram(seed)).status, 0, 2)];
  EXPECT_GT(count[0], 200);
  EXPECT_GT(count[1], 50);
  EXPECT_GT(count[2], 50);
}

}  // namespace
