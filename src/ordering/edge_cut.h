// State of a bisection by an edge cut, and its refinement: the first partition of the coarsest graph.
//
// Passes with hill climbing: Kernighan and Lin, "An efficient heuristic procedure for partitioning graphs", Bell System
// Technical Journal 49 (1970), with the gain buckets of Fiduccia and Mattheyses, Design Automation Conference 1982.
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// From `side` (0 and 1): all side weights, internalDegree and externalDegree, the boundary (vertices with an edge
// across the cut, and all vertices without edges) and cutWeight.
void Compute2WayPartitionParams(OrderingGraph* graph);

// Move vertices from the side that is above its target to the other, best gain first, until a move would overshoot:
// from the boundary, or from anywhere. LA_OK or LA_NO_MEMORY.
[[nodiscard]] int32_t Bnd2WayBalance(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights);
[[nodiscard]] int32_t General2WayBalance(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights);

// Up to four passes that lower the cut and hold the sides about as near to their targets as they are. LA_OK or
// LA_NO_MEMORY.
[[nodiscard]] int32_t refineEdgeCut(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights);

}  // namespace qz
