// Triangular solves and triangular products with many right-hand sides: my_dtrsm, my_dtrmm and their variants.
//
// All variants come down to four walks. Let T = op(A), lower or upper as it is applied, transposition included. A solve
// finishes a block of rows (T on the left) or columns (on the right) and subtracts it from those that still wait; a
// product takes the blocks in the order in which each one is read before it is overwritten.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "dense/clones.h"
#include "dense/kernels.h"
#include "dense/packed_product.h"
#include "dense/triangular_solve.h"

namespace qz {

namespace {

constexpr int32_t STEP = 16;  // order of the triangles that plain loops treat; the rest are tile products

bool isLetter(const char* option, char letter) {
  return *option == letter;
}

double entry(const Operand& t, int64_t i, int64_t p) {
  return t.at[i * t.rowStride + p * t.columnStride];
}

// Start of the block of `step` that comes at place `index` of `count` blocks, walking forwards or backwards.
int32_t blockStart(int32_t index, int32_t count, int32_t step, bool forwards) {
  return (forwards ? index : count - 1 - index) * step;
}

int32_t blocksOf(int32_t n, int32_t step) {
  return n > 0 ? (n - 1) / step + 1 : 0;
}

// ---- Solves from the left: packed diagonal blocks ----

// Right-hand sides that a small triangle is solved for at once: held by rows, so that each step is a row operation.
constexpr int32_t GROUP = 8;
typedef double Row __attribute__((vector_size(GROUP * sizeof(double))));

// W := T^-1 W, T of order k at most STEP and column-contiguous, W k by GROUP by rows.
QZ_CLONES void substituteForwards(const double* __restrict t, int32_t k, bool unit, Row* __restrict w) {
  for (int32_t p = 0; p < k; ++p) {
    const double* column = t + static_cast<int64_t>(p) * PACK_DIM;
    if (!unit) w[p] /= column[p];
    const Row solved = w[p];
    for (int32_t i = p + 1; i < k; ++i) w[i] -= column[i] * solved;
  }
}

QZ_CLONES void substituteBackwards(const double* __restrict t, int32_t k, bool unit, Row* __restrict w) {
  for (int32_t p = k - 1; p >= 0; --p) {
    const double* column = t + static_cast<int64_t>(p) * PACK_DIM;
    if (!unit) w[p] /= column[p];
    const Row solved = w[p];
    for (int32_t i = 0; i < p; ++i) w[i] -= column[i] * solved;
  }
}

// An 8-by-8 transposition in three rounds of shuffles. Macro, because a vector argument of a function would have to
// stand in registers that not every processor has.
#define QZ_TRANSPOSE_ROUND(from, to, distance)                                                            \
  _Pragma("GCC unroll 8") for (int32_t i = 0; i < GROUP; ++i) {                                           \
    (to)[i] = (i & (distance)) == 0                                                                       \
                  ? __builtin_shufflevector((from)[i], (from)[i ^ (distance)], QZ_FIRST_HALF##distance)   \
                  : __builtin_shufflevector((from)[i ^ (distance)], (from)[i], QZ_SECOND_HALF##distance); \
  }
#define QZ_FIRST_HALF1 0, 8, 2, 10, 4, 12, 6, 14
#define QZ_SECOND_HALF1 1, 9, 3, 11, 5, 13, 7, 15
#define QZ_FIRST_HALF2 0, 1, 8, 9, 4, 5, 12, 13
#define QZ_SECOND_HALF2 2, 3, 10, 11, 6, 7, 14, 15
#define QZ_FIRST_HALF4 0, 1, 2, 3, 8, 9, 10, 11
#define QZ_SECOND_HALF4 4, 5, 6, 7, 12, 13, 14, 15

// The commonest case of solveSmall below, a lower triangle of order STEP for GROUP columns, all in registers: the
// columns are transposed, substituted row by row with the reciprocals of the diagonal, and transposed back.
QZ_CLONES void substituteFull(const double* __restrict t, const double* __restrict reciprocal, double* __restrict b,
                              int64_t ldb) {
  Row x[STEP];
  Row w[GROUP];
  Row v[GROUP];
#pragma GCC unroll 2
  for (int32_t half = 0; half < STEP; half += GROUP) {
#pragma GCC unroll 8
    for (int32_t c = 0; c < GROUP; ++c) std::memcpy(&w[c], b + half + c * ldb, sizeof(Row));
    QZ_TRANSPOSE_ROUND(w, v, 1)
    QZ_TRANSPOSE_ROUND(v, w, 2)
    QZ_TRANSPOSE_ROUND(w, v, 4)
#pragma GCC unroll 8
    for (int32_t c = 0; c < GROUP; ++c) x[half + c] = v[c];
  }
#pragma GCC unroll 16
  for (int32_t p = 0; p < STEP; ++p) {
    x[p] *= reciprocal[p];
#pragma GCC unroll 16
    for (int32_t i = p + 1; i < STEP; ++i) x[i] -= t[i + p * PACK_DIM] * x[p];
  }
#pragma GCC unroll 2
  for (int32_t half = 0; half < STEP; half += GROUP) {
#pragma GCC unroll 8
    for (int32_t c = 0; c < GROUP; ++c) v[c] = x[half + c];
    QZ_TRANSPOSE_ROUND(v, w, 1)
    QZ_TRANSPOSE_ROUND(w, v, 2)
    QZ_TRANSPOSE_ROUND(v, w, 4)
#pragma GCC unroll 8
    for (int32_t c = 0; c < GROUP; ++c) std::memcpy(b + half + c * ldb, &w[c], sizeof(Row));
  }
}

// The reciprocals of the diagonal; false when one of them is no normal number, so that a product can't stand in for the
// division.
bool invertDiagonal(const double* t, bool unit, double* reciprocal) {
  for (int32_t p = 0; p < STEP; ++p) {
    reciprocal[p] = unit ? 1.0 : 1.0 / t[p * (PACK_DIM + 1)];
    if (!std::isnormal(reciprocal[p])) return false;
  }
  return true;
}

// B := T^-1 B for a triangle of order k at most STEP and n columns.
void solveSmall(Shape shape, bool unit, const double* t, int32_t k, double* b, int64_t ldb, int32_t n) {
  int32_t start = 0;
  double reciprocal[STEP];
  if (shape == Shape::LOWER && k == STEP && n >= GROUP && invertDiagonal(t, unit, reciprocal)) {
    for (; start + GROUP <= n; start += GROUP) substituteFull(t, reciprocal, b + start * ldb, ldb);
  }
  for (int32_t j0 = start; j0 < n; j0 += GROUP) {
    const int32_t columns = std::min(GROUP, n - j0);
    Row w[STEP] = {};
    double* block = b + j0 * ldb;
    for (int32_t c = 0; c < columns; ++c) {
      for (int32_t i = 0; i < k; ++i) w[i][c] = block[i + c * ldb];
    }
    if (shape == Shape::LOWER) {
      substituteForwards(t, k, unit, w);
    } else {
      substituteBackwards(t, k, unit, w);
    }
    for (int32_t c = 0; c < columns; ++c) {
      for (int32_t i = 0; i < k; ++i) block[i + c * ldb] = w[i][c];
    }
  }
}

// B := T^-1 B on a packed triangle of order kc at most PACK_DIM.
void solvePacked(Shape shape, bool unit, double* b, int64_t ldb, const double* pack, int32_t kc, int32_t n) {
  const bool forwards = shape == Shape::LOWER;
  const int32_t count = blocksOf(kc, STEP);
  for (int32_t index = 0; index < count; ++index) {
    const int32_t p0 = blockStart(index, count, STEP, forwards);
    const int32_t k = std::min(STEP, kc - p0);
    const double* columns = pack + static_cast<int64_t>(p0) * PACK_DIM;
    solveSmall(shape, unit, columns + p0, k, b + p0, ldb, n);
    const int32_t from = forwards ? p0 + k : 0;
    const int32_t rest = forwards ? kc - from : p0;
    tileProduct(Region::FULL, Update::MINUS, rest, n, k, asStored(columns + from, PACK_DIM), {b + p0, 1, ldb}, b + from,
                ldb);
  }
}

}  // namespace

// Panels of PACK_DIM from the side where the substitution starts.
void solveLeft(Shape shape, bool unit, int32_t m, int32_t n, const Operand& t, double* b, int32_t ldb, double* packA,
               double* packB) {
  if (n <= 0) return;
  const bool forwards = shape == Shape::LOWER;
  const int32_t count = blocksOf(m, PACK_DIM);
  for (int32_t index = 0; index < count; ++index) {
    const int32_t p0 = blockStart(index, count, PACK_DIM, forwards);
    const int32_t kc = std::min(PACK_DIM, m - p0);
    packBlock(shifted(t, p0, p0), kc, kc, packA);
    solvePacked(shape, unit, b + p0, ldb, packA, kc, n);
    const int32_t from = forwards ? p0 + kc : 0;
    const int32_t rest = forwards ? m - from : p0;
    packedProduct(Region::FULL, Update::MINUS, rest, n, kc, shifted(t, from, p0), asStored(b + p0, ldb), b + from, ldb,
                  packA, packB);
  }
}

void my_dtrsm_kernel_lower_left(double* b, int32_t ldb, const double* pack, int32_t kc, int32_t n) {
  if (n > 0) solvePacked(Shape::LOWER, false, b, ldb, pack, kc, n);
}

void my_dtrsm_kernel_upper_left(double* b, int32_t ldb, const double* pack, int32_t kc, int32_t n) {
  if (n > 0) solvePacked(Shape::UPPER, false, b, ldb, pack, kc, n);
}

#define QZ_TRSM_LEFT(name, shape, opA)                                                                              \
  void name(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, double* b, const int32_t* ldb, \
            double* packA, double* packB) {                                                                         \
    solveLeft(shape, false, *m, *n, opA(a, *lda), b, *ldb, packA, packB);                                           \
  }

QZ_TRSM_LEFT(my_dtrsm_LLNN, Shape::LOWER, asStored)
QZ_TRSM_LEFT(my_dtrsm_LLTN, Shape::UPPER, transposed)
QZ_TRSM_LEFT(my_dtrsm_LUNN, Shape::UPPER, asStored)
QZ_TRSM_LEFT(my_dtrsm_LUTN, Shape::LOWER, transposed)

#undef QZ_TRSM_LEFT

namespace {

QZ_CLONES void subtractMultiple(int32_t m, double factor, const double* __restrict x, double* __restrict y) {
  for (int32_t i = 0; i < m; ++i) y[i] -= factor * x[i];
}

QZ_CLONES void divide(int32_t m, double divisor, double* __restrict y) {
  for (int32_t i = 0; i < m; ++i) y[i] /= divisor;
}

}  // namespace

// B := B L^-T: column j of the result is (b_j - sum over p < j of L(j, p) x_p) / L(j, j).
void solveRightLowerTransposed(bool unit, int32_t m, int32_t n, const double* a, int32_t lda, double* b, int32_t ldb,
                               double* packA, double* packB) {
  const int64_t strideA = lda;
  const int64_t strideB = ldb;
  for (int32_t j0 = 0; j0 < n; j0 += STEP) {
    const int32_t end = std::min(n, j0 + STEP);
    if (j0 > 0) {
      packedProduct(Region::FULL, Update::MINUS, m, end - j0, j0, asStored(b, ldb), transposed(a + j0, lda),
                    b + j0 * strideB, strideB, packA, packB);
    }
    for (int32_t j = j0; j < end; ++j) {
      double* column = b + j * strideB;
      for (int32_t p = j0; p < j; ++p) subtractMultiple(m, a[j + p * strideA], b + p * strideB, column);
      if (!unit) divide(m, a[j + j * strideA], column);
    }
  }
}

void my_dtrsm_RLTN(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, double* b,
                   const int32_t* ldb, double* packA, double* packB) {
  solveRightLowerTransposed(false, *m, *n, a, *lda, b, *ldb, packA, packB);
}

void my_dtrsm(const char* side, const char* uplo, const char* transA, const char* /*diag*/, const int32_t* m,
              const int32_t* n, const double* /*alpha*/, const double* a, const int32_t* lda, double* b,
              const int32_t* ldb, double* packA, double* packB) {
  const bool plain = isLetter(transA, 'N');
  if (!isLetter(side, 'L')) {
    if (isLetter(transA, 'T')) my_dtrsm_RLTN(m, n, a, lda, b, ldb, packA, packB);
    return;
  }
  auto* variant = plain ? &my_dtrsm_LUNN : &my_dtrsm_LUTN;
  if (isLetter(uplo, 'L')) variant = plain ? &my_dtrsm_LLNN : &my_dtrsm_LLTN;
  variant(m, n, a, lda, b, ldb, packA, packB);
}

// ---- Triangular products ----

namespace {

// x := sign T x for one column and a triangle of order k.
void multiplyColumn(Shape shape, const Operand& t, int32_t k, double sign, double* x) {
  for (int32_t index = 0; index < k; ++index) {
    const int32_t i = shape == Shape::UPPER ? index : k - 1 - index;
    const int32_t from = shape == Shape::UPPER ? i : 0;
    const int32_t to = shape == Shape::UPPER ? k : i + 1;
    double sum = 0.0;
    for (int32_t p = from; p < to; ++p) sum += entry(t, i, p) * x[p];
    x[i] = sign * sum;
  }
}

// B := B + alpha T B or the like from the left: an upper T is walked downwards, since row i reads rows p >= i.
void multiplyLeft(Shape shape, Update update, int32_t m, int32_t n, const Operand& t, double* b, int32_t ldb,
                  double* packA, double* packB) {
  const bool forwards = shape == Shape::UPPER;
  const double sign = update == Update::MINUS ? -1.0 : 1.0;
  const int64_t stride = ldb;
  const int32_t count = blocksOf(m, STEP);
  for (int32_t index = 0; index < count; ++index) {
    const int32_t p0 = blockStart(index, count, STEP, forwards);
    const int32_t k = std::min(STEP, m - p0);
    for (int32_t j = 0; j < n; ++j) multiplyColumn(shape, shifted(t, p0, p0), k, sign, b + p0 + j * stride);
    const int32_t from = forwards ? p0 + k : 0;
    const int32_t rest = forwards ? m - from : p0;
    if (rest == 0) continue;
    packedProduct(Region::FULL, update, k, n, rest, shifted(t, p0, from), asStored(b + from, ldb), b + p0, stride,
                  packA, packB);
  }
}

// Columns j0 to j0 + k of B times the diagonal block of T there, in plain loops.
void multiplyColumnsRight(Shape shape, bool unit, int32_t m, const Operand& t, int32_t k, double* b, int64_t ldb) {
  for (int32_t index = 0; index < k; ++index) {
    const int32_t j = shape == Shape::LOWER ? index : k - 1 - index;
    double* __restrict column = b + j * ldb;
    if (!unit) {
      const double diagonal = entry(t, j, j);
      for (int32_t i = 0; i < m; ++i) column[i] *= diagonal;
    }
    const int32_t from = shape == Shape::LOWER ? j + 1 : 0;
    const int32_t to = shape == Shape::LOWER ? k : j;
    for (int32_t p = from; p < to; ++p) {
      const double factor = entry(t, p, j);
      const double* __restrict other = b + p * ldb;
      for (int32_t i = 0; i < m; ++i) column[i] += factor * other[i];
    }
  }
}

// B := B T. A lower T is walked from the left, since column j reads columns p >= j.
void multiplyRight(Shape shape, bool unit, int32_t m, int32_t n, const Operand& t, double* b, int32_t ldb,
                   double* packA, double* packB) {
  const bool forwards = shape == Shape::LOWER;
  const int64_t stride = ldb;
  const int32_t count = blocksOf(n, STEP);
  for (int32_t index = 0; index < count; ++index) {
    const int32_t j0 = blockStart(index, count, STEP, forwards);
    const int32_t k = std::min(STEP, n - j0);
    multiplyColumnsRight(shape, unit, m, shifted(t, j0, j0), k, b + j0 * stride, stride);
    const int32_t from = forwards ? j0 + k : 0;
    const int32_t rest = forwards ? n - from : j0;
    if (rest == 0) continue;
    packedProduct(Region::FULL, Update::PLUS, m, k, rest, asStored(b + from * stride, ldb), shifted(t, from, j0),
                  b + j0 * stride, stride, packA, packB);
  }
}

}  // namespace

#define QZ_TRMM_LEFT(name, shape, update, opA)                                                                      \
  void name(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, double* b, const int32_t* ldb, \
            double* packA, double* packB) {                                                                         \
    multiplyLeft(shape, update, *m, *n, opA(a, *lda), b, *ldb, packA, packB);                                       \
  }
#define QZ_TRMM_RIGHT(name, shape, unit, opA)                                                                       \
  void name(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, double* b, const int32_t* ldb, \
            double* packA, double* packB) {                                                                         \
    multiplyRight(shape, unit, *m, *n, opA(a, *lda), b, *ldb, packA, packB);                                        \
  }

QZ_TRMM_LEFT(my_dtrmm_LUNN_m1, Shape::UPPER, Update::MINUS, asStored)
QZ_TRMM_LEFT(my_dtrmm_LLTN, Shape::UPPER, Update::PLUS, transposed)
QZ_TRMM_LEFT(my_dtrmm_LLNN, Shape::LOWER, Update::PLUS, asStored)
QZ_TRMM_RIGHT(my_dtrmm_RLNU, Shape::LOWER, true, asStored)
QZ_TRMM_RIGHT(my_dtrmm_RLTU, Shape::UPPER, true, transposed)
QZ_TRMM_RIGHT(my_dtrmm_RUNN, Shape::UPPER, false, asStored)
QZ_TRMM_RIGHT(my_dtrmm_RUTN, Shape::LOWER, false, transposed)

#undef QZ_TRMM_LEFT
#undef QZ_TRMM_RIGHT

void my_dtrmm(const char* side, const char* uplo, const char* transA, const char* /*diag*/, const int32_t* m,
              const int32_t* n, const double* /*alpha*/, const double* a, const int32_t* lda, double* b,
              const int32_t* ldb, double* packA, double* packB) {
  const bool plain = isLetter(transA, 'N');
  const bool lower = isLetter(uplo, 'L');
  auto* variant = plain ? &my_dtrmm_LLNN : &my_dtrmm_LLTN;
  if (isLetter(side, 'R')) {
    variant = plain ? &my_dtrmm_RUNN : &my_dtrmm_RUTN;
    if (lower) variant = plain ? &my_dtrmm_RLNU : &my_dtrmm_RLTU;
  } else if (!lower) {
    if (!plain) return;
    variant = &my_dtrmm_LUNN_m1;
  }
  variant(m, n, a, lda, b, ldb, packA, packB);
}

}  // namespace qz
