// The sweeps on block columns stored row by row: to the BLAS a block column of L is an upper triangle and, behind it,
// the transpose of its further rows. Those rows are first the later columns of the supernode, which are contiguous in
// the vector, then the rows below, which are gathered once for the whole supernode.
#include <algorithm>

#include "dense/blas.h"
#include "sparse/cholesky_solve.h"

namespace qz {

namespace {

struct Supernode {
  int32_t firstColumn;
  int32_t width;
  int32_t below;  // rows below the own columns
  int32_t blockWidth;
  int32_t numBlocks;
  const int32_t* rows;  // the rows below
  const double* values;
};

// One block column: its diagonal block, then `later` rows that are own columns, then the rows below; row-major.
struct BlockColumn {
  int32_t offset;  // of its first column
  int32_t width;
  int32_t later;
  const double* diagonal;
  const double* laterRows;
  const double* belowRows;
};

Supernode supernodeOf(const SymbolicFactor* symbolic, int32_t s) {
  const int32_t firstColumn = symbolic->snStart[s];
  const int32_t width = symbolic->snStart[s + 1] - firstColumn;
  const int32_t height = static_cast<int32_t>(symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s]);
  const int32_t blockWidth = std::min(width, symbolic->blockSize);
  return {firstColumn,
          width,
          height - width,
          blockWidth,
          (width - 1) / blockWidth + 1,
          symbolic->lIndex + symbolic->lIndexBegin[s] + width,
          symbolic->lValues + symbolic->lValueBegin[s]};
}

BlockColumn blockColumnOf(const Supernode& node, int32_t c) {
  const int64_t nb = node.blockWidth;
  const int64_t height = int64_t{node.width} + node.below;
  BlockColumn block;
  block.offset = c * node.blockWidth;
  block.width = std::min(node.blockWidth, node.width - block.offset);
  block.later = node.width - block.offset - block.width;
  block.diagonal = node.values + c * nb * height - nb * nb * c * (c - 1) / 2;
  block.laterRows = block.diagonal + static_cast<int64_t>(block.width) * block.width;
  block.belowRows = block.laterRows + static_cast<int64_t>(block.width) * block.later;
  return block;
}

void gather(const Supernode& node, const double* __restrict y, double* __restrict below) {
  for (int32_t i = 0; i < node.below; ++i) below[i] = y[node.rows[i]];
}

void forwardSupernode(const Supernode& node, double* y, double* below) {
  gather(node, y, below);
  for (int32_t c = 0; c < node.numBlocks; ++c) {
    const BlockColumn block = blockColumnOf(node, c);
    double* own = y + node.firstColumn + block.offset;
    blas::dtrsv("U", "T", "N", block.width, block.diagonal, block.width, own, 1);
    if (block.later > 0)
      blas::dgemv("T", block.width, block.later, -1.0, block.laterRows, block.width, own, 1, 1.0, own + block.width, 1);
    if (node.below > 0)
      blas::dgemv("T", block.width, node.below, -1.0, block.belowRows, block.width, own, 1, 1.0, below, 1);
  }
  for (int32_t i = 0; i < node.below; ++i) y[node.rows[i]] = below[i];
}

void backwardSupernode(const Supernode& node, double* y, double* below) {
  gather(node, y, below);
  for (int32_t c = node.numBlocks - 1; c >= 0; --c) {
    const BlockColumn block = blockColumnOf(node, c);
    double* own = y + node.firstColumn + block.offset;
    if (node.below > 0)
      blas::dgemv("N", block.width, node.below, -1.0, block.belowRows, block.width, below, 1, 1.0, own, 1);
    if (block.later > 0)
      blas::dgemv("N", block.width, block.later, -1.0, block.laterRows, block.width, own + block.width, 1, 1.0, own, 1);
    blas::dtrsv("U", "N", "N", block.width, block.diagonal, block.width, own, 1);
  }
}

}  // namespace

void chol_psolve(const SymbolicFactor* symbolic, double* y, double* below) {
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) forwardSupernode(supernodeOf(symbolic, s), y, below);
  for (int32_t s = symbolic->numSupernodes - 1; s >= 0; --s) backwardSupernode(supernodeOf(symbolic, s), y, below);
}

}  // namespace qz
