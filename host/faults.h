// Failures on demand: a test makes the k-th request for a resource fail and looks at what the caller makes of it.
// Requests are counted by kind, and those for memory and objects together too, over the whole program.
#pragma once

#include <cstdint>

namespace qzhost {

enum class Request : int32_t {
  kMemory,  // an allocation from a pool
  kPool,
  kEvent,
  kLock,
  kThread,     // a thread that can't be started
  kWait,       // a wait for threads or events that fails
  kModule,     // a module that can't be loaded
  kWorkerRun,  // no failure: a thread that is cancelled before it does anything
  kClock,      // no failure: from this reading on the clock shows a billion seconds more
};
constexpr int32_t kRequestKinds = 9;

// The k-th request of that kind from now on (k from 1) fails; 0 switches off. One at a time of a kind.
void failRequest(Request kind, int64_t k);

// Requests of that kind since the program started.
int64_t requestCount(Request kind);

// Counts one request; true when it has to fail.
bool requestFails(Request kind);

// The k-th request for memory, a pool, an event, a lock or a thread from now on fails, and all behind it too when
// `andAllBehind`; 0 switches off.
void failAllocation(int64_t k, bool andAllBehind = false);

// Requests of these five kinds since the program started.
int64_t allocationCount();

// Counts one reading of the clock; the seconds that it shows too many.
double clockJump();

}  // namespace qzhost
