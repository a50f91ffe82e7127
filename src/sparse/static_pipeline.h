// The static pipeline: a deterministic schedule without queues or locks (a fan-both method on a fixed task order; after
// Ashcraft 1993 and Rothberg and Gupta 1993).
//
// The work is one list of positions, the same in every thread. A thread that is done with its position takes the first
// one that nobody has: a shared count tells it, so that a thread that lost its processor holds up what needs its one
// position and no more. A
// position owns one block: it brings the block up to date, finishes it, and applies what the block contributes to the
// ancestors. Each block has one word. A value >= 0 names the only task that may touch the block next, kUpdated says
// that all updates of a diagonal block have landed, and a finished block holds a value <= kFinished. Whoever touched
// the block passes the word on, in the order of the block's task list: so every sum is formed in one order, and the
// factor does not depend on timing.
//
// Who takes a position doesn't matter to the bits. Every wait is for something that a position earlier in the list
// does, and positions are taken in order: the thread with the earliest unfinished position never waits for long, so all
// end.
#pragma once

#include <cstdint>

#include "sparse/engine_common.h"

namespace qz {

// The words of all blocks before the first position: the first entry of each task list.
void seedStaticPipeline(SymbolicFactor* symbolic);

// One thread's positions. Ends early when the run is stopped.
void ProcessTaskStaticCholesky(ThreadContext& context);
void ProcessTaskStaticLDL(ThreadContext& context);

}  // namespace qz
