/* A foreign host: opens the solver module with dlopen, gives it a service table of its own, solves small models and
 * takes everything down again. It knows the interface by its byte offsets alone and includes none of its headers, so
 * that a slip in a header shows here.
 *
 *   abi_client FOLDER     the folder that holds qzipsolve.so and its sibling modules
 *
 * Ends with 0 when every check held; each that did not is printed. */
#include <dlfcn.h>
#include <math.h>
#include <pthread.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>
#include <wchar.h>

static int failures = 0;

#define CHECK(condition)                                                \
  do {                                                                  \
    if (!(condition)) {                                                 \
      printf("client.c:%d: does not hold: %s\n", __LINE__, #condition); \
      ++failures;                                                       \
    }                                                                   \
  } while (0)

/* ---- Raw records ---- */

typedef void (*Function)(void);

static void putFunction(void* record, size_t offset, Function function) {
  memcpy((char*)record + offset, &function, sizeof function);
}

static Function getFunction(const void* record, size_t offset) {
  Function function;
  memcpy(&function, (const char*)record + offset, sizeof function);
  return function;
}

static void putPointer(void* record, size_t offset, void* pointer) {
  memcpy((char*)record + offset, &pointer, sizeof pointer);
}

static void* getPointer(const void* record, size_t offset) {
  void* pointer;
  memcpy(&pointer, (const char*)record + offset, sizeof pointer);
  return pointer;
}

static void putInt(void* record, size_t offset, int32_t value) {
  memcpy((char*)record + offset, &value, sizeof value);
}

static int32_t getInt(const void* record, size_t offset) {
  int32_t value;
  memcpy(&value, (const char*)record + offset, sizeof value);
  return value;
}

static void putReal(void* record, size_t offset, double value) {
  memcpy((char*)record + offset, &value, sizeof value);
}

static double getReal(const void* record, size_t offset) {
  double value;
  memcpy(&value, (const char*)record + offset, sizeof value);
  return value;
}

static uint64_t getWord(const void* record, size_t offset) {
  uint64_t value;
  memcpy(&value, (const char*)record + offset, sizeof value);
  return value;
}

static void* object(size_t size) {
  void* memory = calloc(1, size);
  if (memory == NULL) abort();
  return memory;
}

/* ---- Pools: 40 bytes that the module sees, behind them a list of blocks ---- */

typedef struct Block {
  struct Block *previous, *next;
  uint64_t size, pad;
} Block;

typedef struct Pool {
  unsigned char seen[40];
  Block* blocks;
} Pool;

static pthread_mutex_t poolMutex = PTHREAD_MUTEX_INITIALIZER;
static int64_t poolCount = 0, blockCount = 0, byteCount = 0, requestCount = 0;
static int64_t failRequest = 0; /* number of the request that gets nothing */

static int requestFails(void) {
  return ++requestCount == failRequest;
}

static void poolDestroy(void* pool) {
  pthread_mutex_lock(&poolMutex);
  Pool* self = pool;
  for (Block* block = self->blocks; block != NULL;) {
    Block* next = block->next;
    --blockCount;
    byteCount -= (int64_t)block->size;
    free(block);
    block = next;
  }
  --poolCount;
  free(self);
  pthread_mutex_unlock(&poolMutex);
}

static void* poolAllocate(void* pool, uint64_t size, uint32_t flags) {
  pthread_mutex_lock(&poolMutex);
  Pool* self = pool;
  Block* block = requestFails() || size > (UINT64_C(1) << 40) ? NULL : malloc(sizeof(Block) + size);
  if (block != NULL) {
    block->size = size;
    block->previous = NULL;
    block->next = self->blocks;
    if (block->next != NULL) block->next->previous = block;
    self->blocks = block;
    ++blockCount;
    byteCount += (int64_t)size;
  }
  pthread_mutex_unlock(&poolMutex);
  if (block == NULL) return NULL;
  memset(block + 1, (flags & 0x80000000u) != 0 ? 0 : 0xa5, size);
  return block + 1;
}

static void poolFree(void* pool, void* memory) {
  if (memory == NULL) return;
  pthread_mutex_lock(&poolMutex);
  Pool* self = pool;
  Block* block = (Block*)memory - 1;
  if (block->previous != NULL) block->previous->next = block->next;
  if (block->previous == NULL) self->blocks = block->next;
  if (block->next != NULL) block->next->previous = block->previous;
  --blockCount;
  byteCount -= (int64_t)block->size;
  free(block);
  pthread_mutex_unlock(&poolMutex);
}

static void* createPool(void* table, void* parameters, void* parent, const wchar_t* name, int64_t zero1,
                        int64_t zero2) {
  (void)table, (void)parent;
  CHECK(name != NULL && zero1 == 0 && zero2 == 0);
  if (parameters != NULL) {
    for (size_t word = 0; word < 3; ++word) CHECK(getWord(parameters, 8 * word) == 0);
  }
  pthread_mutex_lock(&poolMutex);
  Pool* self = requestFails() ? NULL : object(sizeof(Pool));
  if (self != NULL) ++poolCount;
  pthread_mutex_unlock(&poolMutex);
  if (self == NULL) return NULL;
  putFunction(self->seen, 16, (Function)poolDestroy);
  putFunction(self->seen, 24, (Function)poolAllocate);
  putFunction(self->seen, 32, (Function)poolFree);
  return self;
}

/* ---- Events, locks, threads ---- */

/* The part of events and threads that waits look at lies behind their 216 visible bytes. */
typedef struct Waitable {
  unsigned char seen[216];
  int done;
  pthread_t handle;
  void (*function)(void*);
  void* argument;
  struct Waitable* event;
} Waitable;

static pthread_mutex_t waitMutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t waitChanged = PTHREAD_COND_INITIALIZER;
static _Thread_local Waitable* ownThread = NULL;

static void post(Waitable* waitable) {
  pthread_mutex_lock(&waitMutex);
  waitable->done = 1;
  pthread_cond_broadcast(&waitChanged);
  pthread_mutex_unlock(&waitMutex);
}

static int32_t waitForAll(void* self, void* block) {
  (void)self;
  const uint64_t count = getWord(block, 0);
  void** objects = getPointer(block, 8);
  int64_t* results = getPointer(block, 16);
  CHECK(getWord(block, 24) == 1 && getWord(block, 40) == 2);
  pthread_mutex_lock(&waitMutex);
  for (uint64_t i = 0; i < count; ++i) {
    Waitable* waitable = objects[i];
    while (!waitable->done) pthread_cond_wait(&waitChanged, &waitMutex);
    if (results != NULL) results[i] = 0;
  }
  pthread_mutex_unlock(&waitMutex);
  return 0;
}

static void eventDestroy(void* event) {
  free(event);
}

static int32_t eventSignal(void* event, int32_t mode, int64_t zero) {
  CHECK(mode == 0 && zero == 0);
  post(event);
  return 0;
}

static void* createEvent(void* table, void* attributes, int64_t zero, const wchar_t* name, ...) {
  (void)table, (void)attributes, (void)zero, (void)name;
  void* event = object(sizeof(Waitable));
  putFunction(event, 16, (Function)eventDestroy);
  putFunction(event, 200, (Function)waitForAll);
  putFunction(event, 208, (Function)eventSignal);
  return event;
}

typedef struct Lock {
  unsigned char seen[40];
  pthread_mutex_t mutex;
} Lock;

static void lockDestroy(void* lock) {
  pthread_mutex_destroy(&((Lock*)lock)->mutex);
  free(lock);
}

static int32_t lockAcquire(void* lock, int32_t exclusive, void* descriptor) {
  (void)descriptor;
  CHECK(exclusive == 1);
  return pthread_mutex_lock(&((Lock*)lock)->mutex);
}

static int32_t lockRelease(void* lock) {
  return pthread_mutex_unlock(&((Lock*)lock)->mutex);
}

static void* createLock(void* table, void* attributes, int64_t zero, const wchar_t* name) {
  (void)table, (void)attributes, (void)zero, (void)name;
  Lock* lock = object(sizeof(Lock));
  pthread_mutex_init(&lock->mutex, NULL);
  putFunction(lock, 16, (Function)lockDestroy);
  putFunction(lock, 24, (Function)lockAcquire);
  putFunction(lock, 32, (Function)lockRelease);
  return lock;
}

static int32_t threadSignal(void* thread, int32_t mode, int64_t zero) {
  CHECK((mode == 0 || mode == 1) && zero == 0);
  __atomic_store_n((int64_t*)((char*)thread + 8), mode == 0 ? 1 : 0, __ATOMIC_RELEASE);
  return 0;
}

static void threadClose(void* thread) {
  pthread_join(((Waitable*)thread)->handle, NULL);
  free(thread);
}

static Waitable* newThread(void) {
  Waitable* thread = object(sizeof(Waitable));
  putFunction(thread, 16, (Function)threadClose);
  putFunction(thread, 200, (Function)waitForAll);
  putFunction(thread, 208, (Function)threadSignal);
  return thread;
}

static void* runThread(void* argument) {
  ownThread = argument;
  Waitable* event = ownThread->event;
  ownThread->function(ownThread->argument);
  post(ownThread);
  if (event != NULL) post(event);
  return NULL;
}

static void* startThread(void* table, void* start, int64_t zero, const wchar_t* name, void* arguments) {
  (void)table, (void)zero, (void)name, (void)arguments;
  Waitable* thread = newThread();
  const Function function = getFunction(start, 0);
  memcpy(&thread->function, &function, sizeof function);
  thread->argument = getPointer(start, 24);
  thread->event = getPointer(start, 40);
  if (pthread_create(&thread->handle, NULL, runThread, thread) != 0) {
    free(thread);
    return NULL;
  }
  return thread;
}

static Waitable* mainThread = NULL;

static void* currentThread(void* table) {
  (void)table;
  return ownThread != NULL ? ownThread : mainThread;
}

/* ---- Options, clock, log ---- */

static int64_t cpuCount = 4;

static int32_t optionExists(void* table, const wchar_t* name, int64_t length) {
  (void)table;
  return (length == 13 && wmemcmp(name, L"host.cpucount", 13) == 0) ||
         (length == 17 && wmemcmp(name, L"host.cpucorecount", 17) == 0);
}

static int32_t getOption(void* table, const wchar_t* name, int64_t length, int32_t type, void* value, int64_t* size) {
  if (!optionExists(table, name, length) || type != 3 || *size < 8) return 1;
  memcpy(value, &cpuCount, 8);
  *size = 8;
  return 0;
}

static int32_t readClock(int32_t selector, void* buffer, uint32_t flags) {
  struct timespec now;
  CHECK(selector == 16 && flags == 0x11800000u);
  clock_gettime(CLOCK_REALTIME, &now);
  putReal(buffer, 0, (double)now.tv_sec + 1e-9 * (double)now.tv_nsec);
  return 0;
}

static int messageCount = 0, optimalCount = 0, iterationCount = 0;
static double reportedObjective = 0.0;

static void logCode(void* log, int32_t level, uint32_t code, ...) {
  va_list arguments;
  va_start(arguments, code);
  CHECK(log != NULL && (code >> 12) == 0x827fd);
  ++messageCount;
  if (code == 0x827fd001u) ++optimalCount;
  if (code == 0x827fd002u) reportedObjective = va_arg(arguments, double);
  if (code == 0x827fd804u) {
    CHECK(level == 101);
    CHECK(va_arg(arguments, int32_t) >= 0);
    for (int i = 0; i < 5; ++i) CHECK(!isnan(va_arg(arguments, double)));
    ++iterationCount;
  }
  va_end(arguments);
}

static void logText(void* log, int32_t level, const wchar_t* text, int32_t length, ...) {
  CHECK(log != NULL && length >= 0 && (int32_t)wcslen(text) == length);
  printf("level %d: %ls\n", level, text);
}

/* ---- Modules ---- */

static const char* moduleFolder = NULL;
static uint64_t tableWords[34]; /* 272 bytes */
static void* const table = tableWords;
static int loadedCount = 0;

enum { mostModules = 8 };
static struct { void *module, *library; } loaded[mostModules];

static Function symbol(void* library, const char* name) {
  void* address = dlsym(library, name);
  Function function;
  memcpy(&function, &address, sizeof function);
  return function;
}

static void unload(void* module) {
  for (int i = 0; i < mostModules; ++i) {
    if (loaded[i].module != module) continue;
    ((int32_t(*)(void*))getFunction(module, 48))(module);
    dlclose(loaded[i].library);
    loaded[i].module = NULL;
    --loadedCount;
    return;
  }
  CHECK(!"a module that was not loaded is unloaded");
}

static void* openLibrary(const char* name) {
  char file[4096];
  snprintf(file, sizeof file, "%s/%s.so", moduleFolder, name);
  void* library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) printf("%s\n", dlerror());
  return library;
}

static void* loadExtension(void* host, const wchar_t* name, int64_t length, int64_t zero) {
  char narrow[64] = {0};
  CHECK(host == table && zero == 0 && length > 0 && length < 60);
  for (int64_t i = 0; i < length; ++i) narrow[i] = (char)name[i];
  void* library = openLibrary(narrow);
  if (library == NULL) return NULL;
  CHECK(((int32_t(*)(void*))symbol(library, "qzextent"))(table) == 0);
  void* module = ((void* (*)(void*, void*))symbol(library, narrow))(NULL, NULL);
  int place = 0;
  while (place < mostModules && loaded[place].module != NULL) ++place;
  if (module == NULL || place == mostModules) {
    dlclose(library);
    return NULL;
  }
  putFunction(module, 16, (Function)unload);
  loaded[place].module = module;
  loaded[place].library = library;
  ++loadedCount;
  return module;
}

static void fillTable(void) {
  putFunction(table, 16, (Function)createEvent);
  putFunction(table, 24, (Function)createLock);
  putFunction(table, 48, (Function)createPool);
  putFunction(table, 72, (Function)loadExtension);
  putFunction(table, 80, (Function)startThread);
  putFunction(table, 88, (Function)currentThread);
  putFunction(table, 104, (Function)optionExists);
  putFunction(table, 112, (Function)getOption);
  putFunction(table, 264, (Function)readClock);
}

/* ---- Models ---- */

enum { mostRows = 64, mostCols = 1024, mostElements = 2048 };

/* The arrays of a record and the record itself. */
typedef struct Model {
  uint64_t record[40]; /* 320 bytes */
  int32_t colBegin[mostCols], colLength[mostCols], rowIndex[mostElements];
  double matValue[mostElements], obj[mostCols], lower[mostCols], upper[mostCols];
  double rhs[mostRows], range[mostRows];
  char rowSense[mostRows];
  double primal[mostCols], dual[mostRows], reducedCost[mostCols], activity[mostRows];
  int32_t numRow, numCol, numCoef;
} Model;

static void addRow(Model* model, char sense, double rhs, double range) {
  model->rowSense[model->numRow] = sense;
  model->rhs[model->numRow] = rhs;
  model->range[model->numRow] = range;
  ++model->numRow;
}

static void addColumn(Model* model, double obj, double lower, double upper) {
  model->obj[model->numCol] = obj;
  model->lower[model->numCol] = lower;
  model->upper[model->numCol] = upper;
  model->colBegin[model->numCol] = model->numCoef;
  ++model->numCol;
}

/* An element of the last column. */
static void addElement(Model* model, int32_t row, double value) {
  model->rowIndex[model->numCoef] = row;
  model->matValue[model->numCoef] = value;
  ++model->numCoef;
  ++model->colLength[model->numCol - 1];
}

/* Bytes of the record that are nobody's: a solve leaves them as they are. */
static const struct {
  size_t begin, end;
} reserved[] = {{8, 12}, {20, 24}, {128, 136}, {160, 192}, {208, 212}, {216, 220}, {228, 232}, {276, 280}, {296, 304}};
enum { numReserved = sizeof reserved / sizeof reserved[0], reservedByte = 0xa5 };

static int reservedKept(const void* record) {
  const unsigned char* bytes = record;
  for (int i = 0; i < numReserved; ++i) {
    for (size_t at = reserved[i].begin; at < reserved[i].end; ++at) {
      if (bytes[at] != reservedByte) return 0;
    }
  }
  return 1;
}

static void* finish(Model* model, int32_t sense, double constant) {
  void* record = model->record;
  for (int i = 0; i < numReserved; ++i)
    memset((char*)record + reserved[i].begin, reservedByte, reserved[i].end - reserved[i].begin);
  putInt(record, 0, sense);
  putInt(record, 4, model->numRow);
  putInt(record, 12, model->numCol);
  putInt(record, 16, model->numCoef);
  putPointer(record, 24, model->matValue);
  putPointer(record, 32, model->rowIndex);
  putPointer(record, 40, model->colBegin);
  putPointer(record, 48, model->colLength);
  putPointer(record, 56, model->obj);
  putPointer(record, 64, model->rhs);
  putPointer(record, 72, model->range);
  putPointer(record, 80, model->lower);
  putPointer(record, 88, model->upper);
  putPointer(record, 96, model->rowSense);
  putPointer(record, 104, model->primal);
  putPointer(record, 112, model->dual);
  putReal(record, 136, constant);
  putPointer(record, 192, model->reducedCost);
  putPointer(record, 200, model->activity);
  return record;
}

static int32_t solve(void* instance, void* record, void* options) {
  typedef int32_t (*Solve)(void*, void*, void*);
  const int32_t status = ((Solve)getFunction(instance, 32))(instance, record, options);
  CHECK(status == getInt(record, 212));
  CHECK(reservedKept(record));
  for (size_t offset = 112; offset <= 144; offset += 8) CHECK(getPointer(instance, offset) == NULL);
  return status;
}

static int near(double a, double b) {
  return fabs(a - b) <= 1e-5 * (1.0 + fabs(b));
}

static const double kInf = 1e30;

/* Maximise x + 2 y + 10 under x + y <= 4 and x + 3 y <= 6: both rows bind at (3, 1), the objective is 15 and the duals
 * solve u + v = 1, u + 3 v = 2, so u = v = 1/2. */
static void testMaximisation(void* instance, void* options) {
  Model* model = object(sizeof(Model));
  addRow(model, 'L', 4, 0);
  addRow(model, 'L', 6, 0);
  addColumn(model, 1, 0, kInf);
  addElement(model, 0, 1);
  addElement(model, 1, 1);
  addColumn(model, 2, 0, kInf);
  addElement(model, 0, 1);
  addElement(model, 1, 3);
  void* record = finish(model, -1, 10);
  messageCount = optimalCount = 0;
  CHECK(solve(instance, record, options) == 1);
  CHECK(near(getReal(record, 120), 15));
  CHECK(near(model->primal[0], 3) && near(model->primal[1], 1));
  CHECK(near(model->dual[0], 0.5) && near(model->dual[1], 0.5));
  CHECK(near(model->activity[0], 4) && near(model->activity[1], 6));
  CHECK(near(model->reducedCost[0], 0) && near(model->reducedCost[1], 0));
  for (size_t offset = 232; offset <= 248; offset += 8) CHECK(getReal(record, offset) <= 1e-6);
  CHECK(getReal(record, 280) <= 1e-6);
  CHECK(getReal(record, 264) >= getReal(record, 256) && getReal(record, 256) >= 0);
  CHECK(model->obj[1] == 2 && model->upper[0] == kInf && model->rhs[1] == 6);
  if (getPointer(instance, 16) != NULL) {
    CHECK(optimalCount == 1);
    CHECK(near(reportedObjective, 15));
  } else {
    CHECK(messageCount == 0);
  }
  free(model);
}

/* An assignment of n to n with costs u(i) + v(j) + d(i, j), d zero on the diagonal and above it elsewhere: the identity
 * is the only optimum and its cost the sum of all u and v. */
static void testAssignment(void* instance, void* options) {
  enum { n = 24 };
  Model* model = object(sizeof(Model));
  double optimum = 0;
  for (int32_t i = 0; i < 2 * n; ++i) addRow(model, 'E', 1, 0);
  for (int32_t i = 0; i < n; ++i) {
    for (int32_t j = 0; j < n; ++j) {
      const double extra = i == j ? 0 : 1 + (i * 7 + j * 3) % 5;
      addColumn(model, (i % 7) + (j % 4) + extra, 0, kInf);
      addElement(model, i, 1);
      addElement(model, n + j, 1);
    }
    optimum += (i % 7) + (i % 4);
  }
  void* record = finish(model, 1, 0);
  iterationCount = 0;
  CHECK(solve(instance, record, options) == 1);
  CHECK(near(getReal(record, 120), optimum));
  for (int32_t i = 0; i < n; ++i) {
    for (int32_t j = 0; j < n; ++j) CHECK(fabs(model->primal[i * n + j] - (i == j ? 1 : 0)) < 1e-4);
  }
  if (getPointer(instance, 16) != NULL) CHECK(iterationCount >= getInt(record, 220) && getInt(record, 220) > 0);
  free(model);
}

/* x free, 1 <= x + y <= 5 (a range row of width 4), x - y = 1, 0 <= y <= 3, minimise 2 x + y: on the equation
 * x = y + 1 the range says 0 <= y <= 2, so y = 0, x = 1. */
static void testRangeAndFreeColumn(void* instance, void* options) {
  Model* model = object(sizeof(Model));
  addRow(model, 'R', 5, 4);
  addRow(model, 'E', 1, 0);
  addColumn(model, 2, -kInf, kInf);
  addElement(model, 0, 1);
  addElement(model, 1, 1);
  addColumn(model, 1, 0, 3);
  addElement(model, 0, 1);
  addElement(model, 1, -1);
  void* record = finish(model, 1, 0);
  CHECK(solve(instance, record, options) == 1);
  CHECK(near(getReal(record, 120), 2));
  CHECK(near(model->primal[0], 1) && fabs(model->primal[1]) < 1e-5);
  free(model);
}

/* x + y <= 1 and x + 2 y >= 5 with x, y in [0, 1]. */
static void testInfeasible(void* instance, void* options) {
  Model* model = object(sizeof(Model));
  addRow(model, 'L', 1, 0);
  addRow(model, 'G', 5, 0);
  for (int j = 0; j < 2; ++j) {
    addColumn(model, 1, 0, 1);
    addElement(model, 0, 1);
    addElement(model, 1, 1 + j);
  }
  CHECK(solve(instance, finish(model, 1, 0), options) == 3);
  free(model);
}

/* A lower bound above its upper bound is an infeasible model. */
static void testCrossedBounds(void* instance, void* options) {
  Model* model = object(sizeof(Model));
  addRow(model, 'L', 10, 0);
  addColumn(model, 1, 2, 1);
  addElement(model, 0, 1);
  CHECK(solve(instance, finish(model, 1, 0), options) == 3);
  free(model);
}

/* Minimise -x - y under x - y <= 1 and y - x <= 1: the ray (1, 1) never ends. */
static void testUnbounded(void* instance, void* options) {
  Model* model = object(sizeof(Model));
  addRow(model, 'L', 1, 0);
  addRow(model, 'L', 1, 0);
  for (int j = 0; j < 2; ++j) {
    addColumn(model, -1, 0, kInf);
    addElement(model, 0, j == 0 ? 1 : -1);
    addElement(model, 1, j == 0 ? -1 : 1);
  }
  CHECK(solve(instance, finish(model, 1, 0), options) == 4);
  free(model);
}

static int canOpen(const char* name) {
  char file[4096];
  snprintf(file, sizeof file, "%s/%s.so", moduleFolder, name);
  return access(file, R_OK) == 0;
}

/* Minimise x + y under x + y >= 1: all of an edge is optimal, and a crossover goes to one of its ends. The bases at 144
 * and 152 say 1 for basic and 2 for a lower bound. */
static void testCrossover(void* instance) {
  typedef void* (*Create)(void*);
  void* options = ((Create)getFunction(instance, 48))(instance);
  uint8_t colBasis[2], rowBasis[1];
  Model* model = object(sizeof(Model));
  addRow(model, 'G', 1, 0);
  for (int j = 0; j < 2; ++j) {
    addColumn(model, 1, 0, kInf);
    addElement(model, 0, 1);
  }
  void* record = finish(model, 1, 0);
  putPointer(record, 144, colBasis);
  putPointer(record, 152, rowBasis);
  for (int32_t crossover = 1; crossover <= 2; ++crossover) {
    putInt(options, 132, crossover);
    if (!canOpen("qzsimpx")) {
      CHECK(solve(instance, record, options) == -1086);
      continue;
    }
    CHECK(solve(instance, record, options) == 1);
    CHECK(getReal(record, 120) == 1 && getReal(record, 280) == 0 && getReal(record, 288) == 0);
    CHECK(model->primal[0] + model->primal[1] == 1 && model->primal[0] * model->primal[1] == 0);
    CHECK(colBasis[0] + colBasis[1] == 3 && rowBasis[0] == 2);
    CHECK(getPointer(instance, 88) == NULL && getPointer(instance, 96) == NULL);
  }
  free(model);
}

static int32_t breakAtPoll(void* left) {
  return --*(int*)left < 0 ? 1 : 0;
}

static int inputKept(const Model* now, const Model* before) {
  return memcmp(now->colBegin, before->colBegin, sizeof now->colBegin) == 0 &&
         memcmp(now->colLength, before->colLength, sizeof now->colLength) == 0 &&
         memcmp(now->rowIndex, before->rowIndex, sizeof now->rowIndex) == 0 &&
         memcmp(now->matValue, before->matValue, sizeof now->matValue) == 0 &&
         memcmp(now->obj, before->obj, sizeof now->obj) == 0 &&
         memcmp(now->lower, before->lower, sizeof now->lower) == 0 &&
         memcmp(now->upper, before->upper, sizeof now->upper) == 0 &&
         memcmp(now->rhs, before->rhs, sizeof now->rhs) == 0 &&
         memcmp(now->range, before->range, sizeof now->range) == 0 &&
         memcmp(now->rowSense, before->rowSense, sizeof now->rowSense) == 0;
}

/* Four supplies between 5 and 30 each, five demands, at most 8 on each way; a free column sums up what the first supply
 * sends, a fixed one helps the first demand. Every stage between the caller and the engine has something to do. */
static void fillTransport(Model* model) {
  enum { numSupply = 4, numDemand = 5, sumRow = numSupply + numDemand };
  for (int32_t i = 0; i < numSupply; ++i) addRow(model, 'R', 30, 25);
  for (int32_t j = 0; j < numDemand; ++j) addRow(model, 'G', 10 + j, 0);
  addRow(model, 'E', 0, 0);
  for (int32_t i = 0; i < numSupply; ++i) {
    for (int32_t j = 0; j < numDemand; ++j) {
      addColumn(model, -(20 + (i * 7 + j * 5) % 11), 0, 8);
      addElement(model, i, 1);
      addElement(model, numSupply + j, 1);
      if (i == 0) addElement(model, sumRow, 40);
    }
  }
  addColumn(model, -0.5, -kInf, kInf);
  addElement(model, sumRow, -40);
  addColumn(model, -1, 2, 2);
  addElement(model, numSupply, 1);
}

/* Whatever cuts a solve off at any place, a break or a request that gets nothing, under every way through the stages:
 * the caller's model stays as it is, bit for bit, and the same record solves behind it. */
static void testCutOff(void* instance) {
  typedef void* (*Create)(void*);
  void* options = ((Create)getFunction(instance, 48))(instance);
  Model* model = object(sizeof(Model));
  Model* before = object(sizeof(Model));
  fillTransport(model);
  void* record = finish(model, -1, 7);
  *before = *model;
  CHECK(solve(instance, record, options) == 1);
  const double optimum = getReal(record, 120);
  for (int way = 0; way < 8; ++way) {
    putInt(options, 4, (way & 1) != 0 ? 0 : -1);   /* presolve */
    putInt(options, 56, (way & 2) != 0 ? 1 : 100); /* method */
    putInt(options, 192, (way & 4) != 0 ? 1 : 0);  /* row scaling */
    int32_t status = 12, breaks = 0, shortages = 0;
    for (int polls = 0; status == 12; ++polls) {
      int left = polls;
      putFunction(record, 304, (Function)breakAtPoll);
      putPointer(record, 312, &left);
      status = solve(instance, record, options);
      CHECK(status == 12 || status == 1);
      CHECK(inputKept(model, before));
      if (status == 12) ++breaks;
    }
    CHECK(breaks >= 5);
    putPointer(record, 304, NULL);
    putPointer(record, 312, NULL);
    status = -1086;
    for (int64_t k = 1; status == -1086; k += 3) {
      failRequest = requestCount + k;
      status = solve(instance, record, options);
      failRequest = 0;
      CHECK(status == -1086 || status == 1);
      CHECK(inputKept(model, before));
      if (status == -1086) ++shortages;
    }
    CHECK(shortages >= 5);
    CHECK(solve(instance, record, options) == 1);
    CHECK(near(getReal(record, 120), optimum));
    CHECK(inputKept(model, before));
  }
  free(before);
  free(model);
}

/* ---- The course ---- */

static void checkModule(void* library, void* module) {
  typedef int32_t (*Version)(void*, int32_t*, int32_t*, int32_t*);
  int32_t a = 0, b = 0, c = 0;
  CHECK(memcmp(module, "nevo", 4) == 0);
  CHECK(((Version)getFunction(module, 24))(module, &a, &b, &c) == 0 && a == 5 && b == 1 && c == 1);
  CHECK(((Version)getFunction(module, 32))(module, &a, &b, &c) == 0 && a == 1 && b == 0 && c == 0);
  CHECK(getPointer(module, 72) != NULL);
  CHECK(getFunction(module, 48) == symbol(library, "qzipsolve_realDestroy"));
  CHECK(getFunction(module, 80) == symbol(library, "qzipsolve_create_instance"));
}

static void checkOptions(void* instance) {
  typedef void* (*Create)(void*);
  for (int round = 0; round < 2; ++round) {
    cpuCount = round == 0 ? 4 : 1;
    void* options = ((Create)getFunction(instance, 48))(instance);
    CHECK(options != NULL);
    if (options == NULL) return;
    CHECK(getInt(options, 4) == -1 && getInt(options, 8) == 3 && getInt(options, 24) == -1);
    CHECK(getInt(options, 28) == -1 && getInt(options, 32) == 0x7fffffff);
    CHECK(getWord(options, 40) == UINT64_C(0x7fdffffffffffffe));
    CHECK(getInt(options, 48) == (round == 0 ? 1 : 0));
    CHECK(getInt(options, 56) == 100 && getInt(options, 60) == 1 && getInt(options, 64) == 2);
    CHECK(getInt(options, 88) == 2000 && getReal(options, 96) == 1e-20);
    CHECK(getInt(options, 124) == 0 && getInt(options, 132) == 0 && getInt(options, 144) == 1);
    for (size_t offset = 168; offset <= 184; offset += 8) CHECK(getReal(options, offset) == 1e-6);
    CHECK(getInt(options, 192) == 0 && getInt(options, 200) == (round == 0 ? 4 : 1) && getInt(options, 204) == 0);
    CHECK(getReal(options, 232) == 0);
  }
  cpuCount = 2;
}

static void* newInstance(void* module) {
  return ((void* (*)(void))getFunction(module, 80))();
}

static void destroyInstance(void* instance) {
  ((int32_t(*)(void*))getFunction(instance, 24))(instance);
}

/* Nothing of an instance may be left: one pool and one block belong to the module object. */
static void checkNothingLeft(void) {
  CHECK(poolCount == 1);
  CHECK(blockCount == 1);
  CHECK(loadedCount == 0);
}

static void checkShortages(void* library) {
  typedef void* (*Make)(void*, void*);
  for (int64_t k = 1; k <= 2; ++k) {
    failRequest = requestCount + k;
    CHECK(((Make)symbol(library, "qzipsolve"))(NULL, NULL) == NULL);
    failRequest = requestCount + k;
    CHECK(((void* (*)(void))symbol(library, "qzipsolve_create_instance"))() == NULL);
  }
  failRequest = 0;
  CHECK(poolCount == 0 && blockCount == 0 && byteCount == 0);
}

static void run(void* library) {
  typedef int32_t (*ExtentVersion)(void*, int32_t*, int32_t*);
  typedef int32_t (*Destroy)(void*);
  int32_t major = 0, minor = 0;
  CHECK(((ExtentVersion)symbol(library, "qzextver"))(table, &major, &minor) == 0 && major == 5 && minor == 1);
  CHECK(getPointer(dlsym(library, "Exported_QZHandle"), 0) == table);
  unsigned char version[64];
  memset(version, 0xee, sizeof version);
  ((void (*)(void*))symbol(library, "qzvercn1"))(version);
  CHECK(getInt(version, 0) == 16 && version[16] == 0xee);
  CHECK(((Destroy)symbol(library, "qzipsolve_realDestroy"))(NULL) == 0);
  ((Destroy)symbol(library, "qzipsolve_destroy_instance"))(NULL);
  checkShortages(library);

  void* module = ((void* (*)(void*, void*))symbol(library, "qzipsolve"))(NULL, NULL);
  CHECK(module != NULL);
  if (module == NULL) return;
  checkModule(library, module);
  void* instance = newInstance(module); /* fresh, nothing solved */
  CHECK(instance != NULL);
  if (instance == NULL) return;
  CHECK(getPointer(instance, 0) != NULL && getPointer(instance, 16) == NULL);
  destroyInstance(instance);
  checkNothingLeft();

  void* log[2];
  putFunction(log, 0, (Function)logCode);
  putFunction(log, 8, (Function)logText);
  instance = newInstance(module);
  CHECK(instance != NULL);
  if (instance == NULL) return;
  checkOptions(instance);
  for (int round = 0; round < 2; ++round) { /* with a log, and silent */
    putPointer(instance, 16, round == 0 ? log : NULL);
    testMaximisation(instance, NULL);
    testAssignment(instance, NULL);
    testRangeAndFreeColumn(instance, NULL);
    testInfeasible(instance, NULL);
    testCrossedBounds(instance, NULL);
    testUnbounded(instance, NULL);
    testCrossover(instance);
    testMaximisation(instance, NULL); /* behind failures the instance is as good as new */
  }
  testCutOff(instance);
  destroyInstance(instance);
  checkNothingLeft();
  ((Destroy)getFunction(module, 48))(module);
  CHECK(poolCount == 0 && blockCount == 0 && byteCount == 0);
  CHECK(__atomic_load_n((int64_t*)((char*)mainThread + 8), __ATOMIC_ACQUIRE) == 0);
}

int main(int count, char** arguments) {
  if (count != 2) {
    puts("usage: abi_client FOLDER");
    return 2;
  }
  moduleFolder = arguments[1];
  mainThread = newThread();
  fillTable();
  void* library = openLibrary("qzipsolve");
  CHECK(library != NULL);
  if (library != NULL) {
    run(library);
    dlclose(library);
  }
  free(mainThread);
  printf("%d checks failed\n", failures);
  return failures == 0 ? 0 : 1;
}
