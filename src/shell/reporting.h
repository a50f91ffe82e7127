// What the user is told about the end of a solve, and the measures that reach the model.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "shell/records.h"

namespace qz {

// Sends the messages of a status; silent with printLevel 0 or without a log.
void ipmReportStatus(Env* env, int32_t status, int32_t objSense, int32_t typeModel, const IpmOption* option,
                     double objValue);

// Copies numIter and the five measures of the last iterate into the model; zeros with a null ipm.
void getSolverStat(Model* model, const Ipm* ipm);

}  // namespace qz
