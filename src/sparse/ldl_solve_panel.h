// The pieces that the LDL solves of both storage layouts share: permutation, the pivots of D, and the test for
// overflow.
#pragma once

#include <cmath>
#include <cstdint>

#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// Magnitude from which a solution counts as overflown.
inline constexpr double kSolutionLimit = 1.7976931348623158e304;

// True unless the value is a number below the limit.
inline bool overflown(double value) {
  return !(std::fabs(value) < kSolutionLimit);
}

// y := D^-1 y for the pivots of one diagonal block. Entry (k, k) of the block stands at k * (leading + 1), the entry
// below it `offset` behind. LA_OK, or LA_OVERFLOW with the pivots behind the failing one left alone.
[[nodiscard]] inline int32_t divideByPivots(int32_t width, const int32_t* pivots, const double* values, int64_t leading,
                                            int64_t offset, double* y) {
  for (int32_t k = 0; k < width;) {
    const double* diagonal = values + k * (leading + 1);
    if (pivots[k] >= 0) {
      y[k] /= diagonal[0];
      if (overflown(y[k])) return LA_OVERFLOW;
      k += 1;
    } else {
      const double b = diagonal[offset];
      const double u = diagonal[leading + 1] / b;
      const double v = diagonal[0] / b;
      const double s = y[k] / b;
      const double t = y[k + 1] / b;
      const double determinant = u * v - 1.0;
      y[k] = (u * s - t) / determinant;
      y[k + 1] = (v * t - s) / determinant;
      if (overflown(y[k]) || overflown(y[k + 1])) return LA_OVERFLOW;
      k += 2;
    }
  }
  return LA_OK;
}

// The vector that a solve works on: `out`, filled from `in` when that is in the caller's order.
inline double* enterFactorOrder(int32_t alreadyPermuted, const double* in, const SymbolicFactor* symbolic,
                                double* out) {
  if (alreadyPermuted == 0) {
    for (int32_t j = 0; j < symbolic->numRows; ++j) out[j] = in[symbolic->perm[j]];
  }
  return out;
}

inline void leaveFactorOrder(int32_t alreadyPermuted, double* in, const SymbolicFactor* symbolic, const double* out) {
  if (alreadyPermuted == 0) {
    for (int32_t j = 0; j < symbolic->numRows; ++j) in[symbolic->perm[j]] = out[j];
  }
}

}  // namespace qz
