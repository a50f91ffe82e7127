// Exported entries of the shared object.

#include "qzipsolve/builtin.h"
#include "qzipsolve/instance.h"

extern "C" {

extern const QzBuiltinModule qzsimpx_builtin;

QzHostTable* Exported_QZHandle = nullptr;

int32_t qzextent(QzHostTable* handle) {
  Exported_QZHandle = handle;
  return qzsimpx_builtin.extent(handle);
}

int32_t qzextver(QzHostTable* handle, int32_t* major, int32_t* minor) {
  *major = 5;
  *minor = 1;
  return qzextent(handle);
}

void qzvercn1(void* buffer) {
  *static_cast<QzVersionRecord*>(buffer) = {sizeof(QzVersionRecord), 1, 0, 0};
}

QZ_EXPORT QzModule* qzsimpx(void* any, QzPool* parent);

QzModule* qzsimpx(void* any, QzPool* parent) {
  return qzsimpx_builtin.make(any, parent);
}

}  // extern "C"
