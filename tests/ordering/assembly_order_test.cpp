#include "ordering/assembly_order.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace qztest {
namespace {

using Array = std::vector<int32_t>;

Array postorder(const Array& parent, const Array& count, const Array& front, const Array* groups = nullptr,
                const Array* sequence = nullptr) {
  const auto n = static_cast<int32_t>(parent.size());
  Array order(parent.size(), -5);
  Array child(parent.size(), -5);
  Array sibling(parent.size(), -5);
  Array stack(parent.size(), -5);
  qz::nd_postorder(n, parent.data(), count.data(), front.data(), order.data(), child.data(), sibling.data(),
                   stack.data(), groups == nullptr ? nullptr : groups->data(),
                   sequence == nullptr ? nullptr : sequence->data());
  return order;
}

TEST(AssemblyOrder, NoNodes) {
  EXPECT_TRUE(postorder({}, {}, {}).empty());
}

TEST(AssemblyOrder, NodesWithoutCountAreLeftOut) {
  EXPECT_EQ(postorder({2, 2, -1, 0}, {1, 0, 1, 0}, {1, 1, 1, 1}), (Array{0, -1, 1, -1}));
}

TEST(AssemblyOrder, RootsAndChildrenComeInIndexOrder) {
  // Two trees: 4 over 0, 1, 2 (fronts 3, 2, 1: the largest goes last) and 3 alone.
  EXPECT_EQ(postorder({4, 4, 4, -1, -1}, {1, 1, 1, 1, 1}, {3, 2, 1, 1, 1}), (Array{3, 1, 2, 0, 4}));
}

TEST(AssemblyOrder, OfEqualFrontsTheLaterChildGoesLast) {
  EXPECT_EQ(postorder({4, 4, 4, 4, -1}, {1, 1, 1, 1, 1}, {1, 7, 7, 2, 1}), (Array{0, 1, 3, 2, 4}));
  EXPECT_EQ(postorder({4, 4, 4, 4, -1}, {1, 1, 1, 1, 1}, {7, 1, 2, 2, 1}), (Array{3, 0, 1, 2, 4}));
  EXPECT_EQ(postorder({4, 4, 4, 4, -1}, {1, 1, 1, 1, 1}, {1, 1, 2, 2, 1}), (Array{0, 1, 2, 3, 4}));
}

TEST(AssemblyOrder, ADeepChainNeedsNoRecursion) {
  const int32_t n = 300000;
  Array parent;
  for (int32_t v = 0; v < n; ++v) parent.push_back(v - 1);
  const Array ones(parent.size(), 1);
  const Array order = postorder(parent, ones, ones);
  for (int32_t v = 0; v < n; ++v) ASSERT_EQ(order[static_cast<size_t>(v)], n - 1 - v);
}

TEST(AssemblyOrder, GroupsCutTheTree) {
  // A chain 0, 1, 2, 3 whose last node is in another group than the others; 4 is a root of the first group.
  const Array parent{1, 2, 3, -1, -1};
  const Array ones(5, 1);
  const Array groups{0, 0, 0, 1, 0};
  const Array sequence{0, 1, 2, 4, 3};
  EXPECT_EQ(postorder(parent, ones, ones, &groups, &sequence), (Array{0, 1, 2, 4, 3}));
  // By index the second group would come before vertex 4.
  EXPECT_EQ(postorder(parent, ones, ones, &groups), (Array{0, 1, 2, 3, 4}));
}

TEST(AssemblyOrder, EveryRandomForestIsNumberedChildrenFirstAndTreeByTree) {
  std::mt19937 random(11);
  for (int32_t trial = 0; trial < 200; ++trial) {
    const auto n = static_cast<int32_t>(1 + random() % 60);
    Array parent;
    Array front;
    for (int32_t v = 0; v < n; ++v) {
      const auto up = v + 1 + static_cast<int32_t>(random() % 6);
      parent.push_back(up < n ? up : -1);
      front.push_back(static_cast<int32_t>(random() % 5));
    }
    const Array order = postorder(parent, Array(parent.size(), 1), front);
    Array size(parent.size(), 1);
    for (int32_t v = 0; v < n; ++v) {
      const auto i = static_cast<size_t>(v);
      if (parent[i] < 0) continue;
      size[static_cast<size_t>(parent[i])] += size[i];
    }
    // A subtree takes the consecutive places that end with its root.
    std::vector<bool> seen(parent.size(), false);
    for (int32_t v = 0; v < n; ++v) {
      const auto i = static_cast<size_t>(v);
      ASSERT_FALSE(seen[static_cast<size_t>(order[i])]) << "trial " << trial;
      seen[static_cast<size_t>(order[i])] = true;
      for (int32_t u = v; u >= 0; u = parent[static_cast<size_t>(u)]) {
        const auto k = static_cast<size_t>(u);
        ASSERT_LE(order[i], order[k]) << "trial " << trial;
        ASSERT_GT(order[i], order[k] - size[k]) << "trial " << trial;
      }
    }
  }
}

TEST(PostTree, NumbersFromTheGivenPlaceAndReturnsTheNext) {
  Array child{-1, 0, 1};
  const Array sibling{-1, -1, -1};
  Array order(3, -1);
  Array stack(3);
  EXPECT_EQ(qz::nd_post_tree(2, 10, child.data(), sibling.data(), order.data(), stack.data()), 13);
  EXPECT_EQ(order, (Array{10, 11, 12}));
}

}  // namespace
}  // namespace qztest
