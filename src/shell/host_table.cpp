#include "shell/host_table.h"

extern "C" {
QzHostTable* Exported_QZHandle = nullptr;
}

namespace qz {

bool hostIntegerOption(const wchar_t* name, int64_t length, int64_t& value) {
  QzHostTable* host = Exported_QZHandle;
  if (host == nullptr || host->optionExists(host, name, length) == 0) return false;
  int64_t read = -1;
  int64_t size = sizeof read;
  if (host->getOption(host, name, length, QZ_OPTION_INTEGER, &read, &size) != 0) return false;
  value = read;
  return true;
}

QzThread* hostCurrentThread() {
  QzHostTable* host = Exported_QZHandle;
  return host == nullptr ? nullptr : host->currentThread(host);
}

bool threadCancelled(const QzThread* thread) {
  // Relaxed: the word carries no data, only the wish to stop, and it is polled again.
  return thread != nullptr && __atomic_load_n(&thread->cancelled, __ATOMIC_RELAXED) == 1;
}

double qzzdtgmt() {
  QzHostTable* host = Exported_QZHandle;
  if (host == nullptr) return 0.0;
  QzClockBuffer buffer{};
  host->clock(QZ_CLOCK_SELECTOR, &buffer, QZ_CLOCK_FLAGS);
  return buffer.seconds;
}

int64_t wvStrTLen(const wchar_t* text) {
  if (text == nullptr) return 0;
  int64_t length = 0;
  while (text[length] != L'\0') ++length;
  return length;
}

}  // namespace qz
