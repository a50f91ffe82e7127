// Programs that hold values far larger than the rest, and what the solver's log tells of how it dealt with them.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "models/generators.h"

namespace models {

// Shares (probabilities) of what is made big in a program of knownBigOptimum, and how big.
struct BigRecipe {
  int numRow = 12;
  int numCol = 18;
  int entriesPerColumn = 3;
  double equations = 0.5;
  double freeColumns = 0.2;
  double boxedColumns = 0.2;
  double variable = 0.0;   // values of columns off their bounds
  double farBound = 0.0;   // distances to the bounds that a column is not at
  double rowSlack = 0.0;   // slacks of the inequalities that do not bind
  double rowDual = 0.0;    // multipliers of the rows that bind
  double boundDual = 0.0;  // multipliers of the columns at a bound
  double curvature = 0.0;  // columns with a diagonal element of Q, such that its gradient is of size 1
  double size = 1e6;       // of the big values, up to a random factor
};

// A program around an optimal pair with such values.
KnownOptimum knownBigOptimum(const BigRecipe& recipe, uint64_t seed);

// Adds a row that contradicts the sum of two others by a tenth of the largest bound or side. False when no two rows
// bound each other's sum.
bool contradict(LinearProgram& program, uint64_t seed);

// Kinds of big values, in the order of the solver's lines.
enum BigKind { kVariable, kBoundSlack, kRowSlack, kRowDual, kBoundDual, kNumBigKind };

// How an action on big values came to its end.
enum class BigEnding {
  kKept,          // in vivo: it stood to the end of the run
  kCameBack,      // a big value came back and the change was undone
  kTakenOver,     // in vivo: the reduction took it over
  kAnswered,      // in vitro: the iteration on the reduction found the answer
  kPresolved,     // in vitro: the presolve of the reduction found it
  kInfeasible,    // in vitro: the reduction was infeasible
  kRepaired,      // in vitro: what came back had to be made positive, and the full model went on
  kUnscaled,      // in vitro: the full model was unscaled and reduced again
  kReducedAgain,  // in vitro: more became big
  kLimit,         // in vitro: a limit was reached
  kOther
};

enum class BigLevel { kInVivo, kInVitro, kBoth };

// One action on one kind, with its ending.
struct BigEvent {
  BigKind kind;
  BigLevel level;
  BigEnding ending;
  bool secondRound;  // after an earlier one was given up

  auto operator<=>(const BigEvent&) const = default;
};

// The actions that a log tells of, written with a debug level above 0.
std::vector<BigEvent> readBigEvents(const std::string& log);

// How often each event came about.
using BigTable = std::map<BigEvent, int>;
std::string text(const BigTable& table);

}  // namespace models
