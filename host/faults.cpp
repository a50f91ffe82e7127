#include "host/faults.h"

#include <atomic>

namespace qzhost {

namespace {

std::atomic<int64_t> requests{0};
std::atomic<int64_t> failAt{0};  // number of the request that fails, 0 for none
std::atomic<bool> failBehind{false};

}  // namespace

void failAllocation(int64_t k, bool andAllBehind) {
  failBehind.store(andAllBehind);
  failAt.store(k <= 0 ? 0 : requests.load() + k);
}

int64_t allocationCount() {
  return requests.load();
}

bool allocationFails() {
  const int64_t number = requests.fetch_add(1, std::memory_order_relaxed) + 1;
  const int64_t fail = failAt.load(std::memory_order_relaxed);
  if (fail == 0) return false;
  return number == fail || (number > fail && failBehind.load(std::memory_order_relaxed));
}

}  // namespace qzhost
