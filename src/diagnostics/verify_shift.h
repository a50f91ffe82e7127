// The shift of the bounds, tried on a solved model.
#pragma once

#include <cstdint>

#include "shell/records.h"

namespace qz {

// Level 3, on a linear model with its solution in the interior point's own terms. Shifts the model and the solution by
// ipmShiftBound with a presolver record of its own, checks rows, bounds and columns as VerifyModelPrimal,
// VerifyModelBound and VerifyModelDual do, undoes the shift and checks them again, and that all data have come back.
// The model and the solution leave as they came, bit for bit. 0, 10 after a breach, -1086.
[[nodiscard]] int32_t VerifyShiftBound(Env* env, int32_t level, Model* model, IpmOption* option, Solution* solution);

}  // namespace qz
