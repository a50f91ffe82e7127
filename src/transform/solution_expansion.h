// The solution of the reduced model, brought to the input model by the maps of the presolve.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"
#include "transform/presolver.h"

namespace qz {

// Expands solutionIn (of the reduced model; may be null, then only removed rows and columns are written) into
// solutionOut of presolver->inModel. A removed column gets its fixed value, or the best value of its own objective
// term; a removed row gets dual and slack 0. With keepPrimal 1 an empty column keeps its value as far as its bounds
// allow. The kept direction of hub, if there is one, is expanded in place with zeros for what was removed. hub may be
// null.
void outputSolution(const Presolver* presolver, const Solution* solutionIn, Solution* solutionOut, Hub* hub,
                    int32_t keepPrimal, double infinity);

}  // namespace qz
