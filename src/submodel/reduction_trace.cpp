#include "submodel/reduction_trace.h"

#include "shell/log.h"

namespace qz {

namespace {

int32_t inForce(int32_t flag, int32_t count) {
  return (flag & BIG_INVITRO) != 0 ? count : 0;
}

}  // namespace

void traceReduction(const Ipm* ipm, const SubModel* s, const Model* reduced) {
  if (ipm->debugLevel <= 0) return;
  logText(ipm->env->log, QZ_LOG_DEBUG,
          L"submodel: iteration %d: reduced to %d rows, %d columns: %d rows freed, %d columns fixed, %d variables "
          L"shifted, bounds of %d columns removed, %d duals shifted",
          ipm->numIter, reduced->numRow, reduced->numCol, inForce(s->bBigIneqnSlack, s->numBigIneqnSlack),
          inForce(s->bBigBoundDual, s->numBigBoundDual), inForce(s->bBigVar, s->numBigVar),
          inForce(s->bBigBoundSlack, s->numBigBoundSlack), inForce(s->bBigDual, s->numBigDual));
}

void traceLost(const Ipm* ipm, int32_t status) {
  if (ipm->debugLevel <= 0) return;
  logText(ipm->env->log, QZ_LOG_DEBUG, L"submodel: iteration %d: the reduction is given up, status %d", ipm->numIter,
          status);
}

void traceRecovery(const Ipm* ipm, const SubModel* s, int32_t status, double smallest) {
  if (ipm->debugLevel <= 0) return;
  logText(ipm->env->log, QZ_LOG_DEBUG,
          L"submodel: iteration %d: back from the reduction with status %d; the least restored slack or dual is %g; %d "
          L"rows and %d columns come back besides",
          ipm->numIter, status, smallest, s->numRowExtra, s->numColExtra);
}

}  // namespace qz
