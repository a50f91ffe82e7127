// Refinement of a vertex separator by passes of moves with hill climbing. Every pass keeps its best state.
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Up to `passes` passes whose moves go to either side, the better gain first; ends with the first pass that doesn't
// lower the separator's weight. LA_OK or LA_NO_MEMORY.
[[nodiscard]] int32_t NodeRefine(OrderingControl* control, OrderingGraph* graph, int32_t passes);

// The same with passes whose moves go to one side, the lighter one first and then by turns; ends when the second pass
// of a pair doesn't lower the weight. Cheaper, as a vertex moves once at most.
[[nodiscard]] int32_t NodeRefineOneSided(OrderingControl* control, OrderingGraph* graph, int32_t passes);

}  // namespace qz
