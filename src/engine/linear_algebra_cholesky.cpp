#include "engine/linear_algebra_cholesky.h"

#include <cmath>

#include "diagnostics/check.h"
#include "diagnostics/verify_matrix.h"
#include "engine/linear_algebra_status.h"
#include "sparse/cholesky_analysis.h"
#include "sparse/cholesky_factor.h"
#include "sparse/cholesky_solve.h"

namespace qz {

namespace {

constexpr int32_t kOtherProblem = 2;

bool hasFactor(const Ipm* ipm) {
  return ipm->laEnv != nullptr && ipm->cholFactor != nullptr && ipm->cholMemory != nullptr;
}

// A dual that has vanished may have crossed zero by a rounding, and its column then weighs negatively: with D_j < 0 the
// eigenvalues of A D A' lie above -sum |D_j| |a_j|^2 over such columns.
double negativePart(const Ipm* ipm) {
  double part = 0.0;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    if (!(ipm->normalDiag[j] < 0.0)) continue;
    for (int32_t k = ipm->colBegin[j]; k < ipm->colBegin[j] + ipm->colLength[j]; ++k)
      part -= ipm->normalDiag[j] * ipm->matValue[k] * ipm->matValue[k];
  }
  for (int32_t i = 0; i < ipm->numRow; ++i)
    if (ipm->rowSense[i] == 'G') part += std::fmax(0.0, -ipm->ineqnSlack[i] / ipm->dual[i]);
  return part;
}

// The matrix that goes to the factorisation.
int32_t verifyDefinite(Env* env, const Ipm* ipm) {
  if (!verifies(ipm->debugLevel, VERIFY_STRUCTURE)) return QZ_STATUS_OK;
  const SparseView matrix{ipm->numRow, ipm->numRow, ipm->ipmColBegin, nullptr, ipm->ipmRowIndex, ipm->ipmMatValue};
  return VerifyMatrixNonsingular(env, ipm->debugLevel, matrix, negativePart(ipm));
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
  const int32_t verified = verifyDefinite(env, ipm);
  if (verified != QZ_STATUS_OK) return verified;
  const Stopwatch watch(ipm->timer, &ipm->timeCholFactor);
  const int32_t status = LA_FactorMatrixCholesky(0, ipm->numRow, ipm->ipmColBegin, ipm->ipmRowIndex, ipm->ipmMatValue,
                                                 ipm->laEnv, ipm->cholFactor, ipm->cholMemory);
  return engineStatus(status, false, QZ_STATUS_FAILED);
}

int32_t chFactorizeBalanced(Env* env, Ipm* ipm) {
  if (!hasFactor(ipm)) return QZ_STATUS_FAILED;
  // The factorisation sets its tolerance by the norm for the normal equations only.
  const int32_t problemKind = ipm->laEnv->problemKind;
  ipm->laEnv->problemKind = kOtherProblem;
  ipm->cholFactor->pivotTolerance = 0.0;
  const int32_t status = chFactorize(env, ipm);
  ipm->laEnv->problemKind = problemKind;
  return status;
}

int32_t chSolve(Env* /*env*/, Ipm* ipm, double* v) {
  if (!hasFactor(ipm)) return QZ_STATUS_FAILED;
  const Stopwatch watch(ipm->timer, &ipm->timeCholSolve);
  LA_SolveMatrixChol(0, v, ipm->laEnv, ipm->cholFactor, ipm->cholMemory);
  return QZ_STATUS_OK;
}

}  // namespace qz
