#include "ordering/components.h"

#include "ordering/array_helpers.h"
#include "ordering/work_space.h"
#include "shell/pool.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

// Room for the graph of a piece whose vertices have numEntries neighbours in all.
int32_t allocatePiece(QzPool* memory, OrderingGraph* piece, int64_t numEntries, bool dissect) {
  const int64_t c = piece->numVertices;
  piece->graphStore = poolAllocate<int32_t>(memory, 4 * c + (dissect ? 2 : 1) * numEntries + 1);
  if (piece->graphStore == nullptr) return LA_NO_MEMORY;
  piece->adjBegin = piece->graphStore;
  piece->vertexWeight = piece->adjBegin + c + 1;
  piece->adjWeightSum = piece->vertexWeight + c;
  piece->coarseMap = piece->adjWeightSum + c;
  piece->adjList = piece->coarseMap + c;
  piece->edgeWeight = dissect ? piece->adjList + numEntries : nullptr;
  return LA_OK;
}

// newNumber: number of each vertex in the piece.
void copyAdjacency(const OrderingGraph& graph, const int32_t* vertices, const int32_t* newNumber,
                   OrderingGraph* piece) {
  int32_t numEdges = 0;
  piece->adjBegin[0] = 0;
  for (int32_t i = 0; i < piece->numVertices; ++i) {
    const int32_t v = vertices[i];
    const bool nearSeparator = graph.boundaryPos[v] >= 0;
    const int32_t start = numEdges;
    for (int32_t k = graph.adjBegin[v]; k < graph.adjBegin[v + 1]; ++k) {
      const int32_t u = graph.adjList[k];
      if (!nearSeparator || graph.side[u] != 2) piece->adjList[numEdges++] = newNumber[u];
    }
    piece->vertexWeight[i] = graph.vertexWeight[v];
    piece->adjWeightSum[i] = numEdges - start;
    piece->adjBegin[i + 1] = numEdges;
  }
  piece->numEdges = numEdges;
  if (piece->edgeWeight != nullptr) intSet(numEdges, 1, piece->edgeWeight);
}

int32_t makePiece(const OrderingControl* control, const OrderingGraph& graph, const int32_t* vertices,
                  int32_t numVertices, int32_t* newNumber, OrderingGraph* piece) {
  QzPool* memory = control->env->memory;
  piece->numVertices = numVertices;
  piece->vertexLabel = poolAllocate<int32_t>(memory, numVertices);
  if (piece->vertexLabel == nullptr) return LA_NO_MEMORY;
  for (int32_t i = 0; i < numVertices; ++i) piece->vertexLabel[i] = graph.vertexLabel[vertices[i]];
  // An empty separator that leaves the graph whole would be found again and again.
  const bool dissect = numVertices >= ND_DISSECT_FROM && numVertices < graph.numVertices;
  if (control->constrained != 0 && !dissect) return LA_OK;
  int64_t numEntries = 0;
  for (int32_t i = 0; i < numVertices; ++i) {
    newNumber[vertices[i]] = i;
    numEntries += graph.adjBegin[vertices[i] + 1] - graph.adjBegin[vertices[i]];
  }
  const int32_t status = allocatePiece(memory, piece, numEntries, dissect);
  if (status == LA_OK) copyAdjacency(graph, vertices, newNumber, piece);
  return status;
}

}  // namespace

int32_t FindComponents(const OrderingGraph* graph, int32_t* mark, int32_t* compStart, int32_t* compList) {
  const int32_t n = graph->numVertices;
  intSet(n, 0, mark);
  for (int32_t i = 0; i < graph->boundaryCount; ++i) mark[graph->boundaryList[i]] = 1;
  int32_t count = 0;
  int32_t found = 0;
  compStart[0] = 0;
  for (int32_t start = 0; start < n; ++start) {
    if (mark[start] != 0) continue;
    mark[start] = 1;
    compList[found++] = start;
    for (int32_t next = compStart[count]; next < found; ++next) {
      const int32_t v = compList[next];
      for (int32_t k = graph->adjBegin[v]; k < graph->adjBegin[v + 1]; ++k) {
        const int32_t u = graph->adjList[k];
        if (mark[u] != 0) continue;
        mark[u] = 1;
        compList[found++] = u;
      }
    }
    compStart[++count] = found;
  }
  if (count > 0) return count;
  compStart[1] = 0;
  return 1;
}

int32_t SplitGraphIntoComponents(OrderingControl* control, OrderingGraph* graph, OrderingGraph* pieces, int32_t count,
                                 const int32_t* compStart, const int32_t* compList) {
  const int32_t n = graph->numVertices;
  // From here on boundaryPos flags the neighbours of the separator: all others keep their whole lists.
  intSet(n, -1, graph->boundaryPos);
  for (int32_t i = 0; i < graph->boundaryCount; ++i) {
    const int32_t v = graph->boundaryList[i];
    for (int32_t k = graph->adjBegin[v]; k < graph->adjBegin[v + 1]; ++k) graph->boundaryPos[graph->adjList[k]] = 1;
  }
  for (int32_t i = 0; i < count; ++i) InitGraph(&pieces[i]);
  int32_t* newNumber = poolmalloc(control, n);
  int32_t status = LA_OK;
  for (int32_t i = 0; i < count && status == LA_OK; ++i) {
    status =
        makePiece(control, *graph, compList + compStart[i], compStart[i + 1] - compStart[i], newNumber, &pieces[i]);
  }
  poolfree(control, n);
  if (status != LA_OK) {
    for (int32_t i = 0; i < count; ++i) freeGraphStores(control, &pieces[i]);
  }
  return status;
}

void freeGraphStores(const OrderingControl* control, OrderingGraph* graph) {
  QzPool* memory = control->env->memory;
  poolFree(memory, graph->graphStore);
  poolFree(memory, graph->refineStore);
  poolFree(memory, graph->vertexLabel);
}

}  // namespace qz
