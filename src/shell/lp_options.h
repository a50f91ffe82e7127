// The caller's options: defaults, validation, and the options of one solve made from them.
#pragma once

#include <cstdint>

#include "qzipsolve/options.h"
#include "shell/records.h"

namespace qz {

// A new record from the instance's pool with the defaults; null when memory is short.
[[nodiscard]] LpOptions* createLpOptions(Env* env);

// Puts the defaults back; does nothing for null. Threads come from the host option host.cpucount, and with two or more
// the time is measured as real time. Without the option, or with a count below 1, one thread and CPU time.
void resetLpOptions(LpOptions* options);

// Warns about fields out of their range and rejects what no solve can work with. 0, or 10 with a message.
[[nodiscard]] int32_t validateLpOptions(QzLog* log, const LpOptions* options);

// The options of one solve; timeLimit must already be what remains.
void fillIpmOption(IpmOption* option, const LpOptions* options);

}  // namespace qz
