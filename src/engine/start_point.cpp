#include "engine/start_point.h"

#include <algorithm>

#include "engine/augmented_system.h"
#include "engine/linear_algebra.h"
#include "engine/start_point_system.h"
#include "shell/log.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

constexpr double kRegularisation = 1e-6;

// Both sides left out of their solves: no step needs the whole matrix, so it is made here for the iteration.
int32_t initBothPartial(Ipm* ipm, SubModel* submodel) {
  if (ipm->ldlFactor != nullptr || ipm->ldlMemory != nullptr) {
    logText(ipm->env->log, QZ_LOG_DEBUG, L"Error ipmInitLP: LDL_factor and LDL_memory should not be initialized.");
    return QZ_STATUS_FAILED;
  }
  int32_t status = initPrimalPartial(ipm, submodel);
  if (status != QZ_STATUS_OK) return status;
  status = lpInitDualPartial(ipm, submodel);
  if (status != QZ_STATUS_OK) return status;
  return ipm->typeMethod == IPM_METHOD_AUGMENTED ? ipmInitAugmat(ipm, 0) : QZ_STATUS_OK;
}

// Changes the sign of the off-diagonal quadratic block, in place and exactly.
void negateQuadBlock(Ipm* ipm) {
  const int32_t end = ipm->ipmColBegin[ipm->numCol];
  for (int32_t k = 0; k < end; ++k)
    if (ipm->ipmRowIndex[k] < ipm->numCol) ipm->ipmMatValue[k] = -ipm->ipmMatValue[k];
}

// The system of
//     minimise c'x + x'Qx / 2 + 1/2 sum over bounds (x - bound)^2 + 1/2 |s|^2   subject to   A x - s = b
// with the signs of a matrix whose leading block is negative definite.
void setQuadraticSystem(const Ipm* ipm) {
  const StartSystem system = wholeSystem(ipm);
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const uint8_t bounds = ipm->statusBound[j];
    double rhs = ipm->obj[j];
    if (hasLower(bounds)) rhs -= ipm->lower[j];
    if (hasUpper(bounds)) rhs -= ipm->upper[j];
    system.colDiag(j) = -ipm->quadDiag[j] - countBounds(bounds);
    system.colRhs(j) = rhs;
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    system.rowDiag(i) = ipm->rowSense[i] == 'E' ? 0.0 : 1.0;
    system.rowRhs(i) = -ipm->rhs[i];
  }
  regMatDiag(ipm->numCol, ipm->numRow, ipm->ipmMatValue, ipm->varBndDiagIndex, ipm->ineqnDiagIndex, kRegularisation);
}

int32_t initPrimalQP(Ipm* ipm) {
  const bool offDiagonal = ipm->numQuadCoef > 0;
  if (offDiagonal) ldlCleanUp(ipm->env, ipm->laEnv, &ipm->ldlFactor, &ipm->ldlMemory);
  int32_t status = ipmInitAugmat(ipm, 1);
  if (status != QZ_STATUS_OK) return status;
  if (offDiagonal) negateQuadBlock(ipm);
  setQuadraticSystem(ipm);
  status = solveWholeSystem(ipm);
  if (status != QZ_STATUS_OK) return status;
  const double smallest = takePrimalSolution(ipm, wholeSystem(ipm));
  status = verifyPrimalStart(ipm, nullptr, wholeSystem(ipm));
  if (status != QZ_STATUS_OK) return status;
  shiftPrimalStart(ipm, smallest);
  if (offDiagonal) negateQuadBlock(ipm);
  return QZ_STATUS_OK;
}

}  // namespace

int32_t ipmInitLP(Ipm* ipm, SubModel* submodel) {
  const bool rowsAside = submodel != nullptr && submodel->numRowSub > 0;
  const bool colsAside = submodel != nullptr && submodel->numColSub > 0;
  int32_t status = QZ_STATUS_OK;
  if (rowsAside && colsAside) {
    status = initBothPartial(ipm, submodel);
  } else if (rowsAside) {
    status = initPrimalPartial(ipm, submodel);
    if (status == QZ_STATUS_OK) status = initDual(ipm, submodel);
  } else if (colsAside) {
    status = lpInitDualPartial(ipm, submodel);
    if (status == QZ_STATUS_OK) status = initPrimal(ipm, submodel);
  } else {
    status = initPrimal(ipm, submodel);
    if (status == QZ_STATUS_OK) status = initDual(ipm, submodel);
  }
  if (status != QZ_STATUS_OK) return status;
  initInternal(ipm);
  return QZ_STATUS_OK;
}

int32_t ipmInitQP(Ipm* ipm, SubModel* submodel) {
  int32_t status = initPrimalQP(ipm);
  if (status != QZ_STATUS_OK) return status;
  // The dual start needs the linear pattern, the iteration the quadratic one.
  const bool offDiagonal = ipm->numQuadCoef > 0;
  if (offDiagonal) ldlCleanUp(ipm->env, ipm->laEnv, &ipm->ldlFactor, &ipm->ldlMemory);
  status = initDual(ipm, submodel);
  if (status != QZ_STATUS_OK) return status;
  if (offDiagonal) ldlCleanUp(ipm->env, ipm->laEnv, &ipm->ldlFactor, &ipm->ldlMemory);
  status = ipmInitAugmat(ipm, 1);
  if (status != QZ_STATUS_OK) return status;
  initInternal(ipm);
  return QZ_STATUS_OK;
}

void initInternal(Ipm* ipm) {
  if (ipm->typeMethod == IPM_METHOD_AUGMENTED) {
    // Rows of sense E are never written again by the iteration.
    for (int32_t j = 0; j < ipm->numCol; ++j) ipm->ipmMatValue[ipm->varBndDiagIndex[j]] = 0.0;
    for (int32_t i = 0; i < ipm->numRow; ++i) ipm->ipmMatValue[ipm->ineqnDiagIndex[i]] = 0.0;
  }
  double minPositive = ipm->infinityValue;
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    if (ipm->rowSense[i] != 'G') ipm->ineqnSlackDelta[i] = 0.0;
    if (ipm->rowSense[i] != 'E') minPositive = std::min(minPositive, ipm->dual[i]);
  }
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    if (hasLower(ipm->statusBound[j])) {
      minPositive = std::min(minPositive, ipm->lowerSlack[j]);
    } else {
      ipm->lowerSlack[j] = ipm->lowerDual[j] = 0.0;
      ipm->lowerSlackDelta[j] = ipm->lowerDualDelta[j] = 0.0;
    }
    if (hasUpper(ipm->statusBound[j])) {
      minPositive = std::min(minPositive, ipm->upperSlack[j]);
    } else {
      ipm->upperSlack[j] = ipm->upperDual[j] = 0.0;
      ipm->upperSlackDelta[j] = ipm->upperDualDelta[j] = 0.0;
    }
  }
  ipm->minPositive = minPositive;
}

}  // namespace qz
