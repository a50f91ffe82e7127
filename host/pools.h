// The host's pools: memory from malloc, owned by a tree of pools, and counted.
//
// A pool gives all its memory back when it is destroyed, its children first. All operations may be called from several
// threads at once, but for the destruction of a pool, which must be the last call with it. Blocks are aligned to 64
// bytes, a cache line and the widest vector.
#pragma once

#include <cstdint>

#include "qzipsolve/host.h"

namespace qzhost {

// Slot 48 of the service table.
QzPool* createPool(QzHostTable* table, QzPoolParameters* parameters, QzPool* parent, const wchar_t* name, int64_t zero1,
                   int64_t zero2);

// What pools hold. The bytes are those asked for, without the bookkeeping.
struct PoolCounts {
  int64_t pools = 0;
  int64_t blocks = 0;
  int64_t bytes = 0;
};

PoolCounts poolCounts(QzPool* pool);  // of one pool and its descendants, itself included
PoolCounts allPoolCounts();           // of the whole program
int64_t peakPoolBytes();              // the most bytes that the pools of the program ever held

}  // namespace qzhost
