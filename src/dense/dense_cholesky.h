// Dense Cholesky factorisations of a symmetric matrix in one array, column-major with leading dimension lda, in place.
//
// The plain forms serve the supernodes of the sparse Cholesky factorisation. They never fail: a pivot whose magnitude
// is not above the tolerance (a pivot that is no number among them) becomes kReplacedPivot and the rest of its column
// is cleared, which takes its variable out of every solve; a negative pivot above it passes as its magnitude.
//
// The modified forms factor A + E, E >= 0 diagonal and zero or small when A is safely positive definite, and hand out
// the diagonal of E. They belong to the library's interface; the solver itself calls the plain forms only.
//
// All forms halve the matrix until fewer than kCholeskyBlock columns are left, so that the work above that is BLAS 3.
// Only the named triangle is read or written unless a function says otherwise.
#pragma once

#include <cstdint>

namespace qz {

inline constexpr int32_t kCholeskyBlock = 97;                       // smallest order that is halved
inline constexpr double kReplacedPivot = 1.1579208923731618e+77;    // 0x4fefffffffffffff, nearly 2^256
inline constexpr double kThirdRootEpsilon = 4.806217383937356e-06;  // the machine precision to the power 1/3

// A = L L', lower triangle; L overwrites it.
void LA_DenseCholeskyFactorize(int32_t n, double* a, int32_t lda, double pivotTolerance);
// The unblocked left-looking step of the same. Returns the number of columns done, n.
int32_t LA_DenseCholeskyNonBlock(int32_t n, double* a, int32_t lda, double pivotTolerance);
// A = U'U, upper triangle: the same factorisation of a lower triangle that is stored row by row.
void LA_DenseCholeskyUFactorize(int32_t n, double* a, int32_t lda, double pivotTolerance);

// x := (L L')^-1 x.
void LA_DenseCholeskySolve(int32_t n, const double* l, int32_t lda, double* x);

// The inverse of a positive definite matrix given by its lower triangle; both triangles of `a` receive it. The variable
// of a pivot that is exactly 0 gets a row and column of nothing but practically zero.
void LA_FindInverseChol(int32_t n, double* a, int32_t lda);

// A + E = L L' with pivots max(1e-10, |a_jj|, theta_j^2 / betaSquared), theta_j the largest magnitude below the
// diagonal, so that no entry of L exceeds sqrt(betaSquared) (Gill, Murray and Wright, "Practical Optimization", 1981).
// e receives the n perturbations; betaSquared > 0.
void LA_DenseCholeskyGMW81Factorize(int32_t n, double* a, int32_t lda, double* e, double betaSquared);

// A + E = L L' in two phases (Schnabel and Eskow, "A revised modified Cholesky factorization algorithm", SIAM J. Optim.
// 9, 1999): plain elimination as long as it leaves the diagonal safely positive, then each pivot raised above the
// radius of its Gershgorin disc, and the last two by their eigenvalues. tau is the largest diagonal magnitude of the
// whole matrix. *phase is 1 for a fresh matrix and 2 once the second phase was entered; *maxPerturbation the largest
// perturbation so far, 0 for a fresh matrix. e receives the n perturbations.
void LA_DenseCholeskySE99Factorize(int32_t n, double* a, int32_t lda, int32_t* phase, double* maxPerturbation,
                                   double* e, double tau);
// The unblocked step of the same.
void DenseModSE99CholeskyNonBlock(int32_t n, double* a, int32_t lda, int32_t* phase, double* maxPerturbation, double* e,
                                  double tau);

}  // namespace qz
