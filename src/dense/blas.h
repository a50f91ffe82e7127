// The BLAS routines that the solver calls, and thin wrappers that take sizes and scalars by value.
//
// dgemm, dsyrk and dtrsm do most of the work of the factorisations. A BLAS library that is older than the processor
// falls back to a form without its vectors and is then four to five times slower than the solver's own register tiles,
// which hold their own against a library that knows the processor (bench/kernels.cpp). So these three go to the tiles
// where there are tiles for the processor and the scalars need no multiplication, and to the library otherwise; which
// way is a matter of the processor and the arguments alone. They use up to 72 KiB of stack.
//
// All matrices are column-major with an explicit leading dimension, options are one-letter strings. The library must
// run single-threaded: worker threads of the factorisations call it at the same time.
// Reference: Lawson et al. (1979), Dongarra et al. (1988, 1990), ACM TOMS.
#pragma once

#include <cstdint>

extern "C" {
void dgemm_(const char* transA, const char* transB, const int* m, const int* n, const int* k, const double* alpha,
            const double* a, const int* lda, const double* b, const int* ldb, const double* beta, double* c,
            const int* ldc);
void dsyrk_(const char* uplo, const char* trans, const int* n, const int* k, const double* alpha, const double* a,
            const int* lda, const double* beta, double* c, const int* ldc);
void dsyr2k_(const char* uplo, const char* trans, const int* n, const int* k, const double* alpha, const double* a,
             const int* lda, const double* b, const int* ldb, const double* beta, double* c, const int* ldc);
void dsymm_(const char* side, const char* uplo, const int* m, const int* n, const double* alpha, const double* a,
            const int* lda, const double* b, const int* ldb, const double* beta, double* c, const int* ldc);
void dtrsm_(const char* side, const char* uplo, const char* transA, const char* diag, const int* m, const int* n,
            const double* alpha, const double* a, const int* lda, double* b, const int* ldb);
void dtrmm_(const char* side, const char* uplo, const char* transA, const char* diag, const int* m, const int* n,
            const double* alpha, const double* a, const int* lda, double* b, const int* ldb);
void dgemv_(const char* trans, const int* m, const int* n, const double* alpha, const double* a, const int* lda,
            const double* x, const int* incx, const double* beta, double* y, const int* incy);
void dsymv_(const char* uplo, const int* n, const double* alpha, const double* a, const int* lda, const double* x,
            const int* incx, const double* beta, double* y, const int* incy);
void dtrsv_(const char* uplo, const char* trans, const char* diag, const int* n, const double* a, const int* lda,
            double* x, const int* incx);
void dtrmv_(const char* uplo, const char* trans, const char* diag, const int* n, const double* a, const int* lda,
            double* x, const int* incx);
void dger_(const int* m, const int* n, const double* alpha, const double* x, const int* incx, const double* y,
           const int* incy, double* a, const int* lda);
void dsyr2_(const char* uplo, const int* n, const double* alpha, const double* x, const int* incx, const double* y,
            const int* incy, double* a, const int* lda);
void dcopy_(const int* n, const double* x, const int* incx, double* y, const int* incy);
void dscal_(const int* n, const double* alpha, double* x, const int* incx);
void dswap_(const int* n, double* x, const int* incx, double* y, const int* incy);
void daxpy_(const int* n, const double* alpha, const double* x, const int* incx, double* y, const int* incy);
double ddot_(const int* n, const double* x, const int* incx, const double* y, const int* incy);
double dnrm2_(const int* n, const double* x, const int* incx);
void drot_(const int* n, double* x, const int* incx, double* y, const int* incy, const double* c, const double* s);
int idamax_(const int* n, const double* x, const int* incx);
}

namespace qz::blas {

static_assert(sizeof(int) == sizeof(int32_t), "the BLAS takes 32-bit sizes");

// C := alpha op(A) op(B) + beta C, C m by n, the inner dimension k.
void dgemm(const char* transA, const char* transB, int32_t m, int32_t n, int32_t k, double alpha, const double* a,
           int32_t lda, const double* b, int32_t ldb, double beta, double* c, int32_t ldc);

// One triangle of C := alpha op(A) op(A)^T + beta C, C n by n.
void dsyrk(const char* uplo, const char* trans, int32_t n, int32_t k, double alpha, const double* a, int32_t lda,
           double beta, double* c, int32_t ldc);

// One triangle of C := alpha (op(A) op(B)^T + op(B) op(A)^T) + beta C.
inline void dsyr2k(const char* uplo, const char* trans, int32_t n, int32_t k, double alpha, const double* a,
                   int32_t lda, const double* b, int32_t ldb, double beta, double* c, int32_t ldc) {
  dsyr2k_(uplo, trans, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc);
}

// C := alpha A B + beta C (side "L") or alpha B A + beta C, A symmetric in one triangle, C m by n.
inline void dsymm(const char* side, const char* uplo, int32_t m, int32_t n, double alpha, const double* a, int32_t lda,
                  const double* b, int32_t ldb, double beta, double* c, int32_t ldc) {
  dsymm_(side, uplo, &m, &n, &alpha, a, &lda, b, &ldb, &beta, c, &ldc);
}

// B := alpha op(A)^-1 B (side "L") or alpha B op(A)^-1, A triangular, B m by n.
void dtrsm(const char* side, const char* uplo, const char* transA, const char* diag, int32_t m, int32_t n, double alpha,
           const double* a, int32_t lda, double* b, int32_t ldb);

// B := alpha op(A) B (side "L") or alpha B op(A), A triangular, B m by n.
inline void dtrmm(const char* side, const char* uplo, const char* transA, const char* diag, int32_t m, int32_t n,
                  double alpha, const double* a, int32_t lda, double* b, int32_t ldb) {
  dtrmm_(side, uplo, transA, diag, &m, &n, &alpha, a, &lda, b, &ldb);
}

// y := alpha op(A) x + beta y, A m by n.
inline void dgemv(const char* trans, int32_t m, int32_t n, double alpha, const double* a, int32_t lda, const double* x,
                  int32_t incx, double beta, double* y, int32_t incy) {
  dgemv_(trans, &m, &n, &alpha, a, &lda, x, &incx, &beta, y, &incy);
}

// y := alpha A x + beta y, A symmetric in one triangle.
inline void dsymv(const char* uplo, int32_t n, double alpha, const double* a, int32_t lda, const double* x,
                  int32_t incx, double beta, double* y, int32_t incy) {
  dsymv_(uplo, &n, &alpha, a, &lda, x, &incx, &beta, y, &incy);
}

// x := op(A)^-1 x, A triangular.
inline void dtrsv(const char* uplo, const char* trans, const char* diag, int32_t n, const double* a, int32_t lda,
                  double* x, int32_t incx) {
  dtrsv_(uplo, trans, diag, &n, a, &lda, x, &incx);
}

// x := op(A) x, A triangular.
inline void dtrmv(const char* uplo, const char* trans, const char* diag, int32_t n, const double* a, int32_t lda,
                  double* x, int32_t incx) {
  dtrmv_(uplo, trans, diag, &n, a, &lda, x, &incx);
}

// A := A + alpha x y^T, A m by n.
inline void dger(int32_t m, int32_t n, double alpha, const double* x, int32_t incx, const double* y, int32_t incy,
                 double* a, int32_t lda) {
  dger_(&m, &n, &alpha, x, &incx, y, &incy, a, &lda);
}

// One triangle of A := A + alpha (x y^T + y x^T).
inline void dsyr2(const char* uplo, int32_t n, double alpha, const double* x, int32_t incx, const double* y,
                  int32_t incy, double* a, int32_t lda) {
  dsyr2_(uplo, &n, &alpha, x, &incx, y, &incy, a, &lda);
}

inline void dcopy(int32_t n, const double* x, int32_t incx, double* y, int32_t incy) {
  dcopy_(&n, x, &incx, y, &incy);
}

inline void dscal(int32_t n, double alpha, double* x, int32_t incx) {
  dscal_(&n, &alpha, x, &incx);
}

inline void dswap(int32_t n, double* x, int32_t incx, double* y, int32_t incy) {
  dswap_(&n, x, &incx, y, &incy);
}

inline void daxpy(int32_t n, double alpha, const double* x, int32_t incx, double* y, int32_t incy) {
  daxpy_(&n, &alpha, x, &incx, y, &incy);
}

inline double ddot(int32_t n, const double* x, int32_t incx, const double* y, int32_t incy) {
  return ddot_(&n, x, &incx, y, &incy);
}

inline double dnrm2(int32_t n, const double* x, int32_t incx) {
  return dnrm2_(&n, x, &incx);
}

inline void drot(int32_t n, double* x, int32_t incx, double* y, int32_t incy, double c, double s) {
  drot_(&n, x, &incx, y, &incy, &c, &s);
}

// As in Fortran: the position, counted from 1, of the first entry of largest magnitude; 0 when n < 1.
inline int32_t idamax(int32_t n, const double* x, int32_t incx) {
  return idamax_(&n, x, &incx);
}

}  // namespace qz::blas
