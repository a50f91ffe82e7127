// Cuts arrays from one stretch of memory.
#pragma once

#include <cstdint>

namespace qz {

struct MemoryCutter {
  char* next;  // aligned to 8 bytes
  char* end;

  // Room for `count` elements, aligned to 8 bytes; null when the stretch is too short, which then stays as it is.
  template <class T>
  [[nodiscard]] T* cut(int64_t count) {
    const int64_t bytes = (count * static_cast<int64_t>(sizeof(T)) + 7) / 8 * 8;
    if (bytes > end - next) return nullptr;
    T* array = reinterpret_cast<T*>(next);
    next += bytes;
    return array;
  }
};

}  // namespace qz
