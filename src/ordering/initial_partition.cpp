#include "ordering/initial_partition.h"

#include <algorithm>
#include <cstdlib>

#include "ordering/array_helpers.h"
#include "ordering/edge_cut.h"
#include "ordering/work_space.h"
#include "shell/pool.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

// Scratch of the growing, and the weights that end it.
struct Growth {
  int32_t* queue;
  int32_t* touched;
  int32_t minWeight1;
  int32_t maxWeight1;
};

// An untouched vertex, chosen uniformly.
int32_t pickUntouched(OrderingControl* control, const OrderingGraph* graph, const Growth& growth, int32_t numTouched) {
  int32_t ahead = randomIndex(control, graph->numVertices - numTouched);
  for (int32_t v = 0;; ++v) {
    if (growth.touched[v] == 0 && ahead-- == 0) return v;
  }
}

// Grows side 0 from a random vertex, breadth first, until side 1 is small enough.
void growSide(OrderingControl* control, OrderingGraph* graph, int32_t totalWeight, const Growth& growth) {
  const int32_t n = graph->numVertices;
  intSet(n, 1, graph->side);
  intSet(n, 0, growth.touched);
  int32_t weight0 = 0;
  int32_t weight1 = totalWeight;
  int32_t first = 0;
  int32_t last = 0;
  const auto append = [&](int32_t v) {
    growth.queue[last++] = v;
    growth.touched[v] = 1;
  };
  append(randomIndex(control, n));
  for (;;) {
    if (first == last) {
      if (last == n) break;
      append(pickUntouched(control, graph, growth, last));
    }
    const int32_t v = growth.queue[first++];
    const int32_t weight = graph->vertexWeight[v];
    if (weight0 > 0 && weight1 - weight < growth.minWeight1) {
      if (first == last) break;
      continue;
    }
    graph->side[v] = 0;
    weight0 += weight;
    weight1 -= weight;
    if (weight1 <= growth.maxWeight1) break;
    for (int32_t k = graph->adjBegin[v]; k < graph->adjBegin[v + 1]; ++k) {
      if (growth.touched[graph->adjList[k]] == 0) append(graph->adjList[k]);
    }
  }
  if (weight1 == 0) graph->side[randomIndex(control, n)] = 1;
}

// Balances a bisection that is well off its targets and outside of the tolerance above them.
int32_t balanceIfNeeded(OrderingControl* control, OrderingGraph* graph, const int32_t* target) {
  const int32_t* weight = graph->partWeight;
  const int64_t total = static_cast<int64_t>(weight[0]) + weight[1];
  if (std::abs(target[0] - weight[0]) < 3 * total / graph->numVertices) return LA_OK;
  for (const int32_t side : {0, 1}) {
    const auto allowed = static_cast<int32_t>(target[side] * control->balanceFactor);
    if (weight[side] > target[side] && weight[side] < allowed) return LA_OK;
  }
  if (graph->boundaryCount > 0) return Bnd2WayBalance(control, graph, target);
  return General2WayBalance(control, graph, target);
}

int32_t runTrials(OrderingControl* control, OrderingGraph* graph, const int32_t* target, const Growth& growth,
                  int32_t* bestSide) {
  const int32_t n = graph->numVertices;
  const int32_t trials = n <= control->coarsenTo ? 3 : 8;
  int32_t bestCut = sumInt(n, graph->adjWeightSum) + 1;
  for (int32_t trial = 0; trial < trials && bestCut > 0; ++trial) {
    growSide(control, graph, target[0] + target[1], growth);
    Compute2WayPartitionParams(graph);
    int32_t status = balanceIfNeeded(control, graph, target);
    if (status != LA_OK) return status;
    status = refineEdgeCut(control, graph, target);
    if (status != LA_OK) return status;
    if (graph->cutWeight < bestCut) {
      bestCut = graph->cutWeight;
      std::copy(graph->side, graph->side + n, bestSide);
    }
  }
  graph->cutWeight = bestCut;
  std::copy(bestSide, bestSide + n, graph->side);
  return LA_OK;
}

}  // namespace

int32_t allocateRefineStore(QzPool* memory, OrderingGraph* graph, bool withDegrees) {
  const int64_t n = graph->numVertices;
  const int64_t lists = 3 + 3 * n;
  const int64_t gains = lists + lists % 2;
  graph->refineStore = poolAllocate<int32_t>(memory, gains + (withDegrees ? 4 * n : 2 * n));
  if (graph->refineStore == nullptr) return LA_NO_MEMORY;
  graph->partWeight = graph->refineStore;
  graph->side = graph->partWeight + 3;
  graph->boundaryPos = graph->side + n;
  graph->boundaryList = graph->boundaryPos + n;
  graph->nodeGain = reinterpret_cast<int32_t(*)[2]>(graph->refineStore + gains);
  if (withDegrees) {
    graph->internalDegree = graph->refineStore + gains + 2 * n;
    graph->externalDegree = graph->internalDegree + n;
  }
  return LA_OK;
}

int32_t Init2WayPartition(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights) {
  int32_t status = allocateRefineStore(control->env->memory, graph, true);
  if (status != LA_OK) return status;
  const int32_t n = graph->numVertices;
  Growth growth{};
  growth.queue = poolmalloc(control, n);
  growth.touched = poolmalloc(control, n);
  growth.minWeight1 = static_cast<int32_t>(targetWeights[1] / control->balanceFactor);
  growth.maxWeight1 = static_cast<int32_t>(control->balanceFactor * targetWeights[1]);
  int32_t* bestSide = poolmalloc(control, n);
  status = runTrials(control, graph, targetWeights, growth, bestSide);
  poolfree(control, n);
  poolfree(control, n);
  poolfree(control, n);
  return status;
}

}  // namespace qz
