// Basis changes of a crossover beside the iterations of Clp's dual simplex from the slack basis, on model files:
//
//   bench_crossover [-l SECONDS] [-r ROWS] FILE...
//
// Each run is limited to SECONDS of processor time (60). Models of fewer than ROWS rows (1000) are left out.
#include <ClpSimplex.hpp>
#include <CoinTime.hpp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "model_files/model_file.h"
#include "qzlp.h"

namespace {

using qzfiles::ModelFile;

struct Choices {
  double seconds = 60.0;
  int rows = 1000;
  std::vector<std::string> files;
};

struct Run {
  int status = 0;  // of qzlp or Clp
  int iterations = 0;
  int interior = 0;
  double objective = 0.0;
  double seconds = 0.0;
};

Run crossOver(const ModelFile& model, double seconds) {
  const std::unique_ptr<qzlp, void (*)(qzlp*)> lp(qzlp_create(), qzlp_destroy);
  const qzlp_model view = model.view();
  Run run;
  if (!lp || qzlp_loadModel(lp.get(), &view) != QZLP_OK) return run;
  for (const char* option : {"crossover", "threads"}) (void)qzlp_setIntOption(lp.get(), option, 1);
  (void)qzlp_setIntOption(lp.get(), "timeType", 0);
  (void)qzlp_setDoubleOption(lp.get(), "timeLimit", seconds);
  (void)qzlp_solve(lp.get());
  run.status = qzlp_status(lp.get());
  run.iterations = qzlp_simplexIterations(lp.get());
  run.interior = qzlp_iterations(lp.get());
  run.objective = qzlp_objective(lp.get());
  run.seconds = qzlp_totalTime(lp.get());
  return run;
}

Run solveByDualSimplex(const ModelFile& model, double seconds) {
  const qzlp_model view = model.view();
  std::vector<double> low;
  std::vector<double> high;
  for (int i = 0; i < view.numRow; ++i) {
    const char sense = view.rowSense[i];
    low.push_back(sense == 'L' || sense == 'N' ? -COIN_DBL_MAX
                  : sense == 'R'               ? view.rhs[i] - view.range[i]
                                               : view.rhs[i]);
    high.push_back(sense == 'G' || sense == 'N' ? COIN_DBL_MAX : view.rhs[i]);
  }
  ClpSimplex simplex;
  simplex.setLogLevel(0);
  simplex.loadProblem(view.numCol, view.numRow, view.colBegin, view.rowIndex, view.matValue, view.lower, view.upper,
                      view.obj, low.data(), high.data());
  simplex.setOptimizationDirection(view.objSense);
  simplex.setMaximumSeconds(seconds);
  const double start = CoinCpuTime();
  simplex.dual();
  Run run;
  run.status = simplex.status();
  run.iterations = simplex.numberIterations();
  run.objective = simplex.objectiveValue() + view.objConstant;
  run.seconds = CoinCpuTime() - start;
  return run;
}

Choices parse(int argc, char** argv) {
  Choices choices;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "-l") == 0 && i + 1 < argc)
      choices.seconds = std::atof(argv[++i]);
    else if (std::strcmp(argv[i], "-r") == 0 && i + 1 < argc)
      choices.rows = std::atoi(argv[++i]);
    else
      choices.files.emplace_back(argv[i]);
  }
  return choices;
}

}  // namespace

int main(int argc, char** argv) {
  const Choices choices = parse(argc, argv);
  int numModel = 0;
  int numFewer = 0;
  std::printf("%-40s %8s %6s %9s %9s %9s %9s %s\n", "model", "rows", "ipm", "crossover", "dual", "seconds", "seconds",
              "objectives");
  for (const std::string& file : choices.files) {
    const ModelFile model = qzfiles::readModelFile(file);
    if (model.numRow() < choices.rows) continue;
    const Run mine = crossOver(model, choices.seconds);
    const Run theirs = solveByDualSimplex(model, choices.seconds);
    // A dual simplex that ran into its limit needs at least as many iterations as it made.
    const bool fewer = mine.status == QZLP_STATUS_OPTIMAL && mine.iterations < theirs.iterations;
    ++numModel;
    numFewer += fewer ? 1 : 0;
    std::printf("%-40s %8d %6d %9d %9d %9.2f %9.2f %.9g %.9g%s%s%s\n", file.substr(file.find_last_of('/') + 1).c_str(),
                model.numRow(), mine.interior, mine.iterations, theirs.iterations, mine.seconds, theirs.seconds,
                mine.objective, theirs.objective, fewer ? "" : " MORE",
                mine.status == QZLP_STATUS_OPTIMAL ? "" : (" status " + std::to_string(mine.status)).c_str(),
                theirs.status == 0 ? "" : (" Clp status " + std::to_string(theirs.status)).c_str());
    std::fflush(stdout);
  }
  std::printf("fewer basis changes on %d of %d models\n", numFewer, numModel);
  return 0;
}
