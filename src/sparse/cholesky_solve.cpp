// Panels in column order, L y = b and then L'x = y. The rows below a supernode are scattered over the vector: they are
// gathered into a contiguous piece for the BLAS, but for a single column, which is worked on where it stands.
#include "sparse/cholesky_solve.h"

#include "dense/blas.h"

namespace qz {

namespace {

struct Panel {
  int32_t firstColumn;
  int32_t width;
  int32_t below;        // rows below the own columns
  int32_t height;       // leading dimension
  const int32_t* rows;  // the rows below
  const double* values;
};

Panel panelOf(const SymbolicFactor* symbolic, int32_t s) {
  const int32_t firstColumn = symbolic->snStart[s];
  const int32_t width = symbolic->snStart[s + 1] - firstColumn;
  const int32_t height = static_cast<int32_t>(symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s]);
  return {firstColumn,
          width,
          height - width,
          height,
          symbolic->lIndex + symbolic->lIndexBegin[s] + width,
          symbolic->lValues + symbolic->lValueBegin[s]};
}

void gather(const Panel& panel, const double* __restrict y, double* __restrict below) {
  for (int32_t i = 0; i < panel.below; ++i) below[i] = y[panel.rows[i]];
}

void forwardPanel(const Panel& panel, double* y, double* below) {
  double* own = y + panel.firstColumn;
  if (panel.width == 1) {
    const double x = own[0] /= panel.values[0];
    for (int32_t i = 0; i < panel.below; ++i) y[panel.rows[i]] -= panel.values[i + 1] * x;
    return;
  }
  blas::dtrsv("L", "N", "N", panel.width, panel.values, panel.height, own, 1);
  if (panel.below == 0) return;
  blas::dgemv("N", panel.below, panel.width, 1.0, panel.values + panel.width, panel.height, own, 1, 0.0, below, 1);
  for (int32_t i = 0; i < panel.below; ++i) y[panel.rows[i]] -= below[i];
}

void backwardPanel(const Panel& panel, double* y, double* below) {
  double* own = y + panel.firstColumn;
  if (panel.width == 1) {
    double sum = 0.0;
    for (int32_t i = 0; i < panel.below; ++i) sum += panel.values[i + 1] * y[panel.rows[i]];
    own[0] = (own[0] - sum) / panel.values[0];
    return;
  }
  if (panel.below > 0) {
    gather(panel, y, below);
    blas::dgemv("T", panel.below, panel.width, -1.0, panel.values + panel.width, panel.height, below, 1, 1.0, own, 1);
  }
  blas::dtrsv("L", "T", "N", panel.width, panel.values, panel.height, own, 1);
}

}  // namespace

void chol_solve(const SymbolicFactor* symbolic, double* y, double* below) {
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) forwardPanel(panelOf(symbolic, s), y, below);
  for (int32_t s = symbolic->numSupernodes - 1; s >= 0; --s) backwardPanel(panelOf(symbolic, s), y, below);
}

void LA_SolveMatrixChol(int32_t alreadyPermuted, double* rhs, LAEnv* /*env*/, SymbolicFactor* symbolic,
                        NumericFactor* numeric) {
  const int32_t n = symbolic->numRows;
  double* y = alreadyPermuted != 0 ? rhs : numeric->work;
  double* below = numeric->work + n;
  symbolic->factorState = 2;
  if (alreadyPermuted == 0)
    for (int32_t i = 0; i < n; ++i) y[i] = rhs[symbolic->perm[i]];
  if (symbolic->blocked != 0) {
    chol_psolve(symbolic, y, below);
  } else {
    chol_solve(symbolic, y, below);
  }
  if (alreadyPermuted == 0)
    for (int32_t i = 0; i < n; ++i) rhs[symbolic->perm[i]] = y[i];
  symbolic->factorState = -1;
}

}  // namespace qz
