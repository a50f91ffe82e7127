#include "models/oracle.h"

#include <coin/Clp_C_Interface.h>
#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <vector>

namespace models {

namespace {

struct ClpResult {
  int status;  // 0 optimal, 1 primal infeasible, 2 dual infeasible
  double objective;
};

std::vector<double> bounded(std::vector<double> sides) {
  for (double& side : sides) side = std::clamp(side, -1e300, 1e300);
  return sides;
}

// Without any coefficient, which Clp does not take: every row holds or not at 0, every column goes its own way.
ClpResult solveWithoutMatrix(const LinearProgram& program) {
  for (size_t i = 0; i < program.rowLower.size(); ++i)
    if (program.rowLower[i] > 0.0 || program.rowUpper[i] < 0.0) return {1, 0.0};
  for (size_t j = 0; j < program.cost.size(); ++j)
    if (program.lower[j] > program.upper[j]) return {1, 0.0};
  double objective = 0.0;
  for (size_t j = 0; j < program.cost.size(); ++j) {
    const double cost = program.cost[j];
    if (cost == 0.0) continue;
    const double best = cost * program.sense > 0.0 ? program.lower[j] : program.upper[j];
    if (!std::isfinite(best)) return {2, 0.0};
    objective += cost * best;
  }
  return {0, objective};
}

ClpResult solveByClp(const LinearProgram& program) {
  if (program.value.empty()) return solveWithoutMatrix(program);
  const std::unique_ptr<Clp_Simplex, void (*)(Clp_Simplex*)> clp(Clp_newModel(), Clp_deleteModel);
  Clp_setLogLevel(clp.get(), 0);
  const std::vector<double> lower = bounded(program.lower), upper = bounded(program.upper);
  const std::vector<double> rowLower = bounded(program.rowLower), rowUpper = bounded(program.rowUpper);
  const std::vector<CoinBigIndex> begin(program.colBegin.begin(), program.colBegin.end());
  Clp_loadProblem(clp.get(), program.numCol(), program.numRow(), begin.data(), program.rowIndex.data(),
                  program.value.data(), lower.data(), upper.data(), program.cost.data(), rowLower.data(),
                  rowUpper.data());
  Clp_setOptimizationDirection(clp.get(), program.sense);
  Clp_primal(clp.get(), 0);
  if (Clp_status(clp.get()) > 2) Clp_dual(clp.get(), 0);  // the other method where one stalls
  const int status = Clp_status(clp.get());
  if (status < 0 || status > 2) throw std::runtime_error("Clp gave up");
  return {status, Clp_objectiveValue(clp.get())};
}

bool hasPoint(LinearProgram program) {
  std::fill(program.cost.begin(), program.cost.end(), 0.0);
  return solveByClp(program).status == 0;
}

// A dual point exists exactly when no direction that the rows and bounds leave open makes the objective better (the
// lemma of Farkas). Directions are taken from the box -1 <= r <= 1, where the best one is attained.
bool hasDualPoint(LinearProgram program) {
  const auto open = [](std::vector<double>& low, std::vector<double>& high, double reach) {
    for (size_t k = 0; k < low.size(); ++k) {
      low[k] = std::isfinite(low[k]) ? 0.0 : -reach;
      high[k] = std::isfinite(high[k]) ? 0.0 : reach;
    }
  };
  open(program.lower, program.upper, 1.0);
  open(program.rowLower, program.rowUpper, infinite);
  const ClpResult best = solveByClp(program);
  if (best.status != 0) throw std::runtime_error("Clp finds no best direction in a box that has one");
  return program.sense * best.objective > -1e-7;
}

}  // namespace

Verdict askOracle(const LinearProgram& program) {
  const ClpResult result = solveByClp(program);
  if (result.status == 0) return {Kind::kOptimal, result.objective + program.constant, true};
  const bool infeasible = result.status == 1 || !hasPoint(program);
  return {infeasible ? Kind::kInfeasible : Kind::kUnbounded, 0.0, infeasible && hasDualPoint(program)};
}

bool isTrueStatus(const Verdict& verdict, int status) {
  switch (status) {
    case 1:
      return verdict.kind == Kind::kOptimal;
    case 3:
      return verdict.kind == Kind::kInfeasible;
    case 4:
      return !verdict.hasDualPoint;
    case 14:
      return verdict.kind == Kind::kInfeasible && !verdict.hasDualPoint;
    default:
      return false;
  }
}

}  // namespace models
