// The three phases of the Cholesky solver on the engine's normal equations, with their statuses turned into the
// engine's own. Seconds spent are added to timeCholAnalyze, timeCholFactor and timeCholSolve when the engine has a
// timer. A call on a null environment, or on handles in the wrong state (set for the analysis, null for the others),
// gives 10.
#pragma once

#include <cstdint>

#include "engine/ipm.h"
#include "shell/host_table.h"

namespace qz {

// Analyses the pattern in ipmColBegin and ipmRowIndex; the environment is set up by chSetup. The handles and the
// instance's copies hold whatever was built, also on a failure. 0, -1086, 12 or 10.
[[nodiscard]] int32_t chAnalyze(Env* env, Ipm* ipm);
// Factors the values in ipmMatValue; a pivot below a tolerance that grows with the norm leaves the solve. 0, -1086, 12
// or 10.
[[nodiscard]] int32_t chFactorize(Env* env, Ipm* ipm);
// The same for a balanced matrix whose diagonal keeps every pivot away from 0: no pivot is judged by the norm, and only
// an exact 0 is replaced. 0, -1086, 12 or 10.
[[nodiscard]] int32_t chFactorizeBalanced(Env* env, Ipm* ipm);
// Solves in place on v of numRow entries. 0, or 10 for missing handles.
[[nodiscard]] int32_t chSolve(Env* env, Ipm* ipm, double* v);

}  // namespace qz
