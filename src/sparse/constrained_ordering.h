// The second half of a constrained nested dissection: minimum fill inside the groups that the dissection found, group
// after group.
#pragma once

#include <cstdint>

namespace qz {

// Whether the Cholesky analysis follows a request for the constrained ordering: a matrix of the normal equations with
// more than 190 off-diagonal entries a row is not worth it.
[[nodiscard]] constexpr bool constrainedOrderingPays(int32_t constrained, int32_t problemKind, int32_t n,
                                                     int32_t numOffDiagonals) {
  if (constrained == 0 || n == 0) return false;
  return problemKind != 0 || static_cast<double>(numOffDiagonals) / n <= 190.0;
}

// Completes the order of n vertices after OrderGraph in constrained mode.
//   adjBegin, adjList  the graph anew, n + 1 and adjCapacity entries, destroyed; n entries behind the edges suffice
//   numDense           vertices that the dissection removed: the last ones in perm, which stay there in their order
//   groupId            n - numDense entries: group of each kept vertex, numbered as it stands in perm
//   perm, invPerm      in: the kept vertices, ascending, then the dense ones; out: the order and its inverse
//   work               10n + 1 entries
// LA_OK, or LA_INCONSISTENT when perm does not keep the sequence of the kept vertices.
[[nodiscard]] int32_t orderWithinGroups(int32_t n, int32_t numDense, int32_t* adjBegin, int32_t* adjList,
                                        int32_t adjCapacity, int32_t problemKind, const int32_t* groupId, int32_t* perm,
                                        int32_t* invPerm, int32_t* work);

}  // namespace qz
