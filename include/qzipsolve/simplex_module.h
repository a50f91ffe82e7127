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
  /* 152: 0, or the status of a failure. Works on the scaled reduced record in place and writes its status and measures.
   */
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
