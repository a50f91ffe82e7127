// The solver's own presolve against the way without it and against Clp: what the short test and the long campaign
// share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "models/linear_program.h"
#include "models/oracle.h"
#include "models/solving.h"

namespace models {

// A small program that is full of what the rules of a presolve look for: singleton, forcing, redundant and duplicate
// rows, ranges, fixed, free and empty columns, doubletons, chains of implied bounds, contradictions, unbounded
// directions.
LinearProgram presolveProgram(uint64_t seed);

// Empty when the answer is what Clp's verdict says, the objective included, and an optimum is certified; else what is
// wrong with it.
std::string judge(const LinearProgram& program, const Verdict& verdict, const Answer& answer);

// Empty when the answer to the program under these options is what Clp says, the objective included, and an optimum is
// certified; else what is wrong with it.
std::string findFault(const LinearProgram& program, const std::vector<Choice>& choices);

// The program with all rows and columns taken out that the fault does not need.
LinearProgram shrinkFault(const LinearProgram& program, const std::vector<Choice>& choices);

// Reports a fault as a failure of the test: the program is shrunken and left in a file whose name is told. `way` is one
// word for the choices.
void reportFault(const LinearProgram& program, const std::vector<Choice>& choices, const std::string& fault,
                 uint64_t seed, const char* way);

// Looks at the programs of the seeds first to last, with presolve and without. A fault is a failure of the test, with
// its seed, and the shrunken program is left in a file whose name is told. At least some programs must be of each kind.
//
// Up to `spared` infeasible programs may, without presolve, be given up or called infeasible on both sides: the normal
// equations lose the digits that would prove more. Their seeds are printed.
void compareMany(uint64_t first, uint64_t last, int method, int spared = 0);

}  // namespace models
