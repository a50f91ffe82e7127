// The augmented system
//     K = [ Q + Theta, -A' ; -A, -E ]
// of order numCol + numRow: Theta diagonal from the bound pairs, E diagonal from the inequality rows. Both triangles
// are stored, by column, with explicit diagonals. Only the diagonals change from iteration to iteration; with the
// regularisation of computeAugmentDiag the matrix is quasi-definite, so that an LDL factorisation exists for every
// symmetric permutation (Vanderbei 1995).
#pragma once

#include <cstdint>

#include "engine/ipm.h"

namespace qz {

// Fill K with zero diagonals. Outputs: ipmColBegin numCol + numRow + 1 entries, the index and value arrays
// numCol + numRow + 2 (numCoef + numQuadCoef), and where the diagonals stand, varBndDiagIndex numCol and ineqnDiagIndex
// numRow entries.
//
// Linear form. Column j: its diagonal, then -a for each element of A's column. Column numCol + i: -a for each element
// of A's row i, columns ascending, then its diagonal.
void createAugmentMatrix(int32_t numRow, int32_t numCol, const int32_t* colBegin, const int32_t* colLength,
                         const int32_t* rowIndex, const double* matValue, int32_t* ipmColBegin, int32_t* ipmRowIndex,
                         double* ipmMatValue, int32_t* varBndDiagIndex, int32_t* ineqnDiagIndex);

// Quadratic form: the elements of Q above the diagonal stand before column j's diagonal and those below it behind. Q's
// own diagonal is not written. 0, or -1086.
[[nodiscard]] int32_t createAugmentMatrixQP(Env* env, int32_t numRow, int32_t numCol, int32_t numCoef,
                                            int32_t numQuadCoef, const int32_t* colBegin, const int32_t* colLength,
                                            const int32_t* rowIndex, const double* matValue,
                                            const int32_t* quadColBegin, const int32_t* quadColLength,
                                            const int32_t* quadRowIndex, const double* quadMatValue,
                                            int32_t* ipmColBegin, int32_t* ipmRowIndex, double* ipmMatValue,
                                            int32_t* varBndDiagIndex, int32_t* ineqnDiagIndex);

// The linear form of a part of the model. A column (row) whose map entry is negative is left out, any other stands at
// the place that the map gives; a null map keeps all. Kept places ascend and count numColKept and numRowKept.
// varBndDiagIndex and ineqnDiagIndex are numbered by those places.
void createAugmentMatrixPartial(const Ipm* ipm, int32_t* ipmColBegin, int32_t* ipmRowIndex, double* ipmMatValue,
                                int32_t* varBndDiagIndex, int32_t* ineqnDiagIndex, const int32_t* colMap,
                                int32_t numColKept, const int32_t* rowMap, int32_t numRowKept);

// Builds K and analyses it, unless both LDL handles exist. mode 1 asks for the quadratic form where the model has
// off-diagonal quadratic elements, 0 for the linear pattern in any case. Sets numIpmCoef. 0, -1086, 12 or 10.
[[nodiscard]] int32_t ipmInitAugmat(Ipm* ipm, int32_t mode);

// Writes the diagonals of the iterate: Q + Theta, and -s / y on G rows. Then, with t the smaller of 1e-10 and the
// smallest non-zero magnitude written, a column diagonal strictly between -t and t becomes t, and a row diagonal below
// t becomes -t unless it is lower still. A free column without quadratic term and an E row so get a tiny pivot of the
// right sign.
void computeAugmentDiag(Ipm* ipm);

}  // namespace qz
