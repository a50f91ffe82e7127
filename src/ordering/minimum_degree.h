// Minimum-degree and minimum-fill orderings on a quotient graph, with approximate degrees.
//
// Approximate external degrees, element absorption, mass elimination and supervariables: Amestoy, Davis and Duff, "An
// approximate minimum degree ordering algorithm", SIAM J. Matrix Anal. Appl. 17 (1996). Fill in place of degree as the
// measure of a pivot: Rothberg and Eisenstat, "Node selection strategies for bottom-up sparse matrix ordering", SIAM
// J. Matrix Anal. Appl. 19 (1998).
//
// Arguments common to the three engines (all arrays are the caller's; nothing is allocated):
//
//   listStart       n + 1 entries: where the neighbours of v begin in iw, and at n their total number (which nd_camf
//                   does not read); destroyed
//   iw              iwCapacity entries: the neighbours, no diagonal, no repeats, every edge in both directions;
//                   destroyed. Entries from freePos on are elbow room: none is needed, n of them keep compactions rare
//   listLen         n entries: number of neighbours; destroyed
//   nextInList      n entries, out: position of each vertex
//   prevInList      n entries, out: vertex at each position
//   bucketHead      n entries in nd_amd, n + 1 in nd_amf and nd_camf, scratch
//   nodeCount, elementCount, approxDegree, stamp, fillScore: n entries each, scratch
//   problemKind     1 and 2: dense vertices are those of more than 50 average degrees, otherwise those of degree above
//                   max(16, 10 sqrt(n)); 0: fill is weighed by the root of a supervariable's size, otherwise by its
//                   size
//   removeDenseByLog  non-zero: dense vertices are peeled off by the rule degree >= 20 ln(vertices left) instead
//   isFallback      non-zero: problemKind does not change the rule for dense vertices
//
// Dense vertices are last, in index order. Return LA_OK; LA_INCONSISTENT when freePos is beyond iwCapacity; and nd_amd
// and nd_amf LA_CANCELLED when the calling thread was cancelled. After an error the arrays hold no usable order.
#pragma once

#include <cstdint>

namespace qz {

// Pivots of least approximate external degree.
[[nodiscard]] int32_t nd_amd(int32_t n, int32_t* listStart, int32_t* iw, int32_t* listLen, int32_t iwCapacity,
                             int32_t freePos, int32_t* nodeCount, int32_t* nextInList, int32_t* prevInList,
                             int32_t* bucketHead, int32_t* elementCount, int32_t* approxDegree, int32_t* stamp,
                             int32_t removeDenseByLog, int32_t problemKind, int32_t isFallback);

// Pivots of least approximate fill.
[[nodiscard]] int32_t nd_amf(int32_t n, int32_t* listStart, int32_t* iw, int32_t* listLen, int32_t iwCapacity,
                             int32_t freePos, int32_t* nodeCount, int32_t* nextInList, int32_t* prevInList,
                             int32_t* bucketHead, int32_t* elementCount, int32_t* approxDegree, int32_t* stamp,
                             int32_t* fillScore, int32_t removeDenseByLog, int32_t problemKind, int32_t isFallback);

// Pivots of least approximate fill, group after group: groupId[v] is from 0 to n - 1, or null for a single group;
// groupOrder has n entries, scratch. No vertex comes before one of a lower group, but for dense vertices, which are
// last, and for vertices eliminated along with a pivot of a lower group because they became leaves of its element.
// Never polls. Note the order of prevInList and nextInList.
[[nodiscard]] int32_t nd_camf(int32_t n, int32_t* listStart, int32_t* iw, int32_t* listLen, int32_t iwCapacity,
                              int32_t freePos, const int32_t* groupId, int32_t* nodeCount, int32_t* prevInList,
                              int32_t* nextInList, int32_t* elementCount, int32_t* approxDegree, int32_t* stamp,
                              int32_t* bucketHead, int32_t* fillScore, int32_t* groupOrder, int32_t problemKind);

}  // namespace qz
