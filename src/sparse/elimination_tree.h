// The elimination tree of a symmetric pattern, its post-order, and the column counts of the factor.
//
// Liu, "The role of elimination trees in sparse factorization", SIAM J. Matrix Anal. Appl. 11 (1990). Gilbert, Ng and
// Peyton, "An efficient algorithm to compute row and column counts for sparse Cholesky factorization", SIAM J. Matrix
// Anal. Appl. 15 (1994). No function here allocates.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/pattern.h"

namespace qz {

// parent[j] of each of the n columns, -1 at roots: the row of the first nonzero below the diagonal in column j of L.
// `lower` holds the rows i < j of column j. The ancestor method with path compression. work: n entries.
void BuildETree(int32_t n, const TrianglePattern& lower, int32_t* parent, int32_t* work);

// Walks the trees at `roots`, in that order, depth first. head[v] is the first child of v, next[v] the next sibling, -1
// ends a list; a node is emitted to `order` when its list is exhausted. Destroys `head`; stack: room for the deepest
// path. Returns the number of nodes emitted.
int32_t DFS(const int32_t* roots, int32_t numRoots, int32_t* head, const int32_t* next, int32_t* order, int32_t* stack);

// Post-orders the forest `parent` (children and roots in ascending order) and composes the order into symbolic->perm,
// invPerm and, if present, pivotKind; `parent` is renumbered too. work: 5n entries.
void PostOrder(int32_t n, int32_t* parent, SymbolicFactor* symbolic, int32_t* work);

// Column counts c of L, diagonal included, of a post-ordered pattern; `upper` holds the rows i > j of column j. Also
// nnzL = sum c - n and flops = sum c (c - 1), summed in floating point; the product c (c - 1) is formed in 32-bit
// integers and wraps for c above 46341. work: 4n entries.
void FindColCounts(int32_t n, const TrianglePattern& upper, const int32_t* parent, int32_t* colCount, double* nnzL,
                   double* flops, int32_t* work);

}  // namespace qz
