// Proofs that a program has no answer, read off a diverging iterate.
//
// On the standard form  min c'x,  A x - s = b (s >= 0 on G rows, 0 on E rows),  l <= x <= u:
//
//   r proves that there is no dual point (and with any point at hand, that the objective is unbounded) when
//     A r = 0 on E rows, A r >= 0 on G rows,  r_j >= 0 with a lower bound, r_j <= 0 with an upper one,  c'r < 0,
//     and with a quadratic term Q r = 0;
//   y proves that there is no point (Farkas 1902) when, with d = -A'y,
//     y >= 0 on G rows,  d_j >= 0 without an upper bound, d_j <= 0 without a lower one,
//     b'y + sum over d_j > 0 of l_j d_j + sum over d_j < 0 of u_j d_j > 0.
//
// An iterate that runs away runs along such a direction: x = x0 + t r with t -> infinity, and x0 counts less and less.
#pragma once

#include <cstdint>

#include "shell/records.h"

namespace qz {

// True when x (numCol), as a direction, is a ray to kRayTolerance: the Euclidean norm of what it violates of the
// conditions above, against the gain -c'x / (1 + ||c||). work is scratch of numRow entries,
// and of numCol for a quadratic model.
[[nodiscard]] bool isRay(const Model* model, const double* x, double infinityValue, double* work);

// True when y (numRow) proves infeasibility to kRayTolerance: violation against the gain over 1 + the norm of b, l, u.
[[nodiscard]] bool isFarkasProof(const Model* model, const double* y, double infinityValue);

// The residuals alone say which equations are not met, and after a long step along a ray rounding counts against the
// other side's too. Of the statuses 3, 4 and 14 the one that x and y prove takes the place of `status`; without any
// proof it stays.
[[nodiscard]] int32_t statusByRays(const Model* model, const double* x, const double* y, double infinityValue,
                                   double* work, int32_t status);

inline constexpr double kRayTolerance = 1e-2;

}  // namespace qz
