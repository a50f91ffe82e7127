#include "sparse/populate.h"

#include <algorithm>

#include "sparse/block_layout.h"
#include "sparse/la_env.h"

namespace qz {

namespace {

// Adds the entries of the matrix columns of block column c. `position` tells each row's place in the row list.
bool addEntries(const ThreadContext& context, const SupernodeBlocks& sn, int32_t c, const int32_t* position) {
  const LowerMatrix& matrix = context.matrix;
  const int32_t width = columnWidth(sn.grid, c);
  const int32_t firstPlace = c * sn.grid.colWidth;
  double* values = blockColumn(sn, c);
  for (int32_t k = 0; k < width; ++k) {
    const int32_t j = sn.firstColumn + firstPlace + k;
    for (int32_t p = matrix.colBegin[j]; p < matrix.colBegin[j + 1]; ++p) {
      const int32_t row = matrix.rowIndex[p];
      if (row < j || row >= context.symbolic->numRows) return false;
      // Stale places of rows outside the structure don't lead back to the row.
      const int32_t place = position[row];
      if (place >= sn.grid.height || sn.rows[place] != row) return false;
      values[static_cast<int64_t>(place - firstPlace) * width + k] += matrix.matValue[p];
    }
  }
  return true;
}

}  // namespace

void PopulateSNodes(ThreadContext& context) {
  const SymbolicFactor* symbolic = context.symbolic;
  const int32_t numSupernodes = symbolic->numSupernodes;
  const int64_t from = symbolic->numValues * context.thread / context.numThreads;
  const int64_t to = symbolic->numValues * (context.thread + 1) / context.numThreads;
  int32_t* position = context.indexMap;
  std::fill_n(position, symbolic->numRows, 0);
  const int64_t* begin = symbolic->lValueBegin;
  auto s = static_cast<int32_t>(std::upper_bound(begin, begin + numSupernodes, from) - begin) - 1;
  for (s = std::max(s, 0); s < numSupernodes && begin[s] < to; ++s) {
    if (stopRequested(context)) return;
    const SupernodeBlocks sn = blocksOf(symbolic, s);
    bool mapped = false;
    for (int32_t c = 0; c < sn.grid.numCols; ++c) {
      double* values = blockColumn(sn, c);
      const int64_t start = values - symbolic->lValues;
      if (start < from || start >= to) continue;
      if (!mapped) {
        for (int32_t i = 0; i < sn.grid.height; ++i) position[sn.rows[i]] = i;
        mapped = true;
      }
      const int64_t height = sn.grid.height - c * sn.grid.colWidth;
      std::fill_n(values, height * columnWidth(sn.grid, c), 0.0);
      if (addEntries(context, sn, c, position)) continue;
      requestStop(context.shared, LA_INCONSISTENT);
      return;
    }
  }
}

}  // namespace qz
