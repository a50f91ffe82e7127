#include "host/pools.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "host/faults.h"

namespace qzhost {

namespace {

constexpr uint64_t kAlignment = 64;
constexpr uint64_t kLargestBlock = uint64_t{1} << 62;

struct HostPool;

// Stands in front of every block.
struct alignas(kAlignment) BlockHeader {
  BlockHeader* previous;
  BlockHeader* next;
  HostPool* owner;
  uint64_t size;
};
static_assert(sizeof(BlockHeader) == kAlignment, "the block behind the header is aligned");

struct HostPool {
  QzPool pool;  // first: a QzPool pointer is a HostPool pointer
  std::mutex mutex;
  BlockHeader* firstBlock;  // guarded by mutex, like the two counts
  int64_t blocks;
  int64_t bytes;
  HostPool* parent;  // these four are guarded by treeMutex
  HostPool* firstChild;
  HostPool* previousSibling;
  HostPool* nextSibling;
};

std::mutex treeMutex;
std::atomic<int64_t> totalPools{0};
std::atomic<int64_t> totalBlocks{0};
std::atomic<int64_t> totalBytes{0};
std::atomic<int64_t> peakBytes{0};

HostPool* hostPool(QzPool* pool) {
  return reinterpret_cast<HostPool*>(pool);
}

void countBlocks(int64_t blocks, int64_t bytes) {
  totalBlocks.fetch_add(blocks, std::memory_order_relaxed);
  const int64_t now = totalBytes.fetch_add(bytes, std::memory_order_relaxed) + bytes;
  int64_t peak = peakBytes.load(std::memory_order_relaxed);
  while (now > peak && !peakBytes.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
  }
}

// Room for a block of `size` bytes behind its header. Whole cache lines, but for builds that watch for writes behind
// the end.
uint64_t roomFor(uint64_t size) {
#if defined(__SANITIZE_ADDRESS__)
  return sizeof(BlockHeader) + (size == 0 ? 1 : size);
#else
  const uint64_t lines = size == 0 ? 1 : (size + kAlignment - 1) / kAlignment;
  return sizeof(BlockHeader) + lines * kAlignment;
#endif
}

void* poolAllocate(QzPool* pool, uint64_t size, uint32_t flags) {
  if (requestFails(Request::kMemory) || size > kLargestBlock) return nullptr;
  HostPool* self = hostPool(pool);
  void* room = nullptr;
  if (posix_memalign(&room, kAlignment, roomFor(size)) != 0) return nullptr;
  auto* header = static_cast<BlockHeader*>(room);
  header->owner = self;
  header->size = size;
  header->previous = nullptr;
  void* memory = header + 1;
  if ((flags & QZ_POOL_ZERO) != 0) {
    std::memset(memory, 0, size);
  } else {
#if !defined(NDEBUG)
    std::memset(memory, 0xa5, size);  // so that code that counts on zeros shows
#endif
  }
  {
    const std::lock_guard<std::mutex> guard(self->mutex);
    header->next = self->firstBlock;
    if (header->next != nullptr) header->next->previous = header;
    self->firstBlock = header;
    self->blocks += 1;
    self->bytes += static_cast<int64_t>(size);
  }
  countBlocks(1, static_cast<int64_t>(size));
  return memory;
}

void poolFree(QzPool* pool, void* memory) {
  if (memory == nullptr) return;
  HostPool* self = hostPool(pool);
  BlockHeader* header = static_cast<BlockHeader*>(memory) - 1;
  if (header->owner != self) {
    // Going on would corrupt the heap; answers are worth nothing then.
    std::fputs("host pool: memory was freed twice or belongs to another pool\n", stderr);
    std::abort();
  }
  const auto size = static_cast<int64_t>(header->size);
  {
    const std::lock_guard<std::mutex> guard(self->mutex);
    if (header->previous != nullptr) header->previous->next = header->next;
    if (header->previous == nullptr) self->firstBlock = header->next;
    if (header->next != nullptr) header->next->previous = header->previous;
    self->blocks -= 1;
    self->bytes -= size;
  }
  header->owner = nullptr;
  countBlocks(-1, -size);
  std::free(header);
}

// The caller holds treeMutex.
void detach(HostPool* self) {
  if (self->previousSibling != nullptr) self->previousSibling->nextSibling = self->nextSibling;
  if (self->parent != nullptr && self->previousSibling == nullptr) self->parent->firstChild = self->nextSibling;
  if (self->nextSibling != nullptr) self->nextSibling->previousSibling = self->previousSibling;
}

// Releases the pool and its descendants; its place in the tree is the caller's business. The caller holds treeMutex.
void releaseTree(HostPool* self) {
  for (HostPool* child = self->firstChild; child != nullptr;) {
    HostPool* next = child->nextSibling;
    releaseTree(child);
    child = next;
  }
  countBlocks(-self->blocks, -self->bytes);
  for (BlockHeader* block = self->firstBlock; block != nullptr;) {
    BlockHeader* next = block->next;
    std::free(block);
    block = next;
  }
  totalPools.fetch_sub(1);
  delete self;
}

void poolDestroy(QzPool* pool) {
  if (pool == nullptr) return;
  const std::lock_guard<std::mutex> guard(treeMutex);
  detach(hostPool(pool));
  releaseTree(hostPool(pool));
}

// The caller holds treeMutex.
void addCounts(HostPool* self, PoolCounts& counts) {
  {
    const std::lock_guard<std::mutex> guard(self->mutex);
    counts.pools += 1;
    counts.blocks += self->blocks;
    counts.bytes += self->bytes;
  }
  for (HostPool* child = self->firstChild; child != nullptr; child = child->nextSibling) addCounts(child, counts);
}

}  // namespace

QzPool* createPool(QzHostTable* /*table*/, QzPoolParameters* /*parameters*/, QzPool* parent, const wchar_t* /*name*/,
                   int64_t /*zero1*/, int64_t /*zero2*/) {
  if (requestFails(Request::kPool)) return nullptr;
  auto* self = new (std::nothrow) HostPool{};
  if (self == nullptr) return nullptr;
  self->pool.destroy = poolDestroy;
  self->pool.allocate = poolAllocate;
  self->pool.free = poolFree;
  totalPools.fetch_add(1);
  if (parent != nullptr) {
    const std::lock_guard<std::mutex> guard(treeMutex);
    self->parent = hostPool(parent);
    self->nextSibling = self->parent->firstChild;
    if (self->nextSibling != nullptr) self->nextSibling->previousSibling = self;
    self->parent->firstChild = self;
  }
  return &self->pool;
}

PoolCounts poolCounts(QzPool* pool) {
  PoolCounts counts;
  const std::lock_guard<std::mutex> guard(treeMutex);
  if (pool != nullptr) addCounts(hostPool(pool), counts);
  return counts;
}

PoolCounts allPoolCounts() {
  return {totalPools.load(), totalBlocks.load(), totalBytes.load()};
}

int64_t peakPoolBytes() {
  return peakBytes.load();
}

}  // namespace qzhost
