// Tiny right-hand sides and costs of the scaled model, near the tolerances of the engine: noise is taken out and put
// back when the model is unscaled; what lies between noise and tolerance is lifted by the factor of its row or column.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/hub.h"

namespace qz {

// Limits of the two bands: a non-zero magnitude below `noise` is taken out, one from there to below `limit` lifted to
// it.
struct SmallBand {
  bool on;
  double noise;
  double limit;
};

// The bands of a vector around `limit`. They end where the data leave a gap: when the decades just below the limit
// hang together with larger values, or with three decades of values, only what lies below the whole run counts.
[[nodiscard]] SmallBand findSmallBand(Env* env, int32_t n, const double* vector, double limit);

// Works on the scaled model: costs and tiny boxes by columns against 10 tolDual, then right-hand sides by rows against
// 10 tolPrimal. What was taken out goes to the small-data lists of hub; the lifts multiply the factor arrays, which are
// made when they are not there. unscaleCheck becomes 1 when a cost or right-hand side was lifted. 0 or -1086.
[[nodiscard]] int32_t settleSmallData(Env* env, Model* model, IpmOption* options, Hub* hub);

}  // namespace qz
