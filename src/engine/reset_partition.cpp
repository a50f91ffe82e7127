#include "engine/reset_partition.h"

#include <algorithm>

#include "engine/engine_state.h"

namespace qz {

namespace {

constexpr double kSmall = 1e-4;
constexpr double kRatio = 0.1;
constexpr int32_t kKeep = 0;
constexpr int32_t kUndecided = -10;

// a is so much smaller than b, or than the floor, that it is the side that goes to zero.
bool vanishes(double a, double b, double floor) {
  return std::max(floor, kRatio * b) > a;
}

bool isSmall(double slack, double dual) {
  return slack < kSmall && dual < kSmall;
}

// One pair decides alone.
int32_t decideBound(double slack, double dual, int32_t atBound) {
  const double floor = isSmall(slack, dual) ? 0.0 : kSmall;
  if (vanishes(slack, dual, floor)) return atBound;
  return vanishes(dual, slack, floor) ? kKeep : kUndecided;
}

int32_t decideBox(const Ipm* ipm, int32_t j) {
  const double lowerSlack = ipm->lowerSlack[j];
  const double upperSlack = ipm->upperSlack[j];
  const double lowerDual = ipm->lowerDual[j];
  const double upperDual = ipm->upperDual[j];
  if (isSmall(lowerSlack, lowerDual)) return decideBound(lowerSlack, lowerDual, RESET_AT_LOWER);
  if (isSmall(upperSlack, upperDual)) return decideBound(upperSlack, upperDual, RESET_AT_UPPER);
  if (vanishes(lowerSlack, lowerDual, kSmall)) return RESET_AT_LOWER;
  if (vanishes(upperSlack, upperDual, kSmall)) return RESET_AT_UPPER;
  const bool awayFromBoth = vanishes(lowerDual, lowerSlack, kSmall) && vanishes(upperDual, upperSlack, kSmall);
  return awayFromBoth ? kKeep : kUndecided;
}

int32_t decideColumn(const Ipm* ipm, int32_t j) {
  const uint8_t bounds = ipm->statusBound[j];
  if (hasLower(bounds) && hasUpper(bounds)) return decideBox(ipm, j);
  if (hasLower(bounds)) return decideBound(ipm->lowerSlack[j], ipm->lowerDual[j], RESET_AT_LOWER);
  if (hasUpper(bounds)) return decideBound(ipm->upperSlack[j], ipm->upperDual[j], RESET_AT_UPPER);
  return kKeep;
}

int32_t decideRow(const Ipm* ipm, int32_t i) {
  if (ipm->rowSense[i] == 'E') return kKeep;
  if (vanishes(ipm->ineqnSlack[i], ipm->dual[i], kSmall)) return kKeep;
  return vanishes(ipm->dual[i], ipm->ineqnSlack[i], kSmall) ? RESET_ROW_DROPPED : kUndecided;
}

}  // namespace

int32_t makeResetPartition(const Ipm* ipm, ResetPartition* partition) {
  QzPool* pool = ipm->env->pool;
  if (partition->colState.allocate(pool, ipm->numCol) != QZ_STATUS_OK ||
      partition->rowState.allocate(pool, ipm->numRow) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  partition->numColKept = 0;
  partition->numRowKept = 0;
  for (int32_t j = 0; j < ipm->numCol; ++j) {
    const int32_t decision = decideColumn(ipm, j);
    if (decision == kUndecided) return QZ_STATUS_FAILED;
    partition->colState[j] = decision == kKeep ? partition->numColKept++ : decision;
  }
  for (int32_t i = 0; i < ipm->numRow; ++i) {
    const int32_t decision = decideRow(ipm, i);
    if (decision == kUndecided) return QZ_STATUS_FAILED;
    partition->rowState[i] = decision == kKeep ? partition->numRowKept++ : decision;
  }
  return QZ_STATUS_OK;
}

}  // namespace qz
