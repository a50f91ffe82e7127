#include "simplex_object.h"

#include <CoinError.hpp>
#include <new>

#include "crossover.h"
#include "qzipsolve/builtin.h"
#include "qzipsolve/simplex_module.h"
#include "qzipsolve/status.h"
#include "shell/log.h"
#include "shell/pool.h"

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

int32_t writeVersion(int32_t major, int32_t minor, int32_t fix, int32_t* outMajor, int32_t* outMinor, int32_t* outFix) {
  *outMajor = major;
  *outMinor = minor;
  *outFix = fix;
  return 0;
}

int32_t requiredVersion(QzModule*, int32_t* major, int32_t* minor, int32_t* fix) {
  return writeVersion(5, 1, 1, major, minor, fix);
}

int32_t moduleVersion(QzModule*, int32_t* major, int32_t* minor, int32_t* fix) {
  return writeVersion(1, 0, 0, major, minor, fix);
}

int32_t destroyModule(QzModule* module) {
  if (module != nullptr) module->pool->destroy(module->pool);
  return 0;
}

}  // namespace

QzModule* makeModule(QzPool* parent) {
  if (hostTable == nullptr) return nullptr;
  QzPoolParameters parameters{};
  QzPool* pool = hostTable->createPool(hostTable, &parameters, parent, L"QZSIMPX POOL", 0, 0);
  if (pool == nullptr) return nullptr;
  auto* module = qz::poolAllocateZero<QzModule>(pool, 1);
  if (module == nullptr) {
    pool->destroy(pool);
    return nullptr;
  }
  const char tag[4] = {'n', 'e', 'v', 'o'};
  for (int k = 0; k < 4; ++k) module->tag[k] = tag[k];
  module->getReqVersion = requiredVersion;
  module->getVersion = moduleVersion;
  module->realDestroy = destroyModule;
  module->pool = pool;
  module->create_instance = createObject;
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
