// The entries of qzfile.so: the common names of all modules, and its own.
#include "file_core.h"
#include "qzipsolve/instance.h"

QzHostTable* Exported_QZHandle = nullptr;

int32_t qzextent(QzHostTable* handle) {
  Exported_QZHandle = handle;
  return qzfile_core_extent(handle);
}

int32_t qzextver(QzHostTable* handle, int32_t* major, int32_t* minor) {
  *major = 5;
  *minor = 1;
  return qzextent(handle);
}

void qzvercn1(void* buffer) {
  *static_cast<QzVersionRecord*>(buffer) = QzVersionRecord{sizeof(QzVersionRecord), 1, 0, 0};
}

extern "C" QZ_EXPORT QzModule* qzfile(void* any, QzPool* parent) {
  return qzfile_core_make(any, parent);
}
