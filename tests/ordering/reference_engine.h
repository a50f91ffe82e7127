// The minimum-degree engines once more, slow and plain: lists in vectors, sets by search, |Le \ Lp| summed afresh at
// every step, no marks, no hashing, no shared store. With the same rules for ties it gives the same order, vertex for
// vertex.
#pragma once

#include <cstdint>
#include <vector>

#include "ordering/graphs.h"

namespace qztest {

struct ReferenceRules {
  bool byFill = false;
  int32_t problemKind = 0;
  std::vector<bool> dense;      // n entries
  std::vector<int32_t> groups;  // n entries, or empty
};

// Position of each vertex.
std::vector<int32_t> referenceOrder(const Graph& graph, const ReferenceRules& rules);

// Vertices that the three rules for dense vertices take out.
std::vector<bool> denseBySize(const Graph& graph);
std::vector<bool> denseByDegree(const Graph& graph);
std::vector<bool> denseByLog(const Graph& graph);

}  // namespace qztest
