#include "engine/newton_system.h"

#include "diagnostics/verify_linear_system.h"
#include "diagnostics/verify_matrix.h"
#include "engine/augmented_system.h"
#include "engine/linear_algebra.h"
#include "engine/linear_algebra_cholesky.h"
#include "engine/normal_system.h"

namespace qz {

namespace {

int32_t verifyNormalProduct(const Ipm* ipm) {
  const SparseView matrix{ipm->numRow, ipm->numRow, ipm->ipmColBegin, nullptr, ipm->ipmRowIndex, ipm->ipmMatValue};
  const int32_t status = VerifySymMatrix(ipm->env, ipm->debugLevel, matrix);
  return status != QZ_STATUS_OK ? status : VerifyNormalMatrix(ipm, ipm->debugLevel);
}

}  // namespace

int32_t formSystem(Ipm* ipm) {
  if (ipm->typeMethod != IPM_METHOD_NORMAL) {
    computeAugmentDiag(ipm);
    return VerifyKKTmatrix(ipm, ipm->debugLevel);
  }
  int32_t status = computeNormalDiag(ipm);
  if (status != QZ_STATUS_OK) return status;
  computeNormalMatrix(ipm);
  status = verifyNormalProduct(ipm);
  if (status != QZ_STATUS_OK) return status;
  updateNormalDiag(ipm);
  return VerifyNormalMatValue(ipm, ipm->debugLevel);
}

int32_t factorSystem(Ipm* ipm) {
  if (ipm->typeMethod == IPM_METHOD_NORMAL) return chFactorize(ipm->env, ipm);
  return ldlFactorize(ipm->env, ipm->numDim, ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue, ipm->laEnv,
                      ipm->ldlFactor, ipm->ldlMemory, ipm->timer, &ipm->timeLdlFactor);
}

int32_t solveSystem(Ipm* ipm, double* vector) {
  if (ipm->typeMethod == IPM_METHOD_NORMAL) return solveNormalEquation(ipm, vector);
  return ldlSolve(ipm->env, ipm->debugLevel, ipm->numDim, ipm->stopState, ipm->ipmColBegin, ipm->ipmRowIndex,
                  ipm->ipmMatValue, vector, ipm->laEnv, ipm->ldlFactor, ipm->ldlMemory, ipm->timer, &ipm->timeLdlSolve);
}

}  // namespace qz
