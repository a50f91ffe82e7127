// The checks at their places in the pipeline: what runs at which level, how a breach ends a solve, and that a solve
// under its checks gives everything back.
#include <gtest/gtest.h>

#include "diagnostics/spoken_log.h"
#include "shell/fake_engine.h"
#include "shell/pipeline_case.h"
#include "shell/pool.h"
#include "transform/model_fixture.h"

namespace {

using namespace qz;
using qztest::EngineCall;
using qztest::handModel;
using qztest::kDuals;
using qztest::kPoint;
using qztest::plantSolution;
using qztest::TestModel;

class PipelineChecks : public qztest::PipelineCase {
 protected:
  PipelineChecks() {
    env.log = log.log();
    answer();
  }
  ~PipelineChecks() override { qztest::fakeEngine = nullptr; }
  void answer(const std::function<void(const EngineCall&)>& damage = {}) {
    qztest::fakeEngine = [damage](const EngineCall& call) {
      plantSolution(call, kPoint, kDuals);
      if (damage) damage(call);
      return call.model->status = 1, 0;
    };
  }
  int32_t solve(TestModel& m, int32_t level) {
    log.lines.clear();
    option.debugLevel = level;
    const int64_t before = host.outstanding();
    m.model.status = 0;
    std::fill(m.a.rowActivity.begin(), m.a.rowActivity.end(), 0.0);
    const int32_t status = ipmMain(&env, &m.model, &option, timer, nullptr);
    EXPECT_EQ(host.outstanding(), before) << "everything of the call is given back";
    return status;
  }
  qztest::SpokenLog log;
};

TEST_F(PipelineChecks, EveryLevelGivesTheAnswerOfLevelZero) {
  for (const int32_t method : {IPM_METHOD_AUGMENTED, IPM_METHOD_NORMAL}) {
    for (const int32_t level : {0, 1, 3, 5, 7, 9}) {
      TestModel m = handModel();
      option.typeMethod = method;
      EXPECT_EQ(solve(m, level), 1) << level << log.all();
      EXPECT_NEAR(m.model.objValue, -5.9, 1e-14);
      EXPECT_EQ(log.errors(), 0) << log.all();
      EXPECT_EQ(log.says("running debug code......"), level > 0);
      EXPECT_EQ(log.says("primal(0)="), level >= 9);
    }
  }
}

TEST_F(PipelineChecks, RefusedInputHasNoStatus) {
  TestModel m = handModel();
  m.a.range[0] = 5.0;
  EXPECT_EQ(solve(m, 1), 0);
  EXPECT_TRUE(log.says("Error input: range(0) = 5 should be about 0"));
  EXPECT_EQ(solve(m, 0), 1) << "nobody looks at level 0";
}

TEST_F(PipelineChecks, ModelThatDoesNotComeBackEndsWithTen) {
  TestModel m = handModel();
  answer([](const EngineCall& call) { call.model->obj[0] += 1.0; });
  EXPECT_EQ(solve(m, 1), 10);
  EXPECT_TRUE(log.says("Error VerifyCompareModel: obj(0) = 1.5 should be about 0.5")) << log.all();
}

TEST_F(PipelineChecks, WrongPointEndsWithTenFromLevelThreeOn) {
  answer([](const EngineCall& call) { call.solution->primal[1] -= 0.5; });
  TestModel m = handModel();
  EXPECT_EQ(solve(m, 1), 1);
  EXPECT_EQ(solve(m, 3), 10);
  EXPECT_TRUE(log.says("Error VerifyModelPrimal: rows of the solution"));
  EXPECT_FALSE(log.says("VerifyModelBound")) << "the first status other than 0 ends the solve";
}

TEST_F(PipelineChecks, WrongDualEndsWithTen) {
  answer([](const EngineCall& call) { call.solution->dual[3] = -call.solution->dual[3]; });
  TestModel m = handModel();
  EXPECT_EQ(solve(m, 3), 10);
  EXPECT_TRUE(log.says("Error VerifyModelDual: columns of the solution"));
}

TEST_F(PipelineChecks, ObjectivesApartEndWithTen) {
  // Duals that fit the columns but price the rows wrongly: the objectives differ.
  answer([](const EngineCall& call) {
    Solution& s = *call.solution;
    s.lowerDual[1] += 3.0;
    s.upperDual[1] += 3.0;
  });
  TestModel m = handModel();
  EXPECT_EQ(solve(m, 3), 10);
  EXPECT_TRUE(log.says("Error VerifyModelGap: dual objective"));
}

TEST_F(PipelineChecks, AnswersThatAreNoneAreNotChecked) {
  for (const int32_t status : {3, 4, 7, 8, 14}) {
    qztest::fakeEngine = [status](const EngineCall& call) {
      plantSolution(call, {0, 0, 0}, {9, 9, 9, 9});
      return call.model->status = status, 0;
    };
    TestModel m = handModel();
    EXPECT_EQ(solve(m, 9), status);
    EXPECT_FALSE(log.says("VerifyModel")) << log.all();
    EXPECT_EQ(log.errors(), 0) << log.all();
  }
}

TEST_F(PipelineChecks, EveryFailedAllocationGivesAllBack) {
  TestModel m = handModel();
  const int64_t first = host.allocations();
  ASSERT_EQ(solve(m, 9), 1);
  const int64_t needed = host.allocations() - first;
  for (int64_t k = 1; k <= needed; ++k) {
    TestModel again = handModel();
    host.failAllocation(k);
    const int32_t status = solve(again, 9);
    // Without memory for its marks the input check can't run; its result is not stored.
    EXPECT_TRUE(status == -1086 || status == 0) << k << " status " << status;
    host.failAllocation(0);
  }
}

}  // namespace
