// The counting pools of the test host over the real threads, events and locks of the stand-alone host, each of which
// can be told to fail.
#pragma once

#include <atomic>
#include <cstdint>

#include "host/threads.h"
#include "support/test_host.h"

namespace qztest {

class ParallelHost : public TestHost {
 public:
  ParallelHost() {
    failLock = failEvent = failThread = failWait = 0;
    liveLocks = liveEvents = liveThreads = startedThreads = 0;
    table()->createEvent = createEvent;
    table()->createLock = createLock;
    table()->startThread = startThread;
    table()->currentThread = qzhost::currentThread;
    // Only the calling thread of a factorisation waits.
    if (hostWait == nullptr) hostWait = caller()->wait;
    caller()->wait = [](QzThread* self, QzWaitBlock* block) { return fails(failWait) ? 1 : hostWait(self, block); };
    setOption(L"host.cpucorecount", 64);
    cancelCaller(false);
  }

  // The k-th call from now on fails; 0 switches off.
  static inline std::atomic<int64_t> failLock{0}, failEvent{0}, failThread{0}, failWait{0};
  // Objects that were made and not yet destroyed or closed.
  static inline std::atomic<int64_t> liveLocks{0}, liveEvents{0}, liveThreads{0};
  static inline std::atomic<int64_t> startedThreads{0};

  QzThread* caller() { return qzhost::currentThread(table()); }
  void cancelCaller(bool cancel) { caller()->signal(caller(), cancel ? 0 : 1, 0); }

 private:
  static bool fails(std::atomic<int64_t>& counter) { return counter > 0 && --counter == 0; }

  static inline void (*hostDestroyEvent)(QzEvent*) = nullptr;
  static inline void (*hostDestroyLock)(QzLock*) = nullptr;
  static inline void (*hostClose)(QzThread*) = nullptr;
  static inline int32_t (*hostWait)(QzThread*, QzWaitBlock*) = nullptr;

  static QzEvent* createEvent(QzHostTable* host, void* attributes, int64_t zero, const wchar_t* name, ...) {
    if (fails(failEvent)) return nullptr;
    QzEvent* event = qzhost::createEvent(host, attributes, zero, name);
    hostDestroyEvent = event->destroy;
    event->destroy = [](QzEvent* self) {
      --liveEvents;
      hostDestroyEvent(self);
    };
    ++liveEvents;
    return event;
  }
  static QzLock* createLock(QzHostTable* host, void* attributes, int64_t zero, const wchar_t* name) {
    if (fails(failLock)) return nullptr;
    QzLock* lock = qzhost::createLock(host, attributes, zero, name);
    hostDestroyLock = lock->destroy;
    lock->destroy = [](QzLock* self) {
      --liveLocks;
      hostDestroyLock(self);
    };
    ++liveLocks;
    return lock;
  }
  static QzThread* startThread(QzHostTable* host, QzThreadStart* start, int64_t zero, const wchar_t* name,
                               void* arguments) {
    if (fails(failThread)) return nullptr;
    QzThread* thread = qzhost::startThread(host, start, zero, name, arguments);
    hostClose = thread->close;
    thread->close = [](QzThread* self) {
      --liveThreads;
      hostClose(self);
    };
    ++liveThreads;
    ++startedThreads;
    return thread;
  }
};

}  // namespace qztest
