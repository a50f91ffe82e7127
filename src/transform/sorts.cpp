#include "transform/sorts.h"

#include <algorithm>
#include <utility>

namespace qz {

namespace {

constexpr int32_t kSmallRange = 8;      // below it insertion sort
constexpr int32_t kNinthersRange = 41;  // from it on the pivot is a pseudo-median of nine
constexpr int64_t kSmallBudget = 64;    // swaps of an insertion sort on a small range, which needs at most 28
constexpr int32_t kStackSize = 64;      // the smaller part goes on, so the depth is below log2 of the count

template <class T>
int32_t threeWay(T a, T b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

// What is sorted: `compare` orders two positions, `swap` exchanges them. Direction is 1 for ascending, -1 for
// descending.
template <class Key, int32_t direction, class... Payload>
class Records {
 public:
  explicit Records(Key* key, Payload*... payload) : key_(key), payload_(payload...) {}
  int32_t compare(int32_t i, int32_t j) const { return direction * threeWay(key_[i], key_[j]); }
  void swap(int32_t i, int32_t j) const {
    std::swap(key_[i], key_[j]);
    payload_.swap(i, j);
  }

 private:
  template <class... Arrays>
  struct Followers {
    void swap(int32_t, int32_t) const {}
  };
  template <class First, class... Rest>
  struct Followers<First, Rest...> {
    Followers(First* array, Rest*... arrays) : first(array), rest(arrays...) {}
    void swap(int32_t i, int32_t j) const {
      std::swap(first[i], first[j]);
      rest.swap(i, j);
    }
    First* first;
    Followers<Rest...> rest;
  };
  Key* key_;
  Followers<Payload...> payload_;
};

// Positions into a key array that stays in place.
template <int32_t direction>
class Positions {
 public:
  Positions(int32_t* moved, const int32_t* key) : moved_(moved), key_(key) {}
  int32_t compare(int32_t i, int32_t j) const { return direction * threeWay(key_[moved_[i]], key_[moved_[j]]); }
  void swap(int32_t i, int32_t j) const { std::swap(moved_[i], moved_[j]); }

 private:
  int32_t* moved_;
  const int32_t* key_;
};

struct Range {
  int32_t first;
  int32_t count;
  bool mayBeSorted;  // the partition that left it exchanged nothing across
};

// Sorts by swaps of neighbours. False when the budget of swaps ran out.
template <class Access>
bool insertionSort(const Access& access, int32_t first, int32_t count, int64_t budget) {
  for (int32_t i = first + 1; i < first + count; ++i) {
    for (int32_t j = i; j > first && access.compare(j - 1, j) > 0; --j) {
      access.swap(j - 1, j);
      if (--budget == 0) return false;
    }
  }
  return true;
}

template <class Access>
int32_t medianOfThree(const Access& access, int32_t a, int32_t b, int32_t c) {
  if (access.compare(a, b) < 0) return access.compare(b, c) < 0 ? b : (access.compare(a, c) < 0 ? c : a);
  return access.compare(b, c) > 0 ? b : (access.compare(a, c) > 0 ? c : a);
}

template <class Access>
int32_t choosePivot(const Access& access, int32_t first, int32_t count) {
  const int32_t middle = first + count / 2;
  const int32_t last = first + count - 1;
  if (count < kNinthersRange) return medianOfThree(access, first, middle, last);
  const int32_t eighth = count / 8;
  const int32_t low = medianOfThree(access, first, first + eighth, first + ((count / 4) & ~1));
  const int32_t centre = medianOfThree(access, middle - eighth, middle, middle + eighth);
  const int32_t high = medianOfThree(access, last - 2 * eighth, last - eighth, last);
  return medianOfThree(access, low, centre, high);
}

template <class Access>
void swapBlocks(const Access& access, int32_t a, int32_t b, int32_t count) {
  for (int32_t k = 0; k < count; ++k) access.swap(a + k, b + k);
}

// Three-way partition around the pivot: elements equal to it gather at both ends of the range and then move to the
// middle. Gives the two parts left to sort.
template <class Access>
std::pair<Range, Range> partition(const Access& access, const Range& range) {
  const int32_t first = range.first;
  const int32_t end = first + range.count;
  access.swap(first, choosePivot(access, first, range.count));
  int32_t equalLow = first + 1;  // [first, equalLow) and [equalHigh + 1, end) equal the pivot
  int32_t equalHigh = end - 1;
  int32_t low = equalLow;
  int32_t high = equalHigh;
  bool exchanged = false;
  for (;;) {
    for (; low <= high; ++low) {
      const int32_t order = access.compare(low, first);
      if (order > 0) break;
      if (order == 0) access.swap(equalLow++, low);
    }
    for (; low <= high; --high) {
      const int32_t order = access.compare(high, first);
      if (order < 0) break;
      if (order == 0) access.swap(high, equalHigh--);
    }
    if (low > high) break;
    access.swap(low++, high--);
    exchanged = true;
  }
  const int32_t numBelow = low - equalLow;
  const int32_t numAbove = equalHigh - high;
  const int32_t moveLow = std::min(equalLow - first, numBelow);
  swapBlocks(access, first, low - moveLow, moveLow);
  const int32_t moveHigh = std::min(numAbove, end - 1 - equalHigh);
  swapBlocks(access, low, end - moveHigh, moveHigh);
  return {Range{first, numBelow, !exchanged}, Range{end - numAbove, numAbove, !exchanged}};
}

template <class Access>
int32_t quickSort(const Access& access, int32_t count) {
  if (count < 2) return 0;
  if (count >= kSmallRange && insertionSort(access, 0, count, 1)) return 0;
  Range stack[kStackSize];
  int32_t depth = 0;
  Range range{0, count, false};
  for (;;) {
    if (range.count < kSmallRange) {
      insertionSort(access, range.first, range.count, kSmallBudget);
    } else if (!range.mayBeSorted || !insertionSort(access, range.first, range.count, range.count)) {
      auto [smaller, larger] = partition(access, range);
      if (smaller.count > larger.count) std::swap(smaller, larger);
      stack[depth++] = larger;
      range = smaller;
      continue;
    }
    if (depth == 0) return 0;
    range = stack[--depth];
  }
}

}  // namespace

int32_t QZS_quickSortIntInc(void*, int32_t* key, int32_t count) {
  return quickSort(Records<int32_t, 1>(key), count);
}

int32_t QZS_quickSortDblInc(void*, double* key, int32_t count) {
  return quickSort(Records<double, 1>(key), count);
}

int32_t QZS_quickSortDblDec(void*, double* key, int32_t count) {
  return quickSort(Records<double, -1>(key), count);
}

int32_t QZS_quickSortIntDblInc(void*, int32_t* key, double* payload, int32_t count) {
  return quickSort(Records<int32_t, 1, double>(key, payload), count);
}

int32_t QZS_quickSortDblIntInc(void*, double* key, int32_t* payload, int32_t count) {
  return quickSort(Records<double, 1, int32_t>(key, payload), count);
}

int32_t QZS_quickSortDblIntDec(void*, double* key, int32_t* payload, int32_t count) {
  return quickSort(Records<double, -1, int32_t>(key, payload), count);
}

int32_t QZS_quickSortIntIntInc(void*, int32_t* key, int32_t* payload, int32_t count) {
  return quickSort(Records<int32_t, 1, int32_t>(key, payload), count);
}

int32_t QZS_quickSortDblIntDblDec(void*, double* key, int32_t* payload, double* payload2, int32_t count) {
  return quickSort(Records<double, -1, int32_t, double>(key, payload, payload2), count);
}

int32_t QZS_quickSortIntIntInc2(void*, int32_t* moved, const int32_t* key, int32_t count) {
  return quickSort(Positions<1>(moved, key), count);
}

int32_t QZS_quickSortIntIntDec2(void*, int32_t* moved, const int32_t* key, int32_t count) {
  return quickSort(Positions<-1>(moved, key), count);
}

}  // namespace qz
