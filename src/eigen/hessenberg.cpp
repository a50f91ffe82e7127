#include "eigen/hessenberg.h"

#include <algorithm>
#include <cstdint>

#include "dense/blas.h"
#include "dense/dense_qr.h"
#include "dense/dense_qr_reflector.h"

namespace qz {

namespace {

constexpr int32_t kBlock = kHessenbergBlock;

// One block of reflectors. V starts at row `first` + 1 of column `first`; its unit entries are stored while the block
// is in work, and the subdiagonal of H, which stands there in the end, is kept in `subdiagonal`.
struct Block {
  int32_t first;
  int32_t rows;  // rows 0 to rows - 1 of A meet the reflectors from the right
  double* a;
  int32_t lda;
  double* y;  // A V T, rows by kBlock, leading dimension rows
  double* t;
  double* subdiagonal;
  double* w;
  double* at(int32_t i, int32_t j) const { return a + i + static_cast<int64_t>(j) * lda; }
  double* yAt(int32_t j) const { return y + static_cast<int64_t>(j) * rows; }
};

// Column first + j becomes what the j reflectors before it make of it.
void updateColumn(const Block& b, int32_t j) {
  if (j == 0) return;
  const int32_t c = b.first + j;
  const int32_t below = b.rows - c - 1;
  blas::dgemv("N", b.rows, j, -1.0, b.y, b.rows, b.at(c, b.first), b.lda, 1.0, b.at(0, c), 1);
  const double* top = b.at(b.first + 1, b.first);
  const double* bottom = b.at(c + 1, b.first);
  double* upper = b.at(b.first + 1, c);
  double* lower = b.at(c + 1, c);
  blas::dcopy(j, upper, 1, b.w, 1);
  blas::dtrmv("L", "T", "U", j, top, b.lda, b.w, 1);
  blas::dgemv("T", below, j, 1.0, bottom, b.lda, lower, 1, 1.0, b.w, 1);
  blas::dtrmv("U", "T", "N", j, b.t, kBlock, b.w, 1);
  blas::dgemv("N", below, j, -1.0, bottom, b.lda, b.w, 1, 1.0, lower, 1);
  blas::dtrmv("L", "N", "U", j, top, b.lda, b.w, 1);
  blas::daxpy(j, -1.0, b.w, 1, upper, 1);
}

// The reflector of column first + j, its column of T, and that of Y = A V T.
void addReflector(const Block& b, int32_t j, double* tau) {
  const int32_t c = b.first + j;
  const int32_t below = b.rows - c - 1;
  double* v = b.at(c + 1, c);
  my_dlarfg(below, v, v + 1, tau);
  b.subdiagonal[j] = v[0];
  v[0] = 1.0;
  double* column = b.t + static_cast<int64_t>(j) * kBlock;
  double* y = b.yAt(j);
  blas::dgemv("N", b.rows, below, 1.0, b.at(0, c + 1), b.lda, v, 1, 0.0, y, 1);
  if (j > 0) {
    blas::dgemv("T", below, j, 1.0, b.at(c + 1, b.first), b.lda, v, 1, 0.0, column, 1);
    blas::dgemv("N", b.rows, j, -1.0, b.y, b.rows, column, 1, 1.0, y, 1);
    blas::dscal(j, -*tau, column, 1);
    blas::dtrmv("U", "N", "N", j, b.t, kBlock, column, 1);
  }
  column[j] = *tau;
  blas::dscal(b.rows, *tau, y, 1);
}

}  // namespace

void GenToHess(int32_t n, int32_t ilo, int32_t ihi, double* a, int32_t lda, double* tau, double* work) {
  for (int32_t i = 0; i + 1 < n; ++i) tau[i] = 0.0;
  Block b{};
  b.rows = ihi + 1;
  b.a = a;
  b.lda = lda;
  b.y = work;
  b.t = b.y + static_cast<int64_t>(kBlock) * n;
  b.subdiagonal = b.t + kBlock * kBlock;
  b.w = b.subdiagonal + kBlock;
  double* scratch = b.w + kBlock;
  for (b.first = ilo; b.first < ihi; b.first += kBlock) {
    const int32_t width = std::min(kBlock, ihi - b.first);
    for (int32_t j = 0; j < width; ++j) {
      updateColumn(b, j);
      addReflector(b, j, tau + b.first + j);
    }
    const int32_t next = b.first + width;
    blas::dgemm("N", "T", b.rows, b.rows - next, width, -1.0, b.y, b.rows, b.at(next, b.first), lda, 1.0, b.at(0, next),
                lda);
    qr_dlarfb("T", b.rows - b.first - 1, n - next, width, b.at(b.first + 1, b.first), lda, b.t, kBlock,
              b.at(b.first + 1, next), lda, scratch);
    for (int32_t j = 0; j < width; ++j) *b.at(b.first + j + 1, b.first + j) = b.subdiagonal[j];
  }
}

}  // namespace qz
