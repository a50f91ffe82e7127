#include "ordering/minimum_degree.h"

#include <gtest/gtest.h>

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>
#include <cstdio>
#include <string>

#include "ordering/engines.h"
#include "ordering/graphs.h"
#include "ordering/reference_engine.h"
#include "sparse/la_env.h"
#include "support/test_host.h"

namespace qztest {
namespace {

struct Case {
  std::string name;
  Graph graph;
};

std::vector<Case> smallCases() {
  return {
      {"no vertex", makeGraph(0, {})},
      {"one vertex", makeGraph(1, {})},
      {"five isolated", makeGraph(5, {})},
      {"one edge", makeGraph(2, {{0, 1}})},
      {"one edge among isolated", makeGraph(6, {{1, 4}})},
      {"path of three", path(3)},
      {"triangle", complete(3)},
      {"path", path(40)},
      {"cycle", cycle(41)},
      {"star, first", star(12, 0)},
      {"star, last", star(17, 16)},
      {"star with a dense centre", star(60, 30)},
      {"complete", complete(25)},
      {"complete at the limit", complete(101)},
      {"complete beyond the limit", complete(102)},
      {"grid", grid(13, 11)},
      {"grid with diagonals", gridWithDiagonals(9, 14)},
      {"cube", grid(6, 5, 7)},
      {"shuffled grid", shuffled(grid(17, 12), 3)},
      {"tree", randomTree(150, 5)},
      {"chordal", randomKTree(150, 4, 6)},
      {"sparse", randomGraph(120, 150, 7)},
      {"medium", randomGraph(150, 500, 8)},
      {"nearly dense", randomGraph(80, 2000, 9)},
      {"dense rows", withDenseRows(300, 500, 3, 10)},
      {"augmented", augmented(60, 120, 3, 11)},
      {"islands", disjointUnion({path(5), makeGraph(3, {}), complete(6), grid(4, 4), makeGraph(1, {}), star(9, 4)})}};
}

void expectOrder(const Case& test, const Ordered& ordered) {
  EXPECT_EQ(ordered.status, qz::LA_OK) << test.name;
  EXPECT_TRUE(isOrder(test.graph.n, ordered.perm, ordered.invPerm)) << test.name;
}

TEST(MinimumDegree, EveryShapeGivesAPermutationAndItsInverse) {
  for (const Case& test : smallCases()) {
    for (int32_t kind = 0; kind <= 5; ++kind) {
      for (int32_t flags = 0; flags < 4; ++flags) {
        const EngineOptions options{kind, flags & 1, flags >> 1, -1};
        expectOrder(test, runAmd(test.graph, options));
        expectOrder(test, runAmf(test.graph, options));
      }
      expectOrder(test, runCamf(test.graph, {}, {kind, 0, 0, -1}));
    }
  }
}

TEST(MinimumDegree, EqualsThePlainEngineVertexForVertex) {
  for (const Case& test : smallCases()) {
    for (const int32_t kind : {0, 1, 2, 3}) {
      for (const int32_t fallback : {0, 1}) {
        const bool byDegree = (kind == 1 || kind == 2) && fallback == 0;
        const auto dense = byDegree ? denseByDegree(test.graph) : denseBySize(test.graph);
        EXPECT_EQ(runAmd(test.graph, {kind, 0, fallback, -1}).invPerm,
                  referenceOrder(test.graph, {false, kind, dense, {}}))
            << test.name << ", kind " << kind;
        EXPECT_EQ(runAmf(test.graph, {kind, 0, fallback, -1}).invPerm,
                  referenceOrder(test.graph, {true, kind, dense, {}}))
            << test.name << ", kind " << kind;
      }
      const auto dense = denseByLog(test.graph);
      EXPECT_EQ(runAmd(test.graph, {kind, 1, 0, -1}).invPerm, referenceOrder(test.graph, {false, kind, dense, {}}))
          << test.name << ", kind " << kind << ", by logarithm";
      EXPECT_EQ(runAmf(test.graph, {kind, 1, 0, -1}).invPerm, referenceOrder(test.graph, {true, kind, dense, {}}))
          << test.name << ", kind " << kind << ", by logarithm";
      EXPECT_EQ(runCamf(test.graph, {}, {kind, 0, 0, -1}).invPerm,
                referenceOrder(test.graph, {true, kind, denseBySize(test.graph), {}}))
          << test.name << ", kind " << kind;
    }
  }
}

TEST(MinimumDegree, EqualsThePlainEngineOnRandomGraphs) {
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    const int32_t n = 20 + static_cast<int32_t>(seed * 37 % 180);
    const int32_t edges = n / 2 + static_cast<int32_t>(seed * 101 % 700);
    const Graph graph = seed % 3 == 0   ? withDenseRows(n, edges, 2, seed)
                        : seed % 3 == 1 ? randomGraph(n, edges, seed)
                                        : augmented(n / 3, n - n / 3, 1 + static_cast<int32_t>(seed % 4), seed);
    const int32_t kind = static_cast<int32_t>(seed % 2);
    const auto dense = denseBySize(graph);
    EXPECT_EQ(runAmd(graph, {kind, 0, 1, -1}).invPerm, referenceOrder(graph, {false, kind, dense, {}}))
        << "seed " << seed;
    EXPECT_EQ(runAmf(graph, {kind, 0, 1, -1}).invPerm, referenceOrder(graph, {true, kind, dense, {}}))
        << "seed " << seed;
  }
}

TEST(MinimumDegree, IsolatedVerticesKeepTheirOrder) {
  const Graph graph = makeGraph(9, {});
  std::vector<int32_t> identity{0, 1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(runAmd(graph).perm, identity);
  EXPECT_EQ(runAmd(graph, {1, 1, 0, -1}).perm, identity);
  EXPECT_EQ(runAmf(graph).perm, identity);
  EXPECT_EQ(runAmf(graph, {1, 1, 0, -1}).perm, identity);
  EXPECT_EQ(runCamf(graph, {}).perm, identity);
}

TEST(MinimumDegree, CompleteGraphBeyondTheDenseLimitKeepsItsOrder) {
  for (const int32_t n : {102, 150}) {
    const Ordered ordered = runAmf(complete(n));
    for (int32_t v = 0; v < n; ++v) EXPECT_EQ(ordered.perm[static_cast<size_t>(v)], v);
  }
}

// Elbow room must not change the order, whether lists are compacted often or never.
TEST(MinimumDegree, ElbowRoomDoesNotChangeTheOrder) {
  for (const Case& test : smallCases()) {
    const Ordered amd = runAmd(test.graph, {0, 0, 0, 10 * test.graph.n + test.graph.numEntries()});
    const Ordered amf = runAmf(test.graph, {0, 0, 0, 10 * test.graph.n + test.graph.numEntries()});
    EXPECT_EQ(runAmd(test.graph).invPerm, amd.invPerm) << test.name;
    EXPECT_EQ(runAmf(test.graph).invPerm, amf.invPerm) << test.name;
    for (int32_t room = 0; room < test.graph.n; room += 1 + room / 8) {
      EXPECT_EQ(runAmd(test.graph, {0, 0, 0, room}).invPerm, amd.invPerm) << test.name << ", room " << room;
      EXPECT_EQ(runAmf(test.graph, {0, 0, 0, room}).invPerm, amf.invPerm) << test.name << ", room " << room;
    }
  }
}

TEST(MinimumDegree, ListsBeyondTheirStoreAreRefused) {
  int32_t begin[] = {0, 1, 2};
  int32_t list[] = {1, 0};
  int32_t length[] = {1, 1};
  int32_t scratch[10][3];
  EXPECT_EQ(qz::nd_amd(2, begin, list, length, 1, 2, scratch[0], scratch[1], scratch[2], scratch[3], scratch[4],
                       scratch[5], scratch[6], 0, 0, 0),
            qz::LA_INCONSISTENT);
  EXPECT_EQ(qz::nd_amf(2, begin, list, length, 1, 2, scratch[0], scratch[1], scratch[2], scratch[3], scratch[4],
                       scratch[5], scratch[6], scratch[7], 0, 0, 0),
            qz::LA_INCONSISTENT);
  EXPECT_EQ(qz::nd_camf(2, begin, list, length, 1, 2, nullptr, scratch[0], scratch[1], scratch[2], scratch[3],
                        scratch[4], scratch[5], scratch[6], scratch[7], scratch[8], 0),
            qz::LA_INCONSISTENT);
}

TEST(MinimumDegree, RepeatsItself) {
  const Graph graph = randomGraph(800, 2500, 17);
  EXPECT_EQ(runAmd(graph).perm, runAmd(graph).perm);
  EXPECT_EQ(runAmf(graph).perm, runAmf(graph).perm);
}

TEST(MinimumDegree, TreesHaveNoFill) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    const Graph graph = randomTree(400, seed);
    const int64_t least = graph.n + graph.numEntries() / 2;
    EXPECT_EQ(symbolic(graph, runAmd(graph).invPerm).numEntries, least) << "seed " << seed;
    EXPECT_EQ(symbolic(graph, runAmf(graph).invPerm).numEntries, least) << "seed " << seed;
    EXPECT_EQ(symbolic(graph, runAmf(graph, {1, 1, 0, -1}).invPerm).numEntries, least) << "seed " << seed;
  }
}

int64_t eigenFill(const Graph& graph) {
  std::vector<Eigen::Triplet<double>> entries;
  for (int32_t v = 0; v < graph.n; ++v) {
    entries.emplace_back(v, v, 1.0);
    for (int32_t p = graph.begin[static_cast<size_t>(v)]; p < graph.begin[static_cast<size_t>(v) + 1]; ++p) {
      entries.emplace_back(graph.list[static_cast<size_t>(p)], v, 1.0);
    }
  }
  Eigen::SparseMatrix<double> matrix(graph.n, graph.n);
  matrix.setFromTriplets(entries.begin(), entries.end());
  Eigen::PermutationMatrix<Eigen::Dynamic, Eigen::Dynamic, int> permutation;
  Eigen::AMDOrdering<int> ordering;
  ordering(matrix, permutation);
  std::vector<int32_t> invPerm(static_cast<size_t>(graph.n));
  for (int32_t k = 0; k < graph.n; ++k) invPerm[static_cast<size_t>(permutation.indices()[k])] = k;
  return symbolic(graph, invPerm).numEntries;
}

struct Fill {
  int64_t exact, amd, amf, amfLdl, camf, eigen;
};

Fill fillOf(const Case& test) {
  const Graph& graph = test.graph;
  const Fill fill{symbolic(graph, exactMinimumDegree(graph)).numEntries,
                  symbolic(graph, runAmd(graph).invPerm).numEntries,
                  symbolic(graph, runAmf(graph).invPerm).numEntries,
                  symbolic(graph, runAmf(graph, {1, 1, 0, -1}).invPerm).numEntries,
                  symbolic(graph, runCamf(graph, {}).invPerm).numEntries,
                  eigenFill(graph)};
  std::printf("%-18s entries of L: exact degree %lld, amd %lld, amf %lld, amf for LDL %lld, Eigen %lld\n",
              test.name.c_str(), static_cast<long long>(fill.exact), static_cast<long long>(fill.amd),
              static_cast<long long>(fill.amf), static_cast<long long>(fill.amfLdl),
              static_cast<long long>(fill.eigen));
  return fill;
}

// The approximations may cost at most a tenth of the fill of an exact minimum-degree order.
TEST(MinimumDegree, FillOnGridsIsThatOfAnExactOrder) {
  for (const Case& test : {Case{"grid 20x20", grid(20, 20)}, Case{"grid 35x25", grid(35, 25)},
                           Case{"shuffled 30x30", shuffled(grid(30, 30), 1)}, Case{"cube 8x8x8", grid(8, 8, 8)},
                           Case{"diagonals 25x25", gridWithDiagonals(25, 25)}}) {
    const Fill fill = fillOf(test);
    for (const int64_t entries : {fill.amd, fill.amf, fill.amfLdl, fill.camf}) {
      EXPECT_LE(static_cast<double>(entries), 1.10 * static_cast<double>(fill.exact)) << test.name;
      EXPECT_LE(static_cast<double>(entries), 1.10 * static_cast<double>(fill.eigen)) << test.name;
    }
  }
}

TEST(MinimumDegree, FillOnRandomGraphsIsThatOfAnExactOrder) {
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    const Case test{
        "random " + std::to_string(seed),
        seed % 2 == 0 ? randomGraph(250, 250 + 120 * static_cast<int32_t>(seed), seed) : augmented(120, 200, 3, seed)};
    const Fill fill = fillOf(test);
    for (const int64_t entries : {fill.amd, fill.amf, fill.amfLdl, fill.camf}) {
      EXPECT_LE(static_cast<double>(entries), 1.12 * static_cast<double>(fill.exact)) << test.name;
    }
  }
}

// A star of the given degree at the lowest numbers, then filling that brings n and the number of edges to what is
// asked.
Graph starAndCycles(int32_t degree, int32_t n, int32_t averageDegree) {
  const Graph hub = star(degree + 1, degree / 2);
  const int32_t rest = n - hub.n;
  const int32_t edges = averageDegree * n / 2 + n / 4 - hub.numEntries() / 2;  // a little above the whole number
  Edges list;
  for (int32_t step = 1; static_cast<int32_t>(list.size()) < edges; ++step) {
    for (int32_t v = 0; v < rest && static_cast<int32_t>(list.size()) < edges; ++v)
      list.emplace_back(v, (v + step) % rest);
  }
  return disjointUnion({hub, makeGraph(rest, list)});
}

// A kept hub comes among its component, which is numbered first; a dense one comes last of all.
bool isLast(const Graph& graph, const Ordered& ordered, int32_t v) {
  EXPECT_EQ(ordered.status, qz::LA_OK);
  EXPECT_TRUE(isOrder(graph.n, ordered.perm, ordered.invPerm));
  return ordered.invPerm[static_cast<size_t>(v)] == graph.n - 1;
}

TEST(DenseVertices, FiftyTimesTheAverageDegreeForTheAugmentedSystem) {
  for (const int32_t degree : {200, 201}) {
    const Graph graph = starAndCycles(degree, 10000, 4);
    ASSERT_EQ(graph.numEntries() / graph.n, 4);
    for (const int32_t kind : {1, 2}) {
      EXPECT_EQ(isLast(graph, runAmd(graph, {kind, 0, 0, -1}), degree / 2), degree == 201) << degree;
      EXPECT_EQ(isLast(graph, runAmf(graph, {kind, 0, 0, -1}), degree / 2), degree == 201) << degree;
      EXPECT_FALSE(isLast(graph, runAmd(graph, {kind, 0, 1, -1}), degree / 2)) << "the fallback has the other rule";
      EXPECT_FALSE(isLast(graph, runAmf(graph, {kind, 0, 1, -1}), degree / 2)) << "the fallback has the other rule";
    }
    for (const int32_t kind : {0, 3, 5}) {
      EXPECT_FALSE(isLast(graph, runAmd(graph, {kind, 0, 0, -1}), degree / 2)) << degree;
      EXPECT_FALSE(isLast(graph, runAmf(graph, {kind, 0, 0, -1}), degree / 2)) << degree;
    }
    EXPECT_FALSE(isLast(graph, runCamf(graph, {}, {1, 0, 0, -1}), degree / 2)) << "camf has the rule of the size only";
  }
}

TEST(DenseVertices, TenRootsOfTheSizeOtherwise) {
  for (const int32_t degree : {1000, 1001}) {
    const Graph graph = starAndCycles(degree, 10000, 4);
    EXPECT_EQ(isLast(graph, runAmd(graph), degree / 2), degree == 1001);
    EXPECT_EQ(isLast(graph, runAmf(graph), degree / 2), degree == 1001);
    EXPECT_EQ(isLast(graph, runCamf(graph, {}), degree / 2), degree == 1001);
    EXPECT_EQ(isLast(graph, runAmf(graph, {1, 0, 1, -1}), degree / 2), degree == 1001);
  }
}

TEST(DenseVertices, AverageBelowOneMakesEveryEdgeDense) {
  const Graph graph = makeGraph(7, {{1, 3}, {3, 5}});
  const std::vector<int32_t> expected{0, 2, 4, 6, 1, 3, 5};
  EXPECT_EQ(runAmd(graph, {1, 0, 0, -1}).perm, expected);
  EXPECT_EQ(runAmf(graph, {1, 0, 0, -1}).perm, expected);
}

TEST(DenseVertices, ComeLastInIndexOrder) {
  Edges edges;
  for (const int32_t hub : {70, 3, 200}) {
    for (int32_t v = 0; v < 400; ++v) {
      if (v % 7 != 0 || v < 200) edges.emplace_back(hub, v);
    }
  }
  const Graph graph = makeGraph(400, edges);
  for (const Ordered& ordered :
       {runAmd(graph), runAmf(graph), runCamf(graph, {}), runAmf(graph, {1, 1, 0, -1}), runAmd(graph, {1, 1, 0, -1})}) {
    EXPECT_EQ(std::vector<int32_t>(ordered.perm.end() - 3, ordered.perm.end()), (std::vector<int32_t>{3, 70, 200}));
  }
}

TEST(DenseVertices, ByLogarithmFromTwentyLogarithmsOn) {
  // 20 ln(1000) = 138.155
  for (const int32_t degree : {138, 139}) {
    const Graph graph = starAndCycles(degree, 1000, 4);
    EXPECT_EQ(isLast(graph, runAmf(graph, {1, 1, 0, -1}), degree / 2), degree == 139);
    EXPECT_EQ(isLast(graph, runAmd(graph, {1, 1, 0, -1}), degree / 2), degree == 139);
  }
}

TEST(DenseVertices, ByLogarithmEachOneLowersTheBarForTheNext) {
  // 20 ln(149) = 100.08, 20 ln(148) = 99.94: a degree of 100 is dense only once another vertex has gone.
  const Graph alone = disjointUnion({star(101, 50), path(48)});
  ASSERT_EQ(alone.n, 149);
  EXPECT_FALSE(isLast(alone, runAmf(alone, {1, 1, 0, -1}), 50));
  Edges edges;
  for (int32_t v = 0; v <= 100; ++v) edges.emplace_back(50, v);
  for (int32_t v = 10; v <= 131; ++v) {
    if (v != 50) edges.emplace_back(140, v);
  }
  const Graph both = makeGraph(149, edges);
  ASSERT_EQ(both.degree(50), 100);
  ASSERT_GT(both.degree(140), 100);
  const Ordered ordered = runAmf(both, {1, 1, 0, -1});
  EXPECT_EQ(ordered.perm[147], 50);
  EXPECT_EQ(ordered.perm[148], 140);
}

TEST(MinimumDegree, CancelledThreadEndsTheTwoPollingEngines) {
  TestHost host;
  const Graph graph = grid(10, 10);
  host.cancelThread(true);
  EXPECT_EQ(runAmd(graph).status, qz::LA_CANCELLED);
  EXPECT_EQ(runAmf(graph).status, qz::LA_CANCELLED);
  EXPECT_EQ(runCamf(graph, {}).status, qz::LA_OK) << "the constrained engine never polls";
  host.cancelThread(false);
  EXPECT_EQ(runAmd(graph).status, qz::LA_OK);
  EXPECT_EQ(runAmf(graph).status, qz::LA_OK);
}

TEST(MinimumDegree, ScoresBeyondTheBucketsAreFoundByScanning) {
  // All initial fills exceed n, so that every pivot at first comes from the last bucket; the least of them is
  // vertex 77.
  const Graph graph = [] {
    Edges edges;
    const Graph base = randomGraph(200, 8000, 3);
    for (int32_t v = 0; v < 200; ++v) {
      for (int32_t p = base.begin[static_cast<size_t>(v)]; p < base.begin[static_cast<size_t>(v) + 1]; ++p) {
        const int32_t u = base.list[static_cast<size_t>(p)];
        if ((v != 77 && u != 77) || (u + v) % 2 == 0) edges.emplace_back(u, v);
      }
    }
    return makeGraph(200, edges);
  }();
  for (int32_t v = 0; v < 200; ++v) ASSERT_GT(graph.degree(v) * (graph.degree(v) - 1) / 2, 200);
  const Ordered ordered = runAmf(graph);
  EXPECT_EQ(ordered.invPerm, referenceOrder(graph, {true, 0, denseBySize(graph), {}}));
}

}  // namespace
}  // namespace qztest
