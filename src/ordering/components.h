// What a bisection leaves behind: the connected components of a graph without its separator, as graphs of their own.
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Pieces of this many vertices are dissected further.
constexpr int32_t ND_DISSECT_FROM = 200;

// Components of the graph without its separator (boundaryList), each listed breadth first from its lowest vertex: in
// compList from compStart[i] to compStart[i + 1] - 1. Returns their number; 1, with an empty list, when all vertices
// are in the separator. mark and compList have numVertices entries, compStart one more.
[[nodiscard]] int32_t FindComponents(const OrderingGraph* graph, int32_t* mark, int32_t* compStart, int32_t* compList);

// Makes a graph of each component, with the labels and weights of its vertices; the separator's edges are dropped. A
// piece has edge weights, all 1, when it is to be dissected further: from ND_DISSECT_FROM vertices on, if it is smaller
// than the graph. A leaf piece of a constrained run has only its vertex labels. boundaryPos of the graph is
// overwritten. LA_OK, or LA_NO_MEMORY with all pieces freed.
[[nodiscard]] int32_t SplitGraphIntoComponents(OrderingControl* control, OrderingGraph* graph, OrderingGraph* pieces,
                                               int32_t count, const int32_t* compStart, const int32_t* compList);

// Frees graphStore, refineStore and vertexLabel.
void freeGraphStores(const OrderingControl* control, OrderingGraph* graph);

}  // namespace qz
