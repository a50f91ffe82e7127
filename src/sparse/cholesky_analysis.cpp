#include "sparse/cholesky_analysis.h"

#include <algorithm>

#include "ordering/order_graph.h"
#include "shell/pool.h"
#include "sparse/blocked_setup.h"
#include "sparse/constrained_ordering.h"
#include "sparse/factor_memory.h"
#include "sparse/pattern.h"
#include "sparse/supernodal_analysis.h"

namespace qz {

namespace {

int32_t orderPattern(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, int32_t numOffDiagonals,
                     const AnalysisMemory& memory, LAEnv* env, SymbolicFactor* symbolic) {
  int32_t* adjBegin = memory.first;
  int32_t* adjList = adjBegin + n + 1;
  RemoveDiagonals(n, colBegin, rowIndex, adjBegin, adjList);
  const bool constrained = constrainedOrderingPays(env->constrained, env->problemKind, n, numOffDiagonals);
  int32_t numDense = 0;
  int32_t method = env->orderingMethod;
  const int32_t status = OrderGraph(env, n, adjBegin, adjList, adjacencyCapacity(memory, n), env->problemKind, nullptr,
                                    0, symbolic->perm, symbolic->invPerm, &numDense, &method, 1, constrained ? 1 : 0,
                                    memory.groupId, 0, memory.parent, 0.0, -1.0);
  if (status != LA_OK) return status;
  env->orderingMethod = method;
  if (!constrained || method != ORDER_NESTED_DISSECTION) return LA_OK;
  RemoveDiagonals(n, colBegin, rowIndex, adjBegin, adjList);
  return orderWithinGroups(n, numDense, adjBegin, adjList, adjacencyCapacity(memory, n), env->problemKind,
                           memory.groupId, symbolic->perm, symbolic->invPerm, memory.parent);
}

int32_t allocateFactor(LAEnv* env, SymbolicFactor* symbolic) {
  symbolic->lValues = poolAllocate<double>(env->memory, symbolic->numValues);
  if (symbolic->lValues == nullptr) return LA_NO_MEMORY;
  if (symbolic->blocked != 0) return setUpBlockedCholesky(env, symbolic);
  const int64_t entries = std::max(symbolic->maxBlockEntries, 1);
  symbolic->threadScratch = poolAllocate<double>(env->memory, entries);
  if (symbolic->threadScratch == nullptr) return LA_NO_MEMORY;
  symbolic->threadScratchBytes = static_cast<int64_t>(sizeof(double)) * entries;
  return LA_OK;
}

int32_t analyze(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, LAEnv* env, SymbolicFactor** symbolic,
                NumericFactor** numeric) {
  AnalysisMemory memory;
  int32_t status = InitMemoryAndStructsCholesky(n, colBegin[n], env, symbolic, numeric, &memory);
  if (status != LA_OK) return status;
  status = checkSymmetricPattern(n, colBegin, rowIndex, memory.first);
  if (status != LA_OK) return status;
  const int32_t numOffDiagonals = countOffDiagonals(n, colBegin, rowIndex);
  (*numeric)->numEntries = colBegin[n] - numOffDiagonals / 2;
  status = orderPattern(n, colBegin, rowIndex, numOffDiagonals, memory, env, *symbolic);
  if (status != LA_OK) return status;
  status = analyzeOrderedPattern(n, colBegin, rowIndex, numOffDiagonals, memory, env, *symbolic, *numeric);
  if (status != LA_OK) return status;
  return allocateFactor(env, *symbolic);
}

}  // namespace

int32_t LA_AnalyzeMatrixCholesky(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, LAEnv* env,
                                 SymbolicFactor** symbolic, NumericFactor** numeric) {
  if (n < 0 || colBegin == nullptr || env == nullptr || symbolic == nullptr || numeric == nullptr) {
    return LA_BAD_PARAMETER;
  }
  if (*symbolic != nullptr || *numeric != nullptr) return LA_BAD_PARAMETER;
  if (colBegin[n] < 0) return LA_INCONSISTENT;
  if (rowIndex == nullptr && colBegin[n] > 0) return LA_BAD_PARAMETER;
  const int32_t status = analyze(n, colBegin, rowIndex, env, symbolic, numeric);
  if (*symbolic != nullptr) (*symbolic)->factorState = -1;
  return status;
}

}  // namespace qz
