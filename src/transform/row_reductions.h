// Presolve rules that look at one row. A removed row stays in the arrays; rowMap tells what became of it.
//
// All return 0, 3 with the row in infeasRow when it contradicts the bounds, or what is told below.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/presolver.h"

namespace qz {

// Turns the working senses to capital letters and takes the rows of sense N out, once before the passes. 10 with a text
// at level 0 for another byte; the statistics are then as they were.
[[nodiscard]] int32_t removeFreeRow(Env* env, const Model* model, Presolver* presolver);

// Takes a row without elements out; 3 when 0 does not meet it within tolPrimal. When presolve runs again on a submodel
// with the solution at hand: 1003 for a row whose dual in that solution would be lost.
[[nodiscard]] int32_t removeEmptyRow(Env* env, const Model* model, const IpmOption* options, Presolver* presolver,
                                     int32_t row, const Solution* solution);

// Turns a row with one element into bounds of its column. An infinite side of the row is no bound.
[[nodiscard]] int32_t removeSingletonRow(Env* env, const Model* model, const IpmOption* options, Presolver* presolver,
                                         int32_t row);

}  // namespace qz
