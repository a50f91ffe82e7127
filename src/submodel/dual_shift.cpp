#include "submodel/dual_shift.h"

#include "shell/log.h"
#include "shell/pool.h"
#include "submodel/sub_matrix.h"

namespace qz {

namespace {

// An inequality keeps an interior dual.
double chooseShift(char sense, double y, double margin) {
  switch (sense) {
    case 'E':
      return y;
    case 'G':
      return y - margin;
    case 'L':
      return y + margin;
    default:
      return 0.0;
  }
}

void forgetRows(Env* env, SubModel* submodel) {
  FreeRowSub(env, submodel);
  submodel->numRowSub = 0;
}

}  // namespace

int32_t subShiftDual(Env* env, SubModel* submodel, int32_t action, double* y, const char* rowSense, double* obj,
                     const int32_t* rowBegin, const int32_t* rowLength, const int32_t* colIndex,
                     const double* rowValue) {
  if (submodel == nullptr || submodel->numBigDual == 0) return QZ_STATUS_OK;
  if (submodel->shiftDual != nullptr) {
    logText(env->log, QZ_LOG_DEBUG, L"Error subShiftDual: submodel->shiftDual should be NULL");
    return QZ_STATUS_FAILED;
  }
  if (action != SHIFT_DUAL_LISTED && action != SHIFT_DUAL_WHOLE) {
    logText(env->log, QZ_LOG_DEBUG, L"Error subShiftDual: unknown action code.");
    return QZ_STATUS_FAILED;
  }
  submodel->shiftDual = poolAllocate<double>(env->pool, submodel->numBigDual);
  if (submodel->shiftDual == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  const double margin = 0.1 * submodel->thresholdBig;
  for (int32_t k = 0; k < submodel->numBigDual; ++k) {
    const int32_t i = submodel->idxBigDual[k];
    const double shift = chooseShift(rowSense[i], y[i], margin);
    submodel->shiftDual[k] = shift;
    y[i] -= shift;
    const int32_t row = action == SHIFT_DUAL_LISTED ? k : i;
    for (int32_t e = rowBegin[row]; e < rowBegin[row] + rowLength[row]; ++e) obj[colIndex[e]] -= rowValue[e] * shift;
  }
  return QZ_STATUS_OK;
}

int32_t subShiftDualInvivo(Ipm* ipm, SubModel* submodel) {
  if (submodel == nullptr || submodel->numBigDual < 1) return QZ_STATUS_OK;
  if (HasRowSub(submodel)) return QZ_STATUS_FAILED;
  Env* env = ipm->env;
  submodel->numRowSub = submodel->numBigDual;
  int32_t status = CreateRowSub(env, ipm->model, submodel, submodel->numBigDual, submodel->idxBigDual);
  if (status == QZ_STATUS_OK)
    status = subShiftDual(env, submodel, SHIFT_DUAL_LISTED, ipm->dual, ipm->rowSense, ipm->obj, submodel->rowBeginSub,
                          submodel->rowLengthSub, submodel->colIndexSub, submodel->rowMatValueSub);
  if (status != QZ_STATUS_OK) forgetRows(env, submodel);
  return status;
}

int32_t preSetSubDual(Env* env, Presolver* presolver, SubModel* submodel, Solution* solution) {
  if (submodel == nullptr || (submodel->bBigDual & BIG_INVITRO) == 0) return QZ_STATUS_OK;
  return subShiftDual(env, submodel, SHIFT_DUAL_WHOLE, solution->dual, presolver->rowSense, presolver->obj,
                      presolver->rowBegin, presolver->rowLength, presolver->colIndex, presolver->rowValue);
}

void subUnshiftDual(Ipm* ipm, SubModel* submodel, int32_t freeRows) {
  if (submodel == nullptr || submodel->numBigDual < 1 || submodel->shiftDual == nullptr ||
      submodel->idxBigDual == nullptr || submodel->rowBeginSub == nullptr || submodel->rowLengthSub == nullptr ||
      submodel->colIndexSub == nullptr || submodel->rowMatValueSub == nullptr)
    return;
  for (int32_t k = 0; k < submodel->numBigDual; ++k) {
    const double shift = submodel->shiftDual[k];
    ipm->dual[submodel->idxBigDual[k]] += shift;
    const int32_t begin = submodel->rowBeginSub[k];
    for (int32_t e = begin; e < begin + submodel->rowLengthSub[k]; ++e)
      ipm->obj[submodel->colIndexSub[e]] += submodel->rowMatValueSub[e] * shift;
  }
  if (freeRows == 0) return;
  forgetRows(ipm->env, submodel);
  poolFree(ipm->env->pool, submodel->shiftDual);
}

}  // namespace qz
