// The host's service table as the module holds it: the module's only global state.
#pragma once

#include "qzipsolve/host.h"
#include "qzipsolve/instance.h"

namespace qz {

using Env = QzInstance;  // the solver instance, first argument of nearly every function

// Reads an integer option of the host. Returns false when there is no host, the option is unknown or it can't be read;
// `value` keeps what it held then.
[[nodiscard]] bool hostIntegerOption(const wchar_t* name, int64_t length, int64_t& value);

// The object of the calling thread, or null without a host.
[[nodiscard]] QzThread* hostCurrentThread();

// True when the calling thread's object says that it was cancelled. `thread` may be null.
[[nodiscard]] bool threadCancelled(const QzThread* thread);

// Current date and time in seconds, from the host's clock; 0 without a host.
[[nodiscard]] double qzzdtgmt();

// Length of a wide string in characters, without its end mark; 0 for null.
[[nodiscard]] int64_t wvStrTLen(const wchar_t* text);

}  // namespace qz
