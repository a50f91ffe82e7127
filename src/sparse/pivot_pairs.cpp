#include "sparse/pivot_pairs.h"

#include <algorithm>
#include <numeric>

#include "sparse/supernodes.h"

namespace qz {

void joinParted(int32_t n, const int32_t* parent, SymbolicFactor* symbolic, int32_t* height, int32_t* work) {
  int32_t* mergedInto = work;
  std::iota(mergedInto, mergedInto + symbolic->numSupernodes, 0);
  bool parted = false;
  for (int32_t k = 0; k < n; k += pivotWidth(symbolic->pivotKind, k)) {
    if (symbolic->pivotKind[k] != PIVOT_PAIR || symbolic->colToSn[k] == symbolic->colToSn[k + 1]) continue;
    mergedInto[symbolic->colToSn[k + 1]] = symbolic->colToSn[k];
    parted = true;
  }
  if (!parted) return;
  for (int32_t s = symbolic->numSupernodes - 2; s >= 0; --s) {
    if (mergedInto[s + 1] == s) height[s] = symbolic->snStart[s + 1] - symbolic->snStart[s] + height[s + 1];
  }
  keepRepresentatives(n, parent, mergedInto, symbolic, height);
}

namespace {

// Rotates the columns of one supernode in `order`; true when any moved.
bool alignSupernode(int32_t first, int32_t end, int32_t blockSize, int32_t* pivotKind, int32_t* order) {
  bool moved = false;
  int32_t lastSingle = -1;
  int32_t blockEnd = first + blockSize;
  for (int32_t k = first; k < end;) {
    for (; k >= blockEnd; blockEnd += blockSize) lastSingle = -1;
    if (pivotKind[k] != PIVOT_PAIR) {
      lastSingle = k++;
      continue;
    }
    if (k + 1 == blockEnd && lastSingle >= 0) {
      std::rotate(order + lastSingle, order + lastSingle + 1, order + k + 2);
      std::rotate(pivotKind + lastSingle, pivotKind + lastSingle + 1, pivotKind + k + 2);
      moved = true;
      k += 1;  // the single, in the next block column
    } else {
      k += 2;
    }
  }
  return moved;
}

}  // namespace

void alignToBlocks(SymbolicFactor* symbolic, int32_t* work) {
  const int32_t n = symbolic->numRows;
  int32_t* order = work;
  int32_t* newPosition = work + n;
  std::iota(order, order + n, 0);
  bool moved = false;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    moved |=
        alignSupernode(symbolic->snStart[s], symbolic->snStart[s + 1], symbolic->blockSize, symbolic->pivotKind, order);
  }
  if (!moved) return;
  for (int32_t k = 0; k < n; ++k) newPosition[order[k]] = k;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    int32_t* rows = symbolic->lIndex + symbolic->lIndexBegin[s];
    int32_t* end = symbolic->lIndex + symbolic->lIndexBegin[s + 1];
    for (int32_t* row = rows; row < end; ++row) *row = newPosition[*row];
    std::sort(rows, end);
  }
  int32_t* composed = newPosition;
  for (int32_t k = 0; k < n; ++k) composed[k] = symbolic->perm[order[k]];
  for (int32_t k = 0; k < n; ++k) {
    symbolic->perm[k] = composed[k];
    symbolic->invPerm[composed[k]] = k;
  }
}

}  // namespace qz
