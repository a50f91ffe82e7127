#include "ordering/quotient_graph.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace qztest {
namespace {

constexpr int32_t MAX_INT = std::numeric_limits<int32_t>::max();

// A graph record over arrays of its own.
struct Holder {
  explicit Holder(int32_t n, int32_t capacity = 0)
      : listStart(size(n + 1)),
        iw(size(capacity)),
        listLen(size(n)),
        nodeCount(size(n)),
        next(size(n)),
        previous(size(n)),
        bucketHead(size(n + 1)),
        elementCount(size(n)),
        approxDegree(size(n)),
        stamp(size(n)),
        fillScore(size(n)) {
    graph.n = n;
    graph.iwCapacity = capacity;
    graph.listStart = listStart.data();
    graph.iw = iw.data();
    graph.listLen = listLen.data();
    graph.nodeCount = nodeCount.data();
    graph.nextInList = next.data();
    graph.prevInList = previous.data();
    graph.bucketHead = bucketHead.data();
    graph.elementCount = elementCount.data();
    graph.approxDegree = approxDegree.data();
    graph.stamp = stamp.data();
    graph.fillScore = fillScore.data();
  }
  static size_t size(int32_t n) { return static_cast<size_t>(n); }
  std::vector<int32_t> listStart, iw, listLen, nodeCount, next, previous, bucketHead, elementCount, approxDegree, stamp,
      fillScore;
  qz::QuotientGraph graph{};
};

TEST(QuotientGraph, CodesAreTheirOwnInverse) {
  for (const int32_t x : {-1, 0, 1, 7, 1000000, MAX_INT - 2}) EXPECT_EQ(qz::coded(qz::coded(x)), x);
  EXPECT_EQ(qz::coded(qz::NO_NODE), qz::NO_NODE);
  EXPECT_LE(qz::coded(0), -2);
  EXPECT_EQ(qz::coded(qz::ISOLATED_MARK), 1);
}

TEST(QuotientGraph, FirstScoreIsTheNumberOfPairsUpToTheLargestThatFits) {
  Holder h(6);
  h.listLen = {0, 1, 2, 10, 46340, 46341};
  h.graph.listLen = h.listLen.data();
  qz::openGraph(h.graph, 7);
  EXPECT_EQ(h.fillScore, (std::vector<int32_t>{0, 0, 1, 45, 1073674630, MAX_INT}));
  EXPECT_EQ(h.approxDegree, h.listLen);
  for (size_t v = 0; v < 6; ++v) {
    EXPECT_EQ(h.nodeCount[v], 1);
    EXPECT_EQ(h.stamp[v], 1);
    EXPECT_EQ(h.elementCount[v], 0);
  }
  for (const int32_t head : h.bucketHead) EXPECT_EQ(head, -1);
}

TEST(QuotientGraph, DenseLimits) {
  EXPECT_EQ(qz::denseLimitBySize(0), 0);
  EXPECT_EQ(qz::denseLimitBySize(3), 3);
  EXPECT_EQ(qz::denseLimitBySize(15), 15);
  EXPECT_EQ(qz::denseLimitBySize(16), 16);
  EXPECT_EQ(qz::denseLimitBySize(17), 17);
  EXPECT_EQ(qz::denseLimitBySize(99), 99);
  EXPECT_EQ(qz::denseLimitBySize(100), 100);
  EXPECT_EQ(qz::denseLimitBySize(101), 100);
  EXPECT_EQ(qz::denseLimitBySize(103), 101);
  EXPECT_EQ(qz::denseLimitBySize(10000), 1000);
  EXPECT_EQ(qz::denseLimitByDegree(10000, 39999), 150);
  EXPECT_EQ(qz::denseLimitByDegree(10000, 40000), 200);
  EXPECT_EQ(qz::denseLimitByDegree(10, 9), 0);
  EXPECT_EQ(qz::denseLimitByDegree(40, 2000000000), int64_t{2500000000});
}

TEST(QuotientGraph, MarksAreClearedBeforeTheNumbersRunOut) {
  Holder h(10);
  qz::openGraph(h.graph, 11);
  EXPECT_EQ(h.graph.wflg, 2);
  h.stamp = {0, 5, 9, 0, 1, 2000000000, 3, 4, 0, 7};
  h.graph.stamp = h.stamp.data();
  h.graph.wflg = MAX_INT - 12;
  qz::advanceStamp(h.graph, 1);
  EXPECT_EQ(h.graph.wflg, MAX_INT - 11);
  EXPECT_EQ(h.stamp[5], 2000000000);
  qz::advanceStamp(h.graph, 1);
  EXPECT_EQ(h.graph.wflg, 2);
  EXPECT_EQ(h.stamp, (std::vector<int32_t>{0, 1, 1, 0, 1, 1, 1, 1, 0, 1}));
}

TEST(QuotientGraph, CompactionKeepsListsAndTheirOrder) {
  // Lists of nodes 3, 0 and 2 with gaps between, node 1 without a list, node 4 absorbed, and an element in the making.
  Holder h(5, 20);
  h.iw = {9, 9, 4, 1, 0, 9, 3, 9, 9, 1, 2, 3, 9, 0, 2, 8, 8, 8, 8, 8};
  h.graph.iw = h.iw.data();
  h.listStart = {6, -1, 9, 2, qz::coded(2), 0};
  h.listLen = {1, 0, 3, 3, 5};
  h.graph.listStart = h.listStart.data();
  h.graph.listLen = h.listLen.data();
  h.graph.freePos = 15;
  const int32_t begin = qz::compactLists(h.graph, 13);
  EXPECT_EQ(begin, 7);
  EXPECT_EQ(h.graph.freePos, 9);
  EXPECT_EQ(std::vector<int32_t>(h.iw.begin(), h.iw.begin() + 9), (std::vector<int32_t>{4, 1, 0, 3, 1, 2, 3, 0, 2}));
  EXPECT_EQ(h.listStart, (std::vector<int32_t>{3, -1, 4, 0, qz::coded(2), 0}));
}

}  // namespace
}  // namespace qztest
