// The solver's own presolve, behind the presolver module: it removes what the interior-point method dislikes,
// singleton, redundant and forcing rows, fixed and empty columns, and tightens bounds.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "submodel/submodel.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Presolves *model and decides preControl and preRoute of the zeroed presolver. With PRECONTROL_REDUCED *model becomes
// a new reduced model, and inModel keeps the input; with PRECONTROL_BOUND the model holds the tight bounds and the
// presolver the user's. Makes *solutionIn, the solution of the input model, and *solutionOut, the one that the engine
// fills (the same record unless the model was reduced); when presolve runs again on a submodel (initOption at least
// kInitOptionSubmodel) *solutionIn is given. hub gets the counts of free columns, L rows and R rows.
//
// A model that is, or becomes, a system of equations in free columns is answered here: with PREROUTE_FINISHED *model
// has the answer and nothing is left to do, with PREROUTE_SOLVED the postsolve is.
//
// 0; with PREROUTE_SOLVED the status of the answer, 1 when nothing was left to solve; 3 or 4 when a rule or an equation
// shows the model infeasible or unbounded; 1000 for a system whose Hessian is not convex; 1003 from a re-entry; 10 with
// a message; -1086; 12 for a cancelled factorisation. After a failure the records free what was made.
[[nodiscard]] int32_t ipmPresolve(Env* env, Model** model, IpmOption* options, Presolver* presolver, Hub* hub,
                                  Solution** solutionIn, Solution** solutionOut, SubModel* submodel);

// Passes over the columns and rows that changed since they were last looked at, columns first, until nothing changes or
// maxPass is reached. 0, 3, 4, 10, or 1003 when a removed empty row asked for it and nothing worse happened.
[[nodiscard]] int32_t ipmPreLoop(Env* env, const Model* model, const IpmOption* options, Presolver* presolver,
                                 const Solution* solution);

}  // namespace qz
