// The normal equations
//     M = A D A' + E
// of order numRow, for linear models without free columns: D diagonal from the bound pairs, E diagonal from the
// inequality rows. They come from the augmented system by eliminating dx, with D = Theta^-1.
//
// M stands in ipmColBegin, ipmRowIndex and ipmMatValue, both triangles, rows of a column ascending. ineqnDiagIndex
// tells where the diagonals stand. A G row always has one. An E row of A without elements has an empty column and no
// diagonal, -1; the factorisation takes it out. The pattern is made once per model; the values are written anew in each
// iteration. A by rows (ipmRowBegin with numRow + 1 entries,
// ipmRowLength, ipmColIndex, ipmRowValue) drives both.
#pragma once

#include <cstdint>

#include "engine/ipm.h"

namespace qz {

// Makes the system: A by rows, the columns of A sorted by row, the pattern of M in place of the start's augmented
// matrix, an environment when there is none, and the analysis. Does nothing when both Cholesky handles exist. 0, -1086,
// 12 or 10.
[[nodiscard]] int32_t ipmInitNormal(Ipm* ipm);

// A by rows anew, after its values changed: numRow + 1, numRow, numCoef and numCoef entries in the four arrays, which
// are allocated when they are missing. 0 or -1086.
[[nodiscard]] int32_t copyMatrixByRows(Ipm* ipm);

// A by rows, pattern and analysis for another model in the same arrays, whose M has no more elements than that of the
// first one. Both handles must be free. 0, -1086, 12 or 10.
[[nodiscard]] int32_t restartNormalSystem(Ipm* ipm);

// The column starts of M and numIpmCoef; allocates the arrays of M that are missing. 0, or -1086 also for more elements
// than a 32-bit position can tell.
[[nodiscard]] int32_t createNormalMatrix(Ipm* ipm);
// The row indices of M and the places of its diagonals. 0, -1086, or 10 when the starts don't fit them.
[[nodiscard]] int32_t setupNormalMatrix(Ipm* ipm);

// normalDiag: D_j = 1 / (zu / su + zl / sl) over the bounds that column j has. 0, or 10 at a column without bounds.
[[nodiscard]] int32_t computeNormalDiag(Ipm* ipm);
// The values A D A', lower triangle and mirror in one pass. Columns of A must be sorted by row.
void computeNormalMatrix(Ipm* ipm);
// Adds E: s_i / y_i on G rows.
void updateNormalDiag(Ipm* ipm);

// row := M^-1 row by the factor, of numRow entries, through the balance of the factored matrix. 0, or what chSolve
// says.
[[nodiscard]] int32_t applyNormalInverse(Ipm* ipm, double* row);

// Solves in place on v of numDim entries, column part first: from (rc, rr) to dy with M dy = -rr - A D rc in the row
// part and dx = D (A'dy + rc) in the column part. No refinement. 0, or what chSolve says.
[[nodiscard]] int32_t solveNormalEquation(Ipm* ipm, double* v);

}  // namespace qz
