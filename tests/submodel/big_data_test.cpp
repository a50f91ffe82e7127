// What the screening of the input marks, against distributions made by hand.
#include "submodel/big_data.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "shell/pool.h"
#include "submodel/sub_matrix.h"
#include "transform/model_fixture.h"

namespace qz {
namespace {

using qztest::ColumnSpec;
using qztest::kInf;
using qztest::TestModel;

// A record on a model, screened.
class BigData : public ::testing::Test {
 protected:
  ~BigData() override {
    FreeSubModel(&env, &submodel);
    EXPECT_EQ(host.outstanding(), 0);
  }
  int32_t mark(TestModel& m) {
    env.pool = host.pool();
    env.log = host.log();
    FreeSubModel(&env, &submodel);
    EXPECT_EQ(NewSubModel(&env, &m.model, &submodel), 0);
    option.infinityValue = 1e20;
    return ipmMarkBigdata(&env, &m.model, submodel, &option);
  }
  std::vector<int32_t> rows() const { return {submodel->idxRowSub, submodel->idxRowSub + submodel->numRowSub}; }
  std::vector<int32_t> cols() const { return {submodel->idxColSub, submodel->idxColSub + submodel->numColSub}; }
  std::vector<int32_t> bounds() const { return {submodel->idxBoundSub, submodel->idxBoundSub + submodel->numBoundSub}; }

  qztest::TestHost host;
  Env env{};
  IpmOption option{};
  SubModel* submodel = nullptr;
};

// `n` columns with one element of the given size each, in one row.
TestModel matrixOf(int n, double element) {
  std::vector<ColumnSpec> columns(static_cast<size_t>(n), ColumnSpec{1.0, 0.0, kInf, {{0, element}}});
  return TestModel("G", {1.0}, {}, columns);
}

TEST_F(BigData, PercentileBelowOneGivesOneHundred) {
  for (double element : {0.5, 1.0}) {
    TestModel m = matrixOf(40, element);
    ASSERT_EQ(mark(m), 0);
    EXPECT_EQ(submodel->thresholdMat, 100.0) << element;
    EXPECT_EQ(submodel->thresholdBig, 10000.0);
    EXPECT_EQ(submodel->thresholdBound, 1000.0);
  }
}

TEST_F(BigData, PercentileOfOneThousandMovesEveryThreshold) {
  // Entries 0 to 18 of 20 lie in (100, 1000], entry 19, the percentile's, opens the bucket above: it reads as 1000.
  std::vector<ColumnSpec> columns;
  columns.reserve(20);
  for (int j = 0; j < 20; ++j) columns.push_back({1.0, 0.0, kInf, {{0, j < 19 ? 500.0 : 5000.0}}});
  TestModel m("G", {1.0}, {}, columns);
  ASSERT_EQ(mark(m), 0);
  EXPECT_EQ(submodel->thresholdMat, 1000.0);
  EXPECT_EQ(submodel->thresholdBig, 100000.0);
  EXPECT_EQ(submodel->thresholdBound, 10000.0);
  EXPECT_GE(submodel->thresholdRow, submodel->thresholdBig);
  EXPECT_GE(submodel->thresholdCol, submodel->thresholdBig);
}

TEST_F(BigData, BigRightHandSideOfAnInequalityIsMarkedButNotThatOfAnEquation) {
  const std::string senses = "GEGGGGGGGG";
  std::vector<double> rhs(10, 3.0);
  rhs[0] = -1e15;
  rhs[1] = 1e15;
  TestModel m(senses, rhs, {}, {{1.0, 0.0, kInf, {{0, 1.0}}}});
  ASSERT_EQ(mark(m), 0);
  EXPECT_EQ(rows(), std::vector<int32_t>{0});
  EXPECT_EQ(submodel->rowMapSub[0], -1);
  for (int32_t i = 1; i < 10; ++i) EXPECT_EQ(submodel->rowMapSub[i], i - 1);
  EXPECT_LE(submodel->thresholdRow, 1e15);
}

TEST_F(BigData, NoBigRightHandSideGivesTheIdentity) {
  TestModel m("GGE", {9999.0, -10000.0, 5.0}, {}, {{1.0, 0.0, kInf, {{0, 1.0}}}});
  ASSERT_EQ(mark(m), 0);
  EXPECT_TRUE(rows().empty());
  for (int32_t i = 0; i < 3; ++i) EXPECT_EQ(submodel->rowMapSub[i], i);
}

// The big values are never the majority.
TEST_F(BigData, MostlyBigRightHandSidesAreNotBig) {
  TestModel m("GGGG", {1e8, 1e8, 1e8, 1.0}, {}, {{1.0, 0.0, kInf, {{0, 1.0}}}});
  ASSERT_EQ(mark(m), 0);
  EXPECT_TRUE(rows().empty());
}

TEST_F(BigData, BigCostOfABoundedColumnIsMarkedButNotThatOfAFreeOne) {
  std::vector<ColumnSpec> columns(12, ColumnSpec{2.0, 0.0, kInf, {{0, 1.0}}});
  columns[2] = {1e15, -kInf, kInf, {{0, 1.0}}};
  columns[5] = {-1e15, -kInf, 4.0, {{0, 1.0}}};
  columns[7] = {1e15, 0.0, kInf, {{0, 1.0}}};
  TestModel m("G", {1.0}, {}, columns);
  ASSERT_EQ(mark(m), 0);
  EXPECT_EQ(cols(), (std::vector<int32_t>{5, 7}));
  EXPECT_EQ(submodel->colMapSub[2], 2);
  EXPECT_EQ(submodel->colMapSub[5], -1);
  EXPECT_EQ(submodel->colMapSub[6], 5);
  EXPECT_EQ(submodel->colMapSub[11], 9);
}

TEST_F(BigData, FarBoundsAreMarkedOneByOne) {
  TestModel m("G", {1.0}, {},
              {{1.0, -1000.0, 1000.0, {{0, 1.0}}},  // as far as the limit, and so not far
               {1.0, -1000.5, 1000.0, {{0, 1.0}}},  // below
               {1.0, -1.0, 2e5, {{0, 1.0}}},        // above
               {1.0, -7e6, 3e3, {{0, 1.0}}},        // both
               {1.0, -kInf, kInf, {{0, 1.0}}},      // infinite ones are none
               {1.0, 5000.0, 1e20, {{0, 1.0}}},     // a lower bound far above 0 is no far one
               {1.0, -1e20, -5000.0, {{0, 1.0}}}});
  ASSERT_EQ(mark(m), 0);
  EXPECT_EQ(bounds(), (std::vector<int32_t>{1, 2, 3}));
  const std::vector<int32_t> marks(submodel->statusBoundSub, submodel->statusBoundSub + 7);
  EXPECT_EQ(marks, (std::vector<int32_t>{0, SUB_LOWER, SUB_UPPER, SUB_LOWER | SUB_UPPER, 0, 0, 0}));
}

TEST_F(BigData, ASideWithoutMarksLosesItsSubMatrix) {
  TestModel big("GGGG", {1e8, 1.0, 1.0, 1.0}, {},
                {{1e8, 0.0, 5e4, {{0, 1.0}, {2, 3.0}}},
                 {1.0, 0.0, 1.0, {{1, 1.0}}},
                 {1.0, 0.0, 1.0, {{3, 1.0}}},
                 {1.0, 0.0, 1.0, {{3, 1.0}}}});
  ASSERT_EQ(mark(big), 0);
  ASSERT_EQ(CreateSubModel(&env, &big.model, submodel), 0);
  EXPECT_NE(submodel->rowBeginSub, nullptr);
  EXPECT_NE(submodel->colBeginSub, nullptr);
  EXPECT_NE(submodel->lowerSub, nullptr);
  EXPECT_EQ(submodel->numCoefColSub, 2);
  EXPECT_EQ(submodel->numCoefRowSub, 1);
  big.model.rhs[0] = big.model.obj[0] = 1.0;
  big.model.upper[0] = 5.0;
  ASSERT_EQ(ipmMarkBigdata(&env, &big.model, submodel, &option), 0);
  EXPECT_EQ(submodel->rowBeginSub, nullptr);
  EXPECT_EQ(submodel->colBeginSub, nullptr);
  EXPECT_EQ(submodel->lowerSub, nullptr);
  EXPECT_EQ(submodel->upperSub, nullptr);
  EXPECT_EQ(submodel->numCoefColSub + submodel->numCoefRowSub, 0);
}

TEST_F(BigData, EveryInvalidThresholdIsToldAndTheResultIsAFailure) {
  // A percentile inside the topmost bucket, 1e15 to 1e16, is the largest there is: all thresholds stay below 1e20, so
  // an invalid one takes a matrix count that does not belong to the matrix.
  TestModel m = matrixOf(3, 1e300);
  ASSERT_EQ(mark(m), 0);
  EXPECT_LT(submodel->thresholdBig, 1e19);
  m.model.numCoef = 2000000000;
  ASSERT_EQ(mark(m), QZ_STATUS_FAILED);
  for (const char* field : {"Mat", "Big", "Bound", "Row", "Col"})
    EXPECT_TRUE(host.loggedText("submodel->threshold" + std::string(field) + " = %f is not valid.")) << field;
  for (const auto& message : host.messages) EXPECT_EQ(message.level, 4);
}

TEST_F(BigData, AnInvalidThresholdIsAFailureInSilenceToo) {
  TestModel m = matrixOf(3, 1e300);
  m.model.numCoef = 2000000000;
  mark(m);
  env.log = nullptr;
  EXPECT_EQ(ipmMarkBigdata(&env, &m.model, submodel, &option), QZ_STATUS_FAILED);
}

TEST_F(BigData, NullRecordIsAccepted) {
  TestModel m = matrixOf(1, 1.0);
  EXPECT_EQ(ipmMarkBigdata(&env, &m.model, nullptr, &option), 0);
}

// Whatever the numbers, marks and maps fit together.
TEST_F(BigData, MapsNumberWhatIsKept) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> decade(-3.0, 17.0);
  for (int round = 0; round < 300; ++round) {
    const int m = 1 + static_cast<int>(random() % 30);
    const int n = 1 + static_cast<int>(random() % 30);
    std::string senses;
    std::vector<double> rhs;
    for (int i = 0; i < m; ++i) {
      senses.push_back("EG"[random() % 2]);
      rhs.push_back(random() % 3 == 0 ? std::pow(10.0, decade(random)) : 1.0);
    }
    std::vector<ColumnSpec> columns;
    columns.reserve(static_cast<size_t>(n));
    for (int j = 0; j < n; ++j)
      columns.push_back(
          {random() % 3 == 0 ? -std::pow(10.0, decade(random)) : 1.0,
           random() % 2 == 0 ? -kInf : 0.0,
           random() % 2 == 0 ? kInf : std::pow(10.0, decade(random)),
           {{static_cast<int32_t>(random() % static_cast<unsigned>(m)), std::pow(10.0, decade(random))}}});
    TestModel model(senses, rhs, {}, columns);
    ASSERT_EQ(mark(model), 0) << "round " << round;
    int32_t kept = 0;
    for (int32_t i = 0; i < m; ++i) {
      const bool marked = std::abs(rhs[static_cast<size_t>(i)]) > submodel->thresholdRow &&
                          senses[static_cast<size_t>(i)] == 'G' && submodel->numRowSub > 0;
      EXPECT_EQ(submodel->rowMapSub[i], marked ? -1 : kept++);
    }
    EXPECT_EQ(kept + submodel->numRowSub, m);
    kept = 0;
    for (int32_t j = 0; j < n; ++j) kept += submodel->colMapSub[j] >= 0 ? 1 : 0;
    EXPECT_EQ(kept + submodel->numColSub, n);
  }
}

}  // namespace
}  // namespace qz
