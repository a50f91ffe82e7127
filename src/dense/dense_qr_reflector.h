// Householder reflectors, one at a time: H = I - tau v v' with v(0) = 1, and H (alpha; x) = (beta; 0).
// Reference: Golub and Van Loan (2013), Matrix Computations, 5.1; the signs and storage of LAPACK's DLARFG.
#pragma once

#include <cstdint>

namespace qz {

// sqrt(a^2 + b^2) without overflow or harmful underflow.
[[nodiscard]] double SqrtSumSquares(double a, double b);

// Makes the reflector of the n entries (*alpha; x), x with n - 1 entries. On return *alpha is beta, x holds v(1:), and
// *tau is 0 when nothing had to be reflected (n <= 1 or x = 0), else between 1 and 2. A column so small that its norm
// would lose digits is first multiplied by a power of two, once.
void my_dlarfg(int32_t n, double* alpha, double* x, double* tau);

// C := H C for the m-by-n matrix C; x holds v(1:), m - 1 entries. work: n entries.
void my_dlarf_one(int32_t m, int32_t n, const double* x, double tau, double* c, int32_t ldc, double* work);

}  // namespace qz
