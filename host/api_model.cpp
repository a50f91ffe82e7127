#include "host/api_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace qzhost {

namespace {

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

template <class T>
std::vector<T> copied(const T* array, int64_t count, T filler) {
  std::vector<T> out(static_cast<size_t>(std::max<int64_t>(count, 1)), filler);
  if (count > 0) std::copy(array, array + count, out.begin());
  return out;
}

std::string checkHead(const qzlp_model& model) {
  if (model.numRow < 0) return "numRow is " + std::to_string(model.numRow) + ", below 0";
  if (model.numCol < 0) return "numCol is " + std::to_string(model.numCol) + ", below 0";
  if (model.numCoef < 0) return "numCoef is " + std::to_string(model.numCoef) + ", below 0";
  if (model.objSense != 1 && model.objSense != -1)
    return "objSense is " + std::to_string(model.objSense) + ", neither 1 (minimise) nor -1 (maximise)";
  if (!std::isfinite(model.objConstant)) return "objConstant is " + shown(model.objConstant);
  return {};
}

std::string checkNulls(const qzlp_model& model) {
  const struct {
    const char* name;
    bool missing;
  } arrays[] = {
      {"colBegin", model.numCol > 0 && model.colBegin == nullptr},
      {"obj", model.numCol > 0 && model.obj == nullptr},
      {"lower", model.numCol > 0 && model.lower == nullptr},
      {"upper", model.numCol > 0 && model.upper == nullptr},
      {"rowIndex", model.numCoef > 0 && model.rowIndex == nullptr},
      {"matValue", model.numCoef > 0 && model.matValue == nullptr},
      {"rowSense", model.numRow > 0 && model.rowSense == nullptr},
      {"rhs", model.numRow > 0 && model.rhs == nullptr},
  };
  for (const auto& array : arrays)
    if (array.missing) return std::string(array.name) + " is null";
  return {};
}

// Number of elements of column j by the caller's arrays.
int64_t lengthOf(const qzlp_model& model, int32_t j) {
  if (model.colLength != nullptr) return model.colLength[j];
  return int64_t{model.colBegin[j + 1]} - model.colBegin[j];
}

std::string checkColumnPlace(const qzlp_model& model, int32_t j) {
  const int64_t begin = model.colBegin[j];
  const int64_t length = lengthOf(model, j);
  if (begin < 0) return element("colBegin", j) + " is " + std::to_string(begin) + ", below 0";
  if (length < 0 && model.colLength != nullptr)
    return element("colLength", j) + " is " + std::to_string(length) + ", below 0";
  if (length < 0)
    return element("colBegin", j + 1) + " is " + std::to_string(model.colBegin[j + 1]) + ", below " +
           element("colBegin", j) + " = " + std::to_string(begin);
  if (begin + length > model.numCoef)
    return "column " + std::to_string(j) + " reaches up to element " + std::to_string(begin + length) +
           ", but numCoef is " + std::to_string(model.numCoef);
  return {};
}

std::string checkElement(const qzlp_model& model, int32_t j, int64_t k, std::vector<int32_t>& lastColumn) {
  const int32_t row = model.rowIndex[k];
  const double value = model.matValue[k];
  const std::string behind = " (column " + std::to_string(j) + ")";
  if (row < 0 || row >= model.numRow)
    return element("rowIndex", k) + " is " + std::to_string(row) + ", but the model has " +
           std::to_string(model.numRow) + " rows" + behind;
  if (lastColumn[static_cast<size_t>(row)] == j)
    return element("rowIndex", k) + " is " + std::to_string(row) + ", a row that the column has already" + behind;
  lastColumn[static_cast<size_t>(row)] = j;
  if (!(std::fabs(value) < kInfinite))
    return element("matValue", k, value) + ", not a finite number below 1e20" + behind;
  return {};
}

// Checks the matrix and copies it, columns in their order without gaps.
std::string takeMatrix(const qzlp_model& model, ModelData& out) {
  std::vector<int32_t> lastColumn(static_cast<size_t>(model.numRow), -1);
  int64_t total = 0;
  for (int32_t j = 0; j < model.numCol; ++j) {
    std::string error = checkColumnPlace(model, j);
    if (!error.empty()) return error;
    total += lengthOf(model, j);
    // Columns that share elements may hold more than numCoef together.
    if (total > INT32_MAX) return "the columns hold more than 2147483647 elements together";
  }
  out.rowIndex.reserve(static_cast<size_t>(total) + 1);
  out.matValue.reserve(static_cast<size_t>(total) + 1);
  out.colBegin.assign(static_cast<size_t>(model.numCol) + 1, 0);
  out.colLength.assign(static_cast<size_t>(model.numCol) + 1, 0);
  for (int32_t j = 0; j < model.numCol; ++j) {
    const auto column = static_cast<size_t>(j);
    const auto begin = static_cast<int32_t>(out.rowIndex.size());
    const int64_t end = model.colBegin[j] + lengthOf(model, j);
    for (int64_t k = model.colBegin[j]; k < end; ++k) {
      std::string error = checkElement(model, j, k, lastColumn);
      if (!error.empty()) return error;
      if (std::fabs(model.matValue[k]) < kSmallestElement) continue;
      out.rowIndex.push_back(model.rowIndex[k]);
      out.matValue.push_back(model.matValue[k]);
    }
    out.colBegin[column] = begin;
    out.colLength[column] = static_cast<int32_t>(out.rowIndex.size()) - begin;
  }
  out.record.numCoef = static_cast<int32_t>(out.rowIndex.size());
  out.colBegin[static_cast<size_t>(model.numCol)] = out.record.numCoef;
  out.rowIndex.push_back(0);  // so that the arrays are not empty
  out.matValue.push_back(0.0);
  return {};
}

double clipped(double value) {
  if (value >= kInfinite) return kStoredInfinity;
  if (value <= -kInfinite) return -kStoredInfinity;
  return value;
}

std::string takeColumns(const qzlp_model& model, ModelData& out) {
  out.obj = copied(model.obj, model.numCol, 0.0);
  out.lower = copied(model.lower, model.numCol, 0.0);
  out.upper = copied(model.upper, model.numCol, 0.0);
  for (int32_t j = 0; j < model.numCol; ++j) {
    const double lower = model.lower[j];
    const double upper = model.upper[j];
    if (!(std::fabs(model.obj[j]) < kInfinite))
      return element("obj", j, model.obj[j]) + ", not a finite number below 1e20";
    if (std::isnan(lower)) return element("lower", j, lower);
    if (std::isnan(upper)) return element("upper", j, upper);
    // Crossed bounds are an infeasible model; what no bound can express is an error.
    if (lower >= kInfinite && upper >= kInfinite)
      return element("lower", j, lower) + ", an infinite lower bound that no value can meet";
    if (upper <= -kInfinite && lower <= -kInfinite)
      return element("upper", j, upper) + ", an infinite upper bound that no value can meet";
    out.lower[static_cast<size_t>(j)] = clipped(lower);
    out.upper[static_cast<size_t>(j)] = clipped(upper);
  }
  return {};
}

std::string checkRange(const qzlp_model& model, int32_t i, char sense) {
  if (model.range == nullptr)
    return sense == 'R' ? "row " + std::to_string(i) + " has sense R, but range is null" : std::string();
  const double range = model.range[i];
  if (std::isnan(range)) return element("range", i, range);
  if (sense == 'R' && range < 0.0) return element("range", i, range) + ", below 0";
  if (sense != 'R' && range != 0.0)
    return element("range", i, range) + ", but row " + std::to_string(i) + " has sense " + sense + ", not R";
  return {};
}

std::string checkRhs(const qzlp_model& model, int32_t i, char sense) {
  const double rhs = model.rhs[i];
  if (std::isnan(rhs)) return element("rhs", i, rhs);
  const bool mustBeFinite = sense == 'E' || sense == 'R';
  const bool wrongSide = (sense == 'L' && rhs <= -kInfinite) || (sense == 'G' && rhs >= kInfinite);
  if ((mustBeFinite && std::fabs(rhs) >= kInfinite) || wrongSide)
    return element("rhs", i, rhs) + ", infinite on a row of sense " + sense;
  return {};
}

std::string takeRows(const qzlp_model& model, ModelData& out) {
  const auto numRow = static_cast<size_t>(model.numRow);
  out.rowSense = copied(model.rowSense, model.numRow, 'N');
  out.rhs = copied(model.rhs, model.numRow, 0.0);
  out.range.assign(std::max<size_t>(numRow, 1), 0.0);
  for (int32_t i = 0; i < model.numRow; ++i) {
    const auto row = static_cast<size_t>(i);
    char& sense = out.rowSense[row];
    if (sense >= 'a' && sense <= 'z') sense = static_cast<char>(sense - 'a' + 'A');
    if (sense != 'E' && sense != 'L' && sense != 'G' && sense != 'R' && sense != 'N')
      return element("rowSense", i) + " is the byte " + std::to_string(static_cast<unsigned char>(model.rowSense[i])) +
             ", none of E L G R N";
    std::string error = checkRhs(model, i, sense);
    if (error.empty()) error = checkRange(model, i, sense);
    if (!error.empty()) return error;
    out.rhs[row] = sense == 'N' ? 0.0 : clipped(model.rhs[i]);
    if (sense != 'R') continue;
    if (model.range[i] >= kInfinite)
      sense = 'L';
    else
      out.range[row] = model.range[i];
  }
  return {};
}

void bindRecord(const qzlp_model& model, ModelData& out) {
  LpRecord& record = out.record;
  out.solPrimal.assign(out.obj.size(), 0.0);
  out.colBasis.assign(out.obj.size(), QZ_BASIS_NONE);
  out.rowBasis.assign(out.rhs.size(), QZ_BASIS_NONE);
  out.reducedCost.assign(out.obj.size(), 0.0);
  out.solDual.assign(out.rhs.size(), 0.0);
  out.rowActivity.assign(out.rhs.size(), 0.0);
  record.objSense = model.objSense;
  record.numRow = model.numRow;
  record.numCol = model.numCol;
  record.objConstant = model.objConstant;
  record.matValue = out.matValue.data();
  record.rowIndex = out.rowIndex.data();
  record.colBegin = out.colBegin.data();
  record.colLength = out.colLength.data();
  record.obj = out.obj.data();
  record.rhs = out.rhs.data();
  record.range = out.range.data();
  record.lower = out.lower.data();
  record.upper = out.upper.data();
  record.rowSense = out.rowSense.data();
  record.solPrimal = out.solPrimal.data();
  record.solDual = out.solDual.data();
  record.reducedCost = out.reducedCost.data();
  record.rowActivity = out.rowActivity.data();
  record.colBasis = out.colBasis.data();
  record.rowBasis = out.rowBasis.data();
}

}  // namespace

std::string takeModel(const qzlp_model& model, ModelData& out) {
  std::string error = checkHead(model);
  if (error.empty()) error = checkNulls(model);
  if (error.empty()) error = takeMatrix(model, out);
  if (error.empty()) error = takeColumns(model, out);
  if (error.empty()) error = takeRows(model, out);
  if (error.empty()) bindRecord(model, out);
  return error;
}

void clearAnswer(ModelData& data) {
  LpRecord& record = data.record;
  record.objValue = 0.0;
  record.status = 0;
  record.numIter = 0;
  record.numSimplexIter = 0;
  record.primalInfeas = 0.0;
  record.dualInfeas = 0.0;
  record.boundInfeas = 0.0;
  record.presolveTime = 0.0;
  record.totalTime = 0.0;
  record.returnCode = 0;
  record.dualityGap = 0.0;
  record.complementarity = 0.0;
  for (std::vector<double>* array : {&data.solPrimal, &data.solDual, &data.reducedCost, &data.rowActivity})
    std::fill(array->begin(), array->end(), 0.0);
  for (std::vector<uint8_t>* array : {&data.colBasis, &data.rowBasis})
    std::fill(array->begin(), array->end(), uint8_t{QZ_BASIS_NONE});
}

}  // namespace qzhost
