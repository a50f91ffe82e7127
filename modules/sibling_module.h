// What the object of every sibling module has in common: a pool of its own that it lies in, the host version that it
// asks for, its own version, and its end.
#pragma once

#include <cstdint>
#include <cstring>

#include "qzipsolve/host.h"

namespace qz {

inline int32_t siblingHostVersion(QzModule* /*module*/, int32_t* major, int32_t* minor, int32_t* fix) {
  *major = 5;
  *minor = 1;
  *fix = 1;
  return 0;
}

inline int32_t siblingVersion(QzModule* /*module*/, int32_t* major, int32_t* minor, int32_t* fix) {
  *major = 1;
  *minor = 0;
  *fix = 0;
  return 0;
}

inline int32_t destroySibling(QzModule* module) {
  if (module != nullptr) module->pool->destroy(module->pool);  // the object lies in it
  return 0;
}

// An object of `size` bytes that begins with a QzModule, zero-filled behind what stands here, in a pool below `parent`;
// realDestroy gives all of it back. Null without a host or when memory is short.
inline QzModule* makeSibling(QzHostTable* host, QzPool* parent, const wchar_t* poolName, uint64_t size) {
  if (host == nullptr) return nullptr;
  QzPoolParameters parameters{};
  QzPool* pool = host->createPool(host, &parameters, parent, poolName, 0, 0);
  if (pool == nullptr) return nullptr;
  auto* module = static_cast<QzModule*>(pool->allocate(pool, size, QZ_POOL_ZERO));
  if (module == nullptr) {
    pool->destroy(pool);
    return nullptr;
  }
  std::memcpy(module->tag, "nevo", sizeof(module->tag));
  module->getReqVersion = siblingHostVersion;
  module->getVersion = siblingVersion;
  module->realDestroy = destroySibling;
  module->pool = pool;
  return module;
}

}  // namespace qz
