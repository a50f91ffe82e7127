// What is written comes back when it is read: every number, sense, bound and name.
#include "model_files/mps_writer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <sstream>

#include "model_files/number_text.h"
#include "qzlp/temporary_file.h"

namespace {

using qzfiles::ModelFile;
using qztest::TemporaryFile;

constexpr double none = std::numeric_limits<double>::infinity();

std::string written(const ModelFile& model) {
  const TemporaryFile path(".mps");
  std::FILE* file = std::fopen(path.path().c_str(), "w");
  EXPECT_TRUE(qzfiles::writeMps(file, model));
  std::fclose(file);
  return path.read();
}

void addColumn(ModelFile& model, double obj, double lower, double upper,
               const std::vector<std::pair<int32_t, double>>& elements) {
  if (model.colBegin.empty()) model.colBegin.push_back(0);
  for (const auto& [row, value] : elements) {
    model.rowIndex.push_back(row);
    model.matValue.push_back(value);
  }
  model.colBegin.push_back(model.numCoef());
  model.obj.push_back(obj);
  model.lower.push_back(lower);
  model.upper.push_back(upper);
}

void addRow(ModelFile& model, char sense, double rhs, double range = 0.0) {
  model.rowSense.push_back(sense);
  model.rhs.push_back(rhs);
  model.range.push_back(range);
}

void nameAll(ModelFile& model) {
  for (int32_t i = 0; i < model.numRow(); ++i) model.rowNames.push_back("row_" + std::to_string(i));
  for (int32_t j = 0; j < model.numCol(); ++j) model.colNames.push_back("x[" + std::to_string(j) + "]");
}

void expectSame(const ModelFile& a, const ModelFile& b) {
  EXPECT_EQ(a.objSense, b.objSense);
  EXPECT_EQ(a.objConstant, b.objConstant);
  EXPECT_EQ(a.colBegin, b.colBegin);
  EXPECT_EQ(a.rowIndex, b.rowIndex);
  EXPECT_EQ(a.matValue, b.matValue);
  EXPECT_EQ(a.obj, b.obj);
  EXPECT_EQ(a.lower, b.lower);
  EXPECT_EQ(a.upper, b.upper);
  EXPECT_EQ(a.rowSense, b.rowSense);
  EXPECT_EQ(a.rhs, b.rhs);
  EXPECT_EQ(a.range, b.range);
  EXPECT_EQ(a.rowNames, b.rowNames);
  EXPECT_EQ(a.colNames, b.colNames);
  EXPECT_EQ(a.quadIndex, b.quadIndex);
  EXPECT_EQ(a.quadValue, b.quadValue);
  if (a.isQuadratic()) {
    EXPECT_EQ(a.quadBegin, b.quadBegin);
  }
}

ModelFile everyKind() {
  ModelFile model;
  model.name = "kinds";
  model.objSense = -1;
  model.objConstant = -0.1;
  addRow(model, 'E', 1.0 / 3.0);
  addRow(model, 'L', 1e-7);
  addRow(model, 'G', -2.5);
  addRow(model, 'R', 4.0, 1.5);
  addRow(model, 'N', 0.0);
  addColumn(model, 0.1, 0.0, none, {{0, 1e19}, {2, -1e-7}, {4, 5.0}});
  addColumn(model, 0.0, -none, none, {{1, 1.0}});
  addColumn(model, -3.0, 2.0, 2.0, {});
  addColumn(model, 0.0, 0.0, 7.25, {});
  addColumn(model, 1.0, -1.0, 2.0, {{3, 1.0}});
  addColumn(model, 1.0, -none, -4.0, {{3, 2.0}});
  addColumn(model, 1.0, 0.0, -4.0, {{3, 3.0}});
  addColumn(model, 1.0, -5.0, -4.0, {{3, 4.0}});
  addColumn(model, 1.0, 6.0, none, {{3, 5.0}});
  addColumn(model, 1.0, 0.0, 0.0, {{3, 6.0}});
  nameAll(model);
  return model;
}

TEST(MpsWriter, EveryKindOfRowAndBoundComesBack) {
  const ModelFile model = everyKind();
  const ModelFile back = qzfiles::readModelText("model.mps", written(model));
  expectSame(model, back);
  EXPECT_EQ(back.name, "kinds");
  EXPECT_TRUE(back.notes.empty());
}

// CoinUtils turns decimal digits into doubles with an error of a unit in the last place, so that the numbers of the
// file are read here, and the model is compared up to that.
void expectClose(const std::vector<double>& a, const std::vector<double>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t k = 0; k < a.size(); ++k) EXPECT_NEAR(a[k], b[k], 4e-16 * std::fabs(a[k])) << k;
}

TEST(MpsWriter, RandomNumbersKeepAllTheirDigits) {
  std::mt19937_64 random(3);
  const auto number = [&] {
    std::uniform_real_distribution<double> mantissa(-1.0, 1.0);
    std::uniform_int_distribution<int> exponent(-20, 60);
    return std::ldexp(mantissa(random), exponent(random));
  };
  ModelFile model;
  for (int i = 0; i < 20; ++i) addRow(model, "ELG"[random() % 3], number());
  for (int j = 0; j < 40; ++j) {
    std::vector<std::pair<int32_t, double>> elements;
    for (int32_t i = 0; i < 20; ++i)
      if (random() % 3 == 0) elements.emplace_back(i, number());
    const double l = number();
    addColumn(model, number(), l, l + std::fabs(number()) + 1.0, elements);
  }
  nameAll(model);
  const std::string text = written(model);
  const ModelFile back = qzfiles::readModelText("model.mps", text);
  EXPECT_EQ(back.rowIndex, model.rowIndex);
  expectClose(model.matValue, back.matValue);
  expectClose(model.obj, back.obj);
  expectClose(model.rhs, back.rhs);
  expectClose(model.lower, back.lower);
  expectClose(model.upper, back.upper);
  std::set<double> numbers;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    double read = 0.0;
    if (qzfiles::parseNumber(word, read)) numbers.insert(read);
  }
  for (const std::vector<double>* values : {&model.matValue, &model.obj, &model.rhs, &model.lower, &model.upper})
    for (const double value : *values) EXPECT_EQ(numbers.count(value), 1u) << value;
}

TEST(MpsWriter, NamesThatCannotStandAreNumbered) {
  for (const char* bad : {"two words", "", "$money", "*star", "1e5", "same"}) {
    ModelFile model = everyKind();
    model.rowNames[1] = bad;
    model.rowNames[2] = "same";
    model.colNames[3] = bad;
    model.colNames[4] = "same";
    const ModelFile back = qzfiles::readModelText("model.mps", written(model));
    EXPECT_EQ(back.rowNames[1], "R2") << bad;
    EXPECT_EQ(back.colNames[3], "C4") << bad;
    EXPECT_EQ(back.matValue, model.matValue) << bad;
  }
}

TEST(MpsWriter, ARowNamedLikeTheObjectiveIsNumbered) {
  ModelFile model = everyKind();
  model.rowNames[0] = "OBJECTIVE";
  EXPECT_EQ(qzfiles::readModelText("model.mps", written(model)).rowNames[0], "R1");
}

TEST(MpsWriter, ModelsWithoutRowsOrColumns) {
  ModelFile rows;
  rows.colBegin = {0};
  addRow(rows, 'G', 1.0);
  rows.rowNames = {"r"};
  EXPECT_EQ(qzfiles::readModelText("model.mps", written(rows)).rhs, rows.rhs);
  ModelFile columns;
  addColumn(columns, 2.0, -1.0, 4.0, {});
  columns.colNames = {"c"};
  const ModelFile back = qzfiles::readModelText("model.mps", written(columns));
  EXPECT_EQ(back.obj, columns.obj);
  EXPECT_EQ(back.lower, columns.lower);
}

TEST(MpsWriter, FullDeviceIsTold) {
  std::FILE* full = std::fopen("/dev/full", "w");
  if (full == nullptr) GTEST_SKIP() << "no device that is full";
  EXPECT_FALSE(qzfiles::writeMps(full, everyKind()));
  std::fclose(full);
}

TEST(MpsWriter, AQuadraticObjectiveComesBack) {
  for (const char* name : {"portfolio.lp", "pricing.qps"}) {
    const ModelFile model = qzfiles::readModelFile(std::string(QZ_EXAMPLES "/").append(name));
    ASSERT_TRUE(model.isQuadratic());
    expectSame(model, qzfiles::readModelText("written.mps", written(model)));
  }
}

}  // namespace
