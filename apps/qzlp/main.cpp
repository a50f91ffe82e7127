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
#include "model_files/model_file.h"
#include "model_files/mps_writer.h"
#include "report.h"

namespace {

using namespace qzlpApp;
using qzfiles::ModelFileError;

struct Closer {
  void operator()(qzlp* lp) const { qzlp_destroy(lp); }
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using Solver = std::unique_ptr<qzlp, Closer>;
using OutputFile = std::unique_ptr<std::FILE, Closer>;

int complain(const std::string& what, const std::string& file = {}) {
  std::fprintf(stderr, "qzlp: %s%s%s\n", file.c_str(), file.empty() ? "" : ": ", what.c_str());
  return exitBadInput;
}

// Every line at once, so that a reader at the end of a pipe sees the table grow. Debug texts are for those who asked
// for them, but for the errors among them.
void showLine(int level, uint32_t, const char* line, void* debugLevel) {
  const bool isDebug = level == QZLP_LOG_DEBUG && std::strncmp(line, "Error", 5) != 0;
  if (isDebug && *static_cast<const int*>(debugLevel) == 0) return;
  std::puts(line);
  std::fflush(stdout);
}

// Beside a JSON object only what went wrong is told, and not on standard output.
void showTrouble(int level, uint32_t, const char* line, void*) {
  if (level == QZLP_LOG_WARNING || level == QZLP_LOG_ERROR) std::fprintf(stderr, "qzlp: %s\n", line);
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

// A handle with model, options and callbacks, or the exit code of what went wrong.
int prepare(const Arguments& arguments, const ModelFile& model, Solver& lp) {
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
  const bool callbacks =
      (arguments.printLevel == 0 || qzlp_setLogCallback(lp.get(), arguments.json ? showTrouble : showLine,
                                                        const_cast<int*>(&arguments.debugLevel)) == QZLP_OK) &&
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

int solve(const Arguments& arguments, const ModelFile& model, double readTime) {
  // A file stays empty when the solve leaves nothing to write into it.
  OutputFile solution;
  OutputFile basis;
  if (!openOutput(arguments.solutionFile, solution) || !openOutput(arguments.basisFile, basis)) return exitBadInput;
  Solver lp;
  const int prepared = prepare(arguments, model, lp);
  if (prepared != exitOptimal) return prepared;

  const bool talks = !arguments.json && arguments.printLevel > 0;
  noteUnusedOptions(arguments, model);
  catchInterrupts();
  if (talks) printModel(arguments.file, model);
  if (qzlp_solve(lp.get()) != QZLP_OK) complain(qzlp_error(lp.get()));

  Outcome outcome;
  outcome.status = qzlp_status(lp.get()) == QZLP_STATUS_NONE ? QZLP_STATUS_FAILED : qzlp_status(lp.get());
  outcome.file = arguments.file;
  outcome.readTime = readTime;
  if (arguments.json) printJson(outcome, model, lp.get());
  if (talks) printSummary(outcome, lp.get());
  if (solution && hasPoint(outcome.status) && !writeSolution(solution.get(), model, lp.get()))
    return complain("could not be written to its end", arguments.solutionFile);
  if (basis && qzlp_rowBasis(lp.get()) != nullptr && !writeBasis(basis.get(), model, lp.get()))
    return complain("could not be written to its end", arguments.basisFile);
  return exitCodeOf(outcome.status);
}

int run(int argc, const char* const* argv) {
  int exitCode = exitOptimal;
  const std::optional<Arguments> arguments = parseArguments(argc, argv, exitCode);
  if (!arguments) return exitCode;
  try {
    const auto start = std::chrono::steady_clock::now();
    const ModelFile model = qzfiles::readModelFile(arguments->file);
    const std::chrono::duration<double> readTime = std::chrono::steady_clock::now() - start;
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
