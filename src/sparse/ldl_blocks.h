// What is LDL about a blocked factorisation: the kernels on a block column, and the shared buffers for L D.
//
// Every block below a diagonal serves its column's updates in two forms, L and L D. The product L D is formed once, in
// one of the shared buffers (slots), and each update that needs it counts itself off; the last one gives the slot back.
// A block that finds no free slot is finished without one, and each of its users forms the product again from the
// stored L and D, to the same bits: a shortage of slots costs time, nothing else.
#pragma once

#include <cstdint>

#include "dense/tile_product.h"
#include "sparse/block_layout.h"
#include "sparse/block_update.h"
#include "sparse/engine_common.h"

namespace qz {

struct LDLBlocks {
  // Policy of the schedulers.
  static constexpr bool separateBelow = false;  // static pipeline: rows below have no stage of their own
  static constexpr bool usesStacks = false;     // dynamic scheduler: all tasks go through the pool
  static constexpr int32_t kindOrder[4] = {3, 2, 1, 0};

  // Factors diagonal block c; pivots and the count of perturbed ones are stored.
  static void factorDiagonal(ThreadContext& context, const SupernodeBlocks& sn, int32_t c);

  // Where L D of a block goes: a slot for `users` updates, or the panel of the thread.
  struct Product {
    double* values;
    int32_t slot;  // counted from 1, 0 for none
  };
  [[nodiscard]] static Product takeProduct(ThreadContext& context, int32_t users);

  // Solves rows of block column c against its factored diagonal block, and leaves their L D in `product`.
  static void solveRows(ThreadContext& context, const SupernodeBlocks& sn, int32_t c, PlaceRange rows, double* product);

  // L D of the rows `rows` of the finished block (r, c), which are among its solved ones. `word` is the block's word.
  [[nodiscard]] static RowOperand rightFactor(ThreadContext& context, const SupernodeBlocks& sn, int32_t r, int32_t c,
                                              PlaceRange rows, int64_t word);
  // One user less of the block's slot.
  static void releaseRight(ThreadContext& context, int64_t word);

  // Room for L D of all rows below a narrow supernode, from its width on.
  [[nodiscard]] static RowOperand narrowRight(ThreadContext& context, const SupernodeBlocks& sn);
  [[nodiscard]] static double* narrowProduct(ThreadContext& context, const SupernodeBlocks& sn, int32_t place);

  // The upper triangle of c := right left' or c - right left', n by n, both n rows of length k.
  static void triangle(ThreadContext& context, Update update, int32_t n, int32_t k, const double* right,
                       const double* left, double* c, int32_t ldc);
};

// All slots free, for a new factorisation.
void clearSlots(SymbolicFactor* symbolic);

}  // namespace qz
