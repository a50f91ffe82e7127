// Failures on demand: a test makes the k-th request for a resource fail and looks at what the caller makes of it.
// Requests are the allocations from pools and the creation of pools, events, locks and threads, of the whole program.
#pragma once

#include <cstdint>

namespace qzhost {

// The k-th request from now on (k from 1) fails, and all behind it too when `andAllBehind`; 0 switches off.
void failAllocation(int64_t k, bool andAllBehind = false);

// Requests since the program started.
int64_t allocationCount();

// Counts one request; true when it has to fail.
bool allocationFails();

}  // namespace qzhost
