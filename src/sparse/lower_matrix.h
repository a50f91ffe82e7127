// The matrix that a factorisation takes in.
#pragma once

#include <cstdint>

namespace qz {

// The lower triangle of the matrix in the factor's order, by columns; rows of a column stand in any order.
struct LowerMatrix {
  const int32_t* colBegin;  // numRows + 1
  const int32_t* rowIndex;
  const double* matValue;
};

}  // namespace qz
