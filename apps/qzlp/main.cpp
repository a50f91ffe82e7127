// qzlp: reads a linear or quadratic program, solves it, shows the iteration table, writes the answer.
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "arguments.h"
#include "basis_file.h"
#include "interrupt.h"
#include "journal.h"
#include "model_files/model_file.h"
#include "model_files/mps_writer.h"
#include "plot.h"
#include "report.h"
#include "statistics.h"
#include "text.h"

namespace {

using namespace qzlpApp;
using qzfiles::ModelFileError;

struct Closer {
  void operator()(qzlp* lp) const { qzlp_destroy(lp); }
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using Solver = std::unique_ptr<qzlp, Closer>;
using OutputFile = std::unique_ptr<std::FILE, Closer>;
using Clock = std::chrono::steady_clock;

int complain(const std::string& what, const std::string& file = {}) {
  std::fprintf(stderr, "qzlp: %s%s%s\n", file.c_str(), file.empty() ? "" : ": ", what.c_str());
  return exitBadInput;
}

// Who hears the solver during a solve.
struct Listener {
  Journal* journal;
  bool tellsTrouble;  // warnings and errors go to standard error as well: nothing else shows them
  bool showsDebug;    // debug texts are for those who asked for them, but for the errors among them
  Clock::time_point start;
};

// Lines of the iteration table get the seconds since the start of the solve.
std::string timedLine(int level, const std::string& line, const Listener& listener) {
  const bool isRule = line.find('-') == 0;
  if (level == QZLP_LOG_HEADER) return line + (isRule ? "  -------" : "  Seconds");
  if (level != QZLP_LOG_ITERATION) return line;
  const std::chrono::duration<double> seconds = Clock::now() - listener.start;
  return line + formatted("  %7.2f", seconds.count());
}

void hearLine(int level, uint32_t, const char* line, void* userData) {
  const Listener& listener = *static_cast<const Listener*>(userData);
  if (level == QZLP_LOG_DEBUG && !listener.showsDebug && std::strncmp(line, "Error", 5) != 0) return;
  listener.journal->line(timedLine(level, line, listener));
  if (listener.tellsTrouble && (level == QZLP_LOG_WARNING || level == QZLP_LOG_ERROR))
    std::fprintf(stderr, "qzlp: %s\n", line);
}

// What was asked for and is of no effect on a quadratic model.
void noteUnusedOptions(const Arguments& arguments, const ModelFile& model) {
  if (!model.isQuadratic()) return;
  for (const auto& [name, value] : arguments.options) {
    if (name == "method" && value == 1.0)
      complain("--method normal: a quadratic model is solved by the augmented system");
    if (name == "crossover") complain("--crossover: a quadratic model has no basic solution to cross over to");
  }
}

// Keeps each iteration for the picture.
int keepIteration(const qzlp_progress* progress, void* iterations) {
  static_cast<std::vector<qzlp_progress>*>(iterations)->push_back(*progress);
  return 0;
}

// A handle with model, options and callbacks, or the exit code of what went wrong.
int prepare(const Arguments& arguments, const ModelFile& model, Listener& listener, Solver& lp) {
  lp.reset(qzlp_create());
  if (!lp) {
    complain(qzlp_error(nullptr));
    return exitFailed;
  }
  for (const auto& [name, value] : arguments.options)
    if (qzlp_setDoubleOption(lp.get(), name.c_str(), value) != QZLP_OK) return complain(qzlp_error(lp.get()));
  const qzlp_model view = model.view();
  int loaded = qzlp_loadModel(lp.get(), &view);
  if (loaded == QZLP_OK && model.isQuadratic()) {
    const qzlp_quadratic quadratic = model.quadraticView();
    loaded = qzlp_loadQuadratic(lp.get(), &quadratic);
  }
  if (loaded != QZLP_OK) {
    complain(qzlp_error(lp.get()), arguments.file);
    return loaded == QZLP_ERROR_MODEL ? exitBadInput : exitFailed;
  }
  const bool callbacks = qzlp_setLogCallback(lp.get(), hearLine, &listener) == QZLP_OK &&
                         qzlp_setBreakCallback(lp.get(), wasInterrupted, nullptr) == QZLP_OK;
  return callbacks ? exitOptimal : complain(qzlp_error(lp.get()));
}

// Opened before the solve: a path that can't be written should not cost an answer. True when there is none to open.
bool openOutput(const std::string& path, OutputFile& file) {
  if (path.empty()) return true;
  file.reset(std::fopen(path.c_str(), "w"));
  if (!file) complain(std::strerror(errno), path);
  return file != nullptr;
}

int exportModel(const Arguments& arguments, const ModelFile& model) {
  OutputFile file;
  if (!openOutput(arguments.exportFile, file)) return exitBadInput;
  if (!qzfiles::writeMps(file.get(), model)) return complain("could not be written to its end", arguments.exportFile);
  return exitOptimal;
}

// The files that a solve writes. One stays empty when the solve leaves nothing to write into it.
struct OutputFiles {
  OutputFile log, solution, basis, plot;
  bool open(const Arguments& arguments) {
    if (!arguments.plotFile.empty() && !hasPlotter()) {
      complain("--plot: the program gnuplot can't be started; install it, or solve without --plot");
      return false;
    }
    return openOutput(arguments.logFile, log) && openOutput(arguments.solutionFile, solution) &&
           openOutput(arguments.basisFile, basis) && openOutput(arguments.plotFile, plot);
  }
};

Outcome outcomeOf(const ModelFile& model, const qzlp* lp) {
  Outcome outcome;
  outcome.status = qzlp_status(lp) == QZLP_STATUS_NONE ? QZLP_STATUS_FAILED : qzlp_status(lp);
  if (hasPoint(outcome.status)) outcome.residuals = residualsOf(model, qzlp_primal(lp), qzlp_dual(lp));
  return outcome;
}

// The answer's files, behind the solve.
int writeAnswer(const Arguments& arguments, const ModelFile& model, int status, const qzlp* lp,
                const OutputFiles& files) {
  const std::string incomplete = "could not be written to its end";
  if (files.solution && hasPoint(status) && !writeSolution(files.solution.get(), model, lp))
    return complain(incomplete, arguments.solutionFile);
  if (files.basis && qzlp_rowBasis(lp) != nullptr && !writeBasis(files.basis.get(), model, lp))
    return complain(incomplete, arguments.basisFile);
  if (files.log && std::ferror(files.log.get()) != 0) return complain(incomplete, arguments.logFile);
  return exitCodeOf(status);
}

std::string baseName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);  // all of it without a slash, by the wrap of npos
}

// False when gnuplot failed. A model that the presolver solved alone has no iterations: the file stays empty.
bool drawPlot(const Arguments& arguments, const std::vector<qzlp_progress>& iterations) {
  if (arguments.plotFile.empty() || iterations.empty()) return true;
  const std::vector<double> tolerances{arguments.option("tolPrimal"), arguments.option("tolDual"),
                                       arguments.option("tolOptimality")};
  return runPlotter(plotScript(arguments.plotFile, baseName(arguments.file), iterations, tolerances));
}

int solve(const Arguments& arguments, const ModelFile& model, double readTime) {
  OutputFiles files;
  if (!files.open(arguments)) return exitBadInput;
  const bool silent = arguments.option("printLevel") == 0.0;
  const bool onScreen = !arguments.json && !arguments.quiet;
  Journal journal(onScreen && !silent, silent ? nullptr : files.log.get());
  Listener listener{&journal, !onScreen && !silent, arguments.option("debugLevel") != 0.0, Clock::now()};
  Solver lp;
  const int prepared = prepare(arguments, model, listener, lp);
  if (prepared != exitOptimal) return prepared;

  noteUnusedOptions(arguments, model);
  catchInterrupts();
  const std::vector<std::string> warnings =
      warningsOf(model, statisticsOf(model), arguments.option("method") == 1.0 && !model.isQuadratic());
  logCommand(journal, arguments);
  printBanner(journal, arguments.file, model, warnings);
  std::vector<qzlp_progress> iterations;
  if (files.plot && qzlp_setProgressCallback(lp.get(), keepIteration, &iterations) != QZLP_OK)
    return complain(qzlp_error(lp.get()));
  listener.start = Clock::now();
  if (qzlp_solve(lp.get()) != QZLP_OK) complain(qzlp_error(lp.get()));

  Outcome outcome = outcomeOf(model, lp.get());
  outcome.file = arguments.file;
  outcome.readTime = readTime;
  outcome.warnings = warnings;
  if (arguments.json) printJson(outcome, model, lp.get());
  printSummary(journal, outcome, lp.get());
  if (!drawPlot(arguments, iterations)) return complain("gnuplot could not draw it", arguments.plotFile);
  return writeAnswer(arguments, model, outcome.status, lp.get(), files);
}

int run(int argc, const char* const* argv) {
  int exitCode = exitOptimal;
  const std::optional<Arguments> arguments = parseArguments(argc, argv, exitCode);
  if (!arguments) return exitCode;
  try {
    const Clock::time_point start = Clock::now();
    const ModelFile model = qzfiles::readModelFile(arguments->file);
    const std::chrono::duration<double> readTime = Clock::now() - start;
    if (!arguments->exportFile.empty()) return exportModel(*arguments, model);
    return solve(*arguments, model, readTime.count());
  } catch (const ModelFileError& error) {
    return complain(error.what(), arguments->file);
  } catch (const std::bad_alloc&) {
    complain("out of memory", arguments->file);
    return exitFailed;
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qzlp: %s\n", error.what());
    return exitFailed;
  }
}
