// The quadratic part of a model: what the C API accepts, what it refuses, and what it makes of the three forms.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "host/api_model.h"

namespace {

using qzhost::ModelData;
using qzhost::takeQuadratic;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// The lower triangle of
//     [ 4  1  0 ]
//     [ 1  2 -3 ]
//     [ 0 -3  5 ]
// to be spoiled by the tests.
struct Given {
  std::vector<int32_t> begin{0, 2, 4, 5}, row{0, 1, 1, 2, 2};
  std::vector<double> value{4, 1, 2, -3, 5};
  qzlp_quadratic q{};
  Given() { bind(); }
  void bind() {
    q.form = QZLP_LOWER;
    q.numCoef = static_cast<int32_t>(row.size());
    q.colBegin = begin.data();
    q.rowIndex = row.data();
    q.value = value.data();
  }
  void columns(std::vector<int32_t> begins, std::vector<int32_t> rows, std::vector<double> values, int form) {
    begin = std::move(begins);
    row = std::move(rows);
    value = std::move(values);
    bind();
    q.form = form;
  }
};

class Quadratic : public testing::Test {
 protected:
  Quadratic() { data_.record.numCol = 3; }

  void takes(const Given& given) { EXPECT_EQ(takeQuadratic(&given.q, data_), ""); }
  void refuses(const Given& given, const std::string& text) {
    const std::string error = takeQuadratic(&given.q, data_);
    EXPECT_NE(error.find(text), std::string::npos) << error;
  }
  void holdsTheExample() {
    EXPECT_EQ(data_.quadratic.diag, (std::vector<double>{4, 2, 5}));
    EXPECT_EQ(data_.quadratic.colBegin, (std::vector<int32_t>{0, 1, 2, 2}));
    EXPECT_EQ(data_.quadratic.colLength, (std::vector<int32_t>{1, 1, 0}));
    EXPECT_EQ(data_.quadratic.rowIndex, (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(data_.quadratic.value, (std::vector<double>{1, -3}));
  }

  ModelData data_;
};

TEST_F(Quadratic, LowerTriangle) {
  takes(Given());
  holdsTheExample();
}

TEST_F(Quadratic, UpperTriangle) {
  Given given;
  given.columns({0, 1, 3, 5}, {0, 0, 1, 1, 2}, {4, 1, 2, -3, 5}, QZLP_UPPER);
  takes(given);
  holdsTheExample();
}

TEST_F(Quadratic, BothTriangles) {
  Given given;
  given.columns({0, 2, 5, 7}, {0, 1, 0, 1, 2, 1, 2}, {4, 1, 1, 2, -3, -3, 5}, QZLP_FULL);
  takes(given);
  holdsTheExample();
}

TEST_F(Quadratic, RowsInAnyOrder) {
  Given given;
  given.columns({0, 2, 5, 7}, {1, 0, 2, 0, 1, 2, 1}, {1, 4, -3, 1, 2, 5, -3}, QZLP_FULL);
  takes(given);
  holdsTheExample();
}

TEST_F(Quadratic, ColumnsInAnyOrderAndWithGaps) {
  Given given;
  given.columns({3, 0, 6}, {1, 2, 9, 0, 1, 9, 2}, {2, -3, kNan, 4, 1, kNan, 5}, QZLP_LOWER);
  const std::vector<int32_t> length{2, 2, 1};
  given.q.colLength = length.data();
  takes(given);
  holdsTheExample();
}

TEST_F(Quadratic, ZerosAndTinyElementsAreDropped) {
  Given given;
  given.value = {4, 1e-21, 0, -3, 5};
  takes(given);
  EXPECT_EQ(data_.quadratic.diag, (std::vector<double>{4, 0, 5}));
  EXPECT_EQ(data_.quadratic.rowIndex, (std::vector<int32_t>{2}));
}

TEST_F(Quadratic, NothingLeftIsNoQuadraticPart) {
  takes(Given());
  Given zeros;
  zeros.value = {0, 0, 0, 0, 0};
  takes(zeros);
  EXPECT_TRUE(data_.quadratic.empty());
  takes(Given());
  EXPECT_FALSE(data_.quadratic.empty());
  EXPECT_EQ(takeQuadratic(nullptr, data_), "");
  EXPECT_TRUE(data_.quadratic.empty());
}

TEST_F(Quadratic, AModelWithoutColumnsNeedsNoArrays) {
  data_.record.numCol = 0;
  const qzlp_quadratic none{};
  EXPECT_EQ(takeQuadratic(&none, data_), "");
  EXPECT_TRUE(data_.quadratic.empty());
}

TEST_F(Quadratic, UnknownForm) {
  for (const int32_t form : {-1, 3, INT32_MAX}) {
    Given given;
    given.q.form = form;
    refuses(given, "form is " + std::to_string(form));
  }
}

TEST_F(Quadratic, NegativeCountAndNullArrays) {
  Given given;
  given.q.numCoef = -1;
  refuses(given, "numCoef is -1");
  given.bind();
  given.q.colBegin = nullptr;
  refuses(given, "colBegin is null");
  given.bind();
  given.q.rowIndex = nullptr;
  refuses(given, "rowIndex is null");
  given.bind();
  given.q.value = nullptr;
  refuses(given, "value is null");
}

TEST_F(Quadratic, PlacesOfColumns) {
  Given given;
  given.begin = {-1, 2, 4, 5};
  refuses(given, "colBegin[0] is -1");
  given.begin = {0, 2, 1, 5};
  refuses(given, "colBegin[2] is 1, below colBegin[1] = 2");
  given.begin = {0, 2, 4, 6};
  refuses(given, "column 2 reaches up to element 6");
}

TEST_F(Quadratic, RowsOutOfRange) {
  for (const int32_t row : {-1, 3}) {
    Given given;
    given.row[3] = row;
    refuses(given, "rowIndex[3] is " + std::to_string(row) + ", but the model has 3 columns");
  }
}

TEST_F(Quadratic, ARowTwiceInAColumn) {
  Given given;
  given.row[1] = 0;
  refuses(given, "rowIndex[1] is 0, a row that the column has already");
}

TEST_F(Quadratic, ValuesThatAreNoFiniteNumbers) {
  for (const double value : {kNan, kInf, -kInf, 1e20}) {
    Given given;
    given.value[3] = value;
    refuses(given, "value[3] is");
  }
}

TEST_F(Quadratic, EntriesOnTheWrongSide) {
  Given given;
  given.q.form = QZLP_UPPER;
  refuses(given, "row 1 of column 0 lies below the diagonal");
  given.columns({0, 1, 3, 5}, {0, 0, 1, 1, 2}, {4, 1, 2, -3, 5}, QZLP_LOWER);
  refuses(given, "row 0 of column 1 lies above the diagonal");
}

TEST_F(Quadratic, FullWithoutMirrorEntries) {
  Given given;
  given.q.form = QZLP_FULL;
  refuses(given, "row 1 of column 0 has no mirror entry");
  given.columns({0, 1, 3, 5}, {0, 0, 1, 1, 2}, {4, 1, 2, -3, 5}, QZLP_FULL);
  refuses(given, "row 0 of column 1 has no mirror entry");
  // Every column has as many entries as its row, but not the same ones.
  given.columns({0, 1, 2, 3}, {1, 2, 0}, {1, 1, 1}, QZLP_FULL);
  refuses(given, "has no mirror entry");
}

TEST_F(Quadratic, MirrorEntriesThatDifferByRoundingGiveTheirMean) {
  Given given;
  given.columns({0, 2, 5, 7}, {0, 1, 0, 1, 2, 1, 2}, {4, 1 + 4e-10, 1 - 4e-10, 2, -3, -3, 5}, QZLP_FULL);
  takes(given);
  holdsTheExample();
  given.value[1] = 1 + 1.2e-9;
  refuses(given, "row 1 of column 0 is 1.0000000012, but its mirror entry is 0.9999999996");
}

TEST_F(Quadratic, ARefusedPartLeavesTheOneBefore) {
  takes(Given());
  Given bad;
  bad.value[0] = kNan;
  refuses(bad, "value[0]");
  holdsTheExample();
}

TEST_F(Quadratic, AllFormsOfRandomMatricesAgree) {
  for (uint32_t seed = 1; seed <= 200; ++seed) {
    std::mt19937 random(seed);
    const auto n = static_cast<int32_t>(1 + random() % 8);
    std::vector<std::vector<double>> q(static_cast<size_t>(n), std::vector<double>(static_cast<size_t>(n), 0.0));
    for (size_t i = 0; i < q.size(); ++i)
      for (size_t j = 0; j <= i; ++j)
        if (random() % 3 == 0) q[i][j] = q[j][i] = static_cast<double>(random() % 9) - 4.0;
    qzhost::QuadraticData lower;
    for (const int form : {QZLP_LOWER, QZLP_UPPER, QZLP_FULL}) {
      Given given;
      std::vector<int32_t> begin{0}, row;
      std::vector<double> value;
      for (size_t j = 0; j < q.size(); ++j) {
        std::vector<size_t> order(q.size());
        for (size_t i = 0; i < order.size(); ++i) order[i] = i;
        std::shuffle(order.begin(), order.end(), random);
        for (const size_t i : order) {
          if (q[i][j] == 0.0 || (form == QZLP_LOWER && i < j) || (form == QZLP_UPPER && i > j)) continue;
          row.push_back(static_cast<int32_t>(i));
          value.push_back(q[i][j]);
        }
        begin.push_back(static_cast<int32_t>(row.size()));
      }
      given.columns(begin, row, value, form);
      ModelData data;
      data.record.numCol = n;
      ASSERT_EQ(takeQuadratic(&given.q, data), "") << "seed " << seed;
      if (form == QZLP_LOWER) lower = data.quadratic;
      EXPECT_EQ(data.quadratic.diag, lower.diag) << "seed " << seed << " form " << form;
      EXPECT_EQ(data.quadratic.colBegin, lower.colBegin) << "seed " << seed << " form " << form;
      EXPECT_EQ(data.quadratic.rowIndex, lower.rowIndex) << "seed " << seed << " form " << form;
      EXPECT_EQ(data.quadratic.value, lower.value) << "seed " << seed << " form " << form;
    }
  }
}

}  // namespace
