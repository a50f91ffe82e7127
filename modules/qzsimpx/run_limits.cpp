#include "run_limits.h"

#include <ctime>

namespace qzsimpx {

Limits::Limits(const QzPresolveHandle& handle, const LpRecord& record)
    : record_(record), timeType_(handle.settings->timeType), mostChanges_(handle.settings->iterLimit), deadline_(0.0) {
  deadline_ = now() + handle.limits->timeLimit;
}

double Limits::now() const {
  timespec time{};
  clock_gettime(timeType_ == 0 ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

int32_t Limits::check() {
  if (status_ != QZ_STATUS_OK) return status_;
  if (record_.checkSolverBreak != nullptr && record_.checkSolverBreak(record_.callerDataStruct) != 0)
    status_ = QZ_STATUS_INTERRUPTED;
  else if (now() >= deadline_)
    status_ = QZ_STATUS_TIME_LIMIT;
  else if (numChange_ >= mostChanges_)
    status_ = QZ_STATUS_ITERATION_LIMIT;
  return status_;
}

}  // namespace qzsimpx
