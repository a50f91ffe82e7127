// The way back from the in vitro level: what preSetSubmodel took out of the reduced model returns to the solution of
// the full one, whose own arrays were never changed.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "submodel/submodel.h"
#include "transform/presolver.h"

namespace qz {

// Brings the shifts, bounds, fixed columns and freed rows of the in vitro actions back into `solution` of the full
// `model`, and frees what the record kept for it. Lists of other planned or in vivo kinds stand in the numbering of the
// reduced model and are translated by the maps of the presolver. *smallest becomes the least of the slacks and duals
// restored, infinityValue without any; what is not positive there cannot start an iteration. 0; -1086; 10: a model of
// unknown type, a row-wise sub-matrix that stands already, or (with a message) a column fixed at neither bound. A null
// record gives 0 at once.
[[nodiscard]] int32_t preRestoreSubmodel(Env* env, const Model* model, const Presolver* presolver, SubModel* submodel,
                                         Solution* solution, const IpmOption* options, double* smallest);

// Where `smallest` is below max(1e-4, 100 tolPrimal, 100 tolDual): raises to it the slacks of restored bounds, moving x
// along, the big duals of fixed columns, and the slacks of freed rows. 1003 when something was raised, else 0.
[[nodiscard]] int32_t subRecoverPositive(Solution* solution, const SubModel* submodel, const Model* model,
                                         const IpmOption* options, double smallest);

// Behind the last iteration: what was taken out was inactive, so its complementary partner becomes exactly 0. The duals
// of removed bounds and freed rows; slack and opposite dual of fixed columns.
void CleanSubComplem(Solution* solution, const SubModel* submodel, const Model* model, const IpmOption* options);

}  // namespace qz
