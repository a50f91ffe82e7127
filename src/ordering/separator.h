// State of a bisection by a vertex separator, and the move that all its refinements are made of: a separator vertex
// goes to one side, and its neighbours on the other side come into the separator (Ashcraft and Liu, "Using domain
// decomposition to find graph bisectors", BIT 37, 1997; Hendrickson and Rothberg, "Improving the run time and quality
// of nested dissection ordering", SIAM J. Sci. Comput. 20, 1998).
#pragma once

#include <cstdint>

#include "ordering/boundary.h"
#include "ordering/ordering_records.h"

namespace qz {

// From `side`: partWeight, the separator as the boundary, nodeGain of its vertices, cutWeight.
void computeSeparatorState(OrderingGraph* graph);

// The largest weight of the neighbours of one vertex: no gain of a move is larger.
[[nodiscard]] int32_t largestNeighbourWeight(const OrderingGraph* graph);

// How much the separator shrinks when v leaves it for side `to`.
inline int32_t separatorGain(const OrderingGraph& graph, int32_t v, int32_t to) {
  return graph.vertexWeight[v] - graph.nodeGain[v][1 - to];
}

// Puts v of a side into the separator and computes its nodeGain afresh.
inline void enterSeparator(OrderingGraph& graph, int32_t v) {
  graph.partWeight[graph.side[v]] -= graph.vertexWeight[v];
  graph.partWeight[2] += graph.vertexWeight[v];
  graph.side[v] = 2;
  addToBoundary(graph, v);
  graph.nodeGain[v][0] = 0;
  graph.nodeGain[v][1] = 0;
}

// Moves v from the separator to side `to`. Calls
//   near(u, weight)   for a separator neighbour u of v: nodeGain[u][to] rose by weight
//   freed(u, weight)  for a separator neighbour u of a vertex that came in: nodeGain[u][1 - to] fell by weight
//   pulled(u)         for each vertex u that came in, all its gains known
template <class Near, class Freed, class Pulled>
void moveToSide(OrderingGraph& graph, int32_t v, int32_t to, Near near, Freed freed, Pulled pulled) {
  const int32_t other = 1 - to;
  const int32_t weight = graph.vertexWeight[v];
  removeFromBoundary(graph, v);
  graph.partWeight[2] -= weight;
  graph.partWeight[to] += weight;
  graph.side[v] = to;
  for (int32_t k = graph.adjBegin[v]; k < graph.adjBegin[v + 1]; ++k) {
    const int32_t u = graph.adjList[k];
    if (graph.side[u] == 2) {
      graph.nodeGain[u][to] += weight;
      near(u, weight);
    } else if (graph.side[u] == other) {
      enterSeparator(graph, u);
      const int32_t pulledWeight = graph.vertexWeight[u];
      for (int32_t j = graph.adjBegin[u]; j < graph.adjBegin[u + 1]; ++j) {
        const int32_t w = graph.adjList[j];
        if (graph.side[w] == 2) {
          graph.nodeGain[w][other] -= pulledWeight;
          freed(w, pulledWeight);
        } else {
          graph.nodeGain[u][graph.side[w]] += graph.vertexWeight[w];
        }
      }
      pulled(u);
    }
  }
}

// Undoes a move: v goes back to the separator, and the `count` vertices that it pulled go back to the other side.
void undoMove(OrderingGraph* graph, int32_t v, const int32_t* pulled, int32_t count);

}  // namespace qz
