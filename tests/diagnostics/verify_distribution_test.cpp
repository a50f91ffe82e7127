// Checks of the decade histograms.
#include "diagnostics/verify_distribution.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>

#include "diagnostics/spoken_log.h"
#include "transform/model_fixture.h"

namespace qz {
namespace {

using qztest::expectBreach;
using qztest::expectSound;
using qztest::TestModel;

class VerifyPdf : public ::testing::Test {
 protected:
  VerifyPdf()
      : m("EG", {3e5, 0}, {},
          {{2, 0, 9, {{0, 1}, {1, -0.01}}}, {0, 0, 9, {{0, 250}}}, {-700, 0, 9, {{0, 10}, {1, 0.1}}}}) {
    env.pool = host.pool();
    env.log = log.log();
    initDistribution(matrix);
    initDistribution(costs);
    getMatrixDistribution(&env, 3, m.model.colBegin, m.model.colLength, m.model.matValue, matrix);
    int32_t count = 0;
    getVectorDistribution(&env, 3, m.model.obj, &count, costs);
  }
  Distribution whole() {
    Distribution all = matrix;
    addDistribution(costs, all);
    int32_t count = 0;
    getVectorDistribution(&env, 2, m.model.rhs, &count, all);
    return all;
  }
  qztest::TestHost host;
  qztest::SpokenLog log;
  Env env{};
  TestModel m;
  Distribution matrix{};
  Distribution costs{};
};

TEST_F(VerifyPdf, SoundHistogramsPass) {
  expectSound(log, 5, [&](int32_t l) { return VerifyPdfMatrix(&env, l, &m.model, matrix); });
  expectSound(log, 5, [&](int32_t l) { return VerifyPdfObj(&env, l, &m.model, costs); });
  const Distribution all = whole();
  expectSound(log, 5, [&](int32_t l) { return VerifyPdfAll(&env, l, &m.model, all); });
  EXPECT_FALSE(log.says("passed"));
  EXPECT_EQ(VerifyPdfAll(&env, 7, &m.model, all), 0);
  EXPECT_TRUE(log.says("VerifyPdfAll passed.")) << "a report line from level 7 on";
}

TEST_F(VerifyPdf, ValueInTheWrongBucket) {
  const auto verify = [&](int32_t l) { return VerifyPdfMatrix(&env, l, &m.model, matrix); };
  --matrix.histogramLeft[0];
  ++matrix.histogramRight[0];
  expectBreach(log, 5, verify, "VerifyPdfMatrix: histogramRight(0) = 2 should be 1");
  EXPECT_TRUE(log.says("Error VerifyPdfMatrix: histogramLeft(0)"));
}

TEST_F(VerifyPdf, LostValueInEachOfTheThree) {
  --matrix.histogramRight[2];
  expectBreach(
      log, 5, [&](int32_t l) { return VerifyPdfMatrix(&env, l, &m.model, matrix); },
      "VerifyPdfMatrix: total count = 4 should be 5");
  ++matrix.histogramRight[2];
  ++costs.histogramLeft[15];
  expectBreach(
      log, 5, [&](int32_t l) { return VerifyPdfObj(&env, l, &m.model, costs); },
      "VerifyPdfObj: total count = 3 should be 2");
  expectBreach(
      log, 5, [&](int32_t l) { return VerifyPdfAll(&env, l, &m.model, matrix); },
      "VerifyPdfAll: total count = 5 should be 8");
}

TEST_F(VerifyPdf, BreakPointThatIsNoPowerOfTen) {
  const auto verify = [&](int32_t l) { return VerifyPdfMatrix(&env, l, &m.model, matrix); };
  matrix.breakRight[3] = 1001.0;
  expectBreach(log, 5, verify, "VerifyPdfMatrix: breakRight(3) = 1001 should be about 1000");
  matrix.breakRight[3] = 1000.0;
  matrix.breakLeft[2] = 0.02;
  expectBreach(log, 5, verify, "VerifyPdfMatrix: breakLeft(2) = 0.02 should be about 0.01");
}

TEST_F(VerifyPdf, AnyVectorAgainstItsHistogram) {
  std::mt19937 random(7);
  std::lognormal_distribution<double> spread(0.0, 8.0);
  std::vector<double> data(1000);
  for (double& v : data) v = (random() % 2 == 0 ? -1.0 : 1.0) * spread(random);
  Distribution d;
  initDistribution(d);
  int32_t count = 0;
  getVectorDistribution(&env, 1000, data.data(), &count, d);
  const auto verify = [&](int32_t l) {
    std::vector<double> copy = data;
    return VerifyDistribution(&env, l, count, copy.data(), d);
  };
  expectSound(log, 5, verify);
  ++d.histogramRight[1];
  --d.histogramRight[2];
  expectBreach(log, 5, verify, "VerifyDistribution: histogramRight(1)");
}

TEST_F(VerifyPdf, DataThatCannotBeSortedAbort) {
  m.a.matValue[1] = std::nan("");
  expectBreach(
      log, 5, [&](int32_t l) { return VerifyPdfMatrix(&env, l, &m.model, matrix); }, "VerifyPdfMatrix: sort aborted.");
}

TEST_F(VerifyPdf, OutliersAreCountedOnTheirSideOfTheCutoffs) {
  // The model's eight magnitudes: 0.01 0.1 1 2 10 250 700 300000.
  int32_t right = 1, left = 2;
  double rightCutoff = 1e4, leftCutoff = 0.1;
  const auto verify = [&](int32_t l) { return VerifyOutlier(&env, l, &m.model, right, left, rightCutoff, leftCutoff); };
  expectSound(log, 5, verify);
  leftCutoff = 0.05;
  expectBreach(log, 5, verify, "VerifyOutlier: last outlier on the left(1) = 0.1 should be at most 0.05");
  leftCutoff = 1.0;
  expectBreach(log, 5, verify, "VerifyOutlier: value(2) is an outlier that was not counted");
  leftCutoff = 0.1;
  rightCutoff = 3e5;
  expectBreach(log, 5, verify, "VerifyOutlier: value(7) is no outlier and was counted");
  rightCutoff = 500;
  expectBreach(log, 5, verify, "VerifyOutlier: largest value that is no outlier(6) = 700 should be at most 500");
  rightCutoff = 1e4;
  left = 5;
  expectBreach(log, 5, verify, "VerifyOutlier: numLeft = 5 should be at most 4");
  left = -1;
  expectBreach(log, 5, verify, "VerifyOutlier: numLeft = -1 should be from 0 to 8");
}

TEST_F(VerifyPdf, ModelWithoutDataIsSound) {
  TestModel empty("E", {0}, {}, {{0, 0, 1, {}}});
  Distribution d;
  initDistribution(d);
  expectSound(log, 5, [&](int32_t l) { return VerifyPdfAll(&env, l, &empty.model, d); });
  expectSound(log, 5, [&](int32_t l) { return VerifyOutlier(&env, l, &empty.model, 0, 0, 1e15, 1e-15); });
}

TEST_F(VerifyPdf, OutOfMemory) {
  for (const auto& verify :
       std::vector<std::function<int32_t()>>{[&] { return VerifyPdfMatrix(&env, 5, &m.model, matrix); },
                                             [&] { return VerifyPdfObj(&env, 5, &m.model, costs); },
                                             [&] { return VerifyPdfAll(&env, 5, &m.model, matrix); },
                                             [&] { return VerifyOutlier(&env, 5, &m.model, 0, 0, 1e15, 1e-15); }}) {
    host.failAllocation(1);
    EXPECT_EQ(verify(), -1086);
    host.failAllocation(0);
    EXPECT_EQ(host.outstanding(), 0);
  }
}

}  // namespace
}  // namespace qz
