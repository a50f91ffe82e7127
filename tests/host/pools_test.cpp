// The host's pools: counts, hierarchy, alignment, failures on demand, concurrency.
#include "host/pools.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "host/faults.h"
#include "host/service_table.h"

namespace {

using qzhost::allPoolCounts;
using qzhost::poolCounts;
using qzhost::PoolCounts;

QzPool* newPool(QzPool* parent = nullptr) {
  QzHostTable* table = qzhost::hostTable();
  QzPoolParameters parameters{};
  return table->createPool(table, &parameters, parent, L"a pool", 0, 0);
}

class Pools : public testing::Test {
 protected:
  void SetUp() override { before_ = allPoolCounts(); }
  void TearDown() override {
    qzhost::failAllocation(0);
    const PoolCounts now = allPoolCounts();
    EXPECT_EQ(now.pools, before_.pools);
    EXPECT_EQ(now.blocks, before_.blocks);
    EXPECT_EQ(now.bytes, before_.bytes);
  }
  PoolCounts before_;
};

TEST_F(Pools, AllocateCountsAndFreeUncounts) {
  QzPool* pool = newPool();
  void* a = pool->allocate(pool, 100, 0);
  void* b = pool->allocate(pool, 28, QZ_POOL_ZERO);
  EXPECT_EQ(poolCounts(pool).blocks, 2);
  EXPECT_EQ(poolCounts(pool).bytes, 128);
  pool->free(pool, a);
  EXPECT_EQ(poolCounts(pool).blocks, 1);
  EXPECT_EQ(poolCounts(pool).bytes, 28);
  pool->free(pool, b);
  EXPECT_EQ(poolCounts(pool).blocks, 0);
  pool->destroy(pool);
}

TEST_F(Pools, ZeroFlagGivesZerosInReusedMemory) {
  QzPool* pool = newPool();
  for (int round = 0; round < 20; ++round) {
    auto* dirty = static_cast<unsigned char*>(pool->allocate(pool, 4096, 0));
    std::memset(dirty, 0x5a, 4096);
    pool->free(pool, dirty);
    auto* clean = static_cast<unsigned char*>(pool->allocate(pool, 4096, QZ_POOL_ZERO));
    for (int i = 0; i < 4096; ++i) ASSERT_EQ(clean[i], 0);
    pool->free(pool, clean);
  }
  pool->destroy(pool);
}

TEST_F(Pools, BlocksAreAlignedToCacheLines) {
  QzPool* pool = newPool();
  for (uint64_t size = 0; size < 300; ++size) {
    void* block = pool->allocate(pool, size, 0);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0u) << "size " << size;
    std::memset(block, 1, size);
  }
  pool->destroy(pool);
}

TEST_F(Pools, SizeZeroGivesDistinctBlocks) {
  QzPool* pool = newPool();
  void* a = pool->allocate(pool, 0, 0);
  void* b = pool->allocate(pool, 0, QZ_POOL_ZERO);
  EXPECT_NE(a, nullptr);
  EXPECT_NE(b, nullptr);
  EXPECT_NE(a, b);
  pool->destroy(pool);
}

TEST_F(Pools, FreeOfNullIsNoFault) {
  QzPool* pool = newPool();
  pool->free(pool, nullptr);
  EXPECT_EQ(poolCounts(pool).blocks, 0);
  pool->destroy(pool);
}

TEST_F(Pools, HugeSizesGiveNull) {
  QzPool* pool = newPool();
  EXPECT_EQ(pool->allocate(pool, UINT64_MAX, 0), nullptr);
  EXPECT_EQ(pool->allocate(pool, UINT64_MAX - 63, QZ_POOL_ZERO), nullptr);
  EXPECT_EQ(pool->allocate(pool, (uint64_t{1} << 62) + 1, 0), nullptr);
  EXPECT_EQ(poolCounts(pool).blocks, 0);
  pool->destroy(pool);
}

TEST_F(Pools, DestroyTakesDescendantsAndTheirBlocks) {
  QzPool* root = newPool();
  QzPool* child = newPool(root);
  QzPool* grandchild = newPool(child);
  QzPool* second = newPool(root);
  for (QzPool* pool : {root, child, grandchild, second}) ASSERT_NE(pool->allocate(pool, 10, 0), nullptr);
  EXPECT_EQ(poolCounts(root).pools, 4);
  EXPECT_EQ(poolCounts(root).blocks, 4);
  EXPECT_EQ(poolCounts(child).pools, 2);
  EXPECT_EQ(poolCounts(child).bytes, 20);
  root->destroy(root);
}

TEST_F(Pools, DestroyOfAMiddleChildLeavesItsSiblings) {
  QzPool* root = newPool();
  QzPool* first = newPool(root);
  QzPool* middle = newPool(root);
  QzPool* last = newPool(root);
  ASSERT_NE(middle->allocate(middle, 8, 0), nullptr);
  middle->destroy(middle);
  EXPECT_EQ(poolCounts(root).pools, 3);
  ASSERT_NE(first->allocate(first, 8, 0), nullptr);
  ASSERT_NE(last->allocate(last, 8, 0), nullptr);
  EXPECT_EQ(poolCounts(root).blocks, 2);
  last->destroy(last);
  EXPECT_EQ(poolCounts(root).blocks, 1);
  first->destroy(first);
  EXPECT_EQ(poolCounts(root).pools, 1);
  root->destroy(root);
}

TEST_F(Pools, PeakFollowsTheMost) {
  QzPool* pool = newPool();
  const int64_t target = allPoolCounts().bytes + qzhost::peakPoolBytes() + 1000;
  void* block = pool->allocate(pool, static_cast<uint64_t>(target), 0);
  ASSERT_NE(block, nullptr);
  const int64_t peak = qzhost::peakPoolBytes();
  EXPECT_GE(peak, target);
  pool->free(pool, block);
  EXPECT_EQ(qzhost::peakPoolBytes(), peak);
  pool->destroy(pool);
}

TEST_F(Pools, TheKthRequestFailsAndNoOther) {
  QzPool* pool = newPool();
  for (int64_t k = 1; k <= 5; ++k) {
    qzhost::failAllocation(k);
    for (int64_t i = 1; i <= 5; ++i) EXPECT_EQ(pool->allocate(pool, 8, 0) == nullptr, i == k) << k << " " << i;
  }
  qzhost::failAllocation(2, true);
  EXPECT_NE(pool->allocate(pool, 8, 0), nullptr);
  EXPECT_EQ(pool->allocate(pool, 8, 0), nullptr);
  EXPECT_EQ(pool->allocate(pool, 8, 0), nullptr);
  qzhost::failAllocation(0);
  EXPECT_NE(pool->allocate(pool, 8, 0), nullptr);
  pool->destroy(pool);
}

TEST_F(Pools, EveryKindOfResourceCountsAsARequest) {
  QzHostTable* table = qzhost::hostTable();
  QzThreadStart start{};
  start.function = [](void*) {};
  qzhost::failAllocation(1, true);
  EXPECT_EQ(newPool(), nullptr);
  EXPECT_EQ(table->createLock(table, nullptr, 0, L"lock"), nullptr);
  EXPECT_EQ(table->createEvent(table, nullptr, 0, L"event"), nullptr);
  EXPECT_EQ(table->startThread(table, &start, 0, L"thread", nullptr), nullptr);
}

// Threads allocate and free in one pool and in pools of their own under it; nothing is lost and no block is shared.
TEST_F(Pools, ManyThreadsAtOnce) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 2000;
  QzPool* shared = newPool();
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([shared, t] {
      std::mt19937 random(static_cast<unsigned>(t));
      QzPool* own = newPool(shared);
      std::vector<std::pair<unsigned char*, uint64_t>> held;
      for (int round = 0; round < kRounds; ++round) {
        QzPool* pool = round % 2 == 0 ? shared : own;
        const uint64_t size = 1 + random() % 200;
        auto* block = static_cast<unsigned char*>(pool->allocate(pool, size, QZ_POOL_ZERO));
        ASSERT_NE(block, nullptr);
        std::memset(block, t + 1, size);
        if (pool == shared) held.emplace_back(block, size);
        if (held.size() > 20) {
          const auto [old, oldSize] = held[random() % held.size()];
          for (uint64_t i = 0; i < oldSize; ++i) ASSERT_EQ(old[i], t + 1);
          held.erase(std::find(held.begin(), held.end(), std::make_pair(old, oldSize)));
          shared->free(shared, old);
        }
      }
      for (const auto& [block, size] : held) shared->free(shared, block);
      if (t % 2 == 0) own->destroy(own);
    });
  for (std::thread& thread : threads) thread.join();
  const PoolCounts counts = poolCounts(shared);
  EXPECT_EQ(counts.pools, 1 + kThreads / 2);
  EXPECT_EQ(counts.blocks, kThreads / 2 * kRounds / 2);
  shared->destroy(shared);
}

using PoolsDeathTest = Pools;

TEST_F(PoolsDeathTest, MemoryOfAnotherPoolEndsTheProgram) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  QzPool* a = newPool();
  QzPool* b = newPool();
  void* block = a->allocate(a, 8, 0);
  EXPECT_DEATH(b->free(b, block), "belongs to another pool");
  a->destroy(a);
  b->destroy(b);
}

}  // namespace
