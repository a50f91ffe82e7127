// Parallel factorisations that can't go on: pools, locks, events and threads that fail, cancelled threads, abandoned
// runs; and the queues of the dynamic scheduler at their limits.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "sparse/dynamic_scheduler.h"
#include "sparse/parallel_fixture.h"
#include "sparse/static_pipeline.h"
#include "sparse/task_pool.h"
#include "sparse/task_queue.h"
#include "sparse/worker_team.h"

namespace {

using qztest::Case;
using qztest::makeSystem;
using qztest::ParallelFactor;
using qztest::ParallelHost;
using qztest::Pattern;
using qztest::SystemMatrix;

class ParallelFaultsTest : public ::testing::Test {
 protected:
  ~ParallelFaultsTest() override {
    EXPECT_EQ(host.outstanding(), 0);
    expectNoObjects();
  }
  static void expectNoObjects() {
    EXPECT_EQ(ParallelHost::liveLocks, 0);
    EXPECT_EQ(ParallelHost::liveEvents, 0);
    EXPECT_EQ(ParallelHost::liveThreads, 0);
  }
  // The factor still works once the fault is gone.
  static void expectRecovery(ParallelFactor& f) {
    ASSERT_EQ(f.factor(), qz::LA_OK);
    const std::vector<double> b = qztest::randomVector(f.a.n, 6);
    std::vector<double> x = b;
    ASSERT_EQ(f.solve(&x), qz::LA_OK);
    EXPECT_LE(qztest::backwardError(f.a, x, b), 1e-12);
  }
  ParallelHost host;
};

std::vector<Case> engines(int32_t threads) {
  return {{true, threads, 1, 8}, {true, threads, 0, 8}, {false, threads, 1, 8}, {false, threads, 0, 8}};
}

TEST_F(ParallelFaultsTest, EveryFailingAllocationOfTheAnalysisIsReported) {
  const SystemMatrix a = makeSystem(Pattern::CLIQUES, 60, false, false, 2);
  for (const Case& c : engines(3)) {
    for (int64_t k = 1;; ++k) {
      ParallelFactor f(host, a, c);
      host.failAllocation(k);
      const int64_t before = host.allocations();
      const int32_t status = f.analyze();
      const bool reached = host.allocations() - before >= k;
      host.failAllocation(0);
      if (!reached) {
        EXPECT_EQ(status, qz::LA_OK);
        EXPECT_GT(k, 15);
        break;
      }
      ASSERT_EQ(status, qz::LA_NO_MEMORY) << c.name() << " allocation " << k;
      if (f.symbolic != nullptr) {
        EXPECT_EQ(f.symbolic->factorState, -1);
      }
    }
  }
}

TEST_F(ParallelFaultsTest, NothingIsAllocatedWhileFactoring) {
  const SystemMatrix a = makeSystem(Pattern::CLIQUES, 60, false, false, 2);
  for (const Case& c : engines(3)) {
    ParallelFactor f(host, a, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    const int64_t before = host.allocations();
    ASSERT_EQ(f.factor(), qz::LA_OK);
    EXPECT_EQ(host.allocations(), before);
  }
}

TEST_F(ParallelFaultsTest, EveryFailingLockGivesOne) {
  const SystemMatrix a = makeSystem(Pattern::GRID_2D, 49, false, false, 2);
  for (const bool ldl : {true, false}) {
    ParallelFactor f(host, a, {ldl, 3, 0, 4});
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    int64_t k = 1;
    for (;; ++k) {
      ParallelHost::failLock = k;
      const int32_t status = f.factor();
      if (ParallelHost::failLock > 0) {
        ParallelHost::failLock = 0;
        EXPECT_EQ(status, qz::LA_OK);
        break;
      }
      ASSERT_EQ(status, qz::LA_NO_MEMORY) << k;
      EXPECT_EQ(f.symbolic->factorState, -1);
      expectNoObjects();
    }
    EXPECT_GT(k, 10);
    expectRecovery(f);
  }
}

TEST_F(ParallelFaultsTest, EveryFailingThreadGivesTwoAndEveryFailingEventGivesOne) {
  const SystemMatrix a = makeSystem(Pattern::GRID_2D, 100, false, false, 2);
  for (const Case& c : engines(4)) {
    ParallelFactor f(host, a, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    // Three workers fill the blocks, three more factor.
    for (int64_t k = 1; k <= 6; ++k) {
      ParallelHost::failThread = k;
      EXPECT_EQ(f.factor(), qz::LA_INCONSISTENT) << c.name() << " thread " << k;
      EXPECT_EQ(ParallelHost::failThread, 0);
      EXPECT_EQ(f.symbolic->factorState, -1);
      expectNoObjects();
      ParallelHost::failEvent = k;
      EXPECT_EQ(f.factor(), qz::LA_NO_MEMORY) << c.name() << " event " << k;
      EXPECT_EQ(ParallelHost::failEvent, 0);
      expectNoObjects();
    }
    expectRecovery(f);
  }
}

TEST_F(ParallelFaultsTest, FailedWaitGivesTwoAndLeavesNoWorkerBehind) {
  const SystemMatrix a = makeSystem(Pattern::GRID_2D, 100, false, false, 2);
  for (const Case& c : engines(4)) {
    ParallelFactor f(host, a, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    for (int64_t k = 1; k <= 2; ++k) {
      ParallelHost::failWait = k;
      EXPECT_EQ(f.factor(), qz::LA_INCONSISTENT) << c.name() << " wait " << k;
      EXPECT_EQ(ParallelHost::failWait, 0);
      EXPECT_EQ(f.symbolic->factorState, -1);
      for (int32_t t = 0; t < 3; ++t) EXPECT_EQ(f.symbolic->threadContexts[t].left, 1);
      expectRecovery(f);  // takes down what was left
      expectNoObjects();
    }
    // Once more, and the clean-up takes it down.
    ParallelHost::failWait = 2;
    EXPECT_EQ(f.factor(), qz::LA_INCONSISTENT);
  }
}

TEST_F(ParallelFaultsTest, FirstReasonToStopIsTheStatusOfTheRun) {
  qz::EngineShared shared{};
  qz::requestStop(&shared, qz::LA_INCONSISTENT);
  qz::requestStop(&shared, qz::LA_CANCELLED);
  qz::requestStop(&shared, qz::LA_NO_MEMORY);
  EXPECT_EQ(shared.stopFlag, qz::LA_INCONSISTENT);
}

TEST_F(ParallelFaultsTest, CancelledCallerGetsThirteen) {
  const SystemMatrix a = makeSystem(Pattern::CLIQUES, 150, false, false, 2);
  for (const int32_t threads : {1, 2, 4}) {
    for (const Case& c : engines(threads)) {
      ParallelFactor f(host, a, c);
      ASSERT_EQ(f.analyze(), qz::LA_OK);
      host.cancelCaller(true);
      EXPECT_EQ(f.factor(), qz::LA_CANCELLED) << c.name();
      EXPECT_EQ(f.symbolic->factorState, -1);
      host.cancelCaller(false);
      expectRecovery(f);
    }
  }
}

// Cancelled at some moment of the run, from outside.
TEST_F(ParallelFaultsTest, CancellingInTheMiddleEndsAllThreads) {
  QzThread* caller = host.caller();
  int32_t cancelled = 0;
  for (const Case& base : engines(4)) {
    const SystemMatrix a = makeSystem(Pattern::GRID_2D, 900, base.ldl, false, 2);
    for (int delay = 0; delay < 10; ++delay) {
      ParallelFactor f(host, a, base);
      ASSERT_EQ(f.analyze(), qz::LA_OK);
      std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::microseconds(150 * delay));
        caller->signal(caller, 0, 0);
      });
      const int32_t status = f.factor();
      canceller.join();
      host.cancelCaller(false);
      EXPECT_TRUE(status == qz::LA_OK || status == qz::LA_CANCELLED) << status;
      cancelled += status == qz::LA_CANCELLED;
      EXPECT_EQ(f.symbolic->factorState, -1);
      expectNoObjects();
    }
  }
  EXPECT_GT(cancelled, 0);
}

// The caller of a factorisation is gone while its workers spin on blocks that it alone would have finished: clean-up
// ends and joins them before anything is freed.
TEST_F(ParallelFaultsTest, CleanUpJoinsTheWorkersOfAnAbandonedRun) {
  const SystemMatrix a = makeSystem(Pattern::GRID_2D, 400, false, false, 2);
  for (const Case& c : engines(4)) {
    ParallelFactor f(host, a, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    ASSERT_EQ(f.factor(), qz::LA_OK);  // leaves contexts and scratch as a run has them
    qz::prepareContexts(host.pool(), {}, f.symbolic, f.numeric);
    f.symbolic->factorState = 1;
    if (c.staticPipeline != 0) {
      qz::seedStaticPipeline(f.symbolic);
      ASSERT_EQ(qz::startWorkers(f.symbolic, c.ldl ? qz::ProcessTaskStaticLDL : qz::ProcessTaskStaticCholesky),
                qz::LA_OK);
    } else {
      ASSERT_EQ(qz::createDynamicLocks(f.symbolic), qz::LA_OK);
      (c.ldl ? qz::seedDynamicLDL : qz::seedDynamicCholesky)(f.symbolic);
      // A task that nobody takes keeps the workers looking for more.
      f.symbolic->workCounters[f.symbolic->numSupernodes - 1][0] += 1;
      ASSERT_EQ(qz::startWorkers(f.symbolic, c.ldl ? qz::ProcessTaskLDL : qz::ProcessTaskCholesky), qz::LA_OK);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_EQ(ParallelHost::liveThreads, 3);
    f.cleanUp();
    expectNoObjects();
    EXPECT_EQ(f.symbolic, nullptr);
  }
}

// ---- Queues ----

TEST_F(ParallelFaultsTest, PoolGrowsWithoutLosingATask) {
  qz::SymbolicFactor symbolic{};
  symbolic.poolCapacity = 2;
  ASSERT_EQ(qz::allocateTaskPool(host.pool(), &symbolic), qz::LA_OK);
  qz::TaskPool* pool = symbolic.taskPool;
  for (int32_t k = 0; k < 2500; ++k) {
    const qz::Task task{k % 4, k, 2 * k, 3 * k, 4 * k};
    ASSERT_TRUE(qz::putTasks(host.pool(), pool, 1, &task));
  }
  EXPECT_EQ(pool->capacity, 4096);
  const int32_t order[] = {3, 2, 1, 0};
  // Last in, first out in each list; lists one after the other.
  for (int32_t k = 0; k < 2500; ++k) {
    const qz::Task task = qz::takeTask(pool, order);
    const int32_t kind = 3 - k / 625;
    ASSERT_EQ(task.kind, kind);
    EXPECT_EQ(task.sn, 2500 - 4 * (k % 625 + 1) + kind);
    EXPECT_EQ(task.c, 4 * task.sn);
  }
  EXPECT_EQ(qz::takeTask(pool, order).kind, qz::TASK_NONE);
  qz::freeTaskPool(host.pool(), &symbolic);
}

TEST_F(ParallelFaultsTest, SmallPoolsDoubleDuringTheRun) {
  const SystemMatrix a = makeSystem(Pattern::DENSE, 150, false, false, 3);
  for (const bool ldl : {true, false}) {
    ParallelFactor f(host, a, {ldl, 3, 0, 3});
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    qz::freeTaskPool(host.pool(), f.symbolic);
    f.symbolic->poolCapacity = 1;
    ASSERT_EQ(qz::allocateTaskPool(host.pool(), f.symbolic), qz::LA_OK);
    expectRecovery(f);
    if (ldl) {
      EXPECT_GT(f.symbolic->taskPool->capacity, 8);
    }
  }
}

TEST_F(ParallelFaultsTest, PoolThatCannotGrowGivesOne) {
  const SystemMatrix a = makeSystem(Pattern::DENSE, 150, false, false, 3);
  ParallelFactor f(host, a, {true, 3, 0, 3});
  ASSERT_EQ(f.analyze(), qz::LA_OK);
  qz::freeTaskPool(host.pool(), f.symbolic);
  f.symbolic->poolCapacity = 2;
  ASSERT_EQ(qz::allocateTaskPool(host.pool(), f.symbolic), qz::LA_OK);
  host.failAllocation(1, true);
  EXPECT_EQ(f.factor(), qz::LA_NO_MEMORY);
  EXPECT_EQ(f.symbolic->factorState, -1);
  host.failAllocation(0);
  expectNoObjects();
  expectRecovery(f);
}

// The stack of a thread overflows into the pool, and a thread without tasks takes the older half of the largest stack.
TEST_F(ParallelFaultsTest, StacksOverflowIntoThePoolAndAreShared) {
  const SystemMatrix a = makeSystem(Pattern::DIAGONAL, 20, false, false, 3);
  ParallelFactor f(host, a, {false, 3, 0, 8});
  ASSERT_EQ(f.analyze(), qz::LA_OK);
  qz::SymbolicFactor* symbolic = f.symbolic;
  qz::prepareContexts(host.pool(), {}, symbolic, f.numeric);
  ASSERT_EQ(qz::createDynamicLocks(symbolic), qz::LA_OK);
  qz::seedDynamicCholesky(symbolic);
  const int32_t order[] = {0, 1, 2, 3};
  const qz::QueuePolicy policy{true, order};
  symbolic->nextLeaf = symbolic->numLeaves;
  symbolic->taskStacks[0] = symbolic->taskStacks[501] = symbolic->taskStacks[1002] = 0;
  qz::ThreadContext& owner = symbolic->threadContexts[1];
  for (int32_t k = 0; k < 100; ++k) ASSERT_TRUE(qz::pushTask(owner, policy, {qz::TASK_INTERNAL, k, 0, 0, 0}));
  EXPECT_EQ(symbolic->taskStacks[501], 100);
  ASSERT_TRUE(qz::pushTask(owner, policy, {qz::TASK_INTERNAL, 100, 0, 0, 0}));
  EXPECT_EQ(symbolic->taskStacks[501], 51);  // 50 went to the pool
  EXPECT_EQ(qz::GetNextTaskS(owner, policy).sn, 100);
  EXPECT_EQ(qz::GetNextTaskS(owner, policy).sn, 99);
  qz::ThreadContext& thief = symbolic->threadContexts[0];
  for (int32_t k = 49; k >= 0; --k) EXPECT_EQ(qz::GetNextTaskS(thief, policy).sn, k);  // from the pool
  EXPECT_EQ(symbolic->taskStacks[501], 49);
  EXPECT_EQ(qz::GetNextTaskS(thief, policy).sn, 73);  // 50 to 73 move, the last of them is on top
  EXPECT_EQ(symbolic->taskStacks[501], 25);
  for (int32_t k = 98; k >= 74; --k) EXPECT_EQ(qz::GetNextTaskS(owner, policy).sn, k);
  for (int32_t k = 72; k >= 50; --k) EXPECT_EQ(qz::GetNextTaskS(owner, policy).sn, k);
  EXPECT_EQ(qz::GetNextTaskS(owner, policy).kind, qz::TASK_NONE);
  // A single task is not shared.
  ASSERT_TRUE(qz::pushTask(owner, policy, {qz::TASK_SOLVE, 7, 0, 0, 0}));
  EXPECT_EQ(qz::GetNextTaskS(thief, policy).kind, qz::TASK_NONE);
  qz::destroyDynamicLocks(symbolic);
}

}  // namespace
