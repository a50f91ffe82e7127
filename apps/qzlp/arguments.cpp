#include "arguments.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <limits>
#include <sstream>

#include "qzlp.h"

namespace qzlpApp {

namespace {

const char* const footer =
    "FILE is a fixed or free MPS file or an LP file, plain, .gz or .bz2. A quadratic objective is 1/2 x'Qx: in MPS\n"
    "the sections QUADOBJ or QSECTION (one triangle of Q) or QMATRIX (both), in LP \"[ 2 x ^ 2 + 2 x * y ] / 2\".\n"
    "\n"
    "Exit codes: 0 optimal; 10 infeasible or unbounded; 20 stopped by a limit or by the user; 30 failed;\n"
    "2 bad usage or bad file.\n"
    "\n"
    "Example: qzlp --solution diet.sol examples/diet.mps";

// The flag's text as a number that the option of the C API takes.
double readNumber(const char* flag, const std::string& text, const qzlp_option& option) {
  double value = std::numeric_limits<double>::quiet_NaN();
  size_t used = 0;
  try {
    value = std::stod(text, &used);
  } catch (const std::exception&) {
    used = 0;
  }
  if (used == 0 || used != text.size() || std::isnan(value))
    throw CLI::ValidationError(flag, "'" + text + "' is not a number");
  if (option.type == QZLP_OPTION_INT && value != std::trunc(value))
    throw CLI::ValidationError(flag, "'" + text + "' is not a whole number");
  if (value < option.minimum || value > option.maximum) {
    std::ostringstream range;
    range << std::setprecision(12) << option.minimum << " to " << option.maximum;
    throw CLI::ValidationError(flag, "'" + text + "' is out of the range " + range.str());
  }
  return value;
}

// A flag that sets the options `names` of the C API, all of one type and range, to a number.
void addNumber(CLI::App& app, Arguments& arguments, const char* flag, const std::vector<const char*>& names,
               const char* typeName, const std::string& description) {
  app.add_option_function<std::string>(
         flag,
         [&arguments, names, flag](const std::string& text) {
           const double value = readNumber(flag, text, *qzlp_findOption(names[0]));
           for (const char* name : names) arguments.options.emplace_back(name, value);
         },
         description)
      ->type_name(typeName);
}

// Sets the option `name` of the C API to the place of the flag's word in `words`.
void addWord(CLI::App& app, Arguments& arguments, const char* flag, const char* name,
             const std::vector<std::string>& words, const std::string& description) {
  std::string shown;
  for (const std::string& word : words) shown += (shown.empty() ? "" : "|") + word;
  app.add_option_function<std::string>(
         flag,
         [&arguments, name, flag, words, shown](const std::string& text) {
           for (size_t i = 0; i < words.size(); ++i) {
             if (text != words[i]) continue;
             arguments.options.emplace_back(name, static_cast<double>(i));
             return;
           }
           throw CLI::ValidationError(flag, "'" + text + "' is not one of " + shown);
         },
         description)
      ->type_name(shown);
}

void describe(CLI::App& app, Arguments& arguments) {
  app.add_option("FILE", arguments.file, "model file")->required()->type_name("");
  addWord(
      app, arguments, "--method", "method", {"augmented", "normal"},
      "linear system of the iterations (augmented): LDL of the augmented system or Cholesky of the normal equations");
  addNumber(app, arguments, "--presolve", {"presolve"}, "MODE",
            "-1 the presolver module only (the default), 0 the solver's own presolve behind it");
  addNumber(app, arguments, "--threads", {"threads"}, "N",
            "threads of the linear algebra; 0 one for each processor (0)");
  addNumber(app, arguments, "--max-iter", {"maxIter"}, "N", "limit on the iterations (none)");
  addNumber(app, arguments, "--time-limit", {"timeLimit"}, "S", "limit on the time of the solve in seconds (none)");
  addNumber(app, arguments, "--tol", {"tolPrimal", "tolDual", "tolOptimality"}, "T",
            "tolerance of all measures at once (1e-6)");
  addNumber(app, arguments, "--tol-primal", {"tolPrimal"}, "T", "tolerance of rows and bounds (1e-6)");
  addNumber(app, arguments, "--tol-dual", {"tolDual"}, "T", "tolerance of the reduced costs (1e-6)");
  addNumber(app, arguments, "--tol-optimality", {"tolOptimality"}, "T", "tolerance of gap and complementarity (1e-6)");
  addWord(app, arguments, "--scaling", "scaling", {"standard", "row"}, "scaling of the model (standard)");
  app.add_flag_callback(
      "--crossover", [&arguments] { arguments.options.emplace_back("crossover", 1.0); },
      "finish with a basic solution, by the simplex module");
  addNumber(app, arguments, "--print-level", {"printLevel"}, "N",
            "0 silent, 1 a summary, 2 the iteration table too (2)");
  addNumber(app, arguments, "--log-frequency", {"logFrequency"}, "N", "a line of the table every N iterations (1)");
  addNumber(app, arguments, "--debug-level", {"debugLevel"}, "N",
            "check every stage by a second computation: 1 structure, 3 the solution, 5 every\n"
            "iteration, 7 with reports, 9 with the whole solution (0)");
  app.add_option("--export-mps", arguments.exportFile, "write the model to FILE as free MPS, without solving it")
      ->type_name("FILE");
  app.add_option("--solution", arguments.solutionFile, "write the solution to FILE")->type_name("FILE");
  app.add_option_function<std::string>(
         "--basis",
         [&arguments](const std::string& file) {
           arguments.basisFile = file;
           arguments.options.emplace_back("crossover", 1.0);
         },
         "write the basis to FILE, in the MPS basis format; includes --crossover")
      ->type_name("FILE");
  app.add_flag("--json", arguments.json, "print one JSON object instead of the log");
}

}  // namespace

ExitCode exitCodeOf(int status) {
  switch (status) {
    case QZLP_STATUS_OPTIMAL:
    case QZLP_STATUS_NEAR_OPTIMAL:
      return exitOptimal;
    case QZLP_STATUS_PRIMAL_INFEASIBLE:
    case QZLP_STATUS_DUAL_INFEASIBLE:
    case QZLP_STATUS_BOTH_INFEASIBLE:
    case 256:  // an infeasible model under another number
      return exitInfeasible;
    case QZLP_STATUS_ITERATION_LIMIT:
    case QZLP_STATUS_TIME_LIMIT:
    case QZLP_STATUS_INTERRUPTED:
      return exitStopped;
    default:
      return exitFailed;
  }
}

std::optional<Arguments> parseArguments(int argc, const char* const* argv, int& exitCode) {
  Arguments arguments;
  CLI::App app("Solves a linear or convex quadratic program by an interior-point method.", "qzlp");
  app.footer(footer);
  app.set_version_flag("--version", std::string("qzlp ") + qzlp_version());
  app.get_formatter()->column_width(34);
  describe(app, arguments);
  exitCode = exitOptimal;
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return std::nullopt;
  } catch (const CLI::CallForVersion& version) {
    std::cout << version.what() << '\n';
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    std::cerr << "qzlp: " << error.what() << " (qzlp --help tells the usage)\n";
    exitCode = exitBadInput;
    return std::nullopt;
  }
  for (const auto& [name, value] : arguments.options) {
    if (name == "printLevel") arguments.printLevel = static_cast<int>(value);
    if (name == "debugLevel") arguments.debugLevel = static_cast<int>(value);
  }
  return arguments;
}

}  // namespace qzlpApp
