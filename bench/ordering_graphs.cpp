#include "ordering_graphs.h"

#include <cstdio>
#include <stdexcept>

#include "model_files/model_file.h"

namespace qzbench {
namespace {

constexpr size_t largestGraph = 40000000;  // adjacency entries

Graph makeGraph(std::string name, int32_t n, const std::vector<std::pair<int32_t, int32_t>>& edges) {
  Graph graph{std::move(name), n, Array(at(n) + 1, 0), Array(2 * edges.size())};
  for (const auto& [u, v] : edges) {
    ++graph.begin[at(u) + 1];
    ++graph.begin[at(v) + 1];
  }
  for (int32_t v = 0; v < n; ++v) graph.begin[at(v) + 1] += graph.begin[at(v)];
  Array next(graph.begin.begin(), graph.begin.end() - 1);
  for (const auto& [u, v] : edges) {
    graph.list[at(next[at(u)]++)] = v;
    graph.list[at(next[at(v)]++)] = u;
  }
  return graph;
}

std::string fileName(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

Graph mesh(const std::string& size, bool diagonals) {
  int w = 1;
  int h = 1;
  int d = 1;
  if (std::sscanf(size.c_str(), "%dx%dx%d", &w, &h, &d) < 1) throw std::runtime_error("no mesh: " + size);
  std::vector<std::pair<int32_t, int32_t>> edges;
  const auto number = [&](int x, int y, int z) { return (z * h + y) * w + x; };
  for (int z = 0; z < d; ++z) {
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        if (x + 1 < w) edges.emplace_back(number(x, y, z), number(x + 1, y, z));
        if (y + 1 < h) edges.emplace_back(number(x, y, z), number(x, y + 1, z));
        if (z + 1 < d) edges.emplace_back(number(x, y, z), number(x, y, z + 1));
        if (!diagonals || y + 1 == h) continue;
        if (x + 1 < w) edges.emplace_back(number(x, y, z), number(x + 1, y + 1, z));
        if (x > 0) edges.emplace_back(number(x, y, z), number(x - 1, y + 1, z));
      }
    }
  }
  return makeGraph((diagonals ? "grid9 " : "mesh ") + size, w * h * d, edges);
}

Graph augmentedSystem(const std::string& path) {
  const qzfiles::ModelFile model = qzfiles::readModelFile(path);
  int32_t columns = model.numCol();
  for (const char sense : model.rowSense) columns += sense != 'E' ? 1 : 0;
  std::vector<std::pair<int32_t, int32_t>> edges;
  for (int32_t j = 0; j < model.numCol(); ++j) {
    for (int32_t k = model.colBegin[at(j)]; k < model.colBegin[at(j) + 1]; ++k) {
      edges.emplace_back(j, columns + model.rowIndex[at(k)]);
    }
  }
  int32_t slack = model.numCol();
  for (int32_t i = 0; i < model.numRow(); ++i) {
    if (model.rowSense[at(i)] != 'E') edges.emplace_back(slack++, columns + i);
  }
  return makeGraph(fileName(path), columns + model.numRow(), edges);
}

Graph normalEquations(const std::string& path) {
  const qzfiles::ModelFile model = qzfiles::readModelFile(path);
  const int32_t rows = model.numRow();
  std::vector<Array> columnsOf(at(rows));
  for (int32_t j = 0; j < model.numCol(); ++j) {
    for (int32_t k = model.colBegin[at(j)]; k < model.colBegin[at(j) + 1]; ++k) {
      columnsOf[at(model.rowIndex[at(k)])].push_back(j);
    }
  }
  Graph graph{fileName(path), rows, {0}, {}};
  Array stamp(at(rows), -1);
  for (int32_t i = 0; i < rows; ++i) {
    stamp[at(i)] = i;
    for (const int32_t j : columnsOf[at(i)]) {
      for (int32_t k = model.colBegin[at(j)]; k < model.colBegin[at(j) + 1]; ++k) {
        const int32_t row = model.rowIndex[at(k)];
        if (stamp[at(row)] == i) continue;
        stamp[at(row)] = i;
        graph.list.push_back(row);
      }
    }
    if (graph.list.size() > largestGraph) return {};
    graph.begin.push_back(static_cast<int32_t>(graph.list.size()));
  }
  return graph;
}

// Column counts by walking the rows' subtrees of the elimination tree (Liu 1990).
Fill fillOf(const Graph& graph, const Array& invPerm) {
  const int32_t n = graph.n;
  Array perm(at(n)), parent(at(n), -1), mark(at(n), -1);
  std::vector<int64_t> count(at(n), 1);
  for (int32_t v = 0; v < n; ++v) perm[at(invPerm[at(v)])] = v;
  Array ancestor(at(n), -1);
  for (int32_t row = 0; row < n; ++row) {
    const int32_t v = perm[at(row)];
    for (int32_t p = graph.begin[at(v)]; p < graph.begin[at(v) + 1]; ++p) {
      for (int32_t k = invPerm[at(graph.list[at(p)])]; k >= 0 && k < row;) {
        const int32_t next = ancestor[at(k)];
        ancestor[at(k)] = row;
        if (next < 0) parent[at(k)] = row;
        k = next == row ? -1 : next;
      }
    }
  }
  for (int32_t row = 0; row < n; ++row) {
    const int32_t v = perm[at(row)];
    mark[at(row)] = row;
    for (int32_t p = graph.begin[at(v)]; p < graph.begin[at(v) + 1]; ++p) {
      for (int32_t k = invPerm[at(graph.list[at(p)])]; k < row && mark[at(k)] != row; k = parent[at(k)]) {
        mark[at(k)] = row;
        ++count[at(k)];
      }
    }
  }
  Fill fill;
  for (const int64_t c : count) {
    fill.entries += static_cast<double>(c);
    fill.flops += static_cast<double>(c) * static_cast<double>(c);
  }
  return fill;
}

}  // namespace qzbench
