// The engine's side of the sparse direct solvers: environment, set-up, and the LDL phases with their statuses turned
// into the engine's own (LA_NO_MEMORY and LA_TOO_LARGE to -1086, LA_CANCELLED to 12, all else to 10).
//
// The instance mirrors the environment and the factor handles, so that a host that destroys the instance in the middle
// of a solve finds them. Each function keeps the mirror in step; `env` may be null where a private pool is given.
#pragma once

#include <cstdint>

#include "shell/host_table.h"
#include "shell/timer.h"
#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// Result of ldlSolve when the solve itself failed (it overflowed, say).
inline constexpr int32_t kSolveFailed = 100;

// A new environment on `memory`, or on the instance's pool when `memory` is null. 0, -1086 when memory is short, 10 for
// any other failure, which includes having no pool at all. *laEnv is null on failure.
[[nodiscard]] int32_t laEnvCreate(Env* env, QzPool* memory, LAEnv** laEnv);

// Makes the environment ready for an analysis of the normal equations, or of an augmented matrix whose leading block
// has numLeading rows. An earlier analysis and its solves leave their choices of ordering, threads and refinement steps
// in the environment, so every further analysis needs the set-up again. 0, or 10 for a value out of range (numThread
// below 1, numLeading below 0).
[[nodiscard]] int32_t chSetup(LAEnv* laEnv, int32_t numThread);
[[nodiscard]] int32_t ldlSetup(LAEnv* laEnv, int32_t numLeading, int32_t numThread);

// The three phases of the LDL solver on a symmetric matrix of order n, both triangles stored, colBegin with n + 1
// entries. Seconds spent are added to *time when `timer` is given. A call on a null environment, or on handles in the
// wrong state (set for the analysis, null for the others), gives 10.
[[nodiscard]] int32_t ldlAnalyze(Env* env, int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                 const double* matValue, LAEnv* laEnv, SymbolicFactor** ldlFactor,
                                 NumericFactor** ldlMemory, IPM_timer* timer, double* time);
[[nodiscard]] int32_t ldlFactorize(Env* env, int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                                   const double* matValue, LAEnv* laEnv, SymbolicFactor* ldlFactor,
                                   NumericFactor* ldlMemory, IPM_timer* timer, double* time);
// Solves in place on v of n entries. The two ways in which the refinement can end well count as success; a failure
// other than -1086 and 12 is kSolveFailed. stopState is not used.
[[nodiscard]] int32_t ldlSolve(Env* env, int32_t debugLevel, int32_t n, int32_t stopState, const int32_t* colBegin,
                               const int32_t* rowIndex, const double* matValue, double* v, LAEnv* laEnv,
                               SymbolicFactor* ldlFactor, NumericFactor* ldlMemory, IPM_timer* timer, double* time);

// Free the handles of one solver, if any is set, and clear them here and in the instance. The ...All forms free the
// environment too. All do nothing for a null environment.
void ldlCleanUp(Env* env, LAEnv* laEnv, SymbolicFactor** ldlFactor, NumericFactor** ldlMemory);
void ldlCleanUpAll(Env* env, LAEnv** laEnv, SymbolicFactor** ldlFactor, NumericFactor** ldlMemory);
void chCleanUp(Env* env, LAEnv* laEnv, SymbolicFactor** cholFactor, NumericFactor** cholMemory);
void chCleanUpAll(Env* env, LAEnv** laEnv, SymbolicFactor** cholFactor, NumericFactor** cholMemory);
// Both solvers and the environment; clears all five handles, the instance's copies included.
void laCleanUpAll(Env* env, LAEnv** laEnv, SymbolicFactor** ldlFactor, NumericFactor** ldlMemory,
                  SymbolicFactor** cholFactor, NumericFactor** cholMemory);

// A complete solve of a symmetric system in an environment of its own, so that it can run while the engine's own
// factorisation stands: the instance's handles are the same before and after, on every path. Memory comes from `memory`
// or, when that is null, from the instance's pool. v holds the right-hand side and then the solution. The times are
// optional like the timer. 0, the first failure of a phase, or 10 without a pool.
[[nodiscard]] int32_t solveEquationLDL(Env* env, int32_t debugLevel, QzPool* memory, int32_t n, int32_t numLeading,
                                       int32_t numThread, const int32_t* colBegin, const int32_t* rowIndex,
                                       const double* matValue, double* v, IPM_timer* timer, double* timeAnalyze,
                                       double* timeFactor, double* timeSolve);

}  // namespace qz
