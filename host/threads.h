// The host's threads, events and locks, on pthreads.
//
// An event stays posted once posted. A thread is done when its function has returned. Both are waited for through
// slot 200, for all or for any of a list; waiting looks at nothing but what is waited for, so a cancelled thread still
// waits for its workers.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"

namespace qzhost {

// Slots 16, 24, 80 and 88 of the service table. Null when the resource can't be had.
QzEvent* createEvent(QzHostTable* table, void* attributes, int64_t zero, const wchar_t* name, ...);
QzLock* createLock(QzHostTable* table, void* attributes, int64_t zero, const wchar_t* name);

// Starts a thread on start->function; the block is read before the call returns. The object is closed by its slot 16,
// which neither waits for the thread nor ends it.
QzThread* startThread(QzHostTable* table, QzThreadStart* start, int64_t zero, const wchar_t* name, void* arguments);

// The object of the calling thread, made at the first call in a thread that the host did not start. It lives as long as
// the thread runs.
QzThread* currentThread(QzHostTable* table);

// Results of slot 200 and of slot 208.
enum WaitResult : int32_t {
  kWaitDone = 0,
  kWaitInvalid = 1,  // a null block, list or object, another kind than 2, or a thread that would wait for itself
};

}  // namespace qzhost
