#include "host/clock.h"

#include <ctime>

#include "host/faults.h"
#include "qzipsolve/host.h"

namespace qzhost {

namespace {

double readSystemClock(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

struct Origin {
  double offset;  // what the date is ahead of the monotone clock
  double zone;
};

Origin takeOrigin() {
  const double date = readSystemClock(CLOCK_REALTIME);
  const auto seconds = static_cast<time_t>(date);
  tm local{};
  localtime_r(&seconds, &local);
  return {date - readSystemClock(CLOCK_MONOTONIC), static_cast<double>(local.tm_gmtoff)};
}

}  // namespace

int32_t readClock(int32_t selector, void* buffer, uint32_t /*flags*/) {
  if (selector != QZ_CLOCK_SELECTOR || buffer == nullptr) return 1;
  static const Origin origin = takeOrigin();
  auto* out = static_cast<QzClockBuffer*>(buffer);
  *out = QzClockBuffer{origin.offset + readSystemClock(CLOCK_MONOTONIC) + clockJump(), origin.zone, {0, 0}};
  return 0;
}

}  // namespace qzhost
