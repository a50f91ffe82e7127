// The in vitro level: a copy of the model in which the marked rows are free, the marked columns fixed, big variables
// shifted and far bounds removed, so that a presolve takes out what no longer matters.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "submodel/submodel.h"
#include "transform/presolver.h"

namespace qz {

// Carries out the actions whose flags hold BIG_INVITRO, on the working copy of the presolver and, in place, on
// `solution`, the point of `model`; the submodel keeps what preRestoreSubmodel needs to undo them. The model is only
// read. 0; -1086; 10 with a message: the arrays of an earlier round exist, a free column is to be fixed, or both bound
// duals of one are big. On failure what was allocated here is freed; the point may have moved.
[[nodiscard]] int32_t preSetSubmodel(Env* env, Presolver* presolver, SubModel* submodel, Solution* solution,
                                     const Model* model, const IpmOption* options);

}  // namespace qz
