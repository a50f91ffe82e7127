// What changed: lines (rows, or columns) that a reduction may have something new to say about, each at most once, in
// the order in which they changed first. The store fills it; the reducer empties it.
#pragma once

#include <cstdint>

#include "shell/pool.h"

namespace qzpresol {

class ChangeQueue {
 public:
  // An empty queue for lines 0 to numLine - 1. 0 or -1086.
  [[nodiscard]] int32_t create(QzPool* pool, int32_t numLine) {
    const int32_t status = flag_.allocateZero(pool, numLine);
    return status == QZ_STATUS_OK ? line_.allocate(pool, numLine) : status;
  }
  // A line that waits already stays where it is.
  void push(int32_t line) {
    if (flag_[line] != 0) return;
    flag_[line] = 1;
    line_[(first_ + count_++) % line_.size()] = line;
  }
  // The line that has waited longest; it may be pushed again from now on. Only of a queue that is not empty.
  int32_t pop() {
    const int32_t line = line_[first_];
    first_ = (first_ + 1) % line_.size();
    --count_;
    flag_[line] = 0;
    return line;
  }
  [[nodiscard]] int64_t size() const { return count_; }
  [[nodiscard]] bool empty() const { return count_ == 0; }

 private:
  qz::PoolArray<uint8_t> flag_;
  qz::PoolArray<int32_t> line_;  // a ring
  int64_t first_ = 0;
  int64_t count_ = 0;
};

}  // namespace qzpresol
