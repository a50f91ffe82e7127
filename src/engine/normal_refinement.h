// What keeps the normal equations accurate to the end of a solve.
//
// The weights D span twenty and more powers of ten near the optimum, and M = A D A' + E loses its small directions in
// rounding. Three measures answer that; the first two make a factorisation that never breaks down, the third takes the
// error that they bring out of the solution again:
//  1. A weight is bounded by (1 + |x_j|) / 1e-10. That is a proximal term on columns that have left their bounds: what
//     it leaves in the dual residual is at most 1e-10 of the step relative to x (Friedlander and Orban, 2012).
//  2. M is balanced to a diagonal of 1 before it is factored, and 1e-12 is added there. A dependent row then has a
//     pivot well above its rounding noise, and no live row is small because its weights are (Saunders, 1996).
//  3. Conjugate gradients preconditioned by that factor correct each solution until the rows of the Newton system are
//     met. The product with M goes through A, and dx is updated along with dy, so that the residual is that of the rows
//     themselves: rr + A dx + E dy.
#pragma once

#include <cstdint>

#include "engine/ipm.h"

namespace qz {

// Entries of Ipm::refineWork.
[[nodiscard]] int64_t refinementWorkEntries(int64_t numRow, int64_t numCol);

// Bounds each entry of normalDiag as above. Entries that aren't numbers, or are negative, stay.
void boundNormalDiag(Ipm* ipm);

// Balances M in ipmMatValue, with the factors in normalScale (M was S^-1 of what stands there now S^-1), and adds to
// the diagonal. A call on a balanced matrix keeps normalScale true.
void balanceNormalMatrix(Ipm* ipm);

// Corrects v, which solveNormalEquation has made of the right-hand side `rhs` (both numDim, column part first).
// `accurate` becomes false when the rows are still missed by more than a tenth of the primal infeasibility, or of its
// tolerance where the iterate has met that: a step with such an error repairs nothing. 0, or what chSolve says.
[[nodiscard]] int32_t refineNormalSolution(Ipm* ipm, const double* rhs, double* v, bool* accurate);

}  // namespace qz
