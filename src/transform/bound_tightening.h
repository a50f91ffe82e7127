// Bound propagation on one row (Brearley, Mitra, Williams 1975; Andersen, Andersen 1995).
//
// With l <= x <= u the activity a'x of a row lies in [minAct, maxAct], each the sum of a_j times the bound that the
// sign of a_j selects. Against the row's side b this shows the row infeasible, redundant, or forcing (only one point of
// the box meets it), and otherwise bounds each column by what the others leave: for a'x <= b and a_j > 0
//
//   x_j <= l_j + (b - minAct) / a_j.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/presolver.h"

namespace qz {

// Applies the rule to a kept row with elements. 0, -1086, or 3 with the row in infeasRow. A forcing row is removed but
// keeps its elements until its columns, whose bounds have met, are removed. A range row with one side that the bounds
// imply loses this side and changes its working sense.
[[nodiscard]] int32_t tightenBound(Env* env, const Model* model, const IpmOption* options, Presolver* presolver,
                                   int32_t row);

// One side of a row to be propagated.
struct TightenRequest {
  int32_t row;
  double activity;           // the extreme activity of the row, without its infinite terms
  double magnitude;          // the sum of the magnitudes of its terms
  double rhs;                // the side
  int32_t numInfinite;       // infinite terms left out of activity
  int32_t infinitePosition;  // element of the row copy with the last of them
};

// Bounds on the columns of a row from a'x >= rhs (G, activity is the maximum) or a'x <= rhs (L, the minimum). With one
// infinite term only its column gets a bound, with more none. A bound is taken when it beats the present one by more
// than tolPrimal and the rounding of the activity leaves it that exact; the rows of the column are then opened again,
// and the change is noted (implied_bounds.h). 0 or -1086.
[[nodiscard]] int32_t tightenBoundG(Env* env, const IpmOption* options, Presolver* presolver,
                                    const TightenRequest& request);
[[nodiscard]] int32_t tightenBoundL(Env* env, const IpmOption* options, Presolver* presolver,
                                    const TightenRequest& request);

}  // namespace qz
