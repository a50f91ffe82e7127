// Duals of the input model behind a presolve. A bound that presolve took from a row is no bound of the user: the dual
// that rests on it belongs to that row.
//
// Let row i have set a bound of column j with its element a, and let d be the dual on it. Giving the row d / a (lower
// side; -d / a upper side) takes d out of the reduced cost of j and a_k d / a out of that of every other column k of
// the row. Those stand at bounds of the matching side, or their own duals move on (Andersen, Andersen 1995).
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Repairs the duals of `solution`, whose primal, dual and reducedCost are those of `model`, the input model with the
// user's bounds. Passes over the columns whose reduced cost moved until no dual is left on a bound of presolve, at most
// 10000. The kept direction of hub follows in proportion. 0 or -1086.
[[nodiscard]] int32_t adjustDualOutput(Env* env, Model* model, const IpmOption* options, const Presolver* presolver,
                                       Solution* solution, Hub* hub);

// Moves the difference r of a column's reduced cost into its two bound duals, which stay non-negative up to tolDual.
void adjustBoundDual(Env* env, const IpmOption* options, Solution* solution, Hub* hub, int32_t col, double r);

}  // namespace qz
