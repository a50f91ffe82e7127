// Outliers of a linear model's data, kept out of the computation of scale factors.
#pragma once

#include <cstdint>

#include "shell/pool.h"
#include "shell/records.h"
#include "transform/scaling_balance.h"

namespace qz {

// Where outliers stood and their values: first those of the matrix, then of the costs, then of the right-hand sides.
struct Outliers {
  PoolArray<int32_t> position;  // element, column or row
  PoolArray<int32_t> column;    // of a matrix element
  PoolArray<double> value;
  int32_t number = 0;
  int32_t numMatrix = 0;
  int32_t numObj = 0;
};

// Finds the outliers of matrix, costs and right-hand sides together, overwrites each with the matrix median, and keeps
// them. balance.matrix takes the other two distributions in. 0; -1086; 10, with a message, when the scan does not find
// as many as the histogram counted: nothing is hidden then.
[[nodiscard]] int32_t hideOutliers(Env* env, int32_t debugLevel, Model* model, ObjectiveBalance& balance,
                                   Outliers& outliers);

// Puts the outliers back, each times the factors of its place. Null factors stand for 1.
void restoreOutliers(Model* model, const Outliers& outliers, const double* rowScale, const double* colScale,
                     double objScale);

}  // namespace qz
