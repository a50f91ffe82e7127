#include "ordering/separator.h"

#include <algorithm>

#include "ordering/array_helpers.h"

namespace qz {

void computeSeparatorState(OrderingGraph* graph) {
  const int32_t n = graph->numVertices;
  intSet(3, 0, graph->partWeight);
  intSet(n, -1, graph->boundaryPos);
  graph->boundaryCount = 0;
  for (int32_t v = 0; v < n; ++v) {
    graph->partWeight[graph->side[v]] += graph->vertexWeight[v];
    if (graph->side[v] != 2) continue;
    addToBoundary(*graph, v);
    int32_t* gain = graph->nodeGain[v];
    gain[0] = 0;
    gain[1] = 0;
    for (int32_t k = graph->adjBegin[v]; k < graph->adjBegin[v + 1]; ++k) {
      const int32_t u = graph->adjList[k];
      if (graph->side[u] != 2) gain[graph->side[u]] += graph->vertexWeight[u];
    }
  }
  graph->cutWeight = graph->partWeight[2];
}

int32_t largestNeighbourWeight(const OrderingGraph* graph) {
  int32_t largest = -graph->numVertices;
  for (int32_t v = 0; v < graph->numVertices; ++v) {
    int32_t weight = 0;
    for (int32_t k = graph->adjBegin[v]; k < graph->adjBegin[v + 1]; ++k) {
      weight += graph->vertexWeight[graph->adjList[k]];
    }
    largest = std::max(largest, weight);
  }
  return largest;
}

void undoMove(OrderingGraph* graph, int32_t v, const int32_t* pulled, int32_t count) {
  const int32_t to = graph->side[v];
  const int32_t other = 1 - to;
  enterSeparator(*graph, v);
  for (int32_t k = graph->adjBegin[v]; k < graph->adjBegin[v + 1]; ++k) {
    const int32_t u = graph->adjList[k];
    if (graph->side[u] == 2) {
      graph->nodeGain[u][to] -= graph->vertexWeight[v];
    } else {
      graph->nodeGain[v][graph->side[u]] += graph->vertexWeight[u];
    }
  }
  for (int32_t i = 0; i < count; ++i) {
    const int32_t u = pulled[i];
    const int32_t weight = graph->vertexWeight[u];
    removeFromBoundary(*graph, u);
    graph->partWeight[2] -= weight;
    graph->partWeight[other] += weight;
    graph->side[u] = other;
    for (int32_t k = graph->adjBegin[u]; k < graph->adjBegin[u + 1]; ++k) {
      const int32_t w = graph->adjList[k];
      if (graph->side[w] == 2) graph->nodeGain[w][other] += weight;
    }
  }
}

}  // namespace qz
