#include "host/faults.h"

#include <atomic>

namespace qzhost {

namespace {

// Counts requests and knows which one fails.
class Counter {
 public:
  void fail(int64_t k) { failAt_.store(k <= 0 ? 0 : count_.load() + k); }
  int64_t count() const { return count_.load(); }

  // Where the request just counted stands to the one that fails: -1 before it or none fails, 0 it, 1 behind it.
  int next() {
    const int64_t number = count_.fetch_add(1, std::memory_order_relaxed) + 1;
    const int64_t fail = failAt_.load(std::memory_order_relaxed);
    if (fail == 0 || number < fail) return -1;
    return number == fail ? 0 : 1;
  }

 private:
  std::atomic<int64_t> count_{0};
  std::atomic<int64_t> failAt_{0};  // number of the request that fails, 0 for none
};

Counter counters[kRequestKinds];
Counter allocations;
std::atomic<bool> failBehind{false};

Counter& counterOf(Request kind) {
  return counters[static_cast<int32_t>(kind)];
}

}  // namespace

void failRequest(Request kind, int64_t k) {
  counterOf(kind).fail(k);
}

int64_t requestCount(Request kind) {
  return counterOf(kind).count();
}

bool requestFails(Request kind) {
  const bool fails = counterOf(kind).next() == 0;
  if (kind > Request::kThread) return fails;
  const int place = allocations.next();
  return fails || place == 0 || (place > 0 && failBehind.load(std::memory_order_relaxed));
}

void failAllocation(int64_t k, bool andAllBehind) {
  failBehind.store(andAllBehind);
  allocations.fail(k);
}

int64_t allocationCount() {
  return allocations.count();
}

double clockJump() {
  constexpr double kJump = 1e9;
  return counterOf(Request::kClock).next() >= 0 ? kJump : 0.0;
}

}  // namespace qzhost
