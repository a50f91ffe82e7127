#include "shell/reporting.h"

#include "shell/log.h"

namespace qz {

void ipmReportStatus(Env* env, int32_t status, int32_t objSense, int32_t typeModel, const IpmOption* option,
                     double objValue) {
  if (option->printLevel == 0) return;
  QzLog* log = env->log;
  switch (status) {
    case QZ_STATUS_OPTIMAL:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_OPTIMAL);
      logCode(log, QZ_LOG_NOTE, QZ_MSG_OBJECTIVE, objValue);
      break;
    case QZ_STATUS_NEAR_OPTIMAL:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_NEAR_OPTIMAL);
      logCode(log, QZ_LOG_NOTE, QZ_MSG_OBJECTIVE, objValue);
      break;
    case QZ_STATUS_PRIMAL_INFEASIBLE:
    case QZ_STATUS_INFEASIBLE_ALIAS:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_PRIMAL_INFEASIBLE);
      if (typeModel == IPM_MODEL_LP) logCode(log, QZ_LOG_NOTE, QZ_MSG_INFEASIBLE_HINT);
      break;
    case QZ_STATUS_DUAL_INFEASIBLE:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_DUAL_INFEASIBLE);
      break;
    case QZ_STATUS_BOTH_INFEASIBLE:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_BOTH_INFEASIBLE);
      break;
    case QZ_STATUS_ITERATION_LIMIT:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_ITERATION_LIMIT);
      logCode(log, QZ_LOG_NOTE, QZ_MSG_OBJECTIVE, objValue);
      break;
    case QZ_STATUS_TIME_LIMIT:
      logCode(log, QZ_LOG_NOTE, option->timeType == 0 ? QZ_MSG_CPU_LIMIT : QZ_MSG_REAL_LIMIT);
      logCode(log, QZ_LOG_NOTE, QZ_MSG_OBJECTIVE, objValue);
      break;
    case QZ_STATUS_OUT_OF_MEMORY:
      logCode(log, QZ_LOG_ERROR, QZ_MSG_OUT_OF_MEMORY);
      break;
    case QZ_STATUS_INTERRUPTED:
      logCode(log, QZ_LOG_WARNING, QZ_MSG_INTERRUPTED);
      break;
    case QZ_STATUS_NOT_CONVEX:
      logCode(log, QZ_LOG_NOTE, objSense == -1 ? QZ_MSG_NOT_CONVEX_MAX : QZ_MSG_NOT_CONVEX_MIN);
      logCode(log, QZ_LOG_WARNING, QZ_MSG_NOT_CONVEX_HINT);
      break;
    case QZ_STATUS_FAILED:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_FAILED);
      break;
    default:
      logCode(log, QZ_LOG_NOTE, QZ_MSG_UNKNOWN_STATUS);
      break;
  }
}

void getSolverStat(Model* model, const Ipm* ipm) {
  model->numIter = ipm == nullptr ? 0 : ipm->numIter;
  model->primalInfeas = ipm == nullptr ? 0.0 : ipm->primalInfeas;
  model->dualInfeas = ipm == nullptr ? 0.0 : ipm->dualInfeas;
  model->boundInfeas = ipm == nullptr ? 0.0 : ipm->boundInfeas;
  model->dualityGap = ipm == nullptr ? 0.0 : ipm->dualityGap;
  model->complementarity = ipm == nullptr ? 0.0 : ipm->complementarity;
}

}  // namespace qz
