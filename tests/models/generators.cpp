#include "models/generators.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace models {

uint64_t Random::next() {
  uint64_t z = (state_ += 0x9e3779b97f4a7c15u);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  return z ^ (z >> 31);
}

double Random::uniform(double low, double high) {
  return low + (high - low) * (static_cast<double>(next() >> 11) * 0x1p-53);
}

int Random::whole(int low, int high) {
  return low + static_cast<int>(next() % static_cast<uint64_t>(high - low + 1));
}

namespace {

// A multiplier and a value with its two sides that go together: the multiplier is positive at the lower side, negative
// at the upper side, zero between.
struct Place {
  double value, multiplier, low, high;
};

enum class Kind { lower, upper, boxed, fixed, free };

Place drawPlace(Random& random, Kind kind, const Recipe& recipe) {
  Place place{random.uniform(-1.0, 1.0) * recipe.magnitude, 0.0, -infinite, infinite};
  const bool degenerate = random.chance(recipe.degenerate);
  const double multiplier = degenerate ? 0.0 : random.uniform(0.5, 5.0);
  const double width = random.uniform(0.1, 1.0) * recipe.boundWidth;
  const bool inside = !degenerate && random.chance(0.5);
  switch (kind) {
    case Kind::free:
      break;
    case Kind::fixed:
      place.low = place.high = place.value;
      place.multiplier = random.chance(0.5) ? multiplier : -multiplier;
      break;
    case Kind::lower:
      place.low = inside ? place.value - width : place.value;
      place.multiplier = inside ? 0.0 : multiplier;
      break;
    case Kind::upper:
      place.high = inside ? place.value + width : place.value;
      place.multiplier = inside ? 0.0 : -multiplier;
      break;
    case Kind::boxed: {
      const bool atLower = random.chance(0.5);
      place.low = place.value - (inside ? 0.5 * width : atLower ? 0.0 : width);
      place.high = place.low + width;
      if (!inside && !atLower) place.high = place.value;
      place.multiplier = inside ? 0.0 : atLower ? multiplier : -multiplier;
      break;
    }
  }
  return place;
}

Kind drawColumnKind(Random& random, const Recipe& recipe) {
  double ticket = random.uniform(0.0, 1.0);
  if ((ticket -= recipe.freeColumns) < 0.0) return Kind::free;
  if ((ticket -= recipe.boxedColumns) < 0.0) return Kind::boxed;
  if ((ticket -= recipe.fixedColumns) < 0.0) return Kind::fixed;
  return ticket < recipe.upperColumns ? Kind::upper : Kind::lower;
}

Kind drawRowKind(Random& random, const Recipe& recipe) {
  double ticket = random.uniform(0.0, 1.0);
  if ((ticket -= recipe.equations) < 0.0) return Kind::fixed;
  if ((ticket -= recipe.ranges) < 0.0) return Kind::boxed;
  if (ticket < recipe.freeRows) return Kind::free;
  return random.chance(0.5) ? Kind::lower : Kind::upper;
}

// Distinct rows of a column; with `staircase` from two neighbouring of five periods.
std::vector<int> drawRows(Random& random, const Recipe& recipe) {
  int first = 0;
  int last = recipe.numRow - 1;
  if (recipe.staircase && recipe.numRow >= 10) {
    const int period = recipe.numRow / 5;
    first = random.whole(0, 3) * period;
    last = std::min(first + 2 * period, recipe.numRow) - 1;
  }
  const int count = std::min(recipe.entriesPerColumn, last - first + 1);
  std::vector<int> rows;
  while (static_cast<int>(rows.size()) < count) {
    const int row = random.whole(first, last);
    if (std::find(rows.begin(), rows.end(), row) == rows.end()) rows.push_back(row);
  }
  return rows;
}

double objectiveAt(const LinearProgram& program, const std::vector<double>& x) {
  long double sum = program.constant;
  for (size_t j = 0; j < x.size(); ++j) sum += static_cast<long double>(program.cost[j]) * x[j];
  return static_cast<double>(sum);
}

}  // namespace

KnownOptimum knownOptimum(const Recipe& recipe, uint64_t seed) {
  Random random(seed);
  KnownOptimum known;
  LinearProgram& program = known.program;
  const auto numRow = static_cast<size_t>(recipe.numRow);
  const auto numCol = static_cast<size_t>(recipe.numCol);
  const auto powerOfTen = [&] {
    return recipe.scaleDecades == 0 ? 1.0 : std::pow(10.0, random.whole(-recipe.scaleDecades, recipe.scaleDecades));
  };
  std::vector<double> rowScale(numRow);
  std::vector<Place> rows;
  for (size_t i = 0; i < numRow; ++i) {
    rowScale[i] = powerOfTen();
    rows.push_back(drawPlace(random, drawRowKind(random, recipe), recipe));
  }
  // Columns in scaled terms: x = columnScale * x', rows times rowScale; the multipliers scale the other way.
  std::vector<double> activity(numRow, 0.0);
  program.sense = recipe.maximise ? -1 : 1;
  program.constant = random.uniform(-5.0, 5.0);
  for (size_t j = 0; j < numCol; ++j) {
    const Place place = drawPlace(random, drawColumnKind(random, recipe), recipe);
    const double scale = powerOfTen();
    program.addColumn(0.0, place.low * scale, place.high * scale);
    double cost = place.multiplier / scale;
    for (const int row : drawRows(random, recipe)) {
      const auto i = static_cast<size_t>(row);
      const double coefficient = random.uniform(0.2, 3.0) * (random.chance(0.5) ? 1.0 : -1.0) * rowScale[i] / scale;
      program.addEntry(row, coefficient);
      cost += coefficient * rows[i].multiplier / rowScale[i];
      activity[i] += coefficient * place.value * scale;
    }
    program.cost[j] = cost * program.sense;
    known.primal.push_back(place.value * scale);
  }
  for (size_t i = 0; i < numRow; ++i) {
    const double shift = activity[i] - rows[i].value * rowScale[i];
    program.addRow(rows[i].low * rowScale[i] + shift, rows[i].high * rowScale[i] + shift);
    // An equation must stay one bit for bit; other active sides may be off by rounding.
    if (rows[i].low == rows[i].high) program.rowLower[i] = program.rowUpper[i] = activity[i];
    known.dual.push_back(rows[i].multiplier / rowScale[i] * program.sense);
  }
  known.objective = objectiveAt(program, known.primal);
  return known;
}

KnownOptimum transport(int numPlant, int numMarket, uint64_t seed) {
  Random random(seed);
  KnownOptimum known;
  LinearProgram& program = known.program;
  const auto plants = static_cast<size_t>(numPlant);
  const auto nodes = plants + static_cast<size_t>(numMarket);
  std::vector<double> potential(nodes), amount(nodes, 0.0);
  for (double& value : potential) value = random.whole(-10, 10);
  std::vector<std::vector<int>> flow(plants, std::vector<int>(nodes - plants, -1));
  // A tree: the first plant serves the first market, every further node hangs on a drawn one of the other side.
  const auto connect = [&](size_t plant, size_t market) { flow[plant][market] = random.whole(1, 50); };
  connect(0, 0);
  for (size_t plant = 1; plant < plants; ++plant) connect(plant, 0);
  for (size_t market = 1; market < nodes - plants; ++market)
    connect(static_cast<size_t>(random.whole(0, numPlant - 1)), market);
  for (size_t i = 0; i < nodes; ++i) program.addRow(0.0, 0.0);
  for (size_t plant = 0; plant < plants; ++plant) {
    for (size_t market = 0; market < nodes - plants; ++market) {
      const bool used = flow[plant][market] >= 0;
      const double sum = potential[plant] + potential[plants + market];
      program.addColumn(used ? sum : sum + random.whole(1, 20), 0.0, infinite);
      program.addEntry(static_cast<int>(plant), 1.0);
      program.addEntry(static_cast<int>(plants + market), 1.0);
      known.primal.push_back(used ? flow[plant][market] : 0.0);
      amount[plant] += known.primal.back();
      amount[plants + market] += known.primal.back();
    }
  }
  program.rowLower = program.rowUpper = amount;
  known.dual = potential;
  known.objective = objectiveAt(program, known.primal);
  return known;
}

KnownOptimum multiPeriod(int numPeriod, uint64_t seed) {
  Random random(seed);
  KnownOptimum known;
  LinearProgram& program = known.program;
  const auto periods = static_cast<size_t>(numPeriod);
  std::vector<double> demand(periods), capacity(periods), cost(periods);
  double room = 0.0;
  for (size_t t = 0; t < periods; ++t) {
    capacity[t] = random.whole(20, 60);
    cost[t] = random.whole(5, 25);
    room += capacity[t];
    demand[t] = random.whole(0, static_cast<int>(std::min(room, 60.0)));
    room -= demand[t];
  }
  // Each demand in turn takes the cheapest capacity left so far, stock cost included. What an earlier demand may take a
  // later one may take too, at a price that differs by the same stock for all: taking back never pays.
  std::vector<double> make(periods, 0.0), left = capacity;
  double total = 0.0;
  for (size_t t = 0; t < periods; ++t) {
    for (double open = demand[t]; open > 0.0;) {
      size_t best = periods;
      for (size_t s = 0; s <= t; ++s) {
        const double price = cost[s] + static_cast<double>(t - s);
        if (left[s] > 0.0 && (best == periods || price < cost[best] + static_cast<double>(t - best))) best = s;
      }
      const double taken = std::min(open, left[best]);
      left[best] -= taken;
      make[best] += taken;
      open -= taken;
      total += taken * (cost[best] + static_cast<double>(t - best));
    }
  }
  // Columns: make of every period, then stock behind every period but the last.
  for (size_t t = 0; t < periods; ++t) program.addRow(demand[t], demand[t]);
  for (size_t t = 0; t < periods; ++t) {
    program.addColumn(cost[t], 0.0, capacity[t]);
    program.addEntry(static_cast<int>(t), 1.0);
    known.primal.push_back(make[t]);
  }
  double stock = 0.0;
  for (size_t t = 0; t + 1 < periods; ++t) {
    program.addColumn(1.0, 0.0, infinite);
    program.addEntry(static_cast<int>(t), -1.0);
    program.addEntry(static_cast<int>(t) + 1, 1.0);
    stock += make[t] - demand[t];
    known.primal.push_back(stock);
  }
  known.objective = total;
  return known;
}

KnownInfeasible infeasible(int numRow, int numCol, uint64_t seed) {
  Random random(seed);
  KnownInfeasible known;
  LinearProgram& program = known.program;
  // Rows A x >= b with x >= 0, and one more row that is minus their weighted sum, less something, and asks for more
  // than the weighted sum leaves: y'A x <= 0 for every x >= 0, but y'b > 0. Costs are positive, so y = 0 is dual
  // feasible.
  double sum = 0.0;
  for (int i = 0; i + 1 < numRow; ++i) {
    const int side = random.whole(-10, 10);
    program.addRow(side, infinite);
    known.proof.push_back(random.whole(1, 4));
    sum += known.proof.back() * side;
  }
  program.addRow(-sum + random.whole(1, 10), infinite);
  known.proof.push_back(1.0);
  for (int j = 0; j < numCol; ++j) {
    program.addColumn(random.whole(1, 9), 0.0, infinite);
    double last = -random.whole(0, 2);
    for (int i = 0; i + 1 < numRow; ++i) {
      if (!random.chance(0.4)) continue;
      const int coefficient = random.whole(-5, 5);
      if (coefficient == 0) continue;
      program.addEntry(i, coefficient);
      last -= known.proof[static_cast<size_t>(i)] * coefficient;
    }
    if (last != 0.0) program.addEntry(numRow - 1, last);
  }
  return known;
}

KnownUnbounded unbounded(int numRow, int numCol, uint64_t seed) {
  Random random(seed);
  KnownUnbounded known;
  LinearProgram& program = known.program;
  // Rows A x >= b with x >= 0; the last column is such that A r = w >= 0 for a positive r with last entry 1.
  std::vector<double> last(static_cast<size_t>(numRow)), activity(static_cast<size_t>(numRow), 0.0);
  for (double& value : last) value = random.whole(0, 2);
  double gain = 0.0;
  for (int j = 0; j + 1 < numCol; ++j) {
    const int cost = random.whole(-9, 9);
    known.ray.push_back(random.whole(1, 4));
    known.point.push_back(random.whole(0, 5));
    gain += cost * known.ray.back();
    program.addColumn(cost, 0.0, infinite);
    for (int i = 0; i < numRow; ++i) {
      const int coefficient = random.chance(0.4) ? random.whole(-5, 5) : 0;
      if (coefficient == 0) continue;
      program.addEntry(i, coefficient);
      last[static_cast<size_t>(i)] -= coefficient * known.ray.back();
      activity[static_cast<size_t>(i)] += coefficient * known.point.back();
    }
  }
  known.ray.push_back(1.0);
  known.point.push_back(random.whole(0, 5));
  program.addColumn(-gain - random.whole(1, 5), 0.0, infinite);
  for (int i = 0; i < numRow; ++i) {
    const double coefficient = last[static_cast<size_t>(i)];
    if (coefficient != 0.0) program.addEntry(i, coefficient);
    program.addRow(activity[static_cast<size_t>(i)] + coefficient * known.point.back() - random.whole(0, 5), infinite);
  }
  return known;
}

LinearProgram anyProgram(uint64_t seed) {
  Random random(seed);
  LinearProgram program;
  const int numRow = random.whole(0, 8);
  const int numCol = random.whole(1, 10);
  const double density = random.uniform(0.1, 0.9);
  program.sense = random.chance(0.5) ? 1 : -1;
  program.constant = random.whole(-5, 5);
  for (int i = 0; i < numRow; ++i) {
    const int side = random.whole(-12, 20);
    const int kind = random.whole(0, 9);
    program.addRow(kind < 3 || kind > 7 ? -infinite : side, kind < 3 ? side : kind == 3 ? side : infinite);
    if (kind >= 8) program.rowUpper.back() = side + random.whole(0, 10);
    if (kind == 7) program.rowUpper.back() = side + random.whole(0, 6);
    if (kind == 8 && random.chance(0.3)) program.rowUpper.back() = infinite;  // a free row
  }
  std::vector<double> activity(static_cast<size_t>(numRow), 0.0);
  for (int j = 0; j < numCol; ++j) {
    const int kind = random.whole(0, 9);
    const int low = kind < 5 ? 0 : random.whole(-6, 4);
    program.addColumn(random.whole(-5, 8), low, infinite);
    if (kind == 5) program.lower.back() = -infinite;
    if (kind == 6) program.upper.back() = low;
    if (kind == 7 || kind == 8) program.upper.back() = low + random.whole(0, 12);
    if (kind == 9) program.lower.back() = -infinite;
    if (kind == 9) program.upper.back() = low;
    const double value = std::clamp(1.0 * random.whole(-3, 6), program.lower.back(), program.upper.back());
    for (int i = 0; i < numRow; ++i) {
      const int coefficient = random.chance(density) ? random.whole(-4, 6) : 0;
      if (coefficient == 0) continue;
      program.addEntry(i, coefficient);
      activity[static_cast<size_t>(i)] += coefficient * value;
    }
  }
  // Most programs are made feasible, by moving the sides of their rows to a point within the bounds.
  if (random.chance(0.3)) return program;
  for (size_t i = 0; i < activity.size(); ++i) {
    const double shift = activity[i] - std::clamp(activity[i], program.rowLower[i], program.rowUpper[i]);
    program.rowLower[i] += shift;
    program.rowUpper[i] += shift;
  }
  return program;
}

}  // namespace models
