// The solver instance: what a solve is carried by, and the order in which it is taken down.
#include "qzipsolve/instance.h"

#include "engine/linear_algebra.h"
#include "qzipsolve/presolve_module.h"
#include "qzipsolve/simplex_module.h"
#include "shell/host_table.h"
#include "shell/iplp_main.h"
#include "shell/lp_options.h"
#include "shell/pool.h"
#include "shell/timer.h"

namespace qz {

namespace {

void releasePresolver(Env* env) {
  auto* object = static_cast<QzPresolveObject*>(env->presolveObject);
  if (object != nullptr) {
    if (env->presolveHandle != nullptr) object->freeHandle(object, &env->presolveHandle);
    object->destroy(object);
    env->presolveObject = nullptr;
  }
  if (env->presolveModule != nullptr) {
    env->presolveModule->unload(env->presolveModule);
    env->presolveModule = nullptr;
  }
}

void releaseSimplex(Env* env) {
  auto* object = static_cast<QzSimplexObject*>(env->simplexObject);
  if (object != nullptr) {
    object->destroy(object);
    env->simplexObject = nullptr;
  }
  if (env->simplexModule != nullptr) {
    env->simplexModule->unload(env->simplexModule);
    env->simplexModule = nullptr;
  }
}

// A factorisation that was left behind may still have workers: they see the cancelled word and come to an end, and the
// clean-up joins them. The word is cleared again behind it.
void releaseLinearAlgebra(Env* env) {
  QzThread* thread = hostCurrentThread();
  if (thread != nullptr) thread->signal(thread, 0, 0);
  auto* laEnv = static_cast<LAEnv*>(env->laEnv);
  auto* ldlFactor = static_cast<SymbolicFactor*>(env->ldlFactor);
  auto* ldlMemory = static_cast<NumericFactor*>(env->ldlMemory);
  auto* cholFactor = static_cast<SymbolicFactor*>(env->cholFactor);
  auto* cholMemory = static_cast<NumericFactor*>(env->cholMemory);
  laCleanUpAll(env, &laEnv, &ldlFactor, &ldlMemory, &cholFactor, &cholMemory);
  if (thread != nullptr) thread->signal(thread, 1, 0);
}

void releaseTimer(Env* env) {
  auto* timer = static_cast<IPM_timer*>(env->timer);
  if (timer != nullptr) IPM_timerFree(env->pool, &timer);
  env->timer = nullptr;
}

}  // namespace

}  // namespace qz

extern "C" {

void* qzipsolve_create_instance(void) {
  QzHostTable* host = Exported_QZHandle;
  if (host == nullptr) return nullptr;
  QzPoolParameters parameters{};
  QzPool* pool = host->createPool(host, &parameters, nullptr, L"QZIPSOLVE POOL", 0, 0);
  if (pool == nullptr) return nullptr;
  QzInstance* instance = qz::poolAllocateZero<QzInstance>(pool, 1);
  if (instance == nullptr) {
    pool->destroy(pool);
    return nullptr;
  }
  instance->pool = pool;
  instance->destroy = qzipsolve_destroy_instance;
  instance->iplpMain = qz::iplpMain;
  instance->createLpOptions = qz::createLpOptions;
  instance->resetLpOptions = qz::resetLpOptions;
  return instance;
}

int32_t qzipsolve_destroy_instance(QzInstance* instance) {
  if (instance == nullptr) return 0;
  qz::releasePresolver(instance);
  qz::releaseSimplex(instance);
  qz::releaseLinearAlgebra(instance);
  qz::releaseTimer(instance);
  QzPool* pool = instance->pool;  // read before the pool takes the instance with it
  pool->destroy(pool);
  return 0;
}

}  // extern "C"
