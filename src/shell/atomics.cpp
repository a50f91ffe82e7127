#include "shell/atomics.h"

namespace qz {

namespace {

constexpr int64_t kBusy = 1;

int64_t* linkOf(void* node, int64_t linkOffset) {
  return reinterpret_cast<int64_t*>(static_cast<char*>(node) + linkOffset);
}

}  // namespace

int32_t qzAtomicInit(volatile int64_t*) {
  return 0;
}

int32_t qzAtomicDestroy(volatile int64_t*) {
  return 0;
}

int32_t qzAtomicSet(volatile int64_t* word, int64_t expected, int64_t next) {
  return __atomic_compare_exchange_n(word, &expected, next, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST) ? 1 : 0;
}

int64_t qzAtomicAdd(volatile int64_t* word, int64_t delta) {
  return __atomic_add_fetch(word, delta, __ATOMIC_SEQ_CST);
}

int64_t qzAtomicAnd(volatile int64_t* word, int64_t mask) {
  int64_t value = __atomic_load_n(word, __ATOMIC_SEQ_CST);
  while (qzAtomicSet(word, value, value & mask) == 0) value = __atomic_load_n(word, __ATOMIC_SEQ_CST);
  return value & mask;
}

int64_t qzAtomicOr(volatile int64_t* word, int64_t mask) {
  int64_t value = __atomic_load_n(word, __ATOMIC_SEQ_CST);
  while (qzAtomicSet(word, value, value | mask) == 0) value = __atomic_load_n(word, __ATOMIC_SEQ_CST);
  return value | mask;
}

void qzAStackPush(volatile int64_t* head, void* node, int64_t linkOffset) {
  int64_t* link = linkOf(node, linkOffset);
  for (;;) {
    // The swap expects the head without its mark, so it fails while a pop is in progress: a push that went through
    // then would be lost under the popper's final store.
    const int64_t top = __atomic_load_n(head, __ATOMIC_SEQ_CST) & ~kBusy;
    __atomic_store_n(link, top, __ATOMIC_RELAXED);
    if (qzAtomicSet(head, top, reinterpret_cast<int64_t>(node)) == 1) return;
  }
}

void* qzAStackPop(volatile int64_t* head, int64_t linkOffset) {
  for (;;) {
    const int64_t top = __atomic_load_n(head, __ATOMIC_SEQ_CST) & ~kBusy;
    if (top == 0) return nullptr;
    if (qzAtomicSet(head, top, top | kBusy) == 0) continue;
    void* node = reinterpret_cast<void*>(top);  // NOLINT(performance-no-int-to-ptr): the head is a word with a mark
    __atomic_store_n(head, __atomic_load_n(linkOf(node, linkOffset), __ATOMIC_RELAXED), __ATOMIC_SEQ_CST);
    return node;
  }
}

}  // namespace qz
