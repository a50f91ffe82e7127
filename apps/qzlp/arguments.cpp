#include "arguments.h"

#include <CLI/CLI.hpp>
#include <array>
#include <cstring>
#include <iostream>

#include "qzlp.h"
#include "text.h"

namespace qzlpApp {

namespace {

constexpr size_t helpColumn = 30;  // where the explanations of the flags begin
constexpr size_t helpWidth = 80;   // and how wide they are

const char* const description =
    "Solves a linear or convex quadratic program by an interior-point method:\n"
    "\n"
    "  minimise or maximise  c'x + 1/2 x'Qx + constant\n"
    "  subject to            rows of A x  =, <=, >= or within a range,   l <= x <= u\n"
    "\n"
    "First steps:\n"
    "  qzlp model.mps                          solve, and watch the measures of each iteration go down\n"
    "  qzlp --solution model.sol model.mps     write the values and the duals too\n"
    "  qzlp --json model.mps                   one JSON object, for scripts\n"
    "  qzlp --crossover model.mps              end at a vertex, exact and with a basis\n"
    "  qzlp --plot model.svg model.mps         draw how the measures go down\n";

const char* const footer =
    "FILE is a fixed or free MPS file or an LP file, plain, .gz or .bz2. A quadratic objective is 1/2 x'Qx: in MPS\n"
    "the sections QUADOBJ or QSECTION (one triangle of Q) or QMATRIX (both), in LP \"[ 2 x ^ 2 + 2 x * y ] / 2\".\n"
    "\n"
    "When a solve is slow or fails: look at the warnings behind the size of the model first; then try --method normal\n"
    "(many more columns than rows, none of them dense), --presolve 0, --scaling row, or a looser --tol.\n"
    "--show-options prints all options with their meaning as a file for --options.\n"
    "\n"
    "Exit codes: 0 optimal; 10 infeasible or unbounded; 20 stopped by a limit or by the user; 30 failed;\n"
    "2 bad usage or bad file.\n"
    "\n"
    "man qzlp tells more.";

struct Presentation {
  const char* option;
  const char* group;
  const char* typeName;
};

// Where the help shows the options of the library, and what stands for their values. One that is not named here has a
// flag all the same, in a group of its own.
constexpr std::array<Presentation, 14> presentations{{{"method", "Method", ""},
                                                      {"presolve", "Method", "MODE"},
                                                      {"scaling", "Method", ""},
                                                      {"crossover", "Method", "MODE"},
                                                      {"threads", "Method", "N"},
                                                      {"tolPrimal", "Tolerances and limits", "T"},
                                                      {"tolDual", "Tolerances and limits", "T"},
                                                      {"tolOptimality", "Tolerances and limits", "T"},
                                                      {"maxIter", "Tolerances and limits", "N"},
                                                      {"timeLimit", "Tolerances and limits", "SECONDS"},
                                                      {"timeType", "Tolerances and limits", "TYPE"},
                                                      {"printLevel", "Output", "N"},
                                                      {"logFrequency", "Output", "N"},
                                                      {"debugLevel", "Output", "N"}}};
const char* const otherOptions = "Further options";

Presentation presentationOf(const qzlp_option& option) {
  for (const Presentation& one : presentations)
    if (std::strcmp(one.option, option.name) == 0) return one;
  return {option.name, otherOptions, "X"};
}

std::string helpText(const std::string& text) {
  return wrapped(text, helpWidth, "");
}

// The default of an option, where a limit that nothing reaches is none.
std::string defaultText(const qzlp_option& option) {
  const bool isLimit = option.defaultValue == option.maximum && option.minimum == 0.0;
  return isLimit ? "none" : textOf(option, option.defaultValue);
}

std::string helpText(const qzlp_option& option) {
  return helpText(formatted("%s Default: %s.", option.description, defaultText(option).c_str()));
}

double flagValue(const std::string& flag, const qzlp_option& option, const std::string& text) {
  try {
    return valueOf(option, text);
  } catch (const OptionError& error) {
    throw CLI::ValidationError(flag, error.what());
  }
}

// A flag for the option `option` of the library.
void addOption(CLI::App& app, OptionValues& values, const qzlp_option& option) {
  const std::string flag = "--" + flagName(option.name);
  const auto take = [&values, &option, flag](const std::string& text) {
    values.emplace_back(option.name, flagValue(flag, option, text));
  };
  const Presentation presentation = presentationOf(option);
  std::string typeName = presentation.typeName;
  for (const std::string& word : wordsOf(option)) typeName.append(typeName.empty() ? "" : "|").append(word);
  app.add_option_function<std::string>(flag, take, helpText(option))->type_name(typeName)->group(presentation.group);
}

// A switch that may also be given a number: --crossover stands for 1, --crossover=2 for 2.
void addCrossover(CLI::App& app, std::string& text) {
  const qzlp_option& option = *qzlp_findOption("crossover");
  app.add_flag("--crossover", text,
               helpText(formatted("%s --crossover alone is 1, --crossover=2 is 2.", option.description)))
      ->group(presentationOf(option).group);
}

void addTolerance(CLI::App& app, OptionValues& values) {
  const auto take = [&values](const std::string& text) {
    for (const char* name : {"tolPrimal", "tolDual", "tolOptimality"})
      values.emplace_back(name, flagValue("--tol", *qzlp_findOption(name), text));
  };
  app.add_option_function<std::string>(
         "--tol", take, helpText("All tolerances at once; one of its own wins, wherever it stands. Default: 1e-6."))
      ->type_name("T")
      ->group("Tolerances and limits");
}

void addFile(CLI::App& app, const char* flag, std::string& place, const char* group, const char* text) {
  app.add_option(flag, place, helpText(text))->type_name("FILE")->group(group);
}

struct Switches {
  std::string crossover;  // "true" for the flag alone, empty when it was not asked for
  std::string optionsFile;
  bool showOptions = false;
};

// The flags of the library's options in one group.
void addGroup(CLI::App& app, const char* group, OptionValues& values, Switches& switches) {
  for (int i = 0; i < qzlp_optionCount(); ++i) {
    const qzlp_option& option = *qzlp_optionAt(i);
    if (std::strcmp(presentationOf(option).group, group) != 0) continue;
    if (std::strcmp(option.name, "crossover") == 0) {
      addCrossover(app, switches.crossover);
    } else {
      addOption(app, values, option);
    }
  }
}

void describe(CLI::App& app, Arguments& arguments, Switches& switches) {
  app.add_option("FILE", arguments.file, "model file")->type_name("");
  addGroup(app, "Method", arguments.options, switches);
  addTolerance(app, arguments.options);  // before the single tolerances, which win over it
  addGroup(app, "Tolerances and limits", arguments.options, switches);
  addGroup(app, otherOptions, arguments.options, switches);
  addGroup(app, "Output", arguments.options, switches);
  app.add_flag("--quiet", arguments.quiet,
               helpText("Print nothing on standard output; a log file, a solution file and the exit code remain."))
      ->group("Output");
  app.add_flag("--json", arguments.json, helpText("Print one JSON object instead of the log."))
      ->group("Output")
      ->excludes("--quiet");
  addFile(app, "--log", arguments.logFile, "Output", "Write the log to FILE too, with the command and the date.");
  addFile(app, "--plot", arguments.plotFile, "Output",
          "Draw the measures of the iterations into FILE, an SVG picture. It needs the program gnuplot.");
  addFile(app, "--solution", arguments.solutionFile, "Files", "Write the solution to FILE.");
  addFile(app, "--basis", arguments.basisFile, "Files",
          "Write the basis to FILE, in the MPS basis format. Includes --crossover.");
  addFile(app, "--export-mps", arguments.exportFile, "Files",
          "Write the model to FILE as free MPS, without solving it.");
  addFile(app, "--options", switches.optionsFile, "Files",
          "Read options from FILE: lines \"name = value\". Flags of the command line win over them.");
  app.add_flag("--show-options", switches.showOptions,
               helpText("Print all options as a file for --options, with their values and meanings, and end."))
      ->group("Files");
}

// The flags' options behind those of the file, and what else the switches ask for.
void settle(Arguments& arguments, const Switches& switches) {
  if (!switches.crossover.empty()) {
    const std::string text = switches.crossover == "true" ? "1" : switches.crossover;
    arguments.options.emplace_back("crossover", flagValue("--crossover", *qzlp_findOption("crossover"), text));
  }
  if (!switches.optionsFile.empty()) {
    OptionValues options = readOptionsFile(switches.optionsFile);
    options.insert(options.end(), arguments.options.begin(), arguments.options.end());
    arguments.options = options;
  }
  if (!arguments.basisFile.empty() && arguments.option("crossover") == 0.0)
    arguments.options.emplace_back("crossover", 1.0);
  if (arguments.file.empty() && !switches.showOptions) throw CLI::RequiredError("FILE");
}

int complain(const std::string& what) {
  std::cerr << "qzlp: " << what << " (qzlp --help tells the usage)\n";
  return exitBadInput;
}

}  // namespace

double Arguments::option(const char* name) const {
  double value = qzlp_findOption(name)->defaultValue;
  for (const auto& [itsName, itsValue] : options)
    if (itsName == name) value = itsValue;
  return value;
}

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
  arguments.words.assign(argv, argv + argc);
  Switches switches;
  CLI::App app(description, "qzlp");
  app.footer(footer);
  app.set_version_flag("--version", std::string("qzlp ") + qzlp_version(), "Print the version and end.");
  app.set_help_flag("-h,--help", "Print this help and end.");
  app.get_formatter()->column_width(helpColumn);
  describe(app, arguments, switches);
  exitCode = exitOptimal;
  try {
    app.parse(argc, argv);
    settle(arguments, switches);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return std::nullopt;
  } catch (const CLI::CallForVersion& version) {
    std::cout << version.what() << '\n';
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    exitCode = complain(error.what());
    return std::nullopt;
  } catch (const OptionError& error) {
    exitCode = complain(error.what());
    return std::nullopt;
  }
  if (switches.showOptions) {
    std::cout << optionsFileText(arguments.options);
    return std::nullopt;
  }
  return arguments;
}

}  // namespace qzlpApp
