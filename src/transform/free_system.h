// The answer of a model without any bound or inequality, where presolve meets one: no iteration is needed.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/presolver.h"

namespace qz {

// Answers `model`, which has only E rows and free columns (PREROUTE_SYSTEM), by ipmSpecSolve, and evaluates the answer:
// status, measures, objective value, row activities and reduced costs are in the model, primal and dual in `solution`,
// of numCol columns. A quadratic model must be convex. With a logFrequency the iteration table shows one line.
//
// 0 with preRoute PREROUTE_FINISHED, whatever the model's status has become. A convexity test that fails: its status,
// also in the model, with preControl PRECONTROL_NONE and preRoute PREROUTE_FINISHED. The error of the solve otherwise,
// with both as they were: 3 or 4 for an equation without solution, -1086, 10, 12.
[[nodiscard]] int32_t answerFreeSystem(Env* env, Model* model, const IpmOption* options, Presolver* presolver,
                                       Solution* solution, int32_t usePresolve);

}  // namespace qz
