// Small programs made to trigger one kind of reduction of a presolve each, among random rows and columns.
#pragma once

#include <cstdint>

#include "models/linear_program.h"

namespace models {

// What a presolve may find in a program.
enum class Trigger {
  kEmptyRow,
  kSingletonRow,
  kRedundantRow,
  kForcingRow,
  kFixedColumn,
  kEmptyColumn,
  kDualFixing,               // the cost and the sides of all rows push the column the same way
  kDominatedColumn,          // bounds on the duals settle the sign of its reduced cost
  kWeaklyDominatedColumn,    // as above, but the sign is only known not to be the other one
  kFreeSingleton,            // a free column in one row alone
  kImpliedFreeSingleton,     // a column in one equation alone whose bounds that equation implies
  kSlackColumn,              // a column without cost in one equation alone
  kDoubletonEquation,        // an equation of two columns
  kFreeSubstitution,         // a free column in an equation and in few other rows
  kImpliedFreeSubstitution,  // as above, with bounds that the equation implies
  kParallelRows,             // one row a multiple of another
  kParallelColumns,          // one column a multiple of another, the cost included
  kDominatingTwin,           // one column a multiple of another, the cost not
  kSparsification,           // an equation whose columns are all in another row
  kDependentEquations,       // an equation that others add up to
};
inline constexpr int kNumTrigger = 20;

const char* nameOf(Trigger trigger);

// A program of the seed with at least one place for the given reduction and perhaps some for others. Most programs
// have an optimum; some are infeasible and some unbounded.
LinearProgram reductionProgram(Trigger trigger, uint64_t seed);

}  // namespace models
