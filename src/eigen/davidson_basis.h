// The basis of a Davidson iteration: V, its image W = A V, the projection H = V'W, and the Ritz pairs.
#pragma once

#include <cstdint>

#include "eigen/correction.h"

namespace qz {

struct DavidsonBasis {
  SparseSymMatrix matrix;
  bool smallest;     // Ritz values ascend, otherwise they descend
  int32_t maxCount;  // columns of room
  int32_t count;     // columns in use
  int64_t products;  // with A so far
  uint32_t seed[4];
  double normEstimate;   // largest magnitude of a Ritz value seen
  double* V;             // n by maxCount, orthonormal
  double* W;             // n by maxCount
  double* H;             // maxCount by maxCount, both triangles, leading dimension maxCount like the next two
  double* coefficients;  // of the Ritz vectors in V, in the order of the values
  double* kept;          // at a restart, the coefficients of the new basis in the old one
  double* ritzValues;    // maxCount
  double* previous;      // maxCount: coefficients of the target of the step before, zero where the basis has grown
  double* scratch;       // basisScratchEntries(maxCount)
};

// Doubles of everything in the basis; a count in floating point, as it may leave the range of integers.
[[nodiscard]] double basisEntries(int32_t n, int32_t maxCount);
// Cuts the arrays; returns the place behind them.
double* cutBasis(DavidsonBasis* basis, double* memory);

// Orthonormalises the columns count to `upTo` - 1 of V against all before them, and completes W and H. Returns 0 or 11.
[[nodiscard]] int32_t extendBasis(DavidsonBasis* basis, int32_t upTo);
// The same for random columns.
[[nodiscard]] int32_t extendRandomly(DavidsonBasis* basis, int32_t upTo);
// Ritz values and coefficients from H. Returns 0 or 10.
[[nodiscard]] int32_t computeRitzPairs(DavidsonBasis* basis);
// x := V s and y := A x of Ritz pair j; y may be null.
void formRitzVector(const DavidsonBasis& basis, int32_t j, double* x, double* y);
// Shrinks the basis to its first `keep` Ritz vectors and, where it has a part of its own, the previous direction; keep
// is below maxCount. The Ritz values keep their order. Returns 0, 10 or 11.
[[nodiscard]] int32_t restartBasis(DavidsonBasis* basis, int32_t keep);

}  // namespace qz
