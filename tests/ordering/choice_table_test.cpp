#include "ordering/choice_table.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "ordering/order_graph.h"

namespace qztest {
namespace {

constexpr int32_t AMD = 0;
constexpr int32_t AMF = 1;
constexpr int32_t ND = 2;

TEST(ChoiceTable, CodesOfTheEngines) {
  EXPECT_EQ(qz::ORDER_AUTOMATIC, -1);
  EXPECT_EQ(qz::ORDER_AMD, AMD);
  EXPECT_EQ(qz::ORDER_AMF, AMF);
  EXPECT_EQ(qz::ORDER_NESTED_DISSECTION, ND);
  EXPECT_EQ(qz::ORDER_IDENTITY, 3);
}

// The engines below, between and from the thresholds on: one more than thresholds.
void walk(int32_t kind, int32_t isLDL, int32_t n, const std::vector<double>& thresholds,
          const std::vector<int32_t>& engines) {
  ASSERT_EQ(engines.size(), thresholds.size() + 1);
  EXPECT_EQ(qz::chooseOrdering(kind, isLDL, n, 0.0), engines.front());
  for (size_t k = 0; k < thresholds.size(); ++k) {
    const double t = thresholds[k];
    EXPECT_EQ(qz::chooseOrdering(kind, isLDL, n, std::nextafter(t, 0.0)), engines[k]) << "just below " << t;
    EXPECT_EQ(qz::chooseOrdering(kind, isLDL, n, t), engines[k + 1]) << "at " << t;
    EXPECT_EQ(qz::chooseOrdering(kind, isLDL, n, std::nextafter(t, 1e9)), engines[k + 1]) << "just above " << t;
  }
  EXPECT_EQ(qz::chooseOrdering(kind, isLDL, n, 1e9), engines.back());
}

TEST(ChoiceTable, NormalEquations) {
  for (const int32_t isLDL : {0, 1}) {
    for (const int32_t n : {2500, 2501, 1000000}) {
      walk(0, isLDL, n, {13.4, 26.5, 29.2, 45.0, 61.0, 80.0, 118.0, 210.0, 330.0, 375.0},
           {AMF, ND, AMF, ND, AMF, ND, AMF, ND, AMF, AMD, ND});
    }
    for (const double avg : {1.0, 13.4, 20.0, 44.9, 375.0, 600.0}) {
      EXPECT_EQ(qz::chooseOrdering(0, isLDL, 2499, avg), AMF) << avg;
    }
  }
}

TEST(ChoiceTable, AugmentedSystem) {
  for (const int32_t isLDL : {0, 1}) {
    for (const int32_t n : {10, 2499, 100000}) {
      walk(1, isLDL, n, {3.593, 3.65, 3.73, 3.96, 4.4, 4.638, 5.84, 6.0, 6.25, 8.5, 17.0, 19.0, 25.0, 30.0},
           {ND, AMD, ND, AMF, ND, AMF, ND, AMF, ND, AMD, ND, AMD, ND, AMF, ND});
    }
  }
  EXPECT_EQ(qz::chooseOrdering(1, 1, 5000, 3.6), AMD);
  EXPECT_EQ(qz::chooseOrdering(1, 1, 5000, 3.7), ND);
}

TEST(ChoiceTable, KindTwo) {
  for (const int32_t isLDL : {0, 1}) {
    walk(2, isLDL, 3500, {3.75, 4.69, 5.6, 6.5, 7.0}, {ND, AMF, ND, AMF, AMD, ND});
    for (const double avg : {1.0, 3.75, 5.0, 6.8, 100.0}) EXPECT_EQ(qz::chooseOrdering(2, isLDL, 3499, avg), AMF);
  }
}

TEST(ChoiceTable, OtherKindsOfTheCholeskyAnalysisGoBySize) {
  for (const int32_t kind : {3, 4, 5}) {
    for (const double avg : {0.5, 5.0, 79.5, 500.0}) {
      EXPECT_EQ(qz::chooseOrdering(kind, 0, 4, avg), AMD);
      EXPECT_EQ(qz::chooseOrdering(kind, 0, 4099, avg), AMD);
      EXPECT_EQ(qz::chooseOrdering(kind, 0, 4100, avg), AMF);
      EXPECT_EQ(qz::chooseOrdering(kind, 0, 10999, avg), AMF);
      EXPECT_EQ(qz::chooseOrdering(kind, 0, 11000, avg), ND);
      EXPECT_EQ(qz::chooseOrdering(kind, 0, 2000000000, avg), ND);
    }
  }
}

TEST(ChoiceTable, OtherKindsOfTheLdlAnalysis) {
  for (const int32_t kind : {3, 4, 5}) {
    for (const int32_t n : {10, 4100, 11000}) {
      walk(kind, 1, n, {5.0, 6.1, 7.72, 8.22, 12.0, 74.0, 79.0, 80.0, 85.0, 87.0},
           {AMF, ND, AMF, ND, AMF, ND, AMF, ND, AMF, AMD, ND});
    }
  }
}

TEST(ChoiceTable, BalanceFactor) {
  const auto above = [](double t) { return qz::chooseBalanceFactor(std::nextafter(t, 1e9)); };
  EXPECT_EQ(above(1600.0), 1.2);
  EXPECT_EQ(qz::chooseBalanceFactor(1600.0), 1.25);
  EXPECT_EQ(above(1000.0), 1.25);
  EXPECT_EQ(qz::chooseBalanceFactor(1000.0), 1.3);
  EXPECT_EQ(above(440.0), 1.3);
  EXPECT_EQ(qz::chooseBalanceFactor(440.0), 1.35);
  EXPECT_EQ(above(360.0), 1.35);
  EXPECT_EQ(qz::chooseBalanceFactor(360.0), 1.4);
  EXPECT_EQ(qz::chooseBalanceFactor(4.0), 1.4);
  EXPECT_EQ(qz::chooseBalanceFactor(std::nextafter(4.0, 0.0)), 1.45);
  EXPECT_EQ(qz::chooseBalanceFactor(0.0), 1.45);
}

}  // namespace
}  // namespace qztest
