// `LAEnv`: what every sparse solver call carries. Memory, threads, and all parameters of analysis, factorisation,
// refinement and the sparse eigen-solver, addressed by a small integer key.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"

namespace qz {

// Statuses of the LA_ calls.
enum : int32_t {
  LA_OK = 0,
  LA_NO_MEMORY = 1,
  LA_INCONSISTENT = 2,      // inconsistent input, a failed wait for threads, or no free product buffer
  LA_TOO_LARGE = 4,         // a size exceeds what 64-bit byte counts can hold
  LA_SINGULAR = 5,          // no perfect matching for a static pivoting permutation
  LA_FGMRES_TOLERANCE = 6,  // FGMRES ended well, by its tolerance
  LA_FGMRES_LIMIT = 7,      // FGMRES ended well, by its limits
  LA_OVERFLOW = 8,          // a solve overflowed
  LA_BAD_PARAMETER = 9,     // bad key, bad value or null handle
  LA_CANCELLED = 13         // the host cancelled the calling thread
};

// Keys of the parameters.
enum : int32_t {
  LA_KEY_NUM_THREADS = 0,
  LA_KEY_PROBLEM_KIND = 1,
  LA_KEY_CONSTRAINED = 2,
  LA_KEY_STATIC_PERM_GENERAL = 3,
  LA_KEY_STATIC_PERM_AUGMENTED = 4,
  LA_KEY_NUM_LEADING_ROWS = 5,
  LA_KEY_RESERVED_COUNT = 6,
  LA_KEY_ORDERING_METHOD = 7,
  LA_KEY_MATCHING_VARIANT = 8,
  LA_KEY_COMPUTE_INERTIA = 9,
  LA_KEY_NUM_NEGATIVE_PIVOTS = 10,
  LA_KEY_NUM_POSITIVE_PIVOTS = 11,
  LA_KEY_PIVOT_RATIO = 12,
  LA_KEY_RESERVED_FLAG = 13,
  LA_KEY_USE_FGMRES = 14,
  LA_KEY_MAX_REFINE = 15,
  LA_KEY_FGMRES_MINIMUM = 16,
  LA_KEY_FGMRES_RESTART = 17,
  LA_KEY_FGMRES_MODE = 18,
  LA_KEY_REFINE_TOLERANCE = 19,
  LA_KEY_REFINE_RESIDUAL = 20,
  LA_KEY_STATIC_PIPELINE = 21,
  LA_KEY_EIGEN_ITERATION_LIMIT = 22,
  LA_KEY_EIGEN_END = 23,
  LA_KEY_EIGEN_COUNT = 24
};

struct FactorPlan;

struct LAEnv {
  QzPool* memory;                // allocator of everything in the solvers, not owned
  int64_t creatorData;           // stored only
  int32_t problemKind;           // 1: which matrix is factored: 0 normal equations, 1 augmented; 0 to 5
  int32_t orderingMethod;        // -1: requested ordering engine, -1 to 4; the analyses write back the one used
  int32_t numThreads;            // 1: threads of the factorisation, capped by host.cpucorecount
  int32_t constrained;           // 0: constrained nested dissection
  int32_t reservedCount;         // 1: copied into the symbolic record
  int32_t staticPermGeneral;     // 0: static pivoting permutation of a general matrix
  int32_t staticPermAugmented;   // 0: static pivoting permutation of an augmented matrix; wins over the general one
  int32_t numLeadingRows;        // 0: size of the leading block of an augmented matrix, 0 when not known
  int32_t matchingVariant;       // 0: handed to the static permutations
  int32_t computeInertia;        // 0: ask for the pivot statistics
  int32_t numPositivePivots;     // result
  int32_t numNegativePivots;     // result
  int32_t useFgmres;             // 1: refine LDL solves with FGMRES, else plain iterative refinement
  double pivotRatio;             // result: smallest over largest absolute pivot
  int32_t reservedFlag;          // 0: stored only
  int32_t maxRefine;             // 64: refinement steps; a solve overwrites it with the value it used
  int32_t fgmresMinimum;         // 4
  int32_t fgmresRestart;         // 16
  int32_t fgmresMode;            // 0
  double refineTolerance;        // 1e-16: stopping tolerance of FGMRES
  double refineResidual;         // result: residual at which FGMRES stopped
  int32_t staticPipeline;        // 1: static pipeline, 0: dynamic scheduler
  int32_t eigenIterationLimit;   // -1: used when positive
  char eigenEnd;                 // 'S': end of the spectrum, 'S' smallest or 'L' largest
  int32_t eigenCount;            // 1: eigenpairs wanted
  const FactorPlan* forcedPlan;  // null: tests put here what replaces the tables of factor_decision.h; not owned
};

// A new environment with the defaults above; null with *status 1 when memory is short, 9 for a null memory handle.
[[nodiscard]] LAEnv* LA_CreateLAEnv(QzPool* memory, int64_t creatorData, int32_t* status);
// Frees the record and clears the caller's pointer; null is no fault.
void LA_FreeLAEnv(LAEnv** env);

// 0, or 9 for a key above 24, a value out of range or a null handle; a refused value leaves the record untouched.
// Setting a result is accepted without effect. The thread count is capped by the host's core count.
[[nodiscard]] int32_t LA_SetIntParam(LAEnv* env, int32_t key, int32_t value);
[[nodiscard]] int32_t LA_GetIntParam(const LAEnv* env, int32_t key, int32_t* value);
[[nodiscard]] int32_t LA_SetDblParam(LAEnv* env, int32_t key, double value);
[[nodiscard]] int32_t LA_GetDblParam(const LAEnv* env, int32_t key, double* value);
[[nodiscard]] int32_t LA_SetCharParam(LAEnv* env, int32_t key, int32_t value);
[[nodiscard]] int32_t LA_GetCharParam(const LAEnv* env, int32_t key, int32_t* value);

}  // namespace qz
