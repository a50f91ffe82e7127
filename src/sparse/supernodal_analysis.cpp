#include "sparse/supernodal_analysis.h"

#include <algorithm>
#include <limits>

#include "shell/pool.h"
#include "sparse/elimination_tree.h"
#include "sparse/factor_decision.h"
#include "sparse/pivot_pairs.h"
#include "sparse/supernodes.h"

namespace qz {

namespace {

constexpr double bytesLimit = 18446744073709551616.0;  // 2^64
constexpr int64_t intLimit = std::numeric_limits<int32_t>::max();
constexpr int64_t serialPanelWidth = 96;
constexpr int64_t scratchMultiple = 32;
constexpr double chainMergingShare = 0.9;
constexpr int32_t chainMergingKind = 3;

bool isLDL(const SymbolicFactor* symbolic) {
  return symbolic->pivotKind != nullptr;
}

FactorShape shapeOf(const LAEnv* env, const SymbolicFactor* symbolic) {
  FactorShape shape;
  shape.flopsRelaxed = symbolic->flopsRelaxed;
  shape.flopsColumn = symbolic->flopsColumn;
  shape.nnzL = symbolic->nnzL;
  shape.maxWidth = symbolic->maxWidth;
  shape.leadingShare = env->numLeadingRows == 0 ? 0.5 : static_cast<double>(env->numLeadingRows) / symbolic->numRows;
  return shape;
}

void choosePath(LAEnv* env, SymbolicFactor* symbolic) {
  const FactorShape shape = shapeOf(env, symbolic);
  const FactorPath chosen =
      isLDL(symbolic) ? chooseLDLPath(shape, env->numThreads, env->problemKind, symbolic->staticPipeline)
                      : chooseCholeskyPath(shape, env->numThreads, env->problemKind, symbolic->staticPipeline);
  const FactorPath path = env->forcedPlan != nullptr ? env->forcedPlan->path : chosen;
  symbolic->blocked = path.blocked;
  symbolic->numThreads = path.numThreads;
  symbolic->staticPipeline = path.staticPipeline;
  env->numThreads = path.numThreads;
}

int32_t blockSizeOf(const LAEnv* env, const SymbolicFactor* symbolic) {
  if (symbolic->blocked == 0) return 0;
  if (env->forcedPlan != nullptr) return env->forcedPlan->blockSize;
  const FactorShape shape = shapeOf(env, symbolic);
  return isLDL(symbolic) ? ldlBlockSize(shape, symbolic->numThreads, env->problemKind, symbolic->staticPipeline)
                         : choleskyBlockSize(shape, symbolic->numThreads, symbolic->staticPipeline);
}

// lIndexBegin, lValueBegin, their totals, and the row lists' room.
int32_t mapStorage(LAEnv* env, const int32_t* height, SymbolicFactor* symbolic) {
  const int32_t numSupernodes = symbolic->numSupernodes;
  symbolic->lIndexBegin = poolAllocate<int64_t>(env->memory, static_cast<int64_t>(numSupernodes) + 1);
  if (symbolic->lIndexBegin == nullptr) return LA_NO_MEMORY;
  symbolic->lValueBegin = poolAllocate<int64_t>(env->memory, static_cast<int64_t>(numSupernodes) + 1);
  if (symbolic->lValueBegin == nullptr) return LA_NO_MEMORY;
  symbolic->lIndexBegin[0] = 0;
  symbolic->lValueBegin[0] = 0;
  double indexBytes = 0.0;
  double valueBytes = 0.0;
  for (int32_t s = 0; s < numSupernodes; ++s) {
    const int64_t width = symbolic->snStart[s + 1] - symbolic->snStart[s];
    const int64_t entries =
        symbolic->blocked != 0 ? blockedSupernodeEntries(width, height[s], symbolic->blockSize) : width * height[s];
    indexBytes += 4.0 * height[s];
    valueBytes += 8.0 * static_cast<double>(entries);
    if (indexBytes >= bytesLimit || valueBytes >= bytesLimit) return LA_TOO_LARGE;
    symbolic->lIndexBegin[s + 1] = symbolic->lIndexBegin[s] + height[s];
    symbolic->lValueBegin[s + 1] = symbolic->lValueBegin[s] + entries;
  }
  symbolic->numIndices = symbolic->lIndexBegin[numSupernodes];
  symbolic->numValues = symbolic->lValueBegin[numSupernodes];
  symbolic->lIndex = poolAllocate<int32_t>(env->memory, symbolic->numIndices);
  return symbolic->lIndex == nullptr ? LA_NO_MEMORY : LA_OK;
}

}  // namespace

int32_t analyzeOrderedPattern(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, int32_t numOffDiagonals,
                              const AnalysisMemory& memory, LAEnv* env, SymbolicFactor* symbolic,
                              NumericFactor* numeric) {
  TrianglePattern lower;
  TrianglePattern upper;
  cutTriangles(memory, n, numOffDiagonals, &lower, &upper);
  int32_t status =
      PermuteSymMatrixPattern(n, colBegin, rowIndex, 0, &lower, nullptr, symbolic->perm, symbolic->invPerm);
  if (status != LA_OK) return status;
  BuildETree(n, lower, memory.parent, memory.work);
  PostOrder(n, memory.parent, symbolic, memory.work);
  status = PermuteSymMatrixPattern(n, colBegin, rowIndex, 1, &lower, &upper, symbolic->perm, symbolic->invPerm);
  if (status != LA_OK) return status;
  FindColCounts(n, upper, memory.parent, memory.colCount, &symbolic->nnzL, &symbolic->flopsColumn, memory.work);
  if (symbolic->nnzL >= bytesLimit) return LA_TOO_LARGE;
  symbolic->reservedCount = env->reservedCount;
  symbolic->staticPipeline = env->staticPipeline;
  return SupernodalAnalysis(env, n, lower, memory.parent, memory.colCount, symbolic, numeric, memory.work);
}

int32_t SupernodalAnalysis(LAEnv* env, int32_t n, const TrianglePattern& lower, const int32_t* parent,
                           const int32_t* colCount, SymbolicFactor* symbolic, NumericFactor* numeric, int32_t* work) {
  int32_t* scratch = work;
  int32_t* height = work + 5 * static_cast<int64_t>(n);
  FindFundamentalSupernodes(n, parent, colCount, symbolic, height, scratch);
  const int32_t numFundamental = symbolic->numSupernodes;
  if (isLDL(symbolic)) joinParted(n, parent, symbolic, height, scratch);
  FindRelaxedSupernodes(n, parent, isLDL(symbolic) ? 1 : 0, symbolic, height, scratch);
  choosePath(env, symbolic);
  const bool manyTiny = symbolic->numSupernodes > chainMergingShare * numFundamental;
  if (isLDL(symbolic) && symbolic->blocked != 0 && (env->problemKind == chainMergingKind || manyTiny)) {
    mergeSupernodeChains(n, parent, symbolic, height, scratch);
  }
  symbolic->blockSize = blockSizeOf(env, symbolic);
  if (isLDL(symbolic)) {
    numeric->panelWidth = symbolic->blocked != 0 ? symbolic->blockSize : static_cast<int32_t>(serialPanelWidth);
  }
  const int32_t status = mapStorage(env, height, symbolic);
  if (status != LA_OK) return status;
  FindLSupernodalStructure(lower, symbolic, scratch);
  if (symbolic->blocked != 0) {
    if (isLDL(symbolic)) alignToBlocks(symbolic, scratch);
    return LA_OK;
  }
  return isLDL(symbolic) ? sizeLDLSerialScratch(symbolic) : sizeCholeskySerialScratch(symbolic);
}

int64_t blockedSupernodeEntries(int64_t width, int64_t height, int64_t blockSize) {
  int64_t entries = 0;
  for (int64_t done = 0; done < width; done += blockSize) {
    entries += std::min(width - done, blockSize) * (height - done);
  }
  return entries;
}

int32_t sizeCholeskySerialScratch(SymbolicFactor* symbolic) {
  int64_t largest = 0;
  for (int32_t s = 0; s + 1 < symbolic->numSupernodes; ++s) {
    const int64_t end = symbolic->lIndexBegin[s + 1];
    int64_t a = symbolic->lIndexBegin[s] + (symbolic->snStart[s + 1] - symbolic->snStart[s]);
    while (a < end) {
      const int32_t behindTarget = symbolic->snStart[symbolic->colToSn[symbolic->lIndex[a]] + 1];
      int64_t b = a + 1;
      while (b < end && symbolic->lIndex[b] < behindTarget) ++b;
      largest = std::max(largest, (end - a) * (b - a));
      a = b;
    }
  }
  if (largest > intLimit) return LA_TOO_LARGE;
  symbolic->maxBlockEntries = static_cast<int32_t>(largest);
  return LA_OK;
}

int32_t sizeLDLSerialScratch(SymbolicFactor* symbolic) {
  int64_t below = 0;
  int64_t panel = 0;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const int64_t width = symbolic->snStart[s + 1] - symbolic->snStart[s];
    const int64_t height = symbolic->lIndexBegin[s + 1] - symbolic->lIndexBegin[s];
    below = std::max(below, height - width);
    panel = std::max(panel, width * (height == width ? serialPanelWidth : height));
  }
  const int64_t update = (below * below + scratchMultiple - 1) / scratchMultiple * scratchMultiple;
  if (update > intLimit || panel > intLimit) return LA_TOO_LARGE;
  symbolic->maxBlockEntries = static_cast<int32_t>(update);
  symbolic->maxPanelEntries = static_cast<int32_t>(panel);
  return LA_OK;
}

}  // namespace qz
