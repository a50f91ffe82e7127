// Small helpers on arrays of integers.
#pragma once

#include <cstdint>

namespace qz {

// Fills the n entries with the value; returns the array.
inline int32_t* intSet(int32_t n, int32_t value, int32_t* array) {
  for (int32_t i = 0; i < n; ++i) array[i] = value;
  return array;
}

// Index of the first largest of n values; 0 for n below 2.
[[nodiscard]] inline int32_t maxIndex(int32_t n, const int32_t* array) {
  int32_t largest = 0;
  for (int32_t i = 1; i < n; ++i) {
    if (array[i] > array[largest]) largest = i;
  }
  return largest;
}

[[nodiscard]] inline int32_t sumInt(int32_t n, const int32_t* array) {
  int32_t sum = 0;
  for (int32_t i = 0; i < n; ++i) sum += array[i];
  return sum;
}

}  // namespace qz
