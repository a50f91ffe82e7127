// What the calls into both sparse solvers share: the engine's status for one of theirs, and the seconds they take.
#pragma once

#include <cstdint>

#include "qzipsolve/status.h"
#include "shell/timer.h"
#include "sparse/la_env.h"

namespace qz {

// LA_TOO_LARGE says of an analysis that no memory could hold the factor. What has no status of its own is `otherwise`.
[[nodiscard]] inline int32_t engineStatus(int32_t status, bool tooLargeIsMemory, int32_t otherwise) {
  switch (status) {
    case LA_OK:
      return QZ_STATUS_OK;
    case LA_NO_MEMORY:
      return QZ_STATUS_OUT_OF_MEMORY;
    case LA_TOO_LARGE:
      return tooLargeIsMemory ? QZ_STATUS_OUT_OF_MEMORY : otherwise;
    case LA_CANCELLED:
      return QZ_STATUS_INTERRUPTED;
    default:
      return otherwise;
  }
}

// Adds the seconds between its construction and its end to a field; does nothing without timer or field.
class Stopwatch {
 public:
  Stopwatch(IPM_timer* timer, double* total) : timer_(total == nullptr ? nullptr : timer), total_(total) {
    start_ = now();
  }
  Stopwatch(const Stopwatch&) = delete;
  Stopwatch& operator=(const Stopwatch&) = delete;
  ~Stopwatch() {
    if (timer_ != nullptr) *total_ += now() - start_;
  }

 private:
  double now() {
    double seconds = 0.0;
    if (timer_ != nullptr) IPM_timerUsedTime(timer_, &seconds);
    return seconds;
  }

  IPM_timer* timer_;
  double* total_;
  double start_;
};

}  // namespace qz
