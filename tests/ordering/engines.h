// Runs an ordering engine on a copy of a graph, in arrays of exactly the promised sizes.
#pragma once

#include <cstdint>
#include <vector>

#include "ordering/graphs.h"
#include "support/test_host.h"

namespace qztest {

struct Ordered {
  int32_t status = -1;
  std::vector<int32_t> perm;     // position to vertex
  std::vector<int32_t> invPerm;  // vertex to position
};

struct EngineOptions {
  int32_t problemKind = 0;
  int32_t removeDenseByLog = 0;
  int32_t isFallback = 0;
  int32_t elbowRoom = -1;  // entries behind the lists; -1 means n
};

Ordered runAmd(const Graph& graph, const EngineOptions& options = {});
Ordered runAmf(const Graph& graph, const EngineOptions& options = {});
// `groups` empty means null.
Ordered runCamf(const Graph& graph, const std::vector<int32_t>& groups, const EngineOptions& options = {});

struct OrderRequest {
  int32_t problemKind = 0;
  int32_t isLDL = 0;
  int32_t method = -1;
  const int32_t* vertexWeights = nullptr;
  int32_t pullSeparators = 1;
  int32_t constrained = 0;
  int32_t seed = 0;
  double balanceFactor = 0.0;
  double denseFactor = -1.0;
};
struct GraphOrder : Ordered {
  int32_t method = -99;
  int32_t numDense = 0;
  std::vector<int32_t> groupId;
};
// OrderGraph with a work area of 8n + 8 entries; memory comes from the host
GraphOrder runOrderGraph(TestHost& host, const Graph& graph, const OrderRequest& request);

}  // namespace qztest
