#include "ordering/static_permutation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <string>

#include "ordering/matching_oracle.h"
#include "sparse/la_env.h"
#include "support/test_host.h"

namespace qztest {
namespace {

struct StaticOrder {
  int32_t status = -1;
  int32_t numSingles = -1;
  int32_t numPairs = -1;
  std::vector<int32_t> perm, pivotKind;

  [[nodiscard]] std::vector<std::pair<int32_t, int32_t>> pairs() const {
    std::vector<std::pair<int32_t, int32_t>> found;
    for (size_t k = 0; k < perm.size(); k += pivotKind[k] == -1 ? 2 : 1) {
      if (pivotKind[k] == -1) found.emplace_back(std::minmax(perm[k], perm[k + 1]));
    }
    std::sort(found.begin(), found.end());
    return found;
  }
};

// numLeading < 0: the general permutation. The work area is exactly as large as promised, or `bytes`.
StaticOrder permute(TestHost& host, const ColumnMatrix& m, int32_t numLeading = -1, int64_t bytes = -1) {
  StaticOrder r;
  const int32_t n = m.numCol;
  r.perm.assign(static_cast<size_t>(n), -77);
  r.pivotKind.assign(static_cast<size_t>(n), -77);
  if (bytes < 0) bytes = qz::staticPermWorkBytes(n, m.start.back());
  std::vector<double> work(static_cast<size_t>(bytes + 7) / 8);
  r.status = numLeading < 0
                 ? qz::FindStaticPermGen(host.pool(), n, m.start.data(), m.row.data(), m.value.data(), 0, r.perm.data(),
                                         &r.numSingles, &r.numPairs, r.pivotKind.data(), work.data(), bytes)
                 : qz::FindStaticPermAug(host.pool(), n, numLeading, n - numLeading, m.start.data(), m.row.data(),
                                         m.value.data(), 0, r.perm.data(), &r.numSingles, &r.numPairs,
                                         r.pivotKind.data(), work.data(), bytes);
  return r;
}

// A permutation in which the marks tell singles from pairs, and every pair is joined by a non-zero entry.
void expectPairing(const ColumnMatrix& m, const StaticOrder& r) {
  std::vector<int32_t> sorted = r.perm;
  std::sort(sorted.begin(), sorted.end());
  for (size_t k = 0; k < sorted.size(); ++k) ASSERT_EQ(sorted[k], static_cast<int32_t>(k));
  EXPECT_EQ(r.numSingles + 2 * r.numPairs, m.numCol);
  EXPECT_EQ(std::count(r.pivotKind.begin(), r.pivotKind.end(), -1), 2 * r.numPairs);
  EXPECT_EQ(std::count(r.pivotKind.begin(), r.pivotKind.end(), -2), r.numSingles);
  const Dense dense = toDense(m);
  for (const auto& [first, second] : r.pairs()) {
    const double entry = dense[static_cast<size_t>(first)][static_cast<size_t>(second)];
    EXPECT_TRUE(entry != kNoEntry && entry != 0.0) << first << ", " << second;
  }
}

using Pairs = std::vector<std::pair<int32_t, int32_t>>;

TEST(StaticPermGen, ADiagonalMatrixHasNoPairs) {
  TestHost host;
  const ColumnMatrix m = fromDense({{3.0, kNoEntry, kNoEntry}, {kNoEntry, -2.0, kNoEntry}, {kNoEntry, kNoEntry, 1e-9}});
  const StaticOrder r = permute(host, m);
  ASSERT_EQ(r.status, qz::LA_OK);
  expectPairing(m, r);
  EXPECT_EQ(r.numPairs, 0);
}

TEST(StaticPermGen, TwoColumnsThatExchangeTheirRowsAreAPair) {
  TestHost host;
  const ColumnMatrix m = fromDense({{0.0, 1.0}, {1.0, 0.0}});
  const StaticOrder r = permute(host, m);
  ASSERT_EQ(r.status, qz::LA_OK);
  expectPairing(m, r);
  EXPECT_EQ(r.numPairs, 1);
  EXPECT_EQ(r.numSingles, 0);
}

// The circulant matrix of an odd ring has two perfect matchings, the ring in either direction.
Dense ring(const std::vector<double>& link) {
  const size_t n = link.size();
  Dense dense(n, std::vector<double>(n, kNoEntry));
  for (size_t t = 0; t < n; ++t) dense[t][(t + 1) % n] = dense[(t + 1) % n][t] = link[t];
  return dense;
}

TEST(StaticPermGen, ACycleOfThreeIsASingleAndAPair) {
  TestHost host;
  // Links 0-1, 1-2, 2-0: the largest one becomes the pair.
  for (size_t largest = 0; largest < 3; ++largest) {
    std::vector<double> link(3, 1.0);
    link[largest] = -4.0;
    const ColumnMatrix m = fromDense(ring(link));
    const StaticOrder r = permute(host, m);
    ASSERT_EQ(r.status, qz::LA_OK);
    expectPairing(m, r);
    EXPECT_EQ(r.numSingles, 1);
    const auto a = static_cast<int32_t>(largest);
    EXPECT_EQ(r.pairs(), Pairs{std::minmax(a, (a + 1) % 3)});
  }
}

TEST(StaticPermGen, OddCyclesKeepTheLargestProductOfTheirPairs) {
  TestHost host;
  std::mt19937 random(6);
  std::uniform_real_distribution<double> uniform(0.1, 10.0);
  for (int round = 0; round < 200; ++round) {
    const size_t n = 3 + 2 * (random() % 5);
    std::vector<double> link(n);
    for (double& a : link) a = (random() % 2 != 0 ? 1.0 : -1.0) * uniform(random);
    const ColumnMatrix m = fromDense(ring(link));
    const StaticOrder r = permute(host, m);
    ASSERT_EQ(r.status, qz::LA_OK);
    expectPairing(m, r);
    EXPECT_EQ(r.numSingles, 1);
    const auto product = [&](size_t single) {
      double p = 1.0;
      for (size_t t = 1; t < n; t += 2) p *= std::fabs(link[(single + t) % n]);
      return p;
    };
    double best = 0.0;
    for (size_t s = 0; s < n; ++s) best = std::max(best, product(s));
    const auto single = static_cast<size_t>(r.perm.back());
    EXPECT_NEAR(product(single), best, 1e-12 * best);
  }
}

TEST(StaticPermGen, EvenCyclesFallIntoPairsOnly) {
  TestHost host;
  // A directed ring can't be had from a symmetric matrix without its pairs; a ring of four has both, of equal cost.
  const ColumnMatrix m = fromDense(ring({1.0, 1.0, 1.0, 1.0}));
  const StaticOrder r = permute(host, m);
  ASSERT_EQ(r.status, qz::LA_OK);
  expectPairing(m, r);
  EXPECT_EQ(r.numPairs, 2);
}

TEST(StaticPermGen, PairsComeBeforeSingles) {
  TestHost host;
  const double no = kNoEntry;
  const ColumnMatrix m = fromDense({{5.0, no, no, no}, {no, no, no, 1.0}, {no, no, 7.0, no}, {no, 1.0, no, no}});
  const StaticOrder r = permute(host, m);
  ASSERT_EQ(r.status, qz::LA_OK);
  EXPECT_EQ(r.pivotKind, (std::vector<int32_t>{-1, -1, -2, -2}));
  EXPECT_EQ(r.pairs(), (Pairs{{1, 3}}));
}

TEST(StaticPermGen, AColumnWithoutNonZerosIsSingular) {
  TestHost host;
  EXPECT_EQ(permute(host, fromDense({{1.0, kNoEntry}, {kNoEntry, 0.0}})).status, qz::LA_SINGULAR);
  EXPECT_EQ(permute(host, fromDense({{1.0, kNoEntry}, {kNoEntry, kNoEntry}})).status, qz::LA_SINGULAR);
  EXPECT_EQ(permute(host, fromDense({{0.0}})).status, qz::LA_SINGULAR);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(permute(host, fromDense({{1.0, kNoEntry}, {kNoEntry, nan}})).status, qz::LA_SINGULAR);
}

TEST(StaticPermGen, WithoutAPerfectMatchingItIsSingular) {
  TestHost host;
  // A star: two leaves, one centre.
  EXPECT_EQ(permute(host, fromDense({{0.0, 1.0, 1.0}, {1.0, 0.0, kNoEntry}, {1.0, kNoEntry, 0.0}})).status,
            qz::LA_SINGULAR);
  EXPECT_EQ(host.outstanding(), 0);
}

TEST(StaticPermGen, EmptyMatrix) {
  TestHost host;
  ColumnMatrix m;
  m.start = {0};
  const StaticOrder r = permute(host, m);
  EXPECT_EQ(r.status, qz::LA_OK);
  EXPECT_EQ(r.numSingles, 0);
  EXPECT_EQ(r.numPairs, 0);
}

// Symmetric, `links` random links and a diagonal of zeros, missing entries and numbers.
ColumnMatrix randomSymmetric(int32_t n, int32_t links, double diagonals, std::mt19937& random) {
  const auto size = static_cast<size_t>(n);
  Dense dense(size, std::vector<double>(size, kNoEntry));
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::uniform_real_distribution<double> exponent(-6.0, 6.0);
  for (int32_t k = 0; k < links; ++k) {
    const size_t i = random() % size;
    const size_t j = random() % size;
    if (i != j) dense[i][j] = dense[j][i] = uniform(random) * std::pow(10.0, exponent(random));
  }
  for (size_t i = 0; i < size; ++i) {
    if (std::fabs(uniform(random)) < diagonals) dense[i][i] = uniform(random) * std::pow(10.0, exponent(random));
    if (dense[i][i] == kNoEntry && random() % 2 == 0) dense[i][i] = 0.0;
  }
  return fromDense(dense);
}

TEST(StaticPermGen, RandomMatricesArePermutedOrSingular) {
  TestHost host;
  std::mt19937 random(7);
  int32_t permuted = 0, singular = 0, pairs = 0;
  for (int round = 0; round < 400; ++round) {
    const auto n = static_cast<int32_t>(random() % 60 + 1);
    const ColumnMatrix m = randomSymmetric(n, round % 2 == 0 ? 3 * n : n, 0.3, random);
    Dense nonZero = toDense(m);
    for (auto& row : nonZero) {
      for (double& entry : row) {
        if (entry == 0.0) entry = kNoEntry;
      }
    }
    const StaticOrder r = permute(host, m);
    if (largestMatching(nonZero) < n) {
      EXPECT_EQ(r.status, qz::LA_SINGULAR);
      ++singular;
      continue;
    }
    ASSERT_EQ(r.status, qz::LA_OK);
    expectPairing(m, r);
    ++permuted;
    pairs += r.numPairs;
  }
  EXPECT_GE(permuted, 50);
  EXPECT_GE(singular, 50);
  EXPECT_GE(pairs, 500);
}

TEST(StaticPermGen, EntriesOfAllMagnitudesAreRanked) {
  TestHost host;
  // The ratio of the largest to the smallest entry overflows.
  const double no = kNoEntry;
  const ColumnMatrix m = fromDense({{1e-300, 1e300, no}, {1e300, 1e-300, no}, {no, no, 5e-324}});
  const StaticOrder r = permute(host, m);
  ASSERT_EQ(r.status, qz::LA_OK);
  EXPECT_EQ(r.pairs(), (Pairs{{0, 1}}));
}

TEST(StaticPermAug, EveryRowThatCanIsPairedWithAColumn) {
  TestHost host;
  std::mt19937 random(8);
  for (int round = 0; round < 300; ++round) {
    const auto leading = static_cast<int32_t>(random() % 20);
    const auto trailing = static_cast<int32_t>(random() % 20);
    const size_t n = static_cast<size_t>(leading) + static_cast<size_t>(trailing);
    Dense dense(n, std::vector<double>(n, kNoEntry));
    for (size_t i = 0; i < static_cast<size_t>(leading); ++i) {
      dense[i][i] = 1.0;
      for (size_t j = static_cast<size_t>(leading); j < n; ++j) {
        if (random() % 8 == 0) dense[i][j] = dense[j][i] = static_cast<double>(random() % 4);  // also stored zeros
      }
    }
    Dense block(static_cast<size_t>(leading), std::vector<double>(static_cast<size_t>(trailing), kNoEntry));
    for (size_t i = 0; i < block.size(); ++i) {
      for (size_t j = 0; j < block[i].size(); ++j) {
        const double entry = dense[i][static_cast<size_t>(leading) + j];
        if (entry != 0.0) block[i][j] = entry;
      }
    }
    const ColumnMatrix m = n == 0 ? ColumnMatrix{0, 0, {0}, {}, {}} : fromDense(dense);
    const StaticOrder r = permute(host, m, leading);
    ASSERT_EQ(r.status, qz::LA_OK);
    expectPairing(m, r);
    EXPECT_EQ(r.numPairs, largestMatching(block));
    for (const auto& [first, second] : r.pairs()) {
      EXPECT_LT(first, leading);
      EXPECT_GE(second, leading);
    }
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(StaticPermAug, TheLargeEntriesArePaired) {
  TestHost host;
  const double no = kNoEntry;
  // A = (9 1; 8 1): 9 goes with 1, and not 8 with 1, for the product of entries over column maxima.
  const ColumnMatrix m = fromDense({{1.0, no, 9.0, 1.0}, {no, 1.0, 8.0, 1.0}, {9.0, 8.0, no, no}, {1.0, 1.0, no, no}});
  EXPECT_EQ(permute(host, m, 2).pairs(), (Pairs{{0, 2}, {1, 3}}));
}

TEST(StaticPermAug, WithoutASecondBlockThereAreNoPairs) {
  TestHost host;
  const ColumnMatrix m = fromDense({{1.0, 2.0}, {2.0, 1.0}});
  for (const int32_t leading : {0, 2}) {
    const StaticOrder r = permute(host, m, leading);
    EXPECT_EQ(r.status, qz::LA_OK);
    EXPECT_EQ(r.numSingles, 2);
    EXPECT_EQ(r.perm, (std::vector<int32_t>{0, 1}));
  }
}

TEST(StaticPermAug, ALeadingBlockBeyondTheMatrixIsInconsistent) {
  TestHost host;
  EXPECT_EQ(permute(host, fromDense({{1.0}}), 2).status, qz::LA_INCONSISTENT);
}

TEST(StaticPerm, EveryWorkAreaThatIsTooSmallIsReported) {
  TestHost host;
  std::mt19937 random(9);
  const ColumnMatrix m = randomSymmetric(12, 40, 1.0, random);
  for (const int32_t leading : {-1, 5}) {
    int32_t tooSmall = 0;
    for (int64_t bytes = 0; bytes <= qz::staticPermWorkBytes(12, m.start.back()); bytes += 8) {
      const StaticOrder r = permute(host, m, leading, bytes);
      if (r.status == qz::LA_INCONSISTENT) {
        ++tooSmall;
      } else {
        ASSERT_EQ(r.status, qz::LA_OK);
      }
    }
    EXPECT_GE(tooSmall, 40);
  }
}

TEST(StaticPerm, EveryFailedAllocationIsReported) {
  TestHost host;
  std::mt19937 random(10);
  const ColumnMatrix m = randomSymmetric(40, 200, 0.2, random);
  for (const int32_t leading : {-1, 20}) {
    int64_t k = 1;
    for (;; ++k) {
      host.failAllocation(k);
      const int64_t before = host.allocations();
      const StaticOrder r = permute(host, m, leading);
      const bool failed = host.allocations() - before >= k;
      host.failAllocation(0);
      if (!failed) break;
      EXPECT_EQ(r.status, qz::LA_NO_MEMORY);
      EXPECT_EQ(host.outstanding(), 0);
    }
    EXPECT_GE(k, 2);
  }
}

TEST(StaticPerm, SameInputSamePermutation) {
  TestHost host;
  std::mt19937 random(11);
  const ColumnMatrix m = randomSymmetric(50, 300, 0.3, random);
  for (const int32_t leading : {-1, 30}) {
    const StaticOrder first = permute(host, m, leading);
    const StaticOrder second = permute(host, m, leading);
    EXPECT_EQ(first.status, qz::LA_OK);
    EXPECT_EQ(first.perm, second.perm);
    EXPECT_EQ(first.pivotKind, second.pivotKind);
  }
}

TEST(SingleOfOddCycle, OfEqualProductsTheFirstStays) {
  const std::vector<double> equal(5, 3.0);
  EXPECT_EQ(qz::singleOfOddCycle(5, equal.data()), 0);
  const double one = 0.0;
  EXPECT_EQ(qz::singleOfOddCycle(1, &one), 0);
}

TEST(SingleOfOddCycle, AZeroDivisorCountsAsZero) {
  // Place 0 pairs 1 with 2 by a zero link; the ratio to it can't be formed for place 2.
  const std::vector<double> links = {2.0, 0.0, 3.0};
  EXPECT_EQ(qz::singleOfOddCycle(3, links.data()), 0);
}

TEST(SingleOfOddCycle, LongCyclesNeitherOverflowNorVanish) {
  // Links of 1e200 and 1e-200 in turn: the products range over thousands of decades.
  for (const size_t half : {size_t{10}, size_t{400}}) {
    std::vector<double> links(2 * half + 1, 1.0);
    for (size_t t = 0; t < 2 * half; ++t) links[t] = t % 2 == 0 ? 1e-200 : 1e200;
    // From place 0 on the pairs are joined by links 1, 3, 5, ...: all of the large ones.
    EXPECT_EQ(qz::singleOfOddCycle(static_cast<int32_t>(links.size()), links.data()), 0);
    std::reverse(links.begin(), links.end() - 1);
    // Now the large ones are links 0, 2, 4, ...: the last place is left out.
    EXPECT_EQ(qz::singleOfOddCycle(static_cast<int32_t>(links.size()), links.data()), static_cast<int32_t>(2 * half));
  }
}

}  // namespace
}  // namespace qztest
