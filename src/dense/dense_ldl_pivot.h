// What the two forms of the pivot search share.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "dense/blas.h"

namespace qz {

// (1 + sqrt 17) / 8, which bounds the growth of one 2-by-2 step by that of two 1-by-1 steps (Bunch and Kaufman 1977).
inline constexpr double kBunchKaufmanAlpha = 0.6403882032022076;

// Position and magnitude of the largest of `count` entries; (0, 0) when there is none. Never outside the range,
// whatever the entries are.
struct LargestEntry {
  int32_t position;
  double magnitude;
};

inline LargestEntry largestEntry(int32_t count, const double* x, int32_t increment) {
  if (count <= 0) return {0, 0.0};
  if (count > 64) {
    const int32_t found = std::clamp(blas::idamax(count, x, increment), 1, count) - 1;
    return {found, std::fabs(x[static_cast<int64_t>(found) * increment])};
  }
  LargestEntry largest{0, std::fabs(x[0])};
  for (int32_t i = 1; i < count; ++i) {
    const double magnitude = std::fabs(x[static_cast<int64_t>(i) * increment]);
    if (magnitude > largest.magnitude) largest = {i, magnitude};
  }
  return largest;
}

// Magnitude from which the diagonal entry of column k serves as it stands, given the largest entries below it and in
// the row of that entry.
inline double diagonalThreshold(double colmax, double rowmax) {
  return rowmax == 0.0 ? std::numeric_limits<double>::max() : kBunchKaufmanAlpha * colmax * (colmax / rowmax);
}

// The pivot that stands in for a column without one: the tolerance with the sign of the diagonal entry, zero of either
// sign counting as positive.
inline double perturbedPivot(double diagonal, double tolerance) {
  return diagonal >= 0.0 ? tolerance : -tolerance;
}

// The inverse of the 2-by-2 pivot (a b; b c), free of overflow: with u = a/b, v = c/b and s = 1/(b (u v - 1)) it takes
// (x, y) to ((v x - y) s, (u y - x) s).
struct InversePair {
  double u;
  double v;
  double s;
};

inline InversePair invertPair(double a, double b, double c) {
  const double u = a / b;
  const double v = c / b;
  return {u, v, 1.0 / (b * (u * v - 1.0))};
}

}  // namespace qz
