#include "sparse/constrained_ordering.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

#include "ordering/minimum_degree.h"
#include "sparse/la_env.h"
#include "sparse/symbolic_oracle.h"

namespace qz {
namespace {

using qztest::SymmetricMatrix;

// A graph whose vertices are kept, in ascending order, or dense, in any order behind them.
struct Case {
  Case(const SymmetricMatrix& matrix, bool withDense, int32_t numGroups, std::mt19937& random)
      : a(matrix), n(static_cast<size_t>(a.n)), invPerm(n), begin(a.begin), list(a.index), work(10 * n + 1) {
    std::vector<int32_t> dense;
    for (int32_t v = 0; v < a.n; ++v) (withDense && random() % 10 == 0 ? dense : perm).push_back(v);
    kept = perm.size();
    perm.insert(perm.end(), dense.rbegin(), dense.rend());
    for (size_t k = 0; k < n; ++k) invPerm[static_cast<size_t>(perm[k])] = static_cast<int32_t>(k);
    for (size_t k = 0; k < kept; ++k) groupId.push_back(static_cast<int32_t>(random() % 1000) % numGroups);
    list.resize(a.index.size() + n);
    before = perm;
  }
  int32_t order() {
    return orderWithinGroups(a.n, static_cast<int32_t>(n - kept), begin.data(), list.data(),
                             static_cast<int32_t>(list.size()), 0, groupId.data(), perm.data(), invPerm.data(),
                             work.data());
  }
  SymmetricMatrix a;
  size_t n, kept = 0;
  std::vector<int32_t> perm, invPerm, before, groupId, begin, list, work;
};

TEST(ConstrainedOrdering, ComposesTheOrderOfTheKeptAndLeavesTheDenseLast) {
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Case c(qztest::randomSymmetric(80, 0.06, -1.0, random), seed % 2 == 0, 4, random);
    ASSERT_EQ(c.order(), LA_OK);
    EXPECT_EQ(std::set<int32_t>(c.perm.begin(), c.perm.end()).size(), c.n);
    for (size_t k = 0; k < c.n; ++k) EXPECT_EQ(c.invPerm[static_cast<size_t>(c.perm[k])], static_cast<int32_t>(k));
    // The graph among the kept, built anew and ordered by the engine itself.
    const size_t m = c.kept;
    std::vector<int32_t> numberOf(c.n, -1), start{0}, list, length;
    for (size_t k = 0; k < m; ++k) numberOf[static_cast<size_t>(c.before[k])] = static_cast<int32_t>(k);
    for (size_t k = 0; k < m; ++k) {
      const auto v = static_cast<size_t>(c.before[k]);
      for (int32_t p = c.a.begin[v]; p < c.a.begin[v + 1]; ++p) {
        const int32_t u = numberOf[static_cast<size_t>(c.a.index[static_cast<size_t>(p)])];
        if (u != -1) list.push_back(u);
      }
      start.push_back(static_cast<int32_t>(list.size()));
      length.push_back(start[k + 1] - start[k]);
    }
    list.resize(c.list.size());
    std::vector<std::vector<int32_t>> w(9, std::vector<int32_t>(m + 1));
    ASSERT_EQ(nd_camf(static_cast<int32_t>(m), start.data(), list.data(), length.data(),
                      static_cast<int32_t>(list.size()), start[m], c.groupId.data(), w[0].data(), w[1].data(),
                      w[2].data(), w[3].data(), w[4].data(), w[5].data(), w[6].data(), w[7].data(), w[8].data(), 0),
              LA_OK);
    for (size_t k = 0; k < m; ++k) EXPECT_EQ(c.perm[k], c.before[static_cast<size_t>(w[1][k])]) << "place " << k;
    for (size_t k = m; k < c.n; ++k) EXPECT_EQ(c.perm[k], c.before[k]);
  }
}

TEST(ConstrainedOrdering, SeparateGroupsComeInSequence) {
  for (uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    // Edges inside the groups only.
    Case c(qztest::diagonalMatrix(60, random), false, 5, random);
    qztest::Bits bits = qztest::emptyBits(60);
    for (size_t v = 0; v < 60; ++v) {
      for (size_t u = 0; u < v; ++u) bits[v][u] = c.groupId[u] == c.groupId[v] && random() % 3 == 0;
    }
    c.a = qztest::fromBits(bits, random);
    c.begin = c.a.begin;
    c.list = c.a.index;
    c.list.resize(c.a.index.size() + 60);
    ASSERT_EQ(c.order(), LA_OK);
    for (size_t k = 1; k < 60; ++k) {
      EXPECT_LE(c.groupId[static_cast<size_t>(c.perm[k - 1])], c.groupId[static_cast<size_t>(c.perm[k])]);
    }
  }
}

TEST(ConstrainedOrdering, PaysUpToOneHundredAndNinetyEntriesARow) {
  EXPECT_TRUE(constrainedOrderingPays(1, 0, 1000, 190000));
  EXPECT_FALSE(constrainedOrderingPays(1, 0, 1000, 190002));
  for (const int32_t kind : {1, 2, 3, 4, 5}) EXPECT_TRUE(constrainedOrderingPays(1, kind, 1000, 190002));
  EXPECT_FALSE(constrainedOrderingPays(0, 0, 1000, 10));
  EXPECT_FALSE(constrainedOrderingPays(0, 1, 1000, 10));
  EXPECT_FALSE(constrainedOrderingPays(1, 0, 0, 0));
}

TEST(ConstrainedOrdering, APermutationThatMixesTheKeptIsInconsistent) {
  std::mt19937 random(1);
  const SymmetricMatrix a = qztest::randomSymmetric(6, 0.5, -1.0, random);
  std::vector<int32_t> perm{1, 0, 2, 3, 4, 5}, invPerm = perm, groupId(6, 0), begin = a.begin, list = a.index, work(61);
  list.resize(a.index.size() + 6);
  EXPECT_EQ(orderWithinGroups(6, 1, begin.data(), list.data(), static_cast<int32_t>(list.size()), 0, groupId.data(),
                              perm.data(), invPerm.data(), work.data()),
            LA_INCONSISTENT);
}

}  // namespace
}  // namespace qz
