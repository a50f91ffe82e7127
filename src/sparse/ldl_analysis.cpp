#include "sparse/ldl_analysis.h"

#include <algorithm>
#include <numeric>

#include "ordering/order_graph.h"
#include "ordering/static_permutation.h"
#include "shell/pool.h"
#include "sparse/blocked_setup.h"
#include "sparse/constrained_ordering.h"
#include "sparse/factor_memory.h"
#include "sparse/pattern.h"
#include "sparse/pivot_pairs.h"
#include "sparse/supernodal_analysis.h"

namespace qz {

namespace {

constexpr int64_t kernelWidth = 96;

// The static order in perm and invPerm with its marks in pivotKind; numCompressed counts a pair once.
int32_t orderStatically(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                        const AnalysisMemory& memory, const LAEnv* env, SymbolicFactor* symbolic,
                        int32_t* numCompressed) {
  int32_t* perm = symbolic->perm;
  int32_t numSingles = n;
  int32_t numPairs = 0;
  int32_t status = LA_OK;
  const int64_t workBytes = memory.firstCount * static_cast<int64_t>(sizeof(int32_t));
  if (env->staticPermAugmented != 0) {
    status = FindStaticPermAug(env->memory, n, env->numLeadingRows, n - env->numLeadingRows, colBegin, rowIndex,
                               matValue, env->matchingVariant, perm, &numSingles, &numPairs, symbolic->pivotKind,
                               memory.first, workBytes);
  } else if (env->staticPermGeneral != 0) {
    status = FindStaticPermGen(env->memory, n, colBegin, rowIndex, matValue, env->matchingVariant, perm, &numSingles,
                               &numPairs, symbolic->pivotKind, memory.first, workBytes);
  } else {
    std::iota(perm, perm + n, 0);
    std::fill(symbolic->pivotKind, symbolic->pivotKind + n, PIVOT_SINGLE);
  }
  if (status != LA_OK) return status;
  for (int32_t k = 0; k < n; ++k) symbolic->invPerm[perm[k]] = k;
  *numCompressed = numSingles + numPairs;
  return LA_OK;
}

// One mark for each vertex of the compressed graph, from the marks by position.
void markVertices(int32_t n, const int32_t* pivotKind, int32_t* vertexMark) {
  int32_t vertex = 0;
  for (int32_t k = 0; k < n; ++vertex) {
    vertexMark[vertex] = pivotKind[k];
    k += pivotWidth(pivotKind, k);
  }
}

// Turns the order of the compressed vertices into an order of the columns: composes it into perm, invPerm, pivotKind.
// vertexOrder: position to vertex. work: 3n entries.
void expandOrder(int32_t n, int32_t numCompressed, const int32_t* vertexOrder, SymbolicFactor* symbolic,
                 int32_t* work) {
  int32_t* firstPosition = work;  // of each vertex in the static order
  int32_t* staticPerm = work + n;
  int32_t* staticKind = staticPerm + n;
  std::copy(symbolic->perm, symbolic->perm + n, staticPerm);
  std::copy(symbolic->pivotKind, symbolic->pivotKind + n, staticKind);
  int32_t vertex = 0;
  for (int32_t k = 0; k < n; ++vertex) {
    firstPosition[vertex] = k;
    k += pivotWidth(staticKind, k);
  }
  int32_t position = 0;
  for (int32_t q = 0; q < numCompressed; ++q) {
    const int32_t first = firstPosition[vertexOrder[q]];
    const int32_t members = pivotWidth(staticKind, first);
    for (int32_t k = first; k < first + members; ++k) {
      symbolic->perm[position] = staticPerm[k];
      symbolic->invPerm[staticPerm[k]] = position;
      symbolic->pivotKind[position] = staticKind[k];
      ++position;
    }
  }
}

// Orders the compressed graph and expands the order. The maps of the supernodes are free until later and hold the
// vertex order, its inverse and the marks of the vertices.
int32_t orderCompressed(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, int32_t numCompressed,
                        const AnalysisMemory& memory, LAEnv* env, SymbolicFactor* symbolic) {
  int32_t* adjBegin = memory.first;
  int32_t* adjList = adjBegin + numCompressed + 1;
  int32_t* scratch = memory.parent;
  int32_t status = PermuteCompressMatrix(n, colBegin, rowIndex, symbolic->pivotKind, symbolic->perm, symbolic->invPerm,
                                         numCompressed, adjBegin, adjList, scratch);
  if (status != LA_OK) return status;
  int32_t* vertexOrder = symbolic->snParent;
  int32_t* vertexPosition = symbolic->snStart;
  int32_t* vertexMark = nullptr;
  if (numCompressed < n) {
    vertexMark = symbolic->colToSn;
    markVertices(n, symbolic->pivotKind, vertexMark);
  }
  const bool constrained = env->constrained != 0;
  int32_t numDense = 0;
  int32_t method = env->orderingMethod;
  status = OrderGraph(env, numCompressed, adjBegin, adjList, adjacencyCapacity(memory, numCompressed), env->problemKind,
                      vertexMark, 1, vertexOrder, vertexPosition, &numDense, &method, 1, constrained ? 1 : 0,
                      memory.groupId, 0, scratch, 0.0, -1.0);
  if (status != LA_OK) return status;
  env->orderingMethod = method;
  if (constrained && method == ORDER_NESTED_DISSECTION) {
    status = PermuteCompressMatrix(n, colBegin, rowIndex, symbolic->pivotKind, symbolic->perm, symbolic->invPerm,
                                   numCompressed, adjBegin, adjList, scratch);
    if (status != LA_OK) return status;
    status = orderWithinGroups(numCompressed, numDense, adjBegin, adjList, adjacencyCapacity(memory, numCompressed),
                               env->problemKind, memory.groupId, vertexOrder, vertexPosition, scratch);
    if (status != LA_OK) return status;
  }
  expandOrder(n, numCompressed, vertexOrder, symbolic, scratch);
  return LA_OK;
}

int32_t allocateFactor(LAEnv* env, SymbolicFactor* symbolic, NumericFactor* numeric) {
  symbolic->lValues = poolAllocate<double>(env->memory, symbolic->numValues);
  if (symbolic->lValues == nullptr) return LA_NO_MEMORY;
  const int64_t threads = symbolic->numThreads;
  numeric->packA = poolAllocate<double>(env->memory, threads * numeric->panelWidth * kernelWidth);
  if (numeric->packA == nullptr) return LA_NO_MEMORY;
  numeric->packB = poolAllocate<double>(env->memory, threads * kernelWidth * kernelWidth);
  if (numeric->packB == nullptr) return LA_NO_MEMORY;
  if (symbolic->blocked != 0) return setUpBlockedLDL(env, symbolic);
  const int64_t entries =
      std::max<int64_t>(static_cast<int64_t>(symbolic->maxBlockEntries) + symbolic->maxPanelEntries, 1);
  symbolic->threadScratch = poolAllocate<double>(env->memory, entries);
  if (symbolic->threadScratch == nullptr) return LA_NO_MEMORY;
  symbolic->threadScratchBytes = static_cast<int64_t>(sizeof(double)) * entries;
  return LA_OK;
}

int32_t analyze(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue, LAEnv* env,
                SymbolicFactor** symbolic, NumericFactor** numeric) {
  AnalysisMemory memory;
  int32_t status = InitMemoryAndStructsLDL(n, colBegin[n], env, symbolic, numeric, &memory);
  if (status != LA_OK) return status;
  status = checkSymmetricPattern(n, colBegin, rowIndex, memory.first);
  if (status != LA_OK) return status;
  const int32_t numOffDiagonals = countOffDiagonals(n, colBegin, rowIndex);
  (*numeric)->numEntries = colBegin[n] - numOffDiagonals / 2;
  int32_t numCompressed = n;
  status = orderStatically(n, colBegin, rowIndex, matValue, memory, env, *symbolic, &numCompressed);
  if (status != LA_OK) return status;
  status = orderCompressed(n, colBegin, rowIndex, numCompressed, memory, env, *symbolic);
  if (status != LA_OK) return status;
  status = analyzeOrderedPattern(n, colBegin, rowIndex, numOffDiagonals, memory, env, *symbolic, *numeric);
  if (status != LA_OK) return status;
  return allocateFactor(env, *symbolic, *numeric);
}

}  // namespace

int32_t LA_AnalyzeMatrixLDL(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                            LAEnv* env, SymbolicFactor** symbolic, NumericFactor** numeric) {
  if (n < 0 || colBegin == nullptr || env == nullptr || symbolic == nullptr || numeric == nullptr) {
    return LA_BAD_PARAMETER;
  }
  if (*symbolic != nullptr || *numeric != nullptr) return LA_BAD_PARAMETER;
  if (colBegin[n] < 0) return LA_INCONSISTENT;
  if (rowIndex == nullptr && colBegin[n] > 0) return LA_BAD_PARAMETER;
  const bool needsValues = env->staticPermAugmented != 0 || env->staticPermGeneral != 0;
  if (needsValues && matValue == nullptr && colBegin[n] > 0) return LA_BAD_PARAMETER;
  const int32_t status = analyze(n, colBegin, rowIndex, matValue, env, symbolic, numeric);
  if (*symbolic != nullptr) (*symbolic)->factorState = -1;
  return status;
}

}  // namespace qz
