#include "host/threads.h"

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <new>

#include "host/faults.h"

namespace qzhost {

namespace {

// What an event or a thread is waited for by. Its address stands in word 0 of both objects, so that a wait need not
// know what it waits for.
struct Waitable {
  bool done = false;  // guarded by the monitor
};

// One monitor for all objects: posts are rare, and a wait for any of a list needs no registration. The poster does not
// touch an object behind the unlock, so the waiter may destroy it at once.
std::mutex& monitorMutex() {
  static auto* mutex = new std::mutex;  // never destroyed: a thread may still run while the program ends
  return *mutex;
}
std::condition_variable& monitorChanged() {
  static auto* changed = new std::condition_variable;
  return *changed;
}

Waitable* waitableOf(const void* object) {
  return *static_cast<Waitable* const*>(object);
}

void setWaitable(uint64_t* word, Waitable* waitable) {
  *reinterpret_cast<Waitable**>(word) = waitable;
}

// Whether the block is settled: all objects done, or any of them. The caller holds the monitor.
bool settled(const QzWaitBlock& block) {
  uint64_t done = 0;
  for (uint64_t i = 0; i < block.count; ++i) done += waitableOf(block.objects[i])->done ? 1 : 0;
  return block.waitForAll != 0 ? done == block.count : done != 0;
}

int32_t waitFor(const QzWaitBlock* block, const void* self) {
  constexpr uint64_t kKind = 2;
  if (block == nullptr || block->kind != kKind) return kWaitInvalid;
  if (block->count == 0) return kWaitDone;
  if (block->objects == nullptr || requestFails(Request::kWait)) return kWaitInvalid;
  for (uint64_t i = 0; i < block->count; ++i)
    if (block->objects[i] == nullptr || block->objects[i] == self) return kWaitInvalid;
  std::unique_lock<std::mutex> monitor(monitorMutex());
  monitorChanged().wait(monitor, [block] { return settled(*block); });
  if (block->results != nullptr)
    for (uint64_t i = 0; i < block->count; ++i) block->results[i] = waitableOf(block->objects[i])->done ? 0 : -1;
  return kWaitDone;
}

struct HostEvent {
  QzEvent event;  // first
  Waitable waitable;
};

void eventDestroy(QzEvent* event) {
  delete reinterpret_cast<HostEvent*>(event);
}

int32_t eventWait(QzEvent* event, QzWaitBlock* block) {
  if (block != nullptr) return waitFor(block, nullptr);
  void* objects[1] = {event};  // without a block the event is waited for alone
  const QzWaitBlock alone{1, objects, nullptr, 1, 0, 2, 0, 0};
  return waitFor(&alone, nullptr);
}

void post(Waitable* first, Waitable* second) {
  {
    const std::lock_guard<std::mutex> monitor(monitorMutex());
    if (first != nullptr) first->done = true;
    if (second != nullptr) second->done = true;
  }
  monitorChanged().notify_all();
}

int32_t eventSignal(QzEvent* event, int32_t mode, int64_t /*argument*/) {
  if (mode != 0) return kWaitInvalid;
  post(waitableOf(event), nullptr);
  return 0;
}

struct HostLock {
  QzLock lock;  // first
  std::mutex mutex;
};

void lockDestroy(QzLock* lock) {
  delete reinterpret_cast<HostLock*>(lock);
}

int32_t lockAcquire(QzLock* lock, int32_t /*exclusive*/, void* /*descriptor*/) {
  reinterpret_cast<HostLock*>(lock)->mutex.lock();
  return 0;
}

int32_t lockRelease(QzLock* lock) {
  reinterpret_cast<HostLock*>(lock)->mutex.unlock();
  return 0;
}

struct HostThread {
  QzThread thread;  // first
  Waitable waitable;
  std::atomic<int32_t> holders{1};  // the running thread and, until slot 16, the caller
  pthread_t handle{};
  bool started = false;  // by startThread
  QzThreadStart start{};
};

void releaseThread(HostThread* self) {
  if (self->holders.fetch_sub(1, std::memory_order_acq_rel) == 1) delete self;
}

// The object of the running thread. A thread that the host did not start owns its object.
struct CurrentThread {
  HostThread* object = nullptr;
  ~CurrentThread() {
    if (object != nullptr && !object->started) releaseThread(object);
  }
};
thread_local CurrentThread current;

void threadClose(QzThread* thread) {
  auto* self = reinterpret_cast<HostThread*>(thread);
  if (!self->started) return;  // belongs to its thread
  bool done = false;
  {
    const std::lock_guard<std::mutex> monitor(monitorMutex());
    done = self->waitable.done;
  }
  // A thread whose function has returned is at its end; joining it leaves nothing running behind the caller.
  if (done && pthread_equal(self->handle, pthread_self()) == 0)
    pthread_join(self->handle, nullptr);
  else
    pthread_detach(self->handle);
  releaseThread(self);
}

int32_t threadWait(QzThread* thread, QzWaitBlock* block) {
  return waitFor(block, thread);
}

int32_t threadSignal(QzThread* thread, int32_t mode, int64_t /*argument*/) {
  if (mode != 0 && mode != 1) return kWaitInvalid;
  __atomic_store_n(&thread->cancelled, mode == 0 ? 1 : 0, __ATOMIC_RELEASE);
  return 0;
}

HostThread* newThread() {
  auto* self = new (std::nothrow) HostThread{};
  if (self == nullptr) return nullptr;
  setWaitable(self->thread.reserved, &self->waitable);
  self->thread.close = threadClose;
  self->thread.wait = threadWait;
  self->thread.signal = threadSignal;
  return self;
}

void* runThread(void* argument) {
  auto* self = static_cast<HostThread*>(argument);
  current.object = self;
  self->start.function(self->start.argument);
  post(&self->waitable, self->start.event == nullptr ? nullptr : waitableOf(self->start.event));
  current.object = nullptr;
  releaseThread(self);
  return nullptr;
}

// The system shows at most 15 bytes of a thread's name.
void nameThread(pthread_t handle, const wchar_t* name) {
  if (name == nullptr) return;
  char shown[16];
  size_t length = 0;
  for (; length < sizeof(shown) - 1 && name[length] != L'\0'; ++length)
    shown[length] = name[length] < 128 ? static_cast<char>(name[length]) : '?';
  shown[length] = '\0';
  if (length != 0) pthread_setname_np(handle, shown);
}

}  // namespace

QzEvent* createEvent(QzHostTable* /*table*/, void* /*attributes*/, int64_t /*zero*/, const wchar_t* /*name*/, ...) {
  if (requestFails(Request::kEvent)) return nullptr;
  auto* self = new (std::nothrow) HostEvent{};
  if (self == nullptr) return nullptr;
  setWaitable(self->event.reserved, &self->waitable);
  self->event.destroy = eventDestroy;
  self->event.wait = eventWait;
  self->event.signal = eventSignal;
  return &self->event;
}

QzLock* createLock(QzHostTable* /*table*/, void* /*attributes*/, int64_t /*zero*/, const wchar_t* /*name*/) {
  if (requestFails(Request::kLock)) return nullptr;
  auto* self = new (std::nothrow) HostLock{};
  if (self == nullptr) return nullptr;
  self->lock.destroy = lockDestroy;
  self->lock.acquire = lockAcquire;
  self->lock.release = lockRelease;
  return &self->lock;
}

QzThread* startThread(QzHostTable* /*table*/, QzThreadStart* start, int64_t /*zero*/, const wchar_t* name,
                      void* /*arguments*/) {
  if (start == nullptr || start->function == nullptr || requestFails(Request::kThread)) return nullptr;
  HostThread* self = newThread();
  if (self == nullptr) return nullptr;
  self->started = true;
  self->start = *start;
  if (requestFails(Request::kWorkerRun)) self->thread.cancelled = 1;
  self->holders.store(2);
  if (pthread_create(&self->handle, nullptr, runThread, self) != 0) {
    delete self;
    return nullptr;
  }
  nameThread(self->handle, name);
  return &self->thread;
}

QzThread* currentThread(QzHostTable* /*table*/) {
  if (current.object == nullptr) current.object = newThread();
  return current.object == nullptr ? nullptr : &current.object->thread;
}

}  // namespace qzhost
