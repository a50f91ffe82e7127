// The light path into the engine, for a linear model that the presolver module has reduced already: no reduction, only
// the counts that the standard form needs.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Sets preControl to PRECONTROL_NONE and preRoute, counts free columns, L rows and R rows into hub, and makes the one
// solution that serves inside and outside (*solutionIn and *solutionOut), with room for the columns that the standard
// form appends. A model of equations in free columns alone is answered here, with PREROUTE_FINISHED. 0; -1086; 10 with
// a message for a model without elements; 4 for a column whose lower bound is +infinity or whose upper bound is
// -infinity; or an error of answerFreeSystem.
[[nodiscard]] int32_t ipmPresolveDisabled(Env* env, Model* model, IpmOption* options, Presolver* presolver, Hub* hub,
                                          Solution** solutionIn, Solution** solutionOut);

// Counts the rows of sense L and R into numLcont and numRange.
void countRowSenses(const Model* model, Hub* hub);

}  // namespace qz
