#include "ordering/order_graph.h"

#include <gtest/gtest.h>

#include "ordering/engines.h"
#include "ordering/graphs.h"
#include "ordering/ordering_records.h"
#include "support/test_host.h"

namespace qztest {
namespace {

using Array = std::vector<int32_t>;

bool isIdentity(const GraphOrder& order) {
  for (size_t k = 0; k < order.perm.size(); ++k) {
    if (order.perm[k] != static_cast<int32_t>(k) || order.invPerm[k] != static_cast<int32_t>(k)) return false;
  }
  return true;
}

TEST(OrderGraph, WithoutEdgesTheOrderStands) {
  TestHost host;
  for (const int32_t n : {0, 1, 2, 50}) {
    for (const int32_t method : {-1, 0, 1, 2}) {
      const GraphOrder order = runOrderGraph(host, makeGraph(n, {}), {0, 0, method});
      EXPECT_EQ(order.status, qz::LA_OK);
      EXPECT_EQ(order.method, qz::ORDER_IDENTITY);
      EXPECT_TRUE(isIdentity(order));
    }
  }
}

TEST(OrderGraph, ThreeVerticesWithAnEdgeAreNotOrdered) {
  TestHost host;
  const GraphOrder order = runOrderGraph(host, makeGraph(3, {{0, 2}}), {1, 1, 0});
  EXPECT_EQ(order.method, qz::ORDER_IDENTITY);
  EXPECT_TRUE(isIdentity(order));
}

TEST(OrderGraph, AverageDegreeAboveAQuarterOfTheSizeIsNotOrdered) {
  TestHost host;
  for (const int32_t method : {0, 1}) {
    // 2 > 7 / 4 = 1, but 2 is not above 8 / 4 = 2.
    const GraphOrder seven = runOrderGraph(host, cycle(7), {0, 0, method});
    EXPECT_EQ(seven.method, qz::ORDER_IDENTITY);
    EXPECT_TRUE(isIdentity(seven));
    const GraphOrder eight = runOrderGraph(host, cycle(8), {0, 0, method});
    EXPECT_EQ(eight.method, method);
    EXPECT_TRUE(isOrder(8, eight.perm, eight.invPerm));
  }
  EXPECT_EQ(runOrderGraph(host, complete(40), {0, 0, -1}).method, qz::ORDER_IDENTITY);
}

TEST(OrderGraph, RequestedEngineRuns) {
  TestHost host;
  const Graph graph = shuffled(grid(30, 20), 2);
  for (const int32_t kind : {0, 1, 4}) {
    for (const int32_t isLDL : {0, 1}) {
      const GraphOrder amd = runOrderGraph(host, graph, {kind, isLDL, 0});
      EXPECT_EQ(amd.status, qz::LA_OK);
      EXPECT_EQ(amd.method, 0);
      EXPECT_EQ(amd.perm, runAmd(graph, {kind, 0, 0, -1}).perm);
      const GraphOrder amf = runOrderGraph(host, graph, {kind, isLDL, 1});
      EXPECT_EQ(amf.status, qz::LA_OK);
      EXPECT_EQ(amf.method, 1);
      EXPECT_EQ(amf.perm, runAmf(graph, {kind, isLDL, 0, -1}).perm);
      EXPECT_EQ(amf.invPerm, runAmf(graph, {kind, isLDL, 0, -1}).invPerm);
    }
  }
}

TEST(OrderGraph, TheLdlAnalysisFindsDenseVerticesByLogarithm) {
  TestHost host;
  // 20 ln(1000) = 138.2 is below, 50 average degrees and 10 sqrt(1000) = 316 are above the degree of the centre.
  const Graph graph = disjointUnion({star(201, 100), shuffled(grid(47, 17), 1)});
  const GraphOrder cholesky = runOrderGraph(host, graph, {0, 0, 1});
  const GraphOrder ldl = runOrderGraph(host, graph, {0, 1, 1});
  EXPECT_NE(cholesky.invPerm[100], graph.n - 1);
  EXPECT_EQ(ldl.invPerm[100], graph.n - 1);
}

TEST(OrderGraph, AutomaticChoiceFollowsTheTable) {
  TestHost host;
  // Kind 5 of the Cholesky analysis below 4100 vertices: nd_amd; from there on nd_amf.
  EXPECT_EQ(runOrderGraph(host, path(4099), {5, 0, -1}).method, 0);
  EXPECT_EQ(runOrderGraph(host, path(4100), {5, 0, -1}).method, 1);
  // Kind 0 below 2500 vertices is nd_amf whatever the degree.
  const Graph graph = randomGraph(2499, 2499 * 10, 3);
  const GraphOrder order = runOrderGraph(host, graph, {0, 0, -1});
  EXPECT_EQ(order.method, 1);
  EXPECT_EQ(order.perm, runAmf(graph).perm);
  // Kind 1, average degree 3.6: nd_amd. A path of 1000 vertices with 801 chords has 3600 entries.
  Edges edges;
  for (int32_t v = 1; v < 1000; ++v) edges.emplace_back(v - 1, v);
  for (int32_t v = 0; v < 801; ++v) edges.emplace_back(v, v + 150);
  const Graph chords = makeGraph(1000, edges);
  ASSERT_EQ(chords.numEntries(), 3600);
  EXPECT_EQ(runOrderGraph(host, chords, {1, 1, -1}).method, 0);
}

TEST(OrderGraph, EveryEngineAndKindGivesAnOrder) {
  TestHost host;
  const std::vector<Graph> graphs{path(9),
                                  star(51, 7),
                                  star(50, 7),
                                  grid(12, 12),
                                  withDenseRows(400, 300, 2, 5),
                                  augmented(100, 150, 3, 6),
                                  disjointUnion({makeGraph(20, {}), cycle(30), path(10)})};
  for (const Graph& graph : graphs) {
    for (int32_t method = -1; method <= 4; ++method) {
      for (int32_t kind = 0; kind <= 5; ++kind) {
        for (const int32_t isLDL : {0, 1}) {
          const GraphOrder order = runOrderGraph(host, graph, {kind, isLDL, method});
          ASSERT_EQ(order.status, qz::LA_OK);
          EXPECT_TRUE(isOrder(graph.n, order.perm, order.invPerm));
          EXPECT_EQ(order.perm, runOrderGraph(host, graph, {kind, isLDL, method}).perm) << "not repeatable";
        }
      }
    }
  }
}

TEST(OrderGraph, MinimumDegreePathAllocatesNothing) {
  TestHost host;
  const Graph graph = grid(20, 20);
  const int64_t before = host.allocations();
  EXPECT_EQ(runOrderGraph(host, graph, {0, 0, 0}).status, qz::LA_OK);
  EXPECT_EQ(runOrderGraph(host, graph, {0, 0, 1}).status, qz::LA_OK);
  EXPECT_EQ(host.allocations(), before);
}

TEST(OrderGraph, CancelledThreadGivesThirteen) {
  TestHost host;
  host.cancelThread(true);
  for (const int32_t method : {0, 1}) {
    EXPECT_EQ(runOrderGraph(host, grid(9, 9), {0, 0, method}).status, qz::LA_CANCELLED);
  }
  EXPECT_EQ(runOrderGraph(host, makeGraph(9, {}), {0, 0, 0}).status, qz::LA_OK) << "nothing to poll";
  host.cancelThread(false);
  EXPECT_EQ(runOrderGraph(host, grid(9, 9), {0, 0, 1}).status, qz::LA_OK);
}

TEST(OrderingRecords, InitGraphClears) {
  qz::OrderingGraph graph;
  int32_t anything = 0;
  graph.adjBegin = &anything;
  graph.boundaryCount = 5;
  graph.coarser = &graph;
  qz::InitGraph(&graph);
  EXPECT_EQ(graph.numVertices, -1);
  EXPECT_EQ(graph.numEdges, -1);
  EXPECT_EQ(graph.cutWeight, -1);
  EXPECT_EQ(graph.boundaryCount, 0);
  for (const int32_t* array :
       {graph.graphStore, graph.refineStore, graph.adjBegin, graph.vertexWeight, graph.adjList, graph.edgeWeight,
        graph.adjWeightSum, graph.vertexLabel, graph.coarseMap, graph.side, graph.partWeight, graph.boundaryPos,
        graph.boundaryList, graph.internalDegree, graph.externalDegree}) {
    EXPECT_EQ(array, nullptr);
  }
  EXPECT_EQ(graph.nodeGain, nullptr);
  EXPECT_EQ(graph.coarser, nullptr);
  EXPECT_EQ(graph.finer, nullptr);
}

}  // namespace
}  // namespace qztest
