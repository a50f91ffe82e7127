#include "ordering/graphs.h"

#include <algorithm>
#include <numeric>

namespace qztest {
namespace {

size_t at(int32_t i) {
  return static_cast<size_t>(i);
}

int32_t below(std::mt19937& random, int32_t n) {
  return static_cast<int32_t>(random() % static_cast<uint32_t>(n));
}

std::vector<std::set<int32_t>> neighbourSets(const Graph& graph) {
  std::vector<std::set<int32_t>> sets(at(graph.n));
  for (int32_t v = 0; v < graph.n; ++v) {
    sets[at(v)].insert(graph.list.begin() + graph.begin[at(v)], graph.list.begin() + graph.begin[at(v) + 1]);
  }
  return sets;
}

// Turns the neighbours of v into a clique and takes v out.
void eliminate(std::vector<std::set<int32_t>>& sets, int32_t v) {
  for (const int32_t a : sets[at(v)]) {
    sets[at(a)].insert(sets[at(v)].begin(), sets[at(v)].end());
    sets[at(a)].erase(a);
    sets[at(a)].erase(v);
  }
}

int64_t missingEdges(const std::vector<std::set<int32_t>>& sets, int32_t v) {
  int64_t missing = 0;
  for (const int32_t a : sets[at(v)]) {
    for (const int32_t b : sets[at(v)]) {
      if (a < b && sets[at(a)].count(b) == 0) ++missing;
    }
  }
  return missing;
}

template <class Measure>
std::vector<int32_t> greedyOrder(const Graph& graph, Measure measure) {
  auto sets = neighbourSets(graph);
  std::vector<int32_t> invPerm(at(graph.n), -1);
  std::vector<int64_t> key(at(graph.n));
  for (int32_t v = 0; v < graph.n; ++v) key[at(v)] = measure(sets, v);
  for (int32_t k = 0; k < graph.n; ++k) {
    int32_t best = -1;
    for (int32_t v = 0; v < graph.n; ++v) {
      if (invPerm[at(v)] < 0 && (best < 0 || key[at(v)] < key[at(best)])) best = v;
    }
    invPerm[at(best)] = k;
    const std::set<int32_t> element = sets[at(best)];
    eliminate(sets, best);
    // Fill may also change for those that see two vertices of the new clique.
    std::set<int32_t> touched(element);
    for (const int32_t v : element) touched.insert(sets[at(v)].begin(), sets[at(v)].end());
    for (const int32_t v : touched) key[at(v)] = measure(sets, v);
  }
  return invPerm;
}

}  // namespace

Graph makeGraph(int32_t n, const Edges& edges) {
  std::vector<std::set<int32_t>> sets(at(n));
  for (const auto& [a, b] : edges) {
    if (a == b) continue;
    sets[at(a)].insert(b);
    sets[at(b)].insert(a);
  }
  Graph graph;
  graph.n = n;
  graph.begin.push_back(0);
  for (const auto& set : sets) {
    graph.list.insert(graph.list.end(), set.begin(), set.end());
    graph.begin.push_back(static_cast<int32_t>(graph.list.size()));
  }
  return graph;
}

Graph path(int32_t n) {
  Edges edges;
  for (int32_t v = 1; v < n; ++v) edges.emplace_back(v - 1, v);
  return makeGraph(n, edges);
}

Graph cycle(int32_t n) {
  Edges edges;
  for (int32_t v = 0; v < n; ++v) edges.emplace_back(v, (v + 1) % n);
  return makeGraph(n, edges);
}

Graph star(int32_t n, int32_t centre) {
  Edges edges;
  for (int32_t v = 0; v < n; ++v) edges.emplace_back(centre, v);
  return makeGraph(n, edges);
}

Graph complete(int32_t n) {
  Edges edges;
  for (int32_t a = 0; a < n; ++a) {
    for (int32_t b = 0; b < a; ++b) edges.emplace_back(a, b);
  }
  return makeGraph(n, edges);
}

Graph grid(int32_t width, int32_t height, int32_t depth) {
  Edges edges;
  const auto number = [=](int32_t x, int32_t y, int32_t z) { return (z * height + y) * width + x; };
  for (int32_t z = 0; z < depth; ++z) {
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t x = 0; x < width; ++x) {
        if (x > 0) edges.emplace_back(number(x - 1, y, z), number(x, y, z));
        if (y > 0) edges.emplace_back(number(x, y - 1, z), number(x, y, z));
        if (z > 0) edges.emplace_back(number(x, y, z - 1), number(x, y, z));
      }
    }
  }
  return makeGraph(width * height * depth, edges);
}

Graph gridWithDiagonals(int32_t width, int32_t height) {
  Edges edges;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const int32_t v = y * width + x;
      if (x > 0) edges.emplace_back(v - 1, v);
      if (y > 0) edges.emplace_back(v - width, v);
      if (x > 0 && y > 0) edges.emplace_back(v - width - 1, v);
      if (x + 1 < width && y > 0) edges.emplace_back(v - width + 1, v);
    }
  }
  return makeGraph(width * height, edges);
}

Graph randomGraph(int32_t n, int32_t numEdges, uint32_t seed) {
  std::mt19937 random(seed);
  Edges edges;
  for (int32_t e = 0; e < numEdges; ++e) edges.emplace_back(below(random, n), below(random, n));
  return makeGraph(n, edges);
}

Graph randomTree(int32_t n, uint32_t seed) {
  std::mt19937 random(seed);
  Edges edges;
  for (int32_t v = 1; v < n; ++v) edges.emplace_back(below(random, v), v);
  return shuffled(makeGraph(n, edges), seed + 1);
}

Graph randomKTree(int32_t n, int32_t k, uint32_t seed) {
  std::mt19937 random(seed);
  Edges edges;
  std::vector<std::vector<int32_t>> cliques(1);
  for (int32_t a = 0; a < k; ++a) {
    cliques[0].push_back(a);
    for (int32_t b = 0; b < a; ++b) edges.emplace_back(a, b);
  }
  for (int32_t v = k; v < n; ++v) {
    const std::vector<int32_t> clique = cliques[at(below(random, static_cast<int32_t>(cliques.size())))];
    for (const int32_t a : clique) edges.emplace_back(a, v);
    std::vector<int32_t> next = clique;
    next[at(below(random, k))] = v;
    cliques.push_back(next);
  }
  return shuffled(makeGraph(n, edges), seed + 1);
}

Graph withDenseRows(int32_t n, int32_t numEdges, int32_t numDense, uint32_t seed) {
  std::mt19937 random(seed);
  Edges edges;
  for (int32_t e = 0; e < numEdges; ++e) edges.emplace_back(below(random, n), below(random, n));
  for (int32_t d = 0; d < numDense; ++d) {
    const int32_t row = below(random, n);
    for (int32_t v = 0; v < n; ++v) {
      if (random() % 10 != 0) edges.emplace_back(row, v);
    }
  }
  return makeGraph(n, edges);
}

Graph disjointUnion(const std::vector<Graph>& graphs) {
  Graph all;
  all.begin.push_back(0);
  for (const Graph& graph : graphs) {
    for (const int32_t v : graph.list) all.list.push_back(v + all.n);
    for (int32_t v = 0; v < graph.n; ++v) all.begin.push_back(all.begin.back() + graph.degree(v));
    all.n += graph.n;
  }
  return all;
}

Graph augmented(int32_t rows, int32_t columns, int32_t perColumn, uint32_t seed) {
  std::mt19937 random(seed);
  Edges edges;
  for (int32_t j = 0; j < columns; ++j) {
    for (int32_t k = 0; k < perColumn; ++k) edges.emplace_back(j, columns + below(random, rows));
  }
  return makeGraph(rows + columns, edges);
}

Graph shuffled(const Graph& graph, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<int32_t> name(at(graph.n));
  std::iota(name.begin(), name.end(), 0);
  for (int32_t v = graph.n; v > 1; --v) std::swap(name[at(v - 1)], name[at(below(random, v))]);
  Edges edges;
  for (int32_t v = 0; v < graph.n; ++v) {
    for (int32_t p = graph.begin[at(v)]; p < graph.begin[at(v) + 1]; ++p) {
      edges.emplace_back(name[at(v)], name[at(graph.list[at(p)])]);
    }
  }
  return makeGraph(graph.n, edges);
}

bool isOrder(int32_t n, const std::vector<int32_t>& perm, const std::vector<int32_t>& invPerm) {
  if (perm.size() != at(n) || invPerm.size() != at(n)) return false;
  std::vector<bool> seen(at(n), false);
  for (int32_t k = 0; k < n; ++k) {
    const int32_t v = perm[at(k)];
    if (v < 0 || v >= n || seen[at(v)] || invPerm[at(v)] != k) return false;
    seen[at(v)] = true;
  }
  return true;
}

Symbolic symbolic(const Graph& graph, const std::vector<int32_t>& invPerm) {
  const int32_t n = graph.n;
  std::vector<int32_t> perm(at(n));
  for (int32_t v = 0; v < n; ++v) perm[at(invPerm[at(v)])] = v;
  Symbolic result;
  result.count.assign(at(n), 1);
  result.parent.assign(at(n), -1);
  std::vector<int32_t> ancestor(at(n), -1);
  for (int32_t row = 0; row < n; ++row) {
    const int32_t v = perm[at(row)];
    for (int32_t p = graph.begin[at(v)]; p < graph.begin[at(v) + 1]; ++p) {
      for (int32_t k = invPerm[at(graph.list[at(p)])]; k < row && k >= 0;) {
        const int32_t next = ancestor[at(k)];
        if (next == row) break;
        ancestor[at(k)] = row;
        if (next < 0) result.parent[at(k)] = row;
        k = next;
      }
    }
  }
  std::vector<int32_t> mark(at(n), -1);
  for (int32_t row = 0; row < n; ++row) {
    mark[at(row)] = row;
    const int32_t v = perm[at(row)];
    for (int32_t p = graph.begin[at(v)]; p < graph.begin[at(v) + 1]; ++p) {
      for (int32_t k = invPerm[at(graph.list[at(p)])]; k < row && mark[at(k)] != row; k = result.parent[at(k)]) {
        mark[at(k)] = row;
        ++result.count[at(k)];
      }
    }
  }
  result.numEntries = std::accumulate(result.count.begin(), result.count.end(), int64_t{0});
  return result;
}

std::vector<int32_t> exactMinimumDegree(const Graph& graph) {
  return greedyOrder(graph, [](const auto& sets, int32_t v) { return static_cast<int64_t>(sets[at(v)].size()); });
}

std::vector<int32_t> exactMinimumFill(const Graph& graph) {
  return greedyOrder(graph, missingEdges);
}

}  // namespace qztest
