#include "transform/bound_maps.h"

#include "shell/log.h"
#include "transform/presolver.h"

namespace qz {

namespace {

// The removed row that set the bound until now, or -1.
int32_t replaceSetter(const int32_t* rowMap, int32_t* map, int32_t col, int32_t row) {
  const int32_t former = map[col];
  map[col] = row;
  return former >= 0 && former != row && rowMap[former] < 0 ? former : -1;
}

}  // namespace

void updateMapUpper(Env* env, int32_t* rowMap, int32_t* ubMap, int32_t col, int32_t row) {
  const int32_t former = replaceSetter(rowMap, ubMap, col, row);
  if (former < 0) return;
  switch (rowMap[former]) {
    case ROWMAP_RANGE:
      rowMap[former] = ROWMAP_LOWER;
      break;
    case ROWMAP_UPPER:
      rowMap[former] = ROWMAP_FREE;
      break;
    case ROWMAP_LOWER:
      break;
    case ROWMAP_POSTDET:
      logText(env->log, QZ_LOG_DEBUG,
              L"Error updateMapUpper: col=%d  row=%d  ROWMAP_POSTDET shall never change bound again.", col, former);
      break;
    case ROWMAP_EMPTY:
      logText(env->log, QZ_LOG_DEBUG,
              L"Error updateMapUpper: col=%d  row=%d  ROWMAP_EMPTY shall never change bound again.", col, former);
      break;
    case ROWMAP_FIXED:
      logText(env->log, QZ_LOG_DEBUG,
              L"Error updateMapUpper: col=%d  row=%d  ROWMAP_FIXED shall never change bound again.", col, former);
      break;
    case ROWMAP_FREE:
      logText(env->log, QZ_LOG_DEBUG, L"Error updateMapUpper: col=%d  row=%d  ROWMAP_FREE case should not happen.", col,
              former);
      break;
    default:
      logText(env->log, QZ_LOG_DEBUG, L"col=%d  row=%d  rowMap=%d  unknown rowMap type.", col, former, rowMap[former]);
  }
}

void updateMapLower(Env* env, int32_t* rowMap, int32_t* lbMap, int32_t col, int32_t row) {
  const int32_t former = replaceSetter(rowMap, lbMap, col, row);
  if (former < 0) return;
  switch (rowMap[former]) {
    case ROWMAP_RANGE:
      rowMap[former] = ROWMAP_UPPER;
      break;
    case ROWMAP_LOWER:
      rowMap[former] = ROWMAP_FREE;
      break;
    case ROWMAP_UPPER:
      break;
    case ROWMAP_POSTDET:
      logText(env->log, QZ_LOG_DEBUG,
              L"Error updateMapLower: col=%d  row=%d  ROWMAP_POSTDET shall never change bound again.", col, former);
      break;
    case ROWMAP_EMPTY:
      logText(env->log, QZ_LOG_DEBUG,
              L"Error updateMapLower: col=%d  row=%d  ROWMAP_EMPTY shall never change bound again.", col, former);
      break;
    case ROWMAP_FIXED:
      logText(env->log, QZ_LOG_DEBUG,
              L"Error updateMapLower: col=%d  row=%d  ROWMAP_FIXED shall never change bound again.", col, former);
      break;
    case ROWMAP_FREE:
      logText(env->log, QZ_LOG_DEBUG, L"Error updateMapLower: col=%d  row=%d  ROWMAP_FREE case should not happen.", col,
              former);
      break;
    default:
      logText(env->log, QZ_LOG_DEBUG, L"col=%d  row=%d  rowMap=%d  unknown rowMap type.", col, former, rowMap[former]);
  }
}

}  // namespace qz
