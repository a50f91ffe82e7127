// A `qztimer` whose CPU clock the test sets.
#pragma once

#include <cmath>
#include <cstdint>

#include "qzipsolve/timer_module.h"

namespace qztest {

struct FakeTimerModule {
  QzTimerModule module{};  // first
  double cpu = 0.0;        // seconds
  double tick = 0.0;       // added at every sample
  int unloads = 0;

  FakeTimerModule() {
    module.module.unload = [](QzModule* m) { ++self(m)->unloads; };
    module.takeSample = [](QzTimerModule* m, QzTimerSample* sample) -> int32_t {
      FakeTimerModule* fake = self(&m->module);
      sample->seconds = static_cast<int64_t>(std::floor(fake->cpu));
      sample->microseconds = std::llround((fake->cpu - std::floor(fake->cpu)) * 1e6);
      fake->cpu += fake->tick;
      return 0;
    };
    module.difference = [](QzTimerModule*, const QzTimerSample* start, const QzTimerSample* stop,
                           QzTimerDifference* difference) -> int32_t {
      const int64_t micro = (stop->seconds - start->seconds) * 1000000 + stop->microseconds - start->microseconds;
      difference->seconds = micro / 1000000;
      difference->microseconds = micro % 1000000;
      return 0;
    };
  }
  static FakeTimerModule* self(QzModule* m) { return reinterpret_cast<FakeTimerModule*>(m); }
};

}  // namespace qztest
