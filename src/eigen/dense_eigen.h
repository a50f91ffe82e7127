// All eigenvalues, and on request all eigenvectors, of a dense symmetric matrix: reduction to tridiagonal form by
// Householder reflectors, a tridiagonal solver, back-transformation. Golub and Van Loan (2013), Matrix Computations, 8.
#pragma once

#include <cstdint>

namespace qz {

inline constexpr int32_t kEigenOK = 0;
inline constexpr int32_t kEigenFailed = 10;  // an inner iteration did not converge, or an entry is not finite

// Doubles of `work` for LA_DenseSymEigenSolver; job "V" with vectors, "N" without.
[[nodiscard]] int64_t denseSymEigenWorkEntries(const char* job, int32_t n);

// The lower triangle of `a` (n by n, column order, leading dimension lda) holds the matrix; the upper is not read.
// eigenvalues: n, ascending. With job "V" the columns of a become the orthonormal eigenvectors in the same order; with
// "N" the contents of a are lost. Returns kEigenOK or kEigenFailed, with undefined outputs.
[[nodiscard]] int32_t LA_DenseSymEigenSolver(const char* job, int32_t n, double* a, int32_t lda, double* eigenvalues,
                                             double* work);

// How good a decomposition of the symmetric matrix in the lower triangle of a is, in units of n times the machine
// precision 2^-53: *residual for ||A V - V D|| over ||A||, *orthogonality for ||V'V - I||, 1-norms. A zero matrix
// counts as one of norm 1. work: n * n entries.
void LA_ComputeEigenDecompAccuracy(int32_t n, const double* a, int32_t lda, const double* values, const double* vectors,
                                   int32_t ldVectors, double* residual, double* orthogonality, double* work);

}  // namespace qz
