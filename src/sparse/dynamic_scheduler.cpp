#include "sparse/dynamic_scheduler.h"

#include <algorithm>

#include "shell/atomics.h"
#include "shell/host_table.h"
#include "sparse/block_layout.h"
#include "sparse/block_update.h"
#include "sparse/cholesky_blocks.h"
#include "sparse/la_env.h"
#include "sparse/ldl_blocks.h"
#include "sparse/task_queue.h"

namespace qz {

namespace {

template <class Blocks>
constexpr QueuePolicy kPolicy{Blocks::usesStacks, Blocks::kindOrder};

template <class Blocks>
class DynamicWorker {
 public:
  explicit DynamicWorker(ThreadContext& context) : context_(context), symbolic_(context.symbolic) {}

  void ProcessTask() {
    while (!stopRequested(context_)) {
      Task task = GetNextTaskS(context_, kPolicy<Blocks>);
      if (task.kind == TASK_NONE) {
        if (allComplete()) return;
        task = waitForTask();
      }
      // A task leaves what became ready first as its follow-up, so that a chain runs without touching a queue.
      for (; task.kind != TASK_NONE && !stopRequested(context_); task = followUp_) {
        followUp_ = kNoTask;
        process(task);
      }
    }
  }

 private:
  // Complete means: the last diagonal block was taken up. Once all are, nothing can become ready any more: an ancestor
  // waits for every update of its descendants.
  bool allComplete() const { return readWord(&context_.shared->completed) >= symbolic_->numSupernodes; }

  // One idle thread looks for work, the others sleep on its lock.
  Task waitForTask() {
    Task task = kNoTask;
    acquireLock(context_.shared->idleLock);
    for (int32_t turn = 0; task.kind == TASK_NONE && !allComplete() && !stopRequested(context_); ++turn) {
      task = GetNextTaskS(context_, kPolicy<Blocks>);
      if (task.kind == TASK_NONE) relax(turn);
    }
    releaseLock(context_.shared->idleLock);
    return task;
  }

  void process(const Task& task) {
    sn_ = blocksOf(symbolic_, task.sn);
    switch (task.kind) {
      case TASK_FACTOR:
        FactorTask(task.b);
        return;
      case TASK_SOLVE:
        SolveTask(task.a, task.b);
        return;
      case TASK_INTERNAL:
        UpdateInternalTask(task.a, task.b, task.c);
        return;
      default:
        UpdateExternalTask(task.a, task.b, task.c);
    }
  }

  void makeReady(const Task& task) {
    if (followUp_.kind == TASK_NONE) {
      followUp_ = task;
    } else {
      static_cast<void>(pushTask(context_, kPolicy<Blocks>, task));  // a failure stops the run
    }
  }

  int32_t* counterOf(int32_t r, int32_t c) const {
    return &symbolic_->workCounters[sn_.s][blockNumber(sn_.grid, r, c)];
  }
  QzLock* lockOf(int32_t r, int32_t c) const { return symbolic_->blockLocks[sn_.s][blockNumber(sn_.grid, r, c)]; }
  // Relaxed: the locks order what the counters stand for.
  int32_t wordOf(int32_t r, int32_t c) const { return __atomic_load_n(counterOf(r, c), __ATOMIC_RELAXED); }
  void setFinished(int32_t r, int32_t c, int32_t slot) {
    __atomic_store_n(counterOf(r, c), static_cast<int32_t>(finishedWord(slot)), __ATOMIC_RELAXED);
  }
  static bool countDown(int32_t* counter) { return __atomic_sub_fetch(counter, 1, __ATOMIC_RELAXED) == 0; }

  void FactorTask(int32_t c) {
    if (c == sn_.grid.numCols - 1) qzAtomicAdd(&context_.shared->completed, 1);
    Blocks::factorDiagonal(context_, sn_, c);
    if (isNarrow(sn_.grid)) {
      finishNarrow();
    } else {
      finishDiagonal(c);
    }
  }

  void finishNarrow() {
    const BlockGrid& grid = sn_.grid;
    if (!hasRowsBelow(grid)) return;
    const PlaceRange below{grid.width, grid.height};
    Blocks::solveRows(context_, sn_, 0, below, Blocks::narrowProduct(context_, sn_, grid.width));
    static_cast<void>(ApplyUpdatesSmall<Blocks>(context_, sn_, applier()));
  }

  void finishDiagonal(int32_t c) {
    const BlockGrid& grid = sn_.grid;
    const PlaceRange rows = solvedRows(grid, c, c);
    const bool partial = lengthOf(rows) > 0;
    const int32_t slot = partial ? solve(c, c, rows) : 0;
    acquireLock(lockOf(c, c));
    setFinished(c, c, slot);
    releaseLock(lockOf(c, c));
    if (partial) makeReady({TASK_EXTERNAL, sn_.s, c, c, c});
    for (int32_t r = c + 1; r < grid.numRows; ++r) {
      acquireLock(lockOf(r, c));
      const bool ready = countDown(counterOf(r, c));
      releaseLock(lockOf(r, c));
      if (ready) makeReady({TASK_SOLVE, sn_.s, r, c, 0});
    }
  }

  int32_t solve(int32_t r, int32_t c, PlaceRange rows) {
    const typename Blocks::Product product = Blocks::takeProduct(context_, productUsers(sn_.grid, r, c));
    Blocks::solveRows(context_, sn_, c, rows, product.values);
    return product.slot;
  }

  void SolveTask(int32_t r, int32_t c) {
    const BlockGrid& grid = sn_.grid;
    const int32_t slot = solve(r, c, solvedRows(grid, r, c));
    acquireLock(lockOf(c, c));
    setFinished(r, c, slot);
    const auto done = [&](int32_t k) { return isFinished(wordOf(k, c)); };
    for (int32_t k = c + 1; k <= std::min(r, grid.numCols - 1); ++k) {
      if (done(k)) makeReady({TASK_INTERNAL, sn_.s, r, c, k});
    }
    for (int32_t k = r + 1; r < grid.numCols && k < grid.numRows; ++k) {
      if (done(k)) makeReady({TASK_INTERNAL, sn_.s, k, c, r});
    }
    if (hasRowsBelow(grid) && r >= grid.firstBelow) {
      for (int32_t k = grid.firstBelow; k <= r; ++k) {
        if (done(k)) makeReady({TASK_EXTERNAL, sn_.s, r, c, k});
      }
      for (int32_t k = r + 1; k < grid.numRows; ++k) {
        if (done(k)) makeReady({TASK_EXTERNAL, sn_.s, k, c, r});
      }
    }
    releaseLock(lockOf(c, c));
  }

  void UpdateInternalTask(int32_t r, int32_t k, int32_t c) {
    acquireLock(lockOf(r, c));
    updateInternal<Blocks>(context_, sn_, r, k, c, wordOf(c, k));
    const bool ready = countDown(counterOf(r, c));
    releaseLock(lockOf(r, c));
    if (!ready) return;
    makeReady(r == c ? Task{TASK_FACTOR, sn_.s, 0, c, 0} : Task{TASK_SOLVE, sn_.s, r, c, 0});
  }

  void UpdateExternalTask(int32_t i, int32_t c, int32_t j) {
    const int32_t word = wordOf(j, c);
    const PlaceRange rows = rowsBelow(sn_.grid, i);
    const PlaceRange cols = rowsBelow(sn_.grid, j);
    const RowOperand right = Blocks::rightFactor(context_, sn_, j, c, cols, word);
    ApplyUpdatesBig(c, rows, {blockRow(sn_, c, rows.from), rows.from}, cols, right);
    Blocks::releaseRight(context_, word);
  }

  void ApplyUpdatesBig(int32_t c, PlaceRange rows, const RowOperand& left, PlaceRange cols, const RowOperand& right) {
    static_cast<void>(
        formUpdates<Blocks>(context_, sn_.s, columnWidth(sn_.grid, c), rows, left, cols, right, applier()));
  }

  auto applier() {
    return [this](const BlockUpdate& update, const double* product, int32_t leading) {
      ApplyUpdatesBlock(update, product, leading);
      return true;
    };
  }

  void ApplyUpdatesBlock(const BlockUpdate& update, const double* product, int32_t leading) {
    const BlockGrid target = blockGridOf(symbolic_, update.target);
    QzLock** locks = symbolic_->blockLocks[update.target];
    int32_t* counters = symbolic_->workCounters[update.target];
    const int32_t number = blockNumber(target, update.gridRow, update.gridCol);
    // A narrow supernode counts all its events in its first block.
    const int32_t counted = isNarrow(target) ? 0 : number;
    acquireLock(locks[number]);
    subtractProduct(symbolic_, sn_.rows, update, product, leading, context_.indexMap);
    bool ready = number == counted && countDown(&counters[counted]);
    releaseLock(locks[number]);
    if (number != counted) {
      acquireLock(locks[counted]);
      ready = countDown(&counters[counted]);
      releaseLock(locks[counted]);
    }
    if (!ready) return;
    if (isNarrow(target) || update.gridRow == update.gridCol) {
      makeReady({TASK_FACTOR, update.target, 0, update.gridCol, 0});
    } else {
      makeReady({TASK_SOLVE, update.target, update.gridRow, update.gridCol, 0});
    }
  }

  ThreadContext& context_;
  SymbolicFactor* symbolic_;
  SupernodeBlocks sn_{};
  Task followUp_ = kNoTask;
};

QzLock* createLock() {
  QzHostTable* host = Exported_QZHandle;
  return host == nullptr ? nullptr : host->createLock(host, nullptr, 0, L"qzipsolve");
}

bool makeLock(QzLock** lock) {
  *lock = createLock();
  return *lock != nullptr;
}

void dropLock(QzLock** lock) {
  if (*lock != nullptr) (*lock)->destroy(*lock);
  *lock = nullptr;
}

bool makeBlockLocks(SymbolicFactor* symbolic) {
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const BlockGrid grid = blockGridOf(symbolic, s);
    for (int32_t c = 0; c < grid.numCols; ++c) {
      // The blocks above the diagonal don't exist.
      for (int32_t r = c; r < grid.numRows; ++r) {
        if (!makeLock(&symbolic->blockLocks[s][blockNumber(grid, r, c)])) return false;
      }
    }
  }
  return true;
}

template <class Blocks>
void seedDynamic(SymbolicFactor* symbolic) {
  if (symbolic->numSupernodes > 0) {
    std::copy_n(symbolic->blockCounters[0], symbolic->numBlocks, symbolic->workCounters[0]);
  }
  seedQueues(symbolic, kPolicy<Blocks>);
}

}  // namespace

int32_t createDynamicLocks(SymbolicFactor* symbolic) {
  EngineShared* shared = symbolic->engineShared;
  bool made = makeLock(&symbolic->taskPool->lock) && makeLock(&shared->idleLock) && makeLock(&shared->leafLock);
  for (int32_t t = 0; made && symbolic->stackLocks != nullptr && t < symbolic->numThreads; ++t) {
    made = makeLock(&symbolic->stackLocks[t]);
  }
  return made && makeBlockLocks(symbolic) ? LA_OK : LA_NO_MEMORY;
}

void destroyDynamicLocks(SymbolicFactor* symbolic) {
  EngineShared* shared = symbolic->engineShared;
  dropLock(&symbolic->taskPool->lock);
  dropLock(&shared->idleLock);
  dropLock(&shared->leafLock);
  for (int32_t t = 0; symbolic->stackLocks != nullptr && t < symbolic->numThreads; ++t) {
    dropLock(&symbolic->stackLocks[t]);
  }
  if (symbolic->numBlocks == 0) return;
  QzLock** locks = symbolic->blockLocks[0];
  for (int32_t block = 0; block < symbolic->numBlocks; ++block) dropLock(&locks[block]);
}

void seedDynamicCholesky(SymbolicFactor* symbolic) {
  seedDynamic<CholeskyBlocks>(symbolic);
}

void seedDynamicLDL(SymbolicFactor* symbolic) {
  clearSlots(symbolic);
  seedDynamic<LDLBlocks>(symbolic);
}

void ProcessTaskCholesky(ThreadContext& context) {
  DynamicWorker<CholeskyBlocks>(context).ProcessTask();
}

void ProcessTaskLDL(ThreadContext& context) {
  DynamicWorker<LDLBlocks>(context).ProcessTask();
}

}  // namespace qz
