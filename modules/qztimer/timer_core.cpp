#include "timer_core.h"

#include <ctime>

#include "sibling_module.h"

namespace {

QzHostTable* host = nullptr;

constexpr int64_t kMicrosecondsPerSecond = 1000000;

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
  QzModule* module = qz::makeSibling(host, parent, L"QZTIMER POOL", sizeof(QzTimerModule));
  if (module == nullptr) return nullptr;
  auto* timer = reinterpret_cast<QzTimerModule*>(module);
  timer->takeSample = takeSample;
  timer->difference = difference;
  return module;
}

const QzBuiltinModule qztimer_builtin = {L"qztimer", qztimer_core_extent, qztimer_core_make};
