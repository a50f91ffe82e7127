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

Operand packedLeft(const Operand& a, int32_t mc, int32_t nc, int32_t kc, double* pack) {
  if (a.rowStride == 1 && (nc < PACK_A_COLUMNS || a.columnStride < PACK_A_STRIDE)) return a;
  packBlock(a, mc, kc, pack);
  return asStored(pack, PACK_DIM);
}

// The inner dimension in equal chunks of at most PACK_DIM: a short last chunk would read and write C for little work.
int32_t depthOfChunks(int32_t k) {
  const int32_t chunks = (k - 1) / PACK_DIM + 1;
  return (k - 1) / chunks + 1;
}

// All of C without packing B: each block of A is packed once for many columns.
void fullProduct(Update update, int32_t m, int32_t n, int32_t k, const Operand& a, const Operand& b, double* c,
                 int64_t ldc, double* packA) {
  const int32_t depth = depthOfChunks(k);
  for (int32_t p0 = 0; p0 < k; p0 += depth) {
    const int32_t kc = std::min(depth, k - p0);
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
    transposeCopy(rows, columns, x.at, x.rowStride, pack, PACK_DIM);
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
  const int32_t depth = depthOfChunks(k);
  for (int32_t p0 = 0; p0 < k; p0 += depth) {
    const int32_t kc = std::min(depth, k - p0);
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
