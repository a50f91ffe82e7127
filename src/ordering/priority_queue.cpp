#include "ordering/priority_queue.h"

#include <algorithm>

#include "ordering/array_helpers.h"
#include "ordering/work_space.h"
#include "shell/pool.h"

namespace qz {
namespace {

constexpr int32_t kBucketSpan = 500;     // widest range of gains that is kept in buckets
constexpr int32_t kBucketEntries = 500;  // fewest entries that are

// Integers of the two arrays of a queue, by its type.
struct QueueSizes {
  int64_t first;   // nodes or heap
  int64_t second;  // buckets or locator
};

QueueSizes sizesOf(const PQueueMax& queue) {
  const int64_t entries = queue.maxEntries;
  if (queue.type == PQUEUE_BUCKETS) return {2 * entries, 2 * static_cast<int64_t>(queue.gainSpan) + 1};
  return {2 * entries, entries};
}

void place(PQueueMax& queue, int32_t k, PQueueMaxItem item) {
  queue.heap[k] = item;
  queue.locator[item.vertex] = k;
}

void siftUp(PQueueMax& queue, int32_t k, PQueueMaxItem item) {
  while (k > 0) {
    const int32_t parent = (k - 1) / 2;
    if (item.key <= queue.heap[parent].key) break;
    place(queue, k, queue.heap[parent]);
    k = parent;
  }
  place(queue, k, item);
}

void siftDown(PQueueMax& queue, int32_t k, PQueueMaxItem item) {
  for (int64_t child = 2 * static_cast<int64_t>(k) + 1; child < queue.count; child = 2 * static_cast<int64_t>(k) + 1) {
    if (child + 1 < queue.count && queue.heap[child + 1].key > queue.heap[child].key) ++child;
    if (queue.heap[child].key <= item.key) break;
    place(queue, k, queue.heap[child]);
    k = static_cast<int32_t>(child);
  }
  place(queue, k, item);
}

// Takes out what stands at place k.
void removeAt(PQueueMax& queue, int32_t k) {
  const int32_t oldKey = queue.heap[k].key;
  queue.locator[queue.heap[k].vertex] = -1;
  --queue.count;
  if (k == queue.count) return;
  const PQueueMaxItem last = queue.heap[queue.count];
  if (last.key > oldKey) {
    siftUp(queue, k, last);
  } else {
    siftDown(queue, k, last);
  }
}

void link(PQueueMax& queue, int32_t vertex, int32_t gain) {
  int32_t& head = queue.buckets[gain + queue.gainSpan];
  queue.nodes[vertex] = {-1, head};
  if (head >= 0) queue.nodes[head].previous = vertex;
  head = vertex;
  ++queue.count;
  queue.topGain = std::max(queue.topGain, gain);
}

void unlink(PQueueMax& queue, int32_t vertex, int32_t gain) {
  const PQueueMaxNode node = queue.nodes[vertex];
  if (node.next >= 0) queue.nodes[node.next].previous = node.previous;
  if (node.previous >= 0) {
    queue.nodes[node.previous].next = node.next;
  } else {
    queue.buckets[gain + queue.gainSpan] = node.next;
  }
  if (--queue.count == 0) {
    queue.topGain = -queue.gainSpan;
    return;
  }
  while (queue.buckets[queue.topGain + queue.gainSpan] < 0) --queue.topGain;
}

}  // namespace

int32_t PQueueMaxInit(OrderingControl* control, PQueueMax* queue, int32_t maxEntries, int32_t maxGain) {
  *queue = PQueueMax{};
  queue->maxEntries = maxEntries;
  queue->maxGain = std::max(maxGain, 0);
  const bool buckets = queue->maxGain <= kBucketSpan && maxEntries >= kBucketEntries;
  queue->type = buckets ? PQUEUE_BUCKETS : PQUEUE_HEAP;
  queue->gainSpan = std::min(queue->maxGain, kBucketSpan);
  queue->topGain = -queue->gainSpan;
  const QueueSizes sizes = sizesOf(*queue);
  int32_t* first = nullptr;
  int32_t* second = nullptr;
  if (poolRounded(sizes.first) + poolRounded(sizes.second) <= control->poolCapacity - control->poolUsed) {
    first = poolmalloc(control, sizes.first);
    second = poolmalloc(control, sizes.second);
  } else {
    first = poolAllocate<int32_t>(control->env->memory, sizes.first + sizes.second);
    if (first == nullptr) {
      *queue = PQueueMax{};
      return LA_NO_MEMORY;
    }
    second = first + sizes.first;
    queue->mustFree = 1;
  }
  if (buckets) {
    queue->nodes = reinterpret_cast<PQueueMaxNode*>(first);
    queue->buckets = second;
  } else {
    queue->heap = reinterpret_cast<PQueueMaxItem*>(first);
    queue->locator = second;
  }
  intSet(static_cast<int32_t>(sizes.second), -1, second);
  return LA_OK;
}

void PQueueMaxFree(OrderingControl* control, PQueueMax* queue) {
  const bool buckets = queue->type == PQUEUE_BUCKETS;
  if (queue->mustFree != 0) {
    int32_t* store = buckets ? reinterpret_cast<int32_t*>(queue->nodes) : reinterpret_cast<int32_t*>(queue->heap);
    poolFree(control->env->memory, store);
  } else if (queue->type != 0) {
    const QueueSizes sizes = sizesOf(*queue);
    poolfree(control, sizes.second);
    poolfree(control, sizes.first);
  }
  *queue = PQueueMax{};
}

void PQueueMaxReset(PQueueMax* queue) {
  if (queue->type == PQUEUE_BUCKETS) {
    intSet(2 * queue->gainSpan + 1, -1, queue->buckets);
    queue->topGain = -queue->gainSpan;
  } else {
    for (int32_t k = 0; k < queue->count; ++k) queue->locator[queue->heap[k].vertex] = -1;
  }
  queue->count = 0;
}

void PQueueMaxInsert(PQueueMax* queue, int32_t vertex, int32_t gain) {
  if (queue->type == PQUEUE_BUCKETS) {
    link(*queue, vertex, gain);
  } else {
    siftUp(*queue, queue->count++, {gain, vertex});
  }
}

void PQueueMaxDelete(PQueueMax* queue, int32_t vertex, int32_t gain) {
  if (queue->type == PQUEUE_BUCKETS) {
    unlink(*queue, vertex, gain);
  } else {
    removeAt(*queue, queue->locator[vertex]);
  }
}

void PQueueMaxUpdate(PQueueMax* queue, int32_t vertex, int32_t oldGain, int32_t newGain) {
  if (newGain >= oldGain) {
    PQueueMaxUpdateUp(queue, vertex, oldGain, newGain);
  } else if (queue->type == PQUEUE_BUCKETS) {
    unlink(*queue, vertex, oldGain);
    link(*queue, vertex, newGain);
  } else {
    siftDown(*queue, queue->locator[vertex], {newGain, vertex});
  }
}

void PQueueMaxUpdateUp(PQueueMax* queue, int32_t vertex, int32_t oldGain, int32_t newGain) {
  if (newGain == oldGain) return;
  if (queue->type == PQUEUE_BUCKETS) {
    unlink(*queue, vertex, oldGain);
    link(*queue, vertex, newGain);
  } else {
    siftUp(*queue, queue->locator[vertex], {newGain, vertex});
  }
}

int32_t PQueueMaxGetMax(PQueueMax* queue) {
  const int32_t vertex = PQueueMaxSeeMax(queue);
  if (vertex < 0) return -1;
  if (queue->type == PQUEUE_BUCKETS) {
    unlink(*queue, vertex, queue->topGain);
  } else {
    removeAt(*queue, 0);
  }
  return vertex;
}

int32_t PQueueMaxSeeMax(const PQueueMax* queue) {
  if (queue->count == 0) return -1;
  if (queue->type == PQUEUE_BUCKETS) return queue->buckets[queue->topGain + queue->gainSpan];
  return queue->heap[0].vertex;
}

int32_t PQueueMinInit(QzPool* memory, PQueueMin* queue, int32_t capacity, int32_t* locatorArray) {
  *queue = PQueueMin{};
  queue->heap = poolAllocate<PQueueMinItem>(memory, capacity);
  if (queue->heap == nullptr) return LA_NO_MEMORY;
  queue->capacity = capacity;
  queue->locator = intSet(capacity, -1, locatorArray);
  return LA_OK;
}

void PQueueMinFree(QzPool* memory, PQueueMin* queue) {
  poolFree(memory, queue->heap);
  *queue = PQueueMin{};
}

void PQueueMinReset(PQueueMin* queue) {
  for (int32_t k = 0; k < queue->count; ++k) queue->locator[queue->heap[k].vertex] = -1;
  queue->count = 0;
}

namespace {

void place(PQueueMin& queue, int32_t k, PQueueMinItem item) {
  queue.heap[k] = item;
  queue.locator[item.vertex] = k;
}

void siftUp(PQueueMin& queue, int32_t k, PQueueMinItem item) {
  while (k > 0) {
    const int32_t parent = (k - 1) / 2;
    if (item.key >= queue.heap[parent].key) break;
    place(queue, k, queue.heap[parent]);
    k = parent;
  }
  place(queue, k, item);
}

}  // namespace

void PQueueMinInsert(PQueueMin* queue, int32_t vertex, double key) {
  siftUp(*queue, queue->count++, {key, vertex});
}

int32_t PQueueMinExtractMin(PQueueMin* queue) {
  if (queue->count == 0) return -1;
  const int32_t vertex = queue->heap[0].vertex;
  queue->locator[vertex] = -1;
  if (--queue->count == 0) return vertex;
  const PQueueMinItem last = queue->heap[queue->count];
  int32_t k = 0;
  for (int64_t child = 1; child < queue->count; child = 2 * static_cast<int64_t>(k) + 1) {
    if (child + 1 < queue->count && queue->heap[child + 1].key < queue->heap[child].key) ++child;
    if (queue->heap[child].key >= last.key) break;
    place(*queue, k, queue->heap[child]);
    k = static_cast<int32_t>(child);
  }
  place(*queue, k, last);
  return vertex;
}

void PQueueMinDecreaseKey(PQueueMin* queue, int32_t vertex, double key) {
  siftUp(*queue, queue->locator[vertex], {key, vertex});
}

PQueueMinItem PQueueMinSeeMin(const PQueueMin* queue) {
  return queue->heap[0];
}

}  // namespace qz
