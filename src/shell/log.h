// Messages: the one way out. A null log is silent.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"
#include "qzipsolve/messages.h"

namespace qz {

// A message of the host's catalogue by its code, with the arguments that messages.h tells.
template <class... Arguments>
void logCode(QzLog* log, int32_t level, uint32_t code, Arguments... arguments) {
  if (log != nullptr) log->logCode(log, level, code, arguments...);
}

// A literal wide format text; its length is taken from the literal.
template <int32_t size, class... Arguments>
void logText(QzLog* log, int32_t level, const wchar_t (&text)[size], Arguments... arguments) {
  if (log != nullptr) log->logText(log, level, text, size - 1, arguments...);
}

}  // namespace qz
