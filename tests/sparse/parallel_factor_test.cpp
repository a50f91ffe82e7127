// Both schedulers of both factorisations against residuals and a dense oracle, on every path that a factor can take.
#include <gtest/gtest.h>

#include <algorithm>
#include <eigen3/Eigen/Dense>

#include "sparse/parallel_fixture.h"

namespace {

using qztest::Case;
using qztest::makeSystem;
using qztest::ParallelFactor;
using qztest::Pattern;
using qztest::SystemMatrix;

constexpr double kTolerance = 1e-12;
constexpr int32_t threadCounts[] = {1, 2, 3, 4, 8, 16};

class ParallelFactorTest : public ::testing::Test {
 protected:
  ~ParallelFactorTest() override {
    EXPECT_EQ(host.outstanding(), 0);
    EXPECT_EQ(qztest::ParallelHost::liveLocks, 0);
    EXPECT_EQ(qztest::ParallelHost::liveEvents, 0);
    EXPECT_EQ(qztest::ParallelHost::liveThreads, 0);
  }
  void solveAndCheck(const SystemMatrix& a, const Case& c, uint32_t seed) {
    SCOPED_TRACE(c.name() + ", n " + std::to_string(a.n) + ", seed " + std::to_string(seed));
    ParallelFactor f(host, a, c);
    ASSERT_EQ(f.analyze(), qz::LA_OK);
    ASSERT_EQ(f.factor(), qz::LA_OK);
    EXPECT_EQ(f.symbolic->factorState, -1);
    f.expectAllFinished();
    perturbed = f.symbolic->numPerturbed;
    pairs = 0;
    for (int32_t j = 0; c.ldl && j < a.n; ++j) pairs += f.symbolic->pivotKind[j] < 0;
    const std::vector<double> b = qztest::randomVector(a.n, seed + 1);
    std::vector<double> x = b;
    ASSERT_EQ(f.solve(&x), qz::LA_OK);
    if (perturbed == 0) {
      EXPECT_LE(qztest::backwardError(a, x, b), kTolerance);
    }
  }

  qztest::ParallelHost host;
  int32_t perturbed = 0;
  int32_t pairs = 0;
};

std::vector<std::pair<bool, int32_t>> engines() {
  return {{true, 1}, {true, 0}, {false, 1}, {false, 0}};
}

TEST_F(ParallelFactorTest, EveryPatternBlockSizeAndThreadCount) {
  uint32_t seed = 1;
  for (const auto& [ldl, pipeline] : engines()) {
    for (int p = 0; p < static_cast<int>(Pattern::COUNT); ++p) {
      for (const int32_t nb : {2, 5, 8, 17, 32}) {
        for (const int32_t threads : threadCounts) {
          const int32_t n = 1 + static_cast<int32_t>(seed * 37 % 200);
          solveAndCheck(makeSystem(static_cast<Pattern>(p), n, ldl, false, seed), {ldl, threads, pipeline, nb}, seed);
          if (HasFatalFailure()) return;
          EXPECT_EQ(perturbed, 0);
          ++seed;
        }
      }
    }
  }
}

}  // namespace
