// Supernodes: runs of columns that share their structure below the diagonal, found from the column counts, then merged
// where a few explicit zeros buy larger dense blocks.
//
// Liu, Ng and Peyton, "On finding supernodes for sparse matrix computations", SIAM J. Matrix Anal. Appl. 14 (1993).
// Ashcraft and Grimes, "The influence of relaxed supernode partitions on the multifrontal method", ACM Trans. Math.
// Software 15 (1989). No function here allocates.
//
// All of them work on symbolic->numSupernodes, snStart, colToSn and snParent, and on `height`, an array of the caller
// with one entry per supernode: the rows of the supernode, its own included. `parent` is the elimination tree of the
// post-ordered columns.
#pragma once

#include <cstdint>

#include "sparse/factor.h"
#include "sparse/pattern.h"

namespace qz {

// The fundamental supernodes: column j joins that of j - 1 exactly when it has one child in the tree and
// colCount[j] = colCount[j - 1] - 1. work: n entries.
void FindFundamentalSupernodes(int32_t n, const int32_t* parent, const int32_t* colCount, SymbolicFactor* symbolic,
                               int32_t* height, int32_t* work);

// Keeps the supernodes that were not merged, those with mergedInto[s] = s, whose heights are those of the merged ones,
// and links them anew.
void keepRepresentatives(int32_t n, const int32_t* parent, const int32_t* mergedInto, SymbolicFactor* symbolic,
                         int32_t* height);

// Relaxed amalgamation, from the last supernode but one down: supernode s may merge with s + 1 when that one represents
// its tree parent. With m the merged width, a merge that adds no zeros is always made and one with m <= 4 too; else the
// zeros z of the merged supernode must be a small part of its entries: below 0.8 (LDL: z below 128) for m <= 16, below
// 0.1 for m <= 48, below 0.05 beyond. Also sets maxWidth (the largest width of a supernode that came to the width test,
// or the width of the only one left) and flopsRelaxed. isLDL selects the rule. work: 5n entries, aligned to 8 bytes.
void FindRelaxedSupernodes(int32_t n, const int32_t* parent, int32_t isLDL, SymbolicFactor* symbolic, int32_t* height,
                           int32_t* work);

// Merges a leaf of the supernodal tree with its chain of ancestors (and what lies between them in post-order) while the
// group stays narrower than 32 columns before each step: many tiny supernodes starve the block scheduler. Recounts
// flopsRelaxed, leaves maxWidth. work: 2n entries.
void mergeSupernodeChains(int32_t n, const int32_t* parent, SymbolicFactor* symbolic, int32_t* height, int32_t* work);

// Sum over supernodes of sum_{j < w} (h - j)(h - j - 1).
[[nodiscard]] double supernodeFlops(const SymbolicFactor* symbolic, const int32_t* height);

// Fills lIndex from `lower`, the rows i < j of column j, given lIndexBegin: per supernode its own columns, then the
// rows below, ascending without a sort since rows are met in ascending order. work: numSupernodes entries.
void FindLSupernodalStructure(const TrianglePattern& lower, SymbolicFactor* symbolic, int32_t* work);

}  // namespace qz
