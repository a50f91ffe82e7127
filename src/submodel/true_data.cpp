#include "submodel/true_data.h"

#include <algorithm>

#include "shell/pool.h"
#include "submodel/bound_removal.h"
#include "submodel/variable_shift.h"

namespace qz {

namespace {

void copyTrueData(const Ipm* ipm, SubModel* submodel) {
  std::copy_n(ipm->obj, ipm->numCol, submodel->trueObj);
  std::copy_n(ipm->rhs, ipm->numRow, submodel->trueRhs);
  std::copy_n(ipm->lower, ipm->numCol, submodel->trueLower);
  std::copy_n(ipm->upper, ipm->numCol, submodel->trueUpper);
}

void freeTrueData(Env* env, SubModel* submodel) {
  poolFree(env->pool, submodel->trueObj);
  poolFree(env->pool, submodel->trueRhs);
  poolFree(env->pool, submodel->trueLower);
  poolFree(env->pool, submodel->trueUpper);
}

}  // namespace

int32_t keepTrueData(const Ipm* ipm, SubModel* submodel) {
  if (submodel == nullptr || submodel->trueObj != nullptr) return QZ_STATUS_OK;
  QzPool* pool = ipm->env->pool;
  submodel->trueObj = poolAllocate<double>(pool, ipm->numCol);
  submodel->trueRhs = poolAllocate<double>(pool, ipm->numRow);
  submodel->trueLower = poolAllocate<double>(pool, ipm->numCol);
  submodel->trueUpper = poolAllocate<double>(pool, ipm->numCol);
  if (submodel->trueObj == nullptr || submodel->trueRhs == nullptr || submodel->trueLower == nullptr ||
      submodel->trueUpper == nullptr) {
    freeTrueData(ipm->env, submodel);
    return QZ_STATUS_OUT_OF_MEMORY;
  }
  copyTrueData(ipm, submodel);
  return QZ_STATUS_OK;
}

void putTrueData(Ipm* ipm, const SubModel* submodel) {
  if (submodel == nullptr || submodel->trueObj == nullptr) return;
  std::copy_n(submodel->trueObj, ipm->numCol, ipm->obj);
  std::copy_n(submodel->trueRhs, ipm->numRow, ipm->rhs);
  std::copy_n(submodel->trueLower, ipm->numCol, ipm->lower);
  std::copy_n(submodel->trueUpper, ipm->numCol, ipm->upper);
}

void releaseTrueData(Ipm* ipm, SubModel* submodel) {
  if (submodel == nullptr) return;
  putTrueData(ipm, submodel);
  freeTrueData(ipm->env, submodel);
}

int32_t shiftTrueData(Ipm* ipm, SubModel* submodel) {
  if (submodel == nullptr || submodel->trueObj == nullptr) return QZ_STATUS_OK;
  copyTrueData(ipm, submodel);
  subShiftData(ipm, submodel);
  if ((submodel->bBigBoundSlack & BIG_INVIVO) != 0) pushBoundsAway(submodel, ipm->lower, ipm->upper);
  if ((submodel->bBigVar & BIG_INVIVO) == 0 || ipm->typeModel != IPM_MODEL_QP) return QZ_STATUS_OK;
  return subShiftPrimalQP(ipm->env, submodel, 1, ipm->numCol, ipm->numQuadCoef, ipm->obj, ipm->quadDiag,
                          ipm->quadColBegin, ipm->quadColLength, ipm->quadRowIndex, ipm->quadMatValue);
}

}  // namespace qz
