#include "shell/timer.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "shell/fake_timer_module.h"
#include "shell/host_table.h"
#include "support/test_host.h"

namespace {

using namespace qz;

constexpr double kLargest = std::numeric_limits<double>::max();
qztest::FakeTimerModule* loadable = nullptr;
std::wstring askedName;

class Timer : public ::testing::Test {
 protected:
  Timer() {
    loadable = &module;
    host.table()->loadExtension = [](QzHostTable*, const wchar_t* name, int64_t length, int64_t) -> QzModule* {
      askedName.assign(name, static_cast<size_t>(length));
      return loadable == nullptr ? nullptr : &loadable->module.module;
    };
    module.cpu = 17.25;
    host.now = 5000.5;
  }
  ~Timer() override { loadable = nullptr; }
  IPM_timer* make() {
    int32_t rc = 99;
    IPM_timer* timer = IPM_timerCreate(host.pool(), &rc);
    EXPECT_EQ(rc, 0);
    return timer;
  }
  qztest::TestHost host;
  qztest::FakeTimerModule module;
};

// The host fills all 32 bytes of the buffer, and tells another zone with every reading.
TEST(Clock, ReadingsAreTheSecondsWhateverTheZone) {
  qztest::TestHost host;
  host.now = 123.5;
  for (int k = 0; k < 3; ++k) EXPECT_EQ(qzzdtgmt(), 123.5);
}

TEST_F(Timer, StartsWithNoLimitsAndTheLoadedModule) {
  IPM_timer* timer = make();
  ASSERT_NE(timer, nullptr);
  EXPECT_EQ(askedName, L"qztimer");
  EXPECT_EQ(timer->type, 0);
  EXPECT_EQ(timer->ticksPerSecond, 1000000.0);
  EXPECT_EQ(timer->cpuLimit, kLargest);
  EXPECT_EQ(timer->realLimit, kLargest);
  EXPECT_EQ(timer->cpuUsed, 0.0);
  EXPECT_EQ(timer->realStart, 0.0);
  EXPECT_EQ(timer->realNow, 0.0);
  EXPECT_EQ(timer->realUsed, 0.0);
  EXPECT_EQ(timer->perfModule, &module.module);
  EXPECT_EQ(IPM_timerFree(host.pool(), &timer), 0);
  EXPECT_EQ(timer, nullptr);
  EXPECT_EQ(module.unloads, 1);
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(Timer, FreeAcceptsNull) {
  IPM_timer* none = nullptr;
  EXPECT_EQ(IPM_timerFree(host.pool(), nullptr), 0);
  EXPECT_EQ(IPM_timerFree(host.pool(), &none), 0);
}

TEST_F(Timer, FailuresGiveTheRecordBack) {
  int32_t rc = 0;
  host.failAllocation(1);
  EXPECT_EQ(IPM_timerCreate(host.pool(), &rc), nullptr);
  EXPECT_EQ(rc, -1086);
  host.failAllocation(0);
  loadable = nullptr;
  rc = 0;
  EXPECT_EQ(IPM_timerCreate(host.pool(), &rc), nullptr);
  EXPECT_EQ(rc, -1086);
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(Timer, ReadingsGoOnFromTheStart) {
  IPM_timer* timer = make();
  EXPECT_EQ(IPM_timerStart(timer), 0);
  EXPECT_EQ(timer->realStart, 5000.5);
  module.cpu += 2.75;
  host.now += 8.0;
  EXPECT_EQ(IPM_timerStop(timer), 0);
  EXPECT_DOUBLE_EQ(timer->cpuUsed, 2.75);
  EXPECT_DOUBLE_EQ(timer->realUsed, 8.0);
  EXPECT_EQ(timer->realNow, 5008.5);
  module.cpu += 0.000001;
  host.now += 0.5;
  EXPECT_DOUBLE_EQ(IPM_timerInterval(timer), 2.750001) << "read afresh, to the microsecond";
  EXPECT_DOUBLE_EQ(IPM_timerRealInterval(timer), 8.5);
  double cpu = 0.0, real = 0.0;
  module.cpu += 1.0;
  EXPECT_EQ(IPM_timerCpuUsedTime(timer, &cpu), 0);
  EXPECT_EQ(IPM_timerRealUsedTime(timer, &real), 0);
  EXPECT_DOUBLE_EQ(cpu, 3.750001);
  EXPECT_DOUBLE_EQ(real, 8.5);
  EXPECT_EQ(IPM_timerStart(timer), 0);
  EXPECT_DOUBLE_EQ(IPM_timerInterval(timer), 0.0);
  IPM_timerFree(host.pool(), &timer);
}

TEST_F(Timer, LimitsLeftTimeAndReach) {
  IPM_timer* timer = make();
  IPM_timerStart(timer);
  EXPECT_EQ(IPM_timerSetCpuLimit(timer, 4.0), 0);
  EXPECT_EQ(IPM_timerSetRealLimit(timer, 10.0), 0);
  double value = 0.0;
  IPM_timerGetCpuLimit(timer, &value);
  EXPECT_EQ(value, 4.0);
  IPM_timerGetRealLimit(timer, &value);
  EXPECT_EQ(value, 10.0);
  module.cpu += 1.0;
  host.now += 4.0;
  IPM_timerCpuLeftTime(timer, &value);
  EXPECT_DOUBLE_EQ(value, 3.0);
  IPM_timerRealLeftTime(timer, &value);
  EXPECT_DOUBLE_EQ(value, 6.0);
  int32_t flag = 9;
  IPM_timerReachCpuLimit(timer, &flag);
  EXPECT_EQ(flag, 0);
  IPM_timerReachRealLimit(timer, &flag);
  EXPECT_EQ(flag, 0);
  module.cpu += 3.0;
  host.now += 6.0;
  IPM_timerReachCpuLimit(timer, &flag);
  EXPECT_EQ(flag, 1) << "a limit just used up counts as reached";
  flag = 0;
  IPM_timerReachRealLimit(timer, &flag);
  EXPECT_EQ(flag, 1);
  IPM_timerFree(host.pool(), &timer);
}

TEST_F(Timer, TypeChoosesTheClock) {
  for (int32_t type : {0, 1, -3, 7}) {
    IPM_timer* timer = make();
    timer->type = type;
    IPM_timerSetLimit(timer, 5.0);
    EXPECT_EQ(type == 0 ? timer->cpuLimit : timer->realLimit, 5.0);
    EXPECT_EQ(type == 0 ? timer->realLimit : timer->cpuLimit, kLargest);
    double value = 0.0;
    IPM_timerGetLimit(timer, &value);
    EXPECT_EQ(value, 5.0);
    IPM_timerStart(timer);
    module.cpu += 1.0;
    host.now += 6.0;
    IPM_timerUsedTime(timer, &value);
    EXPECT_DOUBLE_EQ(value, type == 0 ? 1.0 : 6.0);
    IPM_timerLeftTime(timer, &value);
    EXPECT_DOUBLE_EQ(value, type == 0 ? 4.0 : -1.0);
    int32_t flag = 9;
    IPM_timerReachLimit(timer, &flag);
    EXPECT_EQ(flag, type == 0 ? 0 : 1);
    IPM_timerFree(host.pool(), &timer);
  }
}

}  // namespace
