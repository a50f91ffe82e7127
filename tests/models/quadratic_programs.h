// Small convex quadratic programs for differential tests, and what kind they are.
#pragma once

#include <cstdint>

#include "models/linear_program.h"
#include "models/oracle.h"

namespace models {

// Adds a few squares (b'x)^2 of one or two columns, of the sign that keeps the program convex, so that most programs
// keep flat directions.
void addSquares(LinearProgram& program, uint64_t seed);

// The kind of a convex quadratic program, by two linear ones that Clp answers: a point within the rows and bounds, and
// a direction of gain without curvature. Throws as askOracle.
Kind quadraticKind(const LinearProgram& program);

}  // namespace models
