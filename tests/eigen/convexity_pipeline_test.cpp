// Quadratic models through the whole pipeline: a Hessian that is convex, just convex, and not convex.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "shell/pipeline_case.h"
#include "transform/model_fixture.h"

namespace {

using namespace qz;
using qztest::kInf;
using qztest::TestModel;

class ConvexityInPipeline : public qztest::PipelineCase {
 protected:
  ConvexityInPipeline() {
    option.maxIter = 200;
    option.timeLimit = 1e30;
    option.numThread = 1;
  }
  // min -x0 - x1 + 1/2 (d x0^2 + d x1^2 + 2 c x0 x1) on x0 + x1 <= 4, x0 + 2 x1 <= 7, 0 <= x <= 3: eigenvalues d + c,
  // d - c.
  int32_t solve(double d, double c) {
    TestModel m("LL", {4.0, 7.0}, {0.0, 0.0},
                {{-1.0, 0.0, 3.0, {{0, 1.0}, {1, 1.0}}}, {-1.0, 0.0, 3.0, {{0, 1.0}, {1, 2.0}}}});
    std::vector<std::tuple<int32_t, int32_t, double>> triangle;
    if (c != 0.0) triangle.emplace_back(1, 0, c);
    m.makeQuadratic({d, d}, triangle);
    const int64_t before = host.outstanding();
    const int32_t status = ipmMain(&env, &m.model, &option, timer, nullptr);
    EXPECT_EQ(host.outstanding(), before);
    EXPECT_EQ(m.model.status, status);
    objective = m.model.objValue;
    return status;
  }
  double objective = 0.0;
};

TEST_F(ConvexityInPipeline, ConvexModelsAreSolved) {
  // x0 = x1 = 1 / (d + c), objective -1 / (d + c).
  EXPECT_EQ(solve(2.0, 0.5), 1);
  EXPECT_NEAR(objective, -0.4, 1e-6);
  EXPECT_EQ(solve(2.0, 0.0), 1);
  EXPECT_NEAR(objective, -0.5, 1e-6);
}

TEST_F(ConvexityInPipeline, ModelsThatAreNotConvexEndWithTheirStatus) {
  EXPECT_EQ(solve(1.0, 2.0), 1000);
  EXPECT_EQ(solve(-1.0, 0.0), 1000);
  EXPECT_EQ(solve(0.0, 1.0), 1000);
}

TEST_F(ConvexityInPipeline, SlightlyNegativeValuesPassTheTest) {
  EXPECT_NE(solve(1.0, 1.00005), 1000);
  EXPECT_EQ(solve(1.0, 1.00015), 1000);
}

}  // namespace
