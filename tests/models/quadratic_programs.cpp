#include "models/quadratic_programs.h"

#include <cmath>
#include <vector>

#include "models/generators.h"

namespace models {

namespace {

// The directions that lead out of no row, no bound, and no flat of the curvature, in a box: where the best of them
// gains, a feasible program is unbounded, and else it has an optimum (Frank and Wolfe 1956).
LinearProgram flatDirections(const LinearProgram& program) {
  const auto numCol = static_cast<size_t>(program.numCol());
  std::vector<std::vector<double>> dense(numCol, std::vector<double>(numCol, 0.0));
  for (const Curvature& entry : program.curvature)
    dense[static_cast<size_t>(entry.row)][static_cast<size_t>(entry.col)] =
        dense[static_cast<size_t>(entry.col)][static_cast<size_t>(entry.row)] = entry.value;
  LinearProgram out;
  out.sense = program.sense;
  for (size_t i = 0; i < program.rowLower.size(); ++i)
    out.addRow(std::isfinite(program.rowLower[i]) ? 0.0 : -infinite,
               std::isfinite(program.rowUpper[i]) ? 0.0 : infinite);
  for (size_t j = 0; j < numCol; ++j) out.addRow(0.0, 0.0);
  for (size_t j = 0; j < numCol; ++j) {
    out.addColumn(program.cost[j], std::isfinite(program.lower[j]) ? 0.0 : -1.0,
                  std::isfinite(program.upper[j]) ? 0.0 : 1.0);
    for (int k = program.colBegin[j]; k < program.colBegin[j + 1]; ++k)
      out.addEntry(program.rowIndex[static_cast<size_t>(k)], program.value[static_cast<size_t>(k)]);
    for (size_t i = 0; i < numCol; ++i)
      if (dense[i][j] != 0.0) out.addEntry(program.numRow() + static_cast<int>(i), dense[i][j]);
  }
  return out;
}

}  // namespace

void addSquares(LinearProgram& program, uint64_t seed) {
  Random random(seed ^ 0x5eedULL);
  const int last = program.numCol() - 1;
  for (int n = random.whole(1, program.numCol()); n > 0; --n) {
    const int i = random.whole(0, last), j = random.whole(0, last);
    const double weight = program.sense * random.whole(1, 4), b = random.chance(0.5) ? 1.0 : -2.0;
    program.addCurvature(i, i, weight);
    if (i == j) continue;
    program.addCurvature(j, j, weight * b * b);
    program.addCurvature(i, j, weight * b);
  }
}

Kind quadraticKind(const LinearProgram& program) {
  LinearProgram rows = program;
  rows.curvature.clear();
  rows.cost.assign(rows.cost.size(), 0.0);
  if (askOracle(rows).kind == Kind::kInfeasible) return Kind::kInfeasible;
  return askOracle(flatDirections(program)).objective * program.sense < -1e-7 ? Kind::kUnbounded : Kind::kOptimal;
}

}  // namespace models
