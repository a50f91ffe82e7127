// The inner product loop of all level 3 kernels: a block of C plus, minus or set to the product of two blocks, held in
// register tiles. There is one compiled form per processor family, chosen at run time; all forms of a family give the
// same bits for the same sizes, whatever the alignment. Forms with fused multiply-add round less often than the plain
// one.
#pragma once

#include <cstdint>

namespace qz {

// A block of op(X): entry (i, p) at at[i * rowStride + p * columnStride].
struct Operand {
  const double* at;
  int64_t rowStride;
  int64_t columnStride;
};

inline Operand asStored(const double* x, int32_t ld) {
  return {x, 1, ld};
}
inline Operand transposed(const double* x, int32_t ld) {
  return {x, ld, 1};
}
inline Operand shifted(const Operand& x, int64_t row, int64_t column) {
  return {x.at + row * x.rowStride + column * x.columnStride, x.rowStride, x.columnStride};
}

enum class Region : int32_t { FULL, LOWER, UPPER };  // which entries of C are touched: all, i >= j, i <= j
enum class Update : int32_t { SET, PLUS, MINUS };    // C := P, C + P, C - P

// C (m by n) updated by P = A B with A m by k, a.rowStride 1, and B k by n in any strides. k >= 1; m, n >= 0. C may
// share a matrix with A or B, but no entry.
void tileProduct(Region region, Update update, int32_t m, int32_t n, int32_t k, const Operand& a, const Operand& b,
                 double* c, int64_t ldc);

// to[i + p * ldTo] := from[i * ldFrom + p] for i below rows, p below columns.
void transposeCopy(int32_t rows, int32_t columns, const double* from, int64_t ldFrom, double* to, int64_t ldTo);

// The compiled forms, and the one that suits this processor. A form must only be called on a processor that has its
// instructions.
enum class TileForm : int32_t { PLAIN, AVX2, AVX512 };
TileForm tileFormOfProcessor();

using TileProduct = void(Region region, Update update, int32_t m, int32_t n, int32_t k, const Operand& a,
                         const Operand& b, double* c, int64_t ldc);
using TransposeCopy = void(int32_t rows, int32_t columns, const double* from, int64_t ldFrom, double* to, int64_t ldTo);
TileProduct tileProductPlain;
TransposeCopy transposeCopyPlain;
#if defined(__x86_64__)
TileProduct tileProductAvx2;
TileProduct tileProductAvx512;
TransposeCopy transposeCopyAvx2;
TransposeCopy transposeCopyAvx512;
#endif

}  // namespace qz
