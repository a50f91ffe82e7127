#include "host/builtin_modules.h"

#include "host/loader.h"
#include "qzipsolve/builtin.h"

extern "C" {
#if defined(QZ_BUILTIN_QZIPSOLVE)
extern const QzBuiltinModule qzipsolve_builtin;
#endif
#if defined(QZ_BUILTIN_QZTIMER)
extern const QzBuiltinModule qztimer_builtin;
#endif
#if defined(QZ_BUILTIN_QZPRESOL)
extern const QzBuiltinModule qzpresol_builtin;
#endif
#if defined(QZ_BUILTIN_QZSIMPX)
extern const QzBuiltinModule qzsimpx_builtin;
#endif
#if defined(QZ_BUILTIN_QZFILE)
extern const QzBuiltinModule qzfile_builtin;
#endif
}

namespace qzhost {

void registerBuiltinModules() {
#if defined(QZ_BUILTIN_QZIPSOLVE)
  registerBuiltin(&qzipsolve_builtin);
#endif
#if defined(QZ_BUILTIN_QZTIMER)
  registerBuiltin(&qztimer_builtin);
#endif
#if defined(QZ_BUILTIN_QZPRESOL)
  registerBuiltin(&qzpresol_builtin);
#endif
#if defined(QZ_BUILTIN_QZSIMPX)
  registerBuiltin(&qzsimpx_builtin);
#endif
#if defined(QZ_BUILTIN_QZFILE)
  registerBuiltin(&qzfile_builtin);
#endif
}

}  // namespace qzhost
