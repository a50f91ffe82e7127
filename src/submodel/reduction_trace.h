// The controller's part of the story of big values, told at level 0 of the log when the debug level is above 0: what a
// reduction left, what became of it, what came back.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"

namespace qz {

// The reduced model, and how many entries of each kind it goes without.
void traceReduction(const Ipm* ipm, const SubModel* submodel, const Model* reduced);
// The reduction was given up with `status`.
void traceLost(const Ipm* ipm, int32_t status);
// The outer model is back: the status of the reduced run, the least slack or dual restored, what comes besides.
void traceRecovery(const Ipm* ipm, const SubModel* submodel, int32_t status, double smallest);

}  // namespace qz
