#include "shell/iplp_main.h"

#include "qzipsolve/presolve_module.h"
#include "shell/log.h"
#include "shell/lp_options.h"
#include "shell/pipeline.h"
#include "shell/pool.h"
#include "shell/remeasure.h"
#include "shell/reporting.h"
#include "shell/timer.h"

namespace qz {

namespace {

// What one call of iplpMain holds.
struct Solve {
  Env* env;
  LpRecord* record;  // the caller's
  LpOptions* options;
  IPM_timer* timer;  // null until it runs for this solve
  QzPresolveObject* presolver;
  LpRecord* reduced;  // the presolver module's
  Model* model;       // null when nothing was left for the engine
  IpmOption* option;
  double presolveTime;
  int32_t status;
  int32_t returnCode;
};

// Ends a solve with one code for both results; false, so that a step can return it.
bool endWith(Solve& s, int32_t code) {
  s.status = code;
  s.returnCode = code;
  return false;
}

double readTimer(const Solve& s) {
  double used = 0.0;
  IPM_timerUsedTime(s.timer, &used);
  return used;
}

// Charges the time since the timer's start to the caller's options.
double chargeTime(const Solve& s) {
  const double used = readTimer(s);
  s.options->timeLimit -= used;
  s.options->usedTime += used;
  return used;
}

bool takeOptions(Solve& s) {
  if (s.options == nullptr) s.options = createLpOptions(s.env);
  if (s.options == nullptr) return endWith(s, QZ_STATUS_OUT_OF_MEMORY);
  s.env->options = s.options;
  const int32_t status = validateLpOptions(s.env->log, s.options);
  return status == QZ_STATUS_OK || endWith(s, status);
}

bool startTimer(Solve& s) {
  if (s.env->timer == nullptr) {
    int32_t rc = QZ_STATUS_OK;
    s.env->timer = IPM_timerCreate(s.env->pool, &rc);
    if (s.env->timer == nullptr) return endWith(s, rc);
  }
  s.timer = static_cast<IPM_timer*>(s.env->timer);
  s.timer->type = s.options->timeType;
  IPM_timerSetLimit(s.timer, s.options->timeLimit);
  IPM_timerStart(s.timer);
  return true;
}

// The module and its object are kept over solves.
bool loadPresolver(Solve& s) {
  Env* env = s.env;
  if (env->presolveModule == nullptr) {
    QzHostTable* host = Exported_QZHandle;
    const wchar_t name[] = L"qzpresol";
    if (host != nullptr) env->presolveModule = host->loadExtension(host, name, wvStrTLen(name), 0);
    if (env->presolveModule == nullptr) {
      logCode(env->log, QZ_LOG_ERROR, QZ_MSG_NO_PRESOLVER);
      return endWith(s, QZ_STATUS_OUT_OF_MEMORY);
    }
  }
  if (env->presolveObject == nullptr) env->presolveObject = env->presolveModule->create_instance();
  if (env->presolveObject == nullptr) {
    logCode(env->log, QZ_LOG_ERROR, QZ_MSG_NO_PRESOLVE_OBJECT);
    return endWith(s, QZ_STATUS_OUT_OF_MEMORY);
  }
  s.presolver = static_cast<QzPresolveObject*>(env->presolveObject);
  s.presolver->log = env->log;
  return true;
}

bool preparePresolver(Solve& s) {
  int32_t rc = QZ_STATUS_OK;
  QzPresolveHandle* handle = s.presolver->prepare(s.presolver, s.options, &rc);
  s.env->presolveHandle = handle;
  s.presolver->handle = handle;
  if (rc == QZ_STATUS_OK && (handle == nullptr || handle->settings == nullptr)) rc = QZ_STATUS_OUT_OF_MEMORY;
  if (rc == QZ_STATUS_OK) return true;
  logCode(s.env->log, QZ_LOG_ERROR, QZ_MSG_PRESOLVE_SETUP);
  return endWith(s, rc);
}

// Returns the presolver module's code: 0 a reduced model is left, above 0 nothing is, below 0 an error.
int32_t reduceRecord(Solve& s) {
  int32_t rc = QZ_STATUS_OK;
  s.presolver->handle->settings->field956 = 0;
  s.presolver->result = s.presolver->reduce(s.presolver, s.presolver->handle, 3, s.record, &rc);
  s.presolveTime = chargeTime(s);
  if (rc >= 0 && s.presolver->result == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
  if (rc == 0) s.reduced = s.presolver->result->reduced;
  return rc;
}

void fillModel(Model* model, const LpRecord* reduced, uint8_t* relaxColBound) {
  model->typeModel = IPM_MODEL_LP;
  model->numRow = reduced->numRow;
  model->numCol = reduced->numCol;
  model->numCoef = reduced->numCoef;
  model->colBegin = reduced->colBegin;
  model->colLength = reduced->colLength;
  model->rowIndex = reduced->rowIndex;
  model->matValue = reduced->matValue;
  model->objSense = reduced->objSense;
  model->objConstant = reduced->objValue;
  model->obj = reduced->obj;
  model->rowSense = reduced->rowSense;
  model->rhs = reduced->rhs;
  model->range = reduced->range;
  model->lower = reduced->lower;
  model->upper = reduced->upper;
  model->relaxColBound = relaxColBound;
  model->solPrimal = reduced->solPrimal;
  model->solDual = reduced->solDual;
  model->reducedCost = reduced->reducedCost;
  model->rowActivity = reduced->rowActivity;
  model->checkSolverBreak = reduced->checkSolverBreak;
  model->callerDataStruct = reduced->callerDataStruct;
}

void copyOutcome(LpRecord* reduced, const Model* model) {
  reduced->status = model->status;
  reduced->objValue = model->objValue;
  reduced->numIter = model->numIter;
  reduced->primalInfeas = model->primalInfeas;
  reduced->dualInfeas = model->dualInfeas;
  reduced->boundInfeas = model->boundInfeas;
  reduced->dualityGap = model->dualityGap;
  reduced->complementarity = model->complementarity;
}

// The presolver module may have used the time up. The message goes out without an objective value: there is none.
bool hasTimeLeft(Solve& s) {
  if (!(s.options->timeLimit <= 0.0)) return true;
  logCode(s.env->log, QZ_LOG_NOTE, s.options->timeType == 0 ? QZ_MSG_CPU_LIMIT : QZ_MSG_REAL_LIMIT);
  s.status = QZ_STATUS_TIME_LIMIT;
  return false;
}

bool makeModel(Solve& s) {
  s.model = poolAllocateZero<Model>(s.env->pool, 1);
  s.option = poolAllocateZero<IpmOption>(s.env->pool, 1);
  if (s.model == nullptr || s.option == nullptr) return endWith(s, QZ_STATUS_OUT_OF_MEMORY);
  fillIpmOption(s.option, s.options);
  fillModel(s.model, s.reduced, s.presolver->result->relaxColBound);
  return true;
}

// Brings the reduced model to the engine and its outcome back into the reduced record. False when it did not get there.
bool solveReduced(Solve& s) {
  s.env->objConstantSaved = s.reduced->objValue;
  s.reduced->checkSolverBreak = s.record->checkSolverBreak;
  s.reduced->callerDataStruct = s.record->callerDataStruct;
  if (!hasTimeLeft(s)) return false;
  if (s.options->printLevel != 0) {
    logCode(s.env->log, QZ_LOG_NOTE, QZ_MSG_STAGE_BEGIN);
    logCode(s.env->log, QZ_LOG_NOTE, QZ_MSG_STAGE_BEGIN2);
  }
  // The timer runs on and its reading includes the presolve, which has already lowered the limit: a presolve's time
  // counts twice against the solve.
  IPM_timerSetLimit(s.timer, s.options->timeLimit);
  if (!makeModel(s)) return false;
  s.status = ipmMain(s.env, s.model, s.option, s.timer, s.reduced);
  copyOutcome(s.reduced, s.model);
  return true;
}

void reportPostsolveFailure(const Solve& s) {
  if (s.options->printLevel == 0) return;
  QzLog* log = s.env->log;
  if (s.returnCode == QZ_PRESOL_INTERRUPTED) {
    logCode(log, QZ_LOG_WARNING, QZ_MSG_INTERRUPTED);
  } else if (s.returnCode == QZ_STATUS_OUT_OF_MEMORY) {
    logCode(log, QZ_LOG_ERROR, QZ_MSG_OUT_OF_MEMORY);
  } else {
    logCode(log, QZ_LOG_NOTE, QZ_MSG_FAILED);
  }
  if (s.model != nullptr) logCode(log, QZ_LOG_NOTE, QZ_MSG_SOLVE_TIME, s.model->solveTime);
}

// The presolver module writes the caller's arrays and status.
bool postsolveRecord(Solve& s) {
  const double before = readTimer(s);
  s.returnCode = s.presolver->postsolve(s.presolver->result);
  s.status = s.record->status;
  s.presolveTime += readTimer(s) - before;
  if (s.returnCode == 0) return true;
  s.status = s.returnCode;
  reportPostsolveFailure(s);
  return false;
}

// An optimum that the caller's own data do not confirm is demoted.
void confirmAnswer(Solve& s) {
  const bool hasPoint = s.status == QZ_STATUS_OPTIMAL || s.status == QZ_STATUS_NEAR_OPTIMAL ||
                        s.status == QZ_STATUS_ITERATION_LIMIT || s.status == QZ_STATUS_TIME_LIMIT;
  const IpmOption& o = *s.option;
  if (!hasPoint || !remeasureAnswer(s.env->log, s.record, nullptr, o.tolPrimal, o.tolDual)) return;
  if (s.model->status != QZ_STATUS_OPTIMAL && s.model->status != QZ_STATUS_NEAR_OPTIMAL) return;
  s.status = judgeAnswer(s.env->log, s.record, s.option);
  s.model->status = s.status;
}

void reportSolve(const Solve& s) {
  if (s.option->crossover != 0) return;  // it has reported for itself
  ipmReportStatus(s.env, s.model->status, s.model->objSense, s.model->typeModel, s.option, s.model->objValue);
  if (s.option->printLevel != 0) logCode(s.env->log, QZ_LOG_NOTE, QZ_MSG_SOLVE_TIME, s.model->solveTime);
}

void runSolve(Solve& s) {
  if (!takeOptions(s) || !startTimer(s) || !loadPresolver(s) || !preparePresolver(s)) return;
  const int32_t rc = reduceRecord(s);
  if (rc < 0) {
    endWith(s, rc);
    return;
  }
  if (rc == 0) {
    if (!solveReduced(s)) return;
    if (s.status == QZ_STATUS_OUT_OF_MEMORY) {
      endWith(s, QZ_STATUS_OUT_OF_MEMORY);
      reportSolve(s);
      return;
    }
  }
  if (!postsolveRecord(s)) return;
  // Without a model the presolver module has spoken for itself, and so has a crossover.
  if (s.model == nullptr || s.option->crossover != 0) return;
  confirmAnswer(s);
  reportSolve(s);
}

void writeOutcome(Solve& s) {
  s.status = translatePresolverStatus(s.status);
  s.returnCode = translatePresolverStatus(s.returnCode);
  LpRecord& r = *s.record;
  r.presolveTime = s.presolveTime;
  r.returnCode = s.returnCode;
  r.status = s.status;
  r.totalTime = s.presolveTime;
  if (s.model != nullptr) r.totalTime += s.model->solveTime + s.model->crossoverTime;
}

void releaseSolve(Solve& s) {
  Env* env = s.env;
  if (s.presolver != nullptr) {
    if (s.presolver->result != nullptr) s.presolver->freeResult(s.presolver, &s.presolver->result);
    if (env->presolveHandle != nullptr) s.presolver->freeHandle(s.presolver, &env->presolveHandle);
    s.presolver->result = nullptr;
    s.presolver->handle = nullptr;
    env->presolveHandle = nullptr;
  }
  DestroyModel(env->pool, s.model);
  DestroyOption(env->pool, s.option);
  // The total since the start, so the presolver module's time is charged a second time.
  if (s.timer != nullptr) chargeTime(s);
}

}  // namespace

int32_t translatePresolverStatus(int32_t status) {
  switch (status) {
    case QZ_PRESOL_OPTIMAL:
      return QZ_STATUS_OPTIMAL;
    case QZ_PRESOL_BOTH_INFEASIBLE:
      return QZ_STATUS_BOTH_INFEASIBLE;
    case QZ_PRESOL_DUAL_INFEASIBLE:
      return QZ_STATUS_DUAL_INFEASIBLE;
    case QZ_PRESOL_PRIMAL_INFEASIBLE:
      return QZ_STATUS_PRIMAL_INFEASIBLE;
    case QZ_PRESOL_FAILED:
      return QZ_STATUS_FAILED;
    case QZ_PRESOL_TIME_LIMIT:
      return QZ_STATUS_TIME_LIMIT;
    case QZ_PRESOL_INTERRUPTED:
      return QZ_STATUS_INTERRUPTED;
    default:
      return status;
  }
}

int32_t iplpMain(Env* env, LpRecord* record, LpOptions* options) {
  if (env == nullptr || record == nullptr) return QZ_STATUS_FAILED;
  Solve s{};
  s.env = env;
  s.record = record;
  s.options = options;
  runSolve(s);
  writeOutcome(s);
  releaseSolve(s);
  return s.status;
}

}  // namespace qz
