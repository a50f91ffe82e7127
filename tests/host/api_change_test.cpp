// Changes of single numbers of a loaded model, and what the handle tells about the model it holds.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "api_fixture.h"
#include "qzlp.h"

namespace {

using namespace apitest;

class ApiChange : public Api {
 protected:
  void SetUp() override {
    Api::SetUp();
    const Arrays a;
    accepted(a);
  }
  // The call is refused with a text that holds `text`, and neither model nor answer has changed.
  void isRefused(int code, const std::string& text) {
    EXPECT_EQ(code, QZLP_ERROR_ARGUMENT);
    EXPECT_NE(std::string(qzlp_error(lp_)).find(text), std::string::npos) << qzlp_error(lp_);
    EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_OPTIMAL) << "the answer stays";
    const Arrays fresh;
    EXPECT_EQ(dense(), denseOf(fresh.model));
  }
  void isChanged(int code) {
    EXPECT_EQ(code, QZLP_OK) << qzlp_error(lp_);
    EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_NONE) << "the answer is of another model";
    EXPECT_EQ(qzlp_primal(lp_), nullptr);
    ASSERT_EQ(qzlp_solve(lp_), QZLP_OK);
  }

  // All that a model says, but for the order of its elements.
  using Dense = std::tuple<int32_t, double, std::vector<double>, std::vector<double>, std::vector<double>,
                           std::vector<double>, std::string, std::vector<double>, std::vector<double>>;
  static Dense denseOf(const qzlp_model& m) {
    std::vector<double> matrix(static_cast<size_t>(m.numRow) * static_cast<size_t>(m.numCol), 0.0);
    for (int32_t j = 0; j < m.numCol; ++j)
      for (int32_t k = m.colBegin[j]; k < m.colBegin[j] + m.colLength[j]; ++k)
        matrix[static_cast<size_t>(m.rowIndex[k]) * static_cast<size_t>(m.numCol) + static_cast<size_t>(j)] =
            m.matValue[k];
    std::vector<double> lower, upper;
    for (int32_t j = 0; j < m.numCol; ++j) {
      lower.push_back(m.lower[j] < -1e20 ? -1e30 : m.lower[j]);
      upper.push_back(m.upper[j] > 1e20 ? 1e30 : m.upper[j]);
    }
    return {m.objSense,
            m.objConstant,
            matrix,
            {m.obj, m.obj + m.numCol},
            lower,
            upper,
            {m.rowSense, m.rowSense + m.numRow},
            {m.rhs, m.rhs + m.numRow},
            {m.range, m.range + m.numRow}};
  }
  Dense dense() {
    qzlp_model model{};
    EXPECT_EQ(qzlp_getModel(lp_, &model), QZLP_OK) << qzlp_error(lp_);
    return denseOf(model);
  }
};

TEST_F(ApiChange, SenseAndConstantOfTheObjective) {
  isChanged(qzlp_setObjSense(lp_, -1));
  EXPECT_EQ(seenRecord_.objSense, -1);
  isChanged(qzlp_setObjConstant(lp_, -7.25));
  EXPECT_EQ(seenRecord_.objConstant, -7.25);
}

TEST_F(ApiChange, Cost) {
  isChanged(qzlp_setCost(lp_, 1, -3.5));
  EXPECT_EQ(seenRecord_.obj[0], 1.0);
  EXPECT_EQ(seenRecord_.obj[1], -3.5);
}

TEST_F(ApiChange, Bounds) {
  isChanged(qzlp_setBounds(lp_, 0, -kInf, 2.5));
  EXPECT_EQ(seenRecord_.lower[0], -1e30);
  EXPECT_EQ(seenRecord_.upper[0], 2.5);
  isChanged(qzlp_setBounds(lp_, 0, 3, 2));
  EXPECT_EQ(seenRecord_.lower[0], 3.0) << "crossed bounds are an infeasible model and no error";
}

TEST_F(ApiChange, TheRightHandSideKeepsSenseAndRange) {
  isChanged(qzlp_setRhs(lp_, 2, 8.5));
  EXPECT_EQ(seenRecord_.rhs[2], 8.5);
  EXPECT_EQ(seenRecord_.range[2], 2.0);
  EXPECT_EQ(seenRecord_.rowSense[2], 'R');
  isChanged(qzlp_setRhs(lp_, 0, kInf));
  EXPECT_EQ(seenRecord_.rhs[0], 1e30);
  EXPECT_EQ(seenRecord_.rowSense[0], 'L');
}

TEST_F(ApiChange, SenseAndSidesOfARow) {
  isChanged(qzlp_setRow(lp_, 0, 'r', 9, 4));
  EXPECT_EQ(seenRecord_.rowSense[0], 'R');
  EXPECT_EQ(seenRecord_.rhs[0], 9.0);
  EXPECT_EQ(seenRecord_.range[0], 4.0);
  isChanged(qzlp_setRow(lp_, 2, 'E', 1, 0));
  EXPECT_EQ(seenRecord_.range[2], 0.0);
  isChanged(qzlp_setRow(lp_, 1, 'N', 3, 0));
  EXPECT_EQ(seenRecord_.rhs[1], 0.0);
  isChanged(qzlp_setRow(lp_, 0, 'R', 9, kInf));
  EXPECT_EQ(seenRecord_.rowSense[0], 'L');
  EXPECT_EQ(seenRecord_.range[0], 0.0);
}

TEST_F(ApiChange, AFreeRowHasNoRightHandSide) {
  isChanged(qzlp_setRow(lp_, 1, 'N', 0, 0));
  EXPECT_EQ(qzlp_setRhs(lp_, 1, 4), QZLP_ERROR_ARGUMENT);
  EXPECT_STREQ(qzlp_error(lp_), "row 1 has sense N and no right-hand side");
}

TEST_F(ApiChange, AnElementThatIsThere) {
  isChanged(qzlp_setElement(lp_, 2, 1, -6));
  EXPECT_EQ(seenRecord_.numCoef, 4);
  EXPECT_EQ(std::get<2>(dense()), (std::vector<double>{1, 4, 2, 0, 0, -6}));
}

TEST_F(ApiChange, WhatNoModelMayHold) {
  isRefused(qzlp_setObjSense(lp_, 0), "objSense is 0");
  for (double value : {kNan, kInf, -kInf}) isRefused(qzlp_setObjConstant(lp_, value), "objConstant is");
  for (double value : {kNan, kInf, 1e20}) {
    isRefused(qzlp_setCost(lp_, 0, value), "obj[0] is");
    isRefused(qzlp_setElement(lp_, 0, 0, value), "value is");
  }
  isRefused(qzlp_setBounds(lp_, 0, kNan, 1), "lower[0] is nan");
  isRefused(qzlp_setBounds(lp_, 1, 0, kNan), "upper[1] is nan");
  isRefused(qzlp_setBounds(lp_, 1, kInf, kInf), "lower[1] is inf");
  isRefused(qzlp_setBounds(lp_, 1, -kInf, -kInf), "upper[1] is -inf");
  isRefused(qzlp_setRhs(lp_, 1, kNan), "rhs[1] is nan");
  isRefused(qzlp_setRhs(lp_, 2, kInf), "rhs[2] is inf, infinite on a row of sense R");
  isRefused(qzlp_setRow(lp_, 0, 'X', 1, 0), "rowSense[0] is the byte 88");
  isRefused(qzlp_setRow(lp_, 0, 'R', 1, -1), "range[0] is -1, below 0");
  isRefused(qzlp_setRow(lp_, 0, 'L', 1, 2), "range[0] is 2, but row 0 has sense L");
  isRefused(qzlp_setRow(lp_, 0, 'E', -kInf, 0), "rhs[0] is -inf");
}

TEST_F(ApiChange, IndicesThatTheModelHasNot) {
  for (int32_t index : {-1, INT32_MIN, INT32_MAX}) {
    const std::string shown = std::to_string(index);
    isRefused(qzlp_setCost(lp_, index, 1), "column is " + shown + ", but the model has 2 columns");
    isRefused(qzlp_setBounds(lp_, index, 0, 1), "column is " + shown);
    isRefused(qzlp_setRhs(lp_, index, 1), "row is " + shown + ", but the model has 3 rows");
    isRefused(qzlp_setRow(lp_, index, 'L', 1, 0), "row is " + shown);
    isRefused(qzlp_setElement(lp_, index, 0, 1), "row is " + shown);
    isRefused(qzlp_setElement(lp_, 0, index, 1), "column is " + shown);
  }
  isRefused(qzlp_setCost(lp_, 2, 1), "column is 2");
  isRefused(qzlp_setRhs(lp_, 3, 1), "row is 3");
}

TEST_F(ApiChange, RandomElementsComeGoAndChangeLikeThoseOfADenseMatrix) {
  std::mt19937 random(20);
  std::uniform_int_distribution<int32_t> row(0, 2), column(0, 1), kind(0, 2);
  std::vector<double> expected = std::get<2>(dense());
  for (int step = 0; step < 400; ++step) {
    const int32_t i = row(random);
    const int32_t j = column(random);
    const double value = kind(random) == 0 ? 1e-21 : step + 1.0;
    ASSERT_EQ(qzlp_setElement(lp_, i, j, value), QZLP_OK) << qzlp_error(lp_);
    expected[static_cast<size_t>(i) * 2 + static_cast<size_t>(j)] = value < 1e-20 ? 0.0 : value;
    ASSERT_EQ(std::get<2>(dense()), expected) << "step " << step;
    ASSERT_EQ(qzlp_solve(lp_), QZLP_OK);
    ASSERT_EQ(seenRecord_.colBegin[1], seenRecord_.colLength[0]) << "columns stand without gaps";
    ASSERT_EQ(seenRecord_.numCoef, seenRecord_.colLength[0] + seenRecord_.colLength[1]);
  }
}

TEST_F(ApiChange, WithoutAModelThereIsNothingToChange) {
  qzlp* empty = qzlp_create();
  ASSERT_NE(empty, nullptr);
  qzlp_model model{};
  qzlp_quadratic quadratic{};
  for (int code : {qzlp_setObjSense(empty, 1), qzlp_setObjConstant(empty, 0), qzlp_setCost(empty, 0, 1),
                   qzlp_setBounds(empty, 0, 0, 1), qzlp_setRhs(empty, 0, 1), qzlp_setRow(empty, 0, 'L', 1, 0),
                   qzlp_setElement(empty, 0, 0, 1), qzlp_getModel(empty, &model), qzlp_getQuadratic(empty, &quadratic),
                   qzlp_setNames(empty, nullptr, nullptr, nullptr), qzlp_writeModel(empty, "/tmp/x")}) {
    EXPECT_EQ(code, QZLP_ERROR_STATE);
    EXPECT_STREQ(qzlp_error(empty), "no model was loaded");
  }
  EXPECT_STREQ(qzlp_modelName(empty), "");
  EXPECT_EQ(qzlp_columnName(empty, 0), nullptr);
  EXPECT_EQ(qzlp_rowName(empty, 0), nullptr);
  EXPECT_EQ(qzlp_noteCount(empty), 0);
  EXPECT_EQ(qzlp_noteAt(empty, 0), nullptr);
  qzlp_destroy(empty);
}

TEST(ApiChangeOfNull, IsAnError) {
  qzlp_model model{};
  qzlp_quadratic quadratic{};
  for (int code :
       {qzlp_setObjSense(nullptr, 1), qzlp_setObjConstant(nullptr, 0), qzlp_setCost(nullptr, 0, 1),
        qzlp_setBounds(nullptr, 0, 0, 1), qzlp_setRhs(nullptr, 0, 1), qzlp_setRow(nullptr, 0, 'L', 1, 0),
        qzlp_setElement(nullptr, 0, 0, 1), qzlp_getModel(nullptr, &model), qzlp_getQuadratic(nullptr, &quadratic),
        qzlp_setNames(nullptr, "m", nullptr, nullptr), qzlp_readModel(nullptr, "x"), qzlp_writeModel(nullptr, "x")})
    EXPECT_EQ(code, QZLP_ERROR_ARGUMENT);
  EXPECT_STREQ(qzlp_modelName(nullptr), "");
  EXPECT_EQ(qzlp_columnName(nullptr, 0), nullptr);
  EXPECT_EQ(qzlp_rowName(nullptr, 0), nullptr);
  EXPECT_EQ(qzlp_noteCount(nullptr), 0);
  EXPECT_EQ(qzlp_noteAt(nullptr, 0), nullptr);
}

TEST_F(ApiChange, TheModelCanBeReadBack) {
  const Arrays a;
  EXPECT_EQ(dense(), denseOf(a.model));
  EXPECT_EQ(qzlp_getModel(lp_, nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_getQuadratic(lp_, nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_OPTIMAL) << "looking changes nothing";
}

TEST_F(ApiChange, TheQuadraticPartCanBeReadBackAsALowerTriangle) {
  qzlp_quadratic back{};
  ASSERT_EQ(qzlp_getQuadratic(lp_, &back), QZLP_OK);
  EXPECT_EQ(back.numCoef, 0);
  EXPECT_EQ(back.colBegin[2], 0);
  const std::vector<int32_t> begin{0, 2, 4}, row{0, 1, 0, 1};
  const std::vector<double> value{5, 3, 3, 2};
  const qzlp_quadratic full{QZLP_FULL, 4, begin.data(), nullptr, row.data(), value.data()};
  ASSERT_EQ(qzlp_loadQuadratic(lp_, &full), QZLP_OK) << qzlp_error(lp_);
  ASSERT_EQ(qzlp_getQuadratic(lp_, &back), QZLP_OK);
  EXPECT_EQ(back.form, QZLP_LOWER);
  EXPECT_EQ(std::vector<int32_t>(back.colBegin, back.colBegin + 3), (std::vector<int32_t>{0, 2, 3}));
  EXPECT_EQ(std::vector<int32_t>(back.rowIndex, back.rowIndex + back.numCoef), (std::vector<int32_t>{0, 1, 1}));
  EXPECT_EQ(std::vector<double>(back.value, back.value + back.numCoef), (std::vector<double>{5, 3, 2}));
  ASSERT_EQ(qzlp_loadQuadratic(lp_, &back), QZLP_OK) << "what is read back can be loaded";
}

TEST_F(ApiChange, Names) {
  EXPECT_STREQ(qzlp_columnName(lp_, 0), "") << "arrays bring no names";
  const char* columns[] = {"bread", "milk"};
  const char* rows[] = {"protein", "iron", "mix"};
  ASSERT_EQ(qzlp_setNames(lp_, "diet", columns, rows), QZLP_OK);
  EXPECT_STREQ(qzlp_modelName(lp_), "diet");
  EXPECT_STREQ(qzlp_columnName(lp_, 1), "milk");
  EXPECT_STREQ(qzlp_rowName(lp_, 2), "mix");
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_OPTIMAL) << "names are no change of the model";
  for (int32_t index : {-1, 3}) EXPECT_EQ(qzlp_rowName(lp_, index), nullptr);
  EXPECT_EQ(qzlp_columnName(lp_, 2), nullptr);
  const char* holed[] = {"bread", nullptr, nullptr};
  EXPECT_EQ(qzlp_setNames(lp_, "x", holed, nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_setNames(lp_, "x", nullptr, holed), QZLP_ERROR_ARGUMENT);
  EXPECT_STREQ(qzlp_columnName(lp_, 0), "bread") << "a refused call changes nothing";
  ASSERT_EQ(qzlp_setNames(lp_, nullptr, nullptr, nullptr), QZLP_OK);
  EXPECT_STREQ(qzlp_modelName(lp_), "");
  EXPECT_STREQ(qzlp_rowName(lp_, 0), "");
}

}  // namespace
