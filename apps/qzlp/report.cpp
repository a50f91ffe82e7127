#include "report.h"

#include <nlohmann/json.hpp>

namespace qzlpApp {

namespace {

int intOption(const qzlp* lp, const char* name) {
  int32_t value = 0;
  // Reading an option changes nothing but the handle's error text.
  (void)qzlp_getIntOption(const_cast<qzlp*>(lp), name, &value);
  return value;
}

int threadsOf(const qzlp* lp) {
  const int threads = intOption(lp, "threads");
  int64_t processors = 1;
  if (threads != 0 || qzlp_getHostOption("host.cpucount", &processors) != QZLP_OK) return threads == 0 ? 1 : threads;
  return static_cast<int>(processors);
}

}  // namespace

bool hasPoint(int status) {
  return status == QZLP_STATUS_OPTIMAL || status == QZLP_STATUS_NEAR_OPTIMAL || status == QZLP_STATUS_ITERATION_LIMIT ||
         status == QZLP_STATUS_TIME_LIMIT;
}

void printModel(const std::string& file, const ModelFile& model) {
  std::printf("qzlp %s\n", qzlp_version());
  std::printf("Model %s: %s, %d rows, %d columns, %d nonzeros", file.c_str(),
              model.objSense == 1 ? "minimise" : "maximise", model.numRow(), model.numCol(), model.numCoef());
  if (model.isQuadratic()) std::printf(", %d in the triangle of Q", model.numQuadCoef());
  std::printf("\n");
  for (const std::string& note : model.notes) std::printf("Note: %s\n", note.c_str());
  std::fflush(stdout);
}

void printSummary(const Outcome& outcome, const qzlp* lp) {
  std::printf("\nStatus                %s (%d)\n", qzlp_statusName(outcome.status), outcome.status);
  if (hasPoint(outcome.status)) {
    std::printf("Objective             %.12g\n", qzlp_objective(lp));
    std::printf("Primal infeasibility  %.2e\n", qzlp_primalInfeasibility(lp));
    std::printf("Bound infeasibility   %.2e\n", qzlp_boundInfeasibility(lp));
    std::printf("Dual infeasibility    %.2e\n", qzlp_dualInfeasibility(lp));
    std::printf("Duality gap           %.2e\n", qzlp_dualityGap(lp));
    std::printf("Complementarity       %.2e\n", qzlp_complementarity(lp));
  }
  std::printf("Iterations            %d\n", qzlp_iterations(lp));
  if (intOption(lp, "crossover") != 0) std::printf("Simplex iterations    %d\n", qzlp_simplexIterations(lp));
  std::printf("Seconds               %.2f to read, %.2f to solve\n", outcome.readTime, qzlp_totalTime(lp));
  std::fflush(stdout);
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
  object["rows"] = model.numRow();
  object["columns"] = model.numCol();
  object["nonzeros"] = model.numCoef();
  object["method"] = intOption(lp, "method") == 1 && !model.isQuadratic() ? "normal" : "augmented";
  object["threads"] = threadsOf(lp);
  object["readTime"] = outcome.readTime;
  object["presolveTime"] = qzlp_presolveTime(lp);
  object["totalTime"] = qzlp_totalTime(lp);
  // Names of files need not be UTF-8; bytes that are not come out as the replacement character.
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
