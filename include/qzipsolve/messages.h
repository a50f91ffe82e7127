/* Codes of the messages that the solver sends through the log object. The host's catalogue holds the texts; the comment
 * gives level, arguments in order, and the condition. Integers travel as int32, reals as double. */
#ifndef QZIPSOLVE_MESSAGES_H
#define QZIPSOLVE_MESSAGES_H

#define QZ_MSG_OPTIMAL 0x827fd001u           /* 2: status 1 */
#define QZ_MSG_OBJECTIVE 0x827fd002u         /* 2: objValue; behind 001, 008, 009, 00b, 00c */
#define QZ_MSG_OUT_OF_MEMORY 0x827fd006u     /* 4: out of memory at the end of a solve */
#define QZ_MSG_DUAL_INFEASIBLE 0x827fd007u   /* 2: status 4 */
#define QZ_MSG_ITERATION_LIMIT 0x827fd008u   /* 2: status 7 */
#define QZ_MSG_NEAR_OPTIMAL 0x827fd009u      /* 2: status 15 */
#define QZ_MSG_CPU_LIMIT 0x827fd00bu         /* 2: status 8 with CPU time */
#define QZ_MSG_REAL_LIMIT 0x827fd00cu        /* 2: status 8 with real time */
#define QZ_MSG_FAILED 0x827fd00du            /* 2: status 10 */
#define QZ_MSG_PRIMAL_INFEASIBLE 0x827fd00eu /* 2: status 3 or 256 */
#define QZ_MSG_BOTH_INFEASIBLE 0x827fd00fu   /* 2: status 14 */
#define QZ_MSG_INTERRUPTED 0x827fd011u       /* 3: status 12 */
#define QZ_MSG_UNKNOWN_STATUS 0x827fd012u    /* 2: any other status */
#define QZ_MSG_THREADS_BEGIN 0x827fd015u     /* 2: threads in use, first line */
#define QZ_MSG_STAGE_BEGIN 0x827fd801u       /* 2: the interior-point stage begins, first line */
#define QZ_MSG_TABLE_HEADER 0x827fd802u      /* 100: header of the iteration table, first line */
#define QZ_MSG_TABLE_HEADER2 0x827fd803u     /* 100: header of the iteration table, second line */
#define QZ_MSG_ITERATION                                                                                               \
  0x827fd804u                                 /* 101: numIter, complementarity, dualityGap, primalInfeas, boundInfeas, \
                                                 dualInfeas */
#define QZ_MSG_STAGE_BEGIN2 0x827fd805u       /* 2: the interior-point stage begins, second line */
#define QZ_MSG_SOLVE_TIME 0x827fd806u         /* 2: solveTime */
#define QZ_MSG_NO_PRESOLVER 0x827fd807u       /* 4: qzpresol can't be loaded */
#define QZ_MSG_NO_PRESOLVE_OBJECT 0x827fd808u /* 4: the presolver object can't be made */
#define QZ_MSG_NO_SIMPLEX 0x827fd809u         /* 4: qzsimpx can't be loaded */
#define QZ_MSG_NO_SIMPLEX_OBJECT 0x827fd80au  /* 4: the simplex object can't be made */
#define QZ_MSG_PRESOLVE_SETUP 0x827fd80bu     /* 4: the presolver's setup failed */
#define QZ_MSG_MODE_CHECK 0x827fd80fu         /* 3: modeCheck is not 3 */
#define QZ_MSG_TIME_TYPE 0x827fd810u          /* 3: timeType is neither 0 nor 1 */
#define QZ_MSG_TOL_OPTIMALITY 0x827fd811u     /* 4: the value; tolOptimality under 1e-15 */
#define QZ_MSG_TOL_PRIMAL 0x827fd812u         /* 4: the value; tolPrimal under 1e-15 */
#define QZ_MSG_TOL_DUAL 0x827fd813u           /* 4: the value; tolDual under 1e-15 */
#define QZ_MSG_COUNT_CHECK 0x827fd814u        /* 3: countCheck is not -1 */
#define QZ_MSG_THREADS 0x827fd815u            /* 2: numThread; threads in use, second line */
#define QZ_MSG_THREAD_MODE 0x827fd816u        /* 3: threadMode is 2 with more than one thread */
#define QZ_MSG_QUADRATIC_BEGIN 0x827fd864u    /* 2: the interior-point stage of a quadratic model begins */
#define QZ_MSG_NOT_CONVEX_MIN 0x827fd866u     /* 2: status 1000 on a minimisation */
#define QZ_MSG_NOT_CONVEX_MAX 0x827fd867u     /* 2: status 1000 on a maximisation */
#define QZ_MSG_NOT_CONVEX_HINT 0x827fd868u    /* 3: behind 866 and 867 */
#define QZ_MSG_PRESOLVE_MODE0 0x827fd869u     /* 2: presolveMode 0 of a quadratic model */
#define QZ_MSG_PRESOLVE_STATS 0x827fd86au     /* 2: what presolve removed follows */
#define QZ_MSG_PRESOLVE_UNKNOWN 0x827fd86eu   /* 4: presolveMode; it is none of -1 to 3 */
#define QZ_MSG_PRESOLVE_REMOVED 0x827fd86fu   /* 2: numRemovedCol, numRemovedRow */
#define QZ_MSG_PRESOLVE_ELEMENTS 0x827fd870u  /* 2: numRemovedElement */
#define QZ_MSG_PRESOLVE_MODE1 0x827fd874u     /* 2: presolveMode 1 */
#define QZ_MSG_PRESOLVE_MODE2 0x827fd875u     /* 2: presolveMode 2 */
#define QZ_MSG_PRESOLVE_MODE3 0x827fd876u     /* 2: presolveMode 3 */
#define QZ_MSG_CHECK_PRIMAL 0x827fd8ceu       /* 4: primalInfeas, tolPrimal; the answer failed the last check */
#define QZ_MSG_CHECK_BOUND 0x827fd8cfu        /* 4: boundInfeas, tolPrimal; the answer failed the last check */
#define QZ_MSG_CHECK_DUAL 0x827fd8d0u         /* 4: dualInfeas, tolDual; the answer failed the last check */
#define QZ_MSG_PRESOLVED_SIZE 0x827fd9b4u     /* 2: numCol, numRow, numCoef behind presolve */
#define QZ_MSG_INFEASIBLE_HINT 0x827fda37u    /* 2: behind 00e for a linear model */

#endif
