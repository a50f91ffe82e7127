// Products of any size in chunks of PACK_DIM: what of an operand needs it is packed, the rest is read where it lies.
#pragma once

#include <cstdint>

#include "dense/tile_product.h"

namespace qz {

// C (m by n) updated by P = A B, A m by k, B k by n, on the given region of C (triangles: m = n). One stride of A is 1.
// k <= 0 clears the region for SET and does nothing otherwise. Buffers as kernels.h says; packB null: B is never
// packed.
void packedProduct(Region region, Update update, int32_t m, int32_t n, int32_t k, const Operand& a, const Operand& b,
                   double* c, int64_t ldc, double* packA, double* packB);

// Copies op(X), rows by columns, to pack[i + PACK_DIM * p]. One stride of x is 1.
void packBlock(const Operand& x, int32_t rows, int32_t columns, double* pack);

}  // namespace qz
