#include "dense/packed_product.h"

#include <algorithm>
#include <cstring>

#include "dense/kernels.h"

namespace qz {

namespace {

// Packing a block costs one pass over it and pays when the block is read often and from many pages. Below these sizes
// of the other dimension, and below this leading dimension, the tiles read the matrix itself (bench/kernels.cpp).
constexpr int32_t PACK_A_COLUMNS = 64;
constexpr int64_t PACK_A_STRIDE = 256;
constexpr int32_t PACK_B_ROWS = 64;
constexpr int64_t PACK_B_STRIDE = 256;
// Columns of C that one packed block of A serves while B is read where it lies: PACK_DIM rows of them stay in the
// second cache.
constexpr int32_t WIDE_COLUMNS = 4 * PACK_DIM;
constexpr int32_t LOOP_COPY = 12;  // up to this length a loop is faster than a block copy

void clearRegion(Region region, int32_t m, int32_t n, double* c, int64_t ldc) {
  for (int32_t j = 0; j < n; ++j) {
    const int32_t from = region == Region::LOWER ? std::min(j, m) : 0;
    const int32_t to = region == Region::UPPER ? std::min(j + 1, m) : m;
    std::fill(c + j * ldc + from, c + j * ldc + to, 0.0);
  }
}

void packColumns(const Operand& x, int32_t rows, int32_t columns, double* pack) {
  for (int32_t p = 0; p < columns; ++p) {
    const double* from = x.at + p * x.columnStride;
    double* to = pack + static_cast<int64_t>(p) * PACK_DIM;
    if (rows <= LOOP_COPY) {
      for (int32_t i = 0; i < rows; ++i) to[i] = from[i];
    } else {
      std::memcpy(to, from, static_cast<size_t>(rows) * sizeof(double));
    }
  }
}

// Four rows of op(X) at a time, so that every store fills half a cache line of the pack.
void packRows(const Operand& x, int32_t rows, int32_t columns, double* pack) {
  int32_t i = 0;
  for (; i + 4 <= rows; i += 4) {
    const double* __restrict row0 = x.at + i * x.rowStride;
    const double* __restrict row1 = row0 + x.rowStride;
    const double* __restrict row2 = row1 + x.rowStride;
    const double* __restrict row3 = row2 + x.rowStride;
    double* __restrict to = pack + i;
    for (int32_t p = 0; p < columns; ++p, to += PACK_DIM) {
      to[0] = row0[p];
      to[1] = row1[p];
      to[2] = row2[p];
      to[3] = row3[p];
    }
  }
  for (; i < rows; ++i) {
    const double* __restrict row = x.at + i * x.rowStride;
    for (int32_t p = 0; p < columns; ++p) pack[i + static_cast<int64_t>(p) * PACK_DIM] = row[p];
  }
}

Operand packedLeft(const Operand& a, int32_t mc, int32_t nc, int32_t kc, double* pack) {
  if (a.rowStride == 1 && (nc < PACK_A_COLUMNS || a.columnStride < PACK_A_STRIDE)) return a;
  packBlock(a, mc, kc, pack);
  return asStored(pack, PACK_DIM);
}

// All of C without packing B: each block of A is packed once for many columns.
void fullProduct(Update update, int32_t m, int32_t n, int32_t k, const Operand& a, const Operand& b, double* c,
                 int64_t ldc, double* packA) {
  for (int32_t p0 = 0; p0 < k; p0 += PACK_DIM) {
    const int32_t kc = std::min(PACK_DIM, k - p0);
    const Update now = update == Update::SET && p0 > 0 ? Update::PLUS : update;
    for (int32_t j0 = 0; j0 < n; j0 += WIDE_COLUMNS) {
      const int32_t nc = std::min(WIDE_COLUMNS, n - j0);
      for (int32_t i0 = 0; i0 < m; i0 += PACK_DIM) {
        const int32_t mc = std::min(PACK_DIM, m - i0);
        const Operand left = packedLeft(shifted(a, i0, p0), mc, nc, kc, packA);
        tileProduct(Region::FULL, now, mc, nc, kc, left, shifted(b, p0, j0), c + i0 + j0 * ldc, ldc);
      }
    }
  }
}

// The tiles broadcast the entries of B, so that any stride will do; it is packed with its columns as rows.
Operand packedRight(const Operand& b, int32_t m, int32_t nc, int32_t kc, double* pack) {
  if (pack == nullptr || m < PACK_B_ROWS || std::max(b.rowStride, b.columnStride) < PACK_B_STRIDE) return b;
  packBlock({b.at, b.columnStride, b.rowStride}, nc, kc, pack);
  return transposed(pack, PACK_DIM);
}

}  // namespace

void packBlock(const Operand& x, int32_t rows, int32_t columns, double* pack) {
  if (x.rowStride == 1) {
    packColumns(x, rows, columns, pack);
  } else {
    packRows(x, rows, columns, pack);
  }
}

void packedProduct(Region region, Update update, int32_t m, int32_t n, int32_t k, const Operand& a, const Operand& b,
                   double* c, int64_t ldc, double* packA, double* packB) {
  if (m <= 0 || n <= 0) return;
  if (k <= 0) {
    if (update == Update::SET) clearRegion(region, m, n, c, ldc);
    return;
  }
  if (region == Region::FULL && packB == nullptr) {
    fullProduct(update, m, n, k, a, b, c, ldc, packA);
    return;
  }
  for (int32_t p0 = 0; p0 < k; p0 += PACK_DIM) {
    const int32_t kc = std::min(PACK_DIM, k - p0);
    const Update now = update == Update::SET && p0 > 0 ? Update::PLUS : update;
    for (int32_t j0 = 0; j0 < n; j0 += PACK_DIM) {
      const int32_t nc = std::min(PACK_DIM, n - j0);
      const Operand right = packedRight(shifted(b, p0, j0), m, nc, kc, packB);
      const int32_t firstRow = region == Region::LOWER ? j0 : 0;
      const int32_t endRow = region == Region::UPPER ? std::min(m, j0 + PACK_DIM) : m;
      for (int32_t i0 = firstRow; i0 < endRow; i0 += PACK_DIM) {
        const int32_t mc = std::min(PACK_DIM, endRow - i0);
        const Operand left = packedLeft(shifted(a, i0, p0), mc, nc, kc, packA);
        tileProduct(i0 == j0 ? region : Region::FULL, now, mc, nc, kc, left, right, c + i0 + j0 * ldc, ldc);
      }
    }
  }
}

}  // namespace qz
