// Models whose answer is known by construction, through the C API: the status, the objective, and for every optimum
// the certificate.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "models/certificate.h"
#include "models/generators.h"
#include "models/solving.h"

namespace {

using namespace models;

constexpr double tolerance = 1e-6;

// Both linear systems, with the light path and with the solver's own presolve.
const std::vector<std::vector<Choice>>& routes() {
  static const std::vector<std::vector<Choice>> all = [] {
    std::vector<std::vector<Choice>> list{{{"method", 0}, {"presolve", -1}}, {{"method", 0}, {"presolve", 0}}};
    if (!hasNormalEquations()) return list;
    list.push_back({{"method", 1}, {"presolve", -1}});
    list.push_back({{"method", 1}, {"presolve", 0}});
    return list;
  }();
  return all;
}

TEST(Routes, NormalEquations) {
  if (!hasNormalEquations())
    GTEST_SKIP() << "this build's solver has no normal equations: all models of this program "
                    "are solved by the augmented system alone";
  EXPECT_EQ(routes().size(), 4U);
}

std::string routeText(const std::vector<Choice>& route) {
  std::string text;
  for (const Choice& choice : route)
    text.append(choice.name).append(" ").append(std::to_string(static_cast<int>(choice.value))).append(" ");
  return text;
}

void expectOptimum(const LinearProgram& program, double objective, const std::vector<Choice>& route) {
  SCOPED_TRACE(routeText(route));
  const Answer answer = solve(program, route);
  ASSERT_EQ(answer.status, 1) << answer.log;
  EXPECT_NEAR(answer.objective, objective, tolerance * (1.0 + std::fabs(objective)));
  const Certificate certificate = certify(program, answer);
  EXPECT_TRUE(certificate.holds(tolerance)) << certificate.text() << "\n" << answer.log;
}

void expectKnownOptima(const Recipe& recipe, int count) {
  for (int seed = 1; seed <= count; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const KnownOptimum known = knownOptimum(recipe, static_cast<uint64_t>(seed));
    for (const auto& route : routes()) expectOptimum(known.program, known.objective, route);
  }
}

void expectStatus(const LinearProgram& program, std::initializer_list<int> allowed) {
  for (const auto& route : routes()) {
    SCOPED_TRACE(routeText(route));
    const Answer answer = solve(program, route);
    EXPECT_TRUE(std::find(allowed.begin(), allowed.end(), answer.status) != allowed.end())
        << "status " << answer.status << "\n"
        << answer.log;
  }
}

TEST(KnownOptimum, MixedRowsAndColumns) {
  expectKnownOptima(Recipe{}, 15);
}

TEST(KnownOptimum, WideAndTall) {
  Recipe wide;
  wide.numRow = 15;
  wide.numCol = 150;
  expectKnownOptima(wide, 3);
  Recipe tall;
  tall.numRow = 120;
  tall.numCol = 25;
  tall.entriesPerColumn = 20;
  tall.equations = 0.02;
  expectKnownOptima(tall, 3);
}

TEST(KnownOptimum, Degenerate) {
  Recipe recipe;
  recipe.degenerate = 0.5;
  expectKnownOptima(recipe, 10);
}

TEST(KnownOptimum, FreeColumns) {
  Recipe recipe;
  recipe.freeColumns = 0.35;
  expectKnownOptima(recipe, 10);
}

TEST(KnownOptimum, RangeRowsAndFreeRows) {
  Recipe recipe;
  recipe.ranges = 0.5;
  recipe.freeRows = 0.1;
  expectKnownOptima(recipe, 10);
}

TEST(KnownOptimum, BoxesAndFixedColumns) {
  Recipe recipe;
  recipe.boxedColumns = 0.6;
  recipe.fixedColumns = 0.2;
  expectKnownOptima(recipe, 10);
}

TEST(KnownOptimum, Maximisation) {
  Recipe recipe;
  recipe.maximise = true;
  recipe.ranges = 0.2;
  recipe.freeColumns = 0.1;
  expectKnownOptima(recipe, 10);
}

TEST(KnownOptimum, Staircase) {
  Recipe recipe;
  recipe.staircase = true;
  recipe.numRow = 60;
  recipe.numCol = 100;
  expectKnownOptima(recipe, 4);
}

TEST(KnownOptimum, BadlyScaled) {
  Recipe recipe;
  recipe.scaleDecades = 2;
  for (int seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const KnownOptimum known = knownOptimum(recipe, static_cast<uint64_t>(seed));
    for (const auto& route : routes()) expectOptimum(known.program, known.objective, route);
    expectOptimum(known.program, known.objective, {{"scaling", 1}});
  }
}

TEST(KnownOptimum, HugeBounds) {
  Recipe recipe;
  recipe.boxedColumns = 0.5;
  recipe.boundWidth = 1e7;
  expectKnownOptima(recipe, 5);
}

TEST(KnownOptimum, Transport) {
  for (uint64_t seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const KnownOptimum known = transport(6, 11, seed);
    for (const auto& route : routes()) expectOptimum(known.program, known.objective, route);
  }
}

TEST(KnownOptimum, MultiPeriod) {
  for (uint64_t seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const KnownOptimum known = multiPeriod(24, seed);
    for (const auto& route : routes()) expectOptimum(known.program, known.objective, route);
  }
}

TEST(KnownOptimum, BlockedFactorisationOnSeveralThreads) {
  Recipe recipe;
  recipe.numRow = 400;
  recipe.numCol = 900;
  recipe.entriesPerColumn = 5;
  const KnownOptimum known = knownOptimum(recipe, 1);
  for (std::vector<Choice> route : routes()) {
    for (const double threads : {1.0, 2.0, 4.0}) {
      route.push_back({"threads", threads});
      expectOptimum(known.program, known.objective, route);
    }
  }
}

TEST(Infeasible, RowsThatContradictEachOther) {
  for (uint64_t seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    expectStatus(infeasible(6, 10, seed).program, {3});
  }
}

TEST(Infeasible, CrossedBounds) {
  LinearProgram program;
  program.addRow(-infinite, 10.0);
  program.addColumn(1.0, 5.0, 2.0);
  program.addEntry(0, 1.0);
  program.addColumn(1.0, 0.0, infinite);
  program.addEntry(0, 1.0);
  expectStatus(program, {3});
}

TEST(Infeasible, AnEmptyRowThatAsksForSomething) {
  LinearProgram program;
  program.addRow(1.0, infinite);
  program.addRow(0.0, 4.0);
  program.addColumn(1.0, 0.0, infinite);
  program.addEntry(1, 1.0);
  expectStatus(program, {3});
}

TEST(Infeasible, InBothSenses) {
  // x - y >= 1, y - x >= 0, minimise -x - y: no point, and along (1, 1) the objective falls.
  LinearProgram program;
  program.addRow(1.0, infinite);
  program.addRow(0.0, infinite);
  program.addColumn(-1.0, 0.0, infinite);
  program.addEntry(0, 1.0);
  program.addEntry(1, -1.0);
  program.addColumn(-1.0, 0.0, infinite);
  program.addEntry(0, -1.0);
  program.addEntry(1, 1.0);
  expectStatus(program, {3, 4, 14});
}

TEST(Unbounded, AlongARay) {
  for (uint64_t seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    expectStatus(unbounded(6, 10, seed).program, {4});
  }
}

TEST(Unbounded, AMaximisation) {
  LinearProgram program;
  program.sense = -1;
  program.addRow(-infinite, 8.0);
  program.addColumn(5.0, 0.0, infinite);
  program.addEntry(0, 1.0);
  program.addColumn(-3.0, 0.0, infinite);
  program.addEntry(0, -1.0);
  expectStatus(program, {4});
}

TEST(Empty, WithoutRowsEveryColumnGoesToItsCheapestBound) {
  LinearProgram program;
  program.addColumn(2.0, -3.0, 5.0);
  program.addColumn(-1.0, 0.0, 4.0);
  program.addColumn(0.0, 1.0, 2.0);
  program.constant = 7.0;
  for (const auto& route : routes()) expectOptimum(program, -6.0 - 4.0 + 7.0, route);
}

TEST(Empty, WithoutRowsAndBoundsItIsUnbounded) {
  LinearProgram program;
  program.addColumn(-1.0, 0.0, infinite);
  expectStatus(program, {4});
}

TEST(Empty, WithoutColumnsTheConstantIsTheAnswer) {
  LinearProgram program;
  program.addRow(-1.0, 2.0);
  program.addRow(-infinite, 0.0);
  program.constant = 3.5;
  for (const auto& route : routes()) expectOptimum(program, 3.5, route);
}

TEST(Empty, WithoutColumnsARowMayStillBeInfeasible) {
  LinearProgram program;
  program.addRow(1.0, 2.0);
  expectStatus(program, {3});
}

TEST(Empty, WithoutAnything) {
  LinearProgram program;
  program.constant = -2.0;
  for (const auto& route : routes()) expectOptimum(program, -2.0, route);
}

TEST(Empty, EmptyRowsAndColumnsBesideOthers) {
  LinearProgram program;
  program.addRow(-infinite, 5.0);
  program.addRow(2.0, infinite);
  program.addColumn(1.0, -1.0, 8.0);  // empty, to its lower bound
  program.addColumn(3.0, 0.0, infinite);
  program.addEntry(1, 1.0);
  for (const auto& route : routes()) expectOptimum(program, -1.0 + 6.0, route);
}

TEST(TinyModels, OneColumnOfEveryKind) {
  const struct {
    double low, high, cost, best;
  } cases[] = {{0.0, infinite, 1.0, 3.0}, {-infinite, 5.0, -1.0, 5.0},     {1.0, 4.0, 1.0, 3.0},
               {4.0, 4.0, 1.0, 4.0},      {-infinite, infinite, 1.0, 3.0}, {-5.0, 20.0, -1.0, 9.0}};
  for (const auto& one : cases) {
    SCOPED_TRACE(std::to_string(one.low) + " to " + std::to_string(one.high));
    LinearProgram program;
    program.addRow(3.0, 9.0);
    program.addColumn(one.cost, one.low, one.high);
    program.addEntry(0, 1.0);
    for (const auto& route : routes()) expectOptimum(program, one.cost * one.best, route);
  }
}

TEST(Reuse, OneHandleSolvesManyModelsInARow) {
  qzlp* lp = qzlp_create();
  ASSERT_NE(lp, nullptr);
  for (uint64_t seed = 1; seed <= 5; ++seed) {
    const KnownOptimum known = knownOptimum(Recipe{}, seed);
    const Answer answer = solveIn(lp, known.program);
    EXPECT_EQ(answer.status, 1) << answer.log;
    EXPECT_TRUE(certify(known.program, answer).holds(tolerance)) << "seed " << seed;
    EXPECT_EQ(solveIn(lp, infeasible(6, 10, seed).program).status, 3) << "seed " << seed;
    EXPECT_EQ(solveIn(lp, unbounded(6, 10, seed).program).status, 4) << "seed " << seed;
  }
  qzlp_destroy(lp);
}

TEST(Repeat, TwoSolvesGiveTheSameBits) {
  Recipe recipe;
  recipe.numRow = 60;
  recipe.numCol = 100;
  const KnownOptimum known = knownOptimum(recipe, 3);
  for (const auto& route : routes()) {
    SCOPED_TRACE(routeText(route));
    const Answer first = solve(known.program, route);
    const Answer second = solve(known.program, route);
    EXPECT_EQ(first.iterations, second.iterations);
    EXPECT_EQ(first.objective, second.objective);
    EXPECT_EQ(first.primal, second.primal);
    EXPECT_EQ(first.dual, second.dual);
  }
}

}  // namespace
