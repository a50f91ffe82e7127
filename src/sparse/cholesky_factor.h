// Numeric Cholesky factorisation P A P' = L L' of an analysed matrix.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/la_env.h"
#include "sparse/lower_matrix.h"

namespace qz {

// Factors a matrix with the pattern that was analysed; the factor can be refilled as often as wanted.
// alreadyPermuted 0: both triangles in the caller's order, of which the permuted lower triangle is copied into
// `numeric`. Otherwise the arrays are the lower triangle in the factor's order, and only read.
//
// With problemKind 0 pivotTolerance is set from the 1-norm a of the matrix, by choleskyPivotTolerance; for other kinds
// it stays, 0 at first. No pivot is a failure: one that is not above the tolerance takes its variable out of the solve
// (dense/dense_cholesky.h), which is how dependent rows of a linear program drop out.
//
// LA_OK; LA_CANCELLED when the cancel word of the calling thread reads 1; LA_INCONSISTENT when n or the number of
// entries is not what was analysed or an entry has no place in the structure; LA_BAD_PARAMETER for a null handle. After
// a failure the factor is undefined.
[[nodiscard]] int32_t LA_FactorMatrixCholesky(int32_t alreadyPermuted, int32_t n, const int32_t* colBegin,
                                              const int32_t* rowIndex, const double* matValue, LAEnv* env,
                                              SymbolicFactor* symbolic, NumericFactor* numeric);

// t g(a) with t the square root of half the machine precision: g is a up to 1/sqrt(t), sqrt(a) up to 1/t, and a^(1/4)
// above, so that the tolerance of a large matrix grows slower than the matrix.
[[nodiscard]] double choleskyPivotTolerance(double norm);

}  // namespace qz
