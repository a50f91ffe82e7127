#include "time_limit.h"

#include <ctime>

namespace qzpresol {

TimeLimit::TimeLimit(double seconds, int32_t timeType) : timeType_(timeType), end_(now() + seconds) {}

double TimeLimit::now() const {
  timespec time{};
  clock_gettime(timeType_ == 0 ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

bool TimeLimit::reached() const {
  return now() >= end_;
}

}  // namespace qzpresol
