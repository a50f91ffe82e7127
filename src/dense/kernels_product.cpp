// Dispatchers and variants of the products: my_dgemm, my_dsyrk, my_dsyrk2, my_dsyr2k_L, my_dsymm_LL_0p1.
#include <algorithm>

#include "dense/kernels.h"
#include "dense/packed_product.h"

namespace qz {

namespace {

bool isLetter(const char* option, char letter) {
  return *option == letter;
}

}  // namespace

// ---- my_dgemm ----

#define QZ_DGEMM_VARIANT(name, update, opA, opB)                                                                \
  void name(const int32_t* m, const int32_t* n, const int32_t* k, const double* a, const int32_t* lda,          \
            const double* b, const int32_t* ldb, double* c, const int32_t* ldc, double* packA, double* packB) { \
    packedProduct(Region::FULL, update, *m, *n, *k, opA(a, *lda), opB(b, *ldb), c, *ldc, packA, packB);         \
  }

QZ_DGEMM_VARIANT(my_dgemm_NN_0p1, Update::SET, asStored, asStored)
QZ_DGEMM_VARIANT(my_dgemm_NN_1p1, Update::PLUS, asStored, asStored)
QZ_DGEMM_VARIANT(my_dgemm_NN_1m1, Update::MINUS, asStored, asStored)
QZ_DGEMM_VARIANT(my_dgemm_NT_0p1, Update::SET, asStored, transposed)
QZ_DGEMM_VARIANT(my_dgemm_NT_1m1, Update::MINUS, asStored, transposed)
QZ_DGEMM_VARIANT(my_dgemm_TN_0p1, Update::SET, transposed, asStored)
QZ_DGEMM_VARIANT(my_dgemm_TN_1p1, Update::PLUS, transposed, asStored)
QZ_DGEMM_VARIANT(my_dgemm_TN_1m1, Update::MINUS, transposed, asStored)
QZ_DGEMM_VARIANT(my_dgemm_TT_0p1, Update::SET, transposed, transposed)

#undef QZ_DGEMM_VARIANT

void my_dgemm(const char* transA, const char* transB, const int32_t* m, const int32_t* n, const int32_t* k,
              const double* alpha, const double* a, const int32_t* lda, const double* b, const int32_t* ldb,
              const double* beta, double* c, const int32_t* ldc, double* packA, double* packB) {
  auto* variant = &my_dgemm_TT_0p1;
  if (isLetter(transA, 'N')) {
    if (*beta == 0.0) {
      variant = isLetter(transB, 'N') ? &my_dgemm_NN_0p1 : &my_dgemm_NT_0p1;
    } else {
      variant = isLetter(transB, 'N') ? &my_dgemm_NN_1m1 : &my_dgemm_NT_1m1;
    }
  } else if (isLetter(transB, 'N')) {
    if (*beta == 0.0) {
      variant = &my_dgemm_TN_0p1;
    } else {
      variant = *alpha == 1.0 ? &my_dgemm_TN_1p1 : &my_dgemm_TN_1m1;
    }
  }
  variant(m, n, k, a, lda, b, ldb, c, ldc, packA, packB);
}

void my_dgemm_kernel_plus(double* c, int32_t ldc, const double* packA, const double* packB, int32_t mc, int32_t n,
                          int32_t kc) {
  if (kc <= 0) return;
  tileProduct(Region::FULL, Update::PLUS, mc, n, kc, asStored(packA, PACK_DIM), transposed(packB, PACK_DIM), c, ldc);
}

void my_dgemm_kernel_minus(double* c, int32_t ldc, const double* packA, const double* packB, int32_t mc, int32_t n,
                           int32_t kc) {
  if (kc <= 0) return;
  tileProduct(Region::FULL, Update::MINUS, mc, n, kc, asStored(packA, PACK_DIM), transposed(packB, PACK_DIM), c, ldc);
}

// ---- my_dsyrk ----

// The right factor is the left one transposed. With one buffer it is read where it lies.
#define QZ_DSYRK_VARIANT(name, region, update, opA, opB)                                                            \
  void name(const int32_t* n, const int32_t* k, const double* a, const int32_t* lda, double* c, const int32_t* ldc, \
            double* pack) {                                                                                         \
    packedProduct(region, update, *n, *n, *k, opA(a, *lda), opB(a, *lda), c, *ldc, pack, nullptr);                  \
  }

QZ_DSYRK_VARIANT(my_dsyrk_UT_0p1, Region::UPPER, Update::SET, transposed, asStored)
QZ_DSYRK_VARIANT(my_dsyrk_UT_1m1, Region::UPPER, Update::MINUS, transposed, asStored)
QZ_DSYRK_VARIANT(my_dsyrk_LN_0p1, Region::LOWER, Update::SET, asStored, transposed)
QZ_DSYRK_VARIANT(my_dsyrk_LN_1m1, Region::LOWER, Update::MINUS, asStored, transposed)
QZ_DSYRK_VARIANT(my_dsyrk_LT_1p1, Region::LOWER, Update::PLUS, transposed, asStored)

#undef QZ_DSYRK_VARIANT

void my_dsyrk(const char* uplo, const char* trans, const int32_t* n, const int32_t* k, const double* /*alpha*/,
              const double* a, const int32_t* lda, const double* beta, double* c, const int32_t* ldc, double* pack) {
  const bool overwrite = *beta == 0.0;
  auto* variant = &my_dsyrk_LT_1p1;
  if (!isLetter(uplo, 'L')) {
    variant = overwrite ? &my_dsyrk_UT_0p1 : &my_dsyrk_UT_1m1;
  } else if (isLetter(trans, 'N')) {
    variant = overwrite ? &my_dsyrk_LN_0p1 : &my_dsyrk_LN_1m1;
  }
  variant(n, k, a, lda, c, ldc, pack);
}

// ---- my_dsyrk2 ----

#define QZ_DSYRK2_VARIANT(name, region, update)                                                               \
  void name(const int32_t* n, const int32_t* k, const double* a, const int32_t* lda, const double* b,         \
            const int32_t* ldb, double* c, const int32_t* ldc, double* packA, double* packB) {                \
    packedProduct(region, update, *n, *n, *k, asStored(a, *lda), transposed(b, *ldb), c, *ldc, packA, packB); \
  }

QZ_DSYRK2_VARIANT(my_dsyrk2_UNT_0p1, Region::UPPER, Update::SET)
QZ_DSYRK2_VARIANT(my_dsyrk2_UNT_1m1, Region::UPPER, Update::MINUS)
QZ_DSYRK2_VARIANT(my_dsyrk2_LNT_0p1, Region::LOWER, Update::SET)
QZ_DSYRK2_VARIANT(my_dsyrk2_LNT_1m1, Region::LOWER, Update::MINUS)

#undef QZ_DSYRK2_VARIANT

void my_dsyrk2(const char* uplo, const int32_t* n, const int32_t* k, const double* /*alpha*/, const double* a,
               const int32_t* lda, const double* b, const int32_t* ldb, const double* beta, double* c,
               const int32_t* ldc, double* packA, double* packB) {
  const bool overwrite = *beta == 0.0;
  auto* variant = overwrite ? &my_dsyrk2_UNT_0p1 : &my_dsyrk2_UNT_1m1;
  if (isLetter(uplo, 'L')) variant = overwrite ? &my_dsyrk2_LNT_0p1 : &my_dsyrk2_LNT_1m1;
  variant(n, k, a, lda, b, ldb, c, ldc, packA, packB);
}

#define QZ_DSYRK2_KERNEL(name, region, update)                                                             \
  void name(double* c, int32_t ldc, const double* packA, const double* packB, int32_t n, int32_t kc) {     \
    if (kc <= 0) return;                                                                                   \
    tileProduct(region, update, n, n, kc, asStored(packA, PACK_DIM), transposed(packB, PACK_DIM), c, ldc); \
  }

QZ_DSYRK2_KERNEL(my_dsyrk2_kernel_upper_plus, Region::UPPER, Update::PLUS)
QZ_DSYRK2_KERNEL(my_dsyrk2_kernel_upper_minus, Region::UPPER, Update::MINUS)
QZ_DSYRK2_KERNEL(my_dsyrk2_kernel_lower_plus, Region::LOWER, Update::PLUS)
QZ_DSYRK2_KERNEL(my_dsyrk2_kernel_lower_minus, Region::LOWER, Update::MINUS)

#undef QZ_DSYRK2_KERNEL

// ---- Sums and symmetric operands ----

namespace {

void scaleLower(int32_t n, double beta, double* c, int64_t ldc) {
  if (beta == 1.0) return;
  for (int32_t j = 0; j < n; ++j) {
    double* column = c + j * ldc;
    for (int32_t i = j; i < n; ++i) column[i] = beta == 0.0 ? 0.0 : beta * column[i];
  }
}

void scalePack(double alpha, int32_t rows, int32_t columns, double* pack) {
  for (int32_t p = 0; p < columns; ++p) {
    double* column = pack + static_cast<int64_t>(p) * PACK_DIM;
    for (int32_t i = 0; i < rows; ++i) column[i] *= alpha;
  }
}

// The lower triangle of C := C + alpha X Y^T, with alpha taken into the packed Y.
void addScaledLower(int32_t n, int32_t k, double alpha, const double* x, int32_t ldx, const double* y, int32_t ldy,
                    double* c, int64_t ldc, double* packX, double* packY) {
  for (int32_t p0 = 0; p0 < k; p0 += PACK_DIM) {
    const int32_t kc = std::min(PACK_DIM, k - p0);
    for (int32_t j0 = 0; j0 < n; j0 += PACK_DIM) {
      const int32_t nc = std::min(PACK_DIM, n - j0);
      packBlock(shifted(asStored(y, ldy), j0, p0), nc, kc, packY);
      scalePack(alpha, nc, kc, packY);
      for (int32_t i0 = j0; i0 < n; i0 += PACK_DIM) {
        const int32_t mc = std::min(PACK_DIM, n - i0);
        packBlock(shifted(asStored(x, ldx), i0, p0), mc, kc, packX);
        tileProduct(i0 == j0 ? Region::LOWER : Region::FULL, Update::PLUS, mc, nc, kc, asStored(packX, PACK_DIM),
                    transposed(packY, PACK_DIM), c + i0 + j0 * ldc, ldc);
      }
    }
  }
}

// Packs the block of a symmetric matrix, lower triangle stored, that starts at (row, column).
void packSymmetricBlock(const double* a, int64_t lda, int32_t row, int32_t column, int32_t rows, int32_t columns,
                        double* pack) {
  for (int32_t p = 0; p < columns; ++p) {
    double* to = pack + static_cast<int64_t>(p) * PACK_DIM;
    const int32_t j = column + p;
    const int32_t above = std::clamp(j - row, 0, rows);
    for (int32_t i = 0; i < above; ++i) to[i] = a[j + (row + i) * lda];
    for (int32_t i = above; i < rows; ++i) to[i] = a[row + i + j * lda];
  }
}

}  // namespace

void my_dsyr2k_L(const int32_t* n, const int32_t* k, const double* alpha, const double* a, const int32_t* lda,
                 const double* b, const int32_t* ldb, const double* beta, double* c, const int32_t* ldc, double* packA,
                 double* packB) {
  scaleLower(*n, *beta, c, *ldc);
  if (*alpha == 0.0) return;
  addScaledLower(*n, *k, *alpha, a, *lda, b, *ldb, c, *ldc, packA, packB);
  addScaledLower(*n, *k, *alpha, b, *ldb, a, *lda, c, *ldc, packA, packB);
}

void my_dsymm_LL_0p1(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, const double* b,
                     const int32_t* ldb, double* c, const int32_t* ldc, double* packA, double* packB) {
  const int64_t ldcWide = *ldc;
  for (int32_t j0 = 0; j0 < *n; j0 += PACK_DIM) {
    const int32_t nc = std::min(PACK_DIM, *n - j0);
    for (int32_t p0 = 0; p0 < *m; p0 += PACK_DIM) {
      const int32_t kc = std::min(PACK_DIM, *m - p0);
      const Update update = p0 == 0 ? Update::SET : Update::PLUS;
      const Operand block = shifted(asStored(b, *ldb), p0, j0);
      packBlock({block.at, block.columnStride, block.rowStride}, nc, kc, packB);
      for (int32_t i0 = 0; i0 < *m; i0 += PACK_DIM) {
        const int32_t mc = std::min(PACK_DIM, *m - i0);
        packSymmetricBlock(a, *lda, i0, p0, mc, kc, packA);
        tileProduct(Region::FULL, update, mc, nc, kc, asStored(packA, PACK_DIM), transposed(packB, PACK_DIM),
                    c + i0 + j0 * ldcWide, ldcWide);
      }
    }
  }
}

}  // namespace qz
