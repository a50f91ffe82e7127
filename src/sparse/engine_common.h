// What the threads of one parallel factorisation share, what each of them holds, and how they stop and wait.
//
// A run ends early through stopFlag, which keeps the first status that somebody gave it: a cancelled thread, a failed
// lock, a full pool. Every wait polls it and the cancel word of its own thread, so that nobody stays behind.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"
#include "sparse/factor.h"
#include "sparse/lower_matrix.h"

namespace qz {

struct EngineShared {
  volatile int64_t stopFlag;   // 0, or the first status that ends the run
  volatile int64_t claimed;    // static pipeline: positions that threads have taken
  volatile int64_t completed;  // dynamic scheduler: supernodes whose last diagonal block was taken up
  QzLock* idleLock;            // dynamic scheduler: held by the one idle thread that looks for work
  QzLock* leafLock;            // dynamic scheduler: guards nextLeaf
  void** endEvents;            // per worker the event that the host posts at its end, null while it doesn't run
  int64_t* waitResults;        // per worker
};

// One per thread; the caller of the factorisation is the last one. The pointers into the scratch are its own.
struct ThreadContext {
  SymbolicFactor* symbolic;
  const NumericFactor* numeric;
  EngineShared* shared;
  QzPool* memory;
  LowerMatrix matrix;
  void (*work)(ThreadContext& context);  // what a started worker runs
  volatile int64_t left;                 // 1 once a worker touches nothing any more
  int32_t thread;                        // its number
  int32_t numThreads;
  int32_t currentTask;   // static pipeline: identity of the block at work, -1 at the start
  int32_t numPerturbed;  // LDL: pivots that this thread changed
  double* update;        // maxBlockEntries: products on their way to an ancestor
  double* panel;         // LDL: L D of a narrow supernode, or of a block that has no shared buffer
  int32_t* indexMap;     // max(2 nb, n)
  int32_t* transit;      // Cholesky: tasks in transit, 2016 bytes
  double* packA;         // LDL: buffers of the dense kernels
  double* packB;
};

// threadContexts and what hangs from them; once per factor. LA_OK or LA_NO_MEMORY.
[[nodiscard]] int32_t allocateEngine(QzPool* memory, SymbolicFactor* symbolic);
void freeEngine(QzPool* memory, SymbolicFactor* symbolic);

// Prepares the contexts for one factorisation and clears stopFlag.
void prepareContexts(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic, const NumericFactor* numeric);

// Ends the run with `status` unless it ends already.
void requestStop(EngineShared* shared, int32_t status);

// True when the run is to end; a cancelled thread ends it for all.
[[nodiscard]] bool stopRequested(const ThreadContext& context);

// One turn of a spin: a pause, and every so often the processor, which the awaited thread may need.
void relax(int32_t turn);

[[nodiscard]] inline int64_t readWord(const volatile int64_t* word) {
  // Acquire: what the writer did to the block before it stored the word is visible behind this read.
  return __atomic_load_n(word, __ATOMIC_ACQUIRE);
}

// Spins until test(*word) holds; false when the run ends instead. *seen is the value that passed.
template <class Test>
[[nodiscard]] bool waitUntil(const ThreadContext& context, const volatile int64_t* word, const Test& test,
                             int64_t* seen) {
  for (int32_t turn = 0;; ++turn) {
    *seen = readWord(word);
    if (test(*seen)) return true;
    if (stopRequested(context)) return false;
    relax(turn);
  }
}

}  // namespace qz
