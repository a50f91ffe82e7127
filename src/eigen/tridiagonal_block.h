// What the tridiagonal iterations share: the search for unreduced blocks, their scaling, and a view on a block from
// either end.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "eigen/tridiagonal_tools.h"

namespace qz {

inline constexpr int32_t kSweepsPerValue = 30;
inline constexpr double kSmallestNormal = std::numeric_limits<double>::min();

// A block of a tridiagonal matrix, read forwards (step 1) or backwards (step -1).
struct TridiagonalBlock {
  double* firstDiag;
  double* firstOff;  // the off-diagonal between the first two entries
  int32_t size;
  int32_t step;
  double& d(int32_t k) const { return firstDiag[static_cast<int64_t>(k) * step]; }
  double& e(int32_t k) const { return firstOff[static_cast<int64_t>(k) * step]; }
};

// The unreduced block that starts at `start`: returns the position behind its end, with the off-diagonal there zeroed.
inline int32_t findUnreducedBlock(int32_t n, int32_t start, const double* diag, double* offDiag) {
  for (int32_t i = start; i + 1 < n; ++i) {
    // Two roots instead of one of the product, which could leave the range.
    const double scale = std::sqrt(std::fabs(diag[i])) * std::sqrt(std::fabs(diag[i + 1]));
    if (std::fabs(offDiag[i]) <= kUnitRoundoff * scale) {
      offDiag[i] = 0.0;
      return i + 1;
    }
  }
  return n;
}

// The block from `start` to `end` (exclusive) from the end where the iteration is to begin.
inline TridiagonalBlock viewBlock(int32_t start, int32_t end, double* diag, double* offDiag) {
  const bool backwards = std::fabs(diag[end - 1]) < std::fabs(diag[start]);
  return backwards ? TridiagonalBlock{diag + end - 1, offDiag + end - 2, end - start, -1}
                   : TridiagonalBlock{diag + start, offDiag + start, end - start, 1};
}

// Off-diagonals that are not zero yet.
inline int32_t countUnconverged(int32_t n, const double* offDiag) {
  return n < 2 ? 0 : static_cast<int32_t>(std::count_if(offDiag, offDiag + n - 1, [](double e) { return e != 0.0; }));
}

// Runs `iterate`(start, end, sweepsLeft) on every unreduced block, scaled to norm 1; false from it ends the run.
template <class Iterate>
int32_t forEachUnreducedBlock(int32_t n, double* diag, double* offDiag, Iterate iterate) {
  int64_t sweepsLeft = static_cast<int64_t>(kSweepsPerValue) * n;
  for (int32_t start = 0; start < n;) {
    const int32_t end = findUnreducedBlock(n, start, diag, offDiag);
    if (end - start > 1) {
      const double norm = NormTridiag(end - start, diag + start, offDiag + start);
      for (int32_t i = start; i < end; ++i) diag[i] /= norm;
      for (int32_t i = start; i + 1 < end; ++i) offDiag[i] /= norm;
      const bool done = iterate(start, end, &sweepsLeft);
      for (int32_t i = start; i < end; ++i) diag[i] *= norm;
      if (!done) return std::max(1, countUnconverged(n, offDiag));
    }
    start = end;
  }
  return 0;
}

}  // namespace qz
