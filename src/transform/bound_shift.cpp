#include "transform/bound_shift.h"

#include <algorithm>

#include "shell/pool.h"

namespace qz {

namespace {

bool isReflection(int32_t status) {
  return status < 0;
}

double signOf(int32_t status) {
  return isReflection(status) ? -1.0 : 1.0;
}

bool hasAlternate(const Hub* hub) {
  return hub != nullptr && hub->altLower != nullptr && hub->altUpper != nullptr;
}

// rhs += factor * column j.
void addColumnToRhs(Model* model, int32_t j, double factor) {
  const int32_t begin = model->colBegin[j];
  for (int32_t k = begin; k < begin + model->colLength[j]; ++k)
    model->rhs[model->rowIndex[k]] += model->matValue[k] * factor;
}

void negateColumn(Model* model, int32_t j) {
  const int32_t begin = model->colBegin[j];
  for (int32_t k = begin; k < begin + model->colLength[j]; ++k) model->matValue[k] = -model->matValue[k];
  model->obj[j] = -model->obj[j];
}

void classify(double lower, double upper, double infinity, int32_t* status, double* value) {
  *status = SHIFT_NONE;
  *value = 0.0;
  if (lower <= -infinity) {
    if (upper >= infinity) return;
    *status = upper == 0.0 ? SHIFT_REFLECTED_0 : SHIFT_REFLECTED;
    *value = upper == 0.0 ? 0.0 : upper;
  } else if (lower != 0.0) {
    *status = SHIFT_LOWER;
    *value = lower;
  }
}

void shiftColumn(Model* model, int32_t j, int32_t status, double p, double infinity) {
  if (status == SHIFT_LOWER) {
    addColumnToRhs(model, j, -p);
    model->lower[j] = 0.0;
    if (model->upper[j] < infinity) model->upper[j] -= p;
  } else {
    if (status == SHIFT_REFLECTED) addColumnToRhs(model, j, -p);
    negateColumn(model, j);
    // The infinite lower bound is the new upper bound, with its sign turned.
    model->upper[j] = -model->lower[j];
    model->lower[j] = 0.0;
  }
}

void restoreColumn(Model* model, int32_t j, int32_t status, double p, double infinity) {
  if (status == SHIFT_LOWER) {
    addColumnToRhs(model, j, p);
    model->lower[j] = p;
    if (model->upper[j] < infinity) model->upper[j] += p;
  } else {
    negateColumn(model, j);
    if (status == SHIFT_REFLECTED) addColumnToRhs(model, j, p);
    model->lower[j] = -model->upper[j];
    model->upper[j] = p;
  }
}

void shiftAlternate(Hub* hub, int32_t j, int32_t status, double p, double infinity) {
  double& lower = hub->altLower[j];
  double& upper = hub->altUpper[j];
  if (status == SHIFT_LOWER) {
    lower -= p;
    if (upper < infinity) upper -= p;
  } else {
    upper = lower > -infinity ? upper - lower : -lower;
    lower = 0.0;
  }
}

void restoreAlternate(Hub* hub, int32_t j, int32_t status, double p, double infinity) {
  double& lower = hub->altLower[j];
  double& upper = hub->altUpper[j];
  if (status == SHIFT_LOWER) {
    lower += p;
    if (upper < infinity) upper += p;
  } else {
    lower = upper < infinity ? p - upper : -upper;
    upper = p;
  }
}

// The point: by -1 into the shifted columns' terms, by 1 back.
void movePoint(Solution* s, int32_t j, int32_t status, double p, double direction) {
  if (status == SHIFT_LOWER) {
    s->primal[j] += direction * p;
    return;
  }
  s->primal[j] = p - s->primal[j];
  std::swap(s->lowerSlack[j], s->upperSlack[j]);
  std::swap(s->lowerDual[j], s->upperDual[j]);
}

void reflectDirection(KeptSolution* kept, int32_t j) {
  kept->primalDelta[j] = -kept->primalDelta[j];
  std::swap(kept->lowerSlackDelta[j], kept->upperSlackDelta[j]);
  std::swap(kept->lowerDualDelta[j], kept->upperDualDelta[j]);
}

// With x = p + S x' the quadratic objective gets the linear term S (c + Q p) and the matrix S Q S. The costs hold S c
// already: adds direction * S Q p to them, with Q the matrix of the unshifted columns, and turns Q into S Q S, which is
// its own inverse.
void moveQuadratic(Model* model, const Presolver* presolver, double direction) {
  const double* p = presolver->shiftValue;
  const int32_t* status = presolver->shiftStatus;
  for (int32_t j = 0; j < model->numCol; ++j) {
    const double sign = signOf(status[j]);
    model->obj[j] += direction * sign * model->quadDiag[j] * p[j];
    if (model->numQuadCoef < 1) continue;
    const int32_t begin = model->quadColBegin[j];
    for (int32_t k = begin; k < begin + model->quadColLength[j]; ++k) {
      const int32_t i = model->quadRowIndex[k];
      const double other = signOf(status[i]);
      const double turned = sign * other * model->quadMatValue[k];
      const double original = direction > 0.0 ? model->quadMatValue[k] : turned;
      model->obj[j] += direction * sign * original * p[i];
      model->obj[i] += direction * other * original * p[j];
      model->quadMatValue[k] = turned;
    }
  }
}

int32_t provideRecord(Env* env, const Model* model, Presolver* presolver) {
  if (presolver->shiftValue == nullptr) presolver->shiftValue = poolAllocate<double>(env->pool, model->numCol);
  if (presolver->shiftStatus == nullptr) presolver->shiftStatus = poolAllocate<int32_t>(env->pool, model->numCol);
  return presolver->shiftValue == nullptr || presolver->shiftStatus == nullptr ? QZ_STATUS_OUT_OF_MEMORY : QZ_STATUS_OK;
}

}  // namespace

int32_t ipmShiftBound(Env* env, Model* model, IpmOption* options, Hub* hub, Presolver* presolver, Solution* solution) {
  const int32_t result = provideRecord(env, model, presolver);
  if (result != QZ_STATUS_OK) return result;
  const double infinity = options->infinityValue;
  for (int32_t j = 0; j < model->numCol; ++j) {
    classify(model->lower[j], model->upper[j], infinity, &presolver->shiftStatus[j], &presolver->shiftValue[j]);
    const int32_t status = presolver->shiftStatus[j];
    const double p = presolver->shiftValue[j];
    if (status == SHIFT_NONE) continue;
    shiftColumn(model, j, status, p, infinity);
    if (hasAlternate(hub)) shiftAlternate(hub, j, status, p, infinity);
    if (solution != nullptr) movePoint(solution, j, status, p, -1.0);
  }
  if (model->typeModel == IPM_MODEL_QP) moveQuadratic(model, presolver, 1.0);
  return QZ_STATUS_OK;
}

int32_t ipmShiftRestore(Env*, Model* model, IpmOption* options, Hub* hub, Presolver* presolver, Solution* solution) {
  if (presolver->shiftValue == nullptr || presolver->shiftStatus == nullptr) return QZ_STATUS_OK;
  const double infinity = options->infinityValue;
  if (model->typeModel == IPM_MODEL_QP) moveQuadratic(model, presolver, -1.0);
  for (int32_t j = 0; j < model->numCol; ++j) {
    const int32_t status = presolver->shiftStatus[j];
    const double p = presolver->shiftValue[j];
    if (status == SHIFT_NONE) continue;
    restoreColumn(model, j, status, p, infinity);
    if (hasAlternate(hub)) restoreAlternate(hub, j, status, p, infinity);
    if (solution != nullptr) movePoint(solution, j, status, p, 1.0);
    if (hub != nullptr && hub->keptSolution != nullptr && isReflection(status)) reflectDirection(hub->keptSolution, j);
  }
  return QZ_STATUS_OK;
}

}  // namespace qz
