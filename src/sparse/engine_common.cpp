#include "sparse/engine_common.h"

#include <sched.h>

#include "shell/atomics.h"
#include "shell/host_table.h"
#include "shell/pool.h"
#include "sparse/blocked_setup.h"
#include "sparse/la_env.h"

namespace qz {

namespace {

constexpr int32_t kTurnsBeforeYield = 64;
constexpr int64_t kPackColumns = 96;

void cutScratch(SymbolicFactor* symbolic, const NumericFactor* numeric, ThreadContext* context) {
  const int64_t t = context->thread;
  char* slice = static_cast<char*>(symbolic->threadScratch) + t * threadScratchSlice(symbolic);
  context->update = reinterpret_cast<double*>(slice);
  context->panel = context->update + symbolic->maxBlockEntries;
  char* behind = reinterpret_cast<char*>(context->update + threadScratchDoubles(symbolic));
  context->transit = reinterpret_cast<int32_t*>(behind);
  context->indexMap = reinterpret_cast<int32_t*>(behind + threadTransitBytes(symbolic));
  if (numeric->packA == nullptr) return;
  context->packA = numeric->packA + t * numeric->panelWidth * kPackColumns;
  context->packB = numeric->packB + t * kPackColumns * kPackColumns;
}

}  // namespace

int32_t allocateEngine(QzPool* memory, SymbolicFactor* symbolic) {
  symbolic->threadContexts = poolAllocateZero<ThreadContext>(memory, symbolic->numThreads);
  if (symbolic->threadContexts == nullptr) return LA_NO_MEMORY;
  symbolic->engineShared = poolAllocateZero<EngineShared>(memory, 1);
  if (symbolic->engineShared == nullptr) return LA_NO_MEMORY;
  symbolic->engineShared->endEvents = poolAllocateZero<void*>(memory, symbolic->numThreads);
  if (symbolic->engineShared->endEvents == nullptr) return LA_NO_MEMORY;
  symbolic->engineShared->waitResults = poolAllocateZero<int64_t>(memory, symbolic->numThreads);
  return symbolic->engineShared->waitResults == nullptr ? LA_NO_MEMORY : LA_OK;
}

void freeEngine(QzPool* memory, SymbolicFactor* symbolic) {
  if (symbolic->engineShared != nullptr) {
    poolFree(memory, symbolic->engineShared->endEvents);
    poolFree(memory, symbolic->engineShared->waitResults);
  }
  poolFree(memory, symbolic->engineShared);
  poolFree(memory, symbolic->threadContexts);
}

void prepareContexts(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic,
                     const NumericFactor* numeric) {
  EngineShared* shared = symbolic->engineShared;
  shared->stopFlag = 0;
  shared->claimed = 0;
  shared->completed = 0;
  for (int32_t t = 0; t < symbolic->numThreads; ++t) {
    ThreadContext* context = &symbolic->threadContexts[t];
    *context = ThreadContext{};
    context->symbolic = symbolic;
    context->numeric = numeric;
    context->shared = shared;
    context->memory = memory;
    context->matrix = matrix;
    context->thread = t;
    context->numThreads = symbolic->numThreads;
    context->currentTask = -1;
    cutScratch(symbolic, numeric, context);
  }
}

void requestStop(EngineShared* shared, int32_t status) {
  qzAtomicSet(&shared->stopFlag, 0, status);
}

bool stopRequested(const ThreadContext& context) {
  if (readWord(&context.shared->stopFlag) != 0) return true;
  if (!threadCancelled(context.symbolic->threads[context.thread])) return false;
  requestStop(context.shared, LA_CANCELLED);
  return true;
}

void relax(int32_t turn) {
  if (turn % kTurnsBeforeYield == kTurnsBeforeYield - 1) {
    // More threads than processors, or a busy machine: the thread that is waited for may stand in line behind this one.
    sched_yield();
    return;
  }
#if defined(__x86_64__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ volatile("yield");
#endif
}

}  // namespace qz
