// The last direction of a solve, kept for the crossover's hand-off.
#pragma once

#include "engine/ipm.h"
#include "submodel/submodel.h"
#include "transform/hub.h"

namespace qz {

// Copies the engine's last combined direction and its two steps into hub->keptSolution, which must not exist yet (else
// status 10). The arrays are as long as the larger of the model's and the Hub's dimensions, zero behind the model. With
// a submodel's maps entry j takes the engine's entry colMapSub[j], and -1 is skipped; without them the engine must have
// the model's dimensions, else status 10. -1086 when memory is short; what exists then is freed with the Hub.
[[nodiscard]] int32_t recordDirection(const Ipm* ipm, const Model* model, Hub* hub, const SubModel* submodel);

}  // namespace qz
