#include "engine/linear_algebra_cholesky.h"

#include "diagnostics/verify_matrix.h"
#include "engine/linear_algebra_status.h"
#include "sparse/cholesky_analysis.h"
#include "sparse/cholesky_factor.h"
#include "sparse/cholesky_solve.h"

namespace qz {

namespace {

bool hasFactor(const Ipm* ipm) {
  return ipm->laEnv != nullptr && ipm->cholFactor != nullptr && ipm->cholMemory != nullptr;
}

}  // namespace

int32_t chAnalyze(Env* env, Ipm* ipm) {
  if (ipm->laEnv == nullptr || ipm->cholFactor != nullptr || ipm->cholMemory != nullptr) return QZ_STATUS_FAILED;
  const Stopwatch watch(ipm->timer, &ipm->timeCholAnalyze);
  const int32_t status = LA_AnalyzeMatrixCholesky(ipm->numRow, ipm->ipmColBegin, ipm->ipmRowIndex, ipm->laEnv,
                                                  &ipm->cholFactor, &ipm->cholMemory);
  env->cholFactor = ipm->cholFactor;
  env->cholMemory = ipm->cholMemory;
  return engineStatus(status, true, QZ_STATUS_FAILED);
}

int32_t chFactorize(Env* env, Ipm* ipm) {
  if (!hasFactor(ipm)) return QZ_STATUS_FAILED;
  const int32_t verified = VerifyMatrixNonsingular(
      env, ipm->debugLevel, {ipm->numRow, ipm->numRow, ipm->ipmColBegin, nullptr, ipm->ipmRowIndex, ipm->ipmMatValue});
  if (verified != QZ_STATUS_OK) return verified;
  const Stopwatch watch(ipm->timer, &ipm->timeCholFactor);
  const int32_t status = LA_FactorMatrixCholesky(0, ipm->numRow, ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue,
                                                 ipm->laEnv, ipm->cholFactor, ipm->cholMemory);
  return engineStatus(status, false, QZ_STATUS_FAILED);
}

int32_t chSolve(Env* /*env*/, Ipm* ipm, double* v) {
  if (!hasFactor(ipm)) return QZ_STATUS_FAILED;
  const Stopwatch watch(ipm->timer, &ipm->timeCholSolve);
  LA_SolveMatrixChol(0, v, ipm->laEnv, ipm->cholFactor, ipm->cholMemory);
  return QZ_STATUS_OK;
}

}  // namespace qz
