#include "timer_core.h"

#include <cstring>
#include <ctime>

namespace {

QzHostTable* host = nullptr;

constexpr int64_t kMicrosecondsPerSecond = 1000000;

int32_t getReqVersion(QzModule*, int32_t* major, int32_t* minor, int32_t* fix) {
  *major = 5;
  *minor = 1;
  *fix = 1;
  return 0;
}

int32_t getVersion(QzModule*, int32_t* major, int32_t* minor, int32_t* fix) {
  *major = 1;
  *minor = 0;
  *fix = 0;
  return 0;
}

int32_t realDestroy(QzModule* module) {
  if (module != nullptr) module->pool->destroy(module->pool);  // the object lies in it
  return 0;
}

// User and system time of all threads of the process.
int32_t takeSample(QzTimerModule*, QzTimerSample* sample) {
  timespec now;
  if (sample == nullptr || clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now) != 0) return 1;
  *sample = QzTimerSample{};
  sample->seconds = now.tv_sec;
  sample->microseconds = now.tv_nsec / 1000;
  return 0;
}

int32_t difference(QzTimerModule*, const QzTimerSample* start, const QzTimerSample* stop, QzTimerDifference* out) {
  if (start == nullptr || stop == nullptr || out == nullptr) return 1;
  out->seconds = stop->seconds - start->seconds;
  out->microseconds = stop->microseconds - start->microseconds;
  if (out->microseconds < 0) {
    out->microseconds += kMicrosecondsPerSecond;
    out->seconds -= 1;
  }
  return 0;
}

}  // namespace

int32_t qztimer_core_extent(QzHostTable* handle) {
  host = handle;
  return 0;
}

QzModule* qztimer_core_make(void* /*any*/, QzPool* parent) {
  if (host == nullptr) return nullptr;
  QzPoolParameters parameters{};
  QzPool* pool = host->createPool(host, &parameters, parent, L"QZTIMER POOL", 0, 0);
  if (pool == nullptr) return nullptr;
  auto* timer = static_cast<QzTimerModule*>(pool->allocate(pool, sizeof(QzTimerModule), QZ_POOL_ZERO));
  if (timer == nullptr) {
    pool->destroy(pool);
    return nullptr;
  }
  std::memcpy(timer->module.tag, "nevo", sizeof(timer->module.tag));
  timer->module.getReqVersion = getReqVersion;
  timer->module.getVersion = getVersion;
  timer->module.realDestroy = realDestroy;
  timer->module.pool = pool;
  timer->takeSample = takeSample;
  timer->difference = difference;
  return &timer->module;
}

const QzBuiltinModule qztimer_builtin = {L"qztimer", qztimer_core_extent, qztimer_core_make};
