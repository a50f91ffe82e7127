// The judge is judged first: it accepts optimal pairs that are known by construction and refuses every kind of wrong
// claim about them.
#include "models/certificate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "models/generators.h"

namespace {

using namespace models;

// The claim that the known pair makes, with activities and reduced costs computed by plain loops.
Answer claim(const KnownOptimum& known) {
  Answer answer;
  const LinearProgram& program = known.program;
  answer.status = 1;
  answer.objective = known.objective;
  answer.primal = known.primal;
  answer.dual = known.dual;
  answer.reducedCost = program.cost;
  answer.activity.assign(program.rowLower.size(), 0.0);
  for (size_t j = 0; j < program.cost.size(); ++j) {
    for (int k = program.colBegin[j]; k < program.colBegin[j + 1]; ++k) {
      const auto i = static_cast<size_t>(program.rowIndex[static_cast<size_t>(k)]);
      answer.activity[i] += program.value[static_cast<size_t>(k)] * known.primal[j];
      answer.reducedCost[j] -= program.value[static_cast<size_t>(k)] * known.dual[i];
    }
  }
  return answer;
}

// minimise 3 a + 4 b + 5 c with two rows of the kind >=; optimum 19 at (3, 0, 2), duals (1/3, 1/6).
KnownOptimum diet() {
  KnownOptimum known;
  known.program.addRow(36.0, infinite);
  known.program.addRow(42.0, infinite);
  const double rows[3][3] = {{3.0, 4.0, 10.0}, {4.0, 6.0, 5.0}, {5.0, 12.0, 6.0}};
  for (const auto& row : rows) {
    known.program.addColumn(row[0], 0.0, infinite);
    known.program.addEntry(0, row[1]);
    known.program.addEntry(1, row[2]);
  }
  known.primal = {3.0, 0.0, 2.0};
  known.dual = {1.0 / 3.0, 1.0 / 6.0};
  known.objective = 19.0;
  return known;
}

// minimise a^2 + 2 b^2 + 3 c^2 - 2 a + 1 on a + b + c = 12: at (7, 3, 2) the slopes 2 a - 2, 4 b and 6 c are 12.
KnownOptimum curved() {
  KnownOptimum known;
  known.program.addRow(12.0, 12.0);
  const double cost[3] = {-2.0, 0.0, 0.0};
  const double square[3] = {2.0, 4.0, 6.0};
  for (int j = 0; j < 3; ++j) {
    known.program.addColumn(cost[j], 0.0, infinite);
    known.program.addEntry(0, 1.0);
    known.program.addCurvature(j, j, square[j]);
  }
  known.program.constant = 1.0;
  known.primal = {7.0, 3.0, 2.0};
  known.dual = {12.0};
  known.objective = 49.0 + 18.0 + 12.0 - 14.0 + 1.0;
  return known;
}

TEST(Certificate, AcceptsAQuadraticOptimumByHandAndRefusesOthers) {
  const KnownOptimum known = curved();
  Answer answer = claim(known);
  answer.reducedCost = {0.0, 0.0, 0.0};
  EXPECT_TRUE(certify(known.program, answer).holds(1e-12)) << certify(known.program, answer).text();
  EXPECT_DOUBLE_EQ(certify(known.program, answer).primalObjective, 65.0);
  Answer wrong = answer;
  wrong.primal = {8.0, 2.0, 2.0};
  EXPECT_FALSE(certify(known.program, wrong).holds(1e-3));
  wrong = answer;
  wrong.dual[0] = 12.5;
  EXPECT_FALSE(certify(known.program, wrong).holds(1e-3));
  wrong = answer;
  wrong.objective = 65.0;
  EXPECT_FALSE(certify(known.program, wrong).holds(1e-3));
  LinearProgram off = known.program;
  off.addCurvature(0, 2, 0.5);
  EXPECT_FALSE(certify(off, answer).holds(1e-3));
}

TEST(Certificate, ARayWithCurvatureProvesNothing) {
  LinearProgram program;
  program.addColumn(-1.0, 0.0, infinite);
  program.addColumn(-1.0, 0.0, infinite);
  program.addRow(-1.0, 1.0);
  EXPECT_TRUE(provesUnbounded(program, {1.0, 1.0}));
  program.addCurvature(0, 0, 2.0);
  program.addCurvature(0, 1, -2.0);
  program.addCurvature(1, 1, 2.0);
  EXPECT_TRUE(provesUnbounded(program, {1.0, 1.0}));
  EXPECT_FALSE(provesUnbounded(program, {1.0, 0.5}));
}

TEST(Certificate, AcceptsAnOptimumByHand) {
  const KnownOptimum known = diet();
  const Certificate certificate = certify(known.program, claim(known));
  EXPECT_TRUE(certificate.holds(1e-12)) << certificate.text();
  EXPECT_DOUBLE_EQ(certificate.primalObjective, 19.0);
  EXPECT_DOUBLE_EQ(certificate.dualObjective, 19.0);
}

TEST(Certificate, RefusesAPointOutsideOfARow) {
  KnownOptimum known = diet();
  known.primal[2] = 1.99;
  known.objective = 9.0 + 5.0 * 1.99;
  const Certificate certificate = certify(known.program, claim(known));
  EXPECT_GT(certificate.rowViolation, 1e-4);
  EXPECT_GT(certificate.worstRow, 1e-4);
  EXPECT_FALSE(certificate.holds(1e-6));
}

TEST(Certificate, RefusesAPointOutsideOfABound) {
  KnownOptimum known = diet();
  known.primal[1] = -0.01;
  known.objective -= 0.04;
  EXPECT_GT(certify(known.program, claim(known)).boundViolation, 1e-3);
}

TEST(Certificate, RefusesAFeasiblePointThatIsNotOptimal) {
  KnownOptimum known = diet();
  known.primal[2] = 2.5;
  known.objective = 21.5;
  const Certificate certificate = certify(known.program, claim(known));
  EXPECT_EQ(certificate.rowViolation, 0.0);
  EXPECT_GT(certificate.gap, 0.1);
  EXPECT_GT(certificate.complementarity, 0.01);
}

TEST(Certificate, RefusesDualsOfTheWrongSign) {
  KnownOptimum known = diet();
  known.dual = {-1.0 / 3.0, 1.0 / 6.0};
  EXPECT_GT(certify(known.program, claim(known)).dualViolation, 0.01);
}

TEST(Certificate, RefusesReducedCostsOfTheWrongSign) {
  KnownOptimum known = diet();
  known.dual = {0.5, 1.0 / 6.0};
  EXPECT_GT(certify(known.program, claim(known)).dualViolation, 0.01);
}

TEST(Certificate, RefusesArraysThatContradictEachOther) {
  const KnownOptimum known = diet();
  Answer answer = claim(known);
  answer.activity[0] += 1e-3;
  EXPECT_FALSE(certify(known.program, answer).holds(1e-6));
  answer = claim(known);
  answer.reducedCost[1] += 1e-3;
  EXPECT_FALSE(certify(known.program, answer).holds(1e-6));
  answer = claim(known);
  answer.objective += 1e-3;
  EXPECT_FALSE(certify(known.program, answer).holds(1e-6));
}

TEST(Certificate, RefusesMissingAndInfiniteAnswers) {
  const KnownOptimum known = diet();
  Answer answer = claim(known);
  answer.primal.pop_back();
  EXPECT_FALSE(certify(known.program, answer).holds(1e-6));
  answer = claim(known);
  answer.dual[0] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(certify(known.program, answer).holds(1e-6));
  answer = claim(known);
  answer.primal[0] = infinite;
  EXPECT_FALSE(certify(known.program, answer).holds(1e-6));
}

TEST(Certificate, NoRowHidesBehindTheNormOfTheOthers) {
  // The first row is as large as 1e9, the second asks for x = 1 and gets 2.
  KnownOptimum known;
  known.program.addRow(1e9, 1e9);
  known.program.addRow(1.0, 1.0);
  known.program.addColumn(0.0, 0.0, infinite);
  known.program.addEntry(0, 1.0);
  known.program.addColumn(0.0, 0.0, infinite);
  known.program.addEntry(1, 1.0);
  known.primal = {1e9, 2.0};
  known.dual = {0.0, 0.0};
  const Certificate certificate = certify(known.program, claim(known));
  EXPECT_LT(certificate.rowViolation, 1e-8);
  EXPECT_FALSE(certificate.holds(1e-6)) << certificate.text();
}

TEST(Certificate, AMaximisationIsJudgedInItsOwnSense) {
  // maximise 6 t + 5 c - 10 with 3 t + 2 c <= 24, t + 2 c <= 16: optimum 44 at (4, 6), duals (7/4, 3/4).
  KnownOptimum known;
  known.program.sense = -1;
  known.program.constant = -10.0;
  known.program.addRow(-infinite, 24.0);
  known.program.addRow(-infinite, 16.0);
  known.program.addColumn(6.0, 0.0, infinite);
  known.program.addEntry(0, 3.0);
  known.program.addEntry(1, 1.0);
  known.program.addColumn(5.0, 0.0, infinite);
  known.program.addEntry(0, 2.0);
  known.program.addEntry(1, 2.0);
  known.primal = {4.0, 6.0};
  known.dual = {1.75, 0.75};
  known.objective = 44.0;
  const Certificate certificate = certify(known.program, claim(known));
  EXPECT_TRUE(certificate.holds(1e-12)) << certificate.text();
  known.dual = {-1.75, -0.75};
  EXPECT_FALSE(certify(known.program, claim(known)).holds(1e-6));
}

TEST(Certificate, RangeRowsAndBoxesTakeEitherSign) {
  Recipe recipe;
  recipe.ranges = 0.5;
  recipe.boxedColumns = 0.6;
  recipe.freeColumns = 0.1;
  recipe.fixedColumns = 0.1;
  for (uint64_t seed = 1; seed <= 50; ++seed) {
    const KnownOptimum known = knownOptimum(recipe, seed);
    const Certificate certificate = certify(known.program, claim(known));
    EXPECT_TRUE(certificate.holds(1e-12)) << "seed " << seed << ": " << certificate.text();
  }
}

TEST(Generators, TransportAndScaledProgramsCarryOptimalPairs) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    const KnownOptimum flow = transport(5, 9, seed);
    EXPECT_TRUE(certify(flow.program, claim(flow)).holds(1e-12)) << "seed " << seed;
    Recipe recipe;
    recipe.scaleDecades = 3;
    recipe.degenerate = 0.3;
    recipe.staircase = true;
    recipe.maximise = seed % 2 == 0;
    const KnownOptimum scaled = knownOptimum(recipe, seed);
    const Certificate certificate = certify(scaled.program, claim(scaled));
    EXPECT_TRUE(certificate.holds(1e-9)) << "seed " << seed << ": " << certificate.text();
  }
}

TEST(Generators, MultiPeriodPlansAreFeasible) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    const KnownOptimum known = multiPeriod(12, seed);
    EXPECT_TRUE(isFeasible(known.program, known.primal)) << "seed " << seed;
    double cost = 0.0;
    for (size_t j = 0; j < known.primal.size(); ++j) cost += known.program.cost[j] * known.primal[j];
    EXPECT_DOUBLE_EQ(cost, known.objective) << "seed " << seed;
  }
}

TEST(Generators, InfeasibleAndUnboundedProgramsCarryTheirProofs) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    const KnownInfeasible noPoint = infeasible(6, 10, seed);
    EXPECT_TRUE(provesInfeasible(noPoint.program, noPoint.proof)) << "seed " << seed;
    const KnownUnbounded noEnd = unbounded(6, 10, seed);
    EXPECT_TRUE(provesUnbounded(noEnd.program, noEnd.ray)) << "seed " << seed;
    EXPECT_TRUE(isFeasible(noEnd.program, noEnd.point)) << "seed " << seed;
  }
}

TEST(Proofs, AFeasibleProgramHasNoProofOfInfeasibility) {
  const KnownOptimum known = diet();
  EXPECT_FALSE(provesInfeasible(known.program, {1.0, 1.0}));
  EXPECT_FALSE(provesInfeasible(known.program, {0.0, 0.0}));
  EXPECT_FALSE(provesInfeasible(known.program, {-1.0, 0.0}));
}

TEST(Proofs, CrossedBoundsAreInfeasibleWithoutRows) {
  // Not a matter of row multipliers: the box itself is empty, which isFeasible sees at every point.
  LinearProgram program;
  program.addColumn(1.0, 2.0, 1.0);
  EXPECT_FALSE(isFeasible(program, {1.0}));
  EXPECT_FALSE(isFeasible(program, {2.0}));
  EXPECT_FALSE(isFeasible(program, {1.5}));
}

TEST(Proofs, ABoundedDirectionIsNoRay) {
  const KnownOptimum known = diet();
  EXPECT_FALSE(provesUnbounded(known.program, {1.0, 1.0, 1.0}));
  EXPECT_FALSE(provesUnbounded(known.program, {-1.0, 0.0, 0.0}));
  EXPECT_FALSE(provesUnbounded(known.program, {0.0, 0.0, 0.0}));
}

}  // namespace
