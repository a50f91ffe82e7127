#include "sparse/ldl_blocks.h"

#include <algorithm>

#include "dense/dense_ldl.h"
#include "dense/packed_product.h"
#include "shell/atomics.h"
#include "sparse/panel_layout.h"

namespace qz {

namespace {

constexpr int64_t kFree = 0;
constexpr int64_t kTaken = 1;

const int32_t* pivotsOf(const ThreadContext& context, const SupernodeBlocks& sn, int32_t c) {
  return context.symbolic->pivotKind + sn.firstColumn + c * sn.grid.colWidth;
}

double* slotValues(const SymbolicFactor* symbolic, int32_t slot) {
  const int64_t entries = static_cast<int64_t>(symbolic->blockSize) * symbolic->blockSize;
  return symbolic->slotValues + (slot - 1) * entries;
}

}  // namespace

void LDLBlocks::factorDiagonal(ThreadContext& context, const SupernodeBlocks& sn, int32_t c) {
  SymbolicFactor* symbolic = context.symbolic;
  const int32_t width = columnWidth(sn.grid, c);
  const int32_t firstColumn = sn.firstColumn + c * sn.grid.colWidth;
  int32_t* pivots = symbolic->pivotKind + firstColumn;
  double* block = blockRow(sn, c, c * sn.grid.colWidth);
  double* columns = context.update;
  ConvertRowToColumnWise(1, width, width, block, columns);
  if (isNarrow(sn.grid)) {
    static_cast<void>(LA_DenseLDLFactorize(width, width, columns, width, pivots, context.panel, &context.numPerturbed,
                                           context.packA, context.packB, symbolic->pivotTolerance));
  } else {
    DenseLDLNonBlock(symbolic->pivotTolerance, width, columns, width, pivots, &context.numPerturbed);
  }
  convertColumnToRowWise(1, width, width, columns, block);
}

LDLBlocks::Product LDLBlocks::takeProduct(ThreadContext& context, int32_t users) {
  SymbolicFactor* symbolic = context.symbolic;
  const int32_t numSlots = symbolic->numSlots;
  // Each thread looks in its own part first.
  const auto start = static_cast<int32_t>(static_cast<int64_t>(numSlots) * context.thread / context.numThreads);
  for (int32_t k = 0; k < numSlots; ++k) {
    const int32_t i = start + k < numSlots ? start + k : start + k - numSlots;
    if (readWord(&symbolic->slotFlags[i]) != kFree || qzAtomicSet(&symbolic->slotFlags[i], kFree, kTaken) == 0)
      continue;
    // Relaxed: the users find the slot through the block's word, which is stored behind this.
    __atomic_store_n(&symbolic->slotUsers[i], users, __ATOMIC_RELAXED);
    return {slotValues(symbolic, i + 1), i + 1};
  }
  return {context.panel, 0};
}

void LDLBlocks::solveRows(ThreadContext& context, const SupernodeBlocks& sn, int32_t c, PlaceRange rows,
                          double* product) {
  const int32_t width = columnWidth(sn.grid, c);
  SolveLD(lengthOf(rows), width, blockRow(sn, c, c * sn.grid.colWidth), width, pivotsOf(context, sn, c),
          blockRow(sn, c, rows.from), width, product, width);
}

RowOperand LDLBlocks::rightFactor(ThreadContext& context, const SupernodeBlocks& sn, int32_t r, int32_t c,
                                  PlaceRange rows, int64_t word) {
  const int32_t slot = slotOf(word);
  if (slot > 0) return {slotValues(context.symbolic, slot), solvedRows(sn.grid, r, c).from};
  const int32_t width = columnWidth(sn.grid, c);
  MultiplyLD(lengthOf(rows), width, blockRow(sn, c, c * sn.grid.colWidth), width, pivotsOf(context, sn, c),
             blockRow(sn, c, rows.from), width, context.panel, width);
  return {context.panel, rows.from};
}

void LDLBlocks::releaseRight(ThreadContext& context, int64_t word) {
  const int32_t slot = slotOf(word);
  if (slot == 0) return;
  SymbolicFactor* symbolic = context.symbolic;
  // Acquire and release: all reads of the product come before its slot is free.
  if (__atomic_sub_fetch(&symbolic->slotUsers[slot - 1], 1, __ATOMIC_ACQ_REL) > 0) return;
  __atomic_store_n(&symbolic->slotFlags[slot - 1], kFree, __ATOMIC_RELEASE);
}

RowOperand LDLBlocks::narrowRight(ThreadContext& context, const SupernodeBlocks& sn) {
  return {context.panel, sn.grid.width};
}

double* LDLBlocks::narrowProduct(ThreadContext& context, const SupernodeBlocks& sn, int32_t place) {
  return context.panel + static_cast<int64_t>(place - sn.grid.width) * sn.grid.width;
}

void LDLBlocks::triangle(ThreadContext& context, Update update, int32_t n, int32_t k, const double* right,
                         const double* left, double* c, int32_t ldc) {
  packedProduct(Region::UPPER, update, n, n, k, transposed(right, k), asStored(left, k), c, ldc, context.packB,
                nullptr);
}

void clearSlots(SymbolicFactor* symbolic) {
  for (int32_t i = 0; i < symbolic->numSlots; ++i) symbolic->slotFlags[i] = kFree;
}

}  // namespace qz
