// The final order of an assembly tree.
#pragma once

#include <cstdint>

namespace qz {

// Numbers the nodes of a forest depth-first, children before parents, the largest child of a node last: a postorder in
// which the biggest front is next to its parent.
//
//   n            number of nodes; those with nodeCount 0 are not part of the forest
//   parent       parent of a node, -1 at a root
//   nodeCount    size of a node
//   frontSize    size of its front
//   order        n entries, out: place of a node from 0 on, -1 for one outside the forest
//   child, sibling, stack: n entries each, scratch
//   groupId      null, or the group of a node; the tree is cut where a node's group differs from its parent's
//   vertexOfNode null, or the n nodes in the sequence in which roots are to be visited; null means by index
void nd_postorder(int32_t n, const int32_t* parent, const int32_t* nodeCount, const int32_t* frontSize, int32_t* order,
                  int32_t* child, int32_t* sibling, int32_t* stack, const int32_t* groupId,
                  const int32_t* vertexOfNode);

// Numbers the tree below `root` from k on and returns the next number. `child` holds the first child of each node and
// is used up; `sibling` the next child of the same parent, -1 behind the last; `stack` has room for the depth.
[[nodiscard]] int32_t nd_post_tree(int32_t root, int32_t k, int32_t* child, const int32_t* sibling, int32_t* order,
                                   int32_t* stack);

}  // namespace qz
