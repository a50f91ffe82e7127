#include "submodel/restoration.h"

#include <algorithm>

#include "shell/log.h"
#include "shell/pool.h"
#include "submodel/reduced_cost.h"
#include "submodel/sub_matrix.h"

namespace qz {

namespace {

// What one restoration works on.
struct Restoration {
  Env* env;
  const Model* model;
  const Presolver* presolver;
  SubModel* submodel;
  Solution* solution;
  double infinity;
  double smallest;

  void enter(double value) { smallest = std::min(smallest, value); }
};

bool invitro(int32_t flag) {
  return (flag & BIG_INVITRO) != 0;
}

// True when a list that was not acted on in vitro is wanted all the same.
bool inReducedNumbers(int32_t flag, int32_t plan) {
  return !invitro(flag) && (invitro(plan) || (flag & BIG_INVIVO) != 0);
}

// The index whose map entry is r; the map ascends, so it is not below r. r itself where there is none.
int32_t fullIndex(const int32_t* map, int32_t count, int32_t r) {
  if (map == nullptr) return r;
  for (int32_t i = r; i < count; ++i)
    if (map[i] == r) return i;
  return r;
}

void translate(const int32_t* map, int32_t mapCount, int32_t count, int32_t* list) {
  for (int32_t k = count - 1; k >= 0; --k) list[k] = fullIndex(map, mapCount, list[k]);
}

// From the last entry down, so that no side is overwritten before it has moved.
void translateBounds(const Restoration& r) {
  SubModel* s = r.submodel;
  for (int32_t k = s->numBigBoundSlack - 1; k >= 0; --k) {
    const int32_t from = s->idxBoundSub[k];
    const int32_t to = fullIndex(r.presolver->colMap, s->numCol, from);
    if (to == from) continue;
    s->idxBoundSub[k] = to;
    s->statusBoundSub[to] = s->statusBoundSub[from];
    s->statusBoundSub[from] = 0;
  }
}

// A row that the reduced model did not keep has got its dual from the postsolve.
void restoreDuals(Restoration& r) {
  SubModel* s = r.submodel;
  if (inReducedNumbers(s->bBigDual, s->planBigDual))
    translate(r.presolver->rowMap, s->numRow, s->numBigDual, s->idxBigDual);
  if (!invitro(s->bBigDual) || s->shiftDual == nullptr) return;
  for (int32_t k = s->numBigDual - 1; k >= 0; --k) {
    const int32_t i = s->idxBigDual[k];
    if (r.presolver->rowMap[i] >= 0) r.solution->dual[i] += s->shiftDual[k];
  }
}

// x and the saved bounds are both in shifted terms here.
void restoreBounds(Restoration& r) {
  SubModel* s = r.submodel;
  if (inReducedNumbers(s->bBigBoundSlack, s->planBigBoundSlack)) translateBounds(r);
  if (!invitro(s->bBigBoundSlack) || s->lowerSub == nullptr) return;
  Solution* out = r.solution;
  for (int32_t k = s->numBigBoundSlack - 1; k >= 0; --k) {
    const int32_t j = s->idxBoundSub[k];
    if ((s->statusBoundSub[j] & SUB_UPPER) != 0) {
      out->upperDual[j] = s->savedUpperDual[k];
      out->upperSlack[j] = s->upperSub[k] - out->primal[j];
      r.enter(out->upperSlack[j]);
    }
    if ((s->statusBoundSub[j] & SUB_LOWER) != 0) {
      out->lowerDual[j] = s->savedLowerDual[k];
      out->lowerSlack[j] = out->primal[j] - s->lowerSub[k];
      r.enter(out->lowerSlack[j]);
    }
  }
}

void restoreVariables(Restoration& r) {
  SubModel* s = r.submodel;
  if (inReducedNumbers(s->bBigVar, s->planBigVar))
    translate(r.presolver->colMap, s->numCol, s->numBigVar, s->idxBigVar);
  if (!invitro(s->bBigVar) || s->shiftPrimal == nullptr) return;
  for (int32_t k = s->numBigVar - 1; k >= 0; --k) r.solution->primal[s->idxBigVar[k]] += s->shiftPrimal[k];
}

// Column j, fixed as the k-th, has reduced cost d. The dual of its bound is all of it: that of the other one is 0 in
// the end.
int32_t restoreColumn(Restoration& r, int32_t k, int32_t j, double d) {
  const SubModel* s = r.submodel;
  Solution* out = r.solution;
  const double lower = r.model->lower[j];
  const double upper = r.model->upper[j];
  const bool hasLower = lower > -r.infinity;
  const bool hasUpper = upper < r.infinity;
  const double width = hasLower && hasUpper ? upper - lower : 0.0;
  const int32_t side = s->fixedSide == nullptr ? 0 : s->fixedSide[j];
  if (side == SUB_LOWER && hasLower) {
    out->lowerDual[j] = d;
    out->lowerSlack[j] = s->fixedValue[k];
    out->upperDual[j] = s->fixedDual[k];
    out->upperSlack[j] = width;
  } else if (side == SUB_UPPER && hasUpper) {
    out->upperDual[j] = -d;
    out->upperSlack[j] = s->fixedValue[k];
    out->lowerDual[j] = s->fixedDual[k];
    out->lowerSlack[j] = width;
  } else {
    logText(r.env->log, QZ_LOG_DEBUG, L"Error preRestoreSubmodel: unknown status with removed columns");
    return QZ_STATUS_FAILED;
  }
  r.enter(side == SUB_LOWER ? d : -d);
  return QZ_STATUS_OK;
}

// Stands ahead of the freed rows: their duals are 0 here, as they will be in the end.
int32_t restoreColumns(Restoration& r) {
  SubModel* s = r.submodel;
  if (inReducedNumbers(s->bBigBoundDual, s->planBigBoundDual))
    translate(r.presolver->colMap, s->numCol, s->numBigBoundDual, s->idxColSub);
  if (!invitro(s->bBigBoundDual) || s->fixedValue == nullptr) return QZ_STATUS_OK;
  PoolArray<double> gradient;
  int32_t status = makeGradient(r.env, r.model, r.solution->primal, gradient);
  for (int32_t k = s->numBigBoundDual - 1; status == QZ_STATUS_OK && k >= 0; --k) {
    const int32_t j = s->idxColSub[k];
    status = restoreColumn(r, k, j, gradient[j] - columnTimes(r.model, j, r.solution->dual));
  }
  return status;
}

// Slack of the k-th row of the sub-matrix at x.
double rowSlack(const SubModel* s, int32_t k, const double* x) {
  double activity = 0.0;
  for (int32_t e = s->rowBeginSub[k]; e < s->rowBeginSub[k] + s->rowLengthSub[k]; ++e)
    activity += s->rowMatValueSub[e] * x[s->colIndexSub[e]];
  switch (s->rowSenseSub[k]) {
    case 'G':
      return activity - s->rhsSub[k];
    case 'L':
      return s->rhsSub[k] - activity;
    default:
      return 0.0;
  }
}

int32_t restoreRows(Restoration& r) {
  SubModel* s = r.submodel;
  if (inReducedNumbers(s->bBigIneqnSlack, s->planBigIneqnSlack))
    translate(r.presolver->rowMap, s->numRow, s->numBigIneqnSlack, s->idxRowSub);
  if (!invitro(s->bBigIneqnSlack) || s->freedRowDual == nullptr) return QZ_STATUS_OK;
  if (HasRowSub(s)) return QZ_STATUS_FAILED;
  s->numRowSub = s->numBigIneqnSlack;
  const int32_t status = CreateRowSub(r.env, r.model, s, s->numRowSub, s->idxRowSub);
  if (status != QZ_STATUS_OK) return status;
  for (int32_t k = s->numRowSub - 1; k >= 0; --k) {
    const int32_t i = s->idxRowSub[k];
    r.solution->dual[i] = s->freedRowDual[k];
    r.solution->ineqnSlack[i] = rowSlack(s, k, r.solution->primal);
    if (s->rowSenseSub[k] == 'G' || s->rowSenseSub[k] == 'L') r.enter(r.solution->ineqnSlack[i]);
  }
  return QZ_STATUS_OK;
}

void freeKept(Env* env, SubModel* s) {
  QzPool* pool = env->pool;
  s->numRowSub = 0;
  FreeRowSub(env, s);
  for (double** array : {&s->shiftPrimal, &s->shiftDual, &s->lowerSub, &s->upperSub, &s->savedLowerDual,
                         &s->savedUpperDual, &s->fixedValue, &s->fixedDual, &s->freedRowDual})
    poolFree(pool, *array);
}

// Raises `value` to the floor; true when it was below.
bool raise(double& value, double floor) {
  if (value >= floor) return false;
  value = floor;
  return true;
}

bool raiseBounds(Solution* s, const SubModel* sub, const Model* model, double infinity, double floor) {
  bool moved = false;
  for (int32_t k = 0; k < sub->numBigBoundSlack; ++k) {
    const int32_t j = sub->idxBoundSub[k];
    const int32_t sides = sub->statusBoundSub[j];
    if ((sides & SUB_UPPER) != 0 && raise(s->upperSlack[j], floor)) {
      moved = true;
      s->primal[j] = model->upper[j] - floor;
      if (model->lower[j] > -infinity) s->lowerSlack[j] = s->primal[j] - model->lower[j];
    }
    if ((sides & SUB_LOWER) != 0 && raise(s->lowerSlack[j], floor)) {
      moved = true;
      s->primal[j] = model->lower[j] + floor;
      if (model->upper[j] < infinity) s->upperSlack[j] = model->upper[j] - s->primal[j];
    }
  }
  return moved;
}

bool raiseColumns(Solution* s, const SubModel* sub, double floor) {
  bool moved = false;
  for (int32_t k = 0; k < sub->numBigBoundDual; ++k) {
    const int32_t j = sub->idxColSub[k];
    double* dual = sub->fixedSide[j] == SUB_LOWER ? s->lowerDual : s->upperDual;
    if (raise(dual[j], floor)) moved = true;
  }
  return moved;
}

bool raiseRows(Solution* s, const SubModel* sub, double floor) {
  bool moved = false;
  for (int32_t k = 0; k < sub->numBigIneqnSlack; ++k)
    if (raise(s->ineqnSlack[sub->idxRowSub[k]], floor)) moved = true;
  return moved;
}

}  // namespace

int32_t preRestoreSubmodel(Env* env, const Model* model, const Presolver* presolver, SubModel* submodel,
                           Solution* solution, const IpmOption* options, double* smallest) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  Restoration r{env, model, presolver, submodel, solution, options->infinityValue, options->infinityValue};
  restoreDuals(r);
  restoreBounds(r);
  restoreVariables(r);
  int32_t status = restoreColumns(r);
  if (status == QZ_STATUS_OK) status = restoreRows(r);
  freeKept(env, submodel);
  *smallest = r.smallest;
  return status;
}

int32_t subRecoverPositive(Solution* solution, const SubModel* submodel, const Model* model, const IpmOption* options,
                           double smallest) {
  const double floor = std::max({1e-4, 100.0 * options->tolPrimal, 100.0 * options->tolDual});
  if (submodel == nullptr || smallest >= floor) return QZ_STATUS_OK;
  bool moved = false;
  if (submodel->bBigBoundSlack != 0) moved |= raiseBounds(solution, submodel, model, options->infinityValue, floor);
  if (submodel->bBigBoundDual != 0 && submodel->fixedSide != nullptr) moved |= raiseColumns(solution, submodel, floor);
  if (submodel->bBigIneqnSlack != 0) moved |= raiseRows(solution, submodel, floor);
  return moved ? QZ_STATUS_RESTART : QZ_STATUS_OK;
}

void CleanSubComplem(Solution* solution, const SubModel* submodel, const Model* /*model*/,
                     const IpmOption* /*options*/) {
  if (submodel == nullptr) return;
  const SubModel& s = *submodel;
  for (int32_t k = 0; s.bBigBoundSlack != 0 && k < s.numBigBoundSlack; ++k) {
    const int32_t j = s.idxBoundSub[k];
    if ((s.statusBoundSub[j] & SUB_UPPER) != 0) solution->upperDual[j] = 0.0;
    if ((s.statusBoundSub[j] & SUB_LOWER) != 0) solution->lowerDual[j] = 0.0;
  }
  for (int32_t k = 0; s.bBigBoundDual != 0 && s.fixedSide != nullptr && k < s.numBigBoundDual; ++k) {
    const int32_t j = s.idxColSub[k];
    const bool atLower = s.fixedSide[j] == SUB_LOWER;
    (atLower ? solution->lowerSlack : solution->upperSlack)[j] = 0.0;
    (atLower ? solution->upperDual : solution->lowerDual)[j] = 0.0;
  }
  for (int32_t k = 0; s.bBigIneqnSlack != 0 && k < s.numBigIneqnSlack; ++k) solution->dual[s.idxRowSub[k]] = 0.0;
}

}  // namespace qz
