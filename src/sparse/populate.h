// The matrix entries into the cleared blocks of a factor, by all threads.
#pragma once

#include <cstdint>

#include "sparse/engine_common.h"

namespace qz {

// Clears the block columns of one thread's share and adds the entries of their matrix columns. The share of thread t is
// what starts in the t-th of numThreads equal parts of lValues. An entry that has no place in the structure ends the
// run with LA_INCONSISTENT, a cancelled thread with LA_CANCELLED.
void PopulateSNodes(ThreadContext& context);

}  // namespace qz
