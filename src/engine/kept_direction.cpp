#include "engine/kept_direction.h"

#include <algorithm>

#include "diagnostics/verify_submodel.h"
#include "shell/log.h"
#include "shell/pool.h"

namespace qz {

namespace {

int32_t newKeptSolution(Env* env, const Model* model, Hub* hub) {
  const int32_t numCol = std::max({model->numCol, hub->numColSaved, hub->numColInput});
  const int32_t numRow = std::max({model->numRow, hub->numRowSaved, hub->numRowInput});
  QzPool* pool = env->pool;
  KeptSolution* kept = poolAllocateZero<KeptSolution>(pool, 1);
  if (kept == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  hub->keptSolution = kept;
  double** const columns[] = {&kept->primalDelta, &kept->lowerSlackDelta, &kept->upperSlackDelta, &kept->lowerDualDelta,
                              &kept->upperDualDelta};
  double** const rows[] = {&kept->dualDelta, &kept->ineqnSlackDelta};
  for (double** column : columns) {
    *column = poolAllocateZero<double>(pool, numCol);
    if (*column == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  }
  for (double** row : rows) {
    *row = poolAllocateZero<double>(pool, numRow);
    if (*row == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  }
  return QZ_STATUS_OK;
}

// target[k] = source[map[k]] for every entry that is still there; a null map is the identity.
void copyMapped(int32_t count, const int32_t* map, const double* source, double* target) {
  for (int32_t k = 0; k < count; ++k) {
    const int32_t from = map == nullptr ? k : map[k];
    if (from >= 0) target[k] = source[from];
  }
}

}  // namespace

int32_t recordDirection(const Ipm* ipm, const Model* model, Hub* hub, const SubModel* submodel) {
  if (hub->keptSolution != nullptr) return QZ_STATUS_FAILED;
  const int32_t status = newKeptSolution(ipm->env, model, hub);
  if (status != QZ_STATUS_OK) return status;
  KeptSolution* kept = hub->keptSolution;
  const int32_t* colMap = submodel == nullptr ? nullptr : submodel->colMapSub;
  const int32_t* rowMap = submodel == nullptr ? nullptr : submodel->rowMapSub;
  if ((colMap == nullptr || rowMap == nullptr) && (model->numCol != ipm->numCol || model->numRow != ipm->numRow)) {
    logText(ipm->env->log, QZ_LOG_DEBUG, L"Error recordDirection: no model reduction, dimension doesn't match.");
    return QZ_STATUS_FAILED;
  }
  kept->alphaPrimal = ipm->alphaPrimal;
  kept->alphaDual = ipm->alphaDual;
  copyMapped(model->numCol, colMap, ipm->rhsCorrector, kept->primalDelta);
  copyMapped(model->numCol, colMap, ipm->lowerSlackDelta, kept->lowerSlackDelta);
  copyMapped(model->numCol, colMap, ipm->upperSlackDelta, kept->upperSlackDelta);
  copyMapped(model->numCol, colMap, ipm->lowerDualDelta, kept->lowerDualDelta);
  copyMapped(model->numCol, colMap, ipm->upperDualDelta, kept->upperDualDelta);
  copyMapped(model->numRow, rowMap, ipm->rhsCorrector + ipm->numCol, kept->dualDelta);
  copyMapped(model->numRow, rowMap, ipm->ineqnSlackDelta, kept->ineqnSlackDelta);
  return VerifyRecordDirection(ipm, ipm->debugLevel, model, hub, submodel);
}

}  // namespace qz
