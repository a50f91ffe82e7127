// Whole solves under the checks: the answer is that of level 0, and no check finds anything, over every kind of
// program, by both methods, with either presolve, with the big-value submodels and without.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "host/option_store.h"
#include "models/generators.h"
#include "models/solving.h"
#include "qzlp.h"

namespace {

using namespace models;

// The error texts of a log.
std::string errorsOf(const std::string& log) {
  std::istringstream lines(log);
  std::string errors;
  for (std::string line; std::getline(lines, line);)
    if (line.rfind("Error ", 0) == 0) errors += line + "\n";
  return errors;
}

// Runs of the normal equations that the checks stopped: with weights past the reach of doubles the iterate leaves the
// interior there, and the checks tell so. The answer of such a run is none that anybody could trust.
int numStopped = 0;

void expectSameAnswer(const LinearProgram& program, const std::string& what,
                      const std::vector<double>& methods = {0.0, 1.0}) {
  for (const double method : methods) {
    for (const double presolve : {-1.0, 0.0}) {
      const std::vector<Choice> plain{{"method", method}, {"presolve", presolve}};
      std::vector<Choice> checked = plain;
      checked.push_back({"debugLevel", 9});
      const Answer silent = solve(program, plain);
      const Answer spoken = solve(program, checked);
      SCOPED_TRACE(what + " method " + std::to_string(method) + " presolve " + std::to_string(presolve));
      if (method == 1.0 && spoken.status == 10 && silent.status != 1 && !errorsOf(spoken.log).empty()) {
        ++numStopped;
        continue;
      }
      EXPECT_EQ(spoken.status, silent.status);
      EXPECT_EQ(errorsOf(spoken.log), "");
      if (silent.status == 1) {
        EXPECT_EQ(spoken.objective, silent.objective);
      }
    }
  }
}

TEST(DebugLevel, RandomProgramsOfEveryKind) {
  numStopped = 0;
  for (uint64_t seed = 1; seed <= 400; ++seed) expectSameAnswer(anyProgram(seed), "seed " + std::to_string(seed));
  // Two infeasible ones, which the big-value submodels keep going for longer at their end.
  EXPECT_LE(numStopped, 2) << "of 800 solves by the normal equations";
}

TEST(DebugLevel, ProgramsWithKnownOptimum) {
  numStopped = 0;
  for (uint64_t seed = 1; seed <= 12; ++seed) {
    Recipe recipe;
    recipe.freeColumns = seed % 3 == 0 ? 0.2 : 0.0;
    recipe.ranges = 0.2;
    recipe.degenerate = seed % 4 == 0 ? 0.3 : 0.0;
    recipe.scaleDecades = seed % 5 == 0 ? 3 : 0;
    recipe.maximise = seed % 2 == 0;
    expectSameAnswer(knownOptimum(recipe, seed).program, "recipe " + std::to_string(seed));
  }
  expectSameAnswer(transport(6, 9, 5).program, "transport");
  expectSameAnswer(multiPeriod(12, 7).program, "multi-period");
  EXPECT_LE(numStopped, 2)
      << "of 28 solves by the normal equations, those of one program, which both presolves leave as "
         "it is and which ends as infeasible without the checks";
}

TEST(DebugLevel, ProgramsWithoutAnOptimum) {
  for (uint64_t seed = 1; seed <= 10; ++seed) {
    expectSameAnswer(infeasible(10, 15, seed).program, "infeasible " + std::to_string(seed));
    expectSameAnswer(unbounded(10, 15, seed).program, "unbounded " + std::to_string(seed));
  }
}

// The switch of the host for the big-value submodels, on for the life of this record.
struct Submodels {
  Submodels() { qzhost::setHostOption(QZ_OPTION_SUBMODEL, 1); }
  ~Submodels() { qzhost::removeHostOption(QZ_OPTION_SUBMODEL); }
};

TEST(DebugLevel, WithTheBigValueSubmodels) {
  const Submodels on;
  numStopped = 0;
  for (uint64_t seed = 1; seed <= 150; ++seed) expectSameAnswer(anyProgram(seed), "seed " + std::to_string(seed));
  int numActed = 0;
  for (uint64_t seed = 1; seed <= 12; ++seed) {
    Recipe recipe;
    recipe.magnitude = seed % 2 == 0 ? 1e6 : 1e4;
    recipe.boundWidth = 1e7;
    recipe.freeColumns = seed % 3 == 0 ? 0.2 : 0.0;
    const LinearProgram program = knownOptimum(recipe, seed).program;
    // With weights as wide as these the normal equations leave the interior, so that only the other method is asked.
    expectSameAnswer(program, "big values " + std::to_string(seed), {0.0});
    const std::string log = solve(program, {{"debugLevel", 1}}).log;
    numActed += log.find("in vivo:") != std::string::npos || log.find("in vitro:") != std::string::npos ? 1 : 0;
  }
  EXPECT_GT(numActed, 0) << "some of them act";
  EXPECT_LE(numStopped, 1) << "of 300 solves by the normal equations";
}

}  // namespace
