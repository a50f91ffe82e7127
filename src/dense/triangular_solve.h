// The blocked triangular solves behind my_dtrsm, also for unit diagonals.
#pragma once

#include <cstdint>

#include "dense/tile_product.h"

namespace qz {

enum class Shape : int32_t { LOWER, UPPER };  // of op(A), as it is applied

// B := T^-1 B, T m by m (one stride is 1), B m by n. Buffers as kernels.h says for the order of T; packB null:
// right-hand sides are never packed.
void solveLeft(Shape shape, bool unit, int32_t m, int32_t n, const Operand& t, double* b, int32_t ldb, double* packA,
               double* packB);

// B := B L^-T, L n by n lower, B m by n.
void solveRightLowerTransposed(bool unit, int32_t m, int32_t n, const double* a, int32_t lda, double* b, int32_t ldb,
                               double* packA, double* packB);

}  // namespace qz
