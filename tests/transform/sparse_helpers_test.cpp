#include "transform/sparse_helpers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/test_host.h"
#include "transform/sparse_matrix_samples.h"

namespace {

using namespace qz;
using qztest::Dense;
using qztest::GappedMatrix;
using qztest::randomMatrix;

struct Shape {
  int32_t major, minor;
  double density;
};

const std::vector<Shape> shapes = {{0, 0, 0.5}, {0, 4, 0.5},   {4, 0, 0.5},  {1, 1, 1.0},  {1, 1, 0.0},  {7, 5, 0.3},
                                   {5, 7, 1.0}, {13, 13, 0.1}, {40, 3, 0.6}, {3, 40, 0.2}, {30, 30, 0.0}};

template <class Body>
void forRandomMatrices(bool gaps, Body body) {
  for (uint32_t seed = 1; seed <= 5; ++seed)
    for (const Shape& shape : shapes) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " " + std::to_string(shape.major) + "x" +
                   std::to_string(shape.minor));
      std::mt19937 random(seed);
      const GappedMatrix m = randomMatrix(random, shape.major, shape.minor, shape.density, gaps);
      body(m, random);
    }
}

std::vector<double> randomVector(std::mt19937& random, int32_t n) {
  std::normal_distribution<double> normal(0.0, 2.0);
  std::vector<double> v(static_cast<size_t>(n));
  for (double& x : v) x = normal(random);
  return v;
}

TEST(Vectors, ClearBufferZeroesJustItsEntries) {
  std::vector<double> v = {1, 2, 3, 4};
  clearBuffer(3, v.data());
  EXPECT_EQ(v, (std::vector<double>{0, 0, 0, 4}));
  clearBuffer(0, nullptr);
  clearBuffer(-1, nullptr);
}

TEST(Vectors, NormIsEuclideanAndZeroForNoEntries) {
  const std::vector<double> v = {3, -4, 12};
  EXPECT_DOUBLE_EQ(norm2(3, v.data()), 13.0);
  EXPECT_EQ(norm2(0, nullptr), 0.0);
  EXPECT_EQ(norm2(-5, nullptr), 0.0);
}

TEST(Vectors, NormIsNotGuardedAgainstOverflow) {
  const std::vector<double> v = {1e200, 1.0};
  EXPECT_TRUE(std::isinf(norm2(2, v.data())));
}

TEST(CopyMatrix, PacksMajorsWithoutGapsAndWritesNoEndMark) {
  forRandomMatrices(true, [](const GappedMatrix& m, std::mt19937&) {
    const auto room = static_cast<size_t>(m.numElement);
    std::vector<int32_t> begin(m.begin.size(), -5), length(m.begin.size(), -5), index(room + 1, -5);
    std::vector<double> value(room + 1, -5.0);
    copyMatrix(m.numMajor, m.begin.data(), m.length.data(), m.index.data(), m.value.data(), begin.data(), length.data(),
               index.data(), value.data());
    int32_t next = 0;
    for (int32_t j = 0; j < m.numMajor; ++j) {
      ASSERT_EQ(begin[j], next);
      ASSERT_EQ(length[j], m.length[j]);
      for (int32_t k = 0; k < m.length[j]; ++k, ++next) {
        ASSERT_EQ(index[next], m.index[m.begin[j] + k]);
        ASSERT_EQ(value[next], m.value[m.begin[j] + k]);
      }
    }
    EXPECT_EQ(begin[m.numMajor], -5);
    EXPECT_EQ(index[room], -5);
  });
}

void expectTranspose(const GappedMatrix& m, const std::vector<int32_t>& map, const std::vector<int32_t>& outBegin,
                     const std::vector<int32_t>& outIndex, const std::vector<double>& outValue) {
  const Dense dense = m.dense();
  int32_t next = 0;
  for (int32_t i = 0; i < m.numMinor; ++i) {
    ASSERT_EQ(outBegin[i], next);
    for (int32_t j = 0; j < m.numMajor; ++j) {
      if (dense[i][j] == 0.0 || (!map.empty() && map[j] < 0)) continue;
      ASSERT_EQ(outIndex[next], j);
      ASSERT_EQ(outValue[next], dense[i][j]);
      ++next;
    }
  }
  ASSERT_EQ(outBegin[m.numMinor], next);
}

TEST(ToggleMatrix, TransposesWithAscendingIndices) {
  forRandomMatrices(false, [](const GappedMatrix& m, std::mt19937&) {
    std::vector<int32_t> begin(static_cast<size_t>(m.numMinor) + 1, 9), index(m.index.size() + 1);
    std::vector<double> value(m.index.size() + 1);
    toggleMatrix(m.numMajor, m.numMinor, m.numElement, m.begin.data(), m.index.data(), m.value.data(), begin.data(),
                 index.data(), value.data());
    expectTranspose(m, {}, begin, index, value);
  });
}

TEST(ToggleMatrix, TwiceGivesTheSortedMatrix) {
  std::mt19937 random(3);
  const GappedMatrix m = randomMatrix(random, 9, 12, 0.4, false);
  std::vector<int32_t> begin(13), index(m.index.size()), begin2(10), index2(m.index.size());
  std::vector<double> value(m.index.size()), value2(m.index.size());
  toggleMatrix(9, 12, m.numElement, m.begin.data(), m.index.data(), m.value.data(), begin.data(), index.data(),
               value.data());
  toggleMatrix(12, 9, m.numElement, begin.data(), index.data(), value.data(), begin2.data(), index2.data(),
               value2.data());
  EXPECT_EQ(begin2, m.begin);
  for (int32_t j = 0; j < 9; ++j)
    EXPECT_TRUE(std::is_sorted(index2.begin() + begin2[j], index2.begin() + begin2[j + 1]));
}

TEST(ToggleMatrix, EmptyMinorHasLengthZero) {
  const std::vector<int32_t> begin = {0, 1, 2}, index = {0, 2};
  const std::vector<double> value = {1.5, 2.5};
  std::vector<int32_t> outBegin(4), outIndex(2);
  std::vector<double> outValue(2);
  toggleMatrix(2, 3, 2, begin.data(), index.data(), value.data(), outBegin.data(), outIndex.data(), outValue.data());
  EXPECT_EQ(outBegin, (std::vector<int32_t>{0, 1, 1, 2}));
}

TEST(ToggleMatrix, NullBeginsDoNothing) {
  std::vector<int32_t> begin = {0, 0}, untouched = {7, 7};
  toggleMatrix(1, 1, 0, nullptr, nullptr, nullptr, untouched.data(), nullptr, nullptr);
  EXPECT_EQ(untouched, (std::vector<int32_t>{7, 7}));
  toggleMatrix(1, 1, 0, begin.data(), nullptr, nullptr, nullptr, nullptr, nullptr);
}

TEST(ToggleMatrixWithLength, TransposesAcrossGapsAndSkipsUnmappedMajors) {
  forRandomMatrices(true, [](const GappedMatrix& m, std::mt19937& random) {
    std::vector<int32_t> someMap(static_cast<size_t>(m.numMajor));
    for (int32_t& entry : someMap) entry = random() % 3 == 0 ? -1 - static_cast<int32_t>(random() % 5) : 4;
    const std::vector<int32_t> noneMap(static_cast<size_t>(m.numMajor), -1);
    for (const std::vector<int32_t>& map : {std::vector<int32_t>{}, someMap, noneMap}) {
      std::vector<int32_t> begin(static_cast<size_t>(m.numMinor) + 1, 9), length(begin.size(), 9),
          index(m.index.size() + 1);
      std::vector<double> value(m.index.size() + 1);
      toggleMatrixWithLength(m.numMajor, m.numMinor, map.empty() ? nullptr : map.data(), m.begin.data(),
                             m.length.data(), m.index.data(), m.value.data(), begin.data(), length.data(), index.data(),
                             value.data());
      expectTranspose(m, map, begin, index, value);
      for (int32_t i = 0; i < m.numMinor; ++i) ASSERT_EQ(length[i], begin[i + 1] - begin[i]);
      EXPECT_EQ(length[m.numMinor], 9) << "no length behind the last minor";
    }
  });
}

TEST(ToggleMatrixWithLength, AllNegativeMapGivesAllZeroBegins) {
  const std::vector<int32_t> begin = {0, 2}, length = {2, 1}, index = {0, 1, 1}, map = {-1, -2};
  const std::vector<double> value = {1, 2, 3};
  std::vector<int32_t> outBegin(3, 8), outLength(2, 8), outIndex(3, 8);
  std::vector<double> outValue(3);
  toggleMatrixWithLength(2, 2, map.data(), begin.data(), length.data(), index.data(), value.data(), outBegin.data(),
                         outLength.data(), outIndex.data(), outValue.data());
  EXPECT_EQ(outBegin, (std::vector<int32_t>{0, 0, 0}));
  EXPECT_EQ(outLength, (std::vector<int32_t>{0, 0}));
}

TEST(ToggleMatrixWithLength, AnyMissingBeginOrLengthDoesNothing) {
  std::vector<int32_t> begin = {0}, length = {1}, index = {0}, outBegin = {7, 7}, outLength = {7}, outIndex = {7};
  std::vector<double> value = {1}, outValue = {7};
  for (int missing = 0; missing < 4; ++missing) {
    toggleMatrixWithLength(1, 1, nullptr, missing == 0 ? nullptr : begin.data(), missing == 1 ? nullptr : length.data(),
                           index.data(), value.data(), missing == 2 ? nullptr : outBegin.data(),
                           missing == 3 ? nullptr : outLength.data(), outIndex.data(), outValue.data());
    EXPECT_EQ(outBegin, (std::vector<int32_t>{7, 7}));
    EXPECT_EQ(outLength[0], 7);
    EXPECT_EQ(outIndex[0], 7);
  }
}

// The first block of an augmented matrix: a diagonal, then elements of the rows behind numFirst.
TEST(AugmentMatrix, CompletesRandomFirstBlocks) {
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto numFirst = static_cast<int32_t>(random() % 12);
    const auto numSecond = static_cast<int32_t>(random() % 9);
    const int32_t numDim = numFirst + numSecond;
    const GappedMatrix block = randomMatrix(random, numFirst, numSecond, 0.4, false);
    std::vector<int32_t> begin(static_cast<size_t>(numDim) + 1, -3), index;
    std::vector<double> value;
    for (int32_t j = 0; j < numFirst; ++j) {
      begin[j] = static_cast<int32_t>(index.size());
      index.push_back(j);
      value.push_back(100.0 + j);
      for (int32_t k = block.begin[j]; k < block.begin[j + 1]; ++k) {
        index.push_back(numFirst + block.index[k]);
        value.push_back(block.value[k]);
      }
    }
    begin[numFirst] = static_cast<int32_t>(index.size());
    const int32_t stored = begin[numFirst];
    const std::vector<int32_t> firstBegins(begin.begin(), begin.begin() + numFirst + 1);
    index.resize(static_cast<size_t>(2 * stored - 2 * numFirst + numDim), -3);
    value.resize(index.size(), -3.0);
    augmentMatrix(numDim, numFirst, begin.data(), index.data(), value.data());

    EXPECT_TRUE(std::equal(firstBegins.begin(), firstBegins.end(), begin.begin()));
    EXPECT_EQ(begin[numDim], static_cast<int32_t>(index.size()));
    const Dense dense = block.dense();
    for (int32_t i = numFirst; i < numDim; ++i) {
      int32_t k = begin[i];
      for (int32_t j = 0; j < numFirst; ++j) {
        if (dense[i - numFirst][j] == 0.0) continue;
        ASSERT_EQ(index[k], j);
        ASSERT_EQ(value[k], dense[i - numFirst][j]);
        ++k;
      }
      ASSERT_EQ(index[k], i);
      ASSERT_EQ(value[k], 0.0);
      ASSERT_EQ(k + 1, begin[i + 1]);
    }
  }
}

class RemoveElement : public ::testing::Test {
 protected:
  RemoveElement() {
    env.pool = host.pool();
    env.log = host.log();
  }
  qztest::TestHost host;
  Env env{};
};

TEST_F(RemoveElement, KeepsTheOrderAndLeavesTheElementBehindTheMajor) {
  std::vector<int32_t> begin = {0, 3, 9}, length = {3, 4, 2}, index = {5, 1, 3, 4, 2, 0, 6, -1, -1, 1, 2};
  std::vector<double> value = {.5, .1, .3, 4, 2, 7, 6, 0, 0, 1, 2};
  removeElement(&env, 2, 1, begin.data(), length.data(), index.data(), value.data());
  EXPECT_EQ(length, (std::vector<int32_t>{3, 3, 2}));
  EXPECT_EQ(index, (std::vector<int32_t>{5, 1, 3, 4, 0, 6, 2, -1, -1, 1, 2}));
  EXPECT_EQ(value, (std::vector<double>{.5, .1, .3, 4, 7, 6, 2, 0, 0, 1, 2}));
  EXPECT_TRUE(host.messages.empty());
}

TEST_F(RemoveElement, LastElementMovesNothing) {
  std::vector<int32_t> begin = {0}, length = {3}, index = {4, 2, 9};
  std::vector<double> value = {4, 2, 9};
  removeElement(&env, 9, 0, begin.data(), length.data(), index.data(), value.data());
  EXPECT_EQ(length[0], 2);
  EXPECT_EQ(index, (std::vector<int32_t>{4, 2, 9}));
  EXPECT_EQ(value, (std::vector<double>{4, 2, 9}));
}

TEST_F(RemoveElement, WorksWithoutValues) {
  std::vector<int32_t> begin = {0}, length = {3}, index = {4, 2, 9};
  removeElement(&env, 4, 0, begin.data(), length.data(), index.data(), nullptr);
  EXPECT_EQ(length[0], 2);
  EXPECT_EQ(index, (std::vector<int32_t>{2, 9, 4}));
}

TEST_F(RemoveElement, AbsentElementIsReportedAndNothingMoves) {
  // Exactly as long as the major, so that a read or write behind it is caught by the sanitizers.
  std::vector<int32_t> begin = {0}, length = {3}, index = {4, 2, 9};
  std::vector<double> value = {4, 2, 9};
  removeElement(&env, 7, 0, begin.data(), length.data(), index.data(), value.data());
  EXPECT_EQ(length[0], 2);
  EXPECT_EQ(index, (std::vector<int32_t>{4, 2, 9}));
  EXPECT_EQ(value, (std::vector<double>{4, 2, 9}));
  ASSERT_EQ(host.messages.size(), 1u);
  EXPECT_EQ(host.messages[0].level, 0);
  EXPECT_EQ(host.messages[0].text, "Error removeElement: minor %d not found in major %d");
}

TEST_F(RemoveElement, AbsentElementOfAnEmptyMajorLeavesLengthZero) {
  std::vector<int32_t> begin = {0}, length = {0};
  removeElement(&env, 7, 0, begin.data(), length.data(), nullptr, nullptr);
  EXPECT_EQ(length[0], 0);
  EXPECT_EQ(host.messages.size(), 1u);
}

TEST_F(RemoveElement, RepeatedRemovalKeepsTheMultisetOfElements) {
  std::mt19937 random(11);
  GappedMatrix m = randomMatrix(random, 6, 20, 0.5, true);
  for (int32_t j = 0; j < m.numMajor; ++j) {
    const int32_t first = m.begin[j];
    const int32_t full = m.length[j];
    std::vector<std::pair<int32_t, double>> before, after;
    for (int32_t k = first; k < first + full; ++k) before.emplace_back(m.index[k], m.value[k]);
    while (m.length[j] > 0) {
      const int32_t minor = m.index[first + static_cast<int32_t>(random() % static_cast<uint32_t>(m.length[j]))];
      removeElement(&env, minor, j, m.begin.data(), m.length.data(), m.index.data(), m.value.data());
      ASSERT_EQ(m.index[first + m.length[j]], minor) << "directly behind the shortened major";
    }
    for (int32_t k = first; k < first + full; ++k) after.emplace_back(m.index[k], m.value[k]);
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    EXPECT_EQ(before, after);
  }
}

TEST(Products, MatrixTimesVectorAgreesWithDense) {
  for (bool gaps : {false, true})
    forRandomMatrices(gaps, [gaps](const GappedMatrix& m, std::mt19937& random) {
      const std::vector<double> x = randomVector(random, m.numMajor);
      const Dense dense = m.dense();
      std::vector<double> y(static_cast<size_t>(m.numMinor), 9.0), twin(y), byBegin(y);
      matrixTimesVector(m.numMinor, m.numMajor, m.begin.data(), m.length.data(), m.index.data(), m.value.data(),
                        x.data(), y.data());
      MatrixTimesVector(m.numMinor, m.numMajor, m.begin.data(), m.length.data(), m.index.data(), m.value.data(),
                        x.data(), twin.data());
      EXPECT_EQ(y, twin);
      if (!gaps) {
        matrixTimesVector(m.numMinor, m.numMajor, m.begin.data(), nullptr, m.index.data(), m.value.data(), x.data(),
                          byBegin.data());
        EXPECT_EQ(y, byBegin);
      }
      for (int32_t i = 0; i < m.numMinor; ++i) {
        double sum = 0.0, scale = 1.0;
        for (int32_t j = 0; j < m.numMajor; ++j) {
          sum += dense[i][j] * x[j];
          scale += std::fabs(dense[i][j] * x[j]);
        }
        EXPECT_NEAR(y[i], sum, 1e-14 * scale);
      }
    });
}

TEST(Products, VectorTimesMatrixAgreesWithDense) {
  forRandomMatrices(true, [](const GappedMatrix& m, std::mt19937& random) {
    const std::vector<double> x = randomVector(random, m.numMinor);
    const Dense dense = m.dense();
    std::vector<double> y(static_cast<size_t>(m.numMajor), 9.0);
    vectorTimesMatrix(m.numMajor, m.begin.data(), m.length.data(), m.index.data(), m.value.data(), x.data(), y.data());
    for (int32_t j = 0; j < m.numMajor; ++j) {
      double sum = 0.0, scale = 1.0;
      for (int32_t i = 0; i < m.numMinor; ++i) {
        sum += dense[i][j] * x[i];
        scale += std::fabs(dense[i][j] * x[i]);
      }
      EXPECT_NEAR(y[j], sum, 1e-14 * scale);
    }
  });
}

TEST(Products, EngineProductsUseTheEnginesMatrix) {
  std::mt19937 random(5);
  GappedMatrix m = randomMatrix(random, 8, 6, 0.5, true);
  Ipm ipm{};
  ipm.numRow = 6;
  ipm.numCol = 8;
  ipm.colBegin = m.begin.data();
  ipm.colLength = m.length.data();
  ipm.rowIndex = m.index.data();
  ipm.matValue = m.value.data();
  const std::vector<double> x = randomVector(random, 8), y = randomVector(random, 6);
  std::vector<double> ax(6), ax2(6), aty(8), aty2(8);
  ATimesVector(&ipm, x.data(), ax.data());
  matrixTimesVector(6, 8, m.begin.data(), m.length.data(), m.index.data(), m.value.data(), x.data(), ax2.data());
  AtranTimesVector(&ipm, y.data(), aty.data());
  vectorTimesMatrix(8, m.begin.data(), m.length.data(), m.index.data(), m.value.data(), y.data(), aty2.data());
  EXPECT_EQ(ax, ax2);
  EXPECT_EQ(aty, aty2);
}

// A random symmetric matrix as diagonal and strict lower triangle by columns, with gaps.
struct Symmetric {
  GappedMatrix lower;
  std::vector<double> diag;
  Dense full;
};

Symmetric randomSymmetric(std::mt19937& random, int32_t n) {
  Symmetric s;
  s.diag = randomVector(random, n);
  s.full.assign(static_cast<size_t>(n), std::vector<double>(static_cast<size_t>(n), 0.0));
  s.lower.numMajor = s.lower.numMinor = n;
  for (int32_t j = 0; j < n; ++j) {
    s.full[j][j] = s.diag[j];
    s.lower.begin.push_back(static_cast<int32_t>(s.lower.index.size()));
    int32_t count = 0;
    for (int32_t i = n - 1; i > j; --i) {
      if (random() % 3 != 0) continue;
      const double q = static_cast<double>(random() % 200) / 10.0 - 10.0;
      s.lower.index.push_back(i);
      s.lower.value.push_back(q);
      s.full[i][j] = s.full[j][i] = q;
      ++count;
    }
    s.lower.length.push_back(count);
    s.lower.index.push_back(-9);
    s.lower.value.push_back(1e300);
  }
  return s;
}

TEST(SymmetricProduct, AgreesWithTheFullMatrixForEveryAlpha) {
  for (int32_t n : {0, 1, 2, 9, 25}) {
    std::mt19937 random(static_cast<uint32_t>(n) + 7);
    const Symmetric s = randomSymmetric(random, n);
    const std::vector<double> x = randomVector(random, n), y0 = randomVector(random, n);
    for (double alpha : {0.0, 1.0, -1.0, 0.5, -3.25}) {
      std::vector<double> y = y0;
      symmatrixTimesVector(n, s.lower.begin.data(), s.lower.length.data(), s.lower.index.data(), s.lower.value.data(),
                           s.diag.data(), x.data(), y.data(), alpha);
      for (int32_t i = 0; i < n; ++i) {
        double sum = 0.0, scale = 1.0;
        for (int32_t j = 0; j < n; ++j) {
          sum += s.full[i][j] * x[j];
          scale += std::fabs(s.full[i][j] * x[j]);
        }
        EXPECT_NEAR(y[i], y0[i] + alpha * sum, 1e-13 * scale) << "n " << n << " alpha " << alpha;
      }
    }
  }
}

TEST(SymmetricProduct, AlphaZeroReadsAndWritesNothing) {
  symmatrixTimesVector(5, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0.0);
}

TEST(SymmetricProduct, WithoutTriangleOnlyTheDiagonalActs) {
  const std::vector<int32_t> begin = {0, 1}, index = {1};
  const std::vector<double> value = {5.0}, diag = {2.0, 3.0}, x = {10.0, 100.0};
  for (int missing = 0; missing < 2; ++missing) {
    std::vector<double> y = {1.0, 1.0};
    symmatrixTimesVector(2, missing == 0 ? nullptr : begin.data(), nullptr, index.data(), value.data(), diag.data(),
                         x.data(), y.data(), 1.0);
    EXPECT_EQ(y, (std::vector<double>{21.0, 301.0}));
    EXPECT_EQ(calcQuadForm(2, missing == 0 ? nullptr : begin.data(), nullptr, index.data(), value.data(), diag.data(),
                           x.data()),
              0.5 * (200.0 + 30000.0));
  }
}

TEST(QuadForm, AgreesWithTheFullMatrix) {
  for (int32_t n : {0, 1, 2, 9, 25}) {
    std::mt19937 random(static_cast<uint32_t>(n) + 70);
    const Symmetric s = randomSymmetric(random, n);
    const std::vector<double> x = randomVector(random, n);
    long double sum = 0.0L, scale = 1.0L;
    for (int32_t i = 0; i < n; ++i)
      for (int32_t j = 0; j < n; ++j) {
        sum += 0.5L * s.full[i][j] * x[i] * x[j];
        scale += std::fabs(s.full[i][j] * x[i] * x[j]);
      }
    EXPECT_NEAR(calcQuadForm(n, s.lower.begin.data(), s.lower.length.data(), s.lower.index.data(), s.lower.value.data(),
                             s.diag.data(), x.data()),
                static_cast<double>(sum), 1e-13 * static_cast<double>(scale));
  }
}

TEST(RegMatDiag, PushesListedEntriesBelowMinusEps) {
  std::vector<double> diag = {1.0, 0.999, 0.0, -0.5, -1.0, -5.0, 7.0, 0.0, -0.25};
  const std::vector<int32_t> first = {0, 1, 2, 3}, second = {4, 5, 6};
  regMatDiag(4, 3, diag.data(), first.data(), second.data(), 1.0);
  EXPECT_EQ(diag, (std::vector<double>{1.0, -1.0, -1.0, -1.0, -1.0, -5.0, 7.0, 0.0, -0.25}))
      << "exactly eps stays, what lies below goes to -eps or stays beyond it, unlisted entries stay";
}

TEST(RegMatDiag, EmptyListsTouchNothing) {
  regMatDiag(0, 0, nullptr, nullptr, nullptr, 1.0);
}

TEST_F(RemoveElement, PrintMatrixSendsOneLineAnElementAndAnEmptyLineAMajor) {
  const std::vector<int32_t> begin = {0, 2, 3}, length = {1, 1}, index = {4, 1, 0};
  const std::vector<double> value = {0.5, 2.0, -1.0};
  printMatrix(&env, 2, begin.data(), index.data(), value.data());
  ASSERT_EQ(host.messages.size(), 5u);
  for (const qztest::LoggedMessage& message : host.messages) EXPECT_EQ(message.level, 0);
  EXPECT_EQ(host.messages[0].text, "");
  EXPECT_EQ(host.messages[1].text, "mat(%d, %d) = %15.7g");
  EXPECT_EQ(host.messages[2].text, "mat(%d, %d) = %15.7g");
  EXPECT_EQ(host.messages[3].text, "");
  host.messages.clear();
  printMatrixWithLength(&env, 2, begin.data(), length.data(), index.data(), value.data());
  EXPECT_EQ(host.messages.size(), 4u);
  env.log = nullptr;
  printMatrix(&env, 2, begin.data(), index.data(), value.data());
  EXPECT_EQ(host.messages.size(), 4u);
}

}  // namespace
