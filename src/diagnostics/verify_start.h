// Checks of the two least-squares solves of a starting point, before the shift that makes it positive. All run from
// level 5 and tell from level 7 on when they passed. Each returns 0, 10 after a breach, or -1086.
//
// The primal start minimises 1/2 sum over bounds (x - bound)^2 + 1/2 |s|^2 (+ c'x + x'Qx / 2) subject to A x - s = b,
// the dual start 1/2 sum over bounds z^2 + 1/2 sum over G rows y^2 subject to A'y + zl - zu = c + Q x. Both are checked
// on their constraint and on the derivative of their Lagrange function, by norms: they rest on a linear solve. In the
// systems of a quadratic model no diagonal is smaller than 1e-6 in size, so that these objectives gain 1e-6/2 x^2 for a
// column without bounds and curvature, and 1e-6/2 y^2 for an E row.
#pragma once

#include <cstdint>

#include "engine/ipm.h"

namespace qz {

// What takes part in a solve: a null map keeps all, a negative entry leaves out. Big right-hand sides of E rows and big
// costs of free columns are not insisted on.
struct StartScope {
  const int32_t* colMap;
  const int32_t* rowMap;
  double thresholdRow;
  double thresholdCol;

  [[nodiscard]] bool hasCol(int32_t j) const { return colMap == nullptr || colMap[j] >= 0; }
  [[nodiscard]] bool hasRow(int32_t i) const { return rowMap == nullptr || rowMap[i] >= 0; }
  [[nodiscard]] int32_t row(int32_t i) const { return rowMap == nullptr ? i : rowMap[i]; }
  [[nodiscard]] int32_t col(int32_t j) const { return colMap == nullptr ? j : colMap[j]; }
};

// Bound slacks are the distances to the bounds, and zero where there is none.
[[nodiscard]] int32_t VerifyBoundFeasible(const Ipm* ipm, int32_t level);

// A x - s = b, as far as the equations can be met: where they contradict each other the multipliers w grow without
// bound, and the residual is judged on their scale.
[[nodiscard]] int32_t VerifyPrimalFeasible(const Ipm* ipm, int32_t level, const StartScope& scope, const double* w);
// sum over bounds (x - bound) + A'w (+ c + Q x) = 0 for the multipliers w, and s = w on rows that are not E. `w` holds
// the row part of the solution, in kept numbering.
[[nodiscard]] int32_t VerifyInitDerivPrimal(const Ipm* ipm, int32_t level, const StartScope& scope, const double* w);

// A'y + zl - zu = c + Q x, as far as the equations of the free columns can be met.
[[nodiscard]] int32_t VerifyDualFeasible(const Ipm* ipm, int32_t level, const StartScope& scope, const double* w);
// A w = -y on rows that are not E and 0 on E rows (quadratic: -1e-6 y). `w` holds the column part of the solution, in
// kept numbering.
[[nodiscard]] int32_t VerifyInitDerivDual(const Ipm* ipm, int32_t level, const StartScope& scope, const double* w);

}  // namespace qz
