// The road of a quadratic model, which the module's entry for linear ones does not take: the library calls the stages
// of the solver's core itself.
#pragma once

#include "host/api_model.h"
#include "qzipsolve/host.h"
#include "qzipsolve/options.h"

namespace qzhost {

// Solves the model with its quadratic part and writes answer, measures and times into the record, whose sense, break
// callback and constant count as they do for a linear model. `log` may be null. Returns the status, which the record
// holds too; -1086 also when the timer's module can't be loaded. An optimum that the caller's own data do not confirm
// is demoted to a failure.
int32_t solveQuadratic(ModelData& data, LpOptions* options, QzLog* log);

}  // namespace qzhost
