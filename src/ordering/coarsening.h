// Coarsening of a graph for multilevel bisection: vertices are matched along edges and each pair becomes one vertex.
//
// Hendrickson and Leland, "A multilevel algorithm for partitioning graphs", Supercomputing 1995; Karypis and Kumar, "A
// fast and high quality multilevel scheme for partitioning irregular graphs", SIAM J. Sci. Comput. 20 (1998).
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Match the vertices of the graph and make its coarser level, graph->coarser. No pair is heavier than maxVertexWeight;
// a vertex without a partner stays alone. LA_OK, or LA_NO_MEMORY; then no level was added.
//
// At random: each vertex takes the first free neighbour.
[[nodiscard]] int32_t RandomMatch(OrderingControl* control, OrderingGraph* graph);
// By rising degree, and along the heaviest edge to a free neighbour. Vertices without edges come first; each of them
// pairs with a vertex of high degree, whatever the weight, so that they don't hold up the coarsening.
[[nodiscard]] int32_t SortedMatch(OrderingControl* control, OrderingGraph* graph);

// Makes graph->coarser, of coarseCount vertices, from a matching: match[v] is the partner of v, or v. Pairs are
// numbered in the order of the first of each in perm, which coarseMap has already. LA_OK or LA_NO_MEMORY.
[[nodiscard]] int32_t CreateCoarseGraph(OrderingControl* control, OrderingGraph* graph, int32_t coarseCount,
                                        const int32_t* match, const int32_t* perm);

// Frees a coarse level, which must be the last one, and unlinks it from the finer one.
void freeCoarseLevel(const OrderingControl* control, OrderingGraph* level);

}  // namespace qz
