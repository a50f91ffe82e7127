// A caller's sparse matrix: checked and packed. And the words for what is wrong with an array.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qzhost {

// Smaller elements of a matrix are dropped.
constexpr double kSmallestElement = 1e-20;
// Elements must stay below it; a bound or right-hand side from this magnitude on is infinite.
constexpr double kInfinite = 1e20;

std::string shown(double value);
std::string element(const char* array, int64_t index);                // "array[3]"
std::string element(const char* array, int64_t index, double value);  // "array[3] is 1.5"

// The matrix as the caller gives it: by columns, with gaps, in any order.
struct GivenMatrix {
  int32_t numRow;
  int32_t numCol;
  int32_t numCoef;           // length of rowIndex and value
  const int32_t* colBegin;   // numCol entries, or numCol + 1 when colLength is null
  const int32_t* colLength;  // null: column j ends where column j + 1 begins
  const int32_t* rowIndex;
  const double* value;
  const char* valueName;  // what the caller's record calls the values
  const char* rowsName;   // what it has rows of: "model has 3 rows"
};

// The same without gaps and without zeros, the rows of a column in the caller's order. The arrays end with one element
// that is no part of the matrix, so that none is empty.
struct PackedMatrix {
  std::vector<int32_t> colBegin, colLength;  // numCol + 1 entries each
  std::vector<int32_t> rowIndex;
  std::vector<double> value;
  int32_t numCoef = 0;
};

// Returns an error text, empty when the matrix is good. Of the sizes only numCoef may be wrong.
std::string takeMatrix(const GivenMatrix& given, PackedMatrix& out);

}  // namespace qzhost
