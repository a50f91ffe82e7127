#include "models/reduction_programs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <vector>

#include "models/generators.h"

namespace models {

namespace {

// A column with the point and the reduced cost that the program is built around.
struct DraftColumn {
  double low, high, point, reducedCost;
  bool ownCost = false;  // `cost` as it is, in place of the one that makes reducedCost true
  double cost = 0.0;
};

// A row by the distances of its sides from its activity at the point, and the multiplier there.
struct DraftRow {
  std::map<int, double> entries;
  double below = 0.0, above = 0.0;
  double dual = 0.0;
};

// A program under construction: structure first, sides and costs at the end. Built around a point and multipliers that
// are optimal for it, unless a planted piece or spoil() takes that away.
class Draft {
 public:
  explicit Draft(uint64_t seed) : random(seed) {
    const int numCol = random.whole(3, 8);
    for (int j = 0; j < numCol; ++j) addColumn();
    const int numRow = random.whole(2, 6);
    for (int i = 0; i < numRow; ++i) addRow(draw(random.whole(2, 5)));
  }

  int numCol() const { return static_cast<int>(columns.size()); }
  int numRow() const { return static_cast<int>(rows.size()); }
  DraftColumn& column(int j) { return columns[static_cast<size_t>(j)]; }
  DraftRow& row(int i) { return rows[static_cast<size_t>(i)]; }
  int anyColumn() { return random.whole(0, numCol() - 1); }
  int anyRow() { return random.whole(0, numRow() - 1); }

  double coefficient() {
    const int value = random.whole(1, 5) * (random.chance(0.5) ? 1 : -1);
    return random.chance(0.2) ? 0.25 * value : value;
  }

  // Up to `length` columns with coefficients.
  std::map<int, double> draw(int length) {
    std::map<int, double> entries;
    for (int k = 0; k < length; ++k) entries[anyColumn()] = coefficient();
    return entries;
  }

  // A column of random bounds, at a bound or between them.
  int addColumn() {
    DraftColumn c{0.0, infinite, 1.0 * random.whole(0, 4), 0.0};
    switch (random.whole(0, 5)) {
      case 0:
        c.low = -infinite;
        break;
      case 1:
        c.low = -infinite;
        c.high = random.whole(0, 5);
        break;
      case 2:
      case 3:
        c.low = random.whole(-4, 2);
        c.high = c.low + random.whole(1, 8);
        break;
      default:
        break;
    }
    c.point = std::clamp(c.point, c.low, c.high);
    if (random.chance(0.4)) c.point = std::isfinite(c.low) ? c.low : std::isfinite(c.high) ? c.high : c.point;
    if (c.point == c.low) c.reducedCost = random.whole(0, 4);
    if (c.point == c.high) c.reducedCost = -random.whole(0, 4);
    columns.push_back(c);
    return numCol() - 1;
  }

  // A column inside its bounds, which are `low` and `high`.
  int addColumn(double low, double high, double point) {
    columns.push_back({low, high, point, 0.0});
    return numCol() - 1;
  }

  // A row that is an equation, or one-sided, or a range; it may bind.
  int addRow(const std::map<int, double>& entries) {
    DraftRow r{entries};
    const int shape = random.whole(0, 9);
    if (shape < 4) {
      r.dual = random.whole(-4, 4);
    } else if (shape < 6) {
      r.above = infinite;
      r.below = random.chance(0.6) ? 0 : random.whole(1, 9);
      if (r.below == 0) r.dual = random.whole(0, 4);
    } else if (shape < 8) {
      r.below = infinite;
      r.above = random.chance(0.6) ? 0 : random.whole(1, 9);
      if (r.above == 0) r.dual = -random.whole(0, 4);
    } else {
      r.below = random.whole(0, 5);
      r.above = random.whole(1, 5);
      if (r.below == 0) r.dual = random.whole(0, 3);
    }
    rows.push_back(r);
    return numRow() - 1;
  }

  int addEquation(const std::map<int, double>& entries) {
    rows.push_back({entries, 0.0, 0.0, 1.0 * random.whole(-3, 3)});
    return numRow() - 1;
  }

  double activity(const DraftRow& r) const {
    double sum = 0.0;
    for (auto [j, a] : r.entries) sum += a * columns[static_cast<size_t>(j)].point;
    return sum;
  }

  // The least (sign -1) or most (sign 1) that the bounds allow the row's activity.
  double extreme(const DraftRow& r, int sign) const {
    double sum = 0.0;
    for (auto [j, a] : r.entries) {
      const DraftColumn& c = columns[static_cast<size_t>(j)];
      sum += a * (a * sign > 0 ? c.high : c.low);
    }
    return sum;
  }

  // Bounds on both sides for all columns of the row.
  void box(const DraftRow& r) {
    for (auto [j, a] : r.entries) {
      DraftColumn& c = column(j);
      if (!std::isfinite(c.low)) c.low = c.point - random.whole(1, 4);
      if (!std::isfinite(c.high)) c.high = c.point + random.whole(1, 4);
    }
  }

  // Takes the optimum away: a row out of reach, or costs without regard to the multipliers.
  void spoil() {
    if (random.chance(0.08)) {
      DraftRow& r = row(anyRow());
      const int shift = random.whole(1, 12);
      if (std::isfinite(r.below)) {
        r.below -= shift;
        r.above += shift;
      } else if (std::isfinite(r.above)) {
        r.above -= shift;
      }
    }
    if (random.chance(0.15))
      for (DraftColumn& c : columns) c.reducedCost += random.whole(-5, 5);
  }

  LinearProgram finish() const {
    LinearProgram p;
    for (const DraftRow& r : rows) p.addRow(activity(r) - r.below, activity(r) + r.above);
    for (size_t j = 0; j < columns.size(); ++j) {
      const DraftColumn& c = columns[j];
      double cost = c.reducedCost;
      for (const DraftRow& r : rows)
        if (const auto at = r.entries.find(static_cast<int>(j)); at != r.entries.end()) cost += at->second * r.dual;
      p.addColumn(c.ownCost ? c.cost : cost, c.low, c.high);
      for (size_t i = 0; i < rows.size(); ++i)
        if (const auto at = rows[i].entries.find(static_cast<int>(j)); at != rows[i].entries.end())
          p.addEntry(static_cast<int>(i), at->second);
    }
    return p;
  }

  std::vector<DraftColumn> columns;
  std::vector<DraftRow> rows;
  Random random;
};

void plantEmptyRow(Draft& d) {
  d.row(d.addRow({})).dual = 0.0;
}

void plantSingletonRow(Draft& d) {
  d.addRow({{d.anyColumn(), d.coefficient()}});
}

void plantRedundantRow(Draft& d) {
  DraftRow r{d.draw(d.random.whole(2, 4))};
  d.box(r);
  r.below = d.random.chance(0.5) ? infinite : d.activity(r) - d.extreme(r, -1) + d.random.whole(0, 3);
  r.above = d.extreme(r, 1) - d.activity(r) + d.random.whole(0, 3);
  d.rows.push_back(r);
}

void plantForcingRow(Draft& d) {
  DraftRow r{d.draw(d.random.whole(2, 4))};
  d.box(r);
  const bool least = d.random.chance(0.5);
  for (auto [j, a] : r.entries) {
    DraftColumn& c = d.column(j);
    c.point = (a > 0) == least ? c.low : c.high;
    c.reducedCost = std::fabs(c.reducedCost) * (c.point == c.low ? 1 : -1);
  }
  (least ? r.below : r.above) = d.random.chance(0.5) ? 0.0 : infinite;
  r.dual = d.random.whole(0, 5) * (least ? -1 : 1);
  d.rows.push_back(r);
}

void plantFixedColumn(Draft& d) {
  DraftColumn& c = d.column(d.anyColumn());
  c.low = c.high = c.point;
  c.reducedCost = d.random.whole(-4, 4);
}

void plantEmptyColumn(Draft& d) {
  DraftColumn& c = d.column(d.addColumn());
  if (d.random.chance(0.1)) c.reducedCost = d.random.whole(-3, 3);
}

// Rows of which the column, new and at its lower bound, wants less; a cost that does too.
void plantDualFixing(Draft& d) {
  const int sign = d.random.chance(0.5) ? 1 : -1;
  const int j = d.addColumn(sign > 0 ? -2.0 : -infinite, sign > 0 ? infinite : 3.0, sign > 0 ? -2.0 : 3.0);
  for (int k = 0; k < 3; ++k) {
    const int i = d.anyRow();
    DraftRow& r = d.row(i);
    if (std::isfinite(r.below) && std::isfinite(r.above)) {
      (d.random.chance(0.5) ? r.below : r.above) = infinite;
      r.dual = 0.0;
    }
    r.entries[j] = std::fabs(d.coefficient()) * (std::isfinite(r.above) ? sign : -sign);
  }
  d.column(j).ownCost = true;
  d.column(j).cost = sign * d.random.whole(0, 3);
}

// Slack columns with costs keep the duals of two rows in intervals; the column's cost lies beyond, or at the edge of,
// what they can pay for.
void plantDominated(Draft& d, int beyond) {
  const int sign = d.random.chance(0.5) ? 1 : -1;
  const int j = d.addColumn(sign > 0 ? 0.0 : -infinite, sign > 0 ? infinite : 2.0, sign > 0 ? 0.0 : 2.0);
  double pay = 0.0;  // most, by sign, that A'y comes to
  for (int k = 0; k < 2; ++k) {
    const int i = d.addRow(d.draw(3));
    const int least = d.random.whole(-4, 0), most = d.random.whole(1, 4);
    const int up = d.addColumn(0.0, infinite, 0.0), down = d.addColumn(0.0, infinite, 0.0);
    DraftRow& r = d.row(i);
    r.dual = std::clamp(r.dual, 1.0 * least, 1.0 * most);
    const double a = d.coefficient();
    r.entries[j] = a;
    r.entries[up] = 1.0;
    r.entries[down] = -1.0;
    d.column(up).ownCost = d.column(down).ownCost = true;
    d.column(up).cost = most;
    d.column(down).cost = -least;
    pay += a * sign > 0 ? a * most : a * least;
  }
  d.column(j).ownCost = true;
  d.column(j).cost = pay + sign * beyond;
}

void plantDominatedColumn(Draft& d) {
  plantDominated(d, d.random.whole(1, 4));
}

void plantWeaklyDominatedColumn(Draft& d) {
  plantDominated(d, 0);
}

void plantFreeSingleton(Draft& d) {
  const int j = d.addColumn(-infinite, infinite, d.random.whole(-3, 3));
  if (d.random.chance(0.7)) {
    d.row(d.addEquation(d.draw(3))).entries[j] = d.coefficient();
  } else {
    d.row(d.anyRow()).entries[j] = d.coefficient();
  }
}

// An equation of boxed columns and column j, whose bounds are wider than what the others leave it.
int plantImplied(Draft& d) {
  DraftRow r{d.draw(d.random.whole(2, 3))};
  d.box(r);
  double a = d.coefficient();
  if (std::fabs(a) < 1.0) a *= 4.0;
  const double point = d.random.whole(-3, 3);
  const double rhs = d.activity(r) + a * point;
  const double one = (rhs - d.extreme(r, 1)) / a, other = (rhs - d.extreme(r, -1)) / a;
  const bool slack = d.random.chance(0.5);
  const double low = std::min(one, other) - (slack ? d.random.whole(0, 3) : 0);
  const double high = std::max(one, other) + (slack ? d.random.whole(0, 3) : 0);
  const int j = d.addColumn(low, d.random.chance(0.5) ? infinite : high, point);
  r.entries[j] = a;
  r.dual = d.random.whole(-3, 3);
  d.rows.push_back(r);
  return j;
}

void plantImpliedFreeSingleton(Draft& d) {
  plantImplied(d);
}

void plantSlackColumn(Draft& d) {
  const double point = d.random.whole(0, 4);
  const int j = d.addColumn(d.random.chance(0.8) ? 0.0 : -infinite, d.random.chance(0.5) ? infinite : 6.0, point);
  const int i = d.addEquation(d.draw(d.random.whole(2, 4)));
  d.row(i).entries[j] = d.coefficient();
  d.row(i).dual = 0.0;
}

void plantDoubletonEquation(Draft& d) {
  const int j = d.anyColumn();
  const int k = (j + d.random.whole(1, d.numCol() - 1)) % d.numCol();
  d.addEquation({{j, d.coefficient()}, {k, d.coefficient()}});
}

void plantFreeSubstitution(Draft& d) {
  const int j = d.addColumn(-infinite, infinite, d.random.whole(-3, 3));
  for (int k = d.random.whole(1, 2); k > 0; --k) d.row(d.anyRow()).entries[j] = d.coefficient();
  d.row(d.addEquation(d.draw(3))).entries[j] = d.coefficient();
}

void plantImpliedFreeSubstitution(Draft& d) {
  const int above = d.numRow() - 1;
  const int j = plantImplied(d);
  for (int k = d.random.whole(1, 2); k > 0; --k) d.row(d.random.whole(0, above)).entries[j] = d.coefficient();
}

void plantParallelRows(Draft& d) {
  const DraftRow& from = d.row(d.anyRow());
  const double factor = d.coefficient();
  std::map<int, double> entries = from.entries;
  for (auto& [j, a] : entries) a *= factor;
  d.addRow(entries);
}

// Both columns strictly between their bounds only where the new one's reduced cost is a multiple too.
void plantTwin(Draft& d, double extraCost) {
  const int from = d.anyColumn();
  const double factor = d.coefficient();
  const int j = d.addColumn();
  for (DraftRow& r : d.rows)
    if (const auto at = r.entries.find(from); at != r.entries.end()) r.entries[j] = factor * at->second;
  DraftColumn& c = d.column(j);
  const double wanted = factor * d.column(from).reducedCost;
  if (wanted > 0.0 && std::isfinite(c.low)) c.point = c.low;
  if (wanted < 0.0 && std::isfinite(c.high)) c.point = c.high;
  c.reducedCost = wanted + extraCost;
}

void plantParallelColumns(Draft& d) {
  plantTwin(d, 0.0);
}

void plantDominatingTwin(Draft& d) {
  plantTwin(d, d.random.whole(1, 4) * (d.random.chance(0.5) ? 1 : -1));
}

void plantSparsification(Draft& d) {
  std::map<int, double> entries = d.draw(d.random.whole(2, 4));
  d.addEquation(entries);
  const double factor = d.random.chance(0.5) ? 1.0 : d.coefficient();
  for (auto& [j, a] : entries) a *= d.random.chance(0.8) ? factor : 1.5 * factor;
  for (int k = 0; k < 2; ++k) entries[d.anyColumn()] = d.coefficient();
  d.addRow(entries);
}

// Equations around a ring of columns, so that no column is in one alone, and their sum.
void plantDependentEquations(Draft& d) {
  std::map<int, double> sum;
  const int length = std::min(d.numCol(), d.random.whole(3, 4));
  const int first = d.anyColumn();
  for (int k = 0; k < length; ++k) {
    std::map<int, double> entries;
    for (int l = k; l < k + 3; ++l) entries[(first + l % length) % d.numCol()] = d.coefficient();
    d.addEquation(entries);
    const double factor = d.random.chance(0.5) ? 1.0 : -2.0;
    for (auto [j, a] : entries) sum[j] += factor * a;
    if (length - k <= 2 && d.random.chance(0.5)) break;
  }
  std::erase_if(sum, [](const auto& entry) { return entry.second == 0.0; });
  if (!sum.empty()) d.addEquation(sum);
}

struct Planter {
  const char* name;
  void (*plant)(Draft& draft);
};

// In the order of Trigger.
constexpr std::array<Planter, kNumTrigger> kPlanters{{
    {"empty row", plantEmptyRow},
    {"singleton row", plantSingletonRow},
    {"redundant row", plantRedundantRow},
    {"forcing row", plantForcingRow},
    {"fixed column", plantFixedColumn},
    {"empty column", plantEmptyColumn},
    {"dual fixing", plantDualFixing},
    {"dominated column", plantDominatedColumn},
    {"weakly dominated column", plantWeaklyDominatedColumn},
    {"free column singleton", plantFreeSingleton},
    {"implied free column singleton", plantImpliedFreeSingleton},
    {"slack column", plantSlackColumn},
    {"doubleton equation", plantDoubletonEquation},
    {"free column substitution", plantFreeSubstitution},
    {"implied free column substitution", plantImpliedFreeSubstitution},
    {"parallel rows", plantParallelRows},
    {"parallel columns", plantParallelColumns},
    {"dominating twin column", plantDominatingTwin},
    {"sparsification", plantSparsification},
    {"dependent equations", plantDependentEquations},
}};

}  // namespace

const char* nameOf(Trigger trigger) {
  return kPlanters[static_cast<size_t>(trigger)].name;
}

LinearProgram reductionProgram(Trigger trigger, uint64_t seed) {
  Draft draft(seed * kNumTrigger + static_cast<uint64_t>(trigger));
  if (draft.random.chance(0.3)) kPlanters[static_cast<size_t>(draft.random.whole(0, kNumTrigger - 1))].plant(draft);
  kPlanters[static_cast<size_t>(trigger)].plant(draft);
  draft.spoil();
  LinearProgram program = draft.finish();
  program.constant = draft.random.whole(-3, 3);
  if (draft.random.chance(0.5)) {
    program.sense = -1;
    for (double& cost : program.cost) cost = -cost;
  }
  return program;
}

}  // namespace models
