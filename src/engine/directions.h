// From the solutions of the reduced Newton system to the step: Mehrotra's predictor and corrector (Mehrotra 1992).
//
// The linear systems give dx and dy only. With K = [Q + Theta, -A'; -A, -E], Theta = zu / su + zl / sl and E = s / y on
// G rows, the predictor solves K (dx, dy) = rhsPredictor and the correction K (cx, cy) = rhsCorrector; the slack and
// dual directions follow from the linearised bound, row and complementarity equations. The sum of both is the Newton
// direction to products of sigma mu, with the second-order term of the predictor.
//
// The second-order term supposes that the predictor's full step will be taken. Where it is not, the term may push the
// combined step against a wall, and pass after pass the iteration goes round in a circle (Cartis 2009). Quadratic
// models, whose one step length is the shorter of two, have done so; behind many bad steps they go on without the term.
//
// Ratio tests: a quantity blocks when its direction is below -1e-15; the first to reach a smaller quotient wins, in the
// order columns ascending, upper before lower, then rows. Steps lie in (0, 1]; a quadratic model uses one step for both
// sides. blockPrimal and blockDual hold the column or row that blocked, -1 for none.
#pragma once

#include "engine/ipm.h"

namespace qz {

// Bad steps behind which the iteration of a quadratic model counts as going in a circle: half of what ends a run.
inline constexpr int32_t kCirclingSteps = 25;

// The share of the predictor's second-order term in the corrector: 1, or 0 behind kCirclingSteps bad steps of a
// quadratic model.
[[nodiscard]] inline double secondOrderShare(const Ipm* ipm) {
  return ipm->typeModel == IPM_MODEL_QP && ipm->countBadStep >= kCirclingSteps ? 0.0 : 1.0;
}

// Needs (dx, dy) in rhsPredictor. Fills the slack and dual deltas of the affine direction and its steps. E rows enter
// no ratio test and their slack delta stays as it was.
void computePredictor(Ipm* ipm);

// rhsCorrector from sigma, mu and the predictor's deltas.
void computeRhsCorrector(Ipm* ipm);

// Needs the correction (cx, cy) in rhsCorrector. Turns the deltas and rhsCorrector into the combined direction and
// fills its steps.
void computeStepCombined(Ipm* ipm);

// Moves the iterate by stepFactor times the steps along the combined direction. Fills maxPrimal, maxDual, and
// minPositive over the bound slacks and the duals of G rows (bound duals and row slacks do not enter it).
void updateSolution(Ipm* ipm);

// Reserve operations. Only adjustFreeVar is part of an iteration: where free columns were split.

// A step that looks at its blockers: unless a blocking quantity would come out below 1e-8, it goes the full way and
// adds 1e-8 to the slacks and duals of each blocked side; otherwise it is updateSolution.
void updateSolution2(Ipm* ipm);

// Brings the pairs freeVarPlus[k], freeVarMinus[k] of split free columns back to a size around freeVarLimit, keeping
// their difference, when the smallest of the four values is negative or above the limit.
void updateFreeVar(Ipm* ipm, double* x, double* slack);
// The same, with the duals scaled so that each product of slack and dual stays.
void adjustFreeVar(Ipm* ipm, double* x, double* slack, double* dual);

}  // namespace qz
