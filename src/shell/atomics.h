// Atomic helpers on 64-bit words, and a lock-free stack. They hold no state of their own.
#pragma once

#include <cstdint>

namespace qz {

// Nothing to do for a word: the caller stores its initial value. Both return 0.
int32_t qzAtomicInit(volatile int64_t* word);
int32_t qzAtomicDestroy(volatile int64_t* word);

// Compare and swap: stores `next` when the word holds `expected`. Returns 1 when it did, else 0.
int32_t qzAtomicSet(volatile int64_t* word, int64_t expected, int64_t next);

// Each returns the word's new value.
int64_t qzAtomicAdd(volatile int64_t* word, int64_t delta);
int64_t qzAtomicAnd(volatile int64_t* word, int64_t mask);
int64_t qzAtomicOr(volatile int64_t* word, int64_t mask);

// A stack of nodes linked through a pointer that lies `linkOffset` bytes into each node. Nodes are at least 2-byte
// aligned: bit 0 of the head is a busy mark that keeps a second popper off a node while its link is read, which removes
// the ABA hazard (Treiber 1986).
void qzAStackPush(volatile int64_t* head, void* node, int64_t linkOffset);
// The node last pushed, or null for an empty stack, which is not written to.
[[nodiscard]] void* qzAStackPop(volatile int64_t* head, int64_t linkOffset);

}  // namespace qz
