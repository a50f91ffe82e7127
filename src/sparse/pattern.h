// Symmetric sparsity patterns: what the analyses do to the input matrix before and after the ordering.
//
// A matrix comes in compressed columns with both triangles present; diagonal entries may or may not be stored, rows of
// a column stand in any order, no entry twice. `perm` takes a position to the input row, `invPerm` an input row to its
// position. No function here allocates.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// One triangle of a pattern by columns, in memory of the caller.
struct TrianglePattern {
  int32_t* begin;    // n + 1
  int32_t* index;    // rows, `capacity` entries
  int32_t capacity;  // entries that fit
};

// Off-diagonal entries of a pattern.
[[nodiscard]] int32_t countOffDiagonals(int32_t n, const int32_t* colBegin, const int32_t* rowIndex);

// LA_OK when the pattern is symmetric, every row lies in 0..n-1 and no entry stands twice; else LA_INCONSISTENT. `work`
// has room for 2n + 2 integers and one for every off-diagonal entry.
[[nodiscard]] int32_t checkSymmetricPattern(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, int32_t* work);

// Copy of the pattern without diagonal entries. adjBegin has n + 1 entries, adjList one for every off-diagonal entry.
void RemoveDiagonals(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, int32_t* adjBegin, int32_t* adjList);

// Keeps the vertices whose position in invPerm is below `keep`, renumbered to their positions, and the edges among
// them; in place. The kept positions must ascend with the vertex number. LA_INCONSISTENT when they do not or when their
// number is not `keep`; the pattern is undefined then.
[[nodiscard]] int32_t PruneMatrixWithPerm(int32_t n, int32_t keep, int32_t* adjBegin, int32_t* adjList,
                                          const int32_t* invPerm);

// The permuted pattern, column j of the result being column perm[j]. Mode 0: rows i < j into `lower`. Mode 1: rows i <
// j into `lower` and i > j into `upper`, which must be equally many. Diagonal entries are passed over. LA_INCONSISTENT
// for unequal totals, for a triangle beyond its capacity, or any other mode. `upper` may be null in mode 0.
[[nodiscard]] int32_t PermuteSymMatrixPattern(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, int32_t mode,
                                              TrianglePattern* lower, TrianglePattern* upper, const int32_t* perm,
                                              const int32_t* invPerm);

// The permuted lower triangle with its values (rows >= column, unsorted) into colBegin, rowIndex, matValue of `target`.
// LA_INCONSISTENT when the number of entries is not target->numEntries.
[[nodiscard]] int32_t PermuteSymMatrixLower(int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                            const double* matValue, NumericFactor* target, const int32_t* perm,
                                            const int32_t* invPerm);

// The pattern in the static order `perm`, without diagonal entries, where each pair of adjacent columns marked -1 in
// pivotKind (by position) becomes one vertex and each column marked -2 another: numCompressed vertices in the order of
// the positions. Repeated neighbours and the link inside a pair are dropped. adjBegin has numCompressed + 1 entries,
// adjList room for every off-diagonal entry, work for n + numCompressed integers (unused when numCompressed is n).
// LA_INCONSISTENT when the marks do not give numCompressed vertices.
[[nodiscard]] int32_t PermuteCompressMatrix(int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                            const int32_t* pivotKind, const int32_t* perm, const int32_t* invPerm,
                                            int32_t numCompressed, int32_t* adjBegin, int32_t* adjList, int32_t* work);

}  // namespace qz
