#include "engine/rays.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "transform/model_fixture.h"

namespace {

using namespace qz;
using qztest::kInf;
using qztest::TestModel;

constexpr double kInfinityValue = 1e20;

bool ray(const TestModel& m, const std::vector<double>& x, const double* rowScale = nullptr) {
  std::vector<double> work(static_cast<size_t>(std::max(m.model.numRow, m.model.numCol)) + 1);
  return isRay(&m.model, x.data(), kInfinityValue, rowScale, work.data());
}

bool farkas(const TestModel& m, const std::vector<double>& y, const double* rowScale = nullptr) {
  return isFarkasProof(&m.model, y.data(), kInfinityValue, rowScale);
}

int32_t judge(const TestModel& m, const std::vector<double>& x, const std::vector<double>& y) {
  std::vector<double> work(static_cast<size_t>(std::max(m.model.numRow, m.model.numCol)) + 1);
  return statusByRays(&m.model, x.data(), y.data(), kInfinityValue, nullptr, work.data(), QZ_STATUS_FAILED);
}

// min -x0 - x1 on x0 - x1 = 3 and x0 + x1 >= -1, x >= 0, x2 in [1, 2], x3 <= 5.
TestModel unboundedModel() {
  return TestModel(
      "EG", {3, -1}, {},
      {{-1, 0, kInf, {{0, 1}, {1, 1}}}, {-1, 0, kInf, {{0, -1}, {1, 1}}}, {0, 1, 2, {}}, {0, -kInf, 5, {}}});
}

TEST(Ray, FarAwayIterateOfAnUnboundedProgram) {
  const TestModel m = unboundedModel();
  EXPECT_TRUE(ray(m, {1e6 + 3, 1e6, 1.5, -4}));
  EXPECT_FALSE(ray(m, {13, 10, 1.5, 4})) << "not far enough: what holds it down counts";
}

TEST(Ray, EveryConditionCounts) {
  const TestModel m = unboundedModel();
  EXPECT_TRUE(ray(m, {1, 1, 0, -1})) << "a column without a lower bound may fall";
  EXPECT_FALSE(ray(m, {1, 0.9, 0, 0})) << "leaves the equation";
  EXPECT_FALSE(ray(m, {1, 1, 0, 1})) << "passes an upper bound";
  EXPECT_FALSE(ray(m, {1, 1, -1, 0})) << "passes a lower bound";
  EXPECT_FALSE(ray(m, {-1, -1, 0, 0})) << "makes the objective worse";
  EXPECT_FALSE(ray(m, {0, 0, 0, -1})) << "leaves the objective as it is";
  TestModel row("G", {0}, {}, {{-1, 0, kInf, {{0, -1}}}});
  EXPECT_FALSE(ray(row, {1})) << "leaves a G row";
  row.a.matValue[0] = 1.0;
  EXPECT_TRUE(ray(row, {1}));
}

TEST(Ray, ToleranceIsRelativeToTheGainOverTheCosts) {
  TestModel m("E", {0}, {}, {{-3, 0, kInf, {{0, 1}}}, {0, -kInf, kInf, {{0, 1}}}});
  // gain 3 over 1 + 3
  EXPECT_TRUE(ray(m, {1, -1 + 0.99 * kRayTolerance * 0.75}));
  EXPECT_FALSE(ray(m, {1, -1 + 1.01 * kRayTolerance * 0.75}));
}

TEST(Ray, CurvatureEndsTheWayOfAQuadraticProgram) {
  TestModel m("E", {0}, {}, {{-1, 0, kInf, {{0, 1}}}, {-1, 0, kInf, {{0, -1}}}});
  m.makeQuadratic({1, 1}, {{1, 0, -1.0}});  // (x0 - x1)^2 / 2
  EXPECT_TRUE(ray(m, {1, 1})) << "Q (1, 1) = 0";
  m.a.quadDiag[1] = 2.0;
  EXPECT_FALSE(ray(m, {1, 1}));
}

TEST(Ray, NothingProvesAZeroDirection) {
  EXPECT_FALSE(ray(unboundedModel(), {0, 0, 0, 0}));
  EXPECT_FALSE(farkas(unboundedModel(), {0, 0}));
}

TEST(Farkas, ProofsOfEachKindOfContradiction) {
  TestModel rows("GE", {2, -1}, {}, {{0, 0, kInf, {{0, -1}, {1, 1}}}});  // -x >= 2 with x >= 0
  EXPECT_TRUE(farkas(rows, {1, 0}));
  EXPECT_TRUE(farkas(rows, {0, -1})) << "x = -1 with x >= 0";
  EXPECT_FALSE(farkas(rows, {-1, 0})) << "a G row's multiplier is not negative";
  EXPECT_FALSE(farkas(rows, {0, 1})) << "x has no upper bound to fall back on";
  TestModel box("G", {5}, {}, {{0, 0, 2, {{0, 1}}}, {0, 0, 2, {{0, 1}}}});  // x + y >= 5 in boxes of 2
  EXPECT_TRUE(farkas(box, {1}));
  box.a.rhs[0] = 3;
  EXPECT_FALSE(farkas(box, {1})) << "b'y = 3 is reached";
}

TEST(Farkas, LargeMultipliersOfAnIterateAreEnough) {
  // x0 - x1 = 3, x0 - x1 = 4, free columns: y = t (-1, 1) and something that does not matter any more
  const TestModel m("EE", {3, 4}, {}, {{2, -kInf, kInf, {{0, 1}, {1, 1}}}, {1, -kInf, kInf, {{0, -1}, {1, -1}}}});
  EXPECT_TRUE(farkas(m, {-1e5 + 1, 1e5 + 1}));
  EXPECT_FALSE(farkas(m, {-10 + 1, 10 + 1}));
  EXPECT_FALSE(farkas(m, {1e5, -1e5}));
}

TEST(StatusByRays, WhatIsProvedTakesTheClaimsPlace) {
  // min -x0 on x1 = 1 twice or not, x0 >= 0 alone: a ray along x0; x1 = 1 and x1 = 2 contradict each other
  const TestModel both("EE", {1, 2}, {}, {{-1, 0, kInf, {}}, {0, -kInf, kInf, {{0, 1}, {1, 1}}}});
  const std::vector<double> far = {1e5, 1}, near = {1, 1}, proof = {-1e5, 1e5}, nothing = {1, 1};
  EXPECT_EQ(judge(both, far, nothing), 4);
  EXPECT_EQ(judge(both, near, proof), 3);
  EXPECT_EQ(judge(both, far, proof), 14);
}

TEST(StatusByRays, AClaimWithoutAProofIsAFailure) {
  const TestModel m("E", {1}, {}, {{-1, 0, 5, {{0, 1}}}});
  EXPECT_EQ(judge(m, {1}, {1}), QZ_STATUS_FAILED);
}

// -x0 <= ... on 1e6 x0 - 1e6 x1 = 1e6, divided by 1e6: a step of 1e-3 off the equation is one of 1e3 in true terms.
TEST(Ray, RowsCountAsTheyWereBeforeTheirScaling) {
  const TestModel m("E", {1}, {}, {{-1, 0, kInf, {{0, 1}}}, {0, 0, kInf, {{0, -1}}}});
  const double scale[] = {1e6}, small[] = {9.9};
  EXPECT_TRUE(ray(m, {1, 0.999}));
  EXPECT_FALSE(ray(m, {1, 0.999}, scale));
  EXPECT_TRUE(ray(m, {1, 0.999}, small)) << "a divisor below 10 is not applied";
}

// x0 = 3 with x0 <= 1 and a multiplier of the wrong sign of a G row beside it, both divided.
TEST(Farkas, RowsCountAsTheyWereBeforeTheirScaling) {
  const TestModel m("EG", {3, 0}, {}, {{0, 0, 1, {{0, 1}}}, {0, -kInf, kInf, {}}});
  const double scale[] = {1, 1e3}, far[] = {1e6, 1};
  EXPECT_FALSE(farkas(m, {1, -0.01}));
  EXPECT_TRUE(farkas(m, {1, -0.01}, scale)) << "of the undivided row the multiplier is a thousandth";
  EXPECT_FALSE(farkas(m, {1, -0.001}, far)) << "the far side weighs on the gain";
}

// Two dependent rows whose sides differ in their last digits, and an empty row with what a reduction has left of its
// side: multipliers may grow without limit.
TEST(Farkas, ContradictionsOfTheSizeOfRoundingProveNothing) {
  const double b = 1e6;
  const std::vector<double> y = {-1e15, 1e15};
  TestModel rows("EE", {b, b + 1e-6}, {}, {{0, -kInf, kInf, {{0, 1}, {1, 1}}}});
  EXPECT_FALSE(farkas(rows, y));
  rows.a.rhs[1] = b + 1e-1;
  EXPECT_TRUE(farkas(rows, y));
  TestModel empty("E", {1e-12}, {}, {});
  EXPECT_FALSE(farkas(empty, {1e30}));
  empty.a.rhs[0] = 1e-6;
  EXPECT_TRUE(farkas(empty, {1e30}));
}

TEST(Ray, GainsOfTheSizeOfRoundingProveNothing) {
  TestModel m("E", {0}, {}, {{-1 - 1e-12, 0, kInf, {{0, 1}}}, {1, 0, kInf, {{0, -1}}}});
  EXPECT_FALSE(ray(m, {1e12, 1e12}));
  m.a.obj[0] = -1 - 1e-6;
  EXPECT_TRUE(ray(m, {1e12, 1e12}));
}

TEST(StatusByRays, ValuesThatAreNoNumbersProveNothing) {
  const TestModel m = unboundedModel();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(judge(m, {nan, nan, nan, nan}, {nan, nan}), QZ_STATUS_FAILED);
}

}  // namespace
