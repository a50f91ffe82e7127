// A supernode d contributes to supernode s when rows of d are columns of s. Each finished supernode keeps its progress
// in its own row list: the rows from there on still have to reach an ancestor, the first of them a column of the next
// one. It hangs in the list of that ancestor until the sweep gets there.
#include "sparse/cholesky_factor_serial.h"

#include <algorithm>

#include "dense/blas.h"
#include "dense/dense_cholesky.h"
#include "shell/host_table.h"
#include "sparse/la_env.h"

namespace qz {

namespace {

constexpr int32_t kThinWidth = 4;  // widest descendant that is multiplied and subtracted in one pass

// Scratch of the sweep, cut from the scratch of the two records.
struct Sweep {
  const SymbolicFactor* symbolic;
  double* update;     // the product of one descendant
  int32_t* head;      // numSupernodes: first descendant waiting for a supernode, -1 for none
  int32_t* next;      // numSupernodes: the descendant behind it
  int32_t* progress;  // numSupernodes: first row that has not reached its ancestor, as a place in the row list
  int32_t* position;  // numRows: of a row in the list of the supernode at work; other rows hold stale values
  int32_t* relative;  // numRows: positions of the rows of one descendant
};

// The panel of one supernode: column j at values + j * height.
struct Panel {
  int32_t firstColumn;
  int32_t width;
  int32_t height;
  const int32_t* rows;
  double* values;
};

// What a descendant contributes: the rows from its progress on, the first `columns` of which are columns of the target.
struct Contribution {
  int32_t width;    // of the descendant
  int32_t leading;  // leading dimension of `lower`
  int32_t rows;
  int32_t columns;
  const int32_t* rowIndex;
  const double* lower;  // L of these rows
};

Sweep makeSweep(const SymbolicFactor* symbolic, NumericFactor* numeric) {
  Sweep sweep;
  sweep.symbolic = symbolic;
  sweep.update = static_cast<double*>(symbolic->threadScratch);
  sweep.head = reinterpret_cast<int32_t*>(numeric->work);
  sweep.next = sweep.head + symbolic->numSupernodes;
  sweep.progress = sweep.next + symbolic->numSupernodes;
  sweep.position = sweep.progress + symbolic->numSupernodes;
  sweep.relative = sweep.position + symbolic->numRows;
  std::fill_n(sweep.head, symbolic->numSupernodes, -1);
  std::fill_n(sweep.position, symbolic->numRows, 0);
  return sweep;
}

Panel panelOf(const SymbolicFactor* symbolic, int32_t s) {
  const int32_t firstColumn = symbolic->snStart[s];
  return {firstColumn, symbolic->snStart[s + 1] - firstColumn,
          static_cast<int32_t>(symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s]),
          symbolic->lIndex + symbolic->lIndexBegin[s], symbolic->lValues + symbolic->lValueBegin[s]};
}

// Where the rows of the panel stand in it. Own columns are mapped too, so that entries of the matrix need no
// distinction.
void mapRows(const Panel& panel, int32_t* position) {
  for (int32_t i = 0; i < panel.height; ++i) position[panel.rows[i]] = i;
}

// Clears the panel and adds the matrix entries of its columns.
int32_t fillPanel(const LowerMatrix& matrix, const Panel& panel, const int32_t* position) {
  std::fill_n(panel.values, static_cast<int64_t>(panel.width) * panel.height, 0.0);
  for (int32_t k = 0; k < panel.width; ++k) {
    const int32_t j = panel.firstColumn + k;
    double* column = panel.values + static_cast<int64_t>(k) * panel.height;
    for (int32_t p = matrix.colBegin[j]; p < matrix.colBegin[j + 1]; ++p) {
      const int32_t row = matrix.rowIndex[p];
      if (row < j) return LA_INCONSISTENT;
      const int32_t place = position[row];
      // Stale positions of rows outside the structure don't lead back to the row.
      if (place >= panel.height || panel.rows[place] != row) return LA_INCONSISTENT;
      column[place] += matrix.matValue[p];
    }
  }
  return LA_OK;
}

// Subtracts the product L L' of a descendant of few columns in one pass.
template <int32_t width>
void subtractThin(const Contribution& from, const Panel& target, const int32_t* __restrict relative) {
  const int64_t leading = from.leading;
  for (int32_t j = 0; j < from.columns; ++j) {
    double factor[width];
    for (int32_t k = 0; k < width; ++k) factor[k] = from.lower[k * leading + j];
    double* __restrict column = target.values + static_cast<int64_t>(relative[j]) * target.height;
    const double* __restrict lower = from.lower;
    for (int32_t i = j; i < from.rows; ++i) {
      double sum = lower[i] * factor[0];
      for (int32_t k = 1; k < width; ++k) sum += lower[k * leading + i] * factor[k];
      column[relative[i]] -= sum;
    }
  }
}

void subtractThinly(const Contribution& from, const Panel& target, const int32_t* relative) {
  switch (from.width) {
    case 1:
      return subtractThin<1>(from, target, relative);
    case 2:
      return subtractThin<2>(from, target, relative);
    case 3:
      return subtractThin<3>(from, target, relative);
    default:
      return subtractThin<kThinWidth>(from, target, relative);
  }
}

// Subtracts what stands in the update from row `first` of the contribution on, leading dimension `leading`; column j
// from its diagonal down.
void scatterUpdate(const Contribution& from, const Panel& target, int32_t first, int32_t leading, const double* update,
                   const int32_t* __restrict relative) {
  for (int32_t j = 0; j < from.columns; ++j) {
    const double* __restrict source = update + static_cast<int64_t>(j) * leading - first;
    double* __restrict column = target.values + static_cast<int64_t>(relative[j]) * target.height;
    for (int32_t i = std::max(j, first); i < from.rows; ++i) column[relative[i]] -= source[i];
  }
}

// The same by the BLAS: the triangle where the contribution meets the columns of the target, and the rows below it.
void subtractByBlocks(const Contribution& from, const Panel& target, double* update, const int32_t* relative) {
  const int32_t below = from.rows - from.columns;
  const double* lowerBelow = from.lower + from.columns;
  if (from.columns == 1) {
    blas::dgemv("N", from.rows, from.width, 1.0, from.lower, from.leading, from.lower, from.leading, 0.0, update, 1);
    scatterUpdate(from, target, 0, from.rows, update, relative);
  } else if (from.columns == target.width) {
    // All columns of the target in order: the triangle needs no map.
    blas::dsyrk("L", "N", from.columns, from.width, -1.0, from.lower, from.leading, 1.0, target.values, target.height);
    if (below == 0) return;
    blas::dgemm("N", "T", below, from.columns, from.width, 1.0, lowerBelow, from.leading, from.lower, from.leading, 0.0,
                update, below);
    scatterUpdate(from, target, from.columns, below, update, relative);
  } else {
    blas::dsyrk("L", "N", from.columns, from.width, 1.0, from.lower, from.leading, 0.0, update, from.rows);
    if (below > 0)
      blas::dgemm("N", "T", below, from.columns, from.width, 1.0, lowerBelow, from.leading, from.lower, from.leading,
                  0.0, update + from.columns, from.rows);
    scatterUpdate(from, target, 0, from.rows, update, relative);
  }
}

// Hangs supernode d, whose rows from `place` on are left, into the list of the supernode of the first of them.
void linkToAncestor(const Sweep& sweep, int32_t d, const Panel& panel, int32_t place) {
  if (place >= panel.height) return;
  const int32_t ancestor = sweep.symbolic->colToSn[panel.rows[place]];
  sweep.progress[d] = place;
  sweep.next[d] = sweep.head[ancestor];
  sweep.head[ancestor] = d;
}

// Subtracts what descendant d owes to the target, and passes it on.
void applyDescendant(const Sweep& sweep, int32_t d, const Panel& target) {
  const Panel source = panelOf(sweep.symbolic, d);
  const int32_t place = sweep.progress[d];
  const int32_t* rows = source.rows + place;
  const int32_t count = source.height - place;
  const int32_t behindTarget = target.firstColumn + target.width;
  int32_t columns = 0;
  for (; columns < count && rows[columns] < behindTarget; ++columns)
    sweep.relative[columns] = rows[columns] - target.firstColumn;
  for (int32_t i = columns; i < count; ++i) sweep.relative[i] = sweep.position[rows[i]];
  const Contribution from{source.width, source.height, count, columns, rows, source.values + place};
  if (source.width <= kThinWidth) {
    subtractThinly(from, target, sweep.relative);
  } else {
    subtractByBlocks(from, target, sweep.update, sweep.relative);
  }
  linkToAncestor(sweep, d, source, place + columns);
}

}  // namespace

int32_t NumericCholSerial(const LowerMatrix& matrix, SymbolicFactor* symbolic, NumericFactor* numeric) {
  const QzThread* thread = hostCurrentThread();
  const Sweep sweep = makeSweep(symbolic, numeric);
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    if (threadCancelled(thread)) return LA_CANCELLED;
    const Panel panel = panelOf(symbolic, s);
    mapRows(panel, sweep.position);
    const int32_t status = fillPanel(matrix, panel, sweep.position);
    if (status != LA_OK) return status;
    for (int32_t d = sweep.head[s]; d >= 0;) {
      const int32_t behind = sweep.next[d];
      applyDescendant(sweep, d, panel);
      d = behind;
    }
    LA_DenseCholeskyFactorize(panel.width, panel.values, panel.height, symbolic->pivotTolerance);
    const int32_t below = panel.height - panel.width;
    if (below == 0) continue;
    blas::dtrsm("R", "L", "T", "N", below, panel.width, 1.0, panel.values, panel.height, panel.values + panel.width,
                panel.height);
    linkToAncestor(sweep, s, panel, panel.width);
  }
  return LA_OK;
}

}  // namespace qz
