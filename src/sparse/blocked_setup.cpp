#include "sparse/blocked_setup.h"

#include <algorithm>
#include <limits>

#include "shell/pool.h"
#include "sparse/block_grid.h"
#include "sparse/block_tasks.h"
#include "sparse/engine_common.h"
#include "sparse/factor_decision.h"
#include "sparse/task_pool.h"

namespace qz {

namespace {

constexpr int64_t intLimit = std::numeric_limits<int32_t>::max();
constexpr int64_t sliceMultiple = 32;
constexpr int64_t transitBytesCholesky = 2016;
constexpr int64_t transitBytesLDL = 16;

int32_t setUpTasks(QzPool* memory, SymbolicFactor* symbolic) {
  int32_t numBlocks = 0;
  const int32_t status = FindBlockSizes(memory, symbolic, &numBlocks);
  if (status != LA_OK) return status;
  FindBlockDependencyCounts(symbolic);
  return symbolic->staticPipeline != 0 ? SetUpStaticPipeline(memory, symbolic) : GetLeaves(memory, symbolic);
}

int32_t allocateThreads(QzPool* memory, SymbolicFactor* symbolic) {
  const int64_t numThreads = symbolic->numThreads;
  symbolic->threadScratchBytes = threadScratchSlice(symbolic) * numThreads;
  symbolic->threadScratch = poolAllocate<char>(memory, symbolic->threadScratchBytes);
  if (symbolic->threadScratch == nullptr) return LA_NO_MEMORY;
  symbolic->threads = poolAllocateZero<QzThread*>(memory, numThreads);
  if (symbolic->threads == nullptr) return LA_NO_MEMORY;
  symbolic->workerThreads = poolAllocateZero<QzThread*>(memory, numThreads - 1);
  if (symbolic->workerThreads == nullptr) return LA_NO_MEMORY;
  return allocateEngine(memory, symbolic);
}

int32_t allocateSlots(QzPool* memory, int32_t maxRows, SymbolicFactor* symbolic) {
  const int64_t perThread = (symbolic->staticPipeline != 0 ? 2 : 1) * static_cast<int64_t>(maxRows);
  const int64_t numSlots = perThread * symbolic->numThreads;
  if (numSlots > intLimit) return LA_TOO_LARGE;
  symbolic->numSlots = static_cast<int32_t>(numSlots);
  symbolic->slotFlags = poolAllocateZero<int64_t>(memory, numSlots);
  if (symbolic->slotFlags == nullptr) return LA_NO_MEMORY;
  symbolic->slotUsers = poolAllocateZero<int32_t>(memory, numSlots);
  if (symbolic->slotUsers == nullptr) return LA_NO_MEMORY;
  symbolic->slotValues =
      poolAllocate<double>(memory, numSlots * symbolic->blockSize * static_cast<int64_t>(symbolic->blockSize));
  return symbolic->slotValues == nullptr ? LA_NO_MEMORY : LA_OK;
}

}  // namespace

int64_t threadScratchDoubles(const SymbolicFactor* symbolic) {
  if (symbolic->pivotKind == nullptr) return symbolic->maxBlockEntries;
  const int64_t square = static_cast<int64_t>(symbolic->blockSize) * symbolic->blockSize;
  return symbolic->maxBlockEntries + std::max<int64_t>(symbolic->maxPanelEntries, square);
}

int64_t threadTransitBytes(const SymbolicFactor* symbolic) {
  return symbolic->pivotKind != nullptr ? transitBytesLDL : transitBytesCholesky;
}

int64_t threadScratchSlice(const SymbolicFactor* symbolic) {
  const int64_t indices = std::max<int64_t>(2 * static_cast<int64_t>(symbolic->blockSize), symbolic->numRows);
  const int64_t bytes = 8 * threadScratchDoubles(symbolic) + threadTransitBytes(symbolic) + 4 * indices;
  return (bytes + sliceMultiple - 1) / sliceMultiple * sliceMultiple;
}

void sizeBlockedLDL(const SymbolicFactor* symbolic, int64_t* maxPanelEntries, int32_t* maxRows) {
  *maxPanelEntries = 0;
  *maxRows = 0;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const BlockGrid grid = blockGridOf(symbolic, s);
    if (isNarrow(grid)) {
      *maxPanelEntries = std::max(*maxPanelEntries, static_cast<int64_t>(grid.width) * grid.height);
    } else {
      *maxRows = std::max(*maxRows, grid.numRows);
    }
  }
}

int32_t setUpBlockedCholesky(LAEnv* env, SymbolicFactor* symbolic) {
  int32_t status = setUpTasks(env->memory, symbolic);
  if (status != LA_OK) return status;
  status = allocateThreads(env->memory, symbolic);
  if (status != LA_OK || symbolic->staticPipeline != 0) return status;
  symbolic->poolCapacity = choleskyPoolCapacity;
  status = allocateTaskPool(env->memory, symbolic);
  if (status != LA_OK) return status;
  symbolic->taskStacks =
      poolAllocateZero<int32_t>(env->memory, static_cast<int64_t>(kStackIntegers) * symbolic->numThreads);
  if (symbolic->taskStacks == nullptr) return LA_NO_MEMORY;
  symbolic->stackLocks = poolAllocateZero<QzLock*>(env->memory, symbolic->numThreads);
  return symbolic->stackLocks == nullptr ? LA_NO_MEMORY : LA_OK;
}

int32_t setUpBlockedLDL(LAEnv* env, SymbolicFactor* symbolic) {
  int32_t status = setUpTasks(env->memory, symbolic);
  if (status != LA_OK) return status;
  int64_t maxPanelEntries = 0;
  int32_t maxRows = 0;
  sizeBlockedLDL(symbolic, &maxPanelEntries, &maxRows);
  if (maxPanelEntries > intLimit) return LA_TOO_LARGE;
  symbolic->maxPanelEntries = static_cast<int32_t>(maxPanelEntries);
  status = allocateSlots(env->memory, maxRows, symbolic);
  if (status != LA_OK) return status;
  if (symbolic->staticPipeline == 0) {
    symbolic->poolCapacity = ldlPoolCapacity(symbolic->numLeaves, symbolic->numSupernodes);
    status = allocateTaskPool(env->memory, symbolic);
    if (status != LA_OK) return status;
  }
  return allocateThreads(env->memory, symbolic);
}

}  // namespace qz
