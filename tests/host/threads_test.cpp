// The host's threads, events and locks.
#include "host/threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "host/service_table.h"

namespace {

QzHostTable* host() {
  return qzhost::hostTable();
}
QzThread* self() {
  return host()->currentThread(host());
}
QzEvent* newEvent() {
  return host()->createEvent(host(), nullptr, 0, L"event");
}
QzLock* newLock() {
  return host()->createLock(host(), nullptr, 0, L"lock");
}

QzThread* start(void (*function)(void*), void* argument, QzEvent* event = nullptr) {
  QzThreadStart block{};
  block.function = function;
  block.argument = argument;
  block.event = event;
  return host()->startThread(host(), &block, 0, L"worker", nullptr);  // the block ends with this function
}

int32_t waitAll(std::vector<void*> objects, std::vector<int64_t>* results = nullptr) {
  QzWaitBlock block{objects.size(), objects.data(), results == nullptr ? nullptr : results->data(), 1, 0, 2, 0, 0};
  QzThread* thread = self();
  return thread->wait(thread, &block);
}

int64_t cancelled(const QzThread* thread) {
  return __atomic_load_n(&thread->cancelled, __ATOMIC_ACQUIRE);
}

void nap() {
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

TEST(Threads, RunTheirFunctionWithItsArgument) {
  int value = 0;
  QzThread* thread = start([](void* argument) { *static_cast<int*>(argument) = 7; }, &value);
  ASSERT_NE(thread, nullptr);
  std::vector<int64_t> results = {99};
  EXPECT_EQ(waitAll({thread}, &results), 0);
  EXPECT_EQ(value, 7);
  EXPECT_EQ(results[0], 0);
  EXPECT_EQ(waitAll({thread}), 0) << "a thread stays done";
  thread->close(thread);
}

TEST(Threads, StartNeedsABlockWithAFunction) {
  QzThreadStart block{};
  EXPECT_EQ(host()->startThread(host(), nullptr, 0, L"worker", nullptr), nullptr);
  EXPECT_EQ(host()->startThread(host(), &block, 0, L"worker", nullptr), nullptr);
}

TEST(Threads, PostTheEventOfTheirStartAsTheyEnd) {
  QzEvent* event = newEvent();
  std::atomic<int> value{0};
  QzThread* thread = start(
      [](void* argument) {
        nap();
        *static_cast<std::atomic<int>*>(argument) = 1;
      },
      &value, event);
  EXPECT_EQ(waitAll({event}), 0);
  EXPECT_EQ(value, 1);
  EXPECT_EQ(waitAll({thread}), 0);
  thread->close(thread);
  event->destroy(event);
}

TEST(Threads, CurrentThreadIsOnePerThreadAndTheStartedObjectItself) {
  EXPECT_EQ(self(), self());
  QzThread* inside = nullptr;
  QzThread* thread = start([](void* argument) { *static_cast<QzThread**>(argument) = self(); }, &inside);
  EXPECT_EQ(waitAll({thread}), 0);
  EXPECT_EQ(inside, thread);
  EXPECT_NE(inside, self());
  QzThread* foreign = nullptr;
  std::thread other([&foreign] { foreign = self(); });
  other.join();
  EXPECT_NE(foreign, nullptr);
  EXPECT_NE(foreign, self());
  thread->close(thread);
}

TEST(Threads, SignalModesSetAndClearTheCancelWord) {
  QzThread* thread = self();
  EXPECT_EQ(cancelled(thread), 0);
  EXPECT_EQ(thread->signal(thread, 0, 0), 0);
  EXPECT_EQ(cancelled(thread), 1);
  EXPECT_NE(thread->signal(thread, 2, 0), 0);
  EXPECT_EQ(cancelled(thread), 1);
  EXPECT_EQ(thread->signal(thread, 1, 0), 0);
  EXPECT_EQ(cancelled(thread), 0);
}

TEST(Threads, AWorkerSeesItsCancellation) {
  QzThread* thread = start(
      [](void*) {
        while (cancelled(self()) == 0) nap();
      },
      nullptr);
  thread->signal(thread, 0, 0);
  EXPECT_EQ(waitAll({thread}), 0);
  EXPECT_EQ(cancelled(thread), 1);
  thread->close(thread);
}

TEST(Threads, ACancelledThreadStillWaitsForItsWorkers) {
  std::atomic<bool> go{false};
  std::atomic<bool> finished{false};
  struct Shared {
    std::atomic<bool>*go, *finished;
  } shared{&go, &finished};
  QzThread* worker = start(
      [](void* argument) {
        auto* flags = static_cast<Shared*>(argument);
        while (!*flags->go) nap();
        *flags->finished = true;
      },
      &shared);
  QzThread* own = self();
  own->signal(own, 0, 0);
  std::thread later([&go] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    go = true;
  });
  EXPECT_EQ(waitAll({worker}), 0);
  EXPECT_TRUE(finished) << "the wait ended before the worker did";
  own->signal(own, 1, 0);
  later.join();
  worker->close(worker);
}

TEST(Threads, CloseOfARunningThreadNeitherWaitsNorEndsIt) {
  QzEvent* go = newEvent();
  QzEvent* done = newEvent();
  QzThread* thread = start(
      [](void* argument) {
        auto* event = static_cast<QzEvent*>(argument);
        event->wait(event, nullptr);
      },
      go, done);
  thread->close(thread);
  go->signal(go, 0, 0);
  EXPECT_EQ(waitAll({done}), 0);
  go->destroy(go);
  done->destroy(done);
}

TEST(Waits, RejectWhatCanNotBeWaitedFor) {
  QzThread* thread = self();
  QzEvent* event = newEvent();
  event->signal(event, 0, 0);
  void* objects[] = {event, nullptr};
  void* own[] = {thread};
  QzWaitBlock good{1, objects, nullptr, 1, 0, 2, 0, 0};
  EXPECT_EQ(thread->wait(thread, &good), 0);
  EXPECT_EQ(thread->wait(thread, nullptr), qzhost::kWaitInvalid);
  QzWaitBlock wrongKind{1, objects, nullptr, 1, 0, 1, 0, 0};
  EXPECT_EQ(thread->wait(thread, &wrongKind), qzhost::kWaitInvalid);
  QzWaitBlock noList{1, nullptr, nullptr, 1, 0, 2, 0, 0};
  EXPECT_EQ(thread->wait(thread, &noList), qzhost::kWaitInvalid);
  QzWaitBlock nullObject{2, objects, nullptr, 1, 0, 2, 0, 0};
  EXPECT_EQ(thread->wait(thread, &nullObject), qzhost::kWaitInvalid);
  QzWaitBlock forItself{1, own, nullptr, 1, 0, 2, 0, 0};
  EXPECT_EQ(thread->wait(thread, &forItself), qzhost::kWaitInvalid);
  QzWaitBlock nothing{0, nullptr, nullptr, 1, 0, 2, 0, 0};
  EXPECT_EQ(thread->wait(thread, &nothing), 0);
  event->destroy(event);
}

TEST(Waits, AnyOfAListEndsWithTheFirst) {
  QzEvent* never = newEvent();
  QzEvent* posted = newEvent();
  posted->signal(posted, 0, 0);
  void* objects[] = {never, posted};
  int64_t results[] = {5, 5};
  QzWaitBlock block{2, objects, results, 0, 0, 2, 0, 0};
  QzThread* thread = self();
  EXPECT_EQ(thread->wait(thread, &block), 0);
  EXPECT_EQ(results[0], -1);
  EXPECT_EQ(results[1], 0);
  never->destroy(never);
  posted->destroy(posted);
}

TEST(Waits, EventsAndThreadsMixInOneList) {
  QzEvent* event = newEvent();
  QzThread* thread = start(
      [](void* argument) {
        auto* toPost = static_cast<QzEvent*>(argument);
        toPost->signal(toPost, 0, 0);
      },
      event);
  EXPECT_EQ(waitAll({thread, event, event}), 0);
  EXPECT_EQ(event->signal(event, 0, 0), 0) << "posting twice is no fault";
  EXPECT_NE(event->signal(event, 1, 0), 0);
  thread->close(thread);
  event->destroy(event);
}

TEST(Locks, ExcludeOneAnother) {
  struct Shared {
    QzLock* lock;
    int64_t count = 0;
  } shared{newLock()};
  constexpr int kThreads = 6;
  constexpr int kRounds = 5000;
  std::vector<QzThread*> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t)
    threads.push_back(start(
        [](void* argument) {
          auto* all = static_cast<Shared*>(argument);
          for (int i = 0; i < kRounds; ++i) {
            ASSERT_EQ(all->lock->acquire(all->lock, 1, nullptr), 0);
            ++all->count;
            ASSERT_EQ(all->lock->release(all->lock), 0);
          }
        },
        &shared));
  EXPECT_EQ(waitAll({threads.begin(), threads.end()}), 0);
  EXPECT_EQ(shared.count, int64_t{kThreads} * kRounds);
  for (QzThread* thread : threads) thread->close(thread);
  shared.lock->destroy(shared.lock);
}

// Gangs of workers come and go as a factorisation uses them: started with an event each, some cancelled, some closed
// before they end, events destroyed as soon as the wait is over.
TEST(Threads, GangsOfWorkersComeAndGo) {
  constexpr int kGangs = 60;
  constexpr int kWorkers = 6;
  std::atomic<int64_t> work{0};
  for (int gang = 0; gang < kGangs; ++gang) {
    std::vector<QzEvent*> events;
    std::vector<QzThread*> threads;
    for (int w = 0; w < kWorkers; ++w) {
      events.push_back(newEvent());
      threads.push_back(start(
          [](void* argument) {
            static_cast<std::atomic<int64_t>*>(argument)->fetch_add(1);
            if (cancelled(self()) != 0) self()->signal(self(), 1, 0);
          },
          &work, events.back()));
      ASSERT_NE(threads.back(), nullptr);
      if (w % 2 == 1) threads.back()->signal(threads.back(), 0, 0);
      if (w % 3 == 2) {
        threads.back()->close(threads.back());
        threads.pop_back();
      }
    }
    EXPECT_EQ(waitAll({events.begin(), events.end()}), 0);
    for (QzEvent* event : events) event->destroy(event);
    EXPECT_EQ(waitAll({threads.begin(), threads.end()}), 0);
    for (QzThread* thread : threads) thread->close(thread);
  }
  EXPECT_EQ(work, kGangs * kWorkers);
}

}  // namespace
