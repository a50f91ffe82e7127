#include "faults/fault_routes.h"

#include "models/big_values.h"
#include "models/generators.h"
#include "models/quadratic_programs.h"
#include "models/verdict_campaign.h"
#include "sparse/la_env.h"

namespace {

const qz::FactorPlan* forcedPlan = nullptr;

}  // namespace

// The linker puts this in front of qz::LA_CreateLAEnv in the test's program.
extern "C" {
qz::LAEnv* __real__ZN2qz14LA_CreateLAEnvEP6QzPoollPi(QzPool* memory, int64_t creatorData, int32_t* status);
qz::LAEnv* __wrap__ZN2qz14LA_CreateLAEnvEP6QzPoollPi(QzPool* memory, int64_t creatorData, int32_t* status) {
  qz::LAEnv* env = __real__ZN2qz14LA_CreateLAEnvEP6QzPoollPi(memory, creatorData, status);
  if (env != nullptr) env->forcedPlan = forcedPlan;
  return env;
}
}

namespace faults {

namespace {

using namespace models;

constexpr qz::FactorPlan kStatic{{1, 3, 1}, 4};
constexpr qz::FactorPlan kDynamic{{1, 3, 0}, 4};
constexpr qz::FactorPlan kBlockedAlone{{1, 1, 1}, 4};

// Free, boxed and upper-bounded columns, ranges and equations: every kind of stage has something to do.
LinearProgram mixedProgram() {
  Recipe recipe;
  recipe.numRow = 12;
  recipe.numCol = 18;
  recipe.freeColumns = 0.15;
  recipe.ranges = 0.2;
  return knownOptimum(recipe, 7).program;
}

LinearProgram curvedProgram() {
  LinearProgram program = mixedProgram();
  addSquares(program, 3);
  return program;
}

LinearProgram notConvexProgram() {
  LinearProgram program = tinyProgram();
  program.addCurvature(0, 1, 5.0);
  return program;
}

// x + y = 3 and x - y = 1, both free.
LinearProgram freeSystem() {
  LinearProgram program;
  program.addRow(3.0, 3.0);
  program.addRow(1.0, 1.0);
  program.addColumn(2.0, -infinite, infinite);
  program.addEntry(0, 1.0);
  program.addEntry(1, 1.0);
  program.addColumn(-1.0, -infinite, infinite);
  program.addEntry(0, 1.0);
  program.addEntry(1, -1.0);
  return program;
}

LinearProgram bigDuals() {
  BigRecipe recipe;
  recipe.rowDual = recipe.boundDual = 0.3;
  return knownBigOptimum(recipe, 3).program;
}

LinearProgram bigSlacks() {
  BigRecipe recipe;
  recipe.variable = recipe.rowSlack = 0.5;
  return knownBigOptimum(recipe, 2).program;
}

void addLinearRoutes(std::vector<Route>& all) {
  const Choice oneThread{"threads", 1};
  all.push_back({"tiny", tinyProgram(), {oneThread}});
  all.push_back({"augmented", mixedProgram(), {oneThread}});
  all.push_back({"augmented, own presolve", mixedProgram(), {oneThread, {"presolve", 0}}});
  all.push_back({"normal", mixedProgram(), {oneThread, {"method", 1}}});
  all.push_back({"normal, own presolve", mixedProgram(), {oneThread, {"method", 1}, {"presolve", 0}}});
  all.push_back({"row scaling", mixedProgram(), {oneThread, {"scaling", 1}}});
  all.push_back({"infeasible", infeasible(6, 8, 2).program, {oneThread}, nullptr, 3});
  all.push_back({"unbounded", unbounded(6, 8, 2).program, {oneThread}, nullptr, 4});
  all.push_back({"free system", freeSystem(), {oneThread, {"presolve", 0}}});
  all.push_back({"exact point", linearCase(7324).program, linearCase(7324).choices, nullptr, 10, "exact point tried"});
  all.push_back({"big duals", bigDuals(), {oneThread}});
  all.push_back({"big slacks", bigSlacks(), {oneThread}});
  all.push_back({"big slacks, own presolve", bigSlacks(), {oneThread, {"presolve", 0}}});
  all.push_back({"all checks", mixedProgram(), {oneThread, {"debugLevel", 9}}});
}

void addQuadraticRoutes(std::vector<Route>& all) {
  all.push_back({"quadratic", curvedProgram(), {{"threads", 1}}});
  all.push_back({"not convex", notConvexProgram(), {{"threads", 1}}, nullptr, 1000});
  all.push_back({"quadratic, static", curvedProgram(), {{"threads", 3}}, &kStatic});
}

void addParallelRoutes(std::vector<Route>& all) {
  for (const double method : {0.0, 1.0}) {
    const std::string system = method == 0.0 ? "augmented" : "normal";
    all.push_back({system + ", static", mixedProgram(), {{"threads", 3}, {"method", method}}, &kStatic});
    all.push_back({system + ", dynamic", mixedProgram(), {{"threads", 3}, {"method", method}}, &kDynamic});
    all.push_back({system + ", blocked alone", mixedProgram(), {{"threads", 1}, {"method", method}}, &kBlockedAlone});
  }
}

void addCrossoverRoutes(std::vector<Route>& all) {
  if (solve(tinyProgram(), {{"crossover", 1}}).status != 1) return;  // the build has no simplex module
  all.push_back({"crossover", mixedProgram(), {{"threads", 1}, {"crossover", 1}}});
  all.push_back({"crossover, dual", mixedProgram(), {{"threads", 1}, {"crossover", 2}}});
  all.push_back({"crossover, own presolve", mixedProgram(), {{"threads", 1}, {"crossover", 1}, {"presolve", 0}}});
}

}  // namespace

models::LinearProgram tinyProgram() {
  LinearProgram program;
  program.addRow(36.0, infinite);
  program.addRow(42.0, infinite);
  const double columns[3][3] = {{3.0, 4.0, 10.0}, {4.0, 6.0, 5.0}, {5.0, 12.0, 6.0}};
  for (const auto& column : columns) {
    program.addColumn(column[0], 0.0, infinite);
    program.addEntry(0, column[1]);
    program.addEntry(1, column[2]);
  }
  return program;
}

const std::vector<Route>& allRoutes() {
  static const std::vector<Route> all = [] {
    std::vector<Route> made;
    addLinearRoutes(made);
    addQuadraticRoutes(made);
    addParallelRoutes(made);
    addCrossoverRoutes(made);
    return made;
  }();
  return all;
}

void forcePlan(const qz::FactorPlan* plan) {
  forcedPlan = plan;
}

}  // namespace faults
