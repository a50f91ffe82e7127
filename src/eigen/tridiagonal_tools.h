// Small tools of the tridiagonal solvers: plane rotations, 2-by-2 problems, norms, sorting.
#pragma once

#include <cstdint>

namespace qz {

// Relative rounding error of one operation, 2^-53.
inline constexpr double kUnitRoundoff = 0x1p-53;  // 1.110223024625157e-16

// Eigenvalues of [a b; b c], |rt1| >= |rt2|, the smaller one without cancellation.
void EigV2by2(double* rt1, double* rt2, double a, double b, double c);

// The same with the unit eigenvector (cs, sn) of rt1: [cs sn; -sn cs] [a b; b c] [cs -sn; sn cs] = diag(rt1, rt2). The
// sign convention is that of LAPACK's DLAEV2.
void EigS2by2(double* rt1, double* rt2, double* cs, double* sn, double a, double b, double c);

// The rotation with c f + s g = r, -s f + c g = 0.
void makeRotation(double f, double g, double* c, double* s, double* r);

// Applies the rotations k = 0, 1, ... (direction "F") or from the last back ("B") to the m-by-n matrix a: rotation k
// acts on the rows (side "L", m - 1 rotations, a := P a) or columns (side "R", n - 1 rotations, a := a P') k and k + 1,
//   (x, y) := (c x + s y, c y - s x).
void ApplyGivensSeq(const char* side, const char* direction, int32_t m, int32_t n, const double* c, const double* s,
                    double* a, int32_t lda);

// 1-norm of a symmetric tridiagonal matrix; 0 for n below 1.
[[nodiscard]] double NormTridiag(int32_t n, const double* diag, const double* offDiag);

// Selection sort of the n values, ascending; the columns of `vectors` (n rows) go along. vectors may be null.
void SortEigenSystem(int32_t n, double* values, double* vectors, int32_t ld);

// index (n1 + n2 positions in `values`, from 0) runs through the two lists values[0 .. n1) and values[n1 .. n1 + n2) in
// ascending order. A list with stride 1 is ascending, with stride -1 descending.
void MergeSortedLists(int32_t n1, int32_t n2, const double* values, int32_t stride1, int32_t stride2, int32_t* index);

}  // namespace qz
