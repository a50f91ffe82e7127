#include "submodel/submodel.h"

#include <algorithm>
#include <numeric>

#include "shell/pool.h"

namespace qz {

int32_t NewSubModel(Env* env, const Model* model, SubModel** out) {
  QzPool* pool = env->pool;
  *out = poolAllocateZero<SubModel>(pool, 1);
  if (*out == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  SubModel& submodel = **out;
  submodel.numRow = model->numRow;
  submodel.numCol = model->numCol;
  submodel.rowMapSub = poolAllocate<int32_t>(pool, model->numRow);
  submodel.colMapSub = poolAllocate<int32_t>(pool, model->numCol);
  submodel.idxRowSub = poolAllocate<int32_t>(pool, model->numRow);
  submodel.idxColSub = poolAllocate<int32_t>(pool, model->numCol);
  submodel.statusBoundSub = poolAllocate<int32_t>(pool, model->numCol);
  submodel.idxBoundSub = poolAllocate<int32_t>(pool, model->numCol);
  if (submodel.rowMapSub == nullptr || submodel.colMapSub == nullptr || submodel.idxRowSub == nullptr ||
      submodel.idxColSub == nullptr || submodel.statusBoundSub == nullptr || submodel.idxBoundSub == nullptr) {
    FreeSubModel(env, out);
    return QZ_STATUS_OUT_OF_MEMORY;
  }
  return QZ_STATUS_OK;
}

int32_t NewSubModel2(Env* env, SubModel* submodel) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  submodel->moveTolerance = 0.01;
  submodel->idxBigVar = poolAllocate<int32_t>(env->pool, submodel->numCol);
  submodel->idxBigDual = poolAllocate<int32_t>(env->pool, submodel->numRow);
  // What could be had stays with the record and is freed with it.
  return submodel->idxBigVar == nullptr || submodel->idxBigDual == nullptr ? QZ_STATUS_OUT_OF_MEMORY : QZ_STATUS_OK;
}

void ClearSubModel(Env* env, SubModel* submodel) {
  if (submodel == nullptr) return;
  QzPool* pool = env->pool;
  submodel->numRowSub = 0;
  submodel->numColSub = 0;
  submodel->numBoundSub = 0;
  FreeColSub(env, submodel);
  FreeRowSub(env, submodel);
  poolFree(pool, submodel->lowerSub);
  poolFree(pool, submodel->upperSub);
  std::iota(submodel->rowMapSub, submodel->rowMapSub + submodel->numRow, 0);
  std::iota(submodel->colMapSub, submodel->colMapSub + submodel->numCol, 0);
  std::fill_n(submodel->statusBoundSub, submodel->numCol, 0);
}

void FreeColSub(Env* env, SubModel* submodel) {
  if (submodel == nullptr) return;
  QzPool* pool = env->pool;
  poolFree(pool, submodel->colBeginSub);
  poolFree(pool, submodel->colLengthSub);
  poolFree(pool, submodel->rowIndexSub);
  poolFree(pool, submodel->matValueSub);
  poolFree(pool, submodel->objSub);
  submodel->numCoefColSub = 0;
}

void FreeRowSub(Env* env, SubModel* submodel) {
  if (submodel == nullptr) return;
  QzPool* pool = env->pool;
  poolFree(pool, submodel->rowBeginSub);
  poolFree(pool, submodel->rowLengthSub);
  poolFree(pool, submodel->colIndexSub);
  poolFree(pool, submodel->rowMatValueSub);
  poolFree(pool, submodel->rhsSub);
  poolFree(pool, submodel->rowSenseSub);
  submodel->numCoefRowSub = 0;
}

bool HasRowSub(const SubModel* submodel) {
  return submodel->rowBeginSub != nullptr || submodel->rowLengthSub != nullptr || submodel->colIndexSub != nullptr ||
         submodel->rowMatValueSub != nullptr || submodel->rhsSub != nullptr || submodel->rowSenseSub != nullptr;
}

void clearBigValues(SubModel* submodel) {
  if (submodel == nullptr) return;
  SubModel& s = *submodel;
  s.bBigVar = s.bBigBoundSlack = s.bBigIneqnSlack = s.bBigDual = s.bBigBoundDual = 0;
  s.planBigVar = s.planBigBoundSlack = s.planBigIneqnSlack = s.planBigDual = s.planBigBoundDual = 0;
  clearIdleKinds(submodel);
}

void clearIdleKinds(SubModel* submodel) {
  if (submodel == nullptr) return;
  const auto clearIdle = [](int32_t flag, int32_t& count, int32_t& previous, double& movement) {
    if (flag != 0) return;
    count = previous = 0;
    movement = 0.0;
  };
  SubModel& s = *submodel;
  clearIdle(s.bBigVar, s.numBigVar, s.prevBigVar, s.deltaX);
  clearIdle(s.bBigBoundSlack, s.numBigBoundSlack, s.prevBigBoundSlack, s.deltaBound);
  clearIdle(s.bBigIneqnSlack, s.numBigIneqnSlack, s.prevBigIneqnSlack, s.deltaRow);
  clearIdle(s.bBigDual, s.numBigDual, s.prevBigDual, s.deltaY);
  clearIdle(s.bBigBoundDual, s.numBigBoundDual, s.prevBigBoundDual, s.deltaColumn);
  if (s.bBigBoundSlack == 0) s.numBoundSub = 0;
  if (s.bBigIneqnSlack == 0 && !HasRowSub(submodel)) s.numRowSub = 0;
  if (s.bBigBoundDual == 0) s.numColSub = 0;
}

void FreeSubModel(Env* env, SubModel** submodel) {
  if (submodel == nullptr || *submodel == nullptr) return;
  QzPool* pool = env->pool;
  SubModel& record = **submodel;
  poolFree(pool, record.rowMapSub);
  poolFree(pool, record.colMapSub);
  poolFree(pool, record.idxRowSub);
  poolFree(pool, record.idxColSub);
  FreeColSub(env, *submodel);
  FreeRowSub(env, *submodel);
  poolFree(pool, record.statusBoundSub);
  poolFree(pool, record.idxBoundSub);
  poolFree(pool, record.lowerSub);
  poolFree(pool, record.upperSub);
  poolFree(pool, record.idxBigVar);
  poolFree(pool, record.idxBigDual);
  poolFree(pool, record.shiftPrimal);
  poolFree(pool, record.shiftDual);
  poolFree(pool, record.trueObj);
  poolFree(pool, record.trueRhs);
  poolFree(pool, record.trueLower);
  poolFree(pool, record.trueUpper);
  poolFree(pool, record.savedLowerDual);
  poolFree(pool, record.savedUpperDual);
  poolFree(pool, record.fixedValue);
  poolFree(pool, record.fixedDual);
  poolFree(pool, record.fixedSide);
  poolFree(pool, record.freedRowDual);
  poolFree(pool, record.idxColExtra);
  poolFree(pool, record.idxRowExtra);
  poolFree(pool, *submodel);
}

}  // namespace qz
