#include "sparse/block_tasks.h"

#include <algorithm>
#include <limits>

#include "shell/pool.h"
#include "sparse/block_grid.h"
#include "sparse/la_env.h"

namespace qz {

namespace {

// A table of numSupernodes + 1 pointers into one zero-filled array of an element per block.
template <class T>
int32_t allocateTable(QzPool* memory, const SymbolicFactor* symbolic, T*** table) {
  const int32_t numSupernodes = symbolic->numSupernodes;
  *table = poolAllocateZero<T*>(memory, static_cast<int64_t>(numSupernodes) + 1);
  if (*table == nullptr) return LA_NO_MEMORY;
  T* all = poolAllocateZero<T>(memory, symbolic->numBlocks);
  if (all == nullptr) return LA_NO_MEMORY;
  int32_t offset = 0;
  for (int32_t s = 0; s < numSupernodes; ++s) {
    (*table)[s] = all + offset;
    const BlockGrid grid = blockGridOf(symbolic, s);
    offset += grid.numCols * grid.numRows;
  }
  (*table)[numSupernodes] = all + offset;
  return LA_OK;
}

// Calls visit(update, row) for every update of supernode s to an ancestor through one of its grid columns, `row` being
// the grid row of the lower of the two source blocks: grid rows ascending, and for each the partner rows ascending.
template <class Visit>
void walkExternalUpdates(const SymbolicFactor* symbolic, int32_t s, const Visit& visit) {
  const BlockGrid grid = blockGridOf(symbolic, s);
  for (int32_t i = grid.firstBelow; i < grid.numRows; ++i) {
    for (int32_t j = grid.firstBelow; j <= i; ++j) {
      walkBlockPair(symbolic, s, rowsBelow(grid, i), rowsBelow(grid, j),
                    [&](const BlockUpdate& update) { visit(update, i); });
    }
  }
}

int32_t* counterOf(SymbolicFactor* symbolic, const BlockUpdate& update) {
  const BlockGrid grid = blockGridOf(symbolic, update.target);
  return symbolic->blockCounters[update.target] + blockNumber(grid, update.gridRow, update.gridCol);
}

void addInternalCounts(const BlockGrid& grid, int32_t* counters) {
  for (int32_t c = 0; c < grid.numCols; ++c) {
    counters[blockNumber(grid, c, c)] += c;
    for (int32_t r = c + 1; r < grid.numRows; ++r) counters[blockNumber(grid, r, c)] += c + 1;
  }
}

}  // namespace

int32_t FindBlockSizes(QzPool* memory, SymbolicFactor* symbolic, int32_t* blockCount) {
  const int64_t square = static_cast<int64_t>(symbolic->blockSize) * symbolic->blockSize;
  int64_t numBlocks = 0;
  int64_t largest = square;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const BlockGrid grid = blockGridOf(symbolic, s);
    numBlocks += static_cast<int64_t>(grid.numCols) * grid.numRows;
    if (isNarrow(grid)) largest = std::max(largest, static_cast<int64_t>(grid.width) * grid.rowHeight);
  }
  constexpr int64_t limit = std::numeric_limits<int32_t>::max();
  if (numBlocks > limit || largest > limit) return LA_TOO_LARGE;
  symbolic->numBlocks = static_cast<int32_t>(numBlocks);
  symbolic->maxBlockEntries = static_cast<int32_t>(largest);
  *blockCount = symbolic->numBlocks;
  int32_t status = allocateTable(memory, symbolic, &symbolic->blockCounters);
  if (status != LA_OK || symbolic->staticPipeline != 0) return status;
  status = allocateTable(memory, symbolic, &symbolic->workCounters);
  if (status != LA_OK) return status;
  return allocateTable(memory, symbolic, &symbolic->blockLocks);
}

void FindBlockDependencyCounts(SymbolicFactor* symbolic) {
  std::fill(symbolic->blockCounters[0], symbolic->blockCounters[0] + symbolic->numBlocks, 0);
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const BlockGrid grid = blockGridOf(symbolic, s);
    if (!isNarrow(grid)) addInternalCounts(grid, symbolic->blockCounters[s]);
    walkExternalUpdates(symbolic, s,
                        [&](const BlockUpdate& update, int32_t) { *counterOf(symbolic, update) += grid.numCols; });
  }
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const BlockGrid grid = blockGridOf(symbolic, s);
    if (!isNarrow(grid)) continue;
    int32_t* counters = symbolic->blockCounters[s];
    for (int32_t r = 1; r < grid.numRows; ++r) {
      if (symbolic->staticPipeline != 0) {
        ++counters[r];
      } else {
        counters[0] += counters[r];
      }
    }
  }
}

namespace {

void appendInternalTasks(const BlockGrid& grid, int32_t base, int32_t** lists, int32_t* filled) {
  const auto append = [&](int32_t block, int32_t identity) { lists[block][filled[block]++] = identity; };
  for (int32_t c = 0; c < grid.numCols; ++c) {
    for (int32_t r = c; r < grid.numRows; ++r) {
      const int32_t block = blockNumber(grid, r, c);
      if (!isNarrow(grid)) {
        for (int32_t k = 0; k < c; ++k) append(block, base + blockNumber(grid, r, k));
      }
      if (r > c) append(block, base + blockNumber(grid, c, c));
    }
  }
  for (int32_t block = 0; block < grid.numCols * grid.numRows; ++block) append(block, -1);
}

// Lays out the lists back to back, each as long as its counter plus one.
int32_t allocateTaskLists(QzPool* memory, SymbolicFactor* symbolic) {
  const int32_t numBlocks = symbolic->numBlocks;
  const int32_t* counters = symbolic->blockCounters[0];
  symbolic->blockTaskList = poolAllocateZero<int32_t*>(memory, static_cast<int64_t>(numBlocks) + 1);
  if (symbolic->blockTaskList == nullptr) return LA_NO_MEMORY;
  int64_t length = numBlocks;
  for (int32_t block = 0; block < numBlocks; ++block) length += counters[block];
  int32_t* all = poolAllocate<int32_t>(memory, length);
  if (all == nullptr) return LA_NO_MEMORY;
  symbolic->blockTaskList[0] = all;
  for (int32_t block = 0; block < numBlocks; ++block) {
    symbolic->blockTaskList[block + 1] = symbolic->blockTaskList[block] + counters[block] + 1;
  }
  symbolic->blockCursor = poolAllocateZero<int32_t>(memory, numBlocks);
  if (symbolic->blockCursor == nullptr) return LA_NO_MEMORY;
  return allocateTable(memory, symbolic, &symbolic->blockState);
}

}  // namespace

int32_t SetUpStaticPipeline(QzPool* memory, SymbolicFactor* symbolic) {
  const int32_t status = allocateTaskLists(memory, symbolic);
  if (status != LA_OK) return status;
  int32_t** lists = symbolic->blockTaskList;
  int32_t* filled = symbolic->blockCursor;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const BlockGrid grid = blockGridOf(symbolic, s);
    const int32_t base = firstIdentity(symbolic, s);
    for (int32_t c = 0; c < grid.numCols; ++c) {
      walkExternalUpdates(symbolic, s, [&](const BlockUpdate& update, int32_t row) {
        const auto block = static_cast<int32_t>(counterOf(symbolic, update) - symbolic->blockCounters[0]);
        lists[block][filled[block]++] = base + taskNumber(grid, row, c);
      });
    }
    // Every source of s stands before it, so its external part is complete.
    appendInternalTasks(grid, base, lists + base, filled + base);
  }
  return LA_OK;
}

int32_t GetLeaves(QzPool* memory, SymbolicFactor* symbolic) {
  const int32_t numSupernodes = symbolic->numSupernodes;
  symbolic->leaves = poolAllocateZero<int32_t>(memory, numSupernodes);
  if (symbolic->leaves == nullptr) return LA_NO_MEMORY;
  // First a mark per supernode with a child, then the list in the same array: an entry is written at or before the
  // place that was read last.
  int32_t* hasChild = symbolic->leaves;
  for (int32_t s = 0; s < numSupernodes; ++s) {
    if (symbolic->snParent[s] != -1) hasChild[symbolic->snParent[s]] = 1;
  }
  int32_t count = 0;
  for (int32_t s = 0; s < numSupernodes; ++s) {
    if (hasChild[s] == 0 || symbolic->blockCounters[s][0] == 0) symbolic->leaves[count++] = s;
  }
  symbolic->numLeaves = count;
  return LA_OK;
}

}  // namespace qz
