#include "sparse/ldl_factor.h"

#include "sparse/inertia.h"
#include "sparse/ldl_factor_serial.h"
#include "sparse/parallel_factor.h"
#include "sparse/pattern.h"

namespace qz {

namespace {

// The lower triangle of a matrix that stands in the factor's order already.
int32_t copyLowerTriangle(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                          NumericFactor* numeric) {
  int32_t count = 0;
  for (int32_t j = 0; j < n; ++j) {
    numeric->colBegin[j] = count;
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) {
      const int32_t row = rowIndex[p];
      if (row < j) continue;
      if (row >= n || count == numeric->numEntries) return LA_INCONSISTENT;
      numeric->rowIndex[count] = row;
      numeric->matValue[count] = matValue[p];
      ++count;
    }
  }
  numeric->colBegin[n] = count;
  return count == numeric->numEntries ? LA_OK : LA_INCONSISTENT;
}

// The engine that the analysis settled on.
int32_t runEngine(QzPool* memory, SymbolicFactor* symbolic, NumericFactor* numeric) {
  if (symbolic->blocked == 0) return NumericLDLSerial(symbolic, numeric);
  const LowerMatrix matrix{numeric->colBegin, numeric->rowIndex, numeric->matValue};
  if (symbolic->staticPipeline != 0) return NumericLDLDParallel(memory, matrix, symbolic, numeric);
  return NumericLDLParallel(memory, matrix, symbolic, numeric);
}

}  // namespace

int32_t LA_FactorMatrixLDL(int32_t alreadyPermuted, int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                           const double* matValue, LAEnv* env, SymbolicFactor* symbolic, NumericFactor* numeric) {
  if (env == nullptr || symbolic == nullptr || numeric == nullptr || colBegin == nullptr) return LA_BAD_PARAMETER;
  if (n != symbolic->numRows) return LA_INCONSISTENT;
  int32_t status = alreadyPermuted != 0 ? copyLowerTriangle(n, colBegin, rowIndex, matValue, numeric)
                                        : PermuteSymMatrixLower(n, colBegin, rowIndex, matValue, numeric,
                                                                symbolic->perm, symbolic->invPerm);
  if (status != LA_OK) return status;
  symbolic->pivotTolerance = kLDLPivotTolerance;
  symbolic->numPerturbed = 0;
  symbolic->factorState = 1;
  status = runEngine(env->memory, symbolic, numeric);
  symbolic->factorState = -1;
  if (status != LA_OK || env->computeInertia == 0) return status;
  if (symbolic->blocked != 0) {
    GetLStatsLDLBlocked(symbolic, env);
  } else {
    GetLStatsLDL(symbolic, env);
  }
  return LA_OK;
}

}  // namespace qz
