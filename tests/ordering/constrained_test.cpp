// nd_camf: groups in sequence.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "ordering/engines.h"
#include "ordering/graphs.h"
#include "ordering/reference_engine.h"
#include "sparse/la_env.h"

namespace qztest {
namespace {

using Array = std::vector<int32_t>;

size_t at(int32_t i) {
  return static_cast<size_t>(i);
}

Array randomGroups(int32_t n, int32_t numGroups, uint32_t seed) {
  std::mt19937 random(seed);
  Array groups(at(n));
  for (int32_t& group : groups) group = static_cast<int32_t>(random() % static_cast<uint32_t>(numGroups));
  return groups;
}

// The same order with every vertex in the place that its group gives it.
Array strictSequence(const Ordered& ordered, const Array& groups) {
  Array perm = ordered.perm;
  std::stable_sort(perm.begin(), perm.end(), [&](int32_t a, int32_t b) { return groups[at(a)] < groups[at(b)]; });
  Array invPerm(perm.size());
  for (size_t k = 0; k < perm.size(); ++k) invPerm[at(perm[k])] = static_cast<int32_t>(k);
  return invPerm;
}

// Halves of a grid as groups 0 and 1, the column between them as group 2.
Array dissectedGrid(int32_t width, int32_t height) {
  Array groups;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) groups.push_back(x < width / 2 ? 0 : x > width / 2 ? 1 : 2);
  }
  return groups;
}

TEST(Constrained, LeavesComeBeforeTheirSeparator) {
  const Graph graph = grid(21, 15);
  const Array groups = dissectedGrid(21, 15);
  for (const int32_t kind : {0, 1}) {
    const Ordered ordered = runCamf(graph, groups, {kind, 0, 0, -1});
    ASSERT_EQ(ordered.status, qz::LA_OK);
    ASSERT_TRUE(isOrder(graph.n, ordered.perm, ordered.invPerm));
    // All of group 0, and with it at most the separator, comes before group 1.
    for (int32_t v = 0; v < graph.n; ++v) {
      EXPECT_TRUE(groups[at(v)] != 0 || ordered.invPerm[at(v)] < 10 * 15 + 15) << v;
    }
    const int64_t entries = symbolic(graph, ordered.invPerm).numEntries;
    const int64_t exact = symbolic(graph, exactMinimumDegree(graph)).numEntries;
    EXPECT_LE(entries, symbolic(graph, strictSequence(ordered, groups)).numEntries);
    EXPECT_LE(static_cast<double>(entries), 1.15 * static_cast<double>(exact));
  }
}

TEST(Constrained, NullGroupsAreOneGroup) {
  const Graph graph = randomGraph(200, 450, 4);
  EXPECT_EQ(runCamf(graph, {}).perm, runCamf(graph, Array(200, 0)).perm);
  EXPECT_EQ(runCamf(graph, {}).perm, runCamf(graph, Array(200, 199)).perm);
  EXPECT_EQ(runCamf(graph, {}).perm, runAmf(graph).perm);
}

TEST(Constrained, AGroupOfEachVertexGivesTheOrderOfTheGroups) {
  const Graph graph = cycle(50);
  Array groups;
  for (int32_t v = 0; v < 50; ++v) groups.push_back(v * 17 % 50);
  const Ordered ordered = runCamf(graph, groups);
  ASSERT_TRUE(isOrder(50, ordered.perm, ordered.invPerm));
  // The last three are a triangle by then: two of them are eliminated along with the third.
  for (int32_t k = 0; k < 47; ++k) EXPECT_EQ(groups[at(ordered.perm[at(k)])], k);
}

TEST(Constrained, EqualNeighboursOfDifferentGroupsStayApart) {
  // The vertices 0 to 5 have the same neighbours 6 to 9; only those of one group may merge. The four are group 2.
  Edges edges;
  for (int32_t a = 0; a < 6; ++a) {
    for (int32_t b = 6; b < 10; ++b) edges.emplace_back(a, b);
  }
  // A tail keeps the four from being leaves of an element.
  for (int32_t b = 6; b < 10; ++b) edges.emplace_back(b, b + 4);
  const Graph graph = makeGraph(14, edges);
  const Array groups{1, 0, 1, 0, 1, 0, 2, 2, 2, 2, 3, 3, 3, 3};
  const Ordered ordered = runCamf(graph, groups);
  ASSERT_TRUE(isOrder(14, ordered.perm, ordered.invPerm));
  for (int32_t k = 0; k < 6; ++k) EXPECT_EQ(groups[at(ordered.perm[at(k)])], k < 3 ? 0 : 1) << k;
  EXPECT_EQ(ordered.invPerm, referenceOrder(graph, {true, 0, denseBySize(graph), groups}));
}

TEST(Constrained, AVertexDoesNotWaitForAnEqualOneOfALaterGroup) {
  // Once 4 is eliminated, 1 and 2 have the same neighbours 0 and 3, but are of the groups 1 and 2.
  const Graph graph =
      makeGraph(10, {{4, 1}, {4, 2}, {1, 0}, {2, 0}, {1, 3}, {2, 3}, {0, 5}, {5, 6}, {3, 7}, {7, 8}, {8, 9}});
  const Array groups{2, 1, 2, 2, 0, 2, 2, 2, 2, 2};
  const Ordered ordered = runCamf(graph, groups);
  ASSERT_TRUE(isOrder(10, ordered.perm, ordered.invPerm));
  EXPECT_EQ(ordered.perm[0], 4);
  EXPECT_LE(ordered.invPerm[1], 2) << "2 may come along with it, nothing else";
}

TEST(Constrained, EqualsThePlainEngineVertexForVertex) {
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    const int32_t n = 15 + static_cast<int32_t>(seed * 29 % 160);
    const Graph graph = seed % 4 == 0   ? withDenseRows(n, n, 1, seed)
                        : seed % 4 == 1 ? augmented(n / 2, n - n / 2, 2, seed)
                        : seed % 4 == 2 ? randomTree(n, seed)
                                        : randomGraph(n, 2 * n, seed);
    const Array groups = randomGroups(n, 1 + static_cast<int32_t>(seed % 7), seed);
    const int32_t kind = static_cast<int32_t>(seed % 2);
    const Ordered ordered = runCamf(graph, groups, {kind, 0, 0, -1});
    ASSERT_EQ(ordered.status, qz::LA_OK) << "seed " << seed;
    ASSERT_TRUE(isOrder(n, ordered.perm, ordered.invPerm)) << "seed " << seed;
    EXPECT_EQ(ordered.invPerm, referenceOrder(graph, {true, kind, denseBySize(graph), groups})) << "seed " << seed;
  }
}

// A vertex comes before one of a lower group only along with a pivot of such a group whose element holds all its
// neighbours; that never adds fill.
TEST(Constrained, VerticesThatComeEarlyCostNoFill) {
  int32_t early = 0;
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    const Graph graph = seed % 2 == 0 ? randomGraph(80, 130, seed) : shuffled(grid(9, 9), seed);
    const Array groups = randomGroups(graph.n, 3, seed);
    const Ordered ordered = runCamf(graph, groups);
    const Array strict = strictSequence(ordered, groups);
    if (strict != ordered.invPerm) ++early;
    EXPECT_LE(symbolic(graph, ordered.invPerm).numEntries, symbolic(graph, strict).numEntries) << "seed " << seed;
  }
  EXPECT_GT(early, 0) << "no such vertex: the test has no teeth";
}

TEST(Constrained, IsolatedVerticesStayInTheirGroup) {
  const Graph graph = makeGraph(8, {{1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 6}});
  const Array groups{3, 0, 0, 1, 2, 2, 3, 0};
  const Ordered ordered = runCamf(graph, groups);
  ASSERT_TRUE(isOrder(8, ordered.perm, ordered.invPerm));
  EXPECT_LT(ordered.invPerm[7], 3) << "the isolated vertex of the first group";
  EXPECT_GE(ordered.invPerm[0], 6) << "the isolated vertex of the last group";
}

TEST(Constrained, DenseVerticesAreLastWhateverTheirGroup) {
  const Graph graph = disjointUnion({star(300, 150), path(50)});
  Array groups(350, 1);
  groups[150] = 0;
  const Ordered ordered = runCamf(graph, groups);
  ASSERT_TRUE(isOrder(350, ordered.perm, ordered.invPerm));
  EXPECT_EQ(ordered.invPerm[150], 349);
}

TEST(Constrained, ElbowRoomDoesNotChangeTheOrder) {
  const Graph graph = grid(14, 12);
  const Array groups = dissectedGrid(14, 12);
  const Array order = runCamf(graph, groups, {0, 0, 0, 5000}).perm;
  for (int32_t room = 0; room <= graph.n; ++room) {
    const Ordered ordered = runCamf(graph, groups, {0, 0, 0, room});
    EXPECT_EQ(ordered.perm, order) << room;
  }
}

}  // namespace
}  // namespace qztest
