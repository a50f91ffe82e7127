// Fill and time of the ordering engines, on meshes and on the augmented systems of model files, beside METIS when it is
// installed.
//   bench_orderings [--kind K] [--seed S] [mesh WxHxD | grid9 WxH | file MODEL]...
// For each graph and engine: entries of the factor with its diagonal, flops (sum of squared column counts), seconds.
// "table" is the engine that the choice table names for problem kind K (1 without --kind).
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "host/service_table.h"
#include "ordering/order_graph.h"
#include "qzipsolve/instance.h"
#include "qzlp/model_file.h"
#include "sparse/la_env.h"

#ifdef QZ_BENCH_METIS
#include <metis.h>
#endif

namespace {

using Array = std::vector<int32_t>;

size_t at(int64_t i) {
  return static_cast<size_t>(i);
}

struct Graph {
  std::string name;
  int32_t n = 0;
  Array begin;
  Array list;
};

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

Graph mesh(const std::string& size, bool diagonals) {
  int w = 1;
  int h = 1;
  int d = 1;
  if (std::sscanf(size.c_str(), "%dx%dx%d", &w, &h, &d) < 1) std::exit(2);
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

// [D A'; A 0] with a slack for every row that is not an equation, as the file stands, without presolve.
Graph augmentedSystem(const std::string& path) {
  const qzlpApp::ModelFile model = qzlpApp::readModelFile(path);
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
  const size_t slash = path.rfind('/');
  return makeGraph(slash == std::string::npos ? path : path.substr(slash + 1), columns + model.numRow(), edges);
}

struct Fill {
  int64_t entries = 0;
  double flops = 0.0;
};

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
    fill.entries += c;
    fill.flops += static_cast<double>(c) * static_cast<double>(c);
  }
  return fill;
}

void printRow(const char* engine, const Fill& fill, double seconds, const char* note) {
  std::printf("  %-8s %14lld entries %12.4g flops %9.3f s  %s\n", engine, static_cast<long long>(fill.entries),
              fill.flops, seconds, note);
}

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void orderBy(QzPool* pool, const Graph& graph, const char* name, int32_t method, int32_t kind, int32_t seed) {
  Array begin = graph.begin;
  Array list = graph.list;
  list.resize(list.size() + at(graph.n));
  Array perm(at(graph.n)), invPerm(at(graph.n)), groupId(at(graph.n)), work(8 * at(graph.n) + 8);
  qz::LAEnv env{};
  env.memory = pool;
  int32_t numDense = 0;
  const double start = now();
  const int32_t status = qz::OrderGraph(&env, graph.n, begin.data(), list.data(), static_cast<int32_t>(list.size()),
                                        kind, nullptr, kind == 0 ? 0 : 1, perm.data(), invPerm.data(), &numDense,
                                        &method, 1, 0, groupId.data(), seed, work.data(), 0.0, -1.0);
  const double seconds = now() - start;
  if (status != 0) {
    std::printf("  %-8s status %d\n", name, status);
    return;
  }
  const char* const engines[] = {"(amd)", "(amf)", "(nd)", "(as it stands)"};
  printRow(name, fillOf(graph, invPerm), seconds, engines[method]);
}

void orderByMetis(const Graph& graph) {
#ifdef QZ_BENCH_METIS
  std::vector<idx_t> begin(graph.begin.begin(), graph.begin.end());
  std::vector<idx_t> list(graph.list.begin(), graph.list.end());
  std::vector<idx_t> perm(at(graph.n)), invPerm(at(graph.n));
  idx_t n = graph.n;
  const double start = now();
  const int status = METIS_NodeND(&n, begin.data(), list.data(), nullptr, nullptr, perm.data(), invPerm.data());
  const double seconds = now() - start;
  if (status != METIS_OK) {
    std::printf("  metis    status %d\n", status);
    return;
  }
  printRow("metis", fillOf(graph, Array(invPerm.begin(), invPerm.end())), seconds, "");
#else
  static_cast<void>(graph);
#endif
}

}  // namespace

int main(int count, char** arguments) {
  QzHostTable* table = qzhost::hostTable();
  Exported_QZHandle = table;
  QzPoolParameters parameters{};
  QzPool* pool = table->createPool(table, &parameters, nullptr, L"bench", 0, 0);
  int32_t kind = 1;
  int32_t seed = 0;
  for (int i = 1; i + 1 < count; i += 2) {
    const std::string what = arguments[i];
    const std::string value = arguments[i + 1];
    if (what == "--kind") {
      kind = std::atoi(value.c_str());
      continue;
    }
    if (what == "--seed") {
      seed = std::atoi(value.c_str());
      continue;
    }
    const Graph graph = what == "file" ? augmentedSystem(value) : mesh(value, what == "grid9");
    std::printf("%s: %d vertices, average degree %.2f\n", graph.name.c_str(), graph.n,
                static_cast<double>(graph.list.size()) / graph.n);
    orderBy(pool, graph, "table", qz::ORDER_AUTOMATIC, kind, seed);
    orderBy(pool, graph, "nd", qz::ORDER_NESTED_DISSECTION, kind, seed);
    orderBy(pool, graph, "amd", qz::ORDER_AMD, kind, seed);
    orderBy(pool, graph, "amf", qz::ORDER_AMF, kind, seed);
    orderByMetis(graph);
  }
  pool->destroy(pool);
  return 0;
}
