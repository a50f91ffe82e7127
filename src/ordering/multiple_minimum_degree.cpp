#include "ordering/multiple_minimum_degree.h"

#include <algorithm>
#include <limits>

namespace qz {
namespace {

// The quotient graph. A vertex is live, merged into another one (qsize 0), or eliminated and then an element. The list
// of an element goes on in the space of elements that it absorbed: an entry -e leads to the space of e, a 0 ends it.
//
// What next and previous hold of vertex v:
//   in a degree list             its neighbours there; previous is -degree at the head
//   to be brought up to date     next: length of its list, previous: 0
//   outmatched by another one    previous: -maxInt; it waits until an element of its neighbourhood is formed
//   eliminated                   next: -position
//   merged                       next: -representative, previous: -maxInt
// A degree is the external degree plus 1, so that it is positive and can be the mark of a head.
struct MinimumDegree {
  int32_t n;
  const int32_t* begin;  // by vertex, from 1
  int32_t* adjacency;    // by place, from 1
  int32_t* next;
  int32_t* previous;
  int32_t* head;
  int32_t* qsize;
  int32_t* list;    // chains of elements, and of vertices to be brought up to date
  int32_t* marker;  // maxInt for merged vertices
  int32_t delta;
  int32_t maxInt;
  int32_t tag;
  int32_t mindeg;
  int32_t nextMin;  // position of the next pivot
  int32_t formed;   // chain of the elements of this round

  [[nodiscard]] int32_t first(int32_t v) const { return begin[v - 1]; }
  [[nodiscard]] int32_t last(int32_t v) const { return begin[v] - 1; }
  int32_t& entry(int32_t k) const { return adjacency[k - 1]; }
};

// Calls visit(vertex) for the vertices in the list of element e.
template <class Visit>
void forEachOf(const MinimumDegree& m, int32_t e, Visit visit) {
  int32_t k = m.first(e);
  int32_t end = m.last(e);
  while (k <= end) {
    const int32_t v = m.entry(k);
    if (v == 0) return;
    if (v > 0) {
      visit(v);
      ++k;
    } else {
      k = m.first(-v);
      end = m.last(-v);
    }
  }
}

void insertByDegree(MinimumDegree& m, int32_t v, int32_t degree) {
  const int32_t follower = m.head[degree];
  m.next[v] = follower;
  m.previous[v] = -degree;
  if (follower > 0) m.previous[follower] = v;
  m.head[degree] = v;
}

void removeFromDegrees(MinimumDegree& m, int32_t v) {
  const int32_t before = m.previous[v];
  const int32_t after = m.next[v];
  if (after > 0) m.previous[after] = before;
  if (before > 0) {
    m.next[before] = after;
  } else {
    m.head[-before] = after;
  }
}

void mergeInto(MinimumDegree& m, int32_t v, int32_t representative) {
  m.qsize[representative] += m.qsize[v];
  m.qsize[v] = 0;
  m.marker[v] = m.maxInt;
  m.next[v] = -representative;
  m.previous[v] = -m.maxInt;
}

// Makes sure that `steps` more marks stay below maxInt.
void reserveTags(MinimumDegree& m, int32_t steps) {
  if (m.tag < m.maxInt - steps) return;
  m.tag = 1;
  for (int32_t v = 1; v <= m.n; ++v) {
    if (m.marker[v] < m.maxInt) m.marker[v] = 0;
  }
}

// All vertices in their degree lists; isolated ones are numbered at once.
void open(MinimumDegree& m) {
  for (int32_t v = 1; v <= m.n; ++v) {
    m.head[v] = 0;
    m.qsize[v] = 1;
    m.list[v] = 0;
    m.marker[v] = 0;
    m.previous[v] = 0;
  }
  m.mindeg = m.n;
  for (int32_t v = 1; v <= m.n; ++v) {
    const int32_t degree = m.last(v) - m.first(v) + 1;
    if (degree == 0) {
      m.marker[v] = m.maxInt;
      m.next[v] = -m.nextMin;
      ++m.nextMin;
    } else {
      insertByDegree(m, v, degree + 1);
      m.mindeg = std::min(m.mindeg, degree + 1);
    }
  }
}

// The list of the pivot becomes that of the new element: its live neighbours, and those of the elements next to it,
// whose space the list takes over as its own runs out. Every vertex found is marked, and so are the absorbed elements.
void formElement(MinimumDegree& m, int32_t pivot) {
  m.marker[pivot] = m.tag;
  int32_t place = m.first(pivot);
  int32_t limit = m.last(pivot);
  int32_t absorbed = 0;
  for (int32_t k = place; k <= limit; ++k) {
    const int32_t v = m.entry(k);
    if (v == 0) break;
    if (m.marker[v] >= m.tag) continue;
    m.marker[v] = m.tag;
    if (m.next[v] < 0) {
      m.list[v] = absorbed;
      absorbed = v;
    } else {
      m.entry(place++) = v;
    }
  }
  for (; absorbed > 0; absorbed = m.list[absorbed]) {
    // The last place of the space at hand leads on. It holds no vertex of the list: an element that is absorbed left
    // its place here, and each further space was emptied of the pivot at least.
    m.entry(limit) = -absorbed;
    forEachOf(m, absorbed, [&](int32_t v) {
      if (m.marker[v] >= m.tag || m.next[v] < 0) return;
      m.marker[v] = m.tag;
      while (place >= limit) {
        const int32_t space = -m.entry(limit);
        place = m.first(space);
        limit = m.last(space);
      }
      m.entry(place++) = v;
    });
  }
  if (place <= limit) m.entry(place) = 0;
}

// Takes what the new element covers out of the list of v and puts the element there; a vertex that has no other
// neighbour left is eliminated along with the pivot.
void coverByElement(MinimumDegree& m, int32_t v, int32_t pivot) {
  if (m.previous[v] != 0 && m.previous[v] != -m.maxInt) removeFromDegrees(m, v);
  int32_t place = m.first(v);
  const int32_t end = m.last(v);
  for (int32_t k = place; k <= end; ++k) {
    const int32_t u = m.entry(k);
    if (u == 0) break;
    if (m.marker[u] < m.tag) m.entry(place++) = u;
  }
  const int32_t others = place - m.first(v);
  if (others == 0) {
    mergeInto(m, v, pivot);
    return;
  }
  m.next[v] = others + 1;
  m.previous[v] = 0;
  m.entry(place++) = pivot;
  if (place <= end) m.entry(place) = 0;
}

// Eliminates pivots of one round, in which no vertex next to a pivot can be one. False once all vertices are numbered.
bool eliminateRound(MinimumDegree& m) {
  while (m.head[m.mindeg] <= 0) ++m.mindeg;
  const int32_t mdlmt = std::min(m.mindeg + m.delta, m.n);
  m.formed = 0;
  for (;;) {
    int32_t pivot = m.head[m.mindeg];
    while (pivot <= 0) {
      if (++m.mindeg > mdlmt) return true;
      pivot = m.head[m.mindeg];
    }
    removeFromDegrees(m, pivot);
    m.next[pivot] = -m.nextMin;
    if (m.nextMin + m.qsize[pivot] > m.n) return false;
    reserveTags(m, m.mindeg + 1);
    ++m.tag;
    formElement(m, pivot);
    forEachOf(m, pivot, [&](int32_t v) { coverByElement(m, v, pivot); });
    m.nextMin += m.qsize[pivot];
    m.list[pivot] = m.formed;
    m.formed = pivot;
    if (m.nextMin > m.n) return false;
    if (m.delta < 0) return true;
  }
}

void enterDegree(MinimumDegree& m, int32_t v, int32_t degree) {
  const int32_t external = degree - m.qsize[v] + 1;
  insertByDegree(m, v, external);
  m.mindeg = std::min(m.mindeg, external);
}

// Degree of a vertex whose list holds the element and one more entry. A vertex of the same two elements is the same as
// v for ever and joins it; one that has these two and others is outmatched: v will go before it.
int32_t degreeBesideOne(MinimumDegree& m, int32_t v, int32_t element, int32_t elementSize) {
  int32_t other = m.entry(m.first(v));
  if (other == element) other = m.entry(m.first(v) + 1);
  if (m.next[other] >= 0) return elementSize + m.qsize[other];
  int32_t degree = elementSize;
  forEachOf(m, other, [&](int32_t u) {
    if (u == v || m.qsize[u] == 0) return;
    if (m.marker[u] < m.tag) {
      m.marker[u] = m.tag;
      degree += m.qsize[u];
    } else if (m.previous[u] == 0) {
      if (m.next[u] == 2) {
        mergeInto(m, u, v);
      } else {
        m.previous[u] = -m.maxInt;
      }
    }
  });
  return degree;
}

// Degree of a vertex with any list.
int32_t degreeBesideMany(MinimumDegree& m, int32_t v, int32_t elementSize) {
  int32_t degree = elementSize;
  const int32_t end = m.last(v);
  for (int32_t k = m.first(v); k <= end; ++k) {
    const int32_t w = m.entry(k);
    if (w == 0) break;
    if (m.marker[w] >= m.tag) continue;
    m.marker[w] = m.tag;
    if (m.next[w] >= 0) {
      degree += m.qsize[w];
      continue;
    }
    forEachOf(m, w, [&](int32_t u) {
      if (m.marker[u] >= m.tag) return;
      m.marker[u] = m.tag;
      degree += m.qsize[u];
    });
  }
  return degree;
}

// Brings the vertices of one new element up to date. Their marks lie above all that is used meanwhile, so that the
// element's own vertices are counted once, by its size.
void updateElement(MinimumDegree& m, int32_t element, int32_t tagSpan) {
  reserveTags(m, tagSpan);
  const int32_t memberTag = m.tag + tagSpan;
  int32_t besideOne = 0;
  int32_t besideMany = 0;
  int32_t elementSize = 0;
  forEachOf(m, element, [&](int32_t v) {
    if (m.qsize[v] == 0) return;
    elementSize += m.qsize[v];
    m.marker[v] = memberTag;
    if (m.previous[v] != 0) return;
    int32_t& chain = m.next[v] == 2 ? besideOne : besideMany;
    m.list[v] = chain;
    chain = v;
  });
  for (int32_t v = besideOne; v > 0; v = m.list[v]) {
    if (m.previous[v] != 0) continue;
    ++m.tag;
    const int32_t degree = degreeBesideOne(m, v, element, elementSize);
    enterDegree(m, v, degree);
  }
  for (int32_t v = besideMany; v > 0; v = m.list[v]) {
    if (m.previous[v] != 0) continue;
    ++m.tag;
    const int32_t degree = degreeBesideMany(m, v, elementSize);
    enterDegree(m, v, degree);
  }
  m.tag = memberTag;
}

// Positions of the merged vertices behind their representatives', in index order; then invp and perm are inverse.
void numberMerged(int32_t n, const int32_t* qsize, int32_t* invp, int32_t* perm) {
  // perm: the last position given out in a tree at its root, otherwise -parent.
  for (int32_t v = 1; v <= n; ++v) perm[v] = qsize[v] > 0 ? -invp[v] : invp[v];
  for (int32_t v = 1; v <= n; ++v) {
    if (perm[v] > 0) continue;
    int32_t root = v;
    while (perm[root] <= 0) root = -perm[root];
    invp[v] = -(++perm[root]);
    for (int32_t node = v; perm[node] <= 0;) {
      const int32_t parent = -perm[node];
      perm[node] = -root;
      node = parent;
    }
  }
  for (int32_t v = 1; v <= n; ++v) invp[v] = -invp[v];
  for (int32_t v = 1; v <= n; ++v) perm[invp[v]] = v;
}

}  // namespace

void mmd(int32_t n, const int32_t* adjBegin, int32_t* adjList, int32_t* invp, int32_t* perm, int32_t delta,
         int32_t* head, int32_t* qsize, int32_t* list, int32_t* marker, int32_t maxInt) {
  if (n <= 0) return;
  MinimumDegree m{n, adjBegin, adjList, invp, perm, head, qsize, list, marker, delta, maxInt, 1, 1, 1, 0};
  open(m);
  while (m.nextMin <= n && eliminateRound(m)) {
    // No element of this round is larger than the degree reached, and no element has more vertices to visit than that.
    const int32_t tagSpan = m.mindeg + std::max(delta, 0) + 1;
    for (int32_t element = m.formed; element > 0; element = m.list[element]) updateElement(m, element, tagSpan);
  }
  numberMerged(n, qsize, invp, perm);
}

void MMDOrder(OrderingGraph* graph, int32_t* invPerm, int32_t lastPos, int32_t* work) {
  const int32_t n = graph->numVertices;
  if (n <= 0) return;
  const int32_t numEntries = graph->adjBegin[n];
  for (int32_t v = 0; v <= n; ++v) ++graph->adjBegin[v];
  for (int32_t k = 0; k < numEntries; ++k) ++graph->adjList[k];
  const int64_t size = mmdOrderWork(n) / 6;
  int32_t* invp = work;
  mmd(n, graph->adjBegin, graph->adjList, invp, work + size, 1, work + 2 * size, work + 3 * size, work + 4 * size,
      work + 5 * size, std::numeric_limits<int32_t>::max());
  for (int32_t i = 0; i < n; ++i) invPerm[graph->vertexLabel[i]] = lastPos - n + invp[i + 1] - 1;
  for (int32_t v = 0; v <= n; ++v) --graph->adjBegin[v];
  for (int32_t k = 0; k < numEntries; ++k) --graph->adjList[k];
}

}  // namespace qz
