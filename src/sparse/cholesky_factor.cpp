#include "sparse/cholesky_factor.h"

#include <cmath>

#include "sparse/cholesky_factor_serial.h"
#include "sparse/matrix_norms.h"
#include "sparse/parallel_factor.h"
#include "sparse/pattern.h"

namespace qz {

namespace {

constexpr int32_t kKindNormal = 0;
constexpr double kRelativeTolerance = 1.053671212772351e-8;
constexpr double kLargeNorm = 9741.98468610229;       // 1 / sqrt(kRelativeTolerance)
constexpr double kVeryLargeNorm = 94906265.62425153;  // 1 / kRelativeTolerance

// The engine that the analysis settled on.
int32_t runEngine(QzPool* memory, const LowerMatrix& matrix, SymbolicFactor* symbolic, NumericFactor* numeric) {
  if (symbolic->blocked == 0) return NumericCholSerial(matrix, symbolic, numeric);
  if (symbolic->staticPipeline != 0) return NumericCholDParallel(memory, matrix, symbolic, numeric);
  return NumericCholParallel(memory, matrix, symbolic, numeric);
}

}  // namespace

double choleskyPivotTolerance(double norm) {
  if (norm <= kLargeNorm) return kRelativeTolerance * norm;
  if (norm <= kVeryLargeNorm) return kRelativeTolerance * std::sqrt(norm);
  return kRelativeTolerance * std::sqrt(std::sqrt(norm));
}

int32_t LA_FactorMatrixCholesky(int32_t alreadyPermuted, int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                const double* matValue, LAEnv* env, SymbolicFactor* symbolic, NumericFactor* numeric) {
  if (env == nullptr || symbolic == nullptr || numeric == nullptr || colBegin == nullptr) return LA_BAD_PARAMETER;
  if (n != symbolic->numRows) return LA_INCONSISTENT;
  LowerMatrix matrix{colBegin, rowIndex, matValue};
  if (alreadyPermuted == 0) {
    const int32_t status =
        PermuteSymMatrixLower(n, colBegin, rowIndex, matValue, numeric, symbolic->perm, symbolic->invPerm);
    if (status != LA_OK) return status;
    matrix = {numeric->colBegin, numeric->rowIndex, numeric->matValue};
  } else if (colBegin[n] - colBegin[0] != numeric->numEntries) {
    return LA_INCONSISTENT;
  }
  if (env->problemKind == kKindNormal) {
    const double norm = alreadyPermuted == 0
                            ? Get1NormOfSymMatrix(n, colBegin, matValue)
                            : Get1NormOfLowerTriangMatrix(n, colBegin, rowIndex, matValue, numeric->work);
    symbolic->pivotTolerance = choleskyPivotTolerance(norm);
  }
  symbolic->factorState = 1;
  const int32_t status = runEngine(env->memory, matrix, symbolic, numeric);
  symbolic->factorState = -1;
  return status;
}

}  // namespace qz
