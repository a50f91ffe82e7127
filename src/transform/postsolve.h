// From the solution of the model that the engine saw back to the model that came in.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "submodel/submodel.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Carries solutionIn over to solutionOut; *model is the input model with the user's bounds afterwards, and a reduced
// model is freed. Unless the model's status is 1003, -1086, 12 or 10, objective value, row activities and reduced costs
// are computed, and behind a presolve that changed the model duals and row slacks are repaired. 0; -1086; 10 with a
// message.
[[nodiscard]] int32_t ipmPostsolve(Env* env, Model** model, IpmOption* options, Presolver* presolver,
                                   Solution* solutionIn, Solution* solutionOut, Hub* hub, SubModel* submodel);

// objValue = objSense (c'x + 1/2 x'Qx + objConstant), then the row activities and the reduced costs, at solPrimal and
// solDual.
void evaluateSolution(Env* env, Model* model);
// rowActivity = A x.
void calcRowActivity(Env* env, Model* model);
// reducedCost = c + Q x - A'y.
void calcReducedCost(Env* env, Model* model);

// The slacks of removed rows, and of rows that lost a side in presolve, from the row activities. FIXED rows are tight
// and keep theirs.
void adjustRowActivity(const Model* model, const Presolver* presolver, Solution* solution);

// Reports at level 0 which equation would replace a free column: of its E rows the one with the fewest elements, among
// those with the largest element of the column. Needs the working matrices of the presolver.
void replaceFreeVar(Env* env, const IpmOption* options, const void* unused, const Presolver* presolver, int32_t col);

}  // namespace qz
