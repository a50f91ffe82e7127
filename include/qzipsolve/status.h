/* Status codes that travel through the solver and out of it. An int32; 0 is success of a call, and in a model
 * it says that nothing is decided yet. */
#ifndef QZIPSOLVE_STATUS_H
#define QZIPSOLVE_STATUS_H

enum {
  QZ_STATUS_OK = 0,
  QZ_STATUS_OPTIMAL = 1,           /* every measure met its tolerance */
  QZ_STATUS_PRIMAL_INFEASIBLE = 3, /* no point meets the rows and bounds */
  QZ_STATUS_DUAL_INFEASIBLE = 4,   /* the objective is unbounded */
  QZ_STATUS_ITERATION_LIMIT = 7,
  QZ_STATUS_TIME_LIMIT = 8,
  QZ_STATUS_FAILED = 10,            /* bad input, a broken invariant, or no progress that can be classified */
  QZ_STATUS_INTERRUPTED = 12,       /* the break callback asked to stop */
  QZ_STATUS_BOTH_INFEASIBLE = 14,   /* primal and dual infeasible */
  QZ_STATUS_NEAR_OPTIMAL = 15,      /* as good as it gets, not every measure met its tolerance */
  QZ_STATUS_INFEASIBLE_ALIAS = 256, /* treated like QZ_STATUS_PRIMAL_INFEASIBLE */
  QZ_STATUS_NOT_CONVEX = 1000,      /* the quadratic objective is not convex */
  QZ_STATUS_RESTART = 1003,         /* internal to the controller: the model changed, restart or switch route */
  QZ_STATUS_UNSCALE = 1004,         /* internal to the controller: unscale, then go on with the reduced model */
  QZ_STATUS_OUT_OF_MEMORY = -1086
};

/* Codes of the presolver module's own numbering, translated at the end of a solve. */
enum {
  QZ_PRESOL_OPTIMAL = 81,           /* to 1 */
  QZ_PRESOL_BOTH_INFEASIBLE = 83,   /* to 14 */
  QZ_PRESOL_DUAL_INFEASIBLE = 85,   /* to 4 */
  QZ_PRESOL_PRIMAL_INFEASIBLE = 86, /* to 3 */
  QZ_PRESOL_FAILED = 87,            /* to 10 */
  QZ_PRESOL_TIME_LIMIT = 88,        /* to 8 */
  QZ_PRESOL_INTERRUPTED = 89        /* to 12 */
};

#endif
