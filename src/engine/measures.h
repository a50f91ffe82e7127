// What the iteration knows about its point: objectives, residuals, complementarity, and the status they amount to.
#pragma once

#include <cstdint>

#include "engine/ipm.h"

namespace qz {

// One pass over the matrix. With x, y, s and the bound slacks and duals (su, zu), (sl, zl) of the iterate:
//   primalInfeas     |A x - s - b| / (1 + |b|)
//   dualInfeas       |A'y - c - Q x - zu + zl| / (1 + |c|)
//   boundInfeas      |(u - x - su, x - l - sl)| / (1 + |l| + |u|)
//   complementarity  sum |zu su| + sum |zl sl| + sum over G rows |y s|,   mu = complementarity / numCompl
//   dualityGap       |p - d| / (1 + |p|),  p = c'x + x'Qx / 2,  d = b'y + l'zl - u'zu - x'Qx / 2
//   complRatio       largest min / max over the pairs whose smaller member exceeds 1e-6
// with Euclidean norms, those of the data from AnalyzeIpm. With no pair at all mu is not a number, and the tests of the
// iteration are written so that it compares false.
//
// rhsPredictor takes the first right-hand side of the reduced Newton system: the column part is the dual residual with
// the bound residuals folded in,
//   A'y - c - Q x - zu (1 - (u - x) / su) + zl (1 - (x - l) / sl),
// the row part is A x - b, from which the slack of G rows is not subtracted.
void computeMeasurement(Ipm* ipm);

// The same five measures of any point of the engine's model, with the norms in `ipm`, whose iterate and measures stay
// as they are: x and the four bound arrays have numCol entries, y and ineqnSlack numRow. 0, or -1086.
[[nodiscard]] int32_t computeMeasurementReset(const Ipm* ipm, const double* x, const double* y,
                                              const double* ineqnSlack, const double* lowerSlack,
                                              const double* upperSlack, const double* lowerDual,
                                              const double* upperDual, double* primalInfeas, double* dualInfeas,
                                              double* boundInfeas, double* dualityGap, double* complementarity);

// The status of a point by its measures alone:
//   1   every measure is within its tolerance
//   15  the gap, the complementarity, or loosely both are met, and so is feasibility (within ten times the tolerance
//       when the complementarity is met)
//   3, 4, 14   the primal or bound residual, the dual residual, or both are still above tolerance
//   10  feasible, but the gap is not closed
[[nodiscard]] int32_t getSolutionStatus(double tolPrimal, double tolDual, double tolOptimality, double tolComplement,
                                        double primalInfeas, double boundInfeas, double dualInfeas, double dualityGap,
                                        double complementarity);

// muAffine: the average complementarity product at the end of the predictor step, without step factor.
void computeMuAffine(Ipm* ipm);

// sigma = (muAffine / mu)^3 (Mehrotra 1992), neither capped nor floored.
void computeSigma(Ipm* ipm);

}  // namespace qz
