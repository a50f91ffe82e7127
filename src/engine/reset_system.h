// The linear system of the exact point on a face of the feasible set.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "engine/reset_partition.h"
#include "shell/pool.h"

namespace qz {

// With the kept columns K, the fixed columns F at their bounds v, and the kept rows R as equations:
//   [ -Q_KK  A_RK' ] (x_K)   ( c_K + Q_KF v )
//   [  A_RK  0     ] (y_R) = ( b_R - A_RF v )
// Both triangles are stored, columns in the numbering of the partition, rows behind them. Every diagonal is stored.
struct ResetSystem {
  int32_t numDim = 0;
  PoolArray<int32_t> begin;  // numDim + 1
  PoolArray<int32_t> index;
  PoolArray<double> value;
  PoolArray<double> rhs;    // numDim
  PoolArray<double> start;  // numDim: the iterate's x and y
};

// The bound at which a fixed column sits.
[[nodiscard]] inline double fixedValue(const Ipm* ipm, const ResetPartition& partition, int32_t j) {
  return partition.colState[j] == RESET_AT_LOWER ? ipm->lower[j] : ipm->upper[j];
}

// Builds the system in arrays of its own. 0, or -1086, also for a size that 32-bit positions cannot hold.
[[nodiscard]] int32_t makeResetSystem(const Ipm* ipm, const ResetPartition& partition, ResetSystem* system);

}  // namespace qz
