// An array of plain data in a pool that grows at its end, by doubling, so that appending costs O(1) amortised.
#pragma once

#include <algorithm>
#include <cstdint>

#include "shell/pool.h"

namespace qzpresol {

template <class T>
class GrowingArray {
 public:
  explicit GrowingArray(QzPool* pool) : pool_(pool) {}

  // Makes room for `more` elements behind the last. Pointers into the array are void afterwards. 0 or -1086.
  [[nodiscard]] int32_t makeRoom(int64_t more) {
    if (size_ + more <= data_.size()) return QZ_STATUS_OK;
    qz::PoolArray<T> larger;
    const int32_t status = larger.allocate(pool_, std::max(size_ + more, 2 * data_.size()));
    if (status != QZ_STATUS_OK) return status;
    std::copy_n(data_.get(), size_, larger.get());
    data_ = std::move(larger);
    return QZ_STATUS_OK;
  }
  // Appends within the room that makeRoom gave.
  void push(const T& element) { data_[size_++] = element; }
  // Appends `count` elements of unknown value within the room, and gives the position of the first.
  int64_t extend(int64_t count) {
    const int64_t first = size_;
    size_ += count;
    return first;
  }
  void shrink(int64_t size) { size_ = size; }

  [[nodiscard]] int64_t size() const { return size_; }
  [[nodiscard]] T* get() const { return data_.get(); }
  T& operator[](int64_t i) const { return data_[i]; }

 private:
  QzPool* pool_;
  qz::PoolArray<T> data_;
  int64_t size_ = 0;
};

}  // namespace qzpresol
