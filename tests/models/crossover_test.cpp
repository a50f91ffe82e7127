// Whole solves that end with a crossover: the answer is an optimum, and a vertex.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "models/basic_answer.h"
#include "models/certificate.h"
#include "models/collection_crossover.h"
#include "models/generators.h"
#include "models/solving.h"

namespace {

using namespace models;

constexpr double tolerance = 1e-9;

void expectBasicOptimum(const LinearProgram& program, double objective, const std::vector<Choice>& choices) {
  const Answer answer = solve(program, choices);
  ASSERT_EQ(answer.status, 1) << answer.log;
  EXPECT_NEAR(answer.objective, objective, tolerance * (1.0 + std::fabs(objective))) << answer.log;
  const Certificate certificate = certify(program, answer);
  EXPECT_TRUE(certificate.holds(tolerance)) << certificate.text() << "\n" << answer.log;
  expectBasic(program, answer);
}

// Both linear systems, both presolves, both start modes.
void expectOnEveryRoute(const Recipe& recipe, uint64_t lastSeed) {
  for (uint64_t seed = 1; seed <= lastSeed; ++seed) {
    const KnownOptimum known = knownOptimum(recipe, seed);
    for (double method : {0.0, 1.0}) {
      if (method == 1.0 && !hasNormalEquations()) continue;
      for (double presolve : {-1.0, 0.0}) {
        for (double crossover : {1.0, 2.0}) {
          SCOPED_TRACE(testing::Message() << "seed " << seed << " method " << method << " presolve " << presolve
                                          << " crossover " << crossover);
          expectBasicOptimum(known.program, known.objective,
                             {{"method", method}, {"presolve", presolve}, {"crossover", crossover}});
        }
      }
    }
  }
}

TEST(Crossover, PlainModels) {
  expectOnEveryRoute({}, 12);
}
TEST(Crossover, Maximisation) {
  Recipe recipe;
  recipe.maximise = true;
  expectOnEveryRoute(recipe, 8);
}
TEST(Crossover, FreeColumnsAndRangesAndFreeRows) {
  Recipe recipe;
  recipe.freeColumns = 0.2;
  recipe.ranges = 0.3;
  recipe.freeRows = 0.2;
  recipe.fixedColumns = 0.1;
  expectOnEveryRoute(recipe, 8);
}
TEST(Crossover, DegenerateModels) {
  Recipe recipe;
  recipe.degenerate = 0.6;
  recipe.numCol = 50;
  expectOnEveryRoute(recipe, 8);
}
TEST(Crossover, BadlyScaledModels) {
  Recipe recipe;
  recipe.scaleDecades = 2;
  for (uint64_t seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE(seed);
    const KnownOptimum known = knownOptimum(recipe, seed);
    const Answer answer = solve(known.program, {{"crossover", 1}});
    ASSERT_EQ(answer.status, 1) << answer.log;
    EXPECT_NEAR(answer.objective, known.objective, 1e-8 * (1.0 + std::fabs(known.objective)));
    expectBasic(known.program, answer);
  }
}
TEST(Crossover, NetworksWithManyOptima) {
  for (uint64_t seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    const KnownOptimum known = transport(12, 15, seed);
    expectBasicOptimum(known.program, known.objective, {{"crossover", 1}});
    expectBasicOptimum(known.program, known.objective, {{"crossover", 2}});
  }
}
TEST(Crossover, RowScaling) {
  expectBasicOptimum(knownOptimum({}, 1).program, knownOptimum({}, 1).objective, {{"crossover", 1}, {"scaling", 1}});
}

// Small programs of every kind end as they do without a crossover, and their optima are vertices.
TEST(Crossover, SmallProgramsOfEveryKindEndAsWithout) {
  int numOptimal = 0;
  int numOther = 0;
  for (uint64_t seed = 1; seed <= 400; ++seed) {
    SCOPED_TRACE(seed);
    const LinearProgram program = anyProgram(seed);
    const Answer without = solve(program);
    const Answer with = solve(program, {{"crossover", static_cast<double>(1 + seed % 2)}});
    ASSERT_EQ(with.status, without.status) << with.log;
    if (with.status != 1) {
      ++numOther;
      EXPECT_TRUE(with.rowBasis.empty() && with.columnBasis.empty());
      EXPECT_EQ(with.simplexIterations, 0);
      EXPECT_EQ(with.log.find("Crossover"), std::string::npos) << "no hand-off";
      continue;
    }
    ++numOptimal;
    EXPECT_NEAR(with.objective, without.objective, 1e-5 * (1.0 + std::fabs(without.objective)));
    const Certificate certificate = certify(program, with);
    EXPECT_TRUE(certificate.holds(tolerance)) << certificate.text() << "\n" << with.log;
    if (program.numRow() > 0) expectBasic(program, with);
  }
  EXPECT_GT(numOptimal, 100);
  EXPECT_GT(numOther, 100);
}

TEST(Crossover, AnIterationLimitOfTheInteriorPointMethodEndsBeforeIt) {
  const Answer answer = solve(knownOptimum({}, 3).program, {{"crossover", 1}, {"maxIter", 2}});
  EXPECT_EQ(answer.status, 7);
  EXPECT_TRUE(answer.rowBasis.empty());
  EXPECT_EQ(answer.log.find("Crossover"), std::string::npos);
  EXPECT_NE(answer.log.find("teration limit"), std::string::npos) << answer.log;
}

TEST(Crossover, WithoutItThereIsNoBasis) {
  const Answer answer = solve(knownOptimum({}, 3).program);
  EXPECT_EQ(answer.status, 1);
  EXPECT_TRUE(answer.rowBasis.empty() && answer.columnBasis.empty());
  EXPECT_EQ(answer.simplexIterations, 0);
}

// A model that the presolver module solves alone is at a vertex without any simplex iteration.
TEST(Crossover, AModelWithoutElementsHasABasisToo) {
  LinearProgram program;
  program.addRow(-1.0, 1.0);
  program.addColumn(1.0, -3.0, 5.0);
  program.addColumn(-1.0, -3.0, 5.0);
  program.addColumn(0.0, -3.0, 5.0);
  program.addColumn(0.0, -infinite, infinite);
  const Answer answer = solve(program, {{"crossover", 1}});
  ASSERT_EQ(answer.status, 1) << answer.log;
  EXPECT_EQ(answer.objective, -8.0);
  expectBasic(program, answer);
}

// What a crossover did to the model and the handle is gone before the next solve.
TEST(Crossover, TheSameHandleSolvesOnWithAndWithout) {
  const std::unique_ptr<qzlp, void (*)(qzlp*)> lp(qzlp_create(), qzlp_destroy);
  const KnownOptimum known = knownOptimum({}, 4);
  Answer first[2];
  for (int round = 0; round < 3; ++round) {
    for (int crossover : {0, 1}) {
      ASSERT_EQ(qzlp_setIntOption(lp.get(), "crossover", crossover), QZLP_OK);
      const Answer answer = solveIn(lp.get(), known.program);
      ASSERT_EQ(answer.status, 1);
      if (round == 0) first[crossover] = answer;
      EXPECT_EQ(answer.objective, first[crossover].objective);
      EXPECT_EQ(answer.primal, first[crossover].primal) << "the same to the bit";
      EXPECT_EQ(answer.dual, first[crossover].dual);
      EXPECT_EQ(answer.rowBasis.empty(), crossover == 0);
    }
  }
}

TEST_F(CrossoverCollection, ShortList) {
  for (const char* name : {"blend", "sc50a", "share2b", "stocfor1", "scagr7", "boeing2", "bore3d", "capri", "e226",
                           "recipe", "vtp.base", "brandy", "agg", "lotfi", "grow7", "degen2", "standata", "beaconfd"})
    checkCrossover(std::string("lp/netlib/").append(name).append(".mps.bz2"));
}
TEST_F(CrossoverCollection, ShortListWithNormalEquationsAndOwnPresolve) {
  if (!hasNormalEquations()) GTEST_SKIP() << "this build's solver has no normal equations";
  for (const char* name : {"blend", "share2b", "stocfor1", "scagr7", "e226", "degen2"})
    checkCrossover(std::string("lp/netlib/").append(name).append(".mps.bz2"), {{"method", 1}, {"presolve", 0}});
}

// On its way the library calls a basis singular and names no column that is dependent.
TEST_F(CrossoverCollection, SingularBasisWithoutANamedColumn) {
  checkCrossover("lp/netlib/pilot87.mps.bz2");
}

}  // namespace
