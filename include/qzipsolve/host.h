/* The table of services that a host gives the solver, and the objects behind it.
 *
 * Every slot of the table is called with the table itself as its first argument, but for the clock. Objects that the
 * host returns carry function slots of their own at fixed byte offsets and are passed back as the first argument.
 * Names are 32-bit wide strings with their length in characters. */
#ifndef QZIPSOLVE_HOST_H
#define QZIPSOLVE_HOST_H

#include "qzipsolve/base.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct QzHostTable QzHostTable;
typedef struct QzPool QzPool;
typedef struct QzEvent QzEvent;
typedef struct QzLock QzLock;
typedef struct QzThread QzThread;
typedef struct QzModule QzModule;
typedef struct QzLog QzLog;

/* Flag of the pool's allocate operation: memory comes filled with zeros. */
#define QZ_POOL_ZERO 0x80000000u

/* A pool: all memory of the module comes from one; destroying it releases everything in it. */
struct QzPool {
  uint64_t reserved[2];
  void (*destroy)(QzPool* pool); /* 16 */
  void* (*allocate)(QzPool* pool, uint64_t size,
                    uint32_t flags);        /* 24: null when memory is short; size 0 gives non-null */
  void (*free)(QzPool* pool, void* memory); /* 32: null is no fault */
};
QZ_ASSERT_OFFSET(QzPool, destroy, 16);
QZ_ASSERT_OFFSET(QzPool, allocate, 24);
QZ_ASSERT_OFFSET(QzPool, free, 32);

/* Parameter block of a pool's creation: three zeroed words. */
typedef struct QzPoolParameters {
  uint64_t word[3];
} QzPoolParameters;

/* A lock. acquire is called (lock, 1, descriptor) with descriptor possibly null. */
struct QzLock {
  uint64_t reserved[2];
  void (*destroy)(QzLock* lock);                                         /* 16 */
  int32_t (*acquire)(QzLock* lock, int32_t exclusive, void* descriptor); /* 24 */
  int32_t (*release)(QzLock* lock);                                      /* 32 */
};
QZ_ASSERT_OFFSET(QzLock, destroy, 16);
QZ_ASSERT_OFFSET(QzLock, acquire, 24);
QZ_ASSERT_OFFSET(QzLock, release, 32);

/* Wait block of slot 200: eight 64-bit words (count, objects, results, 1, 0, 2, 0, 0). Word 3 set to 1 waits for all
 * objects; word 5 is the kind 2. Objects are events or threads; a thread is done when its function has returned. */
typedef struct QzWaitBlock {
  uint64_t count;
  void** objects;
  int64_t* results;
  uint64_t waitForAll;
  uint64_t zero4;
  uint64_t kind;
  uint64_t zero6;
  uint64_t zero7;
} QzWaitBlock;
QZ_ASSERT_SIZE(QzWaitBlock, 64);

/* An event: stays posted once posted. signal(event, 0, 0) posts it. */
struct QzEvent {
  uint64_t reserved[2];
  void (*destroy)(QzEvent* event); /* 16 */
  uint64_t reserved24[22];
  int32_t (*wait)(QzEvent* event, QzWaitBlock* block);               /* 200 */
  int32_t (*signal)(QzEvent* event, int32_t mode, int64_t argument); /* 208 */
};
QZ_ASSERT_OFFSET(QzEvent, destroy, 16);
QZ_ASSERT_OFFSET(QzEvent, wait, 200);
QZ_ASSERT_OFFSET(QzEvent, signal, 208);

/* A thread. signal(thread, 0, 0) cancels it: `cancelled` reads 1 from then on; signal(thread, 1, 0) clears the word.
 * The word is polled by long-running work; it is written and read with atomic operations. Cancelling never shortens
 * `wait`, so that no memory is released under a running worker. */
struct QzThread {
  uint64_t reserved[1];
  int64_t cancelled;               /* 8 */
  void (*close)(QzThread* thread); /* 16 */
  uint64_t reserved24[22];
  int32_t (*wait)(QzThread* thread, QzWaitBlock* block);               /* 200: 0 when all objects are done */
  int32_t (*signal)(QzThread* thread, int32_t mode, int64_t argument); /* 208 */
};
QZ_ASSERT_OFFSET(QzThread, cancelled, 8);
QZ_ASSERT_OFFSET(QzThread, close, 16);
QZ_ASSERT_OFFSET(QzThread, wait, 200);
QZ_ASSERT_OFFSET(QzThread, signal, 208);

/* What a thread starts with; the host posts `event`, when given, as the function returns. */
typedef struct QzThreadStart {
  void (*function)(void* argument); /* 0 */
  uint64_t reserved8[2];
  void* argument; /* 24 */
  uint64_t reserved32;
  QzEvent* event; /* 40 */
  uint64_t reserved48[2];
} QzThreadStart;
QZ_ASSERT_OFFSET(QzThreadStart, function, 0);
QZ_ASSERT_OFFSET(QzThreadStart, argument, 24);
QZ_ASSERT_OFFSET(QzThreadStart, event, 40);

/* A loaded module. The module fills everything but `unload`, which the loader writes.
 * What lies behind byte 88 belongs to the single modules: see timer_module.h. */
struct QzModule {
  char tag[4]; /* 0: "nevo" */
  uint32_t reserved4;
  uint64_t reserved8;
  void (*unload)(QzModule* module);                                                  /* 16: written by the loader */
  int32_t (*getReqVersion)(QzModule*, int32_t* major, int32_t* minor, int32_t* fix); /* 24 */
  int32_t (*getVersion)(QzModule*, int32_t* major, int32_t* minor, int32_t* fix);    /* 32 */
  uint64_t reserved40;
  int32_t (*realDestroy)(QzModule* module); /* 48 */
  uint64_t reserved56[2];
  QzPool* pool;                   /* 72 */
  void* (*create_instance)(void); /* 80 */
};
QZ_ASSERT_SIZE(QzModule, 88);
QZ_ASSERT_OFFSET(QzModule, unload, 16);
QZ_ASSERT_OFFSET(QzModule, getReqVersion, 24);
QZ_ASSERT_OFFSET(QzModule, getVersion, 32);
QZ_ASSERT_OFFSET(QzModule, realDestroy, 48);
QZ_ASSERT_OFFSET(QzModule, pool, 72);
QZ_ASSERT_OFFSET(QzModule, create_instance, 80);

/* Levels of a message. */
enum {
  QZ_LOG_DEBUG = 0,
  QZ_LOG_NOTE = 2,
  QZ_LOG_WARNING = 3,
  QZ_LOG_ERROR = 4,
  QZ_LOG_HEADER = 100,   /* header of the iteration table */
  QZ_LOG_ITERATION = 101 /* line of the iteration table */
};

/* The log object of an instance; a null log is silent. */
struct QzLog {
  /* A message of the host's catalogue by its code (see messages.h), with the arguments that the code takes. */
  void (*logCode)(QzLog* log, int32_t level, uint32_t code, ...);
  /* A literal wide format text with its length in characters, in the manner of printf. %s takes a wide string. */
  void (*logText)(QzLog* log, int32_t level, const wchar_t* text, int32_t length, ...);
};

/* Types of an option's value. */
enum { QZ_OPTION_INTEGER = 3 };

/* Names of the options that the solver reads from the host, with their lengths. Values are 64-bit integers. */
#define QZ_OPTION_CPUCOUNT L"host.cpucount"
#define QZ_OPTION_CPUCOUNT_LENGTH 13
#define QZ_OPTION_CPUCORECOUNT L"host.cpucorecount"
#define QZ_OPTION_CPUCORECOUNT_LENGTH 17
#define QZ_OPTION_SUBMODEL L"qzipsolve.submodel" /* 0 switches the big-value submodels off; for measurements */
#define QZ_OPTION_SUBMODEL_LENGTH 18

/* Buffer of the clock: at least 32 bytes. Seconds as a double, the zone offset behind it. */
typedef struct QzClockBuffer {
  double seconds;
  double zone;
  uint64_t reserved[2];
} QzClockBuffer;
QZ_ASSERT_SIZE(QzClockBuffer, 32);

#define QZ_CLOCK_SELECTOR 16
#define QZ_CLOCK_FLAGS 0x11800000u

struct QzHostTable {
  uint64_t reserved0[2];
  /* 16: an event or null. Further arguments tell the kind of event. */
  QzEvent* (*createEvent)(QzHostTable*, void* attributes, int64_t zero, const wchar_t* name, ...);
  /* 24 */
  QzLock* (*createLock)(QzHostTable*, void* attributes, int64_t zero, const wchar_t* name);
  uint64_t reserved32[2];
  /* 48: a pool under `parent` (null for none), or null */
  QzPool* (*createPool)(QzHostTable*, QzPoolParameters* parameters, QzPool* parent, const wchar_t* name, int64_t zero1,
                        int64_t zero2);
  uint64_t reserved56[2];
  /* 72: a module by name, or null */
  QzModule* (*loadExtension)(QzHostTable*, const wchar_t* name, int64_t length, int64_t zero);
  /* 80: starts a thread, or null */
  QzThread* (*startThread)(QzHostTable*, QzThreadStart* start, int64_t zero, const wchar_t* name, void* arguments);
  /* 88: the object of the calling thread */
  QzThread* (*currentThread)(QzHostTable*);
  uint64_t reserved96;
  /* 104: non-zero when the host knows the option */
  int32_t (*optionExists)(QzHostTable*, const wchar_t* name, int64_t length);
  /* 112: 0 when it filled the value; *size is the room on entry and the size of the value on return */
  int32_t (*getOption)(QzHostTable*, const wchar_t* name, int64_t length, int32_t type, void* value, int64_t* size);
  uint64_t reserved120[18];
  /* 264: date and time, called without the table */
  int32_t (*clock)(int32_t selector, void* buffer, uint32_t flags);
};
QZ_ASSERT_OFFSET(QzHostTable, createEvent, 16);
QZ_ASSERT_OFFSET(QzHostTable, createLock, 24);
QZ_ASSERT_OFFSET(QzHostTable, createPool, 48);
QZ_ASSERT_OFFSET(QzHostTable, loadExtension, 72);
QZ_ASSERT_OFFSET(QzHostTable, startThread, 80);
QZ_ASSERT_OFFSET(QzHostTable, currentThread, 88);
QZ_ASSERT_OFFSET(QzHostTable, optionExists, 104);
QZ_ASSERT_OFFSET(QzHostTable, getOption, 112);
QZ_ASSERT_OFFSET(QzHostTable, clock, 264);

#ifdef __cplusplus
}
#endif
#endif
