#include "sparse/static_pipeline.h"

#include "shell/atomics.h"
#include "sparse/block_layout.h"
#include "sparse/block_update.h"
#include "sparse/cholesky_blocks.h"
#include "sparse/ldl_blocks.h"

namespace qz {

namespace {

template <class Blocks>
class StaticWorker {
 public:
  explicit StaticWorker(ThreadContext& context) : context_(context), symbolic_(context.symbolic) {}

  void ProcessTaskStatic() {
    next_ = claimPosition();
    for (int32_t s = 0; s < symbolic_->numSupernodes; ++s) {
      sn_ = blocksOf(symbolic_, s);
      if (!ProcessSupernode()) return;
    }
  }

 private:
  using Position = bool (StaticWorker::*)(int32_t c, int32_t r);

  int64_t claimPosition() { return qzAtomicAdd(&context_.shared->claimed, 1) - 1; }

  // Own positions among (c, from) to (c, to - 1), the next ones of the list.
  bool processColumn(int32_t c, int32_t from, int32_t to, Position position) {
    while (next_ - passed_ < to - from) {
      if (stopRequested(context_) || !(this->*position)(c, from + static_cast<int32_t>(next_ - passed_))) return false;
      next_ = claimPosition();
    }
    passed_ += to - from;
    return true;
  }

  bool ProcessSupernode() {
    const BlockGrid& grid = sn_.grid;
    if (isNarrow(grid)) return processColumn(0, 0, 1, &StaticWorker::factorNarrow);
    const int32_t behind = Blocks::separateBelow ? grid.numCols : grid.numRows;
    for (int32_t c = 0; c < grid.numCols; ++c) {
      if (!processColumn(c, c, behind, &StaticWorker::finishBlock)) return false;
    }
    if (!Blocks::separateBelow || !hasRowsBelow(grid)) return true;
    for (int32_t c = 0; c < grid.numCols; ++c) {
      if (!processColumn(c, grid.firstBelow, grid.numRows, &StaticWorker::SubdiagonalSolveTaskS)) return false;
    }
    return true;
  }

  volatile int64_t* wordOf(int32_t r, int32_t c) const {
    return &symbolic_->blockState[sn_.s][blockNumber(sn_.grid, r, c)];
  }
  bool waitFinished(int32_t r, int32_t c, int64_t* word) { return waitUntil(context_, wordOf(r, c), isFinished, word); }
  bool waitFor(volatile int64_t* word, int64_t value) {
    int64_t seen = 0;
    return waitUntil(
        context_, word, [value](int64_t held) { return held == value; }, &seen);
  }

  // ---- Narrow supernodes ----

  bool factorNarrow(int32_t, int32_t) {
    const BlockGrid& grid = sn_.grid;
    if (!waitFor(wordOf(0, 0), kUpdated)) return false;
    Blocks::factorDiagonal(context_, sn_, 0);
    context_.currentTask = sn_.identity;
    for (int32_t r = 0; r < grid.numRows; ++r) {
      if (r > 0 && !waitFor(wordOf(r, 0), sn_.identity)) return false;
      const PlaceRange rows = solvedRows(grid, r, 0);
      if (lengthOf(rows) > 0) {
        Blocks::solveRows(context_, sn_, 0, rows, Blocks::narrowProduct(context_, sn_, rows.from));
      }
      qzAtomicSet(wordOf(r, 0), r > 0 ? sn_.identity : kUpdated, kFinished);
    }
    return ApplyUpdatesSmall<Blocks>(context_, sn_, applier());
  }

  // ---- Wide supernodes ----

  // Block (r, c): its internal updates, then factor or solve.
  bool finishBlock(int32_t c, int32_t r) {
    for (int32_t k = 0; k < c; ++k) {
      if (!UpdateInternalTaskS(r, k, c)) return false;
    }
    if (r == c) {
      if (!FactorTaskS(c)) return false;
    } else {
      if (!SolveTaskS(c, r)) return false;
    }
    if (Blocks::separateBelow || r < sn_.grid.firstBelow || !hasRowsBelow(sn_.grid)) return true;
    return UpdateExternalTaskS(c, r);
  }

  bool FactorTaskS(int32_t c) {
    if (!waitFor(wordOf(c, c), kUpdated)) return false;
    Blocks::factorDiagonal(context_, sn_, c);
    finishRows(c, c, kUpdated);
    return true;
  }

  bool SolveTaskS(int32_t c, int32_t r) {
    int64_t word = 0;
    if (!waitFinished(c, c, &word)) return false;
    if (!waitFor(wordOf(r, c), identityOf(sn_, c, c))) return false;
    finishRows(c, r, identityOf(sn_, c, c));
    return true;
  }

  // Solves what block (r, c) has to solve and passes its word on as finished.
  void finishRows(int32_t c, int32_t r, int64_t held) {
    const PlaceRange rows = solvedRows(sn_.grid, r, c);
    int32_t slot = 0;
    if (lengthOf(rows) > 0) {
      const typename Blocks::Product product = Blocks::takeProduct(context_, productUsers(sn_.grid, r, c));
      Blocks::solveRows(context_, sn_, c, rows, product.values);
      slot = product.slot;
    }
    qzAtomicSet(wordOf(r, c), held, finishedWord(slot));
  }

  // A row block below the triangle, right-looking: it updates the later blocks of its row itself.
  bool SubdiagonalSolveTaskS(int32_t c, int32_t i) {
    if (i >= sn_.grid.numCols) {
      if (!SolveTaskS(c, i)) return false;
      for (int32_t later = c + 1; later < sn_.grid.numCols; ++later) {
        if (!UpdateInternalTaskS(i, c, later)) return false;
      }
    }
    return UpdateExternalTaskS(c, i);
  }

  // Block (r, c) -= block (r, k) times block (c, k), transposed.
  bool UpdateInternalTaskS(int32_t r, int32_t k, int32_t c) {
    const BlockGrid& grid = sn_.grid;
    context_.currentTask = identityOf(sn_, r, k);
    int64_t leftWord = 0;
    int64_t rightWord = 0;
    if (!waitFinished(r, k, &leftWord) || !waitFinished(c, k, &rightWord)) return false;
    if (!waitFor(wordOf(r, c), context_.currentTask)) return false;
    updateInternal<Blocks>(context_, sn_, r, k, c, rightWord);
    if (k < c - 1) {
      qzAtomicAdd(wordOf(r, c), grid.numRows);
    } else if (r != c) {
      qzAtomicAdd(wordOf(r, c), grid.numRows - r + c);
    } else {
      qzAtomicSet(wordOf(r, c), context_.currentTask, kUpdated);
    }
    return true;
  }

  // What block (i, c) contributes to the ancestors, together with each row block down to it.
  bool UpdateExternalTaskS(int32_t c, int32_t i) {
    const BlockGrid& grid = sn_.grid;
    context_.currentTask = identityOf(sn_, i, c);
    int64_t word = 0;
    if (!waitFinished(i, c, &word)) return false;
    const PlaceRange rows = rowsBelow(grid, i);
    const RowOperand left{blockRow(sn_, c, rows.from), rows.from};
    for (int32_t j = grid.firstBelow; j <= i; ++j) {
      if (!waitFinished(j, c, &word)) return false;
      const PlaceRange cols = rowsBelow(grid, j);
      const RowOperand right = Blocks::rightFactor(context_, sn_, j, c, cols, word);
      if (!ApplyUpdatesBig(c, rows, left, cols, right)) return false;
      Blocks::releaseRight(context_, word);
    }
    return true;
  }

  // The products of (rows, cols) of block column c into the ancestors.
  bool ApplyUpdatesBig(int32_t c, PlaceRange rows, const RowOperand& left, PlaceRange cols, const RowOperand& right) {
    return formUpdates<Blocks>(context_, sn_.s, columnWidth(sn_.grid, c), rows, left, cols, right, applier());
  }

  auto applier() {
    return [this](const BlockUpdate& update, const double* product, int32_t leading) {
      return ApplyUpdatesBlockStatic(update, product, leading);
    };
  }

  // One product into one block, when its turn for currentTask comes.
  bool ApplyUpdatesBlockStatic(const BlockUpdate& update, const double* product, int32_t leading) {
    const BlockGrid target = blockGridOf(symbolic_, update.target);
    const int32_t number = blockNumber(target, update.gridRow, update.gridCol);
    volatile int64_t* word = &symbolic_->blockState[update.target][number];
    if (!waitFor(word, context_.currentTask)) return false;
    subtractProduct(symbolic_, sn_.rows, update, product, leading, context_.indexMap);
    const int32_t block = firstIdentity(symbolic_, update.target) + number;
    const int32_t following = symbolic_->blockTaskList[block][symbolic_->blockCursor[block]++];
    qzAtomicSet(word, context_.currentTask, following);
    return true;
  }

  ThreadContext& context_;
  SymbolicFactor* symbolic_;
  SupernodeBlocks sn_{};
  int64_t passed_ = 0;  // positions of the list that lie behind
  int64_t next_ = 0;    // own next position
};

}  // namespace

void seedStaticPipeline(SymbolicFactor* symbolic) {
  if (symbolic->numBlocks == 0) return;
  volatile int64_t* words = symbolic->blockState[0];
  for (int32_t block = 0; block < symbolic->numBlocks; ++block) {
    words[block] = symbolic->blockTaskList[block][0];
    symbolic->blockCursor[block] = 1;
  }
}

void ProcessTaskStaticCholesky(ThreadContext& context) {
  StaticWorker<CholeskyBlocks>(context).ProcessTaskStatic();
}

void ProcessTaskStaticLDL(ThreadContext& context) {
  StaticWorker<LDLBlocks>(context).ProcessTaskStatic();
}

}  // namespace qz
