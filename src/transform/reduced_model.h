// The model that is left when presolve has removed rows and columns, and the exchange of bounds when only they changed.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Numbers the kept rows and columns: each entry of rowMap and colMap from 0 on becomes the count of such entries before
// it.
void setMapping(Env* env, const Model* model, Presolver* presolver);

// Swaps the bounds of the model with those of the presolver, entry by entry. A second call undoes the first.
void adjustBound(Env* env, Model* model, Presolver* presolver);

// Makes an empty model of the reduced size that owns its arrays, with room behind the columns for the numRange slacks
// and the numFreeVar parts of hub that the standard form appends. Null when memory is short.
[[nodiscard]] Model* NewReducedModel(Env* env, const Model* model, const Hub* hub, const Presolver* presolver);

// Frees a reduced model with its arrays and clears the pointer; null is no fault. A target receives the status, the
// objective value, the iteration count and the measures first.
void FreeReducedModel(Env* env, Model** reduced, Model* target);

// Fills the reduced model from inModel and the working arrays of the presolver. With both solutions, solutionOut gets
// the kept part of solutionIn, with an interior slack and dual on each bound that only presolve made finite. A wrong
// count of elements is an error text at level 0.
void reduceModel(Env* env, Model* reduced, const IpmOption* options, const Presolver* presolver,
                 const Solution* solutionIn, Solution* solutionOut);

}  // namespace qz
