// The boundary of a bisection: a list with the place of each vertex.
#pragma once

#include "ordering/ordering_records.h"

namespace qz {

inline bool onBoundary(const OrderingGraph& graph, int32_t v) {
  return graph.boundaryPos[v] >= 0;
}

// The vertex must not be on the boundary.
inline void addToBoundary(OrderingGraph& graph, int32_t v) {
  graph.boundaryPos[v] = graph.boundaryCount;
  graph.boundaryList[graph.boundaryCount++] = v;
}

// The vertex must be on the boundary; the last one takes its place.
inline void removeFromBoundary(OrderingGraph& graph, int32_t v) {
  const int32_t place = graph.boundaryPos[v];
  const int32_t last = graph.boundaryList[--graph.boundaryCount];
  graph.boundaryList[place] = last;
  graph.boundaryPos[last] = place;
  graph.boundaryPos[v] = -1;
}

}  // namespace qz
