#include "ordering/elimination.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "shell/host_table.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

enum class Measure { degree, fill };

// The pivot and its element; the variables of the element are iw[begin] to iw[end - 1].
struct Pivot {
  int32_t node;
  int32_t count;   // input vertices of the pivot
  int32_t degree;  // input vertices of the element's variables
  int32_t begin;
  int32_t end;
  bool inPlace;  // the element took over the pivot's own list
};

template <Measure MEASURE>
int32_t keyOf(const QuotientGraph& graph, int32_t v) {
  if constexpr (MEASURE == Measure::degree) return graph.approxDegree[v];
  return std::min(graph.fillScore[v], graph.n);
}

// Only variables of the current group are in the buckets.
template <bool GROUPED>
bool isInBuckets(const QuotientGraph& graph, int32_t v) {
  if constexpr (GROUPED) return graph.groupId[v] == graph.currentGroup;
  return true;
}

template <Measure MEASURE>
void insertInBucket(QuotientGraph& graph, int32_t v) {
  const int32_t key = keyOf<MEASURE>(graph, v);
  const int32_t head = graph.bucketHead[key];
  if (head != NO_NODE) graph.prevInList[head] = v;
  graph.nextInList[v] = head;
  graph.prevInList[v] = NO_NODE;
  graph.bucketHead[key] = v;
  graph.minKey = std::min(graph.minKey, key);
}

template <Measure MEASURE>
void removeFromBucket(QuotientGraph& graph, int32_t v) {
  const int32_t previous = graph.prevInList[v];
  const int32_t next = graph.nextInList[v];
  if (next != NO_NODE) graph.prevInList[next] = previous;
  if (previous != NO_NODE) {
    graph.nextInList[previous] = next;
  } else {
    graph.bucketHead[keyOf<MEASURE>(graph, v)] = next;
  }
}

// Takes the variable of least key out of the buckets. All fills of n and more share the last bucket, which is searched
// for the least, the first of equals.
template <Measure MEASURE>
int32_t takePivot(QuotientGraph& graph) {
  while (graph.bucketHead[graph.minKey] == NO_NODE) ++graph.minKey;
  int32_t best = graph.bucketHead[graph.minKey];
  if (MEASURE == Measure::fill && graph.minKey == graph.n) {
    for (int32_t v = graph.nextInList[best]; v != NO_NODE; v = graph.nextInList[v]) {
      if (graph.fillScore[v] < graph.fillScore[best]) best = v;
    }
  }
  removeFromBucket<MEASURE>(graph, best);
  return best;
}

// A variable joins the element.
template <Measure MEASURE, bool GROUPED>
void joinElement(QuotientGraph& graph, Pivot& pivot, int32_t v) {
  pivot.degree += graph.nodeCount[v];
  graph.nodeCount[v] = -graph.nodeCount[v];
  if (isInBuckets<GROUPED>(graph, v)) removeFromBucket<MEASURE>(graph, v);
}

// Appends to the element the variables of a list that are not yet in it. Each one appended has been read from a list
// that shrinks by it, so that a compaction always makes room.
template <Measure MEASURE, bool GROUPED>
void appendList(QuotientGraph& graph, Pivot& pivot, int32_t owner) {
  int32_t from = graph.listStart[owner];
  int32_t end = from + graph.listLen[owner];
  while (from < end) {
    const int32_t v = graph.iw[from++];
    if (graph.nodeCount[v] <= 0) continue;
    if (graph.freePos >= graph.iwCapacity) {
      graph.listLen[owner] = end - from;
      graph.listStart[owner] = from < end ? from : NO_NODE;
      pivot.begin = compactLists(graph, pivot.begin);
      from = graph.listStart[owner];
      end = from + graph.listLen[owner];
    }
    graph.iw[graph.freePos++] = v;
    joinElement<MEASURE, GROUPED>(graph, pivot, v);
  }
}

// The union of the pivot's variables and of those of its elements, which it absorbs.
template <Measure MEASURE, bool GROUPED>
void buildElement(QuotientGraph& graph, Pivot& pivot) {
  const int32_t node = pivot.node;
  const int32_t numElements = graph.elementCount[node];
  graph.nodeCount[node] = -pivot.count;
  pivot.degree = 0;
  pivot.inPlace = numElements == 0;
  if (pivot.inPlace) {
    pivot.begin = graph.listStart[node];
    pivot.end = pivot.begin;
    const int32_t listEnd = pivot.begin + graph.listLen[node];
    for (int32_t p = pivot.begin; p < listEnd; ++p) {
      const int32_t v = graph.iw[p];
      if (graph.nodeCount[v] <= 0) continue;
      graph.iw[pivot.end++] = v;
      joinElement<MEASURE, GROUPED>(graph, pivot, v);
    }
    return;
  }
  pivot.begin = graph.freePos;
  for (int32_t k = 0; k < numElements; ++k) {
    // The pivot's list shrinks as it is read, so that a compaction finds it as it is.
    const int32_t element = graph.iw[graph.listStart[node]];
    graph.listStart[node] = --graph.listLen[node] > 0 ? graph.listStart[node] + 1 : NO_NODE;
    appendList<MEASURE, GROUPED>(graph, pivot, element);
    graph.listStart[element] = coded(node);
    graph.stamp[element] = 0;
  }
  appendList<MEASURE, GROUPED>(graph, pivot, node);
  pivot.end = graph.freePos;
}

// For each other element e of a variable in Lp: stamp[e] = wflg + |Le \ Lp|.
void measureElements(QuotientGraph& graph, const Pivot& pivot) {
  const int32_t* const iw = graph.iw;
  const int32_t* const approxDegree = graph.approxDegree;
  int32_t* const stamp = graph.stamp;
  const int32_t base = graph.wflg;
  for (int32_t p = pivot.begin; p < pivot.end; ++p) {
    const int32_t v = iw[p];
    const int32_t count = -graph.nodeCount[v];
    const int32_t begin = graph.listStart[v];
    const int32_t end = begin + graph.elementCount[v];
    for (int32_t q = begin; q < end; ++q) {
      const int32_t element = iw[q];
      const int32_t mark = stamp[element];
      if (mark >= base) {
        stamp[element] = mark - count;
      } else if (mark != 0) {
        stamp[element] = approxDegree[element] + base - count;
      }
    }
  }
}

// Puts a variable at the head of the chain of its hash, which shares the slots of the buckets.
void chainByHash(QuotientGraph& graph, int32_t v, uint32_t hash) {
  const int32_t slot = static_cast<int32_t>(hash % static_cast<uint32_t>(graph.n));
  const int32_t head = graph.bucketHead[slot];
  if (head <= NO_NODE) {
    graph.nextInList[v] = coded(head);
    graph.bucketHead[slot] = coded(v);
  } else {
    graph.nextInList[v] = graph.prevInList[head];
    graph.prevInList[head] = v;
  }
  graph.prevInList[v] = slot;
}

// A variable all of whose neighbours are in the element is eliminated with the pivot.
template <bool GROUPED>
void eliminateWithPivot(QuotientGraph& graph, Pivot& pivot, int32_t v) {
  const int32_t count = -graph.nodeCount[v];
  graph.listStart[v] = coded(pivot.node);
  graph.nodeCount[v] = 0;
  graph.elementCount[v] = -1;
  pivot.degree -= count;
  pivot.count += count;
  graph.numEliminated += count;
  if (isInBuckets<GROUPED>(graph, v)) graph.remaining -= count;
}

// Drops from the lists of the element's variables all that the element covers, absorbs elements that lie within it,
// and bounds the degrees outside of it. Variables with nothing else left are eliminated.
template <bool GROUPED>
void pruneVariables(QuotientGraph& graph, Pivot& pivot) {
  int32_t* const iw = graph.iw;
  const int32_t base = graph.wflg;
  for (int32_t p = pivot.begin; p < pivot.end; ++p) {
    const int32_t v = iw[p];
    const int32_t begin = graph.listStart[v];
    const int32_t elementEnd = begin + graph.elementCount[v];
    const int32_t end = begin + graph.listLen[v];
    int32_t to = begin;
    int32_t degree = 0;
    uint32_t hash = 0;
    for (int32_t q = begin; q < elementEnd; ++q) {
      const int32_t element = iw[q];
      if (graph.stamp[element] == 0) continue;
      const int32_t outside = graph.stamp[element] - base;
      if (outside > 0) {
        degree += outside;
        hash += static_cast<uint32_t>(element);
        iw[to++] = element;
      } else {
        graph.listStart[element] = coded(pivot.node);
        graph.stamp[element] = 0;
      }
    }
    const int32_t keptEnd = to;
    for (int32_t q = elementEnd; q < end; ++q) {
      const int32_t neighbour = iw[q];
      if (graph.nodeCount[neighbour] <= 0) continue;
      degree += graph.nodeCount[neighbour];
      hash += static_cast<uint32_t>(neighbour);
      iw[to++] = neighbour;
    }
    if (to == begin) {
      eliminateWithPivot<GROUPED>(graph, pivot, v);
      continue;
    }
    graph.approxDegree[v] = std::min(graph.approxDegree[v], degree);
    // The pivot goes first: the element or edge by which it reached v has left a gap.
    iw[to] = iw[keptEnd];
    iw[keptEnd] = iw[begin];
    iw[begin] = pivot.node;
    graph.elementCount[v] = keptEnd - begin + 1;
    graph.listLen[v] = to - begin + 1;
    chainByHash(graph, v, hash);
  }
}

// True when the list of `other` holds the same nodes as the one that was stamped; the pivot is first in both.
bool hasStampedList(const QuotientGraph& graph, int32_t other, int32_t length, int32_t numElements) {
  if (graph.listLen[other] != length || graph.elementCount[other] != numElements) return false;
  const int32_t begin = graph.listStart[other];
  for (int32_t q = begin + 1; q < begin + length; ++q) {
    if (graph.stamp[graph.iw[q]] != graph.wflg) return false;
  }
  return true;
}

// Merges the variables of one hash chain that have the same neighbours (and group), later ones into earlier ones.
template <bool GROUPED>
void mergeChain(QuotientGraph& graph, int32_t first) {
  for (int32_t v = first; v != NO_NODE && graph.nextInList[v] != NO_NODE; v = graph.nextInList[v]) {
    const int32_t begin = graph.listStart[v];
    const int32_t length = graph.listLen[v];
    for (int32_t q = begin + 1; q < begin + length; ++q) graph.stamp[graph.iw[q]] = graph.wflg;
    int32_t previous = v;
    for (int32_t other = graph.nextInList[v]; other != NO_NODE; other = graph.nextInList[other]) {
      const bool mayMerge = !GROUPED || graph.groupId[other] == graph.groupId[v];
      if (mayMerge && hasStampedList(graph, other, length, graph.elementCount[v])) {
        graph.listStart[other] = coded(v);
        graph.nodeCount[v] += graph.nodeCount[other];
        graph.nodeCount[other] = 0;
        graph.elementCount[other] = -1;
        graph.nextInList[previous] = graph.nextInList[other];
      } else {
        previous = other;
      }
    }
    ++graph.wflg;
  }
}

// Finds the indistinguishable variables of the element, chain by chain, and empties the chains.
template <bool GROUPED>
void mergeIndistinguishable(QuotientGraph& graph, const Pivot& pivot) {
  for (int32_t p = pivot.begin; p < pivot.end; ++p) {
    const int32_t v = graph.iw[p];
    if (graph.nodeCount[v] >= 0) continue;
    const int32_t slot = graph.prevInList[v];
    const int32_t head = graph.bucketHead[slot];
    if (head == NO_NODE) continue;
    int32_t first = 0;
    if (head < NO_NODE) {
      first = coded(head);
      graph.bucketHead[slot] = NO_NODE;
    } else {
      first = graph.prevInList[head];
      graph.prevInList[head] = NO_NODE;
    }
    if (first != NO_NODE) mergeChain<GROUPED>(graph, first);
  }
}

// Fill of eliminating a supervariable of `count` vertices and external degree d that lies in an element of e variables:
// the pairs of its neighbours, less those within the element. The weight of its size is what the two kinds of
// factorisation differ in.
int32_t approximateFill(const QuotientGraph& graph, int32_t degree, int32_t elementDegree, int32_t count) {
  const double d = degree;
  const double inside = elementDegree - count;
  const double weight = graph.problemKind != 0 ? static_cast<double>(count) : std::sqrt(static_cast<double>(count));
  const double fill = (d * (d - 1.0) - inside * (inside - 1.0)) / (2.0 * weight);
  const double cap = std::numeric_limits<int32_t>::max() - graph.n;
  return static_cast<int32_t>(std::min(cap, fill));
}

// Final degrees and scores; the variables return to the buckets and the element keeps those that are left.
template <Measure MEASURE, bool GROUPED>
void closeElement(QuotientGraph& graph, const Pivot& pivot) {
  const int32_t left = graph.n - graph.numEliminated;
  int32_t to = pivot.begin;
  for (int32_t p = pivot.begin; p < pivot.end; ++p) {
    const int32_t v = graph.iw[p];
    const int32_t count = -graph.nodeCount[v];
    if (count <= 0) continue;
    graph.nodeCount[v] = count;
    const int32_t degree = std::min(graph.approxDegree[v] + pivot.degree - count, left - count);
    graph.approxDegree[v] = degree;
    if constexpr (MEASURE == Measure::fill) {
      graph.fillScore[v] = approximateFill(graph, degree, pivot.degree, count);
    }
    if (isInBuckets<GROUPED>(graph, v)) insertInBucket<MEASURE>(graph, v);
    graph.iw[to++] = v;
  }
  const int32_t node = pivot.node;
  graph.nodeCount[node] = pivot.count;
  graph.elementCount[node] = coded(pivot.count + pivot.degree);
  graph.listStart[node] = to > pivot.begin ? pivot.begin : NO_NODE;
  graph.listLen[node] = to - pivot.begin;
  if (to == pivot.begin) graph.stamp[node] = 0;
  if (!pivot.inPlace) graph.freePos = to;
}

// Eliminates variables until the buckets are empty.
template <Measure MEASURE, bool GROUPED>
int32_t eliminate(QuotientGraph& graph, const QzThread* thread) {
  while (graph.remaining > 0) {
    if (threadCancelled(thread)) return LA_CANCELLED;
    Pivot pivot{};
    pivot.node = takePivot<MEASURE>(graph);
    pivot.count = graph.nodeCount[pivot.node];
    graph.numEliminated += pivot.count;
    graph.remaining -= pivot.count;
    buildElement<MEASURE, GROUPED>(graph, pivot);
    advanceStamp(graph, 0);
    measureElements(graph, pivot);
    pruneVariables<GROUPED>(graph, pivot);
    graph.approxDegree[pivot.node] = pivot.degree;
    // The marks of the elements are at most |Le| above wflg: go past them before it marks anything else.
    graph.largestElement = std::max(graph.largestElement, pivot.degree);
    advanceStamp(graph, graph.largestElement);
    mergeIndistinguishable<GROUPED>(graph, pivot);
    closeElement<MEASURE, GROUPED>(graph, pivot);
  }
  return LA_OK;
}

}  // namespace

void admitVariable(QuotientGraph& graph, int32_t v) {
  graph.remaining += graph.nodeCount[v];
  if (graph.fillScore != nullptr) {
    insertInBucket<Measure::fill>(graph, v);
  } else {
    insertInBucket<Measure::degree>(graph, v);
  }
}

int32_t eliminateAdmitted(QuotientGraph& graph, const QzThread* thread) {
  if (graph.fillScore == nullptr) return eliminate<Measure::degree, false>(graph, thread);
  if (graph.groupId == nullptr) return eliminate<Measure::fill, false>(graph, thread);
  return eliminate<Measure::fill, true>(graph, thread);
}

}  // namespace qz
