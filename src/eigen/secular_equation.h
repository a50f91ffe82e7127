// The secular equation of a rank-one update: the eigenvalues of D + rho z z' are the roots of
//   f(x) = 1/rho + sum z_j^2 / (d_j - x),    d_0 < d_1 < ... < d_k-1, rho > 0, no z_j = 0,
// one in each interval (d_i, d_i+1) and one right of d_k-1.
//
// A root is sought as its distance tau from the nearer pole, with two-pole rational interpolation by the fixed-weight
// or the middle way: R.-C. Li (1993), LAPACK Working Note 89. The vectors come from a z that is recomputed from the
// roots by Loewner's formula, so that they are orthogonal without extra precision: Gu and Eisenstat (1994, 1995), SIAM
// J. Matrix Anal. Appl. 15(4), 16(1).
#pragma once

#include <cstdint>

namespace qz {

inline constexpr int32_t kSecularIterations = 30;

// Root i of k. delta (k entries) receives d_j - root with small relative error in each. Returns 0, or 10 at the limit
// of iterations.
[[nodiscard]] int32_t solveSecularRoot(int32_t k, int32_t i, const double* d, const double* z, double rho,
                                       double* delta, double* root);

// The non-deflated part of a merge: an n-by-n problem whose first n1 rows belong to the upper half.
struct SecularGroups {
  int32_t topOnly;       // columns that live in the upper half, in the grouped order
  int32_t mixed;         // in both
  int32_t bottomOnly;    // in the lower half
  const int32_t* order;  // k: position in the ascending order of each column of the grouped order
  const double* top;     // n1 by topOnly + mixed: upper halves, grouped order
  const double* bottom;  // n - n1 by mixed + bottomOnly: lower halves
};

// All k roots, into d[0 .. k), and the updated vectors, into the first k columns of q (n rows). dlamda: the k poles,
// ascending; z: k weights, destroyed. work: (k + 1) * max(topOnly + mixed, mixed + bottomOnly, 1) + k entries. Returns
// 0 or 10.
[[nodiscard]] int32_t SolveSecularEquation(int32_t k, int32_t n, int32_t n1, double* d, double* q, int32_t ldq,
                                           double rho, const double* dlamda, double* z, const SecularGroups& groups,
                                           double* work);

}  // namespace qz
