/* C API of the stand-alone library: load a linear or a convex quadratic program from arrays or a file, solve it, read
 * the answer, change single numbers and solve again.
 *
 *     qzlp* lp = qzlp_create();
 *     qzlp_model model = {...};
 *     if (qzlp_loadModel(lp, &model) != QZLP_OK) puts(qzlp_error(lp));
 *     qzlp_setDoubleOption(lp, "timeLimit", 60.0);
 *     qzlp_solve(lp);
 *     printf("%s %.12g\n", qzlp_statusName(qzlp_status(lp)), qzlp_objective(lp));
 *     qzlp_destroy(lp);
 *
 * Functions that can fail return one of the codes QZLP_OK, QZLP_ERROR_...; qzlp_error tells in words what was wrong. A
 * call that fails changes nothing. One handle serves one call at a time; different handles may be used from different
 * threads at once. Callbacks must not throw; calls that change the handle are errors inside of them. The library prints
 * nothing by itself, installs no signal handlers and reads no environment variables.
 *
 * Compiles as C11 and as C++20. */
#ifndef QZLP_H
#define QZLP_H

#include <stdint.h>

#if defined(__GNUC__)
#define QZLP_API __attribute__((visibility("default")))
#else
#define QZLP_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Version of this interface. It grows when a program compiled with an older header could no longer run with the
 * library, and is the number in the name of the shared object. Functions and options that are added leave it as it is.
 */
#define QZLP_ABI_VERSION 1

/* A solver with its options, model and last answer. */
typedef struct qzlp qzlp;

/* Return codes. */
enum {
  QZLP_OK = 0,
  QZLP_ERROR_ARGUMENT = 1, /* a null handle or argument, an unknown option, a value outside its range */
  QZLP_ERROR_MODEL = 2,    /* the arrays of the model are not consistent */
  QZLP_ERROR_STATE = 3,    /* no model was loaded */
  QZLP_ERROR_MEMORY = 4,   /* out of memory or of another resource */
  QZLP_ERROR_MODULE = 5,   /* a module could not be loaded */
  QZLP_ERROR_FILE = 6      /* a file could not be read or written, or is no good model file */
};

/* How a solve ended. What each status leaves behind:
 *
 *   status              objective and solution arrays         measures                      basis, with crossover
 *   OPTIMAL             the answer                            all within their tolerances   yes
 *   NEAR_OPTIMAL        the best point found                  near their tolerances         yes
 *   ITERATION_LIMIT     the last point                        of that point                 no
 *   TIME_LIMIT          the last point; all zeros when the    of that point                 no
 *                       limit came before the first one
 *   all others          no answer                             no answer's                   no
 *
 * qzlp_hasPoint tells the first four, in which the arrays hold a point, from the others, in which nothing in them is to
 * be read. Only the first two are an optimum. */
enum {
  QZLP_STATUS_NONE = 0, /* nothing was solved since the model was loaded or changed */
  QZLP_STATUS_OPTIMAL = 1,
  QZLP_STATUS_PRIMAL_INFEASIBLE = 3, /* no point meets the rows and bounds */
  QZLP_STATUS_DUAL_INFEASIBLE = 4,   /* the objective is unbounded, or no dual point exists */
  QZLP_STATUS_ITERATION_LIMIT = 7,
  QZLP_STATUS_TIME_LIMIT = 8,
  QZLP_STATUS_FAILED = 10,          /* no answer that can be trusted was reached */
  QZLP_STATUS_INTERRUPTED = 12,     /* a callback asked to stop */
  QZLP_STATUS_BOTH_INFEASIBLE = 14, /* neither a primal nor a dual point exists */
  QZLP_STATUS_NEAR_OPTIMAL = 15,    /* solved with reduced accuracy */
  QZLP_STATUS_NOT_CONVEX = 1000,    /* an eigenvalue of Q, of -Q when maximising, lies below -1e-4 */
  QZLP_STATUS_OUT_OF_MEMORY = -1086
};

/* Levels of a log line. */
enum {
  QZLP_LOG_DEBUG = 0,
  QZLP_LOG_NOTE = 2,
  QZLP_LOG_WARNING = 3,
  QZLP_LOG_ERROR = 4,
  QZLP_LOG_HEADER = 100,   /* header of the iteration table */
  QZLP_LOG_ITERATION = 101 /* line of the iteration table */
};

/* Version of the library as text, "major.minor.patch", and the QZLP_ABI_VERSION that it was built with. */
QZLP_API const char* qzlp_version(void);
QZLP_API int qzlp_abiVersion(void);

/* ---- Life of a handle ---- */

/* A new handle with default options and no model, to be released by qzlp_destroy; null on failure, and then
 * qzlp_error(NULL) tells why. */
QZLP_API qzlp* qzlp_create(void);

/* Releases the handle and all that it holds. Null is no fault. */
QZLP_API void qzlp_destroy(qzlp* lp);

/* The last error of the handle in words, "" when its last call that can fail went well. With null: why the last
 * qzlp_create, or the last call without a handle, failed in this thread. Valid until the next call with the handle. */
QZLP_API const char* qzlp_error(const qzlp* lp);

/* ---- Model ---- */

/*   minimise or maximise  obj'x + objConstant
 *   subject to            row i of A x   = rhs[i]                          sense E
 *                                       <= rhs[i]                          sense L
 *                                       >= rhs[i]                          sense G
 *                                       in [rhs[i] - range[i], rhs[i]]     sense R
 *                                       free                               sense N
 *                         lower <= x <= upper
 *
 * The matrix stands by columns: the elements of column j are rowIndex[k], matValue[k] for k from colBegin[j]. Columns
 * may lie in any order and with gaps between them, and the rows of a column in any order, each at most once. Elements
 * smaller than 1e-20 in magnitude are dropped. A magnitude of 1e20 or more, infinity included, in a bound is no bound,
 * in the right-hand side of an L or G row leaves the row free, and in a range makes it an L row. An infinity on the
 * wrong side, which nothing could meet, is an error. Lower bounds above upper bounds are an infeasible model and no
 * error. The library copies all arrays. */
typedef struct qzlp_model {
  int32_t numRow;           /* rows, at least 0 */
  int32_t numCol;           /* columns, at least 0 */
  int32_t numCoef;          /* length of rowIndex and matValue, at least 0 */
  int32_t objSense;         /* 1 minimise, -1 maximise */
  double objConstant;       /* added to the objective value; finite */
  const int32_t* colBegin;  /* numCol entries, or numCol + 1 when colLength is null */
  const int32_t* colLength; /* numCol entries; null: column j ends where column j + 1 begins */
  const int32_t* rowIndex;  /* numCoef entries, counted from 0 */
  const double* matValue;   /* numCoef entries, magnitudes below 1e20 */
  const double* obj;        /* numCol entries, magnitudes below 1e20 */
  const double* lower;      /* numCol entries */
  const double* upper;      /* numCol entries */
  const char* rowSense;     /* numRow bytes out of E L G R N, in either case */
  const double* rhs;        /* numRow entries; finite for E and R */
  const double* range;      /* numRow entries, 0 but for R where it is at least 0; null when no row has sense R */
} qzlp_model;

/* Checks the model, copies it into the handle in place of the model before and its quadratic part, and clears the
 * answer. An error text names the array, the index and the value at fault. Arrays that would have no entry may be null.
 */
QZLP_API int qzlp_loadModel(qzlp* lp, const qzlp_model* model);

/* Which entries of a symmetric matrix the arrays hold. */
enum {
  QZLP_LOWER = 0, /* each pair once, in column j rows i >= j */
  QZLP_UPPER = 1, /* each pair once, in column j rows i <= j */
  QZLP_FULL = 2   /* both triangles; entries that mirror each other may differ by rounding, and their mean counts */
};

/* The quadratic part of the objective:
 *
 *   minimise or maximise  obj'x + 1/2 x'Q x + objConstant
 *
 * with a symmetric Q. The factor 1/2 is always there: x^2 is an entry 2 on the diagonal, and x*y is the pair of entries
 * 1, of which a triangle holds one. Minimising, Q must be positive semi-definite; maximising, negative semi-definite;
 * what is neither, as far as presolve leaves it, ends with QZLP_STATUS_NOT_CONVEX. Q stands by columns like the matrix
 * of the model, with a row at most once in a column. Elements smaller than 1e-20 in magnitude are dropped. */
typedef struct qzlp_quadratic {
  int32_t form;             /* QZLP_LOWER, QZLP_UPPER or QZLP_FULL */
  int32_t numCoef;          /* length of rowIndex and value, at least 0 */
  const int32_t* colBegin;  /* numCol entries, or numCol + 1 when colLength is null; numCol is the model's */
  const int32_t* colLength; /* numCol entries; null: column j ends where column j + 1 begins */
  const int32_t* rowIndex;  /* numCoef entries, counted from 0 */
  const double* value;      /* numCoef entries, magnitudes below 1e20 */
} qzlp_quadratic;

/* Checks Q, copies it into the loaded model in place of a quadratic part before, and clears the answer. Null takes the
 * quadratic part away. With a Q other than 0 the option `method` is of no effect (the augmented system it is), nor is
 * `crossover`. Entries on the wrong side of the diagonal for the form, and mirror entries that differ by more than 1e-9
 * of their magnitude, are errors of the model. */
QZLP_API int qzlp_loadQuadratic(qzlp* lp, const qzlp_quadratic* quadratic);

/* Dimensions of the loaded model; 0 without one. */
QZLP_API int32_t qzlp_numRow(const qzlp* lp);
QZLP_API int32_t qzlp_numCol(const qzlp* lp);

/* Points the arrays of `model` at the loaded model, or those of `quadratic` at its quadratic part, in the form
 * QZLP_LOWER with numCoef 0 when there is none. Columns stand in their order without gaps; bounds and sides that are
 * infinite are +-1e30. The arrays are the handle's, and valid until its model is loaded or changed or it is destroyed.
 */
QZLP_API int qzlp_getModel(qzlp* lp, qzlp_model* model);
QZLP_API int qzlp_getQuadratic(qzlp* lp, qzlp_quadratic* quadratic);

/* ---- Model files ---- */

/* Reads a fixed or free MPS file or an LP file, plain, gzip or bzip2, with its names and its quadratic part, in place
 * of the model before, and clears the answer. Integer columns are read as continuous ones. */
QZLP_API int qzlp_readModel(qzlp* lp, const char* path);

/* Writes the loaded model as a free MPS file from which every digit can be read back. Rows and columns without names,
 * or with names that the format can't hold, are numbered. */
QZLP_API int qzlp_writeModel(qzlp* lp, const char* path);

/* What the last qzlp_readModel read in another way than it stands in the file, as English sentences: their number, and
 * number `index` from 0 on, or null. Owned by the handle until the next model. */
QZLP_API int32_t qzlp_noteCount(const qzlp* lp);
QZLP_API const char* qzlp_noteAt(const qzlp* lp, int32_t index);

/* Names of the model, of column `column` and of row `row` as UTF-8 or in the encoding of the file; "" where there is
 * none, and null for an index out of range. Owned by the handle until its model or its names change. */
QZLP_API const char* qzlp_modelName(const qzlp* lp);
QZLP_API const char* qzlp_columnName(const qzlp* lp, int32_t column);
QZLP_API const char* qzlp_rowName(const qzlp* lp, int32_t row);

/* Names the model, all columns (numCol texts) and all rows (numRow texts). Null takes names away. */
QZLP_API int qzlp_setNames(qzlp* lp, const char* model, const char* const* columns, const char* const* rows);

/* ---- Changes of the loaded model ---- */

/* Each change clears the answer; the next qzlp_solve starts anew, with the options as they are. The numbers obey the
 * rules of qzlp_model. What breaks them, and an index that the model has not, is QZLP_ERROR_ARGUMENT. */

/* The sense of the objective, 1 to minimise or -1 to maximise, and the constant added to it. */
QZLP_API int qzlp_setObjSense(qzlp* lp, int32_t objSense);
QZLP_API int qzlp_setObjConstant(qzlp* lp, double objConstant);

/* Cost and bounds of a column. */
QZLP_API int qzlp_setCost(qzlp* lp, int32_t column, double cost);
QZLP_API int qzlp_setBounds(qzlp* lp, int32_t column, double lower, double upper);

/* The right-hand side of a row, which keeps its sense and its range. A row of sense N has none: an error. */
QZLP_API int qzlp_setRhs(qzlp* lp, int32_t row, double rhs);

/* Sense, right-hand side and range of a row; `range` is 0 but for the sense R. */
QZLP_API int qzlp_setRow(qzlp* lp, int32_t row, char sense, double rhs, double range);

/* The element of the matrix in a row of a column. One of magnitude below 1e-20 is taken out of the matrix. An element
 * that was not there takes time proportional to the number of elements; others, to the length of the column. */
QZLP_API int qzlp_setElement(qzlp* lp, int32_t row, int32_t column, double value);

/* ---- Options ---- */

enum { QZLP_OPTION_INT = 0, QZLP_OPTION_DOUBLE = 1 };

/* What there is to know about one option. */
typedef struct qzlp_option {
  const char* name;
  int type; /* QZLP_OPTION_INT or QZLP_OPTION_DOUBLE */
  double defaultValue;
  double minimum, maximum; /* both allowed */
  const char* description; /* one or more English sentences */
} qzlp_option;

/* Number of options, and the option number `index` from 0 on in the order of the documentation, or null. The record
 * lives as long as the program. */
QZLP_API int qzlp_optionCount(void);
QZLP_API const qzlp_option* qzlp_optionAt(int index);

/* The option of that name, or null. */
QZLP_API const qzlp_option* qzlp_findOption(const char* name);

/* Set an option by its name. A number out of range and the wrong type are errors; qzlp_setDoubleOption accepts an
 * integer option when the value is a whole number. qzlp_setOption reads the value from text ("1e-8", "4", "inf"). */
QZLP_API int qzlp_setIntOption(qzlp* lp, const char* name, int32_t value);
QZLP_API int qzlp_setDoubleOption(qzlp* lp, const char* name, double value);
QZLP_API int qzlp_setOption(qzlp* lp, const char* name, const char* value);

/* Read an option by its name; qzlp_getDoubleOption reads integer options too. */
QZLP_API int qzlp_getIntOption(qzlp* lp, const char* name, int32_t* value);
QZLP_API int qzlp_getDoubleOption(qzlp* lp, const char* name, double* value);

/* Puts all options of the handle back to their defaults. */
QZLP_API int qzlp_resetOptions(qzlp* lp);

/* ---- Callbacks ---- */

/* One line of the log, without its line end, as UTF-8. `code` is the message's number, 0 for a literal text. */
typedef void (*qzlp_logCallback)(int level, uint32_t code, const char* line, void* userData);

/* Asked again and again during a solve, from the thread that called qzlp_solve; non-zero stops the solve with the
 * status QZLP_STATUS_INTERRUPTED. */
typedef int (*qzlp_breakCallback)(void* userData);

/* Where an iteration stands. The measures are of the model that the solver works on, which presolve and scaling have
 * changed; those of the answer are measured on the model as it was loaded. */
typedef struct qzlp_progress {
  double seconds;             /* real time since qzlp_solve was called */
  double complementarity;     /* sum of the products of slacks and their duals */
  double dualityGap;          /* |p - d| / (1 + |p|), p and d the two objectives */
  double primalInfeasibility; /* violation of the rows, relative to 1 + the norm of the right-hand side */
  double boundInfeasibility;  /* violation of the bounds, relative to 1 + the norm of the bounds */
  double dualInfeasibility;   /* violation of the dual equations, relative to 1 + the norm of the costs */
  int32_t iteration;          /* from 0 on; a second run of the method begins at 0 again */
} qzlp_progress;

/* Told each iteration, from the thread that called qzlp_solve, whatever printLevel and logFrequency are. Non-zero stops
 * the solve with the status QZLP_STATUS_INTERRUPTED. */
typedef int (*qzlp_progressCallback)(const qzlp_progress* progress, void* userData);

/* Set or clear (null) a callback. Without a log callback the handle is silent. */
QZLP_API int qzlp_setLogCallback(qzlp* lp, qzlp_logCallback callback, void* userData);
QZLP_API int qzlp_setBreakCallback(qzlp* lp, qzlp_breakCallback callback, void* userData);
QZLP_API int qzlp_setProgressCallback(qzlp* lp, qzlp_progressCallback callback, void* userData);

/* ---- Solve and answer ---- */

/* Solves the loaded model. QZLP_OK says that the solver came to a status, whatever it is; read it by qzlp_status. A
 * status QZLP_STATUS_OUT_OF_MEMORY also returns QZLP_ERROR_MEMORY, or QZLP_ERROR_MODULE when a module was missing. The
 * options stay as they are: every solve has the whole time limit. */
QZLP_API int qzlp_solve(qzlp* lp);

/* Status of the last solve, QZLP_STATUS_NONE before the first. */
QZLP_API int qzlp_status(const qzlp* lp);

/* 1 when the last solve left a point in the solution arrays: OPTIMAL, NEAR_OPTIMAL, ITERATION_LIMIT, TIME_LIMIT. */
QZLP_API int qzlp_hasPoint(const qzlp* lp);

/* A short English name of any status, such as "optimal"; "unknown status" for a number that is none. */
QZLP_API const char* qzlp_statusName(int status);

/* What a status means and what may help, in one English sentence or two; "" for a number that is none. */
QZLP_API const char* qzlp_statusText(int status);

/* Of the last solve; 0 before the first. The measures are without unit, but for the complementarity, which has that of
 * the objective. Norms are Euclidean, and infinite numbers take no part in them. */
QZLP_API double qzlp_objective(const qzlp* lp);           /* p = obj'x + 1/2 x'Q x + objConstant */
QZLP_API int32_t qzlp_iterations(const qzlp* lp);         /* interior-point iterations */
QZLP_API double qzlp_primalInfeasibility(const qzlp* lp); /* violation of the rows / (1 + |rhs|) */
QZLP_API double qzlp_dualInfeasibility(const qzlp* lp);   /* violation of the signs of reducedCost / (1 + |obj|) */
QZLP_API double qzlp_boundInfeasibility(const qzlp* lp);  /* violation of the bounds / (1 + |lower| + |upper|) */
QZLP_API double qzlp_dualityGap(const qzlp* lp);          /* |p - d| / (1 + |p|), d the dual objective */
QZLP_API double qzlp_complementarity(const qzlp* lp);     /* products of what is left of a slack and its dual */
QZLP_API double qzlp_presolveTime(const qzlp* lp);        /* seconds in the presolver module */
QZLP_API double qzlp_totalTime(const qzlp* lp);           /* seconds: presolve, solve and crossover */

QZLP_API int32_t qzlp_simplexIterations(const qzlp* lp); /* basis changes of the crossover */

/* The solution arrays of the last solve, owned by the handle and valid until the next call that loads or changes the
 * model, qzlp_solve or qzlp_destroy; null before the first solve. They belong to the objective as it stands in the
 * model, also when maximising:
 *
 *   reducedCost = obj + Q primal - A' dual,   rowActivity = A primal
 *
 *   array        unit of an entry                      sign at an optimum, minimising; maximising it is the other one
 *   primal       the column's                          between the column's bounds
 *   rowActivity  the row's                             on the row's sides
 *   dual         objective per unit of the row's rhs   E any; G, and R at its lower side: at least 0;
 *                                                      L, and R at its upper side: at most 0; inside and N: 0
 *   reducedCost  objective per unit of the column      at its lower bound at least 0, at its upper at most 0,
 *                                                      between them 0
 *
 * The dual tells how the optimum grows with the right-hand side, the reduced cost how it grows with the bound that the
 * column is at, as long as the optimal basis stays the same. Interior-point answers meet all this to the tolerances. */
QZLP_API const double* qzlp_primal(const qzlp* lp);      /* numCol entries */
QZLP_API const double* qzlp_dual(const qzlp* lp);        /* numRow entries */
QZLP_API const double* qzlp_reducedCost(const qzlp* lp); /* numCol entries */
QZLP_API const double* qzlp_rowActivity(const qzlp* lp); /* numRow entries */

/* Proofs of a solve that ended without an optimum, where presolve found one: owned by the handle like the arrays above,
 * checked against the loaded model before they are handed out, and null where there is none. Most proofs of the
 * iterations are not kept.
 *
 * An infeasibility proof is a weight y of each row (Farkas): y_i > 0 stands for the lower side of row i and y_i < 0 for
 * the upper one, and what the weighted sides ask of (A'y)'x is more than any x within the bounds of the columns has.
 *
 * An unbounded ray is a direction r in which every column and every row may go on without end while the objective gets
 * better, so that the model is unbounded if it has a point. */
QZLP_API const double* qzlp_infeasibilityProof(const qzlp* lp); /* numRow entries */
QZLP_API const double* qzlp_unboundedRay(const qzlp* lp);       /* numCol entries */

/* Where a column or a row stands in a basis. */
enum {
  QZLP_BASIS_BASIC = 1, /* as many columns and rows as there are rows */
  QZLP_BASIS_LOWER = 2, /* at its lower bound or side, also when both are one */
  QZLP_BASIS_UPPER = 3, /* at its upper bound or side */
  QZLP_BASIS_FREE = 4   /* a column without bounds, at 0 */
};

/* The basis of the last solve, when the option "crossover" led to one; else null. Owned by the handle like the solution
 * arrays. Entries are QZLP_BASIS_.... */
QZLP_API const uint8_t* qzlp_columnBasis(const qzlp* lp); /* numCol entries */
QZLP_API const uint8_t* qzlp_rowBasis(const qzlp* lp);    /* numRow entries */

/* ---- The host, common to all handles of the program ---- */

/* Folders, separated by ':', in which modules that are not built in are looked for as <name>.so. At the start it is
 * the folder of the library or, linked statically, of the program, and ../lib and ../lib/qzipsolve beside it. Takes
 * effect for modules not loaded yet. */
QZLP_API int qzlp_setModulePath(const char* path);

/* Sets an option of the host: "host.cpucount" (processors, the default of the option "threads") or
 * "host.cpucorecount" (cores), both from the machine at the start and at least 1. */
QZLP_API int qzlp_setHostOption(const char* name, int64_t value);
QZLP_API int qzlp_getHostOption(const char* name, int64_t* value);

/* Bytes that the pools of all handles hold now, and the most that they ever held. */
QZLP_API int64_t qzlp_memoryInUse(void);
QZLP_API int64_t qzlp_memoryPeak(void);

#ifdef __cplusplus
}
#endif
#endif
