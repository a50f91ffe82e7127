#include "host/api_model.h"

#include <algorithm>
#include <cmath>

#include "host/api_matrix.h"

namespace qzhost {

namespace {

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
  if (error.empty()) error = takeCoefficients(model, out);
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
