#include "ordering/assembly_order.h"

#include <algorithm>

namespace qz {
namespace {

// Parent of a node within its tree: none where the group changes.
int32_t treeParent(int32_t node, const int32_t* parent, const int32_t* groupId) {
  const int32_t up = parent[node];
  if (up < 0 || (groupId != nullptr && groupId[up] != groupId[node])) return -1;
  return up;
}

// Moves the child of the largest front to the end of the list, of equals the later one.
void moveLargestLast(int32_t node, const int32_t* frontSize, int32_t* child, int32_t* sibling) {
  int32_t largest = -1;
  int32_t beforeLargest = -1;
  int32_t last = -1;
  for (int32_t c = child[node]; c >= 0; c = sibling[c]) {
    if (largest < 0 || frontSize[c] >= frontSize[largest]) {
      largest = c;
      beforeLargest = last;
    }
    last = c;
  }
  if (largest == last) return;
  if (beforeLargest < 0) {
    child[node] = sibling[largest];
  } else {
    sibling[beforeLargest] = sibling[largest];
  }
  sibling[largest] = -1;
  sibling[last] = largest;
}

}  // namespace

int32_t nd_post_tree(int32_t root, int32_t k, int32_t* child, const int32_t* sibling, int32_t* order, int32_t* stack) {
  int32_t depth = 0;
  stack[depth++] = root;
  while (depth > 0) {
    const int32_t node = stack[depth - 1];
    const int32_t next = child[node];
    if (next >= 0) {
      child[node] = sibling[next];
      stack[depth++] = next;
    } else {
      order[node] = k++;
      --depth;
    }
  }
  return k;
}

void nd_postorder(int32_t n, const int32_t* parent, const int32_t* nodeCount, const int32_t* frontSize, int32_t* order,
                  int32_t* child, int32_t* sibling, int32_t* stack, const int32_t* groupId,
                  const int32_t* vertexOfNode) {
  std::fill(child, child + n, -1);
  std::fill(sibling, sibling + n, -1);
  for (int32_t node = n - 1; node >= 0; --node) {
    if (nodeCount[node] == 0) continue;
    const int32_t up = treeParent(node, parent, groupId);
    if (up < 0) continue;
    sibling[node] = child[up];
    child[up] = node;
  }
  for (int32_t node = 0; node < n; ++node) {
    if (nodeCount[node] != 0 && child[node] >= 0) moveLargestLast(node, frontSize, child, sibling);
  }
  std::fill(order, order + n, -1);
  int32_t k = 0;
  for (int32_t i = 0; i < n; ++i) {
    const int32_t node = vertexOfNode == nullptr ? i : vertexOfNode[i];
    if (nodeCount[node] == 0 || treeParent(node, parent, groupId) >= 0) continue;
    k = nd_post_tree(node, k, child, sibling, order, stack);
  }
}

}  // namespace qz
