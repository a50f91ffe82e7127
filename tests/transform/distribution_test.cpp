// Decade histograms against brute force on the values themselves.
#include "transform/distribution.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "shell/host_table.h"
#include "support/test_host.h"

namespace {

using namespace qz;

Distribution fill(const std::vector<double>& values, int32_t* count = nullptr) {
  Distribution d;
  initDistribution(d);
  int32_t counted = 0;
  getVectorDistribution(nullptr, static_cast<int32_t>(values.size()), values.data(), &counted, d);
  if (count != nullptr) *count = counted;
  return d;
}

// Level of a magnitude by its definition, with the break points of the table.
int32_t levelOf(double value, const Distribution& d) {
  const double v = std::abs(value);
  for (int32_t level = kLowestLevel; level < kHighestLevel; ++level)
    if (v <= (level < 0 ? d.breakLeft[-1 - level] : d.breakRight[level + 1])) return level;
  return kHighestLevel;
}

std::vector<double> randomValues(std::mt19937& random, int n, double low, double high) {
  std::uniform_real_distribution<double> exponent(low, high);
  std::vector<double> values;
  for (int k = 0; k < n; ++k) values.push_back((random() % 2 ? 1 : -1) * std::pow(10.0, exponent(random)));
  return values;
}

TEST(Distribution, BreakPointsAreTheVeryDoublesOfTheComparisons) {
  Distribution d;
  initDistribution(d);
  EXPECT_EQ(d.breakLeft[0], 1.0);
  EXPECT_EQ(d.breakLeft[2], 0.010000000000000002);
  EXPECT_EQ(d.breakLeft[16], 1.000000000000001e-16);
  for (int k = 0; k < 16; ++k) EXPECT_EQ(d.breakLeft[k + 1], d.breakLeft[k] * 0.1);
  const double powers[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16};
  for (int k = 0; k < 17; ++k) {
    EXPECT_EQ(d.breakRight[k], powers[k]);
    EXPECT_EQ(d.histogramLeft[k] + d.histogramRight[k], 0);
  }
}

TEST(Distribution, EdgesOfBuckets) {
  EXPECT_EQ(fill({10.0}).histogramRight[0], 1);
  EXPECT_EQ(fill({std::nextafter(10.0, 11.0)}).histogramRight[1], 1);
  EXPECT_EQ(fill({1.0}).histogramLeft[0], 1);
  EXPECT_EQ(fill({-1.0}).histogramLeft[0], 1);
  EXPECT_EQ(fill({std::nextafter(1.0, 2.0)}).histogramRight[0], 1);
  EXPECT_EQ(fill({1e17}).histogramRight[15], 1);
  EXPECT_EQ(fill({1e15}).histogramRight[14], 1);
  EXPECT_EQ(fill({1e-30}).histogramLeft[15], 1);
  EXPECT_EQ(fill({0.010000000000000002}).histogramLeft[2], 1);
  EXPECT_EQ(fill({std::nextafter(0.010000000000000002, 1.0)}).histogramLeft[1], 1);
}

TEST(Distribution, ZerosCountInTheMatrixAlone) {
  int32_t count = -1;
  const Distribution v = fill({0.0, 2.0, 0.0}, &count);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(v.histogramLeft[15], 0);
  Distribution d;
  initDistribution(d);
  const int32_t begin[] = {0, 3}, length[] = {2, 1};
  const double value[] = {0.0, -3.0, 1e300, 50.0};  // the third is a gap
  getMatrixDistribution(nullptr, 2, begin, length, value, d);
  EXPECT_EQ(d.histogramLeft[15], 1);
  EXPECT_EQ(d.histogramRight[0], 1);
  EXPECT_EQ(d.histogramRight[1], 1);
  EXPECT_EQ(d.histogramRight[15], 0);
}

TEST(Distribution, EmptyVectorCountsNothing) {
  Distribution d;
  initDistribution(d);
  int32_t count = 7;
  getVectorDistribution(nullptr, 0, nullptr, &count, d);
  EXPECT_EQ(count, 0);
  count = 7;
  getVectorDistribution(nullptr, -3, nullptr, &count, d);
  EXPECT_EQ(count, 0);
}

TEST(Distribution, QuadraticTermsAreMagnitudesOfTheProducts) {
  Distribution d;
  initDistribution(d);
  const double diag[] = {2.0, 0.0, -3.0}, x[] = {10.0, 1e9, 0.0};
  int32_t count = 0;
  getQuadDistribution(nullptr, 3, diag, &count, x, d, -0.5);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(d.histogramRight[1], 1);  // 100
  EXPECT_EQ(d.histogramLeft[15], 1);  // a product of 0
}

TEST(Distribution, VectorsShareOneAndTwoMerge) {
  std::mt19937 random(3);
  const auto a = randomValues(random, 50, -8, 8), b = randomValues(random, 70, -20, 20);
  Distribution one = fill(a);
  int32_t count = 0;
  getVectorDistribution(nullptr, 70, b.data(), &count, one);
  EXPECT_EQ(count, 70) << "of this vector alone";
  Distribution two = fill(a);
  addDistribution(fill(b), two);
  for (int k = 0; k < 17; ++k) {
    EXPECT_EQ(one.histogramLeft[k], two.histogramLeft[k]);
    EXPECT_EQ(one.histogramRight[k], two.histogramRight[k]);
  }
}

TEST(Distribution, CountsOfEveryLevelEqualBruteForce) {
  std::mt19937 random(11);
  const auto values = randomValues(random, 4000, -19, 19);
  const Distribution d = fill(values);
  for (int32_t level = kLowestLevel; level <= kHighestLevel; ++level) {
    const auto expected = std::count_if(values.begin(), values.end(), [&](double v) { return levelOf(v, d) == level; });
    EXPECT_EQ(levelCount(d, level), expected) << level;
  }
  EXPECT_EQ(d.histogramLeft[16] + d.histogramRight[16], 0);
}

TEST(Percentile, NoValuesGiveZero) {
  const Distribution d = fill({});
  for (int32_t mode = 0; mode < 3; ++mode) {
    int32_t out = 5;
    EXPECT_EQ(getPercentile(0, mode, &out, d, 0.5), 0.0);
    EXPECT_EQ(out, 0);
    EXPECT_EQ(getPercentile(-1, mode, nullptr, d, 0.5), 0.0);
  }
}

TEST(Percentile, ConstantDataInterpolateInsideTheirDecade) {
  const Distribution d = fill(std::vector<double>(100, 5.0));
  EXPECT_DOUBLE_EQ(getPercentile(100, 0, nullptr, d, 0.5), 5.5);
  EXPECT_DOUBLE_EQ(getPercentile(100, 0, nullptr, d, 0.25), 3.25);
  EXPECT_EQ(getPercentile(100, 1, nullptr, d, 0.5), 10.0);
  EXPECT_EQ(getPercentile(100, 2, nullptr, d, 0.5), 1.0);
}

TEST(Percentile, ModesAndCountsAroundTheBucket) {
  const Distribution d = fill({0.5, 0.5, 5, 5, 5, 50, 50, 500, 500, 500});
  int32_t out = -1;
  EXPECT_EQ(getPercentile(10, 1, &out, d, 0.3), 10.0);  // the fourth of ten is a 5
  EXPECT_EQ(out, 5);
  EXPECT_EQ(getPercentile(10, 2, &out, d, 0.3), 1.0);
  EXPECT_EQ(out, 2);
  out = -1;
  EXPECT_EQ(getPercentile(10, 0, &out, d, 0.3), 1.0 + (3 - 2) * 9.0 / 3);
  EXPECT_EQ(out, -1) << "not written";
  EXPECT_EQ(getPercentile(10, 3, &out, d, 0.3), 0.0);
  EXPECT_EQ(out, 0);
  EXPECT_EQ(getPercentile(10, -1, nullptr, d, 0.3), 0.0);
}

TEST(Percentile, TopBucketInterpolatesBelowTenToTheSixteenth) {
  const Distribution d = fill(std::vector<double>(4, 1e18));
  EXPECT_DOUBLE_EQ(getPercentile(4, 0, nullptr, d, 0.5), 1e15 + 0.5 * 9e15);
  const Distribution low = fill(std::vector<double>(4, 1e-18));
  EXPECT_DOUBLE_EQ(getPercentile(4, 0, nullptr, low, 0.5), 0.5 * (low.breakLeft[15] + low.breakLeft[16]));
}

TEST(Percentile, BeyondAllValuesStaysFinite) {
  const double p = getPercentile(2, 0, nullptr, fill({1.0, 2.0}), 1.0);
  EXPECT_TRUE(std::isfinite(p));
  EXPECT_EQ(p, 1e15);
}

TEST(Percentile, BucketHoldsTheOrderStatistic) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::mt19937 random(seed);
    auto values = randomValues(random, 1 + static_cast<int>(random() % 60), -18, 18);
    const Distribution d = fill(values);
    std::sort(values.begin(), values.end(), [](double a, double b) { return std::abs(a) < std::abs(b); });
    const auto n = static_cast<int32_t>(values.size());
    for (double p : {0.0, 0.1, 0.25, 0.5, 0.75, 0.9}) {
      const int32_t level = levelOf(values[static_cast<size_t>(n * p)], d);
      EXPECT_EQ(getPercentile(n, 2, nullptr, d, p), levelLower(d, level)) << seed;
      EXPECT_EQ(getPercentile(n, 1, nullptr, d, p), levelUpper(d, level)) << seed;
      const double inside = getPercentile(n, 0, nullptr, d, p);
      EXPECT_GE(inside, levelLower(d, level));
      EXPECT_LT(inside, levelUpper(d, level) * (1 + 1e-15));
    }
  }
}

TEST(Walks, SkipFindsTheNextOccupiedLevel) {
  const Distribution d = fill({0.05, 30.0});  // levels -2 and 1
  EXPECT_EQ(skipRight(15, d), 1);
  EXPECT_EQ(skipRight(1, d), 1);
  EXPECT_EQ(skipRight(0, d), -2);
  EXPECT_EQ(skipRight(-3, d), -17);
  EXPECT_EQ(skipLeft(-16, d), -2);
  EXPECT_EQ(skipLeft(-1, d), 1);
  EXPECT_EQ(skipLeft(2, d), 16);
  EXPECT_EQ(skipLeft(16, d), 16);
  EXPECT_EQ(skipRight(-17, d), -17);
}

TEST(Walks, ExtendTakesARunAcrossTheMiddle) {
  const Distribution d = fill({0.05, 0.5, 0.5, 5, 5, 5, 50, 5e5});  // levels -2 to 1, and 5
  int32_t next = 0, count = 0;
  double cutoff = 0;
  extendLeft(-2, &next, &count, &cutoff, d);
  EXPECT_EQ(next, 2);
  EXPECT_EQ(count, 7);
  EXPECT_EQ(cutoff, 100.0);
  extendRight(1, &next, &count, &cutoff, d);
  EXPECT_EQ(next, -3);
  EXPECT_EQ(count, 7);
  EXPECT_EQ(cutoff, d.breakLeft[2]);
  extendLeft(3, &next, &count, &cutoff, d);
  EXPECT_EQ(next, 3);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(cutoff, 1e3);
  extendRight(-5, &next, &count, &cutoff, d);
  EXPECT_EQ(next, -5);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(cutoff, d.breakLeft[4]);
}

TEST(Walks, ExtendStopsAtBothEnds) {
  const Distribution d = fill({1e-20, 1e20});
  int32_t next = 0, count = 0;
  double cutoff = 0;
  extendLeft(15, &next, &count, &cutoff, d);
  EXPECT_EQ(next, 16);
  EXPECT_EQ(cutoff, 1e16);
  extendRight(-16, &next, &count, &cutoff, d);
  EXPECT_EQ(next, -17);
  EXPECT_EQ(cutoff, d.breakLeft[16]);
}

struct OutlierResult {
  int32_t number, right, left;
  double rightCutoff, leftCutoff;
};

OutlierResult outliers(const std::vector<double>& values) {
  OutlierResult r{};
  int32_t count = 0;
  const Distribution d = fill(values, &count);
  r.number = countOutlier(nullptr, count, &r.right, &r.left, &r.rightCutoff, &r.leftCutoff, d);
  return r;
}

std::vector<double> repeated(std::initializer_list<std::pair<double, int>> groups) {
  std::vector<double> values;
  for (auto [value, times] : groups) values.insert(values.end(), static_cast<size_t>(times), value);
  return values;
}

TEST(Outliers, NoneWithoutValuesOrWithinThreeDecades) {
  OutlierResult r = outliers({});
  EXPECT_EQ(r.number, 0);
  EXPECT_EQ(r.leftCutoff, 1e-15);
  EXPECT_EQ(r.rightCutoff, 1e15);
  r = outliers(repeated({{5.0, 1}, {5e3, 99}}));  // levels 0 and 3
  EXPECT_EQ(r.number, 0);
}

TEST(Outliers, ASeparateGroupSixDecadesAwayGoesWhole) {
  // 40 of 100 values lie far below, more than any budget.
  OutlierResult r = outliers(repeated({{5e-8, 20}, {5e-7, 20}, {5.0, 60}}));
  EXPECT_EQ(r.left, 40);
  EXPECT_EQ(r.right, 0);
  EXPECT_DOUBLE_EQ(r.leftCutoff, 1e-6);
  r = outliers(repeated({{5.0, 60}, {5e7, 20}, {5e9, 20}}));
  EXPECT_EQ(r.right, 40) << "two groups, the nearer of them ends six decades up";
  EXPECT_EQ(r.rightCutoff, 1e7);
  r = outliers(repeated({{5.0, 60}, {5e6, 20}, {5e9, 20}}));
  EXPECT_EQ(r.right, 20) << "the nearer group ends five decades up";
}

TEST(Outliers, AGroupThatEndsFiveDecadesFromTheMedianFallsUnderTheBudget) {
  // Level -6 and the median at 0: the run ends at level -5.
  OutlierResult r = outliers(repeated({{5e-6, 5}, {5.0, 95}}));
  EXPECT_EQ(r.left, 5);
  EXPECT_DOUBLE_EQ(r.leftCutoff, 1e-4) << "empty decades below the limit are walked over";
  r = outliers(repeated({{5e-6, 6}, {5.0, 94}}));
  EXPECT_EQ(r.left, 0) << "more than a twentieth";
  EXPECT_EQ(r.leftCutoff, 1e-15);
  r = outliers(repeated({{5.0, 95}, {5e5, 5}}));
  EXPECT_EQ(r.right, 5);
  EXPECT_EQ(r.rightCutoff, 1e5);
  r = outliers(repeated({{5.0, 94}, {5e5, 6}}));
  EXPECT_EQ(r.right, 0);
}

TEST(Outliers, SingleRunTakesTheBudgetBranchAtBothEnds) {
  std::vector<double> values;
  for (int level = -7; level <= 7; ++level)
    values.insert(values.end(), level == 0 ? 200u : 2u, 5.0 * std::pow(10.0, level));
  const OutlierResult r = outliers(values);  // 228 values, budget 11
  EXPECT_EQ(r.left, 6) << "levels -7, -6, -5 lie below the limit -4";
  EXPECT_EQ(r.right, 6);
  EXPECT_DOUBLE_EQ(r.leftCutoff, 1e-4);
  EXPECT_EQ(r.rightCutoff, 1e5);
}

TEST(Outliers, CutoffsSelectExactlyTheCountedValues) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    std::vector<double> values = randomValues(random, 40 + static_cast<int>(random() % 200), -2, 2);
    for (int group = 0; group < 3; ++group)
      for (double v : randomValues(random, static_cast<int>(random() % 12), -14, 14)) values.push_back(v);
    const OutlierResult r = outliers(values);
    const auto left =
        std::count_if(values.begin(), values.end(), [&](double v) { return std::abs(v) <= r.leftCutoff; });
    const auto right =
        std::count_if(values.begin(), values.end(), [&](double v) { return std::abs(v) > r.rightCutoff; });
    EXPECT_EQ(r.left, left) << seed;
    EXPECT_EQ(r.right, right) << seed;
    EXPECT_EQ(r.number, left + right);
  }
}

double bigThreshold(const std::vector<double>& values, double lowest, int32_t* big) {
  int32_t count = 0;
  const Distribution d = fill(values, &count);
  return getBigdataThreshold(nullptr, count, d.histogramRight, d.breakRight, big, lowest);
}

TEST(BigThreshold, EmptyHistogramGivesTheLowest) {
  int32_t big = 9;
  EXPECT_EQ(bigThreshold({}, 10.0, &big), 10.0);
  EXPECT_EQ(big, 0);
  EXPECT_EQ(bigThreshold({}, 1e4, &big), 1e4);
}

TEST(BigThreshold, SeparateTopGroupIsBig) {
  int32_t big = 0;
  EXPECT_EQ(bigThreshold(repeated({{5.0, 90}, {5e7, 10}}), 100.0, &big), 1e7);
  EXPECT_EQ(big, 10);
}

TEST(BigThreshold, AFootThatHangsTogetherWithTheMiddleIsNotBig) {
  int32_t big = 0;
  // Levels 0 to 3 hang together, 4 and 5 are empty, 6 is the top.
  const double t = bigThreshold(repeated({{5, 60}, {50, 10}, {500, 10}, {5e3, 10}, {5e6, 10}}), 100.0, &big);
  EXPECT_EQ(t, 1e4);
  EXPECT_EQ(big, 10);
}

TEST(BigThreshold, ATopThatIsOneRunStartsAtItsFirstBucket) {
  int32_t big = 0;
  EXPECT_EQ(bigThreshold(repeated({{5, 60}, {50, 10}, {500, 10}, {5e3, 20}}), 50.0, &big), 50.0)
      << "10 by the buckets, but never below the lowest";
  EXPECT_EQ(big, 40);
  EXPECT_EQ(bigThreshold(repeated({{5, 60}, {500, 10}, {5e3, 20}}), 100.0, &big), 100.0);
  EXPECT_EQ(big, 30);
}

TEST(BigThreshold, TheMajorityIsNeverBig) {
  int32_t big = 7;
  EXPECT_EQ(bigThreshold(repeated({{5e7, 60}, {5.0, 40}}), 100.0, &big), 1e8);
  EXPECT_EQ(big, 0);
}

TEST(BigThreshold, NeverBelowTheLowestAllowed) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    const double lowest = std::pow(10.0, std::uniform_real_distribution<double>(0, 8)(random));
    int32_t big = 0;
    const auto values = randomValues(random, 1 + static_cast<int>(random() % 50), -3, 18);
    EXPECT_GE(bigThreshold(values, lowest, &big), lowest) << seed;
    EXPECT_GE(big, 0);
    EXPECT_LE(2 * big, static_cast<int32_t>(values.size()));
  }
}

TEST(Print, WalksFromTheSmallestToTheLargest) {
  qztest::TestHost host;
  Env env{};
  env.log = host.log();
  printDistribution(&env, fill({5.0}));
  ASSERT_EQ(host.messages.size(), 36u);
  EXPECT_EQ(host.messages.front().text, "");
  EXPECT_EQ(host.messages[1].text, " histogramLeft(%d) = %d");
  EXPECT_EQ(host.messages[18].text, "histogramRight(%d) = %d");
  EXPECT_EQ(host.messages.back().text, "");
  for (const auto& message : host.messages) EXPECT_EQ(message.level, 0);
  env.log = nullptr;
  printDistribution(&env, fill({5.0}));
}

}  // namespace
