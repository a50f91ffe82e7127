// Finds rows, or columns, that are multiples of each other.
//
// A line gets two keys that do not depend on the order of its entries: one of its pattern, the sum of a random word for
// each index, and one of its values, the sum of a random weight for each index times the entry's quotient by the entry
// of smallest index. Parallel lines have the same pattern key and nearly the same value key; neighbours in the order of
// the keys are compared entry by entry.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "shell/pool.h"

namespace qzpresol {

class ParallelLines {
 public:
  // Entries of parallel lines agree up to this relative error of the quotient and the product.
  static constexpr double kAgree = 1e-14;

  // Room for `numLine` lines whose indices lie below `numIndex`. 0 or -1086.
  [[nodiscard]] int32_t create(QzPool* pool, int32_t numLine, int32_t numIndex) {
    const int32_t status = key_.allocate(pool, numLine);
    return status == QZ_STATUS_OK ? value_.allocateZero(pool, numIndex) : status;
  }

  // Takes a line in. each(line, visit) calls visit(index, value) for its entries.
  template <class Each>
  void add(int32_t line, const Each& each) {
    Key key{0, 0.0, line};
    int32_t first = INT32_MAX;
    double pivot = 1.0;
    each(line, [&](int32_t index, double value) {
      key.pattern += mix(static_cast<uint64_t>(index));
      if (index >= first) return;
      first = index;
      pivot = value;
    });
    each(line, [&](int32_t index, double value) { key.values += weight(index) * (value / pivot); });
    key_[count_++] = key;
  }

  // Calls meet(head, line, factor) where `line` is `factor` times `head`. It gives the one of the two that the next
  // lines are compared with, or -1 to stop; it may change sides, bounds and costs and remove one of the two.
  template <class Each, class Meet>
  void compare(const Each& each, Meet meet) {
    std::sort(key_.get(), key_.get() + count_);
    int32_t head = 0;
    for (int32_t k = 1; k < count_; ++k) {
      double factor = 0.0;
      if (!near(key_[head], key_[k]) || !isParallel(key_[head].line, key_[k].line, each, factor)) {
        head = k;
        continue;
      }
      const int32_t next = meet(key_[head].line, key_[k].line, factor);
      if (next < 0) return;
      if (next == key_[k].line) head = k;
    }
  }

 private:
  struct Key {
    uint64_t pattern;
    double values;
    int32_t line;
    bool operator<(const Key& other) const {
      if (pattern != other.pattern) return pattern < other.pattern;
      return values != other.values ? values < other.values : line < other.line;
    }
  };

  // The finaliser of splitmix64 (Steele, Lea, Flood 2014).
  static uint64_t mix(uint64_t x) {
    x += 0x9e3779b97f4a7c15u;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9u;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebu;
    return x ^ (x >> 31);
  }
  static double weight(int32_t index) { return 1.0 + static_cast<double>(mix(~static_cast<uint64_t>(index)) >> 40); }

  // Lines of two different groups may have keys this near; the comparison of the entries tells them apart.
  static bool near(const Key& a, const Key& b) {
    return a.pattern == b.pattern && std::fabs(a.values - b.values) <= 1e-9 * (std::fabs(a.values) + 1e9);
  }

  template <class Each>
  bool isParallel(int32_t head, int32_t line, const Each& each, double& factor) {
    each(head, [&](int32_t index, double value) { value_[index] = value; });
    bool same = true;
    factor = 0.0;
    int32_t count = 0;
    each(line, [&](int32_t index, double value) {
      ++count;
      if (value_[index] == 0.0) {
        same = false;
        return;
      }
      if (factor == 0.0) factor = value / value_[index];
      same = same && std::fabs(value - factor * value_[index]) <= kAgree * std::fabs(value);
    });
    each(head, [&](int32_t index, double) {
      value_[index] = 0.0;
      --count;
    });
    return same && count == 0;
  }

  qz::PoolArray<Key> key_;
  qz::PoolArray<double> value_;  // by index, 0 between the calls
  int32_t count_ = 0;
};

}  // namespace qzpresol
