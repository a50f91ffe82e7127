// Sparse matrices for the matching tests, and assignments found by other means.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace qztest {

struct ColumnMatrix {
  int32_t numRow = 0;
  int32_t numCol = 0;
  std::vector<int32_t> start;  // numCol + 1
  std::vector<int32_t> row;
  std::vector<double> value;
};

constexpr double kNoEntry = std::numeric_limits<double>::infinity();
using Dense = std::vector<std::vector<double>>;  // by row; kNoEntry where nothing is stored

inline ColumnMatrix fromDense(const Dense& dense) {
  ColumnMatrix m;
  m.numRow = static_cast<int32_t>(dense.size());
  m.numCol = dense.empty() ? 0 : static_cast<int32_t>(dense[0].size());
  m.start.push_back(0);
  for (size_t j = 0; j < static_cast<size_t>(m.numCol); ++j) {
    for (size_t i = 0; i < dense.size(); ++i) {
      if (dense[i][j] == kNoEntry) continue;
      m.row.push_back(static_cast<int32_t>(i));
      m.value.push_back(dense[i][j]);
    }
    m.start.push_back(static_cast<int32_t>(m.row.size()));
  }
  return m;
}

inline Dense toDense(const ColumnMatrix& m) {
  Dense dense(static_cast<size_t>(m.numRow), std::vector<double>(static_cast<size_t>(m.numCol), kNoEntry));
  for (size_t j = 0; j < static_cast<size_t>(m.numCol); ++j) {
    for (auto k = static_cast<size_t>(m.start[j]); k < static_cast<size_t>(m.start[j + 1]); ++k) {
      dense[static_cast<size_t>(m.row[k])][j] = m.value[k];
    }
  }
  return dense;
}

// Random entries from `value`, `perColumn` in each column at most.
template <class Value>
ColumnMatrix randomColumns(int32_t numRow, int32_t numCol, int32_t perColumn, std::mt19937& random, Value value) {
  Dense dense(static_cast<size_t>(numRow), std::vector<double>(static_cast<size_t>(numCol), kNoEntry));
  std::uniform_int_distribution<size_t> row(0, static_cast<size_t>(numRow) - 1);
  for (size_t j = 0; j < static_cast<size_t>(numCol); ++j) {
    for (int32_t k = 0; k < perColumn; ++k) dense[row(random)][j] = value();
  }
  return fromDense(dense);
}

// Least cost of an assignment of every column to a row of its own, by trying all; kNoEntry when there is none.
inline double leastCostByTrying(const Dense& cost, size_t column, std::vector<bool>& taken) {
  if (cost.empty() || column == cost[0].size()) return 0.0;
  double least = kNoEntry;
  for (size_t i = 0; i < cost.size(); ++i) {
    if (taken[i] || cost[i][column] == kNoEntry) continue;
    taken[i] = true;
    least = std::min(least, cost[i][column] + leastCostByTrying(cost, column + 1, taken));
    taken[i] = false;
  }
  return least;
}

// The same by the Hungarian method on the dense matrix, O(columns^2 rows) (Munkres 1957, in the form with potentials).
inline double leastCostByHungarian(const Dense& dense) {
  if (dense.empty() || dense[0].empty()) return 0.0;
  constexpr double forbidden = 1e12;
  const size_t n = dense[0].size();
  const size_t m = dense.size();
  if (n > m) return kNoEntry;
  std::vector<double> u(n + 1, 0.0), v(m + 1, 0.0);
  std::vector<size_t> columnOf(m + 1, 0), way(m + 1, 0);
  for (size_t j = 1; j <= n; ++j) {
    columnOf[0] = j;
    size_t at = 0;
    std::vector<double> least(m + 1, kNoEntry);
    std::vector<bool> used(m + 1, false);
    do {
      used[at] = true;
      const size_t column = columnOf[at];
      double delta = kNoEntry;
      size_t next = 0;
      for (size_t i = 1; i <= m; ++i) {
        if (used[i]) continue;
        const double entry = dense[i - 1][column - 1];
        const double reduced = (entry == kNoEntry ? forbidden : entry) - u[column] - v[i];
        if (reduced < least[i]) {
          least[i] = reduced;
          way[i] = at;
        }
        if (least[i] < delta) {
          delta = least[i];
          next = i;
        }
      }
      for (size_t i = 0; i <= m; ++i) {
        if (used[i]) {
          u[columnOf[i]] += delta;
          v[i] -= delta;
        } else {
          least[i] -= delta;
        }
      }
      at = next;
    } while (columnOf[at] != 0);
    for (; at != 0; at = way[at]) columnOf[at] = columnOf[way[at]];
  }
  double cost = 0.0;
  for (size_t i = 1; i <= m; ++i) {
    if (columnOf[i] == 0) continue;
    const double entry = dense[i - 1][columnOf[i] - 1];
    if (entry == kNoEntry) return kNoEntry;
    cost += entry;
  }
  return cost;
}

// Largest number of columns that can be matched, by augmenting along any path (Kuhn 1955).
inline bool augmentColumn(const Dense& dense, size_t column, std::vector<bool>& seen, std::vector<int32_t>& columnOf) {
  for (size_t i = 0; i < dense.size(); ++i) {
    if (seen[i] || dense[i][column] == kNoEntry) continue;
    seen[i] = true;
    if (columnOf[i] >= 0 && !augmentColumn(dense, static_cast<size_t>(columnOf[i]), seen, columnOf)) continue;
    columnOf[i] = static_cast<int32_t>(column);
    return true;
  }
  return false;
}

inline int32_t largestMatching(const Dense& dense) {
  if (dense.empty()) return 0;
  std::vector<int32_t> columnOf(dense.size(), -1);
  int32_t count = 0;
  for (size_t j = 0; j < dense[0].size(); ++j) {
    std::vector<bool> seen(dense.size(), false);
    count += augmentColumn(dense, j, seen, columnOf) ? 1 : 0;
  }
  return count;
}

}  // namespace qztest
