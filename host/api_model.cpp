#include "host/api_model.h"

#include <algorithm>
#include <cmath>

#include "host/api_matrix.h"

namespace qzhost {

namespace {

std::string checkObjSense(int32_t objSense) {
  if (objSense == 1 || objSense == -1) return {};
  return "objSense is " + std::to_string(objSense) + ", neither 1 (minimise) nor -1 (maximise)";
}

std::string checkObjConstant(double objConstant) {
  return std::isfinite(objConstant) ? std::string() : "objConstant is " + shown(objConstant);
}

std::string checkHead(const qzlp_model& model) {
  if (model.numRow < 0) return "numRow is " + std::to_string(model.numRow) + ", below 0";
  if (model.numCol < 0) return "numCol is " + std::to_string(model.numCol) + ", below 0";
  if (model.numCoef < 0) return "numCoef is " + std::to_string(model.numCoef) + ", below 0";
  const std::string error = checkObjSense(model.objSense);
  return error.empty() ? checkObjConstant(model.objConstant) : error;
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

// Checks the matrix and copies it, columns in their order without gaps.
std::string takeCoefficients(const qzlp_model& model, ModelData& out) {
  PackedMatrix packed;
  std::string error = takeMatrix({model.numRow, model.numCol, model.numCoef, model.colBegin, model.colLength,
                                  model.rowIndex, model.matValue, "matValue", "rows"},
                                 packed);
  out.rowIndex.swap(packed.rowIndex);
  out.matValue.swap(packed.value);
  out.colBegin.swap(packed.colBegin);
  out.colLength.swap(packed.colLength);
  out.record.numCoef = packed.numCoef;
  return error;
}

double clipped(double value) {
  if (value >= kInfinite) return kStoredInfinity;
  if (value <= -kInfinite) return -kStoredInfinity;
  return value;
}

std::string takeCost(int32_t j, double cost, ModelData& out) {
  if (!(std::fabs(cost) < kInfinite)) return element("obj", j, cost) + ", not a finite number below 1e20";
  out.obj[static_cast<size_t>(j)] = cost;
  return {};
}

// Crossed bounds are an infeasible model; what no bound can express is an error.
std::string takeBounds(int32_t j, double lower, double upper, ModelData& out) {
  if (std::isnan(lower)) return element("lower", j, lower);
  if (std::isnan(upper)) return element("upper", j, upper);
  if (lower >= kInfinite && upper >= kInfinite)
    return element("lower", j, lower) + ", an infinite lower bound that no value can meet";
  if (upper <= -kInfinite && lower <= -kInfinite)
    return element("upper", j, upper) + ", an infinite upper bound that no value can meet";
  out.lower[static_cast<size_t>(j)] = clipped(lower);
  out.upper[static_cast<size_t>(j)] = clipped(upper);
  return {};
}

std::string takeColumns(const qzlp_model& model, ModelData& out) {
  const size_t numCol = static_cast<size_t>(std::max(model.numCol, 1));
  out.obj.assign(numCol, 0.0);
  out.lower.assign(numCol, 0.0);
  out.upper.assign(numCol, 0.0);
  std::string error;
  for (int32_t j = 0; j < model.numCol && error.empty(); ++j) {
    error = takeCost(j, model.obj[j], out);
    if (error.empty()) error = takeBounds(j, model.lower[j], model.upper[j], out);
  }
  return error;
}

std::string checkRange(int32_t i, char sense, double range) {
  if (std::isnan(range)) return element("range", i, range);
  if (sense == 'R' && range < 0.0) return element("range", i, range) + ", below 0";
  if (sense != 'R' && range != 0.0)
    return element("range", i, range) + ", but row " + std::to_string(i) + " has sense " + sense + ", not R";
  return {};
}

std::string checkRhs(int32_t i, char sense, double rhs) {
  if (std::isnan(rhs)) return element("rhs", i, rhs);
  const bool mustBeFinite = sense == 'E' || sense == 'R';
  const bool wrongSide = (sense == 'L' && rhs <= -kInfinite) || (sense == 'G' && rhs >= kInfinite);
  if ((mustBeFinite && std::fabs(rhs) >= kInfinite) || wrongSide)
    return element("rhs", i, rhs) + ", infinite on a row of sense " + sense;
  return {};
}

std::string takeRow(int32_t i, char givenSense, double rhs, double range, ModelData& out) {
  const char sense = givenSense >= 'a' && givenSense <= 'z' ? static_cast<char>(givenSense - 'a' + 'A') : givenSense;
  if (sense != 'E' && sense != 'L' && sense != 'G' && sense != 'R' && sense != 'N')
    return element("rowSense", i) + " is the byte " + std::to_string(static_cast<unsigned char>(givenSense)) +
           ", none of E L G R N";
  std::string error = checkRhs(i, sense, rhs);
  if (error.empty()) error = checkRange(i, sense, range);
  if (!error.empty()) return error;
  const auto row = static_cast<size_t>(i);
  const bool endless = range >= kInfinite;
  out.rowSense[row] = endless ? 'L' : sense;
  out.rhs[row] = sense == 'N' ? 0.0 : clipped(rhs);
  out.range[row] = endless ? 0.0 : range;
  return {};
}

std::string takeRows(const qzlp_model& model, ModelData& out) {
  const size_t numRow = static_cast<size_t>(std::max(model.numRow, 1));
  out.rowSense.assign(numRow, 'N');
  out.rhs.assign(numRow, 0.0);
  out.range.assign(numRow, 0.0);
  std::string error;
  for (int32_t i = 0; i < model.numRow && error.empty(); ++i) {
    const char sense = model.rowSense[i];
    if (model.range == nullptr && (sense == 'R' || sense == 'r'))
      return "row " + std::to_string(i) + " has sense R, but range is null";
    error = takeRow(i, sense, model.rhs[i], model.range == nullptr ? 0.0 : model.range[i], out);
  }
  return error;
}

// The record's pointers to the matrix, which a new element moves.
void bindMatrix(ModelData& out) {
  out.record.matValue = out.matValue.data();
  out.record.rowIndex = out.rowIndex.data();
  out.record.colBegin = out.colBegin.data();
  out.record.colLength = out.colLength.data();
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
  bindMatrix(out);
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
  if (error.empty()) error = takeCoefficients(model, out);
  if (error.empty()) error = takeColumns(model, out);
  if (error.empty()) error = takeRows(model, out);
  if (error.empty()) bindRecord(model, out);
  return error;
}

std::string changeObjSense(ModelData& data, int32_t objSense) {
  std::string error = checkObjSense(objSense);
  if (error.empty()) data.record.objSense = objSense;
  return error;
}

std::string changeObjConstant(ModelData& data, double objConstant) {
  std::string error = checkObjConstant(objConstant);
  if (error.empty()) data.record.objConstant = objConstant;
  return error;
}

std::string changeCost(ModelData& data, int32_t column, double cost) {
  return takeCost(column, cost, data);
}

std::string changeBounds(ModelData& data, int32_t column, double lower, double upper) {
  return takeBounds(column, lower, upper, data);
}

std::string changeRow(ModelData& data, int32_t row, char sense, double rhs, double range) {
  return takeRow(row, sense, rhs, range, data);
}

std::string changeElement(ModelData& data, int32_t row, int32_t column, double value) {
  if (!(std::fabs(value) < kInfinite)) return "value is " + shown(value) + ", not a finite number below 1e20";
  const auto j = static_cast<size_t>(column);
  const auto begin = data.rowIndex.begin() + data.colBegin[j];
  const auto end = begin + data.colLength[j];
  const auto found = std::find(begin, end, row);
  const auto at = found - data.rowIndex.begin();
  const bool isThere = found != end;
  const bool stays = std::fabs(value) >= kSmallestElement;
  if (isThere && stays) data.matValue[static_cast<size_t>(at)] = value;
  if (isThere == stays) return {};
  if (stays && data.record.numCoef == INT32_MAX) return "the matrix holds 2147483647 elements already";
  const int32_t growth = stays ? 1 : -1;
  if (stays) {
    data.rowIndex.reserve(data.rowIndex.size() + 1);  // what can fail comes first
    data.matValue.insert(data.matValue.begin() + at, value);
    data.rowIndex.insert(data.rowIndex.begin() + at, row);
  } else {
    data.rowIndex.erase(found);
    data.matValue.erase(data.matValue.begin() + at);
  }
  data.colLength[j] += growth;
  for (size_t k = j + 1; k < data.colBegin.size(); ++k) data.colBegin[k] += growth;
  data.record.numCoef += growth;
  bindMatrix(data);
  return {};
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
