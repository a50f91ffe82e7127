// Which engine orders a graph, and how unequal the halves of a dissection may be: measured tables, keyed by the size
// and the average degree of the graph. The narrow bands are part of the tuning and are not to be smoothed.
#pragma once

#include <cstdint>

namespace qz {

// The engine (ORDER_AMD, ORDER_AMF or ORDER_NESTED_DISSECTION) for a graph of n vertices of average degree avg.
[[nodiscard]] int32_t chooseOrdering(int32_t problemKind, int32_t isLDL, int32_t n, double avg);

// The balance factor of nested dissection for a graph of average degree avg.
[[nodiscard]] double chooseBalanceFactor(double avg);

}  // namespace qz
