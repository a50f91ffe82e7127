#include "engine/control.h"
#include "engine/iteration.h"
#include "shell/log.h"
#include "shell/pool.h"
#include "submodel/list_update.h"
#include "submodel/reduction_trace.h"
#include "submodel/restoration.h"
#include "transform/presolve.h"

namespace qz {

namespace {

// The wishes become the actions: an earlier action that is not wished for any more is dropped.
void takeUpPlan(SubModel* s) {
  s->bBigVar = s->planBigVar;
  s->bBigBoundSlack = s->planBigBoundSlack;
  s->bBigIneqnSlack = s->planBigIneqnSlack;
  s->bBigDual = s->planBigDual;
  s->bBigBoundDual = s->planBigBoundDual;
}

void clearPlan(SubModel* s) {
  s->planBigVar = s->planBigBoundSlack = s->planBigIneqnSlack = s->planBigDual = s->planBigBoundDual = 0;
}

// A point that comes from a reduction is none to come back to: the one that was kept ahead of that stays.
int32_t savePoint(Control& c) {
  if (c.outerPoint.isSet()) return QZ_STATUS_OK;
  return c.outerPoint.save(c.env, c.model->numRow, c.model->numCol, c.solution);
}

// Presolves the outer model under the submodel's marks. The status is the presolve's; the model that stands behind it
// has it too.
int32_t presolveSubmodel(Control& c) {
  c.ipm->initOption = kInitOptionSubmodel;
  c.option->initOption = kInitOptionSubmodel;
  const int32_t status =
      ipmPresolve(c.env, &c.model, c.option, c.presolver, c.innerHub, &c.solution, &c.reducedSolution, c.submodel);
  c.model->status = status;
  return status;
}

// Presolve left nothing to iterate on. A scaled outer model must be unscaled before the answer can end the solve.
Next takePresolvedAnswer(Control& c) {
  Ipm* ipm = c.ipm;
  ipm->primalInfeas = c.model->primalInfeas;
  ipm->dualInfeas = c.model->dualInfeas;
  ipm->boundInfeas = c.model->boundInfeas;
  ipm->dualityGap = c.model->dualityGap;
  ipm->complementarity = c.model->complementarity;
  ipm->stopState = STOP_NOW;
  printLog(ipm);
  if (c.hub->scaleState != 0 || c.hub->smallRestored == 0) c.hub->routeSubmodel = ROUTE_UNSCALE;
  return goTo(Stage::kRecover);
}

bool isLost(int32_t status) {
  return status == QZ_STATUS_INFEASIBLE_ALIAS || status == QZ_STATUS_BOTH_INFEASIBLE ||
         status == QZ_STATUS_DUAL_INFEASIBLE || status == QZ_STATUS_PRIMAL_INFEASIBLE || status == QZ_STATUS_RESTART;
}

// The reduction is infeasible, which says nothing of the outer model: the solve goes on there, without submodels, or
// with the chance of another when it only was the point that did not suit.
Next giveUpReduction(Control& c) {
  c.hub->routeSubmodel = ROUTE_INACTIVE;
  c.hub->bigLevelLeft = 1;
  traceLost(c.ipm, c.model->status);
  if (c.presolver->inModel != nullptr) {
    logText(c.env->log, QZ_LOG_DEBUG, L"Error ipmSolve: presolver exited early, inModel should be NULL");
    return leaveWith(QZ_STATUS_FAILED);
  }
  double smallest = 0.0;
  const int32_t status = preRestoreSubmodel(c.env, c.model, c.presolver, c.submodel, c.solution, c.option, &smallest);
  if (status != QZ_STATUS_OK) {
    DestroyPresolver(c.env, &c.presolver);
    return leaveWith(status);
  }
  if (subRecoverPositive(c.solution, c.submodel, c.model, c.option, smallest) == QZ_STATUS_RESTART)
    c.model->status = QZ_STATUS_RESTART;
  if (c.model->status == QZ_STATUS_RESTART)
    giveUpSubmodel(c);
  else
    c.hub->releaseSubmodel = 1;
  dropReduction(c);
  installModel(c, c.solution);
  const int32_t chosen = takeBetterPoint(c);
  return chosen == QZ_STATUS_OK ? goTo(Stage::kRestart) : leaveWith(chosen);
}

// The engine goes on with the reduction. Lists of kinds without an action are in the numbers of the outer model.
Next takeReduction(Control& c) {
  clearPlan(c.submodel);
  if (c.reducedSolution == nullptr || c.reducedSolution == c.solution) {
    logText(c.env->log, QZ_LOG_DEBUG, L"Error ipmSolve: model must be reduced if break from normal iteration");
    return leaveWith(QZ_STATUS_FAILED);
  }
  traceReduction(c.ipm, c.submodel, c.model);
  clearIdleKinds(c.submodel);
  freeFactors(c);
  installModel(c, c.reducedSolution);
  return goTo(Stage::kRestart);
}

}  // namespace

Next reduceToSubmodel(Control& c) {
  if (c.hub->routeSubmodel != ROUTE_INVITRO) {
    logText(c.env->log, QZ_LOG_DEBUG, L"Error ipmSolve: reduce model, routeSubmodel=%d should be INVITRO",
            c.hub->routeSubmodel);
    return leaveWith(QZ_STATUS_FAILED);
  }
  updateSubList(c.env, c.solution, c.submodel, c.model, c.option);
  if (c.submodel->planBigIneqnSlack == 0 && c.submodel->planBigBoundDual == 0) {
    clearBigValues(c.submodel);
    c.hub->routeSubmodel = ROUTE_INACTIVE;
    return goTo(Stage::kRestart);
  }
  takeUpPlan(c.submodel);
  int32_t status = savePoint(c);
  if (status != QZ_STATUS_OK) return leaveWith(status);
  c.presolver = poolAllocateZero<Presolver>(c.env->pool, 1);
  if (c.presolver == nullptr) return leaveWith(QZ_STATUS_OUT_OF_MEMORY);
  status = presolveSubmodel(c);
  const int32_t route = c.presolver->preRoute;
  if (route == PREROUTE_FINISHED || route == PREROUTE_SOLVED) return takePresolvedAnswer(c);
  if (isLost(status)) return giveUpReduction(c);
  return status == QZ_STATUS_OK ? takeReduction(c) : leaveWith(status);
}

}  // namespace qz
