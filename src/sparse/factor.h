// The two records of a sparse factor: what the analysis found and what all numeric phases share (`SymbolicFactor`), and
// the matrix as the factorisation sees it (`NumericFactor`). Both are owned by the pair; a clean-up frees what hangs
// from them.
//
// Storage of a supernode of width w and height h (h counts its own w rows):
//   not blocked  w*h values in column order, leading dimension h;
//   blocked      block columns of width blockSize (the last narrower); block column k of width wk keeps its
//                h - k*blockSize rows from its diagonal down, row-major with leading dimension wk, and starts
//                k*nb*h - nb*nb*k*(k-1)/2 entries behind lValueBegin[s], nb = blockSize.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"

namespace qz {

// Of the parallel factorisations, see engine_common.h and task_pool.h.
struct EngineShared;
struct TaskPool;
struct ThreadContext;

struct SymbolicFactor {
  int32_t numRows;
  int32_t numSupernodes;    // after all merging
  int32_t rightLooking;     // 0 Cholesky, 1 LDL: the serial sweep and the sizes of the scratch
  int32_t factorState;      // 0 in analysis, -1 at rest, 1 in a numeric factorisation, 2 in a solve
  int32_t blocked;          // 1 block grid and worker threads, 0 serial supernodal sweep
  int32_t blockSize;        // nb, 0 when not blocked
  int32_t numThreads;       // that the factorisation uses
  int64_t numIndices;       // length of lIndex
  int64_t numValues;        // length of lValues
  int32_t maxWidth;         // largest supernode width seen while relaxing
  int32_t maxBlockEntries;  // entries of the largest block, or of the serial update scratch
  int32_t maxPanelEntries;  // LDL: largest width * height of a supernode
  int32_t reservedCount;    // copy of the parameter
  int32_t numPerturbed;     // LDL: pivots changed by the last factorisation
  double pivotTolerance;    // threshold of the last factorisation
  double nnzL;              // strictly lower nonzeros of L from the column counts, before relaxation
  double flopsColumn;       // sum over columns of c (c - 1), c the column count, before relaxation
  double flopsRelaxed;      // the same count after relaxation
  int32_t numBlocks;        // of the grid
  int32_t numLeaves;        // ready supernodes at the start
  int32_t* leaves;          // they (dynamic scheduler)
  int32_t** blockCounters;  // numSupernodes + 1: per supernode its dependency counters, in one shared allocation
  int32_t** workCounters;   // same shape: the copy that the dynamic scheduler counts down
  int32_t staticPipeline;   // copy of the parameter
  int32_t poolCapacity;     // initial size of the task pool
  QzThread** threads;       // one host thread object per thread
  TaskPool* taskPool;
  ThreadContext* threadContexts;  // one per thread
  EngineShared* engineShared;     // what they share beside the arrays below
  volatile int64_t** blockState;  // static pipeline: per supernode the state of each block
  int32_t** blockTaskList;        // static pipeline: per block the ordered list of its updates, ended by -1
  int32_t* blockCursor;           // static pipeline: per block the position in its list
  QzLock*** blockLocks;           // dynamic scheduler: per supernode one lock per block
  int32_t nextLeaf;               // dynamic scheduler: next entry of leaves to hand out
  int32_t* taskStacks;            // dynamic scheduler: per thread one stack of 501 integers
  QzLock** stackLocks;            // dynamic scheduler: one per thread
  QzThread** workerThreads;       // the numThreads - 1 started threads
  int32_t* perm;                  // position to input row
  int32_t* invPerm;               // input row to position
  int32_t* snParent;              // supernodal elimination tree, -1 at roots
  int32_t* snStart;               // numSupernodes + 1: first column of each supernode
  int32_t* colToSn;               // column to supernode
  int32_t* pivotKind;    // LDL: numRows; null for Cholesky. In the analysis -2 a single column, -1 a column of a pair;
                         // after a factorisation the pivots: p >= 0 a 1-by-1 pivot interchanged with row p, two equal
                         // adjacent negative values a 2-by-2 pivot, counted from the first column of the supernode
  int64_t* lIndexBegin;  // numSupernodes + 1: where each supernode's rows start in lIndex
  int32_t* lIndex;       // row lists: the supernode's own columns, then its rows below, ascending
  int64_t* lValueBegin;  // numSupernodes + 1: where each supernode's values start in lValues
  double* lValues;       // the factor
  void* threadScratch;   // scratch, cut per thread
  int64_t threadScratchBytes;  // its size in bytes

  // LDL, blocked only: the shared product buffers.
  int32_t numSlots;
  volatile int64_t* slotFlags;  // numSlots: 1 while taken
  int32_t* slotUsers;           // numSlots: updates still to come
  double* slotValues;           // numSlots * blockSize^2
};

struct NumericFactor {
  int32_t numRows;
  int32_t numEntries;      // of the permuted lower triangle, diagonal included
  int32_t* colBegin;       // numRows + 1
  int32_t* rowIndex;       // capacity numRows + floor(offDiagonalEntries / 2)
  double* matValue;        // the same
  void* workBlock;         // the one allocation from which these and the temporaries of the analysis are cut
  int64_t workBytesFirst;  // sizes of its two parts in bytes
  int64_t workBytesSecond;
  double* work;  // scratch of the numeric phases, 5 * numRows + 8 doubles, cut from workBlock; what a call
                 // leaves there is lost at the next one

  // LDL only.
  int32_t panelWidth;  // 96 in a serial factor, blockSize when blocked
  double* packA;       // per thread panelWidth * 96 entries, for the dense kernels
  double* packB;       // per thread 96 * 96 entries
};

}  // namespace qz
