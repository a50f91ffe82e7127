#include "sparse/supernodes.h"

#include <algorithm>

namespace qz {

namespace {

constexpr int32_t alwaysMergeWidth = 4;
constexpr int32_t narrowWidth = 16;
constexpr int32_t middleWidth = 48;
constexpr double narrowFraction = 0.8;
constexpr int64_t narrowZerosLDL = 128;
constexpr double middleFraction = 0.1;
constexpr double wideFraction = 0.05;
constexpr int32_t chainWidth = 32;

int32_t supernodeWidth(const SymbolicFactor* symbolic, int32_t s) {
  return symbolic->snStart[s + 1] - symbolic->snStart[s];
}

// colToSn from snStart, then snParent as the supernode of the tree parent of each last column.
void linkSupernodes(const int32_t* parent, SymbolicFactor* symbolic) {
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    std::fill(symbolic->colToSn + symbolic->snStart[s], symbolic->colToSn + symbolic->snStart[s + 1], s);
  }
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    const int32_t up = parent[symbolic->snStart[s + 1] - 1];
    symbolic->snParent[s] = up == -1 ? -1 : symbolic->colToSn[up];
  }
}

}  // namespace

void FindFundamentalSupernodes(int32_t n, const int32_t* parent, const int32_t* colCount, SymbolicFactor* symbolic,
                               int32_t* height, int32_t* work) {
  int32_t* numChildren = work;
  std::fill(numChildren, numChildren + n, 0);
  for (int32_t j = 0; j < n; ++j) {
    if (parent[j] != -1) ++numChildren[parent[j]];
  }
  int32_t count = 0;
  for (int32_t j = 0; j < n; ++j) {
    if (j > 0 && numChildren[j] == 1 && colCount[j] == colCount[j - 1] - 1) continue;
    symbolic->snStart[count] = j;
    height[count++] = colCount[j];
  }
  symbolic->snStart[count] = n;
  symbolic->numSupernodes = count;
  linkSupernodes(parent, symbolic);
}

namespace {

// The supernode that `s` was merged into, itself if none, with path compression.
int32_t representative(int32_t* mergedInto, int32_t s) {
  while (mergedInto[s] != s) {
    mergedInto[s] = mergedInto[mergedInto[s]];
    s = mergedInto[s];
  }
  return s;
}

// Entries of a merged supernode of width m with `below` rows below; formed in 32-bit integers that wrap.
int32_t mergedEntries(int32_t m, int32_t below) {
  const auto width = static_cast<uint32_t>(m);
  const auto square = static_cast<int32_t>(width * (width - 1U));
  return static_cast<int32_t>(static_cast<uint32_t>(square / 2) + static_cast<uint32_t>(below) * width);
}

bool fewEnoughZeros(int32_t m, int32_t below, int64_t zeros, int32_t isLDL) {
  if (m <= alwaysMergeWidth) return true;
  const double fraction = static_cast<double>(zeros) / static_cast<double>(mergedEntries(m, below));
  if (m <= narrowWidth && (isLDL != 0 ? zeros < narrowZerosLDL : fraction < narrowFraction)) return true;
  if (m <= middleWidth) return fraction < middleFraction;
  return fraction < wideFraction;
}

}  // namespace

void keepRepresentatives(int32_t n, const int32_t* parent, const int32_t* mergedInto, SymbolicFactor* symbolic,
                         int32_t* height) {
  int32_t count = 0;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    if (mergedInto[s] != s) continue;
    symbolic->snStart[count] = symbolic->snStart[s];
    height[count++] = height[s];
  }
  symbolic->snStart[count] = n;
  symbolic->numSupernodes = count;
  linkSupernodes(parent, symbolic);
}

void FindRelaxedSupernodes(int32_t n, const int32_t* parent, int32_t isLDL, SymbolicFactor* symbolic, int32_t* height,
                           int32_t* work) {
  const int32_t numFundamental = symbolic->numSupernodes;
  auto* zeros = reinterpret_cast<int64_t*>(work);
  int32_t* width = work + 2 * static_cast<int64_t>(n);
  int32_t* mergedInto = width + n;
  for (int32_t s = 0; s < numFundamental; ++s) {
    zeros[s] = 0;
    width[s] = supernodeWidth(symbolic, s);
    mergedInto[s] = s;
  }
  int32_t maxWidth = 0;
  for (int32_t s = numFundamental - 2; s >= 0; --s) {
    const int32_t p = symbolic->snParent[s];
    if (p == -1 || representative(mergedInto, p) != s + 1) continue;
    const int32_t m = width[s] + width[s + 1];
    // Each of the w columns of s grows from h - w rows below to the height of s + 1.
    const int64_t added = static_cast<int64_t>(width[s]) * (width[s] - height[s] + height[s + 1]);
    // A merge without zeros drops the count of s + 1.
    const int64_t total = added == 0 ? 0 : added + zeros[s + 1];
    if (added == 0 || fewEnoughZeros(m, height[s + 1] - width[s + 1], total, isLDL)) {
      zeros[s] = total;
      mergedInto[s + 1] = s;
      height[s] = width[s] + height[s + 1];
      width[s] = m;
    }
    maxWidth = std::max(maxWidth, width[s]);
  }
  keepRepresentatives(n, parent, mergedInto, symbolic, height);
  symbolic->maxWidth = symbolic->numSupernodes == 1 ? n : maxWidth;
  symbolic->flopsRelaxed = supernodeFlops(symbolic, height);
}

namespace {

// Last member of the group that starts at the leaf s.
int32_t chainEnd(const SymbolicFactor* symbolic, int32_t s) {
  int32_t end = s;
  int32_t p = symbolic->snParent[s];
  if (p - s >= chainWidth) return s;
  int32_t sum = supernodeWidth(symbolic, s);
  for (int32_t t = s + 1; t <= p && sum < chainWidth; ++t) sum += supernodeWidth(symbolic, t);
  while (p != -1 && sum < chainWidth) {
    end = p;
    p = symbolic->snParent[end];
    if (p == -1 || p - (end + 1) >= chainWidth) break;
    for (int32_t t = end + 1; t <= p; ++t) sum += supernodeWidth(symbolic, t);
  }
  return end;
}

}  // namespace

void mergeSupernodeChains(int32_t n, const int32_t* parent, SymbolicFactor* symbolic, int32_t* height, int32_t* work) {
  const int32_t numBefore = symbolic->numSupernodes;
  int32_t* descendants = work;
  int32_t* mergedInto = work + n;
  std::fill(descendants, descendants + numBefore, 0);
  for (int32_t s = 0; s < numBefore; ++s) {
    if (symbolic->snParent[s] != -1) descendants[symbolic->snParent[s]] += descendants[s] + 1;
  }
  for (int32_t s = 0; s < numBefore;) {
    mergedInto[s] = s;
    const int32_t end = descendants[s] == 0 ? chainEnd(symbolic, s) : s;
    if (end > s) {
      std::fill(mergedInto + s + 1, mergedInto + end + 1, s);
      height[s] = symbolic->snStart[end] - symbolic->snStart[s] + height[end];
    }
    s = end + 1;
  }
  keepRepresentatives(n, parent, mergedInto, symbolic, height);
  symbolic->flopsRelaxed = supernodeFlops(symbolic, height);
}

double supernodeFlops(const SymbolicFactor* symbolic, const int32_t* height) {
  double flops = 0.0;
  for (int32_t s = 0; s < symbolic->numSupernodes; ++s) {
    for (int32_t j = 0; j < supernodeWidth(symbolic, s); ++j) {
      const double rows = height[s] - j;
      flops += rows * (rows - 1.0);
    }
  }
  return flops;
}

void FindLSupernodalStructure(const TrianglePattern& lower, SymbolicFactor* symbolic, int32_t* work) {
  const int32_t numSupernodes = symbolic->numSupernodes;
  int64_t* cursor = symbolic->lIndexBegin;
  int32_t* lIndex = symbolic->lIndex;
  int32_t* mark = work;
  std::fill(mark, mark + numSupernodes, -1);
  for (int32_t s = 0; s < numSupernodes; ++s) {
    for (int32_t j = symbolic->snStart[s]; j < symbolic->snStart[s + 1]; ++j) lIndex[cursor[s]++] = j;
    for (int32_t j = symbolic->snStart[s]; j < symbolic->snStart[s + 1]; ++j) {
      mark[s] = j;
      for (int32_t p = lower.begin[j]; p < lower.begin[j + 1]; ++p) {
        for (int32_t t = symbolic->colToSn[lower.index[p]]; mark[t] != j; t = symbolic->snParent[t]) {
          mark[t] = j;
          lIndex[cursor[t]++] = j;
        }
      }
    }
  }
  // Each cursor now stands where the next list begins.
  for (int32_t s = numSupernodes; s > 0; --s) cursor[s] = cursor[s - 1];
  cursor[0] = 0;
}

}  // namespace qz
