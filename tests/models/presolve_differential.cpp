#include "models/presolve_differential.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>

#include "models/certificate.h"
#include "models/generators.h"
#include "models/oracle.h"

namespace models {

namespace {

// Rows as they are drawn; the columns are written out of them.
class Builder {
 public:
  explicit Builder(uint64_t seed) : random_(seed) {
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

LinearProgram withoutRow(const LinearProgram& program, int row) {
  LinearProgram less;
  less.sense = program.sense;
  less.constant = program.constant;
  for (int i = 0; i < program.numRow(); ++i)
    if (i != row) less.addRow(program.rowLower[static_cast<size_t>(i)], program.rowUpper[static_cast<size_t>(i)]);
  for (size_t j = 0; j < program.cost.size(); ++j) {
    less.addColumn(program.cost[j], program.lower[j], program.upper[j]);
    for (auto k = static_cast<size_t>(program.colBegin[j]); k < static_cast<size_t>(program.colBegin[j + 1]); ++k)
      if (program.rowIndex[k] != row)
        less.addEntry(program.rowIndex[k] - (program.rowIndex[k] > row ? 1 : 0), program.value[k]);
  }
  return less;
}

LinearProgram withoutColumn(const LinearProgram& program, int column) {
  LinearProgram less;
  less.sense = program.sense;
  less.constant = program.constant;
  less.rowLower = program.rowLower;
  less.rowUpper = program.rowUpper;
  for (size_t j = 0; j < program.cost.size(); ++j) {
    if (static_cast<int>(j) == column) continue;
    less.addColumn(program.cost[j], program.lower[j], program.upper[j]);
    for (auto k = static_cast<size_t>(program.colBegin[j]); k < static_cast<size_t>(program.colBegin[j + 1]); ++k)
      less.addEntry(program.rowIndex[k], program.value[k]);
  }
  return less;
}

std::string describe(const Answer& answer, const Verdict& verdict) {
  const char* const kinds[] = {"optimal", "infeasible", "unbounded"};
  char text[200];
  std::snprintf(text, sizeof(text), "status %d, objective %.12g; Clp: %s%s, objective %.12g", answer.status,
                answer.objective, kinds[static_cast<int>(verdict.kind)],
                verdict.hasDualPoint ? "" : " without a dual point", verdict.objective);
  return text;
}

}  // namespace

LinearProgram presolveProgram(uint64_t seed) {
  return Builder(seed).finish();
}

std::string judge(const LinearProgram& program, const Verdict& verdict, const Answer& answer) {
  if (!isTrueStatus(verdict, answer.status)) return describe(answer, verdict);
  if (answer.status != 1) return {};
  if (std::fabs(answer.objective - verdict.objective) > 2e-6 * (1.0 + std::fabs(verdict.objective)))
    return describe(answer, verdict);
  const Certificate certificate = certify(program, answer);
  return certificate.holds(1e-6) ? std::string() : "not certified: " + certificate.text();
}

std::string findFault(const LinearProgram& program, const std::vector<Choice>& choices) {
  return judge(program, askOracle(program), solve(program, choices));
}

LinearProgram shrinkFault(const LinearProgram& program, const std::vector<Choice>& choices) {
  LinearProgram least = program;
  const auto tryInstead = [&](const LinearProgram& less) {
    if (less.numCol() == 0 || findFault(less, choices).empty()) return false;
    least = less;
    return true;
  };
  for (bool shrunk = true; shrunk;) {
    shrunk = false;
    for (int i = least.numRow() - 1; i >= 0; --i) shrunk |= tryInstead(withoutRow(least, i));
    for (int j = least.numCol() - 1; j >= 0; --j) shrunk |= tryInstead(withoutColumn(least, j));
  }
  return least;
}

void reportFault(const LinearProgram& program, const std::vector<Choice>& choices, const std::string& fault,
                 uint64_t seed, const char* way) {
  std::string path = testing::TempDir();
  path.append("presolve_").append(way).append("_").append(std::to_string(seed)).append(".mps");
  std::ofstream(path) << asMps(shrinkFault(program, choices));
  ADD_FAILURE() << "seed " << seed << ", " << way << ": " << fault << "\nshrunken to " << path;
}

void compareMany(uint64_t first, uint64_t last, int method, int spared) {
  const double way = method;
  const std::vector<Choice> with = {{"method", way}, {"presolve", 0}, {"threads", 1}};
  const std::vector<Choice> without = {{"method", way}, {"presolve", -1}, {"threads", 1}};
  int count[3] = {0, 0, 0};
  std::string weak;
  for (uint64_t seed = first; seed <= last; ++seed) {
    const LinearProgram program = presolveProgram(seed);
    const Kind kind = askOracle(program).kind;
    ++count[static_cast<int>(kind)];
    std::string fault = findFault(program, with);
    if (!fault.empty()) reportFault(program, with, fault, seed, "with");
    fault = findFault(program, without);
    if (fault.empty()) continue;
    const bool givenUp = fault.rfind("status 10,", 0) == 0 || fault.rfind("status 14,", 0) == 0;
    if (kind == Kind::kInfeasible && givenUp && spared-- > 0)
      weak.append(" ").append(std::to_string(seed));
    else
      reportFault(program, without, fault, seed, "without");
  }
  const int all = static_cast<int>(last - first + 1);
  EXPECT_GT(count[0], all / 4);
  EXPECT_GT(count[1], all / 50);
  EXPECT_GT(count[2], all / 50);
  std::printf("seeds %d to %d, method %d: %d optimal, %d infeasible, %d unbounded%s%s\n", static_cast<int>(first),
              static_cast<int>(last), method, count[0], count[1], count[2],
              weak.empty() ? "" : "; without a proof:", weak.c_str());
}

}  // namespace models
