// Rows and columns that the presolve of a reduced model took out beyond the marked ones: their slacks and duals are
// found anew from the restored point.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "shell/records.h"
#include "submodel/submodel.h"
#include "transform/presolver.h"

namespace qz {

// Lists the extra columns and rows in idxColExtra and idxRowExtra, ascending, in place of the lists of the last round;
// without any the list is null. 0; -1086; 10 with a message when the maps of the presolver do not agree with its counts
// or with the marked lists.
[[nodiscard]] int32_t CreateExtraList(Env* env, SubModel* submodel, const Presolver* presolver);

// Slacks of the extra rows at the model's solPrimal, whose row activities are computed. 0, or 10 with a message for a
// row that was not removed.
[[nodiscard]] int32_t getSubRowSlack(Env* env, Model* model, const Presolver* presolver, const SubModel* submodel,
                                     Solution* solution);

// Duals of the extra columns from their reduced costs, and their slacks. 0; -1086; 10 with a message for a column that
// is neither empty nor fixed.
[[nodiscard]] int32_t getSubDualSlack(Env* env, const Model* model, const Presolver* presolver,
                                      const SubModel* submodel, Solution* solution, const IpmOption* options);

// The same for the lists as they stand, once the row duals have changed. 0, -1086 or 10.
[[nodiscard]] int32_t updateExtraDuals(Env* env, const Model* model, const SubModel* submodel, Solution* solution,
                                       const IpmOption* options);

// Gives the extras that are back in the engine's model a positive start: slacks at least 100 tolPrimal, duals at least
// 100 tolDual, both at least 1e-4, where they are not positive.
void initExtra(Ipm* ipm, const SubModel* submodel);

}  // namespace qz
