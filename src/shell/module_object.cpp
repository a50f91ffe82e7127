// The module object of qzipsolve, and the record by which a program links the module in.
#include <cstring>

#include "qzipsolve/builtin.h"
#include "qzipsolve/instance.h"
#include "shell/pool.h"

namespace {

int32_t storeHost(QzHostTable* handle) {
  Exported_QZHandle = handle;
  return 0;
}

}  // namespace

extern "C" {

int32_t qzipsolve_getReqVersion(QzModule*, int32_t* major, int32_t* minor, int32_t* fix) {
  *major = 5;
  *minor = 1;
  *fix = 1;
  return 0;
}

int32_t qzipsolve_getVersion(QzModule*, int32_t* major, int32_t* minor, int32_t* fix) {
  *major = 1;
  *minor = 0;
  *fix = 0;
  return 0;
}

int32_t qzipsolve_realDestroy(QzModule* module) {
  if (module == nullptr) return 0;
  QzPool* pool = module->pool;  // read before the pool takes the module with it
  pool->destroy(pool);
  return 0;
}

QzModule* qzipsolve(void*, QzPool* parent) {
  QzHostTable* host = Exported_QZHandle;
  if (host == nullptr) return nullptr;
  QzPoolParameters parameters{};
  QzPool* pool = host->createPool(host, &parameters, parent, L"QZIPSOLVE POOL", 0, 0);
  if (pool == nullptr) return nullptr;
  QzModule* module = qz::poolAllocate<QzModule>(pool, 1);
  if (module == nullptr) {
    pool->destroy(pool);
    return nullptr;
  }
  *module = QzModule{};
  std::memcpy(module->tag, "nevo", sizeof module->tag);
  module->getReqVersion = qzipsolve_getReqVersion;
  module->getVersion = qzipsolve_getVersion;
  module->realDestroy = qzipsolve_realDestroy;
  module->pool = pool;
  module->create_instance = qzipsolve_create_instance;
  return module;
}

extern const QzBuiltinModule qzipsolve_builtin;
const QzBuiltinModule qzipsolve_builtin = {L"qzipsolve", storeHost, qzipsolve};

}  // extern "C"
