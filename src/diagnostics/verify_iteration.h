// Checks of the iterate, its measures, its directions and its steps, recomputed from the model. All run from level 5
// and tell from level 7 on when they passed. Each returns 0, 10 after a breach, or -1086.
//
// With the iterate (x, y, s, su, zu, sl, zl) of engine/ipm.h and a direction d the Newton equations are
//   A dx - ds                      = b - A x + s
//   A'dy - Q dx + dzl - dzu        = c + Q x - A'y - zl + zu
//   dx + dsu = u - x - su,   -dx + dsl = x - l - sl
//   su dzu + zu dsu = -su zu       and likewise for (sl, zl) and (s, y), for the predictor
// Equations that follow from (dx, dy) by substitution are judged one by one. Those that rest on a linear solve are
// judged by the norm of their residual against the norm of their terms, which is what the refinement promises.
#pragma once

#include <cstdint>

#include "engine/ipm.h"

namespace qz {

// Slacks and duals of bounds and inequality rows are not negative, beyond what the ratio test passes over; those of
// bounds that do not exist, and the slacks of equations, are zero.
[[nodiscard]] int32_t VerifySolution(const Ipm* ipm, int32_t level);

// The five measures and both objective values, and the right-hand side that computeMeasurement leaves.
[[nodiscard]] int32_t VerifyMeasurePrimal(const Ipm* ipm, int32_t level);
[[nodiscard]] int32_t VerifyMeasureBound(const Ipm* ipm, int32_t level);
[[nodiscard]] int32_t VerifyMeasureDual(const Ipm* ipm, int32_t level);
[[nodiscard]] int32_t VerifyMeasureDualityGap(const Ipm* ipm, int32_t level);
[[nodiscard]] int32_t VerifyMeasureComplementarity(const Ipm* ipm, int32_t level);
[[nodiscard]] int32_t VerifyPredictorRhs(const Ipm* ipm, int32_t level);

// Tells the measures from level 7 on, once they are numbers that are not negative.
[[nodiscard]] int32_t VerifySummaryReport(const Ipm* ipm, int32_t level);

// What holds for every direction: the bound equations, and no movement where there is no bound. `direction` holds dx.
[[nodiscard]] int32_t VerifyKktCommon(const Ipm* ipm, int32_t level, const double* direction);

// The predictor in rhsPredictor with its slack and dual steps.
[[nodiscard]] int32_t VerifyKktPredictor(const Ipm* ipm, int32_t level);

// The correction in rhsCorrector, before it is combined: K c = rhs with the right-hand side made again from the
// predictor's steps.
[[nodiscard]] int32_t VerifyCorrector(const Ipm* ipm, int32_t level);

// The combined direction in rhsCorrector.
[[nodiscard]] int32_t VerifyKktOverall(const Ipm* ipm, int32_t level);

// alphaPrimal and alphaDual lie in (0, 1] and keep every slack and dual from falling below zero; one below 1 is
// blocked by something. `direction` holds dx and dy.
[[nodiscard]] int32_t VerifyStepsize(const Ipm* ipm, int32_t level, const double* direction);

// muAffine, and from level 7 on what the predictor step promises.
[[nodiscard]] int32_t VerifyPredictorReport(const Ipm* ipm, int32_t level);

}  // namespace qz
