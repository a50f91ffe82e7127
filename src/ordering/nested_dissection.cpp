#include "ordering/nested_dissection.h"

#include "ordering/array_helpers.h"
#include "ordering/components.h"
#include "ordering/multiple_minimum_degree.h"
#include "ordering/node_bisection.h"
#include "ordering/work_space.h"
#include "shell/host_table.h"
#include "shell/pool.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

void recordSeparator(OrderingControl* control, const OrderingGraph* graph, int32_t* invPerm, int32_t lastPos) {
  if (graph->boundaryCount == 0) return;
  if (control->constrained != 0) {
    ++control->numSeparatorGroups;
    const int32_t group = control->numTopVertices - control->numSeparatorGroups;
    for (int32_t i = 0; i < graph->boundaryCount; ++i) {
      control->groupId[graph->vertexLabel[graph->boundaryList[i]]] = group;
    }
    return;
  }
  for (int32_t i = 0; i < graph->boundaryCount; ++i) {
    const int32_t label = graph->vertexLabel[graph->boundaryList[i]];
    invPerm[label] = lastPos - 1 - i;
    control->separatorList[control->numSeparatorVertices++] = label;
  }
}

// Orders, or groups, a piece that is not dissected further, and frees it.
void finishLeaf(OrderingControl* control, OrderingGraph* piece, int32_t* invPerm, int32_t lastPos) {
  if (piece->numVertices == 0) {
    // Nothing was left beside the separator.
  } else if (control->constrained != 0) {
    for (int32_t i = 0; i < piece->numVertices; ++i) control->groupId[piece->vertexLabel[i]] = control->numLeafGroups;
    ++control->numLeafGroups;
  } else if (piece->numVertices == 1) {
    invPerm[piece->vertexLabel[0]] = lastPos - 1;
  } else {
    const int64_t size = mmdOrderWork(piece->numVertices);
    MMDOrder(piece, invPerm, lastPos, poolmalloc(control, size));
    poolfree(control, size);
  }
  freeGraphStores(control, piece);
}

int32_t orderPieces(OrderingControl* control, OrderingGraph* pieces, int32_t count, int32_t* invPerm, int32_t lastPos) {
  int32_t status = threadCancelled(control->breakState) ? LA_CANCELLED : LA_OK;
  for (int32_t i = 0; i < count; ++i) {
    const int32_t numVertices = pieces[i].numVertices;
    if (status != LA_OK) {
      freeGraphStores(control, &pieces[i]);
    } else if (pieces[i].edgeWeight != nullptr) {
      status = NestedDissection(control, &pieces[i], invPerm, lastPos);
    } else {
      finishLeaf(control, &pieces[i], invPerm, lastPos);
    }
    lastPos -= numVertices;
  }
  return status;
}

// The pieces that the bisected graph falls into; the graph is freed in any case.
int32_t splitGraph(OrderingControl* control, OrderingGraph* graph, PoolArray<OrderingGraph>* pieces) {
  int32_t* mark = control->componentWork;
  int32_t* compStart = mark + graph->numVertices;
  int32_t* compList = compStart + graph->numVertices + 1;
  const int32_t count = FindComponents(graph, mark, compStart, compList);
  int32_t status = LA_NO_MEMORY;
  if (pieces->allocate(control->env->memory, count) == QZ_STATUS_OK) {
    status = SplitGraphIntoComponents(control, graph, pieces->get(), count, compStart, compList);
  }
  freeGraphStores(control, graph);
  return status;
}

}  // namespace

int32_t NestedDissection(OrderingControl* control, OrderingGraph* graph, int32_t* invPerm, int32_t lastPos) {
  const int32_t total = sumInt(graph->numVertices, graph->vertexWeight);
  const int32_t targetWeights[2] = {total / 2, total - total / 2};
  int32_t status = NodeBisection(control, graph, targetWeights);
  if (status != LA_OK) {
    freeGraphStores(control, graph);
    return status;
  }
  recordSeparator(control, graph, invPerm, lastPos);
  lastPos -= graph->boundaryCount;
  PoolArray<OrderingGraph> pieces;
  status = splitGraph(control, graph, &pieces);
  if (status != LA_OK) return status;
  return orderPieces(control, pieces.get(), static_cast<int32_t>(pieces.size()), invPerm, lastPos);
}

}  // namespace qz
