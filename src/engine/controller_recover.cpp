#include "engine/control.h"
#include "engine/engine_state.h"
#include "engine/measures.h"
#include "shell/log.h"
#include "submodel/extra_lists.h"
#include "submodel/reduction_trace.h"
#include "submodel/restoration.h"
#include "transform/reduced_model.h"
#include "transform/scaling_undo.h"
#include "transform/solution_expansion.h"

namespace qz {

namespace {

bool isFailure(int32_t status) {
  return status == QZ_STATUS_FAILED || status == QZ_STATUS_INTERRUPTED || status == QZ_STATUS_OUT_OF_MEMORY;
}

bool isLimit(int32_t status) {
  return status == QZ_STATUS_ITERATION_LIMIT || status == QZ_STATUS_TIME_LIMIT;
}

// The answer, by the maps of the presolve, and the outer model in place of the reduction. Where presolve answered the
// outer model itself there is none.
void leaveReduction(Control& c) {
  if (c.presolver->inModel == nullptr) return;
  outputSolution(c.presolver, c.reducedSolution, c.solution, nullptr, 1, c.option->infinityValue);
  FreeReducedModel(c.env, &c.model, c.presolver->inModel);
  c.model = c.presolver->inModel;
  c.presolver->inModel = nullptr;
}

// What was taken out under the marks. A point that had to be repaired is iterated on.
int32_t restoreMarked(Control& c, double& smallest) {
  if (c.submodel == nullptr) return QZ_STATUS_OK;
  const int32_t status = preRestoreSubmodel(c.env, c.model, c.presolver, c.submodel, c.solution, c.option, &smallest);
  if (status != QZ_STATUS_OK) return status;
  const bool repaired = subRecoverPositive(c.solution, c.submodel, c.model, c.option, smallest) == QZ_STATUS_RESTART;
  if (repaired && !isFailure(c.model->status) && !isLimit(c.model->status)) c.model->status = QZ_STATUS_UNSCALE;
  return QZ_STATUS_OK;
}

// What the presolve took out besides.
int32_t restoreExtra(Control& c) {
  if (c.submodel == nullptr) return QZ_STATUS_OK;
  int32_t status = CreateExtraList(c.env, c.submodel, c.presolver);
  if (status != QZ_STATUS_OK) return status;
  c.hub->extraListActive = c.submodel->numColExtra >= 1 || c.submodel->numRowExtra >= 1 ? 1 : 0;
  if (c.submodel->numRowExtra > 0) {
    status = getSubRowSlack(c.env, c.model, c.presolver, c.submodel, c.solution);
    if (status != QZ_STATUS_OK) return status;
  }
  if (c.submodel->numColExtra > 0) {
    status = getSubDualSlack(c.env, c.model, c.presolver, c.submodel, c.solution, c.option);
    if (status != QZ_STATUS_OK) return status;
  }
  return QZ_STATUS_OK;
}

// The iteration on the reduction asked for the true terms; only the outer model can be unscaled. The actions are then
// wished for again on it.
void unscaleOuter(Control& c) {
  ipmUnscale(c.ipm, c.hub, c.submodel);
  c.outerPoint.unscale(c.hub);
  releaseFactors(c.env, c.hub);
  c.hub->routeSubmodel = ROUTE_INVITRO;
  SubModel* s = c.submodel;
  if (s == nullptr) return;
  s->planBigVar = s->bBigVar;
  s->planBigBoundSlack = s->bBigBoundSlack;
  s->planBigIneqnSlack = s->bBigIneqnSlack;
  s->planBigDual = s->bBigDual;
  s->planBigBoundDual = s->bBigBoundDual;
  clearIdleKinds(s);
}

bool isInfeasible(int32_t status) {
  return status == QZ_STATUS_PRIMAL_INFEASIBLE || status == QZ_STATUS_DUAL_INFEASIBLE ||
         status == QZ_STATUS_BOTH_INFEASIBLE || status == QZ_STATUS_INFEASIBLE_ALIAS;
}

// True when a reduction without a point or without a dual point says the same of the outer model. To free rows and to
// remove bounds gives more points, so what then has none has none at all; to fix columns gives more dual points.
bool claimHolds(const SubModel* s, int32_t status) {
  if (s == nullptr) return true;
  const bool fewerPoints = s->bBigBoundDual != 0;
  const bool fewerDualPoints = s->bBigIneqnSlack != 0 || s->bBigBoundSlack != 0;
  if (status == QZ_STATUS_DUAL_INFEASIBLE) return !fewerDualPoints;
  if (status == QZ_STATUS_BOTH_INFEASIBLE) return !fewerPoints && !fewerDualPoints;
  return !fewerPoints;
}

// Goes on with the outer model from the point that stands, with nothing in force.
Next returnToOuter(Control& c) {
  c.model->status = QZ_STATUS_RESTART;
  c.hub->bigLevelLeft = 1;
  c.hub->routeSubmodel = ROUTE_INACTIVE;
  giveUpSubmodel(c);
  return goTo(Stage::kRestart);
}

Next returnFromBetterPoint(Control& c) {
  const int32_t status = takeBetterPoint(c);
  return status == QZ_STATUS_OK ? returnToOuter(c) : leaveWith(status);
}

bool isAnswer(int32_t status) {
  return status == QZ_STATUS_OPTIMAL || status == QZ_STATUS_NEAR_OPTIMAL;
}

// Measures the answer on the outer model as it would leave, cleaned of the partners of what was taken out. What the
// reduction could not see may stand against it: an empty column rests without regard to its reduced cost, the shifted
// dual of an inequality is kept from 0 though its row may have become inactive. The solution is as it was when
// *confirmed is false. 0 or -1086.
int32_t confirmAnswer(Control& c, bool* confirmed) {
  SavedPoint before;
  int32_t status = before.save(c.env, c.model->numRow, c.model->numCol, c.solution);
  if (status != QZ_STATUS_OK) return status;
  Ipm* ipm = c.ipm;
  CleanSubComplem(c.solution, c.submodel, c.model, c.option);
  status = updateExtraDuals(c.env, c.model, c.submodel, c.solution, c.option);
  if (status != QZ_STATUS_OK) return status;
  AnalyzeIpm(ipm);
  computeMeasurement(ipm);
  const int32_t measured =
      getSolutionStatus(ipm->tolPrimal, ipm->tolDual, ipm->tolOptimality, ipm->tolComplement, ipm->primalInfeas,
                        ipm->boundInfeas, ipm->dualInfeas, ipm->dualityGap, ipm->complementarity);
  *confirmed = measured == QZ_STATUS_OPTIMAL || measured == c.model->status;
  if (!*confirmed) before.restore(c.solution);
  return QZ_STATUS_OK;
}

// The reduction led nowhere, and what it left may be no start: the outer model is taken up where it was left, and no
// reduction is tried again.
Next returnToSavedPoint(Control& c) {
  c.outerPoint.restore(c.solution);
  c.hub->releaseSubmodel = 1;
  return returnToOuter(c);
}

// `reached` is the status of the reduction's run; the model has it too, or 1004 when the point needs more work.
Next afterRecovery(Control& c, int32_t reached) {
  const int32_t status = c.model->status;
  if (isFailure(status)) return leaveWith(status);
  if (c.hub->routeSubmodel == ROUTE_UNSCALE) {
    unscaleOuter(c);
    if (isLimit(status)) return leaveWith(QZ_STATUS_OK);
    c.model->status = QZ_STATUS_RESTART;
    return goTo(Stage::kReduce);
  }
  if (isLimit(status)) return leaveWith(QZ_STATUS_OK);
  if (isInfeasible(reached) && (status == QZ_STATUS_UNSCALE || !claimHolds(c.submodel, reached)))
    return returnToSavedPoint(c);
  if (status == QZ_STATUS_UNSCALE) return returnFromBetterPoint(c);
  bool confirmed = true;
  const int32_t measured = isAnswer(status) ? confirmAnswer(c, &confirmed) : QZ_STATUS_OK;
  if (measured != QZ_STATUS_OK) return leaveWith(measured);
  return confirmed ? endRun(c, status) : returnToSavedPoint(c);
}

}  // namespace

Next recoverModel(Control& c) {
  const int32_t route = c.hub->routeSubmodel;
  if (route != ROUTE_INVITRO && route != ROUTE_UNSCALE && route != ROUTE_RESTORE) {
    logText(c.env->log, QZ_LOG_DEBUG,
            L"Error ipmSolve: recover, routeSubmodel=%d should be INVITRO, UNSCALE, or RESTORE", route);
    return leaveWith(QZ_STATUS_FAILED);
  }
  freeFactors(c);
  leaveReduction(c);
  const int32_t reached = c.model->status;
  double smallest = c.option->infinityValue;
  int32_t status = restoreMarked(c, smallest);
  if (status == QZ_STATUS_OK) status = restoreExtra(c);
  if (status != QZ_STATUS_OK) return leaveWith(status);
  if (c.submodel != nullptr) traceRecovery(c.ipm, c.submodel, reached, smallest);
  dropReduction(c);
  installModel(c, c.solution);
  return afterRecovery(c, reached);
}

}  // namespace qz
