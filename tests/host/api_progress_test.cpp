// What a progress callback is told, and what it leaves of the log.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api_fixture.h"
#include "qzipsolve/messages.h"
#include "qzlp.h"

namespace {

using namespace apitest;

// Talks as the solver does: what the options let through, six iterations of which the last one always has its line.
int32_t talk(QzInstance* env, LpRecord* record, LpOptions* options) {
  QzLog* log = env->log;
  const int32_t level = options->printLevel;
  if (level > 0) log->logCode(log, QZLP_LOG_NOTE, QZ_MSG_STAGE_BEGIN);
  if (level > 1) log->logCode(log, QZLP_LOG_HEADER, QZ_MSG_TABLE_HEADER);
  for (int32_t k = 0; k < 6; ++k) {
    const bool hasLine = level > 1 && options->logFrequency > 0;
    if (hasLine && (k == 5 || k % options->logFrequency == 0))
      log->logCode(log, QZLP_LOG_ITERATION, QZ_MSG_ITERATION, k, 10.0 + k, 20.0 + k, 30.0 + k, 40.0 + k, 50.0 + k);
    if (record->checkSolverBreak != nullptr && record->checkSolverBreak(record->callerDataStruct) != 0) {
      if (level > 0) log->logCode(log, QZLP_LOG_WARNING, QZ_MSG_INTERRUPTED);
      return 12;
    }
  }
  log->logCode(log, QZLP_LOG_ERROR, QZ_MSG_CHECK_DUAL, 1.0, 2.0);  // whatever the print level
  if (level > 0) log->logCode(log, QZLP_LOG_NOTE, QZ_MSG_OPTIMAL);
  return 1;
}

struct Told {
  std::vector<qzlp_progress> all;
  int32_t stopAt = -1;
};

int listen(const qzlp_progress* progress, void* data) {
  auto* told = static_cast<Told*>(data);
  told->all.push_back(*progress);
  return progress->iteration == told->stopAt ? 1 : 0;
}

class ApiProgress : public Api {
 protected:
  void SetUp() override {
    Api::SetUp();
    FakeSolver::solve = talk;
    ASSERT_EQ(qzlp_setLogCallback(
                  lp_,
                  [](int level, uint32_t, const char* line, void* data) {
                    const std::string text = level == QZLP_LOG_ITERATION ? std::string(line).substr(0, 5) : line;
                    static_cast<std::vector<std::string>*>(data)->push_back(text);
                  },
                  &lines_),
              QZLP_OK);
  }
  std::vector<std::string> linesOfASolve() {
    lines_.clear();
    accepted(Arrays());
    return lines_;
  }
  std::vector<std::string> lines_;
  Told told_;
};

TEST_F(ApiProgress, EachIterationIsToldWithItsMeasures) {
  ASSERT_EQ(qzlp_setProgressCallback(lp_, listen, &told_), QZLP_OK);
  accepted(Arrays());
  ASSERT_EQ(told_.all.size(), 6U);
  double before = 0.0;
  for (int32_t k = 0; k < 6; ++k) {
    const qzlp_progress& now = told_.all[static_cast<size_t>(k)];
    EXPECT_EQ(now.iteration, k);
    EXPECT_EQ(now.complementarity, 10.0 + k);
    EXPECT_EQ(now.dualityGap, 20.0 + k);
    EXPECT_EQ(now.primalInfeasibility, 30.0 + k);
    EXPECT_EQ(now.boundInfeasibility, 40.0 + k);
    EXPECT_EQ(now.dualInfeasibility, 50.0 + k);
    EXPECT_GE(now.seconds, before);
    before = now.seconds;
  }
}

TEST_F(ApiProgress, TheLogIsTheSameWithItAndWithout) {
  for (int32_t level : {0, 1, 2, 3})
    for (int32_t frequency : {0, 1, 2, 3, 4, 100}) {
      SCOPED_TRACE("printLevel " + std::to_string(level) + ", logFrequency " + std::to_string(frequency));
      ASSERT_EQ(qzlp_setIntOption(lp_, "printLevel", level), QZLP_OK);
      ASSERT_EQ(qzlp_setIntOption(lp_, "logFrequency", frequency), QZLP_OK);
      ASSERT_EQ(qzlp_setProgressCallback(lp_, nullptr, nullptr), QZLP_OK);
      std::vector<std::string> alone = linesOfASolve();
      // Without a frequency the solver leaves out the header too, which `talk` does not know.
      if (frequency == 0 && level > 1) alone.erase(alone.begin() + 1);
      told_.all.clear();
      ASSERT_EQ(qzlp_setProgressCallback(lp_, listen, &told_), QZLP_OK);
      EXPECT_EQ(linesOfASolve(), alone);
      EXPECT_EQ(told_.all.size(), 6U) << "whatever the log shows";
    }
}

TEST_F(ApiProgress, ItStopsASolve) {
  told_.stopAt = 2;
  ASSERT_EQ(qzlp_setProgressCallback(lp_, listen, &told_), QZLP_OK);
  accepted(Arrays());
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_INTERRUPTED);
  EXPECT_EQ(told_.all.size(), 3U);
  told_.stopAt = -1;
  accepted(Arrays());
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_OPTIMAL) << "the next solve is not stopped";
}

TEST_F(ApiProgress, TheLastLineIsShownWhenTheSolveIsStoppedBetweenLines) {
  told_.stopAt = 2;
  ASSERT_EQ(qzlp_setIntOption(lp_, "logFrequency", 5), QZLP_OK);
  ASSERT_EQ(qzlp_setProgressCallback(lp_, listen, &told_), QZLP_OK);
  const std::vector<std::string> lines = linesOfASolve();
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[lines.size() - 3], "    0");
  EXPECT_EQ(lines[lines.size() - 2], "    2");
}

TEST_F(ApiProgress, TheBreakCallbackIsAskedBesideIt) {
  int asked = 0;
  ASSERT_EQ(qzlp_setProgressCallback(lp_, listen, &told_), QZLP_OK);
  ASSERT_EQ(qzlp_setBreakCallback(
                lp_, [](void* data) { return ++*static_cast<int*>(data) == 4 ? 1 : 0; }, &asked),
            QZLP_OK);
  accepted(Arrays());
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_INTERRUPTED);
  EXPECT_EQ(asked, 4);
  EXPECT_EQ(told_.all.size(), 4U);
}

}  // namespace
