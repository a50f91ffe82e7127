#include "ordering/edge_cut.h"

#include <algorithm>
#include <cstdlib>

#include "ordering/array_helpers.h"
#include "ordering/boundary.h"
#include "ordering/priority_queue.h"
#include "ordering/work_space.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

bool hasEdges(const OrderingGraph& graph, int32_t v) {
  return graph.adjBegin[v + 1] > graph.adjBegin[v];
}

int32_t gainOf(const OrderingGraph& graph, int32_t v) {
  return graph.externalDegree[v] - graph.internalDegree[v];
}

// A neighbour of a moved vertex: its gain before, and whether it was on the boundary.
struct Before {
  int32_t gain;
  bool onBoundary;
};

// Moves v across the cut; calls changed(u, before) for each neighbour, whose degrees and place are up to date then.
template <class Changed>
void moveAcross(OrderingGraph& graph, int32_t v, Changed changed) {
  const int32_t from = graph.side[v];
  const int32_t to = 1 - from;
  graph.cutWeight -= gainOf(graph, v);
  graph.partWeight[from] -= graph.vertexWeight[v];
  graph.partWeight[to] += graph.vertexWeight[v];
  graph.side[v] = to;
  std::swap(graph.internalDegree[v], graph.externalDegree[v]);
  const bool belongs = graph.externalDegree[v] > 0 || !hasEdges(graph, v);
  if (belongs && !onBoundary(graph, v)) addToBoundary(graph, v);
  if (!belongs && onBoundary(graph, v)) removeFromBoundary(graph, v);
  for (int32_t k = graph.adjBegin[v]; k < graph.adjBegin[v + 1]; ++k) {
    const int32_t u = graph.adjList[k];
    const Before before{gainOf(graph, u), onBoundary(graph, u)};
    const int32_t weight = graph.side[u] == to ? graph.edgeWeight[k] : -graph.edgeWeight[k];
    graph.internalDegree[u] += weight;
    graph.externalDegree[u] -= weight;
    if (before.onBoundary && graph.externalDegree[u] == 0) removeFromBoundary(graph, u);
    if (!before.onBoundary && graph.externalDegree[u] > 0) addToBoundary(graph, u);
    changed(u, before);
  }
}

// Brings the queue of a vertex that waits only while it is on the boundary up to date.
void followBoundary(const OrderingGraph& graph, PQueueMax* queue, int32_t u, const Before& before) {
  const bool now = onBoundary(graph, u);
  if (before.onBoundary && now) {
    PQueueMaxUpdate(queue, u, before.gain, gainOf(graph, u));
  } else if (before.onBoundary) {
    PQueueMaxDelete(queue, u, before.gain);
  } else if (now) {
    PQueueMaxInsert(queue, u, gainOf(graph, u));
  }
}

// Both ways of balancing; fromBoundary tells which.
int32_t balance(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights, bool fromBoundary) {
  const int32_t n = graph->numVertices;
  const int32_t excess = std::abs(targetWeights[0] - graph->partWeight[0]);
  const int32_t from = graph->partWeight[0] >= targetWeights[0] ? 0 : 1;
  const int32_t to = 1 - from;
  int32_t* moved = intSet(n, -1, poolmalloc(control, n));
  int32_t* perm = poolmalloc(control, n);
  PQueueMax queue;
  const int32_t status = PQueueMaxInit(control, &queue, n, graph->adjWeightSum[maxIndex(n, graph->adjWeightSum)]);
  if (status == LA_OK) {
    const auto waits = [&](int32_t v) { return graph->side[v] == from && graph->vertexWeight[v] <= excess; };
    const int32_t candidates = fromBoundary ? graph->boundaryCount : n;
    RandomPermute(candidates, perm, control);
    for (int32_t i = 0; i < candidates; ++i) {
      const int32_t v = fromBoundary ? graph->boundaryList[perm[i]] : perm[i];
      if (waits(v)) PQueueMaxInsert(&queue, v, gainOf(*graph, v));
    }
    for (int32_t k = 0; k < n; ++k) {
      const int32_t v = PQueueMaxGetMax(&queue);
      if (v < 0 || graph->partWeight[to] + graph->vertexWeight[v] > targetWeights[to]) break;
      moved[v] = k;
      moveAcross(*graph, v, [&](int32_t u, const Before& before) {
        if (moved[u] >= 0 || !waits(u)) return;
        if (fromBoundary) {
          followBoundary(*graph, &queue, u, before);
        } else {
          PQueueMaxUpdate(&queue, u, before.gain, gainOf(*graph, u));
        }
      });
    }
    PQueueMaxFree(control, &queue);
  }
  poolfree(control, n);
  poolfree(control, n);
  return status;
}

// What the passes of the refinement share.
struct EdgeRefinement {
  const int32_t* target;
  int32_t band;   // imbalance up to which a lower cut counts
  int32_t limit;  // moves without a better state that a pass goes on
  int32_t* perm;
  int32_t* swaps;  // vertices by move
  int32_t* moved;  // move of a vertex, or -1
  PQueueMax queue[2];
};

int32_t imbalanceOf(const OrderingGraph& graph, const EdgeRefinement& r) {
  return std::abs(r.target[0] - graph.partWeight[0]);
}

void fillQueues(OrderingControl* control, OrderingGraph* graph, EdgeRefinement& r) {
  PQueueMaxReset(&r.queue[0]);
  PQueueMaxReset(&r.queue[1]);
  RandomPermute(graph->boundaryCount, r.perm, control);
  for (int32_t i = 0; i < graph->boundaryCount; ++i) {
    const int32_t v = graph->boundaryList[r.perm[i]];
    PQueueMaxInsert(&r.queue[graph->side[v]], v, gainOf(*graph, v));
  }
}

// One pass; false when it ends the refinement.
bool edgePass(OrderingControl* control, OrderingGraph* graph, EdgeRefinement& r) {
  fillQueues(control, graph, r);
  const int32_t startCut = graph->cutWeight;
  int32_t bestCut = startCut;
  int32_t bestImbalance = imbalanceOf(*graph, r);
  int32_t bestMove = -1;
  int32_t moves = 0;
  for (; moves < graph->numVertices; ++moves) {
    const int32_t from = r.target[0] - graph->partWeight[0] >= r.target[1] - graph->partWeight[1] ? 1 : 0;
    const int32_t v = PQueueMaxGetMax(&r.queue[from]);
    if (v < 0) break;
    const int32_t cut = graph->cutWeight - gainOf(*graph, v);
    const int32_t weight0 = graph->partWeight[0] + (from == 0 ? -graph->vertexWeight[v] : graph->vertexWeight[v]);
    const int32_t imbalance = std::abs(r.target[0] - weight0);
    if ((cut < bestCut && imbalance <= r.band) || (cut == bestCut && imbalance < bestImbalance)) {
      bestCut = cut;
      bestImbalance = imbalance;
      bestMove = moves;
    } else if (moves - bestMove > r.limit) {
      break;
    }
    r.moved[v] = moves;
    r.swaps[moves] = v;
    moveAcross(*graph, v, [&](int32_t u, const Before& before) {
      if (r.moved[u] < 0) followBoundary(*graph, &r.queue[graph->side[u]], u, before);
    });
  }
  for (int32_t k = 0; k < moves; ++k) r.moved[r.swaps[k]] = -1;
  for (int32_t k = moves - 1; k > bestMove; --k) {
    moveAcross(*graph, r.swaps[k], [](int32_t, const Before&) {});
  }
  return bestMove >= 0 && graph->cutWeight != startCut;
}

}  // namespace

void Compute2WayPartitionParams(OrderingGraph* graph) {
  const int32_t n = graph->numVertices;
  intSet(3, 0, graph->partWeight);
  intSet(n, -1, graph->boundaryPos);
  graph->boundaryCount = 0;
  int32_t doubledCut = 0;
  for (int32_t v = 0; v < n; ++v) {
    const int32_t side = graph->side[v];
    graph->partWeight[side] += graph->vertexWeight[v];
    int32_t internal = 0;
    int32_t external = 0;
    for (int32_t k = graph->adjBegin[v]; k < graph->adjBegin[v + 1]; ++k) {
      (graph->side[graph->adjList[k]] == side ? internal : external) += graph->edgeWeight[k];
    }
    graph->internalDegree[v] = internal;
    graph->externalDegree[v] = external;
    if (external > 0 || !hasEdges(*graph, v)) {
      addToBoundary(*graph, v);
      doubledCut += external;
    }
  }
  graph->cutWeight = doubledCut / 2;
}

int32_t Bnd2WayBalance(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights) {
  return balance(control, graph, targetWeights, true);
}

int32_t General2WayBalance(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights) {
  return balance(control, graph, targetWeights, false);
}

int32_t refineEdgeCut(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights) {
  constexpr int32_t maxPasses = 4;
  const int32_t n = graph->numVertices;
  const int64_t total = static_cast<int64_t>(graph->partWeight[0]) + graph->partWeight[1];
  EdgeRefinement r{};
  r.target = targetWeights;
  r.limit = std::clamp(static_cast<int32_t>(0.01 * n), 15, 100);
  r.band = static_cast<int32_t>(std::min(total / 20, 2 * total / n)) + imbalanceOf(*graph, r);
  r.perm = poolmalloc(control, n);
  r.swaps = poolmalloc(control, n);
  r.moved = intSet(n, -1, poolmalloc(control, n));
  const int32_t maxGain = graph->adjWeightSum[maxIndex(n, graph->adjWeightSum)];
  int32_t status = PQueueMaxInit(control, &r.queue[0], n, maxGain);
  if (status == LA_OK) status = PQueueMaxInit(control, &r.queue[1], n, maxGain);
  if (status == LA_OK) {
    for (int32_t pass = 0; pass < maxPasses && edgePass(control, graph, r); ++pass) {
    }
  }
  PQueueMaxFree(control, &r.queue[1]);
  PQueueMaxFree(control, &r.queue[0]);
  poolfree(control, n);
  poolfree(control, n);
  poolfree(control, n);
  return status;
}

}  // namespace qz
