/* The solver instance, and the exported entries of `qzipsolve`.
 *
 * A host stores its table by qzextver or qzextent, makes the module object by qzipsolve, an instance by
 * create_instance, sets `log`, and calls iplpMain as often as it likes, one call per instance at a time. */
#ifndef QZIPSOLVE_INSTANCE_H
#define QZIPSOLVE_INSTANCE_H

#include "qzipsolve/host.h"
#include "qzipsolve/options.h"
#include "qzipsolve/record.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct QzInstance QzInstance;

struct QzInstance {
  QzPool* pool;                             /* 0: every allocation of a solve */
  void* statusCallback;                     /* 8: the host's, handed to the simplex module */
  QzLog* log;                               /* 16: the host's, may be null */
  int32_t (*destroy)(QzInstance* instance); /* 24 */
  int32_t (*iplpMain)(QzInstance* env, LpRecord* record, LpOptions* options); /* 32: the final status */
  LpOptions* options;                                                         /* 40: the options in force */
  LpOptions* (*createLpOptions)(QzInstance* instance);                        /* 48: null when memory is short */
  void (*resetLpOptions)(LpOptions* options);                                 /* 56 */
  void* presolveHandle;                                                       /* 64 */
  QzModule* presolveModule;                                                   /* 72 */
  void* presolveObject;                                                       /* 80 */
  QzModule* simplexModule;                                                    /* 88 */
  void* simplexObject;                                                        /* 96 */
  double objConstantSaved; /* 104: the reduced record's objValue at entry */
  void* laEnv;             /* 112: of the solve in progress, like the next four */
  void* ldlFactor;         /* 120 */
  void* ldlMemory;         /* 128 */
  void* cholFactor;        /* 136 */
  void* cholMemory;        /* 144 */
  void* timer;             /* 152 */
};
QZ_ASSERT_SIZE(QzInstance, 160);
QZ_ASSERT_OFFSET(QzInstance, pool, 0);
QZ_ASSERT_OFFSET(QzInstance, statusCallback, 8);
QZ_ASSERT_OFFSET(QzInstance, log, 16);
QZ_ASSERT_OFFSET(QzInstance, destroy, 24);
QZ_ASSERT_OFFSET(QzInstance, iplpMain, 32);
QZ_ASSERT_OFFSET(QzInstance, options, 40);
QZ_ASSERT_OFFSET(QzInstance, createLpOptions, 48);
QZ_ASSERT_OFFSET(QzInstance, resetLpOptions, 56);
QZ_ASSERT_OFFSET(QzInstance, presolveHandle, 64);
QZ_ASSERT_OFFSET(QzInstance, presolveModule, 72);
QZ_ASSERT_OFFSET(QzInstance, presolveObject, 80);
QZ_ASSERT_OFFSET(QzInstance, simplexModule, 88);
QZ_ASSERT_OFFSET(QzInstance, simplexObject, 96);
QZ_ASSERT_OFFSET(QzInstance, objConstantSaved, 104);
QZ_ASSERT_OFFSET(QzInstance, laEnv, 112);
QZ_ASSERT_OFFSET(QzInstance, ldlFactor, 120);
QZ_ASSERT_OFFSET(QzInstance, ldlMemory, 128);
QZ_ASSERT_OFFSET(QzInstance, cholFactor, 136);
QZ_ASSERT_OFFSET(QzInstance, cholMemory, 144);
QZ_ASSERT_OFFSET(QzInstance, timer, 152);

/* The fixed version record of qzvercn1. */
typedef struct QzVersionRecord {
  uint32_t size; /* of this record in bytes */
  int32_t major;
  int32_t minor;
  int32_t fix;
} QzVersionRecord;
QZ_ASSERT_SIZE(QzVersionRecord, 16);

/* Exported by every module of the family under these names. */
#define QZ_EXPORT __attribute__((visibility("default")))
QZ_EXPORT int32_t qzextver(QzHostTable* handle, int32_t* major, int32_t* minor); /* 5 and 1, then as qzextent */
QZ_EXPORT int32_t qzextent(QzHostTable* handle);                                 /* stores the table, returns 0 */
QZ_EXPORT void qzvercn1(void* buffer);                                           /* writes a QzVersionRecord */
QZ_EXPORT extern QzHostTable* Exported_QZHandle;

/* Exported by this module alone. */
QZ_EXPORT QzModule* qzipsolve(void* any, QzPool* parent); /* null when memory is short */
QZ_EXPORT int32_t qzipsolve_getReqVersion(QzModule* module, int32_t* major, int32_t* minor, int32_t* fix);
QZ_EXPORT int32_t qzipsolve_getVersion(QzModule* module, int32_t* major, int32_t* minor, int32_t* fix);
QZ_EXPORT int32_t qzipsolve_realDestroy(QzModule* module);
QZ_EXPORT void* qzipsolve_create_instance(void); /* a QzInstance, null when memory is short */
QZ_EXPORT int32_t qzipsolve_destroy_instance(QzInstance* instance);

#ifdef __cplusplus
}
#endif
#endif
