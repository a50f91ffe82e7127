#include "ordering/matching.h"

#include <algorithm>
#include <limits>

#include "ordering/array_helpers.h"
#include "ordering/priority_queue.h"
#include "shell/host_table.h"
#include "sparse/la_env.h"

namespace qz {
namespace {

constexpr double unreached = std::numeric_limits<double>::max();
constexpr double batchWidth = 1.00000000000001;  // distances within this factor of the least are taken at once
constexpr double longColumnShare = 0.1;          // of the rows: a longer column is not scanned beyond a free row
constexpr int32_t crowdedHeap = 100;             // rows waiting, beyond which no column is

// The matrix, the matching and its duals.
struct Assignment {
  int32_t numCol;
  int32_t numRow;
  const int32_t* colStart;
  const int32_t* rowIndex;
  const double* cost;
  double* rowDual;
  double* colDual;
  int32_t* rowMatch;
  int32_t* colMatch;

  // Rounding, and the columns that were not scanned to their end, may leave it below zero.
  [[nodiscard]] double reducedCost(int32_t entry, int32_t column) const {
    if (cost[entry] == unreached) return unreached;
    return std::max((cost[entry] - rowDual[rowIndex[entry]]) - colDual[column], 0.0);
  }
  void match(int32_t row, int32_t column) const {
    rowMatch[row] = column;
    colMatch[column] = row;
  }
};

// The row minima, and the column minima of what is left.
void startDuals(const Assignment& a) {
  std::fill(a.rowDual, a.rowDual + a.numRow, unreached);
  for (int32_t k = a.colStart[0]; k < a.colStart[a.numCol]; ++k) {
    double& least = a.rowDual[a.rowIndex[k]];
    least = std::min(least, a.cost[k]);
  }
  for (int32_t j = 0; j < a.numCol; ++j) {
    double least = unreached;
    for (int32_t k = a.colStart[j]; k < a.colStart[j + 1]; ++k) {
      if (a.cost[k] != unreached) least = std::min(least, a.cost[k] - a.rowDual[a.rowIndex[k]]);
    }
    a.colDual[j] = least == unreached ? 0.0 : least;
  }
}

// Matches the column with its first free row of reduced cost zero from cursor[column] on. A matched row never becomes
// free again, so that what the cursor passed need not be looked at twice.
bool takeFreeRow(const Assignment& a, int32_t column, int32_t* cursor) {
  int32_t& k = cursor[column];
  while (k < a.colStart[column + 1]) {
    const int32_t entry = k++;
    const int32_t row = a.rowIndex[entry];
    if (a.rowMatch[row] >= 0 || a.reducedCost(entry, column) > 0.0) continue;
    a.match(row, column);
    return true;
  }
  return false;
}

// Takes over a row of reduced cost zero from a column that finds another one.
bool exchangeRow(const Assignment& a, int32_t column, int32_t* cursor) {
  for (int32_t k = a.colStart[column]; k < a.colStart[column + 1]; ++k) {
    const int32_t row = a.rowIndex[k];
    if (a.rowMatch[row] < 0 || a.reducedCost(k, column) > 0.0) continue;
    if (!takeFreeRow(a, a.rowMatch[row], cursor)) continue;
    a.match(row, column);
    return true;
  }
  return false;
}

}  // namespace

void FindInitialMatching(int32_t numCol, int32_t numRow, const int32_t* colStart, const int32_t* rowIndex,
                         const double* cost, double* rowDual, double* colDual, int32_t* rowMatch, int32_t* colMatch,
                         int32_t* numMatched, int32_t* work) {
  const Assignment a{numCol, numRow, colStart, rowIndex, cost, rowDual, colDual, rowMatch, colMatch};
  startDuals(a);
  intSet(numRow, -1, rowMatch);
  intSet(numCol, -1, colMatch);
  int32_t* cursor = work;
  std::copy(colStart, colStart + numCol, cursor);
  *numMatched = 0;
  for (int32_t j = 0; j < numCol; ++j) {
    if (takeFreeRow(a, j, cursor) || exchangeRow(a, j, cursor)) ++*numMatched;
  }
}

namespace {

// The search of one shortest path (Dijkstra), from a column to a free row. The distance of a row is the reduced cost of
// the best alternating path to it.
struct PathSearch {
  double* dist;         // by row, `unreached` between searches
  int32_t* pathColumn;  // by row: the column before it on the path
  int32_t* reached;     // rows with a distance
  int32_t* ready;       // matched rows whose distance is final
  int32_t numReached;
  int32_t numReady;
  int32_t numScanned;  // of the ready rows, those whose columns were scanned
  double current;      // distance of the column that is scanned
  double bound;        // distance of the best free row
  int32_t freeRow;     // it, or -1
  PQueueMin heap;      // other matched rows that were reached
};

void reachMatchedRow(PathSearch& s, int32_t row, int32_t column, double distance) {
  if (distance >= s.dist[row]) return;
  const bool waits = s.heap.locator[row] >= 0;
  if (s.dist[row] == unreached) s.reached[s.numReached++] = row;
  s.dist[row] = distance;
  s.pathColumn[row] = column;
  if (waits) {
    PQueueMinDecreaseKey(&s.heap, row, distance);
  } else if (distance == s.current) {
    s.ready[s.numReady++] = row;
  } else {
    PQueueMinInsert(&s.heap, row, distance);
  }
}

void scanColumn(const Assignment& a, PathSearch& s, int32_t column) {
  const int32_t entries = a.colStart[column + 1] - a.colStart[column];
  const bool longColumn = entries > longColumnShare * a.numRow;
  for (int32_t k = a.colStart[column]; k < a.colStart[column + 1]; ++k) {
    const int32_t row = a.rowIndex[k];
    const double distance = s.current + a.reducedCost(k, column);
    if (distance >= s.bound) continue;
    if (a.rowMatch[row] >= 0) {
      reachMatchedRow(s, row, column, distance);
      continue;
    }
    s.bound = distance;
    s.freeRow = row;
    s.pathColumn[row] = column;
    if (longColumn || s.heap.count > crowdedHeap) return;
  }
}

// Makes the nearest rows of the heap ready; false when none is nearer than the best free row.
bool takeNearestRows(PathSearch& s) {
  if (s.heap.count == 0) return false;
  const double limit = batchWidth * PQueueMinSeeMin(&s.heap).key;
  s.current = limit;
  if (s.current >= s.bound) return false;
  while (s.heap.count > 0 && PQueueMinSeeMin(&s.heap).key <= limit) {
    s.ready[s.numReady++] = PQueueMinExtractMin(&s.heap);
  }
  return true;
}

void findShortestPath(const Assignment& a, PathSearch& s, int32_t start) {
  s.numReached = 0;
  s.numReady = 0;
  s.numScanned = 0;
  s.current = 0.0;
  s.bound = unreached;
  s.freeRow = -1;
  scanColumn(a, s, start);
  while (s.current < s.bound) {
    if (s.numScanned == s.numReady && !takeNearestRows(s)) return;
    scanColumn(a, s, a.rowMatch[s.ready[s.numScanned++]]);
  }
}

// Moves the duals so that the path costs nothing, then exchanges the partners along it. No row whose column was scanned
// is farther than the free row: the scans end where the distance reaches `bound`, which falls to no less than it.
void augment(const Assignment& a, const PathSearch& s, int32_t start) {
  for (int32_t k = 0; k < s.numScanned; ++k) {
    const int32_t row = s.ready[k];
    const double saved = s.bound - s.dist[row];
    a.rowDual[row] -= saved;
    a.colDual[a.rowMatch[row]] += saved;
  }
  a.colDual[start] += s.bound;
  int32_t row = s.freeRow;
  for (;;) {
    const int32_t column = s.pathColumn[row];
    const int32_t before = a.colMatch[column];
    a.match(row, column);
    if (column == start) return;
    row = before;
  }
}

void resetSearch(PathSearch& s) {
  for (int32_t k = 0; k < s.numReached; ++k) s.dist[s.reached[k]] = unreached;
  PQueueMinReset(&s.heap);
}

}  // namespace

int32_t FindColPerfectMatching(QzPool* memory, int32_t numCol, int32_t numRow, const int32_t* colStart,
                               const int32_t* rowIndex, const double* cost, double* rowDual, double* colDual,
                               int32_t* rowMatch, int32_t* colMatch, int32_t perfect, int32_t* numMatched, double* dist,
                               int32_t* work) {
  const Assignment a{numCol, numRow, colStart, rowIndex, cost, rowDual, colDual, rowMatch, colMatch};
  const int64_t rows = numRow;
  PathSearch s{};
  s.dist = dist;
  s.pathColumn = work + rows;
  s.reached = work + 2 * rows;
  s.ready = work + 3 * rows;
  std::fill(dist, dist + rows, unreached);
  int32_t status = PQueueMinInit(memory, &s.heap, numRow, work);
  if (status != LA_OK) return status;
  const QzThread* thread = hostCurrentThread();
  for (int32_t j = 0; j < numCol && status == LA_OK; ++j) {
    if (colMatch[j] >= 0) continue;
    findShortestPath(a, s, j);
    if (s.freeRow >= 0) {
      augment(a, s, j);
      ++*numMatched;
    } else if (perfect != 0) {
      status = LA_SINGULAR;
    }
    resetSearch(s);
    if (threadCancelled(thread)) status = LA_CANCELLED;
  }
  PQueueMinFree(memory, &s.heap);
  return status;
}

}  // namespace qz
