// The basis file, read back by Clp: from that basis it has nothing left to do.
#include "qzlp/basis_file.h"

#include <gtest/gtest.h>

#include <ClpSimplex.hpp>
#include <cmath>
#include <memory>

#include "models/generators.h"
#include "models/solving.h"
#include "qzlp/temporary_file.h"

namespace {

using qztest::TemporaryFile;
using Handle = std::unique_ptr<qzlp, void (*)(qzlp*)>;

// The model with names in the arrays of a model file.
qzfiles::ModelFile named(const models::LinearProgram& program) {
  qzfiles::ModelFile model;
  model.name = "GENERATED";
  for (int j = 0; j < program.numCol(); ++j) model.colNames.push_back(std::string("C").append(std::to_string(j)));
  for (int i = 0; i < program.numRow(); ++i) model.rowNames.push_back(std::string("ROW").append(std::to_string(i)));
  return model;
}

// The basis of a solve with a crossover, written to the file.
double writeBasisOf(const models::LinearProgram& program, const std::string& path) {
  const Handle lp(qzlp_create(), qzlp_destroy);
  EXPECT_EQ(qzlp_setIntOption(lp.get(), "crossover", 1), QZLP_OK);
  const models::Answer answer = models::solveIn(lp.get(), program);
  EXPECT_EQ(answer.status, 1) << answer.log;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "w"), std::fclose);
  EXPECT_TRUE(qzlpApp::writeBasis(file.get(), named(program), lp.get()));
  return answer.objective;
}

void load(const models::LinearProgram& program, ClpSimplex& simplex) {
  simplex.setLogLevel(0);
  simplex.loadProblem(program.numCol(), program.numRow(), program.colBegin.data(), program.rowIndex.data(),
                      program.value.data(), program.lower.data(), program.upper.data(), program.cost.data(),
                      program.rowLower.data(), program.rowUpper.data());
  simplex.setOptimizationDirection(program.sense);
  const qzfiles::ModelFile names = named(program);
  simplex.copyNames(names.rowNames, names.colNames);
}

void expectNothingLeft(const models::LinearProgram& program) {
  const TemporaryFile file(".bas");
  const double objective = writeBasisOf(program, file.path());
  for (bool dual : {false, true}) {
    ClpSimplex simplex;
    load(program, simplex);
    ASSERT_GE(simplex.readBasis(file.path().c_str()), 0) << file.read();
    if (dual)
      simplex.dual();
    else
      simplex.primal();
    EXPECT_EQ(simplex.status(), 0);
    EXPECT_EQ(simplex.numberIterations(), 0) << file.read();
    EXPECT_NEAR(simplex.objectiveValue() + program.constant, objective, 1e-9 * (1.0 + std::fabs(objective)));
  }
}

TEST(BasisFile, ClpHasNothingLeftToDoFromIt) {
  models::Recipe recipe;
  recipe.boxedColumns = 0.4;
  recipe.upperColumns = 0.2;
  recipe.fixedColumns = 0.1;
  recipe.ranges = 0.3;
  for (uint64_t seed = 1; seed <= 25; ++seed) {
    SCOPED_TRACE(seed);
    expectNothingLeft(models::knownOptimum(recipe, seed).program);
  }
}

TEST(BasisFile, RemovedRowsAndColumnsAreInItToo) {
  models::Recipe recipe;
  recipe.fixedColumns = 0.3;
  recipe.freeRows = 0.3;
  for (uint64_t seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(seed);
    expectNothingLeft(models::knownOptimum(recipe, seed).program);
  }
}

TEST(BasisFile, Maximisation) {
  models::Recipe recipe;
  recipe.maximise = true;
  for (uint64_t seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(seed);
    expectNothingLeft(models::knownOptimum(recipe, seed).program);
  }
}

// min -x - y on x + y <= 3, x - y >= -1 with x <= 2, y <= 5: x at its upper bound, y = 1.
TEST(BasisFile, IsInTheMpsBasisFormat) {
  models::LinearProgram program;
  program.addRow(-models::infinite, 3.0);
  program.addRow(-1.0, models::infinite);
  program.addColumn(-2.0, 0.0, 2.0);
  program.addEntry(0, 1.0);
  program.addEntry(1, 1.0);
  program.addColumn(-1.0, 0.0, 5.0);
  program.addEntry(0, 1.0);
  program.addEntry(1, -1.0);
  const TemporaryFile file(".bas");
  writeBasisOf(program, file.path());
  EXPECT_EQ(file.read(), "NAME          GENERATED\n UL C0                  2\n XU C1        ROW0\nENDATA\n");
}

}  // namespace
