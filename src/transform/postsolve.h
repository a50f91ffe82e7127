// From the solution of the model that the engine saw back to the model that came in.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "submodel/submodel.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Carries solutionIn over to solutionOut; *model is the input model afterwards. Unless the model's status is 1003,
// -1086, 12 or 10, objective value, row activities and reduced costs are computed. 0, or 10 with a message.
[[nodiscard]] int32_t ipmPostsolve(Env* env, Model** model, IpmOption* options, Presolver* presolver,
                                   Solution* solutionIn, Solution* solutionOut, Hub* hub, SubModel* submodel);

// objValue = objSense (c'x + 1/2 x'Qx + objConstant), then the row activities and the reduced costs, at solPrimal and
// solDual.
void evaluateSolution(Env* env, Model* model);
// rowActivity = A x.
void calcRowActivity(Env* env, Model* model);
// reducedCost = c + Q x - A'y.
void calcReducedCost(Env* env, Model* model);

}  // namespace qz
