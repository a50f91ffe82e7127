#include "engine/normal_system.h"

#include <algorithm>

#include "engine/engine_state.h"
#include "engine/linear_algebra.h"
#include "engine/linear_algebra_cholesky.h"
#include "shell/log.h"
#include "shell/pool.h"
#include "transform/sorts.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// Allocates the array unless it is there.
template <class T>
[[nodiscard]] bool provide(QzPool* pool, T*& array, int64_t count, uint32_t flags = 0) {
  if (array == nullptr) array = poolAllocate<T>(pool, count, flags);
  return array != nullptr;
}

// True when the diagonal of M holds a term of E. It does also where a row of A has no elements: without it the slack
// of such a row could not move.
bool hasInequality(const Ipm* ipm, int32_t i) {
  return ipm->rowSense[i] == 'G';
}

// Calls visit(r) for each row r that shares a column with row i, once for every column that they share.
template <class Visit>
void forEachNeighbour(const Ipm* ipm, int32_t i, const Visit& visit) {
  const int32_t rowEnd = ipm->ipmRowBegin[i] + ipm->ipmRowLength[i];
  for (int32_t p = ipm->ipmRowBegin[i]; p < rowEnd; ++p) {
    const int32_t j = ipm->ipmColIndex[p];
    const int32_t colEnd = ipm->colBegin[j] + ipm->colLength[j];
    for (int32_t k = ipm->colBegin[j]; k < colEnd; ++k) visit(ipm->rowIndex[k]);
  }
}

bool isSorted(const int32_t* index, int32_t count) {
  for (int32_t k = 1; k < count; ++k)
    if (index[k] < index[k - 1]) return false;
  return true;
}

// The computation of M stops early in a column.
int32_t sortColumns(Ipm* ipm) {
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    int32_t* index = ipm->rowIndex + ipm->colBegin[j];
    if (isSorted(index, ipm->colLength[j])) continue;
    logText(ipm->env->log, QZ_LOG_DEBUG, L"column %d is not sorted.", j);
    const int32_t status = QZS_quickSortIntDblInc(nullptr, index, ipm->matValue + ipm->colBegin[j], ipm->colLength[j]);
    if (status != QZ_STATUS_OK) return status;
  }
  return QZ_STATUS_OK;
}

int32_t makePattern(Ipm* ipm) {
  const int32_t status = createNormalMatrix(ipm);
  return status != QZ_STATUS_OK ? status : setupNormalMatrix(ipm);
}

// An earlier analysis has written its choices into the environment.
int32_t analyze(Ipm* ipm) {
  int32_t status = chSetup(ipm->laEnv, ipm->numThread);
  if (status != QZ_STATUS_OK) return status;
  status = chAnalyze(ipm->env, ipm);
  if (status != QZ_STATUS_OK) chCleanUp(ipm->env, ipm->laEnv, &ipm->cholFactor, &ipm->cholMemory);
  return status;
}

void reportDensity(const Ipm* ipm) {
  const double numRow = ipm->numRow;
  logText(ipm->env->log, QZ_LOG_DEBUG, L"Number of nonzeros in lower triangle of A*A' = %d",
          (ipm->numIpmCoef - ipm->numRow) / 2);
  logText(ipm->env->log, QZ_LOG_DEBUG, L"Density ratio of A*A' = %.2f",
          ipm->numRow > 0 ? ipm->numIpmCoef / (numRow * numRow) : 0.0);
}

// Clears the accumulator on rows up to i, as far as column i of M reaches them.
void clearWork(const Ipm* ipm, int32_t i) {
  const int32_t begin = ipm->ipmColBegin[i];
  const int32_t diagonal = ipm->ineqnDiagIndex[i];
  if (diagonal - begin > static_cast<int32_t>(ipm->numRow * ipm->denseRatio)) {
    clearBuffer(ipm->numRow, ipm->normalWork);
  } else {
    for (int32_t p = begin; p <= diagonal; ++p) ipm->normalWork[ipm->ipmRowIndex[p]] = 0.0;
  }
}

// Column i of the lower triangle of A D A', as row i of its transpose: rows up to i.
void accumulateColumn(const Ipm* ipm, int32_t i) {
  double* __restrict work = ipm->normalWork;
  const int32_t* __restrict rowIndex = ipm->rowIndex;
  const double* __restrict matValue = ipm->matValue;
  const int32_t rowEnd = ipm->ipmRowBegin[i] + ipm->ipmRowLength[i];
  for (int32_t p = ipm->ipmRowBegin[i]; p < rowEnd; ++p) {
    const int32_t j = ipm->ipmColIndex[p];
    const double a = ipm->ipmRowValue[p];
    const double d = ipm->normalDiag[j];
    const int32_t colEnd = ipm->colBegin[j] + ipm->colLength[j];
    for (int32_t k = ipm->colBegin[j]; k < colEnd; ++k) {
      const int32_t r = rowIndex[k];
      if (r > i) break;
      work[r] += matValue[k] * d * a;
    }
  }
}

}  // namespace

int32_t copyMatrixByRows(Ipm* ipm) {
  QzPool* pool = ipm->env->pool;
  if (!provide(pool, ipm->ipmRowBegin, int64_t{ipm->numRow} + 1) || !provide(pool, ipm->ipmRowLength, ipm->numRow) ||
      !provide(pool, ipm->ipmColIndex, ipm->numCoef) || !provide(pool, ipm->ipmRowValue, ipm->numCoef))
    return QZ_STATUS_OUT_OF_MEMORY;
  toggleMatrixWithLength(ipm->numCol, ipm->numRow, nullptr, ipm->colBegin, ipm->colLength, ipm->rowIndex, ipm->matValue,
                         ipm->ipmRowBegin, ipm->ipmRowLength, ipm->ipmColIndex, ipm->ipmRowValue);
  return QZ_STATUS_OK;
}

int32_t ipmInitNormal(Ipm* ipm) {
  if (ipm->cholFactor != nullptr && ipm->cholMemory != nullptr) return QZ_STATUS_OK;
  int32_t status = copyMatrixByRows(ipm);
  if (status != QZ_STATUS_OK) return status;
  status = sortColumns(ipm);
  if (status != QZ_STATUS_OK) return status;
  QzPool* pool = ipm->env->pool;
  poolFree(pool, ipm->ipmColBegin);
  poolFree(pool, ipm->ipmRowIndex);
  poolFree(pool, ipm->ipmMatValue);
  status = makePattern(ipm);
  if (status != QZ_STATUS_OK) return status;
  reportDensity(ipm);
  if (ipm->laEnv == nullptr) {
    status = laEnvCreate(ipm->env, nullptr, &ipm->laEnv);
    if (status != QZ_STATUS_OK) return status;
  }
  return analyze(ipm);
}

int32_t restartNormalSystem(Ipm* ipm) {
  int32_t status = copyMatrixByRows(ipm);
  if (status != QZ_STATUS_OK) return status;
  status = makePattern(ipm);
  return status != QZ_STATUS_OK ? status : analyze(ipm);
}

int32_t createNormalMatrix(Ipm* ipm) {
  QzPool* pool = ipm->env->pool;
  if (!provide(pool, ipm->ipmColBegin, int64_t{ipm->numRow} + 1)) return QZ_STATUS_OUT_OF_MEMORY;
  PoolArray<int32_t> marker;
  if (marker.allocate(pool, ipm->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t i = 0; i < ipm->numRow; ++i) marker[i] = -1;
  int64_t count = 0;
  ipm->ipmColBegin[0] = 0;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const auto mark = [&](int32_t r) {
      count += marker[r] != i ? 1 : 0;
      marker[r] = i;
    };
    if (hasInequality(ipm, i)) mark(i);
    forEachNeighbour(ipm, i, mark);
    if (count > INT32_MAX) return QZ_STATUS_OUT_OF_MEMORY;
    ipm->ipmColBegin[i + 1] = static_cast<int32_t>(count);
  }
  ipm->numIpmCoef = static_cast<int32_t>(count);
  const bool provided = provide(pool, ipm->ipmRowIndex, count) && provide(pool, ipm->ipmMatValue, count, QZ_POOL_ZERO);
  return provided ? QZ_STATUS_OK : QZ_STATUS_OUT_OF_MEMORY;
}

int32_t setupNormalMatrix(Ipm* ipm) {
  PoolArray<int32_t> flag;
  if (flag.allocateZero(ipm->env->pool, ipm->numRow) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  int32_t position = 0;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (hasInequality(ipm, i)) flag[i] = 1;
    forEachNeighbour(ipm, i, [&](int32_t r) { flag[r] = 1; });
    ipm->ineqnDiagIndex[i] = -1;
    for (int32_t r = 0; r < ipm->numRow; ++r) {
      if (flag[r] == 0) continue;
      flag[r] = 0;
      if (r == i) ipm->ineqnDiagIndex[i] = position;
      ipm->ipmRowIndex[position++] = r;
    }
    if (position != ipm->ipmColBegin[i + 1]) {
      logText(ipm->env->log, QZ_LOG_DEBUG,
              L"Error setupAugmentMatrix: nonzero pattern doesn't match, pos=%d  ipmColBegin=%d ", position,
              ipm->ipmColBegin[i + 1]);
      return QZ_STATUS_FAILED;
    }
  }
  return QZ_STATUS_OK;
}

void computeNormalMatrix(Ipm* ipm) {
  // The first element below the diagonal is mirrored to the place behind it.
  for (int32_t i = 0; i < ipm->numRow; ++i) ipm->normalPos[i] = ipm->ineqnDiagIndex[i] + 1;
  std::fill_n(ipm->normalScale, ipm->numRow, 1.0);
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const int32_t diagonal = ipm->ineqnDiagIndex[i];
    if (diagonal < 0) continue;
    clearWork(ipm, i);
    accumulateColumn(ipm, i);
    for (int32_t p = ipm->ipmColBegin[i]; p < diagonal; ++p) {
      const int32_t r = ipm->ipmRowIndex[p];
      ipm->ipmMatValue[p] = ipm->normalWork[r];
      ipm->ipmMatValue[ipm->normalPos[r]++] = ipm->normalWork[r];
    }
    ipm->ipmMatValue[diagonal] = ipm->normalWork[i];
  }
}

void updateNormalDiag(Ipm* ipm) {
  forEachIneqnRow(ipm,
                  [&](int32_t i) { ipm->ipmMatValue[ipm->ineqnDiagIndex[i]] += ipm->ineqnSlack[i] / ipm->dual[i]; });
}

int32_t computeNormalDiag(Ipm* ipm) {
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const uint8_t bounds = ipm->statusBound[j];
    const bool upper = hasUpper(bounds);
    const bool lower = hasLower(bounds);
    if (upper && lower) {
      ipm->normalDiag[j] = 1.0 / (ipm->upperDual[j] / ipm->upperSlack[j] + ipm->lowerDual[j] / ipm->lowerSlack[j]);
    } else if (upper) {
      ipm->normalDiag[j] = ipm->upperSlack[j] / ipm->upperDual[j];
    } else if (lower) {
      ipm->normalDiag[j] = ipm->lowerSlack[j] / ipm->lowerDual[j];
    } else {
      logText(ipm->env->log, QZ_LOG_DEBUG, L"Find free variable %d in normal equation method.", j);
      return QZ_STATUS_FAILED;
    }
  }
  return QZ_STATUS_OK;
}

int32_t applyNormalInverse(Ipm* ipm, double* row) {
  for (int32_t i = 0; i < ipm->numRow; ++i) row[i] *= ipm->normalScale[i];
  const int32_t status = chSolve(ipm->env, ipm, row);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t i = 0; i < ipm->numRow; ++i) row[i] *= ipm->normalScale[i];
  return QZ_STATUS_OK;
}

int32_t solveNormalEquation(Ipm* ipm, double* v) {
  double* __restrict row = v + ipm->numCol;
  for (int32_t k = 0; k < ipm->numDim; ++k) v[k] = -v[k];
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const double scaled = ipm->normalDiag[j] * v[j];
    const int32_t end = ipm->colBegin[j] + ipm->colLength[j];
    for (int32_t k = ipm->colBegin[j]; k < end; ++k) row[ipm->rowIndex[k]] += scaled * ipm->matValue[k];
  }
  const int32_t status = applyNormalInverse(ipm, row);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    double product = 0.0;
    const int32_t end = ipm->colBegin[j] + ipm->colLength[j];
    for (int32_t k = ipm->colBegin[j]; k < end; ++k) product += ipm->matValue[k] * row[ipm->rowIndex[k]];
    v[j] = (product - v[j]) * ipm->normalDiag[j];
  }
  return QZ_STATUS_OK;
}

}  // namespace qz
