// Graphs of many shapes for the ordering tests, and slow oracles that share nothing with the engines.
#pragma once

#include <cstdint>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace qztest {

struct Graph {
  int32_t n = 0;
  std::vector<int32_t> begin;  // n + 1
  std::vector<int32_t> list;
  [[nodiscard]] int32_t numEntries() const { return begin[static_cast<size_t>(n)]; }
  [[nodiscard]] int32_t degree(int32_t v) const {
    return begin[static_cast<size_t>(v) + 1] - begin[static_cast<size_t>(v)];
  }
};

using Edges = std::vector<std::pair<int32_t, int32_t>>;

// Simple graph of the given edges; loops and repeats are dropped.
Graph makeGraph(int32_t n, const Edges& edges);
Graph path(int32_t n);
Graph cycle(int32_t n);
Graph star(int32_t n, int32_t centre);
Graph complete(int32_t n);
Graph grid(int32_t width, int32_t height, int32_t depth = 1);
// Nine-point grid: neighbours along the diagonals too.
Graph gridWithDiagonals(int32_t width, int32_t height);
Graph randomGraph(int32_t n, int32_t numEdges, uint32_t seed);
Graph randomTree(int32_t n, uint32_t seed);
// Each new vertex is joined to a clique of k older ones: chordal, so that an order without fill exists.
Graph randomKTree(int32_t n, int32_t k, uint32_t seed);
// A random graph to which vertices joined to almost all others are added.
Graph withDenseRows(int32_t n, int32_t numEdges, int32_t numDense, uint32_t seed);
// The graphs side by side, renumbered in order.
Graph disjointUnion(const std::vector<Graph>& graphs);
// The pattern of an augmented system [D A'; A 0] for a random A of `rows` rows.
Graph augmented(int32_t rows, int32_t columns, int32_t perColumn, uint32_t seed);
// The same graph with vertices renumbered at random.
Graph shuffled(const Graph& graph, uint32_t seed);

// Both arrays list each vertex once and are inverse to each other.
bool isOrder(int32_t n, const std::vector<int32_t>& perm, const std::vector<int32_t>& invPerm);

// Column counts of the factor, diagonal included, by column of the permuted matrix, and the elimination tree: each
// row's entries are the tree paths from its neighbours (Liu, 1990).
struct Symbolic {
  std::vector<int64_t> count;
  std::vector<int32_t> parent;
  int64_t numEntries = 0;  // with the diagonal
};
Symbolic symbolic(const Graph& graph, const std::vector<int32_t>& invPerm);

// Orders found on the explicit elimination graph, vertex by vertex: exact degree or exact fill, of equals the vertex of
// the lowest number.
std::vector<int32_t> exactMinimumDegree(const Graph& graph);
std::vector<int32_t> exactMinimumFill(const Graph& graph);

}  // namespace qztest
