#include "sparse/la_env.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/test_host.h"

namespace qz {
namespace {

class LAEnvTest : public ::testing::Test {
 protected:
  LAEnvTest() {
    int32_t status = -1;
    env = LA_CreateLAEnv(host.pool(), 0, &status);
    EXPECT_EQ(status, LA_OK);
  }
  ~LAEnvTest() override {
    LA_FreeLAEnv(&env);
    EXPECT_EQ(host.outstanding(), 0);
  }
  int32_t integer(int32_t key) const {
    int32_t value = -77;
    EXPECT_EQ(LA_GetIntParam(env, key, &value), LA_OK);
    return value;
  }
  qztest::TestHost host;
  LAEnv* env = nullptr;
};

TEST_F(LAEnvTest, DefaultsAreThoseOfTheTable) {
  const int32_t expected[25] = {1, 1, 0, 0, 0, 0, 1, -1, 0, 0, 0, 0, 0, 0, 1, 64, 4, 16, 0, 0, 0, 1, -1, 0, 1};
  for (int32_t key = 0; key <= 24; ++key) {
    if (key == 12 || key == 19 || key == 20 || key == 23) continue;
    EXPECT_EQ(integer(key), expected[key]) << "key " << key;
  }
  double real = -1.0;
  EXPECT_EQ(LA_GetDblParam(env, 19, &real), LA_OK);
  EXPECT_EQ(real, 1e-16);
  for (const int32_t key : {12, 20, 0, 7, 24}) {
    real = -1.0;
    EXPECT_EQ(LA_GetDblParam(env, key, &real), LA_OK);
    EXPECT_EQ(real, 0.0);
  }
  int32_t letter = 0;
  EXPECT_EQ(LA_GetCharParam(env, 23, &letter), LA_OK);
  EXPECT_EQ(letter, 'S');
  EXPECT_EQ(LA_GetCharParam(env, 5, &letter), LA_OK);
  EXPECT_EQ(letter, 0);
  EXPECT_EQ(env->memory, host.pool());
}

TEST_F(LAEnvTest, CreationFailsWithOneWithoutMemoryAndNineWithoutHandle) {
  int32_t status = -1;
  host.failAllocation(1);
  EXPECT_EQ(LA_CreateLAEnv(host.pool(), 0, &status), nullptr);
  EXPECT_EQ(status, LA_NO_MEMORY);
  EXPECT_EQ(LA_CreateLAEnv(nullptr, 0, &status), nullptr);
  EXPECT_EQ(status, LA_BAD_PARAMETER);
}

TEST_F(LAEnvTest, CreatorDataIsKept) {
  int32_t status = -1;
  LAEnv* other = LA_CreateLAEnv(host.pool(), 123456789012345, &status);
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(other->creatorData, 123456789012345);
  LA_FreeLAEnv(&other);
  EXPECT_EQ(other, nullptr);
}

TEST_F(LAEnvTest, FreeAcceptsNull) {
  LA_FreeLAEnv(nullptr);
  LAEnv* none = nullptr;
  LA_FreeLAEnv(&none);
  EXPECT_EQ(none, nullptr);
}

TEST_F(LAEnvTest, KeysOutsideTheTableGiveNine) {
  int32_t value = 5;
  double real = 5.0;
  for (const int32_t key : {-1, 25, 1000, std::numeric_limits<int32_t>::min()}) {
    EXPECT_EQ(LA_SetIntParam(env, key, 1), LA_BAD_PARAMETER);
    EXPECT_EQ(LA_GetIntParam(env, key, &value), LA_BAD_PARAMETER);
    EXPECT_EQ(LA_SetDblParam(env, key, 1.0), LA_BAD_PARAMETER);
    EXPECT_EQ(LA_GetDblParam(env, key, &real), LA_BAD_PARAMETER);
    EXPECT_EQ(LA_SetCharParam(env, key, 'S'), LA_BAD_PARAMETER);
    EXPECT_EQ(LA_GetCharParam(env, key, &value), LA_BAD_PARAMETER);
  }
  EXPECT_EQ(value, 5);
  EXPECT_EQ(real, 5.0);
}

TEST_F(LAEnvTest, NullHandlesGiveNine) {
  int32_t value = 0;
  double real = 0.0;
  EXPECT_EQ(LA_SetIntParam(nullptr, 1, 1), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_GetIntParam(nullptr, 1, &value), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_GetIntParam(env, 1, nullptr), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_SetDblParam(nullptr, 19, 1.0), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_GetDblParam(nullptr, 19, &real), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_SetCharParam(nullptr, 23, 'S'), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_GetCharParam(nullptr, 23, &value), LA_BAD_PARAMETER);
}

// A range [low, high] of a key: both ends are taken, one beyond each end is refused and leaves the field.
struct Range {
  int32_t key, low, high;
};

TEST_F(LAEnvTest, RangesEndWhereTheTableSays) {
  constexpr int32_t top = std::numeric_limits<int32_t>::max();
  const Range ranges[] = {{1, 0, 5},    {2, 0, 1},    {3, 0, 1},  {4, 0, 1},  {5, 0, top}, {6, 1, top},
                          {7, -1, 4},   {8, 0, 1},    {9, 0, 1},  {13, 0, 1}, {14, 0, 1},  {15, 0, top},
                          {16, 1, top}, {17, 1, top}, {18, 0, 2}, {21, 0, 1}, {24, 1, top}};
  for (const Range& range : ranges) {
    SCOPED_TRACE(range.key);
    EXPECT_EQ(LA_SetIntParam(env, range.key, range.high), LA_OK);
    EXPECT_EQ(integer(range.key), range.high);
    EXPECT_EQ(LA_SetIntParam(env, range.key, range.low), LA_OK);
    EXPECT_EQ(LA_SetIntParam(env, range.key, range.low - 1), LA_BAD_PARAMETER);
    if (range.high != top) {
      EXPECT_EQ(LA_SetIntParam(env, range.key, range.high + 1), LA_BAD_PARAMETER);
    }
    EXPECT_EQ(integer(range.key), range.low);
  }
}

TEST_F(LAEnvTest, ResultsAcceptASettingWithoutEffect) {
  const LAEnv before = *env;
  for (const int32_t key : {10, 11, 12, 19, 20, 23}) EXPECT_EQ(LA_SetIntParam(env, key, 7), LA_OK);
  EXPECT_EQ(env->numNegativePivots, before.numNegativePivots);
  EXPECT_EQ(env->numPositivePivots, before.numPositivePivots);
  EXPECT_EQ(env->pivotRatio, before.pivotRatio);
  EXPECT_EQ(env->refineTolerance, before.refineTolerance);
  EXPECT_EQ(env->refineResidual, before.refineResidual);
  EXPECT_EQ(env->eigenEnd, before.eigenEnd);
}

TEST_F(LAEnvTest, ResultsAreRead) {
  env->numNegativePivots = 3;
  env->numPositivePivots = 4;
  env->pivotRatio = 0.25;
  env->refineResidual = 1e-9;
  EXPECT_EQ(integer(10), 3);
  EXPECT_EQ(integer(11), 4);
  double real = 0.0;
  EXPECT_EQ(LA_GetDblParam(env, 12, &real), LA_OK);
  EXPECT_EQ(real, 0.25);
  EXPECT_EQ(LA_GetDblParam(env, 20, &real), LA_OK);
  EXPECT_EQ(real, 1e-9);
}

TEST_F(LAEnvTest, ThreadsBelowOneAreRefusedAndKeepTheField) {
  host.setOption(L"host.cpucorecount", 4);
  EXPECT_EQ(LA_SetIntParam(env, 0, 3), LA_OK);
  EXPECT_EQ(LA_SetIntParam(env, 0, 0), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_SetIntParam(env, 0, -5), LA_BAD_PARAMETER);
  EXPECT_EQ(env->numThreads, 3);
}

TEST_F(LAEnvTest, ThreadsAreCappedByTheHostsCores) {
  host.setOption(L"host.cpucorecount", 4);
  EXPECT_EQ(LA_SetIntParam(env, 0, 16), LA_OK);
  EXPECT_EQ(env->numThreads, 4);
  host.setOption(L"host.cpucorecount", int64_t{1} << 33);  // its low half is 0
  EXPECT_EQ(LA_SetIntParam(env, 0, 16), LA_OK);
  EXPECT_EQ(env->numThreads, 16);
}

TEST_F(LAEnvTest, AHostThatSaysNothingOrNonsenseYieldsOneThread) {
  EXPECT_EQ(LA_SetIntParam(env, 0, 16), LA_OK);
  EXPECT_EQ(env->numThreads, 1);
  for (const int64_t cores : {int64_t{0}, int64_t{-8}}) {
    host.setOption(L"host.cpucorecount", cores);
    EXPECT_EQ(LA_SetIntParam(env, 0, 16), LA_OK);
    EXPECT_EQ(env->numThreads, 1);
  }
}

TEST_F(LAEnvTest, TheEigenIterationLimitTakesAllButZero) {
  EXPECT_EQ(LA_SetIntParam(env, 22, -5), LA_OK);
  EXPECT_EQ(integer(22), -5);
  EXPECT_EQ(LA_SetIntParam(env, 22, 0), LA_BAD_PARAMETER);
  EXPECT_EQ(integer(22), -5);
  EXPECT_EQ(LA_SetIntParam(env, 22, 9), LA_OK);
  EXPECT_EQ(integer(22), 9);
}

TEST_F(LAEnvTest, TheToleranceTakesZeroAndRefusesNegativeValues) {
  EXPECT_EQ(LA_SetDblParam(env, 19, 0.0), LA_OK);
  EXPECT_EQ(env->refineTolerance, 0.0);
  EXPECT_EQ(LA_SetDblParam(env, 19, 1e-8), LA_OK);
  EXPECT_EQ(LA_SetDblParam(env, 19, -1.0), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_SetDblParam(env, 19, std::nan("")), LA_BAD_PARAMETER);
  EXPECT_EQ(env->refineTolerance, 1e-8);
  EXPECT_EQ(LA_SetDblParam(env, 12, -1.0), LA_OK);
  EXPECT_EQ(env->pivotRatio, 0.0);
}

TEST_F(LAEnvTest, TheEndOfTheSpectrumIsSOrL) {
  EXPECT_EQ(LA_SetCharParam(env, 23, 'L'), LA_OK);
  EXPECT_EQ(env->eigenEnd, 'L');
  EXPECT_EQ(LA_SetCharParam(env, 23, 'X'), LA_BAD_PARAMETER);
  EXPECT_EQ(env->eigenEnd, 'L');
  EXPECT_EQ(LA_SetCharParam(env, 5, 'X'), LA_OK);
  EXPECT_EQ(LA_SetCharParam(env, 23, 0x100 + 'S'), LA_OK);  // only the low byte counts
  EXPECT_EQ(env->eigenEnd, 'S');
}

}  // namespace
}  // namespace qz
