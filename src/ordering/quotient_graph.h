// The quotient graph of a running elimination: what the minimum-degree engines share.
//
// A node is a variable (a set of indistinguishable input vertices that are not yet eliminated) or an element (a set of
// eliminated ones). The list of a variable holds its elements first and then the variables it is still joined to by an
// edge of its own; the list of an element holds its variables. Two variables are adjacent when one is in the other's
// list or both are in the list of an element. The lists never take more room than the input did, but for the element
// that is being built.
//
// Eliminating a pivot merges its lists into a new element Lp. The degree of a variable i in Lp is bounded by
// (Amestoy, Davis and Duff, 1996)
//   d_i = min(left - c_i, d_i + |Lp \ i|, |A_i \ i| + |Lp \ i| + sum over i's other elements e of |Le \ Lp|).
#pragma once

#include <cstdint>

namespace qz {

// Negative codes: coded(coded(x)) == x, and coded(x) <= -2 for x >= 0.
constexpr int32_t coded(int32_t x) {
  return -x - 2;
}
constexpr int32_t NO_NODE = -1;
constexpr int32_t ISOLATED_MARK = -3;  // elementCount of a vertex of degree 0; decodes to a front of size 1

struct QuotientGraph {
  int32_t n;
  int32_t iwCapacity;
  int32_t freePos;         // first free entry of iw
  int32_t* listStart;      // n: start of a node's list; -1 out of the graph; coded parent of an absorbed node
  int32_t* iw;             // iwCapacity: the lists
  int32_t* listLen;        // n
  int32_t* nodeCount;      // n: input vertices of a node; 0 absorbed or dense; negated within the current element
  int32_t* nextInList;     // n: links of the buckets and of the hash chains
  int32_t* prevInList;     // n: backward links; the hash of a variable of the current element; at the head of a bucket
                           // the head of the hash chain that shares its slot
  int32_t* bucketHead;     // head of the list for a key; coded head of a hash chain when the bucket is empty
  int32_t* elementCount;   // n: elements in a variable's list; -1 absorbed or dense; coded front size of an element
  int32_t* approxDegree;   // n: bound on the external degree; of an element the number of its variables
  int32_t* stamp;          // n: marks; 0 for a dead element
  int32_t* fillScore;      // n: capped fill, null when pivots are chosen by degree
  const int32_t* groupId;  // n: ordered groups, or null
  int32_t currentGroup;
  int32_t problemKind;
  int32_t numEliminated;   // input vertices that are out of the graph
  int32_t remaining;       // input vertices in the buckets
  int32_t minKey;          // no bucket below it holds a variable
  int32_t wflg;            // above every mark in use
  int32_t largestElement;  // largest number of variables of an element so far
};

// Degree above which a vertex is dense: max(16, 10 sqrt(n)), at most n.
[[nodiscard]] int32_t denseLimitBySize(int32_t n);
// 50 average degrees (the average in integers).
[[nodiscard]] int64_t denseLimitByDegree(int32_t n, int32_t numEntries);

// Clears the lists and marks; all vertices are variables of their input degree, in no bucket. `numBuckets` is n, or
// n + 1 with fill scores.
void openGraph(QuotientGraph& graph, int32_t numBuckets);

// Takes a vertex out of the graph for good: it ends last.
void takeOutDense(QuotientGraph& graph, int32_t v);
// Takes out a vertex of degree 0.
void takeOutIsolated(QuotientGraph& graph, int32_t v);
// Takes out isolated vertices and those of degree above `limit`.
void takeOutAbove(QuotientGraph& graph, int64_t limit);
// Takes out dense vertices one by one from the highest degree down, as long as the average degree a of the N vertices
// left falls by at least 40 ln(N) / N, that is while the degree is 20 ln(N) or more; then the isolated vertices. Uses
// the buckets and leaves them empty.
void takeOutByLog(QuotientGraph& graph);

// True for a variable that is neither absorbed, nor eliminated, nor taken out (outside the current element).
[[nodiscard]] inline bool isLiveVariable(const QuotientGraph& graph, int32_t v) {
  return graph.nodeCount[v] > 0 && graph.elementCount[v] >= 0;
}

// Moves `wflg` up by `amount`, or clears all marks when the numbers run out.
void advanceStamp(QuotientGraph& graph, int32_t amount);

// Moves all lists to the front of iw, and behind them the unfinished element that begins at elementBegin; returns where
// that begins now. Lists of no entries must have listStart -1.
[[nodiscard]] int32_t compactLists(QuotientGraph& graph, int32_t elementBegin);

// Turns the finished elimination into an order: nextInList holds the position of each vertex, prevInList the vertex at
// each position. `vertexOfNode` is null, or the sequence in which the trees are to be numbered, by ascending group.
void finishOrder(QuotientGraph& graph, const int32_t* vertexOfNode);

}  // namespace qz
