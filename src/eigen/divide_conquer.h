// Symmetric tridiagonal eigenproblems by divide and conquer: Cuppen (1981), Numer. Math. 36; Gu and Eisenstat (1995).
//
// T = [T1 0; 0 T2] + |e| u u' with u the last unit vector of the upper and, times the sign of e, the first of the lower
// half, and |e| taken from the two diagonal entries at the cut. With T_i = Q_i D_i Q_i' the merge is D + rho z z',
// z = (last row of Q1, first row of Q2). Columns with a negligible z, and one of each two with close values after a
// rotation, need no change: they deflate, which saves most of the work on many matrices.
#pragma once

#include <cstdint>

namespace qz {

inline constexpr int32_t kLargestLeaf = 25;  // problems up to this size are solved by QR iteration

[[nodiscard]] int64_t divideAndConquerWorkEntries(int32_t n);

// diag becomes the values, ascending, the columns of q (n by n) the vectors; offDiag is destroyed. Meant for a matrix
// whose largest entry is about 1. Returns 0, or 10 when an inner iteration fails.
[[nodiscard]] int32_t DivideAndConquer(int32_t n, double* diag, double* offDiag, double* q, int32_t ldq, double* work);

}  // namespace qz
