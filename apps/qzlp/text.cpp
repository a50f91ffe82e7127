#include "text.h"

#include <cstdarg>
#include <cstdio>

namespace qzlpApp {

std::string formatted(const char* format, ...) {
  va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): a false alarm, and only where other files were read before
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  va_end(arguments);
  return text;
}

}  // namespace qzlpApp
