#include "sparse/matrix_norms.h"

#include <algorithm>
#include <cmath>

namespace qz {

double Get1NormOfSymMatrix(int32_t n, const int32_t* colBegin, const double* matValue) {
  double largest = 0.0;
  for (int32_t j = 0; j < n; ++j) {
    double sum = 0.0;
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) sum += std::fabs(matValue[p]);
    largest = std::max(largest, sum);
  }
  return largest;
}

double Get1NormOfLowerTriangMatrix(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                                   double* work) {
  std::fill_n(work, n, 0.0);
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) {
      const double magnitude = std::fabs(matValue[p]);
      work[j] += magnitude;
      if (rowIndex[p] != j) work[rowIndex[p]] += magnitude;
    }
  }
  double largest = 0.0;
  for (int32_t j = 0; j < n; ++j) largest = std::max(largest, work[j]);
  return largest;
}

double LA_CalculateInfNormResidual(int32_t n, const int32_t* rowBegin, const int32_t* colIndex, const double* value,
                                   const double* x, const double* b) {
  double residual = 0.0;
  double normMatrix = 0.0;
  double normX = 0.0;
  double normB = 0.0;
  for (int32_t i = 0; i < n; ++i) {
    double product = 0.0;
    double sum = 0.0;
    for (int32_t p = rowBegin[i]; p < rowBegin[i + 1]; ++p) {
      product += value[p] * x[colIndex[p]];
      sum += std::fabs(value[p]);
    }
    residual = std::max(residual, std::fabs(product - b[i]));
    normMatrix = std::max(normMatrix, sum);
    normX = std::max(normX, std::fabs(x[i]));
    normB = std::max(normB, std::fabs(b[i]));
  }
  return normB == 0.0 ? 0.0 : residual / (normB + normMatrix * normX);
}

}  // namespace qz
