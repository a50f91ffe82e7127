// Presolve rules that look at one column. A removed column stays in the arrays; colMap tells what became of it.
//
// All return 0, 3 (no point meets the bounds) or 4 (the objective is unbounded, or a bound lies at the wrong infinity);
// with 3 and 4 infeasCol holds the column.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/presolver.h"

namespace qz {

// Bounds that agree within this share of tolPrimal fix their column.
inline constexpr double kFixedShare = 0.01;

// Contradicting bounds, once before the passes: 3 for finite bounds that cross by more than tolPrimal, 4 for a lower
// bound of +infinity or an upper bound of -infinity.
[[nodiscard]] int32_t detectInfeasBound(Env* env, const Model* model, const IpmOption* options, Presolver* presolver);

// Takes a column out at its lower bound: right-hand sides and, through the quadratic elements, costs of its neighbours
// absorb it, and the rows and columns that it touched are opened again.
[[nodiscard]] int32_t removeFixedCol(Env* env, const Model* model, const IpmOption* options, Presolver* presolver,
                                     int32_t col);

// Takes a column without matrix elements out, unless it has off-diagonal quadratic elements left. 4 when its own
// objective term falls without end.
[[nodiscard]] int32_t removeEmptyCol(Env* env, const Model* model, const IpmOption* options, Presolver* presolver,
                                     int32_t col);

// A diagonal element of Q no larger than this in magnitude counts as none when a column without elements is valued.
inline constexpr double kFlatCurvature = 1e-10;

}  // namespace qz
