// Writes .nl files as modelling systems do, and reads .sol files back, for tests of the driver. Both formats: D. M.
// Gay, Writing .nl Files, 2005, and Hooking Your Solver to AMPL, 1997.
#pragma once

#include <string>
#include <vector>

#include "models/linear_program.h"

namespace nltest {

// What a program may have beside what LinearProgram holds. Expressions are in the prefix form of the format, a line for
// each operator, number and variable.
struct Extras {
  std::string objective;        // in place of constant and quadratic part
  std::string firstRow;         // added to the first row, which makes it a nonlinear one
  std::string secondObjective;  // a second objective, minimised, without linear part
  int integers = 0;             // so many columns at the end are integer
};

// The program in the text form of the format. The quadratic part is written as a sum of products.
std::string nlText(const models::LinearProgram& program, const Extras& extras = {});

// What a driver has written back.
struct SolFile {
  std::string message;
  std::vector<double> dual, primal;  // empty without a point
  int objective = 0;
  int code = -1;
  std::string suffixes;  // as they stand behind
};

// Throws std::runtime_error when the text is no .sol file.
SolFile parseSol(const std::string& text);

}  // namespace nltest
