#include "ordering/node_balance.h"

#include <cstdlib>

#include "ordering/array_helpers.h"
#include "ordering/priority_queue.h"
#include "ordering/separator.h"
#include "ordering/work_space.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

bool isBalanced(const OrderingControl& control, const OrderingGraph& graph) {
  const int32_t* weight = graph.partWeight;
  const int32_t difference = std::abs(weight[0] - weight[1]);
  const int64_t sides = static_cast<int64_t>(weight[0]) + weight[1];
  return difference < static_cast<int64_t>((control.balanceFactor - 1.0) * static_cast<double>(sides)) ||
         difference < 3 * (sides + weight[2]) / graph.numVertices;
}

void moveToLighterSide(OrderingControl* control, OrderingGraph& graph, PQueueMax* queue, int32_t* perm,
                       int32_t* moved) {
  const int32_t to = graph.partWeight[0] < graph.partWeight[1] ? 0 : 1;
  const int32_t other = 1 - to;
  const int64_t half = (static_cast<int64_t>(graph.partWeight[0]) + graph.partWeight[1]) / 2;
  RandomPermute(graph.boundaryCount, perm, control);
  for (int32_t i = 0; i < graph.boundaryCount; ++i) {
    const int32_t v = graph.boundaryList[perm[i]];
    PQueueMaxInsert(queue, v, separatorGain(graph, v, to));
  }
  for (int32_t k = 0; k < graph.numVertices; ++k) {
    const int32_t v = PQueueMaxGetMax(queue);
    if (v < 0) return;
    moved[v] = 1;
    // It would pull so much into the separator that the heavier side became the lighter one.
    if (graph.partWeight[other] - graph.nodeGain[v][other] < half) continue;
    moveToSide(
        graph, v, to, [](int32_t, int32_t) {},
        [&](int32_t u, int32_t weight) {
          if (moved[u] != 0) return;
          const int32_t gain = separatorGain(graph, u, to);
          PQueueMaxUpdateUp(queue, u, gain - weight, gain);
        },
        [&](int32_t u) { PQueueMaxInsert(queue, u, separatorGain(graph, u, to)); });
    if (graph.partWeight[to] > graph.partWeight[other]) return;
  }
}

}  // namespace

int32_t NodeBalance(OrderingControl* control, OrderingGraph* graph) {
  if (isBalanced(*control, *graph)) return LA_OK;
  const int32_t n = graph->numVertices;
  int32_t* perm = poolmalloc(control, n);
  int32_t* moved = intSet(n, 0, poolmalloc(control, n));
  PQueueMax queue;
  const int32_t status = PQueueMaxInit(control, &queue, n, largestNeighbourWeight(graph));
  if (status == LA_OK) {
    moveToLighterSide(control, *graph, &queue, perm, moved);
    graph->cutWeight = graph->partWeight[2];
  }
  PQueueMaxFree(control, &queue);
  poolfree(control, n);
  poolfree(control, n);
  return status;
}

}  // namespace qz
