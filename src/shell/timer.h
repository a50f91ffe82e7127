// `IPM_timer`: one stop-watch for a solve, in CPU time and real time at once. CPU time comes from the sibling module
// `qztimer`, real time from the host's clock. It goes on running; a stop is only a reading.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"
#include "qzipsolve/timer_module.h"

namespace qz {

struct IPM_timer {
  int32_t type;               // 0 answers with CPU time, any other value with real time
  double ticksPerSecond;      // divisor of the sub-second part of a CPU reading, 1000000
  double cpuLimit;            // seconds, the largest double at first
  double cpuUsed;             // seconds at the last reading
  QzTimerModule* perfModule;  // qztimer, owned
  QzTimerSample startSample;
  QzTimerSample stopSample;
  QzTimerDifference diffBlock;
  double realLimit;  // seconds, the largest double at first
  double realStart;  // host clock at the start
  double realNow;    // host clock at the last reading
  double realUsed;   // seconds at the last reading
};

// Makes a timer in the pool and loads qztimer. Null with rc -1086 when memory or the module can't be had.
[[nodiscard]] IPM_timer* IPM_timerCreate(QzPool* pool, int32_t* rc);
// Unloads the module, gives the record back and clears the pointer; a null pointer or record is no fault.
int32_t IPM_timerFree(QzPool* pool, IPM_timer** timer);

// All return 0.
int32_t IPM_timerStart(IPM_timer* timer);
int32_t IPM_timerStop(IPM_timer* timer);
int32_t IPM_timerSetCpuLimit(IPM_timer* timer, double limit);
int32_t IPM_timerSetRealLimit(IPM_timer* timer, double limit);
int32_t IPM_timerGetCpuLimit(const IPM_timer* timer, double* limit);
int32_t IPM_timerGetRealLimit(const IPM_timer* timer, double* limit);
int32_t IPM_timerCpuUsedTime(IPM_timer* timer, double* value);
int32_t IPM_timerRealUsedTime(IPM_timer* timer, double* value);
int32_t IPM_timerCpuLeftTime(IPM_timer* timer, double* value);
int32_t IPM_timerRealLeftTime(IPM_timer* timer, double* value);
// flag is 0 while the limit is above the used time, else 1: a limit that is just used up counts as reached.
int32_t IPM_timerReachCpuLimit(IPM_timer* timer, int32_t* flag);
int32_t IPM_timerReachRealLimit(IPM_timer* timer, int32_t* flag);
// The used time, read afresh.
double IPM_timerInterval(IPM_timer* timer);
double IPM_timerRealInterval(IPM_timer* timer);

// The forms that follow the timer's type.
int32_t IPM_timerSetLimit(IPM_timer* timer, double limit);
int32_t IPM_timerGetLimit(const IPM_timer* timer, double* limit);
int32_t IPM_timerUsedTime(IPM_timer* timer, double* value);
int32_t IPM_timerLeftTime(IPM_timer* timer, double* value);
int32_t IPM_timerReachLimit(IPM_timer* timer, int32_t* flag);

}  // namespace qz
