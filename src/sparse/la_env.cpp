#include "sparse/la_env.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "qzipsolve/host.h"
#include "shell/host_table.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr int32_t lastKey = LA_KEY_EIGEN_COUNT;
constexpr int32_t noLimit = std::numeric_limits<int32_t>::max();
constexpr int32_t noFloor = std::numeric_limits<int32_t>::min();

// What an integer key accepts. A null field has no integer reading; `writable` is false for results, whose setting is
// accepted without effect.
struct IntegerParameter {
  int32_t LAEnv::*field;
  bool writable;
  int32_t minimum;
  int32_t maximum;
  bool zeroRefused;
};

constexpr IntegerParameter integerParameters[] = {
    {&LAEnv::numThreads, true, 1, noLimit, false},
    {&LAEnv::problemKind, true, 0, 5, false},
    {&LAEnv::constrained, true, 0, 1, false},
    {&LAEnv::staticPermGeneral, true, 0, 1, false},
    {&LAEnv::staticPermAugmented, true, 0, 1, false},
    {&LAEnv::numLeadingRows, true, 0, noLimit, false},
    {&LAEnv::reservedCount, true, 1, noLimit, false},
    {&LAEnv::orderingMethod, true, -1, 4, false},
    {&LAEnv::matchingVariant, true, 0, 1, false},
    {&LAEnv::computeInertia, true, 0, 1, false},
    {&LAEnv::numNegativePivots, false, noFloor, noLimit, false},
    {&LAEnv::numPositivePivots, false, noFloor, noLimit, false},
    {nullptr, false, noFloor, noLimit, false},  // pivotRatio
    {&LAEnv::reservedFlag, true, 0, 1, false},
    {&LAEnv::useFgmres, true, 0, 1, false},
    {&LAEnv::maxRefine, true, 0, noLimit, false},
    {&LAEnv::fgmresMinimum, true, 1, noLimit, false},
    {&LAEnv::fgmresRestart, true, 1, noLimit, false},
    {&LAEnv::fgmresMode, true, 0, 2, false},
    {nullptr, false, noFloor, noLimit, false},  // refineTolerance
    {nullptr, false, noFloor, noLimit, false},  // refineResidual
    {&LAEnv::staticPipeline, true, 0, 1, false},
    {&LAEnv::eigenIterationLimit, true, noFloor, noLimit, true},
    {nullptr, false, noFloor, noLimit, false},  // eigenEnd
    {&LAEnv::eigenCount, true, 1, noLimit, false},
};
static_assert(sizeof(integerParameters) / sizeof(integerParameters[0]) == static_cast<size_t>(lastKey) + 1);

bool knownKey(int32_t key) {
  return key >= 0 && key <= lastKey;
}

// Cores that the host grants to a factorisation; 1 for a host that does not say.
int64_t coreLimit() {
  int64_t cores = 1;
  if (!hostIntegerOption(QZ_OPTION_CPUCORECOUNT, QZ_OPTION_CPUCORECOUNT_LENGTH, cores) || cores <= 0) return 1;
  return cores;
}

}  // namespace

LAEnv* LA_CreateLAEnv(QzPool* memory, int64_t creatorData, int32_t* status) {
  if (status == nullptr) return nullptr;
  if (memory == nullptr) {
    *status = LA_BAD_PARAMETER;
    return nullptr;
  }
  LAEnv* env = poolAllocateZero<LAEnv>(memory, 1);
  if (env == nullptr) {
    *status = LA_NO_MEMORY;
    return nullptr;
  }
  env->memory = memory;
  env->creatorData = creatorData;
  env->problemKind = 1;
  env->orderingMethod = -1;
  env->numThreads = 1;
  env->reservedCount = 1;
  env->useFgmres = 1;
  env->maxRefine = 64;
  env->fgmresMinimum = 4;
  env->fgmresRestart = 16;
  env->refineTolerance = 1e-16;
  env->staticPipeline = 1;
  env->eigenIterationLimit = -1;
  env->eigenEnd = 'S';
  env->eigenCount = 1;
  *status = LA_OK;
  return env;
}

void LA_FreeLAEnv(LAEnv** env) {
  if (env == nullptr || *env == nullptr) return;
  QzPool* memory = (*env)->memory;
  poolFree(memory, *env);
}

int32_t LA_SetIntParam(LAEnv* env, int32_t key, int32_t value) {
  if (env == nullptr || !knownKey(key)) return LA_BAD_PARAMETER;
  const IntegerParameter& parameter = integerParameters[key];
  if (!parameter.writable) return LA_OK;
  if (key == LA_KEY_NUM_THREADS) {
    const int64_t limit = coreLimit();
    if (value < 1) return LA_BAD_PARAMETER;
    env->numThreads = static_cast<int32_t>(std::min<int64_t>(value, limit));
    return LA_OK;
  }
  if (value < parameter.minimum || value > parameter.maximum) return LA_BAD_PARAMETER;
  if (parameter.zeroRefused && value == 0) return LA_BAD_PARAMETER;
  env->*parameter.field = value;
  return LA_OK;
}

int32_t LA_GetIntParam(const LAEnv* env, int32_t key, int32_t* value) {
  if (env == nullptr || value == nullptr || !knownKey(key)) return LA_BAD_PARAMETER;
  const IntegerParameter& parameter = integerParameters[key];
  *value = parameter.field == nullptr ? 0 : env->*parameter.field;
  return LA_OK;
}

int32_t LA_SetDblParam(LAEnv* env, int32_t key, double value) {
  if (env == nullptr || !knownKey(key)) return LA_BAD_PARAMETER;
  if (key != LA_KEY_REFINE_TOLERANCE) return LA_OK;
  if (!(value >= 0.0)) return LA_BAD_PARAMETER;
  env->refineTolerance = value;
  return LA_OK;
}

int32_t LA_GetDblParam(const LAEnv* env, int32_t key, double* value) {
  if (env == nullptr || value == nullptr || !knownKey(key)) return LA_BAD_PARAMETER;
  switch (key) {
    case LA_KEY_PIVOT_RATIO:
      *value = env->pivotRatio;
      break;
    case LA_KEY_REFINE_TOLERANCE:
      *value = env->refineTolerance;
      break;
    case LA_KEY_REFINE_RESIDUAL:
      *value = env->refineResidual;
      break;
    default:
      *value = 0.0;
  }
  return LA_OK;
}

int32_t LA_SetCharParam(LAEnv* env, int32_t key, int32_t value) {
  if (env == nullptr || !knownKey(key)) return LA_BAD_PARAMETER;
  if (key != LA_KEY_EIGEN_END) return LA_OK;
  const int32_t letter = value & 0xff;
  if (letter != 'S' && letter != 'L') return LA_BAD_PARAMETER;
  env->eigenEnd = static_cast<char>(letter);
  return LA_OK;
}

int32_t LA_GetCharParam(const LAEnv* env, int32_t key, int32_t* value) {
  if (env == nullptr || value == nullptr || !knownKey(key)) return LA_BAD_PARAMETER;
  *value = key == LA_KEY_EIGEN_END ? env->eigenEnd : 0;
  return LA_OK;
}

}  // namespace qz
