// `iplpMain`: what the host calls. Owns everything that touches the caller's record and the presolver module.
#pragma once

#include <cstdint>

#include "qzipsolve/options.h"
#include "qzipsolve/record.h"
#include "shell/host_table.h"

namespace qz {

// Solves the caller's record and writes the answer into it. Returns the final status, which is also record->status.
// With null options it makes its own in the instance's pool. Callable any number of times on one instance; `timeLimit`
// and `usedTime` of the options change by what was used, the time of the presolver module counting twice.
int32_t iplpMain(Env* env, LpRecord* record, LpOptions* options);

// A status of the presolver module's own numbering in the numbering of status.h; any other comes back unchanged.
[[nodiscard]] int32_t translatePresolverStatus(int32_t status);

}  // namespace qz
