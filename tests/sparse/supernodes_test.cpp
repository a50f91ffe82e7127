#include "sparse/supernodes.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

#include "sparse/elimination_tree.h"
#include "sparse/symbolic_oracle.h"

namespace qz {
namespace {

using qztest::Bits;
using qztest::SymmetricMatrix;

// A post-ordered pattern with its tree and counts, ready for the supernodal steps.
struct Ordered {
  explicit Ordered(const SymmetricMatrix& a) : n(a.n), size(static_cast<size_t>(a.n)) {
    perm = qztest::identityOrder(n);
    invPerm = perm;
    parent.resize(size);
    colCount.resize(size);
    height.resize(size);
    snParent.resize(size);
    snStart.resize(size + 1);
    colToSn.resize(size);
    work.resize(3 * size + 1);
    symbolic.numRows = n;
    symbolic.perm = perm.data();
    symbolic.invPerm = invPerm.data();
    symbolic.snParent = snParent.data();
    symbolic.snStart = snStart.data();
    symbolic.colToSn = colToSn.data();
    const int32_t half = a.offDiagonals() / 2;
    lowerBegin.resize(size + 1);
    upperBegin.resize(size + 1);
    lowerIndex.resize(static_cast<size_t>(half));
    upperIndex.resize(static_cast<size_t>(half));
    lower = {lowerBegin.data(), lowerIndex.data(), half};
    TrianglePattern upper{upperBegin.data(), upperIndex.data(), half};
    permute(a, 0, nullptr);
    BuildETree(n, lower, parent.data(), scratch());
    PostOrder(n, parent.data(), &symbolic, scratch());
    permute(a, 1, &upper);
    FindColCounts(n, upper, parent.data(), colCount.data(), &symbolic.nnzL, &symbolic.flopsColumn, scratch());
    factor = qztest::eliminate(a, perm);
  }
  void permute(const SymmetricMatrix& a, int32_t mode, TrianglePattern* upper) {
    EXPECT_EQ(
        PermuteSymMatrixPattern(n, a.begin.data(), a.index.data(), mode, &lower, upper, perm.data(), invPerm.data()),
        LA_OK);
  }
  int32_t* scratch() { return reinterpret_cast<int32_t*>(work.data()); }
  void findFundamental() {
    FindFundamentalSupernodes(n, parent.data(), colCount.data(), &symbolic, height.data(), scratch());
  }
  void relax(int32_t isLDL) { FindRelaxedSupernodes(n, parent.data(), isLDL, &symbolic, height.data(), scratch()); }
  void mergeChains() { mergeSupernodeChains(n, parent.data(), &symbolic, height.data(), scratch()); }
  int32_t width(int32_t s) const { return snStart[static_cast<size_t>(s) + 1] - snStart[static_cast<size_t>(s)]; }

  void fillStructure() {
    const auto count = static_cast<size_t>(symbolic.numSupernodes);
    lIndexBegin.assign(count + 1, 0);
    for (size_t s = 0; s < count; ++s) lIndexBegin[s + 1] = lIndexBegin[s] + height[s];
    lIndex.assign(static_cast<size_t>(lIndexBegin[count]), -1);
    symbolic.lIndexBegin = lIndexBegin.data();
    symbolic.lIndex = lIndex.data();
    FindLSupernodalStructure(lower, &symbolic, scratch());
  }

  // The maps agree with each other, the row lists are ascending, begin with the own columns, hold exactly the union of
  // the structures of the columns, and are as long as the heights say.
  void expectConsistent() {
    fillStructure();
    const int32_t count = symbolic.numSupernodes;
    ASSERT_EQ(snStart[0], 0);
    ASSERT_EQ(snStart[static_cast<size_t>(count)], n);
    int64_t place = 0;
    for (int32_t s = 0; s < count; ++s) {
      const auto at = static_cast<size_t>(s);
      ASSERT_LT(snStart[at], snStart[at + 1]);
      ASSERT_EQ(lIndexBegin[at], place);
      std::set<int32_t> rows;
      for (int32_t j = snStart[at]; j < snStart[at + 1]; ++j) {
        EXPECT_EQ(colToSn[static_cast<size_t>(j)], s);
        for (int32_t i = j; i < n; ++i) {
          if (factor[static_cast<size_t>(i)][static_cast<size_t>(j)]) rows.insert(i);
        }
      }
      const std::vector<int32_t> list(lIndex.begin() + place, lIndex.begin() + place + height[at]);
      EXPECT_EQ(list, std::vector<int32_t>(rows.begin(), rows.end())) << "supernode " << s;
      place += height[at];
      const int32_t up = parent[static_cast<size_t>(snStart[at + 1]) - 1];
      EXPECT_EQ(snParent[at], up == -1 ? -1 : colToSn[static_cast<size_t>(up)]);
      if (up != -1) {
        EXPECT_GT(snParent[at], s);
      }
    }
    EXPECT_EQ(place, lIndexBegin[static_cast<size_t>(count)]);
    EXPECT_EQ(symbolic.flopsRelaxed, flops());
  }
  double flops() const {
    double sum = 0.0;
    for (int32_t s = 0; s < symbolic.numSupernodes; ++s) {
      for (int32_t j = 0; j < width(s); ++j) {
        sum += (height[static_cast<size_t>(s)] - j) * (height[static_cast<size_t>(s)] - j - 1.0);
      }
    }
    return sum;
  }
  int64_t storedEntries() const {
    int64_t sum = 0;
    for (int32_t s = 0; s < symbolic.numSupernodes; ++s) {
      const int64_t w = width(s);
      sum += w * height[static_cast<size_t>(s)] - w * (w - 1) / 2;
    }
    return sum;
  }

  int32_t n;
  size_t size;
  SymbolicFactor symbolic{};
  std::vector<int32_t> perm, invPerm, parent, colCount, height, snParent, snStart, colToSn;
  std::vector<int64_t> work;
  std::vector<int32_t> lowerBegin, lowerIndex, upperBegin, upperIndex;
  TrianglePattern lower{};
  std::vector<int64_t> lIndexBegin;
  std::vector<int32_t> lIndex;
  Bits factor;
};

SymmetricMatrix randomShape(uint32_t seed) {
  std::mt19937 random(seed);
  switch (seed % 4) {
    case 0:
      return qztest::gridMatrix(2 + static_cast<int32_t>(random() % 8), 2 + static_cast<int32_t>(random() % 8), random);
    case 1:
      return qztest::arrowheadMatrix(1 + static_cast<int32_t>(random() % 60), random);
    default: {
      const int32_t n = static_cast<int32_t>(random() % 60);
      return qztest::randomSymmetric(n, static_cast<double>(random() % 100) / 100.0 / (1.0 + n / 2.0), 0.5, random);
    }
  }
}

TEST(FundamentalSupernodes, HoldTheExactStructureAndCannotGrow) {
  for (uint32_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    Ordered o(randomShape(seed));
    o.findFundamental();
    o.symbolic.flopsRelaxed = o.flops();
    o.expectConsistent();
    // No zeros are stored, so the flops are those of the columns.
    EXPECT_EQ(o.symbolic.flopsRelaxed, o.symbolic.flopsColumn);
    EXPECT_EQ(static_cast<double>(o.storedEntries()), o.symbolic.nnzL + o.n);
    for (int32_t s = 1; s < o.symbolic.numSupernodes; ++s) {
      const auto j = static_cast<size_t>(o.snStart[static_cast<size_t>(s)]);
      const auto children = std::count(o.parent.begin(), o.parent.end(), static_cast<int32_t>(j));
      EXPECT_FALSE(children == 1 && o.colCount[j] == o.colCount[j - 1] - 1);
    }
    if (HasFailure()) break;
  }
}

TEST(RelaxedSupernodes, KeepTheStructureAndFewZeros) {
  for (uint32_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    const int32_t isLDL = static_cast<int32_t>(seed / 4 % 2);
    Ordered o(randomShape(seed));
    o.findFundamental();
    const int32_t fundamental = o.symbolic.numSupernodes;
    const std::vector<int32_t> startsBefore(o.snStart.begin(), o.snStart.begin() + fundamental);
    const auto before = o.storedEntries();
    o.relax(isLDL);
    o.expectConsistent();
    EXPECT_LE(o.symbolic.numSupernodes, fundamental);
    EXPECT_GE(o.storedEntries(), before);
    for (int32_t s = 0; s < o.symbolic.numSupernodes; ++s) {
      EXPECT_TRUE(std::binary_search(startsBefore.begin(), startsBefore.end(), o.snStart[static_cast<size_t>(s)]));
    }
    if (HasFailure()) break;
  }
}

// The rule written down a second time: merges on explicit lists of members, zeros counted on the exact structures.
int32_t relaxByHand(const Ordered& o, int32_t isLDL, std::vector<int32_t>* starts) {
  struct Node {
    int32_t first, last, height;
    int64_t zeros;
  };
  std::vector<Node> stack;  // representatives, the next in post-order on top
  int32_t maxWidth = 0;
  for (int32_t s = o.symbolic.numSupernodes - 1; s >= 0; --s) {
    const auto at = static_cast<size_t>(s);
    Node node{o.snStart[at], o.snStart[at + 1] - 1, o.height[at], 0};
    const int32_t up = o.parent[static_cast<size_t>(node.last)];
    if (!stack.empty() && up != -1 && up <= stack.back().last) {
      const Node& next = stack.back();
      const int64_t w = node.last - node.first + 1, nextWidth = next.last - next.first + 1, m = w + nextWidth;
      const int64_t zeros = w * (next.height - (node.height - w));
      const int64_t total = zeros == 0 ? 0 : zeros + next.zeros;
      const double place = static_cast<double>(m * (m - 1) / 2 + (next.height - nextWidth) * m);
      const double fraction = static_cast<double>(total) / place;
      bool merge = zeros == 0 || m <= 4;
      if (!merge && m <= 16) merge = isLDL != 0 ? total < 128 : fraction < 0.8;
      if (!merge) merge = m <= 48 ? fraction < 0.1 : fraction < 0.05;
      if (merge) {
        node = {node.first, next.last, static_cast<int32_t>(w) + next.height, total};
        stack.pop_back();
      }
      maxWidth = std::max(maxWidth, node.last - node.first + 1);
    }
    stack.push_back(node);
  }
  starts->clear();
  for (size_t k = stack.size(); k-- > 0;) starts->push_back(stack[k].first);
  return stack.size() == 1 ? o.n : maxWidth;
}

TEST(RelaxedSupernodes, FollowTheRule) {
  int merged = 0;
  for (uint32_t seed = 1; seed <= 600; ++seed) {
    SCOPED_TRACE(seed);
    const int32_t isLDL = static_cast<int32_t>(seed / 4 % 2);
    std::mt19937 random(seed);
    Ordered o(seed % 3 == 0 ? qztest::gridMatrix(4 + static_cast<int32_t>(random() % 10),
                                                 4 + static_cast<int32_t>(random() % 10), random)
                            : randomShape(seed));
    o.findFundamental();
    std::vector<int32_t> starts;
    const int32_t maxWidth = relaxByHand(o, isLDL, &starts);
    merged += o.symbolic.numSupernodes - static_cast<int32_t>(starts.size());
    o.relax(isLDL);
    EXPECT_EQ(std::vector<int32_t>(o.snStart.begin(), o.snStart.begin() + o.symbolic.numSupernodes), starts);
    EXPECT_EQ(o.symbolic.maxWidth, maxWidth);
    if (HasFailure()) break;
  }
  EXPECT_GT(merged, 1000);
}

// A hand-made chain of supernodes, the last of which has `rest` rows below that belong to singletons behind it.
struct Chain {
  Chain(const std::vector<int32_t>& widths, const std::vector<int32_t>& heights, int32_t rest) : height(heights) {
    snStart = {0};
    for (const int32_t w : widths) {
      colToSn.insert(colToSn.end(), static_cast<size_t>(w), static_cast<int32_t>(snStart.size()) - 1);
      snStart.push_back(snStart.back() + w);
      snParent.push_back(static_cast<int32_t>(snParent.size()) + 1);
    }
    snParent.back() = -1;  // the rows below the last stand for vertices that never merge
    for (int32_t j = 1; j <= snStart.back(); ++j) parent.push_back(j < snStart.back() ? j : -1);
    for (int32_t r = 0; r < rest; ++r) {
      colToSn.push_back(static_cast<int32_t>(snStart.size()) - 1);
      snStart.push_back(snStart.back() + 1);
      height.push_back(1);
      snParent.push_back(-1);
      parent.push_back(-1);
    }
    size = snStart.back();
    symbolic.numSupernodes = static_cast<int32_t>(snParent.size());
    symbolic.snStart = snStart.data();
    symbolic.snParent = snParent.data();
    symbolic.colToSn = colToSn.data();
    work.resize(3 * static_cast<size_t>(size) + 3);
  }
  // Returns by how many supernodes there are less.
  int32_t merge(int32_t isLDL) {
    const int32_t before = symbolic.numSupernodes;
    FindRelaxedSupernodes(size, parent.data(), isLDL, &symbolic, height.data(),
                          reinterpret_cast<int32_t*>(work.data()));
    return before - symbolic.numSupernodes;
  }
  int32_t size = 0;
  SymbolicFactor symbolic{};
  std::vector<int32_t> parent, snStart, snParent, colToSn, height;
  std::vector<int64_t> work;
};

// A child of width w with `below` rows below under a parent of width wp.
struct Pair : Chain {
  Pair(int32_t w, int32_t below, int32_t wp, int32_t rest) : Chain({w, wp}, {w + below, wp + rest}, rest) {}
  bool merges(int32_t isLDL) { return merge(isLDL) > 0; }
};

TEST(RelaxedSupernodes, WidthsUpToFourAlwaysMerge) {
  for (const int32_t isLDL : {0, 1}) EXPECT_TRUE(Pair(3, 1, 1, 200).merges(isLDL));  // m = 4: 600 zeros of 806
  EXPECT_FALSE(Pair(4, 1, 1, 200).merges(1));                                        // m = 5: 800 zeros
}

TEST(RelaxedSupernodes, NarrowOnesMergeByFractionForCholeskyAndByCountForLDL) {
  // w = 4, below rows, wp = 1: zeros 4 (1 + rest - below) of 10 + 5 rest.
  EXPECT_TRUE(Pair(4, 1, 1, 200).merges(0));  // 800 of 1010
  // w = 6, wp = 1: zeros 6 (1 + rest - below) of 21 + 7 rest.
  EXPECT_TRUE(Pair(6, 1, 1, 41).merges(0));   // 246 of 308: 0.7987
  EXPECT_FALSE(Pair(6, 1, 1, 42).merges(0));  // 252 of 315: exactly 0.8
  // w = 1, wp = 4: zeros 4 + rest - below.
  EXPECT_TRUE(Pair(1, 1, 4, 124).merges(1));      // 127 zeros
  EXPECT_FALSE(Pair(1, 1, 4, 125).merges(1));     // 128 zeros of 635, above 0.1
  EXPECT_TRUE(Pair(1, 1200, 4, 1324).merges(1));  // 128 zeros of 6630: below 0.1
}

TEST(RelaxedSupernodes, MergesWithoutZerosDropTheCount) {
  // The last two merge with 600 zeros, the next one below them without any. The first then counts its own zero only.
  EXPECT_EQ(Chain({1, 5, 3, 1}, {209, 209, 4, 201}, 200).merge(1), 3);
}

TEST(RelaxedSupernodes, PlaceOfAMergedSupernodeWraps) {
  // Half of the place would be zeros. The product 46342 * 46341 passes 2^31 and makes the fraction negative.
  for (const int32_t isLDL : {0, 1}) {
    EXPECT_FALSE(Pair(23170, 1, 23170, 0).merges(isLDL));
    EXPECT_TRUE(Pair(23171, 1, 23171, 0).merges(isLDL));
  }
}

TEST(RelaxedSupernodes, MiddleAndWideOnesMergeByFraction) {
  for (const int32_t isLDL : {0, 1}) {
    // m = 17, below = 1: zeros 16 wide parent: z = 1 * (16 - 1) = 15 of 136.
    EXPECT_FALSE(Pair(1, 1, 16, 0).merges(isLDL));
    EXPECT_TRUE(Pair(1, 3, 16, 0).merges(isLDL));  // 13 of 136 = 0.0956
    // m = 49: bound 0.05 of 1176 = 58.8; w = 2.
    EXPECT_TRUE(Pair(2, 18, 47, 0).merges(isLDL));   // 2 * 29 = 58
    EXPECT_FALSE(Pair(2, 17, 47, 0).merges(isLDL));  // 60
    // m = 48: bound 0.1 of 1128 = 112.8.
    EXPECT_TRUE(Pair(4, 16, 44, 0).merges(isLDL));   // 4 * 28 = 112
    EXPECT_FALSE(Pair(4, 15, 44, 0).merges(isLDL));  // 116
  }
}

TEST(RelaxedSupernodes, DiagonalMatrixKeepsItsColumnsAndNoWidth) {
  std::mt19937 random(1);
  Ordered o(qztest::diagonalMatrix(7, random));
  o.findFundamental();
  EXPECT_EQ(o.symbolic.numSupernodes, 7);
  o.relax(0);
  EXPECT_EQ(o.symbolic.numSupernodes, 7);
  EXPECT_EQ(o.symbolic.maxWidth, 0);
  Ordered one(qztest::diagonalMatrix(1, random));
  one.findFundamental();
  one.relax(1);
  EXPECT_EQ(one.symbolic.numSupernodes, 1);
  EXPECT_EQ(one.symbolic.maxWidth, 1);
}

TEST(RelaxedSupernodes, DenseMatrixIsOneSupernode) {
  std::mt19937 random(2);
  const int32_t n = 30;
  Ordered o(qztest::denseMatrix(n, random));
  o.findFundamental();
  EXPECT_EQ(o.symbolic.numSupernodes, 1);
  o.relax(0);
  EXPECT_EQ(o.symbolic.maxWidth, n);
  double expected = 0.0;
  for (int32_t h = 1; h <= n; ++h) expected += h * (h - 1.0);
  EXPECT_EQ(o.symbolic.flopsRelaxed, expected);
}

TEST(RelaxedSupernodes, ArrowheadMergesItsLastColumnsWhileTheFractionsAllow) {
  std::mt19937 random(3);
  Ordered o(qztest::arrowheadMatrix(100, random));
  o.findFundamental();
  // All leaves hang from the last column; the last leaf joins it as one fundamental supernode only when it is alone.
  EXPECT_EQ(o.symbolic.numSupernodes, 100);
  o.relax(0);
  // From the end: m = 2 and no zeros; then each further leaf of width 1 and height 2 adds m - 2 zeros.
  std::vector<int32_t> starts;
  EXPECT_EQ(o.symbolic.maxWidth, [&] {
    Ordered again(qztest::arrowheadMatrix(100, random));
    again.findFundamental();
    return relaxByHand(again, 0, &starts);
  }());
  EXPECT_EQ(o.symbolic.numSupernodes, static_cast<int32_t>(starts.size()));
  EXPECT_GE(o.symbolic.maxWidth, 4);
  EXPECT_LT(o.symbolic.numSupernodes, 100);
}

TEST(ChainMerging, KeepsAConsistentStructure) {
  int merged = 0;
  for (uint32_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    Ordered o(randomShape(seed));
    o.findFundamental();
    if (seed % 2 == 0) o.relax(1);
    const int32_t maxWidth = o.symbolic.maxWidth;
    const int32_t before = o.symbolic.numSupernodes;
    o.mergeChains();
    merged += before - o.symbolic.numSupernodes;
    EXPECT_EQ(o.symbolic.maxWidth, maxWidth);
    // Heights still count the union of the structures of the members.
    o.fillStructure();
    for (int32_t s = 0; s < o.symbolic.numSupernodes; ++s) {
      const auto at = static_cast<size_t>(s);
      const std::vector<int32_t> list(o.lIndex.begin() + o.lIndexBegin[at], o.lIndex.begin() + o.lIndexBegin[at + 1]);
      EXPECT_TRUE(std::is_sorted(list.begin(), list.end()));
      EXPECT_EQ(std::count(list.begin(), list.end(), -1), 0);
      std::set<int32_t> rows;
      for (int32_t j = o.snStart[at]; j < o.snStart[at + 1]; ++j) {
        rows.insert(j);
        for (int32_t i = j; i < o.n; ++i) {
          if (o.factor[static_cast<size_t>(i)][static_cast<size_t>(j)]) rows.insert(i);
        }
      }
      EXPECT_EQ(list, std::vector<int32_t>(rows.begin(), rows.end()));
    }
    EXPECT_EQ(o.symbolic.flopsRelaxed, o.flops());
    if (HasFailure()) break;
  }
  EXPECT_GT(merged, 500);
}

// Chains of supernodes of the given widths, all linked to the next one: where do groups begin?
std::vector<int32_t> groupsOf(const std::vector<int32_t>& widths, std::vector<int32_t> snParent) {
  std::vector<int32_t> snStart{0}, height, colToSn, parent;
  for (size_t s = 0; s < widths.size(); ++s) {
    snStart.push_back(snStart.back() + widths[s]);
    height.push_back(widths[s] + (snParent[s] == -1 ? 0 : 1));
    colToSn.insert(colToSn.end(), static_cast<size_t>(widths[s]), static_cast<int32_t>(s));
  }
  const int32_t n = snStart.back();
  for (int32_t j = 0; j < n; ++j) {
    const auto s = static_cast<size_t>(colToSn[static_cast<size_t>(j)]);
    const bool last = j + 1 == snStart[s + 1];
    parent.push_back(!last ? j + 1 : snParent[s] == -1 ? -1 : snStart[static_cast<size_t>(snParent[s])]);
  }
  SymbolicFactor symbolic{};
  symbolic.numSupernodes = static_cast<int32_t>(widths.size());
  symbolic.snStart = snStart.data();
  symbolic.snParent = snParent.data();
  symbolic.colToSn = colToSn.data();
  std::vector<int32_t> work(2 * static_cast<size_t>(n));
  mergeSupernodeChains(n, parent.data(), &symbolic, height.data(), work.data());
  return {snStart.begin(), snStart.begin() + symbolic.numSupernodes};
}

TEST(ChainMerging, AGroupStopsOnceItIsThirtyTwoWide) {
  // 10 + 10 = 20 accepted, 30 accepted, 40 is too wide; the rest are no leaves and stay alone.
  EXPECT_EQ(groupsOf({10, 10, 10, 10, 10}, {1, 2, 3, 4, -1}), (std::vector<int32_t>{0, 30, 40}));
  EXPECT_EQ(groupsOf({31, 1}, {1, -1}), (std::vector<int32_t>{0, 31}));  // 32 reached
  EXPECT_EQ(groupsOf({30, 1}, {1, -1}), (std::vector<int32_t>{0}));      // 31
  EXPECT_EQ(groupsOf({32, 1}, {1, -1}), (std::vector<int32_t>{0, 32}));
}

TEST(ChainMerging, AParentThirtyTwoAwayIsTooFar) {
  // Leaves 0, 1, ... all under the last one.
  for (const int32_t leaves : {31, 32}) {
    std::vector<int32_t> widths(static_cast<size_t>(leaves) + 1, 1), up(widths.size(), leaves);
    up.back() = -1;
    const std::vector<int32_t> groups = groupsOf(widths, up);
    // From leaf 0 the sum of the widths to the parent reaches 32 either way; leaf 1 is near enough in both cases but
    // for the sum: its group would be as wide as leaves.
    const size_t alone = leaves == 31 ? 1 : 2;
    ASSERT_EQ(groups.size(), alone + 1);
    EXPECT_EQ(groups.back(), static_cast<int32_t>(alone));
  }
}

TEST(ChainMerging, SeparateTreesStaySeparate) {
  EXPECT_EQ(groupsOf({1, 1, 1}, {-1, -1, -1}), (std::vector<int32_t>{0, 1, 2}));
  EXPECT_EQ(groupsOf({1, 1, 1, 1}, {1, -1, 3, -1}), (std::vector<int32_t>{0, 2}));
}

}  // namespace
}  // namespace qz
