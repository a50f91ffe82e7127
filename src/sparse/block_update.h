// The update of the ancestors by one pair of blocks: products L (L D)' or L L' of rows in one block column, and their
// subtraction from the blocks that walkBlockPair names. Shared by both schedulers and both factorisations.
//
// Blocks are stored row by row, so that to the BLAS they are transposed matrices: the product of `rows` and `cols` is
// formed as the cols-by-rows matrix right * left', whose upper triangle is what a run that meets itself needs.
#pragma once

#include <cstdint>

#include "dense/blas.h"
#include "dense/tile_product.h"
#include "sparse/block_layout.h"
#include "sparse/engine_common.h"

namespace qz {

// Rows of one block column, contiguous: place p at at + (p - from) * width.
struct RowOperand {
  const double* at;
  int32_t from;

  const double* row(int32_t place, int32_t width) const { return at + static_cast<int64_t>(place - from) * width; }
};

// A product in the update buffer: entry (x, y) for row x of rows and row y of cols at
// values[(x - rows.from) * leading + (y - cols.from)].
struct ProductStrip {
  PlaceRange rows;
  PlaceRange cols;
  const double* values;

  int32_t leading() const { return cols.to - cols.from; }
  bool covers(const BlockUpdate& update) const {
    return update.rows.from >= rows.from && update.rows.to <= rows.to && update.cols.from >= cols.from &&
           update.cols.to <= cols.to;
  }
  const double* at(const BlockUpdate& update) const {
    return values + static_cast<int64_t>(update.rows.from - rows.from) * leading() + (update.cols.from - cols.from);
  }
};

// The product to form at `update` of supernode s: it and as many of the updates that the walk over (rows, cols) visits
// next as fit in `room` entries. A strip holds whole updates, so that nothing is formed twice.
[[nodiscard]] ProductStrip stripFrom(const SymbolicFactor* symbolic, int32_t s, const BlockUpdate& update,
                                     PlaceRange rows, PlaceRange cols, int64_t room);

// target -= product, for the block that the update names. `indices`: room for the columns of one block.
void subtractProduct(const SymbolicFactor* symbolic, const int32_t* sourceRows, const BlockUpdate& update,
                     const double* product, int32_t leading, int32_t* indices);

// Forms the products of the rows `rows` and `cols` of one block column of width `width` and hands them to
// apply(update, product, leading) one by one, until it returns false. Returns false then. Blocks::triangle forms the
// triangle of a strip that meets itself.
template <class Blocks, class Apply>
[[nodiscard]] bool formUpdates(ThreadContext& context, int32_t s, int32_t width, PlaceRange rows,
                               const RowOperand& left, PlaceRange cols, const RowOperand& right, const Apply& apply) {
  ProductStrip strip{{0, 0}, {0, 0}, context.update};
  bool going = true;
  walkBlockPair(context.symbolic, s, rows, cols, [&](const BlockUpdate& update) {
    if (!going) return;
    if (!strip.covers(update)) {
      strip = stripFrom(context.symbolic, s, update, rows, cols, context.symbolic->maxBlockEntries);
      strip.values = context.update;
      const int32_t n = strip.leading();
      const double* rightRows = right.row(strip.cols.from, width);
      int32_t first = strip.rows.from;
      double* to = context.update;
      if (strip.rows.from == strip.cols.from) {
        Blocks::triangle(context, Update::SET, n, width, rightRows, left.row(first, width), to, n);
        first = strip.cols.to;
        to += static_cast<int64_t>(n) * n;
      }
      if (first < strip.rows.to) {
        blas::dgemm("T", "N", n, strip.rows.to - first, width, 1.0, rightRows, width, left.row(first, width), width,
                    0.0, to, n);
      }
    }
    going = apply(update, strip.at(update), strip.leading());
  });
  return going;
}

// All updates of a finished narrow supernode to its ancestors, in the order of the task lists.
template <class Blocks, class Apply>
[[nodiscard]] bool ApplyUpdatesSmall(ThreadContext& context, const SupernodeBlocks& sn, const Apply& apply) {
  const BlockGrid& grid = sn.grid;
  if (!hasRowsBelow(grid)) return true;
  const RowOperand left{blockRow(sn, 0, grid.width), grid.width};
  const RowOperand right = Blocks::narrowRight(context, sn);
  for (int32_t i = grid.firstBelow; i < grid.numRows; ++i) {
    for (int32_t j = grid.firstBelow; j <= i; ++j) {
      if (!formUpdates<Blocks>(context, sn.s, grid.width, rowsBelow(grid, i), left, rowsBelow(grid, j), right, apply)) {
        return false;
      }
    }
  }
  return true;
}

// target -= left * right' inside one supernode: `numRows` rows of one block column from their update by another. When
// `diagonal`, the first `n` of them are a triangle. right has n rows; target has leading dimension n.
template <class Blocks>
void subtractInternal(ThreadContext& context, bool diagonal, int32_t n, int32_t numRows, int32_t width,
                      const double* left, const double* right, double* target) {
  int32_t first = 0;
  if (diagonal) {
    Blocks::triangle(context, Update::MINUS, n, width, right, left, target, n);
    first = n;
  }
  if (first >= numRows) return;
  blas::dgemm("T", "N", n, numRows - first, width, -1.0, right, width, left + static_cast<int64_t>(first) * width,
              width, 1.0, target + static_cast<int64_t>(first) * n, n);
}

// Block (r, c) -= block (r, k) times block (c, k), transposed. `rightWord` is the word of block (c, k), which loses a
// user.
template <class Blocks>
void updateInternal(ThreadContext& context, const SupernodeBlocks& sn, int32_t r, int32_t k, int32_t c,
                    int64_t rightWord) {
  const int32_t n = columnWidth(sn.grid, c);
  const int32_t firstCol = c * sn.grid.colWidth;
  const PlaceRange rows = rowsOfBlock(sn.grid, r);
  const RowOperand right = Blocks::rightFactor(context, sn, c, k, {firstCol, firstCol + n}, rightWord);
  const int32_t width = columnWidth(sn.grid, k);
  subtractInternal<Blocks>(context, r == c, n, lengthOf(rows), width, blockRow(sn, k, rows.from),
                           right.row(firstCol, width), blockRow(sn, c, rows.from));
  Blocks::releaseRight(context, rightWord);
}

// How many updates need the product of the finished block (r, c) of a wide supernode as their right factor: those of
// the blocks in grid column r from row r down, when r is a later column, and those of the ancestors.
[[nodiscard]] constexpr int32_t productUsers(const BlockGrid& grid, int32_t r, int32_t c) {
  const int32_t targets = grid.numRows - r;
  return (r > c && r < grid.numCols ? targets : 0) + (r >= grid.firstBelow && hasRowsBelow(grid) ? targets : 0);
}

}  // namespace qz
