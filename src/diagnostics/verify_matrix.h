// Checks of sparse matrices, maps and vectors. Every function returns 0; 10 after a breach; -1086 when it could not run
// for lack of memory. All run from level 1.
#pragma once

#include <cstdint>

#include "shell/host_table.h"

namespace qz {

// A matrix major by major. A null length means that major k ends at begin[k + 1].
struct SparseView {
  int32_t numMajor;
  int32_t numMinor;
  const int32_t* begin;
  const int32_t* length;
  const int32_t* index;
  const double* value;

  [[nodiscard]] int32_t end(int32_t k) const { return length != nullptr ? begin[k] + length[k] : begin[k + 1]; }
};

// Indices in range, and no index twice in a major.
[[nodiscard]] int32_t VerifySparseIndex(Env* env, int32_t level, const SparseView& matrix);

// `rows` holds exactly the elements of `columns`, transposed. The names are those of a matrix and its copy by rows; any
// pair of transposes will do. The views' sizes must mirror each other.
[[nodiscard]] int32_t ipmVerifyRowMatrix(Env* env, int32_t level, const SparseView& columns, const SparseView& rows);

// A square matrix with both triangles stored equals its transpose.
[[nodiscard]] int32_t VerifySymMatrix(Env* env, int32_t level, const SparseView& matrix);

// The storage of such a matrix: square, packed without gaps, begin ascending from 0 to numCoef, indices valid.
[[nodiscard]] int32_t VerifySymMatrixFormat(Env* env, int32_t level, const SparseView& matrix, int32_t numCoef);

// A map of n entries: the kept entries are numbered from 0 to numKept - 1 in ascending order, all others hold a code
// from `lowestCode` to -1.
[[nodiscard]] int32_t VerifyMapping(Env* env, int32_t level, int32_t n, const int32_t* map, int32_t numKept,
                                    int32_t lowestCode);

// Every entry is a finite number.
[[nodiscard]] int32_t VerifyVector(Env* env, int32_t level, int32_t n, const double* vector);

// A matrix that goes to a Cholesky factorisation has no negative eigenvalue beyond rounding: one that has, by the
// Rayleigh quotient of a vector, cannot be factored in truth. An eigenvalue near zero is only told, since the
// factorisation takes dependent rows out by itself. A bounded number of products is spent on the search. `negativePart`
// bounds what negative weights take from the eigenvalues, 0 where there are none.
[[nodiscard]] int32_t VerifyMatrixNonsingular(Env* env, int32_t level, const SparseView& matrix, double negativePart);

}  // namespace qz
