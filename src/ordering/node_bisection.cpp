#include "ordering/node_bisection.h"

#include <algorithm>

#include "ordering/coarsening.h"
#include "ordering/edge_cut.h"
#include "ordering/initial_partition.h"
#include "ordering/node_balance.h"
#include "ordering/node_refinement.h"
#include "ordering/separator.h"
#include "shell/host_table.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

constexpr int32_t kTwoSidedPasses = 6;
constexpr int32_t kOneSidedPasses = 8;
constexpr double kContraction = 0.9;         // a level of more than this part of the finer one ends the coarsening
constexpr int32_t kManyNeighbours = 200;     // graphs of this average degree are dissected however little contracts
constexpr double kVertexWeightFactor = 1.6;  // heaviest coarse vertex by the mean of the coarsest graph

bool cancelled(const OrderingControl* control) {
  return threadCancelled(control->breakState);
}

bool hardlyContracted(int32_t coarse, int32_t fine) {
  return static_cast<double>(coarse) >= kContraction * fine;
}

// Adds levels to the graph until one is coarse enough; *coarsest is the last one.
int32_t coarsen(OrderingControl* control, OrderingGraph* graph, OrderingGraph** coarsest) {
  const int32_t avgDegree = graph->numEdges / graph->numVertices;
  for (OrderingGraph* level = graph;; level = level->coarser) {
    const int32_t status = level == graph ? RandomMatch(control, level) : SortedMatch(control, level);
    if (status != LA_OK) return status;
    *coarsest = level->coarser;
    const int32_t count = level->coarser->numVertices;
    if (hardlyContracted(count, control->numTopVertices) && avgDegree < kManyNeighbours) return ND_NO_CONTRACTION;
    if (cancelled(control)) return LA_CANCELLED;
    if (count <= control->coarsenTo || hardlyContracted(count, level->numVertices) ||
        count / 2 >= level->coarser->numEdges) {
      return LA_OK;
    }
  }
}

// The separator of the coarsest graph: all vertices on either side of an edge cut, refined.
int32_t separateCoarsest(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights) {
  const int32_t status = Init2WayPartition(control, graph, targetWeights);
  if (status != LA_OK) return status;
  if (cancelled(control)) return LA_CANCELLED;
  Compute2WayPartitionParams(graph);
  for (int32_t i = 0; i < graph->boundaryCount; ++i) {
    const int32_t v = graph->boundaryList[i];
    if (graph->adjBegin[v + 1] > graph->adjBegin[v]) graph->side[v] = 2;
  }
  computeSeparatorState(graph);
  return NodeRefine(control, graph, kTwoSidedPasses);
}

// Takes the bisection over to the finer level and frees the coarser one.
int32_t project(OrderingControl* control, OrderingGraph* fine) {
  OrderingGraph* coarse = fine->coarser;
  const int32_t status = allocateRefineStore(control->env->memory, fine, false);
  if (status == LA_OK) {
    for (int32_t v = 0; v < fine->numVertices; ++v) fine->side[v] = coarse->side[fine->coarseMap[v]];
    computeSeparatorState(fine);
  }
  freeCoarseLevel(control, coarse);
  return status;
}

int32_t refineUpwards(OrderingControl* control, OrderingGraph* graph, OrderingGraph* level) {
  for (;;) {
    int32_t status = NodeBalance(control, level);
    if (status != LA_OK) return status;
    status = NodeRefineOneSided(control, level, kOneSidedPasses);
    if (status != LA_OK || level == graph) return status;
    level = level->finer;
    status = project(control, level);
    if (status != LA_OK) return status;
    if (cancelled(control)) return LA_CANCELLED;
  }
}

}  // namespace

int32_t NodeBisection(OrderingControl* control, OrderingGraph* graph, const int32_t* targetWeights) {
  control->coarsenTo = std::clamp(graph->numVertices / 32, 40, 100);
  const int32_t meanWeight = (targetWeights[0] + targetWeights[1]) / control->coarsenTo;
  control->maxVertexWeight = static_cast<int32_t>(kVertexWeightFactor * meanWeight);
  OrderingGraph* coarsest = graph;
  int32_t status = coarsen(control, graph, &coarsest);
  if (status == LA_OK) status = separateCoarsest(control, coarsest, targetWeights);
  if (status == LA_OK && cancelled(control)) status = LA_CANCELLED;
  if (status == LA_OK) status = refineUpwards(control, graph, coarsest);
  OrderingGraph* last = graph;
  while (last->coarser != nullptr) last = last->coarser;
  while (last != graph) {
    OrderingGraph* finer = last->finer;
    freeCoarseLevel(control, last);
    last = finer;
  }
  return status;
}

}  // namespace qz
