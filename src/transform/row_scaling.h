// The row scaling: every row is divided by its largest magnitude and the objective by its own, where these are at least
// 10. rowScale and objScale of hub hold the divisors meanwhile, and scaleState stays 0.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"

namespace qz {

inline constexpr double kLeastDivisor = 10.0;

// objScale becomes the largest |obj|, rowScale (numRow entries) the largest magnitude of each row's elements and rhs;
// what is at least 10 divides; the quadratic term is divided with the costs. Range rows get the divisor 1, since their
// range is not scaled. 0 or -1086.
[[nodiscard]] int32_t iplpScaleRow(Env* env, Model* model, Hub* hub);

// Multiplies costs, elements and right-hand sides back, up to rounding. The dual of a scaled row is divided by its
// divisor, and multiplied by objScale when the objective was scaled; the dual of a row with a divisor below 10 is left
// alone in any case. 0.
[[nodiscard]] int32_t iplpUnscaleRow(Env* env, Model* model, Hub* hub);

// The whole way back behind the engine: iplpUnscaleRow, bound duals and row slacks of the solution, and the divisors
// given back. 0.
[[nodiscard]] int32_t undoRowScaling(Env* env, Model* model, Hub* hub, Solution* solution);

}  // namespace qz
