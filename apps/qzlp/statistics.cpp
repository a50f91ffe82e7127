#include "statistics.h"

#include <algorithm>
#include <cmath>

#include "text.h"

namespace qzlpApp {

namespace {

// Magnitudes from here on are infinite to the solver.
constexpr double infinite = 1e20;

// A matrix whose elements spread wider than this keeps fewer than half of the digits of a double for the answer, even
// when it is scaled well.
constexpr double widestMatrix = 1e9;

// Tolerances are relative to the norm of the data: at this magnitude the default of 1e-6 lets pass an error of 100.
constexpr double largestDatum = 1e8;

// An element under this share of the largest one is near what the sums around it round off.
constexpr double smallestElement = 1e-9;

bool isFinite(double value) {
  return std::fabs(value) < infinite;
}

const char* plural(int64_t count) {
  return count == 1 ? "" : "s";
}

void countRows(const ModelFile& model, ModelStatistics& s) {
  std::vector<int32_t> length(model.rowSense.size(), 0);
  for (const int32_t row : model.rowIndex) ++length[static_cast<size_t>(row)];
  for (size_t i = 0; i < length.size(); ++i) {
    const char sense = model.rowSense[i];
    const double rhs = model.rhs[i];
    s.numEqual += sense == 'E';
    s.numAtMost += sense == 'L';
    s.numAtLeast += sense == 'G';
    s.numRange += sense == 'R';
    s.numFreeRow += sense == 'N';
    s.longestRow = std::max(s.longestRow, length[i]);
    if (sense != 'N' && isFinite(rhs)) s.sides.add(rhs, static_cast<int64_t>(i));
    if (sense == 'R') s.sides.add(rhs - model.range[i], static_cast<int64_t>(i));
    if (length[i] != 0) continue;
    const auto row = static_cast<int32_t>(i);
    s.emptyRows.push_back(row);
    const bool below = (sense == 'L' || sense == 'E' || sense == 'R') && rhs < 0.0;
    const double lower = sense == 'R' ? rhs - model.range[i] : rhs;
    const bool above = (sense == 'G' || sense == 'E' || sense == 'R') && lower > 0.0;
    if (below || above) s.impossibleRows.push_back(row);
  }
}

void countBounds(const ModelFile& model, size_t j, ModelStatistics& s) {
  const double lower = model.lower[j];
  const double upper = model.upper[j];
  const bool hasLower = lower > -infinite;
  const bool hasUpper = upper < infinite;
  const auto column = static_cast<int64_t>(j);
  s.numFixed += hasLower && hasUpper && lower == upper;
  s.numBoxed += hasLower && hasUpper && lower != upper;
  s.numLowerOnly += hasLower && !hasUpper;
  s.numUpperOnly += !hasLower && hasUpper;
  s.numFreeCol += !hasLower && !hasUpper;
  if (hasLower) s.bounds.add(lower, column);
  if (hasUpper) s.bounds.add(upper, column);
  if (lower > upper) s.crossedCols.push_back(static_cast<int32_t>(j));
}

void countColumns(const ModelFile& model, ModelStatistics& s) {
  std::vector<bool> inQuadratic(model.obj.size(), false);
  for (size_t j = 0; j < model.obj.size(); ++j) {
    for (int32_t k = model.quadBegin[j]; k < model.quadBegin[j + 1]; ++k) {
      const auto row = static_cast<size_t>(model.quadIndex[static_cast<size_t>(k)]);
      inQuadratic[j] = inQuadratic[row] = true;
      const double value = model.quadValue[static_cast<size_t>(k)];
      if (row == j && value * model.objSense < 0.0) s.wrongCurvature.push_back(static_cast<int32_t>(j));
    }
  }
  const int32_t dense = denseLength(model.numRow());
  for (size_t j = 0; j < model.obj.size(); ++j) {
    const int32_t length = model.colBegin[j + 1] - model.colBegin[j];
    s.longestCol = std::max(s.longestCol, length);
    if (length >= dense) s.denseCols.push_back(static_cast<int32_t>(j));
    if (length == 0 && !inQuadratic[j]) s.emptyCols.push_back(static_cast<int32_t>(j));
    countBounds(model, j, s);
    s.costs.add(model.obj[j], static_cast<int64_t>(j));
  }
}

// "12 equations, 3 at most": the counts that are not 0 with their words, or "none".
class CountList {
 public:
  void add(int32_t count, const char* one, const char* many) {
    if (count == 0) return;
    text_ += formatted("%s%d %s", text_.empty() ? "" : ", ", count, count == 1 ? one : many);
  }
  std::string text() const { return text_.empty() ? "none" : text_; }

 private:
  std::string text_;
};

std::string rangeText(const char* what, const Range& range) {
  if (range.isEmpty()) return {};
  if (range.smallest == range.largest) return formatted(", %s %.3g", what, range.largest);
  return formatted(", %s %.3g to %.3g", what, range.smallest, range.largest);
}

// "the column 'X'", by the name of the model.
std::string columnName(const ModelFile& model, int64_t j) {
  return "column '" + model.colNames[static_cast<size_t>(j)] + "'";
}
std::string rowName(const ModelFile& model, int64_t i) {
  return "row '" + model.rowNames[static_cast<size_t>(i)] + "'";
}

// The place of an element: its row and its column.
std::string elementName(const std::vector<int32_t>& begin, const std::vector<int32_t>& index,
                        const std::vector<std::string>& rowNames, const ModelFile& model, int64_t k) {
  const auto j = std::upper_bound(begin.begin(), begin.end(), k) - begin.begin() - 1;
  return "row '" + rowNames[static_cast<size_t>(index[static_cast<size_t>(k)])] + "', " + columnName(model, j);
}

void warnOfContradictions(const ModelFile& model, const ModelStatistics& s, std::vector<std::string>& out) {
  if (!s.impossibleRows.empty())
    out.push_back(formatted("%s has no elements and a side that 0 does not meet: the model is infeasible",
                            rowName(model, s.impossibleRows.front()).c_str()));
  if (!s.crossedCols.empty())
    out.push_back(formatted("%s has its lower bound above its upper bound: the model is infeasible",
                            columnName(model, s.crossedCols.front()).c_str()));
  if (!s.wrongCurvature.empty())
    out.push_back(formatted("%s has a square of the wrong sign in the objective: the model is not convex",
                            columnName(model, s.wrongCurvature.front()).c_str()));
}

void warnOfSpread(const ModelFile& model, const ModelStatistics& s, std::vector<std::string>& out) {
  if (s.matrix.ratio() >= widestMatrix)
    out.push_back(formatted(
        "the matrix spreads over a factor of %.0e, from %.3g (%s) to %.3g (%s): other units would tell the answer "
        "to more digits",
        s.matrix.ratio(), s.matrix.smallest,
        elementName(model.colBegin, model.rowIndex, model.rowNames, model, s.matrix.smallestAt).c_str(),
        s.matrix.largest,
        elementName(model.colBegin, model.rowIndex, model.rowNames, model, s.matrix.largestAt).c_str()));
  else if (s.matrix.smallest != 0.0 && s.matrix.smallest <= smallestElement)
    out.push_back(formatted(
        "the smallest element of the matrix is %.3g (%s): if it stands for 0, leave it out", s.matrix.smallest,
        elementName(model.colBegin, model.rowIndex, model.rowNames, model, s.matrix.smallestAt).c_str()));
  if (s.quadratic.ratio() >= widestMatrix)
    out.push_back(formatted("the quadratic objective spreads over a factor of %.0e, from %.3g to %.3g",
                            s.quadratic.ratio(), s.quadratic.smallest, s.quadratic.largest));
}

void warnOfMagnitude(const char* what, const Range& range, const std::string& where, const char* advice,
                     std::vector<std::string>& out) {
  if (range.largest >= largestDatum)
    out.push_back(formatted("the largest %s is %.3g (%s): %s", what, range.largest, where.c_str(), advice));
}

void warnOfMagnitudes(const ModelFile& model, const ModelStatistics& s, std::vector<std::string>& out) {
  if (s.sides.largestAt >= 0)
    warnOfMagnitude("right-hand side", s.sides, rowName(model, s.sides.largestAt),
                    "tolerances are relative to such values, so that small rows may be missed by more than it seems",
                    out);
  if (s.bounds.largestAt >= 0)
    warnOfMagnitude("bound", s.bounds, columnName(model, s.bounds.largestAt), "if it means no bound, leave it out",
                    out);
  if (s.costs.largestAt >= 0)
    warnOfMagnitude("cost", s.costs, columnName(model, s.costs.largestAt),
                    "if it is a penalty, a smaller one that still decides gives a more exact answer", out);
}

void warnOfStructure(const ModelFile& model, const ModelStatistics& s, bool normalEquations,
                     std::vector<std::string>& out) {
  const auto numEmptyRow = static_cast<int64_t>(s.emptyRows.size());
  const auto numEmptyCol = static_cast<int64_t>(s.emptyCols.size());
  if (numEmptyRow > 0)
    out.push_back(formatted("%lld row%s without elements (%s first): is something missing?",
                            static_cast<long long>(numEmptyRow), plural(numEmptyRow),
                            rowName(model, s.emptyRows.front()).c_str()));
  if (numEmptyCol > 0)
    out.push_back(formatted("%lld column%s without elements (%s first): is something missing?",
                            static_cast<long long>(numEmptyCol), plural(numEmptyCol),
                            columnName(model, s.emptyCols.front()).c_str()));
  if (normalEquations && !s.denseCols.empty()) {
    const auto longest = std::max_element(s.denseCols.begin(), s.denseCols.end(), [&](int32_t a, int32_t b) {
      const auto length = [&](int32_t j) {
        return model.colBegin[static_cast<size_t>(j) + 1] - model.colBegin[static_cast<size_t>(j)];
      };
      return length(a) < length(b);
    });
    out.push_back(formatted(
        "%zu dense column%s (%s has %d elements): each fills the normal equations with the square of its length; "
        "--method augmented bears them",
        s.denseCols.size(), plural(static_cast<int64_t>(s.denseCols.size())), columnName(model, *longest).c_str(),
        s.longestCol));
  }
}

}  // namespace

void Range::add(double value, int64_t at) {
  const double magnitude = std::fabs(value);
  if (magnitude == 0.0) return;
  if (isEmpty() || magnitude < smallest) {
    smallest = magnitude;
    smallestAt = at;
  }
  if (magnitude > largest) {
    largest = magnitude;
    largestAt = at;
  }
}

int32_t denseLength(int32_t numRow) {
  constexpr int32_t fewest = 50;
  return std::max(fewest, static_cast<int32_t>(std::ceil(10.0 * std::sqrt(static_cast<double>(numRow)))));
}

ModelStatistics statisticsOf(const ModelFile& model) {
  ModelStatistics s;
  countRows(model, s);
  countColumns(model, s);
  for (size_t k = 0; k < model.matValue.size(); ++k) s.matrix.add(model.matValue[k], static_cast<int64_t>(k));
  for (size_t k = 0; k < model.quadValue.size(); ++k) s.quadratic.add(model.quadValue[k], static_cast<int64_t>(k));
  return s;
}

std::vector<std::string> statisticsText(const ModelFile& model, const ModelStatistics& s) {
  CountList rows, columns;
  rows.add(s.numEqual, "equation", "equations");
  rows.add(s.numAtMost, "at most", "at most");
  rows.add(s.numAtLeast, "at least", "at least");
  rows.add(s.numRange, "range", "ranges");
  rows.add(s.numFreeRow, "free", "free");
  columns.add(s.numLowerOnly, "with a lower bound", "with a lower bound");
  columns.add(s.numUpperOnly, "with an upper bound", "with an upper bound");
  columns.add(s.numBoxed, "with both", "with both");
  columns.add(s.numFixed, "fixed", "fixed");
  columns.add(s.numFreeCol, "free", "free");
  std::vector<std::string> lines{"  Rows       " + rows.text(), "  Columns    " + columns.text()};
  const double cells = static_cast<double>(model.numRow()) * model.numCol();
  if (cells > 0.0)
    lines.push_back(formatted("  Density    %.3g %%, longest row %d, longest column %d",
                              100.0 * model.numCoef() / cells, s.longestRow, s.longestCol));
  const std::string ranges = rangeText("matrix", s.matrix) + rangeText("Q", s.quadratic) + rangeText("costs", s.costs) +
                             rangeText("bounds", s.bounds) + rangeText("sides", s.sides);
  if (!ranges.empty()) lines.push_back("  Magnitudes " + ranges.substr(2));
  return lines;
}

std::vector<std::string> warningsOf(const ModelFile& model, const ModelStatistics& s, bool normalEquations) {
  std::vector<std::string> out;
  warnOfContradictions(model, s, out);
  warnOfSpread(model, s, out);
  warnOfMagnitudes(model, s, out);
  warnOfStructure(model, s, normalEquations, out);
  return out;
}

}  // namespace qzlpApp
