// The entries that every module of the family exports under the same names. They belong to the shared object alone.
#include <cstring>

#include "qzipsolve/instance.h"

extern "C" {

int32_t qzextent(QzHostTable* handle) {
  Exported_QZHandle = handle;
  return 0;
}

int32_t qzextver(QzHostTable* handle, int32_t* major, int32_t* minor) {
  *major = 5;
  *minor = 1;
  return qzextent(handle);
}

void qzvercn1(void* buffer) {
  const QzVersionRecord record = {sizeof(QzVersionRecord), 1, 0, 0};
  std::memcpy(buffer, &record, sizeof record);
}

}  // extern "C"
