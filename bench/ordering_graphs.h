// Graphs to order: meshes and the patterns of model files. And the fill of an order.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qzbench {

using Array = std::vector<int32_t>;

inline size_t at(int64_t i) {
  return static_cast<size_t>(i);
}

// Adjacency without loops or repeats, every edge in both directions. n 0: too large to build.
struct Graph {
  std::string name;
  int32_t n = 0;
  Array begin;  // n + 1
  Array list;

  [[nodiscard]] double averageDegree() const { return n == 0 ? 0.0 : static_cast<double>(list.size()) / n; }
};

// A grid of "WxH" or "WxHxD" points, each joined to its neighbours along the axes, with `diagonals` also to those
// across the corners of its layer.
Graph mesh(const std::string& size, bool diagonals);

// (D A'; A 0) of a model file as it stands, without presolve, with a slack for every row that is not an equation.
Graph augmentedSystem(const std::string& path);

// A A' of the same file.
Graph normalEquations(const std::string& path);

struct Fill {
  double entries = 0.0;  // of the factor, with its diagonal
  double flops = 0.0;    // sum of squared column counts
};
Fill fillOf(const Graph& graph, const Array& invPerm);

}  // namespace qzbench
