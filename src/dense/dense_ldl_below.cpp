// The rows below a factored diagonal block, row by row: b := b P' L^-T D^-1 and the product b D.
//
// Seen in column order, the transposed rows are the columns of a matrix B of n rows, and the step is a forward
// substitution with L and a division by D.
#include <algorithm>
#include <cstdint>

#include "dense/blas.h"
#include "dense/clones.h"
#include "dense/dense_ldl.h"
#include "dense/dense_ldl_pivot.h"

namespace qz {

namespace {

constexpr int32_t kPanel = 48;      // pivots of one blocked substitution
constexpr int32_t kFewRows = 4;     // rows below this number go through the plain substitution
constexpr int32_t kDiagonals = 64;  // diagonal entries that are kept at a time

// Row that pivot column k (the first of its pivot) is interchanged with, and the column that takes part.
struct Interchange {
  int32_t from;
  int32_t to;
};

Interchange interchangeAt(const int32_t* pivots, int32_t k) {
  if (pivots[k] >= 0) return {k, pivots[k]};
  return {k + 1, -pivots[k]};
}

int32_t widthAt(const int32_t* pivots, int32_t k) {
  return pivots[k] >= 0 ? 1 : 2;
}

// L^-1 applied to one row, pivot after pivot.
void substitutePlain(int32_t n, const double* a, int64_t lda, const int32_t* pivots, double* b) {
  for (int32_t k = 0; k < n;) {
    const Interchange swap = interchangeAt(pivots, k);
    std::swap(b[swap.from], b[swap.to]);
    if (pivots[k] >= 0) {
      for (int32_t i = k + 1; i < n; ++i) b[i] -= a[i * lda + k] * b[k];
      k += 1;
    } else {
      for (int32_t i = k + 2; i < n; ++i) b[i] -= a[i * lda + k] * b[k] + a[i * lda + k + 1] * b[k + 1];
      k += 2;
    }
  }
}

// Columns [begin, end) of L from row `begin` on, in column order, with all interchanges of these columns applied: unit
// lower triangle on top, the off-diagonal entries of D left out.
void copyPanel(int32_t n, const double* a, int64_t lda, const int32_t* pivots, int32_t begin, int32_t end,
               double* panel) {
  const int64_t ld = n - begin;
  for (int32_t k = begin; k < end;) {
    const int32_t width = widthAt(pivots, k);
    const Interchange swap = interchangeAt(pivots, k);
    if (swap.from != swap.to) {
      for (int32_t c = begin; c < k; ++c) {
        double* column = panel + (c - begin) * ld - begin;
        std::swap(column[swap.from], column[swap.to]);
      }
    }
    for (int32_t c = k; c < k + width; ++c) {
      double* column = panel + (c - begin) * ld - begin;
      for (int32_t i = c + 1; i < n; ++i) column[i] = a[i * lda + c];
    }
    if (width == 2) panel[(k - begin) * ld + (k + 1 - begin)] = 0.0;
    k += width;
  }
}

// The interchanges of the pivots [begin, end) in all rows. Most pivots stay where they are.
void interchangePanel(int32_t rows, const int32_t* pivots, int32_t begin, int32_t end, double* b, int64_t ldb) {
  Interchange swaps[kPanel];
  int32_t count = 0;
  for (int32_t k = begin; k < end; k += widthAt(pivots, k)) {
    const Interchange swap = interchangeAt(pivots, k);
    if (swap.from != swap.to) swaps[count++] = swap;
  }
  if (count == 0) return;
  for (int32_t r = 0; r < rows; ++r) {
    double* row = b + r * ldb;
    for (int32_t i = 0; i < count; ++i) std::swap(row[swaps[i].from], row[swaps[i].to]);
  }
}

// L^-1 applied to all rows, a panel of columns at a time. `room` holds the panel, rows * n entries.
void substituteBlocked(int32_t rows, int32_t n, const double* a, int64_t lda, const int32_t* pivots, double* b,
                       int32_t ldb, double* room) {
  const int32_t widest = std::min(kPanel, rows);
  for (int32_t begin = 0; begin < n;) {
    int32_t end = begin;
    while (end < n && end + widthAt(pivots, end) - begin <= widest) end += widthAt(pivots, end);
    copyPanel(n, a, lda, pivots, begin, end, room);
    interchangePanel(rows, pivots, begin, end, b, ldb);
    const int32_t ld = n - begin;
    const int32_t width = end - begin;
    blas::dtrsm("L", "L", "N", "U", width, rows, 1.0, room, ld, b + begin, ldb);
    if (end < n) {
      blas::dgemm("N", "N", n - end, rows, width, -1.0, room + width, ld, b + begin, ldb, 1.0, b + end, ldb);
    }
    begin = end;
  }
}

// The two columns of b := b D^-1 that belong to one 2-by-2 pivot.
void dividePair(int32_t rows, const double* diagonal, int64_t lda, double* b, int64_t ldb) {
  const InversePair d = invertPair(diagonal[0], diagonal[lda], diagonal[lda + 1]);
  for (int32_t r = 0; r < rows; ++r) {
    double* row = b + r * ldb;
    const double first = (d.v * row[0] - row[1]) * d.s;
    row[1] = (d.u * row[1] - row[0]) * d.s;
    row[0] = first;
  }
}

// The diagonal entries of the 1-by-1 pivots from `begin` on, kDiagonals at most, into `diagonal`; their number.
int32_t collectSingles(int32_t n, const double* a, int64_t lda, const int32_t* pivots, int32_t begin,
                       double* diagonal) {
  int32_t count = 0;
  for (; count < kDiagonals && begin + count < n && pivots[begin + count] >= 0; ++count) {
    diagonal[count] = a[(begin + count) * (lda + 1)];
  }
  return count;
}

// to := from scaled column by column; the two may be the same.
QZ_CLONES void scaleColumns(int32_t rows, int32_t count, const double* scale, const double* from, int64_t ldFrom,
                            double* to, int64_t ldTo) {
  for (int32_t r = 0; r < rows; ++r) {
    const double* source = from + r * ldFrom;
    double* target = to + r * ldTo;
#pragma GCC ivdep
    for (int32_t k = 0; k < count; ++k) target[k] = source[k] * scale[k];
  }
}

void divideByD(int32_t rows, int32_t n, const double* a, int64_t lda, const int32_t* pivots, double* b, int64_t ldb) {
  double inverse[kDiagonals];
  for (int32_t begin = 0; begin < n;) {
    const int32_t count = collectSingles(n, a, lda, pivots, begin, inverse);
    if (count == 0) {
      dividePair(rows, a + begin * (lda + 1), lda, b + begin, ldb);
      begin += 2;
      continue;
    }
    for (int32_t k = 0; k < count; ++k) inverse[k] = 1.0 / inverse[k];
    scaleColumns(rows, count, inverse, b + begin, ldb, b + begin, ldb);
    begin += count;
  }
}

// The two columns of product := b D that belong to one 2-by-2 pivot.
void multiplyPair(int32_t rows, const double* diagonal, int64_t lda, const double* b, int64_t ldb, double* product,
                  int64_t ldProduct) {
  const double first = diagonal[0];
  const double offDiagonal = diagonal[lda];
  const double second = diagonal[lda + 1];
  for (int32_t r = 0; r < rows; ++r) {
    const double* from = b + r * ldb;
    double* to = product + r * ldProduct;
    to[0] = from[0] * first + from[1] * offDiagonal;
    to[1] = from[0] * offDiagonal + from[1] * second;
  }
}

}  // namespace

void SolveLD(int32_t rows, int32_t n, const double* a, int32_t lda, const int32_t* pivots, double* b, int32_t ldb,
             double* product, int32_t ldProduct) {
  if (rows <= 0 || n <= 0) return;
  if (rows < kFewRows) {
    for (int32_t r = 0; r < rows; ++r) substitutePlain(n, a, lda, pivots, b + static_cast<int64_t>(r) * ldb);
  } else {
    substituteBlocked(rows, n, a, lda, pivots, b, ldb, product);
  }
  divideByD(rows, n, a, lda, pivots, b, ldb);
  MultiplyLD(rows, n, a, lda, pivots, b, ldb, product, ldProduct);
}

void MultiplyLD(int32_t rows, int32_t n, const double* a, int32_t lda, const int32_t* pivots, const double* b,
                int32_t ldb, double* product, int32_t ldProduct) {
  double diagonal[kDiagonals];
  for (int32_t begin = 0; begin < n;) {
    const int32_t count = collectSingles(n, a, lda, pivots, begin, diagonal);
    if (count == 0) {
      multiplyPair(rows, a + begin * (static_cast<int64_t>(lda) + 1), lda, b + begin, ldb, product + begin, ldProduct);
      begin += 2;
      continue;
    }
    scaleColumns(rows, count, diagonal, b + begin, ldb, product + begin, ldProduct);
    begin += count;
  }
}

}  // namespace qz
