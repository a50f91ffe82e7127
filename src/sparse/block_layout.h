// Where the blocks of a blocked factor lie, and what their state words say.
#pragma once

#include <algorithm>
#include <cstdint>

#include "sparse/block_grid.h"
#include "sparse/factor.h"

namespace qz {

// One supernode as the engines see it.
struct SupernodeBlocks {
  int32_t s;
  BlockGrid grid;
  int32_t identity;     // of its first block
  int32_t firstColumn;  // of the factor
  const int32_t* rows;  // its row list
  double* values;       // its block columns
};

[[nodiscard]] inline SupernodeBlocks blocksOf(const SymbolicFactor* symbolic, int32_t s) {
  return {s,
          blockGridOf(symbolic, s),
          firstIdentity(symbolic, s),
          symbolic->snStart[s],
          symbolic->lIndex + symbolic->lIndexBegin[s],
          symbolic->lValues + symbolic->lValueBegin[s]};
}

[[nodiscard]] inline int32_t identityOf(const SupernodeBlocks& sn, int32_t row, int32_t col) {
  return sn.identity + taskNumber(sn.grid, row, col);
}

[[nodiscard]] constexpr int32_t columnWidth(const BlockGrid& grid, int32_t c) {
  return std::min(grid.width - c * grid.colWidth, grid.colWidth);
}

// First entry of block column c.
[[nodiscard]] inline double* blockColumn(const SupernodeBlocks& sn, int32_t c) {
  const int64_t nb = sn.grid.colWidth;
  return sn.values + (c * nb * sn.grid.height - nb * nb * c * (c - 1) / 2);
}

// Row `place` of block column c; its entries are contiguous.
[[nodiscard]] inline double* blockRow(const SupernodeBlocks& sn, int32_t c, int32_t place) {
  return blockColumn(sn, c) + static_cast<int64_t>(place - c * sn.grid.colWidth) * columnWidth(sn.grid, c);
}

// The places of grid row r.
[[nodiscard]] constexpr PlaceRange rowsOfBlock(const BlockGrid& grid, int32_t r) {
  const int64_t end = (static_cast<int64_t>(r) + 1) * grid.rowHeight;
  return {r * grid.rowHeight, static_cast<int32_t>(std::min<int64_t>(end, grid.height))};
}

// The rows of block (r, c) that lie below the diagonal of block column c: all of an off-diagonal block; of a diagonal
// block those that its last grid row holds behind the supernode's own columns.
[[nodiscard]] constexpr PlaceRange solvedRows(const BlockGrid& grid, int32_t r, int32_t c) {
  const int32_t behindOwn = std::min((c + 1) * grid.colWidth, grid.width);
  const PlaceRange rows = rowsOfBlock(grid, r);
  return {std::max(rows.from, behindOwn), rows.to};
}

[[nodiscard]] constexpr int32_t lengthOf(PlaceRange range) {
  return range.to > range.from ? range.to - range.from : 0;
}

[[nodiscard]] constexpr bool hasRowsBelow(const BlockGrid& grid) {
  return grid.height > grid.width;
}

// Words of a block. A finished block holds kFinished - i, i being the shared product buffer that goes with it, counted
// from 1, or 0 for none.
inline constexpr int64_t kUpdated = -1;  // static pipeline: all updates of a diagonal block have landed
inline constexpr int64_t kFinished = -2;

[[nodiscard]] constexpr bool isFinished(int64_t word) {
  return word <= kFinished;
}
[[nodiscard]] constexpr int64_t finishedWord(int32_t slot) {
  return kFinished - slot;
}
[[nodiscard]] constexpr int32_t slotOf(int64_t word) {
  return static_cast<int32_t>(kFinished - word);
}

}  // namespace qz
