// Standard form: the engine knows rows of sense E and G and plain bounded columns. `addSlack` turns a range row
// b - r <= a x <= b into a x + s = b with a slack column 0 <= s <= r and an L row into a G row with its sign turned;
// `splitFreeVar` writes a free column as the difference of two non-negative ones, which the normal equations need. Each
// is undone behind the solve, in reverse order.
//
// The model's matrix must be packed. Its column arrays need room for numRange (and, with the normal equations,
// numFreeVar) further columns, colBegin for one more end mark, and the elements for numRange (and numFreeElement) more.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"

namespace qz {

// Negates the L rows, appends the slack columns of the R rows, and stores the row lists and the dimensions in hub.
// numRange and numLcont of hub must hold the true counts. 0; -1086; 10 with a message when a count is wrong. On a
// failure hub gets no list and the model stays as it was at that moment.
[[nodiscard]] int32_t addSlack(Env* env, Model* model, Hub* hub);

// Undoes addSlack, bit for bit. Duals of the L rows change their sign; a range row's slack moves to ineqnSlack. The
// kept direction of hub follows. 0.
[[nodiscard]] int32_t removeSlack(Env* env, Model* model, Hub* hub, Solution* solution);

// Splits every column with bounds strictly beyond -1e20 and 1e20 into its positive part, which stays in place, and an
// appended negative part; both get the bounds [0, largest double]. Quadratic arrays are not extended. 0; -1086; 10 with
// a message when numFreeVar or numFreeElement of hub disagrees.
[[nodiscard]] int32_t splitFreeVar(Env* env, Model* model, Hub* hub);

// Undoes splitFreeVar: the column is free again, with the largest doubles as bounds and zero slacks and duals. 0.
[[nodiscard]] int32_t mergeFreeVar(Env* env, Model* model, Hub* hub, Solution* solution);

// With the true bounds back in the model and the relaxed ones in altLower and altUpper: a bound that the engine never
// saw gets its slack from the point; its dual stays. 0.
[[nodiscard]] int32_t getLostSlack(Env* env, Model* model, IpmOption* options, Hub* hub, Solution* solution);

}  // namespace qz
