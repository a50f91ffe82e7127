#include "engine/augmented_system.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/verify_linear_system.h"
#include "diagnostics/verify_matrix.h"
#include "engine/engine_state.h"
#include "engine/linear_algebra.h"
#include "shell/pool.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

constexpr double kRegularisation = 1e-10;

// A matrix by rows (or any transpose) in temporary arrays.
struct Transpose {
  PoolArray<int32_t> begin;
  PoolArray<int32_t> length;
  PoolArray<int32_t> index;
  PoolArray<double> value;

  [[nodiscard]] int32_t make(QzPool* pool, int32_t numMajor, int32_t numMinor, int32_t numElement,
                             const int32_t* fromBegin, const int32_t* fromLength, const int32_t* fromIndex,
                             const double* fromValue) {
    if (begin.allocateZero(pool, int64_t{numMinor} + 1) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    if (length.allocateZero(pool, numMinor) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    if (index.allocate(pool, numElement) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    if (value.allocate(pool, numElement) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    if (numElement > 0)
      toggleMatrixWithLength(numMajor, numMinor, nullptr, fromBegin, fromLength, fromIndex, fromValue, begin.get(),
                             length.get(), index.get(), value.get());
    return QZ_STATUS_OK;
  }
};

// Writes elements one behind the other.
struct Writer {
  int32_t* index;
  double* value;
  int32_t position = 0;

  int32_t put(int32_t row, double element) {
    index[position] = row;
    value[position] = element;
    return position++;
  }
};

// The mirror half of the linear form, and where its diagonals end up.
void completeRows(int32_t numCol, int32_t numRow, int32_t* ipmColBegin, int32_t* ipmRowIndex, double* ipmMatValue,
                  int32_t* ineqnDiagIndex) {
  augmentMatrix(numCol + numRow, numCol, ipmColBegin, ipmRowIndex, ipmMatValue);
  for (int32_t i = 0; i < numRow; ++i) ineqnDiagIndex[i] = ipmColBegin[numCol + i + 1] - 1;
}

// Builds the pattern that `mode` asks for.
int32_t buildMatrix(Ipm* ipm, int32_t mode) {
  int32_t status = QZ_STATUS_OK;
  if (ipm->typeModel == IPM_MODEL_QP && ipm->numQuadCoef > 0 && mode == 1) {
    status = createAugmentMatrixQP(ipm->env, ipm->numRow, ipm->numCol, ipm->numCoef, ipm->numQuadCoef, ipm->colBegin,
                                   ipm->colLength, ipm->rowIndex, ipm->matValue, ipm->quadColBegin, ipm->quadColLength,
                                   ipm->quadRowIndex, ipm->quadMatValue, ipm->ipmColBegin, ipm->ipmRowIndex,
                                   ipm->ipmMatValue, ipm->varBndDiagIndex, ipm->ineqnDiagIndex);
  } else {
    createAugmentMatrix(ipm->numRow, ipm->numCol, ipm->colBegin, ipm->colLength, ipm->rowIndex, ipm->matValue,
                        ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue, ipm->varBndDiagIndex,
                        ipm->ineqnDiagIndex);
  }
  if (status == QZ_STATUS_OK) ipm->numIpmCoef = ipm->ipmColBegin[ipm->numDim];
  return status;
}

int32_t verifyBuilt(const Ipm* ipm, int32_t mode) {
  const int32_t level = ipm->debugLevel;
  const bool quadratic = ipm->typeModel == IPM_MODEL_QP && ipm->numQuadCoef > 0 && mode == 1;
  int32_t status = VerifyAugmentedMatrix(ipm, level, quadratic);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyIneqnEnv(ipm, level);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyBoundEnv(ipm, level);
  if (status != QZ_STATUS_OK) return status;
  status = VerifySymMatrix(ipm->env, level,
                           {ipm->numDim, ipm->numDim, ipm->ipmColBegin, nullptr, ipm->ipmRowIndex, ipm->ipmMatValue});
  if (status != QZ_STATUS_OK) return status;
  if (quadratic) status = VerifyQuadToSym(ipm, level);
  return status != QZ_STATUS_OK ? status : VerifyAugValue(ipm, level, quadratic);
}

// Writes Q + Theta. Returns the smallest non-zero magnitude written, 1e20 for none.
double writeColumnDiagonals(Ipm* ipm) {
  const bool quadratic = ipm->typeModel == IPM_MODEL_QP;
  double smallest = kInfinity;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const uint8_t bounds = ipm->statusBound[j];
    double diagonal = quadratic ? ipm->quadDiag[j] : 0.0;
    if (hasUpper(bounds)) diagonal += ipm->upperDual[j] / ipm->upperSlack[j];
    if (hasLower(bounds)) diagonal += ipm->lowerDual[j] / ipm->lowerSlack[j];
    ipm->ipmMatValue[ipm->varBndDiagIndex[j]] = diagonal;
    if (diagonal != 0.0) smallest = std::min(smallest, std::fabs(diagonal));
  }
  return smallest;
}

// Writes -s / y on G rows; E rows keep what they hold.
double writeRowDiagonals(Ipm* ipm) {
  double smallest = kInfinity;
  forEachIneqnRow(ipm, [&](int32_t i) {
    const double diagonal = -ipm->ineqnSlack[i] / ipm->dual[i];
    ipm->ipmMatValue[ipm->ineqnDiagIndex[i]] = diagonal;
    if (diagonal != 0.0) smallest = std::min(smallest, std::fabs(diagonal));
  });
  return smallest;
}

}  // namespace

void createAugmentMatrix(int32_t numRow, int32_t numCol, const int32_t* colBegin, const int32_t* colLength,
                         const int32_t* rowIndex, const double* matValue, int32_t* ipmColBegin, int32_t* ipmRowIndex,
                         double* ipmMatValue, int32_t* varBndDiagIndex, int32_t* ineqnDiagIndex) {
  Writer out{ipmRowIndex, ipmMatValue};
  for (int32_t j = 0; j < numCol; ++j) {
    ipmColBegin[j] = out.position;
    varBndDiagIndex[j] = out.put(j, 0.0);
    const int32_t end = colBegin[j] + colLength[j];
    for (int32_t k = colBegin[j]; k < end; ++k) out.put(numCol + rowIndex[k], -matValue[k]);
  }
  ipmColBegin[numCol] = out.position;
  completeRows(numCol, numRow, ipmColBegin, ipmRowIndex, ipmMatValue, ineqnDiagIndex);
}

int32_t createAugmentMatrixQP(Env* env, int32_t numRow, int32_t numCol, int32_t numCoef, int32_t numQuadCoef,
                              const int32_t* colBegin, const int32_t* colLength, const int32_t* rowIndex,
                              const double* matValue, const int32_t* quadColBegin, const int32_t* quadColLength,
                              const int32_t* quadRowIndex, const double* quadMatValue, int32_t* ipmColBegin,
                              int32_t* ipmRowIndex, double* ipmMatValue, int32_t* varBndDiagIndex,
                              int32_t* ineqnDiagIndex) {
  Transpose byRow;
  int32_t status = byRow.make(env->pool, numCol, numRow, numCoef, colBegin, colLength, rowIndex, matValue);
  if (status != QZ_STATUS_OK) return status;
  Transpose upper;  // the strict upper triangle of Q
  status = upper.make(env->pool, numCol, numCol, numQuadCoef, quadColBegin, quadColLength, quadRowIndex, quadMatValue);
  if (status != QZ_STATUS_OK) return status;

  Writer out{ipmRowIndex, ipmMatValue};
  for (int32_t j = 0; j < numCol; ++j) {
    ipmColBegin[j] = out.position;
    for (int32_t k = upper.begin[j]; k < upper.begin[j] + upper.length[j]; ++k) out.put(upper.index[k], upper.value[k]);
    varBndDiagIndex[j] = out.put(j, 0.0);
    if (numQuadCoef > 0)
      for (int32_t k = quadColBegin[j]; k < quadColBegin[j] + quadColLength[j]; ++k)
        out.put(quadRowIndex[k], quadMatValue[k]);
    for (int32_t k = colBegin[j]; k < colBegin[j] + colLength[j]; ++k) out.put(numCol + rowIndex[k], -matValue[k]);
  }
  for (int32_t i = 0; i < numRow; ++i) {
    ipmColBegin[numCol + i] = out.position;
    for (int32_t k = byRow.begin[i]; k < byRow.begin[i] + byRow.length[i]; ++k)
      out.put(byRow.index[k], -byRow.value[k]);
    ineqnDiagIndex[i] = out.put(numCol + i, 0.0);
  }
  ipmColBegin[numCol + numRow] = out.position;
  return QZ_STATUS_OK;
}

void createAugmentMatrixPartial(const Ipm* ipm, int32_t* ipmColBegin, int32_t* ipmRowIndex, double* ipmMatValue,
                                int32_t* varBndDiagIndex, int32_t* ineqnDiagIndex, const int32_t* colMap,
                                int32_t numColKept, const int32_t* rowMap, int32_t numRowKept) {
  Writer out{ipmRowIndex, ipmMatValue};
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const int32_t place = colMap != nullptr ? colMap[j] : j;
    if (place < 0) continue;
    ipmColBegin[place] = out.position;
    varBndDiagIndex[place] = out.put(place, 0.0);
    const int32_t end = ipm->colBegin[j] + ipm->colLength[j];
    for (int32_t k = ipm->colBegin[j]; k < end; ++k) {
      const int32_t row = rowMap != nullptr ? rowMap[ipm->rowIndex[k]] : ipm->rowIndex[k];
      if (row >= 0) out.put(numColKept + row, -ipm->matValue[k]);
    }
  }
  ipmColBegin[numColKept] = out.position;
  completeRows(numColKept, numRowKept, ipmColBegin, ipmRowIndex, ipmMatValue, ineqnDiagIndex);
}

int32_t ipmInitAugmat(Ipm* ipm, int32_t mode) {
  if (ipm->ldlFactor != nullptr && ipm->ldlMemory != nullptr) return QZ_STATUS_OK;
  int32_t status = buildMatrix(ipm, mode);
  if (status != QZ_STATUS_OK) return status;
  status = verifyBuilt(ipm, mode);
  if (status != QZ_STATUS_OK) return status;
  // An earlier analysis has written its choices into the environment.
  status = ldlSetup(ipm->laEnv, ipm->numCol, ipm->numThread);
  if (status != QZ_STATUS_OK) return status;
  status = ldlAnalyze(ipm->env, ipm->numDim, ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue, ipm->laEnv,
                      &ipm->ldlFactor, &ipm->ldlMemory, ipm->timer, &ipm->timeLdlAnalyze);
  if (status != QZ_STATUS_OK) ldlCleanUp(ipm->env, ipm->laEnv, &ipm->ldlFactor, &ipm->ldlMemory);
  return status;
}

void computeAugmentDiag(Ipm* ipm) {
  const double smallestColumn = writeColumnDiagonals(ipm);
  const double smallestRow = writeRowDiagonals(ipm);
  const double t = std::min(kRegularisation, std::min(smallestColumn, smallestRow));
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    double& diagonal = ipm->ipmMatValue[ipm->varBndDiagIndex[j]];
    if (-t < diagonal && diagonal < t) diagonal = t;
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    double& diagonal = ipm->ipmMatValue[ipm->ineqnDiagIndex[i]];
    if (diagonal < t) diagonal = std::min(-t, diagonal);
  }
}

}  // namespace qz
