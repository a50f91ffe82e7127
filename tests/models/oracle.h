// What a simplex solver that shares nothing with ours (Clp) says about a program.
#pragma once

#include "models/linear_program.h"

namespace models {

enum class Kind { kOptimal, kInfeasible, kUnbounded };

struct Verdict {
  Kind kind;
  double objective;   // of an optimal program, constant included
  bool hasDualPoint;  // some multipliers meet all dual conditions; always so for an optimal program
};

// Throws std::runtime_error when Clp gives up.
Verdict askOracle(const LinearProgram& program);

// The statuses that are true of the program: 1; 3 and 14 without a point, 14 only when no dual point exists either; 4
// when no dual point exists. Of an infeasible program without a dual point each of 3, 4 and 14 is true.
bool isTrueStatus(const Verdict& verdict, int status);

}  // namespace models
