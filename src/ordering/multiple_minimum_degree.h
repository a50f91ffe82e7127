// Multiple minimum degree on a quotient graph that lives in the adjacency itself, with exact external degrees: the
// order of the small pieces that nested dissection leaves.
//
// Liu, "Modification of the minimum-degree algorithm by multiple elimination", ACM Trans. Math. Software 11 (1985);
// George and Liu, "The evolution of the minimum degree ordering algorithm", SIAM Review 31 (1989).
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Integers of the stack that MMDOrder needs for a piece of n vertices.
[[nodiscard]] constexpr int64_t mmdOrderWork(int32_t n) {
  return 6 * ((static_cast<int64_t>(n) + 1 + 31) / 32 * 32);
}

// Orders a piece, whose vertices get the positions lastPos - n to lastPos - 1: invPerm[vertexLabel[i]]. The piece's
// adjList is destroyed, adjBegin is not. `work` has mmdOrderWork(n) entries. A piece without vertices is left alone.
void MMDOrder(OrderingGraph* graph, int32_t* invPerm, int32_t lastPos, int32_t* work);

// The method itself, on vertices, places and degrees numbered from 1: the neighbours of v are adjList[k - 1] for k from
// adjBegin[v - 1] to adjBegin[v] - 1. All other arrays have n + 1 entries, of which entry 0 is not used. On return
// invp[v] is the position of v and perm[k] the vertex at position k. Vertices of degree up to delta above the least are
// eliminated in one round, before degrees are brought up to date; a negative delta eliminates one a round. maxInt is
// above every mark, at least 2n + delta + 2.
void mmd(int32_t n, const int32_t* adjBegin, int32_t* adjList, int32_t* invp, int32_t* perm, int32_t delta,
         int32_t* head, int32_t* qsize, int32_t* list, int32_t* marker, int32_t maxInt);

}  // namespace qz
