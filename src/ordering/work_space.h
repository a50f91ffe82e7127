// Working store of one nested dissection: a stack of integers, a buffer for the edges of the graph at hand, and the
// random numbers of the run. The passes of the refinement allocate nothing but from the stack.
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Makes edgeWork (numEdges integers of `graph`) and the stack in one block, control->workBlock, which the caller frees
// by poolFree, after an error too. LA_OK, LA_NO_MEMORY, or LA_INCONSISTENT when the block doesn't hold both.
[[nodiscard]] int32_t AllocateWorkSpace(OrderingControl* control, const OrderingGraph* graph);

// Integers that a piece of `count` takes from the stack: a multiple of 32.
[[nodiscard]] constexpr int64_t poolRounded(int64_t count) {
  return (count + 31) / 32 * 32;
}

// Takes `count` integers from the stack, without a check of its capacity: AllocateWorkSpace made room for what the
// steps of a dissection need. Pieces are given back in reverse order.
[[nodiscard]] int32_t* poolmalloc(OrderingControl* control, int64_t count);
void poolfree(OrderingControl* control, int64_t count);

// A random number of 0 to range - 1. The lowest bits of the generator are not used.
[[nodiscard]] int32_t randomIndex(OrderingControl* control, int32_t range);

// The numbers 0 to n - 1, shuffled a little: one swap of two blocks of four for every sixteen entries. That is enough
// to break the regularity of an input. Up to four entries stay in order, and the last one always does.
void RandomPermute(int32_t n, int32_t* array, OrderingControl* control);

}  // namespace qz
