#include "sparse/cholesky_blocks.h"

#include "dense/blas.h"
#include "dense/dense_cholesky.h"

namespace qz {

void CholeskyBlocks::factorDiagonal(ThreadContext& context, const SupernodeBlocks& sn, int32_t c) {
  const int32_t width = columnWidth(sn.grid, c);
  LA_DenseCholeskyUFactorize(width, blockRow(sn, c, c * sn.grid.colWidth), width, context.symbolic->pivotTolerance);
}

void CholeskyBlocks::solveRows(ThreadContext&, const SupernodeBlocks& sn, int32_t c, PlaceRange rows, double*) {
  const int32_t width = columnWidth(sn.grid, c);
  blas::dtrsm("L", "U", "T", "N", width, lengthOf(rows), 1.0, blockRow(sn, c, c * sn.grid.colWidth), width,
              blockRow(sn, c, rows.from), width);
}

void CholeskyBlocks::triangle(ThreadContext&, Update update, int32_t n, int32_t k, const double* right, const double*,
                              double* c, int32_t ldc) {
  const bool set = update == Update::SET;
  blas::dsyrk("U", "T", n, k, set ? 1.0 : -1.0, right, k, set ? 0.0 : 1.0, c, ldc);
}

}  // namespace qz
