// The model of a handle: a checked copy of the caller's arrays in the solver's record.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qzipsolve/record.h"
#include "qzlp.h"

namespace qzhost {

// Arrays of a record, each with at least one element, so that no pointer of the record is null.
struct ModelData {
  LpRecord record{};
  std::vector<double> matValue, obj, rhs, range, lower, upper;
  std::vector<int32_t> rowIndex, colBegin, colLength;
  std::vector<char> rowSense;
  std::vector<double> solPrimal, solDual, reducedCost, rowActivity;
  std::vector<uint8_t> colBasis, rowBasis;

  ModelData() = default;
  ModelData(const ModelData&) = delete;  // the record points into the arrays
  ModelData& operator=(const ModelData&) = delete;
};

// A bound or right-hand side from this magnitude on is infinite; it is stored as 1e30.
constexpr double kInfinite = 1e20;
constexpr double kStoredInfinity = 1e30;
// Smaller elements of the matrix are dropped.
constexpr double kSmallestElement = 1e-20;

// Checks the model and fills `out`, which must be new. Returns an error text, empty when the model is good; `out` is
// of no use otherwise.
std::string takeModel(const qzlp_model& model, ModelData& out);

// Clears the answer in the record and its arrays.
void clearAnswer(ModelData& data);

}  // namespace qzhost
