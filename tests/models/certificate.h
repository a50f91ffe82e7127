// Proves or refutes a claim about a linear or a convex quadratic program from the model and the claimed vectors alone,
// in long double. It shares no code with the solver.
//
// With the objective written as a minimisation (cost, dual and reduced cost times the sense), a pair x, y is optimal
// exactly when
//
//   rowLower <= A x <= rowUpper, lower <= x <= upper                        (primal feasibility)
//   y_i >= 0 without an upper side, <= 0 without a lower one, and so for
//   d = cost + Q x - A'y and the bounds of the columns                      (dual feasibility)
//   cost'x + x'Qx / 2 = sum_i y_i (rowLower_i if y_i > 0 else rowUpper_i)
//                     + sum_j d_j (lower_j if d_j > 0 else upper_j) - x'Qx / 2    (no gap)
//
// with Q = 0 for a linear program. That Q is positive semi-definite in the sense of a minimisation is not looked at.
#pragma once

#include <string>
#include <vector>

#include "models/linear_program.h"

namespace models {

struct Certificate {
  // The claim against itself, entry by entry, each over 1 + the sum of the magnitudes that make the entry up.
  double activityError = 0.0;     // activity against A x
  double reducedCostError = 0.0;  // reducedCost against cost + Q x - A'y
  double objectiveError = 0.0;    // objective against cost'x + x'Qx / 2 + constant

  // The Euclidean norm of the violations over 1 + the norm of what they are measured by.
  double rowViolation = 0.0;    // over the finite sides of the rows
  double boundViolation = 0.0;  // over the finite bounds
  double dualViolation = 0.0;   // over the costs: signs of y and of cost + Q x - A'y

  // The largest violation of a single row over 1 + its side + the sum of the magnitudes of its terms: no row may hide
  // behind the norm of the others.
  double worstRow = 0.0;

  double primalObjective = 0.0;  // cost'x + x'Qx / 2, in the model's sense and without the constant
  double dualObjective = 0.0;
  double gap = 0.0;              // their distance over 1 + |primalObjective|
  double complementarity = 0.0;  // the largest product of a multiplier and its distance, over 1 + |primalObjective|

  bool holds(double tolerance) const;
  std::string text() const;  // all measures on one line
};

Certificate certify(const LinearProgram& program, const Answer& answer);

// True when the row multipliers y prove that no point is feasible (Farkas): for every x within the bounds y'A x stays
// under sum_i y_i (rowLower_i if y_i > 0 else rowUpper_i), by more than `margin` times the magnitudes involved.
bool provesInfeasible(const LinearProgram& program, const std::vector<double>& y, double margin = 1e-9);

// True when r proves that the objective is unbounded if any point is feasible: along r no row side and no bound ends
// the way, to `tolerance` times the magnitudes involved, and the objective gets better.
bool provesUnbounded(const LinearProgram& program, const std::vector<double>& r, double tolerance = 1e-12);

// True when x meets all rows and bounds to `tolerance` times the magnitudes involved.
bool isFeasible(const LinearProgram& program, const std::vector<double>& x, double tolerance = 1e-9);

}  // namespace models
