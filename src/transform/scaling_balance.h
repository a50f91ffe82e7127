// The balance of the objective against the matrix, decided by the quartiles of their magnitudes.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/distribution.h"
#include "transform/hub.h"

namespace qz {

// What the balance of a linear model found.
struct ObjectiveBalance {
  double factor;        // the costs were multiplied by it; 1 when they were left alone
  double matrixMedian;  // of the elements' magnitudes
  int32_t numObj;       // non-zero costs
  Distribution matrix;
  Distribution obj;  // of the costs as they stand behind the balance
};

// When all three quartiles of the costs exceed those of the matrix a hundred times, or the other way round, the costs
// are multiplied by the quotient of the medians, within 1e-6 and 1e6. A median cost of 1e-6 or less is left
// alone. 0, or what the checks of the distributions say at a debug level.
[[nodiscard]] int32_t balanceObjective(Env* env, int32_t debugLevel, Model* model, ObjectiveBalance& balance);

// The same between the quadratic diagonal and the matrix, with a tenfold distance: linear and quadratic costs are
// multiplied, scaleState becomes 1 and objScale the factor; otherwise hub gets objScale 1 alone. Returns as above.
[[nodiscard]] int32_t balanceQuadratic(Env* env, int32_t debugLevel, Model* model, Hub* hub);

}  // namespace qz
