// The driver for modelling systems, as they call it: a .nl file in, a .sol file out.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "models/certificate.h"
#include "models/generators.h"
#include "models/linear_program.h"
#include "models/solving.h"
#include "nl_writer.h"
#include "qzlp.h"
#include "qzlp/program.h"

namespace {

using models::infinite;
using models::LinearProgram;
using nltest::Extras;
using nltest::SolFile;

// A folder of its own for STUB.nl and STUB.sol.
class Ampl : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = "/tmp/qzlp_ampl_XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string stub() const { return folder_ + "/stub"; }

  qztest::ProgramRun call(const std::string& text, std::vector<std::string> words = {}) {
    std::ofstream(stub() + ".nl") << text;
    std::filesystem::remove(stub() + ".sol");
    words.insert(words.begin(), {stub(), "-AMPL"});
    return qztest::run(QZLP_AMPL, words);
  }
  SolFile solved(const std::string& text, const std::vector<std::string>& words = {}) {
    const qztest::ProgramRun run = call(text, words);
    EXPECT_EQ(run.exitCode, 0) << run.out << run.err;
    std::ifstream file(stub() + ".sol");
    return nltest::parseSol({std::istreambuf_iterator<char>(file), {}});
  }
  SolFile solved(const LinearProgram& program, const std::vector<std::string>& words = {}) {
    return solved(nltest::nlText(program), words);
  }

  std::string folder_;
};

// maximise 6 t + 5 c - 10: 44 at (4, 6), with duals 1.75 and 0.75 of the first two rows.
LinearProgram workshop() {
  LinearProgram p;
  p.sense = -1;
  p.constant = -10.0;
  p.addRow(-infinite, 24.0);
  p.addRow(-infinite, 16.0);
  p.addRow(-4.0, 4.0);
  p.addColumn(6.0, 0.0, infinite);
  p.addEntry(0, 3.0);
  p.addEntry(1, 1.0);
  p.addEntry(2, 1.0);
  p.addColumn(5.0, 0.0, infinite);
  p.addEntry(0, 2.0);
  p.addEntry(1, 2.0);
  p.addEntry(2, -1.0);
  return p;
}

// The answer of a .sol file, to be certified: what it does not hold is computed from the program.
models::Answer answerOf(const LinearProgram& p, const SolFile& sol) {
  models::Answer answer;
  answer.primal = sol.primal;
  answer.dual = sol.dual;
  answer.objective = p.constant;
  answer.activity.assign(static_cast<size_t>(p.numRow()), 0.0);
  for (size_t j = 0; j < static_cast<size_t>(p.numCol()); ++j) {
    double reduced = p.cost[j];
    for (const models::Curvature& q : p.curvature) {
      if (q.row == static_cast<int>(j)) reduced += q.value * sol.primal[static_cast<size_t>(q.col)];
      if (q.col == static_cast<int>(j) && q.row != q.col) reduced += q.value * sol.primal[static_cast<size_t>(q.row)];
    }
    answer.objective += 0.5 * (p.cost[j] + reduced) * sol.primal[j];
    for (int k = p.colBegin[j]; k < p.colBegin[j + 1]; ++k) {
      const auto row = static_cast<size_t>(p.rowIndex[static_cast<size_t>(k)]);
      answer.activity[row] += p.value[static_cast<size_t>(k)] * sol.primal[j];
      reduced -= p.value[static_cast<size_t>(k)] * sol.dual[row];
    }
    answer.reducedCost.push_back(reduced);
  }
  return answer;
}

TEST_F(Ampl, PrimalDualAndMessage) {
  const SolFile sol = solved(workshop());
  EXPECT_EQ(sol.code, 0);
  EXPECT_EQ(sol.objective, 0);
  EXPECT_NE(sol.message.find(std::string("qzlp ") + qzlp_version() + ": optimal; objective 4"), std::string::npos)
      << sol.message;
  ASSERT_EQ(sol.primal.size(), 2U);
  EXPECT_NEAR(sol.primal[0], 4.0, 1e-5);
  EXPECT_NEAR(sol.primal[1], 6.0, 1e-5);
  ASSERT_EQ(sol.dual.size(), 3U);
  EXPECT_NEAR(sol.dual[0], 1.75, 1e-5);
  EXPECT_NEAR(sol.dual[1], 0.75, 1e-5);
  EXPECT_EQ(sol.suffixes.find("sstatus"), std::string::npos) << "an interior answer has no basis";
}

TEST_F(Ampl, ProgramsOfKnownOptimumAreCertified) {
  models::Recipe recipe;
  recipe.freeColumns = 0.1;
  recipe.fixedColumns = 0.1;
  recipe.freeRows = 0.1;
  for (uint64_t seed = 1; seed <= 12; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    recipe.maximise = seed % 2 == 0;
    const models::KnownOptimum known = models::knownOptimum(recipe, seed);
    const SolFile sol = solved(known.program);
    ASSERT_EQ(sol.code, 0) << sol.message;
    const models::Answer answer = answerOf(known.program, sol);
    const models::Certificate certificate = models::certify(known.program, answer);
    EXPECT_TRUE(certificate.holds(1e-5)) << certificate.text();
    EXPECT_NEAR(answer.objective, known.objective, 1e-5 * (1.0 + std::fabs(known.objective)));
  }
}

TEST_F(Ampl, ConvexQuadraticProgramsAreCertified) {
  models::Recipe recipe;
  recipe.numRow = 6;
  recipe.numCol = 9;
  for (uint64_t seed = 1; seed <= 12; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    recipe.maximise = seed % 3 == 0;
    LinearProgram program = models::knownOptimum(recipe, seed).program;
    program.constant = 2.5;
    models::Random random(seed);
    for (int term = 0; term < 8; ++term) {  // squares of differences: semi-definite
      const int i = random.whole(0, 8);
      const int j = random.whole(0, 8);
      const double weight = program.sense * random.uniform(0.1, 3.0);
      program.addCurvature(i, i, weight);
      if (i == j) continue;
      program.addCurvature(j, j, weight);
      program.addCurvature(i, j, -weight);
    }
    const SolFile sol = solved(program);
    ASSERT_EQ(sol.code, 0) << sol.message;
    const models::Certificate certificate = models::certify(program, answerOf(program, sol));
    EXPECT_TRUE(certificate.holds(1e-5)) << certificate.text();
  }
}

// (x - 3)^2 + (x + y)^2 - x: the expression holds linear terms and a constant.
TEST_F(Ampl, AQuadraticObjectiveInWhateverForm) {
  LinearProgram p;
  p.addColumn(-1.0, -infinite, infinite);
  p.addColumn(0.0, 1.0, infinite);
  Extras extras;
  extras.objective = "o0\no5\no0\nv0\nn-3\nn2\no2\no0\nv0\nv1\no0\nv0\nv1\n";
  // 2 (x - 3) + 2 (x + 1) - 1 = 0 at y = 1: x = 1.25, with 3.0625 + 5.0625 - 1.25.
  const SolFile sol = solved(nltest::nlText(p, extras));
  ASSERT_EQ(sol.code, 0) << sol.message;
  EXPECT_NEAR(sol.primal[0], 1.25, 1e-5);
  EXPECT_NEAR(sol.primal[1], 1.0, 1e-5);
  const size_t at = sol.message.find("objective ");
  ASSERT_NE(at, std::string::npos);
  EXPECT_NEAR(std::stod(sol.message.substr(at + 10)), 6.875, 1e-5);
}

TEST_F(Ampl, ResultCodesOfTheStatuses) {
  EXPECT_EQ(solved(models::infeasible(6, 8, 1).program).code, 200);
  const int unbounded = solved(models::unbounded(6, 8, 1).program).code;
  EXPECT_TRUE(unbounded == 300 || unbounded == 201) << unbounded;
  EXPECT_EQ(solved(models::transport(5, 6, 1).program, {"maxiter=1"}).code, 400);
  EXPECT_EQ(solved(workshop(), {"timelimit=0"}).code, 401);
  LinearProgram saddle = workshop();
  saddle.addCurvature(0, 0, 2.0);  // maximised
  saddle.addCurvature(1, 1, -1.0);
  EXPECT_EQ(solved(saddle).code, 501);
}

TEST_F(Ampl, WithoutAPointNoVectorsAreSent) {
  const SolFile sol = solved(models::infeasible(6, 8, 2).program);
  EXPECT_TRUE(sol.primal.empty());
  EXPECT_TRUE(sol.dual.empty());
  EXPECT_NE(sol.message.find(qzlp_statusText(QZLP_STATUS_PRIMAL_INFEASIBLE)), std::string::npos) << sol.message;
}

TEST_F(Ampl, RandomProgramsEndAsThroughTheLibrary) {
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const LinearProgram program = models::anyProgram(seed);
    const models::Answer direct = models::solve(program);
    const SolFile sol = solved(program);
    const bool isOptimal = direct.status == QZLP_STATUS_OPTIMAL;
    EXPECT_EQ(sol.code == 0, isOptimal) << sol.message;
    if (direct.status == QZLP_STATUS_PRIMAL_INFEASIBLE) {
      EXPECT_EQ(sol.code, 200);
    }
    if (isOptimal) {
      EXPECT_NEAR(answerOf(program, sol).objective, direct.objective, 1e-6 * (1.0 + std::fabs(direct.objective)));
    }
  }
}

TEST_F(Ampl, WhatIsNeitherLinearNorQuadraticIsRefused) {
  Extras row;
  row.firstRow = "o2\nv0\nv1\n";
  const SolFile curvedRow = solved(nltest::nlText(workshop(), row));
  EXPECT_EQ(curvedRow.code, 510);
  EXPECT_NE(curvedRow.message.find("1 constraint(s) are not linear"), std::string::npos) << curvedRow.message;
  EXPECT_TRUE(curvedRow.primal.empty());
  for (const char* expression : {"o41\nv0\n" /* sine */, "o5\nv0\nn3\n", "o2\nv0\no2\nv0\nv1\n"}) {
    Extras objective;
    objective.objective = expression;
    const SolFile sol = solved(nltest::nlText(workshop(), objective));
    EXPECT_EQ(sol.code, 510);
    EXPECT_NE(sol.message.find("neither linear nor quadratic"), std::string::npos) << sol.message;
  }
}

TEST_F(Ampl, IntegersAreRelaxedAndSaid) {
  Extras extras;
  extras.integers = 1;
  const SolFile sol = solved(nltest::nlText(workshop(), extras));
  EXPECT_EQ(sol.code, 0);
  EXPECT_NE(sol.message.find("1 integer variable(s) solved as continuous"), std::string::npos) << sol.message;
}

TEST_F(Ampl, ObjectivesByNumber) {
  Extras extras;
  extras.secondObjective = "n7\n";
  const std::string text = nltest::nlText(workshop(), extras);
  EXPECT_NEAR(solved(text, {"objno=1"}).primal[0], 4.0, 1e-5);
  const SolFile second = solved(text, {"objno=2"});
  EXPECT_EQ(second.objective, 1);
  EXPECT_NE(second.message.find("objective 7"), std::string::npos) << second.message;
  const SolFile none = solved(text, {"objno=0"});
  EXPECT_EQ(none.objective, -1);
  EXPECT_EQ(none.code, 0);
  EXPECT_NE(none.message.find("objective 0"), std::string::npos) << none.message;
  EXPECT_EQ(solved(text, {"objno=3"}).code, 510);
}

TEST_F(Ampl, ABasisGoesBackAsASuffix) {
  const SolFile sol = solved(workshop(), {"crossover=1"});
  EXPECT_EQ(sol.code, 0);
  EXPECT_EQ(sol.primal, (std::vector<double>{4.0, 6.0}));
  EXPECT_NE(sol.suffixes.find("sstatus"), std::string::npos);
  EXPECT_NE(sol.suffixes.find("0 1\n1 1\n"), std::string::npos) << "both columns are basic: " << sol.suffixes;
}

TEST_F(Ampl, OptionsFromTheEnvironmentAndOfEitherCase) {
  ASSERT_EQ(setenv("qzlp_options", "maxIter=1 method=normal", 1), 0);
  EXPECT_EQ(solved(models::transport(5, 6, 1).program).code, 400);
  EXPECT_EQ(solved(models::transport(5, 6, 1).program, {"maxiter=100"}).code, 0) << "the command line comes later";
  unsetenv("qzlp_options");
  const qztest::ProgramRun shown = call(nltest::nlText(workshop()), {"printlevel=2"});
  EXPECT_NE(shown.out.find("Complementarity"), std::string::npos) << shown.out;
  const qztest::ProgramRun silent = call(nltest::nlText(workshop()));
  EXPECT_EQ(silent.out.find("Complementarity"), std::string::npos) << silent.out;
}

TEST_F(Ampl, BadOptionsEndTheProgram) {
  for (const char* word : {"speed=1", "threads=-1", "maxiter=1.5", "method=other", "tol=x"}) {
    const qztest::ProgramRun run = call(nltest::nlText(workshop()), {word});
    EXPECT_NE(run.exitCode, 0) << word << run.out << run.err;
    EXPECT_FALSE(std::filesystem::exists(stub() + ".sol")) << word;
  }
}

TEST_F(Ampl, FilesThatAreMissingOrDamagedEndTheProgram) {
  EXPECT_NE(qztest::run(QZLP_AMPL, {folder_ + "/none", "-AMPL"}).exitCode, 0);
  EXPECT_NE(qztest::run(QZLP_AMPL, {}).exitCode, 0);
  const std::string text = nltest::nlText(workshop());
  for (const double share : {0.1, 0.5, 0.9}) {
    const qztest::ProgramRun run = call(text.substr(0, static_cast<size_t>(share * static_cast<double>(text.size()))));
    EXPECT_NE(run.exitCode, 0) << run.out << run.err;
    EXPECT_FALSE(std::filesystem::exists(stub() + ".sol"));
  }
}

TEST_F(Ampl, AnInterruptLeavesAnAnswerBehind) {
  std::ofstream(stub() + ".nl") << nltest::nlText(models::transport(60, 60, 1).program);
  const qztest::ProgramRun run = qztest::run(QZLP_AMPL, {stub(), "-AMPL", "printlevel=2", "tol=1e-13"}, "Iter", SIGINT);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  std::ifstream file(stub() + ".sol");
  const SolFile sol = nltest::parseSol({std::istreambuf_iterator<char>(file), {}});
  // It may have come to its end before the signal reached it.
  EXPECT_TRUE(sol.code == 402 || sol.code < 200) << sol.code;
}

}  // namespace
