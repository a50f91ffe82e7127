#include "engine/newton_system.h"

#include <algorithm>

#include "diagnostics/verify_linear_system.h"
#include "diagnostics/verify_matrix.h"
#include "engine/augmented_system.h"
#include "engine/engine_state.h"
#include "engine/linear_algebra.h"
#include "engine/linear_algebra_cholesky.h"
#include "engine/normal_refinement.h"
#include "engine/normal_system.h"
#include "shell/log.h"
#include "shell/pool.h"

namespace qz {

namespace {

int32_t verifyNormalProduct(const Ipm* ipm) {
  const SparseView matrix{ipm->numRow, ipm->numRow, ipm->ipmColBegin, nullptr, ipm->ipmRowIndex, ipm->ipmMatValue};
  const int32_t status = VerifySymMatrix(ipm->env, ipm->debugLevel, matrix);
  return status != QZ_STATUS_OK ? status : VerifyNormalMatrix(ipm, ipm->debugLevel);
}

int32_t factorNormal(Ipm* ipm) {
  balanceNormalMatrix(ipm);
  return chFactorizeBalanced(ipm->env, ipm);
}

// The augmented system takes the place of the normal equations for the rest of the solve, in an environment of its own.
// It is formed and factored for the iterate.
int32_t changeToAugmented(Ipm* ipm) {
  Env* env = ipm->env;
  logText(env->log, QZ_LOG_DEBUG, L"The normal equations are no longer accurate: going on with the augmented system.");
  chCleanUpAll(env, &ipm->laEnv, &ipm->cholFactor, &ipm->cholMemory);
  poolFree(env->pool, ipm->ipmColBegin);
  poolFree(env->pool, ipm->ipmRowIndex);
  poolFree(env->pool, ipm->ipmMatValue);
  ipm->typeMethod = IPM_METHOD_AUGMENTED;
  int32_t status = CreateIpm(ipm);
  if (status == QZ_STATUS_OK) status = ipmInitAugmat(ipm, 1);
  if (status == QZ_STATUS_OK) status = formSystem(ipm);
  return status != QZ_STATUS_OK ? status : factorSystem(ipm);
}

int32_t solveAugmented(Ipm* ipm, double* vector) {
  return ldlSolve(ipm->env, ipm->debugLevel, ipm->numDim, ipm->stopState, ipm->ipmColBegin, ipm->ipmRowIndex,
                  ipm->ipmMatValue, vector, ipm->laEnv, ipm->ldlFactor, ipm->ldlMemory, ipm->timer, &ipm->timeLdlSolve);
}

// No verdict about the model may rest on steps that miss their rows, so an inaccurate solution is not used: the
// augmented system gives it again.
int32_t solveNormal(Ipm* ipm, double* vector) {
  std::copy_n(vector, ipm->numDim, ipm->refineRhs);
  int32_t status = solveNormalEquation(ipm, vector);
  if (status != QZ_STATUS_OK) return status;
  bool accurate = false;
  status = refineNormalSolution(ipm, ipm->refineRhs, vector, &accurate);
  if (status != QZ_STATUS_OK || accurate) return status;
  status = changeToAugmented(ipm);
  if (status != QZ_STATUS_OK) return status;
  std::copy_n(ipm->refineRhs, ipm->numDim, vector);
  return solveAugmented(ipm, vector);
}

}  // namespace

int32_t formSystem(Ipm* ipm) {
  if (ipm->typeMethod != IPM_METHOD_NORMAL) {
    computeAugmentDiag(ipm);
    return VerifyKKTmatrix(ipm, ipm->debugLevel);
  }
  int32_t status = computeNormalDiag(ipm);
  if (status != QZ_STATUS_OK) return status;
  boundNormalDiag(ipm);
  computeNormalMatrix(ipm);
  status = verifyNormalProduct(ipm);
  if (status != QZ_STATUS_OK) return status;
  updateNormalDiag(ipm);
  return VerifyNormalMatValue(ipm, ipm->debugLevel);
}

int32_t factorSystem(Ipm* ipm) {
  if (ipm->typeMethod == IPM_METHOD_NORMAL) return factorNormal(ipm);
  return ldlFactorize(ipm->env, ipm->numDim, ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue, ipm->laEnv,
                      ipm->ldlFactor, ipm->ldlMemory, ipm->timer, &ipm->timeLdlFactor);
}

int32_t solveSystem(Ipm* ipm, double* vector) {
  return ipm->typeMethod == IPM_METHOD_NORMAL ? solveNormal(ipm, vector) : solveAugmented(ipm, vector);
}

}  // namespace qz
