// Patterns for the tests of the symbolic analyses, and symbolic elimination by brute force on a dense array.
#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

namespace qztest {

using Bits = std::vector<std::vector<char>>;

// A symmetric matrix in compressed columns, both triangles, rows of a column in any order.
struct SymmetricMatrix {
  int32_t n = 0;
  std::vector<int32_t> begin{0};
  std::vector<int32_t> index;
  std::vector<double> value;

  int32_t offDiagonals() const {
    int32_t count = 0;
    for (int32_t j = 0; j < n; ++j) {
      for (int32_t p = begin[static_cast<size_t>(j)]; p < begin[static_cast<size_t>(j) + 1]; ++p) {
        count += index[static_cast<size_t>(p)] != j;
      }
    }
    return count;
  }
};

inline Bits emptyBits(int32_t n) {
  return Bits(static_cast<size_t>(n), std::vector<char>(static_cast<size_t>(n), 0));
}

// The matrix of the places set in `bits` (mirrored), columns shuffled; values are symmetric.
inline SymmetricMatrix fromBits(const Bits& bits, std::mt19937& random) {
  SymmetricMatrix a;
  a.n = static_cast<int32_t>(bits.size());
  for (size_t j = 0; j < bits.size(); ++j) {
    std::vector<int32_t> rows;
    for (size_t i = 0; i < bits.size(); ++i) {
      if (bits[i][j] || bits[j][i]) rows.push_back(static_cast<int32_t>(i));
    }
    std::shuffle(rows.begin(), rows.end(), random);
    for (const int32_t i : rows) {
      a.index.push_back(i);
      const auto small = std::min<size_t>(static_cast<size_t>(i), j),
                 large = std::max<size_t>(static_cast<size_t>(i), j);
      a.value.push_back(1.0 + static_cast<double>(small * 1000 + large));
    }
    a.begin.push_back(static_cast<int32_t>(a.index.size()));
  }
  return a;
}

// Random pattern: `density` of the off-diagonal places, `diagonals` of the diagonal ones.
inline SymmetricMatrix randomSymmetric(int32_t n, double density, double diagonals, std::mt19937& random) {
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  Bits bits = emptyBits(n);
  for (size_t i = 0; i < bits.size(); ++i) {
    for (size_t j = 0; j < i; ++j) bits[i][j] = uniform(random) < density;
    bits[i][i] = uniform(random) < diagonals;
  }
  return fromBits(bits, random);
}

// Pattern of a cols-by-rows grid with its four neighbours, and links of `reach` columns.
inline SymmetricMatrix gridMatrix(int32_t cols, int32_t rows, std::mt19937& random) {
  Bits bits = emptyBits(cols * rows);
  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t c = 0; c < cols; ++c) {
      const auto v = static_cast<size_t>(r) * static_cast<size_t>(cols) + static_cast<size_t>(c);
      bits[v][v] = 1;
      if (c > 0) bits[v][v - 1] = 1;
      if (r > 0) bits[v][v - static_cast<size_t>(cols)] = 1;
    }
  }
  return fromBits(bits, random);
}

inline SymmetricMatrix denseMatrix(int32_t n, std::mt19937& random) {
  return randomSymmetric(n, 2.0, 2.0, random);
}

inline SymmetricMatrix diagonalMatrix(int32_t n, std::mt19937& random) {
  return randomSymmetric(n, -1.0, 2.0, random);
}

// All vertices linked to the last one only.
inline SymmetricMatrix arrowheadMatrix(int32_t n, std::mt19937& random) {
  Bits bits = emptyBits(n);
  for (size_t i = 0; i < bits.size(); ++i) {
    bits[i][i] = 1;
    bits[bits.size() - 1][i] = 1;
  }
  return fromBits(bits, random);
}

// Strictly lower pattern of the factor L of the matrix in the order perm (position to row), diagonal set: fill by
// elimination, one vertex after the other.
inline Bits eliminate(const SymmetricMatrix& a, const std::vector<int32_t>& perm) {
  const auto n = static_cast<size_t>(a.n);
  std::vector<size_t> inverse(n);
  for (size_t k = 0; k < n; ++k) inverse[static_cast<size_t>(perm[k])] = k;
  Bits l = emptyBits(a.n);
  for (size_t j = 0; j < n; ++j) {
    for (int32_t p = a.begin[j]; p < a.begin[j + 1]; ++p) {
      const size_t i = inverse[static_cast<size_t>(a.index[static_cast<size_t>(p)])];
      if (i > inverse[j]) l[i][inverse[j]] = 1;
    }
  }
  for (size_t k = 0; k < n; ++k) {
    l[k][k] = 1;
    for (size_t i = k + 1; i < n; ++i) {
      if (!l[i][k]) continue;
      for (size_t m = i + 1; m < n; ++m) l[m][i] = static_cast<char>(l[m][i] | l[m][k]);
    }
  }
  return l;
}

inline std::vector<int32_t> identityOrder(int32_t n) {
  std::vector<int32_t> order(static_cast<size_t>(n));
  std::iota(order.begin(), order.end(), 0);
  return order;
}

}  // namespace qztest
