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
// conditions above, against the gain -c'x / (1 + ||c||), which must not be rounding. rowScale (numRow entries, or null)
// holds the divisors of the row scaling, and the rows count as they were, or a row with a far side would hide what x
// violates of it. work is scratch of numRow entries, and of numCol for a quadratic model.
[[nodiscard]] bool isRay(const Model* model, const double* x, double infinityValue, const double* rowScale,
                         double* work);

// True when y (numRow) proves infeasibility to kRayTolerance: violation against the gain over 1 + the norm of b, l, u.
// rowScale as above.
[[nodiscard]] bool isFarkasProof(const Model* model, const double* y, double infinityValue, const double* rowScale);

// The residuals alone say which equations are not met, and after a long step along a ray rounding counts against the
// other side's too; a point that has stalled leaves residuals as well. So a claim takes a proof: the status 3, 4 or 14
// that x and y prove, and `unproved` without any.
[[nodiscard]] int32_t statusByRays(const Model* model, const double* x, const double* y, double infinityValue,
                                   const double* rowScale, double* work, int32_t unproved);

inline constexpr double kRayTolerance = 1e-2;
inline constexpr double kGainMargin = 1e-9;  // least gain over the sum of the magnitudes of its terms

}  // namespace qz
