#include "shell/reporting.h"

#include <gtest/gtest.h>

#include <cstring>

#include "shell/recording_log.h"

namespace {

using namespace qz;
using qztest::Recorded;

struct Line {
  int32_t level;
  uint32_t code;
  bool operator==(const Line&) const = default;
};
void PrintTo(const Line& line, std::ostream* out) {
  *out << line.level << ":" << std::hex << line.code;
}

constexpr uint32_t kBase = 0x827fd000u;

class Reporting : public ::testing::Test {
 protected:
  std::vector<Line> report(int32_t status, int32_t objSense = 1, int32_t typeModel = IPM_MODEL_LP) {
    log.sent.clear();
    ipmReportStatus(&env, status, objSense, typeModel, &option, 12.5);
    std::vector<Line> lines;
    for (const Recorded& message : log.sent) {
      lines.push_back({message.level, message.code});
      if (message.code == kBase + 2) {
        EXPECT_EQ(message.arguments[0], 12.5);
      }
    }
    return lines;
  }
  Reporting() {
    env.log = log.log();
    option.printLevel = 1;
  }
  qztest::RecordingLog log;
  Env env{};
  IpmOption option{};
};

using Lines = std::vector<Line>;

TEST_F(Reporting, EveryStatusHasItsLines) {
  EXPECT_EQ(report(1), (Lines{{2, kBase + 0x001}, {2, kBase + 0x002}}));
  EXPECT_EQ(report(15), (Lines{{2, kBase + 0x009}, {2, kBase + 0x002}}));
  EXPECT_EQ(report(4), (Lines{{2, kBase + 0x007}}));
  EXPECT_EQ(report(14), (Lines{{2, kBase + 0x00f}}));
  EXPECT_EQ(report(7), (Lines{{2, kBase + 0x008}, {2, kBase + 0x002}}));
  EXPECT_EQ(report(-1086), (Lines{{4, kBase + 0x006}}));
  EXPECT_EQ(report(12), (Lines{{3, kBase + 0x011}}));
  EXPECT_EQ(report(10), (Lines{{2, kBase + 0x00d}}));
  for (int32_t other : {0, 2, 5, 255, 1003, 1004, -1}) EXPECT_EQ(report(other), (Lines{{2, kBase + 0x012}})) << other;
}

TEST_F(Reporting, PrimalInfeasibleHasAHintForALinearModel) {
  for (int32_t status : {3, 256}) {
    EXPECT_EQ(report(status), (Lines{{2, kBase + 0x00e}, {2, kBase + 0xa37}}));
    EXPECT_EQ(report(status, 1, IPM_MODEL_QP), (Lines{{2, kBase + 0x00e}}));
  }
}

TEST_F(Reporting, TimeLimitNamesItsClock) {
  option.timeType = 0;
  EXPECT_EQ(report(8), (Lines{{2, kBase + 0x00b}, {2, kBase + 0x002}}));
  for (int32_t type : {1, 2, -1}) {
    option.timeType = type;
    EXPECT_EQ(report(8), (Lines{{2, kBase + 0x00c}, {2, kBase + 0x002}}));
  }
}

TEST_F(Reporting, LostConvexityDependsOnTheSense) {
  EXPECT_EQ(report(1000, 1), (Lines{{2, kBase + 0x866}, {3, kBase + 0x868}}));
  EXPECT_EQ(report(1000, -1), (Lines{{2, kBase + 0x867}, {3, kBase + 0x868}}));
  EXPECT_EQ(report(1000, 0), (Lines{{2, kBase + 0x866}, {3, kBase + 0x868}}));
}

TEST_F(Reporting, PrintLevelZeroSaysNothing) {
  option.printLevel = 0;
  for (int32_t status : {1, 15, 3, 256, 4, 14, 7, 8, -1086, 12, 1000, 10, 99}) EXPECT_TRUE(report(status).empty());
}

TEST_F(Reporting, NullLogIsSilent) {
  env.log = nullptr;
  for (int32_t status : {1, 15, 3, 256, 4, 14, 7, 8, -1086, 12, 1000, 10, 99}) EXPECT_TRUE(report(status).empty());
}

TEST(SolverStat, CopiesTheLastMeasuresOrZeros) {
  Ipm ipm{};
  ipm.numIter = 17;
  ipm.primalInfeas = 1.0;
  ipm.dualInfeas = 2.0;
  ipm.boundInfeas = 3.0;
  ipm.dualityGap = 4.0;
  ipm.complementarity = 5.0;
  Model model{};
  model.status = 7;
  getSolverStat(&model, &ipm);
  EXPECT_EQ(model.numIter, 17);
  EXPECT_EQ(model.primalInfeas, 1.0);
  EXPECT_EQ(model.dualInfeas, 2.0);
  EXPECT_EQ(model.boundInfeas, 3.0);
  EXPECT_EQ(model.dualityGap, 4.0);
  EXPECT_EQ(model.complementarity, 5.0);
  getSolverStat(&model, nullptr);
  EXPECT_EQ(model.numIter, 0);
  for (double measure :
       {model.primalInfeas, model.dualInfeas, model.boundInfeas, model.dualityGap, model.complementarity})
    EXPECT_EQ(measure, 0.0);
  EXPECT_EQ(model.status, 7);
}

}  // namespace
