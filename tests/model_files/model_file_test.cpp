// Reading of model files: what a file says is what the solver gets, and what is wrong with a file is told in words.
#include "model_files/model_file.h"

#include <bzlib.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <filesystem>
#include <limits>

#include "models/generators.h"
#include "models/linear_program.h"
#include "qzlp/temporary_file.h"

namespace {

using qzfiles::ModelFile;
using qzfiles::ModelFileError;
using qztest::TemporaryFile;

constexpr double none = std::numeric_limits<double>::infinity();

ModelFile readText(const std::string& text, const std::string& ending = ".mps") {
  return qzfiles::readModelText(std::string("model").append(ending), qzfiles::decompressedText(text));
}

// The words of the error, or "" when the file is read.
std::string errorOf(const std::string& text, const std::string& ending = ".mps") {
  try {
    (void)readText(text, ending);
    return {};
  } catch (const ModelFileError& error) {
    return error.what();
  }
}

std::string fileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string example(const std::string& name) {
  return std::string(QZ_EXAMPLES "/").append(name);
}

const char* const head =
    "NAME T\n"
    "ROWS\n"
    " N COST\n"
    " L R1\n"
    " G R2\n"
    " E R3\n"
    "COLUMNS\n"
    " X COST 1 R1 2\n"
    " X R2 3\n"
    " Y R1 4 R3 5\n";

std::string mps(const std::string& rest) {
  return std::string(head).append(rest);
}

TEST(MpsFile, RowsColumnsAndSides) {
  const ModelFile model = readText(mps("RHS\n S R1 10 R2 2\n S R3 7\nENDATA\n"));
  EXPECT_EQ(model.objSense, 1);
  EXPECT_EQ(model.rowNames, (std::vector<std::string>{"R1", "R2", "R3"}));
  EXPECT_EQ(model.colNames, (std::vector<std::string>{"X", "Y"}));
  EXPECT_EQ(model.rowSense, (std::vector<char>{'L', 'G', 'E'}));
  EXPECT_EQ(model.rhs, (std::vector<double>{10.0, 2.0, 7.0}));
  EXPECT_EQ(model.obj, (std::vector<double>{1.0, 0.0}));
  EXPECT_EQ(model.colBegin, (std::vector<int32_t>{0, 2, 4}));
  EXPECT_EQ(model.rowIndex, (std::vector<int32_t>{0, 1, 0, 2}));
  EXPECT_EQ(model.matValue, (std::vector<double>{2.0, 3.0, 4.0, 5.0}));
  EXPECT_EQ(model.lower, (std::vector<double>{0.0, 0.0}));
  EXPECT_EQ(model.upper, (std::vector<double>{none, none}));
  EXPECT_TRUE(model.notes.empty());
}

TEST(MpsFile, TheObjectivesSideIsMinusItsConstant) {
  EXPECT_EQ(readText(mps("RHS\n S COST -4\nENDATA\n")).objConstant, 4.0);
}

TEST(MpsFile, SenseOfTheObjective) {
  const std::string body = std::string(head).substr(std::string("NAME T\n").size()).append("ENDATA\n");
  for (const char* maximise : {"OBJSENSE\n    MAX\n", "OBJSENSE\n MAXIMIZE\n", "OBJSENSE MAX\n", "MAX\n"})
    EXPECT_EQ(readText(std::string("NAME T\n").append(maximise).append(body)).objSense, -1) << maximise;
  for (const char* minimise : {"OBJSENSE\n    MIN\n", "OBJSENSE MINIMIZE\n"})
    EXPECT_EQ(readText(std::string("NAME T\n").append(minimise).append(body)).objSense, 1) << minimise;
  EXPECT_NE(errorOf(std::string("NAME T\nOBJSENSE\n UP\n").append(body)).find("line 3"), std::string::npos);
}

TEST(MpsFile, RangesWidenARowByItsSense) {
  // L: [rhs - |r|, rhs]; G: [rhs, rhs + |r|]; E: [rhs, rhs + r] or [rhs + r, rhs] by the sign of r.
  ModelFile model = readText(mps("RHS\n S R1 10 R2 2\n S R3 7\nRANGES\n R R1 3 R2 -4\n R R3 5\nENDATA\n"));
  EXPECT_EQ(model.rowSense, (std::vector<char>{'R', 'R', 'R'}));
  EXPECT_EQ(model.rhs, (std::vector<double>{10.0, 6.0, 12.0}));
  EXPECT_EQ(model.range, (std::vector<double>{3.0, 4.0, 5.0}));
  model = readText(mps("RHS\n S R3 7\nRANGES\n R R3 -5\nENDATA\n"));
  EXPECT_EQ(model.rhs[2], 7.0);
  EXPECT_EQ(model.range[2], 5.0);
  model = readText(mps("RANGES\n R R1 3\nRHS\n S R1 10\nENDATA\n"));  // sections in another order
  EXPECT_EQ(model.rhs[0], 10.0);
  EXPECT_EQ(model.range[0], 3.0);
}

// The lower triangle of Q, dense by columns.
std::vector<std::vector<double>> triangleOf(const ModelFile& model) {
  const auto n = static_cast<size_t>(model.numCol());
  std::vector<std::vector<double>> dense(n, std::vector<double>(n, 0.0));
  for (size_t j = 0; j < n; ++j) {
    for (auto k = static_cast<size_t>(model.quadBegin[j]); k < static_cast<size_t>(model.quadBegin[j + 1]); ++k) {
      const auto row = static_cast<size_t>(model.quadIndex[k]);
      EXPECT_GE(row, j);
      EXPECT_EQ(dense[row][j], 0.0);
      dense[row][j] = model.quadValue[k];
    }
  }
  return dense;
}

using Dense = std::vector<std::vector<double>>;

TEST(MpsFile, QuadraticObjectiveOfOneTriangle) {
  const Dense expected{{2.0, 0.0}, {-1.5, 4.0}};
  for (const char* section : {"QUADOBJ", "QSECTION", "QSECTION COST", "quadobj"})
    for (const char* pair : {" X Y -1.5\n", " Y X -1.5\n"})
      EXPECT_EQ(triangleOf(readText(mps(std::string(section) + "\n X X 2\n" + pair + " Y Y 4\nENDATA\n"))), expected)
          << section << pair;
  EXPECT_EQ(triangleOf(readText(mps("QUADOBJ\n X X 2 Y -1.5\n Y Y 4\nRHS\n S R1 1\nENDATA\n"))), expected)
      << "two pairs on a line, and another section behind";
}

TEST(MpsFile, QuadraticObjectiveOfBothTriangles) {
  const ModelFile model = readText(mps("QMATRIX\n X X 2\n X Y -1.5\n Y X -1.5\n Y Y 4\nENDATA\n"));
  EXPECT_EQ(triangleOf(model), (Dense{{2.0, 0.0}, {-1.5, 4.0}}));
  EXPECT_EQ(model.numQuadCoef(), 3);
  const qzlp_quadratic view = model.quadraticView();
  EXPECT_EQ(view.form, QZLP_LOWER);
  EXPECT_EQ(view.numCoef, 3);
}

TEST(MpsFile, ZerosAreNoQuadraticObjective) {
  EXPECT_FALSE(readText(mps("ENDATA\n")).isQuadratic());
  EXPECT_FALSE(readText(mps("QUADOBJ\nENDATA\n")).isQuadratic());
  EXPECT_FALSE(readText(mps("QUADOBJ\n X X 0\n X Y 0\nENDATA\n")).isQuadratic());
}

TEST(MpsFile, QuadraticObjectiveInTheFixedFormat) {
  const ModelFile model = readText(
      "NAME          FIXED\n"
      "ROWS\n"
      " N  THE COST\n"
      " L  R 1\n"
      "COLUMNS\n"
      "    COL 1     R 1                1.0   THE COST           1.0\n"
      "    COL 2     R 1                1.0\n"
      "QUADOBJ\n"
      "    COL 1     COL 1              2.0   COL 2              0.5\n"
      "ENDATA\n");
  EXPECT_EQ(triangleOf(model), (Dense{{2.0, 0.0}, {0.5, 0.0}}));
}

struct BoundCase {
  const char* lines;
  double lower, upper;
};

TEST(MpsFile, Bounds) {
  const BoundCase cases[] = {{" UP B X 4\n", 0.0, 4.0},
                             {" LO B X 4\n", 4.0, none},
                             {" FX B X 4\n", 4.0, 4.0},
                             {" FR B X\n", -none, none},
                             {" MI B X\n", -none, none},
                             {" MI B X\n UP B X 3\n", -none, 3.0},
                             {" UP B X 3\n PL B X\n", 0.0, none},
                             {" BV B X\n", 0.0, 1.0},
                             {" LI B X 2\n UI B X 8\n", 2.0, 8.0},
                             {" SC B X 8\n", 0.0, 8.0},
                             {" UP B X 1e30\n LO B X -1e30\n", -1e30, 1e30},
                             {" UP B X inf\n LO B X -Infinity\n", -none, none},
                             {" UP B X -2\n", -none, -2.0},
                             {" LO B X -5\n UP B X -2\n", -5.0, -2.0},
                             {" UP X 4\n", 0.0, 4.0},
                             {" UP B X 4\n UP B X 5\n", 0.0, 5.0},
                             {" LO B X 5\n UP B X 2\n", 5.0, 2.0},
                             {" UP B X 2\n LO B X 5\n", 5.0, 2.0},
                             {" UP B X 1.5D1\n", 0.0, 15.0},
                             {" UP B X 4\n UP C X 9\n", 0.0, 4.0}};
  for (const BoundCase& one : cases) {
    SCOPED_TRACE(one.lines);
    const ModelFile model = readText(mps(std::string("BOUNDS\n").append(one.lines).append("ENDATA\n")));
    EXPECT_EQ(model.lower[0], one.lower);
    EXPECT_EQ(model.upper[0], one.upper);
  }
}

TEST(MpsFile, MoreCrossedBoundsThanTheReaderToleratesErrors) {
  std::string text = "NAME T\nROWS\n N C\n L R\nCOLUMNS\n";
  std::string bounds = "BOUNDS\n";
  for (int j = 0; j < 300; ++j) {
    const std::string name = std::string("X").append(std::to_string(j));
    text.append(" ").append(name).append(" C 1 R 1\n");
    bounds.append(" LO B ").append(name).append(" 5\n UP B ").append(name).append(" 2\n");
  }
  const ModelFile model = readText(text.append(bounds).append("ENDATA\n"));
  for (size_t j = 0; j < 300; ++j) {
    EXPECT_EQ(model.lower[j], 5.0);
    EXPECT_EQ(model.upper[j], 2.0);
  }
}

TEST(MpsFile, IntegerColumnsAreRelaxedWithANote) {
  const ModelFile model = readText(
      "NAME T\nROWS\n N C\n L R\nCOLUMNS\n M 'MARKER' 'INTORG'\n X C 1 R 1\n M 'MARKER' 'INTEND'\n Y C 1 R 1\n"
      "BOUNDS\n SC B Y 4\nENDATA\n");
  ASSERT_EQ(model.notes.size(), 2U);
  EXPECT_EQ(model.notes[0], "1 integer column(s) solved as continuous");
  EXPECT_EQ(model.notes[1], "1 semi-continuous column(s) solved as continuous");
}

TEST(MpsFile, FreeRowsBehindTheObjectiveAreLeftOutWithANote) {
  const ModelFile model =
      readText("NAME T\nROWS\n N C\n N D\n L R\nCOLUMNS\n X C 1 D 5\n X R 1\nRHS\n S D 4 R 2\nENDATA\n");
  EXPECT_EQ(model.numRow(), 1);
  EXPECT_EQ(model.numCoef(), 1);
  EXPECT_EQ(model.rhs[0], 2.0);
  EXPECT_EQ(model.notes.size(), 1U);
}

TEST(MpsFile, NamesWithBlanksInTheFixedFormat) {
  const ModelFile model = readText(
      "NAME          T\n"
      "ROWS\n"
      " N  COST\n"
      " L  MY ROW\n"
      " E  E1\n"
      "COLUMNS\n"
      "    X 1       COST               1.0   MY ROW             2.0\n"
      "    X 1       E1                3.0\n"
      "    Y         E1                4.0\n"
      "RHS\n"
      "    MY RHS    MY ROW            5.0\n"
      "BOUNDS\n"
      " UP MY BND    X 1               6.0\n"
      "ENDATA\n");
  EXPECT_EQ(model.colNames, (std::vector<std::string>{"X 1", "Y"}));
  EXPECT_EQ(model.rowNames, (std::vector<std::string>{"MY ROW", "E1"}));
  EXPECT_EQ(model.matValue, (std::vector<double>{2.0, 3.0, 4.0}));
  EXPECT_EQ(model.rhs[0], 5.0);
  EXPECT_EQ(model.upper[0], 6.0);
}

TEST(MpsFile, LongNamesTabsCarriageReturnsAndSetsWithoutName) {
  const std::string name(300, 'a');
  std::string text = "NAME T FREE\r\nROWS\r\n N\tC\r\n L\t";
  text.append(name).append("\r\nCOLUMNS\r\n X\tC\t1\t").append(name).append("\t2\r\nRHS\r\n ");
  text.append(name).append(" 4\r\nENDATA\r\n");
  const ModelFile model = readText(text);
  EXPECT_EQ(model.rowNames[0], name);
  EXPECT_EQ(model.rhs[0], 4.0);
}

TEST(MpsFile, WithoutColumnsOrRows) {
  const ModelFile noColumns =
      readText("NAME T\nROWS\n N C\n L R\n E S\nCOLUMNS\nRHS\n S R 4 S 1\nRANGES\n R R 3 S -2\nENDATA\n");
  EXPECT_EQ(noColumns.numCol(), 0);
  EXPECT_EQ(noColumns.rowSense, (std::vector<char>{'R', 'R'}));
  EXPECT_EQ(noColumns.rhs, (std::vector<double>{4.0, 1.0}));
  EXPECT_EQ(noColumns.range, (std::vector<double>{3.0, 2.0}));
  const ModelFile noRows = readText("NAME T\nROWS\n N C\nCOLUMNS\n X C 2\nBOUNDS\n UP B X 4\nENDATA\n");
  EXPECT_EQ(noRows.numRow(), 0);
  EXPECT_EQ(noRows.obj, (std::vector<double>{2.0}));
  EXPECT_EQ(noRows.upper, (std::vector<double>{4.0}));
}

TEST(MpsFile, ZerosAreLeftOut) {
  EXPECT_EQ(readText(mps(" Y R2 0\nENDATA\n")).numCoef(), 4);
}

struct ErrorCase {
  std::string text;
  const char* words;
};

TEST(MpsFile, Errors) {
  const ErrorCase cases[] = {
      {"", "is empty"},
      {" \n\n", "is empty"},
      {"hello world\n", "line 1: unknown section 'hello'"},
      {"NAME T\nROWS\n N C\n", "COLUMNS"},
      {mps("RHS\n S R1 4\n"), "ends without ENDATA (truncated file?)"},
      {mps("RHS\n S R9 4\nENDATA\n"), "line 12: row 'R9' is not in the ROWS section"},
      {mps(" Z R1 4x\nENDATA\n"), "line 11"},
      {mps(" Z R1\nENDATA\n"), "line 11"},
      {mps(" Z R1 nan\nENDATA\n"), "line 11"},
      {mps(" Z R1 1e25\nENDATA\n"), "too large"},
      {mps(" Z R1 1e999\nENDATA\n"), "too large"},
      {mps(" Z R1 1 R1 2\nENDATA\n"), "row 'R1' appears twice in column 'Z'"},
      {mps(" X R1 1\nENDATA\n"), "column 'X' appears twice"},
      {mps("RHS\n S R1 4\n S R1 5\nENDATA\n"), "second right-hand side"},
      {mps("RANGES\n S R1 4\n S R1 5\nENDATA\n"), "second range"},
      {mps("BOUNDS\n UP B X\nENDATA\n"), "line 12: a bound is"},
      {mps("BOUNDS\n UP B Q 4\nENDATA\n"), "column 'Q' is not in the COLUMNS section"},
      {mps("BOUNDS\n ZZ B X 4\nENDATA\n"), "unknown type of bound 'ZZ'"},
      {mps("BOUNDS\n UP B X 4z\nENDATA\n"), "'4z' is not a number"},
      {mps("BOUNDS\n FX B X inf\nENDATA\n"), "fixed at infinity"},
      {mps("FOO\n a b\nENDATA\n"), "line 11: unknown section 'FOO'"},
      {mps("QCMATRIX R1\n X X 1\nENDATA\n"), "line 11: section QCMATRIX: only the objective may be quadratic"},
      {mps("CSECTION K 0 QUAD\nENDATA\n"), "only the objective may be quadratic"},
      {mps("QSECTION R1\n X X 1\nENDATA\n"), "line 11: QSECTION R1: only the objective may be quadratic"},
      {mps("QSECTION R9\n X X 1\nENDATA\n"), "QSECTION R9: only the objective"},
      {"NAME T\nROWS\n N C\nQUADOBJ\nENDATA\n", "line 4: QUADOBJ before COLUMNS"},
      {mps("QUADOBJ\n X X 1\nQMATRIX\n X X 1\nENDATA\n"), "line 13: a second section of the quadratic objective"},
      {mps("QUADOBJ\n X Z 1\nENDATA\n"), "line 12: column 'Z' is not in the COLUMNS section"},
      {mps("QUADOBJ\n Z X 1\nENDATA\n"), "line 12: column 'Z' is not in the COLUMNS section"},
      {mps("QUADOBJ\n X X\nENDATA\n"), "line 12"},
      {mps("QUADOBJ\n X X one\nENDATA\n"), "line 12"},
      {mps("QUADOBJ\n X X 1e20\nENDATA\n"), "line 12: the coefficient '1e20' is too large"},
      {mps("QUADOBJ\n X X inf\nENDATA\n"), "line 12: 'inf' is not a number"},
      {mps("QUADOBJ\n X X 1\n X X 2\nENDATA\n"), "line 13: the pair 'X', 'X' appears twice"},
      {mps("QUADOBJ\n X Y 1\n Y X 1\nENDATA\n"), "line 13: the pair 'Y', 'X' appears twice: this section holds one"},
      {mps("QMATRIX\n X Y 1\n X Y 1\nENDATA\n"), "line 13: the pair 'X', 'Y' appears twice"},
      {mps("QMATRIX\n X Y 1\nENDATA\n"), "QMATRIX is not symmetric: columns 'X', 'Y'"},
      {mps("QMATRIX\n X Y 1\n Y X 2\nENDATA\n"), "QMATRIX is not symmetric"},
      {mps("QUADOBJ\n X X 1\n"), "ends without ENDATA"},
      {mps("RHS\n S R3 1e30\nENDATA\n"), "infinite side"},
      {"NAME\nROWS\n N C\n L R\n L R\nCOLUMNS\nENDATA\n", "row 'R' appears twice"},
      {"NAME\nROWS\n N C\n Q R\nCOLUMNS\nENDATA\n", "not 'Q'"},
      {"NAME\nCOLUMNS\nENDATA\n", "COLUMNS before ROWS"},
      {"NAME\n x y\nENDATA\n", "data outside of a section"},
      {std::string("NAME\nROWS\n N C\0\n", 17), "is not a text file"},
      {"\x7f"
       "ELF\x01\x02",
       "is not a text file"},
  };
  for (const ErrorCase& one : cases) {
    const std::string error = errorOf(one.text);
    EXPECT_NE(error.find(one.words), std::string::npos) << one.text << "\ngave: " << error;
    EXPECT_EQ(error.find('\n'), std::string::npos) << "one line";
  }
}

// The brackets are halved: squares go to the diagonal of Q as they stand, products in halves.
TEST(LpFile, QuadraticObjective) {
  const std::string end = "\nst\n x + y >= 2\nEnd\n";
  const Dense expected{{2.0, 0.0}, {-1.5, 4.0}};
  for (const char* objective :
       {"min x + [ 2 x ^ 2 - 3 x * y + 4 y ^ 2 ] / 2", "min x + [2x^2-3y*x+4y^2]/2",
        "min x + [ 2 x ^ 2 - 1.5 x * y - 1.5 y * x + 4 y * y ] / 2",
        "min x + [ x ^ 2 + x * x - 3 x * y + 4 y ^ 2 ] / 2", "min x - [ - 2 x ^ 2 + 3 x * y - 4 y ^ 2 ] / 2",
        "min x + [ 2 * x ^ 2 - 3 * x * y + 4 * y ^ 2 ] / 2", "min x + [ 2 x ^ 2\n - 3 x * y\n + 4 y ^ 2 ]\n / 2",
        "min x - - [ 2 x^2 - + 3 x * y - - 4 y^2 ] / 2"}) {
    const ModelFile model = readText(objective + end, ".lp");
    EXPECT_EQ(triangleOf(model), expected) << objective;
    EXPECT_EQ(model.obj, (std::vector<double>{1.0, 0.0})) << objective;
  }
}

TEST(LpFile, QuadraticObjectiveAmongTheOtherTerms) {
  ModelFile model = readText("max\n profit: [ - x ^ 2 ] / 2 + 3 x + 7\nst\n x + y <= 2\nEnd\n", ".lp");
  EXPECT_EQ(model.objSense, -1);
  EXPECT_EQ(model.objConstant, 7.0);
  EXPECT_EQ(model.obj, (std::vector<double>{3.0, 0.0}));
  EXPECT_EQ(triangleOf(model), (Dense{{-1.0, 0.0}, {0.0, 0.0}}));
  // A column of the quadratic part alone.
  model = readText("min [ z ^ 2 ] / 2\nst\n x >= 2\nEnd\n", ".lp");
  EXPECT_EQ(model.colNames, (std::vector<std::string>{"z", "x"}));
  EXPECT_EQ(model.obj, (std::vector<double>{0.0, 0.0}));
  EXPECT_FALSE(readText("min x + [ y ^ 2 - y * y ] / 2\nst\n x + y >= 2\nEnd\n", ".lp").isQuadratic());
}

TEST(LpFile, SectionsSignsAndNames) {
  const ModelFile model = readText(
      "\\ a comment\n"
      "Maximize\n"
      " obj: 3 x + 2y - 1.5e1 z + 5 \\ another\n"
      "Subject To\n"
      " c1: x + y + z <= 10\n"
      " x - y => -2\n"
      " c3: -2 <= x + z <= 8\n"
      " c4: y + z = 4\n"
      " c5: 5 >= x + x - - z\n"
      "Bounds\n"
      " x <= 4\n"
      " -5 <= y <= 7\n"
      " z free\n"
      " -inf <= w <= 3\n"
      "End\n",
      ".lp");
  EXPECT_EQ(model.objSense, -1);
  EXPECT_EQ(model.objConstant, 5.0);
  EXPECT_EQ(model.colNames, (std::vector<std::string>{"x", "y", "z", "w"}));
  EXPECT_EQ(model.obj, (std::vector<double>{3.0, 2.0, -15.0, 0.0}));
  EXPECT_EQ(model.rowNames, (std::vector<std::string>{"c1", "R2", "c3", "c4", "c5"}));
  EXPECT_EQ(model.rowSense, (std::vector<char>{'L', 'G', 'R', 'E', 'L'}));
  EXPECT_EQ(model.rhs, (std::vector<double>{10.0, -2.0, 8.0, 4.0, 5.0}));
  EXPECT_EQ(model.range[2], 10.0);
  EXPECT_EQ(model.lower, (std::vector<double>{0.0, -5.0, -none, -none}));
  EXPECT_EQ(model.upper, (std::vector<double>{4.0, 7.0, none, 3.0}));
  EXPECT_EQ(model.colBegin, (std::vector<int32_t>{0, 4, 7, 11, 11}));
  EXPECT_EQ(model.matValue[3], 2.0);   // x + x
  EXPECT_EQ(model.matValue[10], 1.0);  // - - z
}

TEST(LpFile, ConstantsOnTheLeftMoveToTheSide) {
  const ModelFile model = readText("min\n x\nst\n x + 3 >= 5\n -1 <= x + 2 <= 4\nend\n", ".lp");
  EXPECT_EQ(model.rhs, (std::vector<double>{2.0, 2.0}));
  EXPECT_EQ(model.range[1], 5.0);
}

TEST(LpFile, KindsOfVariablesAreRelaxedWithNotes) {
  const ModelFile model = readText(
      "min\n x + y + z\nst\n x + y + z >= 1\nBounds\n z <= 9\nGeneral\n x\nBinary\n y\nSemi-continuous\n z\nEnd\n",
      ".lp");
  EXPECT_EQ(model.notes.size(), 2U);
  EXPECT_EQ(model.upper, (std::vector<double>{none, 1.0, 9.0}));
}

TEST(LpFile, CrossedSidesAndBoundsAreNoErrors) {
  const ModelFile model = readText("min\n x\nst\n r: 5 <= x + y <= 3\nBounds\n x >= 4\n x <= 2\nEnd\n", ".lp");
  EXPECT_EQ(model.rowSense, (std::vector<char>{'L', 'G'}));
  EXPECT_EQ(model.rhs, (std::vector<double>{3.0, 5.0}));
  EXPECT_EQ(model.lower[0], 4.0);
  EXPECT_EQ(model.upper[0], 2.0);
}

TEST(LpFile, InfiniteSidesOfRanges) {
  const ModelFile model = readText("min\n x\nst\n -inf <= x + y <= 3\n 2 <= x - y <= 1e30\nEnd\n", ".lp");
  EXPECT_EQ(model.rowSense, (std::vector<char>{'L', 'G'}));
}

TEST(LpFile, ObjectiveWithoutTerms) {
  EXPECT_EQ(readText("Minimize\n obj:\nSubject To\n c: x >= 1\nEnd\n", ".lp").obj[0], 0.0);
}

TEST(LpFile, FoundOutByItsFirstWord) {
  EXPECT_EQ(readText("Minimize\n obj: x\nSubject To\n c: x >= 1\nEnd\n", ".model").rhs[0], 1.0);
  EXPECT_EQ(readText("\\ comment\nmax\n x\nst\n c: x <= 1\nEnd\n", "").objSense, -1);
  EXPECT_EQ(readText(mps("ENDATA\n"), "").numRow(), 3);
}

TEST(LpFile, Errors) {
  const ErrorCase cases[] = {
      {"", "is empty"},
      {"hello world\n", "line 1: an LP file begins with Minimize or Maximize, not 'hello'"},
      {"min\n x + y\n", "ends behind the objective (truncated file?)"},
      {"min\n x + y\nst\n", "ends without End (truncated file?)"},
      {"min\n x + y\nst\n x >= 2\n", "ends without End"},
      {"min\n x + y\nst\n x >=\nEnd\n", "line 5: expected a number instead of 'End'"},
      {"min\n x + y\nst\n x +\nEnd\n", "expected a number or a name"},
      {"min\n x + y\nst\n x + y\nEnd\n", "expected <=, >= or ="},
      {"min\n x + y\nst\n x >= y\nEnd\n", "line 4: expected a number instead of 'y'"},
      {"min\n x + y\nst\n x >= 2 y\nEnd\n", "line 4: unexpected 'y' behind a constraint"},
      {"min\n x + y\nst\n 1 <= x >= 2\nEnd\n", "must point the same way"},
      {"min\n x + y\nst\n c: x >= 2\n c: y >= 2\nEnd\n", "constraint 'c' appears twice"},
      {"min\n [ x^2 ]\nst\n x >= 2\nEnd\n", "line 3: expected '/' behind the quadratic part, which is halved"},
      {"min\n [ x^2 ] / 3\nst\n x >= 2\nEnd\n", "line 2: expected '/ 2' behind the quadratic part, not '/ 3'"},
      {"min\n [ x^3 ] / 2\nst\n x >= 2\nEnd\n", "line 2: expected '^ 2', not '^ 3'"},
      {"min\n [ x ] / 2\nst\n x >= 2\nEnd\n", "line 2: expected '^ 2' or '*' instead of ']'"},
      {"min\n [ 2 ] / 2\nst\n x >= 2\nEnd\n", "line 2: expected the name of a variable instead of ']'"},
      {"min\n [ x * 2 ] / 2\nst\n x >= 2\nEnd\n", "line 2: expected the name of a variable instead of '2'"},
      {"min\n [ x * y * z ] / 2\nst\n x >= 2\nEnd\n", "line 2: expected ']'"},
      {"min\n [ ] / 2\nst\n x >= 2\nEnd\n", "line 2: expected the name of a variable instead of ']'"},
      {"min\n [ x^2 / 2\nst\n x >= 2\nEnd\n", "line 2: expected ']' behind the quadratic part"},
      {"min\n [ 1e20 x^2 ] / 2\nst\n x >= 2\nEnd\n", "line 2: the number before 'x' is too large"},
      {"min\n [ x^2 ] / 2 + [ y^2 ] / 2\nst\n x >= 2\nEnd\n", "line 2: a second quadratic part"},
      {"min\n x [ x^2 ] / 2\nst\n x >= 2\nEnd\n", "line 2: only the objective may be quadratic"},
      {"min\n 3 [ x^2 ] / 2\nst\n x >= 2\nEnd\n", "line 2: only the objective may be quadratic"},
      {"min\n [ x^2 ] / 2 x\nst\n x >= 2\nEnd\n", "line 2"},
      {"min\n x\nst\n x + [ x ^ 2 ] >= 2\nEnd\n", "line 4: only the objective may be quadratic"},
      {"min\n x\nst\n [ x ^ 2 ] >= 2\nEnd\n", "line 4: only the objective may be quadratic"},
      {"min\n x\nst\n x ^ 2 >= 2\nEnd\n", "line 4: unexpected '^'"},
      {"min\n x\nst\n x >= 2\nBounds\n x 4\nEnd\n", "expected a bound"},
      {"min\n x\nst\n x >= 2\nBounds\n x = inf\nEnd\n", "fixed at infinity"},
      {"min\n x\nst\n x >= 2\nGeneral\n q\nEnd\n", "variable 'q' is not in the model"},
      {"min\n x\nst\n x >= 2\nSOS1\n s: x:1\nEnd\n", "is not read"},
      {"min\n 1e25 x\nst\n x >= 2\nEnd\n", "too large"},
      {"min\n x\nEnd\n", "expected Subject To"},
      {"min\n x <> y\nst\n x >= 2\nEnd\n", "line 2"},
  };
  for (const ErrorCase& one : cases) {
    const std::string error = errorOf(one.text, ".lp");
    EXPECT_NE(error.find(one.words), std::string::npos) << one.text << "\ngave: " << error;
    EXPECT_EQ(error.find('\n'), std::string::npos) << "one line";
  }
}

TEST(AnyFile, OnDisk) {
  EXPECT_EQ(qzfiles::readModelFile(example("diet.mps")).numCol(), 3);
  const TemporaryFile packed(".lp.gz", fileText(example("workshop.lp")));
  EXPECT_EQ(qzfiles::readModelFile(packed.path()).numCol(), 2) << "not compressed in spite of its name";
}

TEST(AnyFile, AMissingFileAndAFolder) {
  EXPECT_THROW((void)qzfiles::readModelFile("/nowhere/at/all.mps"), ModelFileError);
  EXPECT_THROW((void)qzfiles::readModelFile("/tmp"), ModelFileError);
}

std::string gzipped(const std::string& text) {
  const TemporaryFile file(".gz");
  gzFile out = gzopen(file.path().c_str(), "wb");
  gzwrite(out, text.data(), static_cast<unsigned>(text.size()));
  gzclose(out);
  return file.read();
}

std::string bzipped(std::string text) {
  std::string packed(text.size() + 1000, '\0');
  auto size = static_cast<unsigned>(packed.size());
  EXPECT_EQ(BZ2_bzBuffToBuffCompress(packed.data(), &size, text.data(), static_cast<unsigned>(text.size()), 9, 0, 0),
            BZ_OK);
  packed.resize(size);
  return packed;
}

TEST(CompressedFile, GzipAndBzip2WholeAndCutShort) {
  const std::string text = fileText(example("diet.mps"));
  for (const std::string& packed : {gzipped(text), bzipped(text)}) {
    EXPECT_EQ(readText(packed, ".mps").numCol(), 3) << "by the first bytes, not by the name";
    EXPECT_EQ(readText(packed, ".mps.gz").numCol(), 3);
    EXPECT_EQ(errorOf(packed + packed), "") << "members one behind the other";
    for (size_t size = 4; size + 1 < packed.size(); size += 7)
      EXPECT_NE(errorOf(packed.substr(0, size)), "") << "cut to " << size << " bytes";
    std::string damaged = packed;
    damaged[packed.size() / 2] = static_cast<char>(damaged[packed.size() / 2] ^ 0x55);
    EXPECT_NE(errorOf(damaged), "");
  }
  EXPECT_EQ(readText(gzipped(fileText(example("workshop.lp"))), ".lp.gz").numCol(), 2);
}

TEST(DamagedFile, CutShortAtEveryByteItIsAnErrorAndNoCrash) {
  for (const char* name : {"diet.mps", "transport.mps", "shortage.mps", "production.lp", "workshop.lp"}) {
    const std::string text = fileText(example(name));
    const std::string ending = std::string(name).substr(std::string(name).find('.'));
    const size_t last = text.find(ending == ".lp" ? "\nEnd" : "\nENDATA");
    for (size_t size = 0; size <= last + 1; ++size)
      EXPECT_NE(errorOf(text.substr(0, size), ending), "") << name << " cut to " << size << " bytes";
  }
}

TEST(DamagedFile, RandomEditsNeverCrash) {
  models::Random random(20240229);
  for (const char* name : {"diet.mps", "transport.mps", "shortage.mps", "production.lp", "workshop.lp"}) {
    const std::string text = fileText(example(name));
    const std::string ending = std::string(name).substr(std::string(name).find('.'));
    int refused = 0;
    for (int trial = 0; trial < 2000; ++trial) {
      std::string edited = text;
      for (int edit = random.whole(1, 3); edit > 0; --edit) {
        const auto place = static_cast<size_t>(random.whole(0, static_cast<int>(edited.size()) - 1));
        const auto count = static_cast<size_t>(random.whole(1, 40));
        switch (random.whole(0, 4)) {
          case 0:
            edited[place] = static_cast<char>(random.whole(0, 255));
            break;
          case 1:
            edited.erase(place, count);
            break;
          case 2:
            edited.insert(place, edited.substr(static_cast<size_t>(random.whole(0, static_cast<int>(place))), count));
            break;
          case 3:
            edited[place] = "\n \t+-.eE0919<>=:*[]'"[random.whole(0, 19)];
            break;
          default:
            edited.insert(place, count, edited[place]);
        }
        if (edited.empty()) edited.push_back(' ');
      }
      refused += errorOf(edited, ending).empty() ? 0 : 1;
    }
    EXPECT_GT(refused, 200) << name;
  }
}

// The decimal conversion of CoinUtils may be off by last bits, by others for another way to write the same number.
void expectClose(const std::vector<double>& a, const std::vector<double>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) EXPECT_DOUBLE_EQ(a[i], b[i]);
}

TEST(Collections, TheReadingAgreesWithThatOfCoinUtilsAlone) {
  const char* data = std::getenv("QZ_TEST_DATA");
  if (data == nullptr) GTEST_SKIP() << "QZ_TEST_DATA does not name the folder of the model collections";
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::string(data).append("/lp/netlib"))) {
    if (entry.file_size() > 60000) continue;
    SCOPED_TRACE(entry.path().string());
    const ModelFile model = qzfiles::readModelFile(entry.path().string());
    const models::LinearProgram other = models::readMpsFile(entry.path().string());
    ASSERT_EQ(model.numRow(), other.numRow());
    ASSERT_EQ(model.numCol(), other.numCol());
    EXPECT_DOUBLE_EQ(model.objConstant, other.constant);
    expectClose(model.obj, other.cost);
    EXPECT_EQ(model.colBegin, other.colBegin);
    EXPECT_EQ(model.rowIndex, other.rowIndex);
    expectClose(model.matValue, other.value);
    for (size_t j = 0; j < other.cost.size(); ++j) {
      EXPECT_DOUBLE_EQ(model.lower[j] <= -1e20 ? -none : model.lower[j], other.lower[j]);
      EXPECT_DOUBLE_EQ(model.upper[j] >= 1e20 ? none : model.upper[j], other.upper[j]);
    }
    ++count;
  }
  EXPECT_GT(count, 20);
}

}  // namespace
