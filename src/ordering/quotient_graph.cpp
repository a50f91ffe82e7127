#include "ordering/quotient_graph.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ordering/assembly_order.h"

namespace qz {
namespace {

constexpr int32_t FIRST_STAMP = 2;
constexpr int32_t MAX_INT = std::numeric_limits<int32_t>::max();
constexpr int32_t MAX_FULL_DEGREE = 46341;  // from this degree on a score is capped

// d (d - 1) / 2, the fill of eliminating a vertex none of whose neighbours are adjacent.
int32_t initialFill(int32_t degree) {
  if (degree >= MAX_FULL_DEGREE) return MAX_INT;
  const double d = degree;
  return static_cast<int32_t>(d * (d - 1.0) / 2.0);
}

// Absorbed variables point to the element that they ended in, past all nodes in between.
void pointToElements(int32_t n, int32_t* parent, const int32_t* nodeCount) {
  for (int32_t v = 0; v < n; ++v) {
    if (nodeCount[v] != 0 || parent[v] == NO_NODE) continue;
    int32_t element = parent[v];
    while (nodeCount[element] == 0) element = parent[element];
    for (int32_t i = v; nodeCount[i] == 0;) {
      const int32_t up = parent[i];
      parent[i] = element;
      i = up;
    }
  }
}

}  // namespace

int32_t denseLimitBySize(int32_t n) {
  return std::min(n, static_cast<int32_t>(std::max(16.0, 10.0 * std::sqrt(static_cast<double>(n)))));
}

int64_t denseLimitByDegree(int32_t n, int32_t numEntries) {
  return int64_t{50} * (numEntries / n);
}

void openGraph(QuotientGraph& graph, int32_t numBuckets) {
  const int32_t n = graph.n;
  std::fill(graph.bucketHead, graph.bucketHead + numBuckets, NO_NODE);
  for (int32_t v = 0; v < n; ++v) {
    graph.nextInList[v] = NO_NODE;
    graph.prevInList[v] = NO_NODE;
    graph.nodeCount[v] = 1;
    graph.stamp[v] = 1;
    graph.elementCount[v] = 0;
    graph.approxDegree[v] = graph.listLen[v];
  }
  if (graph.fillScore != nullptr) {
    for (int32_t v = 0; v < n; ++v) graph.fillScore[v] = initialFill(graph.listLen[v]);
  }
  graph.numEliminated = 0;
  graph.remaining = 0;
  graph.minKey = 0;
  graph.wflg = FIRST_STAMP;
  graph.largestElement = 0;
}

void takeOutDense(QuotientGraph& graph, int32_t v) {
  graph.nodeCount[v] = 0;
  graph.elementCount[v] = -1;
  graph.listStart[v] = NO_NODE;
  ++graph.numEliminated;
}

void takeOutIsolated(QuotientGraph& graph, int32_t v) {
  graph.elementCount[v] = ISOLATED_MARK;
  graph.listStart[v] = NO_NODE;
  graph.stamp[v] = 0;
  ++graph.numEliminated;
}

void takeOutAbove(QuotientGraph& graph, int64_t limit) {
  for (int32_t v = 0; v < graph.n; ++v) {
    const int32_t degree = graph.approxDegree[v];
    if (degree == 0) {
      takeOutIsolated(graph, v);
    } else if (degree > limit) {
      takeOutDense(graph, v);
    }
  }
}

void takeOutByLog(QuotientGraph& graph) {
  const int32_t n = graph.n;
  for (int32_t v = 0; v < n; ++v) {
    const int32_t degree = graph.approxDegree[v];
    graph.nextInList[v] = graph.bucketHead[degree];
    graph.bucketHead[degree] = v;
  }
  double live = n;
  double average = static_cast<double>(graph.listStart[n]) / live;
  double least = 40.0 * std::log(live) / live;
  for (int32_t degree = n - 1; degree > 0; --degree) {
    for (int32_t v = graph.bucketHead[degree]; v != NO_NODE && live >= 2.0; v = graph.nextInList[v]) {
      const double sumWithout = average * live - 2.0 * degree;
      if (average - sumWithout / live < least) break;
      takeOutDense(graph, v);
      live -= 1.0;
      average = sumWithout / live;
      least = 40.0 * std::log(live) / live;
    }
    graph.bucketHead[degree] = NO_NODE;
  }
  for (int32_t v = graph.bucketHead[0]; v != NO_NODE; v = graph.nextInList[v]) takeOutIsolated(graph, v);
  graph.bucketHead[0] = NO_NODE;
}

void advanceStamp(QuotientGraph& graph, int32_t amount) {
  graph.wflg += amount;
  if (graph.wflg < MAX_INT - graph.n) return;
  for (int32_t v = 0; v < graph.n; ++v) {
    if (graph.stamp[v] != 0) graph.stamp[v] = 1;
  }
  graph.wflg = FIRST_STAMP;
}

int32_t compactLists(QuotientGraph& graph, int32_t elementBegin) {
  int32_t* const iw = graph.iw;
  // The head of each list gives its place to the coded owner and waits in listStart.
  for (int32_t v = 0; v < graph.n; ++v) {
    const int32_t start = graph.listStart[v];
    if (start < 0) continue;
    graph.listStart[v] = iw[start];
    iw[start] = coded(v);
  }
  int32_t to = 0;
  for (int32_t from = 0; from < elementBegin;) {
    if (iw[from] >= 0) {
      ++from;
      continue;
    }
    const int32_t owner = coded(iw[from]);
    const int32_t length = graph.listLen[owner];
    iw[to] = graph.listStart[owner];
    graph.listStart[owner] = to;
    std::copy(iw + from + 1, iw + from + length, iw + to + 1);
    from += length;
    to += length;
  }
  const int32_t newBegin = to;
  std::copy(iw + elementBegin, iw + graph.freePos, iw + newBegin);
  graph.freePos = newBegin + (graph.freePos - elementBegin);
  return newBegin;
}

void finishOrder(QuotientGraph& graph, const int32_t* vertexOfNode) {
  const int32_t n = graph.n;
  int32_t* const parent = graph.listStart;
  int32_t* const frontSize = graph.elementCount;
  for (int32_t v = 0; v < n; ++v) {
    parent[v] = coded(parent[v]);
    frontSize[v] = coded(frontSize[v]);
  }
  pointToElements(n, parent, graph.nodeCount);

  int32_t* const order = graph.stamp;
  nd_postorder(n, parent, graph.nodeCount, frontSize, order, graph.bucketHead, graph.nextInList, graph.prevInList,
               graph.groupId, vertexOfNode);
  int32_t* const elementAt = graph.bucketHead;
  int32_t numElements = 0;
  for (int32_t v = 0; v < n; ++v) {
    if (order[v] < 0) continue;
    elementAt[order[v]] = v;
    ++numElements;
  }

  // The variables of an element come in index order, the element's own vertex last.
  int32_t* const position = graph.nextInList;
  int32_t total = 0;
  for (int32_t k = 0; k < numElements; ++k) {
    position[elementAt[k]] = total;
    total += graph.nodeCount[elementAt[k]];
  }
  for (int32_t v = 0; v < n; ++v) {
    if (graph.nodeCount[v] != 0) continue;
    position[v] = parent[v] == NO_NODE ? total++ : position[parent[v]]++;
  }
  for (int32_t v = 0; v < n; ++v) graph.prevInList[position[v]] = v;
}

}  // namespace qz
