// The entries of qztimer.so: the common names of all modules, and its own.
#include "qzipsolve/instance.h"
#include "timer_core.h"

QzHostTable* Exported_QZHandle = nullptr;

int32_t qzextent(QzHostTable* handle) {
  Exported_QZHandle = handle;
  return qztimer_core_extent(handle);
}

int32_t qzextver(QzHostTable* handle, int32_t* major, int32_t* minor) {
  *major = 5;
  *minor = 1;
  return qzextent(handle);
}

void qzvercn1(void* buffer) {
  *static_cast<QzVersionRecord*>(buffer) = QzVersionRecord{sizeof(QzVersionRecord), 1, 0, 0};
}

extern "C" QZ_EXPORT QzModule* qztimer(void* any, QzPool* parent) {
  return qztimer_core_make(any, parent);
}
