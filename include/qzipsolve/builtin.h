/* How a module is linked into a program instead of being opened as a shared object.
 *
 * A module's static library defines one constant of this record with C linkage, named <name>_builtin (for example
 * `qztimer_builtin`), and no function of the common entry names; those are exported by its shared object alone. The
 * host looks through the records that it was linked with before it searches its path. */
#ifndef QZIPSOLVE_BUILTIN_H
#define QZIPSOLVE_BUILTIN_H

#include "qzipsolve/host.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct QzBuiltinModule {
  const wchar_t* name;                          /* as loadExtension is given it */
  int32_t (*extent)(QzHostTable* handle);       /* stores the host's table; 0, or the module can't be used */
  QzModule* (*make)(void* any, QzPool* parent); /* the module object, null when memory is short */
} QzBuiltinModule;

#ifdef __cplusplus
}
#endif
#endif
