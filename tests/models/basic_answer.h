// What makes an answer a basic one.
#pragma once

#include "models/linear_program.h"

namespace models {

// Columns whose value, and rows whose activity, is not at a bound. A column must meet its bound exactly; a row's
// activity is a sum, and meets its side within 1e-9 of 1 + the magnitudes that make it up. A free column at 0 counts as
// standing at a bound.
int numBetweenBounds(const LinearProgram& program, const Answer& answer);

// Expects, as failures of the running test: no more columns and rows between their bounds than there are rows, and a
// basis of as many columns and rows as there are rows that tells where all others stand.
void expectBasic(const LinearProgram& program, const Answer& answer);

}  // namespace models
