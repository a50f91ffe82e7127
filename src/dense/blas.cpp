#include "dense/blas.h"

#include "dense/kernels.h"
#include "dense/packed_product.h"
#include "dense/triangular_solve.h"

namespace qz::blas {

namespace {

bool isLetter(const char* option, char letter) {
  return *option == letter;
}

// The tiles have a form that uses the full vectors of this processor.
bool tilesFit() {
  return tileFormOfProcessor() != TileForm::PLAIN;
}

// The update that the scalars ask for, if it is one of the tiles'.
bool findUpdate(double alpha, double beta, Update* update) {
  if (alpha == 1.0 && beta == 0.0) {
    *update = Update::SET;
  } else if (alpha == 1.0 && beta == 1.0) {
    *update = Update::PLUS;
  } else if (alpha == -1.0 && beta == 1.0) {
    *update = Update::MINUS;
  } else {
    return false;
  }
  return true;
}

struct PackBuffer {
  alignas(64) double entries[PACK_ENTRIES];
};

Operand operandOf(const char* trans, const double* x, int32_t ld) {
  return isLetter(trans, 'N') ? asStored(x, ld) : transposed(x, ld);
}

}  // namespace

void dgemm(const char* transA, const char* transB, int32_t m, int32_t n, int32_t k, double alpha, const double* a,
           int32_t lda, const double* b, int32_t ldb, double beta, double* c, int32_t ldc) {
  Update update = Update::SET;
  if (!tilesFit() || !findUpdate(alpha, beta, &update)) {
    dgemm_(transA, transB, &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc);
    return;
  }
  PackBuffer pack;
  packedProduct(Region::FULL, update, m, n, k, operandOf(transA, a, lda), operandOf(transB, b, ldb), c, ldc,
                pack.entries, nullptr);
}

void dsyrk(const char* uplo, const char* trans, int32_t n, int32_t k, double alpha, const double* a, int32_t lda,
           double beta, double* c, int32_t ldc) {
  Update update = Update::SET;
  if (!tilesFit() || !findUpdate(alpha, beta, &update)) {
    dsyrk_(uplo, trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc);
    return;
  }
  PackBuffer pack;
  const Operand left = operandOf(trans, a, lda);
  packedProduct(isLetter(uplo, 'L') ? Region::LOWER : Region::UPPER, update, n, n, k, left,
                {left.at, left.columnStride, left.rowStride}, c, ldc, pack.entries, nullptr);
}

void dtrsm(const char* side, const char* uplo, const char* transA, const char* diag, int32_t m, int32_t n, double alpha,
           const double* a, int32_t lda, double* b, int32_t ldb) {
  const bool left = isLetter(side, 'L');
  const bool lower = isLetter(uplo, 'L');
  const bool plain = isLetter(transA, 'N');
  if (!tilesFit() || alpha != 1.0 || !(left || (lower && !plain))) {
    dtrsm_(side, uplo, transA, diag, &m, &n, &alpha, a, &lda, b, &ldb);
    return;
  }
  PackBuffer pack;
  const bool unit = isLetter(diag, 'U');
  if (left) {
    const Shape shape = lower == plain ? Shape::LOWER : Shape::UPPER;
    solveLeft(shape, unit, m, n, operandOf(transA, a, lda), b, ldb, pack.entries, nullptr);
  } else {
    solveRightLowerTransposed(unit, m, n, a, lda, b, ldb, pack.entries, nullptr);
  }
}

}  // namespace qz::blas
