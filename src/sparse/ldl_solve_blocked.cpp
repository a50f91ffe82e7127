// The solve on block columns stored row by row. Each diagonal block has its own pivots; the rows behind it, be they in
// later block columns of the supernode or below it, are contiguous, so that a row takes one inner product forward and
// one multiple backward.
#include <algorithm>
#include <cstdint>

#include "dense/clones.h"
#include "sparse/ldl_solve.h"
#include "sparse/ldl_solve_panel.h"

namespace qz {

namespace {

constexpr int32_t kLanes = 8;  // partial sums of an inner product
constexpr int32_t kRows = 4;   // rows that a transposed product takes at a time

// One block column of a supernode.
struct BlockColumn {
  int32_t width;
  int32_t height;  // rows from the diagonal down
  int32_t firstColumn;
  const int32_t* rows;    // of these rows
  const int32_t* pivots;  // of its columns
  const double* values;   // row i at i * width
};

int32_t numBlockColumns(const SymbolicFactor* symbolic, int32_t s) {
  return (symbolic->snStart[s + 1] - symbolic->snStart[s] - 1) / symbolic->blockSize + 1;
}

BlockColumn blockColumnOf(const SymbolicFactor* symbolic, int32_t s, int32_t c) {
  const int64_t nb = symbolic->blockSize;
  const int64_t height = symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s];
  const int32_t offset = static_cast<int32_t>(c * nb);
  const int32_t first = symbolic->snStart[s] + offset;
  return {std::min(symbolic->snStart[s + 1] - first, symbolic->blockSize),
          static_cast<int32_t>(height - offset),
          first,
          symbolic->lIndex + symbolic->lIndexBegin[s] + offset,
          symbolic->pivotKind + first,
          symbolic->lValues + symbolic->lValueBegin[s] + c * nb * height - nb * nb * c * (c - 1) / 2};
}

// The rows behind the diagonal block.
const double* behindDiagonal(const BlockColumn& block) {
  return block.values + static_cast<int64_t>(block.width) * block.width;
}

void forwardBlock(const BlockColumn& block, double* y) {
  const int64_t w = block.width;
  const double* a = block.values;
  for (int32_t k = 0; k < w;) {
    const int32_t pivot = block.pivots[k];
    if (pivot >= 0) {
      std::swap(y[k], y[pivot]);
      for (int64_t i = k + 1; i < w; ++i) y[i] -= a[i * w + k] * y[k];
      k += 1;
    } else {
      std::swap(y[k + 1], y[-pivot]);
      for (int64_t i = k + 2; i < w; ++i) y[i] -= a[i * w + k] * y[k] + a[i * w + k + 1] * y[k + 1];
      k += 2;
    }
  }
}

void backwardBlock(const BlockColumn& block, double* y) {
  const int64_t w = block.width;
  const double* a = block.values;
  for (int32_t k = block.width - 1; k >= 0;) {
    const int32_t pivot = block.pivots[k];
    if (pivot >= 0) {
      double sum = 0.0;
      for (int64_t i = k + 1; i < w; ++i) sum += a[i * w + k] * y[i];
      y[k] -= sum;
      std::swap(y[k], y[pivot]);
      k -= 1;
    } else {
      double first = 0.0;
      double second = 0.0;
      for (int64_t i = k + 1; i < w; ++i) {
        first += a[i * w + k - 1] * y[i];
        second += a[i * w + k] * y[i];
      }
      y[k - 1] -= first;
      y[k] -= second;
      std::swap(y[k], y[-pivot]);
      k -= 2;
    }
  }
}

// y[rows behind the diagonal block] -= L x.
QZ_CLONES void subtractBelow(int32_t w, int32_t numRows, const double* __restrict__ values,
                             const int32_t* __restrict__ rows, const double* __restrict__ x, double* y) {
  for (int32_t i = 0; i < numRows; ++i) {
    const double* __restrict__ row = values + static_cast<int64_t>(i) * w;
    double sums[kLanes] = {};
    int32_t k = 0;
    for (; k + kLanes <= w; k += kLanes) {
      for (int32_t lane = 0; lane < kLanes; ++lane) sums[lane] += row[k + lane] * x[k + lane];
    }
    double sum = 0.0;
    if (k > 0) {
      for (int32_t lane = 0; lane < kLanes / 2; ++lane) sums[lane] += sums[lane + kLanes / 2];
      sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    }
    for (; k < w; ++k) sum += row[k] * x[k];
    y[rows[i]] -= sum;
  }
}

// x -= L' y[rows behind the diagonal block], kRows rows in one pass over x.
QZ_CLONES void subtractTransposed(int32_t w, int32_t numRows, const double* __restrict__ values,
                                  const int32_t* __restrict__ rows, const double* y, double* __restrict__ x) {
  const int64_t step = w;
  int32_t i = 0;
  for (; i + kRows <= numRows; i += kRows) {
    const double* __restrict__ row = values + i * step;
    const double y0 = y[rows[i]];
    const double y1 = y[rows[i + 1]];
    const double y2 = y[rows[i + 2]];
    const double y3 = y[rows[i + 3]];
    for (int32_t k = 0; k < w; ++k) {
      x[k] -= (row[k] * y0 + row[k + step] * y1) + (row[k + 2 * step] * y2 + row[k + 3 * step] * y3);
    }
  }
  for (; i < numRows; ++i) {
    const double* __restrict__ row = values + i * step;
    const double value = y[rows[i]];
    for (int32_t k = 0; k < w; ++k) x[k] -= row[k] * value;
  }
}

int32_t sweepForward(const SymbolicFactor* symbolic, double* y) {
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const int32_t columns = numBlockColumns(symbolic, s);
    for (int32_t c = 0; c < columns; ++c) {
      const BlockColumn block = blockColumnOf(symbolic, s, c);
      double* own = y + block.firstColumn;
      forwardBlock(block, own);
      subtractBelow(block.width, block.height - block.width, behindDiagonal(block), block.rows + block.width, own, y);
      const int32_t status = divideByPivots(block.width, block.pivots, block.values, block.width, block.width, own);
      if (status != LA_OK) return status;
    }
  }
  return LA_OK;
}

void sweepBackward(const SymbolicFactor* symbolic, double* y) {
  for (int32_t s = symbolic->numSupernodes - 1; s >= 0; --s) {
    for (int32_t c = numBlockColumns(symbolic, s) - 1; c >= 0; --c) {
      const BlockColumn block = blockColumnOf(symbolic, s, c);
      double* own = y + block.firstColumn;
      subtractTransposed(block.width, block.height - block.width, behindDiagonal(block), block.rows + block.width, y,
                         own);
      backwardBlock(block, own);
    }
  }
}

}  // namespace

int32_t ldl_psolve(int32_t alreadyPermuted, double* in, const SymbolicFactor* symbolic, double* out) {
  double* y = enterFactorOrder(alreadyPermuted, in, symbolic, out);
  const int32_t status = sweepForward(symbolic, y);
  if (status == LA_OK) sweepBackward(symbolic, y);
  leaveFactorOrder(alreadyPermuted, in, symbolic, y);
  return status;
}

}  // namespace qz
