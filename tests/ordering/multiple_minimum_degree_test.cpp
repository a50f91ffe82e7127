#include "ordering/multiple_minimum_degree.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "ordering/graphs.h"

namespace qztest {
namespace {

using Array = std::vector<int32_t>;

// Position of each vertex by mmd, from 0; checks that both results are inverse.
Array runMmd(const Graph& graph, int32_t delta, int32_t maxInt) {
  const auto size = static_cast<size_t>(graph.n) + 1;
  Array begin = graph.begin;
  Array list = graph.list;
  for (int32_t& b : begin) ++b;
  for (int32_t& v : list) ++v;
  std::vector<Array> w(6, Array(size, -55));
  qz::mmd(graph.n, begin.data(), list.data(), w[0].data(), w[1].data(), delta, w[2].data(), w[3].data(), w[4].data(),
          w[5].data(), maxInt);
  Array position;
  for (size_t v = 1; v < size; ++v) {
    EXPECT_EQ(w[1][static_cast<size_t>(w[0][v])], static_cast<int32_t>(v));
    position.push_back(w[0][v] - 1);
  }
  return position;
}

Array inverse(const Array& position) {
  Array perm(position.size(), -1);
  for (size_t v = 0; v < position.size(); ++v) perm[static_cast<size_t>(position[v])] = static_cast<int32_t>(v);
  return perm;
}

std::vector<Graph> manyGraphs() {
  std::vector<Graph> graphs{makeGraph(1, {}),
                            makeGraph(5, {}),
                            makeGraph(2, {{0, 1}}),
                            path(17),
                            cycle(31),
                            star(40, 3),
                            complete(12),
                            shuffled(grid(13, 15), 1),
                            shuffled(grid(5, 6, 6), 2),
                            randomTree(150, 4),
                            randomKTree(120, 4, 5),
                            withDenseRows(150, 200, 3, 6),
                            disjointUnion({makeGraph(7, {}), cycle(20), complete(6), path(9)})};
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    graphs.push_back(randomGraph(20 + static_cast<int32_t>(seed) * 3, 60 + static_cast<int32_t>(seed) * 7, seed));
  }
  return graphs;
}

TEST(MultipleMinimumDegree, GivesAnOrderOfEveryGraph) {
  for (const Graph& graph : manyGraphs()) {
    for (const int32_t delta : {-1, 0, 1, 3}) {
      const Array position = runMmd(graph, delta, INT32_MAX);
      EXPECT_TRUE(isOrder(graph.n, inverse(position), position)) << graph.n << " vertices, delta " << delta;
    }
  }
}

TEST(MultipleMinimumDegree, OrderDoesNotDependOnTheRangeOfMarks) {
  for (const Graph& graph : manyGraphs()) {
    EXPECT_EQ(runMmd(graph, 1, 2 * graph.n + 10), runMmd(graph, 1, INT32_MAX)) << graph.n << " vertices";
  }
}

TEST(MultipleMinimumDegree, FillIsThatOfExactMinimumDegree) {
  // With delta 1 a path and its like lose: vertices of degree 2 go along with the ends.
  double ratio[2] = {0.0, 0.0};
  int32_t count = 0;
  for (const Graph& graph : manyGraphs()) {
    const auto exact = static_cast<double>(symbolic(graph, exactMinimumDegree(graph)).numEntries);
    for (const int32_t delta : {0, 1}) {
      const auto entries = static_cast<double>(symbolic(graph, runMmd(graph, delta, INT32_MAX)).numEntries);
      EXPECT_LE(entries, (delta == 0 ? 1.15 : 1.5) * exact) << graph.n << " vertices, delta " << delta;
      ratio[delta] += entries / exact;
    }
    ++count;
  }
  EXPECT_LE(ratio[0] / count, 1.02);
  EXPECT_LE(ratio[1] / count, 1.04);
}

TEST(MultipleMinimumDegree, SingleEliminationTakesAVertexOfLeastDegree) {
  // Without multiple elimination every supervariable is of least external degree when its turn comes.
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    const Graph graph = randomGraph(40, 90, seed);
    const Array position = runMmd(graph, -1, INT32_MAX);
    const int64_t entries = symbolic(graph, position).numEntries;
    const int64_t exact = symbolic(graph, exactMinimumDegree(graph)).numEntries;
    EXPECT_LE(static_cast<double>(entries), 1.15 * static_cast<double>(exact)) << "seed " << seed;
  }
}

TEST(MultipleMinimumDegree, TreesAndChordalGraphsGetNoFill) {
  for (const Graph& graph : {randomTree(180, 1), path(99), star(60, 5), complete(25)}) {
    EXPECT_EQ(symbolic(graph, runMmd(graph, 0, INT32_MAX)).numEntries, graph.n + graph.numEntries() / 2);
  }
}

// A piece of a dissection made of a graph, with labels 10, 11, ...
struct Piece {
  explicit Piece(const Graph& graph) : begin(graph.begin), list(graph.list) {
    qz::InitGraph(&record);
    record.numVertices = graph.n;
    record.numEdges = graph.numEntries();
    record.adjBegin = begin.data();
    record.adjList = list.data();
    for (int32_t v = 0; v < graph.n; ++v) label.push_back(10 + v);
    record.vertexLabel = label.data();
    work.assign(static_cast<size_t>(qz::mmdOrderWork(graph.n)), -3);
    invPerm.assign(static_cast<size_t>(graph.n) + 10, -1);
  }
  Array begin, list, label, work, invPerm;
  qz::OrderingGraph record;
};

TEST(MultipleMinimumDegree, PieceGetsThePositionsBelowItsEnd) {
  for (const Graph& graph : {makeGraph(2, {{0, 1}}), makeGraph(6, {}), grid(9, 11), makeGraph(0, {})}) {
    Piece piece(graph);
    qz::MMDOrder(&piece.record, piece.invPerm.data(), 500, piece.work.data());
    EXPECT_EQ(piece.begin, graph.begin) << "numbered from 0 again";
    Array positions(piece.invPerm.begin() + 10, piece.invPerm.end());
    for (int32_t& p : positions) p -= 500 - graph.n;
    EXPECT_TRUE(isOrder(graph.n, inverse(positions), positions));
    for (int32_t v = 0; v < 10; ++v) EXPECT_EQ(piece.invPerm[static_cast<size_t>(v)], -1);
  }
}

TEST(MultipleMinimumDegree, IsolatedVerticesKeepTheirSequence) {
  Piece piece(makeGraph(6, {}));
  qz::MMDOrder(&piece.record, piece.invPerm.data(), 6, piece.work.data());
  for (int32_t v = 0; v < 6; ++v) EXPECT_EQ(piece.invPerm[static_cast<size_t>(v) + 10], v);
}

}  // namespace
}  // namespace qztest
