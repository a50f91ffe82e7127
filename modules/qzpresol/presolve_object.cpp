#include "presolve_object.h"

#include "qzipsolve/builtin.h"
#include "scaling.h"
#include "shell/log.h"
#include "shell/pool.h"
#include "sibling_module.h"

namespace qzpresol {

QzHostTable* hostTable = nullptr;

namespace {

PresolveObject* objectOf(QzPresolveObject* object) {
  return reinterpret_cast<PresolveObject*>(object);
}

Reduction* reductionOf(QzPresolveResult* result) {
  return reinterpret_cast<Reduction*>(result);
}

// The automatic mode reduces nothing yet; the same holds for modes that do not exist.
int32_t levelOf(int32_t presolveMode) {
  return presolveMode >= kLight && presolveMode <= kAll ? presolveMode : int32_t{kNoReduction};
}

void destroyObject(QzPresolveObject* object) {
  if (object != nullptr) object->pool->destroy(object->pool);
}

void freeHandle(QzPresolveObject* object, void** field) {
  if (object == nullptr || field == nullptr || *field == nullptr) return;
  auto* handle = static_cast<QzPresolveHandle*>(*field);
  qz::poolFree(object->pool, handle->settings);
  qz::poolFree(object->pool, handle->limits);
  qz::poolFree(object->pool, handle);
  *field = nullptr;
}

QzPresolveHandle* prepare(QzPresolveObject* object, LpOptions* options, int32_t* rc) {
  *rc = QZ_STATUS_OUT_OF_MEMORY;
  QzPool* pool = object->pool;
  objectOf(object)->settings = {levelOf(options->presolveMode), options->tolPrimal, options->timeLimit,
                                options->timeType, options->printLevel};
  auto* handle = qz::poolAllocateZero<QzPresolveHandle>(pool, 1);
  if (handle == nullptr) return nullptr;
  handle->settings = qz::poolAllocateZero<QzPresolveSettings>(pool, 1);
  handle->limits = qz::poolAllocateZero<QzPresolveLimits>(pool, 1);
  if (handle->settings == nullptr || handle->limits == nullptr) {
    void* field = handle;
    freeHandle(object, &field);
    return nullptr;
  }
  handle->settings->printLevel = options->printLevel;
  handle->settings->timeType = options->timeType;
  handle->settings->tolPrimal = options->tolPrimal;
  handle->settings->tolDual = options->tolDual;
  *rc = QZ_STATUS_OK;
  return handle;
}

void freeResult(QzPresolveObject* object, QzPresolveResult** field) {
  if (object == nullptr || field == nullptr || *field == nullptr) return;
  Reduction* reduction = reductionOf(*field);
  freeReduction(*reduction);
  qz::poolFree(object->pool, reduction);
  *field = nullptr;
}

// What is left to solve, or what the presolver settled alone, since no engine reports on that.
void reportOutcome(const Reduction& reduction) {
  if (reduction.owner->settings.printLevel == 0) return;
  QzLog* log = reduction.owner->slots.log;
  const LpRecord& before = *reduction.caller;
  const LpRecord& after = reduction.reduced;
  switch (reduction.outcome) {
    case 0:
      qz::logText(log, QZ_LOG_NOTE, L"The presolver leaves %d of %d rows, %d of %d columns, %d of %d matrix elements.",
                  after.numRow, before.numRow, after.numCol, before.numCol, after.numCoef, before.numCoef);
      break;
    case QZ_PRESOL_OPTIMAL:
      qz::logText(log, QZ_LOG_NOTE, L"The presolver solved the model.");
      break;
    case QZ_PRESOL_PRIMAL_INFEASIBLE:
      qz::logText(log, QZ_LOG_NOTE, L"The presolver found the model primal infeasible.");
      break;
    case QZ_PRESOL_DUAL_INFEASIBLE:
      qz::logText(log, QZ_LOG_NOTE, L"The presolver found the model dual infeasible.");
      break;
    case QZ_PRESOL_FAILED:
      qz::logText(log, QZ_LOG_ERROR, L"The presolver refused the model: its record is not consistent.");
      break;
    default:
      break;
  }
}

QzPresolveResult* reduce(QzPresolveObject* object, QzPresolveHandle*, int32_t, LpRecord* record, int32_t* rc) {
  *rc = QZ_STATUS_OUT_OF_MEMORY;
  auto* reduction = qz::poolAllocateZero<Reduction>(object->pool, 1);
  if (reduction == nullptr) return nullptr;
  reduction->owner = objectOf(object);
  reduction->pool = object->pool;
  reduction->caller = record;
  reduction->result.reduced = &reduction->reduced;
  const int32_t status = reduceRecord(*reduction);
  if (status != QZ_STATUS_OK) {
    QzPresolveResult* field = &reduction->result;
    freeResult(object, &field);
    return nullptr;
  }
  reportOutcome(*reduction);
  *rc = reduction->outcome == 0 ? QZ_STATUS_OK : kNoEngine;
  return &reduction->result;
}

int32_t postsolve(QzPresolveResult* result) {
  if (result == nullptr) return QZ_PRESOL_FAILED;
  restoreRecord(*reductionOf(result));
  return QZ_STATUS_OK;
}

void* createObject() {
  QzPoolParameters parameters{};
  QzPool* pool = hostTable->createPool(hostTable, &parameters, nullptr, L"QZPRESOL POOL", 0, 0);
  if (pool == nullptr) return nullptr;
  auto* object = qz::poolAllocateZero<PresolveObject>(pool, 1);
  if (object == nullptr) {
    pool->destroy(pool);
    return nullptr;
  }
  object->slots.pool = pool;
  object->slots.destroy = destroyObject;
  object->slots.prepare = prepare;
  object->slots.freeHandle = freeHandle;
  object->slots.reduce = reduce;
  object->slots.postsolve = postsolve;
  object->slots.freeResult = freeResult;
  object->slots.scale = scaleModel;
  object->slots.unscale = unscaleModel;
  return object;
}

}  // namespace

QzModule* makeModule(QzPool* parent) {
  QzModule* module = qz::makeSibling(hostTable, parent, L"QZPRESOL POOL", sizeof(QzModule));
  if (module != nullptr) module->create_instance = createObject;
  return module;
}

}  // namespace qzpresol

namespace {

int32_t storeHost(QzHostTable* handle) {
  qzpresol::hostTable = handle;
  return 0;
}

QzModule* make(void*, QzPool* parent) {
  return qzpresol::makeModule(parent);
}

}  // namespace

extern "C" const QzBuiltinModule qzpresol_builtin = {L"qzpresol", storeHost, make};
