// Scale factors of the presolver module, applied and taken back.
#include "scaling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "support/test_host.h"
#include "transform/model_fixture.h"

namespace {

using qztest::kInf;
using qztest::TestModel;

class ModuleScaling : public ::testing::Test {
 protected:
  ModuleScaling() { object.pool = host.pool(); }
  int32_t call(QzPresolveScale operation, TestModel& m, int32_t direction) {
    return operation(&object, direction, m.model.numRow, m.model.numCol, m.model.numCoef, m.model.colBegin, 1e-6,
                     m.model.colLength, m.model.rowIndex, m.model.matValue, m.model.obj, m.model.lower, m.model.upper,
                     rowScale.data(), colScale.data(), nullptr, nullptr, m.model.rhs, m.model.rowSense, m.model.range,
                     m.model.solPrimal, m.model.solDual, m.model.reducedCost, m.model.rowActivity);
  }
  void ones(const TestModel& m) {
    rowScale.assign(static_cast<size_t>(m.model.numRow) + 1, 1.0);
    colScale.assign(static_cast<size_t>(m.model.numCol) + 1, 1.0);
  }
  qztest::TestHost host;
  QzPresolveObject object{};
  std::vector<double> rowScale, colScale;
};

TestModel spread(unsigned seed) {
  std::mt19937 random(seed);
  TestModel m = qztest::randomModel(random, 1 + static_cast<int>(random() % 9), static_cast<int>(random() % 12));
  std::uniform_real_distribution<double> exponent(-6, 6);
  for (auto& a : m.a.matValue) a *= std::pow(10.0, exponent(random));
  return m;
}

TEST_F(ModuleScaling, AppliesItsFactorsAsTheTableSays) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    TestModel m = spread(seed);
    const qztest::ModelArrays before = m.a;
    ones(m);
    ASSERT_EQ(call(qzpresol::scaleModel, m, 1), 0);
    const double o = rowScale.back();
    EXPECT_EQ(o, 1.0);
    EXPECT_EQ(colScale.back(), 1.0);
    for (size_t j = 0; j < static_cast<size_t>(m.model.numCol); ++j) {
      const double c = colScale[j];
      EXPECT_EQ(m.a.obj[j], before.obj[j] * c * o);
      EXPECT_EQ(m.a.lower[j], before.lower[j] <= -1e20 ? before.lower[j] : before.lower[j] / c) << seed;
      EXPECT_EQ(m.a.upper[j], before.upper[j] >= 1e20 ? before.upper[j] : before.upper[j] / c) << seed;
      const auto begin = static_cast<size_t>(before.colBegin[j]);
      for (size_t k = begin; k < begin + static_cast<size_t>(before.colLength[j]); ++k)
        EXPECT_EQ(m.a.matValue[k], before.matValue[k] * rowScale[static_cast<size_t>(before.rowIndex[k])] * c);
    }
    for (size_t i = 0; i < before.rhs.size(); ++i) {
      EXPECT_EQ(m.a.rhs[i], before.rhs[i] * rowScale[i]);
      EXPECT_EQ(m.a.range[i], before.range[i] * rowScale[i]);
    }
    for (const auto* factors : {&rowScale, &colScale})
      for (double f : *factors) {
        int exponent = 0;
        EXPECT_EQ(std::frexp(f, &exponent), 0.5) << "a power of two";
      }
    EXPECT_EQ(m.a.rowSense, before.rowSense);
  }
}

TEST_F(ModuleScaling, UnscalingGivesEveryBitBack) {
  for (unsigned seed = 0; seed < 100; ++seed)
    for (int32_t direction : {1, -1}) {
      TestModel m = spread(seed);
      const qztest::ModelArrays before = m.a;
      ones(m);
      ASSERT_EQ(call(qzpresol::scaleModel, m, direction), 0);
      for (size_t j = 0; j < static_cast<size_t>(m.model.numCol); ++j) {
        m.a.solPrimal[j] = 3.0 / colScale[j];
        m.a.reducedCost[j] = 5.0 * colScale[j];
      }
      for (size_t i = 0; i < before.rhs.size(); ++i) {
        m.a.solDual[i] = 7.0 / rowScale[i];
        m.a.rowActivity[i] = 9.0 * rowScale[i];
      }
      ASSERT_EQ(call(qzpresol::unscaleModel, m, direction), 0);
      EXPECT_EQ(m.a.matValue, before.matValue) << seed;
      EXPECT_EQ(m.a.obj, before.obj);
      EXPECT_EQ(m.a.lower, before.lower);
      EXPECT_EQ(m.a.upper, before.upper);
      EXPECT_EQ(m.a.rhs, before.rhs);
      EXPECT_EQ(m.a.range, before.range);
      for (size_t j = 0; j < static_cast<size_t>(m.model.numCol); ++j) {
        EXPECT_EQ(m.a.solPrimal[j], 3.0);
        EXPECT_EQ(m.a.reducedCost[j], 5.0);
      }
      for (size_t i = 0; i < before.rhs.size(); ++i) {
        EXPECT_EQ(m.a.solDual[i], 7.0);
        EXPECT_EQ(m.a.rowActivity[i], 9.0);
      }
    }
}

TEST_F(ModuleScaling, LargestMagnitudeOfEachColumnIsAboutOne) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    TestModel m = spread(seed);
    ones(m);
    ASSERT_EQ(call(qzpresol::scaleModel, m, 1), 0);
    for (size_t j = 0; j < static_cast<size_t>(m.model.numCol); ++j) {
      double largest = 0;
      for (int k = m.a.colBegin[j]; k < m.a.colBegin[j] + m.a.colLength[j]; ++k)
        largest = std::max(largest, std::abs(m.a.matValue[static_cast<size_t>(k)]));
      if (m.a.colLength[j] == 0) continue;
      EXPECT_GE(largest, 0.25) << seed;
      EXPECT_LE(largest, 2.01) << seed;
    }
  }
}

TEST_F(ModuleScaling, SpreadOfTwelveDecadesComesTogether) {
  // An outer product scales to ones, up to the rounding of the factors to powers of two.
  TestModel m("LG", {1e4, 1e-4}, {0, 0}, {{1, 0, kInf, {{0, 1e6}, {1, 1}}}, {1, 0, kInf, {{0, 1}, {1, 1e-6}}}});
  ones(m);
  ASSERT_EQ(call(qzpresol::scaleModel, m, 1), 0);
  for (int k = 0; k < 4; ++k) {
    EXPECT_GT(m.a.matValue[static_cast<size_t>(k)], 0.2);
    EXPECT_LT(m.a.matValue[static_cast<size_t>(k)], 4.1);
  }
}

TEST_F(ModuleScaling, NothingToScaleKeepsFactorsOfOne) {
  TestModel m("EE", {1, 2}, {0, 0}, {{5, 0, 1, {{0, 1}}}, {7, 0, 1, {{1, -1}}}, {1, 0, 1, {}}});
  m.a.matValue[0] = 1.0;
  ones(m);
  const qztest::ModelArrays before = m.a;
  ASSERT_EQ(call(qzpresol::scaleModel, m, 1), 0);
  EXPECT_EQ(m.a, before);
  EXPECT_EQ(rowScale, std::vector<double>(3, 1.0));
  EXPECT_EQ(colScale, std::vector<double>(4, 1.0));
}

TEST_F(ModuleScaling, StoredZerosAndAMissingRangeArrayAreNoFault) {
  TestModel m("L", {8}, {}, {{1, 0, 4, {{0, 0.0}}}, {1, 0, 4, {{0, 8.0}}}});
  ones(m);
  ASSERT_EQ(call(qzpresol::scaleModel, m, 1), 0);
  EXPECT_EQ(m.a.matValue[0], 0.0);
  EXPECT_EQ(m.a.matValue[1], 1.0);
  EXPECT_EQ(colScale[0], 1.0);
}

TEST_F(ModuleScaling, WithoutMemoryNothingChanges) {
  TestModel m = spread(1);
  const qztest::ModelArrays before = m.a;
  ones(m);
  host.failAllocation(1);
  EXPECT_EQ(call(qzpresol::scaleModel, m, 1), -1086);
  host.failAllocation(0);
  EXPECT_EQ(m.a, before);
  EXPECT_EQ(host.outstanding(), 0);
}

}  // namespace
