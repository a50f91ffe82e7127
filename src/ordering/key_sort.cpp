#include "ordering/key_sort.h"

#include <algorithm>
#include <utility>

namespace qz {
namespace {

constexpr int32_t kInsertionSize = 16;

void insertionSort(int32_t n, KeyValue* pairs) {
  for (int32_t i = 1; i < n; ++i) {
    const KeyValue item = pairs[i];
    int32_t k = i;
    for (; k > 0 && pairs[k - 1].key > item.key; --k) pairs[k] = pairs[k - 1];
    pairs[k] = item;
  }
}

int32_t medianKey(int32_t a, int32_t b, int32_t c) {
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

}  // namespace

void ikeysort(int32_t n, KeyValue* pairs) {
  struct Range {
    int32_t first;
    int32_t last;
  };
  // The longer part waits, so that its depth stays below the bits of n.
  Range stack[32];
  int32_t depth = 0;
  int32_t first = 0;
  int32_t last = n - 1;
  for (;;) {
    if (last - first < kInsertionSize) {
      if (first < last) insertionSort(last - first + 1, pairs + first);
      if (depth == 0) return;
      --depth;
      first = stack[depth].first;
      last = stack[depth].last;
      continue;
    }
    const int32_t pivot = medianKey(pairs[first].key, pairs[first + (last - first) / 2].key, pairs[last].key);
    int32_t i = first;
    int32_t j = last;
    while (i <= j) {
      while (pairs[i].key < pivot) ++i;
      while (pairs[j].key > pivot) --j;
      if (i <= j) std::swap(pairs[i++], pairs[j--]);
    }
    if (j - first > last - i) {
      stack[depth++] = {first, j};
      first = i;
    } else {
      stack[depth++] = {i, last};
      last = j;
    }
  }
}

}  // namespace qz
