#include "transform/postsolve.h"

#include "shell/log.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// The point is worth evaluating: the solve was neither broken off nor failed.
bool hasPoint(const Model* model) {
  return model->status != QZ_STATUS_RESTART && model->status != QZ_STATUS_OUT_OF_MEMORY &&
         model->status != QZ_STATUS_INTERRUPTED && model->status != QZ_STATUS_FAILED;
}

// The engine worked on the input model as it stands: nothing to carry over or to repair.
int32_t postsolveUnchanged(Env* env, Model* model, const Solution* solutionIn, const Solution* solutionOut,
                           const SubModel* submodel) {
  if (solutionOut == nullptr || solutionOut != solutionIn) {
    logText(env->log, QZ_LOG_ERROR, L"PRECONTROL_NONE case solution pointer error");
    return QZ_STATUS_FAILED;
  }
  if (submodel != nullptr) {
    logText(env->log, QZ_LOG_ERROR, L"PRECONTROL_BOUND case: submodel should not exist.");
    return QZ_STATUS_FAILED;
  }
  if (hasPoint(model)) evaluateSolution(env, model);
  return QZ_STATUS_OK;
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

int32_t ipmPostsolve(Env* env, Model** model, IpmOption*, Presolver* presolver, Solution* solutionIn,
                     Solution* solutionOut, Hub*, SubModel* submodel) {
  switch (presolver->preControl) {
    case PRECONTROL_BOUND:
    case PRECONTROL_REDUCED:
      // No presolve in this build reduces a model, so none can be expanded again.
      return QZ_STATUS_FAILED;
    default:
      return postsolveUnchanged(env, *model, solutionIn, solutionOut, submodel);
  }
}

}  // namespace qz
