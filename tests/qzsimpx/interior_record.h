// A reduced record with an interior answer, as the solver hands it to the simplex module.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "models/generators.h"
#include "support/record_arrays.h"

namespace qztest {

struct InteriorRecord : RecordArrays {
  std::vector<uint8_t> colBasis, rowBasis;

  // Of a minimisation without free rows. The answer is the given pair, moved off the bounds and prices by about
  // `noise`.
  InteriorRecord(const models::LinearProgram& program, const std::vector<double>& primal,
                 const std::vector<double>& dual, double noise, uint64_t seed) {
    value = program.value;
    obj = program.cost;
    lower = program.lower;
    upper = program.upper;
    x = primal;
    y = dual;
    models::Random random(seed);
    row.assign(program.rowIndex.begin(), program.rowIndex.end());
    for (size_t j = 0; j < obj.size(); ++j) {
      begin.push_back(program.colBegin[j]);
      length.push_back(program.colBegin[j + 1] - program.colBegin[j]);
      x[j] += noise * random.uniform(-1.0, 1.0);
      lower[j] = std::max(lower[j], -1e30);
      upper[j] = std::min(upper[j], 1e30);
    }
    for (size_t i = 0; i < y.size(); ++i) {
      addRow(program.rowLower[i], program.rowUpper[i]);
      y[i] += noise * random.uniform(-1.0, 1.0);
    }
    d.assign(obj.size(), 0.0);
    activity.assign(y.size(), 0.0);
    colBasis.assign(obj.size(), 0);
    rowBasis.assign(y.size(), 0);
    record.objSense = 1;
    bind();
    record.colBasis = colBasis.data();
    record.rowBasis = rowBasis.data();
  }
  InteriorRecord(const InteriorRecord&) = delete;  // the record points into the vectors
  InteriorRecord& operator=(const InteriorRecord&) = delete;

  models::Answer answer() const {
    models::Answer answer;
    answer.status = record.status;
    answer.objective = record.objValue;
    answer.primal = x;
    answer.reducedCost = d;
    answer.activity = activity;
    answer.dual = y;
    return answer;
  }

 private:
  void addRow(double low, double high) {
    const bool hasLow = std::isfinite(low);
    const bool hasHigh = std::isfinite(high);
    sense.push_back(hasLow && hasHigh ? (low == high ? 'E' : 'R') : hasHigh ? 'L' : 'G');
    rhs.push_back(hasHigh ? high : low);
    range.push_back(sense.back() == 'R' ? high - low : 0.0);
  }
};

// Programs of every kind for the crossover, by number.
inline models::KnownOptimum crossoverCase(int number) {
  models::Recipe recipe;
  recipe.numRow = 5 + 5 * (number % 5);
  recipe.numCol = recipe.numRow * (1 + number % 3) + number % 7;
  recipe.freeColumns = number % 4 == 1 ? 0.2 : 0.0;
  recipe.boxedColumns = 0.1 * (number % 4);
  recipe.equations = number % 2 == 0 ? 0.4 : 0.9;
  recipe.ranges = number % 3 == 0 ? 0.1 : 0.0;
  recipe.degenerate = number % 5 == 2 ? 0.5 : 0.0;
  recipe.staircase = number % 6 == 5;
  return models::knownOptimum(recipe, static_cast<uint64_t>(number));
}

}  // namespace qztest
