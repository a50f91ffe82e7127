#include "ordering/order_graph.h"

#include <algorithm>

#include "ordering/choice_table.h"
#include "ordering/components.h"
#include "ordering/dense_vertices.h"
#include "ordering/minimum_degree.h"
#include "ordering/nested_dissection.h"
#include "ordering/node_bisection.h"
#include "ordering/work_space.h"
#include "shell/host_table.h"
#include "shell/pool.h"

namespace qz {
namespace {

// The caller's order stands.
void identityOrder(int32_t n, int32_t* perm, int32_t* invPerm) {
  for (int32_t v = 0; v < n; ++v) {
    perm[v] = v;
    invPerm[v] = v;
  }
}

// Writes the degrees of the n vertices.
void degreesOf(int32_t n, const int32_t* adjBegin, int32_t* degree) {
  for (int32_t v = 0; v < n; ++v) degree[v] = adjBegin[v + 1] - adjBegin[v];
}

// nd_amd with its arrays cut from `work`, 6n entries.
int32_t orderByDegree(int32_t n, int32_t* adjBegin, int32_t* adjList, int32_t adjCapacity, int32_t problemKind,
                      int32_t* perm, int32_t* invPerm, int32_t* work) {
  const int64_t size = n;
  degreesOf(n, adjBegin, work);
  return nd_amd(n, adjBegin, adjList, work, adjCapacity, adjBegin[n], work + size, invPerm, perm, work + 2 * size,
                work + 3 * size, work + 4 * size, work + 5 * size, 0, problemKind, 0);
}

// nd_amf with its arrays cut from `work`, 7n + 1 entries.
int32_t orderByFill(int32_t n, int32_t* adjBegin, int32_t* adjList, int32_t adjCapacity, int32_t removeDenseByLog,
                    int32_t problemKind, int32_t isFallback, int32_t* perm, int32_t* invPerm, int32_t* work) {
  const int64_t size = n;
  degreesOf(n, adjBegin, work);
  return nd_amf(n, adjBegin, adjList, work, adjCapacity, adjBegin[n], work + size, invPerm, perm, work + 2 * size,
                work + 3 * size + 1, work + 4 * size + 1, work + 5 * size + 1, work + 6 * size + 1, removeDenseByLog,
                problemKind, isFallback);
}

// What the dissection of one graph needs of OrderGraph's arguments.
struct DissectionTask {
  const LAEnv* env;
  int32_t n;
  int32_t* adjBegin;
  int32_t* adjList;
  int32_t adjCapacity;
  int32_t problemKind;
  const int32_t* vertexWeights;
  int32_t* perm;
  int32_t* invPerm;
  int32_t* work;
};

// Removes dense vertices and dissects the rest. work[0..n): the kept vertices, then the dense ones. Frees all that was
// allocated. LA_OK, ND_NO_CONTRACTION, or the status of a failure.
int32_t dissect(const DissectionTask& task, OrderingControl* control) {
  static_cast<void>(randomIndex(control, 1));  // the seed is advanced once
  QzPool* memory = task.env->memory;
  OrderingGraph graph;
  int32_t status = RemoveDenseVertices(&graph, task.n, task.adjBegin, task.adjList, task.work, task.vertexWeights,
                                       control->denseFactor, memory);
  control->numTopVertices = graph.numVertices;
  if (status == LA_OK) status = AllocateWorkSpace(control, &graph);
  if (status == LA_OK) {
    // A graph of no more than one vertex has nothing to contract.
    status =
        graph.numVertices > 1 ? NestedDissection(control, &graph, task.invPerm, graph.numVertices) : ND_NO_CONTRACTION;
  }
  if (status == LA_OK && threadCancelled(control->breakState)) status = LA_CANCELLED;
  freeGraphStores(control, &graph);
  auto* block = static_cast<char*>(control->workBlock);
  poolFree(memory, block);
  control->workBlock = nullptr;
  return status;
}

void invert(int32_t n, const int32_t* from, int32_t* to) {
  for (int32_t k = 0; k < n; ++k) to[from[k]] = k;
}

// From the positions of the m kept vertices, by their own numbers, to those of all vertices; dense ones are last.
void translateOrder(const DissectionTask& task, int32_t m) {
  std::copy(task.invPerm, task.invPerm + m, task.perm);
  for (int32_t i = 0; i < m; ++i) task.invPerm[task.work[i]] = task.perm[i];
  for (int32_t k = m; k < task.n; ++k) task.invPerm[task.work[k]] = k;
  invert(task.n, task.invPerm, task.perm);
}

// Moves all separators behind the other kept vertices: the first one found is last. The order of the factor's columns
// changes, its fill doesn't.
void moveSeparatorsBehind(const DissectionTask& task, int32_t m, OrderingControl* control) {
  const int32_t count = control->numSeparatorVertices;
  if (count == 0) return;
  int32_t* separator = control->separatorList;
  if (m < task.n) {
    for (int32_t i = 0; i < count; ++i) separator[i] = task.work[separator[i]];
  }
  for (int32_t i = 0; i < count; ++i) task.perm[task.invPerm[separator[i]]] = -1;
  int32_t position = 0;
  for (int32_t k = 0; k < m; ++k) {
    if (task.perm[k] >= 0) task.invPerm[task.perm[k]] = position++;
  }
  for (int32_t i = 0; i < count; ++i) task.invPerm[separator[i]] = m - 1 - i;
  invert(task.n, task.invPerm, task.perm);
}

// Numbers the groups without a gap between leaves and separators; perm only sorts out the dense vertices.
void finishGroups(const DissectionTask& task, int32_t m, const OrderingControl* control) {
  const int32_t gap = m - control->numSeparatorGroups - control->numLeafGroups;
  for (int32_t i = 0; i < m; ++i) {
    if (control->groupId[i] >= control->numLeafGroups) control->groupId[i] -= gap;
  }
  std::copy(task.work, task.work + task.n, task.perm);
  invert(task.n, task.perm, task.invPerm);
}

// The nested-dissection path. A graph that doesn't contract goes to nd_amf, without its dense vertices.
int32_t orderByDissection(const DissectionTask& task, OrderingControl* control, int32_t* numDense, int32_t* method) {
  const int32_t status = dissect(task, control);
  if (status != LA_OK && status != ND_NO_CONTRACTION) return status;
  const int32_t m = control->numTopVertices;
  *numDense = task.n - m;
  if (status == ND_NO_CONTRACTION) {
    *method = ORDER_AMF;
    const int32_t fallback = orderByFill(m, task.adjBegin, task.adjList, task.adjCapacity, 0, task.problemKind, 1,
                                         task.perm, task.invPerm, task.work + task.n);
    if (fallback != LA_OK) return fallback;
    translateOrder(task, m);
    return LA_OK;
  }
  if (control->constrained != 0) {
    finishGroups(task, m, control);
    return LA_OK;
  }
  translateOrder(task, m);
  if (control->pullSeparators != 0) moveSeparatorsBehind(task, m, control);
  return LA_OK;
}

}  // namespace

int32_t OrderGraph(const LAEnv* env, int32_t n, int32_t* adjBegin, int32_t* adjList, int32_t adjCapacity,
                   int32_t problemKind, const int32_t* vertexWeights, int32_t isLDL, int32_t* perm, int32_t* invPerm,
                   int32_t* numDense, int32_t* method, int32_t pullSeparators, int32_t constrained, int32_t* groupId,
                   int32_t seed, int32_t* work, double balanceFactor, double denseFactor) {
  const int32_t numEntries = adjBegin[n];
  // A graph whose average degree passes a quarter of its size is not worth ordering. The quotient is in integers, so
  // that a graph of fewer than four vertices is never ordered.
  const double avg = numEntries == 0 ? 0.0 : static_cast<double>(numEntries) / n;
  const int32_t quarter = n / 4;
  if (numEntries == 0 || avg > quarter) {
    *method = ORDER_IDENTITY;
    identityOrder(n, perm, invPerm);
    return LA_OK;
  }

  int32_t engine = *method;
  if (engine == ORDER_AUTOMATIC) engine = chooseOrdering(problemKind, isLDL, n, avg);
  if (engine == ORDER_AMD) {
    *method = ORDER_AMD;
    return orderByDegree(n, adjBegin, adjList, adjCapacity, problemKind, perm, invPerm, work);
  }
  if (engine == ORDER_AMF) {
    *method = ORDER_AMF;
    return orderByFill(n, adjBegin, adjList, adjCapacity, isLDL, problemKind, 0, perm, invPerm, work);
  }
  *method = ORDER_NESTED_DISSECTION;
  OrderingControl control{};
  control.env = env;
  control.breakState = hostCurrentThread();
  control.seed = seed == 0 ? 4321 : seed;
  control.pullSeparators = pullSeparators;
  control.constrained = constrained;
  control.groupId = groupId;
  control.balanceFactor = balanceFactor == 0.0 ? chooseBalanceFactor(avg) : balanceFactor;
  control.denseFactor = denseFactor == -1.0 ? 50.0 : denseFactor;
  control.separatorList = work + n;
  control.componentWork = work + 2 * static_cast<int64_t>(n);
  const DissectionTask task{env, n, adjBegin, adjList, adjCapacity, problemKind, vertexWeights, perm, invPerm, work};
  return orderByDissection(task, &control, numDense, method);
}

}  // namespace qz
