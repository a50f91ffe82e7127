// The statistics of a model and the warnings about it.
#include "qzlp/statistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "qzlp/options.h"

namespace {

using qzfiles::ModelFile;
using qzlpApp::ModelStatistics;
using qzlpApp::statisticsOf;

ModelFile lpModel(const std::string& text) {
  return qzfiles::readModelText("test.lp", text);
}

ModelFile mpsModel(const std::string& text) {
  return qzfiles::readModelText("test.mps", text);
}

std::vector<std::string> warningsAbout(const ModelFile& model, bool normalEquations = false) {
  return qzlpApp::warningsOf(model, statisticsOf(model), normalEquations);
}

bool mentions(const std::vector<std::string>& lines, const std::string& text) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

TEST(Range, KeepsTheSmallestAndTheLargestMagnitudeWithTheirPlaces) {
  qzlpApp::Range range;
  EXPECT_TRUE(range.isEmpty());
  EXPECT_EQ(range.ratio(), 1.0);
  range.add(0.0, 1);
  EXPECT_TRUE(range.isEmpty()) << "a zero is no magnitude";
  range.add(-8.0, 2);
  range.add(0.5, 3);
  range.add(4.0, 4);
  EXPECT_EQ(range.largest, 8.0);
  EXPECT_EQ(range.largestAt, 2);
  EXPECT_EQ(range.smallest, 0.5);
  EXPECT_EQ(range.smallestAt, 3);
  EXPECT_EQ(range.ratio(), 16.0);
}

TEST(Statistics, CountEveryRowAndColumnOnce) {
  const ModelFile model = mpsModel(
      "NAME T\nROWS\n N C\n E E1\n L L1\n L L2\n G G1\n L R1\nCOLUMNS\n LO C 2 E1 1\n LO L1 3\n UP C -7 L2 0.5\n UP R1 "
      "1\n BX E1 1 G1 1\n FX E1 1\n FR E1 1\nRHS\n S E1 4 L1 100\n S R1 9\nRANGES\n S R1 6\nBOUNDS\n MI B UP\n UP B UP "
      "12\n UP B BX 1\n FX B FX 3\n FR B FR\nENDATA\n");
  const ModelStatistics s = statisticsOf(model);
  EXPECT_EQ(s.numEqual, 1);
  EXPECT_EQ(s.numAtMost, 2);
  EXPECT_EQ(s.numAtLeast, 1);
  EXPECT_EQ(s.numRange, 1);
  EXPECT_EQ(s.numFreeRow, 0);
  EXPECT_EQ(s.numLowerOnly, 1);
  EXPECT_EQ(s.numUpperOnly, 1);
  EXPECT_EQ(s.numBoxed, 1);
  EXPECT_EQ(s.numFixed, 1);
  EXPECT_EQ(s.numFreeCol, 1);
  EXPECT_EQ(s.longestRow, 4) << "E1 holds four columns";
  EXPECT_EQ(s.longestCol, 2);
  EXPECT_EQ(s.matrix.smallest, 0.5);
  EXPECT_EQ(s.matrix.largest, 3.0);
  EXPECT_EQ(s.costs.largest, 7.0);
  EXPECT_EQ(s.sides.smallest, 3.0) << "the lower side of the range";
  EXPECT_EQ(s.sides.largest, 100.0);
  EXPECT_EQ(s.bounds.largest, 12.0);
  const std::vector<std::string> text = qzlpApp::statisticsText(model, s);
  EXPECT_TRUE(mentions(text, "Rows       1 equation, 2 at most, 1 at least, 1 range")) << text[0];
  EXPECT_TRUE(mentions(text, "1 with a lower bound, 1 with an upper bound, 1 with both, 1 fixed, 1 free")) << text[1];
  EXPECT_TRUE(mentions(text, "longest row 4, longest column 2"));
  EXPECT_TRUE(mentions(text, "matrix 0.5 to 3, costs 2 to 7, bounds 1 to 12, sides 3 to 100"));
}

TEST(Statistics, OfAnEmptyModelAreTold) {
  ModelFile model;
  model.colBegin = model.quadBegin = {0};
  const std::vector<std::string> text = qzlpApp::statisticsText(model, statisticsOf(model));
  EXPECT_TRUE(mentions(text, "Rows       none"));
  EXPECT_TRUE(mentions(text, "Columns    none"));
  EXPECT_TRUE(warningsAbout(model).empty());
}

TEST(Warnings, ATameModelHasNone) {
  EXPECT_TRUE(warningsAbout(lpModel("min\n x + 2 y\nst\n r: x + y >= 3\nend\n"), true).empty());
}

TEST(Warnings, AWideMatrixIsToldWithBothItsEnds) {
  const std::vector<std::string> wide =
      warningsAbout(lpModel("min\n x + y\nst\n big: 1e5 x + y >= 3\n small: x + 1e-5 y >= 1\nend\n"));
  ASSERT_EQ(wide.size(), 1U);
  EXPECT_NE(wide[0].find("factor of 1e+10"), std::string::npos) << wide[0];
  EXPECT_NE(wide[0].find("row 'small', column 'y'"), std::string::npos) << wide[0];
  EXPECT_NE(wide[0].find("row 'big', column 'x'"), std::string::npos) << wide[0];
  EXPECT_TRUE(warningsAbout(lpModel("min\n x + y\nst\n big: 1e4 x + y >= 3\n small: x + 1e-4 y >= 1\nend\n")).empty());
}

TEST(Warnings, ATinyElementIsAskedAfter) {
  EXPECT_TRUE(mentions(warningsAbout(lpModel("min\n x + y\nst\n r: 0.01 x + 1e-10 y >= 1\nend\n")),
                       "the smallest element of the matrix is 1e-10 (row 'r', column 'y')"));
}

TEST(Warnings, LargeSidesBoundsAndCostsAreTold) {
  const std::vector<std::string> lines =
      warningsAbout(lpModel("min\n 1e9 x + y\nst\n r: x + y >= 2e8\nbounds\n y <= 3e8\nend\n"));
  EXPECT_TRUE(mentions(lines, "largest right-hand side is 2e+08 (row 'r')"));
  EXPECT_TRUE(mentions(lines, "largest bound is 3e+08 (column 'y')"));
  EXPECT_TRUE(mentions(lines, "largest cost is 1e+09 (column 'x')"));
  EXPECT_EQ(lines.size(), 3U);
}

TEST(Warnings, InfiniteBoundsAndSidesAreNoLargeOnes) {
  ModelFile model = lpModel("min\n x\nst\n r: x >= 1\nend\n");
  model.upper[0] = 1e20;
  model.rhs[0] = -1e25;
  EXPECT_TRUE(warningsAbout(model).empty());
}

TEST(Warnings, EmptyRowsAndColumnsAreCounted) {
  const std::vector<std::string> lines =
      warningsAbout(mpsModel("NAME T\nROWS\n N C\n L A\n L HOLLOW\n G VOID\nCOLUMNS\n X C 1 A 1\n IDLE C 1\nRHS\n S A "
                             "4 HOLLOW 1\nENDATA\n"));
  EXPECT_TRUE(mentions(lines, "2 rows without elements (row 'HOLLOW' first)"));
  EXPECT_TRUE(mentions(lines, "1 column without elements (column 'IDLE' first)"));
  EXPECT_EQ(lines.size(), 2U) << "0 meets the sides of both rows";
}

TEST(Warnings, AColumnThatStandsInQAloneIsNotEmpty) {
  EXPECT_TRUE(warningsAbout(lpModel("min\n x + y + [ 2 y ^ 2 ] / 2\nst\n r: x >= 1\nend\n")).empty());
}

TEST(Warnings, AnEmptyRowThatZeroDoesNotMeetIsInfeasible) {
  const char* const begin = "NAME T\nROWS\n N C\n L A\n ";
  const char* const end = " HOLLOW\nCOLUMNS\n X C 1 A 1\nRHS\n S A 4 HOLLOW ";
  const struct {
    const char *sense, *rhs;
    bool impossible;
  } cases[] = {{"L", "1", false},  {"L", "-1", true}, {"G", "1", true},
               {"G", "-1", false}, {"E", "1", true},  {"E", "-1", true}};
  for (const auto& one : cases) {
    const std::string text = std::string(begin) + one.sense + end + one.rhs;
    EXPECT_EQ(mentions(warningsAbout(mpsModel(text + "\nENDATA\n")), "'HOLLOW' has no elements and a side"),
              one.impossible)
        << one.sense << one.rhs;
  }
  const std::string range = std::string(begin) + "L" + end + "5\nRANGES\n S HOLLOW ";
  EXPECT_TRUE(mentions(warningsAbout(mpsModel(range + "3\nENDATA\n")), "a side that 0 does not meet"));
  EXPECT_FALSE(mentions(warningsAbout(mpsModel(range + "6\nENDATA\n")), "a side that 0 does not meet"));
}

TEST(Warnings, CrossedBoundsAreInfeasible) {
  EXPECT_TRUE(mentions(warningsAbout(lpModel("min\n x\nst\n r: x >= 1\nbounds\n 3 <= x <= 2\nend\n")),
                       "column 'x' has its lower bound above its upper bound"));
}

TEST(Warnings, ASquareOfTheWrongSignIsNotConvex) {
  const std::string rest = " x + [ 2 x ^ 2 - 2 y ^ 2 ] / 2\nst\n r: x + y >= 1\nend\n";
  EXPECT_TRUE(mentions(warningsAbout(lpModel("min\n" + rest)), "column 'y' has a square of the wrong sign"));
  EXPECT_TRUE(mentions(warningsAbout(lpModel("max\n" + rest)), "column 'x' has a square of the wrong sign"));
}

// A column `link` with `length` elements beside a diagonal.
ModelFile denseModel(int length) {
  std::string text = "min\n link\nst\n";
  for (int i = 0; i < length; ++i) text += qzlpApp::wrapped("link + x" + std::to_string(i) + " >= 1", 80, " ") + "\n";
  return lpModel(text + "end\n");
}

TEST(Warnings, DenseColumnsAreOfConcernToTheNormalEquationsAlone) {
  EXPECT_EQ(qzlpApp::denseLength(0), 50);
  EXPECT_EQ(qzlpApp::denseLength(25), 50);
  EXPECT_EQ(qzlpApp::denseLength(10000), 1000);
  EXPECT_TRUE(mentions(warningsAbout(denseModel(100), true), "1 dense column (column 'link' has 100 elements)"));
  EXPECT_TRUE(warningsAbout(denseModel(99), true).empty()) << "ten times the root of 99 is above 99";
  EXPECT_TRUE(warningsAbout(denseModel(100), false).empty());
}

}  // namespace
