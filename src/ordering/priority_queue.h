// Priority queues of the orderings: integer gains of graph vertices, and real distances of a shortest-path search.
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Vertices 0 to maxEntries - 1 by falling integer gain, in one of two forms. Buckets: a doubly linked list for each
// gain from -gainSpan to gainSpan (Fiduccia and Mattheyses 1982), every operation in constant time but for the search
// of the next gain; of equal gains the last inserted comes first. Heap: for wide ranges of gains and for few vertices.
enum : int32_t { PQUEUE_BUCKETS = 1, PQUEUE_HEAP = 2 };

struct PQueueMaxNode {
  int32_t previous;  // vertex, or -1 at the head of its bucket
  int32_t next;      // vertex, or -1
};

struct PQueueMaxItem {
  int32_t key;
  int32_t vertex;
};

struct PQueueMax {
  int32_t type;  // PQUEUE_BUCKETS or PQUEUE_HEAP
  int32_t count;
  int32_t maxEntries;
  int32_t mustFree;  // 1: the arrays came from the host's pool, 0: from the stack of integers
  int32_t maxGain;   // gains lie in [-maxGain, maxGain]
  int32_t gainSpan;
  int32_t topGain;       // highest gain with an entry; -gainSpan when empty
  PQueueMaxNode* nodes;  // buckets: maxEntries, by vertex
  int32_t* buckets;      // buckets: 2 gainSpan + 1 heads, gain g at g + gainSpan; -1 when empty
  PQueueMaxItem* heap;   // heap: maxEntries, children of k at 2k + 1 and 2k + 2
  int32_t* locator;      // heap: maxEntries, place of a vertex in the heap, or -1
};

// An empty queue. The arrays come from the stack of integers when it has room, so that queues are freed in reverse
// order, along with the other pieces of the stack; otherwise from the host. LA_OK, or LA_NO_MEMORY with a cleared
// queue, which may be freed.
[[nodiscard]] int32_t PQueueMaxInit(OrderingControl* control, PQueueMax* queue, int32_t maxEntries, int32_t maxGain);
void PQueueMaxFree(OrderingControl* control, PQueueMax* queue);
void PQueueMaxReset(PQueueMax* queue);

// A vertex is inserted only if it isn't in the queue, and deleted or updated only if it is; nothing checks that.
void PQueueMaxInsert(PQueueMax* queue, int32_t vertex, int32_t gain);
void PQueueMaxDelete(PQueueMax* queue, int32_t vertex, int32_t gain);
void PQueueMaxUpdate(PQueueMax* queue, int32_t vertex, int32_t oldGain, int32_t newGain);
// The same for newGain >= oldGain.
void PQueueMaxUpdateUp(PQueueMax* queue, int32_t vertex, int32_t oldGain, int32_t newGain);
// Takes, or only shows, a vertex of the highest gain; -1 when empty.
[[nodiscard]] int32_t PQueueMaxGetMax(PQueueMax* queue);
[[nodiscard]] int32_t PQueueMaxSeeMax(const PQueueMax* queue);

// Vertices by rising real key, in a binary heap.
struct PQueueMinItem {
  double key;
  int32_t vertex;
};

struct PQueueMin {
  int32_t count;
  int32_t capacity;
  PQueueMinItem* heap;  // capacity
  int32_t* locator;     // the caller's: place of a vertex in the heap, or -1
};

// An empty queue for vertices 0 to capacity - 1; locatorArray has `capacity` entries and stays the caller's. LA_OK or
// LA_NO_MEMORY.
[[nodiscard]] int32_t PQueueMinInit(QzPool* memory, PQueueMin* queue, int32_t capacity, int32_t* locatorArray);
void PQueueMinFree(QzPool* memory, PQueueMin* queue);
void PQueueMinReset(PQueueMin* queue);
void PQueueMinInsert(PQueueMin* queue, int32_t vertex, double key);
// Takes the vertex of the smallest key; -1 when empty.
[[nodiscard]] int32_t PQueueMinExtractMin(PQueueMin* queue);
void PQueueMinDecreaseKey(PQueueMin* queue, int32_t vertex, double key);
// The item of the smallest key; the queue must not be empty.
[[nodiscard]] PQueueMinItem PQueueMinSeeMin(const PQueueMin* queue);

}  // namespace qz
