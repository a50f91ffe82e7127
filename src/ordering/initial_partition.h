// The first bisection of the coarsest graph: sides grown by breadth-first search, several times, and the best kept.
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Allocates refineStore and leaves in `side` the best of 3 trials (8 for a graph of more than coarsenTo vertices) and
// in cutWeight its edge cut. LA_OK or LA_NO_MEMORY.
[[nodiscard]] int32_t Init2WayPartition(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights);

// Makes refineStore: partWeight, side, boundaryPos, boundaryList, nodeGain, and with `withDegrees` also internalDegree
// and externalDegree. LA_OK or LA_NO_MEMORY.
[[nodiscard]] int32_t allocateRefineStore(QzPool* memory, OrderingGraph* graph, bool withDegrees);

}  // namespace qz
