#include "host/api_matrix.h"

#include <cmath>
#include <cstdio>

namespace qzhost {

namespace {

// Number of elements of column j by the caller's arrays.
int64_t lengthOf(const GivenMatrix& given, int32_t j) {
  if (given.colLength != nullptr) return given.colLength[j];
  return int64_t{given.colBegin[j + 1]} - given.colBegin[j];
}

std::string checkColumnPlace(const GivenMatrix& given, int32_t j) {
  const int64_t begin = given.colBegin[j];
  const int64_t length = lengthOf(given, j);
  if (begin < 0) return element("colBegin", j) + " is " + std::to_string(begin) + ", below 0";
  if (length < 0 && given.colLength != nullptr)
    return element("colLength", j) + " is " + std::to_string(length) + ", below 0";
  if (length < 0)
    return element("colBegin", j + 1) + " is " + std::to_string(given.colBegin[j + 1]) + ", below " +
           element("colBegin", j) + " = " + std::to_string(begin);
  if (begin + length > given.numCoef)
    return "column " + std::to_string(j) + " reaches up to element " + std::to_string(begin + length) +
           ", but numCoef is " + std::to_string(given.numCoef);
  return {};
}

std::string checkPlaces(const GivenMatrix& given, int64_t& total) {
  total = 0;
  for (int32_t j = 0; j < given.numCol; ++j) {
    std::string error = checkColumnPlace(given, j);
    if (!error.empty()) return error;
    total += lengthOf(given, j);
    // Columns that share elements may hold more than numCoef together.
    if (total > INT32_MAX) return "the columns hold more than 2147483647 elements together";
  }
  return {};
}

std::string checkElement(const GivenMatrix& given, int32_t j, int64_t k, std::vector<int32_t>& lastColumn) {
  const int32_t row = given.rowIndex[k];
  const double value = given.value[k];
  const std::string behind = " (column " + std::to_string(j) + ")";
  if (row < 0 || row >= given.numRow)
    return element("rowIndex", k) + " is " + std::to_string(row) + ", but the model has " +
           std::to_string(given.numRow) + " " + given.rowsName + behind;
  if (lastColumn[static_cast<size_t>(row)] == j)
    return element("rowIndex", k) + " is " + std::to_string(row) + ", a row that the column has already" + behind;
  lastColumn[static_cast<size_t>(row)] = j;
  if (!(std::fabs(value) < kInfinite))
    return element(given.valueName, k, value) + ", not a finite number below 1e20" + behind;
  return {};
}

}  // namespace

std::string shown(double value) {
  char text[40];
  std::snprintf(text, sizeof(text), "%.12g", value);
  return text;
}

std::string element(const char* array, int64_t index) {
  return std::string(array) + "[" + std::to_string(index) + "]";
}

std::string element(const char* array, int64_t index, double value) {
  return element(array, index) + " is " + shown(value);
}

std::string takeMatrix(const GivenMatrix& given, PackedMatrix& out) {
  std::vector<int32_t> lastColumn(static_cast<size_t>(given.numRow), -1);
  int64_t total = 0;
  std::string error = checkPlaces(given, total);
  if (!error.empty()) return error;
  out.rowIndex.reserve(static_cast<size_t>(total) + 1);
  out.value.reserve(static_cast<size_t>(total) + 1);
  out.colBegin.assign(static_cast<size_t>(given.numCol) + 1, 0);
  out.colLength.assign(static_cast<size_t>(given.numCol) + 1, 0);
  for (int32_t j = 0; j < given.numCol; ++j) {
    const auto column = static_cast<size_t>(j);
    const auto begin = static_cast<int32_t>(out.rowIndex.size());
    const int64_t end = given.colBegin[j] + lengthOf(given, j);
    for (int64_t k = given.colBegin[j]; k < end; ++k) {
      error = checkElement(given, j, k, lastColumn);
      if (!error.empty()) return error;
      if (std::fabs(given.value[k]) < kSmallestElement) continue;
      out.rowIndex.push_back(given.rowIndex[k]);
      out.value.push_back(given.value[k]);
    }
    out.colBegin[column] = begin;
    out.colLength[column] = static_cast<int32_t>(out.rowIndex.size()) - begin;
  }
  out.numCoef = static_cast<int32_t>(out.rowIndex.size());
  out.colBegin[static_cast<size_t>(given.numCol)] = out.numCoef;
  out.rowIndex.push_back(0);
  out.value.push_back(0.0);
  return {};
}

}  // namespace qzhost
