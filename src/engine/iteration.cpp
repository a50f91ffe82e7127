#include "engine/iteration.h"

#include <algorithm>

#include "diagnostics/iteration_checks.h"
#include "diagnostics/verify_iteration.h"
#include "diagnostics/verify_submodel.h"
#include "engine/directions.h"
#include "engine/engine_state.h"
#include "engine/measures.h"
#include "engine/newton_system.h"
#include "engine/rays.h"
#include "engine/reset.h"
#include "engine/scaling_control.h"
#include "engine/stopping.h"
#include "shell/log.h"
#include "submodel/big_solution.h"
#include "submodel/submodel_control.h"
#include "submodel/submodel_trace.h"

namespace qz {

namespace {

// Where the loop goes next.
enum class Step { kTop, kMeasure, kControl, kSubmodel, kReport, kReset, kDirection, kLeave };

struct Loop {
  Ipm* ipm;
  Hub* hub;
  SubModel* submodel;
  int32_t result;  // what the loop leaves with
};

Step leaveWith(Loop& loop, int32_t result) {
  loop.result = result;
  return Step::kLeave;
}

Step keepPreviousMeasures(Loop& loop) {
  Ipm& ipm = *loop.ipm;
  ipm.prevMu = ipm.mu;
  ipm.prevGap = ipm.dualityGap;
  ipm.prevPrimalInfeas = ipm.primalInfeas;
  ipm.prevBoundInfeas = ipm.boundInfeas;
  ipm.prevDualInfeas = ipm.dualInfeas;
  return Step::kMeasure;
}

// Measures the point, which also leaves the predictor's right-hand side, and decides.
Step measureAndDecide(Loop& loop) {
  Ipm* ipm = loop.ipm;
  computeMeasurement(ipm);
  ipm->status =
      getSolutionStatus(ipm->tolPrimal, ipm->tolDual, ipm->tolOptimality, ipm->tolComplement, ipm->primalInfeas,
                        ipm->boundInfeas, ipm->dualInfeas, ipm->dualityGap, ipm->complementarity);
  const int32_t verified = verifyMeasured(ipm, loop.hub, loop.submodel);
  if (verified != QZ_STATUS_OK) return leaveWith(loop, verified);
  if (!pollStop(ipm)) decideStop(ipm, loop.hub, loop.submodel);
  return Step::kControl;
}

// Leaves the scaled terms when it is time to. Limits leave behind that at once; an unscaled point is measured and
// decided on again, against the previous measures as they are.
Step control(Loop& loop) {
  Ipm* ipm = loop.ipm;
  const int32_t scaling = scalingControl(ipm, loop.hub, loop.submodel);
  if (ipm->status == QZ_STATUS_TIME_LIMIT) {
    ipm->stopState = STOP_NOW;
    return leaveWith(loop, QZ_STATUS_TIME_LIMIT);
  }
  if (ipm->status == QZ_STATUS_ITERATION_LIMIT) {
    printLog(ipm);
    ipm->stopState = STOP_NOW;
    return leaveWith(loop, QZ_STATUS_ITERATION_LIMIT);
  }
  if (scaling == QZ_STATUS_RESTART) {
    ipm->countStall = 0;
    return Step::kMeasure;
  }
  if (scaling != QZ_STATUS_OK) {
    ipm->status = scaling;
    return leaveWith(loop, scaling);
  }
  return Step::kSubmodel;
}

// Acts on big values, or takes back what was done about them. What is left to the controller leaves the loop.
Step controlSubmodel(Loop& loop) {
  const bool stopping = loop.ipm->stopState != STOP_ITERATE;
  const int32_t status = submodelControl(loop.ipm, loop.hub, loop.submodel);
  // A verdict that was taken back may have kept the limits from being asked.
  if (status == QZ_STATUS_OK && stopping && loop.ipm->stopState == STOP_ITERATE) decideLimits(loop.ipm);
  if (status == QZ_STATUS_OK) return Step::kReport;
  loop.ipm->status = status;
  return leaveWith(loop, status);
}

Step report(Loop& loop) {
  Ipm* ipm = loop.ipm;
  printLog(ipm);
  if (ipm->stopState == STOP_NOW) return leaveWith(loop, ipm->status);
  ++ipm->numIter;
  return ipm->stopState == STOP_ITERATE ? Step::kDirection : Step::kReset;
}

// Ends the loop where it stands, which takes the pass back.
Step takeBackAndLeave(Loop& loop, int32_t status) {
  Ipm* ipm = loop.ipm;
  ipm->status = status;
  ipm->stopState = STOP_NOW;
  --ipm->numIter;
  return leaveWith(loop, status);
}

// What is left of a pass whose exact-point reset was no success, in a run that stops in any case: a feasible point
// whose gap or complementarity is within tolerance is good enough now.
Step afterFailedReset(Loop& loop) {
  Ipm* ipm = loop.ipm;
  const bool feasible =
      ipm->primalInfeas <= ipm->tolPrimal && ipm->boundInfeas <= ipm->tolPrimal && ipm->dualInfeas <= ipm->tolDual;
  if (feasible && ipm->dualityGap <= ipm->tolOptimality) return takeBackAndLeave(loop, QZ_STATUS_OPTIMAL);
  if (feasible && ipm->complementarity <= ipm->tolComplement) return takeBackAndLeave(loop, QZ_STATUS_NEAR_OPTIMAL);
  return takeBackAndLeave(loop, ipm->status);
}

// A run that may go on is not cut short: where the face is decided but the gap is not closed, the next steps close it
// to full accuracy, and a jump taken then has ended good runs near-optimal (blend, grow7 and stocfor1 among them). The
// limits of the iteration were skipped by the decision that wished for the jump, so they are tested here.
Step goOnWithoutReset(Loop& loop) {
  Ipm* ipm = loop.ipm;
  if (ipm->status == QZ_STATUS_OPTIMAL) return takeBackAndLeave(loop, QZ_STATUS_OPTIMAL);
  ipm->stopState = STOP_ITERATE;
  decideLimits(ipm);
  return ipm->stopState == STOP_NOW ? takeBackAndLeave(loop, ipm->status) : Step::kDirection;
}

// Where the run stops in any case: tries to jump to the exact point on the optimal face. An accepted point ends the run
// with the status it was given: its zero slacks allow no further step. A failed attempt is no error, unless memory ran
// out or a break was asked for.
Step reset(Loop& loop) {
  Ipm* ipm = loop.ipm;
  if (ipm->stopState == STOP_RESET_GO_ON) return goOnWithoutReset(loop);
  const int32_t status = ipmReset(ipm);
  if (ipm->debugLevel > 0)
    logText(ipm->env->log, QZ_LOG_DEBUG, L"exact point tried at iteration %d: status %d", ipm->numIter, status);
  if (status == QZ_STATUS_OK) {
    ipm->stopState = STOP_NOW;
    printLog(ipm);
    return leaveWith(loop, ipm->status);
  }
  if (status == QZ_STATUS_OUT_OF_MEMORY || status == QZ_STATUS_INTERRUPTED) return takeBackAndLeave(loop, status);
  ++ipm->numReset;
  return afterFailedReset(loop);
}

// A failed solve takes the iteration back and leaves with what the measure said, so that a near-optimal point stays
// near-optimal; no memory and a break are handed on. A model that is still scaled is unscaled on the way out.
Step solveFailed(Loop& loop, int32_t status) {
  Ipm* ipm = loop.ipm;
  --ipm->numIter;
  if (status == QZ_STATUS_OUT_OF_MEMORY || status == QZ_STATUS_INTERRUPTED) return leaveWith(loop, status);
  ipm->stopState = STOP_NOW;
  const int32_t scaling = scalingControl(ipm, loop.hub, loop.submodel);
  ipm->stopState = STOP_NOW;
  const bool unscaled = scaling == QZ_STATUS_OK || scaling == QZ_STATUS_RESTART;
  return leaveWith(loop, unscaled ? ipm->status : scaling);
}

// Only the difference of the two parts of a split free column enters the rows: without a pull both drift off together,
// and take the digits of the difference along. An in vitro model has numbers of its own for its columns, so there the
// pairs are left alone.
void pullPairsTogether(Ipm* ipm, const Hub* hub) {
  const bool renumbered = hub->routeSubmodel == ROUTE_INVITRO || hub->routeSubmodel == ROUTE_BOTH;
  if (hub->colPlus == nullptr || renumbered) return;
  ipm->freeVarPlus = hub->colPlus;
  ipm->freeVarMinus = hub->colMinus;
  ipm->numFreeVar = hub->numFreeVar;
  adjustFreeVar(ipm, ipm->primal, ipm->lowerSlack, ipm->lowerDual);
}

// One step: factor, predictor, centering, corrector, combined direction, update; a poll between all of them.
Step takeStep(Loop& loop) {
  Ipm* ipm = loop.ipm;
  int32_t status = formSystem(ipm);
  if (status != QZ_STATUS_OK) return leaveWith(loop, status);
  if (pollStop(ipm)) return Step::kControl;
  status = factorSystem(ipm);
  if (status != QZ_STATUS_OK) return leaveWith(loop, status);
  if (pollStop(ipm)) return Step::kControl;

  status = solveSystem(ipm, ipm->rhsPredictor);
  if (status != QZ_STATUS_OK) return solveFailed(loop, status);
  if (pollStop(ipm)) return Step::kControl;
  computePredictor(ipm);
  if (pollStop(ipm)) return Step::kControl;

  computeMuAffine(ipm);
  computeSigma(ipm);
  if (pollStop(ipm)) return Step::kControl;
  ipm->sigma = std::min(ipm->sigma, 1.0);
  status = verifyPredictor(ipm);
  if (status != QZ_STATUS_OK) return leaveWith(loop, status);
  computeRhsCorrector(ipm);
  if (pollStop(ipm)) return Step::kControl;

  status = solveSystem(ipm, ipm->rhsCorrector);
  if (status != QZ_STATUS_OK) return solveFailed(loop, status);
  if (pollStop(ipm)) return Step::kControl;
  status = VerifyCorrector(ipm, ipm->debugLevel);
  if (status != QZ_STATUS_OK) return leaveWith(loop, status);
  computeStepCombined(ipm);
  if (pollStop(ipm)) return Step::kControl;
  status = verifyDirection(ipm);
  if (status != QZ_STATUS_OK) return leaveWith(loop, status);

  updateSolution(ipm);
  pullPairsTogether(ipm, loop.hub);
  if (pollStop(ipm)) return Step::kControl;
  status = VerifySolution(ipm, ipm->debugLevel);
  if (status != QZ_STATUS_OK) return leaveWith(loop, status);
  status = statBigSolution(ipm, loop.submodel);
  if (status != QZ_STATUS_OK) return leaveWith(loop, status);
  status = VerifyStatBig(ipm, ipm->debugLevel, loop.submodel);
  if (status != QZ_STATUS_OK) return leaveWith(loop, status);
  if (pollStop(ipm)) return Step::kControl;
  return Step::kTop;
}

// The point and the data are handed over without in vivo changes, and with the measures of the true model.
int32_t takeBackInvivo(Loop& loop) {
  Hub* hub = loop.hub;
  SubModel* submodel = loop.submodel;
  if (submodel == nullptr || hub->routeSubmodel == ROUTE_INACTIVE) return loop.result;
  traceUndo(loop.ipm, submodel);
  const bool changed = ((submodel->bBigVar | submodel->bBigBoundSlack | submodel->bBigDual) & BIG_INVIVO) != 0;
  const int32_t status = undoInvivo(loop.ipm, hub, submodel);
  if (hub->routeSubmodel == ROUTE_INVIVO) hub->routeSubmodel = ROUTE_INACTIVE;
  if (hub->routeSubmodel == ROUTE_BOTH) hub->routeSubmodel = ROUTE_INVITRO;
  if (status != QZ_STATUS_OK) return status;
  if (changed) {
    AnalyzeIpm(loop.ipm);
    computeMeasurement(loop.ipm);
  }
  return loop.result;
}

// A run that stopped because no step improves its point, with residuals that no status has a name for: what the point
// proves is an answer all the same. Answers leave unscaled; inside a reduction they are the controller's.
int32_t askForProof(Loop& loop) {
  Ipm* ipm = loop.ipm;
  const bool decided = ipm->stopState == STOP_NOW && ipm->status == QZ_STATUS_FAILED;
  if (!decided || loop.hub->routeSubmodel != ROUTE_INACTIVE) return QZ_STATUS_FAILED;
  const int32_t proven =
      statusByRays(ipm->model, ipm->primal, ipm->dual, ipm->infinityValue, nullptr, ipm->workReal1, QZ_STATUS_FAILED);
  if (proven == QZ_STATUS_FAILED) return QZ_STATUS_FAILED;
  ipm->status = proven;
  const int32_t scaling = scalingControl(ipm, loop.hub, loop.submodel);
  ipm->status = proven;
  ipm->stopState = STOP_NOW;
  return scaling == QZ_STATUS_OK || scaling == QZ_STATUS_RESTART ? proven : scaling;
}

// A near-optimal point whose gap is within tolerance is optimal: complementarity alone does not block that.
int32_t leave(Loop& loop) {
  Ipm* ipm = loop.ipm;
  if (loop.result == QZ_STATUS_NEAR_OPTIMAL && ipm->dualityGap <= ipm->tolOptimality) {
    ipm->status = QZ_STATUS_OPTIMAL;
    loop.result = QZ_STATUS_OPTIMAL;
  }
  const int32_t result = takeBackInvivo(loop);
  return result == QZ_STATUS_FAILED ? askForProof(loop) : result;
}

}  // namespace

void printLog(const Ipm* ipm) {
  if (ipm->printLevel <= 1 || ipm->logFrequency < 1) return;
  if (ipm->stopState != STOP_NOW && ipm->numIter % ipm->logFrequency != 0) return;
  logCode(ipm->env->log, QZ_LOG_ITERATION, QZ_MSG_ITERATION, ipm->numIter, ipm->complementarity, ipm->dualityGap,
          ipm->primalInfeas, ipm->boundInfeas, ipm->dualInfeas);
}

int32_t ipmMethod(Ipm* ipm, Hub* hub, SubModel* submodel) {
  Loop loop{ipm, hub, submodel, QZ_STATUS_OK};
  Step step = Step::kTop;
  while (step != Step::kLeave) {
    switch (step) {
      case Step::kTop:
        step = keepPreviousMeasures(loop);
        break;
      case Step::kMeasure:
        step = measureAndDecide(loop);
        break;
      case Step::kControl:
        step = control(loop);
        break;
      case Step::kSubmodel:
        step = controlSubmodel(loop);
        break;
      case Step::kReport:
        step = report(loop);
        break;
      case Step::kReset:
        step = reset(loop);
        break;
      case Step::kDirection:
        step = takeStep(loop);
        break;
      case Step::kLeave:
        break;
    }
  }
  return leave(loop);
}

}  // namespace qz
