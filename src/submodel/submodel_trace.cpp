#include "submodel/submodel_trace.h"

#include "shell/log.h"

namespace qz {

namespace {

bool silent(const Ipm* ipm, const SubModel* submodel) {
  return ipm->debugLevel <= 0 || submodel == nullptr;
}

// Entries of a kind on which the given level has acted.
int32_t actedOn(int32_t flag, int32_t level, int32_t count) {
  return (flag & level) != 0 ? count : 0;
}

}  // namespace

void traceBigdata(const Ipm* ipm, const SubModel* s) {
  if (silent(ipm, s)) return;
  logText(
      ipm->env->log, QZ_LOG_DEBUG,
      L"submodel: input: %d rows with a right-hand side above %g, %d columns with a cost above %g, far bounds in %d "
      L"columns",
      s->numRowSub, s->thresholdRow, s->numColSub, s->thresholdCol, s->numBoundSub);
}

void traceBigValues(const Ipm* ipm, const SubModel* s) {
  if (silent(ipm, s)) return;
  logText(ipm->env->log, QZ_LOG_DEBUG,
          L"submodel: iteration %d: above %g are %d variables (movement %g), bound slacks in %d columns (%g), %d row "
          L"slacks (%g), %d row duals (%g), bound duals in %d columns (%g)",
          ipm->numIter, s->thresholdBig, s->numBigVar, s->deltaX, s->numBigBoundSlack, s->deltaBound,
          s->numBigIneqnSlack, s->deltaRow, s->numBigDual, s->deltaY, s->numBigBoundDual, s->deltaColumn);
}

void traceInvivo(const Ipm* ipm, const SubModel* s) {
  if (silent(ipm, s)) return;
  logText(ipm->env->log, QZ_LOG_DEBUG,
          L"submodel: iteration %d: in vivo: %d variables shifted, bounds of %d columns removed, %d duals shifted",
          ipm->numIter, actedOn(s->bBigVar, BIG_INVIVO, s->numBigVar),
          actedOn(s->bBigBoundSlack, BIG_INVIVO, s->numBigBoundSlack), actedOn(s->bBigDual, BIG_INVIVO, s->numBigDual));
}

void traceInvitro(const Ipm* ipm, const SubModel* s) {
  if (silent(ipm, s)) return;
  logText(
      ipm->env->log, QZ_LOG_DEBUG,
      L"submodel: iteration %d: wishes in vitro: free %d rows, fix %d columns, shift %d variables, remove bounds of "
      L"%d columns, shift %d duals",
      ipm->numIter, actedOn(s->planBigIneqnSlack, BIG_INVITRO, s->numBigIneqnSlack),
      actedOn(s->planBigBoundDual, BIG_INVITRO, s->numBigBoundDual), actedOn(s->planBigVar, BIG_INVITRO, s->numBigVar),
      actedOn(s->planBigBoundSlack, BIG_INVITRO, s->numBigBoundSlack),
      actedOn(s->planBigDual, BIG_INVITRO, s->numBigDual));
}

void traceRestore(const Ipm* ipm, const SubModel* s) {
  if (silent(ipm, s)) return;
  const int32_t all = BIG_INVIVO | BIG_INVITRO;
  logText(ipm->env->log, QZ_LOG_DEBUG,
          L"submodel: iteration %d: a big value came back: to undo are %d shifted variables, removed bounds of %d "
          L"columns, %d freed rows, %d shifted duals, %d fixed columns; largest x %g, largest y %g",
          ipm->numIter, actedOn(s->bBigVar, all, s->numBigVar), actedOn(s->bBigBoundSlack, all, s->numBigBoundSlack),
          actedOn(s->bBigIneqnSlack, all, s->numBigIneqnSlack), actedOn(s->bBigDual, all, s->numBigDual),
          actedOn(s->bBigBoundDual, all, s->numBigBoundDual), ipm->maxPrimal, ipm->maxDual);
}

void traceUndo(const Ipm* ipm, const SubModel* s) {
  if (silent(ipm, s)) return;
  const int32_t numVar = actedOn(s->bBigVar, BIG_INVIVO, s->numBigVar);
  const int32_t numBound = actedOn(s->bBigBoundSlack, BIG_INVIVO, s->numBigBoundSlack);
  const int32_t numDual = actedOn(s->bBigDual, BIG_INVIVO, s->numBigDual);
  if (numVar + numBound + numDual == 0) return;
  logText(ipm->env->log, QZ_LOG_DEBUG,
          L"submodel: iteration %d: brings back %d variables, bounds of %d columns, %d duals", ipm->numIter, numVar,
          numBound, numDual);
}

void traceUnconfirmed(const Ipm* ipm, const SubModel* s) {
  if (silent(ipm, s)) return;
  logText(ipm->env->log, QZ_LOG_DEBUG,
          L"submodel: iteration %d: optimal in shifted terms only: gap %g, complementarity %g in true ones",
          ipm->numIter, ipm->dualityGap, ipm->complementarity);
}

}  // namespace qz
