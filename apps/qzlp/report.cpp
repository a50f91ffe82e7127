#include "report.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <nlohmann/json.hpp>

#include "options.h"
#include "statistics.h"
#include "text.h"

namespace qzlpApp {

namespace {

int intOption(const qzlp* lp, const char* name) {
  int32_t value = 0;
  // Reading an option changes nothing but the handle's error text.
  (void)qzlp_getIntOption(const_cast<qzlp*>(lp), name, &value);
  return value;
}

double doubleOption(const qzlp* lp, const char* name) {
  double value = 0.0;
  (void)qzlp_getDoubleOption(const_cast<qzlp*>(lp), name, &value);
  return value;
}

int64_t hostOption(const char* name) {
  int64_t value = 0;
  return qzlp_getHostOption(name, &value) == QZLP_OK ? value : 0;
}

int threadsOf(const qzlp* lp) {
  const int threads = intOption(lp, "threads");
  return threads != 0 ? threads : std::max(1, static_cast<int>(hostOption("host.cpucount")));
}

// The most memory that the program ever held, in bytes.
int64_t programMemory() {
  struct rusage usage {};
  constexpr int64_t unit = 1024;
  return getrusage(RUSAGE_SELF, &usage) == 0 ? usage.ru_maxrss * unit : 0;
}

double mebibytes(int64_t bytes) {
  return static_cast<double>(bytes) / (1024.0 * 1024.0);
}

// The option that limits the relative value of a measure.
const char* toleranceOf(const std::string& key) {
  if (key == "rows" || key == "bounds") return "tolPrimal";
  return key == "duals" ? "tolDual" : "tolOptimality";
}

void printResiduals(Journal& journal, const Residuals& residuals, const qzlp* lp) {
  journal.line("");
  journal.line("On the model as read  Absolute  Relative  Tolerance  Largest in");
  journal.line("--------------------  --------  --------  ---------  ----------");
  for (const Residuals::Named& one : residuals.all()) {
    std::string line = formatted("%-20s  %8.2e  %8.2e  %9.0e", one.name, one.residual->absolute, one.residual->relative,
                                 doubleOption(lp, toleranceOf(one.key)));
    if (!one.residual->where.empty()) line.append("  ").append(one.residual->where);
    journal.line(line);
  }
}

nlohmann::ordered_json jsonOf(const Residuals& residuals) {
  nlohmann::ordered_json object;
  for (const Residuals::Named& one : residuals.all()) {
    object[one.key]["absolute"] = one.residual->absolute;
    object[one.key]["relative"] = one.residual->relative;
    if (!one.residual->where.empty()) object[one.key]["largestIn"] = one.residual->where;
  }
  return object;
}

// A word as a shell reads it back.
std::string quoted(const std::string& word) {
  const char* const plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./=:+,@%-";
  if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
  std::string text = "'";
  for (const char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

}  // namespace

bool hasPoint(int status) {
  return status == QZLP_STATUS_OPTIMAL || status == QZLP_STATUS_NEAR_OPTIMAL || status == QZLP_STATUS_ITERATION_LIMIT ||
         status == QZLP_STATUS_TIME_LIMIT;
}

void logCommand(Journal& journal, const Arguments& arguments) {
  std::string command = "# qzlp";
  for (size_t i = 1; i < arguments.words.size(); ++i) command.append(" ").append(quoted(arguments.words[i]));
  std::array<char, 40> date{};
  const std::time_t now = std::time(nullptr);
  struct tm utc {};
  if (gmtime_r(&now, &utc) != nullptr) std::strftime(date.data(), date.size(), "%Y-%m-%d %H:%M:%S UTC", &utc);
  journal.fileLine(command);
  journal.fileLine(
      formatted("# %s, %lld processors", date.data(), static_cast<long long>(hostOption("host.cpucount"))));
}

void printBanner(Journal& journal, const std::string& file, const ModelFile& model,
                 const std::vector<std::string>& warnings) {
  journal.line(std::string("qzlp ") + qzlp_version());
  std::string size =
      formatted("Model %s: %s, %d rows, %d columns, %d nonzeros", file.c_str(),
                model.objSense == 1 ? "minimise" : "maximise", model.numRow(), model.numCol(), model.numCoef());
  if (model.isQuadratic()) size += formatted(", %d in the triangle of Q", model.numQuadCoef());
  journal.line(size);
  for (const std::string& line : statisticsText(model, statisticsOf(model))) journal.line(line);
  for (const std::string& note : model.notes) journal.line("Note: " + note);
  for (const std::string& warning : warnings) journal.line("Warning: " + warning);
}

void printSummary(Journal& journal, const Outcome& outcome, const qzlp* lp) {
  constexpr size_t width = 100;
  const std::string indent(22, ' ');
  journal.line(formatted("\nStatus                %s (%d)", qzlp_statusName(outcome.status), outcome.status));
  if (outcome.status != QZLP_STATUS_OPTIMAL) journal.line(wrapped(qzlp_statusText(outcome.status), width, indent));
  if (outcome.residuals) {
    journal.line(formatted("Objective             %.12g", qzlp_objective(lp)));
    journal.line(formatted("Dual objective        %.12g", outcome.residuals->dualObjective));
  }
  journal.line(formatted("Iterations            %d", qzlp_iterations(lp)));
  if (intOption(lp, "crossover") != 0) journal.line(formatted("Simplex iterations    %d", qzlp_simplexIterations(lp)));
  journal.line(formatted("Seconds               %.2f to read, %.2f to solve", outcome.readTime, qzlp_totalTime(lp)));
  journal.line(formatted("Memory                %.1f MiB in the solver, %.1f MiB in the program",
                         mebibytes(qzlp_memoryPeak()), mebibytes(programMemory())));
  if (outcome.residuals) printResiduals(journal, *outcome.residuals, lp);
}

void printJson(const Outcome& outcome, const ModelFile& model, const qzlp* lp) {
  nlohmann::ordered_json object;
  object["file"] = outcome.file;
  object["status"] = outcome.status;
  object["statusName"] = qzlp_statusName(outcome.status);
  object["objective"] = qzlp_objective(lp);  // like all reals null when it is not finite
  object["iterations"] = qzlp_iterations(lp);
  object["simplexIterations"] = qzlp_simplexIterations(lp);
  object["primalInfeas"] = qzlp_primalInfeasibility(lp);
  object["dualInfeas"] = qzlp_dualInfeasibility(lp);
  object["boundInfeas"] = qzlp_boundInfeasibility(lp);
  object["dualityGap"] = qzlp_dualityGap(lp);
  object["complementarity"] = qzlp_complementarity(lp);
  if (outcome.residuals) {
    object["dualObjective"] = outcome.residuals->dualObjective;
    object["residuals"] = jsonOf(*outcome.residuals);
  }
  object["rows"] = model.numRow();
  object["columns"] = model.numCol();
  object["nonzeros"] = model.numCoef();
  object["method"] = intOption(lp, "method") == 1 && !model.isQuadratic() ? "normal" : "augmented";
  object["threads"] = threadsOf(lp);
  object["readTime"] = outcome.readTime;
  object["presolveTime"] = qzlp_presolveTime(lp);
  object["totalTime"] = qzlp_totalTime(lp);
  object["solverMemory"] = qzlp_memoryPeak();
  object["programMemory"] = programMemory();
  object["warnings"] = outcome.warnings;
  // Names of files and rows need not be UTF-8; bytes that are not come out as the replacement character.
  const std::string text = object.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
}

bool writeSolution(std::FILE* file, const ModelFile& model, const qzlp* lp) {
  const double* primal = qzlp_primal(lp);
  const double* reducedCost = qzlp_reducedCost(lp);
  const double* activity = qzlp_rowActivity(lp);
  const double* dual = qzlp_dual(lp);
  for (size_t j = 0; j < model.colNames.size(); ++j)
    std::fprintf(file, "column %s %.17g %.17g\n", model.colNames[j].c_str(), primal[j], reducedCost[j]);
  for (size_t i = 0; i < model.rowNames.size(); ++i)
    std::fprintf(file, "row %s %.17g %.17g\n", model.rowNames[i].c_str(), activity[i], dual[i]);
  return std::fflush(file) == 0 && std::ferror(file) == 0;
}

}  // namespace qzlpApp
