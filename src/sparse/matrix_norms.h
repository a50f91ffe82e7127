// Norms of sparse matrices for the direct solvers. A sum that is no number is passed over.
#pragma once

#include <cstdint>

namespace qz {

// 1-norm, the largest column sum of absolute values, of a matrix with n columns; a symmetric one with both triangles.
[[nodiscard]] double Get1NormOfSymMatrix(int32_t n, const int32_t* colBegin, const double* matValue);

// The same of a symmetric matrix of which only the lower triangle is stored: an off-diagonal entry counts in its column
// and in its row. `work` receives the n sums.
[[nodiscard]] double Get1NormOfLowerTriangMatrix(int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                                 const double* matValue, double* work);

// max |A x - b| / (max |b| + |A| max |x|) of an n-by-n matrix by rows, |A| its largest row sum of absolute values; 0
// when b is 0.
[[nodiscard]] double LA_CalculateInfNormResidual(int32_t n, const int32_t* rowBegin, const int32_t* colIndex,
                                                 const double* value, const double* x, const double* b);

}  // namespace qz
