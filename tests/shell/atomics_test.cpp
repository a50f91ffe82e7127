#include "shell/atomics.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace qz;

struct Node {
  int64_t before = 0;
  int64_t link = 0;
  int64_t payload = 0;
  std::atomic<int> holders{0};
};
constexpr int64_t kLink = offsetof(Node, link);

TEST(Atomics, InitAndDestroyDoNothing) {
  int64_t word = 42;
  EXPECT_EQ(qzAtomicInit(&word), 0);
  EXPECT_EQ(word, 42);
  EXPECT_EQ(qzAtomicDestroy(&word), 0);
  EXPECT_EQ(word, 42);
}

TEST(Atomics, SetSwapsOnlyTheExpectedValue) {
  int64_t word = 5;
  EXPECT_EQ(qzAtomicSet(&word, 4, 9), 0);
  EXPECT_EQ(word, 5);
  EXPECT_EQ(qzAtomicSet(&word, 5, 9), 1);
  EXPECT_EQ(word, 9);
}

TEST(Atomics, ArithmeticGivesTheNewValueOnAll64Bits) {
  int64_t word = int64_t{1} << 40;
  EXPECT_EQ(qzAtomicAdd(&word, -3), (int64_t{1} << 40) - 3);
  EXPECT_EQ(qzAtomicOr(&word, int64_t{1} << 62), ((int64_t{1} << 40) - 3) | (int64_t{1} << 62));
  EXPECT_EQ(qzAtomicAnd(&word, int64_t{1} << 62), int64_t{1} << 62);
  EXPECT_EQ(word, int64_t{1} << 62);
}

TEST(Atomics, ConcurrentUpdatesLoseNothing) {
  int64_t sum = 0, bits = 0, mask = -1;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int k = 0; k < 20000; ++k) qzAtomicAdd(&sum, t + 1);
      for (int k = 0; k < 16; ++k) {
        qzAtomicOr(&bits, int64_t{1} << (16 * t + k));
        qzAtomicAnd(&mask, ~(int64_t{1} << (16 * t + k)));
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(sum, 20000 * (1 + 2 + 3 + 4));
  EXPECT_EQ(bits, -1);
  EXPECT_EQ(mask, 0);
}

TEST(Stack, LastInIsFirstOutThroughTheLink) {
  int64_t head = 0;
  Node nodes[3];
  for (Node& node : nodes) qzAStackPush(&head, &node, kLink);
  EXPECT_EQ(nodes[0].link, 0);
  EXPECT_EQ(nodes[2].link, reinterpret_cast<int64_t>(&nodes[1]));
  EXPECT_EQ(nodes[2].before, 0);
  EXPECT_EQ(qzAStackPop(&head, kLink), &nodes[2]);
  EXPECT_EQ(qzAStackPop(&head, kLink), &nodes[1]);
  EXPECT_EQ(qzAStackPop(&head, kLink), &nodes[0]);
  EXPECT_EQ(qzAStackPop(&head, kLink), nullptr);
  EXPECT_EQ(head, 0);
}

TEST(Stack, PopOfAnEmptyStackWritesNothing) {
  void* page = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(page, MAP_FAILED);
  EXPECT_EQ(qzAStackPop(static_cast<int64_t*>(page), 0), nullptr);
  munmap(page, 4096);
}

// A push must wait for a pop in progress: it may neither swap over the marked head nor link to it.
TEST(Stack, PushWaitsForAPopInProgress) {
  Node lower, top, added;
  int64_t head = 0;
  qzAStackPush(&head, &lower, kLink);
  qzAStackPush(&head, &top, kLink);
  ASSERT_EQ(qzAtomicSet(&head, reinterpret_cast<int64_t>(&top), reinterpret_cast<int64_t>(&top) | 1), 1);
  std::atomic<bool> started{false};
  std::thread pusher([&] {
    started = true;
    qzAStackPush(&head, &added, kLink);
  });
  while (!started) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  // The popper's last step: the link of the popped node becomes the head.
  __atomic_store_n(&head, top.link, __ATOMIC_SEQ_CST);
  pusher.join();
  EXPECT_EQ(qzAStackPop(&head, kLink), &added);
  EXPECT_EQ(qzAStackPop(&head, kLink), &lower);
  EXPECT_EQ(qzAStackPop(&head, kLink), nullptr);
}

// Threads pop and push back the nodes of one stack: no node is ever held twice, and none gets lost.
TEST(Stack, ManyThreadsNeverShareOrLoseANode) {
  constexpr int numNodes = 12, numThreads = 4, rounds = 20000;
  std::vector<Node> nodes(numNodes);
  int64_t head = 0;
  for (Node& node : nodes) qzAStackPush(&head, &node, kLink);
  std::atomic<int> shared{0};
  std::vector<std::thread> threads;
  threads.reserve(static_cast<size_t>(numThreads));
  for (int t = 0; t < numThreads; ++t)
    threads.emplace_back([&] {
      for (int k = 0; k < rounds; ++k) {
        Node* held[2] = {nullptr, nullptr};
        for (Node*& node : held) {
          node = static_cast<Node*>(qzAStackPop(&head, kLink));
          if (node == nullptr) continue;
          if (node->holders.fetch_add(1, std::memory_order_relaxed) != 0) ++shared;
          node->payload += 1;  // plain: the stack itself must order the accesses
        }
        for (Node* node : held) {
          if (node == nullptr) continue;
          node->holders.fetch_sub(1, std::memory_order_relaxed);
          qzAStackPush(&head, node, kLink);
        }
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(shared, 0);
  int count = 0;
  int64_t total = 0;
  while (void* node = qzAStackPop(&head, kLink)) {
    ++count;
    total += static_cast<Node*>(node)->payload;
  }
  EXPECT_EQ(count, numNodes);
  EXPECT_EQ(total, int64_t{2} * numThreads * rounds) << "with more nodes than holders every pop finds one";
}

}  // namespace
