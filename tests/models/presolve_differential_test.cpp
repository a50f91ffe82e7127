// The solver's own presolve against the way without it and against Clp, on thousands of small programs that are full of
// what its rules look for: singleton, forcing, redundant and duplicate rows, ranges, fixed, free and empty columns,
// doubletons, chains of implied bounds, contradictions, unbounded directions.
#include <gtest/gtest.h>

#include <coin/Clp_C_Interface.h>
#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "models/certificate.h"
#include "models/generators.h"
#include "models/solving.h"

namespace {

using namespace models;

enum class Kind { kOptimal, kInfeasible, kUnbounded };

struct Verdict {
  Kind kind;
  double objective;
};

std::vector<double> bounded(std::vector<double> sides) {
  for (double& side : sides) side = std::clamp(side, -1e300, 1e300);
  return sides;
}

// With feasibilityOnly the costs are null.
Verdict askOracle(const LinearProgram& program, bool feasibilityOnly = false) {
  const std::unique_ptr<Clp_Simplex, void (*)(Clp_Simplex*)> clp(Clp_newModel(), Clp_deleteModel);
  Clp_setLogLevel(clp.get(), 0);
  const std::vector<double> lower = bounded(program.lower), upper = bounded(program.upper);
  const std::vector<double> rowLower = bounded(program.rowLower), rowUpper = bounded(program.rowUpper);
  const std::vector<CoinBigIndex> begin(program.colBegin.begin(), program.colBegin.end());
  const std::vector<double> cost = feasibilityOnly ? std::vector<double>(program.cost.size(), 0.0) : program.cost;
  Clp_loadProblem(clp.get(), program.numCol(), program.numRow(), begin.data(), program.rowIndex.data(),
                  program.value.data(), lower.data(), upper.data(), cost.data(), rowLower.data(), rowUpper.data());
  Clp_setOptimizationDirection(clp.get(), program.sense);
  Clp_primal(clp.get(), 0);
  switch (Clp_status(clp.get())) {
    case 0:
      return {Kind::kOptimal, Clp_objectiveValue(clp.get()) + program.constant};
    case 1:
      return {Kind::kInfeasible, 0.0};
    default:
      return feasibilityOnly || askOracle(program, true).kind == Kind::kOptimal ? Verdict{Kind::kUnbounded, 0.0}
                                                                                : Verdict{Kind::kInfeasible, 0.0};
  }
}

// Rows as they are drawn; the columns are written out of them.
class Builder {
 public:
  Builder(uint64_t seed) : random_(seed) {
    program_.sense = random_.chance(0.5) ? 1 : -1;
    program_.constant = random_.whole(-5, 5);
    const int numCol = random_.whole(2, 12);
    for (int j = 0; j < numCol; ++j) addColumn();
    const int numRow = random_.whole(1, 12);
    for (int i = 0; i < numRow; ++i) addRow();
  }
  LinearProgram finish() {
    LinearProgram& p = program_;
    for (size_t j = 0; j < columns_.size(); ++j) {
      const Column& c = columns_[j];
      p.addColumn(c.cost, c.low, c.high);
      for (size_t i = 0; i < rows_.size(); ++i)
        if (rows_[i].count(static_cast<int>(j)) != 0) p.addEntry(static_cast<int>(i), rows_[i][static_cast<int>(j)]);
    }
    if (p.value.empty()) p.addEntry(0, 1.0);  // the last column; Clp takes no empty matrix
    return p;
  }

 private:
  struct Column {
    double cost, low, high, point;
  };

  void addColumn() {
    Column c{1.0 * random_.whole(-6, 8), 0.0, infinite, 0.0};
    switch (random_.whole(0, 9)) {
      case 0:
        c.low = -infinite;
        break;
      case 1:
        c.low = -infinite;
        c.high = random_.whole(-4, 6);
        break;
      case 2:
        c.low = c.high = random_.whole(-3, 3);
        break;
      case 3:
      case 4:
      case 5:
        c.low = random_.whole(-5, 3);
        c.high = c.low + random_.whole(0, 9);
        break;
      case 6:
        c.low = random_.whole(-4, 4);
        break;
      default:
        break;
    }
    // A point at a bound makes forcing rows likely.
    c.point = std::clamp(1.0 * random_.whole(-3, 5), c.low, c.high);
    if (random_.chance(0.4) && std::isfinite(c.low)) c.point = c.low;
    if (random_.chance(0.2) && std::isfinite(c.high)) c.point = c.high;
    columns_.push_back(c);
  }

  void addRow() {
    if (!rows_.empty() && random_.chance(0.1)) return repeatRow();
    const int shape = random_.whole(0, 9);
    const int numCol = static_cast<int>(columns_.size());
    const int length = shape < 3 ? 1 : shape < 5 ? 2 : shape == 5 ? 0 : random_.whole(1, std::min(numCol, 6));
    std::map<int, double> row;
    for (int k = 0; k < length; ++k) {
      int value = random_.whole(-4, 5);
      if (value == 0) value = 1;
      row[random_.whole(0, numCol - 1)] = random_.chance(0.2) ? value * 0.25 : value;
    }
    double activity = 0.0, least = 0.0, most = 0.0;
    for (auto [j, a] : row) {
      const Column& c = columns_[static_cast<size_t>(j)];
      activity += a * c.point;
      least += a > 0 ? a * c.low : a * c.high;
      most += a > 0 ? a * c.high : a * c.low;
    }
    double side = activity + (random_.chance(0.5) ? 0.0 : random_.whole(0, 4));
    if (random_.chance(0.15) && std::isfinite(least)) side = least;   // forcing
    if (random_.chance(0.10) && std::isfinite(most)) side = most;     // forcing from above, or redundant
    if (random_.chance(0.02)) side = activity - random_.whole(1, 9);  // perhaps infeasible
    rows_.push_back(row);
    switch (random_.whole(0, 7)) {
      case 0:
      case 1:
      case 2:
        program_.addRow(random_.chance(0.9) ? activity : side, activity);
        if (program_.rowLower.back() > program_.rowUpper.back()) program_.rowUpper.back() = program_.rowLower.back();
        if (program_.rowLower.back() < program_.rowUpper.back()) program_.rowLower.back() = program_.rowUpper.back();
        break;
      case 3:
      case 4:
        program_.addRow(-infinite, side);
        break;
      case 5:
        program_.addRow(2 * activity - side, infinite);
        break;
      case 6:
        program_.addRow(activity - random_.whole(0, 8), std::max(side, activity));
        break;
      default:
        if (random_.chance(0.3))
          program_.addRow(-infinite, infinite);
        else
          program_.addRow(activity - random_.whole(0, 30), activity + random_.whole(0, 30));
    }
  }

  // A row twice, perhaps scaled, with the same sides.
  void repeatRow() {
    const auto from = static_cast<size_t>(random_.whole(0, static_cast<int>(rows_.size()) - 1));
    const double factor = random_.chance(0.5) ? 1.0 : 2.0;
    std::map<int, double> row = rows_[from];
    for (auto& [j, a] : row) a *= factor;
    rows_.push_back(row);
    program_.addRow(program_.rowLower[from] * factor, program_.rowUpper[from] * factor);
  }

  Random random_;
  LinearProgram program_;
  std::vector<Column> columns_;
  std::vector<std::map<int, double>> rows_;
};

// How the answers of one way fell out. A miss is a solvable program that was given up or called infeasible or
// unbounded, or an infeasible or unbounded one that was given up.
struct Tally {
  int solved = 0, nearly = 0, infeasible = 0, unbounded = 0;
  std::vector<uint64_t> missed;
};

void judge(const LinearProgram& program, const Verdict& verdict, const Answer& answer, uint64_t seed, Tally& tally) {
  // A claimed optimum must be one, whatever happens elsewhere. Reduced accuracy claims less.
  if (answer.status == 1 || answer.status == 15) {
    ASSERT_EQ(verdict.kind, Kind::kOptimal);
    ++(answer.status == 1 ? tally.solved : tally.nearly);
    const double tolerance = answer.status == 1 ? 1e-6 : 1e-4;
    EXPECT_NEAR(answer.objective, verdict.objective, 2.0 * tolerance * (1.0 + std::fabs(verdict.objective)));
    const Certificate certificate = certify(program, answer);
    EXPECT_TRUE(certificate.holds(tolerance)) << certificate.text() << "\n" << answer.log;
    return;
  }
  const bool claimsInfeasible = answer.status == 3 || answer.status == 14;
  const bool claimsUnbounded = answer.status == 4 || answer.status == 14;
  // An infeasible program may have no dual point either, and each of the two may show first.
  if (verdict.kind == Kind::kInfeasible && (claimsInfeasible || claimsUnbounded))
    ++tally.infeasible;
  else if (verdict.kind == Kind::kUnbounded && claimsUnbounded)
    ++tally.unbounded;
  else
    tally.missed.push_back(seed);
}

std::string list(const std::vector<uint64_t>& seeds) {
  std::string text;
  for (uint64_t seed : seeds) text.append(" ").append(std::to_string(seed));
  return text;
}

// Two equations that bound each other's columns can shrink a box to about the tolerance around the one point that they
// allow, and a box without an interior is what an interior point is worst at: presolve may cost an answer here and
// there.
constexpr int kProgramsPerMiss = 1500;

void compareMany(uint64_t first, uint64_t last, int method) {
  Tally with, without;
  for (uint64_t seed = first; seed <= last; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const LinearProgram program = Builder(seed).finish();
    const Verdict verdict = askOracle(program);
    const double way = method;
    judge(program, verdict, solve(program, {{"method", way}, {"presolve", 0}, {"threads", 1}}), seed, with);
    judge(program, verdict, solve(program, {{"method", way}, {"presolve", -1}, {"threads", 1}}), seed, without);
  }
  const int count = static_cast<int>(last - first + 1);
  EXPECT_GT(with.solved, count / 4);
  EXPECT_GT(with.infeasible, count / 50);
  EXPECT_GT(with.unbounded, count / 50);
  EXPECT_LE(with.nearly, count / 100);
  EXPECT_LE(static_cast<int>(with.missed.size()), 1 + count / kProgramsPerMiss)
      << "with presolve:" << list(with.missed) << "\nwithout:" << list(without.missed);
  std::printf("missed with presolve:%s; without:%s\n", list(with.missed).c_str(), list(without.missed).c_str());
}

TEST(PresolveDifferential, AugmentedSystem) {
  compareMany(1, 4000, 0);
}
TEST(PresolveDifferential, NormalEquations) {
  if (!hasNormalEquations()) GTEST_SKIP() << "this build's solver has no normal equations";
  compareMany(20001, 22000, 1);
}

}  // namespace
