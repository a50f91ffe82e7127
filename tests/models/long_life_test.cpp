// Many models in one handle, and many handles at once: memory stays flat, and every answer has the bits that a fresh
// handle gives.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "models/verdict_campaign.h"

namespace {

using namespace models;

using Handle = std::unique_ptr<qzlp, void (*)(qzlp*)>;

Handle newHandle() {
  return Handle(qzlp_create(), qzlp_destroy);
}

Answer solveCase(qzlp* lp, const CampaignCase& one) {
  EXPECT_EQ(qzlp_resetOptions(lp), QZLP_OK);
  for (const Choice& choice : one.choices)
    EXPECT_EQ(qzlp_setDoubleOption(lp, choice.name.c_str(), choice.value), QZLP_OK);
  return solveIn(lp, one.program);
}

bool sameBits(const Answer& a, const Answer& b) {
  return a.status == b.status && a.iterations == b.iterations && a.objective == b.objective && a.primal == b.primal &&
         a.dual == b.dual && a.reducedCost == b.reducedCost && a.activity == b.activity;
}

// Every fourth case is quadratic.
CampaignCase caseOf(uint64_t number) {
  return number % 4 == 3 ? quadraticCase(number) : linearCase(number);
}

int64_t residentBytes() {
  std::ifstream file("/proc/self/statm");
  int64_t size = 0, resident = 0;
  file >> size >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

// Without a model in it, so that what is left is the handle's own.
int64_t idleBytes(qzlp* lp) {
  LinearProgram program;
  program.addColumn(1.0, 0.0, infinite);
  EXPECT_EQ(solveIn(lp, program).status, 1);
  return qzlp_memoryInUse();
}

void solveInTurn(uint64_t count) {
  constexpr int64_t kAllowedGrowth = int64_t{16} << 20;  // of the heap's own making
  const Handle lp = newHandle();
  const uint64_t warm = count / 10;
  for (uint64_t k = 1; k <= warm; ++k) (void)solveCase(lp.get(), caseOf(k));
  const int64_t bytes = idleBytes(lp.get()), resident = residentBytes();
  for (uint64_t k = warm + 1; k <= count; ++k) (void)solveCase(lp.get(), caseOf(k));
  EXPECT_EQ(idleBytes(lp.get()), bytes);
  const int64_t grown = residentBytes() - resident;
  EXPECT_LT(grown, kAllowedGrowth);
  std::printf("%llu models in turn: %lld bytes in the pools, resident set grown by %lld bytes\n",
              static_cast<unsigned long long>(count), static_cast<long long>(bytes), static_cast<long long>(grown));
}

TEST(LongLife, TenThousandModelsInTurn) {
  solveInTurn(10000);
}

TEST(LongLife, AUsedHandleGivesTheBitsOfAFreshOne) {
  const Handle used = newHandle();
  for (uint64_t k = 1; k <= 200; ++k) {
    const CampaignCase one = caseOf(k);
    EXPECT_TRUE(sameBits(solveCase(used.get(), one), solveCase(newHandle().get(), one))) << "case " << k;
  }
}

// Each of 16 threads solves the same cases in a handle of its own, each from another one on.
TEST(LongLife, SixteenHandlesAtOnceGiveTheBitsOfOne) {
  constexpr uint64_t kThreads = 16, kCases = 48;
  std::vector<Answer> alone;
  for (uint64_t k = 0; k < kCases; ++k) alone.push_back(solveCase(newHandle().get(), caseOf(k + 1)));
  std::vector<int> different(kThreads, 0);
  std::vector<std::thread> threads;
  for (uint64_t t = 0; t < kThreads; ++t)
    threads.emplace_back([t, &alone, &different] {
      const Handle lp = newHandle();
      for (uint64_t k = 0; k < kCases; ++k) {
        const uint64_t number = (k + 3 * t) % kCases;
        different[t] += sameBits(solveCase(lp.get(), caseOf(number + 1)), alone[number]) ? 0 : 1;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(different, std::vector<int>(kThreads, 0));
  EXPECT_EQ(qzlp_memoryInUse(), 0);
}

}  // namespace
