#include "engine/stopping.h"

#include <algorithm>

#include "engine/rays.h"

namespace qz {

namespace {

constexpr int32_t kIterationCeiling = 999;  // beyond it the run counts as failed, whatever maxIter says
constexpr int32_t kMaxBadStep = 50;
constexpr int32_t kMaxStall = 2;
constexpr double kImproved = 0.99;  // a measure at or below this share of its last value has improved
constexpr double kGoodStep = 0.9;
constexpr double kNoStep = 1e-6;
constexpr double kSeparated = 0.001;   // complRatio at or below it: nearly strictly complementary
constexpr double kNotSeparated = 0.1;  // complRatio at or above it: some pair has not decided its side
constexpr double kStallMu = 1e-4;
constexpr double kStallGap = 0.1;
constexpr double kMuGrowth = 1000.0;

bool withinTolerances(const Ipm& ipm, double factor) {
  return ipm.primalInfeas <= factor * ipm.tolPrimal && ipm.boundInfeas <= factor * ipm.tolPrimal &&
         ipm.dualInfeas <= factor * ipm.tolDual;
}

// An in vitro change is in force, or a big-value level has just been left (which is read once).
bool changePending(Hub* hub, const SubModel* submodel) {
  bool pending = false;
  if (submodel != nullptr)
    pending = ((submodel->bBigBoundSlack | submodel->bBigIneqnSlack | submodel->bBigBoundDual) & BIG_INVITRO) != 0;
  if (hub->bigLevelLeft != 0) {
    hub->bigLevelLeft = 0;
    pending = true;
  }
  return pending;
}

// A direction that is proved on shifted data is none of the true ones: the shift that comes back outweighs it.
bool changedInVivo(const SubModel* submodel) {
  if (submodel == nullptr) return false;
  return ((submodel->bBigVar | submodel->bBigBoundSlack | submodel->bBigDual) & BIG_INVIVO) != 0;
}

// The iterate has run to the edge of what the arithmetic carries; the tests behind still run.
void noteExhausted(Ipm& ipm) {
  if (ipm.mu < ipm.muLimit) ipm.stopState = STOP_NOW;
  if (ipm.minPositive < ipm.positiveLimit) ipm.stopState = STOP_NOW;
}

// A diverging iterate is no near-optimal one: an unbounded x points to dual infeasibility, an unbounded y to primal.
void noteDivergence(Ipm& ipm) {
  const bool primalDiverges = ipm.maxPrimal >= ipm.infinityValue;
  const bool dualDiverges = ipm.maxDual >= ipm.infinityValue;
  if (!primalDiverges && !dualDiverges) return;
  ipm.stopState = STOP_NOW;
  if (ipm.status != QZ_STATUS_NEAR_OPTIMAL) return;
  if (primalDiverges)
    ipm.status = dualDiverges ? QZ_STATUS_BOTH_INFEASIBLE : QZ_STATUS_DUAL_INFEASIBLE;
  else
    ipm.status = QZ_STATUS_PRIMAL_INFEASIBLE;
}

void countGoodSteps(Ipm& ipm) {
  const bool good = ipm.alphaPrimal > kGoodStep && ipm.alphaDual > kGoodStep;
  ipm.countGoodStep = good ? ipm.countGoodStep + 1 : 0;
}

// True when an infeasibility neither improved by a hundredth nor was still above its tolerance.
bool noProgress(double value, double previous, double tolerance) {
  return value > kImproved * previous || previous <= tolerance;
}

// mu has stopped falling although it is small and the gap is nearly closed. Returns true when the run stops here.
bool decideStall(Ipm& ipm, bool pending) {
  const bool stalled = ipm.mu > kImproved * ipm.prevMu && ipm.mu <= kStallMu && ipm.dualityGap < kStallGap;
  if (!stalled) {
    ipm.countStall = 0;
    return false;
  }
  // Where an infeasibility still falls the count keeps its value.
  if (!noProgress(ipm.primalInfeas, ipm.prevPrimalInfeas, ipm.tolPrimal) ||
      !noProgress(ipm.boundInfeas, ipm.prevBoundInfeas, ipm.tolPrimal) ||
      !noProgress(ipm.dualInfeas, ipm.prevDualInfeas, ipm.tolDual))
    return false;
  ++ipm.countStall;
  if (ipm.countStall <= kMaxStall) return false;
  if (!withinTolerances(ipm, 100.0)) {
    ipm.stopState = STOP_NOW;
  } else if (ipm.complRatio >= kNotSeparated || pending) {
    ipm.status = QZ_STATUS_NEAR_OPTIMAL;
    ipm.stopState = STOP_NOW;
  } else {
    ipm.stopState = STOP_RESET_STOP;
  }
  return true;
}

// A point that cannot move keeps its measures, which is no progress either.
void countBadSteps(Ipm& ipm) {
  const bool stuck = ipm.numIter > 0 && ipm.alphaPrimal < kNoStep && ipm.alphaDual < kNoStep;
  const bool closer = !stuck && ipm.mu <= ipm.prevMu && ipm.dualityGap <= ipm.prevGap;
  const bool moreFeasible = ipm.primalInfeas <= kImproved * ipm.prevPrimalInfeas &&
                            ipm.boundInfeas <= kImproved * ipm.prevBoundInfeas &&
                            ipm.dualInfeas <= kImproved * ipm.prevDualInfeas;
  if (closer || moreFeasible) return;
  ++ipm.countBadStep;
  if (ipm.countBadStep >= kMaxBadStep) ipm.stopState = STOP_NOW;
}

// A growing mu alone is no verdict: where the feasible points or the dual points have no interior the first steps may
// multiply it, and the run comes back. It is one when the iterate has come to prove it.
bool runsAlongARay(const Ipm& ipm) {
  return isRay(ipm.model, ipm.primal, ipm.infinityValue, nullptr, ipm.workReal1) ||
         isFarkasProof(ipm.model, ipm.dual, ipm.infinityValue, nullptr);
}

}  // namespace

bool pollStop(Ipm* ipm) {
  bool stopped = false;
  if (ipm->checkSolverBreak != nullptr && ipm->checkSolverBreak(ipm->callerDataStruct) != 0) {
    ipm->status = QZ_STATUS_INTERRUPTED;
    stopped = true;
  }
  int32_t reached = 0;
  IPM_timerReachLimit(ipm->timer, &reached);
  if (reached != 0) {
    ipm->status = QZ_STATUS_TIME_LIMIT;
    stopped = true;
  }
  if (stopped) ipm->stopState = STOP_NOW;
  return stopped;
}

void decideLimits(Ipm* ipm) {
  if (pollStop(ipm)) return;
  if (ipm->numIter >= ipm->maxIter) {
    ipm->status = QZ_STATUS_ITERATION_LIMIT;
    ipm->stopState = STOP_NOW;
  } else if (ipm->numIter > kIterationCeiling) {
    ipm->status = QZ_STATUS_FAILED;
    ipm->stopState = STOP_NOW;
  }
}

void decideStop(Ipm* ipm, Hub* hub, const SubModel* submodel) {
  if (ipm->numIter == 0) ipm->firstMu = ipm->mu;
  const bool pending = changePending(hub, submodel);
  if (ipm->status == QZ_STATUS_OPTIMAL) {
    ipm->stopState = ipm->unscaleCheck == 0 || pending ? STOP_NOW : STOP_RESET_GO_ON;
    return;
  }
  noteExhausted(*ipm);
  noteDivergence(*ipm);
  if (withinTolerances(*ipm, 1.0) && ipm->complRatio <= kSeparated && !pending) {
    ipm->stopState = STOP_RESET_GO_ON;
    return;
  }
  countGoodSteps(*ipm);
  if (!changedInVivo(submodel) && ipm->mu > kMuGrowth * std::max(ipm->firstMu, 1.0) && runsAlongARay(*ipm)) {
    ipm->stopState = STOP_NOW;
    return;
  }
  if (decideStall(*ipm, pending)) return;
  countBadSteps(*ipm);
  decideLimits(ipm);
}

}  // namespace qz
