#include "models/big_values.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace models {

namespace {

class BigBuilder {
 public:
  BigBuilder(const BigRecipe& recipe, uint64_t seed) : recipe_(recipe), random_(seed) {}

  KnownOptimum build() {
    for (int i = 0; i < recipe_.numRow; ++i) drawRow();
    std::vector<double> activity(rows_.size(), 0.0);
    known_.program.name = "big values";
    for (int j = 0; j < recipe_.numCol; ++j) addColumn(activity);
    for (size_t i = 0; i < rows_.size(); ++i) setSides(rows_[i], activity[i]);
    for (const Row& row : rows_) known_.dual.push_back(row.multiplier);
    known_.objective = 0.0;
    for (size_t j = 0; j < known_.primal.size(); ++j) known_.objective += known_.program.cost[j] * known_.primal[j];
    if (recipe_.curvature > 0.0) bend();
    return known_;
  }

 private:
  // A row binds from below (direction 1), from above (-1), as an equation (0), or not at all with a slack.
  struct Row {
    int direction;
    double multiplier, slack;
  };

  double big() { return recipe_.size * random_.uniform(0.5, 2.0); }
  double amount(double share) { return random_.chance(share) ? big() : random_.uniform(0.5, 5.0); }

  void drawRow() {
    Row row{0, 0.0, 0.0};
    if (random_.chance(recipe_.equations)) {
      row.multiplier = amount(recipe_.rowDual) * (random_.chance(0.5) ? 1.0 : -1.0);
    } else {
      row.direction = random_.chance(0.5) ? 1 : -1;
      if (random_.chance(0.5))
        row.multiplier = row.direction * amount(recipe_.rowDual);
      else
        row.slack = amount(recipe_.rowSlack);
    }
    rows_.push_back(row);
    known_.program.addRow(-infinite, infinite);
  }

  void setSides(const Row& row, double activity) {
    const auto i = static_cast<size_t>(&row - rows_.data());
    if (row.direction >= 0) known_.program.rowLower[i] = activity - row.slack;
    if (row.direction <= 0) known_.program.rowUpper[i] = activity + row.slack;
  }

  void addColumn(std::vector<double>& activity) {
    double low = -infinite, high = infinite, x = 0.0, multiplier = 0.0;
    const bool atBound = random_.chance(0.4);
    if (atBound) {
      const double bound = random_.whole(-3, 3);
      multiplier = amount(recipe_.boundDual);
      x = bound;
      const bool boxed = random_.chance(recipe_.boxedColumns);
      if (random_.chance(0.5)) {
        low = bound;
        if (boxed) high = bound + amount(recipe_.farBound);
      } else {
        high = bound;
        if (boxed) low = bound - amount(recipe_.farBound);
        multiplier = -multiplier;
      }
    } else {
      x = amount(recipe_.variable) * (random_.chance(0.5) ? 1.0 : -1.0);
      if (!random_.chance(recipe_.freeColumns)) {
        const bool boxed = random_.chance(recipe_.boxedColumns);
        const bool below = random_.chance(0.5);
        if (boxed || below) low = x - amount(recipe_.farBound);
        if (boxed || !below) high = x + amount(recipe_.farBound);
      }
    }
    double cost = multiplier;
    std::vector<std::pair<int, double>> entries;
    for (const int row : drawRows()) {
      const double value = random_.uniform(0.5, 2.0) * (random_.chance(0.5) ? 1.0 : -1.0);
      entries.emplace_back(row, value);
      cost += value * rows_[static_cast<size_t>(row)].multiplier;
      activity[static_cast<size_t>(row)] += value * x;
    }
    known_.program.addColumn(cost, low, high);
    for (auto [row, value] : entries) known_.program.addEntry(row, value);
    known_.primal.push_back(x);
  }

  // Q on some diagonals; costs give way, so that the pair stays optimal.
  void bend() {
    for (int j = 0; j < recipe_.numCol; ++j) {
      if (!random_.chance(recipe_.curvature)) continue;
      const double x = known_.primal[static_cast<size_t>(j)];
      const double q = random_.uniform(0.1, 1.0) / (1.0 + std::fabs(x));
      known_.program.addCurvature(j, j, q);
      known_.program.cost[static_cast<size_t>(j)] -= q * x;
      known_.objective -= 0.5 * q * x * x;
    }
  }

  std::vector<int> drawRows() {
    std::vector<int> rows;
    while (static_cast<int>(rows.size()) < std::min(recipe_.entriesPerColumn, recipe_.numRow)) {
      const int row = random_.whole(0, recipe_.numRow - 1);
      if (std::find(rows.begin(), rows.end(), row) == rows.end()) rows.push_back(row);
    }
    return rows;
  }

  const BigRecipe recipe_;
  Random random_;
  std::vector<Row> rows_;
  KnownOptimum known_;
};

// Reads the story line by line: what is in force at each level, until a line tells its end.
class Story {
 public:
  void read(const std::string& line) {
    const size_t start = line.find("submodel: iteration ");
    if (start == std::string::npos) return;
    const size_t colon = line.find(": ", start + 20);
    const std::string story = line.substr(colon + 2);
    int var = 0, bound = 0, row = 0, dual = 0, col = 0, status = 0, m = 0, n = 0;
    if (std::sscanf(story.c_str(), "in vivo: %d variables shifted, bounds of %d columns removed, %d duals shifted",
                    &var, &bound, &dual) == 3) {
      begin(vivo_, {var, bound, 0, dual, 0});
    } else if (story.rfind("wishes in vitro", 0) == 0) {
      end(vivo_, vivoLevel(), BigEnding::kTakenOver);
      std::sscanf(story.c_str(),
                  "wishes in vitro: free %d rows, fix %d columns, shift %d variables, remove bounds of %d columns, "
                  "shift %d duals",
                  &row, &col, &var, &bound, &dual);
      if (!reduced_) begin(vitro_, {var, bound, row, dual, col});
    } else if (std::sscanf(story.c_str(),
                           "reduced to %d rows, %d columns: %d rows freed, %d columns fixed, %d variables shifted, "
                           "bounds of %d columns removed, %d duals shifted",
                           &m, &n, &row, &col, &var, &bound, &dual) == 7) {
      begin(vitro_, {var, bound, row, dual, col});
      reduced_ = true;
    } else if (std::sscanf(story.c_str(), "the reduction is given up, status %d", &status) == 1) {
      end(vitro_, BigLevel::kInVitro, status == 1003 ? BigEnding::kRepaired : BigEnding::kInfeasible);
      reduced_ = false;
      second_ = true;
    } else if (story.rfind("a big value came back", 0) == 0) {
      end(vivo_, vivoLevel(), BigEnding::kCameBack);
      if (reduced_) end(vitro_, BigLevel::kInVitro, BigEnding::kCameBack);
      second_ = true;
    } else if (story.rfind("brings back", 0) == 0) {
      end(vivo_, vivoLevel(), BigEnding::kKept);
    } else if (std::sscanf(story.c_str(), "back from the reduction with status %d", &status) == 1) {
      end(vitro_, BigLevel::kInVitro, endingOf(status));
      reduced_ = false;
    }
  }
  std::vector<BigEvent> finish() {
    end(vivo_, vivoLevel(), BigEnding::kOther);
    return events_;
  }

 private:
  using Counts = std::array<int, kNumBigKind>;

  BigLevel vivoLevel() const { return reduced_ ? BigLevel::kBoth : BigLevel::kInVivo; }

  BigEnding endingOf(int status) const {
    switch (status) {
      case 1:
      case 15:
        return reduced_ ? BigEnding::kAnswered : BigEnding::kPresolved;
      case 3:
      case 4:
      case 14:
        return BigEnding::kInfeasible;
      case 7:
      case 8:
        return BigEnding::kLimit;
      case 1003:
        return BigEnding::kReducedAgain;
      case 1004:
        return BigEnding::kUnscaled;
      default:
        return BigEnding::kOther;
    }
  }
  static void begin(Counts& inForce, const Counts& acted) {
    for (size_t k = 0; k < kNumBigKind; ++k) inForce[k] = std::max(inForce[k], acted[k]);
  }
  void end(Counts& inForce, BigLevel level, BigEnding ending) {
    for (size_t k = 0; k < kNumBigKind; ++k)
      if (inForce[k] > 0) events_.push_back({static_cast<BigKind>(k), level, ending, second_});
    inForce = {};
  }

  std::vector<BigEvent> events_;
  Counts vivo_{}, vitro_{};
  bool reduced_ = false;
  bool second_ = false;
};

const char* nameOf(BigEnding ending) {
  switch (ending) {
    case BigEnding::kKept:
      return "kept to the end";
    case BigEnding::kCameBack:
      return "came back";
    case BigEnding::kTakenOver:
      return "taken in vitro";
    case BigEnding::kAnswered:
      return "answered";
    case BigEnding::kPresolved:
      return "presolved";
    case BigEnding::kInfeasible:
      return "infeasible";
    case BigEnding::kRepaired:
      return "repaired";
    case BigEnding::kUnscaled:
      return "unscaled";
    case BigEnding::kReducedAgain:
      return "reduced again";
    case BigEnding::kLimit:
      return "limit";
    default:
      return "other";
  }
}

}  // namespace

KnownOptimum knownBigOptimum(const BigRecipe& recipe, uint64_t seed) {
  return BigBuilder(recipe, seed).build();
}

bool contradict(LinearProgram& program, uint64_t seed) {
  std::vector<int> bounded;
  for (int i = 0; i < program.numRow(); ++i)
    if (program.rowUpper[static_cast<size_t>(i)] < infinite) bounded.push_back(i);
  if (bounded.size() < 2) return false;
  Random random(seed);
  const size_t at = static_cast<size_t>(random.whole(0, static_cast<int>(bounded.size()) - 2));
  const int one = bounded[at], other = bounded[at + 1];
  const double most = program.rowUpper[static_cast<size_t>(one)] + program.rowUpper[static_cast<size_t>(other)];
  double largest = 1.0;
  for (const auto* sides : {&program.rowLower, &program.rowUpper, &program.lower, &program.upper})
    for (const double side : *sides)
      if (std::fabs(side) < infinite) largest = std::max(largest, std::fabs(side));
  LinearProgram old = program;
  program.colBegin = {0};
  program.rowIndex.clear();
  program.value.clear();
  program.cost.clear();
  program.lower.clear();
  program.upper.clear();
  const int sum = program.addRow(most + 0.1 * largest, infinite);
  for (size_t j = 0; j < old.cost.size(); ++j) {
    program.addColumn(old.cost[j], old.lower[j], old.upper[j]);
    double both = 0.0;
    for (auto k = static_cast<size_t>(old.colBegin[j]); k < static_cast<size_t>(old.colBegin[j + 1]); ++k) {
      program.addEntry(old.rowIndex[k], old.value[k]);
      if (old.rowIndex[k] == one || old.rowIndex[k] == other) both += old.value[k];
    }
    if (both != 0.0) program.addEntry(sum, both);
  }
  return true;
}

std::vector<BigEvent> readBigEvents(const std::string& log) {
  Story story;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) story.read(line);
  return story.finish();
}

std::string text(const BigTable& table) {
  static const char* const kinds[] = {"variable", "bound slack", "row slack", "row dual", "bound dual"};
  static const char* const levels[] = {"in vivo", "in vitro", "both"};
  std::string out;
  char line[160];
  std::snprintf(line, sizeof line, "%-9s %-16s %-6s", "level", "ending", "round");
  out.append(line);
  for (const char* kind : kinds) {
    std::snprintf(line, sizeof line, " %12s", kind);
    out.append(line);
  }
  std::map<std::tuple<BigLevel, BigEnding, bool>, std::array<int, kNumBigKind>> rows;
  for (const auto& [event, count] : table) rows[{event.level, event.ending, event.secondRound}][event.kind] += count;
  for (const auto& [key, counts] : rows) {
    const auto& [level, ending, second] = key;
    std::snprintf(line, sizeof line, "\n%-9s %-16s %-6s", levels[static_cast<int>(level)], nameOf(ending),
                  second ? "later" : "first");
    out.append(line);
    for (const int count : counts) {
      std::snprintf(line, sizeof line, " %12d", count);
      out.append(line);
    }
  }
  return out;
}

}  // namespace models
