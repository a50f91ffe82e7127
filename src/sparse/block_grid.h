// The block grid of a blocked factor, and the walk over what one pair of blocks contributes to the ancestors.
//
// Supernode s of width w and height h, block size nb. Narrow, w <= nb: one grid column of width w, grid rows of rb
// rows, about nb^2 entries in a multiple of 32 rows. Wide, w > nb: grid columns and rows of nb. Block (r, c) has number
// c*numRows + r inside the supernode; of a wide supernode the full rectangle is counted, the blocks above the diagonal
// stay empty. Row r holds the places r*rb to (r + 1)*rb - 1 of the row list; column c the own columns from c*bw on.
//
// The blocks of all supernodes are numbered through, supernode after supernode: that number is the identity of the task
// that owns the block. A narrow supernode is one task and shows the number of its first block only.
//
// The walk is what dependency counts, task lists and all parallel engines share: their counts must agree.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "sparse/factor.h"

namespace qz {

struct BlockGrid {
  int32_t width;       // w
  int32_t height;      // h
  int32_t numCols;     // grid columns C
  int32_t numRows;     // grid rows R
  int32_t colWidth;    // bw
  int32_t rowHeight;   // rb
  int32_t firstBelow;  // first grid row that holds rows below the supernode's own columns: w / rb
};

[[nodiscard]] constexpr BlockGrid makeBlockGrid(int32_t width, int32_t height, int32_t blockSize) {
  const bool narrow = width <= blockSize;
  const int32_t rowHeight = narrow ? (blockSize * blockSize / width + 31) / 32 * 32 : blockSize;
  const int32_t colWidth = narrow ? width : blockSize;
  return {width,    height,    (width - 1) / colWidth + 1, (height - 1) / rowHeight + 1,
          colWidth, rowHeight, width / rowHeight};
}

[[nodiscard]] inline BlockGrid blockGridOf(const SymbolicFactor* symbolic, int32_t s) {
  return makeBlockGrid(symbolic->snStart[s + 1] - symbolic->snStart[s],
                       static_cast<int32_t>(symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s]),
                       symbolic->blockSize);
}

[[nodiscard]] constexpr bool isNarrow(const BlockGrid& grid) {
  return grid.numCols == 1;
}
[[nodiscard]] constexpr int32_t blockNumber(const BlockGrid& grid, int32_t row, int32_t col) {
  return col * grid.numRows + row;
}
// Number of the task of source block (row, col) inside its supernode.
[[nodiscard]] constexpr int32_t taskNumber(const BlockGrid& grid, int32_t row, int32_t col) {
  return isNarrow(grid) ? 0 : blockNumber(grid, row, col);
}
// Identity of the first block of supernode s; valid once FindBlockSizes has run.
[[nodiscard]] inline int32_t firstIdentity(const SymbolicFactor* symbolic, int32_t s) {
  return static_cast<int32_t>(symbolic->blockCounters[s] - symbolic->blockCounters[0]);
}

// Places [from, to) of a row list.
struct PlaceRange {
  int32_t from;
  int32_t to;
};

// The rows of grid row r that lie below the supernode's own columns.
[[nodiscard]] constexpr PlaceRange rowsBelow(const BlockGrid& grid, int32_t r) {
  return {std::max(r * grid.rowHeight, grid.width), std::min((r + 1) * grid.rowHeight, grid.height)};
}

// One update: the source's rows `rows` times its rows `cols` fall into block (gridRow, gridCol) of supernode `target`.
// rowPlace and colPlace are the places of the first of them in the target's row list; a column of the target has its
// offset as its place. Where rows.from = cols.from the run meets itself: of its first cols rows only the lower triangle
// counts, rows behind them are full.
struct BlockUpdate {
  int32_t target;
  int32_t gridRow;
  int32_t gridCol;
  PlaceRange rows;
  PlaceRange cols;
  int32_t rowPlace;
  int32_t colPlace;
};

// A run: places of the source that lie in one grid row of the target.
struct TargetRun {
  int32_t end;      // place in the source's list behind the run
  int32_t place;    // of its first row in the target's list
  int32_t gridRow;  // of the target
};

// The run of source places that starts at `from` and ends before `limit`, in a target whose rows hold all of them.
[[nodiscard]] inline TargetRun nextRun(const int32_t* sourceRows, int32_t from, int32_t limit,
                                       const int32_t* targetRows, const BlockGrid& targetGrid) {
  const int32_t* found = std::lower_bound(targetRows, targetRows + targetGrid.height, sourceRows[from]);
  TargetRun run;
  run.place = static_cast<int32_t>(found - targetRows);
  run.gridRow = run.place / targetGrid.rowHeight;
  const int64_t boundary = (static_cast<int64_t>(run.gridRow) + 1) * targetGrid.rowHeight;
  run.end = limit;
  if (boundary < targetGrid.height) {
    const int32_t* end = std::lower_bound(sourceRows + from, sourceRows + limit, targetRows[boundary]);
    run.end = static_cast<int32_t>(end - sourceRows);
  }
  return run;
}

// One column run of a source: places whose rows are columns of one grid column of `target`, or all of them if that is
// narrow.
struct ColumnRun {
  int32_t target;
  int32_t end;  // place in the source's list behind the run
  int32_t gridCol;
  int32_t place;  // of its first row in the target's list
};

// The column run of supernode s that starts at place `from` and ends before `limit`.
[[nodiscard]] inline ColumnRun nextColumnRun(const SymbolicFactor* symbolic, int32_t s, int32_t from, int32_t limit) {
  const int32_t* sourceRows = symbolic->lIndex + symbolic->lIndexBegin[s];
  const int32_t target = symbolic->colToSn[sourceRows[from]];
  const BlockGrid grid = blockGridOf(symbolic, target);
  const int32_t behindTarget = symbolic->snStart[target + 1];
  const auto behind =
      static_cast<int32_t>(std::lower_bound(sourceRows + from, sourceRows + limit, behindTarget) - sourceRows);
  const TargetRun run = nextRun(sourceRows, from, behind, symbolic->lIndex + symbolic->lIndexBegin[target], grid);
  return {target, run.end, isNarrow(grid) ? 0 : run.gridRow, run.place};
}

// Calls visit(const BlockUpdate&) once for every block that the product of the rows `rows` and `cols` of supernode s
// touches. Both are the below-diagonal rows of one grid row each, as rowsBelow gives them; rows must not lie above
// cols.
template <class Visit>
void walkBlockPair(const SymbolicFactor* symbolic, int32_t s, PlaceRange rows, PlaceRange cols, const Visit& visit) {
  const int32_t* sourceRows = symbolic->lIndex + symbolic->lIndexBegin[s];
  for (int32_t a = cols.from; a < cols.to;) {
    const ColumnRun column = nextColumnRun(symbolic, s, a, cols.to);
    BlockUpdate update;
    update.target = column.target;
    update.gridCol = column.gridCol;
    update.cols = {a, column.end};
    update.colPlace = column.place;
    const BlockGrid grid = blockGridOf(symbolic, update.target);
    const int32_t* targetRows = symbolic->lIndex + symbolic->lIndexBegin[update.target];
    for (int32_t b = std::max(rows.from, a); b < rows.to;) {
      const TargetRun row = nextRun(sourceRows, b, rows.to, targetRows, grid);
      update.rows = {b, row.end};
      update.gridRow = row.gridRow;
      update.rowPlace = row.place;
      visit(static_cast<const BlockUpdate&>(update));
      b = row.end;
    }
    a = column.end;
  }
}

}  // namespace qz
