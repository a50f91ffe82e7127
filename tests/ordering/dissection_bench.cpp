#include "ordering/dissection_bench.h"

#include <gtest/gtest.h>

#include "ordering/components.h"
#include "ordering/dense_vertices.h"
#include "ordering/work_space.h"
#include "shell/host_table.h"
#include "shell/pool.h"

namespace qztest {

DissectionBench::DissectionBench(TestHost& host, const Graph& graph, const std::vector<int32_t>& weights)
    : begin(graph.begin), list(graph.list), work(8 * static_cast<size_t>(graph.n) + 8, -77777) {
  env.memory = host.pool();
  control.env = &env;
  control.breakState = qz::hostCurrentThread();
  control.seed = 4321;
  control.balanceFactor = 1.4;
  control.numTopVertices = graph.n;
  control.coarsenTo = 40;
  control.maxVertexWeight = 1000000;
  control.separatorList = work.data() + graph.n;
  control.componentWork = work.data() + 2 * graph.n;
  EXPECT_EQ(qz::RemoveDenseVertices(&top, graph.n, begin.data(), list.data(), work.data(), nullptr, 1e9, env.memory),
            qz::LA_OK);
  EXPECT_EQ(qz::AllocateWorkSpace(&control, &top), qz::LA_OK);
  for (size_t v = 0; v < weights.size(); ++v) top.vertexWeight[v] = weights[v];
}

DissectionBench::~DissectionBench() {
  qz::freeGraphStores(&control, &top);
  auto* block = static_cast<char*>(control.workBlock);
  qz::poolFree(env.memory, block);
}

Graph graphOf(const qz::OrderingGraph& level) {
  Graph graph;
  graph.n = level.numVertices;
  graph.begin.assign(level.adjBegin, level.adjBegin + level.numVertices + 1);
  graph.list.assign(level.adjList, level.adjList + level.numEdges);
  return graph;
}

void expectSeparatorState(const qz::OrderingGraph& graph) {
  int32_t weight[3] = {0, 0, 0};
  int32_t onSeparator = 0;
  for (int32_t v = 0; v < graph.numVertices; ++v) {
    const int32_t side = graph.side[v];
    ASSERT_TRUE(side >= 0 && side <= 2);
    weight[side] += graph.vertexWeight[v];
    int32_t gain[2] = {0, 0};
    for (int32_t k = graph.adjBegin[v]; k < graph.adjBegin[v + 1]; ++k) {
      const int32_t u = graph.adjList[k];
      if (side != 2) {
        EXPECT_NE(graph.side[u], 1 - side) << "edge across the separator";
      } else if (graph.side[u] != 2) {
        gain[graph.side[u]] += graph.vertexWeight[u];
      }
    }
    if (side != 2) {
      EXPECT_EQ(graph.boundaryPos[v], -1);
      continue;
    }
    ++onSeparator;
    ASSERT_GE(graph.boundaryPos[v], 0);
    ASSERT_LT(graph.boundaryPos[v], graph.boundaryCount);
    EXPECT_EQ(graph.boundaryList[graph.boundaryPos[v]], v);
    EXPECT_EQ(graph.nodeGain[v][0], gain[0]);
    EXPECT_EQ(graph.nodeGain[v][1], gain[1]);
  }
  EXPECT_EQ(onSeparator, graph.boundaryCount);
  for (int32_t side = 0; side < 3; ++side) EXPECT_EQ(graph.partWeight[side], weight[side]);
  EXPECT_EQ(graph.cutWeight, weight[2]);
}

}  // namespace qztest
