#include "sparse/factor_cleanup.h"

#include "shell/pool.h"
#include "sparse/dynamic_scheduler.h"
#include "sparse/engine_common.h"
#include "sparse/task_pool.h"
#include "sparse/worker_team.h"

namespace qz {

namespace {

// A table of arrays that lie in one shared allocation, the first entry at its start.
template <class T>
void freeSharedTable(QzPool* memory, T**& table) {
  if (table == nullptr) return;
  poolFree(memory, table[0]);
  poolFree(memory, table);
}

void freeSymbolic(QzPool* memory, SymbolicFactor* symbolic) {
  poolFree(memory, symbolic->workerThreads);
  poolFree(memory, symbolic->lIndexBegin);
  poolFree(memory, symbolic->lIndex);
  poolFree(memory, symbolic->lValueBegin);
  poolFree(memory, symbolic->lValues);
  poolFree(memory, symbolic->threadScratch);
  freeSharedTable(memory, symbolic->workCounters);
  freeSharedTable(memory, symbolic->blockCounters);
  freeSharedTable(memory, symbolic->blockLocks);
  poolFree(memory, symbolic->leaves);
  poolFree(memory, symbolic->blockCursor);
  freeSharedTable(memory, symbolic->blockState);
  freeSharedTable(memory, symbolic->blockTaskList);
  poolFree(memory, symbolic->threads);
  freeTaskPool(memory, symbolic);
  poolFree(memory, symbolic->taskStacks);
  poolFree(memory, symbolic->stackLocks);
  freeEngine(memory, symbolic);
  poolFree(memory, symbolic->slotFlags);
  poolFree(memory, symbolic->slotUsers);
  poolFree(memory, symbolic->slotValues);
}

void freeFactor(LAEnv* env, SymbolicFactor** symbolic, NumericFactor** numeric) {
  if (env == nullptr) return;
  QzPool* memory = env->memory;
  if (symbolic != nullptr && *symbolic != nullptr) {
    if (hasWorkers(*symbolic)) {
      interruptWorkers(*symbolic);
      if ((*symbolic)->taskPool != nullptr) destroyDynamicLocks(*symbolic);
    }
    freeSymbolic(memory, *symbolic);
    poolFree(memory, *symbolic);
  }
  if (numeric != nullptr && *numeric != nullptr) {
    poolFree(memory, (*numeric)->packA);
    poolFree(memory, (*numeric)->packB);
    poolFree(memory, (*numeric)->workBlock);
    poolFree(memory, *numeric);
  }
}

}  // namespace

void LA_CleanUpLDL(LAEnv* env, SymbolicFactor** symbolic, NumericFactor** numeric) {
  freeFactor(env, symbolic, numeric);
}

void LA_CleanUpCholesky(LAEnv* env, SymbolicFactor** symbolic, NumericFactor** numeric) {
  freeFactor(env, symbolic, numeric);
}

}  // namespace qz
