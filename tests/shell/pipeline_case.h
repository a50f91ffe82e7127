// What the tests that call ipmMain share: the call's surroundings over the host of the tests, and a model whose answer
// is known.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "shell/fake_presolver.h"
#include "shell/fake_timer_module.h"
#include "shell/pipeline.h"
#include "transform/model_fixture.h"

namespace qztest {

// An environment with a presolver that scales nothing, and a running timer.
class PipelineCase : public ::testing::Test {
 protected:
  PipelineCase() {
    timerModule_ = &clock;
    env.pool = host.pool();
    presolver.scale = leaveUnscaled;
    env.presolveObject = &presolver;
    host.table()->loadExtension = [](QzHostTable*, const wchar_t*, int64_t, int64_t) {
      return &timerModule_->module.module;
    };
    int32_t rc = 0;
    timer = qz::IPM_timerCreate(env.pool, &rc);
    qz::IPM_timerStart(timer);
  }
  ~PipelineCase() override {
    qz::IPM_timerFree(env.pool, &timer);
    EXPECT_EQ(host.outstanding(), 0);
  }

  TestHost host;
  FakeTimerModule clock;
  qz::Env env{};
  qz::IpmOption option = plainOption();
  qz::IPM_timer* timer = nullptr;
  QzPresolveObject presolver{};

 private:
  static inline FakeTimerModule* timerModule_ = nullptr;
};

// min 0.5 x0 - 2.3 x1 - 2.3 x2 on the rows x0 + x1 <= 6, 1 <= x0 + x1 + 2 x2 <= 4, x0 - x2 >= 3, x1 + x2 = 3 with x0 >=
// 0, 0 <= x1 <= 4 and x2 free: optimum (2, 4, -1), duals (-1, -0.5, 2, 0.7), reduced costs (0, -1.5, 0), objective
// -5.9.
inline const std::vector<double> kPoint = {2, 4, -1}, kDuals = {-1, -0.5, 2, 0.7};
inline TestModel handModel() {
  return TestModel("LRGE", {6, 4, 3, 3}, {0, 3, 0, 0},
                   {{0.5, 0, kInf, {{0, 1}, {1, 1}, {2, 1}}},
                    {-2.3, 0, 4, {{0, 1}, {1, 1}, {3, 1}}},
                    {-2.3, -kInf, kInf, {{1, 2}, {2, -1}, {3, 1}}}});
}

}  // namespace qztest
