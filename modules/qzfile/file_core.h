// Text files of wide characters over plain stdio behind the module object of qzfile.
#pragma once

#include "qzipsolve/builtin.h"
#include "qzipsolve/file_module.h"

extern "C" {

// Stores the host's table, from which the module object takes its pool. Returns 0.
int32_t qzfile_core_extent(QzHostTable* handle);

// Makes the module object in a pool of its own under `parent`, which may be null. Null when memory is short.
QzModule* qzfile_core_make(void* any, QzPool* parent);

extern const QzBuiltinModule qzfile_builtin;
}
