#include "simplex_object.h"

#include <CoinError.hpp>
#include <new>

#include "crossover.h"
#include "qzipsolve/builtin.h"
#include "qzipsolve/simplex_module.h"
#include "qzipsolve/status.h"
#include "shell/log.h"
#include "shell/pool.h"
#include "sibling_module.h"

namespace qzsimpx {

QzHostTable* hostTable = nullptr;

namespace {

void destroyObject(QzSimplexObject* object) {
  if (object != nullptr) object->pool->destroy(object->pool);
}

// No exception leaves the module.
int32_t run(QzSimplexObject* object, QzPresolveObject*, QzPresolveHandle* handle, LpRecord* record) {
  try {
    crossOver(object->pool, object->log, *handle, *record);
    return QZ_STATUS_OK;
  } catch (const std::bad_alloc&) {
    return QZ_STATUS_OUT_OF_MEMORY;
  } catch (const CoinError&) {
    qz::logText(object->log, QZ_LOG_DEBUG, L"Error qzsimpx: the simplex library refused the model");
    return QZ_STATUS_FAILED;
  }
}

void* createObject() {
  QzPoolParameters parameters{};
  QzPool* pool = hostTable->createPool(hostTable, &parameters, nullptr, L"QZSIMPX POOL", 0, 0);
  if (pool == nullptr) return nullptr;
  auto* object = qz::poolAllocateZero<QzSimplexObject>(pool, 1);
  if (object == nullptr) {
    pool->destroy(pool);
    return nullptr;
  }
  object->pool = pool;
  object->destroy = destroyObject;
  object->run = run;
  return object;
}

}  // namespace

QzModule* makeModule(QzPool* parent) {
  QzModule* module = qz::makeSibling(hostTable, parent, L"QZSIMPX POOL", sizeof(QzModule));
  if (module != nullptr) module->create_instance = createObject;
  return module;
}

}  // namespace qzsimpx

namespace {

int32_t storeHost(QzHostTable* handle) {
  qzsimpx::hostTable = handle;
  return 0;
}

QzModule* make(void*, QzPool* parent) {
  return qzsimpx::makeModule(parent);
}

}  // namespace

extern "C" const QzBuiltinModule qzsimpx_builtin = {L"qzsimpx", storeHost, make};
