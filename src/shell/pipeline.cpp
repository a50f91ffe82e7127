#include "shell/pipeline.h"

#include "engine/controller.h"
#include "shell/log.h"
#include "shell/pool.h"
#include "shell/reporting.h"
#include "transform/hub.h"
#include "transform/postsolve.h"
#include "transform/presolve_disabled.h"
#include "transform/presolver.h"
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
  double startTime;
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

// Every model takes the light path: the solver's own reductions, which a linear model with presolveMode 0 and every
// quadratic model ask for, are not built.
int32_t presolve(Pipeline& p) {
  return ipmPresolveDisabled(p.env, p.model, p.option, p.presolver, p.hub, &p.outerSolution, &p.innerSolution);
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

// From the presolved model to the engine's standard form. The convexity test of a quadratic model (first), the
// relaxation and the shift of bounds, and the scaling (before addSlack) are not built.
bool transformModel(Pipeline& p) {
  reportThreads(p);
  if (p.model->typeModel == IPM_MODEL_LP) isMipRelaxation(p.env, p.model);
  p.hub->boundSwitchState = 0;
  p.hub->typeMethod = p.option->typeMethod;
  if (!passed(p, addSlack(p.env, p.model, p.hub))) return false;
  return !splitsFreeColumns(p) || passed(p, splitFreeVar(p.env, p.model, p.hub));
}

// A failure on a reduced model goes through the stages behind the engine like a success: they bring the status, the
// measures and the input model back.
bool solveModel(Pipeline& p) {
  const int32_t status = ipmSolve(p.env, p.model, p.option, p.hub, p.innerSolution, p.timer);
  return p.presolver->preControl == PRECONTROL_REDUCED || passed(p, status);
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

// Undoes transformModel in reverse order. Behind the check belong the reverse of the shift and, with relaxed bounds,
// the switch back to the true ones with getLostSlack.
bool restoreModel(Pipeline& p) {
  if (splitsFreeColumns(p) && !passed(p, mergeFreeVar(p.env, p.model, p.hub, p.innerSolution))) return false;
  if (!passed(p, removeSlack(p.env, p.model, p.hub, p.innerSolution))) return false;
  return passed(p, checkUnscaled(p));
}

void finishAnswer(Pipeline& p) {
  const int32_t status =
      ipmPostsolve(p.env, &p.model, p.option, p.presolver, p.innerSolution, p.outerSolution, p.hub, nullptr);
  if (!passed(p, status)) return;
  FormatSolution(p.model, p.outerSolution, p.hub);
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

void reportQuadratic(const Pipeline& p) {
  if (p.model->typeModel == IPM_MODEL_LP) return;
  ipmReportStatus(p.env, p.model->status, p.model->objSense, p.model->typeModel, p.option, p.model->objValue);
  if (p.option->printLevel != 0) logCode(p.env->log, QZ_LOG_NOTE, QZ_MSG_SOLVE_TIME, p.model->solveTime);
}

void releaseRecords(Pipeline& p) {
  if (p.innerSolution != p.outerSolution) FreeSolution(p.env, &p.innerSolution);
  FreeSolution(p.env, &p.outerSolution);
  FreeHub(p.env, &p.hub);
}

}  // namespace

int32_t ipmMain(Env* env, Model* model, IpmOption* option, IPM_timer* timer, LpRecord*) {
  Pipeline p{};
  p.env = env;
  p.model = model;
  p.option = option;
  p.timer = timer;
  IPM_timerUsedTime(timer, &p.startTime);
  // Only the augmented system carries a quadratic term in columns that the normal equations would have to split.
  if (model->typeModel == IPM_MODEL_QP) option->typeMethod = IPM_METHOD_AUGMENTED;

  runStages(p);

  // A solve that left early with relaxed bounds or on a reduced model would be brought back to its input here; neither
  // is built.
  DestroyPresolver(env, &p.presolver);
  double now = 0.0;
  IPM_timerUsedTime(timer, &now);
  p.model->solveTime = now - p.startTime;
  reportQuadratic(p);
  // The hand-off to the simplex module is not built; without it the interior answer is checked and reported as usual.
  option->crossover = 0;
  releaseRecords(p);
  return p.model->status;
}

}  // namespace qz
