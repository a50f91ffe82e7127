#include "submodel/submodel_control.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "diagnostics/dump.h"
#include "diagnostics/verify_submodel.h"
#include "engine/engine_state.h"
#include "engine/measures.h"
#include "shell/log.h"
#include "submodel/big_solution.h"
#include "submodel/bound_removal.h"
#include "submodel/dual_shift.h"
#include "submodel/reduced_cost.h"
#include "submodel/submodel_trace.h"
#include "submodel/true_data.h"
#include "submodel/variable_shift.h"

namespace qz {

namespace {

constexpr double kStillShare = 1e-10;     // of thresholdBig: a movement below it is none
constexpr double kStillTolerance = 0.01;  // of moveTolerance: neither is one below it
constexpr double kNotToTouch = 100.0;     // movements above it stand for values that must be left alone
constexpr double kVanishedMovement = 1e-15;
constexpr double kHarder = 1e-5;  // factor of moveTolerance when an action has not stood the test

bool isOneOf(BigAction action, BigAction first, BigAction second) {
  return action == first || action == second;
}

bool allows(BigAction action) {
  return isOneOf(action, BigAction::kStill, BigAction::kSlow);
}

bool anyFlag(const SubModel* s) {
  return (s->bBigVar | s->bBigBoundSlack | s->bBigIneqnSlack | s->bBigDual | s->bBigBoundDual) != 0;
}

// Keeps the counts of this pass. Returns true when they are those of the pass before.
bool listsStandStill(SubModel* s) {
  const bool same = s->numBigVar == s->prevBigVar && s->numBigBoundSlack == s->prevBigBoundSlack &&
                    s->numBigIneqnSlack == s->prevBigIneqnSlack && s->numBigDual == s->prevBigDual &&
                    s->numBigBoundDual == s->prevBigBoundDual;
  s->prevBigVar = s->numBigVar;
  s->prevBigBoundSlack = s->numBigBoundSlack;
  s->prevBigIneqnSlack = s->numBigIneqnSlack;
  s->prevBigDual = s->numBigDual;
  s->prevBigBoundDual = s->numBigBoundDual;
  return same;
}

// Big slacks that stand still pull a big variable along, and so do big bound duals a big row dual: then the second need
// not stand still itself. *follower may become kStill. Returns the verdict to act.
bool leaderDecides(bool leaderStill, double movement, BigAction* follower) {
  if (!leaderStill) return false;
  if (isOneOf(*follower, BigAction::kNone, BigAction::kSlow)) return true;
  if (!(movement < kVanishedMovement)) return false;
  *follower = BigAction::kStill;
  return true;
}

// The verdict of a running iteration.
bool decideRunning(const SubModel* s, BigActions* actions) {
  *actions = classifyBigValues(s);
  const std::array kinds{actions->variable, actions->boundSlack, actions->rowSlack, actions->rowDual,
                         actions->boundDual};
  if (std::ranges::count(kinds, BigAction::kNone) == std::ssize(kinds)) return false;
  if (std::max({s->deltaX, s->deltaBound, s->deltaRow, s->deltaY, s->deltaColumn}) > kNotToTouch) return false;
  const bool slacksStill = isOneOf(actions->boundSlack, BigAction::kNone, BigAction::kStill) &&
                           isOneOf(actions->rowSlack, BigAction::kNone, BigAction::kStill) &&
                           (actions->boundSlack == BigAction::kStill || actions->rowSlack == BigAction::kStill);
  if (leaderDecides(slacksStill, std::max(s->deltaBound, s->deltaRow), &actions->variable)) return true;
  if (leaderDecides(actions->boundDual == BigAction::kStill, s->deltaColumn, &actions->rowDual)) return true;
  return std::ranges::count(kinds, BigAction::kMoving) == 0;
}

bool isAnswer(int32_t status) {
  switch (status) {
    case QZ_STATUS_OPTIMAL:
    case QZ_STATUS_NEAR_OPTIMAL:
    case QZ_STATUS_ITERATION_LIMIT:
    case QZ_STATUS_TIME_LIMIT:
    case QZ_STATUS_FAILED:
    case QZ_STATUS_INTERRUPTED:
    case QZ_STATUS_OUT_OF_MEMORY:
      return true;
    default:
      return false;
  }
}

// The verdict at the end of a run: whatever is big and not untouchable is tried before the run gives up. Once in a
// solve: each restart begins with fresh counters, and an infeasible model (gosh) would go on to the iteration ceiling.
bool decideEnding(const Ipm* ipm, SubModel* s, BigActions* actions) {
  if (isAnswer(ipm->status) || anyFlag(s) || s->triedAtEnd != 0) return false;
  bool act = false;
  const auto choose = [&](int32_t count, double movement, BigAction* action) {
    if (count < 1 || !(movement < kNotToTouch)) return;
    *action = BigAction::kSlow;
    act = true;
  };
  choose(s->numBigVar, s->deltaX, &actions->variable);
  choose(s->numBigBoundSlack, s->deltaBound, &actions->boundSlack);
  choose(s->numBigIneqnSlack, s->deltaRow, &actions->rowSlack);
  choose(s->numBigDual, s->deltaY, &actions->rowDual);
  choose(s->numBigBoundDual, s->deltaColumn, &actions->boundDual);
  s->triedAtEnd = act ? 1 : 0;
  return act;
}

// Wishes for the reduced model: what is in force in vivo, and the kinds that the verdict names, unless a kind of the
// same side moves too much.
void planInvitro(SubModel* s, const BigActions& actions) {
  const auto takeOver = [](int32_t flag) -> int32_t { return flag != 0 ? BIG_INVITRO : 0; };
  const auto wish = [](BigAction action, int32_t* plan, double* movement) {
    if (action == BigAction::kNone) return;
    *plan |= BIG_INVITRO;
    *movement = 0.0;
  };
  s->planBigVar = takeOver(s->bBigVar);
  s->planBigBoundSlack = takeOver(s->bBigBoundSlack);
  s->planBigIneqnSlack = takeOver(s->bBigIneqnSlack);
  s->planBigDual = takeOver(s->bBigDual);
  s->planBigBoundDual = takeOver(s->bBigBoundDual);
  if (actions.variable != BigAction::kMoving && actions.boundSlack != BigAction::kMoving &&
      actions.rowSlack != BigAction::kMoving) {
    wish(actions.rowSlack, &s->planBigIneqnSlack, &s->deltaRow);
    wish(actions.variable, &s->planBigVar, &s->deltaX);
    wish(actions.boundSlack, &s->planBigBoundSlack, &s->deltaBound);
  }
  if (actions.rowDual != BigAction::kMoving && actions.boundDual != BigAction::kMoving) {
    wish(actions.rowDual, &s->planBigDual, &s->deltaY);
    wish(actions.boundDual, &s->planBigBoundDual, &s->deltaColumn);
  }
}

int32_t actInvitro(Ipm* ipm, Hub* hub, SubModel* submodel, const BigActions& actions) {
  hub->routeSubmodel = ROUTE_INVITRO;
  planInvitro(submodel, actions);
  traceInvitro(ipm, submodel);
  const int32_t verified = VerifyInvitroReport(ipm, ipm->debugLevel, hub, submodel);
  if (verified != QZ_STATUS_OK) return verified;
  ipm->stopState = STOP_ITERATE;
  return QZ_STATUS_RESTART;
}

void takeInvivoRoute(const Ipm* ipm, Hub* hub) {
  switch (hub->routeSubmodel) {
    case ROUTE_INACTIVE:
      hub->routeSubmodel = ROUTE_INVIVO;
      break;
    case ROUTE_INVITRO:
      hub->routeSubmodel = ROUTE_BOTH;
      break;
    case ROUTE_INVIVO:
      break;
    default:
      logText(ipm->env->log, QZ_LOG_DEBUG,
              L"Error submodelControl: routeSubmodel is wrong at in vivo level activation");
  }
}

int32_t shiftVariables(Ipm* ipm, SubModel* s) {
  if (s->bBigVar != 0) logText(ipm->env->log, QZ_LOG_DEBUG, L"Error submodelControl: bBigVar should not be set");
  s->bBigVar |= BIG_INVIVO;
  s->deltaX = 0.0;
  const int32_t status = subShiftPrimal(ipm->env, s, ipm->primal, ipm->lower, ipm->upper, ipm->rhs, ipm->infinityValue,
                                        ipm->colBegin, ipm->colLength, ipm->rowIndex, ipm->matValue);
  if (status != QZ_STATUS_OK || ipm->typeModel != IPM_MODEL_QP) return status;
  return subShiftPrimalQP(ipm->env, s, 1, ipm->numCol, ipm->numQuadCoef, ipm->obj, ipm->quadDiag, ipm->quadColBegin,
                          ipm->quadColLength, ipm->quadRowIndex, ipm->quadMatValue);
}

int32_t removeBounds(Ipm* ipm, SubModel* s) {
  if (s->bBigBoundSlack != 0)
    logText(ipm->env->log, QZ_LOG_DEBUG, L"Error submodelControl: bBigBoundSlack should not be set");
  s->bBigBoundSlack |= BIG_INVIVO;
  s->deltaBound = 0.0;
  return subRemoveBoundInvivo(ipm, s);
}

int32_t shiftDuals(Ipm* ipm, SubModel* s) {
  if (s->bBigDual != 0) logText(ipm->env->log, QZ_LOG_DEBUG, L"Error submodelControl: bBigDual should not be set");
  s->bBigDual |= BIG_INVIVO;
  s->deltaY = 0.0;
  return subShiftDualInvivo(ipm, s);
}

// A big value has come back. In vivo changes are undone on the spot; a reduced model is the controller's to leave.
int32_t restore(Ipm* ipm, Hub* hub, SubModel* s) {
  hub->routeSubmodel = ROUTE_RESTORE;
  traceRestore(ipm, s);
  int32_t status = VerifySubRestoreReport(ipm, ipm->debugLevel, hub, s);
  if (status != QZ_STATUS_OK) return status;
  if (s->bBigIneqnSlack != 0 || s->bBigBoundDual != 0) return QZ_STATUS_UNSCALE;
  status = undoInvivo(ipm, hub, s);
  if (status != QZ_STATUS_OK) return status;
  clearBigCounts(s);
  if (anyFlag(s)) {
    logText(ipm->env->log, QZ_LOG_DEBUG, L"Error submodelControl: flags are not clear for in vivo restore");
    return QZ_STATUS_FAILED;
  }
  hub->routeSubmodel = ROUTE_INACTIVE;
  ipm->stopState = STOP_ITERATE;
  AnalyzeIpm(ipm);
  computeMeasurement(ipm);
  return QZ_STATUS_OK;
}

// Calls visit(j, side) for each bound that was removed in vivo.
template <class Visit>
void forEachRemovedBound(const SubModel* s, Visit visit) {
  for (int32_t k = 0; k < s->numBigBoundSlack; ++k) {
    const int32_t j = s->idxBoundSub[k];
    if ((s->statusBoundSub[j] & SUB_LOWER) != 0) visit(j, SUB_LOWER);
    if ((s->statusBoundSub[j] & SUB_UPPER) != 0) visit(j, SUB_UPPER);
  }
}

// The duals of bounds that have just come back with duals of 0: what is left of the columns' residuals belongs to them.
int32_t giveResidualsToBounds(const Ipm* ipm, const SubModel* s) {
  PoolArray<double> gradient;
  const int32_t status = makeGradient(ipm->env, ipm->model, ipm->primal, gradient);
  if (status != QZ_STATUS_OK) return status;
  forEachRemovedBound(s, [&](int32_t j, int32_t side) {
    const double residual = gradient[j] - columnTimes(ipm->model, j, ipm->dual) - ipm->lowerDual[j] + ipm->upperDual[j];
    if (side == SUB_LOWER)
      ipm->lowerDual[j] = std::max(residual, 0.0);
    else
      ipm->upperDual[j] = std::max(-residual, 0.0);
  });
  return QZ_STATUS_OK;
}

// The same on the central path, for a run that goes on.
void centreBounds(const Ipm* ipm, const SubModel* s, double mu) {
  forEachRemovedBound(s, [&](int32_t j, int32_t side) {
    const double slack = side == SUB_LOWER ? ipm->lowerSlack[j] : ipm->upperSlack[j];
    if (slack > 0.0) (side == SUB_LOWER ? ipm->lowerDual : ipm->upperDual)[j] = mu / slack;
  });
}

// A point that is optimal in shifted terms must be so in true ones. There the residual of a column counts times the
// shift of its variable or times its far bound, and that of a row times the shift of its dual. It may be left to its
// stop then; otherwise the run goes on in true terms, and further action becomes harder.
int32_t confirmOptimal(Ipm* ipm, Hub* hub, SubModel* s) {
  const bool removed = (s->bBigBoundSlack & BIG_INVIVO) != 0;
  const double mu = ipm->mu;
  traceUndo(ipm, s);
  int32_t status = undoInvivo(ipm, hub, s);
  if (status != QZ_STATUS_OK) return status;
  hub->routeSubmodel = ROUTE_INACTIVE;
  AnalyzeIpm(ipm);
  if (removed) status = giveResidualsToBounds(ipm, s);
  if (status != QZ_STATUS_OK) return status;
  computeMeasurement(ipm);
  ipm->status =
      getSolutionStatus(ipm->tolPrimal, ipm->tolDual, ipm->tolOptimality, ipm->tolComplement, ipm->primalInfeas,
                        ipm->boundInfeas, ipm->dualInfeas, ipm->dualityGap, ipm->complementarity);
  if (ipm->status != QZ_STATUS_OPTIMAL) {
    traceUnconfirmed(ipm, s);
    if (removed) centreBounds(ipm, s, mu);
    s->moveTolerance *= kHarder;
    ipm->stopState = STOP_ITERATE;
    computeMeasurement(ipm);
  }
  clearBigCounts(s);
  return QZ_STATUS_OK;
}

// A break or a failure must not be lost to a restoration, which goes on iterating.
bool isAborted(const Ipm* ipm) {
  return ipm->stopState == STOP_NOW && (ipm->status == QZ_STATUS_FAILED || ipm->status == QZ_STATUS_INTERRUPTED ||
                                        ipm->status == QZ_STATUS_OUT_OF_MEMORY);
}

}  // namespace

BigActions classifyBigValues(const SubModel* s) {
  const double tolerance = s->moveTolerance;
  const double limit = std::min(kStillShare * s->thresholdBig, kStillTolerance * tolerance);
  const auto classify = [&](int32_t count, int32_t flag, double movement) {
    if (count == 0 || flag != 0) return BigAction::kNone;
    if (movement < limit) return BigAction::kStill;
    return movement < tolerance ? BigAction::kSlow : BigAction::kMoving;
  };
  return {
      classify(s->numBigVar, s->bBigVar, s->deltaX), classify(s->numBigBoundSlack, s->bBigBoundSlack, s->deltaBound),
      classify(s->numBigIneqnSlack, s->bBigIneqnSlack, s->deltaRow), classify(s->numBigDual, s->bBigDual, s->deltaY),
      classify(s->numBigBoundDual, s->bBigBoundDual, s->deltaColumn)};
}

int32_t submodelControl(Ipm* ipm, Hub* hub, SubModel* submodel) {
  if (submodel == nullptr) return QZ_STATUS_OK;
  DumpIterSubmodel(ipm, ipm->debugLevel, hub, submodel);
  const bool removedInvivo = (submodel->bBigBoundSlack & BIG_INVIVO) != 0;
  if (removedInvivo && !isAborted(ipm) && validBoundInvivo(ipm, submodel) != QZ_STATUS_OK)
    return restore(ipm, hub, submodel);

  BigActions actions;
  bool act = false;
  if (ipm->stopState != STOP_ITERATE) {
    if (ipm->status == QZ_STATUS_OPTIMAL && hub->routeSubmodel == ROUTE_INVIVO)
      return confirmOptimal(ipm, hub, submodel);
    act = decideEnding(ipm, submodel, &actions);
  } else {
    if (validBigSolution(ipm, submodel) != QZ_STATUS_OK) return restore(ipm, hub, submodel);
    traceBigValues(ipm, submodel);
    act = listsStandStill(submodel) && hub->routeSubmodel != ROUTE_BOTH && decideRunning(submodel, &actions);
  }
  if (!act) return QZ_STATUS_OK;
  return allows(actions.rowSlack) || allows(actions.boundDual) ? actInvitro(ipm, hub, submodel, actions)
                                                               : actInvivo(ipm, hub, submodel, actions);
}

int32_t actInvivo(Ipm* ipm, Hub* hub, SubModel* submodel, const BigActions& actions) {
  if (allows(actions.boundSlack) && subCountRemoveBound(ipm, submodel) >= ipm->numCompl)
    return actInvitro(ipm, hub, submodel, actions);
  takeInvivoRoute(ipm, hub);
  int32_t status = keepTrueData(ipm, submodel);
  if (status == QZ_STATUS_OK && allows(actions.variable)) status = shiftVariables(ipm, submodel);
  if (status == QZ_STATUS_OK && allows(actions.boundSlack)) status = removeBounds(ipm, submodel);
  if (status == QZ_STATUS_OK && allows(actions.rowDual)) status = shiftDuals(ipm, submodel);
  if (status != QZ_STATUS_OK) return status;
  traceInvivo(ipm, submodel);
  status = VerifyInvivoReport(ipm, ipm->debugLevel, hub, submodel);
  if (status != QZ_STATUS_OK) return status;
  ipm->stopState = STOP_ITERATE;
  computeMeasurement(ipm);
  return QZ_STATUS_OK;
}

int32_t undoInvivo(Ipm* ipm, const Hub* hub, SubModel* submodel) {
  if ((submodel->bBigBoundSlack & BIG_INVIVO) != 0) {
    subRestoreBound(ipm, hub, submodel);
    submodel->bBigBoundSlack &= ~BIG_INVIVO;
  }
  if ((submodel->bBigVar & BIG_INVIVO) != 0) {
    if (ipm->typeModel == IPM_MODEL_QP) {
      const int32_t status =
          subShiftPrimalQP(ipm->env, submodel, -1, ipm->numCol, ipm->numQuadCoef, ipm->obj, ipm->quadDiag,
                           ipm->quadColBegin, ipm->quadColLength, ipm->quadRowIndex, ipm->quadMatValue);
      if (status != QZ_STATUS_OK) return status;
    }
    subUnshiftPrimal(ipm, submodel);
    submodel->bBigVar &= ~BIG_INVIVO;
  }
  if ((submodel->bBigDual & BIG_INVIVO) != 0) {
    subUnshiftDual(ipm, submodel, 1);
    submodel->bBigDual &= ~BIG_INVIVO;
  }
  releaseTrueData(ipm, submodel);
  return QZ_STATUS_OK;
}

void clearBigCounts(SubModel* s) {
  s->numBigVar = s->numBigBoundSlack = s->numBigIneqnSlack = s->numBigDual = s->numBigBoundDual = 0;
  s->prevBigVar = s->prevBigBoundSlack = s->prevBigIneqnSlack = s->prevBigDual = s->prevBigBoundDual = 0;
  s->deltaX = s->deltaBound = s->deltaRow = s->deltaY = s->deltaColumn = 0.0;
}

}  // namespace qz
