#include "shell/lp_options.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "shell/pool.h"
#include "shell/recording_log.h"

namespace {

using namespace qz;

template <class T>
T at(const LpOptions* options, size_t offset) {
  T value;
  std::memcpy(&value, reinterpret_cast<const char*>(options) + offset, sizeof value);
  return value;
}

class Options : public ::testing::Test {
 protected:
  Options() {
    env.pool = host.pool();
    resetLpOptions(&options);
  }
  int32_t validate() { return validateLpOptions(log.log(), &options); }
  IpmOption filled() {
    IpmOption option;
    std::memset(&option, 0xa5, sizeof option);
    fillIpmOption(&option, &options);
    return option;
  }
  qztest::TestHost host;
  qztest::RecordingLog log;
  Env env{};
  LpOptions options;
};

TEST_F(Options, DefaultsStandAtTheirOffsets) {
  LpOptions* made = createLpOptions(&env);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(at<uint8_t>(made, 0), 0);
  EXPECT_EQ(at<int32_t>(made, 4), -1);
  EXPECT_EQ(at<int32_t>(made, 8), 3);
  EXPECT_EQ(at<int32_t>(made, 24), -1);
  EXPECT_EQ(at<int32_t>(made, 28), -1);
  EXPECT_EQ(at<int32_t>(made, 32), 0x7fffffff);
  EXPECT_EQ(at<uint64_t>(made, 40), 0x7fdffffffffffffeull);
  EXPECT_EQ(at<int32_t>(made, 48), 0);
  EXPECT_EQ(at<int32_t>(made, 52), 0);
  EXPECT_EQ(at<int32_t>(made, 56), 100);
  EXPECT_EQ(at<int32_t>(made, 60), 1);
  EXPECT_EQ(at<int32_t>(made, 64), 2);
  EXPECT_EQ(at<double>(made, 72), 1e-6);
  EXPECT_EQ(at<double>(made, 80), 1e-6);
  EXPECT_EQ(at<int32_t>(made, 88), 2000);
  EXPECT_EQ(at<double>(made, 96), 1e-20);
  for (size_t zero : {112u, 124u, 128u, 132u, 140u, 192u, 196u, 204u}) EXPECT_EQ(at<int32_t>(made, zero), 0) << zero;
  EXPECT_EQ(at<int32_t>(made, 144), 1);
  for (size_t zero : {152u, 160u, 216u, 224u, 232u, 240u, 248u, 256u}) EXPECT_EQ(at<uint64_t>(made, zero), 0u) << zero;
  for (size_t tolerance : {168u, 176u, 184u}) EXPECT_EQ(at<double>(made, tolerance), 1e-6);
  EXPECT_EQ(at<int32_t>(made, 200), 1);
  poolFree(env.pool, made);
}

TEST_F(Options, CreateGivesNullWhenMemoryIsShort) {
  host.failAllocation(1);
  EXPECT_EQ(createLpOptions(&env), nullptr);
}

TEST_F(Options, ResetAcceptsNullAndPutsEverythingBack) {
  resetLpOptions(nullptr);
  LpOptions changed;
  std::memset(&changed, 0x5a, sizeof changed);
  resetLpOptions(&changed);
  EXPECT_EQ(std::memcmp(&changed, &options, sizeof changed), 0);
}

TEST_F(Options, ThreadsAndClockFollowTheProcessors) {
  struct Case {
    int64_t count;
    int32_t threads, timeType;
  };
  for (const Case& c : {Case{1, 1, 0}, Case{2, 2, 1}, Case{4, 4, 1}, Case{-1, 1, 0}, Case{0, 1, 0}, Case{-2, 1, 0},
                        Case{int64_t{1} << 40, 0x7fffffff, 1}}) {
    host.setOption(L"host.cpucount", c.count);
    resetLpOptions(&options);
    EXPECT_EQ(options.numThread, c.threads) << c.count;
    EXPECT_EQ(options.timeType, c.timeType) << c.count;
  }
  host.removeOption(L"host.cpucount");
  resetLpOptions(&options);
  EXPECT_EQ(options.numThread, 1);
  EXPECT_EQ(options.timeType, 0);
}

TEST_F(Options, OptionThatCannotBeReadGivesOneThread) {
  host.setOption(L"host.cpucount", 8);
  host.table()->getOption = [](QzHostTable*, const wchar_t*, int64_t, int32_t, void*, int64_t*) -> int32_t {
    return 1;
  };
  resetLpOptions(&options);
  EXPECT_EQ(options.numThread, 1);
  EXPECT_EQ(options.timeType, 0);
}

TEST(OptionsWithoutHost, GiveOneThreadAndCpuTime) {
  ASSERT_EQ(Exported_QZHandle, nullptr);
  LpOptions options;
  resetLpOptions(&options);
  EXPECT_EQ(options.numThread, 1);
  EXPECT_EQ(options.timeType, 0);
}

TEST_F(Options, DefaultsPassInSilence) {
  EXPECT_EQ(validate(), 0);
  EXPECT_TRUE(log.sent.empty());
  EXPECT_EQ(validateLpOptions(nullptr, &options), 0);
}

TEST_F(Options, WarningsLetTheSolveGoOn) {
  options.modeCheck = 2;
  options.timeType = 2;
  options.countCheck = 0;
  options.printLevel = 0;  // no print level silences a warning
  EXPECT_EQ(validate(), 0);
  EXPECT_EQ(log.codes(), (std::vector<uint32_t>{0x827fd80f, 0x827fd810, 0x827fd814}));
  for (const qztest::Recorded& message : log.sent) EXPECT_EQ(message.level, 3);
  options.timeType = -1;
  EXPECT_EQ(validate(), 0);
  EXPECT_EQ(log.sent[4].code, 0x827fd810u);
}

TEST_F(Options, EachToleranceIsRejectedJustBelowItsFloor) {
  struct Case {
    double LpOptions::*field;
    uint32_t code;
  };
  const double below = std::nextafter(1e-15, 0.0);
  for (const Case& c : {Case{&LpOptions::tolOptimality, 0x827fd811}, Case{&LpOptions::tolPrimal, 0x827fd812},
                        Case{&LpOptions::tolDual, 0x827fd813}}) {
    resetLpOptions(&options);
    log.sent.clear();
    options.*c.field = 1e-15;
    EXPECT_EQ(validate(), 0);
    options.*c.field = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(validate(), 0);
    EXPECT_TRUE(log.sent.empty());
    for (double value : {below, 0.0, -1.0}) {
      log.sent.clear();
      options.*c.field = value;
      EXPECT_EQ(validate(), 10);
      ASSERT_EQ(log.sent.size(), 1u);
      EXPECT_EQ(log.sent[0].code, c.code);
      EXPECT_EQ(log.sent[0].level, 4);
      EXPECT_EQ(log.sent[0].arguments[0], value);
    }
  }
}

TEST_F(Options, FirstRejectionEndsTheValidation) {
  options.tolOptimality = options.tolPrimal = options.tolDual = 0.0;
  options.initOption = 5;
  options.countCheck = 5;
  options.modeCheck = 5;
  options.printLevel = 0;  // no print level silences a refusal
  EXPECT_EQ(validate(), 10);
  EXPECT_EQ(log.codes(), (std::vector<uint32_t>{0x827fd80f, 0x827fd811}));
  options.tolOptimality = 1.0;
  log.sent.clear();
  EXPECT_EQ(validate(), 10);
  EXPECT_EQ(log.codes(), (std::vector<uint32_t>{0x827fd80f, 0x827fd812}));
  options.tolPrimal = 1.0;
  log.sent.clear();
  EXPECT_EQ(validate(), 10);
  EXPECT_EQ(log.codes(), (std::vector<uint32_t>{0x827fd80f, 0x827fd813}));
}

TEST_F(Options, OnlyTwoInitialisationsAreKnown) {
  for (int32_t value : {0, 1}) {
    options.initOption = value;
    EXPECT_EQ(validate(), 0);
  }
  for (int32_t value : {-1, 2, 4096}) {
    log.sent.clear();
    options.initOption = value;
    EXPECT_EQ(validate(), 10);
    ASSERT_EQ(log.sent.size(), 1u);
    EXPECT_EQ(log.sent[0].level, 0);
    EXPECT_EQ(log.sent[0].text, "Unknown initialization option %d");
    EXPECT_EQ(log.sent[0].arguments[0], value);
  }
}

TEST_F(Options, MethodOneIsTheNormalEquationsAndAllElseTheAugmentedSystem) {
  for (int32_t method : {0, 2, 100, -1, 12, 11}) {
    options.methodOption = method;
    EXPECT_EQ(filled().typeMethod, 11);
  }
  options.methodOption = 1;
  EXPECT_EQ(filled().typeMethod, 12);
}

TEST_F(Options, PrintLevelFallsWithoutAFrequency) {
  struct Case {
    int32_t frequency, level, expected;
  };
  for (const Case& c : {Case{0, 2, 1}, Case{0, 5, 1}, Case{-3, 2, 1}, Case{0, 1, 1}, Case{0, 0, 0}, Case{1, 2, 2},
                        Case{1, 5, 5}, Case{10, 0, 0}}) {
    options.logFrequency = c.frequency;
    options.printLevel = c.level;
    EXPECT_EQ(filled().printLevel, c.expected) << c.frequency << " " << c.level;
    EXPECT_EQ(filled().logFrequency, c.frequency);
  }
}

TEST_F(Options, EveryOtherFieldIsCopied) {
  options.presolveMode = 3;
  options.debugLevel = 4;
  options.timeType = 1;
  options.tolPrimal = 1e-3;
  options.tolDual = 1e-4;
  options.tolOptimality = 1e-5;
  options.maxIter = 77;
  options.timeLimit = 12.5;
  options.crossover = 3;
  options.initOption = 1;
  options.numThread = 6;
  options.threadMode = 2;
  const IpmOption o = filled();
  EXPECT_EQ(o.presolveMode, 3);
  EXPECT_EQ(o.debugLevel, 4);
  EXPECT_EQ(o.timeType, 1);
  EXPECT_EQ(o.tolPrimal, 1e-3);
  EXPECT_EQ(o.tolDual, 1e-4);
  EXPECT_EQ(o.tolOptimality, 1e-5);
  EXPECT_EQ(o.infinityValue, 1e20);
  EXPECT_EQ(o.maxIter, 77);
  EXPECT_EQ(o.timeLimit, 12.5);
  EXPECT_EQ(o.crossover, 3);
  EXPECT_EQ(o.initOption, 1);
  EXPECT_EQ(o.numThread, 6);
  EXPECT_EQ(o.threadMode, 2);
  EXPECT_EQ(o.unscaleCheck, 0);
}

}  // namespace
