// Matrices with room around them for the dense kernel tests: whatever a kernel must not touch holds a mark that the
// tests look for afterwards, and whatever it must not read can be set to NaN.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace qztest {

inline constexpr double MARK = -7.25e33;

// A column-major matrix with leading dimension rows + pad, the pad holding the mark, and a mark before and behind.
struct Matrix {
  int32_t rows;
  int32_t columns;
  int32_t ld;
  std::vector<double> store;

  Matrix(int32_t m, int32_t n, int32_t pad)
      : rows(m),
        columns(n),
        ld(m + pad > 0 ? m + pad : 1),
        store(static_cast<size_t>(ld) * static_cast<size_t>(n) + 2, MARK) {}

  double* data() { return store.data() + 1; }
  const double* data() const { return store.data() + 1; }
  double& at(int32_t i, int32_t j) {
    return store[1 + static_cast<size_t>(j) * static_cast<size_t>(ld) + static_cast<size_t>(i)];
  }
  double at(int32_t i, int32_t j) const {
    return store[1 + static_cast<size_t>(j) * static_cast<size_t>(ld) + static_cast<size_t>(i)];
  }

  template <typename Generator>
  void fill(Generator& generator) {
    std::uniform_real_distribution<double> entry(-1.0, 1.0);
    for (int32_t j = 0; j < columns; ++j) {
      for (int32_t i = 0; i < rows; ++i) at(i, j) = entry(generator);
    }
  }

  // Everything outside the rows and columns still holds the mark.
  bool marginsIntact() const {
    if (store.front() != MARK || store.back() != MARK) return false;
    for (int32_t j = 0; j < columns; ++j) {
      for (int32_t i = rows; i < ld; ++i) {
        if (at(i, j) != MARK) return false;
      }
    }
    return true;
  }
};

template <typename Generator>
Matrix randomMatrix(int32_t rows, int32_t columns, int32_t pad, Generator& generator) {
  Matrix a(rows, columns, pad);
  a.fill(generator);
  return a;
}

// A buffer of exactly `entries` doubles with canaries around it.
struct Guarded {
  static constexpr size_t GUARD = 16;
  std::vector<double> store;
  explicit Guarded(int64_t entries) : store(static_cast<size_t>(entries) + 2 * GUARD, MARK) {}
  double* data() { return store.data() + GUARD; }
  bool intact() const {
    for (size_t g = 0; g < GUARD; ++g) {
      if (store[g] != MARK || store[store.size() - 1 - g] != MARK) return false;
    }
    return true;
  }
};

}  // namespace qztest
