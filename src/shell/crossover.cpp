#include "shell/crossover.h"

#include <algorithm>

#include "qzipsolve/presolve_module.h"
#include "qzipsolve/simplex_module.h"
#include "shell/host_table.h"
#include "shell/log.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr int32_t kRowsAndColumns = -1;  // direction of the scaling: the objective row keeps the factor 1
constexpr int32_t kPrimalStart = 1;
constexpr int32_t kDualStart = 2;
constexpr int32_t kCrossoverMode = 3;
constexpr int32_t kNoCount = -1;
constexpr int32_t kNoIterLimit = 0x7fffffff;

// What one hand-off holds.
struct Handoff {
  Env* env;
  LpRecord* record;
  Solution* solution;
  const IpmOption* option;
  QzPresolveObject* presolver;
  QzPresolveHandle* handle;
  PoolArray<double> rowScale;  // numRow + 1: the presolver module has a factor for the objective row too
  PoolArray<double> colScale;  // numCol + 1
};

bool leavesNoPoint(int32_t status) {
  return status == QZ_STATUS_ITERATION_LIMIT || status == QZ_STATUS_TIME_LIMIT || status == QZ_STATUS_FAILED ||
         status == QZ_STATUS_INTERRUPTED || status == QZ_STATUS_OUT_OF_MEMORY;
}

// A model that came without the presolver module, as a quadratic one does, has none of what the simplex module needs.
bool hasParts(const Handoff& h) {
  return h.record != nullptr && h.solution != nullptr && h.presolver != nullptr && h.handle != nullptr &&
         h.handle->settings != nullptr && h.handle->limits != nullptr && h.env->options != nullptr;
}

int32_t makeFactors(Handoff& h) {
  if (h.rowScale.allocate(h.env->pool, int64_t{h.record->numRow} + 1) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  if (h.colScale.allocate(h.env->pool, int64_t{h.record->numCol} + 1) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  std::fill_n(h.rowScale.get(), h.rowScale.size(), 1.0);
  std::fill_n(h.colScale.get(), h.colScale.size(), 1.0);
  return QZ_STATUS_OK;
}

int32_t scaleRecord(Handoff& h) {
  LpRecord& r = *h.record;
  return h.presolver->scale(h.presolver, kRowsAndColumns, r.numRow, r.numCol, r.numCoef, r.colBegin,
                            h.env->options->tolPrimal, r.colLength, r.rowIndex, r.matValue, r.obj, r.lower, r.upper,
                            h.rowScale.get(), h.colScale.get(), nullptr, nullptr, r.rhs, r.rowSense, r.range, nullptr,
                            nullptr, nullptr, nullptr);
}

// The bound slacks and duals of column j by its factor c, x_scaled = x / c; back again with 1 / c.
void scaleBoundParts(Solution& s, int32_t j, double c) {
  s.lowerSlack[j] /= c;
  s.upperSlack[j] /= c;
  s.lowerDual[j] *= c;
  s.upperDual[j] *= c;
}

void scaleSolution(Handoff& h) {
  Solution& s = *h.solution;
  for (int32_t j = 0; j < h.record->numCol; ++j) {
    const double c = h.colScale[j];
    s.primal[j] /= c;
    h.record->reducedCost[j] *= c;
    scaleBoundParts(s, j, c);
  }
  for (int32_t i = 0; i < h.record->numRow; ++i) {
    const double r = h.rowScale[i];
    s.dual[i] /= r;
    s.ineqnSlack[i] *= r;
    h.record->rowActivity[i] *= r;
  }
}

// The presolver module brings back the model and the four arrays of the answer; the slacks and bound duals are ours.
int32_t undoScaling(Handoff& h) {
  LpRecord& r = *h.record;
  for (int32_t j = 0; j < r.numCol; ++j) scaleBoundParts(*h.solution, j, 1.0 / h.colScale[j]);
  for (int32_t i = 0; i < r.numRow; ++i) h.solution->ineqnSlack[i] /= h.rowScale[i];
  return h.presolver->unscale(h.presolver, kRowsAndColumns, r.numRow, r.numCol, r.numCoef, r.colBegin,
                              h.env->options->tolPrimal, r.colLength, r.rowIndex, r.matValue, r.obj, r.lower, r.upper,
                              h.rowScale.get(), h.colScale.get(), nullptr, nullptr, r.rhs, r.rowSense, r.range,
                              r.solPrimal, r.solDual, r.reducedCost, r.rowActivity);
}

void unloadSimplex(Env* env) {
  env->simplexModule->unload(env->simplexModule);
  env->simplexModule = nullptr;
}

int32_t loadSimplex(Env* env) {
  QzHostTable* host = Exported_QZHandle;
  const wchar_t name[] = L"qzsimpx";
  if (host != nullptr) env->simplexModule = host->loadExtension(host, name, wvStrTLen(name), 0);
  if (env->simplexModule == nullptr) {
    logCode(env->log, QZ_LOG_ERROR, QZ_MSG_NO_SIMPLEX);
    return QZ_STATUS_OUT_OF_MEMORY;
  }
  auto* object = static_cast<QzSimplexObject*>(env->simplexModule->create_instance());
  if (object == nullptr) {
    logCode(env->log, QZ_LOG_ERROR, QZ_MSG_NO_SIMPLEX_OBJECT);
    unloadSimplex(env);
    return QZ_STATUS_OUT_OF_MEMORY;
  }
  object->statusCallback = env->statusCallback;
  object->log = env->log;
  env->simplexObject = object;
  return QZ_STATUS_OK;
}

void releaseSimplex(Env* env) {
  auto* object = static_cast<QzSimplexObject*>(env->simplexObject);
  object->destroy(object);
  env->simplexObject = nullptr;
  unloadSimplex(env);
}

int32_t runSimplex(Handoff& h) {
  QzPresolveSettings& settings = *h.handle->settings;
  h.record->objValue = h.env->objConstantSaved;
  settings.startMode = (h.option->crossover & 1) != 0 ? kDualStart : kPrimalStart;
  settings.mode968 = kCrossoverMode;
  settings.iterLimit = kNoIterLimit;
  settings.field960 = kNoCount;
  h.handle->limits->timeLimit = h.option->timeLimit;
  auto* object = static_cast<QzSimplexObject*>(h.env->simplexObject);
  return object->run(object, h.presolver, h.handle, h.record);
}

}  // namespace

int32_t iplpCrossover(Env* env, LpRecord* lpRecord, Solution* solution, const KeptSolution* /*keptSolution*/,
                      const IpmOption* option, int32_t status) {
  if (leavesNoPoint(status)) return status;
  Handoff h{env,
            lpRecord,
            solution,
            option,
            static_cast<QzPresolveObject*>(env->presolveObject),
            static_cast<QzPresolveHandle*>(env->presolveHandle),
            {},
            {}};
  if (!hasParts(h)) return QZ_STATUS_FAILED;
  h.handle->settings->interiorStatus = status;
  int32_t result = makeFactors(h);
  if (result == QZ_STATUS_OK) result = scaleRecord(h);
  if (result != QZ_STATUS_OK) return result;
  scaleSolution(h);
  result = loadSimplex(env);
  if (result != QZ_STATUS_OK) return result;
  result = runSimplex(h);
  const int32_t undone = undoScaling(h);
  releaseSimplex(env);
  return result == QZ_STATUS_OK ? undone : result;
}

}  // namespace qz
