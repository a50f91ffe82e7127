// The clock that a reduction must keep to, and the caller's wish to stop.
#pragma once

#include <cstdint>

#include "qzipsolve/record.h"

namespace qzpresol {

class TimeLimit {
 public:
  // Starts the clock: `seconds` of CPU time (`timeType` 0) or of real time.
  TimeLimit(double seconds, int32_t timeType);
  [[nodiscard]] bool reached() const;

 private:
  [[nodiscard]] double now() const;
  int32_t timeType_;
  double end_;
};

inline bool wantsBreak(const LpRecord& caller) {
  return caller.checkSolverBreak != nullptr && caller.checkSolverBreak(caller.callerDataStruct) != 0;
}

}  // namespace qzpresol
