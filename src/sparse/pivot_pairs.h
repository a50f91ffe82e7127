// Pairs of columns from a static pivoting permutation: a 2-by-2 pivot needs both columns in one diagonal block.
//
// The columns of a pair are neighbours in perm and marked -1 in pivotKind, and the first has the second as its parent
// in the elimination tree (their entry is not zero), of whose children it is the last in post-order. No function here
// allocates.
#pragma once

#include <cstdint>

#include "sparse/factor.h"

namespace qz {

// Marks of pivotKind during the analysis.
enum : int32_t { PIVOT_SINGLE = -2, PIVOT_PAIR = -1 };

// Positions that the vertex at position k takes.
[[nodiscard]] constexpr int32_t pivotWidth(const int32_t* pivotKind, int32_t k) {
  return pivotKind[k] == PIVOT_PAIR ? 2 : 1;
}

// Merges fundamental supernodes that part a pair, at the price of explicit zeros. parent, height as in supernodes.h.
// work: n entries.
void joinParted(int32_t n, const int32_t* parent, SymbolicFactor* symbolic, int32_t* height, int32_t* work);

// For a blocked factor whose row lists are complete: where a pair lies across two block columns of its supernode, the
// last single column of the first one moves behind the pair. Columns only change places within a supernode, so that
// its rows and those of its descendants are the same set; perm, invPerm, pivotKind and lIndex follow. With an even
// block size no pair is parted afterwards. work: 2n entries.
void alignToBlocks(SymbolicFactor* symbolic, int32_t* work);

}  // namespace qz
