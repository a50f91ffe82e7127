#include "sparse/factor_memory.h"

#include <algorithm>
#include <cassert>
#include <limits>

#include "ordering/static_permutation.h"
#include "shell/memory_cutter.h"
#include "shell/pool.h"

namespace qz {

namespace {

constexpr double bytesLimit = 18446744073709551616.0;  // 2^64
constexpr int64_t alignment = 32;

int64_t roundUp(int64_t value, int64_t multiple) {
  return (value + multiple - 1) / multiple * multiple;
}

int32_t allocateRecords(int32_t n, LAEnv* env, SymbolicFactor** symbolic, NumericFactor** numeric) {
  *symbolic = poolAllocateZero<SymbolicFactor>(env->memory, 1);
  if (*symbolic == nullptr) return LA_NO_MEMORY;
  *numeric = poolAllocateZero<NumericFactor>(env->memory, 1);
  if (*numeric == nullptr) return LA_NO_MEMORY;
  (*symbolic)->numRows = n;
  (*numeric)->numRows = n;
  return LA_OK;
}

// The sizes given are floors; the first part also takes whatever its users need.
int32_t allocateWorkBlock(double firstFloor, int64_t secondBytes, int32_t numEntries, LAEnv* env,
                          NumericFactor* numeric) {
  if (firstFloor + static_cast<double>(secondBytes) >= bytesLimit) return LA_NO_MEMORY;
  const int64_t n = numeric->numRows;
  const int64_t e = numEntries;
  const int64_t adjacency = 4 * (2 * n + 1 + e);  // starts, list, n integers of elbow room
  const int64_t triangles = 4 * (2 * (n + 1) + e);
  const int64_t matrix = 12 * (n + e / 2);
  const int64_t need = std::max({adjacency, triangles, matrix, static_cast<int64_t>(firstFloor)});
  numeric->workBytesFirst = roundUp(need, alignment);
  numeric->workBytesSecond = secondBytes;
  numeric->workBlock = poolAllocate<char>(env->memory, numeric->workBytesFirst + secondBytes);
  return numeric->workBlock == nullptr ? LA_NO_MEMORY : LA_OK;
}

void cutWorkBlock(bool isLDL, int64_t capacity, SymbolicFactor* symbolic, NumericFactor* numeric,
                  AnalysisMemory* memory) {
  const int64_t n = symbolic->numRows;
  char* block = static_cast<char*>(numeric->workBlock);
  memory->first = reinterpret_cast<int32_t*>(block);
  memory->firstCount = numeric->workBytesFirst / static_cast<int64_t>(sizeof(int32_t));
  numeric->matValue = reinterpret_cast<double*>(block);
  numeric->rowIndex = reinterpret_cast<int32_t*>(numeric->matValue + capacity);

  MemoryCutter second{block + numeric->workBytesFirst, block + numeric->workBytesFirst + numeric->workBytesSecond};
  symbolic->perm = second.cut<int32_t>(n);
  symbolic->invPerm = second.cut<int32_t>(n);
  symbolic->snParent = second.cut<int32_t>(n);
  symbolic->snStart = second.cut<int32_t>(n + 1);
  symbolic->colToSn = second.cut<int32_t>(n);
  if (isLDL) symbolic->pivotKind = second.cut<int32_t>(n);
  memory->groupId = second.cut<int32_t>(n + 1);
  numeric->colBegin = memory->groupId;
  memory->parent = second.cut<int32_t>(10 * n + 16);
  memory->colCount = memory->parent + n;
  memory->work = memory->colCount + n;
  numeric->work = reinterpret_cast<double*>(memory->parent);
}

}  // namespace

int32_t InitMemoryAndStructsCholesky(int32_t n, int32_t numEntries, LAEnv* env, SymbolicFactor** symbolic,
                                     NumericFactor** numeric, AnalysisMemory* memory) {
  int32_t status = allocateRecords(n, env, symbolic, numeric);
  if (status != LA_OK) return status;
  const double rows = n;
  const double entries = numEntries;
  const int64_t half = numEntries / 2;
  const double first = std::max(12.0 * (rows + static_cast<double>(half)), 4.0 * (rows + 1.2 * entries));
  const int64_t second = (64 * static_cast<int64_t>(n) + 255) / alignment * alignment;
  status = allocateWorkBlock(first, second, numEntries, env, *numeric);
  if (status != LA_OK) return status;
  cutWorkBlock(false, n + half, *symbolic, *numeric, memory);
  return LA_OK;
}

int32_t InitMemoryAndStructsLDL(int32_t n, int32_t numEntries, LAEnv* env, SymbolicFactor** symbolic,
                                NumericFactor** numeric, AnalysisMemory* memory) {
  int32_t status = allocateRecords(n, env, symbolic, numeric);
  if (status != LA_OK) return status;
  (*symbolic)->rightLooking = 1;
  const double rows = n;
  const double entries = numEntries;
  double first = std::max(8.0 * (2.0 * rows + 2.0 + entries), 4.0 * (rows + 1.2 * entries));
  if (env->staticPermAugmented != 0 || env->staticPermGeneral != 0) {
    first = std::max(first, static_cast<double>(staticPermWorkBytes(n, numEntries)));
  }
  const int64_t second = (68 * static_cast<int64_t>(n) + 259) / alignment * alignment;
  status = allocateWorkBlock(first, second, numEntries, env, *numeric);
  if (status != LA_OK) return status;
  cutWorkBlock(true, n + static_cast<int64_t>(numEntries / 2), *symbolic, *numeric, memory);
  return LA_OK;
}

int32_t adjacencyCapacity(const AnalysisMemory& memory, int32_t numVertices) {
  const int64_t behind = memory.firstCount - (static_cast<int64_t>(numVertices) + 1);
  return static_cast<int32_t>(std::min<int64_t>(behind, std::numeric_limits<int32_t>::max()));
}

void cutTriangles(const AnalysisMemory& memory, int32_t n, int32_t numOffDiagonals, TrianglePattern* lower,
                  TrianglePattern* upper) {
  const int32_t half = numOffDiagonals / 2;
  lower->begin = memory.first;
  lower->index = lower->begin + n + 1;
  lower->capacity = half;
  upper->begin = lower->index + half;
  upper->index = upper->begin + n + 1;
  upper->capacity = half;
}

}  // namespace qz
