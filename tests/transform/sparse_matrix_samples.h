// Random sparse matrices with gaps between their majors, and their dense twins.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace qztest {

using Dense = std::vector<std::vector<double>>;  // [minor][major]

struct GappedMatrix {
  int32_t numMajor = 0;
  int32_t numMinor = 0;
  std::vector<int32_t> begin, length, index;
  std::vector<double> value;
  int32_t numElement = 0;

  Dense dense() const {
    Dense out(static_cast<size_t>(numMinor), std::vector<double>(static_cast<size_t>(numMajor), 0.0));
    for (int32_t j = 0; j < numMajor; ++j)
      for (int32_t k = begin[j]; k < begin[j] + length[j]; ++k) out[index[k]][j] = value[k];
    return out;
  }
};

// Elements of a major stand in random order; the room between majors holds garbage that nothing may read as an element.
inline GappedMatrix randomMatrix(std::mt19937& random, int32_t numMajor, int32_t numMinor, double density, bool gaps) {
  GappedMatrix m;
  m.numMajor = numMajor;
  m.numMinor = numMinor;
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::normal_distribution<double> normal(0.0, 3.0);
  for (int32_t j = 0; j < numMajor; ++j) {
    std::vector<int32_t> rows;
    for (int32_t i = 0; i < numMinor; ++i)
      if (unit(random) < density) rows.push_back(i);
    std::shuffle(rows.begin(), rows.end(), random);
    m.begin.push_back(static_cast<int32_t>(m.index.size()));
    m.length.push_back(static_cast<int32_t>(rows.size()));
    for (int32_t i : rows) {
      m.index.push_back(i);
      m.value.push_back(normal(random));
    }
    m.numElement += static_cast<int32_t>(rows.size());
    if (gaps)
      for (auto g = random() % 3; g > 0; --g) {
        m.index.push_back(-777);
        m.value.push_back(1e300);
      }
  }
  m.begin.push_back(static_cast<int32_t>(m.index.size()));
  m.length.push_back(-777);  // behind the last major, so that the array of an empty matrix is not null
  return m;
}

}  // namespace qztest
