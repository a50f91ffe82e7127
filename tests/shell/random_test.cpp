#include "shell/random.h"

#include <gtest/gtest.h>

#include "qzipsolve/instance.h"
#include "support/test_host.h"

namespace {

using qz::qzRand;

constexpr uint64_t kModulus = 0x7fffffff;
constexpr uint64_t kMultiplier = 397204094;

TEST(Random, OneGivesTheMultiplierAndThenItsSquare) {
  uint32_t state = 1;
  EXPECT_EQ(qzRand(&state), 397204094u);
  EXPECT_EQ(state, 397204094u);
  EXPECT_EQ(qzRand(&state), kMultiplier * kMultiplier % kModulus);
}

TEST(Random, EveryStepIsTheProductModuloThePrime) {
  uint32_t state = 4321;
  uint64_t expected = 4321;
  for (int k = 0; k < 100000; ++k) {
    expected = expected * kMultiplier % kModulus;
    ASSERT_EQ(qzRand(&state), expected);
    ASSERT_NE(state, 0u);
  }
}

TEST(Random, LargestStateStaysInRange) {
  uint32_t state = 0x7ffffffe;
  EXPECT_EQ(qzRand(&state), kModulus - kMultiplier) << "-1 times the multiplier";
}

TEST(Random, ZeroIsSeededFromTheClock) {
  qztest::TestHost host;
  host.now = 1.75e9;  // hundredths of today's seconds pass 2^31
  uint32_t state = 0;
  const uint64_t seed = 175000000000ull % kModulus;
  EXPECT_EQ(qzRand(&state), seed * kMultiplier % kModulus);
}

TEST(Random, ClockAtZeroIsReadAgain) {
  qztest::TestHost host;
  host.now = 0.0;
  host.tick = 0.004;  // the fourth reading is the first of a whole hundredth
  uint32_t state = 0;
  EXPECT_EQ(qzRand(&state), kMultiplier);
}

TEST(Random, StoppedClockAndMissingHostStillLeaveZero) {
  {
    qztest::TestHost host;
    host.now = 0.0;
    uint32_t state = 0;
    EXPECT_EQ(qzRand(&state), kMultiplier);
  }
  ASSERT_EQ(Exported_QZHandle, nullptr);
  uint32_t state = 0;
  EXPECT_EQ(qzRand(&state), kMultiplier);
}

// 2^31 - 1 and twice that are 0 modulo the prime: taken as they stand they would lead to the fixed point 0.
TEST(Random, MultiplesOfThePrimeNeverReachZero) {
  qztest::TestHost host;
  for (uint32_t start : {0u, 0x7fffffffu, 0xfffffffeu}) {
    uint32_t state = start;
    for (int k = 0; k < 100; ++k) ASSERT_NE(qzRand(&state), 0u);
  }
}

TEST(Random, CallersDoNotShareState) {
  uint32_t a = 7, b = 7;
  const uint32_t first = qzRand(&a);
  qzRand(&a);
  EXPECT_EQ(qzRand(&b), first);
}

}  // namespace
