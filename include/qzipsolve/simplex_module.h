/* `qzsimpx`: turns an interior answer into a basic solution. The module's slot 80 makes the object, without arguments.
 * The solver writes the two fields, calls run once, and destroys the object. */
#ifndef QZIPSOLVE_SIMPLEX_MODULE_H
#define QZIPSOLVE_SIMPLEX_MODULE_H

#include "qzipsolve/host.h"
#include "qzipsolve/presolve_module.h"
#include "qzipsolve/record.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct QzSimplexObject QzSimplexObject;

struct QzSimplexObject {
  QzPool* pool;         /* 0: the module's own */
  void* statusCallback; /* 8: the instance's, written by the solver */
  uint64_t reserved16;
  QzLog* log;                               /* 24: written by the solver */
  void (*destroy)(QzSimplexObject* object); /* 32 */
  uint64_t reserved40[14];
  /* 152: crosses over from the interior answer in the record's arrays to a basic one. Start mode, limits and
   * tolerances stand behind the handle. The record is the scaled reduced model: a minimisation, whose objective
   * constant objValue holds on entry. Returns 0 when it came to an answer of its own, and has written status, objValue,
   * primalInfeas, dualInfeas, boundInfeas, numSimplexIter, the four arrays, and the basis where the record has room for
   * one; or the status of a failure, with the arrays as they were. */
  int32_t (*run)(QzSimplexObject* object, QzPresolveObject* presolveObject, QzPresolveHandle* presolveHandle,
                 LpRecord* record);
};
QZ_ASSERT_OFFSET(QzSimplexObject, statusCallback, 8);
QZ_ASSERT_OFFSET(QzSimplexObject, log, 24);
QZ_ASSERT_OFFSET(QzSimplexObject, destroy, 32);
QZ_ASSERT_OFFSET(QzSimplexObject, run, 152);

#ifdef __cplusplus
}
#endif
#endif
