#include "submodel/bound_removal.h"

#include <cmath>

#include "engine/engine_state.h"
#include "shell/log.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double kZeroBound = 1e-10;

void freeSaved(QzPool* pool, SubModel* s) {
  poolFree(pool, s->lowerSub);
  poolFree(pool, s->upperSub);
  poolFree(pool, s->savedLowerDual);
  poolFree(pool, s->savedUpperDual);
}

bool makeSaved(QzPool* pool, SubModel* s) {
  const int32_t n = s->numBigBoundSlack;
  s->lowerSub = poolAllocate<double>(pool, n);
  s->upperSub = poolAllocate<double>(pool, n);
  s->savedLowerDual = poolAllocate<double>(pool, n);
  s->savedUpperDual = poolAllocate<double>(pool, n);
  if (s->lowerSub != nullptr && s->upperSub != nullptr && s->savedLowerDual != nullptr && s->savedUpperDual != nullptr)
    return true;
  freeSaved(pool, s);
  return false;
}

void setFreeFlag(Ipm* ipm, int32_t j) {
  uint8_t& flags = ipm->statusBound[j];
  const bool bounded = hasLower(flags) || hasUpper(flags);
  flags = bounded ? static_cast<uint8_t>(flags & ~BOUND_FREE) : uint8_t{BOUND_FREE};
}

void dropUpper(Ipm* ipm, int32_t j) {
  ipm->upperSlackDelta[j] = ipm->upperDualDelta[j] = 0.0;
  ipm->statusBound[j] = static_cast<uint8_t>(ipm->statusBound[j] & ~BOUND_UPPER);
  --ipm->numUpper;
  --ipm->numCompl;
}

void dropLower(Ipm* ipm, int32_t j) {
  ipm->lowerSlackDelta[j] = ipm->lowerDualDelta[j] = 0.0;
  ipm->statusBound[j] = static_cast<uint8_t>(ipm->statusBound[j] & ~BOUND_ANY_LOWER);
  --ipm->numLower;
  --ipm->numCompl;
}

void restoreUpper(Ipm* ipm, int32_t j, double bound, double dual) {
  ipm->upper[j] = bound;
  ipm->upperSlack[j] = std::fabs(bound - ipm->primal[j]);
  ipm->upperDual[j] = dual;
  ipm->statusBound[j] = static_cast<uint8_t>(ipm->statusBound[j] | BOUND_UPPER);
  ++ipm->numUpper;
  ++ipm->numCompl;
}

void restoreLower(Ipm* ipm, int32_t j, double bound, double dual) {
  ipm->lower[j] = bound;
  ipm->lowerSlack[j] = std::fabs(ipm->primal[j] - bound);
  ipm->lowerDual[j] = dual;
  const uint8_t flag = std::fabs(bound) < kZeroBound ? BOUND_LOWER_ZERO : BOUND_LOWER;
  ipm->statusBound[j] = static_cast<uint8_t>(ipm->statusBound[j] | flag);
  ++ipm->numLower;
  ++ipm->numCompl;
}

}  // namespace

int32_t subRemoveBound(Env* env, SubModel* submodel, double* lower, double* upper, double* lowerSlack,
                       double* upperSlack, double* lowerDual, double* upperDual) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  if (submodel->lowerSub != nullptr) {
    logText(env->log, QZ_LOG_DEBUG, L"Error subRemoveBound: memory allocated already.");
    return QZ_STATUS_FAILED;
  }
  if (!makeSaved(env->pool, submodel)) return QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t k = 0; k < submodel->numBigBoundSlack; ++k) {
    const int32_t j = submodel->idxBoundSub[k];
    submodel->lowerSub[k] = lower[j];
    submodel->upperSub[k] = upper[j];
    submodel->savedLowerDual[k] = lowerDual[j];
    submodel->savedUpperDual[k] = upperDual[j];
    if ((submodel->statusBoundSub[j] & SUB_UPPER) != 0) upperSlack[j] = upperDual[j] = 0.0;
    if ((submodel->statusBoundSub[j] & SUB_LOWER) != 0) lowerSlack[j] = lowerDual[j] = 0.0;
  }
  pushBoundsAway(submodel, lower, upper);
  return QZ_STATUS_OK;
}

int32_t subRemoveBoundInvivo(Ipm* ipm, SubModel* submodel) {
  if (submodel == nullptr || submodel->numBigBoundSlack <= 0) return QZ_STATUS_OK;
  const int32_t status = subRemoveBound(ipm->env, submodel, ipm->lower, ipm->upper, ipm->lowerSlack, ipm->upperSlack,
                                        ipm->lowerDual, ipm->upperDual);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t k = 0; k < submodel->numBigBoundSlack; ++k) {
    const int32_t j = submodel->idxBoundSub[k];
    if ((submodel->statusBoundSub[j] & SUB_UPPER) != 0) dropUpper(ipm, j);
    if ((submodel->statusBoundSub[j] & SUB_LOWER) != 0) dropLower(ipm, j);
    setFreeFlag(ipm, j);
  }
  return QZ_STATUS_OK;
}

void pushBoundsAway(const SubModel* submodel, double* lower, double* upper) {
  for (int32_t k = 0; k < submodel->numBigBoundSlack; ++k) {
    const int32_t j = submodel->idxBoundSub[k];
    if ((submodel->statusBoundSub[j] & SUB_UPPER) != 0) upper[j] = kRemovedBound;
    if ((submodel->statusBoundSub[j] & SUB_LOWER) != 0) lower[j] = -kRemovedBound;
  }
}

int32_t subCountRemoveBound(const Ipm* /*ipm*/, const SubModel* submodel) {
  if (submodel == nullptr) return 0;
  int32_t count = 0;
  for (int32_t k = 0; k < submodel->numBigBoundSlack; ++k) {
    const int32_t sides = submodel->statusBoundSub[submodel->idxBoundSub[k]];
    if ((sides & SUB_LOWER) != 0) ++count;
    if ((sides & SUB_UPPER) != 0) ++count;
  }
  return count;
}

void subRestoreBound(Ipm* ipm, const Hub* hub, SubModel* submodel) {
  if (submodel == nullptr || submodel->numBigBoundSlack <= 0 || submodel->lowerSub == nullptr ||
      submodel->upperSub == nullptr || submodel->savedLowerDual == nullptr || submodel->savedUpperDual == nullptr)
    return;
  const bool keepsDual = hub->routeSubmodel != ROUTE_INVIVO;
  for (int32_t k = 0; k < submodel->numBigBoundSlack; ++k) {
    const int32_t j = submodel->idxBoundSub[k];
    const int32_t sides = submodel->statusBoundSub[j];
    if ((sides & SUB_UPPER) != 0)
      restoreUpper(ipm, j, submodel->upperSub[k], keepsDual ? submodel->savedUpperDual[k] : 0.0);
    if ((sides & SUB_LOWER) != 0)
      restoreLower(ipm, j, submodel->lowerSub[k], keepsDual ? submodel->savedLowerDual[k] : 0.0);
    setFreeFlag(ipm, j);
  }
  freeSaved(ipm->env->pool, submodel);
}

}  // namespace qz
