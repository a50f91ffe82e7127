#include "sparse/pattern.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "sparse/symbolic_oracle.h"

namespace qz {
namespace {

using qztest::SymmetricMatrix;

std::vector<int32_t> randomOrder(int32_t n, std::mt19937& random) {
  std::vector<int32_t> order = qztest::identityOrder(n);
  std::shuffle(order.begin(), order.end(), random);
  return order;
}

std::vector<int32_t> inverse(const std::vector<int32_t>& perm) {
  std::vector<int32_t> result(perm.size());
  for (size_t k = 0; k < perm.size(); ++k) result[static_cast<size_t>(perm[k])] = static_cast<int32_t>(k);
  return result;
}

int32_t check(const SymmetricMatrix& a) {
  std::vector<int32_t> work(static_cast<size_t>(2 * a.n + 2) + a.index.size());
  return checkSymmetricPattern(a.n, a.begin.data(), a.index.data(), work.data());
}

TEST(SymmetricPattern, RandomSymmetricPatternsPassAndDamagedOnesDont) {
  std::mt19937 random(21);
  for (int trial = 0; trial < 200; ++trial) {
    const int32_t n = 1 + static_cast<int32_t>(random() % 20);
    SymmetricMatrix a = qztest::randomSymmetric(n, 0.3, 0.5, random);
    EXPECT_EQ(check(a), LA_OK) << "trial " << trial;
    if (a.offDiagonals() == 0) continue;
    // Move one off-diagonal entry to a row that its column lacks.
    for (int32_t j = 0; j < n; ++j) {
      const auto from = static_cast<size_t>(a.begin[static_cast<size_t>(j)]);
      const auto to = static_cast<size_t>(a.begin[static_cast<size_t>(j) + 1]);
      const std::set<int32_t> rows(a.index.begin() + static_cast<int64_t>(from),
                                   a.index.begin() + static_cast<int64_t>(to));
      int32_t lacking = 0;
      while (rows.count(lacking) != 0) ++lacking;
      if (from == to || a.index[from] == j || lacking >= n) continue;
      a.index[from] = lacking;
      EXPECT_EQ(check(a), LA_INCONSISTENT) << "trial " << trial;
      break;
    }
  }
}

TEST(SymmetricPattern, BadRowsDoubleEntriesAndBadStartsAreInconsistent) {
  SymmetricMatrix a;
  a.n = 2;
  a.begin = {0, 1, 2};
  a.index = {1, 0};
  EXPECT_EQ(check(a), LA_OK);
  a.index = {2, 0};
  EXPECT_EQ(check(a), LA_INCONSISTENT);
  a.index = {-1, 0};
  EXPECT_EQ(check(a), LA_INCONSISTENT);
  a.begin = {0, 2, 4};
  a.index = {1, 1, 0, 0};
  EXPECT_EQ(check(a), LA_INCONSISTENT);
  a.index = {0, 0, 1, 1};
  EXPECT_EQ(check(a), LA_INCONSISTENT);
  a.begin = {0, 2, 1};
  EXPECT_EQ(check(a), LA_INCONSISTENT);
  a.begin = {1, 1, 2};
  EXPECT_EQ(check(a), LA_INCONSISTENT);
}

TEST(RemoveDiagonals, KeepsEveryOtherEntryInItsOrder) {
  std::mt19937 random(22);
  for (int trial = 0; trial < 50; ++trial) {
    const int32_t n = static_cast<int32_t>(random() % 15);
    const SymmetricMatrix a = qztest::randomSymmetric(n, 0.4, 0.5, random);
    std::vector<int32_t> begin(static_cast<size_t>(n) + 1, -1), list(static_cast<size_t>(a.offDiagonals()));
    EXPECT_EQ(countOffDiagonals(n, a.begin.data(), a.index.data()), a.offDiagonals());
    RemoveDiagonals(n, a.begin.data(), a.index.data(), begin.data(), list.data());
    size_t q = 0;
    for (size_t j = 0; j < static_cast<size_t>(n); ++j) {
      EXPECT_EQ(begin[j], static_cast<int32_t>(q));
      for (int32_t p = a.begin[j]; p < a.begin[j + 1]; ++p) {
        if (a.index[static_cast<size_t>(p)] == static_cast<int32_t>(j)) continue;
        EXPECT_EQ(list[q++], a.index[static_cast<size_t>(p)]);
      }
    }
    EXPECT_EQ(begin[static_cast<size_t>(n)], static_cast<int32_t>(q));
  }
}

TEST(PruneMatrixWithPerm, KeepsTheGraphAmongTheKept) {
  std::mt19937 random(23);
  for (int trial = 0; trial < 100; ++trial) {
    const int32_t n = 1 + static_cast<int32_t>(random() % 15);
    const SymmetricMatrix a = qztest::randomSymmetric(n, 0.4, -1.0, random);
    // Some vertices go to the end, the others keep their sequence.
    std::vector<int32_t> position(static_cast<size_t>(n)), kept;
    int32_t keep = 0, last = n;
    for (size_t v = 0; v < position.size(); ++v) {
      position[v] = random() % 3 == 0 ? --last : keep++;
      if (position[v] < last) kept.push_back(static_cast<int32_t>(v));
    }
    std::vector<int32_t> begin = a.begin, list = a.index;
    ASSERT_EQ(PruneMatrixWithPerm(n, keep, begin.data(), list.data(), position.data()), LA_OK);
    for (int32_t c = 0; c < keep; ++c) {
      std::vector<int32_t> expected;
      const auto v = static_cast<size_t>(kept[static_cast<size_t>(c)]);
      for (int32_t p = a.begin[v]; p < a.begin[v + 1]; ++p) {
        const int32_t to = position[static_cast<size_t>(a.index[static_cast<size_t>(p)])];
        if (to < keep) expected.push_back(to);
      }
      EXPECT_EQ(std::vector<int32_t>(list.begin() + begin[static_cast<size_t>(c)],
                                     list.begin() + begin[static_cast<size_t>(c) + 1]),
                expected);
    }
  }
}

TEST(PruneMatrixWithPerm, AnotherCountOrSequenceIsInconsistent) {
  std::vector<int32_t> begin{0, 1, 2, 2}, list{1, 0};
  const std::vector<int32_t> lacking{0, 2, 2};
  EXPECT_EQ(PruneMatrixWithPerm(3, 2, begin.data(), list.data(), lacking.data()), LA_INCONSISTENT);
  begin = {0, 1, 2, 2};
  const std::vector<int32_t> reversed{1, 0, 2};
  EXPECT_EQ(PruneMatrixWithPerm(3, 2, begin.data(), list.data(), reversed.data()), LA_INCONSISTENT);
}

struct Triangles {
  explicit Triangles(const SymmetricMatrix& a, int32_t room)
      : lowerBegin(static_cast<size_t>(a.n) + 1),
        lowerIndex(static_cast<size_t>(room)),
        upperBegin(lowerBegin),
        upperIndex(lowerIndex),
        lower{lowerBegin.data(), lowerIndex.data(), room},
        upper{upperBegin.data(), upperIndex.data(), room} {}
  std::vector<int32_t> lowerBegin, lowerIndex, upperBegin, upperIndex;
  TrianglePattern lower, upper;
};

TEST(PermuteSymMatrixPattern, SplitsTheTrianglesOfTheNewOrder) {
  std::mt19937 random(24);
  for (int trial = 0; trial < 100; ++trial) {
    const int32_t n = static_cast<int32_t>(random() % 14);
    const SymmetricMatrix a = qztest::randomSymmetric(n, 0.4, 0.5, random);
    const std::vector<int32_t> perm = randomOrder(n, random), invPerm = inverse(perm);
    Triangles both(a, a.offDiagonals() / 2), one(a, a.offDiagonals() / 2);
    ASSERT_EQ(PermuteSymMatrixPattern(n, a.begin.data(), a.index.data(), 1, &both.lower, &both.upper, perm.data(),
                                      invPerm.data()),
              LA_OK);
    ASSERT_EQ(
        PermuteSymMatrixPattern(n, a.begin.data(), a.index.data(), 0, &one.lower, nullptr, perm.data(), invPerm.data()),
        LA_OK);
    EXPECT_EQ(both.lowerBegin, one.lowerBegin);
    EXPECT_EQ(both.lowerIndex, one.lowerIndex);
    for (size_t j = 0; j < static_cast<size_t>(n); ++j) {
      std::set<int32_t> below, above;
      const auto column = static_cast<size_t>(perm[j]);
      for (int32_t p = a.begin[column]; p < a.begin[column + 1]; ++p) {
        const int32_t i = invPerm[static_cast<size_t>(a.index[static_cast<size_t>(p)])];
        if (i < static_cast<int32_t>(j)) below.insert(i);
        if (i > static_cast<int32_t>(j)) above.insert(i);
      }
      EXPECT_EQ(std::set<int32_t>(both.lowerIndex.begin() + both.lowerBegin[j],
                                  both.lowerIndex.begin() + both.lowerBegin[j + 1]),
                below);
      EXPECT_EQ(std::set<int32_t>(both.upperIndex.begin() + both.upperBegin[j],
                                  both.upperIndex.begin() + both.upperBegin[j + 1]),
                above);
    }
  }
}

TEST(PermuteSymMatrixPattern, OtherModesUnequalTrianglesAndOverflowAreInconsistent) {
  SymmetricMatrix a;
  a.n = 3;
  a.begin = {0, 1, 2, 2};
  a.index = {1, 2};  // both below the diagonal
  const std::vector<int32_t> order = qztest::identityOrder(3);
  Triangles room(a, 2), tight(a, 1);
  const auto permute = [&](int32_t mode, Triangles& t) {
    return PermuteSymMatrixPattern(3, a.begin.data(), a.index.data(), mode, &t.lower, &t.upper, order.data(),
                                   order.data());
  };
  EXPECT_EQ(permute(2, room), LA_INCONSISTENT);
  EXPECT_EQ(permute(-1, room), LA_INCONSISTENT);
  EXPECT_EQ(permute(1, room), LA_INCONSISTENT);
  EXPECT_EQ(permute(0, room), LA_OK);
  EXPECT_EQ(permute(1, tight), LA_INCONSISTENT);
  a.begin = {0, 0, 1, 2};
  a.index = {0, 0};
  EXPECT_EQ(permute(0, tight), LA_INCONSISTENT);
}

TEST(PermuteSymMatrixLower, MovesValuesAndCountsStoredDiagonals) {
  std::mt19937 random(25);
  for (int trial = 0; trial < 100; ++trial) {
    const int32_t n = static_cast<int32_t>(random() % 14);
    const SymmetricMatrix a = qztest::randomSymmetric(n, 0.4, 0.5, random);
    const std::vector<int32_t> perm = randomOrder(n, random), invPerm = inverse(perm);
    const int32_t expected = static_cast<int32_t>(a.index.size()) - a.offDiagonals() / 2;
    std::vector<int32_t> begin(static_cast<size_t>(n) + 1), index(static_cast<size_t>(expected));
    std::vector<double> value(static_cast<size_t>(expected));
    NumericFactor target{};
    target.numRows = n;
    target.colBegin = begin.data();
    target.rowIndex = index.data();
    target.matValue = value.data();
    const auto permute = [&] {
      return PermuteSymMatrixLower(n, a.begin.data(), a.index.data(), a.value.data(), &target, perm.data(),
                                   invPerm.data());
    };
    if (expected > 0) {
      target.numEntries = expected - 1;
      EXPECT_EQ(permute(), LA_INCONSISTENT);
    }
    target.numEntries = expected + 1;
    EXPECT_EQ(permute(), LA_INCONSISTENT);
    target.numEntries = expected;
    ASSERT_EQ(permute(), LA_OK);
    EXPECT_EQ(begin[static_cast<size_t>(n)], expected);
    for (size_t j = 0; j < static_cast<size_t>(n); ++j) {
      for (int32_t p = begin[j]; p < begin[j + 1]; ++p) {
        const auto i = static_cast<size_t>(index[static_cast<size_t>(p)]);
        EXPECT_GE(i, j);
        const auto small = std::min(perm[i], perm[j]), large = std::max(perm[i], perm[j]);
        EXPECT_EQ(value[static_cast<size_t>(p)], 1.0 + small * 1000 + large);
      }
    }
  }
}

TEST(PermuteCompressMatrix, WithoutPairsIsThePlainPermutedGraph) {
  std::mt19937 random(26);
  const SymmetricMatrix a = qztest::randomSymmetric(12, 0.4, 0.5, random);
  const std::vector<int32_t> perm = randomOrder(12, random), invPerm = inverse(perm), kind(12, -2);
  std::vector<int32_t> begin(13), list(static_cast<size_t>(a.offDiagonals())), work(24);
  ASSERT_EQ(PermuteCompressMatrix(12, a.begin.data(), a.index.data(), kind.data(), perm.data(), invPerm.data(), 12,
                                  begin.data(), list.data(), work.data()),
            LA_OK);
  EXPECT_EQ(begin[12], a.offDiagonals());
  for (size_t k = 0; k < 12; ++k) {
    std::multiset<int32_t> expected;
    const auto column = static_cast<size_t>(perm[k]);
    for (int32_t p = a.begin[column]; p < a.begin[column + 1]; ++p) {
      const int32_t row = a.index[static_cast<size_t>(p)];
      if (row != perm[k]) expected.insert(invPerm[static_cast<size_t>(row)]);
    }
    EXPECT_EQ(std::multiset<int32_t>(list.begin() + begin[k], list.begin() + begin[k + 1]), expected);
  }
}

TEST(PermuteCompressMatrix, PairsBecomeOneVertexWithoutRepeats) {
  std::mt19937 random(27);
  for (int trial = 0; trial < 200; ++trial) {
    const int32_t n = 2 + static_cast<int32_t>(random() % 12);
    const SymmetricMatrix a = qztest::randomSymmetric(n, 0.4, 0.5, random);
    const std::vector<int32_t> perm = randomOrder(n, random), invPerm = inverse(perm);
    std::vector<int32_t> kind(static_cast<size_t>(n), -2), vertexOf(static_cast<size_t>(n));
    int32_t m = 0;
    for (size_t k = 0; k < kind.size(); ++m) {
      vertexOf[k] = m;
      if (k + 1 < kind.size() && random() % 2 == 0) {
        kind[k] = kind[k + 1] = -1;
        vertexOf[k + 1] = m;
        k += 2;
      } else {
        ++k;
      }
    }
    std::vector<int32_t> begin(static_cast<size_t>(m) + 1), list(static_cast<size_t>(a.offDiagonals())),
        work(static_cast<size_t>(n + m));
    ASSERT_EQ(PermuteCompressMatrix(n, a.begin.data(), a.index.data(), kind.data(), perm.data(), invPerm.data(), m,
                                    begin.data(), list.data(), work.data()),
              LA_OK);
    std::vector<std::set<int32_t>> expected(static_cast<size_t>(m));
    for (size_t k = 0; k < kind.size(); ++k) {
      const auto column = static_cast<size_t>(perm[k]);
      for (int32_t p = a.begin[column]; p < a.begin[column + 1]; ++p) {
        const auto row = static_cast<size_t>(a.index[static_cast<size_t>(p)]);
        const int32_t to = vertexOf[static_cast<size_t>(invPerm[row])];
        if (to != vertexOf[k]) expected[static_cast<size_t>(vertexOf[k])].insert(to);
      }
    }
    for (size_t v = 0; v < expected.size(); ++v) {
      const std::multiset<int32_t> got(list.begin() + begin[v], list.begin() + begin[v + 1]);
      EXPECT_EQ(got, std::multiset<int32_t>(expected[v].begin(), expected[v].end()));
    }
    // Any other count of vertices is refused.
    if (m < n) {
      EXPECT_EQ(PermuteCompressMatrix(n, a.begin.data(), a.index.data(), kind.data(), perm.data(), invPerm.data(),
                                      m - 1, begin.data(), list.data(), work.data()),
                LA_INCONSISTENT);
      EXPECT_EQ(PermuteCompressMatrix(n, a.begin.data(), a.index.data(), kind.data(), perm.data(), invPerm.data(), n,
                                      begin.data(), list.data(), work.data()),
                LA_INCONSISTENT);
    }
  }
}

TEST(PermuteCompressMatrix, HalfAPairIsInconsistent) {
  const std::vector<int32_t> begin{0, 0, 0, 0}, order{0, 1, 2};
  std::vector<int32_t> outBegin(4), list(1), work(6);
  for (const std::vector<int32_t>& kind : {std::vector<int32_t>{-1, -2, -2}, std::vector<int32_t>{-2, -2, -1}}) {
    EXPECT_EQ(PermuteCompressMatrix(3, begin.data(), nullptr, kind.data(), order.data(), order.data(), 2,
                                    outBegin.data(), list.data(), work.data()),
              LA_INCONSISTENT);
  }
}

}  // namespace
}  // namespace qz
