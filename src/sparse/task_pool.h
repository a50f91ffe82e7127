// The tasks of the dynamic scheduler and where they wait: a stack per thread, and a pool with one list per kind.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"
#include "sparse/factor.h"

namespace qz {

// What a task does. The two factorisations take the pool's lists in opposite orders.
enum TaskKind : int32_t {
  TASK_NONE = -1,
  TASK_FACTOR = 0,    // diagonal block (b, b) of supernode sn, or all of a narrow one
  TASK_SOLVE = 1,     // block (a, b)
  TASK_INTERNAL = 2,  // block (a, c) -= block (a, b) times block (c, b), transposed
  TASK_EXTERNAL = 3   // blocks (a, b) and (c, b) to the ancestors, c <= a
};

struct Task {
  int32_t kind;
  int32_t sn;
  int32_t a;
  int32_t b;
  int32_t c;
};
inline constexpr Task kNoTask{TASK_NONE, 0, 0, 0, 0};
inline constexpr int32_t kTaskIntegers = sizeof(Task) / sizeof(int32_t);
inline constexpr int32_t kStackTasks = 100;                                 // of a thread
inline constexpr int32_t kStackIntegers = 1 + kStackTasks * kTaskIntegers;  // a count and the tasks
inline constexpr int32_t kNumKinds = 4;

// A list of free nodes and one list of waiting tasks per kind, all through `links`; -1 ends a list. Guarded by `lock`,
// which the factorisation makes and destroys.
struct TaskPool {
  Task* tasks;     // capacity, one allocation with links behind them
  int32_t* links;  // capacity
  int32_t heads[kNumKinds];
  int32_t freeHead;
  int32_t capacity;
  QzLock* lock;
};

// A pool with room for symbolic->poolCapacity tasks; once per factor. LA_OK or LA_NO_MEMORY.
[[nodiscard]] int32_t allocateTaskPool(QzPool* memory, SymbolicFactor* symbolic);
void freeTaskPool(QzPool* memory, SymbolicFactor* symbolic);

// No tasks, all nodes free.
void clearTaskPool(TaskPool* pool);

// Under the pool's lock: puts tasks at the heads of the lists of their kinds, doubling the pool when it is full (false
// when memory is short; the tasks before that one are in).
[[nodiscard]] bool putTasks(QzPool* memory, TaskPool* pool, int32_t count, const Task* tasks);
// Under the pool's lock: the head of the first list that is not empty, in the given order of kinds, or kNoTask.
[[nodiscard]] Task takeTask(TaskPool* pool, const int32_t* kindOrder);

}  // namespace qz
