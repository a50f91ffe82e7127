#include "engine/dense_ldl.h"

#include <Eigen/Dense>

#include "shell/pool.h"
#include "sparse/factor.h"
#include "sparse/factor_cleanup.h"
#include "sparse/la_env.h"
#include "sparse/ldl_analysis.h"
#include "sparse/ldl_factor.h"
#include "sparse/ldl_solve.h"

namespace qztest {

DenseLdl denseLdl;

}  // namespace qztest

namespace qz {

using qztest::denseLdl;

int32_t LA_AnalyzeMatrixLDL(int32_t n, const int32_t* colBegin, const int32_t*, const double*, LAEnv* env,
                            SymbolicFactor** symbolic, NumericFactor** numeric) {
  ++denseLdl.analyses;
  denseLdl.lastLeading = env->numLeadingRows;
  denseLdl.lastMaxRefine = env->maxRefine;
  denseLdl.lastOrdering = env->orderingMethod;
  env->orderingMethod = 2;  // an analysis leaves its choices
  env->maxRefine = 3;
  if (denseLdl.analyzeStatus == 0 || denseLdl.analyzeLeavesHandles) {
    *symbolic = poolAllocateZero<SymbolicFactor>(env->memory, 1);
    if (*symbolic == nullptr) return LA_NO_MEMORY;
    (*symbolic)->numRows = n;
    *numeric = poolAllocateZero<NumericFactor>(env->memory, 1);
    if (*numeric == nullptr) return LA_NO_MEMORY;
    (*numeric)->numEntries = colBegin[n];
  }
  return denseLdl.analyzeStatus;
}

int32_t LA_FactorMatrixLDL(int32_t, int32_t n, const int32_t* colBegin, const int32_t*, const double* matValue, LAEnv*,
                           SymbolicFactor* symbolic, NumericFactor* numeric) {
  ++denseLdl.factorisations;
  if (symbolic->numRows != n || numeric->numEntries != colBegin[n]) return LA_INCONSISTENT;
  denseLdl.matrices.emplace_back(matValue, matValue + colBegin[n]);
  return denseLdl.factorStatus;
}

int32_t LA_SolveMatrixLDL(int32_t, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue, double* x,
                          LAEnv*, SymbolicFactor* symbolic, NumericFactor*) {
  const auto call = static_cast<size_t>(denseLdl.solves++);
  const int32_t status = call < denseLdl.solveScript.size() ? denseLdl.solveScript[call] : denseLdl.solveStatus;
  if (status != LA_OK && status != LA_FGMRES_TOLERANCE && status != LA_FGMRES_LIMIT) return status;
  const int n = symbolic->numRows;
  Eigen::MatrixXd dense = Eigen::MatrixXd::Zero(n, n);
  for (int j = 0; j < n; ++j)
    for (int32_t k = colBegin[j]; k < colBegin[j + 1]; ++k) dense(rowIndex[k], j) += matValue[k];
  Eigen::Map<Eigen::VectorXd> vector(x, n);
  const Eigen::VectorXd rhs = vector;
  vector = dense.completeOrthogonalDecomposition().solve(rhs);
  if (denseLdl.editSolution) denseLdl.editSolution(denseLdl.solves, n, x);
  return status;
}

void LA_CleanUpLDL(LAEnv* env, SymbolicFactor** symbolic, NumericFactor** numeric) {
  ++denseLdl.cleanUpsLdl;
  poolFree(env->memory, *symbolic);
  poolFree(env->memory, *numeric);
}

void LA_CleanUpCholesky(LAEnv* env, SymbolicFactor** symbolic, NumericFactor** numeric) {
  ++denseLdl.cleanUpsChol;
  poolFree(env->memory, *symbolic);
  poolFree(env->memory, *numeric);
}

}  // namespace qz
