// Where a thread of the dynamic scheduler puts new tasks and finds its next one. Cholesky: own stack, leaves, pool,
// half of another thread's stack. LDL: leaves, pool.
#pragma once

#include <cstdint>

#include "sparse/engine_common.h"
#include "sparse/task_pool.h"

namespace qz {

// How a factorisation queues: its policy in data.
struct QueuePolicy {
  bool usesStacks;
  const int32_t* kindOrder;  // in which the pool's lists are emptied
};

// No tasks anywhere; with stacks one leaf on each, as far as they go.
void seedQueues(SymbolicFactor* symbolic, const QueuePolicy& policy);

// Adds a task. False when the pool could not grow; the run is stopped then.
[[nodiscard]] bool pushTask(ThreadContext& context, const QueuePolicy& policy, const Task& task);

// The next task, or kNoTask.
[[nodiscard]] Task GetNextTaskS(ThreadContext& context, const QueuePolicy& policy);

inline void acquireLock(QzLock* lock) {
  static_cast<void>(lock->acquire(lock, 1, nullptr));
}
inline void releaseLock(QzLock* lock) {
  static_cast<void>(lock->release(lock));
}

}  // namespace qz
