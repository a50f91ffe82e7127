// The model as the engine sees it.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "submodel/submodel.h"
#include "transform/hub.h"

namespace qz {

// Level 1. The invariants of the standard form: the dimensions (a row or column that the submodel has taken out counts
// as present), the slack column of each range row, the two halves of each split column. A slack whose upper bound the
// submodel has removed is free above. The submodel may be null. Returns 0 or 10.
[[nodiscard]] int32_t VerifyExtendedModel(const Ipm* ipm, int32_t level, const Hub* hub, const SubModel* submodel);

}  // namespace qz
