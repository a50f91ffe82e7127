#include "submodel/reduction.h"

#include <algorithm>

#include "shell/log.h"
#include "shell/pool.h"
#include "submodel/bound_removal.h"
#include "submodel/variable_shift.h"

namespace qz {

namespace {

// What one preparation works on.
struct Reduction {
  Env* env;
  Presolver* presolver;
  SubModel* submodel;
  Solution* solution;
  const Model* model;
  const IpmOption* options;
};

bool invitro(int32_t flag) {
  return (flag & BIG_INVITRO) != 0;
}

// A row without sense is gone for the presolve.
int32_t freeRows(const Reduction& r) {
  SubModel* s = r.submodel;
  if (!invitro(s->bBigIneqnSlack)) return QZ_STATUS_OK;
  if (s->freedRowDual != nullptr) {
    logText(r.env->log, QZ_LOG_DEBUG, L"Error subRemoveRow: memory allocated already.");
    return QZ_STATUS_FAILED;
  }
  s->freedRowDual = poolAllocate<double>(r.env->pool, s->numBigIneqnSlack);
  if (s->freedRowDual == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t k = 0; k < s->numBigIneqnSlack; ++k) {
    const int32_t i = s->idxRowSub[k];
    r.presolver->rowSense[i] = 'N';
    s->freedRowDual[k] = r.solution->dual[i];
    r.solution->dual[i] = 0.0;
  }
  return QZ_STATUS_OK;
}

// The bound whose dual is big. 0 or 10.
int32_t findSide(const Reduction& r, int32_t j, int32_t* side) {
  const bool lower = r.presolver->lower[j] > -r.options->infinityValue;
  const bool upper = r.presolver->upper[j] < r.options->infinityValue;
  if (!lower && !upper) {
    logText(r.env->log, QZ_LOG_DEBUG, L"Error preSetSubmodel: free variable %d is marked to be fixed", j);
    return QZ_STATUS_FAILED;
  }
  const double lowerDual = r.solution->lowerDual[j];
  const double upperDual = r.solution->upperDual[j];
  if (lower && upper && lowerDual > r.submodel->thresholdBig && upperDual > r.submodel->thresholdBig) {
    logText(r.env->log, QZ_LOG_DEBUG, L"Error preSetSubmodel: both bound duals are big");
    return QZ_STATUS_FAILED;
  }
  const bool atLower = lower && (!upper || lowerDual >= upperDual);
  *side = atLower ? SUB_LOWER : SUB_UPPER;
  return QZ_STATUS_OK;
}

void forgetColumns(const Reduction& r) {
  poolFree(r.env->pool, r.submodel->fixedValue);
  poolFree(r.env->pool, r.submodel->fixedDual);
  poolFree(r.env->pool, r.submodel->fixedSide);
}

bool makeColumnArrays(const Reduction& r) {
  SubModel* s = r.submodel;
  QzPool* pool = r.env->pool;
  poolFree(pool, s->fixedSide);
  s->fixedValue = poolAllocate<double>(pool, s->numBigBoundDual);
  s->fixedDual = poolAllocate<double>(pool, s->numBigBoundDual);
  s->fixedSide = poolAllocateZero<int32_t>(pool, s->numCol);
  return s->fixedValue != nullptr && s->fixedDual != nullptr && s->fixedSide != nullptr;
}

// Decides where each marked column is fixed. Its slack to that bound and the dual of the other one are what the reduced
// solve cannot give back.
int32_t chooseSides(const Reduction& r) {
  SubModel* s = r.submodel;
  if (!invitro(s->bBigBoundDual)) return QZ_STATUS_OK;
  if (s->fixedValue != nullptr || s->fixedDual != nullptr) {
    logText(r.env->log, QZ_LOG_DEBUG, L"Error subRemoveCol: memory allocated already.");
    return QZ_STATUS_FAILED;
  }
  int32_t status = makeColumnArrays(r) ? QZ_STATUS_OK : QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t k = 0; status == QZ_STATUS_OK && k < s->numBigBoundDual; ++k) {
    const int32_t j = s->idxColSub[k];
    status = findSide(r, j, &s->fixedSide[j]);
    const bool atLower = s->fixedSide[j] == SUB_LOWER;
    s->fixedValue[k] = atLower ? r.solution->lowerSlack[j] : r.solution->upperSlack[j];
    s->fixedDual[k] = atLower ? r.solution->upperDual[j] : r.solution->lowerDual[j];
  }
  if (status != QZ_STATUS_OK) forgetColumns(r);
  return status;
}

int32_t shiftVariables(const Reduction& r) {
  if (!invitro(r.submodel->bBigVar)) return QZ_STATUS_OK;
  Presolver* p = r.presolver;
  int32_t status = subShiftPrimal(r.env, r.submodel, r.solution->primal, p->lower, p->upper, p->rhs,
                                  r.options->infinityValue, p->colBegin, p->colLength, p->rowIndex, p->matValue);
  if (status != QZ_STATUS_OK || r.model->typeModel != IPM_MODEL_QP) return status;
  status = subShiftPrimalQP(r.env, r.submodel, 1, r.model->numCol, r.model->numQuadCoef, p->obj, r.model->quadDiag,
                            p->quadColBegin, p->quadColLength, p->quadRowIndex, p->quadMatValue);
  if (status != QZ_STATUS_OK) poolFree(r.env->pool, r.submodel->shiftPrimal);
  return status;
}

// The bound at which the k-th marked column is fixed, in shifted terms.
double fixingBound(const Reduction& r, int32_t k) {
  const int32_t j = r.submodel->idxColSub[k];
  return r.submodel->fixedSide[j] == SUB_LOWER ? r.presolver->lower[j] : r.presolver->upper[j];
}

int32_t numFixed(const Reduction& r) {
  return invitro(r.submodel->bBigBoundDual) ? r.submodel->numBigBoundDual : 0;
}

// Removes far bounds and fixes columns. The bounds at which columns are fixed are taken first: a bound may be far and
// have a big dual as well.
int32_t moveBounds(const Reduction& r) {
  Presolver* p = r.presolver;
  Solution* s = r.solution;
  PoolArray<double> fixed;
  int32_t status = fixed.allocate(r.env->pool, numFixed(r));
  if (status != QZ_STATUS_OK) return status;
  for (int32_t k = 0; k < numFixed(r); ++k) fixed[k] = fixingBound(r, k);
  if (invitro(r.submodel->bBigBoundSlack))
    status =
        subRemoveBound(r.env, r.submodel, p->lower, p->upper, s->lowerSlack, s->upperSlack, s->lowerDual, s->upperDual);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t k = 0; k < numFixed(r); ++k) {
    const int32_t j = r.submodel->idxColSub[k];
    p->lower[j] = p->upper[j] = fixed[k];
  }
  return QZ_STATUS_OK;
}

}  // namespace

int32_t preSetSubmodel(Env* env, Presolver* presolver, SubModel* submodel, Solution* solution, const Model* model,
                       const IpmOption* options) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  const Reduction r{env, presolver, submodel, solution, model, options};
  int32_t status = freeRows(r);
  if (status != QZ_STATUS_OK) return status;
  status = chooseSides(r);
  if (status == QZ_STATUS_OK) {
    status = shiftVariables(r);
    if (status == QZ_STATUS_OK) {
      status = moveBounds(r);
      if (status != QZ_STATUS_OK && invitro(submodel->bBigVar)) poolFree(env->pool, submodel->shiftPrimal);
    }
    if (status != QZ_STATUS_OK && invitro(submodel->bBigBoundDual)) forgetColumns(r);
  }
  if (status != QZ_STATUS_OK && invitro(submodel->bBigIneqnSlack)) poolFree(env->pool, submodel->freedRowDual);
  return status;
}

}  // namespace qz
