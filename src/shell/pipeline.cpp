#include "shell/pipeline.h"

#include <algorithm>

#include "diagnostics/verify_input.h"
#include "diagnostics/verify_model.h"
#include "diagnostics/verify_shift.h"
#include "eigen/convexity.h"
#include "engine/controller.h"
#include "engine/measures.h"
#include "shell/crossover.h"
#include "shell/log.h"
#include "shell/pool.h"
#include "shell/reporting.h"
#include "transform/bound_relaxation.h"
#include "transform/bound_shift.h"
#include "transform/hub.h"
#include "transform/implied_bounds.h"
#include "transform/postsolve.h"
#include "transform/presolve.h"
#include "transform/presolve_disabled.h"
#include "transform/presolver.h"
#include "transform/reduced_model.h"
#include "transform/row_scaling.h"
#include "transform/scaling.h"
#include "transform/standard_form.h"

namespace qz {

namespace {

// What one call of ipmMain holds.
struct Pipeline {
  Env* env;
  Model* model;
  IpmOption* option;
  IPM_timer* timer;
  Hub* hub;
  Presolver* presolver;
  Solution* outerSolution;  // of the model as it came in
  Solution* innerSolution;  // of the model that the engine sees; the same record when nothing was reduced
  bool rowScaled;           // the row scaling was asked for; the controller may overwrite the option
  bool boundsTightened;     // the model holds the bounds of presolve, the presolver the user's
  double startTime;
  Model inputCopy;  // what the checks compare with; empty at debug level 0
};

// Keeps the status of a failed stage in the model; true when the stage succeeded.
bool passed(Pipeline& p, int32_t status) {
  if (status != QZ_STATUS_OK) p.model->status = status;
  return status == QZ_STATUS_OK;
}

int32_t makeRecords(Pipeline& p) {
  p.hub = poolAllocateZero<Hub>(p.env->pool, 1);
  if (p.hub == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  p.hub->numRowSaved = p.hub->numRowInput = p.model->numRow;
  p.hub->numColSaved = p.hub->numColInput = p.model->numCol;
  p.hub->numCoefSaved = p.model->numCoef;
  p.hub->numQuadCoefSaved = p.model->numQuadCoef;
  p.presolver = poolAllocateZero<Presolver>(p.env->pool, 1);
  return p.presolver == nullptr ? QZ_STATUS_OUT_OF_MEMORY : QZ_STATUS_OK;
}

// A linear model has been reduced by the presolver module: it goes on as it is, unless presolveMode asks for more.
int32_t presolve(Pipeline& p) {
  if (p.model->typeModel == IPM_MODEL_LP && p.option->presolveMode != 0)
    return ipmPresolveDisabled(p.env, p.model, p.option, p.presolver, p.hub, &p.outerSolution, &p.innerSolution);
  const int32_t status =
      ipmPresolve(p.env, &p.model, p.option, p.presolver, p.hub, &p.outerSolution, &p.innerSolution, nullptr);
  FreePresolver(p.env, p.presolver);
  p.boundsTightened = p.presolver->preControl == PRECONTROL_BOUND;
  return status;
}

void reportThreads(const Pipeline& p) {
  if (p.option->printLevel == 0 || p.option->numThread < 2) return;
  if (p.option->threadMode == 2) logCode(p.env->log, QZ_LOG_WARNING, QZ_MSG_THREAD_MODE);
  logCode(p.env->log, QZ_LOG_NOTE, QZ_MSG_THREADS_BEGIN);
  logCode(p.env->log, QZ_LOG_NOTE, QZ_MSG_THREADS, p.option->numThread);
}

// Where a linear model would be looked at as the relaxation of an integer one. It changes nothing.
void isMipRelaxation(Env*, const Model*) {}

bool splitsFreeColumns(const Pipeline& p) {
  return p.option->typeMethod == IPM_METHOD_NORMAL && p.hub->numFreeVar >= 1;
}

// An objective factor below this makes the engine confirm in true terms what is optimal in scaled ones.
constexpr double kDoubtfulObjScale = 1e-5;

bool scaleModel(Pipeline& p) {
  p.rowScaled = p.option->initOption == 1;
  if (!passed(p, ipmScale(p.env, p.model, p.option, p.hub, nullptr))) return false;
  if (p.hub->objScale < kDoubtfulObjScale) p.option->unscaleCheck = 1;
  return true;
}

// From the presolved model to the engine's standard form; a quadratic model that is not convex goes no further.
bool transformModel(Pipeline& p) {
  if (p.model->typeModel == IPM_MODEL_QP && !passed(p, ipmDetectConvexity(p.env, p.model))) return false;
  reportThreads(p);
  const bool linear = p.model->typeModel == IPM_MODEL_LP;
  if (linear) isMipRelaxation(p.env, p.model);
  p.hub->boundSwitchState = 0;
  if (p.option->typeMethod == IPM_METHOD_AUGMENTED && !passed(p, ipmRelaxBound(p.env, p.model, p.option, p.hub)))
    return false;
  if (!passed(p, releaseImpliedBounds(p.env, p.model, p.option, p.hub, p.presolver))) return false;
  if (linear && !passed(p, ipmShiftBound(p.env, p.model, p.option, p.hub, p.presolver, nullptr))) return false;
  if (!scaleModel(p)) return false;
  p.hub->typeMethod = p.option->typeMethod;
  if (!passed(p, addSlack(p.env, p.model, p.hub))) return false;
  return !splitsFreeColumns(p) || passed(p, splitFreeVar(p.env, p.model, p.hub));
}

// The engine also calls a model infeasible when its steps die out in front of one, and a start close to the bounds can
// do that to a feasible model. A quadratic model gets a second run then, also when the cross-check has refuted the
// claim and left a failure.
bool doubtfulVerdict(const Pipeline& p) {
  const int32_t status = p.model->status;
  return p.model->typeModel == IPM_MODEL_QP &&
         (status == QZ_STATUS_PRIMAL_INFEASIBLE || status == QZ_STATUS_DUAL_INFEASIBLE ||
          status == QZ_STATUS_BOTH_INFEASIBLE || status == QZ_STATUS_INFEASIBLE_ALIAS || status == QZ_STATUS_FAILED);
}

// The second run, from a start farther inside, with the iterations that are left. Its verdict stands.
int32_t solveAgain(Pipeline& p) {
  if (p.option->printLevel != 0) logText(p.env->log, QZ_LOG_NOTE, L"Once more, from a start farther inside.");
  const int32_t used = p.model->numIter;
  p.hub->wideStart = 1;
  p.option->maxIter -= used;
  const int32_t status = ipmSolve(p.env, p.model, p.option, p.hub, p.innerSolution, p.timer);
  p.option->maxIter += used;
  p.model->numIter += used;
  return status;
}

// The stages behind the engine cost a digit: the recovery of the duals adds the errors of several bounds up in one row,
// and the gap is measured against an objective value that shifts and fixed columns have moved, perhaps towards 0. The
// engine's last steps gain two digits each, so one is asked for beforehand; but none beyond the last limit.
constexpr double kSpareDigit = 0.1;
constexpr double kSparedTolerance = 1e-8;

double engineTolerance(double asked) {
  return std::min(asked, std::max(kSpareDigit * asked, kSparedTolerance));
}

// An engine that found its own tolerance too small may still have met the one asked for.
void decideAgain(Pipeline& p) {
  Model& m = *p.model;
  const IpmOption& o = *p.option;
  if (m.status != QZ_STATUS_NEAR_OPTIMAL) return;
  const int32_t status = getSolutionStatus(o.tolPrimal, o.tolDual, o.tolOptimality, o.tolOptimality, m.primalInfeas,
                                           m.boundInfeas, m.dualInfeas, m.dualityGap, m.complementarity);
  if (status == QZ_STATUS_OPTIMAL) m.status = status;
}

// A failure on a reduced model goes through the stages behind the engine like a success: they bring the status, the
// measures and the input model back.
bool solveModel(Pipeline& p) {
  const double asked = p.option->tolOptimality;
  p.option->tolOptimality = engineTolerance(asked);
  int32_t status = ipmSolve(p.env, p.model, p.option, p.hub, p.innerSolution, p.timer);
  if (status == QZ_STATUS_OK && doubtfulVerdict(p)) status = solveAgain(p);
  p.option->tolOptimality = asked;
  decideAgain(p);
  return passed(p, status) || p.presolver->preControl == PRECONTROL_REDUCED;
}

// The engine owes an unscaled model, but for the ends on which nothing more is read from it.
int32_t checkUnscaled(const Pipeline& p) {
  const int32_t status = p.model->status;
  if (status == QZ_STATUS_FAILED || status == QZ_STATUS_INTERRUPTED || status == QZ_STATUS_OUT_OF_MEMORY)
    return QZ_STATUS_OK;
  if (p.hub->scaleState != 0) {
    logText(p.env->log, QZ_LOG_ERROR, L"Model is not properly unscaled.");
    return QZ_STATUS_FAILED;
  }
  if (p.hub->rowScale != nullptr || p.hub->colScale != nullptr) {
    logText(p.env->log, QZ_LOG_ERROR, L"Scaling factor array is not properly released.");
    return QZ_STATUS_FAILED;
  }
  return QZ_STATUS_OK;
}

bool hasAlternateBounds(const Pipeline& p) {
  return p.hub != nullptr && p.hub->altLower != nullptr && p.hub->altUpper != nullptr;
}

// Undoes transformModel in reverse order.
bool restoreModel(Pipeline& p) {
  if (splitsFreeColumns(p) && !passed(p, mergeFreeVar(p.env, p.model, p.hub, p.innerSolution))) return false;
  if (!passed(p, removeSlack(p.env, p.model, p.hub, p.innerSolution))) return false;
  if (p.rowScaled && !passed(p, undoRowScaling(p.env, p.model, p.hub, p.innerSolution))) return false;
  if (!passed(p, checkUnscaled(p))) return false;
  if (p.model->typeModel == IPM_MODEL_LP &&
      !passed(p, ipmShiftRestore(p.env, p.model, p.option, p.hub, p.presolver, p.innerSolution)))
    return false;
  if (!hasAlternateBounds(p)) return true;
  return passed(p, ipmSwitchBound(p.env, p.model, p.hub)) &&
         passed(p, getLostSlack(p.env, p.model, p.option, p.hub, p.innerSolution));
}

bool hasAnswer(const Pipeline& p) {
  return p.model->status == QZ_STATUS_OPTIMAL || p.model->status == QZ_STATUS_NEAR_OPTIMAL;
}

// The model is what it was, and the point solves it.
int32_t verifyRestored(const Pipeline& p) {
  const int32_t level = p.option->debugLevel;
  int32_t status = VerifyCompareModel(p.env, level, p.model, &p.inputCopy);
  if (status != QZ_STATUS_OK || !hasAnswer(p)) return status;
  status = VerifyModelPrimal(p.env, level, p.model, p.option, p.outerSolution);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyModelBound(p.env, level, p.model, p.option, p.outerSolution);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyModelDual(p.env, level, p.model, p.option, p.outerSolution);
  if (status != QZ_STATUS_OK) return status;
  status = VerifyModelGap(p.env, level, p.model, p.option, p.outerSolution);
  if (status != QZ_STATUS_OK || p.presolver->preRoute == PREROUTE_FINISHED) return status;
  return VerifyShiftBound(p.env, level, p.model, p.option, p.outerSolution);
}

void finishAnswer(Pipeline& p) {
  const int32_t status =
      ipmPostsolve(p.env, &p.model, p.option, p.presolver, p.innerSolution, p.outerSolution, p.hub, nullptr);
  p.boundsTightened = false;
  if (!passed(p, status) || !passed(p, verifyRestored(p))) return;
  FormatSolution(p.model, p.outerSolution, p.hub);
  if (hasAnswer(p)) (void)passed(p, VerifyOutput(p.env, p.option->debugLevel, p.model, p.option));
}

// From the records to the answer; whatever stops it leaves its status in the model.
void runStages(Pipeline& p) {
  if (!passed(p, makeRecords(p))) return;
  const int32_t presolved = presolve(p);
  if (p.presolver->preRoute == PREROUTE_FINISHED) return;
  if (p.presolver->preRoute == PREROUTE_SOLVED) {
    p.model->status = presolved;
  } else {
    if (!passed(p, presolved)) return;
    if (!transformModel(p) || !solveModel(p) || !restoreModel(p)) return;
  }
  finishAnswer(p);
}

// A solve that left early may still hold relaxed bounds, the bounds of presolve, or a reduced model.
void restoreInput(Pipeline& p) {
  if (hasAlternateBounds(p) && p.hub->boundSwitchState == 1) (void)ipmSwitchBound(p.env, p.model, p.hub);
  if (p.boundsTightened) {
    p.model->numCol = p.hub->numColInput;  // the columns of the standard form have no bounds to exchange
    adjustBound(p.env, p.model, p.presolver);
    p.boundsTightened = false;
  }
  if (p.presolver == nullptr || p.presolver->inModel == nullptr) return;
  FreeReducedModel(p.env, &p.model, p.presolver->inModel);
  p.model = p.presolver->inModel;
  p.presolver->inModel = nullptr;
}

void reportQuadratic(const Pipeline& p) {
  if (p.model->typeModel == IPM_MODEL_LP) return;
  ipmReportStatus(p.env, p.model->status, p.model->objSense, p.model->typeModel, p.option, p.model->objValue);
  if (p.option->printLevel != 0) logCode(p.env->log, QZ_LOG_NOTE, QZ_MSG_SOLVE_TIME, p.model->solveTime);
}

// A basic solution has no gap to report. Whatever went wrong voids the interior answer.
void takeBasicAnswer(Model& model, LpRecord* record, int32_t result) {
  if (result != QZ_STATUS_OK) {
    model.status = result;
    return;
  }
  record->dualityGap = 0.0;
  record->complementarity = 0.0;
  model.status = record->status;
  model.dualityGap = 0.0;
  model.complementarity = 0.0;
  model.primalInfeas = record->primalInfeas;
  model.dualInfeas = record->dualInfeas;
  model.boundInfeas = record->boundInfeas;
  model.objValue = record->objValue;
}

// Hands an optimal answer to the simplex module, when a basic one was asked for. Other ends have no point to start
// from; they are checked and reported as usual.
void crossOver(Pipeline& p, LpRecord* record) {
  if (p.option->crossover == 0) return;
  Model& model = *p.model;
  if (model.status != QZ_STATUS_OPTIMAL && model.status != QZ_STATUS_NEAR_OPTIMAL) {
    p.option->crossover = 0;
    return;
  }
  if (p.option->printLevel != 0) logCode(p.env->log, QZ_LOG_NOTE, QZ_MSG_SOLVE_TIME, model.solveTime);
  double start = 0.0;
  IPM_timerUsedTime(p.timer, &start);
  p.option->timeLimit -= start;
  p.option->maxIter -= model.numIter;
  const int32_t result = iplpCrossover(p.env, record, p.outerSolution, p.hub->keptSolution, p.option, model.status);
  takeBasicAnswer(model, record, result);
  double now = 0.0;
  IPM_timerUsedTime(p.timer, &now);
  model.crossoverTime = now - start;
}

void releaseRecords(Pipeline& p) {
  if (p.innerSolution != p.outerSolution) FreeSolution(p.env, &p.innerSolution);
  FreeSolution(p.env, &p.outerSolution);
  FreeHub(p.env, &p.hub);
}

}  // namespace

int32_t ipmMain(Env* env, Model* model, IpmOption* option, IPM_timer* timer, LpRecord* reducedRecord) {
  Pipeline p{};
  p.env = env;
  p.model = model;
  p.option = option;
  p.timer = timer;
  const bool copied = passed(p, VerifyCopyModel(env, option->debugLevel, model, &p.inputCopy));
  IPM_timerUsedTime(timer, &p.startTime);
  // Only the augmented system carries a quadratic term in columns that the normal equations would have to split.
  if (model->typeModel == IPM_MODEL_QP) option->typeMethod = IPM_METHOD_AUGMENTED;

  // A model that the input check refuses has no status.
  if (copied && ipmVerifyInput(env, option->debugLevel, model) == QZ_STATUS_OK) runStages(p);

  restoreInput(p);
  DestroyPresolver(env, &p.presolver);
  double now = 0.0;
  IPM_timerUsedTime(timer, &now);
  p.model->solveTime = now - p.startTime;
  reportQuadratic(p);
  VerifyDeleteModel(env, option->debugLevel, &p.inputCopy);
  crossOver(p, reducedRecord);
  releaseRecords(p);
  return p.model->status;
}

}  // namespace qz
