// Checks of matrices, maps and vectors: sound data pass, every planted fault is told.
#include "diagnostics/verify_matrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "diagnostics/check.h"
#include "diagnostics/spoken_log.h"
#include "support/test_host.h"

namespace qz {
namespace {

using qztest::expectBreach;
using qztest::expectSound;

// Columns (1, ., 2), (., 3, .), (4, 5, 6); the second has a gap behind it.
struct Matrix {
  std::vector<int32_t> begin{0, 2, 4}, length{2, 1, 3}, index{0, 2, 1, -7, 0, 1, 2};
  std::vector<double> value{1, 2, 3, NAN, 4, 5, 6};
  std::vector<int32_t> rowBegin{0, 2, 4}, rowLength{2, 2, 2}, colIndex{0, 2, 1, 2, 0, 2};
  std::vector<double> rowValue{1, 4, 3, 5, 2, 6};

  SparseView columns() const { return {3, 3, begin.data(), length.data(), index.data(), value.data()}; }
  SparseView rows() const { return {3, 3, rowBegin.data(), rowLength.data(), colIndex.data(), rowValue.data()}; }
};

// [4 1 .; 1 5 2; . 2 6]
struct Symmetric {
  std::vector<int32_t> begin{0, 2, 5, 7}, index{0, 1, 0, 1, 2, 1, 2};
  std::vector<double> value{4, 1, 1, 5, 2, 2, 6};
  SparseView view() const { return {3, 3, begin.data(), nullptr, index.data(), value.data()}; }
};

class VerifyMatrix : public ::testing::Test {
 protected:
  VerifyMatrix() {
    env.pool = host.pool();
    env.log = log.log();
  }
  ~VerifyMatrix() override { EXPECT_EQ(host.outstanding(), 0); }
  qztest::TestHost host;
  qztest::SpokenLog log;
  Env env{};
  Matrix m;
  Symmetric s;
};

// The entries of a test vector depend on nothing but the state that their caller holds.
TEST(RandomEntries, FollowTheirOwnStateInsideOfTheUnitInterval) {
  uint32_t first = kRandomState, second = kRandomState, other = 1;
  double sum = 0.0;
  for (int k = 0; k < 10000; ++k) {
    const double value = zranuni(&first);
    ASSERT_GT(value, 0.0);
    ASSERT_LT(value, 1.0);
    (void)zranuni(&other);
    ASSERT_EQ(zranuni(&second), value);
    sum += value;
  }
  EXPECT_NEAR(sum / 10000, 0.5, 0.02);
}

TEST_F(VerifyMatrix, SparseIndexFindsIndicesOutOfRangeAndTwice) {
  const auto verify = [&](int32_t level) { return VerifySparseIndex(&env, level, m.columns()); };
  expectSound(log, 1, verify);
  m.index[6] = 3;
  expectBreach(log, 1, verify, "VerifySparseIndex: index(6) = 3 should be from 0 to 2");
  m.index[6] = 1;
  expectBreach(log, 1, verify, "VerifySparseIndex: index(6) occurs twice in its major");
  m.index[0] = -1;
  expectBreach(log, 1, verify, "VerifySparseIndex: index(0) = -1 should be");
  EXPECT_EQ(log.errors(), 2) << "both faults in one run";
}

TEST_F(VerifyMatrix, RowCopyMustBeTheTranspose) {
  const auto verify = [&](int32_t level) { return ipmVerifyRowMatrix(&env, level, m.columns(), m.rows()); };
  expectSound(log, 1, verify);
  m.rowValue[3] = -5;
  expectBreach(log, 1, verify, "ipmVerifyRowMatrix: value(3) = -5 should be about 5");
  m.rowValue[3] = 5;
  m.colIndex[3] = 0;
  expectBreach(log, 1, verify, "ipmVerifyRowMatrix: element(3) has no partner in the other copy");
  m.colIndex[3] = 2;
  m.rowLength[1] = 1;
  expectBreach(log, 1, verify, "ipmVerifyRowMatrix: length(1) = 1 should be 2");
  m.rowLength[1] = 2;
  m.colIndex[0] = 5;
  expectBreach(log, 1, verify, "ipmVerifyRowMatrix: index(0) = 5 should be from 0 to 2");
}

TEST_F(VerifyMatrix, RowCopyMayHoldItsElementsInAnyOrder) {
  std::swap(m.colIndex[0], m.colIndex[1]);
  std::swap(m.rowValue[0], m.rowValue[1]);
  expectSound(log, 1, [&](int32_t level) { return ipmVerifyRowMatrix(&env, level, m.columns(), m.rows()); });
}

TEST_F(VerifyMatrix, SymmetryIsBrokenByASignAndByAPlace) {
  const auto verify = [&](int32_t level) { return VerifySymMatrix(&env, level, s.view()); };
  expectSound(log, 1, verify);
  s.value[1] = -1;
  expectBreach(log, 1, verify, "VerifySymMatrix: value(");
  s.value[1] = 1;
  s.index[1] = 2;
  expectBreach(log, 1, verify, "VerifySymMatrix: ");
  SparseView tall = s.view();
  tall.numMinor = 4;
  expectBreach(
      log, 1, [&](int32_t level) { return VerifySymMatrix(&env, level, tall); },
      "VerifySymMatrix: numMinor = 4 should be 3");
}

TEST_F(VerifyMatrix, SymmetricFormatIsPackedSquareAndCounted) {
  int32_t numCoef = 7;
  const auto verify = [&](int32_t level) { return VerifySymMatrixFormat(&env, level, s.view(), numCoef); };
  expectSound(log, 1, verify);
  numCoef = 8;
  expectBreach(log, 1, verify, "VerifySymMatrixFormat: numCoef = 7 should be 8");
  numCoef = 7;
  s.begin[0] = 1;
  expectBreach(log, 1, verify, "VerifySymMatrixFormat: begin(0) = 1 should be 0");
  s.begin[0] = 0;
  s.index[3] = 0;
  expectBreach(log, 1, verify, "VerifySymMatrixFormat: index(3) occurs twice");
}

TEST_F(VerifyMatrix, MappingNumbersTheKeptAndBoundsTheCodes) {
  std::vector<int32_t> map{-1, 0, -3, 1};
  int32_t numKept = 2;
  const auto verify = [&](int32_t level) { return VerifyMapping(&env, level, 4, map.data(), numKept, -3); };
  expectSound(log, 1, verify);
  map[3] = 2;
  expectBreach(log, 1, verify, "VerifyMapping: map(3) = 2 should be 1");
  map[3] = 1;
  map[2] = -4;
  expectBreach(log, 1, verify, "VerifyMapping: map(2) = -4 should be at least -3");
  map[2] = -3;
  numKept = 3;
  expectBreach(log, 1, verify, "VerifyMapping: numKept = 3 should be 2");
}

TEST_F(VerifyMatrix, VectorMustBeFinite) {
  std::vector<double> v{1, -2, 0};
  const auto verify = [&](int32_t level) { return VerifyVector(&env, level, 3, v.data()); };
  expectSound(log, 1, verify);
  v[1] = std::nan("");
  v[2] = std::numeric_limits<double>::infinity();
  expectBreach(log, 1, verify, "VerifyVector: vector(1) is not a finite number");
  EXPECT_EQ(log.errors(), 2);
}

TEST_F(VerifyMatrix, NegativeEigenvalueIsABreachAndAZeroOneANote) {
  double allowed = 0.0;
  const auto verify = [&](int32_t level) { return VerifyMatrixNonsingular(&env, level, s.view(), allowed); };
  expectSound(log, 1, verify);
  s.value = {1, 2, 2, 4, 0, 0, 6};  // singular
  expectSound(log, 1, verify);
  EXPECT_TRUE(log.says("nearly singular")) << log.all();
  s.value[3] = -5;
  expectBreach(log, 1, verify, "VerifyMatrixNonsingular: smallest eigenvalue = ");
  allowed = 6.0;  // what negative weights explain is none
  expectSound(log, 1, verify);
}

TEST_F(VerifyMatrix, EmptyMatricesAreSound) {
  const std::vector<int32_t> begin{0};
  const SparseView empty{0, 0, begin.data(), nullptr, nullptr, nullptr};
  EXPECT_EQ(VerifySymMatrix(&env, 9, empty), 0);
  EXPECT_EQ(ipmVerifyRowMatrix(&env, 9, empty, empty), 0);
  EXPECT_EQ(VerifySymMatrixFormat(&env, 9, empty, 0), 0);
  EXPECT_EQ(VerifyMatrixNonsingular(&env, 9, empty, 0.0), 0);
  EXPECT_EQ(log.errors(), 0);
}

TEST_F(VerifyMatrix, NullLogIsSilentAndChangesNothing) {
  env.log = nullptr;
  s.value[1] = -1;
  EXPECT_EQ(VerifySymMatrix(&env, 1, s.view()), 10);
  EXPECT_EQ(VerifySymMatrix(&env, 0, s.view()), 0);
}

TEST_F(VerifyMatrix, EveryFailedAllocationIsToldAndGivesAllBack) {
  const auto each = [&](auto verify) {
    const int64_t before = host.allocations();
    ASSERT_EQ(verify(), 0);
    const int64_t needed = host.allocations() - before;
    for (int64_t k = 1; k <= needed; ++k) {
      host.failAllocation(k);
      EXPECT_EQ(verify(), -1086) << k;
      host.failAllocation(0);
      EXPECT_EQ(host.outstanding(), 0) << k;
    }
  };
  each([&] { return VerifySparseIndex(&env, 1, m.columns()); });
  each([&] { return ipmVerifyRowMatrix(&env, 1, m.columns(), m.rows()); });
  each([&] { return VerifySymMatrix(&env, 1, s.view()); });
  each([&] { return VerifySymMatrixFormat(&env, 1, s.view(), 7); });
  each([&] { return VerifyMatrixNonsingular(&env, 1, s.view(), 0.0); });
}

}  // namespace
}  // namespace qz
