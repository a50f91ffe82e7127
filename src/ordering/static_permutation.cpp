#include "ordering/static_permutation.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ordering/matching.h"
#include "shell/memory_cutter.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

constexpr int32_t singleColumn = -2;
constexpr int32_t pairColumn = -1;
constexpr double excluded = std::numeric_limits<double>::max();

// A rectangular matrix with its matching, all cut from the work area.
struct MatchedMatrix {
  int32_t numCol;
  int32_t numRow;
  const int32_t* colStart;
  const int32_t* rowIndex;
  double* cost;
  double* rowDual;
  double* colDual;
  double* dist;  // numRow
  int32_t* rowMatch;
  int32_t* colMatch;
  int32_t* scratch;  // max(4 numRow, numCol)
};

// Everything but the matrix itself. False when the work area is too small.
bool cutMatching(MemoryCutter& work, MatchedMatrix* m) {
  const int64_t rows = m->numRow;
  const int64_t columns = m->numCol;
  m->rowDual = work.cut<double>(rows);
  m->colDual = work.cut<double>(columns);
  m->dist = work.cut<double>(rows);
  m->rowMatch = work.cut<int32_t>(rows);
  m->colMatch = work.cut<int32_t>(columns);
  m->scratch = work.cut<int32_t>(std::max(4 * rows, columns));
  return m->rowDual != nullptr && m->colDual != nullptr && m->dist != nullptr && m->rowMatch != nullptr &&
         m->colMatch != nullptr && m->scratch != nullptr;
}

// Whether an entry can be a pivot: not zero, and a number.
bool canBePivot(double a) {
  return a != 0.0 && std::isfinite(a);
}

// From entries to costs ln(max / |a|) >= 0, in place; what can't be a pivot is kept out. False for a column of nothing
// else.
bool costsOfColumn(int32_t count, double* entry) {
  double largest = 0.0;
  for (int32_t k = 0; k < count; ++k) {
    if (canBePivot(entry[k])) largest = std::max(largest, std::fabs(entry[k]));
  }
  const double logLargest = std::log(largest);
  for (int32_t k = 0; k < count; ++k) {
    entry[k] = canBePivot(entry[k]) ? logLargest - std::log(std::fabs(entry[k])) : excluded;
  }
  return largest > 0.0;
}

int32_t matchColumns(QzPool* memory, int32_t perfect, const MatchedMatrix& m) {
  int32_t numMatched = 0;
  FindInitialMatching(m.numCol, m.numRow, m.colStart, m.rowIndex, m.cost, m.rowDual, m.colDual, m.rowMatch, m.colMatch,
                      &numMatched, m.scratch);
  if (numMatched == m.numCol) return LA_OK;
  return FindColPerfectMatching(memory, m.numCol, m.numRow, m.colStart, m.rowIndex, m.cost, m.rowDual, m.colDual,
                                m.rowMatch, m.colMatch, perfect, &numMatched, m.dist, m.scratch);
}

// The lists that make up the permutation.
struct PairList {
  int32_t* perm;
  int32_t* pivotKind;
  int32_t count;  // of positions filled
  int32_t numSingles;
  int32_t numPairs;

  void single(int32_t column) {
    perm[count] = column;
    pivotKind[count++] = singleColumn;
    ++numSingles;
  }
  void pair(int32_t first, int32_t second) {
    for (const int32_t column : {first, second}) {
      perm[count] = column;
      pivotKind[count++] = pairColumn;
    }
    ++numPairs;
  }
};

// A number that is multiplied and divided many times: mantissa in [0.5, 1) or 0, times 2 to the exponent.
struct ScaledRatio {
  double mantissa;
  int64_t exponent;

  ScaledRatio times(double factor, double divisor) const {
    if (divisor == 0.0) return {0.0, 0};
    int factorExponent = 0;
    int divisorExponent = 0;
    int shift = 0;
    const double f = std::frexp(factor, &factorExponent);
    const double d = std::frexp(divisor, &divisorExponent);
    const double product = std::frexp(mantissa * f / d, &shift);
    return {product, product == 0.0 ? 0 : exponent + factorExponent - divisorExponent + shift};
  }
  bool above(const ScaledRatio& other) const {
    if (mantissa == 0.0 || other.mantissa == 0.0 || exponent == other.exponent) return mantissa > other.mantissa;
    return exponent > other.exponent;
  }
};

}  // namespace

int32_t singleOfOddCycle(int32_t length, const double* magnitude) {
  // Leaving out place s + 2 in place of s pairs s with s + 1, and no longer s + 1 with s + 2.
  ScaledRatio ratio{0.5, 1};
  ScaledRatio best = ratio;
  int32_t single = 0;
  for (int32_t s = 0, step = 1; step < length; ++step) {
    ratio = ratio.times(magnitude[s], magnitude[(s + 1) % length]);
    s = (s + 2) % length;
    if (!ratio.above(best)) continue;
    best = ratio;
    single = s;
  }
  return single;
}

namespace {

// Cuts the cycles of the permutation column -> colMatch[column] into pairs, and into singles, which come last.
struct CycleCutter {
  const MatchedMatrix& m;
  const double* matValue;
  PairList* list;
  int32_t* cycle;     // n
  double* magnitude;  // n
  int32_t* leftOut;   // n: the singles
  int32_t numLeftOut;

  [[nodiscard]] double matchedMagnitude(int32_t column) const {
    int32_t k = m.colStart[column];
    while (m.rowIndex[k] != m.colMatch[column]) ++k;
    return std::fabs(matValue[k]);
  }

  // Walks the cycle of `start` and takes it out of the matching. Returns its length.
  int32_t walk(int32_t start) const {
    int32_t length = 0;
    for (int32_t column = start; m.colMatch[column] >= 0;) {
      const int32_t next = m.colMatch[column];
      cycle[length] = column;
      magnitude[length++] = matchedMagnitude(column);
      m.colMatch[column] = -1;
      column = next;
    }
    return length;
  }

  void cut(int32_t start) {
    const int32_t length = walk(start);
    if (length == 0) return;
    int32_t first = 0;
    if (length % 2 != 0) {
      const int32_t single = singleOfOddCycle(length, magnitude);
      leftOut[numLeftOut++] = cycle[single];
      first = single + 1;
    }
    for (int32_t t = 0; t + 1 < length; t += 2) {
      list->pair(cycle[(first + t) % length], cycle[(first + t + 1) % length]);
    }
  }
};

void report(const PairList& list, int32_t* numSingles, int32_t* numPairs) {
  *numSingles = list.numSingles;
  *numPairs = list.numPairs;
}

}  // namespace

int64_t staticPermWorkBytes(int32_t n, int32_t numEntries) {
  constexpr int64_t alignment = 8 * 12;  // arrays that are rounded up
  const int64_t size = n;
  return 8 * (numEntries + 3 * size) + 4 * (7 * size + 1) + alignment;
}

int32_t FindStaticPermGen(QzPool* memory, int32_t n, const int32_t* colBegin, const int32_t* rowIndex,
                          const double* matValue, [[maybe_unused]] int32_t matchingVariant, int32_t* perm,
                          int32_t* numSingles, int32_t* numPairs, int32_t* pivotKind, void* work, int64_t workBytes) {
  MemoryCutter cutter{static_cast<char*>(work), static_cast<char*>(work) + workBytes};
  MatchedMatrix m{};
  m.numCol = n;
  m.numRow = n;
  m.colStart = colBegin;
  m.rowIndex = rowIndex;
  m.cost = cutter.cut<double>(colBegin[n]);
  if (m.cost == nullptr || !cutMatching(cutter, &m)) return LA_INCONSISTENT;
  std::copy(matValue, matValue + colBegin[n], m.cost);
  for (int32_t j = 0; j < n; ++j) {
    if (!costsOfColumn(colBegin[j + 1] - colBegin[j], m.cost + colBegin[j])) return LA_SINGULAR;
  }
  const int32_t status = matchColumns(memory, 1, m);
  if (status != LA_OK) return status;
  PairList list{perm, pivotKind, 0, 0, 0};
  CycleCutter cycles{m, matValue, &list, m.scratch, m.dist, m.scratch + n, 0};
  for (int32_t j = 0; j < n; ++j) cycles.cut(j);
  for (int32_t k = 0; k < cycles.numLeftOut; ++k) list.single(cycles.leftOut[k]);
  report(list, numSingles, numPairs);
  return LA_OK;
}

namespace {

// The two blocks of columns of an augmented system: A is matched by the smaller one.
struct Blocks {
  int32_t numBlock;
  int32_t numTrailing;

  [[nodiscard]] bool byTrailing() const { return numTrailing <= numBlock; }
  [[nodiscard]] int32_t columnOffset() const { return byTrailing() ? numBlock : 0; }
  [[nodiscard]] int32_t rowOffset() const { return byTrailing() ? 0 : numBlock; }
};

// Copies the entries of A, its columns those of the smaller block, and turns them into costs. False when the work area
// is too small.
bool extractBlock(const Blocks& blocks, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                  MemoryCutter& work, MatchedMatrix* m) {
  m->numCol = std::min(blocks.numBlock, blocks.numTrailing);
  m->numRow = std::max(blocks.numBlock, blocks.numTrailing);
  const int32_t from = blocks.rowOffset();
  const int32_t to = from + m->numRow;
  const auto inBlock = [&](int32_t k) { return rowIndex[k] >= from && rowIndex[k] < to; };
  const int32_t begin = colBegin[blocks.columnOffset()];
  const int32_t end = colBegin[blocks.columnOffset() + m->numCol];
  int64_t entries = 0;
  for (int32_t k = begin; k < end; ++k) entries += inBlock(k) ? 1 : 0;
  auto* colStart = work.cut<int32_t>(static_cast<int64_t>(m->numCol) + 1);
  auto* row = work.cut<int32_t>(entries);
  m->cost = work.cut<double>(entries);
  if (colStart == nullptr || row == nullptr || m->cost == nullptr) return false;
  int32_t count = 0;
  for (int32_t j = 0; j < m->numCol; ++j) {
    colStart[j] = count;
    const int32_t column = blocks.columnOffset() + j;
    for (int32_t k = colBegin[column]; k < colBegin[column + 1]; ++k) {
      if (!inBlock(k)) continue;
      row[count] = rowIndex[k] - from;
      m->cost[count++] = matValue[k];
    }
    // A column without a pivot has no costs and stays unmatched.
    static_cast<void>(costsOfColumn(count - colStart[j], m->cost + colStart[j]));
  }
  colStart[m->numCol] = count;
  m->colStart = colStart;
  m->rowIndex = row;
  return true;
}

}  // namespace

int32_t FindStaticPermAug(QzPool* memory, int32_t n, int32_t numBlock, int32_t numTrailing, const int32_t* colBegin,
                          const int32_t* rowIndex, const double* matValue, [[maybe_unused]] int32_t matchingVariant,
                          int32_t* perm, int32_t* numSingles, int32_t* numPairs, int32_t* pivotKind, void* work,
                          int64_t workBytes) {
  if (numBlock < 0 || numTrailing < 0 || static_cast<int64_t>(numBlock) + numTrailing != n) return LA_INCONSISTENT;
  const Blocks blocks{numBlock, numTrailing};
  MemoryCutter cutter{static_cast<char*>(work), static_cast<char*>(work) + workBytes};
  MatchedMatrix m{};
  if (!extractBlock(blocks, colBegin, rowIndex, matValue, cutter, &m)) return LA_INCONSISTENT;
  if (!cutMatching(cutter, &m)) return LA_INCONSISTENT;
  const int32_t status = matchColumns(memory, 0, m);
  if (status != LA_OK) return status;
  const int32_t* leadingMatch = blocks.byTrailing() ? m.rowMatch : m.colMatch;
  const int32_t* trailingMatch = blocks.byTrailing() ? m.colMatch : m.rowMatch;
  PairList list{perm, pivotKind, 0, 0, 0};
  for (int32_t i = 0; i < numBlock; ++i) {
    if (leadingMatch[i] >= 0) {
      list.pair(i, numBlock + leadingMatch[i]);
    } else {
      list.single(i);
    }
  }
  for (int32_t j = 0; j < numTrailing; ++j) {
    if (trailingMatch[j] < 0) list.single(numBlock + j);
  }
  report(list, numSingles, numPairs);
  return list.count == n ? LA_OK : LA_INCONSISTENT;
}

}  // namespace qz
