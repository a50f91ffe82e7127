// The solver's own single-threaded dense kernels, for blocks so small that a call into the BLAS does not pay and for
// the operations that the BLAS lacks: the two-factor product `my_dsyrk2` (one triangle of A B^T, which L (L D)^T
// needs), `my_outer_prod`, `my_dsyr_dscal` and `my_dger2_one`.
//
// Calling style of the BLAS: scalars by pointer, options as one-letter strings, matrices column-major with an explicit
// leading dimension of at least max(1, rows). Sizes below 1 are empty. Outputs must not overlap inputs, unless a
// function says so. No function allocates, fails or keeps state; two threads may run any of them at once on separate
// buffers.
//
// Names: a dispatcher has the BLAS-like name; a variant appends its options in the order of the arguments (N not
// transposed, T transposed; L lower or left, U upper or unit, R right), then its scalars as _<beta><sign><alpha>:
//   _0p1  C := A B        _1p1  C := C + A B        _1m1  C := C - A B        _m1  alpha is -1.
// On levels 1 and 2 `_one` says that both increments are 1, `_xone` that of x, `_yone` that of y.
// Scalars are never multiplied in, except where a function says so: only the listed combinations exist, and a caller
// may pass nothing else.
//
// Pack buffers `packA`, `packB`, `pack` are supplied by the caller: PACK_DIM * min(k, PACK_DIM) entries each, k being
// the inner dimension of the product (the order of the triangle for solves and triangular products); 8-byte alignment
// is enough, 64 bytes is best. The kernels cut all three dimensions of a product into chunks of PACK_DIM, so that no
// size of C needs more. A packed operand keeps rows (of op(A)) or columns (of op(B)) contiguous: entry (i, p) at
// i + PACK_DIM * p, p the inner index. Goto and van de Geijn (2008), ACM TOMS 34(3).
#pragma once

#include <cstdint>

namespace qz {

inline constexpr int32_t PACK_DIM = 96;                       // chunk of every dimension, leading dimension of packs
inline constexpr int32_t PACK_ENTRIES = PACK_DIM * PACK_DIM;  // entries of a full pack buffer

// ---- Level 3: products ----

// C := op(A) op(B), C + op(A) op(B) or C - op(A) op(B), C m by n, inner dimension k. Decides on letters and scalars:
//   transA "N":  beta 0 -> _0p1, else _1m1, with NN or NT by transB;
//   transA other, transB "N":  beta 0 -> TN_0p1; else alpha 1 -> TN_1p1, else TN_1m1;
//   both other -> TT_0p1.
void my_dgemm(const char* transA, const char* transB, const int32_t* m, const int32_t* n, const int32_t* k,
              const double* alpha, const double* a, const int32_t* lda, const double* b, const int32_t* ldb,
              const double* beta, double* c, const int32_t* ldc, double* packA, double* packB);

// The variants. A is m by k (T: k by m), B is k by n (T: n by k).
#define QZ_DGEMM_VARIANT(name)                                                                         \
  void name(const int32_t* m, const int32_t* n, const int32_t* k, const double* a, const int32_t* lda, \
            const double* b, const int32_t* ldb, double* c, const int32_t* ldc, double* packA, double* packB)
QZ_DGEMM_VARIANT(my_dgemm_NN_0p1);
QZ_DGEMM_VARIANT(my_dgemm_NN_1p1);
QZ_DGEMM_VARIANT(my_dgemm_NN_1m1);
QZ_DGEMM_VARIANT(my_dgemm_NT_0p1);
QZ_DGEMM_VARIANT(my_dgemm_NT_1m1);
QZ_DGEMM_VARIANT(my_dgemm_TN_0p1);
QZ_DGEMM_VARIANT(my_dgemm_TN_1p1);
QZ_DGEMM_VARIANT(my_dgemm_TN_1m1);
QZ_DGEMM_VARIANT(my_dgemm_TT_0p1);
#undef QZ_DGEMM_VARIANT

// The loops behind all products: C := C + P Q^T or C - P Q^T, with P mc by kc and Q n by kc packed as told above;
// mc, n, kc at most PACK_DIM. Sizes by value: these are no dispatchers.
void my_dgemm_kernel_plus(double* c, int32_t ldc, const double* packA, const double* packB, int32_t mc, int32_t n,
                          int32_t kc);
void my_dgemm_kernel_minus(double* c, int32_t ldc, const double* packA, const double* packB, int32_t mc, int32_t n,
                           int32_t kc);

// One triangle of C := op(A) op(A)^T, C + ... or C - ...; C n by n, op(A) n by k. The other triangle is not touched.
//   uplo other than "L":  beta 0 -> UT_0p1, else UT_1m1 (trans is not looked at: A is k by n);
//   "L" with "N":         beta 0 -> LN_0p1, else LN_1m1 (A is n by k);
//   "L" with another:     LT_1p1, whatever beta is: it accumulates (A is k by n).
// pack: one pack buffer.
void my_dsyrk(const char* uplo, const char* trans, const int32_t* n, const int32_t* k, const double* alpha,
              const double* a, const int32_t* lda, const double* beta, double* c, const int32_t* ldc, double* pack);
#define QZ_DSYRK_VARIANT(name)                                                                                      \
  void name(const int32_t* n, const int32_t* k, const double* a, const int32_t* lda, double* c, const int32_t* ldc, \
            double* pack)
QZ_DSYRK_VARIANT(my_dsyrk_UT_0p1);
QZ_DSYRK_VARIANT(my_dsyrk_UT_1m1);
QZ_DSYRK_VARIANT(my_dsyrk_LN_0p1);
QZ_DSYRK_VARIANT(my_dsyrk_LN_1m1);
QZ_DSYRK_VARIANT(my_dsyrk_LT_1p1);
#undef QZ_DSYRK_VARIANT

// One triangle, diagonal included, of C := A B^T or C - A B^T; A and B n by k, C n by n. The result is the triangle of
// a product that is symmetric only up to rounding, as L (L D)^T is. The other triangle is neither read nor written.
//   uplo "L": beta 0 -> LNT_0p1, else LNT_1m1; otherwise UNT_0p1, UNT_1m1.
void my_dsyrk2(const char* uplo, const int32_t* n, const int32_t* k, const double* alpha, const double* a,
               const int32_t* lda, const double* b, const int32_t* ldb, const double* beta, double* c,
               const int32_t* ldc, double* packA, double* packB);
#define QZ_DSYRK2_VARIANT(name)                                                                       \
  void name(const int32_t* n, const int32_t* k, const double* a, const int32_t* lda, const double* b, \
            const int32_t* ldb, double* c, const int32_t* ldc, double* packA, double* packB)
QZ_DSYRK2_VARIANT(my_dsyrk2_UNT_0p1);
QZ_DSYRK2_VARIANT(my_dsyrk2_UNT_1m1);
QZ_DSYRK2_VARIANT(my_dsyrk2_LNT_0p1);
QZ_DSYRK2_VARIANT(my_dsyrk2_LNT_1m1);
#undef QZ_DSYRK2_VARIANT

// As my_dgemm_kernel_*, but only entries (i, j) of C with i <= j (upper) or i >= j (lower) are touched; P and Q both n
// by kc.
void my_dsyrk2_kernel_upper_plus(double* c, int32_t ldc, const double* packA, const double* packB, int32_t n,
                                 int32_t kc);
void my_dsyrk2_kernel_upper_minus(double* c, int32_t ldc, const double* packA, const double* packB, int32_t n,
                                  int32_t kc);
void my_dsyrk2_kernel_lower_plus(double* c, int32_t ldc, const double* packA, const double* packB, int32_t n,
                                 int32_t kc);
void my_dsyrk2_kernel_lower_minus(double* c, int32_t ldc, const double* packA, const double* packB, int32_t n,
                                  int32_t kc);

// The lower triangle of C := alpha (A B^T + B A^T) + beta C; A and B n by k. alpha and beta are multiplied in; beta 0
// overwrites C.
void my_dsyr2k_L(const int32_t* n, const int32_t* k, const double* alpha, const double* a, const int32_t* lda,
                 const double* b, const int32_t* ldb, const double* beta, double* c, const int32_t* ldc, double* packA,
                 double* packB);

// C := A B, A m by m symmetric of which the lower triangle is read, B and C m by n.
void my_dsymm_LL_0p1(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, const double* b,
                     const int32_t* ldb, double* c, const int32_t* ldc, double* packA, double* packB);

// ---- Level 3: triangular solves and products ----

// B := op(A)^-1 B (side "L", A m by m) or B op(A)^-1 (A n by n), B m by n, A triangular with a non-unit diagonal.
// alpha is 1 and diag is "N": neither is looked at.
//   side "L": LLNN, LLTN, LUNN, LUTN by triangle and transposition;
//   other:    RLTN when transA is "T" (A is taken as lower), otherwise nothing happens.
void my_dtrsm(const char* side, const char* uplo, const char* transA, const char* diag, const int32_t* m,
              const int32_t* n, const double* alpha, const double* a, const int32_t* lda, double* b, const int32_t* ldb,
              double* packA, double* packB);

// B := op(A) B or B op(A), B m by n, A triangular; in place.
//   side "R": RLNU, RLTU (unit lower), RUNN, RUTN (non-unit upper), with alpha 1;
//   side "L": "U" with "N" -> LUNN_m1, which is B := -A B; "L" -> LLNN or LLTN with alpha 1;
//             "U" transposed does not exist: nothing happens.
// alpha and diag are not looked at.
void my_dtrmm(const char* side, const char* uplo, const char* transA, const char* diag, const int32_t* m,
              const int32_t* n, const double* alpha, const double* a, const int32_t* lda, double* b, const int32_t* ldb,
              double* packA, double* packB);

#define QZ_TRIANGULAR_VARIANT(name)                                                                                 \
  void name(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, double* b, const int32_t* ldb, \
            double* packA, double* packB)
QZ_TRIANGULAR_VARIANT(my_dtrsm_LLNN);
QZ_TRIANGULAR_VARIANT(my_dtrsm_LLTN);
QZ_TRIANGULAR_VARIANT(my_dtrsm_LUNN);
QZ_TRIANGULAR_VARIANT(my_dtrsm_LUTN);
QZ_TRIANGULAR_VARIANT(my_dtrsm_RLTN);
QZ_TRIANGULAR_VARIANT(my_dtrmm_RLNU);
QZ_TRIANGULAR_VARIANT(my_dtrmm_RLTU);
QZ_TRIANGULAR_VARIANT(my_dtrmm_RUNN);
QZ_TRIANGULAR_VARIANT(my_dtrmm_RUTN);
QZ_TRIANGULAR_VARIANT(my_dtrmm_LUNN_m1);
QZ_TRIANGULAR_VARIANT(my_dtrmm_LLTN);
QZ_TRIANGULAR_VARIANT(my_dtrmm_LLNN);
#undef QZ_TRIANGULAR_VARIANT

// B := T^-1 B on a packed diagonal block: T kc by kc at `pack`, entry (i, p) at i + PACK_DIM * p, lower (forward
// substitution) or upper (backward), non-unit; B kc by n. Entries of the other triangle are not read.
void my_dtrsm_kernel_lower_left(double* b, int32_t ldb, const double* pack, int32_t kc, int32_t n);
void my_dtrsm_kernel_upper_left(double* b, int32_t ldb, const double* pack, int32_t kc, int32_t n);

// ---- Level 2 ----

// y := beta y - op(A) x, A m by n: beta 0 clears y, 1 leaves it, others scale it; alpha is not looked at.
// "N" needs incy 1 and goes to my_dgemv_n_1m1_yone; others need incx 1 and go to my_dgemv_t_1m1_xone.
void my_dgemv(const char* trans, const int32_t* m, const int32_t* n, const double* alpha, const double* a,
              const int32_t* lda, const double* x, const int32_t* incx, const double* beta, double* y,
              const int32_t* incy);
void my_dgemv_n_1m1_yone(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, const double* x,
                         const int32_t* incx, double* y);
void my_dgemv_t_1m1_xone(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, const double* x,
                         double* y, const int32_t* incy);

// x := op(A)^-1 x: "L" -> my_dtrsv_ln (the transposition is not looked at, diag is); else "N" -> my_dtrsv_unn,
// otherwise my_dtrsv_utn, both with a non-unit diagonal.
void my_dtrsv(const char* uplo, const char* trans, const char* diag, const int32_t* n, const double* a,
              const int32_t* lda, double* x, const int32_t* incx);
void my_dtrsv_ln(const char* diag, const int32_t* n, const double* a, const int32_t* lda, double* x,
                 const int32_t* incx);
void my_dtrsv_unn(const int32_t* n, const double* a, const int32_t* lda, double* x, const int32_t* incx);
void my_dtrsv_utn(const int32_t* n, const double* a, const int32_t* lda, double* x, const int32_t* incx);

// x := op(A) x, A triangular: lower or upper (l, u), as it stands or transposed (n, t); diag "U" takes ones.
void my_dtrmv_ln_one(const char* diag, const int32_t* n, const double* a, const int32_t* lda, double* x);
void my_dtrmv_lt_one(const char* diag, const int32_t* n, const double* a, const int32_t* lda, double* x);
void my_dtrmv_un_one(const char* diag, const int32_t* n, const double* a, const int32_t* lda, double* x);
void my_dtrmv_ut_one(const char* diag, const int32_t* n, const double* a, const int32_t* lda, double* x);

// A := A + alpha x y^T, A m by n.
void my_dger_one(const int32_t* m, const int32_t* n, const double* alpha, const double* x, const double* y, double* a,
                 const int32_t* lda);
void my_dger_xone(const int32_t* m, const int32_t* n, const double* alpha, const double* x, const double* y,
                  const int32_t* incy, double* a, const int32_t* lda);
// Rank two: A := A + alpha (x1 y1^T + x2 y2^T).
void my_dger2_one(const int32_t* m, const int32_t* n, const double* alpha, const double* x1, const double* y1,
                  const double* x2, const double* y2, double* a, const int32_t* lda);

// One triangle of A := A + alpha x x^T; uplo "L" or "U".
void my_dsyr(const char* uplo, const int32_t* n, const double* alpha, const double* x, const int32_t* incx, double* a,
             const int32_t* lda);
// The lower triangle of A := A + alpha (x y^T + y x^T).
void my_dsyr2_l_one(const int32_t* n, const double* alpha, const double* x, const double* y, double* a,
                    const int32_t* lda);

// One elimination step with a 1-by-1 pivot d = 1/alpha in one pass: the lower triangle of Y := Y - alpha x x^T with the
// column x as it comes in, then x := alpha x. x has n entries, Y is n by n with leading dimension ldy; x is usually the
// column before Y and does not overlap it.
void my_dsyr_dscal(const int32_t* n, double* x, double* y, const double* alpha, const int32_t* ldy);

// y := alpha A x + beta y, A symmetric in one triangle; my_dspmv: packed by columns. beta 0 overwrites y.
void my_dsymv(const char* uplo, const int32_t* n, const double* alpha, const double* a, const int32_t* lda,
              const double* x, const int32_t* incx, const double* beta, double* y, const int32_t* incy);
void my_dspmv(const char* uplo, const int32_t* n, const double* alpha, const double* ap, const double* x,
              const int32_t* incx, const double* beta, double* y, const int32_t* incy);

// C := x y^T, C m by n with leading dimension m, in strips of 4 columns.
void my_outer_prod(const int32_t* m, const int32_t* n, const double* x, const double* y, double* c);

// B := A, m by n.
void my_copyMatrix(const int32_t* m, const int32_t* n, const double* a, const int32_t* lda, double* b,
                   const int32_t* ldb);

// ---- Level 1, with the meanings of the BLAS (a negative increment walks backwards from the far end) ----

double my_ddot(const int32_t* n, const double* x, const int32_t* incx, const double* y, const int32_t* incy);
void my_dcopy(const int32_t* n, const double* x, const int32_t* incx, double* y, const int32_t* incy);
void my_daxpy(const int32_t* n, const double* alpha, const double* x, const int32_t* incx, double* y,
              const int32_t* incy);
void my_dscal(const int32_t* n, const double* alpha, double* x, const int32_t* incx);
// The position, counted from 1, of the first entry of largest magnitude; 0 when n or incx is below 1.
int32_t my_idamax(const int32_t* n, const double* x, const int32_t* incx);
void my_dswap(const int32_t* n, double* x, const int32_t* incx, double* y, const int32_t* incy);
// 2-norm without overflow or harmful underflow.
double my_dnrm2(const int32_t* n, const double* x, const int32_t* incx);
double my_dasum(const int32_t* n, const double* x, const int32_t* incx);
// The rotation with c a + s b = r, -s a + c b = 0; a := r, b := z, from which c and s can be had again (Lawson et al.
// 1979): z = s when |a| > |b|, 1/c when not and c is not 0, otherwise 1.
void my_drotg(double* a, double* b, double* c, double* s);
// (x, y) := (c x + s y, c y - s x).
void my_drot(const int32_t* n, double* x, const int32_t* incx, double* y, const int32_t* incy, const double* c,
             const double* s);

}  // namespace qz
