#include "sparse/pattern.h"

#include <algorithm>
#include <limits>

namespace qz {

namespace {

// Turns counts held one place ahead (begin[j + 1] = entries of column j) into column starts. The total must fit.
void prefixSums(int32_t n, int32_t* begin) {
  begin[0] = 0;
  for (int32_t j = 0; j < n; ++j) begin[j + 1] += begin[j];
}

// After a fill that advanced begin[j] to the start of column j + 1: puts the starts back.
void shiftBack(int32_t n, int32_t* begin) {
  for (int32_t j = n; j > 0; --j) begin[j] = begin[j - 1];
  begin[0] = 0;
}

}  // namespace

int32_t countOffDiagonals(int32_t n, const int32_t* colBegin, const int32_t* rowIndex) {
  int32_t count = 0;
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) count += rowIndex[p] != j ? 1 : 0;
  }
  return count;
}

int32_t checkSymmetricPattern(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, int32_t* work) {
  if (colBegin[0] != 0) return LA_INCONSISTENT;
  for (int32_t j = 0; j < n; ++j) {
    if (colBegin[j + 1] < colBegin[j]) return LA_INCONSISTENT;
  }
  // above[j]: rows i < j of column j. mirrored[i]: columns j < i that hold row i. Symmetry makes them equal sets.
  int32_t* aboveBegin = work;
  int32_t* mirroredBegin = aboveBegin + n + 1;
  std::fill(work, work + 2 * static_cast<int64_t>(n) + 2, 0);
  for (int32_t j = 0; j < n; ++j) {
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) {
      const int32_t i = rowIndex[p];
      if (i < 0 || i >= n) return LA_INCONSISTENT;
      if (i < j) ++aboveBegin[j + 1];
      if (i > j) ++mirroredBegin[i + 1];
    }
  }
  if (!std::equal(aboveBegin, aboveBegin + n + 1, mirroredBegin)) return LA_INCONSISTENT;
  prefixSums(n, aboveBegin);
  prefixSums(n, mirroredBegin);
  int32_t* above = mirroredBegin + n + 1;
  int32_t* mirrored = above + aboveBegin[n];
  for (int32_t j = 0; j < n; ++j) {
    int32_t diagonals = 0;
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) {
      const int32_t i = rowIndex[p];
      if (i < j) above[aboveBegin[j]++] = i;
      if (i > j) mirrored[mirroredBegin[i]++] = j;
      diagonals += i == j ? 1 : 0;
    }
    if (diagonals > 1) return LA_INCONSISTENT;
  }
  shiftBack(n, aboveBegin);
  shiftBack(n, mirroredBegin);
  // `mirrored` comes out ascending: strictly so without double entries. Sorted, `above` must be the same list.
  for (int32_t j = 0; j < n; ++j) {
    std::sort(above + aboveBegin[j], above + aboveBegin[j + 1]);
    for (int32_t p = aboveBegin[j]; p < aboveBegin[j + 1]; ++p) {
      if (above[p] != mirrored[p]) return LA_INCONSISTENT;
      if (p > aboveBegin[j] && above[p] == above[p - 1]) return LA_INCONSISTENT;
    }
  }
  return LA_OK;
}

void RemoveDiagonals(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, int32_t* adjBegin, int32_t* adjList) {
  int32_t count = 0;
  for (int32_t j = 0; j < n; ++j) {
    adjBegin[j] = count;
    for (int32_t p = colBegin[j]; p < colBegin[j + 1]; ++p) {
      if (rowIndex[p] != j) adjList[count++] = rowIndex[p];
    }
  }
  adjBegin[n] = count;
}

int32_t PruneMatrixWithPerm(int32_t n, int32_t keep, int32_t* adjBegin, int32_t* adjList, const int32_t* invPerm) {
  int32_t kept = 0;
  int32_t count = 0;
  int32_t columnBegin = n > 0 ? adjBegin[0] : 0;
  for (int32_t v = 0; v < n; ++v) {
    const int32_t columnEnd = adjBegin[v + 1];
    if (invPerm[v] < keep) {
      if (invPerm[v] != kept) return LA_INCONSISTENT;
      adjBegin[kept++] = count;
      for (int32_t p = columnBegin; p < columnEnd; ++p) {
        const int32_t position = invPerm[adjList[p]];
        if (position < keep) adjList[count++] = position;
      }
    }
    columnBegin = columnEnd;
  }
  if (kept != keep) return LA_INCONSISTENT;
  adjBegin[kept] = count;
  return LA_OK;
}

int32_t PermuteSymMatrixPattern(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, int32_t mode,
                                TrianglePattern* lower, TrianglePattern* upper, const int32_t* perm,
                                const int32_t* invPerm) {
  if (mode != 0 && mode != 1) return LA_INCONSISTENT;
  int32_t lowerCount = 0;
  int32_t upperCount = 0;
  for (int32_t j = 0; j < n; ++j) {
    lower->begin[j] = lowerCount;
    if (mode == 1) upper->begin[j] = upperCount;
    const int32_t column = perm[j];
    for (int32_t p = colBegin[column]; p < colBegin[column + 1]; ++p) {
      const int32_t i = invPerm[rowIndex[p]];
      if (i < j) {
        if (lowerCount == lower->capacity) return LA_INCONSISTENT;
        lower->index[lowerCount++] = i;
      } else if (i > j && mode == 1) {
        if (upperCount == upper->capacity) return LA_INCONSISTENT;
        upper->index[upperCount++] = i;
      }
    }
  }
  lower->begin[n] = lowerCount;
  if (mode == 1) upper->begin[n] = upperCount;
  return mode == 1 && lowerCount != upperCount ? LA_INCONSISTENT : LA_OK;
}

int32_t PermuteSymMatrixLower(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const double* matValue,
                              NumericFactor* target, const int32_t* perm, const int32_t* invPerm) {
  const int32_t expected = target->numEntries;
  int32_t count = 0;
  for (int32_t j = 0; j < n; ++j) {
    target->colBegin[j] = count;
    const int32_t column = perm[j];
    for (int32_t p = colBegin[column]; p < colBegin[column + 1]; ++p) {
      const int32_t i = invPerm[rowIndex[p]];
      if (i < j) continue;
      if (count == expected) return LA_INCONSISTENT;
      target->rowIndex[count] = i;
      target->matValue[count] = matValue[p];
      ++count;
    }
  }
  target->colBegin[n] = count;
  return count == expected ? LA_OK : LA_INCONSISTENT;
}

namespace {

// Numbers the vertices of the compressed graph by position. LA_INCONSISTENT for half a pair or another count.
int32_t numberVertices(int32_t n, const int32_t* pivotKind, int32_t numCompressed, int32_t* vertexOfPosition) {
  int32_t vertex = 0;
  for (int32_t k = 0; k < n; ++vertex) {
    vertexOfPosition[k] = vertex;
    if (pivotKind[k] == -1) {
      if (k + 1 == n || pivotKind[k + 1] != -1) return LA_INCONSISTENT;
      vertexOfPosition[k + 1] = vertex;
      k += 2;
    } else {
      k += 1;
    }
  }
  return vertex == numCompressed ? LA_OK : LA_INCONSISTENT;
}

}  // namespace

int32_t PermuteCompressMatrix(int32_t n, const int32_t* colBegin, const int32_t* rowIndex, const int32_t* pivotKind,
                              const int32_t* perm, const int32_t* invPerm, int32_t numCompressed, int32_t* adjBegin,
                              int32_t* adjList, int32_t* work) {
  int32_t count = 0;
  if (numCompressed == n) {
    for (int32_t k = 0; k < n; ++k) {
      if (pivotKind[k] == -1) return LA_INCONSISTENT;
      adjBegin[k] = count;
      for (int32_t p = colBegin[perm[k]]; p < colBegin[perm[k] + 1]; ++p) {
        const int32_t i = invPerm[rowIndex[p]];
        if (i != k) adjList[count++] = i;
      }
    }
    adjBegin[n] = count;
    return LA_OK;
  }
  if (numCompressed > n) return LA_INCONSISTENT;
  int32_t* vertexOfPosition = work;
  int32_t* stamp = work + n;
  const int32_t status = numberVertices(n, pivotKind, numCompressed, vertexOfPosition);
  if (status != LA_OK) return status;
  std::fill(stamp, stamp + numCompressed, -1);
  int32_t vertex = -1;
  for (int32_t k = 0; k < n; ++k) {
    if (vertexOfPosition[k] != vertex) {
      vertex = vertexOfPosition[k];
      adjBegin[vertex] = count;
      stamp[vertex] = vertex;  // keeps out the diagonal and the partner
    }
    for (int32_t p = colBegin[perm[k]]; p < colBegin[perm[k] + 1]; ++p) {
      const int32_t neighbour = vertexOfPosition[invPerm[rowIndex[p]]];
      if (stamp[neighbour] == vertex) continue;
      stamp[neighbour] = vertex;
      adjList[count++] = neighbour;
    }
  }
  adjBegin[numCompressed] = count;
  return LA_OK;
}

}  // namespace qz
