// The program's own measures of an answer: by hand, and against the certificate of the models' tests.
#include "qzlp/residuals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <sstream>
#include <string>

#include "models/certificate.h"
#include "models/generators.h"

namespace {

using qzfiles::ModelFile;
using qzlpApp::Residuals;
using qzlpApp::residualsOf;

ModelFile modelOf(const std::string& text) {
  return qzfiles::readModelText("test.lp", text);
}

// min x + 2 y with x + y >= 10, x <= 4, y in [0, 20]: x = 4, y = 6, objective 16, dual 2, reduced cost of x -1.
const char* const smallModel = "min\n obj: x + 2 y\nst\n need: x + y >= 10\nbounds\n x <= 4\n y <= 20\nend\n";

TEST(Residuals, AnExactAnswerHasNone) {
  const double primal[] = {4.0, 6.0};
  const double dual[] = {2.0};
  const Residuals residuals = residualsOf(modelOf(smallModel), primal, dual);
  for (const Residuals::Named& one : residuals.all()) {
    EXPECT_EQ(one.residual->absolute, 0.0) << one.name;
    EXPECT_EQ(one.residual->relative, 0.0) << one.name;
    EXPECT_EQ(one.residual->where, "") << one.name;
  }
  EXPECT_EQ(residuals.dualObjective, 16.0);
}

TEST(Residuals, AMissedRowIsMeasuredAndNamed) {
  const double primal[] = {4.0, 5.0};
  const double dual[] = {2.0};
  const Residuals residuals = residualsOf(modelOf(smallModel), primal, dual);
  EXPECT_DOUBLE_EQ(residuals.rows.absolute, 1.0);
  EXPECT_DOUBLE_EQ(residuals.rows.relative, 1.0 / 11.0);
  EXPECT_EQ(residuals.rows.where, "need");
  EXPECT_EQ(residuals.bounds.absolute, 0.0);
  EXPECT_DOUBLE_EQ(residuals.gap.absolute, 2.0) << "14 against the bound of 16";
  EXPECT_DOUBLE_EQ(residuals.gap.relative, 2.0 / 15.0);
  EXPECT_DOUBLE_EQ(residuals.complementarity.absolute, 2.0) << "dual 2, off its side by 1";
  EXPECT_EQ(residuals.complementarity.where, "need");
}

TEST(Residuals, AMissedBoundIsMeasuredAndNamed) {
  const double primal[] = {4.5, 5.5};
  const double dual[] = {2.0};
  const Residuals residuals = residualsOf(modelOf(smallModel), primal, dual);
  EXPECT_DOUBLE_EQ(residuals.bounds.absolute, 0.5);
  EXPECT_DOUBLE_EQ(residuals.bounds.relative, 0.5 / (1.0 + std::sqrt(416.0))) << "bounds 0, 4, 0 and 20";
  EXPECT_EQ(residuals.bounds.where, "x");
  EXPECT_EQ(residuals.rows.absolute, 0.0);
}

TEST(Residuals, ADualOfTheWrongSignIsMeasuredAndNamed) {
  const double primal[] = {4.0, 6.0};
  const double dual[] = {-0.25};
  const Residuals residuals = residualsOf(modelOf(smallModel), primal, dual);
  EXPECT_DOUBLE_EQ(residuals.dual.absolute, 0.25);
  EXPECT_DOUBLE_EQ(residuals.dual.relative, 0.25 / (1.0 + std::sqrt(5.0)));
  EXPECT_EQ(residuals.dual.where, "need");
}

TEST(Residuals, TheCostOfAColumnWithoutABoundToHoldItIsADualViolation) {
  const ModelFile model = modelOf("min\n obj: x - y\nst\n r: x + y >= 1\nbounds\n y free\nend\n");
  const double primal[] = {1.0, 0.0};
  const double dual[] = {1.0};
  const Residuals residuals = residualsOf(model, primal, dual);
  EXPECT_DOUBLE_EQ(residuals.dual.absolute, 2.0);
  EXPECT_EQ(residuals.dual.where, "y");
}

TEST(Residuals, OfAMaximisationTheDualsAreOfTheObjectiveAsWritten) {
  // max 3 x + 2 y + 5 with x + y <= 4, x <= 3: x = 3, y = 1, objective 16; dual 2, reduced cost of x 1.
  const ModelFile model = modelOf("max\n obj: 3 x + 2 y + 5\nst\n r: x + y <= 4\nbounds\n x <= 3\nend\n");
  const double primal[] = {3.0, 1.0};
  const double dual[] = {2.0};
  const Residuals residuals = residualsOf(model, primal, dual);
  EXPECT_EQ(residuals.dual.absolute, 0.0);
  EXPECT_EQ(residuals.gap.absolute, 0.0);
  EXPECT_EQ(residuals.dualObjective, 16.0);
}

TEST(Residuals, FreeRowsAndSidesOfInfiniteMagnitudeTakeNoPart) {
  ModelFile model = modelOf(smallModel);
  model.rhs[0] = -1e20;
  model.upper[1] = 1e20;
  const double primal[] = {0.0, 0.0};
  const double dual[] = {0.0};
  const Residuals residuals = residualsOf(model, primal, dual);
  EXPECT_EQ(residuals.rows.absolute, 0.0);
  EXPECT_EQ(residuals.bounds.absolute, 0.0);
  EXPECT_EQ(residuals.gap.absolute, 0.0);
  model.rowSense[0] = 'N';
  EXPECT_EQ(residualsOf(model, primal, dual).rows.absolute, 0.0);
}

TEST(Residuals, AModelWithoutRowsOrColumnsHasNone) {
  ModelFile model;
  model.colBegin = model.quadBegin = {0};
  const Residuals residuals = residualsOf(model, nullptr, nullptr);
  for (const Residuals::Named& one : residuals.all()) EXPECT_EQ(one.residual->absolute, 0.0) << one.name;
}

void expectNear(const qzlpApp::Residual& residual, double expected, const std::string& what) {
  EXPECT_NEAR(residual.relative, expected, 1e-12 * (1.0 + expected)) << what;
}

// The program's text with its quadratic part.
std::string mpsText(const models::LinearProgram& program) {
  std::string text = models::asMps(program);
  if (program.curvature.empty()) return text;
  text.resize(text.rfind("ENDATA"));
  std::ostringstream section;
  section << std::setprecision(17) << "QUADOBJ\n";
  for (const models::Curvature& entry : program.curvature)
    section << " C" << entry.row << " C" << entry.col << ' ' << entry.value << '\n';
  return text + section.str() + "ENDATA\n";
}

// Answers near the optimum and far from it, of linear and quadratic models.
TEST(Residuals, AgreeWithTheCertificateOnRandomAnswers) {
  models::Random random(20260);
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    models::Recipe recipe;
    recipe.freeColumns = recipe.fixedColumns = 0.1;
    recipe.ranges = 0.2;
    recipe.maximise = seed % 2 == 0;
    models::KnownOptimum known = models::knownOptimum(recipe, seed);
    if (seed % 3 == 0)
      for (int j = 0; j < known.program.numCol(); j += 2)
        known.program.addCurvature(j, random.whole(0, j), random.uniform(-1.0, 1.0));
    const double noise = seed % 4 == 0 ? 1.0 : 1e-7;
    models::Answer answer;
    answer.primal = known.primal;
    answer.dual = known.dual;
    for (double& x : answer.primal) x += noise * random.uniform(-1.0, 1.0);
    for (double& y : answer.dual) y += noise * random.uniform(-1.0, 1.0);
    answer.activity.assign(answer.dual.size(), 0.0);
    answer.reducedCost.assign(answer.primal.size(), 0.0);
    const models::Certificate certificate = models::certify(known.program, answer);
    const ModelFile model = qzfiles::readModelText("random.mps", mpsText(known.program));
    const Residuals residuals = residualsOf(model, answer.primal.data(), answer.dual.data());
    const std::string what = "seed " + std::to_string(seed);
    expectNear(residuals.rows, certificate.rowViolation, what + " rows");
    expectNear(residuals.bounds, certificate.boundViolation, what + " bounds");
    expectNear(residuals.dual, certificate.dualViolation, what + " dual");
    expectNear(residuals.gap, certificate.gap, what + " gap");
    expectNear(residuals.complementarity, certificate.complementarity, what + " complementarity");
    EXPECT_NEAR(residuals.dualObjective, certificate.dualObjective + known.program.constant,
                1e-10 * (1.0 + std::fabs(certificate.dualObjective)))
        << what;
  }
}

}  // namespace
