// The parts of a model that a submodel keeps: listed columns with their costs, listed rows with their right-hand sides,
// listed bounds; and the maps between a model and its reduction.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "submodel/submodel.h"
#include "transform/presolver.h"

namespace qz {

// Copies the parts of `model` that the lists of the submodel name: numColSub columns of idxColSub, both bounds of the
// numBoundSub columns of idxBoundSub, numRowSub rows of idxRowSub, each in list order. A part without entries has no
// arrays. 0; -1086; 10 with a message when the column lengths do not add up. A null record gives 0.
[[nodiscard]] int32_t CreateSubModel(Env* env, const Model* model, SubModel* submodel);

// The row-wise sub-matrix of `count` listed rows, in list order; what stood there is freed. numRowSub is left to the
// caller. 0; -1086 and 10 leave no row-wise array.
[[nodiscard]] int32_t CreateRowSub(Env* env, const Model* model, SubModel* submodel, int32_t count,
                                   const int32_t* list);

// Takes the presolve's maps (numRow and numCol entries): from here on rows and columns of the reduced model are
// found through them, and negative entries are gone. The counts of the lists become those of the kinds.
void MapSubmodel(Env* env, SubModel* submodel, const Presolver* presolver);

// Both maps become the identity.
void ResetMapSubmodel(Env* env, SubModel* submodel);

}  // namespace qz
