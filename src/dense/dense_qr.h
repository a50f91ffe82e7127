// Dense QR by recursive, blocked Householder reflections: A = Q R, m rows, n columns.
//
// A panel is halved until at most four columns are left, the halves are joined by block reflectors in compact WY form,
//   H_1 H_2 ... H_k = I - V T V',   V = [v_1 ... v_k] unit lower trapezoidal,  T upper triangular,
//   T = [T11, -T11 (V1'V2) T22; 0, T22],
// so that nearly all work is in products, and T is there when the panel is done. Schreiber and Van Loan (1989), SIAM J.
// Sci. Stat. Comput. 10(1); Elmroth and Gustavson (2000), IBM J. Res. Dev. 44(4).
//
// Storage as LAPACK's DGEQRF: R in the upper triangle, the v_j below the diagonal with their leading 1 implied, `tau`
// the scalars, min(m, n) of them; a zero column gives tau 0. With m < n the m reflectors go through all n columns.
// Nothing is allocated and nothing can fail: there is no pivoting, so a rank-deficient matrix shows in R only.
#pragma once

#include <cstdint>

namespace qz {

inline constexpr int32_t kQRPanelWidth = 64;  // columns of a panel of the drivers
inline constexpr int32_t kQRLeafWidth = 4;    // columns that the leaf kernels do without calls

// Columns of the left half of a panel of w > 4 columns: a multiple of four, about half of w.
[[nodiscard]] constexpr int32_t qrSplit(int32_t w) {
  return 4 * (static_cast<int32_t>(0.25 * static_cast<double>(w) + 1.0) / 2);
}

// Entries of the area `t` of the drivers below, `columns` the largest number of columns that a block reflector meets
// (n; the larger of n and the extra columns or right-hand sides).
[[nodiscard]] constexpr int64_t qrAreaEntries(int32_t columns) {
  return static_cast<int64_t>(kQRPanelWidth) * (kQRPanelWidth + static_cast<int64_t>(columns < 1 ? 1 : columns));
}

// Factors all of a. t: qrAreaEntries(n). Returns 0.
int32_t LA_DenseQRFactor(int32_t m, int32_t n, double* a, int32_t lda, double* tau, double* t);

// The same, and extra := Q' extra for numExtra further columns with m rows and leading dimension lda.
// t: qrAreaEntries(max(n, numExtra)). Does nothing when n < 1. Returns 0.
int32_t DenseQRWithUpdate(int32_t m, int32_t n, double* a, int32_t lda, int32_t numExtra, double* extra, double* tau,
                          double* t);

// Least squares: factors a, m >= n, and for every column of b (m rows) leaves the x with the least ||A x - b|| in its
// first n rows and the rest of Q'b below. A zero on the diagonal of R gives entries that are no numbers.
// t: qrAreaEntries(max(n, numRhs)). Returns 0.
int32_t LA_DenseQRSolve(int32_t m, int32_t n, int32_t numRhs, double* a, int32_t lda, double* b, int32_t ldb,
                        double* tau, double* t);

// Factors one panel, n <= m, by recursion. T in the upper triangle of t (n by n, leading dimension ldt >= n): with
// wantT 0 only the parts are there that the factorisation itself needed. work: n * n entries, at least 4.
void DenseQRBlock(int32_t m, int32_t n, int32_t wantT, double* a, int32_t lda, double* tau, double* t, int32_t ldt,
                  double* work);

// The leaf: n <= 4, n <= m. `bottom` is a + n, the rows below the square part. work: 4 entries.
void dqra4(int32_t m, int32_t n, int32_t wantT, double* a, int32_t lda, double* tau, double* t, int32_t ldt,
           double* work, double* bottom);

// c := (I - V T'V') c, the factorisation's Q'c, for k <= 4 reflectors; c is m by n. work: 4 entries.
void dqru4(int32_t m, int32_t n, int32_t k, const double* v, int32_t ldv, const double* t, int32_t ldt, double* c,
           int32_t ldc, double* work);

// T of k reflectors of m rows, upper triangle of t; dlarft4 for k <= 4.
void qr_dlarft(int32_t m, int32_t k, const double* v, int32_t ldv, const double* tau, double* t, int32_t ldt);
void dlarft4(int32_t m, int32_t k, const double* v, int32_t ldv, const double* tau, double* t, int32_t ldt);

// The connecting part: rows 0 to s - 1, columns s to w - 1 of t, from T11 and T22, which stand there.
void qrConnectT(int32_t m, int32_t s, int32_t w, const double* v, int32_t ldv, double* t, int32_t ldt);

// c := (I - V T'V') c for trans "T", (I - V T V') c for "N"; c is m by n, k <= m. work: n * k entries.
void qr_dlarfb(const char* trans, int32_t m, int32_t n, int32_t k, const double* v, int32_t ldv, const double* t,
               int32_t ldt, double* c, int32_t ldc, double* work);

}  // namespace qz
