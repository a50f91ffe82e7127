// A record of the interface over vectors of the test's own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qzipsolve/record.h"

namespace qztest {

struct RecordArrays {
  LpRecord record{};
  std::vector<double> value, obj, rhs, range, lower, upper;
  std::vector<double> x, y, d, activity;  // the answer
  std::vector<int32_t> row, begin, length;
  std::string sense;

  // Sizes and arrays of the record; once more after a vector has grown, and in a copy.
  void bind() {
    record.numRow = static_cast<int32_t>(sense.size());
    record.numCol = static_cast<int32_t>(obj.size());
    record.numCoef = 0;
    for (const int32_t n : length) record.numCoef += n;
    record.matValue = value.data();
    record.rowIndex = row.data();
    record.colBegin = begin.data();
    record.colLength = length.data();
    record.obj = obj.data();
    record.rhs = rhs.data();
    record.range = range.data();
    record.lower = lower.data();
    record.upper = upper.data();
    record.rowSense = sense.data();
    record.solPrimal = x.data();
    record.solDual = y.data();
    record.reducedCost = d.data();
    record.rowActivity = activity.data();
  }
};

}  // namespace qztest
