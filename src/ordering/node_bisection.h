// Multilevel bisection by a vertex separator: coarsen, cut the coarsest graph by edges, turn the cut into a separator,
// and carry it back through the levels, refined on each.
//
// Bui and Jones, "A heuristic for reducing fill-in in sparse matrix factorization", SIAM PPSC 1993; Karypis and Kumar,
// SIAM J. Sci. Comput. 20 (1998); Hendrickson and Rothberg, SIAM J. Sci. Comput. 20 (1998).
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Beside the statuses: matching contracts too little for a multilevel method.
constexpr int32_t ND_NO_CONTRACTION = 3;

// Leaves `side`, the separator as the boundary, partWeight and cutWeight in the graph; the caller frees refineStore.
// targetWeights: weights that the sides should have. LA_OK, LA_NO_MEMORY, ND_NO_CONTRACTION, or LA_CANCELLED; after all
// but LA_OK the graph has no valid bisection, its adjacency is as it was, and no other level is left.
[[nodiscard]] int32_t NodeBisection(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights);

}  // namespace qz
