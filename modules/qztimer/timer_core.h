// The CPU clock of the process behind the module object of qztimer.
#pragma once

#include "qzipsolve/builtin.h"
#include "qzipsolve/timer_module.h"

extern "C" {

// Stores the host's table, from which the module object takes its pool. Returns 0.
int32_t qztimer_core_extent(QzHostTable* handle);

// Makes the module object in a pool of its own under `parent`, which may be null. Null when memory is short.
QzModule* qztimer_core_make(void* any, QzPool* parent);

extern const QzBuiltinModule qztimer_builtin;
}
