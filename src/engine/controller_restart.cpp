#include <cmath>

#include "diagnostics/verify_submodel.h"
#include "engine/augmented_system.h"
#include "engine/control.h"
#include "engine/engine_state.h"
#include "engine/linear_algebra.h"
#include "engine/measures.h"
#include "engine/normal_system.h"
#include "engine/start_point.h"
#include "shell/log.h"
#include "submodel/extra_lists.h"
#include "submodel/sub_matrix.h"

namespace qz {

namespace {

// How much harder every further action becomes.
constexpr double kShrinkMoveTolerance = 1e-5;

// The linear system of a model that has taken the place of another; where the factors stand the model is the same.
int32_t rebuildSystem(Ipm* ipm) {
  if (ipm->typeMethod == IPM_METHOD_NORMAL)
    return ipm->cholFactor == nullptr || ipm->cholMemory == nullptr ? restartNormalSystem(ipm) : QZ_STATUS_OK;
  if (ipm->ldlFactor != nullptr && ipm->ldlMemory != nullptr) return QZ_STATUS_OK;
  if (ipm->typeModel == IPM_MODEL_LP) return ipmInitAugmat(ipm, 0);
  if (ipm->typeModel == IPM_MODEL_QP) return ipmInitAugmat(ipm, 1);
  logText(ipm->env->log, QZ_LOG_DEBUG, L"Error ipmSolve: unknown model type.");
  return QZ_STATUS_FAILED;
}

// How far the point in the engine is from an answer of the outer model. The gap alone would pass over products that
// have been torn apart: duals that miss their equations can make up for them.
double distanceToAnswer(Ipm* ipm) {
  computeMeasurement(ipm);
  return ipm->primalInfeas + ipm->boundInfeas + ipm->dualInfeas + ipm->dualityGap +
         ipm->complementarity / (1.0 + std::fabs(ipm->objValuePrimal));
}

}  // namespace

Next restartIteration(Control& c) {
  Ipm* ipm = c.ipm;
  AnalyzeIpm(ipm);
  int32_t status = VerifyStatistics(ipm, c.option->debugLevel);
  if (status != QZ_STATUS_OK) return leaveWith(status);
  ipmSetParam(ipm, c.option, c.hub);
  // What a run on another model has left would end this one on its first pass.
  ipm->stopState = STOP_ITERATE;
  ipm->maxPrimal = ipm->maxDual = 0.0;
  if (c.hub->extraListActive != 0) initExtra(ipm, c.submodel);
  status = rebuildSystem(ipm);
  if (status != QZ_STATUS_OK) return leaveWith(status);
  initInternal(ipm);
  if (c.presolver == nullptr) c.outerPoint.release();
  if (c.hub->releaseSubmodel == 1) {
    c.hub->releaseSubmodel = 0;
    c.hub->extraListActive = 0;
    FreeSubModel(c.env, &c.submodel);
  }
  return goTo(Stage::kIterate);
}

void giveUpSubmodel(Control& c) {
  if (c.submodel == nullptr) return;
  c.submodel->moveTolerance *= kShrinkMoveTolerance;
  clearBigValues(c.submodel);
}

int32_t takeBetterPoint(Control& c) {
  if (!c.outerPoint.isSet()) return QZ_STATUS_OK;
  SavedPoint recovered;
  const int32_t status = recovered.save(c.env, c.model->numRow, c.model->numCol, c.solution);
  if (status != QZ_STATUS_OK) return status;
  AnalyzeIpm(c.ipm);
  if (c.hub->extraListActive != 0) initExtra(c.ipm, c.submodel);
  const double distance = distanceToAnswer(c.ipm);
  c.outerPoint.restore(c.solution);
  if (distance <= distanceToAnswer(c.ipm))
    recovered.restore(c.solution);
  else
    c.hub->extraListActive = 0;  // nothing is missing there
  return QZ_STATUS_OK;
}

void installModel(Control& c, Solution* solution) {
  ipmCopyDimensions(c.ipm, c.model);
  AssignIpm(c.ipm, c.model, solution);
}

void freeFactors(Control& c) {
  Ipm* ipm = c.ipm;
  ldlCleanUp(c.env, ipm->laEnv, &ipm->ldlFactor, &ipm->ldlMemory);
  chCleanUp(c.env, ipm->laEnv, &ipm->cholFactor, &ipm->cholMemory);
}

void dropReduction(Control& c) {
  DestroyPresolver(c.env, &c.presolver);
  if (c.reducedSolution == c.solution) c.reducedSolution = nullptr;
  FreeSolution(c.env, &c.reducedSolution);
  ResetMapSubmodel(c.env, c.submodel);
}

}  // namespace qz
