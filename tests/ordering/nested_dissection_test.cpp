// Nested dissection as a whole, through OrderGraph.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "ordering/dissection_bench.h"
#include "ordering/engines.h"
#include "ordering/graphs.h"
#include "ordering/nested_dissection.h"
#include "ordering/order_graph.h"
#include "shell/random.h"
#include "sparse/la_env.h"

namespace qztest {
namespace {

using Array = std::vector<int32_t>;

size_t at(int32_t i) {
  return static_cast<size_t>(i);
}

OrderRequest dissection(int32_t kind = 1) {
  OrderRequest request;
  request.problemKind = kind;
  request.isLDL = kind == 0 ? 0 : 1;
  request.method = qz::ORDER_NESTED_DISSECTION;
  return request;
}

std::vector<Graph> largeGraphs() {
  return {grid(40, 40),
          shuffled(grid(12, 12, 12), 1),
          shuffled(gridWithDiagonals(30, 40), 2),
          path(3000),
          cycle(1501),
          randomTree(2000, 3),
          randomGraph(1500, 2500, 4),
          randomGraph(1000, 6000, 5),
          randomKTree(1200, 3, 6),
          shuffled(augmented(700, 900, 3, 7), 8),
          withDenseRows(1500, 2500, 2, 9),
          disjointUnion({grid(20, 20), cycle(300), path(250), makeGraph(40, {}), complete(30), grid(6, 7)}),
          disjointUnion({star(400, 3), shuffled(grid(30, 30), 4)})};
}

TEST(NestedDissection, GivesAnOrderOfEveryGraphAndTheSameOneAgain) {
  TestHost host;
  const int64_t before = host.outstanding();
  for (const Graph& graph : largeGraphs()) {
    for (const int32_t kind : {0, 1, 2, 5}) {
      const GraphOrder order = runOrderGraph(host, graph, dissection(kind));
      ASSERT_EQ(order.status, qz::LA_OK);
      EXPECT_EQ(order.method, qz::ORDER_NESTED_DISSECTION);
      EXPECT_TRUE(isOrder(graph.n, order.perm, order.invPerm)) << graph.n;
      EXPECT_EQ(order.perm, runOrderGraph(host, graph, dissection(kind)).perm);
      EXPECT_EQ(host.outstanding(), before);
    }
  }
}

TEST(NestedDissection, EveryRequestButThreeMeansDissection) {
  TestHost host;
  const Graph graph = grid(25, 25);
  for (const int32_t method : {2, 3, 4, 77, -2}) {
    OrderRequest request = dissection();
    request.method = method;
    const GraphOrder order = runOrderGraph(host, graph, request);
    EXPECT_EQ(order.method, qz::ORDER_NESTED_DISSECTION);
    EXPECT_EQ(order.perm, runOrderGraph(host, graph, dissection()).perm);
  }
}

TEST(NestedDissection, SeedDecidesTheOrder) {
  TestHost host;
  OrderRequest request = dissection();
  const Array byDefault = runOrderGraph(host, grid(40, 40), request).perm;
  request.seed = 4321;
  EXPECT_EQ(runOrderGraph(host, grid(40, 40), request).perm, byDefault);
  request.seed = 99;
  const GraphOrder other = runOrderGraph(host, grid(40, 40), request);
  EXPECT_NE(other.perm, byDefault);
  EXPECT_TRUE(isOrder(1600, other.perm, other.invPerm));
}

TEST(NestedDissection, SeedIsAdvancedOnceAheadOfTheDissection) {
  TestHost host;
  const Graph graph = grid(40, 40);
  OrderRequest request = dissection();
  request.pullSeparators = 0;
  request.seed = 99;
  request.balanceFactor = 1.4;
  const GraphOrder order = runOrderGraph(host, graph, request);
  DissectionBench bench(host, graph);
  ASSERT_EQ(bench.control.balanceFactor, request.balanceFactor);
  uint32_t state = 99;
  qz::qzRand(&state);
  bench.control.seed = static_cast<int32_t>(state);
  Array invPerm(at(graph.n), -1);
  ASSERT_EQ(qz::NestedDissection(&bench.control, &bench.top, invPerm.data(), graph.n), qz::LA_OK);
  EXPECT_EQ(order.invPerm, invPerm);
}

TEST(NestedDissection, PullingSeparatorsLeavesTheFillAlone) {
  TestHost host;
  for (const Graph& graph : largeGraphs()) {
    OrderRequest request = dissection();
    const GraphOrder pulled = runOrderGraph(host, graph, request);
    request.pullSeparators = 0;
    const GraphOrder plain = runOrderGraph(host, graph, request);
    ASSERT_TRUE(isOrder(graph.n, plain.perm, plain.invPerm));
    EXPECT_EQ(symbolic(graph, pulled.invPerm).numEntries, symbolic(graph, plain.invPerm).numEntries) << graph.n;
  }
}

// The vertices by pieces of the graph that are left without those at positions from `first` on: sizes, descending.
Array pieceSizes(const Graph& graph, const Array& invPerm, int32_t first) {
  Array sizes, stack;
  std::vector<bool> seen(at(graph.n));
  for (int32_t s = 0; s < graph.n; ++s) {
    if (seen[at(s)] || invPerm[at(s)] >= first) continue;
    sizes.push_back(0);
    stack.assign(1, s);
    seen[at(s)] = true;
    while (!stack.empty()) {
      const int32_t v = stack.back();
      stack.pop_back();
      ++sizes.back();
      for (int32_t k = graph.begin[at(v)]; k < graph.begin[at(v) + 1]; ++k) {
        const int32_t u = graph.list[at(k)];
        if (seen[at(u)] || invPerm[at(u)] >= first) continue;
        seen[at(u)] = true;
        stack.push_back(u);
      }
    }
  }
  std::sort(sizes.rbegin(), sizes.rend());
  return sizes;
}

TEST(NestedDissection, LastVerticesSeparateTheRest) {
  // The last 24 to 30 vertices of a 24 by 40 grid hold the first separator: they cut it in balanced halves.
  TestHost host;
  const Graph graph = shuffled(grid(24, 40), 3);
  const GraphOrder order = runOrderGraph(host, graph, dissection());
  int32_t cut = 1;
  while (cut < 60 && pieceSizes(graph, order.invPerm, graph.n - cut)[0] > 0.72 * graph.n) ++cut;
  EXPECT_LE(cut, 30);
  // Without all separators only pieces of fewer than 200 vertices are left. They come first.
  int32_t first = graph.n;
  while (pieceSizes(graph, order.invPerm, first)[0] >= 200) --first;
  EXPECT_GE(first, 0.75 * graph.n);
}

TEST(NestedDissection, SmallPiecesAreInMinimumDegreeOrder) {
  // Two grids of 198 vertices side by side: an empty separator, and each gets multiple minimum degree.
  TestHost host;
  const Graph graph = disjointUnion({grid(11, 18), grid(11, 18)});
  const GraphOrder order = runOrderGraph(host, graph, dissection());
  EXPECT_EQ(order.method, qz::ORDER_NESTED_DISSECTION);
  const int64_t exact = 2 * symbolic(grid(11, 18), exactMinimumDegree(grid(11, 18))).numEntries;
  EXPECT_LE(static_cast<double>(symbolic(graph, order.invPerm).numEntries), 1.12 * static_cast<double>(exact));
  // The first component takes the last positions, and the second the first.
  for (int32_t v = 0; v < 198; ++v) EXPECT_GE(order.invPerm[at(v)], 198);
}

TEST(NestedDissection, FillOnMeshesBeatsMinimumDegree) {
  TestHost host;
  for (const Graph& graph : {shuffled(grid(16, 16, 16), 1), shuffled(grid(70, 70), 2)}) {
    const int64_t dissected = symbolic(graph, runOrderGraph(host, graph, dissection()).invPerm).numEntries;
    EXPECT_LT(dissected, symbolic(graph, runAmd(graph).invPerm).numEntries);
  }
}

TEST(NestedDissection, AGraphThatDoesNotContractFallsBackOnMinimumFill) {
  TestHost host;
  // Below a weight of 80 no two vertices may be matched.
  for (const Graph& graph : {grid(7, 11), path(79), cycle(40)}) {
    for (const int32_t constrained : {0, 1}) {
      OrderRequest request = dissection();
      request.constrained = constrained;
      const GraphOrder order = runOrderGraph(host, graph, request);
      ASSERT_EQ(order.status, qz::LA_OK);
      EXPECT_EQ(order.method, qz::ORDER_AMF);
      EXPECT_EQ(order.numDense, 0);
      EXPECT_EQ(order.perm, runAmf(graph, {1, 0, 1, -1}).perm);
      EXPECT_TRUE(isOrder(graph.n, order.perm, order.invPerm));
    }
  }
  EXPECT_EQ(runOrderGraph(host, path(81), dissection()).method, qz::ORDER_NESTED_DISSECTION);
}

TEST(NestedDissection, StarsOfFiftyAndFiftyOneVertices) {
  TestHost host;
  const GraphOrder fifty = runOrderGraph(host, star(50, 7), dissection());
  EXPECT_EQ(fifty.status, qz::LA_OK);
  EXPECT_EQ(fifty.numDense, 0);
  EXPECT_EQ(fifty.method, qz::ORDER_AMF);
  const GraphOrder more = runOrderGraph(host, star(51, 7), dissection());
  EXPECT_EQ(more.status, qz::LA_OK);
  EXPECT_EQ(more.invPerm[7], 50);
  EXPECT_EQ(more.numDense, 1);
  EXPECT_EQ(more.method, qz::ORDER_AMF);
  EXPECT_TRUE(isOrder(51, more.perm, more.invPerm));
}

TEST(NestedDissection, DenseVerticesAreLastInReverse) {
  TestHost host;
  const Graph mesh = shuffled(grid(35, 35), 4);
  Edges edges;
  for (int32_t v = 0; v < mesh.n; ++v) {
    for (int32_t k = mesh.begin[at(v)]; k < mesh.begin[at(v) + 1]; ++k) edges.emplace_back(v + 1, mesh.list[at(k)] + 1);
    edges.emplace_back(0, v + 1);
    edges.emplace_back(mesh.n + 1, v + 1);
  }
  const Graph graph = makeGraph(mesh.n + 2, edges);
  for (const int32_t pull : {0, 1}) {
    OrderRequest request = dissection();
    request.pullSeparators = pull;
    const GraphOrder order = runOrderGraph(host, graph, request);
    ASSERT_EQ(order.status, qz::LA_OK);
    EXPECT_EQ(order.method, qz::ORDER_NESTED_DISSECTION);
    EXPECT_EQ(order.numDense, 2);
    EXPECT_EQ(order.invPerm[0], graph.n - 1);
    EXPECT_EQ(order.invPerm[at(mesh.n + 1)], graph.n - 2);
    EXPECT_TRUE(isOrder(graph.n, order.perm, order.invPerm));
    // The rest is ordered as if the dense vertices were not there, with the balance that the average degree asks for.
    request.balanceFactor = 1.4;
    const GraphOrder without = runOrderGraph(host, mesh, request);
    for (int32_t v = 0; v < mesh.n; ++v) EXPECT_EQ(order.invPerm[at(v + 1)], without.invPerm[at(v)]);
  }
}

TEST(NestedDissection, AllVerticesMayBeDense) {
  TestHost host;
  OrderRequest request = dissection();
  request.denseFactor = 0.5;
  const GraphOrder order = runOrderGraph(host, cycle(30), request);
  EXPECT_EQ(order.status, qz::LA_OK);
  EXPECT_EQ(order.numDense, 30);
  EXPECT_EQ(order.method, qz::ORDER_AMF);
  EXPECT_TRUE(isOrder(30, order.perm, order.invPerm));
}

TEST(NestedDissection, VertexWeightsShiftTheSeparator) {
  TestHost host;
  const Graph graph = path(1000);
  Array weights(1000, -2);
  for (int32_t v = 0; v < 500; ++v) weights[at(v)] = 7;  // 10 to 1
  OrderRequest request = dissection();
  request.balanceFactor = 1.2;
  const int32_t even = runOrderGraph(host, graph, request).perm[999];
  request.vertexWeights = weights.data();
  const int32_t shifted = runOrderGraph(host, graph, request).perm[999];
  EXPECT_GT(even, 350);
  EXPECT_LT(even, 650);
  EXPECT_LT(shifted, 400);
}

TEST(NestedDissection, AnyWeightsBalanceAndDenseVerticesGiveAnOrder) {
  TestHost host;
  const int64_t before = host.outstanding();
  std::vector<Graph> graphs = largeGraphs();
  graphs.push_back(star(600, 0));
  graphs.push_back(disjointUnion({star(300, 5), complete(250), cycle(210)}));
  graphs.push_back(complete(320));
  graphs.push_back(withDenseRows(500, 600, 6, 11));
  for (uint32_t seed = 1; seed <= 3; ++seed) {
    std::mt19937 random(seed);
    for (const Graph& graph : graphs) {
      Array weights(at(graph.n));
      const uint32_t range = seed == 3 ? 400 : 2;
      for (int32_t& w : weights) w = static_cast<int32_t>(random() % range) - 2;
      for (const double balance : {1.0, 1.05, 3.0}) {
        for (const int32_t constrained : {0, 1}) {
          OrderRequest request = dissection();
          request.vertexWeights = weights.data();
          request.balanceFactor = balance;
          request.denseFactor = 1e9;  // none is removed
          request.seed = static_cast<int32_t>(seed);
          request.constrained = constrained;
          const GraphOrder order = runOrderGraph(host, graph, request);
          ASSERT_EQ(order.status, qz::LA_OK);
          EXPECT_TRUE(isOrder(graph.n, order.perm, order.invPerm)) << graph.n << " vertices, seed " << seed;
          EXPECT_EQ(order.numDense, 0);
          EXPECT_EQ(host.outstanding(), before);
          for (int32_t v = 0; constrained != 0 && order.method == 2 && v < graph.n; ++v) {
            ASSERT_TRUE(order.groupId[at(v)] >= 0 && order.groupId[at(v)] < graph.n);
          }
        }
      }
    }
  }
}

// Groups of a constrained run: contiguous numbers, leaves below separators, no edge between two leaf groups.
void expectGroups(const Graph& graph, const GraphOrder& order) {
  const int32_t m = graph.n - order.numDense;
  const Array groups(order.groupId.begin(), order.groupId.begin() + m);
  const std::set<int32_t> numbers(groups.begin(), groups.end());
  EXPECT_EQ(*numbers.begin(), 0);
  EXPECT_EQ(*numbers.rbegin(), static_cast<int32_t>(numbers.size()) - 1) << "a gap";
  ASSERT_TRUE(isOrder(graph.n, order.perm, order.invPerm));
  for (int32_t k = 1; k < m; ++k) EXPECT_LT(order.perm[at(k - 1)], order.perm[at(k)]);
  // An edge between different groups ends in the higher one, which is a separator of both: among the groups adjacent to
  // a leaf there is no other leaf. Leaves are those of no lower neighbour.
  std::map<int32_t, std::set<int32_t>> lower;
  for (int32_t i = 0; i < m; ++i) {
    const int32_t v = order.perm[at(i)];
    for (int32_t k = graph.begin[at(v)]; k < graph.begin[at(v) + 1]; ++k) {
      const int32_t j = order.invPerm[at(graph.list[at(k)])];
      if (j < m && groups[at(j)] < groups[at(i)]) lower[groups[at(i)]].insert(groups[at(j)]);
    }
  }
  int32_t firstSeparator = static_cast<int32_t>(numbers.size());
  for (const auto& entry : lower) firstSeparator = std::min(firstSeparator, entry.first);
  EXPECT_LT(firstSeparator, static_cast<int32_t>(numbers.size()));
  std::map<int32_t, int32_t> size;
  for (const int32_t g : groups) ++size[g];
  for (const auto& [group, count] : size) {
    EXPECT_TRUE(group >= firstSeparator || count < 200) << "leaf " << group;
  }
}

TEST(NestedDissection, ConstrainedModeNumbersGroupsWithoutAGap) {
  TestHost host;
  for (const Graph& graph : {shuffled(grid(40, 40), 1), shuffled(grid(12, 12, 12), 2), cycle(1501),
                             disjointUnion({star(400, 3), shuffled(grid(30, 30), 4)})}) {
    OrderRequest request = dissection();
    request.constrained = 1;
    const GraphOrder order = runOrderGraph(host, graph, request);
    ASSERT_EQ(order.status, qz::LA_OK);
    ASSERT_EQ(order.method, qz::ORDER_NESTED_DISSECTION);
    expectGroups(graph, order);
  }
}

TEST(NestedDissection, DenseVerticesLeaveTheGroupsAlone) {
  TestHost host;
  OrderRequest request = dissection();
  request.constrained = 1;
  request.balanceFactor = 1.2;
  const Graph mesh = shuffled(grid(30, 30), 4);
  const GraphOrder kept = runOrderGraph(host, disjointUnion({makeGraph(399, {}), mesh}), request);
  const GraphOrder all = runOrderGraph(host, disjointUnion({star(400, 3), mesh}), request);
  ASSERT_EQ(kept.status, qz::LA_OK);
  ASSERT_EQ(all.status, qz::LA_OK);
  ASSERT_EQ(kept.numDense, 0);
  ASSERT_EQ(all.numDense, 1);
  EXPECT_EQ(Array(all.groupId.begin(), all.groupId.end() - 1), kept.groupId);
}

TEST(NestedDissection, GroupsInSequenceGiveFillNearThatOfTheDissection) {
  TestHost host;
  for (const Graph& graph : {shuffled(grid(50, 50), 1), shuffled(grid(13, 13, 13), 2)}) {
    OrderRequest request = dissection();
    const int64_t plain = symbolic(graph, runOrderGraph(host, graph, request).invPerm).numEntries;
    request.constrained = 1;
    const GraphOrder grouped = runOrderGraph(host, graph, request);
    ASSERT_EQ(grouped.numDense, 0);
    const Ordered order = runCamf(graph, grouped.groupId, {1, 0, 0, -1});
    ASSERT_EQ(order.status, qz::LA_OK);
    ASSERT_TRUE(isOrder(graph.n, order.perm, order.invPerm));
    EXPECT_LE(static_cast<double>(symbolic(graph, order.invPerm).numEntries), 1.05 * static_cast<double>(plain));
    // The groups stand in sequence but for what a lower group's pivots took along.
    int32_t inSequence = 0;
    for (int32_t k = 1; k < graph.n; ++k) {
      inSequence += grouped.groupId[at(order.perm[at(k - 1)])] <= grouped.groupId[at(order.perm[at(k)])] ? 1 : 0;
    }
    EXPECT_GE(inSequence, 0.9 * graph.n);
  }
}

TEST(NestedDissection, EveryFailedAllocationIsReportedAndFreesAll) {
  TestHost host;
  const int64_t before = host.outstanding();
  for (const int32_t constrained : {0, 1}) {
    OrderRequest request = dissection();
    request.constrained = constrained;
    for (const Graph& graph :
         {shuffled(grid(22, 22), 1), disjointUnion({star(300, 3), grid(15, 20), makeGraph(5, {}), cycle(40)})}) {
      int64_t k = 0;
      for (int32_t status = qz::LA_NO_MEMORY; status != qz::LA_OK;) {
        host.failAllocation(++k);
        status = runOrderGraph(host, graph, request).status;
        host.failAllocation(0);
        ASSERT_TRUE(status == qz::LA_OK || status == qz::LA_NO_MEMORY) << k;
        ASSERT_EQ(host.outstanding(), before) << k;
      }
      EXPECT_GT(k, 20);
    }
  }
}

TEST(NestedDissection, CancelledThreadGivesThirteen) {
  TestHost host;
  const int64_t before = host.outstanding();
  for (const int32_t constrained : {0, 1}) {
    OrderRequest request = dissection();
    request.constrained = constrained;
    host.cancelThread(true);
    EXPECT_EQ(runOrderGraph(host, grid(30, 30), request).status, qz::LA_CANCELLED);
    EXPECT_EQ(runOrderGraph(host, path(60), request).status, qz::LA_CANCELLED) << "in the engine fallen back on";
    host.cancelThread(false);
    EXPECT_EQ(host.outstanding(), before);
    EXPECT_EQ(runOrderGraph(host, grid(30, 30), request).status, qz::LA_OK);
  }
}

// A pool in front of the host's that cancels the thread at its k-th allocation, or at the k-th block that comes back.
struct CancellingPool {
  QzPool pool;
  TestHost* host;
  int64_t allocationsLeft;
  int64_t freesLeft;
};

void* cancelAndAllocate(QzPool* pool, uint64_t size, uint32_t flags) {
  auto* self = reinterpret_cast<CancellingPool*>(pool);
  if (--self->allocationsLeft == 0) self->host->cancelThread(true);
  return self->host->pool()->allocate(self->host->pool(), size, flags);
}

void cancelAndFree(QzPool* pool, void* memory) {
  auto* self = reinterpret_cast<CancellingPool*>(pool);
  if (--self->freesLeft == 0) self->host->cancelThread(true);
  self->host->pool()->free(self->host->pool(), memory);
}

// The status of a dissection behind such a pool, whose counts are lowered.
int32_t dissectBehind(TestHost& host, CancellingPool& pool, const Graph& graph) {
  pool.pool.allocate = cancelAndAllocate;
  pool.pool.free = cancelAndFree;
  pool.host = &host;
  Array begin = graph.begin, list = graph.list, work(8 * at(graph.n) + 8), perm(at(graph.n)), invPerm(at(graph.n)),
        groupId(at(graph.n));
  list.resize(list.size() + at(graph.n));
  qz::LAEnv env{};
  env.memory = &pool.pool;
  int32_t numDense = 0;
  int32_t method = 2;
  const int32_t status =
      qz::OrderGraph(&env, graph.n, begin.data(), list.data(), static_cast<int32_t>(list.size()), 1, nullptr, 1,
                     perm.data(), invPerm.data(), &numDense, &method, 1, 0, groupId.data(), 0, work.data(), 0.0, -1.0);
  host.cancelThread(false);
  return status;
}

TEST(NestedDissection, CancelledAtAnyMomentItEndsAndFreesAll) {
  TestHost host;
  const Graph graph = shuffled(grid(25, 25), 2);
  const int64_t before = host.outstanding();
  int32_t finished = 0;
  for (int64_t k = 1; finished == 0 && k < 1000; ++k) {
    CancellingPool pool{};
    pool.allocationsLeft = k;
    const int32_t status = dissectBehind(host, pool, graph);
    EXPECT_EQ(status, pool.allocationsLeft <= 0 ? qz::LA_CANCELLED : qz::LA_OK) << k;
    if (pool.allocationsLeft > 0) finished = 1;
    ASSERT_EQ(host.outstanding(), before) << k;
  }
  EXPECT_EQ(finished, 1);
}

// Behind the last piece nothing polls any more but the caller of the dissection itself. Only when its own work area
// goes back it is done.
TEST(NestedDissection, CancelledBehindItsLastPieceItSaysSo) {
  TestHost host;
  const Graph graph = shuffled(grid(25, 25), 2);
  CancellingPool counting{};
  ASSERT_EQ(dissectBehind(host, counting, graph), qz::LA_OK);
  const int64_t frees = -counting.freesLeft;
  for (int64_t k = frees - 10; k <= frees; ++k) {
    CancellingPool pool{};
    pool.freesLeft = k;
    EXPECT_EQ(dissectBehind(host, pool, graph), k < frees ? qz::LA_CANCELLED : qz::LA_OK) << k << " of " << frees;
  }
}

}  // namespace
}  // namespace qztest
