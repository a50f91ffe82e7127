// The program as its users see it: exit codes, standard output, standard error, files.
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "models/generators.h"
#include "qzlp/program.h"
#include "qzlp/temporary_file.h"

namespace {

using qztest::ProgramRun;
using qztest::TemporaryFile;

std::string example(const std::string& name) {
  return std::string(QZ_EXAMPLES "/").append(name);
}

ProgramRun qzlp(const std::vector<std::string>& arguments) {
  return qztest::run(QZLP_PROGRAM, arguments);
}

nlohmann::json jsonOf(const ProgramRun& result) {
  const nlohmann::json object = nlohmann::json::parse(result.out, nullptr, false);
  EXPECT_TRUE(object.is_object()) << result.out;
  return object;
}

// The number behind a label, NaN without the label.
double numberBehind(const std::string& text, const std::string& label) {
  const size_t at = text.find(label);
  return at == std::string::npos ? std::nan("") : std::stod(text.substr(at + label.size()));
}

bool isOneLine(const std::string& text) {
  return !text.empty() && text.find('\n') == text.size() - 1;
}

TEST(Program, ShowsSizeTableAndSummary) {
  const ProgramRun result = qzlp({example("diet.mps")});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_NE(result.out.find("2 rows, 3 columns, 6 nonzeros"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("Status                optimal (1)"), std::string::npos) << result.out;
  EXPECT_NEAR(numberBehind(result.out, "\nObjective             "), 19.0, 1e-5) << result.out;
}

// The line that begins with `label`, empty without one.
std::string lineOf(const std::string& text, const std::string& label) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    if (line.rfind(label, 0) == 0) return line;
  return {};
}

TEST(Program, EveryDebugLevelEndsLikeLevelZeroWithoutABreach) {
  for (const char* name :
       {"diet.mps", "production.lp", "transport.mps", "workshop.lp", "shortage.mps", "unbounded.lp"}) {
    for (const char* method : {"augmented", "normal"}) {
      for (const char* presolve : {"-1", "0"}) {
        const std::vector<std::string> plain{"--method", method, "--presolve", presolve, example(name)};
        const ProgramRun silent = qzlp(plain);
        for (const char* level : {"1", "3", "5", "7", "9"}) {
          std::vector<std::string> arguments = plain;
          arguments.insert(arguments.end(), {"--debug-level", level});
          const ProgramRun checked = qzlp(arguments);
          EXPECT_EQ(checked.exitCode, silent.exitCode) << name << method << presolve << level;
          EXPECT_EQ(lineOf(checked.out, "Status "), lineOf(silent.out, "Status "))
              << name << method << presolve << level;
          EXPECT_EQ(lineOf(checked.out, "Objective "), lineOf(silent.out, "Objective ")) << name << level;
          EXPECT_EQ(lineOf(checked.out, "Error"), "") << name << method << presolve << level;
        }
      }
    }
  }
}

TEST(Program, DebugLevelNineListsTheWholeSolution) {
  const std::string text = qzlp({"--debug-level", "9", example("diet.mps")}).out;
  EXPECT_NE(text.find("running debug code......"), std::string::npos);
  EXPECT_NE(text.find("   primal(2)="), std::string::npos);
  EXPECT_EQ(qzlp({example("diet.mps")}).out.find("running debug code"), std::string::npos);
}

TEST(Program, ExportWritesTheModelWithoutSolvingIt) {
  const TemporaryFile file(".mps");
  const ProgramRun exported = qzlp({"--export-mps", file.path(), example("production.lp")});
  EXPECT_EQ(exported.exitCode, 0) << exported.err;
  EXPECT_EQ(exported.out, "");
  EXPECT_EQ(lineOf(qzlp({file.path()}).out, "Objective "), lineOf(qzlp({example("production.lp")}).out, "Objective "));
  EXPECT_EQ(qzlp({"--export-mps", "/no/such/folder/x.mps", example("diet.mps")}).exitCode, 2);
}

TEST(Program, ShowsTheIterationTableAtPrintLevelTwoOnly) {
  const std::string header = "Duality gap  Primal infeas";
  const std::string file = example("transport.mps");
  EXPECT_NE(qzlp({file}).out.find(header), std::string::npos);
  EXPECT_EQ(qzlp({"--print-level", "1", file}).out.find(header), std::string::npos);
  EXPECT_EQ(qzlp({"--log-frequency", "0", file}).out.find(header), std::string::npos);
  EXPECT_EQ(qzlp({"--print-level", "0", file}).out, "");
  EXPECT_EQ(qzlp({"--print-level", "0", file}).exitCode, 0);
}

TEST(Program, JsonIsOneObjectAndNothingElse) {
  const ProgramRun result = qzlp({"--json", example("workshop.lp")});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  const nlohmann::json object = jsonOf(result);
  const std::set<std::string> keys{"file",          "status",     "statusName",   "objective",        "iterations",
                                   "primalInfeas",  "dualInfeas", "boundInfeas",  "dualityGap",       "complementarity",
                                   "rows",          "columns",    "nonzeros",     "method",           "threads",
                                   "readTime",      "totalTime",  "presolveTime", "solverMemory",     "programMemory",
                                   "dualObjective", "residuals",  "warnings",     "simplexIterations"};
  std::set<std::string> found;
  for (const auto& [key, value] : object.items()) found.insert(key);
  EXPECT_EQ(found, keys);
  EXPECT_EQ(object["file"], example("workshop.lp"));
  EXPECT_EQ(object["status"], 1);
  EXPECT_EQ(object["statusName"], "optimal");
  EXPECT_NEAR(object["objective"].get<double>(), 44.0, 1e-4);
  EXPECT_EQ(object["rows"], 3);
  EXPECT_EQ(object["columns"], 2);
  EXPECT_EQ(object["nonzeros"], 6);
  EXPECT_EQ(object["method"], "augmented");
  EXPECT_GE(object["threads"].get<int>(), 1);
  EXPECT_LE(object["primalInfeas"].get<double>(), 1e-6);
  EXPECT_GE(object["totalTime"].get<double>(), object["presolveTime"].get<double>());
}

TEST(Program, SolvesQuadraticModels) {
  ProgramRun result = qzlp({example("portfolio.lp")});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_NE(result.out.find("2 rows, 3 columns, 6 nonzeros, 4 in the triangle of Q"), std::string::npos) << result.out;
  EXPECT_NEAR(numberBehind(result.out, "\nObjective             "), 108.0, 1e-4) << result.out;
  const TemporaryFile solution(".sol");
  result = qzlp({"--json", "--method", "normal", "--solution", solution.path(), example("pricing.qps")});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "qzlp: --method normal: a quadratic model is solved by the augmented system\n");
  const nlohmann::json object = jsonOf(result);
  EXPECT_EQ(object["status"], 1);
  EXPECT_EQ(object["method"], "augmented");
  EXPECT_NEAR(object["objective"].get<double>(), 80.0, 1e-4);
  EXPECT_NE(solution.read().find("row MACHINE "), std::string::npos) << solution.read();
  result = qzlp({"--json", "--crossover", example("pricing.qps")});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "qzlp: --crossover: a quadratic model has no basic solution to cross over to\n");
}

TEST(Program, AModelThatIsNotConvexFails) {
  for (const std::string& sense : {std::string("min"), std::string("max")}) {
    const TemporaryFile file(".lp", sense + "\n x + [ 2 x * y ] / 2\nst\n x + y <= 4\n x - y <= 3\nEnd\n");
    const ProgramRun result = qzlp({file.path()});
    EXPECT_EQ(result.exitCode, 30);
    EXPECT_NE(result.out.find("Status                not convex (1000)"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find(sense == "min" ? "to minimise is not convex" : "to maximise is not concave"),
              std::string::npos)
        << result.out;
  }
}

void expectExamplesSolved(const std::vector<std::vector<std::string>>& ways) {
  const struct {
    const char* name;
    double objective;
  } examples[] = {{"diet.mps", 19.0},    {"transport.mps", 245.0}, {"production.lp", 2230.0},
                  {"workshop.lp", 44.0}, {"portfolio.lp", 108.0},  {"pricing.qps", 80.0}};
  for (const auto& one : examples) {
    for (std::vector<std::string> arguments : ways) {
      std::string shown(one.name);
      for (const std::string& argument : arguments) shown.append(" ").append(argument);
      SCOPED_TRACE(shown);
      arguments.insert(arguments.end(), {"--json", example(one.name)});
      const ProgramRun result = qzlp(arguments);
      EXPECT_EQ(result.exitCode, 0) << result.err;
      EXPECT_NEAR(jsonOf(result)["objective"].get<double>(), one.objective, 1e-6 * (1.0 + one.objective));
    }
  }
}

// True when the solver tells that it has no normal equations.
bool lacksNormalEquations() {
  const ProgramRun result = qzlp({"--json", "--method", "normal", example("diet.mps")});
  const bool lacks = result.err.find("the normal equations are not available") != std::string::npos;
  if (lacks) {
    EXPECT_EQ(result.exitCode, 30);
    EXPECT_EQ(jsonOf(result)["status"], 10);
  }
  return lacks;
}

TEST(Program, ReportsMethodAndThreadsAsAsked) {
  const nlohmann::json object =
      jsonOf(qzlp({"--json", "--method", "normal", "--threads", "2", example("transport.mps")}));
  EXPECT_EQ(object["method"], "normal");
  EXPECT_EQ(object["threads"], 2);
}

TEST(Program, SolvesTheExamplesByTheNormalEquations) {
  if (lacksNormalEquations()) GTEST_SKIP() << "this build's solver has no normal equations";
  expectExamplesSolved({{"--method", "normal"}, {"--method", "normal", "--presolve", "0"}});
}

TEST(Program, SolvesTheExamplesInEveryWay) {
  expectExamplesSolved({{},
                        {"--presolve", "0"},
                        {"--scaling", "row"},
                        {"--tol", "1e-8"},
                        {"--debug-level", "1", "--print-level", "0"},
                        {"--tol-primal", "1e-7", "--tol-dual", "1e-7", "--tol-optimality", "1e-7"}});
}

TEST(Program, InfeasibleAndUnboundedExitWithTen) {
  const ProgramRun infeasible = qzlp({"--json", example("shortage.mps")});
  EXPECT_EQ(infeasible.exitCode, 10);
  EXPECT_EQ(jsonOf(infeasible)["status"], 3);
  const ProgramRun unbounded = qzlp({"--json", example("unbounded.lp")});
  EXPECT_EQ(unbounded.exitCode, 10);
  EXPECT_EQ(jsonOf(unbounded)["status"], 4);
}

TEST(Program, ALowerBoundAboveItsUpperBoundIsInfeasibleAndNoError) {
  const TemporaryFile file(".mps",
                           "NAME T\nROWS\n N C\n L R\nCOLUMNS\n X C 1 R 1\n Y C 1 R 1\nRHS\n S R 4\nBOUNDS\n LO B X 3\n"
                           " UP B X 2\nENDATA\n");
  const ProgramRun result = qzlp({"--json", file.path()});
  EXPECT_EQ(result.exitCode, 10);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(jsonOf(result)["status"], 3);
}

TEST(Program, LimitsExitWithTwenty) {
  const ProgramRun iterations = qzlp({"--json", "--max-iter", "0", example("transport.mps")});
  EXPECT_EQ(iterations.exitCode, 20);
  EXPECT_EQ(jsonOf(iterations)["status"], 7);
  const ProgramRun time = qzlp({"--json", "--time-limit", "0", example("transport.mps")});
  EXPECT_EQ(time.exitCode, 20);
  EXPECT_EQ(jsonOf(time)["status"], 8);
}

struct SolutionLine {
  std::string kind, name;
  double value, dual;
};

std::vector<SolutionLine> readSolution(const std::string& text) {
  std::vector<SolutionLine> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    std::istringstream fields(line);
    SolutionLine one;
    fields >> one.kind >> one.name >> one.value >> one.dual;
    EXPECT_FALSE(fields.fail()) << line;
    lines.push_back(one);
  }
  return lines;
}

TEST(Program, WritesTheSolution) {
  const TemporaryFile file(".sol");
  EXPECT_EQ(qzlp({"--solution", file.path(), "--tol", "1e-9", example("diet.mps")}).exitCode, 0);
  const std::vector<SolutionLine> lines = readSolution(file.read());
  ASSERT_EQ(lines.size(), 5U);
  const SolutionLine expected[] = {{"column", "OATS", 3.0, 0.0},
                                   {"column", "MILK", 0.0, 4.0 - 6.0 / 3.0 - 5.0 / 6.0},
                                   {"column", "EGGS", 2.0, 0.0},
                                   {"row", "PROTEIN", 36.0, 1.0 / 3.0},
                                   {"row", "ENERGY", 42.0, 1.0 / 6.0}};
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].kind, expected[i].kind);
    EXPECT_EQ(lines[i].name, expected[i].name);
    EXPECT_NEAR(lines[i].value, expected[i].value, 1e-6);
    EXPECT_NEAR(lines[i].dual, expected[i].dual, 1e-6);
  }
}

TEST(Program, ASolutionOfAMaximisationHasDualsOfTheObjectiveAsWritten) {
  const TemporaryFile file(".sol");
  EXPECT_EQ(qzlp({"--solution", file.path(), "--tol", "1e-9", example("workshop.lp")}).exitCode, 0);
  const std::vector<SolutionLine> lines = readSolution(file.read());
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_NEAR(lines[0].value, 4.0, 1e-6);
  EXPECT_NEAR(lines[1].value, 6.0, 1e-6);
  EXPECT_NEAR(lines[2].dual, 1.75, 1e-6);
  EXPECT_NEAR(lines[3].dual, 0.75, 1e-6);
  EXPECT_NEAR(lines[4].dual, 0.0, 1e-6);
}

TEST(Program, WithoutAPointTheSolutionFileIsEmpty) {
  const TemporaryFile file(".sol", "of an earlier run");
  EXPECT_EQ(qzlp({"--solution", file.path(), example("shortage.mps")}).exitCode, 10);
  EXPECT_EQ(file.read(), "");
}

TEST(Program, ASolutionFileThatCannotBeWrittenIsToldBeforeTheSolve) {
  const ProgramRun result = qzlp({"--solution", "/nowhere/at/all.sol", example("diet.mps")});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("/nowhere/at/all.sol"), std::string::npos);
}

TEST(Program, HelpAndVersion) {
  const ProgramRun help = qzlp({"--help"});
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_EQ(help.err, "");
  for (const char* flag : {"--method",      "--presolve",     "--threads",    "--max-iter",    "--time-limit",
                           "--time-type",   "--tol",          "--tol-primal", "--tol-dual",    "--tol-optimality",
                           "--scaling",     "--crossover",    "--basis",      "--print-level", "--log-frequency",
                           "--debug-level", "--solution",     "--export-mps", "--log",         "--quiet",
                           "--options",     "--show-options", "--json",       "--version",     "--help"})
    EXPECT_NE(help.out.find(flag), std::string::npos) << flag;
  const ProgramRun version = qzlp({"--version"});
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_EQ(version.out.compare(0, 5, "qzlp "), 0) << version.out;
  EXPECT_TRUE(isOneLine(version.out));
}

TEST(Program, BadUsageExitsWithTwoAndOneLine) {
  const std::vector<std::vector<std::string>> cases{{},
                                                    {"--no-such-flag", example("diet.mps")},
                                                    {"--method", "simplex", example("diet.mps")},
                                                    {"--threads", "many", example("diet.mps")},
                                                    {"--threads", "1.5", example("diet.mps")},
                                                    {"--threads", "-1", example("diet.mps")},
                                                    {"--max-iter", "-1", example("diet.mps")},
                                                    {"--tol", "1e-16", example("diet.mps")},
                                                    {"--tol", "nan", example("diet.mps")},
                                                    {"--time-limit", "", example("diet.mps")},
                                                    {"--time-limit", "-3", example("diet.mps")},
                                                    {"--scaling", "none", example("diet.mps")},
                                                    {"--max-iter"},
                                                    {"--crossover=9", example("diet.mps")},
                                                    {"--crossover=x", example("diet.mps")},
                                                    {"--quiet", "--json", example("diet.mps")},
                                                    {"--show-options", "--tol", "2"},
                                                    {example("diet.mps"), example("workshop.lp")}};
  for (const auto& arguments : cases) {
    const ProgramRun result = qzlp(arguments);
    EXPECT_EQ(result.exitCode, 2) << (arguments.empty() ? "" : arguments[0]);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(isOneLine(result.err)) << result.err;
  }
}

TEST(Program, BadFilesExitWithTwoAndOneLineThatNamesThem) {
  const std::string text =
      "NAME T\nROWS\n N C\n L R\nCOLUMNS\n X C 1 R 1\nRHS\n S R 4\nBOUNDS\n UP B X 3\nQCMATRIX R\n X X 1\nENDATA\n";
  const std::vector<std::string> contents{"",
                                          "hello\n",
                                          text,
                                          text.substr(0, 40),
                                          std::string("\x1f\x8b\x08\x00", 4),
                                          std::string("BZh91AY"),
                                          std::string(5000, '\0'),
                                          "NAME\nROWS\nENDATA\n"};
  for (const std::string& content : contents) {
    for (const char* ending : {".mps", ".lp", ".mps.gz", ".bz2"}) {
      const TemporaryFile file(ending, content);
      const ProgramRun result = qzlp({"--json", file.path()});
      EXPECT_EQ(result.exitCode, 2) << content << ending;
      EXPECT_EQ(result.out, "");
      EXPECT_TRUE(isOneLine(result.err)) << result.err;
      EXPECT_NE(result.err.find(file.path()), std::string::npos) << result.err;
    }
  }
  const ProgramRun missing = qzlp({"/nowhere/at/all.mps"});
  EXPECT_EQ(missing.exitCode, 2);
  EXPECT_EQ(missing.err, "qzlp: /nowhere/at/all.mps: No such file or directory\n");
}

TEST(Program, SummaryMeasuresTheAnswerOnTheModelAsRead) {
  const std::string text = qzlp({example("diet.mps")}).out;
  EXPECT_NEAR(numberBehind(text, "\nDual objective        "), 19.0, 1e-5) << text;
  for (const char* measure : {"Rows  ", "Bounds  ", "Duals  ", "Duality gap  ", "Complementarity  "}) {
    std::istringstream fields(lineOf(text, measure).substr(20));
    double absolute = -1.0, relative = -1.0, tolerance = -1.0;
    fields >> absolute >> relative >> tolerance;
    EXPECT_FALSE(fields.fail()) << measure << text;
    EXPECT_GE(absolute, relative) << measure << ": relative to more than 1";
    EXPECT_GE(relative, 0.0) << measure;
    EXPECT_LE(relative, 1e-6) << measure;
    EXPECT_EQ(tolerance, 1e-6) << measure;
  }
  EXPECT_GT(numberBehind(text, "\nMemory                "), 0.0) << text;
  EXPECT_EQ(qzlp({example("shortage.mps")}).out.find("On the model as read"), std::string::npos)
      << "an infeasible model has no point to measure";
}

TEST(Program, JsonHoldsTheResidualsAndTheWarnings) {
  const nlohmann::json object = jsonOf(qzlp({"--json", "--tol", "1e-9", example("transport.mps")}));
  EXPECT_NEAR(object["dualObjective"].get<double>(), 245.0, 1e-5);
  for (const char* key : {"rows", "bounds", "duals", "gap", "complementarity"}) {
    EXPECT_LE(object["residuals"][key]["relative"].get<double>(), 1e-8) << key;
    EXPECT_GE(object["residuals"][key]["absolute"].get<double>(), 0.0) << key;
  }
  EXPECT_TRUE(object["warnings"].empty());
  EXPECT_FALSE(jsonOf(qzlp({"--json", example("shortage.mps")})).contains("residuals"));
}

TEST(Program, BannerTellsStatisticsWarningsAndWhatPresolveLeft) {
  const TemporaryFile file(".lp",
                           "min\n x + y + 1e9 z\nst\n r: x + y + 0 z >= 2\n s: x + z >= 1\nbounds\n x = 1\nend\n");
  const std::string text = qzlp({file.path()}).out;
  EXPECT_NE(text.find("\n  Rows       2 at least\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\n  Columns    2 with a lower bound, 1 fixed\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nWarning: the largest cost is 1e+09 (column 'z')"), std::string::npos) << text;
  EXPECT_NE(lineOf(text, "The presolver ").find(" rows, "), std::string::npos) << text;
  EXPECT_EQ(jsonOf(qzlp({"--json", file.path()}))["warnings"].size(), 1U);
}

TEST(Program, EveryLineOfTheTableTellsTheSeconds) {
  std::istringstream lines(qzlp({example("transport.mps")}).out);
  int numTimed = 0;
  size_t width = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(" Iter ", 0) == 0) {
      width = line.size();
      EXPECT_EQ(line.substr(line.size() - 9), "  Seconds");
    } else if (line.rfind("----- ", 0) == 0 || (width != 0 && line.rfind("    ", 0) == 0)) {
      EXPECT_EQ(line.size(), width) << line;
      ++numTimed;
    }
  }
  EXPECT_GT(numTimed, 3);
}

TEST(Program, LogFileHoldsWhatTheScreenShowsBehindTheCommand) {
  const TemporaryFile log(".log", "of an earlier run");
  const ProgramRun shown = qzlp({"--log", log.path(), example("diet.mps")});
  EXPECT_EQ(shown.exitCode, 0);
  const std::string text = log.read();
  ASSERT_EQ(text.rfind("# qzlp --log " + log.path() + " ", 0), 0U) << text;
  const size_t second = text.find("\n# 20");
  ASSERT_NE(second, std::string::npos) << "the date\n" << text;
  EXPECT_EQ(text.substr(text.find('\n', second + 1) + 1), shown.out);
}

TEST(Program, QuietPrintsNothingAndStillWritesTheLog) {
  const TemporaryFile log(".log");
  const ProgramRun quiet = qzlp({"--quiet", "--log", log.path(), example("diet.mps")});
  EXPECT_EQ(quiet.exitCode, 0);
  EXPECT_EQ(quiet.out, "");
  EXPECT_EQ(quiet.err, "");
  EXPECT_NEAR(numberBehind(log.read(), "\nObjective             "), 19.0, 1e-5);
  const ProgramRun failed = qzlp({"--quiet", "/nowhere/at/all.mps"});
  EXPECT_EQ(failed.exitCode, 2);
  EXPECT_TRUE(isOneLine(failed.err)) << failed.err;
}

TEST(Program, JsonAndALogFileGoTogether) {
  const TemporaryFile log(".log");
  const ProgramRun result = qzlp({"--json", "--log", log.path(), example("diet.mps")});
  EXPECT_NEAR(jsonOf(result)["objective"].get<double>(), 19.0, 1e-5);
  EXPECT_NE(log.read().find("Status                optimal (1)"), std::string::npos);
}

TEST(Program, ALogFileThatCannotBeWrittenIsToldBeforeTheSolve) {
  const ProgramRun result = qzlp({"--log", "/nowhere/at/all.log", example("diet.mps")});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(isOneLine(result.err)) << result.err;
}

TEST(Program, OptionsFileSetsOptionsAndFlagsWinOverIt) {
  const TemporaryFile options(".opt", "# few iterations\nmethod = normal\nmax-iter = 1 # one\nthreads=2\n");
  const nlohmann::json one = jsonOf(qzlp({"--json", "--options", options.path(), example("transport.mps")}));
  EXPECT_EQ(one["method"], "normal");
  EXPECT_EQ(one["threads"], 2);
  EXPECT_EQ(one["status"], 7);
  EXPECT_EQ(one["iterations"], 1);
  const nlohmann::json all =
      jsonOf(qzlp({"--json", "--max-iter", "100", "--options", options.path(), example("transport.mps")}));
  EXPECT_EQ(all["status"], 1) << "the flag wins, wherever it stands";
}

TEST(Program, ABadOptionsFileIsToldWithItsLine) {
  const TemporaryFile options(".opt", "method = normal\n\nmaxIterations = 7\n");
  const ProgramRun result = qzlp({"--options", options.path(), example("diet.mps")});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_TRUE(isOneLine(result.err)) << result.err;
  EXPECT_NE(result.err.find(options.path() + ": line 3: there is no option 'maxIterations'"), std::string::npos)
      << result.err;
  EXPECT_EQ(qzlp({"--options", "/nowhere/at/all.opt", example("diet.mps")}).exitCode, 2);
  EXPECT_EQ(qzlp({"--options", "/tmp", example("diet.mps")}).exitCode, 2) << "a folder";
}

TEST(Program, ShowsItsOptionsAsAFileThatItReads) {
  const ProgramRun shown = qzlp({"--show-options", "--method", "normal", "--tol-dual", "1e-9"});
  EXPECT_EQ(shown.exitCode, 0);
  EXPECT_EQ(lineOf(shown.out, "method"), "method = normal");
  EXPECT_EQ(lineOf(shown.out, "tolDual"), "tolDual = 1e-9");
  EXPECT_EQ(lineOf(shown.out, "tolPrimal"), "tolPrimal = 1e-6");
  const TemporaryFile options(".opt", shown.out);
  EXPECT_EQ(qzlp({"--show-options", "--options", options.path()}).out, shown.out);
  EXPECT_EQ(qzlp({"--quiet", "--options", options.path(), example("diet.mps")}).exitCode, 0);
}

TEST(Program, DrawsThePlotOrSaysWhatIsMissingBeforeTheSolve) {
  const TemporaryFile plot(".svg");
  const ProgramRun result = qzlp({"--plot", plot.path(), example("diet.mps")});
  if (result.exitCode == 0) {
    EXPECT_NE(plot.read().find("diet.mps"), std::string::npos) << "the name of the model is the title";
    EXPECT_NE(plot.read().find("</svg>"), std::string::npos);
    EXPECT_EQ(qzlp({"--plot", "/nowhere/at/all.svg", example("diet.mps")}).exitCode, 2);
  } else {
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
  }
  const ProgramRun without =
      qztest::run("/usr/bin/env", {"PATH=/nowhere", QZLP_PROGRAM, "--plot", plot.path(), example("diet.mps")});
  EXPECT_EQ(without.exitCode, 2);
  EXPECT_EQ(without.out, "");
  EXPECT_EQ(without.err, "qzlp: --plot: the program gnuplot can't be started; install it, or solve without --plot\n");
}

TEST(Program, SaysWhatAStatusOtherThanOptimalMeans) {
  EXPECT_NE(qzlp({example("shortage.mps")}).out.find("No point meets all rows and bounds: some of them contradict.\n"),
            std::string::npos);
  EXPECT_NE(qzlp({"--max-iter", "1", example("transport.mps")}).out.find("the last point is given."),
            std::string::npos);
}

// A transport model that takes long enough to be stopped in the middle.
std::string largeModel() {
  const models::KnownOptimum known = models::transport(150, 300, 1);
  std::string text = "NAME LARGE\nROWS\n N C\n";
  const auto& program = known.program;
  for (int i = 0; i < program.numRow(); ++i) text.append(" E R").append(std::to_string(i)).append("\n");
  text.append("COLUMNS\n");
  for (int j = 0; j < program.numCol(); ++j) {
    const std::string name = std::string(" X").append(std::to_string(j));
    text.append(name).append(" C ").append(std::to_string(program.cost[static_cast<size_t>(j)])).append("\n");
    for (int k = program.colBegin[static_cast<size_t>(j)]; k < program.colBegin[static_cast<size_t>(j) + 1]; ++k)
      text.append(name).append(" R").append(std::to_string(program.rowIndex[static_cast<size_t>(k)])).append(" 1\n");
  }
  text.append("RHS\n");
  for (int i = 0; i < program.numRow(); ++i)
    text.append(" S R")
        .append(std::to_string(i))
        .append(" ")
        .append(std::to_string(program.rowLower[static_cast<size_t>(i)]))
        .append("\n");
  return text.append("ENDATA\n");
}

TEST(Program, CtrlCStopsTheSolveAndStillPrintsTheSummary) {
  const TemporaryFile file(".mps", largeModel());
  for (const int signal : {SIGINT, SIGTERM}) {
    const ProgramRun result = qztest::run(QZLP_PROGRAM, {"--tol", "1e-12", file.path()}, "45000 columns", signal);
    EXPECT_EQ(result.exitCode, 20) << result.out << result.err;
    EXPECT_NE(result.out.find("interrupted (12)"), std::string::npos) << result.out;
  }
}

// True when the program says that its build has no simplex module.
bool lacksCrossover() {
  const ProgramRun result = qzlp({"--json", "--crossover", example("diet.mps")});
  return result.err.find("qzsimpx") != std::string::npos;
}

TEST(Program, WithoutASimplexModuleACrossoverFailsAndSaysWhy) {
  if (!lacksCrossover()) GTEST_SKIP() << "this build has the simplex module";
  EXPECT_EQ(qzlp({"--json", "--crossover", example("diet.mps")}).exitCode, 30);
}

TEST(Program, CrossoverGivesTheVertex) {
  if (lacksCrossover()) GTEST_SKIP() << "this build has no simplex module";
  const ProgramRun result = qzlp({"--crossover", example("workshop.lp")});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.out.find("Crossover: "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("\nSimplex iterations    "), std::string::npos) << result.out;
  const nlohmann::json object = jsonOf(qzlp({"--json", "--crossover", example("workshop.lp")}));
  EXPECT_DOUBLE_EQ(object["objective"].get<double>(), 44.0) << "a vertex is exact";
  EXPECT_EQ(object["dualityGap"].get<double>(), 0.0);
  EXPECT_TRUE(object["simplexIterations"].is_number_integer());
  const nlohmann::json primalStart = jsonOf(qzlp({"--json", "--crossover=2", example("workshop.lp")}));
  EXPECT_DOUBLE_EQ(primalStart["objective"].get<double>(), 44.0);
}

TEST(Program, BasisFileIncludesTheCrossover) {
  if (lacksCrossover()) GTEST_SKIP() << "this build has no simplex module";
  const TemporaryFile file(".bas");
  EXPECT_EQ(qzlp({"--json", "--basis", file.path(), example("transport.mps")}).exitCode, 0);
  const std::string text = file.read();
  EXPECT_EQ(text.compare(0, 4, "NAME"), 0) << text;
  EXPECT_NE(text.find("\nENDATA\n"), std::string::npos) << text;
}

TEST(Program, BasisFileStaysEmptyWithoutABasis) {
  const TemporaryFile file(".bas");
  EXPECT_EQ(qzlp({"--json", "--basis", file.path(), example("shortage.mps")}).exitCode, 10);
  EXPECT_EQ(file.read(), "");
  EXPECT_EQ(qzlp({"--basis", "/no/such/folder/a.bas", example("diet.mps")}).exitCode, 2);
}

}  // namespace
