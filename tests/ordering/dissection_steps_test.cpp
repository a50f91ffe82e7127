// The single steps of a multilevel bisection.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>

#include "ordering/coarsening.h"
#include "ordering/components.h"
#include "ordering/dissection_bench.h"
#include "ordering/edge_cut.h"
#include "ordering/initial_partition.h"
#include "ordering/node_balance.h"
#include "ordering/node_bisection.h"
#include "ordering/node_refinement.h"
#include "ordering/separator.h"
#include "ordering/work_space.h"
#include "shell/random.h"

namespace qztest {
namespace {

using Array = std::vector<int32_t>;
using qz::OrderingGraph;

size_t at(int32_t i) {
  return static_cast<size_t>(i);
}

Array randomWeights(int32_t n, uint32_t seed) {
  std::mt19937 random(seed);
  Array weights(at(n));
  for (int32_t& w : weights) w = 1 + static_cast<int32_t>(random() % 3);
  return weights;
}

TEST(WorkSpace, PiecesAreRoundedAndReleasedInReverse) {
  TestHost host;
  DissectionBench bench(host, grid(9, 9));
  EXPECT_EQ(bench.control.poolCapacity, 17 * 81 + 6216);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(bench.control.edgeWork) % 32, 0U);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(bench.control.poolBase) % 32, 0U);
  int32_t* first = qz::poolmalloc(&bench.control, 33);
  EXPECT_EQ(qz::poolmalloc(&bench.control, 1), first + 64);
  EXPECT_EQ(bench.control.poolUsed, 96);
  qz::poolfree(&bench.control, 1);
  qz::poolfree(&bench.control, 33);
  EXPECT_EQ(bench.control.poolUsed, 0);
}

TEST(WorkSpace, RandomIndicesLeaveOutTheThreeLowestBits) {
  TestHost host;
  DissectionBench bench(host, grid(3, 3));
  uint32_t state = 4321;
  for (int32_t range = 1; range < 200; ++range) {
    const uint32_t number = qz::qzRand(&state);
    EXPECT_EQ(qz::randomIndex(&bench.control, range), static_cast<int32_t>(number / 8 % static_cast<uint32_t>(range)));
  }
}

TEST(WorkSpace, ShuffleIsAPermutationThatKeepsTheLastEntry) {
  TestHost host;
  DissectionBench bench(host, grid(9, 9));
  for (int32_t n = 0; n < 300; ++n) {
    Array array(at(n) + 1, -1);
    qz::RandomPermute(n, array.data(), &bench.control);
    EXPECT_EQ(array[at(n)], -1);
    array.pop_back();
    EXPECT_TRUE(n > 4 || std::is_sorted(array.begin(), array.end()));
    EXPECT_TRUE(n == 0 || array.back() == n - 1);
    std::sort(array.begin(), array.end());
    for (int32_t i = 0; i < n; ++i) EXPECT_EQ(array[at(i)], i);
  }
}

// The coarse graph beside one summed up in maps.
void expectCoarse(const OrderingGraph& fine) {
  const OrderingGraph& coarse = *fine.coarser;
  EXPECT_EQ(coarse.finer, &fine);
  std::vector<std::map<int32_t, int32_t>> rows(at(coarse.numVertices));
  Array weight(at(coarse.numVertices), 0), members(at(coarse.numVertices), 0);
  for (int32_t v = 0; v < fine.numVertices; ++v) {
    const int32_t c = fine.coarseMap[v];
    ASSERT_TRUE(c >= 0 && c < coarse.numVertices);
    weight[at(c)] += fine.vertexWeight[v];
    ++members[at(c)];
    for (int32_t k = fine.adjBegin[v]; k < fine.adjBegin[v + 1]; ++k) {
      const int32_t d = fine.coarseMap[fine.adjList[k]];
      if (d != c) rows[at(c)][d] += fine.edgeWeight[k];
    }
  }
  for (int32_t c = 0; c < coarse.numVertices; ++c) {
    EXPECT_TRUE(members[at(c)] == 1 || members[at(c)] == 2);
    EXPECT_EQ(coarse.vertexWeight[c], weight[at(c)]);
    std::map<int32_t, int32_t> row;
    int32_t sum = 0;
    for (int32_t k = coarse.adjBegin[c]; k < coarse.adjBegin[c + 1]; ++k) {
      EXPECT_TRUE(row.emplace(coarse.adjList[k], coarse.edgeWeight[k]).second) << "neighbour twice";
      sum += coarse.edgeWeight[k];
    }
    EXPECT_EQ(row, rows[at(c)]);
    EXPECT_EQ(coarse.adjWeightSum[c], sum);
  }
  EXPECT_EQ(coarse.adjBegin[coarse.numVertices], coarse.numEdges);
}

TEST(Coarsening, LevelsSumUpTheirPairs) {
  TestHost host;
  const int64_t before = host.outstanding();
  {
    for (const Graph& graph : {grid(20, 30), randomGraph(700, 3000, 1), star(50, 4), randomTree(400, 2), complete(40),
                               disjointUnion({makeGraph(60, {}), grid(9, 9), makeGraph(30, {})})}) {
      DissectionBench bench(host, graph, randomWeights(graph.n, 7));
      OrderingGraph* level = &bench.top;
      for (int32_t depth = 0; depth < 4; ++depth) {
        ASSERT_EQ(depth == 0 ? qz::RandomMatch(&bench.control, level) : qz::SortedMatch(&bench.control, level),
                  qz::LA_OK);
        expectCoarse(*level);
        EXPECT_EQ(bench.control.poolUsed, 0);
        level = level->coarser;
      }
      while (level != &bench.top) {
        OrderingGraph* finer = level->finer;
        qz::freeCoarseLevel(&bench.control, level);
        level = finer;
      }
      EXPECT_EQ(level->coarser, nullptr);
    }
  }
  EXPECT_EQ(host.outstanding(), before);
}

TEST(Coarsening, LargeSparseGraphsMergeThroughTheSmallTable) {
  // The first level has more than 16376 vertices of degree about 4, and lists that collide; its store shrinks.
  TestHost host;
  DissectionBench bench(host, shuffled(grid(200, 200), 3));
  ASSERT_EQ(qz::RandomMatch(&bench.control, &bench.top), qz::LA_OK);
  ASSERT_GE(bench.top.coarser->numVertices, 16376);
  expectCoarse(bench.top);
  qz::freeCoarseLevel(&bench.control, bench.top.coarser);
}

TEST(Coarsening, StoreOfALargeLevelShrinks) {
  // Pairs of a union of cliques of 20 merge most of their edges.
  TestHost host;
  Edges edges;
  for (int32_t v = 0; v < 30000; ++v) {
    for (int32_t u = v - v % 20; u < v; ++u) edges.emplace_back(u, v);
  }
  for (int32_t v = 20; v < 30000; v += 20) edges.emplace_back(v - 1, v);
  DissectionBench bench(host, makeGraph(30000, edges));
  const int64_t before = host.outstandingBytes();
  ASSERT_EQ(qz::RandomMatch(&bench.control, &bench.top), qz::LA_OK);
  const OrderingGraph& coarse = *bench.top.coarser;
  ASSERT_LT(coarse.numEdges, 0.7 * bench.top.numEdges);
  ASSERT_GE(coarse.numEdges, 100001);
  expectCoarse(bench.top);
  const int64_t numbers = 4 * static_cast<int64_t>(coarse.numVertices) + 2 * static_cast<int64_t>(coarse.numEdges) + 1;
  EXPECT_LT(host.outstandingBytes() - before, 4 * numbers + static_cast<int64_t>(sizeof(OrderingGraph)) + 200);
  qz::freeCoarseLevel(&bench.control, bench.top.coarser);
}

TEST(Coarsening, HeavyVerticesStayAlone) {
  TestHost host;
  Array weights(100, 1);
  for (size_t v = 0; v < 100; v += 3) weights[v] = 9;
  DissectionBench bench(host, grid(10, 10), weights);
  bench.control.maxVertexWeight = 9;
  ASSERT_EQ(qz::RandomMatch(&bench.control, &bench.top), qz::LA_OK);
  ASSERT_EQ(qz::SortedMatch(&bench.control, bench.top.coarser), qz::LA_OK);
  for (const OrderingGraph* level : {bench.top.coarser, bench.top.coarser->coarser}) {
    for (int32_t c = 0; c < level->numVertices; ++c) EXPECT_LE(level->vertexWeight[c], 9);
  }
  EXPECT_LT(bench.top.coarser->numVertices, 100);
  qz::freeCoarseLevel(&bench.control, bench.top.coarser->coarser);
  qz::freeCoarseLevel(&bench.control, bench.top.coarser);
}

TEST(Coarsening, SortedMatchTakesTheHeaviestEdge) {
  // A path whose edges of weight 5 are a perfect matching.
  TestHost host;
  DissectionBench bench(host, path(8));
  for (int32_t v = 0; v < 8; ++v) {
    for (int32_t k = bench.top.adjBegin[v]; k < bench.top.adjBegin[v + 1]; ++k) {
      bench.top.edgeWeight[k] = v / 2 == bench.top.adjList[k] / 2 ? 5 : 1;
    }
  }
  ASSERT_EQ(qz::SortedMatch(&bench.control, &bench.top), qz::LA_OK);
  EXPECT_EQ(bench.top.coarser->numVertices, 4);
  for (int32_t v = 0; v < 8; v += 2) EXPECT_EQ(bench.top.coarseMap[v], bench.top.coarseMap[v + 1]);
  qz::freeCoarseLevel(&bench.control, bench.top.coarser);
}

TEST(Coarsening, VerticesWithoutEdgesPairWithConnectedOnes) {
  TestHost host;
  DissectionBench bench(host, disjointUnion({makeGraph(10, {}), complete(20)}));
  bench.control.maxVertexWeight = 1;  // no pair along an edge; the weight doesn't hold these back
  ASSERT_EQ(qz::SortedMatch(&bench.control, &bench.top), qz::LA_OK);
  EXPECT_EQ(bench.top.coarser->numVertices, 20);
  for (int32_t v = 0; v < 10; ++v) {
    int32_t partners = 0;
    for (int32_t u = 10; u < 30; ++u) partners += bench.top.coarseMap[u] == bench.top.coarseMap[v] ? 1 : 0;
    EXPECT_EQ(partners, 1);
  }
  qz::freeCoarseLevel(&bench.control, bench.top.coarser);
}

// The edge-cut state beside a count.
void expectCutState(const OrderingGraph& graph) {
  int32_t cut = 0;
  int32_t weight[2] = {0, 0};
  for (int32_t v = 0; v < graph.numVertices; ++v) {
    weight[graph.side[v]] += graph.vertexWeight[v];
    int32_t degree[2] = {0, 0};
    for (int32_t k = graph.adjBegin[v]; k < graph.adjBegin[v + 1]; ++k) {
      degree[graph.side[graph.adjList[k]] == graph.side[v] ? 0 : 1] += graph.edgeWeight[k];
    }
    EXPECT_EQ(graph.internalDegree[v], degree[0]);
    EXPECT_EQ(graph.externalDegree[v], degree[1]);
    EXPECT_EQ(graph.boundaryPos[v] >= 0, degree[1] > 0 || graph.adjBegin[v] == graph.adjBegin[v + 1]);
    cut += degree[1];
  }
  EXPECT_EQ(graph.cutWeight, cut / 2);
  EXPECT_EQ(graph.partWeight[0], weight[0]);
  EXPECT_EQ(graph.partWeight[1], weight[1]);
}

std::vector<Graph> graphsToCut() {
  return {grid(8, 9),
          randomGraph(90, 200, 1),
          randomGraph(600, 1500, 2),
          star(40, 0),
          path(70),
          complete(30),
          randomTree(550, 3),
          grid(26, 26),
          makeGraph(12, {}),
          disjointUnion({cycle(30), makeGraph(9, {}), grid(5, 5)})};
}

TEST(EdgeCut, RefinementLowersTheCutAndKeepsItsBooks) {
  TestHost host;
  for (const Graph& graph : graphsToCut()) {
    for (uint32_t seed = 1; seed <= 4; ++seed) {
      DissectionBench bench(host, graph, randomWeights(graph.n, seed));
      std::mt19937 random(seed);
      OrderingGraph* top = &bench.top;
      ASSERT_EQ(qz::allocateRefineStore(host.pool(), top, true), qz::LA_OK);
      for (int32_t v = 0; v < graph.n; ++v) top->side[v] = random() % 4 == 0 ? 1 : 0;
      const int32_t total = std::accumulate(top->vertexWeight, top->vertexWeight + graph.n, 0);
      const int32_t target[2] = {total / 2, total - total / 2};
      qz::Compute2WayPartitionParams(top);
      expectCutState(*top);
      const int32_t off = std::abs(target[0] - top->partWeight[0]);
      ASSERT_EQ(seed % 2 == 0 ? qz::Bnd2WayBalance(&bench.control, top, target)
                              : qz::General2WayBalance(&bench.control, top, target),
                qz::LA_OK);
      expectCutState(*top);
      EXPECT_LE(std::abs(target[0] - top->partWeight[0]), off);
      const bool anyone = seed % 2 == 1 && graph.n > 50;
      EXPECT_LE(std::abs(target[0] - top->partWeight[0]), anyone ? 3 : off);
      const int32_t cut = top->cutWeight;
      const int32_t offBefore = std::abs(target[0] - top->partWeight[0]);
      ASSERT_EQ(qz::refineEdgeCut(&bench.control, top, target), qz::LA_OK);
      expectCutState(*top);
      EXPECT_LE(top->cutWeight, cut);
      EXPECT_LE(std::abs(target[0] - top->partWeight[0]), offBefore + total / 20 + 3);
      EXPECT_EQ(bench.control.poolUsed, 0);
    }
  }
}

TEST(EdgeCut, FirstPartitionCutsAGridNearItsWidth) {
  TestHost host;
  DissectionBench bench(host, grid(8, 12));
  const int32_t target[2] = {48, 48};
  ASSERT_EQ(qz::Init2WayPartition(&bench.control, &bench.top, target), qz::LA_OK);
  const int32_t cut = bench.top.cutWeight;
  qz::Compute2WayPartitionParams(&bench.top);
  EXPECT_EQ(bench.top.cutWeight, cut) << "of the sides that were kept";
  EXPECT_LE(cut, 12);
  EXPECT_GE(cut, 4);
  EXPECT_GE(std::min(bench.top.partWeight[0], bench.top.partWeight[1]), 48 / 1.4 - 1);
}

// A separator of the graph: the boundary of random halves, grown together.
void startSeparator(DissectionBench& bench, uint32_t seed) {
  OrderingGraph* top = &bench.top;
  ASSERT_EQ(qz::allocateRefineStore(bench.env.memory, top, true), qz::LA_OK);
  std::mt19937 random(seed);
  for (int32_t v = 0; v < top->numVertices; ++v) top->side[v] = random() % 5 < 2 ? 1 : 0;
  qz::Compute2WayPartitionParams(top);
  for (int32_t i = 0; i < top->boundaryCount; ++i) {
    const int32_t v = top->boundaryList[i];
    if (top->adjBegin[v + 1] > top->adjBegin[v]) top->side[v] = 2;
  }
  qz::computeSeparatorState(top);
}

TEST(NodeRefinement, PassesLowerTheSeparatorAndKeepTheirBooks) {
  TestHost host;
  for (const Graph& graph : graphsToCut()) {
    for (uint32_t seed = 1; seed <= 6; ++seed) {
      SCOPED_TRACE(seed);
      DissectionBench bench(host, graph, randomWeights(graph.n, seed));
      startSeparator(bench, seed);
      expectSeparatorState(bench.top);
      for (int32_t round = 0; round < 3; ++round) {
        int32_t weight = bench.top.partWeight[2];
        ASSERT_EQ(qz::NodeRefine(&bench.control, &bench.top, 6), qz::LA_OK);
        expectSeparatorState(bench.top);
        EXPECT_LE(bench.top.partWeight[2], weight);
        weight = bench.top.partWeight[2];
        ASSERT_EQ(qz::NodeRefineOneSided(&bench.control, &bench.top, 8), qz::LA_OK);
        expectSeparatorState(bench.top);
        EXPECT_LE(bench.top.partWeight[2], weight);
        ASSERT_EQ(qz::NodeBalance(&bench.control, &bench.top), qz::LA_OK);
        expectSeparatorState(bench.top);
        EXPECT_EQ(bench.control.poolUsed, 0);
      }
    }
  }
}

TEST(NodeRefinement, SidesStayBelowTheirLimit) {
  TestHost host;
  for (uint32_t seed = 1; seed <= 10; ++seed) {
    DissectionBench bench(host, grid(24, 25));
    startSeparator(bench, seed);
    const int32_t limit = static_cast<int32_t>(0.5 * 600 * bench.control.balanceFactor);
    ASSERT_LE(std::max(bench.top.partWeight[0], bench.top.partWeight[1]), limit);
    ASSERT_EQ(qz::NodeRefineOneSided(&bench.control, &bench.top, 8), qz::LA_OK);
    EXPECT_LE(std::max(bench.top.partWeight[0], bench.top.partWeight[1]), limit);
    EXPECT_GT(std::min(bench.top.partWeight[0], bench.top.partWeight[1]), 0);
  }
}

// A pass towards the lighter side finds nothing, and the next one, towards the other, does: a bad pass ends the
// refinement only when both sides have had theirs.
TEST(NodeRefinement, OneSidedPassesEndInPairs) {
  TestHost host;
  Edges edges{{10, 0}, {11, 0}, {10, 12}, {10, 13}, {11, 14}, {11, 15}};  // 10 and 11 part 0 to 9 from 12 to 23
  for (int32_t v = 0; v < 9; ++v) edges.emplace_back(v, v + 1);
  for (int32_t v = 12; v < 24; ++v)
    for (int32_t u = v + 1; u < 24; ++u) edges.emplace_back(v, u);
  for (const int32_t passes : {1, 8}) {
    DissectionBench bench(host, makeGraph(24, edges));
    OrderingGraph* top = &bench.top;
    ASSERT_EQ(qz::allocateRefineStore(host.pool(), top, false), qz::LA_OK);
    for (int32_t v = 0; v < 24; ++v) top->side[v] = v < 10 ? 0 : v < 12 ? 2 : 1;
    qz::computeSeparatorState(top);
    ASSERT_EQ(qz::NodeRefineOneSided(&bench.control, top, passes), qz::LA_OK);
    EXPECT_EQ(top->partWeight[2], passes == 1 ? 2 : 1);
    expectSeparatorState(*top);
  }
}

TEST(NodeBalance, SidesWithinTheToleranceStay) {
  TestHost host;
  DissectionBench bench(host, grid(11, 10));
  OrderingGraph* top = &bench.top;
  ASSERT_EQ(qz::allocateRefineStore(host.pool(), top, false), qz::LA_OK);
  const auto cutAt = [&](int32_t column) {
    for (int32_t v = 0; v < 110; ++v) top->side[v] = v % 11 == column ? 2 : v % 11 < column ? 0 : 1;
    qz::computeSeparatorState(top);
  };
  cutAt(4);  // 40 to 60: below (1.4 - 1) 100
  ASSERT_EQ(qz::NodeBalance(&bench.control, top), qz::LA_OK);
  EXPECT_EQ(top->partWeight[0], 40);
  cutAt(3);  // 30 to 70 is as much as is allowed, and no longer below it
  ASSERT_EQ(qz::NodeBalance(&bench.control, top), qz::LA_OK);
  EXPECT_LE(std::abs(top->partWeight[0] - top->partWeight[1]), 10);
  expectSeparatorState(*top);
}

TEST(NodeBisection, SeparatesAndBalances) {
  TestHost host;
  const int64_t before = host.outstanding();
  for (const Graph& graph : {grid(30, 30), grid(10, 10, 10), shuffled(grid(60, 17), 5), randomGraph(900, 1800, 4),
                             randomTree(800, 6), shuffled(augmented(500, 700, 3, 7), 8)}) {
    for (uint32_t seed = 1; seed <= 3; ++seed) {
      SCOPED_TRACE(graph.n);
      DissectionBench bench(host, graph, randomWeights(graph.n, seed));
      bench.control.seed = static_cast<int32_t>(seed);
      const int32_t total = std::accumulate(bench.top.vertexWeight, bench.top.vertexWeight + graph.n, 0);
      const int32_t target[2] = {total / 2, total - total / 2};
      ASSERT_EQ(qz::NodeBisection(&bench.control, &bench.top, target), qz::LA_OK);
      expectSeparatorState(bench.top);
      EXPECT_LE(std::max(bench.top.partWeight[0], bench.top.partWeight[1]), 0.72 * total);
      EXPECT_EQ(bench.top.coarser, nullptr);
      EXPECT_EQ(bench.control.poolUsed, 0);
    }
  }
  EXPECT_EQ(host.outstanding(), before);
}

TEST(NodeBisection, SeparatorOfAGridIsNearItsWidth) {
  TestHost host;
  DissectionBench bench(host, shuffled(grid(20, 60), 1));
  const int32_t target[2] = {600, 600};
  ASSERT_EQ(qz::NodeBisection(&bench.control, &bench.top, target), qz::LA_OK);
  EXPECT_LE(bench.top.cutWeight, 24);
  EXPECT_GE(bench.top.cutWeight, 14);
}

TEST(NodeBisection, LimitsOfTheCoarsening) {
  TestHost host;
  for (const auto& [side, coarsenTo] : std::vector<std::pair<int32_t, int32_t>>{{10, 40}, {37, 42}, {60, 100}}) {
    DissectionBench bench(host, grid(side, side));
    const int32_t n = side * side;
    const int32_t target[2] = {n / 2, n - n / 2};
    ASSERT_EQ(qz::NodeBisection(&bench.control, &bench.top, target), qz::LA_OK);
    EXPECT_EQ(bench.control.coarsenTo, coarsenTo);
    EXPECT_EQ(bench.control.maxVertexWeight, static_cast<int32_t>(1.6 * (n / coarsenTo)));
  }
}

// `numPairs` edges between pairs of vertices among n; the rest are isolated.
Graph pairs(int32_t n, int32_t numPairs) {
  Edges edges;
  for (int32_t k = 0; k < numPairs; ++k) edges.emplace_back(2 * k, 2 * k + 1);
  return makeGraph(n, edges);
}

TEST(NodeBisection, TooLittleContractionIsReported) {
  TestHost host;
  const int32_t target[2] = {500, 500};
  // Exactly ten in a hundred vertices go away.
  DissectionBench ten(host, pairs(1000, 100));
  EXPECT_EQ(qz::NodeBisection(&ten.control, &ten.top, target), qz::ND_NO_CONTRACTION);
  EXPECT_EQ(ten.top.coarser, nullptr);
  DissectionBench eleven(host, pairs(1000, 101));
  EXPECT_EQ(qz::NodeBisection(&eleven.control, &eleven.top, target), qz::LA_OK);
  expectSeparatorState(eleven.top);
}

TEST(NodeBisection, FromAnAverageDegreeOfTwoHundredOnItGoesOnAllTheSame) {
  TestHost host;
  // Heavy vertices: none can be matched.
  for (const int32_t size : {200, 201}) {
    const Graph graph = disjointUnion({complete(size), complete(size)});
    DissectionBench bench(host, graph);
    const int32_t target[2] = {20, 20};  // maxVertexWeight 1
    const int32_t status = qz::NodeBisection(&bench.control, &bench.top, target);
    EXPECT_EQ(status, size == 200 ? qz::ND_NO_CONTRACTION : qz::LA_OK) << "average degree " << size - 1;
  }
}

TEST(NodeBisection, WithoutPairsOfAllowedWeightNothingContracts) {
  TestHost host;
  // 40 vertices: the heaviest pair may weigh 1.6 (40 / 40) = 1.
  DissectionBench bench(host, grid(5, 8));
  const int32_t target[2] = {20, 20};
  EXPECT_EQ(qz::NodeBisection(&bench.control, &bench.top, target), qz::ND_NO_CONTRACTION);
  EXPECT_EQ(bench.control.maxVertexWeight, 1);
}

TEST(NodeBisection, TwoComponentsHaveAnEmptySeparator) {
  TestHost host;
  DissectionBench bench(host, disjointUnion({grid(20, 20), grid(20, 20)}));
  const int32_t target[2] = {400, 400};
  ASSERT_EQ(qz::NodeBisection(&bench.control, &bench.top, target), qz::LA_OK);
  EXPECT_EQ(bench.top.boundaryCount, 0);
  EXPECT_EQ(bench.top.partWeight[0], 400);
  Array mark(800), start(801), list(800);
  ASSERT_EQ(qz::FindComponents(&bench.top, mark.data(), start.data(), list.data()), 2);
  EXPECT_EQ(start[1], 400);
  EXPECT_EQ(list[0], 0);
  EXPECT_EQ(list[400], 400);
}

TEST(Components, WholeGraphInTheSeparatorLeavesOneEmptyPiece) {
  TestHost host;
  DissectionBench bench(host, grid(4, 4));
  ASSERT_EQ(qz::allocateRefineStore(host.pool(), &bench.top, false), qz::LA_OK);
  for (int32_t v = 0; v < 16; ++v) bench.top.side[v] = 2;
  qz::computeSeparatorState(&bench.top);
  Array mark(16), start(17, -1), list(16);
  EXPECT_EQ(qz::FindComponents(&bench.top, mark.data(), start.data(), list.data()), 1);
  EXPECT_EQ(start[0], 0);
  EXPECT_EQ(start[1], 0);
}

// Cuts a path of n vertices at `cut` and splits it.
void splitPath(int32_t constrained, int32_t n, int32_t cut) {
  TestHost host;
  const int64_t before = host.outstanding();
  {
    DissectionBench bench(host, path(n));
    bench.control.constrained = constrained;
    ASSERT_EQ(qz::allocateRefineStore(host.pool(), &bench.top, false), qz::LA_OK);
    for (int32_t v = 0; v < n; ++v) {
      bench.top.side[v] = v < cut ? 0 : v == cut ? 2 : 1;
      bench.top.vertexLabel[v] = 1000 + v;
      bench.top.vertexWeight[v] = v + 1;
    }
    qz::computeSeparatorState(&bench.top);
    Array mark(at(n)), start(at(n) + 1), list(at(n));
    ASSERT_EQ(qz::FindComponents(&bench.top, mark.data(), start.data(), list.data()), 2);
    OrderingGraph pieces[2];
    ASSERT_EQ(qz::SplitGraphIntoComponents(&bench.control, &bench.top, pieces, 2, start.data(), list.data()),
              qz::LA_OK);
    for (const int32_t k : {0, 1}) {
      const OrderingGraph& piece = pieces[k];
      const int32_t first = k == 0 ? 0 : cut + 1;
      ASSERT_EQ(piece.numVertices, k == 0 ? cut : n - cut - 1);
      EXPECT_EQ(piece.edgeWeight != nullptr, piece.numVertices >= 200);
      for (int32_t i = 0; i < piece.numVertices; ++i) EXPECT_EQ(piece.vertexLabel[i], 1000 + first + i);
      if (constrained != 0 && piece.numVertices < 200) {
        EXPECT_EQ(piece.graphStore, nullptr);
        continue;
      }
      EXPECT_EQ(graphOf(piece).begin, path(piece.numVertices).begin);
      EXPECT_EQ(graphOf(piece).list, path(piece.numVertices).list);
      for (int32_t i = 0; i < piece.numVertices; ++i) {
        EXPECT_EQ(piece.vertexWeight[i], first + i + 1);
        EXPECT_EQ(piece.adjWeightSum[i], piece.adjBegin[i + 1] - piece.adjBegin[i]);
      }
      for (int32_t e = 0; piece.edgeWeight != nullptr && e < piece.numEdges; ++e) EXPECT_EQ(piece.edgeWeight[e], 1);
    }
    for (OrderingGraph& piece : pieces) qz::freeGraphStores(&bench.control, &piece);
  }
  EXPECT_EQ(host.outstanding(), before);
}

TEST(Components, PiecesFromTwoHundredVerticesOnAreDissected) {
  splitPath(0, 400, 199);
  splitPath(0, 401, 200);
  splitPath(1, 400, 199);
}

TEST(Components, APieceAsLargeAsItsGraphIsNot) {
  TestHost host;
  DissectionBench bench(host, path(300));
  ASSERT_EQ(qz::allocateRefineStore(host.pool(), &bench.top, false), qz::LA_OK);
  for (int32_t v = 0; v < 300; ++v) bench.top.side[v] = 0;
  qz::computeSeparatorState(&bench.top);
  Array mark(300), start(301), list(300);
  ASSERT_EQ(qz::FindComponents(&bench.top, mark.data(), start.data(), list.data()), 1);
  OrderingGraph piece;
  ASSERT_EQ(qz::SplitGraphIntoComponents(&bench.control, &bench.top, &piece, 1, start.data(), list.data()), qz::LA_OK);
  EXPECT_EQ(piece.edgeWeight, nullptr);
  qz::freeGraphStores(&bench.control, &piece);
}

}  // namespace
}  // namespace qztest
