// A graph with the records of a dissection around it, for tests of the single steps.
#pragma once

#include <cstdint>
#include <vector>

#include "ordering/graphs.h"
#include "ordering/ordering_records.h"
#include "support/test_host.h"

namespace qztest {

class DissectionBench {
 public:
  // The graph as the top level of a dissection; weights empty means 1.
  DissectionBench(TestHost& host, const Graph& graph, const std::vector<int32_t>& weights = {});
  ~DissectionBench();
  DissectionBench(const DissectionBench&) = delete;
  DissectionBench& operator=(const DissectionBench&) = delete;

  qz::LAEnv env{};
  qz::OrderingControl control{};
  qz::OrderingGraph top{};
  std::vector<int32_t> begin, list, work;
};

// The level's adjacency, without weights.
Graph graphOf(const qz::OrderingGraph& level);

// No edge joins side 0 to side 1, the boundary is side 2, and partWeight, nodeGain and cutWeight are what they should
// be.
void expectSeparatorState(const qz::OrderingGraph& graph);

}  // namespace qztest
