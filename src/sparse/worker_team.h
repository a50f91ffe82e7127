// The threads of one factorisation: numThreads - 1 workers from the host, and the caller as the last one.
#pragma once

#include <cstdint>

#include "sparse/engine_common.h"
#include "sparse/factor.h"

namespace qz {

// Runs `work` once on every context, the last one on the calling thread, and waits for all. Returns the status that
// ended the run: LA_OK, or what requestStop was given; LA_INCONSISTENT when a worker can't be started or waited for,
// LA_NO_MEMORY when its end event can't be made. No worker touches the factor any more when it returns.
[[nodiscard]] int32_t runTeam(SymbolicFactor* symbolic, void (*work)(ThreadContext& context));

// The two halves of it. A start that fails part of the way ends the run; the workers that did start must be joined in
// any case. joinWorkers returns false when the host's wait failed; it watches the workers' own marks then, and leaves
// their objects for the next call.
[[nodiscard]] int32_t startWorkers(SymbolicFactor* symbolic, void (*work)(ThreadContext& context));
[[nodiscard]] bool joinWorkers(SymbolicFactor* symbolic);

// True when workers were started and not yet joined: the factorisation that started them was abandoned.
[[nodiscard]] bool hasWorkers(const SymbolicFactor* symbolic);

// Ends an abandoned run: stops it, cancels each worker through the host and joins them.
void interruptWorkers(SymbolicFactor* symbolic);

}  // namespace qz
