// Dense symmetric indefinite factorisation P A P' = L D L' by diagonal pivoting (Bunch and Kaufman 1977), with a
// perturbation in place of every pivot that the search can't make large enough.
//
// A trapezoid has m rows and n <= m columns, lower part only, in column order with leading dimension lda. Its first n
// rows are the square part; the m - n rows below take part in every update but never become pivots, and the pivot
// search looks at the square part only.
//
// Result. D stands on the diagonal, the off-diagonal entry of a 2-by-2 block below it; L's unit diagonal is not stored.
// `pivots` (n integers, relative to the first row of the trapezoid): p >= 0 for a 1-by-1 pivot k, whose row was
// interchanged with row p; two equal negative values -p for the two columns k, k + 1 of a 2-by-2 pivot, where row k + 1
// was interchanged with row p.
// Interchange and elimination are interleaved: L is the product P_1 L_1 P_2 L_2 ..., column k holding the multipliers
// of the rows in the order that they had at step k. A solve interchanges, eliminates, and goes on to the next pivot.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"

namespace qz {

inline constexpr int32_t kLDLPanelWidth = 96;  // columns of the panel workspace

// Factors a trapezoid by panels. `w` receives the columns before their division by D, that is L D:
//   m > n   m * n entries, leading dimension m; rows n to m - 1 hold L D of the rows below when the call returns;
//   m = n   m * 96 entries, used anew by each panel.
// Adds the number of perturbed pivots to *perturbedCount. packA, packB: 96 * 96 entries each. Returns 0.
[[nodiscard]] int32_t LA_DenseLDLFactorize(int32_t m, int32_t n, double* a, int32_t lda, int32_t* pivots, double* w,
                                           int32_t* perturbedCount, double* packA, double* packB, double tolerance);

// The same, but returns 13 at once when the cancel word of `thread` reads 1 before a panel. `thread` may be null.
[[nodiscard]] int32_t DenseLDLFactorWithFlag(int32_t m, int32_t n, double* a, int32_t lda, const QzThread* thread,
                                             int32_t* pivots, double* w, int32_t* perturbedCount, double* packA,
                                             double* packB, double tolerance);

// One panel: factors all n columns when n < 97, otherwise 95, or 96 when a 2-by-2 pivot takes the last two, and updates
// the columns behind them. `w` has leading dimension ldw >= m and one column for each factored one. *numDone receives
// the number of factored columns. (After the left-looking panel of LAPACK Working Note 35, Bischof et al.)
void DenseLDLDlasyf(int32_t m, int32_t n, int32_t* numDone, double* a, int32_t lda, int32_t* pivots, double tolerance,
                    double* w, int32_t ldw, int32_t* perturbedCount, double* packA, double* packB);

// A square block, unblocked and right-looking. A diagonal entry equal to the tolerance is no pivot for an interchange
// here, while the panel form takes it.
void DenseLDLNonBlock(double tolerance, int32_t n, double* a, int32_t lda, int32_t* pivots, int32_t* perturbedCount);

// Solves A x = b in place for one vector with a square factor; the _Lt form is the backward half, L' and interchanges.
void LA_DenseLDLSolveOne(int32_t n, const double* a, int32_t lda, const int32_t* pivots, double* x);
void LA_DenseLDLSolveOne_Lt(int32_t n, const double* a, int32_t lda, const int32_t* pivots, double* x);

// The same for `numRhs` right-hand sides, the columns of the n-by-numRhs matrix b in column order.
void LA_DenseLDLSolveMany(int32_t numRhs, int32_t n, const double* a, int32_t lda, const int32_t* pivots, double* b,
                          int32_t ldb);

// Rows below a factored diagonal block, everything row by row as the blocked factor stores it: `a` holds the n-by-n
// factored block (entry i, j at i * lda + j, lower part), `b` the rows-by-n block with row i at b + i * ldb.
// b := b P' L^-T D^-1 with the interchanges interleaved, product := b D, formed from the final b by MultiplyLD.
// ldProduct >= n; rows * ldProduct entries of `product` are overwritten: they serve as workspace before.
void SolveLD(int32_t rows, int32_t n, const double* a, int32_t lda, const int32_t* pivots, double* b, int32_t ldb,
             double* product, int32_t ldProduct);

// product := b D for a finished block b, the same layout. Gives the same bits wherever it is called, so that a product
// may be thrown away and formed again.
void MultiplyLD(int32_t rows, int32_t n, const double* a, int32_t lda, const int32_t* pivots, const double* b,
                int32_t ldb, double* product, int32_t ldProduct);

}  // namespace qz
