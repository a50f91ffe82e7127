// Bipartite matchings of least cost between the columns and the rows of a sparse matrix.
//
// The matrix is given by columns: colStart (numCol + 1), rowIndex and a cost >= 0 for each entry; DBL_MAX keeps an
// entry out. A solution of the dual assignment problem goes along: rowDual (numRow) and colDual (numCol) with
//   cost(i, j) - rowDual(i) - colDual(j) >= 0,   and = 0 for a matched pair.
// rowMatch (numRow) is the column of a row, colMatch (numCol) the row of a column, -1 for none.
//
// Shortest augmenting paths on reduced costs: Duff and Koster, "On algorithms for permuting large entries to the
// diagonal of a sparse matrix", SIAM J. Matrix Anal. Appl. 22 (2001).
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"

namespace qz {

// A first matching and its duals: the row and column minima, each column with the first free row of reduced cost zero,
// or, if there is none, with such a row whose column has another free one. Writes rowDual, colDual, rowMatch, colMatch
// and *numMatched. A row without entries has the dual DBL_MAX, a column without entries the dual 0. work: numCol
// entries.
void FindInitialMatching(int32_t numCol, int32_t numRow, const int32_t* colStart, const int32_t* rowIndex,
                         const double* cost, double* rowDual, double* colDual, int32_t* rowMatch, int32_t* colMatch,
                         int32_t* numMatched, int32_t* work);

// Matches as many of the unmatched columns as possible, each along a shortest augmenting path; updates all of what
// FindInitialMatching wrote. The matching is one of least cost as long as no search ended early: at a free row, the
// rest of a column of more than numRow / 10 entries is not looked at, nor that of any column once 100 rows wait.
//   perfect   non-zero: a column that can't be matched ends the search with LA_SINGULAR
//   dist      numRow entries, scratch
//   work      4 numRow entries, scratch
// LA_OK, LA_SINGULAR, LA_NO_MEMORY, or LA_CANCELLED when the calling thread was cancelled.
[[nodiscard]] int32_t FindColPerfectMatching(QzPool* memory, int32_t numCol, int32_t numRow, const int32_t* colStart,
                                             const int32_t* rowIndex, const double* cost, double* rowDual,
                                             double* colDual, int32_t* rowMatch, int32_t* colMatch, int32_t perfect,
                                             int32_t* numMatched, double* dist, int32_t* work);

}  // namespace qz
