#include "transform/free_system.h"

#include "eigen/convexity.h"
#include "shell/log.h"
#include "transform/equation_system.h"
#include "transform/postsolve.h"

namespace qz {

namespace {

void printOnlyLine(Env* env, const Model* model, const IpmOption* options) {
  if (options->logFrequency <= 0) return;
  logCode(env->log, QZ_LOG_HEADER, QZ_MSG_TABLE_HEADER);
  logCode(env->log, QZ_LOG_HEADER, QZ_MSG_TABLE_HEADER2);
  logCode(env->log, QZ_LOG_ITERATION, QZ_MSG_ITERATION, model->numIter, model->complementarity, model->dualityGap,
          model->primalInfeas, model->boundInfeas, model->dualInfeas);
}

}  // namespace

int32_t answerFreeSystem(Env* env, Model* model, const IpmOption* options, Presolver* presolver, Solution* solution,
                         int32_t usePresolve) {
  int32_t status = ipmDetectConvexity(env, model);
  if (status != QZ_STATUS_OK) {
    model->status = status;
    presolver->preControl = PRECONTROL_NONE;
    presolver->preRoute = PREROUTE_FINISHED;
    return status;
  }
  status = ipmSpecSolve(env, model, options, solution, usePresolve);
  if (status != QZ_STATUS_OK) return status;
  evaluateSolution(env, model);
  printOnlyLine(env, model, options);
  presolver->preRoute = PREROUTE_FINISHED;
  return QZ_STATUS_OK;
}

}  // namespace qz
