// Arrays of the module's own steps, in the object's pool.
#pragma once

#include <cstdint>
#include <new>
#include <vector>

#include "shell/pool.h"

namespace qzsimpx {

// Takes memory from a pool and throws std::bad_alloc when that has none.
template <class T>
class PoolAllocator {
 public:
  using value_type = T;

  PoolAllocator(QzPool* pool) : pool_(pool) {}  // NOLINT(google-explicit-constructor): a pool is all there is to it
  template <class U>
  PoolAllocator(const PoolAllocator<U>& other) : pool_(other.pool()) {}  // NOLINT(google-explicit-constructor)

  T* allocate(size_t count) {
    T* memory = qz::poolAllocate<T>(pool_, static_cast<int64_t>(count));
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
  }
  void deallocate(T* memory, size_t) { qz::poolFree(pool_, memory); }
  [[nodiscard]] QzPool* pool() const { return pool_; }

  friend bool operator==(const PoolAllocator& a, const PoolAllocator& b) { return a.pool_ == b.pool_; }

 private:
  QzPool* pool_;
};

template <class T>
using Vector = std::vector<T, PoolAllocator<T>>;

// A vector indexed by the solver's int32 numbers.
template <class T>
class Array {
 public:
  explicit Array(QzPool* pool, int64_t count = 0, T value = T{})
      : data_(static_cast<size_t>(count), value, PoolAllocator<T>(pool)) {}
  void assign(int64_t count, T value) { data_.assign(static_cast<size_t>(count), value); }
  void push_back(T value) { data_.push_back(value); }
  void clear() { data_.clear(); }
  void resize(int64_t count) { data_.resize(static_cast<size_t>(count)); }
  [[nodiscard]] int32_t size() const { return static_cast<int32_t>(data_.size()); }
  [[nodiscard]] bool empty() const { return data_.empty(); }
  T& operator[](int64_t i) { return data_[static_cast<size_t>(i)]; }
  const T& operator[](int64_t i) const { return data_[static_cast<size_t>(i)]; }
  T* data() { return data_.data(); }
  const T* data() const { return data_.data(); }
  auto begin() { return data_.begin(); }
  auto end() { return data_.end(); }
  [[nodiscard]] auto begin() const { return data_.begin(); }
  [[nodiscard]] auto end() const { return data_.end(); }

 private:
  Vector<T> data_;
};

}  // namespace qzsimpx
