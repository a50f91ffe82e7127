#include "engine/saved_point.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/test_host.h"
#include "transform/hub.h"

namespace qz {
namespace {

// Two rows, three columns; the last column is the slack of the range row 1.
class SavedPointTest : public ::testing::Test {
 protected:
  SavedPointTest() {
    env.pool = host.pool();
    double next = 1.0;
    for (std::vector<double>* array : {&x, &sl, &su, &zl, &zu})
      for (int j = 0; j < 3; ++j) array->push_back(next++);
    for (std::vector<double>* array : {&y, &s})
      for (int i = 0; i < 2; ++i) array->push_back(next++);
    solution = {x.data(), y.data(), sl.data(), su.data(), zl.data(), zu.data(), s.data()};
    hub.numColSaved = 2;
    hub.numRange = 1;
    hub.rangeRowList = &rangeRow;
    hub.objScale = 0.5;
    hub.rowScale = rowScale;
    hub.colScale = colScale;
  }
  void forget() {
    for (std::vector<double>* array : {&x, &sl, &su, &zl, &zu, &y, &s}) std::fill(array->begin(), array->end(), -1.0);
  }

  qztest::TestHost host;
  Env env{};
  std::vector<double> x, sl, su, zl, zu, y, s;
  Solution solution{};
  Hub hub{};
  int32_t rangeRow = 1;
  double rowScale[3] = {2.0, 4.0, 0.5};
  double colScale[3] = {8.0, 16.0, 1.0};
  SavedPoint point;
};

TEST_F(SavedPointTest, ComesBackAsItWas) {
  ASSERT_EQ(point.save(&env, 2, 3, &solution), 0);
  EXPECT_TRUE(point.isSet());
  forget();
  point.restore(&solution);
  EXPECT_EQ(x, (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(zu, (std::vector<double>{13, 14, 15}));
  EXPECT_EQ(y, (std::vector<double>{16, 17}));
  EXPECT_EQ(s, (std::vector<double>{18, 19}));
  point.release();
  EXPECT_FALSE(point.isSet());
  EXPECT_EQ(host.outstanding(), 0);
}

TEST_F(SavedPointTest, WithoutASaveNothingHappens) {
  point.unscale(&hub);
  point.restore(&solution);
  EXPECT_EQ(x[0], 1.0);
}

TEST_F(SavedPointTest, FollowsTheUnscalingOfTheObjective) {
  ASSERT_EQ(point.save(&env, 2, 3, &solution), 0);
  point.unscale(&hub);  // nothing is scaled
  hub.scaleState = 1;
  point.unscale(&hub);
  point.restore(&solution);
  EXPECT_EQ(x, (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(zl, (std::vector<double>{20, 22, 24}));
  EXPECT_EQ(y, (std::vector<double>{32, 34}));
  EXPECT_EQ(s, (std::vector<double>{18, 19}));
}

TEST_F(SavedPointTest, FollowsTheUnscalingOfRowsAndColumns) {
  ASSERT_EQ(point.save(&env, 2, 3, &solution), 0);
  hub.scaleState = 2;
  point.unscale(&hub);
  point.restore(&solution);
  EXPECT_EQ(x, (std::vector<double>{8, 32, 0.75}));
  EXPECT_EQ(sl, (std::vector<double>{32, 80, 1.5}));
  EXPECT_EQ(su, (std::vector<double>{56, 128, 2.25}));
  EXPECT_EQ(zl, (std::vector<double>{10 / 4.0, 11 / 8.0, 12 * 8.0}));
  EXPECT_EQ(y, (std::vector<double>{64, 136}));
  EXPECT_EQ(s, (std::vector<double>{9, 4.75}));
}

TEST_F(SavedPointTest, ReportsAFailedAllocation) {
  host.failAllocation(1);
  EXPECT_EQ(point.save(&env, 2, 3, &solution), QZ_STATUS_OUT_OF_MEMORY);
  EXPECT_FALSE(point.isSet());
}

}  // namespace
}  // namespace qz
