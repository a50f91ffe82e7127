#include "ordering/node_refinement.h"

#include <algorithm>
#include <cstdlib>

#include "ordering/array_helpers.h"
#include "ordering/priority_queue.h"
#include "ordering/separator.h"
#include "ordering/work_space.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

// What `moved` holds of a vertex that has not been moved in this pass.
constexpr int32_t kUnmoved = -1;
// A vertex that was pulled into the separator from side x waits in the queue of the other side only.
constexpr int32_t pulledFrom(int32_t x) {
  return -x - 2;
}

// Scratch and limits of the passes. queue[to]: separator vertices that would move to side `to`.
struct NodePasses {
  OrderingGraph* graph;
  int32_t maxWeight;  // of a side after a move
  int32_t* perm;
  int32_t* swaps;        // vertices by move
  int32_t* pulledStart;  // by move, one more: where the vertices that it pulled stand in `pulled`
  int32_t* pulled;       // a vertex is pulled twice at most
  int32_t* moved;        // move of a vertex, or a negative mark
  PQueueMax queue[2];
  // Of the pass:
  int32_t limit;  // moves without a better state that it goes on
  int32_t moves;
  int32_t bestMove;
  int32_t bestWeight;
  int32_t bestImbalance;
};

int32_t openPasses(OrderingControl* control, OrderingGraph* graph, int32_t numQueues, NodePasses* p) {
  const int32_t n = graph->numVertices;
  *p = NodePasses{};
  p->graph = graph;
  const double half = 0.5 * sumInt(3, graph->partWeight);
  p->maxWeight = static_cast<int32_t>(half * control->balanceFactor);
  p->perm = poolmalloc(control, n);
  p->swaps = poolmalloc(control, n);
  p->pulledStart = poolmalloc(control, static_cast<int64_t>(n) + 1);
  p->pulled = poolmalloc(control, 2 * static_cast<int64_t>(n));
  p->moved = intSet(n, kUnmoved, poolmalloc(control, n));
  const int32_t maxGain = largestNeighbourWeight(graph);
  int32_t status = PQueueMaxInit(control, &p->queue[0], n, maxGain);
  if (status == LA_OK && numQueues == 2) status = PQueueMaxInit(control, &p->queue[1], n, maxGain);
  return status;
}

void closePasses(OrderingControl* control, NodePasses* p) {
  const int32_t n = p->graph->numVertices;
  PQueueMaxFree(control, &p->queue[1]);
  PQueueMaxFree(control, &p->queue[0]);
  poolfree(control, n);
  poolfree(control, 2 * static_cast<int64_t>(n));
  poolfree(control, static_cast<int64_t>(n) + 1);
  poolfree(control, n);
  poolfree(control, n);
}

void openPass(OrderingControl* control, NodePasses& p) {
  const OrderingGraph& graph = *p.graph;
  p.moves = 0;
  p.bestMove = -1;
  p.bestWeight = graph.partWeight[2];
  p.bestImbalance = std::abs(graph.partWeight[0] - graph.partWeight[1]);
  p.limit = static_cast<int32_t>(std::min<int64_t>(5 * static_cast<int64_t>(graph.boundaryCount), 400));
  p.pulledStart[0] = 0;
  RandomPermute(graph.boundaryCount, p.perm, control);
}

// Whether the pass goes on with moving v to side `to`: the state behind the move is better than the best, or that one
// is not far back.
bool accept(NodePasses& p, int32_t v, int32_t to) {
  const OrderingGraph& graph = *p.graph;
  const int32_t pulledWeight = graph.nodeGain[v][1 - to];
  const int32_t weight = graph.partWeight[2] - graph.vertexWeight[v] + pulledWeight;
  const int32_t imbalance =
      std::abs(graph.partWeight[to] + graph.vertexWeight[v] - (graph.partWeight[1 - to] - pulledWeight));
  if (weight < p.bestWeight || (weight == p.bestWeight && imbalance < p.bestImbalance)) {
    p.bestWeight = weight;
    p.bestImbalance = imbalance;
    p.bestMove = p.moves;
    return true;
  }
  return p.moves - p.bestMove <= p.limit;
}

void undoBehindBest(NodePasses& p) {
  for (int32_t k = p.moves - 1; k > p.bestMove; --k) {
    undoMove(p.graph, p.swaps[k], p.pulled + p.pulledStart[k], p.pulledStart[k + 1] - p.pulledStart[k]);
  }
  p.graph->cutWeight = p.graph->partWeight[2];
}

// Vertices that a pass may have marked are those it moved and those it pulled.
void resetMarks(NodePasses& p) {
  for (int32_t k = 0; k < p.moves; ++k) p.moved[p.swaps[k]] = kUnmoved;
  for (int32_t i = 0; i < p.pulledStart[p.moves]; ++i) p.moved[p.pulled[i]] = kUnmoved;
}

// A vertex out of either queue with the side that it moves to; `vertex` is -1 at the end of the pass.
struct Choice {
  int32_t vertex;
  int32_t to;
};

Choice chooseMove(NodePasses& p, int32_t pass) {
  const OrderingGraph& graph = *p.graph;
  const int32_t top[2] = {PQueueMaxSeeMax(&p.queue[0]), PQueueMaxSeeMax(&p.queue[1])};
  const auto exceeds = [&](int32_t to) { return graph.partWeight[to] + graph.vertexWeight[top[to]] > p.maxWeight; };
  if (top[0] < 0 && top[1] < 0) return {-1, 0};
  int32_t to = top[0] < 0 ? 1 : 0;
  if (top[0] >= 0 && top[1] >= 0) {
    const int32_t gain0 = separatorGain(graph, top[0], 0);
    const int32_t gain1 = separatorGain(graph, top[1], 1);
    to = gain0 > gain1 ? 0 : gain0 < gain1 ? 1 : pass % 2;
    if (exceeds(to)) to = 1 - to;
  } else if (exceeds(to)) {
    return {-1, 0};
  }
  const int32_t v = PQueueMaxGetMax(&p.queue[to]);
  if (p.moved[v] == kUnmoved) PQueueMaxDelete(&p.queue[1 - to], v, separatorGain(graph, v, 1 - to));
  return {v, to};
}

void twoSidedPass(OrderingControl* control, NodePasses& p, int32_t pass) {
  OrderingGraph& graph = *p.graph;
  PQueueMaxReset(&p.queue[0]);
  PQueueMaxReset(&p.queue[1]);
  openPass(control, p);
  for (int32_t i = 0; i < graph.boundaryCount; ++i) {
    const int32_t v = graph.boundaryList[p.perm[i]];
    PQueueMaxInsert(&p.queue[0], v, separatorGain(graph, v, 0));
    PQueueMaxInsert(&p.queue[1], v, separatorGain(graph, v, 1));
  }
  while (p.moves < graph.numVertices) {
    const Choice choice = chooseMove(p, pass);
    const int32_t to = choice.to;
    const int32_t other = 1 - to;
    if (choice.vertex < 0 || !accept(p, choice.vertex, to)) break;
    p.moved[choice.vertex] = p.moves;
    p.swaps[p.moves] = choice.vertex;
    int32_t end = p.pulledStart[p.moves];
    moveToSide(
        graph, choice.vertex, to,
        [&](int32_t u, int32_t weight) {
          if (p.moved[u] != kUnmoved && p.moved[u] != pulledFrom(to)) return;
          const int32_t gain = separatorGain(graph, u, other);
          PQueueMaxUpdate(&p.queue[other], u, gain + weight, gain);
        },
        [&](int32_t u, int32_t weight) {
          if (p.moved[u] != kUnmoved && p.moved[u] != pulledFrom(other)) return;
          const int32_t gain = separatorGain(graph, u, to);
          PQueueMaxUpdateUp(&p.queue[to], u, gain - weight, gain);
        },
        [&](int32_t u) {
          p.pulled[end++] = u;
          if (p.moved[u] != kUnmoved) return;
          PQueueMaxInsert(&p.queue[to], u, separatorGain(graph, u, to));
          p.moved[u] = pulledFrom(other);
        });
    p.pulledStart[++p.moves] = end;
  }
  undoBehindBest(p);
}

void oneSidedPass(OrderingControl* control, NodePasses& p, int32_t to) {
  OrderingGraph& graph = *p.graph;
  PQueueMax* queue = &p.queue[0];
  PQueueMaxReset(queue);
  openPass(control, p);
  for (int32_t i = 0; i < graph.boundaryCount; ++i) {
    const int32_t v = graph.boundaryList[p.perm[i]];
    PQueueMaxInsert(queue, v, separatorGain(graph, v, to));
  }
  while (p.moves < graph.numVertices) {
    const int32_t v = PQueueMaxGetMax(queue);
    if (v < 0 || graph.partWeight[to] + graph.vertexWeight[v] > p.maxWeight || !accept(p, v, to)) break;
    p.swaps[p.moves] = v;
    int32_t end = p.pulledStart[p.moves];
    // No vertex comes back from the side that the moves go to, so all of the separator waits in the queue, and no marks
    // are needed.
    moveToSide(
        graph, v, to, [](int32_t, int32_t) {},
        [&](int32_t u, int32_t weight) {
          const int32_t gain = separatorGain(graph, u, to);
          PQueueMaxUpdateUp(queue, u, gain - weight, gain);
        },
        [&](int32_t u) {
          p.pulled[end++] = u;
          PQueueMaxInsert(queue, u, separatorGain(graph, u, to));
        });
    p.pulledStart[++p.moves] = end;
  }
  undoBehindBest(p);
}

}  // namespace

int32_t NodeRefine(OrderingControl* control, OrderingGraph* graph, int32_t passes) {
  NodePasses p;
  const int32_t status = openPasses(control, graph, 2, &p);
  if (status == LA_OK) {
    for (int32_t pass = 0; pass < passes; ++pass) {
      const int32_t startWeight = graph->partWeight[2];
      twoSidedPass(control, p, pass);
      if (p.bestMove < 0 || p.bestWeight >= startWeight) break;
      resetMarks(p);
    }
  }
  closePasses(control, &p);
  return status;
}

int32_t NodeRefineOneSided(OrderingControl* control, OrderingGraph* graph, int32_t passes) {
  NodePasses p;
  const int32_t status = openPasses(control, graph, 1, &p);
  if (status == LA_OK) {
    int32_t to = graph->partWeight[0] < graph->partWeight[1] ? 0 : 1;
    for (int32_t pass = 0; pass < passes; ++pass, to = 1 - to) {
      const int32_t startWeight = graph->partWeight[2];
      oneSidedPass(control, p, to);
      const bool better = p.bestMove >= 0 && p.bestWeight < startWeight;
      if (pass % 2 == 1 && !better) break;
    }
  }
  closePasses(control, &p);
  return status;
}

}  // namespace qz
