#include "starting_basis.h"

#include <algorithm>

namespace qzsimpx {

namespace {

constexpr int kMostRounds = 12;

// Interior columns that are not tried yet, the one farthest from its bounds last.
Array<int32_t> interiorColumns(const Program& p, const Point& point) {
  Array<int32_t> columns(point.pool);
  Array<double> slack(point.pool, p.numCol);
  for (int32_t j = 0; j < p.numCol; ++j) {
    if (point.isInterior[j] == 0) continue;
    columns.push_back(j);
    slack[j] = slackOf(p, point, j);
  }
  std::sort(columns.begin(), columns.end(),
            [&](int32_t a, int32_t b) { return slack[a] != slack[b] ? slack[a] < slack[b] : a < b; });
  return columns;
}

bool touchesUncovered(const Program& p, int32_t j, const Array<char>& rowIsCovered) {
  bool touches = false;
  p.forColumn(j, [&](int32_t i, double) { touches = touches || rowIsCovered[i] == 0; });
  return touches;
}

// Takes columns that reach an uncovered row into the basis until it is full.
int32_t addColumns(const Program& p, Array<int32_t>& waiting, const Array<char>& rowIsCovered, Array<int32_t>& head) {
  int32_t added = 0;
  Array<int32_t> kept(waiting);
  kept.clear();
  for (int32_t k = waiting.size() - 1; k >= 0; --k) {
    const int32_t j = waiting[k];
    if (head.size() < p.numRow && touchesUncovered(p, j, rowIsCovered)) {
      head.push_back(j);
      ++added;
    } else {
      kept.push_back(j);
    }
  }
  std::reverse(kept.begin(), kept.end());
  waiting = kept;
  return added;
}

void dropDependent(Array<int32_t>& head) {
  int32_t kept = 0;
  for (int32_t k = 0; k < head.size(); ++k)
    if (head[k] >= 0) head[kept++] = head[k];
  head.resize(kept);
}

}  // namespace

void chooseStartingBasis(const Program& p, Point& point, BasisFactor& factor) {
  Array<char> rowIsCovered(point.pool, p.numRow);
  Array<int32_t>& head = point.head;
  head.clear();
  for (int32_t i = 0; i < p.numRow; ++i) {
    if (point.isInterior[p.numCol + i] == 0) continue;
    head.push_back(p.numCol + i);
    rowIsCovered[i] = 1;
  }
  Array<int32_t> waiting = interiorColumns(p, point);
  for (int round = 0; round < kMostRounds && head.size() < p.numRow; ++round) {
    if (addColumns(p, waiting, rowIsCovered, head) == 0) break;
    if (factor.factor(head, rowIsCovered) == p.numRow) break;
    dropDependent(head);
  }
  for (int32_t i = 0; i < p.numRow && head.size() < p.numRow; ++i)
    if (rowIsCovered[i] == 0) head.push_back(p.numCol + i);
  for (int32_t j : head) point.place[j] = Place::basic;
  factorBasis(p, point, factor);
}

}  // namespace qzsimpx
