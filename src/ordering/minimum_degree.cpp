#include "ordering/minimum_degree.h"

#include <algorithm>
#include <numeric>

#include "ordering/elimination.h"
#include "ordering/quotient_graph.h"
#include "shell/host_table.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

// nd_amd and nd_amf behind their argument lists.
int32_t orderUngrouped(QuotientGraph& graph, int32_t removeDenseByLog, int32_t isFallback) {
  const int32_t n = graph.n;
  if (n <= 0) return LA_OK;
  if (graph.freePos > graph.iwCapacity) return LA_INCONSISTENT;
  const QzThread* thread = hostCurrentThread();
  openGraph(graph, graph.fillScore != nullptr ? n + 1 : n);
  if (removeDenseByLog != 0) {
    takeOutByLog(graph);
  } else {
    const bool byDegree = (graph.problemKind == 1 || graph.problemKind == 2) && isFallback == 0;
    takeOutAbove(graph, byDegree ? denseLimitByDegree(n, graph.listStart[n]) : denseLimitBySize(n));
  }
  graph.minKey = n;
  for (int32_t v = 0; v < n; ++v) {
    if (isLiveVariable(graph, v)) admitVariable(graph, v);
  }
  const int32_t status = eliminateAdmitted(graph, thread);
  if (status != LA_OK) return status;
  finishOrder(graph, nullptr);
  return LA_OK;
}

// Lists the vertices by ascending group and, within a group, by index; `start` has n + 1 entries.
void sortByGroup(int32_t n, const int32_t* groupId, int32_t* start, int32_t* groupOrder) {
  std::fill(start, start + n + 1, 0);
  for (int32_t v = 0; v < n; ++v) ++start[groupId[v] + 1];
  for (int32_t g = 0; g < n; ++g) start[g + 1] += start[g];
  for (int32_t v = 0; v < n; ++v) groupOrder[start[groupId[v]]++] = v;
}

// nd_camf behind its argument list: the groups are eliminated one after the other, each from buckets of its own.
int32_t orderGroups(QuotientGraph& graph, int32_t* groupOrder) {
  const int32_t n = graph.n;
  if (n <= 0) return LA_OK;
  if (graph.freePos > graph.iwCapacity) return LA_INCONSISTENT;
  if (graph.groupId != nullptr) {
    sortByGroup(n, graph.groupId, graph.bucketHead, groupOrder);
  } else {
    std::iota(groupOrder, groupOrder + n, 0);
  }
  openGraph(graph, n + 1);
  takeOutAbove(graph, denseLimitBySize(n));
  for (int32_t next = 0; next < n;) {
    if (graph.groupId != nullptr) graph.currentGroup = graph.groupId[groupOrder[next]];
    graph.minKey = n;
    for (; next < n; ++next) {
      const int32_t v = groupOrder[next];
      if (graph.groupId != nullptr && graph.groupId[v] != graph.currentGroup) break;
      if (isLiveVariable(graph, v)) admitVariable(graph, v);
    }
    const int32_t status = eliminateAdmitted(graph, nullptr);
    if (status != LA_OK) return status;
  }
  finishOrder(graph, groupOrder);
  return LA_OK;
}

// The arrays of an engine's argument list, in the order that nd_amd and nd_amf give them. fillScore is null in nd_amd.
QuotientGraph graphOn(int32_t n, int32_t* listStart, int32_t* iw, int32_t* listLen, int32_t iwCapacity, int32_t freePos,
                      int32_t* nodeCount, int32_t* nextInList, int32_t* prevInList, int32_t* bucketHead,
                      int32_t* elementCount, int32_t* approxDegree, int32_t* stamp, int32_t* fillScore,
                      int32_t problemKind) {
  QuotientGraph graph{};
  graph.n = n;
  graph.iwCapacity = iwCapacity;
  graph.freePos = freePos;
  graph.listStart = listStart;
  graph.iw = iw;
  graph.listLen = listLen;
  graph.nodeCount = nodeCount;
  graph.nextInList = nextInList;
  graph.prevInList = prevInList;
  graph.bucketHead = bucketHead;
  graph.elementCount = elementCount;
  graph.approxDegree = approxDegree;
  graph.stamp = stamp;
  graph.fillScore = fillScore;
  graph.problemKind = problemKind;
  return graph;
}

}  // namespace

int32_t nd_amd(int32_t n, int32_t* listStart, int32_t* iw, int32_t* listLen, int32_t iwCapacity, int32_t freePos,
               int32_t* nodeCount, int32_t* nextInList, int32_t* prevInList, int32_t* bucketHead, int32_t* elementCount,
               int32_t* approxDegree, int32_t* stamp, int32_t removeDenseByLog, int32_t problemKind,
               int32_t isFallback) {
  QuotientGraph graph = graphOn(n, listStart, iw, listLen, iwCapacity, freePos, nodeCount, nextInList, prevInList,
                                bucketHead, elementCount, approxDegree, stamp, nullptr, problemKind);
  return orderUngrouped(graph, removeDenseByLog, isFallback);
}

int32_t nd_amf(int32_t n, int32_t* listStart, int32_t* iw, int32_t* listLen, int32_t iwCapacity, int32_t freePos,
               int32_t* nodeCount, int32_t* nextInList, int32_t* prevInList, int32_t* bucketHead, int32_t* elementCount,
               int32_t* approxDegree, int32_t* stamp, int32_t* fillScore, int32_t removeDenseByLog, int32_t problemKind,
               int32_t isFallback) {
  QuotientGraph graph = graphOn(n, listStart, iw, listLen, iwCapacity, freePos, nodeCount, nextInList, prevInList,
                                bucketHead, elementCount, approxDegree, stamp, fillScore, problemKind);
  return orderUngrouped(graph, removeDenseByLog, isFallback);
}

int32_t nd_camf(int32_t n, int32_t* listStart, int32_t* iw, int32_t* listLen, int32_t iwCapacity, int32_t freePos,
                const int32_t* groupId, int32_t* nodeCount, int32_t* prevInList, int32_t* nextInList,
                int32_t* elementCount, int32_t* approxDegree, int32_t* stamp, int32_t* bucketHead, int32_t* fillScore,
                int32_t* groupOrder, int32_t problemKind) {
  QuotientGraph graph = graphOn(n, listStart, iw, listLen, iwCapacity, freePos, nodeCount, nextInList, prevInList,
                                bucketHead, elementCount, approxDegree, stamp, fillScore, problemKind);
  graph.groupId = groupId;
  return orderGroups(graph, groupOrder);
}

}  // namespace qz
