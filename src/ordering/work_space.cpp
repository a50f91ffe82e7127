#include "ordering/work_space.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "shell/pool.h"
#include "shell/random.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

constexpr uint64_t kAlignment = 32;

uintptr_t alignedUp(uintptr_t address) {
  return (address + kAlignment - 1) / kAlignment * kAlignment;
}

}  // namespace

int32_t AllocateWorkSpace(OrderingControl* control, const OrderingGraph* graph) {
  // The largest user is the two-sided refinement: six arrays of the graph's size, and two queues behind them. Orders of
  // leaf pieces take six arrays of up to 200 entries.
  const int64_t capacity = std::max<int64_t>(17 * static_cast<int64_t>(graph->numVertices) + 6216, 1400);
  if (capacity > std::numeric_limits<int32_t>::max()) return LA_NO_MEMORY;
  const auto integer = static_cast<int64_t>(sizeof(int32_t));
  const int64_t bytes = integer * graph->numEdges + integer * capacity + 66;
  auto* block = poolAllocate<char>(control->env->memory, bytes);
  if (block == nullptr) return LA_NO_MEMORY;
  control->workBlock = block;
  const auto start = reinterpret_cast<uintptr_t>(block);
  const uintptr_t edges = alignedUp(start);
  const uintptr_t stack = edges + alignedUp(static_cast<uintptr_t>(integer * graph->numEdges));
  if (stack + static_cast<uintptr_t>(integer * capacity) > start + static_cast<uintptr_t>(bytes)) {
    return LA_INCONSISTENT;
  }
  control->edgeWork = reinterpret_cast<int32_t*>(block + (edges - start));
  control->poolBase = reinterpret_cast<int32_t*>(block + (stack - start));
  control->poolCapacity = static_cast<int32_t>(capacity);
  control->poolUsed = 0;
  return LA_OK;
}

int32_t* poolmalloc(OrderingControl* control, int64_t count) {
  int32_t* piece = control->poolBase + control->poolUsed;
  control->poolUsed += static_cast<int32_t>(poolRounded(count));
  return piece;
}

void poolfree(OrderingControl* control, int64_t count) {
  control->poolUsed -= static_cast<int32_t>(poolRounded(count));
}

int32_t randomIndex(OrderingControl* control, int32_t range) {
  auto state = static_cast<uint32_t>(control->seed);
  const uint32_t number = qzRand(&state) >> 3;
  control->seed = static_cast<int32_t>(state);
  return static_cast<int32_t>(number % static_cast<uint32_t>(range));
}

void RandomPermute(int32_t n, int32_t* array, OrderingControl* control) {
  for (int32_t i = 0; i < n; ++i) array[i] = i;
  if (n <= 4) return;
  for (int64_t i = 0; i < n; i += 16) {
    const int32_t b = randomIndex(control, n - 4);
    const int32_t a = randomIndex(control, n - 4);
    // The blocks may overlap: entry by entry the result stays a permutation.
    for (int32_t j = 0; j < 4; ++j) std::swap(array[a + j], array[b + j]);
  }
}

}  // namespace qz
