#include "engine/linear_algebra.h"

#include "diagnostics/verify_matrix.h"
#include "engine/linear_algebra_status.h"
#include "sparse/factor_cleanup.h"
#include "sparse/ldl_analysis.h"
#include "sparse/ldl_factor.h"
#include "sparse/ldl_solve.h"

namespace qz {

namespace {

constexpr int32_t kDefaultOrdering = -1;
constexpr int32_t kMaxRefine = 64;  // the environment's own default
constexpr int32_t kKindNormal = 0;
constexpr int32_t kKindAugmented = 1;

void mirrorLdl(Env* env, SymbolicFactor* factor, NumericFactor* memory) {
  if (env == nullptr) return;
  env->ldlFactor = factor;
  env->ldlMemory = memory;
}

void mirrorChol(Env* env, SymbolicFactor* factor, NumericFactor* memory) {
  if (env == nullptr) return;
  env->cholFactor = factor;
  env->cholMemory = memory;
}

void freeEnvironment(Env* env, LAEnv** laEnv) {
  LA_FreeLAEnv(laEnv);
  *laEnv = nullptr;
  if (env != nullptr) env->laEnv = nullptr;
}

// What every set-up shares. The refinement limit goes back to its default, since a solve leaves there what it used.
int32_t setUp(LAEnv* laEnv, int32_t problemKind, int32_t numThread) {
  if (LA_SetIntParam(laEnv, LA_KEY_PROBLEM_KIND, problemKind) != LA_OK) return QZ_STATUS_FAILED;
  if (LA_SetIntParam(laEnv, LA_KEY_ORDERING_METHOD, kDefaultOrdering) != LA_OK) return QZ_STATUS_FAILED;
  if (LA_SetIntParam(laEnv, LA_KEY_MAX_REFINE, kMaxRefine) != LA_OK) return QZ_STATUS_FAILED;
  if (LA_SetIntParam(laEnv, LA_KEY_NUM_THREADS, numThread) != LA_OK) return QZ_STATUS_FAILED;
  return QZ_STATUS_OK;
}

// What a solve is given: a symmetric matrix and a finite right-hand side.
int32_t verifySystem(Env* env, int32_t debugLevel, const SparseView& matrix, const double* v) {
  if (env == nullptr) return QZ_STATUS_OK;
  const int32_t status = VerifySymMatrix(env, debugLevel, matrix);
  return status != QZ_STATUS_OK ? status : VerifyVector(env, debugLevel, matrix.numMajor, v);
}

// The instance's view of the engine's handles, kept aside while a private solve uses the same fields.
class MirrorGuard {
 public:
  explicit MirrorGuard(Env* env) : env_(env) {
    if (env_ == nullptr) return;
    laEnv_ = env_->laEnv;
    ldlFactor_ = env_->ldlFactor;
    ldlMemory_ = env_->ldlMemory;
    env_->laEnv = nullptr;
    env_->ldlFactor = nullptr;
    env_->ldlMemory = nullptr;
  }
  MirrorGuard(const MirrorGuard&) = delete;
  MirrorGuard& operator=(const MirrorGuard&) = delete;
  ~MirrorGuard() {
    if (env_ == nullptr) return;
    env_->laEnv = laEnv_;
    env_->ldlFactor = ldlFactor_;
    env_->ldlMemory = ldlMemory_;
  }

 private:
  Env* env_;
  void* laEnv_ = nullptr;
  void* ldlFactor_ = nullptr;
  void* ldlMemory_ = nullptr;
};

}  // namespace

int32_t laEnvCreate(Env* env, QzPool* memory, LAEnv** laEnv) {
  *laEnv = nullptr;
  QzPool* pool = memory != nullptr ? memory : env != nullptr ? env->pool : nullptr;
  if (pool == nullptr) return QZ_STATUS_FAILED;
  int32_t status = LA_OK;
  *laEnv = LA_CreateLAEnv(pool, 0, &status);
  if (status == LA_OK && *laEnv == nullptr) status = LA_INCONSISTENT;
  if (env != nullptr) env->laEnv = *laEnv;
  return engineStatus(status, false, QZ_STATUS_FAILED);
}

int32_t chSetup(LAEnv* laEnv, int32_t numThread) {
  return setUp(laEnv, kKindNormal, numThread);
}

int32_t ldlSetup(LAEnv* laEnv, int32_t numLeading, int32_t numThread) {
  const int32_t status = setUp(laEnv, kKindAugmented, numThread);
  if (status != QZ_STATUS_OK) return status;
  return LA_SetIntParam(laEnv, LA_KEY_NUM_LEADING_ROWS, numLeading) == LA_OK ? QZ_STATUS_OK : QZ_STATUS_FAILED;
}

int32_t ldlAnalyze(Env* env, int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                   LAEnv* laEnv, SymbolicFactor** ldlFactor, NumericFactor** ldlMemory, IPM_timer* timer,
                   double* time) {
  if (laEnv == nullptr || *ldlFactor != nullptr || *ldlMemory != nullptr) return QZ_STATUS_FAILED;
  const Stopwatch watch(timer, time);
  const int32_t status = LA_AnalyzeMatrixLDL(n, colBegin, rowIndex, matValue, laEnv, ldlFactor, ldlMemory);
  mirrorLdl(env, *ldlFactor, *ldlMemory);
  return engineStatus(status, true, QZ_STATUS_FAILED);
}

int32_t ldlFactorize(Env* /*env*/, int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                     LAEnv* laEnv, SymbolicFactor* ldlFactor, NumericFactor* ldlMemory, IPM_timer* timer,
                     double* time) {
  if (laEnv == nullptr || ldlFactor == nullptr || ldlMemory == nullptr) return QZ_STATUS_FAILED;
  const Stopwatch watch(timer, time);
  const int32_t status = LA_FactorMatrixLDL(0, n, colBegin, rowIndex, matValue, laEnv, ldlFactor, ldlMemory);
  return engineStatus(status, false, QZ_STATUS_FAILED);
}

int32_t ldlSolve(Env* env, int32_t debugLevel, int32_t n, int32_t /*stopState*/, const int32_t* colBegin,
                 const int32_t* rowIndex, const double* matValue, double* v, LAEnv* laEnv, SymbolicFactor* ldlFactor,
                 NumericFactor* ldlMemory, IPM_timer* timer, double* time) {
  if (laEnv == nullptr || ldlFactor == nullptr || ldlMemory == nullptr) return QZ_STATUS_FAILED;
  const int32_t verified = verifySystem(env, debugLevel, {n, n, colBegin, nullptr, rowIndex, matValue}, v);
  if (verified != QZ_STATUS_OK) return verified;
  const Stopwatch watch(timer, time);
  const int32_t status = LA_SolveMatrixLDL(0, colBegin, rowIndex, matValue, v, laEnv, ldlFactor, ldlMemory);
  if (status == LA_FGMRES_TOLERANCE || status == LA_FGMRES_LIMIT) return QZ_STATUS_OK;
  return engineStatus(status, false, kSolveFailed);
}

void ldlCleanUp(Env* env, LAEnv* laEnv, SymbolicFactor** ldlFactor, NumericFactor** ldlMemory) {
  if (laEnv == nullptr) return;
  if (*ldlFactor != nullptr || *ldlMemory != nullptr) LA_CleanUpLDL(laEnv, ldlFactor, ldlMemory);
  *ldlFactor = nullptr;
  *ldlMemory = nullptr;
  mirrorLdl(env, nullptr, nullptr);
}

void ldlCleanUpAll(Env* env, LAEnv** laEnv, SymbolicFactor** ldlFactor, NumericFactor** ldlMemory) {
  if (*laEnv == nullptr) return;
  ldlCleanUp(env, *laEnv, ldlFactor, ldlMemory);
  freeEnvironment(env, laEnv);
}

void chCleanUp(Env* env, LAEnv* laEnv, SymbolicFactor** cholFactor, NumericFactor** cholMemory) {
  if (laEnv == nullptr) return;
  if (*cholFactor != nullptr || *cholMemory != nullptr) LA_CleanUpCholesky(laEnv, cholFactor, cholMemory);
  *cholFactor = nullptr;
  *cholMemory = nullptr;
  mirrorChol(env, nullptr, nullptr);
}

void chCleanUpAll(Env* env, LAEnv** laEnv, SymbolicFactor** cholFactor, NumericFactor** cholMemory) {
  if (*laEnv == nullptr) return;
  chCleanUp(env, *laEnv, cholFactor, cholMemory);
  freeEnvironment(env, laEnv);
}

void laCleanUpAll(Env* env, LAEnv** laEnv, SymbolicFactor** ldlFactor, NumericFactor** ldlMemory,
                  SymbolicFactor** cholFactor, NumericFactor** cholMemory) {
  if (*laEnv == nullptr) return;
  ldlCleanUp(env, *laEnv, ldlFactor, ldlMemory);
  chCleanUp(env, *laEnv, cholFactor, cholMemory);
  freeEnvironment(env, laEnv);
}

int32_t solveEquationLDL(Env* env, int32_t debugLevel, QzPool* memory, int32_t n, int32_t numLeading, int32_t numThread,
                         const int32_t* colBegin, const int32_t* rowIndex, const double* matValue, double* v,
                         IPM_timer* timer, double* timeAnalyze, double* timeFactor, double* timeSolve) {
  int32_t status = verifySystem(env, debugLevel, {n, n, colBegin, nullptr, rowIndex, matValue}, v);
  if (status != QZ_STATUS_OK) return status;
  const MirrorGuard guard(env);
  LAEnv* laEnv = nullptr;
  SymbolicFactor* factor = nullptr;
  NumericFactor* numeric = nullptr;
  status = laEnvCreate(env, memory, &laEnv);
  if (status == QZ_STATUS_OK) status = ldlSetup(laEnv, numLeading, numThread);
  if (status == QZ_STATUS_OK)
    status = ldlAnalyze(env, n, colBegin, rowIndex, matValue, laEnv, &factor, &numeric, timer, timeAnalyze);
  if (status == QZ_STATUS_OK)
    status = ldlFactorize(env, n, colBegin, rowIndex, matValue, laEnv, factor, numeric, timer, timeFactor);
  if (status == QZ_STATUS_OK)
    status = ldlSolve(env, debugLevel, n, 1, colBegin, rowIndex, matValue, v, laEnv, factor, numeric, timer, timeSolve);
  ldlCleanUpAll(env, &laEnv, &factor, &numeric);
  return status;
}

}  // namespace qz
