#include "sparse/task_queue.h"

#include <algorithm>

#include "sparse/la_env.h"

namespace qz {

namespace {

static_assert(kStackIntegers == 501);

// A stack: its count and behind it the tasks, the oldest first. Written under its lock; the count is read without it by
// threads that look for work, as a hint.
struct TaskStack {
  int32_t count;
  Task tasks[kStackTasks];
};
static_assert(sizeof(TaskStack) == kStackIntegers * sizeof(int32_t));

TaskStack* stackOf(const SymbolicFactor* symbolic, int32_t thread) {
  return reinterpret_cast<TaskStack*>(symbolic->taskStacks) + thread;
}

int32_t readCount(const int32_t* count) {
  return __atomic_load_n(count, __ATOMIC_RELAXED);
}
void writeCount(int32_t* count, int32_t value) {
  __atomic_store_n(count, value, __ATOMIC_RELAXED);
}

bool putInPool(ThreadContext& context, int32_t count, const Task* tasks) {
  TaskPool* pool = context.symbolic->taskPool;
  acquireLock(pool->lock);
  const bool done = putTasks(context.memory, pool, count, tasks);
  if (!done) requestStop(context.shared, LA_NO_MEMORY);
  releaseLock(pool->lock);
  return done;
}

// Under the stack's lock: the older half of its tasks to the pool, the rest down.
bool MoveTasksFromStackToPool(ThreadContext& context, TaskStack* stack) {
  const int32_t count = stack->count;
  const int32_t moved = count / 2;
  Task* transit = reinterpret_cast<Task*>(context.transit);
  std::copy_n(stack->tasks, moved, transit);
  std::copy(stack->tasks + moved, stack->tasks + count, stack->tasks);
  writeCount(&stack->count, count - moved);
  return putInPool(context, moved, transit);
}

Task popOwn(ThreadContext& context) {
  TaskStack* stack = stackOf(context.symbolic, context.thread);
  QzLock* lock = context.symbolic->stackLocks[context.thread];
  Task task = kNoTask;
  acquireLock(lock);
  if (stack->count > 0) {
    task = stack->tasks[stack->count - 1];
    writeCount(&stack->count, stack->count - 1);
  }
  releaseLock(lock);
  return task;
}

Task takeLeaf(ThreadContext& context) {
  SymbolicFactor* symbolic = context.symbolic;
  if (readCount(&symbolic->nextLeaf) >= symbolic->numLeaves) return kNoTask;
  Task task = kNoTask;
  acquireLock(context.shared->leafLock);
  if (symbolic->nextLeaf < symbolic->numLeaves) {
    task = {TASK_FACTOR, symbolic->leaves[symbolic->nextLeaf], 0, 0, 0};
    writeCount(&symbolic->nextLeaf, symbolic->nextLeaf + 1);
  }
  releaseLock(context.shared->leafLock);
  return task;
}

Task takePooled(ThreadContext& context, const QueuePolicy& policy) {
  if (readWord(&context.shared->stopFlag) != 0) return kNoTask;
  TaskPool* pool = context.symbolic->taskPool;
  acquireLock(pool->lock);
  const Task task = takeTask(pool, policy.kindOrder);
  releaseLock(pool->lock);
  return task;
}

// Half of the largest stack of another thread to the pool; false when there is none to share.
bool stealTasks(ThreadContext& context) {
  SymbolicFactor* symbolic = context.symbolic;
  int32_t victim = -1;
  int32_t largest = 1;
  for (int32_t t = 0; t < context.numThreads; ++t) {
    const int32_t count = t == context.thread ? 0 : readCount(&stackOf(symbolic, t)->count);
    if (count <= largest) continue;
    largest = count;
    victim = t;
  }
  if (victim < 0) return false;
  QzLock* lock = symbolic->stackLocks[victim];
  acquireLock(lock);
  TaskStack* stack = stackOf(symbolic, victim);
  const bool moved = stack->count >= 2 && MoveTasksFromStackToPool(context, stack);
  releaseLock(lock);
  return moved;
}

}  // namespace

void seedQueues(SymbolicFactor* symbolic, const QueuePolicy& policy) {
  clearTaskPool(symbolic->taskPool);
  symbolic->nextLeaf = 0;
  if (!policy.usesStacks) return;
  for (int32_t t = 0; t < symbolic->numThreads; ++t) {
    TaskStack* stack = stackOf(symbolic, t);
    stack->count = 0;
    if (symbolic->nextLeaf == symbolic->numLeaves) continue;
    stack->tasks[stack->count++] = {TASK_FACTOR, symbolic->leaves[symbolic->nextLeaf++], 0, 0, 0};
  }
}

bool pushTask(ThreadContext& context, const QueuePolicy& policy, const Task& task) {
  if (!policy.usesStacks) return putInPool(context, 1, &task);
  TaskStack* stack = stackOf(context.symbolic, context.thread);
  QzLock* lock = context.symbolic->stackLocks[context.thread];
  acquireLock(lock);
  const bool room = stack->count < kStackTasks || MoveTasksFromStackToPool(context, stack);
  if (room) {
    stack->tasks[stack->count] = task;
    writeCount(&stack->count, stack->count + 1);
  }
  releaseLock(lock);
  return room;
}

Task GetNextTaskS(ThreadContext& context, const QueuePolicy& policy) {
  if (stopRequested(context)) return kNoTask;
  Task task = policy.usesStacks ? popOwn(context) : kNoTask;
  if (task.kind == TASK_NONE) task = takeLeaf(context);
  if (task.kind == TASK_NONE) task = takePooled(context, policy);
  if (task.kind == TASK_NONE && policy.usesStacks && stealTasks(context)) task = takePooled(context, policy);
  return task;
}

}  // namespace qz
