// What is Cholesky about a blocked factorisation: the kernels on a block column. A block serves both sides of an update
// as it stands.
#pragma once

#include <cstdint>

#include "dense/tile_product.h"
#include "sparse/block_layout.h"
#include "sparse/block_update.h"
#include "sparse/engine_common.h"

namespace qz {

struct CholeskyBlocks {
  // Policy of the schedulers.
  static constexpr bool separateBelow = true;  // static pipeline: rows below are a stage behind the triangle
  static constexpr bool usesStacks = true;     // dynamic scheduler: a stack per thread in front of the pool
  static constexpr int32_t kindOrder[4] = {0, 1, 2, 3};

  // Factors diagonal block c; a pivot that is not above pivotTolerance takes its variable out.
  static void factorDiagonal(ThreadContext& context, const SupernodeBlocks& sn, int32_t c);

  // No product beside the block is needed.
  struct Product {
    double* values;
    int32_t slot;
  };
  [[nodiscard]] static Product takeProduct(ThreadContext&, int32_t) { return {nullptr, 0}; }
  static void releaseRight(ThreadContext&, int64_t) {}

  // Solves rows of block column c against its factored diagonal block.
  static void solveRows(ThreadContext& context, const SupernodeBlocks& sn, int32_t c, PlaceRange rows, double* product);

  [[nodiscard]] static RowOperand rightFactor(ThreadContext&, const SupernodeBlocks& sn, int32_t, int32_t c,
                                              PlaceRange rows, int64_t) {
    return {blockRow(sn, c, rows.from), rows.from};
  }
  [[nodiscard]] static RowOperand narrowRight(ThreadContext&, const SupernodeBlocks& sn) {
    return {blockRow(sn, 0, sn.grid.width), sn.grid.width};
  }
  [[nodiscard]] static double* narrowProduct(ThreadContext&, const SupernodeBlocks&, int32_t) { return nullptr; }

  // The upper triangle of c := right left' or c - right left', n by n; right and left are the same n rows of length k.
  static void triangle(ThreadContext& context, Update update, int32_t n, int32_t k, const double* right,
                       const double* left, double* c, int32_t ldc);
};

}  // namespace qz
