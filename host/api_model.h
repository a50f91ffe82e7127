// The model of a handle: a checked copy of the caller's arrays in the solver's record.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qzipsolve/record.h"
#include "qzlp.h"

namespace qzhost {

// The quadratic part 1/2 x'Qx of an objective: the diagonal of Q, and its strict lower triangle by columns, packed and
// in rising order of the rows. Without a quadratic part all arrays are empty.
struct QuadraticData {
  std::vector<double> diag;        // numCol
  std::vector<int32_t> colBegin;   // numCol + 1
  std::vector<int32_t> colLength;  // numCol
  std::vector<int32_t> rowIndex;   // one for each pair off the diagonal
  std::vector<double> value;

  bool empty() const { return diag.empty(); }
};

// Arrays of a record, each with at least one element, so that no pointer of the record is null.
struct ModelData {
  LpRecord record{};
  std::vector<double> matValue, obj, rhs, range, lower, upper;
  std::vector<int32_t> rowIndex, colBegin, colLength;
  std::vector<char> rowSense;
  std::vector<double> solPrimal, solDual, reducedCost, rowActivity;
  std::vector<uint8_t> colBasis, rowBasis;
  QuadraticData quadratic;
  std::string name;
  std::vector<std::string> colNames, rowNames;  // empty, or one for each column or row
  std::vector<std::string> notes;               // what the reader of a file read in another way than it stands

  ModelData() = default;
  ModelData(const ModelData&) = delete;  // the record points into the arrays
  ModelData& operator=(const ModelData&) = delete;
};

// Infinite bounds and right-hand sides are stored as this.
constexpr double kStoredInfinity = 1e30;

// Checks the model and fills `out`, which must be new. Returns an error text, empty when the model is good; `out` is
// of no use otherwise.
std::string takeModel(const qzlp_model& model, ModelData& out);

// Checks the quadratic part and puts it in the place of the one that `data` holds; null and Q = 0 leave none. Returns
// an error text, empty when all is good; otherwise `data` stays as it was.
std::string takeQuadratic(const qzlp_quadratic* quadratic, ModelData& data);

// Changes of single numbers, by the rules of qzlp_model. Each returns an error text, empty when the number is good;
// otherwise nothing was changed. Indices must be in range.
std::string changeObjSense(ModelData& data, int32_t objSense);
std::string changeObjConstant(ModelData& data, double objConstant);
std::string changeCost(ModelData& data, int32_t column, double cost);
std::string changeBounds(ModelData& data, int32_t column, double lower, double upper);
std::string changeRow(ModelData& data, int32_t row, char sense, double rhs, double range);
std::string changeElement(ModelData& data, int32_t row, int32_t column, double value);

// Clears the answer in the record and its arrays.
void clearAnswer(ModelData& data);

}  // namespace qzhost
