#include "ordering/priority_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "ordering/array_helpers.h"
#include "support/test_host.h"

namespace qztest {
namespace {

using qz::PQueueMax;
using qz::PQueueMin;

// A queue with a stack of the given capacity behind it.
struct QueueCase {
  QueueCase(TestHost& host, int32_t capacity, int32_t maxEntries, int32_t maxGain)
      : stack(static_cast<size_t>(capacity)) {
    env.memory = host.pool();
    control.env = &env;
    control.poolBase = stack.data();
    control.poolCapacity = capacity;
    EXPECT_EQ(PQueueMaxInit(&control, &queue, maxEntries, maxGain), qz::LA_OK);
  }
  ~QueueCase() {
    PQueueMaxFree(&control, &queue);
    EXPECT_EQ(control.poolUsed, 0);
  }
  std::vector<int32_t> stack;
  qz::LAEnv env{};
  qz::OrderingControl control{};
  PQueueMax queue{};
};

TEST(PriorityQueue, FormDependsOnTheRangeAndTheSize) {
  TestHost host;
  EXPECT_EQ(QueueCase(host, 9000, 500, 500).queue.type, qz::PQUEUE_BUCKETS);
  EXPECT_EQ(QueueCase(host, 9000, 499, 500).queue.type, qz::PQUEUE_HEAP);
  EXPECT_EQ(QueueCase(host, 9000, 500, 501).queue.type, qz::PQUEUE_HEAP);
  EXPECT_EQ(QueueCase(host, 90000, 5000, 501).queue.type, qz::PQUEUE_HEAP);
  EXPECT_EQ(QueueCase(host, 9000, 500, 3).queue.gainSpan, 3);
  EXPECT_EQ(QueueCase(host, 9000, 500, -500).queue.gainSpan, 0) << "a graph without edges";
}

TEST(PriorityQueue, TakesFromTheHostWhatTheStackCannotGive) {
  TestHost host;
  const int64_t before = host.outstanding();
  for (const int32_t entries : {40, 600}) {
    // Rounded pieces: heap 96 + 64, buckets 1216 + 32.
    const int32_t need = entries == 40 ? 160 : 1248;
    EXPECT_EQ(QueueCase(host, need, entries, 10).queue.mustFree, 0);
    QueueCase tight(host, need - 1, entries, 10);
    EXPECT_EQ(tight.queue.mustFree, 1);
    EXPECT_EQ(tight.control.poolUsed, 0);
    EXPECT_EQ(host.outstanding(), before + 1);
  }
  EXPECT_EQ(host.outstanding(), before);
  qz::LAEnv env{};
  env.memory = host.pool();
  qz::OrderingControl control{};
  control.env = &env;
  PQueueMax queue;
  host.failAllocation(1);
  EXPECT_EQ(PQueueMaxInit(&control, &queue, 40, 10), qz::LA_NO_MEMORY);
  PQueueMaxFree(&control, &queue);
  EXPECT_EQ(control.poolUsed, 0);
  EXPECT_EQ(host.outstanding(), before);
}

TEST(PriorityQueue, EmptyQueueGivesMinusOne) {
  TestHost host;
  for (const int32_t entries : {10, 600}) {
    QueueCase c(host, 9000, entries, 7);
    EXPECT_EQ(PQueueMaxGetMax(&c.queue), -1);
    EXPECT_EQ(PQueueMaxSeeMax(&c.queue), -1);
    PQueueMaxInsert(&c.queue, 3, -7);
    EXPECT_EQ(PQueueMaxGetMax(&c.queue), 3);
    EXPECT_EQ(PQueueMaxGetMax(&c.queue), -1);
  }
}

TEST(PriorityQueue, UpdateWithEqualGainsChangesNothing) {
  TestHost host;
  for (const int32_t entries : {10, 600}) {
    QueueCase c(host, 9000, entries, 7);
    PQueueMaxInsert(&c.queue, 1, 4);
    PQueueMaxInsert(&c.queue, 2, 4);
    const int32_t top = PQueueMaxSeeMax(&c.queue);
    PQueueMaxUpdate(&c.queue, 3 - top, 4, 4);
    PQueueMaxUpdateUp(&c.queue, 3 - top, 4, 4);
    EXPECT_EQ(PQueueMaxSeeMax(&c.queue), top);
    EXPECT_EQ(c.queue.count, 2);
  }
}

TEST(PriorityQueue, OfEqualGainsTheBucketsGiveTheLastInserted) {
  TestHost host;
  QueueCase c(host, 9000, 600, 7);
  for (int32_t v = 0; v < 5; ++v) PQueueMaxInsert(&c.queue, v, 2);
  PQueueMaxUpdate(&c.queue, 1, 2, 3);
  PQueueMaxUpdate(&c.queue, 1, 3, 2);
  for (const int32_t v : {1, 4, 3, 2, 0}) EXPECT_EQ(PQueueMaxGetMax(&c.queue), v);
}

TEST(PriorityQueue, FollowsASortedList) {
  TestHost host;
  for (const int32_t entries : {50, 499, 500, 700}) {
    for (const int32_t maxGain : {1, 20, 500, 501, 100000}) {
      const auto seed = static_cast<uint32_t>(entries + maxGain);
      SCOPED_TRACE(seed);
      std::mt19937 random(seed);
      const auto gain = [&] {
        return static_cast<int32_t>(random() % (2 * static_cast<uint32_t>(maxGain) + 1)) - maxGain;
      };
      QueueCase c(host, 9000, entries, maxGain);
      for (int32_t round = 0; round < 2; ++round) {
        std::vector<int32_t> key(static_cast<size_t>(entries), INT32_MIN);
        int32_t count = 0;
        for (int32_t step = 0; step < 4000; ++step) {
          const auto v = static_cast<int32_t>(random() % static_cast<uint32_t>(entries));
          int32_t& k = key[static_cast<size_t>(v)];
          const uint32_t action = random() % 4;
          if (k == INT32_MIN) {
            PQueueMaxInsert(&c.queue, v, k = gain());
            ++count;
          } else if (action == 0) {
            PQueueMaxDelete(&c.queue, v, k);
            k = INT32_MIN;
            --count;
          } else if (action == 1) {
            const int32_t up = std::max(k, gain());
            PQueueMaxUpdateUp(&c.queue, v, k, up);
            k = up;
          } else if (action == 2) {
            const int32_t changed = gain();
            PQueueMaxUpdate(&c.queue, v, k, changed);
            k = changed;
          } else {
            const int32_t top = PQueueMaxGetMax(&c.queue);
            ASSERT_GE(top, 0);
            ASSERT_EQ(key[static_cast<size_t>(top)], *std::max_element(key.begin(), key.end()));
            key[static_cast<size_t>(top)] = INT32_MIN;
            --count;
          }
          ASSERT_EQ(c.queue.count, count);
          if (count > 0) {
            ASSERT_EQ(key[static_cast<size_t>(PQueueMaxSeeMax(&c.queue))], *std::max_element(key.begin(), key.end()));
          }
        }
        PQueueMaxReset(&c.queue);
        EXPECT_EQ(PQueueMaxSeeMax(&c.queue), -1);
      }
    }
  }
}

TEST(PriorityQueue, SmallestKeysComeFirst) {
  TestHost host;
  const int64_t before = host.outstanding();
  std::mt19937 random(3);
  std::vector<int32_t> locator(100, 5);
  PQueueMin queue;
  ASSERT_EQ(PQueueMinInit(host.pool(), &queue, 100, locator.data()), qz::LA_OK);
  for (const int32_t place : locator) EXPECT_EQ(place, -1);
  EXPECT_EQ(PQueueMinExtractMin(&queue), -1);
  std::vector<double> key(100, HUGE_VAL);
  int32_t count = 0;
  for (int32_t step = 0; step < 20000; ++step) {
    const size_t v = random() % 100;
    if (key[v] == HUGE_VAL) {
      PQueueMinInsert(&queue, static_cast<int32_t>(v), key[v] = static_cast<double>(random() % 50));
      ++count;
    } else if (random() % 2 == 0) {
      PQueueMinDecreaseKey(&queue, static_cast<int32_t>(v), key[v] -= static_cast<double>(random() % 9));
    } else {
      const double least = *std::min_element(key.begin(), key.end());
      ASSERT_EQ(PQueueMinSeeMin(&queue).key, least);
      const int32_t top = PQueueMinExtractMin(&queue);
      ASSERT_EQ(key[static_cast<size_t>(top)], least);
      ASSERT_EQ(locator[static_cast<size_t>(top)], -1);
      key[static_cast<size_t>(top)] = HUGE_VAL;
      --count;
    }
    ASSERT_EQ(queue.count, count);
  }
  PQueueMinReset(&queue);
  for (const int32_t place : locator) EXPECT_EQ(place, -1);
  PQueueMinFree(host.pool(), &queue);
  EXPECT_EQ(host.outstanding(), before);
  host.failAllocation(1);
  EXPECT_EQ(PQueueMinInit(host.pool(), &queue, 100, locator.data()), qz::LA_NO_MEMORY);
}

TEST(ArrayHelpers, FillSumAndLargest) {
  int32_t array[5] = {3, 9, 2, 9, 1};
  EXPECT_EQ(qz::maxIndex(5, array), 1);
  EXPECT_EQ(qz::maxIndex(1, array), 0);
  EXPECT_EQ(qz::maxIndex(0, array), 0);
  EXPECT_EQ(qz::sumInt(5, array), 24);
  EXPECT_EQ(qz::intSet(4, 7, array), array);
  EXPECT_EQ(array[3], 7);
  EXPECT_EQ(array[4], 1);
}

}  // namespace
}  // namespace qztest
