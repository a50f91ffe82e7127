// The rows below a factored diagonal block, row by row: b := b P' L^-T D^-1 and the product b D.
//
// Seen in column order, the transposed rows are the columns of a matrix B of n rows, and the step is a forward
// substitution with L and a division by D.
#include <algorithm>
#include <cstdint>

#include "dense/blas.h"
#include "dense/dense_ldl.h"
#include "dense/dense_ldl_pivot.h"

namespace qz {

namespace {

constexpr int32_t kPanel = 48;      // pivots of one blocked substitution
constexpr int32_t kFewRows = 4;     // rows below this number go through the plain substitution
constexpr int32_t kDiagonals = 64;  // pivots whose inverses are kept at a time

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

// L^-1 applied to all rows, a panel of columns at a time. `room` holds the panel, rows * n entries.
void substituteBlocked(int32_t rows, int32_t n, const double* a, int64_t lda, const int32_t* pivots, double* b,
                       int32_t ldb, double* room) {
  const int32_t widest = std::min(kPanel, rows);
  for (int32_t begin = 0; begin < n;) {
    int32_t end = begin;
    while (end < n && end + widthAt(pivots, end) - begin <= widest) end += widthAt(pivots, end);
    copyPanel(n, a, lda, pivots, begin, end, room);
    for (int32_t r = 0; r < rows; ++r) {
      double* row = b + static_cast<int64_t>(r) * ldb;
      for (int32_t k = begin; k < end; k += widthAt(pivots, k)) {
        const Interchange swap = interchangeAt(pivots, k);
        std::swap(row[swap.from], row[swap.to]);
      }
    }
    const int32_t ld = n - begin;
    const int32_t width = end - begin;
    blas::dtrsm("L", "L", "N", "U", width, rows, 1.0, room, ld, b + begin, ldb);
    if (end < n) {
      blas::dgemm("N", "N", n - end, rows, width, -1.0, room + width, ld, b + begin, ldb, 1.0, b + end, ldb);
    }
    begin = end;
  }
}

void divideByD(int32_t rows, int32_t n, const double* a, int64_t lda, const int32_t* pivots, double* b, int64_t ldb) {
  InversePair inverse[kDiagonals];
  for (int32_t begin = 0; begin < n;) {
    int32_t end = begin;
    while (end < n && end + widthAt(pivots, end) - begin <= kDiagonals) {
      const double* diagonal = a + end * lda + end;
      if (pivots[end] >= 0) {
        inverse[end - begin] = {0.0, 0.0, 1.0 / diagonal[0]};
        end += 1;
      } else {
        inverse[end - begin] = invertPair(diagonal[0], diagonal[lda], diagonal[lda + 1]);
        end += 2;
      }
    }
    for (int32_t r = 0; r < rows; ++r) {
      double* row = b + r * ldb;
      for (int32_t k = begin; k < end;) {
        const InversePair& d = inverse[k - begin];
        if (pivots[k] >= 0) {
          row[k] *= d.s;
          k += 1;
        } else {
          const double first = (d.v * row[k] - row[k + 1]) * d.s;
          row[k + 1] = (d.u * row[k + 1] - row[k]) * d.s;
          row[k] = first;
          k += 2;
        }
      }
    }
    begin = end;
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
    const double* at = a + static_cast<int64_t>(begin) * lda + begin;
    int32_t count = 0;
    for (; count < kDiagonals && begin + count < n && pivots[begin + count] >= 0; ++count) {
      diagonal[count] = at[count * (static_cast<int64_t>(lda) + 1)];
    }
    if (count == 0) {
      multiplyPair(rows, at, lda, b + begin, ldb, product + begin, ldProduct);
      begin += 2;
      continue;
    }
    for (int32_t r = 0; r < rows; ++r) {
      const double* __restrict__ from = b + static_cast<int64_t>(r) * ldb + begin;
      double* __restrict__ to = product + static_cast<int64_t>(r) * ldProduct + begin;
      for (int32_t k = 0; k < count; ++k) to[k] = from[k] * diagonal[k];
    }
    begin += count;
  }
}

}  // namespace qz
