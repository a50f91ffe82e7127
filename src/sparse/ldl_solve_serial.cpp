// The solve on panels in column order.
//
// Rows below a supernode are scattered over the vector: they are worked on in chunks that are gathered into a small
// buffer, so that the loops over the panel run on contiguous data. No BLAS: the panels are read once and most are
// small.
#include <algorithm>
#include <cstdint>

#include "sparse/ldl_solve.h"
#include "sparse/ldl_solve_panel.h"

namespace qz {

namespace {

constexpr int32_t kChunk = 512;  // rows of a chunk
constexpr int32_t kLanes = 4;    // partial sums of an inner product

struct Panel {
  int32_t width;
  int32_t height;
  const int32_t* rows;    // of the panel
  const int32_t* pivots;  // of its columns
  const double* values;   // leading dimension height
  int32_t firstColumn;

  const double* column(int32_t k) const { return values + static_cast<int64_t>(k) * height; }
};

Panel panelOf(const SymbolicFactor* symbolic, int32_t s) {
  const int32_t first = symbolic->snStart[s];
  const int64_t rowsBegin = symbolic->lIndexBegin[s];
  return {symbolic->snStart[s + 1] - first,
          static_cast<int32_t>(symbolic->lIndexBegin[s + 1] - rowsBegin),
          symbolic->lIndex + rowsBegin,
          symbolic->pivotKind + first,
          symbolic->lValues + symbolic->lValueBegin[s],
          first};
}

// y := y - a x
void subtractColumn(int32_t n, const double* __restrict__ a, double x, double* __restrict__ y) {
  for (int32_t i = 0; i < n; ++i) y[i] -= a[i] * x;
}

// The inner product as a fixed number of partial sums, which the compiler may keep in one vector.
double innerProduct(int32_t n, const double* __restrict__ a, const double* __restrict__ y) {
  double sums[kLanes] = {0.0, 0.0, 0.0, 0.0};
  int32_t i = 0;
  for (; i + kLanes <= n; i += kLanes) {
    for (int32_t lane = 0; lane < kLanes; ++lane) sums[lane] += a[i + lane] * y[i + lane];
  }
  double sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
  for (; i < n; ++i) sum += a[i] * y[i];
  return sum;
}

// L^-1 on the rows of the diagonal block.
void forwardBlock(const Panel& panel, double* y) {
  const int32_t w = panel.width;
  for (int32_t k = 0; k < w;) {
    const int32_t pivot = panel.pivots[k];
    const double* column = panel.column(k);
    if (pivot >= 0) {
      std::swap(y[k], y[pivot]);
      subtractColumn(w - k - 1, column + k + 1, y[k], y + k + 1);
      k += 1;
    } else {
      std::swap(y[k + 1], y[-pivot]);
      subtractColumn(w - k - 2, column + k + 2, y[k], y + k + 2);
      subtractColumn(w - k - 2, column + panel.height + k + 2, y[k + 1], y + k + 2);
      k += 2;
    }
  }
}

// L^-T on the rows of the diagonal block, the interchanges undone last.
void backwardBlock(const Panel& panel, double* y) {
  const int32_t w = panel.width;
  for (int32_t k = w - 1; k >= 0;) {
    const int32_t pivot = panel.pivots[k];
    const double* column = panel.column(k);
    y[k] -= innerProduct(w - k - 1, column + k + 1, y + k + 1);
    if (pivot >= 0) {
      std::swap(y[k], y[pivot]);
      k -= 1;
    } else {
      y[k - 1] -= innerProduct(w - k - 1, column - panel.height + k + 1, y + k + 1);
      std::swap(y[k], y[-pivot]);
      k -= 2;
    }
  }
}

// y[rows below] -= L x, x being the part of y in the panel's columns.
void subtractBelow(const Panel& panel, const double* __restrict__ x, double* y) {
  const int32_t h = panel.height;
  const int32_t* __restrict__ rows = panel.rows;
  if (panel.width == 1) {
    const double* __restrict__ column = panel.values;
    const double x0 = x[0];
    for (int32_t i = 1; i < h; ++i) y[rows[i]] -= column[i] * x0;
    return;
  }
  double sum[kChunk];
  for (int32_t begin = panel.width; begin < h; begin += kChunk) {
    const int32_t count = std::min(kChunk, h - begin);
    const double* __restrict__ first = panel.column(0) + begin;
    const double* __restrict__ second = panel.column(1) + begin;
    for (int32_t i = 0; i < count; ++i) sum[i] = first[i] * x[0] + second[i] * x[1];
    int32_t k = 2;
    for (; k + 4 <= panel.width; k += 4) {
      const double* __restrict__ c0 = panel.column(k) + begin;
      const double* __restrict__ c1 = c0 + h;
      const double* __restrict__ c2 = c1 + h;
      const double* __restrict__ c3 = c2 + h;
      const double x0 = x[k];
      const double x1 = x[k + 1];
      const double x2 = x[k + 2];
      const double x3 = x[k + 3];
      for (int32_t i = 0; i < count; ++i) sum[i] += (c0[i] * x0 + c1[i] * x1) + (c2[i] * x2 + c3[i] * x3);
    }
    for (; k < panel.width; ++k) {
      const double* __restrict__ column = panel.column(k) + begin;
      for (int32_t i = 0; i < count; ++i) sum[i] += column[i] * x[k];
    }
    for (int32_t i = 0; i < count; ++i) y[rows[begin + i]] -= sum[i];
  }
}

// x -= L' y[rows below].
void subtractTransposed(const Panel& panel, const double* y, double* __restrict__ x) {
  const int32_t h = panel.height;
  const int32_t* __restrict__ rows = panel.rows;
  if (panel.width == 1) {
    const double* __restrict__ column = panel.values;
    double sum = 0.0;
    for (int32_t i = 1; i < h; ++i) sum += column[i] * y[rows[i]];
    x[0] -= sum;
    return;
  }
  double gathered[kChunk];
  for (int32_t begin = panel.width; begin < h; begin += kChunk) {
    const int32_t count = std::min(kChunk, h - begin);
    for (int32_t i = 0; i < count; ++i) gathered[i] = y[rows[begin + i]];
    for (int32_t k = 0; k < panel.width; ++k) x[k] -= innerProduct(count, panel.column(k) + begin, gathered);
  }
}

// L^-1 and D^-1, supernode by supernode: a supernode is done with its own rows once the rows below were reduced.
int32_t sweepForward(const SymbolicFactor* symbolic, double* y) {
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const Panel panel = panelOf(symbolic, s);
    double* own = y + panel.firstColumn;
    forwardBlock(panel, own);
    subtractBelow(panel, own, y);
    const int32_t status = divideByPivots(panel.width, panel.pivots, panel.values, panel.height, 1, own);
    if (status != LA_OK) return status;
  }
  return LA_OK;
}

void sweepBackward(const SymbolicFactor* symbolic, double* y) {
  for (int32_t s = symbolic->numSupernodes - 1; s >= 0; --s) {
    const Panel panel = panelOf(symbolic, s);
    double* own = y + panel.firstColumn;
    subtractTransposed(panel, y, own);
    backwardBlock(panel, own);
  }
}

}  // namespace

int32_t ldl_solve(int32_t alreadyPermuted, double* in, const SymbolicFactor* symbolic, double* out) {
  double* y = enterFactorOrder(alreadyPermuted, in, symbolic, out);
  const int32_t status = sweepForward(symbolic, y);
  if (status == LA_OK) sweepBackward(symbolic, y);
  leaveFactorOrder(alreadyPermuted, in, symbolic, y);
  return status;
}

}  // namespace qz
