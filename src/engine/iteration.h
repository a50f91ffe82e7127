// The predictor-corrector iteration (Mehrotra 1992): one factorisation and two solves per iteration.
#pragma once

#include "engine/ipm.h"
#include "submodel/submodel.h"
#include "transform/hub.h"

namespace qz {

// Iterates from the point in `ipm` until something stops it. Returns a status of the solve, or QZ_STATUS_RESTART or
// QZ_STATUS_UNSCALE for the controller; ipm->status usually holds the same. `submodel` may be null. numIter counts over
// all calls of a solve.
[[nodiscard]] int32_t ipmMethod(Ipm* ipm, Hub* hub, SubModel* submodel);

// The iteration's line in the log, by printLevel and logFrequency; the last iteration's line always.
void printLog(const Ipm* ipm);

}  // namespace qz
