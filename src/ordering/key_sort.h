// Sorting of (key, value) pairs without further memory.
#pragma once

#include <cstdint>

namespace qz {

struct KeyValue {
  int32_t key;
  int32_t value;
};

// Sorts n pairs by ascending key, in place; equal keys come in no defined order.
void ikeysort(int32_t n, KeyValue* pairs);

}  // namespace qz
