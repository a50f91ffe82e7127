// Counters, task lists and leaves of a blocked factor: who may touch which block, how often and in which order.
#pragma once

#include <cstdint>

#include "sparse/factor.h"

namespace qz {

// Counts the blocks of all supernodes and sets maxBlockEntries, the largest of nb^2 and w*rb over the narrow
// supernodes. Allocates blockCounters and, for the dynamic scheduler, workCounters and blockLocks, each a table of
// numSupernodes + 1 pointers into one shared array, the last entry behind its end. LA_OK, LA_NO_MEMORY, or LA_TOO_LARGE
// beyond 2^31 - 1 blocks.
[[nodiscard]] int32_t FindBlockSizes(QzPool* memory, SymbolicFactor* symbolic, int32_t* blockCount);

// Fills blockCounters: the number of events that must reach a block before it can be worked on. That is one for every
// update that another supernode's blocks make to it (walkBlockPair, for each grid column of the source), and in a wide
// supernode one for each earlier grid column and, off the diagonal, one for the solve. A narrow supernode is one task:
// with the dynamic scheduler its first counter holds the sum of all of them, with the static pipeline each block but
// the first waits for that task too.
void FindBlockDependencyCounts(SymbolicFactor* symbolic);

// Allocates and fills blockTaskList: per block the identities of the tasks that touch it, in the order in which they
// are allowed to, ended by -1, as long as its counter plus one: the external sources by supernode, grid column, grid
// row; then the internal ones (r, 0) to (r, c - 1); then, for r > c, the diagonal block. Allocates blockCursor (it ends
// as the length of each list) and blockState. The fixed order makes every sum, and so every bit, independent of timing.
// LA_OK or LA_NO_MEMORY.
[[nodiscard]] int32_t SetUpStaticPipeline(QzPool* memory, SymbolicFactor* symbolic);

// The supernodes that are ready at the start, ascending, into leaves (room for numSupernodes) and numLeaves: those
// without a child or whose first counter is 0.
[[nodiscard]] int32_t GetLeaves(QzPool* memory, SymbolicFactor* symbolic);

}  // namespace qz
