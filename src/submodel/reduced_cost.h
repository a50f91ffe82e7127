// The reduced cost of single columns, c_j + (Q x)_j - a_j'y, where the whole vector is not wanted.
#pragma once

#include <cstdint>

#include "shell/pool.h"
#include "shell/records.h"

namespace qz {

// gradient = c + Q x, numCol entries, allocated here. 0; -1086; 10 for a model that is neither linear nor quadratic.
[[nodiscard]] int32_t makeGradient(Env* env, const Model* model, const double* x, PoolArray<double>& gradient);

// Column j of the matrix times y.
[[nodiscard]] double columnTimes(const Model* model, int32_t j, const double* y);

}  // namespace qz
