#include "engine/start_point_system.h"

#include <algorithm>
#include <cmath>

#include "diagnostics/verify_start.h"
#include "engine/augmented_system.h"
#include "engine/linear_algebra.h"
#include "engine/start_point.h"
#include "transform/equation_system.h"

namespace qz {

StartSystem wholeSystem(const Ipm* ipm) {
  return {ipm->ipmMatValue, ipm->varBndDiagIndex, ipm->ineqnDiagIndex, ipm->rhsWork, nullptr, nullptr, ipm->numCol};
}

int32_t solveWholeSystem(Ipm* ipm) {
  int32_t status = ldlFactorize(ipm->env, ipm->numDim, ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue, ipm->laEnv,
                                ipm->ldlFactor, ipm->ldlMemory, ipm->timer, &ipm->timeLdlFactor);
  if (status != QZ_STATUS_OK) return status;
  status = ldlSolve(ipm->env, ipm->debugLevel, ipm->numDim, ipm->stopState, ipm->ipmColBegin, ipm->ipmRowIndex,
                    ipm->ipmMatValue, ipm->rhsWork, ipm->laEnv, ipm->ldlFactor, ipm->ldlMemory, ipm->timer,
                    &ipm->timeLdlSolve);
  return status == kSolveFailed ? QZ_STATUS_FAILED : status;
}

int32_t makePartialSystem(const Ipm* ipm, const int32_t* colMap, int32_t numColKept, const int32_t* rowMap,
                          int32_t numRowKept, PartialSystem* system) {
  QzPool* pool = ipm->env->pool;
  const int64_t numDim = int64_t{numColKept} + numRowKept;
  const int64_t capacity = numDim + 2 * int64_t{ipm->numCoef};
  if (system->colBegin.allocate(pool, numDim + 1) != QZ_STATUS_OK ||
      system->rowIndex.allocate(pool, capacity) != QZ_STATUS_OK ||
      system->matValue.allocate(pool, capacity) != QZ_STATUS_OK ||
      system->colDiagIndex.allocate(pool, numColKept) != QZ_STATUS_OK ||
      system->rowDiagIndex.allocate(pool, numRowKept) != QZ_STATUS_OK ||
      system->rhs.allocateZero(pool, numDim) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  createAugmentMatrixPartial(ipm, system->colBegin.get(), system->rowIndex.get(), system->matValue.get(),
                             system->colDiagIndex.get(), system->rowDiagIndex.get(), colMap, numColKept, rowMap,
                             numRowKept);
  system->numDim = static_cast<int32_t>(numDim);
  system->view = {system->matValue.get(),
                  system->colDiagIndex.get(),
                  system->rowDiagIndex.get(),
                  system->rhs.get(),
                  colMap,
                  rowMap,
                  numColKept};
  return QZ_STATUS_OK;
}

int32_t solvePartialSystem(const Ipm* ipm, PartialSystem* system) {
  const int32_t status = eqnSolve(ipm->infinityValue, ipm->tolPrimal, ipm->env, system->numDim, system->view.numColKept,
                                  ipm->numThread, system->colBegin.get(), system->rowIndex.get(),
                                  system->matValue.get(), system->rhs.get(), nullptr, ipm->debugLevel, EQN_PLAIN);
  const bool noSolution =
      status == QZ_STATUS_PRIMAL_INFEASIBLE || status == QZ_STATUS_DUAL_INFEASIBLE || status == QZ_STATUS_FAILED;
  return noSolution ? kNoPartialPoint : status;
}

double takePrimalSolution(Ipm* ipm, const StartSystem& system) {
  double smallest = kInfinity;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const double x = system.colRhs(system.col(j));
    const uint8_t bounds = ipm->statusBound[j];
    ipm->primal[j] = x;
    ipm->upperSlack[j] = hasUpper(bounds) ? ipm->upper[j] - x : 0.0;
    ipm->lowerSlack[j] = hasLower(bounds) ? x - ipm->lower[j] : 0.0;
    if (hasUpper(bounds)) smallest = std::min(smallest, ipm->upperSlack[j]);
    if (hasLower(bounds)) smallest = std::min(smallest, ipm->lowerSlack[j]);
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const int32_t place = system.row(i);
    ipm->ineqnSlack[i] = 0.0;
    if (place < 0 || ipm->rowSense[i] == 'E') continue;
    ipm->ineqnSlack[i] = system.rowRhs(place);
    smallest = std::min(smallest, ipm->ineqnSlack[i]);
  }
  return smallest;
}

namespace {

StartScope scopeOf(const SubModel* submodel, const StartSystem& system) {
  const bool whole = submodel == nullptr;
  return {system.colMap, system.rowMap, whole ? kInfinity : submodel->thresholdRow,
          whole ? kInfinity : submodel->thresholdCol};
}

}  // namespace

int32_t verifyPrimalStart(const Ipm* ipm, const SubModel* submodel, const StartSystem& system) {
  const StartScope scope = scopeOf(submodel, system);
  const int32_t level = ipm->debugLevel;
  int32_t status = VerifyBoundFeasible(ipm, level);
  if (status != QZ_STATUS_OK) return status;
  const double* w = system.rhs + system.numColKept;
  status = VerifyPrimalFeasible(ipm, level, scope, w);
  if (status != QZ_STATUS_OK) return status;
  return VerifyInitDerivPrimal(ipm, level, scope, w);
}

int32_t verifyDualStart(const Ipm* ipm, const SubModel* submodel, const StartSystem& system) {
  const StartScope scope = scopeOf(submodel, system);
  const int32_t status = VerifyDualFeasible(ipm, ipm->debugLevel, scope, system.rhs);
  return status != QZ_STATUS_OK ? status : VerifyInitDerivDual(ipm, ipm->debugLevel, scope, system.rhs);
}

double startShift(double smallest, double tol, int32_t typeModel) {
  const double margin = std::max(100.0 * tol, 1e-4);
  if (smallest >= margin) return 0.0;
  const double shift = smallest < 0.0 ? -smallest + std::max(margin, margin * -smallest) : 100.0 * margin;
  return typeModel == IPM_MODEL_QP ? std::max(0.1, shift) : shift;
}

void shiftPrimalStart(Ipm* ipm, double smallest) {
  const double shift = std::max(startShift(smallest, ipm->tolPrimal, ipm->typeModel), ipm->startFloor);
  if (shift == 0.0) return;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    if (hasUpper(ipm->statusBound[j])) ipm->upperSlack[j] += shift;
    if (hasLower(ipm->statusBound[j])) ipm->lowerSlack[j] += shift;
  }
  for (int32_t i = 0; i < ipm->numRow; ++i)
    if (ipm->rowSense[i] != 'E') ipm->ineqnSlack[i] += shift;
}

void shiftDualStart(Ipm* ipm, double smallest) {
  const double shift = std::max(startShift(smallest, ipm->tolDual, ipm->typeModel), ipm->startFloor);
  if (shift == 0.0) return;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    if (hasUpper(ipm->statusBound[j])) ipm->upperDual[j] += shift;
    if (hasLower(ipm->statusBound[j])) ipm->lowerDual[j] += shift;
  }
  for (int32_t i = 0; i < ipm->numRow; ++i)
    if (ipm->rowSense[i] != 'E') ipm->dual[i] += shift;
}

}  // namespace qz
