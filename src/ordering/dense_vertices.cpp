#include "ordering/dense_vertices.h"

#include <algorithm>

#include "ordering/array_helpers.h"
#include "shell/pool.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

// Fills `work` as told in the header; returns the number of kept vertices and the sum of their degrees.
int32_t sortOutDense(int32_t n, const int32_t* adjBegin, double threshold, int32_t* work, int64_t* degreeSum) {
  int32_t kept = 0;
  int32_t dense = 0;
  *degreeSum = 0;
  for (int32_t v = 0; v < n; ++v) {
    const int32_t degree = adjBegin[v + 1] - adjBegin[v];
    const bool keep = degree < threshold;
    const int32_t place = keep ? kept++ : n - ++dense;
    work[n + v] = place;
    work[place] = v;
    if (keep) *degreeSum += degree;
  }
  return kept;
}

// Rewrites the adjacency without the dense vertices; returns the number of entries.
int32_t dropDense(int32_t n, int32_t kept, int32_t* adjBegin, int32_t* adjList, const int32_t* place) {
  int32_t numEdges = 0;
  int32_t begin = adjBegin[0];
  for (int32_t v = 0; v < n; ++v) {
    const int32_t end = adjBegin[v + 1];
    if (place[v] < kept) {
      adjBegin[place[v]] = numEdges;
      for (int32_t k = begin; k < end; ++k) {
        const int32_t neighbour = place[adjList[k]];
        if (neighbour < kept) adjList[numEdges++] = neighbour;
      }
    }
    begin = end;
  }
  adjBegin[kept] = numEdges;
  return numEdges;
}

}  // namespace

int32_t RemoveDenseVertices(OrderingGraph* graph, int32_t n, int32_t* adjBegin, int32_t* adjList, int32_t* work,
                            const int32_t* vertexWeights, double denseFactor, QzPool* memory) {
  InitGraph(graph);
  const int32_t numEntries = adjBegin[n];
  const int32_t meanDegree = n > 0 ? numEntries / n : 0;
  int64_t degreeSum = 0;
  const int32_t kept =
      sortOutDense(n, adjBegin, meanDegree > 0 ? denseFactor * meanDegree : denseFactor, work, &degreeSum);
  // Of the entries of the dense vertices, all but those among themselves have a counterpart at a kept vertex.
  const int64_t dense = n - kept;
  const int64_t bound = 2 * degreeSum - numEntries + dense * (dense - 1);
  const int64_t estimate = dense == 0 ? numEntries : std::max<int64_t>(std::min(degreeSum, bound), 0);

  graph->graphStore = poolAllocate<int32_t>(memory, estimate + 3 * static_cast<int64_t>(kept));
  if (graph->graphStore == nullptr) return LA_NO_MEMORY;
  graph->vertexLabel = poolAllocate<int32_t>(memory, kept);
  if (graph->vertexLabel == nullptr) return LA_NO_MEMORY;
  const int32_t numEdges = dense == 0 ? numEntries : dropDense(n, kept, adjBegin, adjList, work + n);
  if (numEdges > estimate) return LA_INCONSISTENT;
  graph->numVertices = kept;
  graph->numEdges = numEdges;
  graph->adjBegin = adjBegin;
  graph->adjList = adjList;
  graph->vertexWeight = graph->graphStore;
  graph->adjWeightSum = graph->vertexWeight + kept;
  graph->coarseMap = graph->adjWeightSum + kept;
  graph->edgeWeight = intSet(numEdges, 1, graph->coarseMap + kept);
  for (int32_t v = 0; v < kept; ++v) {
    graph->vertexWeight[v] = vertexWeights != nullptr ? vertexWeights[v] + 3 : 1;
    graph->adjWeightSum[v] = adjBegin[v + 1] - adjBegin[v];
    graph->vertexLabel[v] = v;
  }
  return LA_OK;
}

}  // namespace qz
