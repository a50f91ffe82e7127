// Linear programs whose answer is known by the way they are made. All are the same on every machine for a seed.
#pragma once

#include <cstdint>
#include <vector>

#include "models/linear_program.h"

namespace models {

// A fixed, portable stream of random numbers (splitmix64; Steele, Lea, Flood 2014).
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t next();
  double uniform(double low, double high);
  int whole(int low, int high);  // both included
  bool chance(double probability) { return uniform(0.0, 1.0) < probability; }

 private:
  uint64_t state_;
};

// A program with the optimal pair that it was built around, and so with a known optimal value.
struct KnownOptimum {
  LinearProgram program;
  std::vector<double> primal, dual;
  double objective = 0.0;
};

// What a program of knownOptimum is made of; shares are probabilities.
struct Recipe {
  int numRow = 20;
  int numCol = 30;
  int entriesPerColumn = 4;
  double freeColumns = 0.0;   // unbounded on both sides
  double boxedColumns = 0.2;  // bounded on both sides
  double fixedColumns = 0.0;
  double upperColumns = 0.1;  // bounded above only
  double equations = 0.4;
  double ranges = 0.1;
  double freeRows = 0.0;
  double degenerate = 0.0;   // multipliers and distances that are both zero
  double magnitude = 10.0;   // of the primal values
  double boundWidth = 10.0;  // of boxes and ranges
  int scaleDecades = 0;      // rows and columns scaled by random powers of ten from -this to +this
  bool staircase = false;    // entries of a column lie in two neighbouring periods
  bool maximise = false;
};

// Draws a point, multipliers, and a matrix, and sets sides and costs so that the pair meets the optimality conditions.
KnownOptimum knownOptimum(const Recipe& recipe, uint64_t seed);

// Plants and markets with balanced supply; the optimal flow runs on a random spanning tree.
KnownOptimum transport(int numPlant, int numMarket, uint64_t seed);

// Stock over periods with capacity; the cheapest plan is computed by filling demands with the cheapest earlier
// capacity.
KnownOptimum multiPeriod(int numPeriod, uint64_t seed);

// An infeasible program with the row multipliers that prove it. A dual point exists.
struct KnownInfeasible {
  LinearProgram program;
  std::vector<double> proof;
};
KnownInfeasible infeasible(int numRow, int numCol, uint64_t seed);

// A feasible program with a ray that proves it unbounded, and a feasible point.
struct KnownUnbounded {
  LinearProgram program;
  std::vector<double> point, ray;
};
KnownUnbounded unbounded(int numRow, int numCol, uint64_t seed);

// A small program of small whole numbers of any kind: it may be infeasible or unbounded, have no rows, empty rows and
// columns, free columns, fixed columns, ranges.
LinearProgram anyProgram(uint64_t seed);

}  // namespace models
