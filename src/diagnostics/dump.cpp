#include "diagnostics/dump.h"

#include "diagnostics/check.h"

namespace qz {

namespace {

void dumpMatrix(QzLog* log, int32_t numCol, const int32_t* colBegin, const int32_t* colLength, const int32_t* rowIndex,
                const double* matValue) {
  for (int32_t j = 0; j < numCol; ++j) {
    logText(log, QZ_LOG_DEBUG, L"   colBegin(%d)=%d   colLength(%d)=%d", j, colBegin[j], j, colLength[j]);
    for (int32_t k = colBegin[j]; k < colBegin[j] + colLength[j]; ++k)
      logText(log, QZ_LOG_DEBUG, L"      rowIndex(%d)=%d   matValue(%d)=%15.7g", k, rowIndex[k], k, matValue[k]);
  }
}

}  // namespace

void DumpSolution(Env* env, int32_t numRow, int32_t numCol, const Solution* s) {
  QzLog* log = env->log;
  logText(log, QZ_LOG_DEBUG, L"===== primal solution: numCol = %d =====", numCol);
  for (int32_t j = 0; j < numCol; ++j) {
    logText(log, QZ_LOG_DEBUG, L"   primal(%d)=%15.7g   lowerSlack(%d)=%15.7g   upperSlack(%d)=%15.7g", j, s->primal[j],
            j, s->lowerSlack[j], j, s->upperSlack[j]);
    logText(log, QZ_LOG_DEBUG, L"                               lowerDual (%d)=%15.7g   upperDual (%d)=%15.7g", j,
            s->lowerDual[j], j, s->upperDual[j]);
  }
  logText(log, QZ_LOG_DEBUG, L"===== dual solution: numRow = %d =====", numRow);
  for (int32_t i = 0; i < numRow; ++i)
    logText(log, QZ_LOG_DEBUG, L"   dual(%d)=%15.7g   ineqnSlack(%d)=%15.7g", i, s->dual[i], i, s->ineqnSlack[i]);
}

void DumpModel(Env* env, const Model* m) {
  QzLog* log = env->log;
  logText(log, QZ_LOG_DEBUG, L"===== input model: numRow = %d =====", m->numRow);
  for (int32_t i = 0; i < m->numRow; ++i)
    logText(log, QZ_LOG_DEBUG, L"   sense(%d)=%c   rhs(%d)=%15.7g", i, static_cast<int>(m->rowSense[i]), i, m->rhs[i]);
  logText(log, QZ_LOG_DEBUG, L"===== input model: numCol = %d =====", m->numCol);
  for (int32_t j = 0; j < m->numCol; ++j)
    logText(log, QZ_LOG_DEBUG, L"   obj(%d)=%15.7g   lower(%d)=%15.7g   upper(%d)=%15.7g", j, m->obj[j], j, m->lower[j],
            j, m->upper[j]);
  logText(log, QZ_LOG_DEBUG, L"===== input model: numCoef = %d =====", m->numCoef);
  dumpMatrix(log, m->numCol, m->colBegin, m->colLength, m->rowIndex, m->matValue);
}

void DumpModelQP(Env* env, const Model* m) {
  QzLog* log = env->log;
  if (m->quadDiag == nullptr) return;
  logText(log, QZ_LOG_DEBUG, L"===== input model: quadratic diagonal =====");
  for (int32_t j = 0; j < m->numCol; ++j) logText(log, QZ_LOG_DEBUG, L"   quadDiag(%d)=%15.7g", j, m->quadDiag[j]);
  logText(log, QZ_LOG_DEBUG, L"===== input model: numQuadCoef = %d =====", m->numQuadCoef);
  if (m->numQuadCoef == 0) return;
  for (int32_t j = 0; j < m->numCol; ++j) {
    logText(log, QZ_LOG_DEBUG, L"   quadColBegin(%d)=%d   quadColLength(%d)=%d", j, m->quadColBegin[j], j,
            m->quadColLength[j]);
    for (int32_t k = m->quadColBegin[j]; k < m->quadColBegin[j] + m->quadColLength[j]; ++k)
      logText(log, QZ_LOG_DEBUG, L"      quadRowIndex(%d)=%d   quadMatValue(%d)=%15.7g", k, m->quadRowIndex[k], k,
              m->quadMatValue[k]);
  }
}

void DumpEquation(Env* env, int32_t numDim, int32_t numCoef, const int32_t* colBegin, const int32_t* colLength,
                  const int32_t* rowIndex, const double* matValue, const double* rhs) {
  QzLog* log = env->log;
  logText(log, QZ_LOG_DEBUG, L"===== equation rhs: numDim = %d =====", numDim);
  for (int32_t i = 0; i < numDim; ++i) logText(log, QZ_LOG_DEBUG, L"   rhs(%d)=%15.7g", i, rhs[i]);
  logText(log, QZ_LOG_DEBUG, L"===== equation matrix : numCoef = %d =====", numCoef);
  dumpMatrix(log, numDim, colBegin, colLength, rowIndex, matValue);
}

void dumpAnswer(Env* env, const Model* m) {
  QzLog* log = env->log;
  logText(log, QZ_LOG_DEBUG, L"===== answer: objValue = %.15g =====", m->objValue);
  for (int32_t j = 0; j < m->numCol; ++j)
    logText(log, QZ_LOG_DEBUG, L"   primal(%d)=%15.7g   reducedCost(%d)=%15.7g", j, m->solPrimal[j], j,
            m->reducedCost[j]);
  for (int32_t i = 0; i < m->numRow; ++i)
    logText(log, QZ_LOG_DEBUG, L"   dual(%d)=%15.7g   rowActivity(%d)=%15.7g", i, m->solDual[i], i, m->rowActivity[i]);
}

void DumpChangeControl(const Ipm* ipm, int32_t level, const Hub* hub) {
  if (!verifies(level, VERIFY_REPORT)) return;
  logText(ipm->env->log, QZ_LOG_DEBUG,
          L"control: status=%d  stopState=%d  countGoodStep=%d  countBadStep=%d  countStall=%d  numReset=%d  "
          L"scaleState=%d  routeSubmodel=%d",
          ipm->status, ipm->stopState, ipm->countGoodStep, ipm->countBadStep, ipm->countStall, ipm->numReset,
          hub->scaleState, hub->routeSubmodel);
}

void DumpChangeIpm(const Ipm* ipm, int32_t level) {
  if (!verifies(level, VERIFY_REPORT)) return;
  logText(ipm->env->log, QZ_LOG_DEBUG,
          L"state: alphaPrimal=%15.7g  alphaDual=%15.7g  minPositive=%15.7g  maxPrimal=%15.7g  maxDual=%15.7g  "
          L"complRatio=%15.7g",
          ipm->alphaPrimal, ipm->alphaDual, ipm->minPositive, ipm->maxPrimal, ipm->maxDual, ipm->complRatio);
}

void DumpSubmodel(Env* env, int32_t level, const SubModel* s) {
  if (!verifies(level, VERIFY_REPORT) || s == nullptr) return;
  QzLog* log = env->log;
  logText(log, QZ_LOG_DEBUG, L"submodel: thresholdMat=%15.7g  thresholdBig=%15.7g  thresholdBound=%15.7g",
          s->thresholdMat, s->thresholdBig, s->thresholdBound);
  const struct {
    const wchar_t* name;
    int32_t number;
    int32_t flag;
    int32_t plan;
    double movement;
  } kinds[] = {{L"BigVar", s->numBigVar, s->bBigVar, s->planBigVar, s->deltaX},
               {L"BigBoundSlack", s->numBigBoundSlack, s->bBigBoundSlack, s->planBigBoundSlack, s->deltaBound},
               {L"BigIneqnSlack", s->numBigIneqnSlack, s->bBigIneqnSlack, s->planBigIneqnSlack, s->deltaRow},
               {L"BigDual", s->numBigDual, s->bBigDual, s->planBigDual, s->deltaY},
               {L"BigBoundDual", s->numBigBoundDual, s->bBigBoundDual, s->planBigBoundDual, s->deltaColumn}};
  for (const auto& kind : kinds)
    logText(log, QZ_LOG_DEBUG, L"   num%s=%d  b%s=%d  plan%s=%d  movement=%15.7g", kind.name, kind.number, kind.name,
            kind.flag, kind.name, kind.plan, kind.movement);
}

void DumpIterSubmodel(const Ipm* ipm, int32_t level, const Hub* hub, const SubModel* submodel) {
  if (!verifies(level, VERIFY_REPORT)) return;
  DumpChangeControl(ipm, level, hub);
  DumpChangeIpm(ipm, level);
  DumpSubmodel(ipm->env, level, submodel);
}

}  // namespace qz
