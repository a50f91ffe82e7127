#include "transform/postsolve.h"

#include <cmath>

#include "shell/log.h"
#include "transform/dual_recovery.h"
#include "transform/reduced_model.h"
#include "transform/solution_expansion.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// The point is worth evaluating: the solve was neither broken off nor failed.
bool hasPoint(const Model* model) {
  return model->status != QZ_STATUS_RESTART && model->status != QZ_STATUS_OUT_OF_MEMORY &&
         model->status != QZ_STATUS_INTERRUPTED && model->status != QZ_STATUS_FAILED;
}

int32_t checkNoSubmodel(Env* env, const SubModel* submodel) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  logText(env->log, QZ_LOG_ERROR, L"PRECONTROL_BOUND case: submodel should not exist.");
  return QZ_STATUS_FAILED;
}

// The input model as the user gave it, and a solution on it whose duals may still rest on bounds of presolve.
int32_t repairSolution(Env* env, Model* model, const IpmOption* options, const Presolver* presolver, Solution* solution,
                       Hub* hub) {
  if (!hasPoint(model)) return QZ_STATUS_OK;
  evaluateSolution(env, model);
  const int32_t status = adjustDualOutput(env, model, options, presolver, solution, hub);
  if (status != QZ_STATUS_OK) return status;
  adjustRowActivity(model, presolver, solution);
  return QZ_STATUS_OK;
}

// The engine worked on the input model as it stands: nothing to carry over or to repair.
int32_t postsolveUnchanged(Env* env, Model* model, const Solution* solutionIn, const Solution* solutionOut,
                           const SubModel* submodel) {
  if (solutionOut == nullptr || solutionOut != solutionIn) {
    logText(env->log, QZ_LOG_ERROR, L"PRECONTROL_NONE case solution pointer error");
    return QZ_STATUS_FAILED;
  }
  const int32_t status = checkNoSubmodel(env, submodel);
  if (status != QZ_STATUS_OK) return status;
  if (hasPoint(model)) evaluateSolution(env, model);
  return QZ_STATUS_OK;
}

// The engine worked on the input model with tightened bounds.
int32_t postsolveBounds(Env* env, Model* model, const IpmOption* options, Presolver* presolver,
                        const Solution* solutionIn, Solution* solutionOut, Hub* hub, const SubModel* submodel) {
  if (solutionOut == nullptr || solutionOut != solutionIn) {
    logText(env->log, QZ_LOG_ERROR, L"PRECONTROL_BOUND case solution pointer error");
    return QZ_STATUS_FAILED;
  }
  adjustBound(env, model, presolver);
  const int32_t status = checkNoSubmodel(env, submodel);
  if (status != QZ_STATUS_OK) return status;
  return repairSolution(env, model, options, presolver, solutionOut, hub);
}

// The engine worked on a reduced model.
int32_t postsolveReduced(Env* env, Model** model, const IpmOption* options, Presolver* presolver,
                         const Solution* solutionIn, Solution* solutionOut, Hub* hub) {
  if (solutionIn == nullptr || solutionOut == nullptr || solutionOut == solutionIn) {
    logText(env->log, QZ_LOG_ERROR, L"PRECONTROL_REDUCED case solution pointer error");
    return QZ_STATUS_FAILED;
  }
  outputSolution(presolver, solutionIn, solutionOut, hub, 0, options->infinityValue);
  FreeReducedModel(env, model, presolver->inModel);
  *model = presolver->inModel;
  presolver->inModel = nullptr;
  return repairSolution(env, *model, options, presolver, solutionOut, hub);
}

char capital(char sense) {
  return sense >= 'a' && sense <= 'z' ? static_cast<char>(sense - 'a' + 'A') : sense;
}

double rowSlack(const Model* model, int32_t i) {
  switch (capital(model->rowSense[i])) {
    case 'G':
      return model->rowActivity[i] - model->rhs[i];
    case 'L':
    case 'R':
      return model->rhs[i] - model->rowActivity[i];
    default:
      return 0.0;
  }
}

}  // namespace

void calcRowActivity(Env*, Model* model) {
  matrixTimesVector(model->numRow, model->numCol, model->colBegin, model->colLength, model->rowIndex, model->matValue,
                    model->solPrimal, model->rowActivity);
}

void calcReducedCost(Env*, Model* model) {
  vectorTimesMatrix(model->numCol, model->colBegin, model->colLength, model->rowIndex, model->matValue, model->solDual,
                    model->reducedCost);
  for (int32_t j = 0; j < model->numCol; ++j) model->reducedCost[j] = model->obj[j] - model->reducedCost[j];
  if (model->typeModel == IPM_MODEL_QP)
    symmatrixTimesVector(model->numCol, model->quadColBegin, model->quadColLength, model->quadRowIndex,
                         model->quadMatValue, model->quadDiag, model->solPrimal, model->reducedCost, 1.0);
}

void evaluateSolution(Env* env, Model* model) {
  double value = 0.0;
  for (int32_t j = 0; j < model->numCol; ++j) value += model->obj[j] * model->solPrimal[j];
  if (model->typeModel == IPM_MODEL_QP)
    value += calcQuadForm(model->numCol, model->quadColBegin, model->quadColLength, model->quadRowIndex,
                          model->quadMatValue, model->quadDiag, model->solPrimal);
  model->objValue = model->objSense * (value + model->objConstant);
  calcRowActivity(env, model);
  calcReducedCost(env, model);
}

void adjustRowActivity(const Model* model, const Presolver* presolver, Solution* solution) {
  for (int32_t i = 0; i < model->numRow; ++i) {
    const int32_t code = presolver->rowMap[i];
    const bool removed = code == ROWMAP_EMPTY || code == ROWMAP_RANGE || code == ROWMAP_UPPER || code == ROWMAP_LOWER ||
                         code == ROWMAP_FREE;
    const bool turned = code >= 0 && presolver->rowSense[i] != capital(model->rowSense[i]);
    if (removed || turned) solution->ineqnSlack[i] = rowSlack(model, i);
  }
}

void replaceFreeVar(Env* env, const IpmOption*, const void*, const Presolver* p, int32_t col) {
  int32_t length = 0;
  double pivot = 0.0;
  for (int32_t k = p->colBegin[col], end = k + p->colLength[col]; k < end; ++k) {
    const int32_t i = p->rowIndex[k];
    const double a = p->matValue[k];
    if (p->rowSense[i] != 'E') continue;
    const bool tie = length > 0 && p->rowLength[i] == length;
    if (tie && std::fabs(a) <= std::fabs(pivot)) continue;
    if (length > 0 && p->rowLength[i] > length) continue;
    if (tie) logText(env->log, QZ_LOG_DEBUG, L"pivot=%15.7g   %15.7g", a, pivot);
    length = p->rowLength[i];
    pivot = a;
  }
  if (length > 0) logText(env->log, QZ_LOG_DEBUG, L"free variable %d is replace by %d vars", col, length - 1);
}

int32_t ipmPostsolve(Env* env, Model** model, IpmOption* options, Presolver* presolver, Solution* solutionIn,
                     Solution* solutionOut, Hub* hub, SubModel* submodel) {
  switch (presolver->preControl) {
    case PRECONTROL_BOUND:
      return postsolveBounds(env, *model, options, presolver, solutionIn, solutionOut, hub, submodel);
    case PRECONTROL_REDUCED:
      return postsolveReduced(env, model, options, presolver, solutionIn, solutionOut, hub);
    default:
      return postsolveUnchanged(env, *model, solutionIn, solutionOut, submodel);
  }
}

}  // namespace qz
