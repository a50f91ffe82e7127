#include "sparse/block_update.h"

#include <algorithm>

namespace qz {

ProductStrip stripFrom(const SymbolicFactor* symbolic, int32_t s, const BlockUpdate& update, PlaceRange rows,
                       PlaceRange cols, int64_t room) {
  ProductStrip strip{update.rows, update.cols, nullptr};
  const int64_t rowsLeft = rows.to - update.rows.from;
  const int64_t numCols = update.cols.to - update.cols.from;
  const bool firstRun = update.rows.from == std::max(rows.from, update.cols.from);
  if (firstRun && numCols * rowsLeft <= room) {
    // All rows, and column run after column run.
    strip.rows.to = rows.to;
    const auto behind = static_cast<int32_t>(std::min<int64_t>(update.cols.from + room / rowsLeft, cols.to));
    if (behind == cols.to) {
      strip.cols.to = behind;
    } else {
      for (int32_t end = update.cols.to; end <= behind; end = nextColumnRun(symbolic, s, end, cols.to).end) {
        strip.cols.to = end;
      }
    }
    return strip;
  }
  // One column run, and row run after row run.
  const auto behind = static_cast<int32_t>(std::min<int64_t>(update.rows.from + room / numCols, rows.to));
  if (behind == rows.to) {
    strip.rows.to = behind;
    return strip;
  }
  const BlockGrid grid = blockGridOf(symbolic, update.target);
  const int32_t* sourceRows = symbolic->lIndex + symbolic->lIndexBegin[s];
  const int32_t* targetRows = symbolic->lIndex + symbolic->lIndexBegin[update.target];
  for (int32_t end = update.rows.to; end <= behind; end = nextRun(sourceRows, end, rows.to, targetRows, grid).end) {
    strip.rows.to = end;
  }
  return strip;
}

namespace {

void subtractContiguous(int32_t count, const double* __restrict__ from, double* __restrict__ to) {
  for (int32_t y = 0; y < count; ++y) to[y] -= from[y];
}

void subtractScattered(int32_t count, const double* __restrict__ from, const int32_t* __restrict__ index,
                       double* __restrict__ to) {
  for (int32_t y = 0; y < count; ++y) to[index[y]] -= from[y];
}

}  // namespace

void subtractProduct(const SymbolicFactor* symbolic, const int32_t* sourceRows, const BlockUpdate& update,
                     const double* product, int32_t leading, int32_t* indices) {
  const SupernodeBlocks target = blocksOf(symbolic, update.target);
  const int32_t numRows = update.rows.to - update.rows.from;
  const int32_t numCols = update.cols.to - update.cols.from;
  const int32_t* ownRows = sourceRows + update.rows.from;
  const int32_t* ownCols = sourceRows + update.cols.from;
  const int64_t width = columnWidth(target.grid, update.gridCol);
  double* to =
      blockRow(target, update.gridCol, update.rowPlace) + (update.colPlace - update.gridCol * target.grid.colWidth);
  const bool triangle = update.rows.from == update.cols.from;
  const bool contiguousCols = ownCols[numCols - 1] - ownCols[0] == numCols - 1;
  if (!contiguousCols) {
    for (int32_t y = 0; y < numCols; ++y) indices[y] = ownCols[y] - ownCols[0];
  }
  const int32_t* targetRows = target.rows + update.rowPlace;
  const bool contiguousRows = targetRows[numRows - 1] == ownRows[numRows - 1];
  for (int32_t x = 0; x < numRows; ++x, product += leading) {
    while (!contiguousRows && *targetRows != ownRows[x]) {
      ++targetRows;
      to += width;
    }
    const int32_t count = triangle ? std::min(x + 1, numCols) : numCols;
    if (contiguousCols) {
      subtractContiguous(count, product, to);
    } else {
      subtractScattered(count, product, indices, to);
    }
    ++targetRows;
    to += width;
  }
}

}  // namespace qz
