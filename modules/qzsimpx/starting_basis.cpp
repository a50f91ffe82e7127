#include "starting_basis.h"

#include <algorithm>
#include <cmath>

namespace qzsimpx {

namespace {

constexpr int kMostRounds = 12;

// Variables of a kind with the best last: `value` is what they are sorted by.
Array<int32_t> sorted(Array<int32_t> variables, const Array<double>& value) {
  std::sort(variables.begin(), variables.end(),
            [&](int32_t a, int32_t b) { return value[a] != value[b] ? value[a] < value[b] : a < b; });
  return variables;
}

// Interior columns, the one farthest from its bounds last.
Array<int32_t> interiorColumns(const Program& p, const Point& point) {
  Array<int32_t> columns(point.pool);
  Array<double> slack(point.pool, p.numCol);
  for (int32_t j = 0; j < p.numCol; ++j) {
    if (point.isInterior[j] == 0) continue;
    columns.push_back(j);
    slack[j] = slackOf(p, point, j);
  }
  return sorted(columns, slack);
}

// Variables at a bound, but for fixed ones, that with the smallest price last.
Array<int32_t> cheapVariables(const Program& p, const Point& point) {
  Array<int32_t> variables(point.pool);
  Array<double> value(point.pool, p.numVar);
  for (int32_t j = 0; j < p.numVar; ++j) {
    if (point.isInterior[j] != 0 || p.isFixed(j)) continue;
    variables.push_back(j);
    value[j] = -std::fabs(point.d[j]);
  }
  return sorted(variables, value);
}

bool touchesUncovered(const Program& p, int32_t j, const Array<char>& rowIsCovered) {
  bool touches = false;
  p.forColumn(j, [&](int32_t i, double) { touches = touches || rowIsCovered[i] == 0; });
  return touches;
}

// Takes variables that reach an uncovered row into the basis until it is full.
int32_t addVariables(const Program& p, Array<int32_t>& waiting, const Array<char>& rowIsCovered, Array<int32_t>& head) {
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

// Fills the basis with what is independent among the waiting variables, the last ones first.
void fillBasis(const Program& p, BasisFactor& factor, Array<int32_t> waiting, Array<int32_t>& head,
               Array<char>& rowIsCovered) {
  for (int round = 0; round < kMostRounds && head.size() < p.numRow; ++round) {
    if (addVariables(p, waiting, rowIsCovered, head) == 0) break;
    factor.factor(head, rowIsCovered);
    dropDependent(head);
  }
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
  fillBasis(p, factor, interiorColumns(p, point), head, rowIsCovered);
  fillBasis(p, factor, cheapVariables(p, point), head, rowIsCovered);
  for (int32_t i = 0; i < p.numRow && head.size() < p.numRow; ++i)
    if (rowIsCovered[i] == 0) head.push_back(p.numCol + i);
  for (int32_t j : head) point.place[j] = Place::basic;
  factorBasis(p, point, factor);
}

}  // namespace qzsimpx
