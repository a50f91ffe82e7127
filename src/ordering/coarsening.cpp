#include "ordering/coarsening.h"

#include <algorithm>

#include "ordering/array_helpers.h"
#include "ordering/work_space.h"
#include "shell/pool.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

// Places of neighbours in the list that is being merged, by vertex number under a mask. A slot holds one place; other
// vertices of the same slot are found by search.
struct PlaceTable {
  int32_t* slot;  // -1 between lists
  int32_t mask;
};

constexpr int32_t kSmallTable = 2048;
constexpr int32_t kLargeGraph = 16376;          // from this size on a table for every vertex is out of cache
constexpr int32_t kLowDegree = 16;              // up to this degree few places collide
constexpr int32_t kShrinkFromEntries = 100001;  // smaller stores are not worth a move
constexpr double kShrinkBelow = 0.7;

// The list of one coarse vertex.
struct CoarseList {
  int32_t* neighbour;
  int32_t* weight;
  int32_t count;
};

int32_t placeOf(const CoarseList& list, const PlaceTable& table, int32_t vertex) {
  const int32_t place = table.slot[vertex & table.mask];
  if (place < 0 || list.neighbour[place] == vertex) return place;
  for (int32_t k = 0; k < list.count; ++k) {
    if (list.neighbour[k] == vertex) return k;
  }
  return -1;
}

void addNeighbours(const OrderingGraph& fine, const int32_t* coarseNeighbour, int32_t v, CoarseList& list,
                   const PlaceTable& table) {
  const int32_t end = fine.adjBegin[v + 1];
  for (int32_t k = fine.adjBegin[v]; k < end; ++k) {
    const int32_t vertex = coarseNeighbour[k];
    const int32_t place = placeOf(list, table, vertex);
    if (place >= 0) {
      list.weight[place] += fine.edgeWeight[k];
      continue;
    }
    int32_t& slot = table.slot[vertex & table.mask];
    if (slot < 0) slot = list.count;
    list.neighbour[list.count] = vertex;
    list.weight[list.count++] = fine.edgeWeight[k];
  }
}

// Clears the table and takes the edge inside the pair out; returns its weight.
int32_t closeList(int32_t vertex, CoarseList& list, const PlaceTable& table) {
  const int32_t inner = placeOf(list, table, vertex);
  for (int32_t k = 0; k < list.count; ++k) table.slot[list.neighbour[k] & table.mask] = -1;
  if (inner < 0) return 0;
  const int32_t weight = list.weight[inner];
  --list.count;
  list.neighbour[inner] = list.neighbour[list.count];
  list.weight[inner] = list.weight[list.count];
  return weight;
}

void cutGraphStore(OrderingGraph* level, int64_t numEntries) {
  const int64_t c = level->numVertices;
  level->adjBegin = level->graphStore;
  level->vertexWeight = level->adjBegin + c + 1;
  level->adjWeightSum = level->vertexWeight + c;
  level->coarseMap = level->adjWeightSum + c;
  level->adjList = level->coarseMap + c;
  level->edgeWeight = level->adjList + numEntries;
}

// A level with room for all entries of the finer one.
int32_t addLevel(const OrderingControl* control, OrderingGraph* fine, int32_t coarseCount) {
  QzPool* memory = control->env->memory;
  auto* level = poolAllocate<OrderingGraph>(memory, 1);
  if (level == nullptr) return LA_NO_MEMORY;
  InitGraph(level);
  level->numVertices = coarseCount;
  level->graphStore = poolAllocate<int32_t>(
      memory, 4 * static_cast<int64_t>(coarseCount) + 2 * static_cast<int64_t>(fine->numEdges) + 1);
  if (level->graphStore == nullptr) {
    poolFree(memory, level);
    return LA_NO_MEMORY;
  }
  cutGraphStore(level, fine->numEdges);
  fine->coarser = level;
  level->finer = fine;
  return LA_OK;
}

// Gives back the room that merged edges left in the store of a large level.
int32_t shrinkStore(const OrderingControl* control, OrderingGraph* level, int32_t fineEntries) {
  const int64_t entries = level->numEdges;
  if (entries < kShrinkFromEntries || static_cast<double>(entries) >= kShrinkBelow * fineEntries) return LA_OK;
  const int64_t ahead = 4 * static_cast<int64_t>(level->numVertices) + 1;
  QzPool* memory = control->env->memory;
  auto* store = poolAllocate<int32_t>(memory, ahead + 2 * entries);
  if (store == nullptr) return LA_NO_MEMORY;
  std::copy(level->graphStore, level->graphStore + ahead + entries, store);
  std::copy(level->edgeWeight, level->edgeWeight + entries, store + ahead + entries);
  poolFree(memory, level->graphStore);
  level->graphStore = store;
  cutGraphStore(level, entries);
  return LA_OK;
}

// Joins v and its partner, or v alone, as the next coarse vertex.
void join(OrderingGraph* graph, int32_t v, int32_t partner, int32_t* match, int32_t* count) {
  match[v] = partner;
  match[partner] = v;
  graph->coarseMap[v] = *count;
  graph->coarseMap[partner] = *count;
  ++*count;
}

// The neighbour that a vertex takes in a sorted matching: the one of the heaviest edge.
int32_t heaviestFreeNeighbour(const OrderingGraph* graph, const int32_t* match, int32_t v, int32_t maxVertexWeight) {
  int32_t partner = v;
  int32_t heaviest = 0;
  const int32_t room = maxVertexWeight - graph->vertexWeight[v];
  for (int32_t k = graph->adjBegin[v]; k < graph->adjBegin[v + 1]; ++k) {
    const int32_t u = graph->adjList[k];
    if (graph->edgeWeight[k] > heaviest && match[u] < 0 && graph->vertexWeight[u] <= room) {
      heaviest = graph->edgeWeight[k];
      partner = u;
    }
  }
  return partner;
}

// The vertices by rising min(degree, limit), those of equal keys in the order of perm. start: limit + 2 entries.
void sortByDegree(const OrderingGraph* graph, int32_t limit, const int32_t* perm, int32_t* start, int32_t* sorted) {
  const int32_t n = graph->numVertices;
  const auto key = [&](int32_t v) { return std::min(graph->adjBegin[v + 1] - graph->adjBegin[v], limit); };
  intSet(limit + 2, 0, start);
  for (int32_t v = 0; v < n; ++v) ++start[key(v) + 1];
  for (int32_t d = 0; d <= limit; ++d) start[d + 1] += start[d];
  for (int32_t i = 0; i < n; ++i) sorted[start[key(perm[i])]++] = perm[i];
}

bool hasEdges(const OrderingGraph* graph, int32_t v) {
  return graph->adjBegin[v + 1] > graph->adjBegin[v];
}

// Matches along `sorted`; returns the number of coarse vertices.
int32_t matchSorted(OrderingGraph* graph, int32_t maxVertexWeight, const int32_t* sorted, int32_t* match) {
  const int32_t n = graph->numVertices;
  int32_t count = 0;
  int32_t i = 0;
  int32_t last = n - 1;  // behind it all vertices with edges are taken
  for (; i < n; ++i) {
    const int32_t v = sorted[i];
    if (match[v] >= 0) continue;
    if (hasEdges(graph, v)) break;
    while (last > i && (match[sorted[last]] >= 0 || !hasEdges(graph, sorted[last]))) --last;
    join(graph, v, last > i ? sorted[last] : v, match, &count);
  }
  for (; i < n; ++i) {
    const int32_t v = sorted[i];
    if (match[v] < 0) join(graph, v, heaviestFreeNeighbour(graph, match, v, maxVertexWeight), match, &count);
  }
  return count;
}

}  // namespace

int32_t CreateCoarseGraph(OrderingControl* control, OrderingGraph* graph, int32_t coarseCount, const int32_t* match,
                          const int32_t* perm) {
  int32_t status = addLevel(control, graph, coarseCount);
  if (status != LA_OK) return status;
  OrderingGraph* level = graph->coarser;
  for (int32_t k = 0; k < graph->numEdges; ++k) control->edgeWork[k] = graph->coarseMap[graph->adjList[k]];

  const bool small = coarseCount >= kLargeGraph && graph->numEdges / graph->numVertices < kLowDegree;
  const int32_t slots = small ? kSmallTable : coarseCount;
  const PlaceTable table{poolmalloc(control, slots), small ? kSmallTable - 1 : INT32_MAX};
  intSet(slots, -1, table.slot);
  int32_t vertex = 0;
  int32_t numEdges = 0;
  level->adjBegin[0] = 0;
  for (int32_t i = 0; i < graph->numVertices; ++i) {
    const int32_t v = perm[i];
    if (graph->coarseMap[v] != vertex) continue;
    const int32_t u = match[v];
    CoarseList list{level->adjList + numEdges, level->edgeWeight + numEdges, 0};
    level->vertexWeight[vertex] = graph->vertexWeight[v];
    level->adjWeightSum[vertex] = graph->adjWeightSum[v];
    addNeighbours(*graph, control->edgeWork, v, list, table);
    if (u != v) {
      level->vertexWeight[vertex] += graph->vertexWeight[u];
      level->adjWeightSum[vertex] += graph->adjWeightSum[u];
      addNeighbours(*graph, control->edgeWork, u, list, table);
    }
    level->adjWeightSum[vertex] -= closeList(vertex, list, table);
    numEdges += list.count;
    level->adjBegin[++vertex] = numEdges;
  }
  poolfree(control, slots);
  level->numEdges = numEdges;
  status = shrinkStore(control, level, graph->numEdges);
  if (status != LA_OK) freeCoarseLevel(control, level);
  return status;
}

int32_t RandomMatch(OrderingControl* control, OrderingGraph* graph) {
  const int32_t n = graph->numVertices;
  int32_t* match = intSet(n, -1, poolmalloc(control, n));
  int32_t* perm = poolmalloc(control, n);
  RandomPermute(n, perm, control);
  int32_t count = 0;
  for (int32_t i = 0; i < n; ++i) {
    const int32_t v = perm[i];
    if (match[v] >= 0) continue;
    const int32_t room = control->maxVertexWeight - graph->vertexWeight[v];
    int32_t partner = v;
    for (int32_t k = graph->adjBegin[v]; k < graph->adjBegin[v + 1]; ++k) {
      const int32_t u = graph->adjList[k];
      if (match[u] < 0 && graph->vertexWeight[u] <= room) {
        partner = u;
        break;
      }
    }
    join(graph, v, partner, match, &count);
  }
  const int32_t status = CreateCoarseGraph(control, graph, count, match, perm);
  poolfree(control, n);
  poolfree(control, n);
  return status;
}

int32_t SortedMatch(OrderingControl* control, OrderingGraph* graph) {
  const int32_t n = graph->numVertices;
  int32_t* match = intSet(n, -1, poolmalloc(control, n));
  int32_t* perm = poolmalloc(control, n);
  int32_t* sorted = poolmalloc(control, n);
  RandomPermute(n, perm, control);
  const int32_t meanDegree = graph->numEdges / n;
  const auto limit = static_cast<int32_t>(0.7 * meanDegree);
  int32_t* start = poolmalloc(control, limit + 2);
  sortByDegree(graph, limit, perm, start, sorted);
  poolfree(control, limit + 2);
  const int32_t count = matchSorted(graph, control->maxVertexWeight, sorted, match);
  const int32_t status = CreateCoarseGraph(control, graph, count, match, sorted);
  poolfree(control, n);
  poolfree(control, n);
  poolfree(control, n);
  return status;
}

void freeCoarseLevel(const OrderingControl* control, OrderingGraph* level) {
  QzPool* memory = control->env->memory;
  level->finer->coarser = nullptr;
  poolFree(memory, level->graphStore);
  poolFree(memory, level->refineStore);
  poolFree(memory, level);
}

}  // namespace qz
