#include "shell/lp_options.h"

#include <algorithm>
#include <limits>

#include "shell/log.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kSmallestTolerance = 1e-15;
// Just under half of the largest double: a limit that can be lowered and doubled without overflow.
constexpr double kNoTimeLimit = 8.988465674311578e+307;

// Processors of the host, at least 1.
int32_t hostProcessors() {
  int64_t count = -1;
  if (!hostIntegerOption(QZ_OPTION_CPUCOUNT, QZ_OPTION_CPUCOUNT_LENGTH, count)) return 1;
  return static_cast<int32_t>(std::clamp<int64_t>(count, 1, std::numeric_limits<int32_t>::max()));
}

// The host's switch for the big-value submodels; without it they are on.
bool submodelsOn() {
  int64_t on = 1;
  return !hostIntegerOption(QZ_OPTION_SUBMODEL, QZ_OPTION_SUBMODEL_LENGTH, on) || on != 0;
}

}  // namespace

LpOptions* createLpOptions(Env* env) {
  LpOptions* options = poolAllocateZero<LpOptions>(env->pool, 1);
  resetLpOptions(options);
  return options;
}

void resetLpOptions(LpOptions* options) {
  if (options == nullptr) return;
  *options = LpOptions{};
  options->presolveMode = -1;
  options->modeCheck = 3;
  options->countCheck = -1;
  options->optionInt28 = -1;
  options->maxIter = std::numeric_limits<int32_t>::max();
  options->timeLimit = kNoTimeLimit;
  options->methodOption = 100;
  options->logFrequency = 1;
  options->printLevel = 2;
  options->optionTol72 = 1e-6;
  options->optionTol80 = 1e-6;
  options->optionInt88 = 2000;
  options->optionTol96 = 1e-20;
  options->optionInt144 = 1;
  options->tolOptimality = 1e-6;
  options->tolPrimal = 1e-6;
  options->tolDual = 1e-6;
  options->numThread = hostProcessors();
  options->timeType = options->numThread >= 2 ? 1 : 0;
}

int32_t validateLpOptions(QzLog* log, const LpOptions* options) {
  if (options->modeCheck != 3) logCode(log, QZ_LOG_WARNING, QZ_MSG_MODE_CHECK);
  if (options->timeType != 0 && options->timeType != 1) logCode(log, QZ_LOG_WARNING, QZ_MSG_TIME_TYPE);
  if (options->tolOptimality < kSmallestTolerance) {
    logCode(log, QZ_LOG_ERROR, QZ_MSG_TOL_OPTIMALITY, options->tolOptimality);
    return QZ_STATUS_FAILED;
  }
  if (options->tolPrimal < kSmallestTolerance) {
    logCode(log, QZ_LOG_ERROR, QZ_MSG_TOL_PRIMAL, options->tolPrimal);
    return QZ_STATUS_FAILED;
  }
  if (options->tolDual < kSmallestTolerance) {
    logCode(log, QZ_LOG_ERROR, QZ_MSG_TOL_DUAL, options->tolDual);
    return QZ_STATUS_FAILED;
  }
  if (options->initOption != 0 && options->initOption != 1) {
    logText(log, QZ_LOG_DEBUG, L"Unknown initialization option %d", options->initOption);
    return QZ_STATUS_FAILED;
  }
  if (options->countCheck != -1) logCode(log, QZ_LOG_WARNING, QZ_MSG_COUNT_CHECK);
  return QZ_STATUS_OK;
}

void fillIpmOption(IpmOption* option, const LpOptions* options) {
  *option = IpmOption{};
  option->presolveMode = options->presolveMode;
  option->debugLevel = options->debugLevel;
  option->timeType = options->timeType;
  option->tolPrimal = options->tolPrimal;
  option->tolDual = options->tolDual;
  option->tolOptimality = options->tolOptimality;
  option->infinityValue = kInfinity;
  option->maxIter = options->maxIter;
  option->timeLimit = options->timeLimit;
  option->logFrequency = options->logFrequency;
  // Iteration lines need a frequency; without one only the summary is left.
  option->printLevel = options->logFrequency < 1 && options->printLevel >= 2 ? 1 : options->printLevel;
  option->crossover = options->crossover;
  option->initOption = options->initOption;
  option->numThread = options->numThread;
  option->threadMode = options->threadMode;
  option->typeMethod = options->methodOption == 1 ? IPM_METHOD_NORMAL : IPM_METHOD_AUGMENTED;
  option->submodelOff = submodelsOn() ? 0 : 1;
}

}  // namespace qz
