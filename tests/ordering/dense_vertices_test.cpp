#include "ordering/dense_vertices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "ordering/compress_graph.h"
#include "ordering/dissection_bench.h"
#include "ordering/graphs.h"
#include "ordering/key_sort.h"
#include "shell/pool.h"
#include "sparse/la_env.h"

namespace qztest {
namespace {

using Array = std::vector<int32_t>;

struct Removal {
  Removal(TestHost& host, const Graph& graph, double denseFactor, const int32_t* weights = nullptr)
      : pool(host.pool()), begin(graph.begin), list(graph.list), work(2 * static_cast<size_t>(graph.n), -5) {
    status =
        qz::RemoveDenseVertices(&kept, graph.n, begin.data(), list.data(), work.data(), weights, denseFactor, pool);
  }
  ~Removal() {
    qz::poolFree(pool, kept.graphStore);
    qz::poolFree(pool, kept.vertexLabel);
  }
  QzPool* pool;
  Array begin, list, work;
  qz::OrderingGraph kept;
  int32_t status;
};

TEST(DenseVertices, WithoutDenseVerticesTheGraphIsTheInput) {
  TestHost host;
  const Graph graph = grid(7, 9);
  const Removal r(host, graph, 50.0);
  ASSERT_EQ(r.status, qz::LA_OK);
  EXPECT_EQ(r.kept.adjBegin, r.begin.data());
  EXPECT_EQ(graphOf(r.kept).list, graph.list);
  for (int32_t v = 0; v < graph.n; ++v) {
    EXPECT_EQ(r.work[static_cast<size_t>(v)], v);
    EXPECT_EQ(r.kept.vertexLabel[v], v);
    EXPECT_EQ(r.kept.vertexWeight[v], 1);
    EXPECT_EQ(r.kept.adjWeightSum[v], graph.degree(v));
  }
  for (int32_t e = 0; e < r.kept.numEdges; ++e) EXPECT_EQ(r.kept.edgeWeight[e], 1);
}

TEST(DenseVertices, LimitItselfIsDense) {
  TestHost host;
  // Average degree 1 in integers: the centre of a star of 51 has degree 50.
  for (const int32_t n : {50, 51}) {
    const Removal r(host, star(n, 20), 50.0);
    ASSERT_EQ(r.status, qz::LA_OK);
    EXPECT_EQ(r.kept.numVertices, 50);
    if (n == 50) continue;
    EXPECT_EQ(r.kept.numEdges, 0);
    EXPECT_EQ(r.work[50], 20);
    EXPECT_EQ(r.work[51 + 20], 50);
    EXPECT_EQ(r.work[20], 21);
  }
}

TEST(DenseVertices, BelowAnAverageOfOneTheFactorIsTheLimit) {
  TestHost host;
  EXPECT_EQ(Removal(host, disjointUnion({star(51, 0), makeGraph(200, {})}), 50.0).kept.numVertices, 250);
  EXPECT_EQ(Removal(host, disjointUnion({star(50, 0), makeGraph(200, {})}), 50.0).kept.numVertices, 250);
  EXPECT_EQ(Removal(host, disjointUnion({star(50, 0), makeGraph(200, {})}), 49.0).kept.numVertices, 249);
}

TEST(DenseVertices, KeptEdgesAreThoseAmongKeptVertices) {
  TestHost host;
  for (uint32_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE(seed);
    const Graph graph = withDenseRows(60, 100, 1 + static_cast<int32_t>(seed % 4), seed);
    Array weights(static_cast<size_t>(graph.n));
    for (int32_t v = 0; v < graph.n; ++v) weights[static_cast<size_t>(v)] = v % 2 - 2;
    const Removal r(host, graph, 2.0, weights.data());
    ASSERT_EQ(r.status, qz::LA_OK);
    const int32_t limit = 2 * (graph.numEntries() / graph.n);
    Array kept, dense;
    for (int32_t v = 0; v < graph.n; ++v) (graph.degree(v) < limit ? kept : dense).push_back(v);
    ASSERT_EQ(r.kept.numVertices, static_cast<int32_t>(kept.size()));
    ASSERT_FALSE(dense.empty());
    Array order = kept;
    order.insert(order.end(), dense.rbegin(), dense.rend());
    EXPECT_EQ(Array(r.work.begin(), r.work.begin() + graph.n), order);
    Edges edges;
    for (size_t a = 0; a < kept.size(); ++a) {
      for (int32_t k = graph.begin[static_cast<size_t>(kept[a])]; k < graph.begin[static_cast<size_t>(kept[a]) + 1];
           ++k) {
        const auto b = std::find(kept.begin(), kept.end(), graph.list[static_cast<size_t>(k)]);
        if (b != kept.end()) edges.emplace_back(static_cast<int32_t>(a), static_cast<int32_t>(b - kept.begin()));
      }
    }
    const Graph expected = makeGraph(r.kept.numVertices, edges);
    EXPECT_EQ(graphOf(r.kept).begin, expected.begin);
    EXPECT_EQ(graphOf(r.kept).list, expected.list);
    // Weights are taken by place: kept vertex k has that of vertex k.
    for (int32_t v = 0; v < r.kept.numVertices; ++v) EXPECT_EQ(r.kept.vertexWeight[v], v % 2 + 1);
  }
}

TEST(DenseVertices, UnsymmetricPatternsAreFoundOut) {
  TestHost host;
  const int64_t before = host.outstanding();
  {
    // Vertex 0 names all others; they name each other and never vertex 0: more is left than the degrees account for.
    Graph graph = complete(12);
    Graph broken;
    broken.n = 40;
    broken.begin.push_back(0);
    for (int32_t v = 1; v < 40; ++v) broken.list.push_back(v);
    broken.begin.push_back(39);
    for (int32_t v = 1; v < 40; ++v) {
      broken.list.push_back(v == 39 ? 1 : v + 1);
      broken.begin.push_back(39 + v);
    }
    const Removal r(host, broken, 10.0);
    EXPECT_EQ(r.status, qz::LA_INCONSISTENT);
  }
  EXPECT_EQ(host.outstanding(), before);
}

TEST(DenseVertices, PairsOfTensOfThousandsAreCounted) {
  TestHost host;
  // A cycle of dense vertices, beside pairs: 46400 * 46399 passes 2^31.
  Edges edges;
  constexpr int32_t numDense = 46400;
  for (int32_t v = 0; v < numDense; ++v) edges.emplace_back(v, (v + 1) % numDense);
  for (int32_t v = numDense; v < numDense + 200; v += 2) edges.emplace_back(v, v + 1);
  const Graph graph = makeGraph(2 * numDense + 400, edges);
  const Removal r(host, graph, 2.0);
  ASSERT_EQ(r.status, qz::LA_OK);
  EXPECT_EQ(r.kept.numVertices, numDense + 400);
  EXPECT_EQ(r.kept.numEdges, 200);
}

TEST(DenseVertices, FailedAllocations) {
  TestHost host;
  const int64_t before = host.outstanding();
  for (int64_t k = 1; k <= 3; ++k) {
    host.failAllocation(k);
    EXPECT_EQ(Removal(host, star(60, 5), 50.0).status, k <= 2 ? qz::LA_NO_MEMORY : qz::LA_OK);
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), before);
  }
}

TEST(KeySort, SortsAnyPairs) {
  std::mt19937 random(5);
  for (const int32_t n : {0, 1, 2, 15, 16, 17, 18, 100, 1000, 20000}) {
    for (const uint32_t range : {1U, 3U, 1000U, 4000000000U}) {
      for (const int32_t shape : {0, 1, 2}) {
        std::vector<qz::KeyValue> pairs;
        pairs.reserve(static_cast<size_t>(n));
        for (int32_t i = 0; i < n; ++i) pairs.push_back({static_cast<int32_t>(random() % range), i});
        const auto byKey = [](const auto& a, const auto& b) { return a.key < b.key; };
        if (shape > 0) std::sort(pairs.begin(), pairs.end(), byKey);
        if (shape > 1) std::reverse(pairs.begin(), pairs.end());
        std::multiset<std::pair<int32_t, int32_t>> before, after;
        for (const auto& p : pairs) before.emplace(p.key, p.value);
        qz::ikeysort(n, pairs.data());
        EXPECT_TRUE(std::is_sorted(pairs.begin(), pairs.end(), byKey));
        for (const auto& p : pairs) after.emplace(p.key, p.value);
        EXPECT_EQ(before, after);
      }
    }
  }
}

// Every vertex of the graph thrice, copies joined; renumbered.
Graph tripled(const Graph& graph, uint32_t seed) {
  Edges edges;
  for (int32_t v = 0; v < graph.n; ++v) {
    for (int32_t a = 0; a < 3; ++a) {
      for (int32_t b = 0; b < a; ++b) edges.emplace_back(3 * v + a, 3 * v + b);
      for (int32_t k = graph.begin[static_cast<size_t>(v)]; k < graph.begin[static_cast<size_t>(v) + 1]; ++k) {
        for (int32_t b = 0; b < 3; ++b) edges.emplace_back(3 * v + a, 3 * graph.list[static_cast<size_t>(k)] + b);
      }
    }
  }
  return shuffled(makeGraph(3 * graph.n, edges), seed);
}

TEST(CompressGraph, FindsVerticesOfTheSameNeighbourhood) {
  TestHost host;
  const int64_t before = host.outstanding();
  for (uint32_t seed = 1; seed <= 5; ++seed) {
    const Graph original = disjointUnion({grid(5, 7), makeGraph(3, {}), randomTree(30, seed)});
    const Graph graph = tripled(original, seed);
    const auto n = static_cast<size_t>(graph.n);
    // An oracle by sets.
    std::map<std::set<int32_t>, Array> groups;
    for (int32_t v = 0; v < graph.n; ++v) {
      std::set<int32_t> closed(graph.list.begin() + graph.begin[static_cast<size_t>(v)],
                               graph.list.begin() + graph.begin[static_cast<size_t>(v) + 1]);
      closed.insert(v);
      groups[closed].push_back(v);
    }
    Array cptr(n + 1), cind(n), work(3 * n);
    qz::OrderingGraph compressed;
    ASSERT_EQ(qz::CompressGraph(graph.n, graph.begin.data(), graph.list.data(), &compressed, cptr.data(), cind.data(),
                                work.data(), host.pool()),
              0);
    ASSERT_EQ(compressed.numVertices, static_cast<int32_t>(groups.size()));
    EXPECT_LE(compressed.numVertices, original.n);
    Array groupOf(n, -1);
    std::set<Array> expected, found;
    for (const auto& group : groups) expected.insert(group.second);
    for (int32_t g = 0; g < compressed.numVertices; ++g) {
      const Array members(cind.begin() + cptr[static_cast<size_t>(g)], cind.begin() + cptr[static_cast<size_t>(g) + 1]);
      for (const int32_t v : members) groupOf[static_cast<size_t>(v)] = g;
      found.insert(members);
      EXPECT_EQ(compressed.vertexWeight[g], static_cast<int32_t>(members.size()));
    }
    EXPECT_EQ(found, expected);
    Edges edges;
    for (int32_t v = 0; v < graph.n; ++v) {
      for (int32_t k = graph.begin[static_cast<size_t>(v)]; k < graph.begin[static_cast<size_t>(v) + 1]; ++k) {
        edges.emplace_back(groupOf[static_cast<size_t>(v)],
                           groupOf[static_cast<size_t>(graph.list[static_cast<size_t>(k)])]);
      }
    }
    Graph result = graphOf(compressed);
    for (int32_t g = 0; g < result.n; ++g) {
      std::sort(result.list.begin() + result.begin[static_cast<size_t>(g)],
                result.list.begin() + result.begin[static_cast<size_t>(g) + 1]);
    }
    const Graph quotient = makeGraph(result.n, edges);
    EXPECT_EQ(result.begin, quotient.begin);
    EXPECT_EQ(result.list, quotient.list);
    for (int32_t g = 0; g < result.n; ++g) EXPECT_EQ(compressed.adjWeightSum[g], quotient.degree(g));
    QzPool* pool = host.pool();
    qz::poolFree(pool, compressed.graphStore);
    qz::poolFree(pool, compressed.vertexLabel);
  }
  EXPECT_EQ(host.outstanding(), before);
}

TEST(CompressGraph, LeavesAGraphThatHardlyShrinks) {
  TestHost host;
  const int64_t before = host.outstanding();
  // Each pair joined by an edge is one group: 100 - pairs groups. 0.85 of the vertices is not enough, less is.
  for (const int32_t pairs : {0, 15, 16}) {
    Edges edges;
    for (int32_t k = 0; k < pairs; ++k) edges.emplace_back(2 * k, 2 * k + 1);
    const Graph graph = makeGraph(100, edges);
    Array cptr(101), cind(100), work(300);
    qz::OrderingGraph compressed;
    const int32_t result = qz::CompressGraph(100, graph.begin.data(), graph.list.data(), &compressed, cptr.data(),
                                             cind.data(), work.data(), host.pool());
    EXPECT_EQ(result, pairs == 16 ? 0 : 1);
    EXPECT_EQ(compressed.numVertices, pairs == 16 ? 84 : -1);
    QzPool* pool = host.pool();
    qz::poolFree(pool, compressed.graphStore);
    qz::poolFree(pool, compressed.vertexLabel);
  }
  const Graph graph = complete(20);
  for (int64_t k = 1; k <= 4; ++k) {
    Array cptr(21), cind(20), work(60);
    qz::OrderingGraph compressed;
    host.failAllocation(k);
    EXPECT_EQ(qz::CompressGraph(20, graph.begin.data(), graph.list.data(), &compressed, cptr.data(), cind.data(),
                                work.data(), host.pool()),
              k <= 3 ? 1 : 0);
    host.failAllocation(0);
    QzPool* pool = host.pool();
    qz::poolFree(pool, compressed.graphStore);
    qz::poolFree(pool, compressed.vertexLabel);
    EXPECT_EQ(host.outstanding(), before);
  }
}

}  // namespace
}  // namespace qztest
