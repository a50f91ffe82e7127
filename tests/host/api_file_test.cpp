// Models from files and into files.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api_fixture.h"
#include "model_files/model_file.h"
#include "qzlp.h"
#include "qzlp/temporary_file.h"

namespace {

using namespace apitest;
using qztest::TemporaryFile;

const char* const kPortfolio =
    "Minimize\n cost: 3 x + y + [ 2 x ^ 2 + 2 x * y + 4 y ^ 2 ] / 2 + 5\n"
    "Subject To\n budget: x + y = 1\n share: 2 <= 2 x + 3 y <= 8\nBounds\n x <= 7\n y free\nGeneral\n x\nEnd\n";

TEST_F(Api, AFileIsAModelWithNamesNotesAndQuadraticPart) {
  const TemporaryFile file(".lp", kPortfolio);
  ASSERT_EQ(qzlp_readModel(lp_, file.path().c_str()), QZLP_OK) << qzlp_error(lp_);
  EXPECT_EQ(qzlp_numRow(lp_), 2);
  EXPECT_EQ(qzlp_numCol(lp_), 2);
  EXPECT_STREQ(qzlp_columnName(lp_, 0), "x");
  EXPECT_STREQ(qzlp_rowName(lp_, 1), "share");
  ASSERT_EQ(qzlp_noteCount(lp_), 1);
  EXPECT_NE(std::string(qzlp_noteAt(lp_, 0)).find("integer"), std::string::npos);
  EXPECT_EQ(qzlp_noteAt(lp_, 1), nullptr);
  EXPECT_EQ(qzlp_noteAt(lp_, -1), nullptr);
  qzlp_model model{};
  ASSERT_EQ(qzlp_getModel(lp_, &model), QZLP_OK);
  EXPECT_EQ(model.objConstant, 5.0);
  EXPECT_EQ(std::string(model.rowSense, 2), "ER");
  EXPECT_EQ(model.rhs[1], 8.0);
  EXPECT_EQ(model.range[1], 6.0);
  EXPECT_EQ(model.lower[1], -1e30);
  EXPECT_EQ(model.upper[0], 7.0);
  qzlp_quadratic quadratic{};
  ASSERT_EQ(qzlp_getQuadratic(lp_, &quadratic), QZLP_OK);
  EXPECT_EQ(std::vector<double>(quadratic.value, quadratic.value + quadratic.numCoef), (std::vector<double>{2, 1, 4}));
}

TEST_F(Api, AFileReplacesTheModelBeforeAndItsAnswer) {
  accepted(Arrays());
  ASSERT_EQ(qzlp_readModel(lp_, QZ_EXAMPLES "/diet.mps"), QZLP_OK) << qzlp_error(lp_);
  EXPECT_EQ(qzlp_numCol(lp_), 3);
  EXPECT_EQ(qzlp_noteCount(lp_), 0);
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_NONE);
  ASSERT_EQ(qzlp_solve(lp_), QZLP_OK);
  EXPECT_EQ(seenRecord_.numCol, 3);
  accepted(Arrays());
  EXPECT_STREQ(qzlp_columnName(lp_, 0), "") << "arrays bring no names";
}

TEST_F(Api, ABadFileLeavesTheModelBeforeAndItsAnswer) {
  accepted(Arrays());
  const TemporaryFile bad(".mps", "ROWS\n N obj\nCOLUMNS\n x nowhere 1\nENDATA\n");
  for (const std::string& path : {bad.path(), std::string("/nowhere/at/all.mps"), std::string("/tmp")}) {
    EXPECT_EQ(qzlp_readModel(lp_, path.c_str()), QZLP_ERROR_FILE);
    EXPECT_EQ(std::string(qzlp_error(lp_)).rfind(path + ": ", 0), 0U) << qzlp_error(lp_);
    EXPECT_EQ(qzlp_numRow(lp_), 3);
    EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_OPTIMAL);
  }
  EXPECT_EQ(qzlp_readModel(lp_, nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_STREQ(qzlp_error(lp_), "the path is null");
}

// Both handles hold the same model.
void expectSame(qzlp* a, qzlp* b) {
  qzlp_model x{}, y{};
  ASSERT_EQ(qzlp_getModel(a, &x), QZLP_OK);
  ASSERT_EQ(qzlp_getModel(b, &y), QZLP_OK);
  ASSERT_EQ(x.numRow, y.numRow);
  ASSERT_EQ(x.numCol, y.numCol);
  ASSERT_EQ(x.numCoef, y.numCoef);
  EXPECT_EQ(x.objSense, y.objSense);
  EXPECT_EQ(x.objConstant, y.objConstant);
  for (int32_t k = 0; k < x.numCoef; ++k) {
    EXPECT_EQ(x.rowIndex[k], y.rowIndex[k]);
    EXPECT_EQ(x.matValue[k], y.matValue[k]);
  }
  for (int32_t j = 0; j < x.numCol; ++j) {
    EXPECT_EQ(x.colBegin[j], y.colBegin[j]);
    EXPECT_EQ(x.obj[j], y.obj[j]);
    EXPECT_EQ(x.lower[j], y.lower[j]);
    EXPECT_EQ(x.upper[j], y.upper[j]);
    EXPECT_STREQ(qzlp_columnName(a, j), qzlp_columnName(b, j));
  }
  for (int32_t i = 0; i < x.numRow; ++i) {
    EXPECT_EQ(x.rowSense[i], y.rowSense[i]);
    EXPECT_EQ(x.rhs[i], y.rhs[i]);
    EXPECT_EQ(x.range[i], y.range[i]);
    EXPECT_STREQ(qzlp_rowName(a, i), qzlp_rowName(b, i));
  }
  qzlp_quadratic p{}, q{};
  ASSERT_EQ(qzlp_getQuadratic(a, &p), QZLP_OK);
  ASSERT_EQ(qzlp_getQuadratic(b, &q), QZLP_OK);
  ASSERT_EQ(p.numCoef, q.numCoef);
  for (int32_t k = 0; k < p.numCoef; ++k) {
    EXPECT_EQ(p.rowIndex[k], q.rowIndex[k]);
    EXPECT_EQ(p.value[k], q.value[k]);
  }
}

TEST_F(Api, AWrittenModelReadsBackTheSame) {
  qzlp* back = qzlp_create();
  ASSERT_NE(back, nullptr);
  const TemporaryFile portfolio(".lp", kPortfolio);
  for (const std::string& path : {portfolio.path(), std::string(QZ_EXAMPLES "/workshop.lp"),
                                  std::string(QZ_EXAMPLES "/pricing.qps"), std::string(QZ_EXAMPLES "/transport.mps")}) {
    const TemporaryFile written(".mps");
    ASSERT_EQ(qzlp_readModel(lp_, path.c_str()), QZLP_OK) << qzlp_error(lp_);
    ASSERT_EQ(qzlp_writeModel(lp_, written.path().c_str()), QZLP_OK) << qzlp_error(lp_);
    ASSERT_EQ(qzlp_readModel(back, written.path().c_str()), QZLP_OK) << qzlp_error(back);
    expectSame(lp_, back);
  }
  qzlp_destroy(back);
}

TEST_F(Api, AModelFromArraysIsWrittenWithItsChanges) {
  accepted(Arrays());
  const char* columns[] = {"a", "b"};
  const char* rows[] = {"r", "s", "t"};
  ASSERT_EQ(qzlp_setNames(lp_, "mine", columns, rows), QZLP_OK);
  ASSERT_EQ(qzlp_setCost(lp_, 0, 0.1), QZLP_OK);
  ASSERT_EQ(qzlp_setRhs(lp_, 0, kInf), QZLP_OK);
  const TemporaryFile written(".mps");
  ASSERT_EQ(qzlp_writeModel(lp_, written.path().c_str()), QZLP_OK) << qzlp_error(lp_);
  const qzfiles::ModelFile back = qzfiles::readModelFile(written.path());
  EXPECT_EQ(back.name, "mine");
  EXPECT_EQ(back.obj, (std::vector<double>{0.1, 2}));
  EXPECT_EQ(back.colNames, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(back.rowSense, (std::vector<char>{'N', 'G', 'R'})) << "a side at infinity leaves the row free";
  EXPECT_EQ(back.matValue, (std::vector<double>{1, 2, 3, 4}));
}

TEST_F(Api, AFileThatCannotBeWritten) {
  accepted(Arrays());
  for (const char* path : {"/nowhere/at/all.mps", "/tmp", "/dev/full"}) {
    EXPECT_EQ(qzlp_writeModel(lp_, path), QZLP_ERROR_FILE);
    EXPECT_EQ(std::string(qzlp_error(lp_)).rfind(std::string(path) + ": ", 0), 0U) << qzlp_error(lp_);
  }
  EXPECT_EQ(qzlp_writeModel(lp_, nullptr), QZLP_ERROR_ARGUMENT);
  EXPECT_EQ(qzlp_status(lp_), QZLP_STATUS_OPTIMAL) << "the answer stays";
}

}  // namespace
