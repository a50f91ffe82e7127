#include "sparse/elimination_tree.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

#include "sparse/symbolic_oracle.h"

namespace qz {
namespace {

using qztest::Bits;
using qztest::SymmetricMatrix;

// Both triangles of a matrix in the order perm.
struct Split {
  std::vector<int32_t> lowerBegin, lowerIndex, upperBegin, upperIndex;
  TrianglePattern lower{}, upper{};

  Split(const SymmetricMatrix& a, const std::vector<int32_t>& perm, const std::vector<int32_t>& invPerm)
      : lowerBegin(perm.size() + 1),
        lowerIndex(static_cast<size_t>(a.offDiagonals() / 2)),
        upperBegin(lowerBegin),
        upperIndex(lowerIndex) {
    lower = {lowerBegin.data(), lowerIndex.data(), a.offDiagonals() / 2};
    upper = {upperBegin.data(), upperIndex.data(), a.offDiagonals() / 2};
    EXPECT_EQ(
        PermuteSymMatrixPattern(a.n, a.begin.data(), a.index.data(), 1, &lower, &upper, perm.data(), invPerm.data()),
        LA_OK);
  }
};

std::vector<int32_t> treeOf(const Bits& l) {
  std::vector<int32_t> parent(l.size(), -1);
  for (size_t j = 0; j < l.size(); ++j) {
    for (size_t i = j + 1; i < l.size() && parent[j] == -1; ++i) {
      if (l[i][j]) parent[j] = static_cast<int32_t>(i);
    }
  }
  return parent;
}

// Tree, post-order and column counts of one matrix in a random first order, against brute force.
void compareWithElimination(const SymmetricMatrix& a, std::mt19937& random, bool withKinds) {
  const auto n = static_cast<size_t>(a.n);
  std::vector<int32_t> perm = qztest::identityOrder(a.n), invPerm(n), work(5 * n), parent(n), count(n);
  std::shuffle(perm.begin(), perm.end(), random);
  for (size_t k = 0; k < n; ++k) invPerm[static_cast<size_t>(perm[k])] = static_cast<int32_t>(k);
  {
    const Split split(a, perm, invPerm);
    BuildETree(a.n, split.lower, parent.data(), work.data());
    EXPECT_EQ(parent, treeOf(qztest::eliminate(a, perm)));
  }
  SymbolicFactor symbolic{};
  symbolic.perm = perm.data();
  symbolic.invPerm = invPerm.data();
  std::vector<int32_t> kind(n), kindOfRow(n);
  for (size_t k = 0; k < n; ++k) kindOfRow[static_cast<size_t>(perm[k])] = kind[k] = static_cast<int32_t>(k) + 100;
  if (withKinds) symbolic.pivotKind = kind.data();
  PostOrder(a.n, parent.data(), &symbolic, work.data());

  std::vector<char> seen(n, 0);
  for (size_t k = 0; k < n; ++k) {
    const auto row = static_cast<size_t>(perm[k]);
    EXPECT_EQ(invPerm[row], static_cast<int32_t>(k));
    seen[row] = 1;
    if (withKinds) {
      EXPECT_EQ(kind[k], kindOfRow[row]);
    }
  }
  EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), a.n);
  const Bits l = qztest::eliminate(a, perm);
  EXPECT_EQ(parent, treeOf(l));
  // Post-order: the subtree of j is the stretch of its size that ends at j.
  std::vector<int32_t> size(n, 1), first(n);
  for (size_t j = 0; j < n; ++j) {
    first[j] = static_cast<int32_t>(j) - size[j] + 1;
    if (parent[j] == -1) continue;
    EXPECT_GT(parent[j], static_cast<int32_t>(j));
    size[static_cast<size_t>(parent[j])] += size[j];
  }
  for (size_t j = 0; j < n; ++j) {
    if (parent[j] != -1) {
      EXPECT_GE(first[j], static_cast<int32_t>(parent[j]) - size[static_cast<size_t>(parent[j])] + 1);
    }
  }

  const Split split(a, perm, invPerm);
  double nnzL = -1.0, flops = -1.0;
  FindColCounts(a.n, split.upper, parent.data(), count.data(), &nnzL, &flops, work.data());
  double expectedNonzeros = 0.0, expectedFlops = 0.0;
  for (size_t j = 0; j < n; ++j) {
    int32_t expected = 0;
    for (size_t i = j; i < n; ++i) expected += l[i][j];
    EXPECT_EQ(count[j], expected) << "column " << j;
    expectedNonzeros += expected - 1;
    expectedFlops += static_cast<double>(expected) * (expected - 1);
  }
  EXPECT_EQ(nnzL, expectedNonzeros);
  EXPECT_EQ(flops, expectedFlops);
}

TEST(EliminationTree, RandomPatternsAgreeWithDenseElimination) {
  for (uint32_t seed = 1; seed <= 600; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const int32_t n = static_cast<int32_t>(random() % 40);
    const double density = 0.4 * static_cast<double>(random() % 100) / 100.0 / (1.0 + n / 10.0);
    compareWithElimination(qztest::randomSymmetric(n, density, 0.5, random), random, seed % 2 == 0);
    if (HasFailure()) break;
  }
}

TEST(EliminationTree, SpecialShapesAgreeWithDenseElimination) {
  std::mt19937 random(31);
  for (const int32_t n : {0, 1, 2, 3, 17}) {
    SCOPED_TRACE(n);
    compareWithElimination(qztest::denseMatrix(n, random), random, true);
    compareWithElimination(qztest::diagonalMatrix(n, random), random, true);
    compareWithElimination(n > 0 ? qztest::arrowheadMatrix(n, random) : qztest::denseMatrix(0, random), random, false);
  }
  compareWithElimination(qztest::gridMatrix(9, 7, random), random, true);
}

TEST(EliminationTree, DepthFirstWalkEmitsANodeBehindItsChildren) {
  // Two trees: 4 -> (0, 3 -> (1, 2)), 5 alone; walked from 5 first.
  std::vector<int32_t> head{-1, -1, -1, 1, 0, -1};
  const std::vector<int32_t> next{3, 2, -1, -1, -1, -1};
  const std::vector<int32_t> roots{5, 4};
  std::vector<int32_t> order(6, -1), stack(6);
  EXPECT_EQ(DFS(roots.data(), 2, head.data(), next.data(), order.data(), stack.data()), 6);
  EXPECT_EQ(order, (std::vector<int32_t>{5, 0, 1, 2, 3, 4}));
}

TEST(EliminationTree, ALongChainNeedsNoRecursion) {
  const int32_t n = 200000;
  SymbolicFactor symbolic{};
  std::vector<int32_t> perm = qztest::identityOrder(n), invPerm = perm, parent(static_cast<size_t>(n)),
                       work(5 * static_cast<size_t>(n));
  for (size_t j = 0; j < parent.size(); ++j)
    parent[j] = static_cast<int32_t>(j) + 1 < n ? static_cast<int32_t>(j) + 1 : -1;
  const std::vector<int32_t> before = parent;
  symbolic.perm = perm.data();
  symbolic.invPerm = invPerm.data();
  PostOrder(n, parent.data(), &symbolic, work.data());
  EXPECT_EQ(parent, before);
  EXPECT_EQ(perm, qztest::identityOrder(n));
}

TEST(EliminationTree, FlopsOfAColumnWrapInThirtyTwoBits) {
  // An arrowhead whose first column is full: its count is n = 46342, and n (n - 1) wraps below zero. The columns behind
  // it fill up completely, so the counts fall from n to 1.
  const int32_t n = 46342;
  std::vector<int32_t> begin(static_cast<size_t>(n) + 1, n - 1), index(static_cast<size_t>(n) - 1),
      parent(static_cast<size_t>(n)), count(parent), work(4 * static_cast<size_t>(n));
  begin[0] = 0;
  for (int32_t i = 1; i < n; ++i) index[static_cast<size_t>(i) - 1] = i;
  for (int32_t j = 0; j < n; ++j) parent[static_cast<size_t>(j)] = j + 1 < n ? j + 1 : -1;
  double nnzL = 0.0, flops = 0.0;
  FindColCounts(n, {begin.data(), index.data(), n - 1}, parent.data(), count.data(), &nnzL, &flops, work.data());
  EXPECT_EQ(count[0], n);
  EXPECT_EQ(count[1], n - 1);
  EXPECT_EQ(nnzL, 0.5 * n * (n - 1.0));
  double expected = static_cast<double>(int64_t{46342} * 46341 - (int64_t{1} << 32));
  EXPECT_LT(expected, 0.0);
  for (int32_t c = n - 1; c > 0; --c) expected += static_cast<double>(c) * (c - 1.0);
  EXPECT_EQ(flops, expected);
}

}  // namespace
}  // namespace qz
