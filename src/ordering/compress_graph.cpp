#include "ordering/compress_graph.h"

#include "ordering/array_helpers.h"
#include "ordering/key_sort.h"
#include "shell/pool.h"

namespace qz {
namespace {

constexpr int32_t kNotCompressed = 1;
constexpr double kWorthwhile = 0.85;  // largest part of the vertices that the groups may be

struct Input {
  int32_t n;
  const int32_t* adjBegin;
  const int32_t* adjList;
  [[nodiscard]] int32_t degree(int32_t v) const { return adjBegin[v + 1] - adjBegin[v]; }
};

// Sum of the numbers in the closed neighbourhood, modulo 2^32.
int32_t neighbourhoodKey(const Input& input, int32_t v) {
  auto key = static_cast<uint32_t>(v);
  for (int32_t k = input.adjBegin[v]; k < input.adjBegin[v + 1]; ++k) key += static_cast<uint32_t>(input.adjList[k]);
  return static_cast<int32_t>(key);
}

// Whether u has the closed neighbourhood that is marked with `tag`, that of a vertex of the same degree.
bool sameNeighbourhood(const Input& input, int32_t u, const int32_t* marker, int32_t tag) {
  if (marker[u] != tag) return false;
  for (int32_t k = input.adjBegin[u]; k < input.adjBegin[u + 1]; ++k) {
    if (marker[input.adjList[k]] != tag) return false;
  }
  return true;
}

// representative[v]: the lowest vertex of v's group. `pairs` is sorted by key.
void findGroups(const Input& input, const KeyValue* pairs, int32_t* marker, int32_t* representative) {
  intSet(input.n, -1, marker);
  intSet(input.n, -1, representative);
  for (int32_t i = 0; i < input.n; ++i) {
    const int32_t v = pairs[i].value;
    if (representative[v] >= 0) continue;
    marker[v] = v;
    for (int32_t k = input.adjBegin[v]; k < input.adjBegin[v + 1]; ++k) marker[input.adjList[k]] = v;
    int32_t lowest = v;
    representative[v] = v;
    int32_t end = i + 1;
    for (; end < input.n && pairs[end].key == pairs[i].key; ++end) {
      const int32_t u = pairs[end].value;
      if (representative[u] >= 0 || input.degree(u) != input.degree(v)) continue;
      if (!sameNeighbourhood(input, u, marker, v)) continue;
      representative[u] = v;
      if (u < lowest) lowest = u;
    }
    if (lowest == v) continue;
    for (int32_t j = i; j < end; ++j) {
      if (representative[pairs[j].value] == v) representative[pairs[j].value] = lowest;
    }
  }
}

// Numbers the groups by their lowest vertices and lists the members; returns the number of groups.
int32_t listGroups(int32_t n, const int32_t* representative, int32_t* groupOf, int32_t* cptr, int32_t* cind) {
  int32_t count = 0;
  for (int32_t v = 0; v < n; ++v) groupOf[v] = representative[v] == v ? count++ : groupOf[representative[v]];
  intSet(n + 1, 0, cptr);
  for (int32_t v = 0; v < n; ++v) ++cptr[groupOf[v]];
  int32_t end = 0;
  for (int32_t g = 0; g <= n; ++g) {
    end += cptr[g];
    cptr[g] = end;
  }
  for (int32_t v = n - 1; v >= 0; --v) cind[--cptr[groupOf[v]]] = v;
  return count;
}

// Every member has the same neighbours, so the first one's list stands for the group.
void buildCompressed(const Input& input, int32_t count, const int32_t* groupOf, const int32_t* cptr,
                     const int32_t* cind, int32_t* marker, OrderingGraph* graph) {
  intSet(count, -1, marker);
  int32_t numEdges = 0;
  graph->adjBegin[0] = 0;
  for (int32_t g = 0; g < count; ++g) {
    marker[g] = g;
    const int32_t start = numEdges;
    const int32_t v = cind[cptr[g]];
    for (int32_t k = input.adjBegin[v]; k < input.adjBegin[v + 1]; ++k) {
      const int32_t neighbour = groupOf[input.adjList[k]];
      if (marker[neighbour] == g) continue;
      marker[neighbour] = g;
      graph->adjList[numEdges++] = neighbour;
    }
    graph->adjBegin[g + 1] = numEdges;
    graph->vertexWeight[g] = cptr[g + 1] - cptr[g];
    graph->adjWeightSum[g] = numEdges - start;
    graph->vertexLabel[g] = g;
  }
  graph->numEdges = numEdges;
  intSet(numEdges, 1, graph->edgeWeight);
}

}  // namespace

int32_t CompressGraph(int32_t n, const int32_t* adjBegin, const int32_t* adjList, OrderingGraph* graph, int32_t* cptr,
                      int32_t* cind, int32_t* work, QzPool* memory) {
  InitGraph(graph);
  const Input input{n, adjBegin, adjList};
  PoolArray<KeyValue> pairs;
  if (pairs.allocate(memory, n) != QZ_STATUS_OK) return kNotCompressed;
  for (int32_t v = 0; v < n; ++v) pairs[v] = {neighbourhoodKey(input, v), v};
  ikeysort(n, pairs.get());
  int32_t* marker = work;
  int32_t* representative = work + n;
  int32_t* groupOf = representative + n;
  findGroups(input, pairs.get(), marker, representative);
  const int32_t count = listGroups(n, representative, groupOf, cptr, cind);
  if (static_cast<double>(count) >= kWorthwhile * n) return kNotCompressed;

  int64_t entries = 0;
  for (int32_t g = 0; g < count; ++g) entries += input.degree(cind[cptr[g]]);
  const int64_t size = count;
  PoolArray<int32_t> labels;
  PoolArray<int32_t> store;
  if (labels.allocate(memory, size) != QZ_STATUS_OK) return kNotCompressed;
  if (store.allocate(memory, 4 * size + 2 * entries + 1) != QZ_STATUS_OK) return kNotCompressed;
  graph->vertexLabel = labels.release();
  graph->graphStore = store.release();
  graph->numVertices = count;
  graph->adjBegin = graph->graphStore;
  graph->vertexWeight = graph->adjBegin + size + 1;
  graph->adjWeightSum = graph->vertexWeight + size;
  graph->coarseMap = graph->adjWeightSum + size;
  graph->adjList = graph->coarseMap + size;
  graph->edgeWeight = graph->adjList + entries;
  buildCompressed(input, count, groupOf, cptr, cind, marker, graph);
  return 0;
}

}  // namespace qz
