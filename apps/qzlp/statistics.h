// What a model is made of, and what about it makes trouble for an interior-point method.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model_files/model_file.h"

namespace qzlpApp {

using qzfiles::ModelFile;

// The smallest and the largest magnitude of a set of numbers other than zero, with the places where they stand.
struct Range {
  double smallest = 0.0, largest = 0.0;  // 0 and 0 for an empty set
  int64_t smallestAt = -1, largestAt = -1;

  void add(double value, int64_t at);
  bool isEmpty() const { return largest == 0.0; }
  double ratio() const { return isEmpty() ? 1.0 : largest / smallest; }
};

struct ModelStatistics {
  // Rows by their sense, and columns by their bounds; each row and column counts once.
  int32_t numEqual = 0, numAtMost = 0, numAtLeast = 0, numRange = 0, numFreeRow = 0;
  int32_t numLowerOnly = 0, numUpperOnly = 0, numBoxed = 0, numFixed = 0, numFreeCol = 0;

  std::vector<int32_t> emptyRows;          // without an element
  std::vector<int32_t> impossibleRows;     // the empty ones whose sides leave 0 out
  std::vector<int32_t> emptyCols;          // without an element, cost or not, and not in Q
  std::vector<int32_t> crossedCols;        // with a lower bound above the upper one
  std::vector<int32_t> denseCols;          // with many more elements than the others, see denseLength
  std::vector<int32_t> wrongCurvature;     // with a diagonal of Q of the sign that no convex model has
  int32_t longestRow = 0, longestCol = 0;  // elements

  // Places are indices of elements for the matrix and Q, rows for the sides, columns for the others.
  Range matrix, costs, bounds, sides, quadratic;
};

// From this many elements on a column is dense: 50, and ten times the square root of the rows.
int32_t denseLength(int32_t numRow);

ModelStatistics statisticsOf(const ModelFile& model);

// The statistics in a few lines.
std::vector<std::string> statisticsText(const ModelFile& model, const ModelStatistics& statistics);

// What will hurt, a sentence each with the name of the worst place and what to do about it; empty for a tame model.
// `normalEquations` tells the method: dense columns are of no concern to the augmented system.
std::vector<std::string> warningsOf(const ModelFile& model, const ModelStatistics& statistics, bool normalEquations);

}  // namespace qzlpApp
