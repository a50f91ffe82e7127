#include "eigen/sparse_product.h"

#include <algorithm>
#include <cstdint>

namespace qz {

namespace {

double dotColumn(int32_t from, int32_t to, const int32_t* __restrict rowIndex, const double* __restrict value,
                 const double* __restrict x) {
  double sum = 0.0;
  for (int32_t p = from; p < to; ++p) sum += value[p] * x[rowIndex[p]];
  return sum;
}

}  // namespace

void LA_SparseSymMatVecMult(int32_t n, const int32_t* colStart, const int32_t* rowIndex, const double* value,
                            const double* x, double* y) {
  int32_t j = 0;
  for (; j + 1 < n; j += 2) {
    const int32_t start = colStart[j];
    const int32_t next = colStart[j + 1];
    const int32_t shorter = std::min(next - start, colStart[j + 2] - next);
    double first = 0.0;
    double second = 0.0;
    for (int32_t p = 0; p < shorter; ++p) {
      first += value[start + p] * x[rowIndex[start + p]];
      second += value[next + p] * x[rowIndex[next + p]];
    }
    y[j] = first + dotColumn(start + shorter, next, rowIndex, value, x);
    y[j + 1] = second + dotColumn(next + shorter, colStart[j + 2], rowIndex, value, x);
  }
  if (j < n) y[j] = dotColumn(colStart[j], colStart[j + 1], rowIndex, value, x);
}

}  // namespace qz
