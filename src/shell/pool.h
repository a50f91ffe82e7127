// Memory: everything comes from the instance's pool.
//
// Short-lived arrays live in a PoolArray, which gives its memory back when it leaves its scope, so that every error
// path frees. An array that outlives the function is released into the record that owns it.
#pragma once

#include <cstdint>
#include <type_traits>

#include "qzipsolve/host.h"
#include "qzipsolve/status.h"

namespace qz {

// Bytes of `count` elements of `size` bytes; UINT64_MAX when that overflows, which no pool can give.
[[nodiscard]] constexpr uint64_t arrayBytes(uint64_t count, uint64_t size) {
  return size != 0 && count > UINT64_MAX / size ? UINT64_MAX : count * size;
}

// `count` elements, or null when memory is short; at least one byte is asked for, so null always means failure. A
// negative count is a broken invariant of the caller and gives null too.
template <class T>
[[nodiscard]] T* poolAllocate(QzPool* pool, int64_t count, uint32_t flags = 0) {
  static_assert(std::is_trivially_copyable_v<T>, "pools hold plain data");
  if (count < 0) return nullptr;
  const uint64_t bytes = arrayBytes(static_cast<uint64_t>(count), sizeof(T));  // NOLINT(bugprone-sizeof-expression)
  if (bytes == UINT64_MAX) return nullptr;
  return static_cast<T*>(pool->allocate(pool, bytes == 0 ? 1 : bytes, flags));
}

// The same, filled with zeros.
template <class T>
[[nodiscard]] T* poolAllocateZero(QzPool* pool, int64_t count) {
  return poolAllocate<T>(pool, count, QZ_POOL_ZERO);
}

// Gives memory back and clears the pointer; null is no fault.
template <class T>
void poolFree(QzPool* pool, T*& memory) {
  if (memory != nullptr) pool->free(pool, const_cast<std::remove_cv_t<T>*>(memory));
  memory = nullptr;
}

// A temporary array of plain data. Move-only; frees to the pool in its destructor.
template <class T>
class PoolArray {
 public:
  PoolArray() = default;
  explicit PoolArray(QzPool* pool) : pool_(pool) {}
  PoolArray(const PoolArray&) = delete;
  PoolArray& operator=(const PoolArray&) = delete;
  PoolArray(PoolArray&& other) noexcept : pool_(other.pool_), data_(other.data_), size_(other.size_) {
    other.data_ = nullptr;
    other.size_ = 0;
  }
  PoolArray& operator=(PoolArray&& other) noexcept {
    if (this != &other) {
      reset();
      pool_ = other.pool_;
      data_ = other.data_;
      size_ = other.size_;
      other.data_ = nullptr;
      other.size_ = 0;
    }
    return *this;
  }
  ~PoolArray() { reset(); }

  // Replaces what it holds by `count` elements. 0, or QZ_STATUS_OUT_OF_MEMORY.
  [[nodiscard]] int32_t allocate(QzPool* pool, int64_t count, uint32_t flags = 0) {
    reset();
    pool_ = pool;
    data_ = poolAllocate<T>(pool, count, flags);
    if (data_ == nullptr) return QZ_STATUS_OUT_OF_MEMORY;
    size_ = count;
    return QZ_STATUS_OK;
  }
  [[nodiscard]] int32_t allocateZero(QzPool* pool, int64_t count) { return allocate(pool, count, QZ_POOL_ZERO); }

  void reset() {
    if (data_ != nullptr) poolFree(pool_, data_);
    size_ = 0;
  }
  // Hands the memory to a record that owns it from now on.
  [[nodiscard]] T* release() {
    T* data = data_;
    data_ = nullptr;
    size_ = 0;
    return data;
  }

  [[nodiscard]] T* get() const { return data_; }
  [[nodiscard]] int64_t size() const { return size_; }
  T& operator[](int64_t i) const { return data_[i]; }
  explicit operator bool() const { return data_ != nullptr; }

 private:
  QzPool* pool_ = nullptr;
  T* data_ = nullptr;
  int64_t size_ = 0;
};

}  // namespace qz
