#include "crossover.h"

#include "answer.h"
#include "clean_up.h"
#include "dual_push.h"
#include "primal_push.h"
#include "qzipsolve/status.h"
#include "run_limits.h"
#include "shell/log.h"
#include "starting_basis.h"

namespace qzsimpx {

namespace {

constexpr int32_t kDualStart = 2;

// What one crossover holds.
struct Crossover {
  Crossover(QzPool* pool, QzLog* itsLog, const QzPresolveHandle& handle, LpRecord& its)
      : log(handle.settings->printLevel != 0 ? itsLog : nullptr),
        settings(*handle.settings),
        record(its),
        program(pool, its),
        point(pool, program),
        factor(pool, program),
        limits(handle, its) {}

  QzLog* log;
  const QzPresolveSettings& settings;
  LpRecord& record;
  Program program;
  Point point;
  BasisFactor factor;
  Limits limits;
};

void reportStart(const Crossover& c) {
  int32_t inside = 0;
  int32_t outside = 0;
  for (int32_t j = 0; j < c.program.numVar; ++j) {
    const bool interior = c.point.isInterior[j] != 0;
    if (c.point.isBasic(j))
      inside += interior ? 1 : 0;
    else
      outside += interior ? 1 : 0;
  }
  qz::logText(c.log, QZ_LOG_NOTE, L"Crossover: %d rows, %d interior variables in the first basis and %d outside.",
              c.program.numRow, inside, outside);
}

// Either half keeps what the other one has reached, so both orders lead to an optimal basis.
int32_t push(Crossover& c) {
  const bool dualFirst = c.settings.startMode == kDualStart;
  for (int half = 0; half < 2; ++half) {
    const bool dual = dualFirst == (half == 0);
    const int32_t before = c.limits.numChange();
    const int32_t status =
        dual ? pushDual(c.program, c.point, c.factor, c.limits) : pushPrimal(c.program, c.point, c.factor, c.limits);
    if (status != QZ_STATUS_OK) return status;
    const int32_t changes = c.limits.numChange() - before;
    if (dual)
      qz::logText(c.log, QZ_LOG_NOTE, L"Crossover: %d basis changes of the dual push.", changes);
    else
      qz::logText(c.log, QZ_LOG_NOTE, L"Crossover: %d basis changes of the primal push.", changes);
  }
  return QZ_STATUS_OK;
}

int32_t findVertex(Crossover& c) {
  readInterior(c.program, c.point);
  chooseStartingBasis(c.program, c.point, c.factor);
  reportStart(c);
  const int32_t pushed = push(c);
  if (pushed != QZ_STATUS_OK) return pushed;
  const int32_t before = c.limits.numChange();
  const int32_t status = cleanUp(c.program, c.point, c.limits, c.settings);
  qz::logText(c.log, QZ_LOG_NOTE, L"Crossover: %d simplex iterations behind the pushes.",
              c.limits.numChange() - before);
  return status;
}

void reportObjective(const Crossover& c) {
  qz::logCode(c.log, QZ_LOG_NOTE, QZ_MSG_OBJECTIVE, c.record.objValue);
}

void reportEnd(const Crossover& c) {
  switch (c.record.status) {
    case QZ_STATUS_OPTIMAL:
      qz::logCode(c.log, QZ_LOG_NOTE, QZ_MSG_OPTIMAL);
      reportObjective(c);
      break;
    case QZ_STATUS_ITERATION_LIMIT:
      qz::logCode(c.log, QZ_LOG_NOTE, QZ_MSG_ITERATION_LIMIT);
      reportObjective(c);
      break;
    case QZ_STATUS_TIME_LIMIT:
      qz::logCode(c.log, QZ_LOG_NOTE, c.settings.timeType == 0 ? QZ_MSG_CPU_LIMIT : QZ_MSG_REAL_LIMIT);
      reportObjective(c);
      break;
    case QZ_STATUS_INTERRUPTED:
      qz::logCode(c.log, QZ_LOG_WARNING, QZ_MSG_INTERRUPTED);
      break;
    case QZ_STATUS_PRIMAL_INFEASIBLE:
      qz::logCode(c.log, QZ_LOG_NOTE, QZ_MSG_PRIMAL_INFEASIBLE);
      break;
    case QZ_STATUS_DUAL_INFEASIBLE:
      qz::logCode(c.log, QZ_LOG_NOTE, QZ_MSG_DUAL_INFEASIBLE);
      break;
    default:
      qz::logCode(c.log, QZ_LOG_NOTE, QZ_MSG_FAILED);
      break;
  }
}

// Clp's verdict rests on its own values of the basic variables. On a basis that is nearly singular they need not meet
// the rows.
void confirm(Crossover& c) {
  if (c.record.status != QZ_STATUS_OPTIMAL || isWithin(c.record, c.settings.tolPrimal, c.settings.tolDual)) return;
  c.record.status = QZ_STATUS_FAILED;
  clearBasis(c.program, c.record);
}

}  // namespace

void crossOver(QzPool* pool, QzLog* log, const QzPresolveHandle& handle, LpRecord& record) {
  Crossover c(pool, log, handle, record);
  const double constant = record.objValue;
  record.status = findVertex(c);
  record.numSimplexIter = c.limits.numChange();
  if (record.status == QZ_STATUS_OPTIMAL) writePoint(c.program, c.point, record);
  writeMeasures(c.program, constant, record);
  confirm(c);
  reportEnd(c);
}

}  // namespace qzsimpx
