#include "primal_push.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qzsimpx {

namespace {

constexpr double kSmallestPivot = 1e-7;
constexpr double kSlip = 1e-9;  // basic variables may pass their bounds by this for the sake of a larger pivot
constexpr int kMostRounds = 3;
constexpr double kNone = std::numeric_limits<double>::infinity();

bool isFreeAtZero(const Program& p, const Point& point, int32_t j) {
  return !p.hasLower(j) && !p.hasUpper(j) && point.x[j] == 0.0;
}

// A basic variable that ends a push.
struct Block {
  int32_t position = -1;
  double pivot = 0.0;
  double step = kNone;
  Place bound = Place::lower;
};

// How far basic variable j may go down (direction below 0) or up. What belongs to a bound goes nowhere.
double roomOf(const Program& p, const Point& point, int32_t j, double direction) {
  if (point.isInterior[j] == 0) return 0.0;
  const double room = direction < 0.0 ? point.x[j] - p.lower[j] : p.upper[j] - point.x[j];
  return std::max(room, 0.0);
}

// Where basic variable j stops: at the bound ahead, or at the one that it belongs to.
Place stopOf(const Program& p, const Point& point, int32_t j, double direction) {
  if (point.isInterior[j] == 0) return nearerBound(p, point, j);
  return direction < 0.0 ? Place::lower : Place::upper;
}

// The ratio test of Harris (1973): among the basic variables that block within the slip, the one with the largest
// pivot. The pushed variable moves by `sign` times the step, the basic ones by -sign * column.
Block findBlock(const Program& p, const Point& point, CoinIndexedVector& column, double sign) {
  const int* index = column.getIndices();
  const double* value = column.denseVector();
  double longest = kNone;
  for (int k = 0; k < column.getNumElements(); ++k) {
    const double rate = -sign * value[index[k]];
    if (std::fabs(rate) <= kSmallestPivot) continue;
    longest = std::min(longest, (roomOf(p, point, point.head[index[k]], rate) + kSlip) / std::fabs(rate));
  }
  Block block;
  if (longest == kNone) return block;
  for (int k = 0; k < column.getNumElements(); ++k) {
    const double alpha = value[index[k]];
    const double rate = -sign * alpha;
    if (std::fabs(rate) <= kSmallestPivot || std::fabs(alpha) <= std::fabs(block.pivot)) continue;
    const int32_t j = point.head[index[k]];
    const double step = roomOf(p, point, j, rate) / std::fabs(rate);
    if (step <= longest) block = {index[k], alpha, step, stopOf(p, point, j, rate)};
  }
  return block;
}

void moveBasics(Point& point, CoinIndexedVector& column, double step) {
  const int* index = column.getIndices();
  const double* value = column.denseVector();
  for (int k = 0; k < column.getNumElements(); ++k) point.x[point.head[index[k]]] -= step * value[index[k]];
}

// The nearer bound; for a variable without bounds 0, where it may stay outside of the basis.
double valueAt(const Program& p, int32_t j, Place place) {
  if (place == Place::between) return 0.0;
  return place == Place::lower ? p.lower[j] : p.upper[j];
}

void push(const Program& p, Point& point, BasisFactor& factor, Limits& limits, int32_t j) {
  const Place place = nearerBound(p, point, j);
  const double target = valueAt(p, j, place);
  const double distance = std::fabs(target - point.x[j]);
  const double sign = target < point.x[j] ? -1.0 : 1.0;
  CoinIndexedVector& column = factor.solveColumn(j);
  const Block block = findBlock(p, point, column, sign);
  if (block.position < 0 || block.step >= distance) {
    moveBasics(point, column, sign * distance);
    point.x[j] = target;
    point.place[j] = place;
    return;
  }
  const int32_t leaving = point.head[block.position];
  moveBasics(point, column, sign * block.step);
  point.x[j] += sign * block.step;
  moveToBound(p, point, leaving, block.bound);
  limits.countChange();
  changeBasis(p, point, factor, block.position, j, block.pivot);
}

// Variables that a push has to bring to a bound, the nearest first: they are the likeliest to arrive.
Array<int32_t> waitingVariables(const Program& p, const Point& point) {
  Array<int32_t> waiting(point.pool);
  Array<double> slack(point.pool, p.numVar);
  for (int32_t j = 0; j < p.numVar; ++j) {
    if (point.place[j] != Place::between || isFreeAtZero(p, point, j)) continue;
    waiting.push_back(j);
    slack[j] = slackOf(p, point, j);
  }
  std::sort(waiting.begin(), waiting.end(),
            [&](int32_t a, int32_t b) { return slack[a] != slack[b] ? slack[a] < slack[b] : a < b; });
  return waiting;
}

}  // namespace

int32_t pushPrimal(const Program& p, Point& point, BasisFactor& factor, Limits& limits) {
  // A basis that turns out singular sends variables back to wait, which a second round pushes.
  for (int round = 0; round < kMostRounds; ++round) {
    const Array<int32_t> waiting = waitingVariables(p, point);
    if (waiting.empty()) break;
    for (int32_t j : waiting) {
      if (limits.check() != QZ_STATUS_OK) return limits.status();
      if (point.place[j] == Place::between) push(p, point, factor, limits, j);
    }
  }
  return QZ_STATUS_OK;
}

}  // namespace qzsimpx
