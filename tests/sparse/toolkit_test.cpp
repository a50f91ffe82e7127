#include "sparse/toolkit.h"

#include <gtest/gtest.h>

#include <eigen3/Eigen/Dense>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "support/test_host.h"

namespace qz {
namespace {

using Dense = Eigen::MatrixXd;

struct Columns {
  int32_t rows = 0;
  int32_t cols = 0;
  std::vector<int32_t> begin{0};
  std::vector<int32_t> index;
  std::vector<double> value;
};

// Random matrix of about `density` entries a place, rows of each column shuffled.
Columns randomColumns(int32_t rows, int32_t cols, double density, std::mt19937& random) {
  Columns a;
  a.rows = rows;
  a.cols = cols;
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  for (int32_t j = 0; j < cols; ++j) {
    std::vector<int32_t> order(static_cast<size_t>(rows));
    for (int32_t i = 0; i < rows; ++i) order[static_cast<size_t>(i)] = i;
    std::shuffle(order.begin(), order.end(), random);
    for (const int32_t i : order) {
      if (uniform(random) >= density) continue;
      a.index.push_back(i);
      a.value.push_back(uniform(random) - 0.5);
    }
    a.begin.push_back(static_cast<int32_t>(a.index.size()));
  }
  return a;
}

Dense dense(int32_t rows, int32_t cols, const int32_t* begin, const int32_t* index, const double* value) {
  Dense result = Dense::Zero(rows, cols);
  for (int32_t j = 0; j < cols; ++j) {
    for (int32_t p = begin[j]; p < begin[j + 1]; ++p) result(index[p], j) += value[p];
  }
  return result;
}
Dense dense(const Columns& a) {
  return dense(a.rows, a.cols, a.begin.data(), a.index.data(), a.value.data());
}

class ToolkitTest : public ::testing::Test {
 protected:
  ~ToolkitTest() override { EXPECT_EQ(host.outstanding(), 0); }
  // The outputs of an allocating function as a dense matrix; frees them.
  Dense take(int32_t rows, int32_t cols) {
    Dense result = dense(rows, cols, begin, index, value);
    freeOutputs();
    return result;
  }
  void freeOutputs() {
    host.pool()->free(host.pool(), begin);
    host.pool()->free(host.pool(), value);
    begin = nullptr;
    index = nullptr;
    value = nullptr;
  }
  // Fails every allocation of `call` in turn: 1, with nothing written and nothing kept.
  void failEach(const std::function<int32_t()>& call) {
    for (int64_t k = 1;; ++k) {
      host.failAllocation(k);
      const int64_t before = host.outstanding();
      const int64_t asked = host.allocations();
      const int32_t status = call();
      const bool reached = host.allocations() - asked >= k;
      host.failAllocation(0);
      if (!reached) {
        EXPECT_EQ(status, LA_OK);
        EXPECT_GT(k, 1);
        return;
      }
      EXPECT_EQ(status, LA_NO_MEMORY) << "allocation " << k;
      EXPECT_EQ(host.outstanding(), before) << "allocation " << k;
      EXPECT_EQ(value, nullptr);
    }
  }
  qztest::TestHost host;
  int32_t* begin = nullptr;
  int32_t* index = nullptr;
  double* value = nullptr;
};

TEST_F(ToolkitTest, TransposeAgreesAndComesOutAscending) {
  std::mt19937 random(11);
  for (int trial = 0; trial < 60; ++trial) {
    const int32_t rows = static_cast<int32_t>(random() % 12);
    const int32_t cols = static_cast<int32_t>(random() % 12);
    const Columns a = randomColumns(rows, cols, 0.3, random);
    std::vector<int32_t> outBegin(static_cast<size_t>(rows) + 1, -9), patternBegin(outBegin);
    std::vector<int32_t> outIndex(a.index.size()), patternIndex(a.index.size());
    std::vector<double> outValue(a.value.size());
    LA_TransposeMatrix(rows, cols, a.begin.data(), a.index.data(), a.value.data(), outBegin.data(), outIndex.data(),
                       outValue.data());
    LA_TransposeMatrixPattern(rows, cols, a.begin.data(), a.index.data(), patternBegin.data(), patternIndex.data());
    EXPECT_EQ(outBegin, patternBegin);
    EXPECT_EQ(outIndex, patternIndex);
    EXPECT_EQ(dense(cols, rows, outBegin.data(), outIndex.data(), outValue.data()), dense(a).transpose());
    for (size_t i = 0; i < static_cast<size_t>(rows); ++i) {
      for (int32_t p = outBegin[i] + 1; p < outBegin[i + 1]; ++p) {
        EXPECT_LT(outIndex[static_cast<size_t>(p) - 1], outIndex[static_cast<size_t>(p)]);
      }
    }
  }
}

TEST_F(ToolkitTest, NoEntriesTransposeToZeroStarts) {
  const std::vector<int32_t> colBegin(4, 0);
  std::vector<int32_t> outBegin(6, -1);
  LA_TransposeMatrix(5, 3, colBegin.data(), nullptr, nullptr, outBegin.data(), nullptr, nullptr);
  EXPECT_EQ(outBegin, std::vector<int32_t>(6, 0));
}

TEST_F(ToolkitTest, ProductWithItsTransposeAgreesWithEigen) {
  std::mt19937 random(12);
  for (int trial = 0; trial < 60; ++trial) {
    const int32_t rows = static_cast<int32_t>(random() % 15);
    const int32_t cols = static_cast<int32_t>(random() % 15);
    const Columns a = randomColumns(rows, cols, 0.25, random);
    ASSERT_EQ(
        LA_CreateAAt(rows, cols, a.begin.data(), a.index.data(), a.value.data(), &begin, &index, &value, host.pool()),
        LA_OK);
    // Each place of the pattern stands once.
    Eigen::MatrixXi places = Eigen::MatrixXi::Zero(rows, rows);
    for (int32_t j = 0; j < rows; ++j) {
      for (int32_t p = begin[j]; p < begin[j + 1]; ++p) ++places(index[p], j);
    }
    if (rows > 0) {
      EXPECT_LE(places.maxCoeff(), 1);
    }
    const Dense product = take(rows, rows);
    EXPECT_LE((product - dense(a) * dense(a).transpose()).cwiseAbs().sum(), 1e-13);
  }
}

TEST_F(ToolkitTest, SubmatrixIsClippedAndRenumbered) {
  std::mt19937 random(13);
  const Columns a = randomColumns(9, 7, 0.5, random);
  const Dense whole = dense(a);
  for (int trial = 0; trial < 300; ++trial) {
    const auto bound = [&] { return static_cast<int32_t>(random() % 15) - 3; };
    const int32_t rowFrom = bound(), rowTo = bound(), colFrom = bound(), colTo = bound();
    const int32_t status = LA_ExtractSubmatrix(9, 7, rowFrom, rowTo, colFrom, colTo, a.begin.data(), a.index.data(),
                                               a.value.data(), host.pool(), &begin, &index, &value);
    const int32_t r0 = std::max(rowFrom, 0), r1 = std::min(rowTo, 9), c0 = std::max(colFrom, 0),
                  c1 = std::min(colTo, 7);
    if (r1 <= r0 || c1 <= c0) {
      EXPECT_EQ(status, LA_BAD_PARAMETER);
      continue;
    }
    ASSERT_EQ(status, LA_OK);
    EXPECT_EQ(take(r1 - r0, c1 - c0), whole.block(r0, c0, r1 - r0, c1 - c0));
  }
}

TEST_F(ToolkitTest, SubmatrixFromBelowZeroClipsButAnEmptyRangeGivesNine) {
  const std::vector<int32_t> colBegin{0, 1, 2};
  const std::vector<int32_t> rowIndex{0, 1};
  const std::vector<double> matValue{3.0, 4.0};
  const auto extract = [&](int32_t rowFrom, int32_t rowTo) {
    return LA_ExtractSubmatrix(2, 2, rowFrom, rowTo, 0, 2, colBegin.data(), rowIndex.data(), matValue.data(),
                               host.pool(), &begin, &index, &value);
  };
  ASSERT_EQ(extract(-4, 1), LA_OK);
  EXPECT_EQ(take(1, 2), (Dense(1, 2) << 3.0, 0.0).finished());
  EXPECT_EQ(extract(-4, -4), LA_BAD_PARAMETER);
  EXPECT_EQ(extract(1, 1), LA_BAD_PARAMETER);
  EXPECT_EQ(extract(2, 5), LA_BAD_PARAMETER);
}

TEST_F(ToolkitTest, SumAgreesAndLeavesOutWhatCancels) {
  std::mt19937 random(14);
  for (int trial = 0; trial < 80; ++trial) {
    const int32_t n = static_cast<int32_t>(random() % 12);
    const Columns a = randomColumns(n, n, 0.4, random);
    Columns b = trial % 3 == 0 ? a : randomColumns(n, n, 0.4, random);
    const double scaleA = trial % 5 == 0 ? 1.0 : 2.5;
    const double scaleB = trial % 3 == 0 ? -scaleA : -0.75;
    ASSERT_EQ(LA_AddSparseMatrices(scaleA, scaleB, n, a.begin.data(), a.index.data(), a.value.data(), b.begin.data(),
                                   b.index.data(), b.value.data(), host.pool(), &begin, &index, &value),
              LA_OK);
    const Dense expected = scaleA * dense(a) + scaleB * dense(b);
    for (int32_t p = 0; p < begin[n]; ++p) EXPECT_NE(value[p], 0.0);
    EXPECT_EQ(begin[n], (expected.array() != 0.0).count());
    if (trial % 3 == 0) {
      EXPECT_EQ(begin[n], 0);
    }
    EXPECT_EQ(take(n, n), expected);
  }
}

TEST_F(ToolkitTest, DenseAndBack) {
  std::mt19937 random(15);
  for (int trial = 0; trial < 40; ++trial) {
    const int32_t rows = 1 + static_cast<int32_t>(random() % 9);
    const int32_t cols = 1 + static_cast<int32_t>(random() % 9);
    const Columns a = randomColumns(rows, cols, 0.4, random);
    Dense full = Dense::Constant(rows, cols, 99.0);
    LA_ConvertSparseToDense(rows, cols, a.begin.data(), a.index.data(), a.value.data(), full.data());
    EXPECT_EQ(full, dense(a));
    ASSERT_EQ(LA_ConvertDenseToSparse(rows, cols, full.data(), host.pool(), &begin, &index, &value), LA_OK);
    EXPECT_EQ(begin[cols], (full.array() != 0.0).count());
    EXPECT_EQ(take(rows, cols), full);
  }
}

TEST_F(ToolkitTest, AllZeroDenseMatrixYieldsAnEmptyMatrix) {
  const std::vector<double> zeros(6, 0.0);
  ASSERT_EQ(LA_ConvertDenseToSparse(2, 3, zeros.data(), host.pool(), &begin, &index, &value), LA_OK);
  for (int32_t j = 0; j <= 3; ++j) EXPECT_EQ(begin[j], 0);
  freeOutputs();
}

TEST_F(ToolkitTest, DenseMatrixWithoutASizeGivesNine) {
  const double one = 1.0;
  EXPECT_EQ(LA_ConvertDenseToSparse(0, 3, &one, host.pool(), &begin, &index, &value), LA_BAD_PARAMETER);
  EXPECT_EQ(LA_ConvertDenseToSparse(3, -1, &one, host.pool(), &begin, &index, &value), LA_BAD_PARAMETER);
}

TEST_F(ToolkitTest, LowerDenseLeavesTheStrictUpperPart) {
  std::mt19937 random(16);
  const Columns a = randomColumns(8, 8, 0.5, random);
  Dense full = Dense::Constant(8, 8, 99.0);
  LA_ConvertSparseSymToLowerDense(8, a.begin.data(), a.index.data(), a.value.data(), full.data());
  const Dense expected = dense(a);
  for (int i = 0; i < 8; ++i) {
    for (int j = 0; j < 8; ++j) EXPECT_EQ(full(i, j), i >= j ? expected(i, j) : 99.0);
  }
}

TEST_F(ToolkitTest, UpperToFullMirrorsTheUpperTriangle) {
  std::mt19937 random(17);
  for (int trial = 0; trial < 40; ++trial) {
    const int32_t n = static_cast<int32_t>(random() % 10);
    const Columns a = randomColumns(n, n, 0.4, random);
    ASSERT_EQ(
        LA_ConvertUpperToFull(n, a.begin.data(), a.index.data(), a.value.data(), host.pool(), &begin, &index, &value),
        LA_OK);
    const Dense upper = dense(a).triangularView<Eigen::Upper>();
    const Dense strict = dense(a).triangularView<Eigen::StrictlyUpper>();
    EXPECT_EQ(take(n, n), upper + strict.transpose());
  }
}

TEST_F(ToolkitTest, LinkedListsAreCopiedInTheirOrder) {
  // List 0: nodes 4, 1. List 1: empty. List 2: nodes 3, 0, 2.
  const std::vector<int32_t> head{4, -1, 3};
  const std::vector<int32_t> next{2, -1, -1, 0, 1};
  const std::vector<int32_t> row{10, 11, 12, 13, 14};
  const std::vector<double> node{0.5, 1.5, 2.5, 3.5, 4.5};
  std::vector<int32_t> starts(4, -1);
  ASSERT_EQ(LA_ConvertLinkedListToCSR(3, node.data(), row.data(), next.data(), head.data(), host.pool(), starts.data(),
                                      &index, &value),
            LA_OK);
  EXPECT_EQ(starts, (std::vector<int32_t>{0, 2, 2, 5}));
  EXPECT_EQ(std::vector<int32_t>(index, index + 5), (std::vector<int32_t>{14, 11, 13, 10, 12}));
  EXPECT_EQ(std::vector<double>(value, value + 5), (std::vector<double>{4.5, 1.5, 3.5, 0.5, 2.5}));
  freeOutputs();
}

TEST_F(ToolkitTest, SymmetryNeedsEqualPartners) {
  const std::vector<int32_t> colBegin{0, 2, 4};
  const std::vector<int32_t> rowIndex{0, 1, 1, 0};
  std::vector<double> matValue{1.0, 2.0, 3.0, 2.0};
  const auto symmetric = [&] { return LA_IsMatrixSymmetric(2, 2, colBegin.data(), rowIndex.data(), matValue.data()); };
  EXPECT_EQ(symmetric(), 1);
  matValue[3] = 2.5;
  EXPECT_EQ(symmetric(), 0);
  matValue[3] = 2.0;
  matValue[0] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(symmetric(), 0);
  matValue[0] = 1.0;
  const std::vector<int32_t> outOfRange{0, 2, 1, 0};
  EXPECT_EQ(LA_IsMatrixSymmetric(2, 2, colBegin.data(), outOfRange.data(), matValue.data()), 0);
  const std::vector<int32_t> missing{0, 1, 2};
  const std::vector<int32_t> missingIndex{1, 1};
  EXPECT_EQ(LA_IsMatrixSymmetric(2, 2, missing.data(), missingIndex.data(), matValue.data()), 0);
}

TEST_F(ToolkitTest, ANonSquareMatrixIsAsymmetricAtOnce) {
  EXPECT_EQ(LA_IsMatrixSymmetric(2, 3, nullptr, nullptr, nullptr), 0);
}

TEST_F(ToolkitTest, PermutedMatrixAgreesWithEigen) {
  std::mt19937 random(18);
  for (int trial = 0; trial < 40; ++trial) {
    const int32_t n = static_cast<int32_t>(random() % 10);
    const Columns a = randomColumns(n, n, 0.4, random);
    std::vector<int32_t> perm(static_cast<size_t>(n)), invPerm(perm);
    for (size_t i = 0; i < perm.size(); ++i) perm[i] = static_cast<int32_t>(i);
    std::shuffle(perm.begin(), perm.end(), random);
    for (size_t i = 0; i < perm.size(); ++i) invPerm[static_cast<size_t>(perm[i])] = static_cast<int32_t>(i);
    std::vector<int32_t> outBegin(perm.size() + 1), outIndex(a.index.size()), patternBegin(outBegin),
        patternIndex(outIndex);
    std::vector<double> outValue(a.value.size());
    PermuteUnsMatrix(n, a.begin.data(), a.index.data(), a.value.data(), invPerm.data(), perm.data(), outBegin.data(),
                     outIndex.data(), outValue.data());
    PermuteMatrixPattern(n, a.begin.data(), a.index.data(), invPerm.data(), perm.data(), patternBegin.data(),
                         patternIndex.data());
    EXPECT_EQ(outBegin, patternBegin);
    EXPECT_EQ(outIndex, patternIndex);
    const Dense old = dense(a);
    const Dense permuted = dense(n, n, outBegin.data(), outIndex.data(), outValue.data());
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        EXPECT_EQ(permuted(i, j), old(perm[static_cast<size_t>(i)], perm[static_cast<size_t>(j)]));
      }
    }
  }
}

TEST_F(ToolkitTest, EveryFailedAllocationGivesOneAndKeepsNothing) {
  std::mt19937 random(19);
  const Columns a = randomColumns(6, 6, 0.5, random);
  const Dense full = dense(a);
  failEach([&] {
    return LA_CreateAAt(6, 6, a.begin.data(), a.index.data(), a.value.data(), &begin, &index, &value, host.pool());
  });
  freeOutputs();
  failEach([&] {
    return LA_ExtractSubmatrix(6, 6, 1, 5, 1, 5, a.begin.data(), a.index.data(), a.value.data(), host.pool(), &begin,
                               &index, &value);
  });
  freeOutputs();
  failEach([&] {
    return LA_AddSparseMatrices(1.0, 2.0, 6, a.begin.data(), a.index.data(), a.value.data(), a.begin.data(),
                                a.index.data(), a.value.data(), host.pool(), &begin, &index, &value);
  });
  freeOutputs();
  failEach([&] { return LA_ConvertDenseToSparse(6, 6, full.data(), host.pool(), &begin, &index, &value); });
  freeOutputs();
  failEach([&] {
    return LA_ConvertUpperToFull(6, a.begin.data(), a.index.data(), a.value.data(), host.pool(), &begin, &index,
                                 &value);
  });
  freeOutputs();
  const std::vector<int32_t> head{0}, next{-1}, row{3};
  const std::vector<double> node{1.0};
  std::vector<int32_t> starts(2);
  failEach([&] {
    return LA_ConvertLinkedListToCSR(1, node.data(), row.data(), next.data(), head.data(), host.pool(), starts.data(),
                                     &index, &value);
  });
  freeOutputs();
}

TEST_F(ToolkitTest, SizesAboveTheLimitAreNotAttempted) {
  // The sum of two matrices that claim 2e8 entries, 12 bytes each: beyond 2147483647 bytes before anything is read.
  const std::vector<int32_t> huge{0, 200000000};
  const int64_t asked = host.allocations();
  EXPECT_EQ(LA_AddSparseMatrices(1.0, 1.0, 1, huge.data(), nullptr, nullptr, huge.data(), nullptr, nullptr, host.pool(),
                                 &begin, &index, &value),
            LA_NO_MEMORY);
  EXPECT_EQ(host.allocations() - asked, 2);  // the two small arrays only
}

}  // namespace
}  // namespace qz
