/* `qzpresol`: reduces the caller's record before the solver sees it, gives scale factors, and brings answers back.
 *
 * The module's slot 80 makes the object, without arguments. Per solve the solver calls prepare, reduce, and, when the
 * reduced model was solved, postsolve; then freeResult and freeHandle. */
#ifndef QZIPSOLVE_PRESOLVE_MODULE_H
#define QZIPSOLVE_PRESOLVE_MODULE_H

#include "qzipsolve/host.h"
#include "qzipsolve/options.h"
#include "qzipsolve/record.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct QzPresolveObject QzPresolveObject;

/* First record behind a handle. `prepare` writes the options that the simplex module needs too; the solver writes
 * field956 before reduce, and the fields from startMode on before the crossover. */
typedef struct QzPresolveSettings {
  int32_t printLevel; /* 0: of the options, like the next three */
  int32_t timeType;   /* 4 */
  double tolPrimal;   /* 8 */
  double tolDual;     /* 16 */
  uint8_t reserved24[820];
  int32_t startMode; /* 844: 1 the crossover begins on the primal side, 2 on the dual side */
  uint8_t reserved848[28];
  int32_t iterLimit; /* 876: most iterations of the crossover */
  uint8_t reserved880[76];
  int32_t field956; /* 956: written 0 before reduce */
  int32_t field960; /* 960: a count, -1 before the crossover */
  int32_t reserved964;
  int32_t mode968; /* 968: a mode, 3 before the crossover */
  int32_t reserved972[9];
  int32_t interiorStatus; /* 1008: status of the interior answer that the crossover starts from, 1 or 15 */
  int32_t reserved1012[3];
} QzPresolveSettings;
QZ_ASSERT_OFFSET(QzPresolveSettings, startMode, 844);
QZ_ASSERT_OFFSET(QzPresolveSettings, iterLimit, 876);
QZ_ASSERT_OFFSET(QzPresolveSettings, field956, 956);
QZ_ASSERT_OFFSET(QzPresolveSettings, field960, 960);
QZ_ASSERT_OFFSET(QzPresolveSettings, mode968, 968);
QZ_ASSERT_OFFSET(QzPresolveSettings, interiorStatus, 1008);
QZ_ASSERT_SIZE(QzPresolveSettings, 1024);

/* Second record behind a handle. */
typedef struct QzPresolveLimits {
  uint8_t reserved0[1760];
  double timeLimit; /* 1760: seconds, before the crossover */
} QzPresolveLimits;
QZ_ASSERT_OFFSET(QzPresolveLimits, timeLimit, 1760);
QZ_ASSERT_SIZE(QzPresolveLimits, 1768);

/* What prepare returns. */
typedef struct QzPresolveHandle {
  QzPresolveSettings* settings; /* 0 */
  QzPresolveLimits* limits;     /* 8 */
} QzPresolveHandle;
QZ_ASSERT_SIZE(QzPresolveHandle, 16);

/* What reduce returns. */
typedef struct QzPresolveResult {
  uint8_t reserved0[952];
  uint8_t* relaxColBound; /* 952: one byte per reduced column, or null */
  uint8_t reserved960[432];
  LpRecord* reduced; /* 1392: a record of the caller's layout */
  void* reserved1400;
} QzPresolveResult;
QZ_ASSERT_OFFSET(QzPresolveResult, relaxColBound, 952);
QZ_ASSERT_OFFSET(QzPresolveResult, reduced, 1392);

/* Scaling in place, and its inverse. `direction` 1 scales the objective row too, -1 rows and columns only (its factor
 * stays 1). rowScale has numRow + 1 entries, the last the objective row's factor; colScale numCol + 1; both arrive as
 * 1.0. Infinite bounds stay as they are. Returns 0 or a status. */
typedef int32_t (*QzPresolveScale)(QzPresolveObject* object, int32_t direction, int32_t numRow, int32_t numCol,
                                   int32_t numCoef, int32_t* colBegin, double tolerance, int32_t* colLength,
                                   int32_t* rowIndex, double* matValue, double* obj, double* lower, double* upper,
                                   double* rowScale, double* colScale, void* null1, void* null2, double* rhs,
                                   char* rowSense, double* range, double* solPrimal, double* solDual,
                                   double* reducedCost, double* rowActivity);

struct QzPresolveObject {
  QzPool* pool; /* 0: the module's own */
  uint64_t reserved8;
  QzLog* log;                                /* 16: written by the solver */
  void (*destroy)(QzPresolveObject* object); /* 24: does not free handle or result */
  QzPresolveHandle* handle;                  /* 32: written by the solver */
  QzPresolveResult* result;                  /* 40: written by the solver */
  /* 48: *rc 0, or a status */
  QzPresolveHandle* (*prepare)(QzPresolveObject* object, LpOptions* options, int32_t* rc);
  uint64_t reserved56;
  void (*freeHandle)(QzPresolveObject* object, void** handle); /* 64: clears the field */
  uint64_t reserved72[4];
  /* 104: *rc 0 the reduced model must be solved, above 0 nothing is left to solve, below 0 an error. `three` is 3. */
  QzPresolveResult* (*reduce)(QzPresolveObject* object, QzPresolveHandle* handle, int32_t three, LpRecord* record,
                              int32_t* rc);
  /* 112: 0 or a code; writes the caller's status, objValue, numIter, the five measures and the four arrays */
  int32_t (*postsolve)(QzPresolveResult* result);
  void (*freeResult)(QzPresolveObject* object, QzPresolveResult** result); /* 120: clears the field */
  uint64_t reserved128[8];
  QzPresolveScale scale;   /* 192 */
  QzPresolveScale unscale; /* 200 */
};
QZ_ASSERT_OFFSET(QzPresolveObject, log, 16);
QZ_ASSERT_OFFSET(QzPresolveObject, destroy, 24);
QZ_ASSERT_OFFSET(QzPresolveObject, handle, 32);
QZ_ASSERT_OFFSET(QzPresolveObject, result, 40);
QZ_ASSERT_OFFSET(QzPresolveObject, prepare, 48);
QZ_ASSERT_OFFSET(QzPresolveObject, freeHandle, 64);
QZ_ASSERT_OFFSET(QzPresolveObject, reduce, 104);
QZ_ASSERT_OFFSET(QzPresolveObject, postsolve, 112);
QZ_ASSERT_OFFSET(QzPresolveObject, freeResult, 120);
QZ_ASSERT_OFFSET(QzPresolveObject, scale, 192);
QZ_ASSERT_OFFSET(QzPresolveObject, unscale, 200);

#ifdef __cplusplus
}
#endif
#endif
