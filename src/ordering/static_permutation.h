// Static pivoting permutations: before a symmetric indefinite matrix is ordered, its columns are sorted into singles
// and pairs, so that a large entry serves as a 1-by-1 pivot or as the off-diagonal entry of a 2-by-2 pivot. The order
// of elimination is fixed later, without regard to the values, with a pair as one vertex.
//
// A matching of largest product of |a(i, j)| / max over i of |a(i, j)| is found first; as a permutation it falls into
// cycles, and these are cut into pairs of neighbours: Duff and Pralet, "Strategies for scaling and pivoting for sparse
// symmetric indefinite problems", SIAM J. Matrix Anal. Appl. 27 (2005).
//
// Arguments common to both:
//   colBegin, rowIndex, matValue  the n-by-n matrix, both triangles, diagonal entries optional
//   matchingVariant               accepted and not used: there is one matching
//   perm       n, out: position to column; the two columns of a pair are neighbours
//   numSingles, numPairs          out: their numbers
//   pivotKind  n, out, by position: -2 a single, -1 a column of a pair
//   work       staticPermWorkBytes bytes, aligned to 8
// LA_OK; LA_INCONSISTENT when workBytes is too small or the matrix doesn't have the blocks named; LA_SINGULAR;
// LA_NO_MEMORY; LA_CANCELLED when the calling thread was cancelled. The outputs hold nothing then.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"

namespace qz {

// Bytes that suffice for both permutations of a symmetric matrix of n columns and numEntries stored entries.
[[nodiscard]] int64_t staticPermWorkBytes(int32_t n, int32_t numEntries);

// For any symmetric matrix. Pairs come first. LA_SINGULAR for a column without a non-zero entry, and when the non-zero
// entries have no perfect matching.
[[nodiscard]] int32_t FindStaticPermGen(QzPool* memory, int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                        const double* matValue, int32_t matchingVariant, int32_t* perm,
                                        int32_t* numSingles, int32_t* numPairs, int32_t* pivotKind, void* work,
                                        int64_t workBytes);

// For (D A; A' 0) with a leading block of numBlock columns and numTrailing others: only A is matched, as far as it
// goes, so that the pairs are a column of each block. Never LA_SINGULAR.
[[nodiscard]] int32_t FindStaticPermAug(QzPool* memory, int32_t n, int32_t numBlock, int32_t numTrailing,
                                        const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                                        int32_t matchingVariant, int32_t* perm, int32_t* numSingles, int32_t* numPairs,
                                        int32_t* pivotKind, void* work, int64_t workBytes);

// The place to leave out of a cycle of odd length when its other members become pairs of neighbours, from the one
// behind it on. magnitude[t] >= 0 belongs to the link from member t to the next; the place with the largest product
// over the links within the pairs wins. The products are compared along the sequence 0, 2, 4, ... of places, each as
// the ratio to the first; of equal ones the first in this sequence stays, and a ratio with a zero divisor counts as 0.
[[nodiscard]] int32_t singleOfOddCycle(int32_t length, const double* magnitude);

}  // namespace qz
