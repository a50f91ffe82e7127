// The dynamic scheduler: tasks become ready as the counters of their blocks reach zero, and go to whichever thread is
// free (work stealing after Blumofe and Leiserson 1999).
//
// A counter is decremented under its block's lock by every event that workCounters was set up for; who brings it to
// zero makes the block's task. A solved block then shows kFinished or below, and is paired, under the lock of its
// column's diagonal block, with each finished block of the column: one update per pair, by whoever of the two came
// last.
//
// Locks: a thread holds at most one of stack, pool and leaf, but for stack before pool when tasks move; a stack or pool
// lock may be taken inside a block's lock.
#pragma once

#include <cstdint>

#include "sparse/engine_common.h"

namespace qz {

// Locks of the run. LA_OK or LA_NO_MEMORY; destroyDynamicLocks takes down what there is.
[[nodiscard]] int32_t createDynamicLocks(SymbolicFactor* symbolic);
void destroyDynamicLocks(SymbolicFactor* symbolic);

// Counters, queues and leaves at the start.
void seedDynamicCholesky(SymbolicFactor* symbolic);
void seedDynamicLDL(SymbolicFactor* symbolic);

// One thread's tasks until none are left or the run is stopped.
void ProcessTaskCholesky(ThreadContext& context);
void ProcessTaskLDL(ThreadContext& context);

}  // namespace qz
