// Balancing of the two sides of a vertex separator.
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Moves separator vertices to the lighter side, best gain first, until it is the heavier one; nothing is undone. Leaves
// sides alone that differ by less than the balance factor allows, or by less than three average vertices. LA_OK or
// LA_NO_MEMORY.
[[nodiscard]] int32_t NodeBalance(OrderingControl* control, OrderingGraph* graph);

}  // namespace qz
