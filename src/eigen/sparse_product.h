// The product with a sparse symmetric matrix, both triangles stored by columns.
#pragma once

#include <cstdint>

namespace qz {

// y = A x. What an eigen-solver calls; a caller may put its own in place.
using SymMatVec = void (*)(int32_t n, const int32_t* colStart, const int32_t* rowIndex, const double* value,
                           const double* x, double* y);

// y_j = (column j)' x, two columns at a time.
void LA_SparseSymMatVecMult(int32_t n, const int32_t* colStart, const int32_t* rowIndex, const double* value,
                            const double* x, double* y);

}  // namespace qz
