#include "engine/engine_state.h"

#include <algorithm>
#include <cmath>

#include "engine/linear_algebra.h"
#include "engine/normal_refinement.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kZeroBound = 1e-10;  // a lower bound of smaller magnitude counts as zero

// Allocates the array unless it is there.
template <class T>
[[nodiscard]] bool provide(QzPool* pool, T*& array, int64_t count) {
  if (array == nullptr) array = poolAllocate<T>(pool, count);
  return array != nullptr;
}

template <class T>
[[nodiscard]] bool provideZero(QzPool* pool, T*& array, int64_t count) {
  if (array == nullptr) array = poolAllocateZero<T>(pool, count);
  return array != nullptr;
}

// The system matrix and where its diagonals stand. Positions start at 0, a valid place in every matrix.
[[nodiscard]] bool provideSystem(Ipm* ipm, QzPool* pool) {
  return provide(pool, ipm->ipmColBegin, int64_t{ipm->systemDim} + 1) &&
         provide(pool, ipm->ipmRowIndex, ipm->systemCapacity) &&
         provideZero(pool, ipm->ipmMatValue, ipm->systemCapacity) &&
         provideZero(pool, ipm->ineqnDiagIndex, ipm->numRow) && provideZero(pool, ipm->varBndDiagIndex, ipm->numCol);
}

[[nodiscard]] bool provideVectors(Ipm* ipm, QzPool* pool) {
  const int64_t numRow = ipm->numRow;
  const int64_t numCol = ipm->numCol;
  const int64_t numDim = ipm->numDim;
  const int64_t numWork = std::max(numRow, numCol);
  return provideZero(pool, ipm->rhsPredictor, numDim) && provideZero(pool, ipm->rhsCorrector, numDim) &&
         provideZero(pool, ipm->rhsWork, numDim) && provide(pool, ipm->ineqnIndex, numRow) &&
         provideZero(pool, ipm->ineqnSlackDelta, numRow) && provide(pool, ipm->statusBound, numCol) &&
         provideZero(pool, ipm->lowerSlackDelta, numCol) && provideZero(pool, ipm->upperSlackDelta, numCol) &&
         provideZero(pool, ipm->lowerDualDelta, numCol) && provideZero(pool, ipm->upperDualDelta, numCol) &&
         provideZero(pool, ipm->workReal1, numWork) && provideZero(pool, ipm->workReal2, numWork) &&
         provideZero(pool, ipm->workInt, numWork);
}

[[nodiscard]] bool provideNormal(Ipm* ipm, QzPool* pool) {
  return provide(pool, ipm->normalDiag, ipm->numCol) && provide(pool, ipm->normalWork, ipm->numRow) &&
         provide(pool, ipm->normalPos, ipm->numRow) && provide(pool, ipm->normalScale, ipm->numRow) &&
         provide(pool, ipm->refineWork, refinementWorkEntries(ipm->numRow, ipm->numCol)) &&
         provide(pool, ipm->refineRhs, ipm->numDim);
}

void analyzeRows(Ipm* ipm) {
  double squares = 0.0;
  int32_t numIneqn = 0;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (ipm->rowSense[i] == 'G') ipm->ineqnIndex[numIneqn++] = i;
    squares += ipm->rhs[i] * ipm->rhs[i];
  }
  ipm->numIneqn = numIneqn;
  ipm->normRhs = std::sqrt(squares);
}

void analyzeBounds(Ipm* ipm) {
  double lowerSquares = 0.0;
  double upperSquares = 0.0;
  ipm->numLower = ipm->numUpper = ipm->numFreeVar = 0;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const double lower = ipm->lower[j];
    const double upper = ipm->upper[j];
    uint8_t status = 0;
    if (upper < ipm->infinityValue) {
      status |= BOUND_UPPER;
      ++ipm->numUpper;
      upperSquares += upper * upper;
    }
    if (lower > -ipm->infinityValue) {
      status |= std::fabs(lower) < kZeroBound ? BOUND_LOWER_ZERO : BOUND_LOWER;
      ++ipm->numLower;
      lowerSquares += lower * lower;
    }
    if (status == 0) {
      status = BOUND_FREE;
      ++ipm->numFreeVar;
    }
    ipm->statusBound[j] = status;
  }
  ipm->normLower = std::sqrt(lowerSquares);
  ipm->normUpper = std::sqrt(upperSquares);
}

void analyzeColumns(Ipm* ipm) {
  double objSquares = 0.0;
  double matSquares = 0.0;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    objSquares += ipm->obj[j] * ipm->obj[j];
    const double* value = ipm->matValue + ipm->colBegin[j];
    for (int32_t k = 0; k < ipm->colLength[j]; ++k) matSquares += value[k] * value[k];
  }
  ipm->normObj = std::sqrt(objSquares);
  ipm->normMatrix = std::sqrt(matSquares);
}

// Shift of a start that is to lie far inside. Of 1, 10 and 100 all carry the models through that made it necessary
// (LISWET11 of the collection of Maros and Meszaros 1999), 10 in the fewest iterations over that collection.
constexpr double kWideStart = 10.0;

}  // namespace

void ipmCopyDimensions(Ipm* ipm, const Model* model) {
  ipm->numRow = model->numRow;
  ipm->numCol = model->numCol;
  ipm->numCoef = model->numCoef;
  ipm->numQuadCoef = model->numQuadCoef;
  ipm->numDim = model->numRow + model->numCol;
}

Ipm* NewIpm(Env* env, Model* model, IPM_timer* timer) {
  if (model == nullptr) return nullptr;
  Ipm* ipm = poolAllocateZero<Ipm>(env->pool, 1);
  if (ipm == nullptr) return nullptr;
  ipmCopyDimensions(ipm, model);
  ipm->typeModel = model->typeModel;
  ipm->env = env;
  ipm->timer = timer;
  ipm->checkSolverBreak = model->checkSolverBreak;
  ipm->callerDataStruct = model->callerDataStruct;
  return ipm;
}

void ipmGetOption(Ipm* ipm, IpmOption* option) {
  ipm->typeMethod = option->typeMethod;
  ipm->maxIter = option->maxIter;
  ipm->tolPrimal = option->tolPrimal;
  ipm->tolDual = option->tolDual;
  ipm->tolOptimality = option->tolOptimality;
  ipm->logFrequency = option->logFrequency;
  ipm->printLevel = option->printLevel;
  ipm->debugLevel = option->debugLevel;
  ipm->crossover = option->crossover;
  ipm->initOption = option->initOption;
  ipm->infinityValue = option->infinityValue;
  ipm->numThread = option->numThread;
  ipm->unscaleCheck = option->unscaleCheck;
  ipm->option = option;
}

void ipmSetParam(Ipm* ipm, IpmOption* /*option*/, Hub* hub) {
  ipm->denseRatio = 0.5;
  ipm->muLimit = 1e-20;
  ipm->positiveLimit = 1e-50;
  ipm->startFloor = hub != nullptr && hub->wideStart != 0 ? kWideStart : 0.0;
  ipm->stepFactor = 0.99;
  ipm->alphaPrimal = 0.0;
  ipm->alphaDual = 0.0;
  ipm->mu = ipm->infinityValue;
  ipm->muAffine = ipm->infinityValue;
  ipm->sigma = ipm->infinityValue;
  ipm->tolComplement = ipm->tolOptimality;
  ipm->countGoodStep = 0;
  ipm->countBadStep = 0;
  ipm->countStall = 0;
  if (hub != nullptr) hub->smallRestored = hub->numSmallObj < 1 && hub->numSmallRhs < 1 ? 1 : 0;
}

int32_t CreateIpm(Ipm* ipm) {
  QzPool* pool = ipm->env->pool;
  const int64_t numDim = int64_t{ipm->numRow} + ipm->numCol;
  const int64_t capacity = numDim + 2 * (int64_t{ipm->numCoef} + ipm->numQuadCoef);
  // Positions in the system matrix are 32-bit.
  if (capacity >= INT32_MAX) return QZ_STATUS_OUT_OF_MEMORY;
  ipm->numDim = static_cast<int32_t>(numDim);
  ipm->numIpmCoef = static_cast<int32_t>(capacity);
  // Made again for a reduced model, the system must still hold the whole one.
  ipm->systemDim = std::max(ipm->systemDim, ipm->numDim);
  ipm->systemCapacity = std::max(ipm->systemCapacity, ipm->numIpmCoef);
  if (!provideSystem(ipm, pool) || !provideVectors(ipm, pool)) return QZ_STATUS_OUT_OF_MEMORY;
  if (ipm->typeMethod == IPM_METHOD_NORMAL && !provideNormal(ipm, pool)) return QZ_STATUS_OUT_OF_MEMORY;
  if (ipm->laEnv == nullptr && laEnvCreate(ipm->env, nullptr, &ipm->laEnv) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  if (ldlSetup(ipm->laEnv, ipm->numCol, ipm->numThread) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  return QZ_STATUS_OK;
}

void AssignIpm(Ipm* ipm, Model* model, Solution* solution) {
  ipm->model = model;
  ipm->solution = solution;
  ipm->obj = model->obj;
  ipm->lower = model->lower;
  ipm->upper = model->upper;
  ipm->rhs = model->rhs;
  ipm->rowSense = model->rowSense;
  ipm->colBegin = model->colBegin;
  ipm->colLength = model->colLength;
  ipm->rowIndex = model->rowIndex;
  ipm->matValue = model->matValue;
  ipm->quadColBegin = model->quadColBegin;
  ipm->quadColLength = model->quadColLength;
  ipm->quadRowIndex = model->quadRowIndex;
  ipm->quadMatValue = model->quadMatValue;
  ipm->quadDiag = model->quadDiag;
  ipm->primal = solution->primal;
  ipm->dual = solution->dual;
  ipm->ineqnSlack = solution->ineqnSlack;
  ipm->lowerSlack = solution->lowerSlack;
  ipm->upperSlack = solution->upperSlack;
  ipm->lowerDual = solution->lowerDual;
  ipm->upperDual = solution->upperDual;
}

void AnalyzeIpm(Ipm* ipm) {
  analyzeRows(ipm);
  analyzeBounds(ipm);
  analyzeColumns(ipm);
  ipm->numCompl = ipm->numIneqn + ipm->numLower + ipm->numUpper;
  ipm->freeVarLimit = 1000.0;
}

void FreeIpm(Ipm* ipm) {
  if (ipm == nullptr) return;
  QzPool* pool = ipm->env->pool;
  poolFree(pool, ipm->ipmColBegin);
  poolFree(pool, ipm->ipmRowIndex);
  poolFree(pool, ipm->ipmMatValue);
  poolFree(pool, ipm->ineqnDiagIndex);
  poolFree(pool, ipm->varBndDiagIndex);
  poolFree(pool, ipm->rhsPredictor);
  poolFree(pool, ipm->rhsCorrector);
  poolFree(pool, ipm->rhsWork);
  poolFree(pool, ipm->ineqnIndex);
  poolFree(pool, ipm->ineqnSlackDelta);
  poolFree(pool, ipm->statusBound);
  poolFree(pool, ipm->lowerSlackDelta);
  poolFree(pool, ipm->upperSlackDelta);
  poolFree(pool, ipm->lowerDualDelta);
  poolFree(pool, ipm->upperDualDelta);
  poolFree(pool, ipm->ipmRowBegin);
  poolFree(pool, ipm->ipmRowLength);
  poolFree(pool, ipm->ipmColIndex);
  poolFree(pool, ipm->ipmRowValue);
  poolFree(pool, ipm->normalDiag);
  poolFree(pool, ipm->normalWork);
  poolFree(pool, ipm->normalPos);
  poolFree(pool, ipm->normalScale);
  poolFree(pool, ipm->refineWork);
  poolFree(pool, ipm->refineRhs);
  poolFree(pool, ipm->workReal1);
  poolFree(pool, ipm->workReal2);
  poolFree(pool, ipm->workInt);
  laCleanUpAll(ipm->env, &ipm->laEnv, &ipm->ldlFactor, &ipm->ldlMemory, &ipm->cholFactor, &ipm->cholMemory);
}

}  // namespace qz
