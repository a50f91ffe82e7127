#include "sparse/task_pool.h"

#include <algorithm>
#include <limits>

#include "shell/pool.h"
#include "sparse/la_env.h"

namespace qz {

namespace {

constexpr int32_t kEnd = -1;

// Chains the nodes from `from` on as the free list.
void chainFree(TaskPool* pool, int32_t from) {
  for (int32_t i = from; i < pool->capacity; ++i) pool->links[i] = i + 1;
  pool->links[pool->capacity - 1] = kEnd;
  pool->freeHead = from;
}

// Room for `capacity` tasks with the links behind them.
Task* allocateNodes(QzPool* memory, int64_t capacity, int32_t** links) {
  int32_t* all = poolAllocate<int32_t>(memory, capacity * (kTaskIntegers + 1));
  if (all == nullptr) return nullptr;
  *links = all + capacity * kTaskIntegers;
  return reinterpret_cast<Task*>(all);
}

bool growPool(QzPool* memory, TaskPool* pool) {
  const int32_t old = pool->capacity;
  if (old > std::numeric_limits<int32_t>::max() / 2) return false;
  int32_t* links = nullptr;
  Task* tasks = allocateNodes(memory, static_cast<int64_t>(old) * 2, &links);
  if (tasks == nullptr) return false;
  std::copy_n(pool->tasks, old, tasks);
  std::copy_n(pool->links, old, links);
  poolFree(memory, pool->tasks);
  pool->tasks = tasks;
  pool->links = links;
  pool->capacity = old * 2;
  chainFree(pool, old);
  return true;
}

}  // namespace

int32_t allocateTaskPool(QzPool* memory, SymbolicFactor* symbolic) {
  symbolic->taskPool = poolAllocateZero<TaskPool>(memory, 1);
  if (symbolic->taskPool == nullptr) return LA_NO_MEMORY;
  TaskPool* pool = symbolic->taskPool;
  pool->tasks = allocateNodes(memory, symbolic->poolCapacity, &pool->links);
  if (pool->tasks == nullptr) return LA_NO_MEMORY;
  pool->capacity = symbolic->poolCapacity;
  clearTaskPool(pool);
  return LA_OK;
}

void freeTaskPool(QzPool* memory, SymbolicFactor* symbolic) {
  if (symbolic->taskPool != nullptr) poolFree(memory, symbolic->taskPool->tasks);
  poolFree(memory, symbolic->taskPool);
}

void clearTaskPool(TaskPool* pool) {
  std::fill_n(pool->heads, kNumKinds, kEnd);
  chainFree(pool, 0);
}

bool putTasks(QzPool* memory, TaskPool* pool, int32_t count, const Task* tasks) {
  for (int32_t k = 0; k < count; ++k) {
    if (pool->freeHead == kEnd && !growPool(memory, pool)) return false;
    const int32_t node = pool->freeHead;
    pool->freeHead = pool->links[node];
    pool->tasks[node] = tasks[k];
    pool->links[node] = pool->heads[tasks[k].kind];
    pool->heads[tasks[k].kind] = node;
  }
  return true;
}

Task takeTask(TaskPool* pool, const int32_t* kindOrder) {
  for (int32_t k = 0; k < kNumKinds; ++k) {
    int32_t* head = &pool->heads[kindOrder[k]];
    if (*head == kEnd) continue;
    const int32_t node = *head;
    *head = pool->links[node];
    pool->links[node] = pool->freeHead;
    pool->freeHead = node;
    return pool->tasks[node];
  }
  return kNoTask;
}

}  // namespace qz
