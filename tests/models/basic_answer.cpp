#include "models/basic_answer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "qzlp.h"

namespace models {

namespace {

constexpr double rowTolerance = 1e-9;

size_t at(int i) {
  return static_cast<size_t>(i);
}

// 1 + the magnitudes of each row's sum and sides.
std::vector<double> rowMagnitudes(const LinearProgram& program, const Answer& answer) {
  std::vector<double> magnitude(program.rowLower.size(), 1.0);
  for (int j = 0; j < program.numCol(); ++j)
    for (int k = program.colBegin[at(j)]; k < program.colBegin[at(j) + 1]; ++k)
      magnitude[at(program.rowIndex[at(k)])] += std::fabs(program.value[at(k)] * answer.primal[at(j)]);
  for (size_t i = 0; i < magnitude.size(); ++i)
    for (double side : {program.rowLower[i], program.rowUpper[i]})
      if (std::isfinite(side)) magnitude[i] += std::fabs(side);
  return magnitude;
}

// Where the basis says that something stands, by its value and bounds.
bool standsThere(uint8_t place, double value, double low, double high, double tolerance) {
  switch (place) {
    case QZLP_BASIS_BASIC:
      return true;
    case QZLP_BASIS_LOWER:
      return std::fabs(value - low) <= tolerance;
    case QZLP_BASIS_UPPER:
      return std::fabs(value - high) <= tolerance;
    case QZLP_BASIS_FREE:
      return value == 0.0 && !std::isfinite(low) && !std::isfinite(high);
    default:
      return false;
  }
}

}  // namespace

int numBetweenBounds(const LinearProgram& program, const Answer& answer) {
  int count = 0;
  for (size_t j = 0; j < program.cost.size(); ++j) {
    const double x = answer.primal[j];
    const bool freeAtZero = x == 0.0 && !std::isfinite(program.lower[j]) && !std::isfinite(program.upper[j]);
    if (x != program.lower[j] && x != program.upper[j] && !freeAtZero) ++count;
  }
  const std::vector<double> magnitude = rowMagnitudes(program, answer);
  for (size_t i = 0; i < magnitude.size(); ++i) {
    const double distance = std::min(std::fabs(answer.activity[i] - program.rowLower[i]),
                                     std::fabs(answer.activity[i] - program.rowUpper[i]));
    if (!(distance <= rowTolerance * magnitude[i])) ++count;
  }
  return count;
}

void expectBasic(const LinearProgram& program, const Answer& answer) {
  EXPECT_LE(numBetweenBounds(program, answer), program.numRow());
  ASSERT_EQ(answer.columnBasis.size(), program.cost.size());
  ASSERT_EQ(answer.rowBasis.size(), program.rowLower.size());
  const auto numBasic = std::count(answer.columnBasis.begin(), answer.columnBasis.end(), QZLP_BASIS_BASIC) +
                        std::count(answer.rowBasis.begin(), answer.rowBasis.end(), QZLP_BASIS_BASIC);
  EXPECT_EQ(numBasic, program.numRow());
  for (size_t j = 0; j < program.cost.size(); ++j)
    EXPECT_TRUE(standsThere(answer.columnBasis[j], answer.primal[j], program.lower[j], program.upper[j], 0.0))
        << "column " << j << " at " << answer.primal[j] << " place " << int{answer.columnBasis[j]};
  const std::vector<double> magnitude = rowMagnitudes(program, answer);
  for (size_t i = 0; i < magnitude.size(); ++i)
    EXPECT_TRUE(standsThere(answer.rowBasis[i], answer.activity[i], program.rowLower[i], program.rowUpper[i],
                            rowTolerance * magnitude[i]))
        << "row " << i << " at " << answer.activity[i] << " place " << int{answer.rowBasis[i]};
}

}  // namespace models
