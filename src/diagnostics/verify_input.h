// The model as it enters the pipeline.
#pragma once

#include <cstdint>

#include "shell/records.h"

namespace qz {

// Level 1. Arrays that the counts ask for; the type against the quadratic part; every column of both matrices: room,
// indices in range and not repeated (strictly below the diagonal in the quadratic triangle), magnitudes from 1e-20 to
// 1e20; senses (in either case, N for a free row) and widths of range rows; an activity of zero; a break callback
// exactly when it has data. Returns 0, 10 after a breach, -1086.
[[nodiscard]] int32_t ipmVerifyInput(Env* env, int32_t level, const Model* model);

}  // namespace qz
