// The verdict on a point by its measures: just inside and just outside every tolerance.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>
#include <vector>

#include "engine/measures.h"

namespace {

// Four different tolerances, so that a mix-up of two shows.
constexpr double tP = 1e-6;
constexpr double tD = 3e-6;
constexpr double tG = 5e-7;
constexpr double tC = 2e-6;

struct Point {
  double primal = 0.0;
  double bound = 0.0;
  double dual = 0.0;
  double gap = 0.0;
  double complementarity = 0.0;
};

std::ostream& operator<<(std::ostream& out, const Point& p) {
  return out << "P " << p.primal << " B " << p.bound << " D " << p.dual << " G " << p.gap << " C " << p.complementarity;
}

int32_t status(const Point& p) {
  return qz::getSolutionStatus(tP, tD, tG, tC, p.primal, p.bound, p.dual, p.gap, p.complementarity);
}

double above(double value) {
  return std::nextafter(value, 1e300);
}
double below(double value) {
  return std::nextafter(value, -1e300);
}

// A feasible point with the given gap and complementarity.
Point feasible(double gap, double complementarity) {
  return {0.0, 0.0, 0.0, gap, complementarity};
}

// The rules as a table of conditions, evaluated from the definitions by code of its own.
int32_t byTheRules(const Point& p) {
  const bool feasiblePrimal = !(p.primal > tP) && !(p.bound > tP);
  const bool feasibleDual = !(p.dual > tD);
  if (feasiblePrimal && feasibleDual && !(p.gap > tG) && !(p.complementarity > tC)) return 1;
  const int nearness = (p.gap < tG ? 1 : 0) + (p.complementarity < tC ? 1 : 0) +
                       (p.gap < 100 * tG && p.complementarity < 100 * tC ? 1 : 0);
  if (nearness > 0 && feasiblePrimal && feasibleDual) return 15;
  if (nearness > 0 && p.complementarity < tC && !(p.primal > 10 * tP) && !(p.bound > 10 * tP) && !(p.dual > 10 * tD))
    return 15;
  if (!feasiblePrimal) return feasibleDual ? 3 : 14;
  return feasibleDual ? 10 : 4;
}

TEST(SolutionStatus, ZeroMeasuresAreOptimal) {
  EXPECT_EQ(status({}), 1);
}

TEST(SolutionStatus, EveryMeasureExactlyAtItsToleranceIsOptimal) {
  EXPECT_EQ(status({tP, tP, tD, tG, tC}), 1);
}

TEST(SolutionStatus, EveryMeasureJustInsideIsOptimal) {
  EXPECT_EQ(status({below(tP), below(tP), below(tD), below(tG), below(tC)}), 1);
}

TEST(SolutionStatus, PrimalJustOutsideWithTheRestMetIsNearOptimalByComplementarity) {
  EXPECT_EQ(status({above(tP), 0, 0, 0, 0}), 15);
  EXPECT_EQ(status({0, above(tP), 0, 0, 0}), 15);
  EXPECT_EQ(status({0, 0, above(tD), 0, 0}), 15);
}

TEST(SolutionStatus, TenTimesTheToleranceIsTheEdgeOfNearOptimal) {
  EXPECT_EQ(status({10 * tP, 0, 0, 0, 0}), 15);
  EXPECT_EQ(status({above(10 * tP), 0, 0, 0, 0}), 3);
  EXPECT_EQ(status({0, 10 * tP, 0, 0, 0}), 15);
  EXPECT_EQ(status({0, above(10 * tP), 0, 0, 0}), 3);
  EXPECT_EQ(status({0, 0, 10 * tD, 0, 0}), 15);
  EXPECT_EQ(status({0, 0, above(10 * tD), 0, 0}), 4);
  EXPECT_EQ(status({10 * tP, 10 * tP, 10 * tD, 1.0, below(tC)}), 15);
}

TEST(SolutionStatus, TheTenfoldAllowanceNeedsComplementarityStrictlyWithinTolerance) {
  EXPECT_EQ(status({2 * tP, 0, 0, 0, below(tC)}), 15);
  EXPECT_EQ(status({2 * tP, 0, 0, 0, tC}), 3);
  EXPECT_EQ(status({2 * tP, 0, 2 * tD, 0, tC}), 14);
  EXPECT_EQ(status({0, 0, 2 * tD, 0, tC}), 4);
}

TEST(SolutionStatus, GapJustOutsideIsNearOptimalWhileComplementarityIsMet) {
  EXPECT_EQ(status(feasible(above(tG), 0)), 15);
  EXPECT_EQ(status(feasible(1e10, below(tC))), 15);
}

TEST(SolutionStatus, ComplementarityJustOutsideIsNearOptimalWhileTheGapIsMet) {
  EXPECT_EQ(status(feasible(0, above(tC))), 15);
  EXPECT_EQ(status(feasible(below(tG), 1e10)), 15);
}

TEST(SolutionStatus, GapAndComplementarityBetweenOnceAndAHundredTimesAreNearOptimal) {
  EXPECT_EQ(status({tP, tP, tD, 50 * tG, 50 * tC}), 15);
  EXPECT_EQ(status(feasible(below(100 * tG), below(100 * tC))), 15);
  EXPECT_EQ(status(feasible(above(tG), above(tC))), 15);
}

TEST(SolutionStatus, AHundredTimesTheToleranceIsOutside) {
  EXPECT_EQ(status(feasible(100 * tG, 50 * tC)), 10);
  EXPECT_EQ(status(feasible(50 * tG, 100 * tC)), 10);
  EXPECT_EQ(status(feasible(above(100 * tG), below(100 * tC))), 10);
  EXPECT_EQ(status(feasible(below(100 * tG), above(100 * tC))), 10);
}

TEST(SolutionStatus, TestsOnGapAndComplementarityBehindTheFirstAreStrict) {
  // At its tolerance a measure passes the first test but alone it does not open the second.
  EXPECT_EQ(status(feasible(tG, 200 * tC)), 10);
  EXPECT_EQ(status(feasible(200 * tG, tC)), 10);
  EXPECT_EQ(status(feasible(below(tG), 200 * tC)), 15);
  EXPECT_EQ(status(feasible(200 * tG, below(tC))), 15);
}

TEST(SolutionStatus, PrimalExactlyAtToleranceIsNotPrimalInfeasible) {
  EXPECT_EQ(status({tP, 0, 0, 1.0, 1.0}), 10);
  EXPECT_EQ(status({0, tP, 0, 1.0, 1.0}), 10);
  EXPECT_EQ(status({above(tP), 0, 0, 1.0, 1.0}), 3);
  EXPECT_EQ(status({0, above(tP), 0, 1.0, 1.0}), 3);
}

TEST(SolutionStatus, DualExactlyAtToleranceIsNotDualInfeasible) {
  EXPECT_EQ(status({0, 0, tD, 1.0, 1.0}), 10);
  EXPECT_EQ(status({0, 0, above(tD), 1.0, 1.0}), 4);
}

TEST(SolutionStatus, BothResidualsOutsideAreBothInfeasible) {
  EXPECT_EQ(status({above(tP), 0, above(tD), 1.0, 1.0}), 14);
  EXPECT_EQ(status({0, above(tP), above(tD), 1.0, 1.0}), 14);
  EXPECT_EQ(status({above(tP), 0, tD, 1.0, 1.0}), 3);
  EXPECT_EQ(status({tP, tP, above(tD), 1.0, 1.0}), 4);
}

TEST(SolutionStatus, FeasibleWithAnOpenGapIsUndecided) {
  EXPECT_EQ(status(feasible(1.0, 1.0)), 10);
}

TEST(SolutionStatus, MetGapDoesNotExcuseInfeasibilityWithoutComplementarity) {
  EXPECT_EQ(status({2 * tP, 0, 0, 0, 200 * tC}), 3);
  EXPECT_EQ(status({0, 0, 2 * tD, 0, 200 * tC}), 4);
  EXPECT_EQ(status({2 * tP, 0, 2 * tD, 0, 200 * tC}), 14);
}

TEST(SolutionStatus, NearGapAndComplementarityDoNotExcuseInfeasibility) {
  EXPECT_EQ(status({2 * tP, 0, 0, 50 * tG, 50 * tC}), 3);
  EXPECT_EQ(status({0, 2 * tP, 0, 50 * tG, 50 * tC}), 3);
  EXPECT_EQ(status({0, 0, 2 * tD, 50 * tG, 50 * tC}), 4);
}

TEST(SolutionStatus, NotANumberNeverCountsAsMet) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(status({0, 0, 0, nan, nan}), 10);
  EXPECT_NE(status({nan, 0, 0, 0, 0}), 1);
  EXPECT_NE(status({0, nan, 0, 0, 0}), 1);
  EXPECT_NE(status({0, 0, nan, 0, 0}), 1);
  EXPECT_NE(status({0, 0, 0, nan, 0}), 1);
  EXPECT_NE(status({0, 0, 0, 0, nan}), 1);
}

TEST(SolutionStatus, InfiniteResidualsAreInfeasible) {
  const double infinite = std::numeric_limits<double>::infinity();
  EXPECT_EQ(status({infinite, 0, 0, 0, 0}), 3);
  EXPECT_EQ(status({0, 0, infinite, 0, 0}), 4);
  EXPECT_EQ(status({infinite, 0, infinite, 0, 0}), 14);
}

TEST(SolutionStatus, EachToleranceActsOnItsOwnMeasure) {
  // Raising one tolerance lets exactly one failing measure through.
  EXPECT_EQ(qz::getSolutionStatus(1.0, tD, tG, tC, 0.5, 0.5, 0, 0, 0), 1);
  EXPECT_EQ(qz::getSolutionStatus(tP, 1.0, tG, tC, 0, 0, 0.5, 0, 0), 1);
  EXPECT_EQ(qz::getSolutionStatus(tP, tD, 1.0, tC, 0, 0, 0, 0.5, 0), 1);
  EXPECT_EQ(qz::getSolutionStatus(tP, tD, tG, 1.0, 0, 0, 0, 0, 0.5), 1);
}

TEST(SolutionStatus, MatchesTheRulesOnAGridAroundEveryThreshold) {
  const auto around = [](double tolerance, const std::vector<double>& factors) {
    std::vector<double> values{0.0};
    for (double factor : factors)
      for (double value : {below(factor * tolerance), factor * tolerance, above(factor * tolerance)})
        values.push_back(value);
    values.push_back(1e6);
    return values;
  };
  const std::vector<double> primals = around(tP, {1, 10});
  const std::vector<double> duals = around(tD, {1, 10});
  const std::vector<double> gaps = around(tG, {1, 100});
  const std::vector<double> complementarities = around(tC, {1, 100});
  int seen[16] = {};
  for (double primal : primals)
    for (double bound : primals)
      for (double dual : duals)
        for (double gap : gaps)
          for (double complementarity : complementarities) {
            const Point point{primal, bound, dual, gap, complementarity};
            const int32_t verdict = status(point);
            ASSERT_EQ(verdict, byTheRules(point)) << point;
            ++seen[verdict];
          }
  for (int32_t verdict : {1, 3, 4, 10, 14, 15}) EXPECT_GT(seen[verdict], 0) << verdict;
}

}  // namespace
