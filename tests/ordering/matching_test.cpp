#include "ordering/matching.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "ordering/matching_oracle.h"
#include "sparse/la_env.h"
#include "support/test_host.h"

namespace qztest {
namespace {

constexpr double kHuge = std::numeric_limits<double>::max();

// A matching with its duals, as both routines leave it.
struct Matched {
  int32_t status = -1;
  int32_t initial = 0;  // columns that the first matching reaches
  int32_t count = 0;
  std::vector<double> rowDual, colDual;
  std::vector<int32_t> rowMatch, colMatch;

  [[nodiscard]] double cost(const ColumnMatrix& m) const {
    const Dense dense = toDense(m);
    double sum = 0.0;
    for (size_t j = 0; j < colMatch.size(); ++j) {
      if (colMatch[j] >= 0) sum += dense[static_cast<size_t>(colMatch[j])][j];
    }
    return sum;
  }
};

Matched match(TestHost& host, const ColumnMatrix& m, bool perfect) {
  Matched r;
  const auto rows = static_cast<size_t>(m.numRow);
  const auto columns = static_cast<size_t>(m.numCol);
  r.rowDual.resize(rows);
  r.colDual.resize(columns);
  r.rowMatch.resize(rows);
  r.colMatch.resize(columns);
  std::vector<double> distance(rows);
  std::vector<int32_t> work(std::max(4 * rows, columns));
  qz::FindInitialMatching(m.numCol, m.numRow, m.start.data(), m.row.data(), m.value.data(), r.rowDual.data(),
                          r.colDual.data(), r.rowMatch.data(), r.colMatch.data(), &r.initial, work.data());
  r.count = r.initial;
  r.status = qz::FindColPerfectMatching(host.pool(), m.numCol, m.numRow, m.start.data(), m.row.data(), m.value.data(),
                                        r.rowDual.data(), r.colDual.data(), r.rowMatch.data(), r.colMatch.data(),
                                        perfect ? 1 : 0, &r.count, distance.data(), work.data());
  return r;
}

// Partners agree, every pair is an entry, and the count is right.
void expectMatching(const ColumnMatrix& m, const Matched& r) {
  const Dense dense = toDense(m);
  int32_t count = 0;
  for (size_t j = 0; j < r.colMatch.size(); ++j) {
    if (r.colMatch[j] < 0) continue;
    ++count;
    ASSERT_EQ(r.rowMatch[static_cast<size_t>(r.colMatch[j])], static_cast<int32_t>(j));
    ASSERT_LT(dense[static_cast<size_t>(r.colMatch[j])][j], kHuge);
  }
  EXPECT_EQ(count, r.count);
  EXPECT_EQ(std::count_if(r.rowMatch.begin(), r.rowMatch.end(), [](int32_t j) { return j >= 0; }), count);
}

// The duals prove that no other matching of these columns costs less.
void expectOptimalDuals(const ColumnMatrix& m, const Matched& r) {
  for (size_t j = 0; j < static_cast<size_t>(m.numCol); ++j) {
    for (auto k = static_cast<size_t>(m.start[j]); k < static_cast<size_t>(m.start[j + 1]); ++k) {
      const auto i = static_cast<size_t>(m.row[k]);
      if (m.value[k] == kHuge) continue;
      const double reduced = m.value[k] - r.rowDual[i] - r.colDual[j];
      EXPECT_GE(reduced, -1e-10);
      if (r.colMatch[j] == static_cast<int32_t>(i)) {
        EXPECT_LE(reduced, 1e-10);
      }
    }
  }
}

TEST(InitialMatching, TakesRowAndColumnMinimaAsDuals) {
  TestHost host;
  const ColumnMatrix m = fromDense({{2.0, 3.0, kNoEntry}, {1.0, 4.0, 9.0}, {kNoEntry, kNoEntry, 5.0}});
  const Matched r = match(host, m, true);
  EXPECT_EQ(r.initial, 3);
  EXPECT_EQ(r.rowDual, (std::vector<double>{2.0, 1.0, 5.0}));
  EXPECT_EQ(r.colDual, (std::vector<double>{0.0, 1.0, 0.0}));
  EXPECT_EQ(r.colMatch, (std::vector<int32_t>{1, 0, 2}));
}

TEST(InitialMatching, ARowIsExchangedWhenItsColumnHasAnotherFreeOne) {
  TestHost host;
  // Column 0 takes row 0, the only one of column 1, and then moves on to row 1.
  const ColumnMatrix m = fromDense({{0.0, 0.0}, {0.0, kNoEntry}});
  const Matched r = match(host, m, true);
  EXPECT_EQ(r.initial, 2);
  EXPECT_EQ(r.colMatch, (std::vector<int32_t>{1, 0}));
}

TEST(InitialMatching, ExchangesGoOneStepOnly) {
  TestHost host;
  // Column 2 needs row 0, whose column 0 can only go to row 1, whose column 1 would have to go to row 2.
  const ColumnMatrix m = fromDense({{0.0, kNoEntry, 0.0}, {0.0, 0.0, kNoEntry}, {kNoEntry, 0.0, kNoEntry}});
  const Matched r = match(host, m, true);
  EXPECT_EQ(r.initial, 2);
  EXPECT_EQ(r.status, qz::LA_OK);
  EXPECT_EQ(r.count, 3);
  EXPECT_EQ(r.colMatch, (std::vector<int32_t>{1, 2, 0}));
}

TEST(InitialMatching, EveryRandomMatchingIsValidAndItsDualsAreFeasible) {
  TestHost host;
  std::mt19937 random(1);
  std::uniform_int_distribution<int> level(0, 3);
  for (int round = 0; round < 300; ++round) {
    const auto size = static_cast<int32_t>(random() % 20 + 1);
    const auto rows = static_cast<int32_t>(static_cast<uint32_t>(size) + random() % 5);
    const ColumnMatrix m = randomColumns(rows, size, 3, random, [&] { return static_cast<double>(level(random)); });
    Matched r;
    r.rowDual.resize(static_cast<size_t>(rows));
    r.colDual.resize(static_cast<size_t>(size));
    r.rowMatch.resize(static_cast<size_t>(rows));
    r.colMatch.resize(static_cast<size_t>(size));
    std::vector<int32_t> work(static_cast<size_t>(size));
    qz::FindInitialMatching(m.numCol, m.numRow, m.start.data(), m.row.data(), m.value.data(), r.rowDual.data(),
                            r.colDual.data(), r.rowMatch.data(), r.colMatch.data(), &r.count, work.data());
    expectMatching(m, r);
    expectOptimalDuals(m, r);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(PerfectMatching, CostsTheLeastWhereNoColumnIsLong) {
  TestHost host;
  std::mt19937 random(2);
  std::uniform_real_distribution<double> uniform(0.0, 10.0);
  int32_t perfect = 0;
  for (int round = 0; round < 60; ++round) {
    // Up to a tenth of the rows in a column: no search ends early for its length; and no heap of 100 rows.
    const auto n = static_cast<int32_t>(random() % 60 + 40);
    const ColumnMatrix m = randomColumns(n, n, n / 10, random, [&] { return uniform(random); });
    const Matched r = match(host, m, true);
    const double least = leastCostByHungarian(toDense(m));
    if (least == kNoEntry) {
      EXPECT_EQ(r.status, qz::LA_SINGULAR);
      continue;
    }
    ++perfect;
    ASSERT_EQ(r.status, qz::LA_OK);
    expectMatching(m, r);
    EXPECT_EQ(r.count, n);
    EXPECT_NEAR(r.cost(m), least, 1e-9 * (1.0 + least));
    expectOptimalDuals(m, r);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GE(perfect, 30);
}

// Small matrices in the corner of an identity matrix that makes their columns short; the oracle tries everything.
TEST(PerfectMatching, SmallMatricesCostTheLeastOfAllPermutations) {
  TestHost host;
  std::mt19937 random(3);
  std::uniform_int_distribution<int> level(0, 5);
  int32_t singular = 0;
  for (int round = 0; round < 400; ++round) {
    const size_t n = random() % 7 + 1;
    Dense small(n, std::vector<double>(n, kNoEntry));
    for (auto& row : small) {
      for (double& entry : row) {
        if (random() % 3 != 0) entry = level(random);
      }
    }
    std::vector<bool> taken(n, false);
    const double least = leastCostByTrying(small, 0, taken);
    EXPECT_EQ(leastCostByHungarian(small), least);
    const size_t size = 80;
    Dense padded(size, std::vector<double>(size, kNoEntry));
    for (size_t i = 0; i < size; ++i) {
      for (size_t j = 0; j < size; ++j) {
        if (i < n && j < n) padded[i][j] = small[i][j];
        if (i == j && i >= n) padded[i][j] = 0.0;
      }
    }
    const ColumnMatrix m = fromDense(padded);
    const Matched r = match(host, m, true);
    if (least == kNoEntry) {
      EXPECT_EQ(r.status, qz::LA_SINGULAR);
      ++singular;
      continue;
    }
    ASSERT_EQ(r.status, qz::LA_OK);
    EXPECT_NEAR(r.cost(m), least, 1e-12);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GE(singular, 20);
}

TEST(PerfectMatching, WithLongColumnsItStaysPerfect) {
  TestHost host;
  std::mt19937 random(4);
  std::uniform_real_distribution<double> uniform(0.0, 10.0);
  for (int round = 0; round < 100; ++round) {
    const auto n = static_cast<int32_t>(random() % 40 + 1);
    const ColumnMatrix m = randomColumns(n, n, n, random, [&] { return uniform(random); });
    const Matched r = match(host, m, true);
    if (largestMatching(toDense(m)) < n) {
      EXPECT_EQ(r.status, qz::LA_SINGULAR);
      continue;
    }
    ASSERT_EQ(r.status, qz::LA_OK);
    expectMatching(m, r);
    EXPECT_EQ(r.count, n);
    EXPECT_GE(r.cost(m), leastCostByHungarian(toDense(m)) - 1e-9);
  }
}

// `waiting` + 1 columns each take a row of their own at cost 0. The last column but one finds these rows taken, and
// behind them one free at cost 5 and one free at cost 1; the last gives those two the dual 0 and goes elsewhere.
ColumnMatrix twoFreeRows(int32_t waiting, int32_t numRow) {
  ColumnMatrix m;
  m.numRow = numRow;
  m.start.push_back(0);
  const auto add = [&](int32_t row, double cost) {
    m.row.push_back(row);
    m.value.push_back(cost);
  };
  const auto close = [&] { m.start.push_back(static_cast<int32_t>(m.row.size())); };
  for (int32_t j = 0; j <= waiting; ++j, close()) add(j, 0.0);
  for (int32_t j = 0; j <= waiting; ++j) add(j, j == 0 ? 0.0 : 0.5);
  add(waiting + 1, 5.0);
  add(waiting + 2, 1.0);
  close();
  for (const int32_t row : {3, 1, 2}) add(waiting + row, 0.0);
  close();
  m.numCol = waiting + 3;
  return m;
}

TEST(PerfectMatching, ALongColumnEndsItsSearchAtTheFirstFreeRow) {
  TestHost host;
  // Three entries are more than a tenth of 29 rows, and not of 30.
  const Matched early = match(host, twoFreeRows(0, 29), true);
  EXPECT_EQ(early.initial, 2);
  EXPECT_EQ(early.colMatch[1], 1);
  const Matched full = match(host, twoFreeRows(0, 30), true);
  EXPECT_EQ(full.initial, 2);
  EXPECT_EQ(full.colMatch[1], 2);
}

TEST(PerfectMatching, ACrowdedHeapEndsTheScanAtTheFirstFreeRow) {
  TestHost host;
  EXPECT_EQ(match(host, twoFreeRows(101, 2000), true).colMatch[102], 102);
  EXPECT_EQ(match(host, twoFreeRows(100, 2000), true).colMatch[101], 102);
}

TEST(PerfectMatching, UnlessDemandedAColumnMayStayAlone) {
  TestHost host;
  std::mt19937 random(5);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  for (int round = 0; round < 300; ++round) {
    const auto columns = static_cast<int32_t>(random() % 30);
    const auto rows = static_cast<int32_t>(random() % 30 + 1);
    const ColumnMatrix m = randomColumns(rows, columns, 2, random, [&] { return uniform(random); });
    const Matched r = match(host, m, false);
    ASSERT_EQ(r.status, qz::LA_OK);
    expectMatching(m, r);
    EXPECT_EQ(r.count, largestMatching(toDense(m)));
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(PerfectMatching, ExcludedEntriesAreNoEntries) {
  TestHost host;
  EXPECT_EQ(match(host, fromDense({{kHuge}}), true).status, qz::LA_SINGULAR);
  EXPECT_EQ(match(host, fromDense({{kHuge, kHuge}, {0.0, 0.0}}), true).status, qz::LA_SINGULAR);
  const Matched r = match(host, fromDense({{kHuge, 3.0}, {0.0, kHuge}}), true);
  EXPECT_EQ(r.status, qz::LA_OK);
  EXPECT_EQ(r.colMatch, (std::vector<int32_t>{1, 0}));
}

TEST(PerfectMatching, EmptyMatrices) {
  TestHost host;
  EXPECT_EQ(match(host, fromDense({}), true).status, qz::LA_OK);
  ColumnMatrix noEntries;
  noEntries.numRow = noEntries.numCol = 2;
  noEntries.start = {0, 0, 0};
  EXPECT_EQ(match(host, noEntries, true).status, qz::LA_SINGULAR);
  EXPECT_EQ(match(host, noEntries, false).status, qz::LA_OK);
}

TEST(PerfectMatching, AFailedAllocationIsReported) {
  TestHost host;
  host.failAllocation(1);
  EXPECT_EQ(match(host, fromDense({{0.0, 0.0}, {0.0, 0.0}}), true).status, qz::LA_NO_MEMORY);
  EXPECT_EQ(host.outstanding(), 0);
}

TEST(PerfectMatching, ABreakEndsIt) {
  TestHost host;
  host.cancelThread(true);
  // One column is left for the search.
  const ColumnMatrix m = fromDense({{0.0, kNoEntry, 0.0}, {0.0, 0.0, kNoEntry}, {kNoEntry, 0.0, kNoEntry}});
  EXPECT_EQ(match(host, m, true).status, qz::LA_CANCELLED);
  EXPECT_EQ(host.outstanding(), 0);
}

}  // namespace
}  // namespace qztest
