#include "transform/bound_tightening.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "shell/log.h"
#include "transform/bound_maps.h"
#include "transform/column_reductions.h"
#include "transform/implied_bounds.h"
#include "transform/sparse_helpers.h"

namespace qz {

namespace {

// One extreme of a row's activity: the finite sum and the infinite terms apart.
struct Extreme {
  double sum = 0.0;
  double magnitude = 0.0;
  int32_t numInfinite = 0;
  int32_t position = -1;

  void add(double a, double bound, bool infinite, int32_t k) {
    if (infinite) {
      ++numInfinite;
      position = k;
    } else {
      sum += a * bound;
      magnitude += std::fabs(a * bound);
    }
  }
};

struct ActivityRange {
  Extreme least;
  Extreme most;
};

// What the activities say about a row.
enum class Verdict { kInfeasible, kForcingMinimum, kForcingMaximum, kRedundant, kTighten };

struct RowSides {
  double minAct;
  double maxAct;
  double b;    // right-hand side
  double w;    // lower side of a range row
  double tol;  // feasibility tolerance, and what the activities may have lost in rounding
};

// What a sum may have lost in rounding, from the magnitudes of its terms.
double roundingOf(double magnitude) {
  return std::numeric_limits<double>::epsilon() * magnitude;
}

ActivityRange activityRange(const Presolver* p, int32_t row, double inf) {
  ActivityRange range;
  for (int32_t k = p->rowBegin[row], end = k + p->rowLength[row]; k < end; ++k) {
    const int32_t j = p->colIndex[k];
    const double a = p->rowValue[k];
    const double l = p->lower[j];
    const double u = p->upper[j];
    if (a < 0.0) {
      range.least.add(a, u, u >= inf, k);
      range.most.add(a, l, l <= -inf, k);
    } else {
      range.least.add(a, l, l <= -inf, k);
      range.most.add(a, u, u >= inf, k);
    }
  }
  return range;
}

// The activities for the verdicts. Where far bounds cancel in a sum it may have lost more than the tolerance, and a row
// must be neither redundant nor forcing by digits that it does not have: such an extreme is moved outwards by what it
// may have lost.
RowSides sidesOf(const Model* model, const IpmOption* options, const Presolver* p, int32_t row,
                 const ActivityRange& range) {
  RowSides s{};
  s.b = p->rhs[row];
  s.w = model->range == nullptr ? s.b : s.b - model->range[row];
  const double exact = options->tolPrimal * std::max(1.0, std::fabs(s.b));
  const auto outwards = [exact](const Extreme& extreme) {
    const double rounding = roundingOf(extreme.magnitude);
    return rounding > exact ? rounding : 0.0;
  };
  s.minAct = range.least.numInfinite > 0 ? -options->infinityValue : range.least.sum - outwards(range.least);
  s.maxAct = range.most.numInfinite > 0 ? options->infinityValue : range.most.sum + outwards(range.most);
  s.tol = options->tolPrimal + roundingOf(std::max(range.least.magnitude, range.most.magnitude));
  return s;
}

Verdict judgeLess(const RowSides& s) {
  if (s.minAct > s.b + s.tol) return Verdict::kInfeasible;
  if (s.minAct >= s.b) return Verdict::kForcingMinimum;
  if (s.maxAct <= s.b) return Verdict::kRedundant;
  return Verdict::kTighten;
}

Verdict judgeGreater(const RowSides& s) {
  if (s.maxAct < s.b - s.tol) return Verdict::kInfeasible;
  if (s.maxAct <= s.b) return Verdict::kForcingMaximum;
  if (s.minAct >= s.b) return Verdict::kRedundant;
  return Verdict::kTighten;
}

Verdict judgeEquation(const RowSides& s) {
  if (s.minAct > s.b + s.tol || s.maxAct < s.b - s.tol) return Verdict::kInfeasible;
  if (s.minAct >= s.b) return Verdict::kForcingMinimum;
  if (s.maxAct <= s.b) return Verdict::kForcingMaximum;
  return Verdict::kTighten;
}

Verdict judgeRange(const RowSides& s) {
  if (s.minAct > s.b + s.tol || s.maxAct < s.w - s.tol) return Verdict::kInfeasible;
  if (s.minAct >= s.b) return Verdict::kForcingMinimum;
  if (s.maxAct <= s.w) return Verdict::kForcingMaximum;
  if (s.maxAct <= s.b && s.minAct > s.w) return Verdict::kRedundant;
  return Verdict::kTighten;
}

void raiseLower(Env* env, Presolver* p, int32_t row, int32_t col, double value) {
  p->lower[col] = value;
  updateMapLower(env, p->rowMap, p->lbMap, col, row);
}

void cutUpper(Env* env, Presolver* p, int32_t row, int32_t col, double value) {
  p->upper[col] = value;
  updateMapUpper(env, p->rowMap, p->ubMap, col, row);
}

void removeRedundantRow(Env* env, Presolver* p, int32_t row) {
  p->rowMap[row] = ROWMAP_FREE;
  ++p->numRemovedRow;
  p->numRemovedElement += p->rowLength[row];
  p->changed = 1;
  for (int32_t k = p->rowBegin[row], end = k + p->rowLength[row]; k < end; ++k) {
    const int32_t j = p->colIndex[k];
    removeElement(env, row, j, p->colBegin, p->colLength, p->rowIndex, p->matValue);
    p->colChecked[j] = 0;
  }
  p->rowLength[row] = 0;
}

// Every column goes to the bound that gives the extreme activity. A column that is fixed but for rounding stays with
// the rows that fixed it: if this row took over one of its bounds, two columns of the row could hand their duals to it
// in turn without end.
void forceColumns(Env* env, const IpmOption* options, Presolver* p, int32_t row, bool atMinimum) {
  const double rounding = kFixedShare * options->tolPrimal;
  bool moved = false;
  for (int32_t k = p->rowBegin[row], end = k + p->rowLength[row]; k < end; ++k) {
    const int32_t j = p->colIndex[k];
    p->colChecked[j] = 0;
    if (!(p->upper[j] > p->lower[j])) continue;
    const bool atLower = (p->rowValue[k] >= 0.0) == atMinimum;
    if (p->upper[j] - p->lower[j] <= rounding) {
      (atLower ? p->upper[j] : p->lower[j]) = atLower ? p->lower[j] : p->upper[j];
      continue;
    }
    moved = true;
    if (atLower)
      cutUpper(env, p, row, j, p->lower[j]);
    else
      raiseLower(env, p, row, j, p->upper[j]);
  }
  ++p->numRemovedRow;
  p->changed = 1;
  p->rowMap[row] = moved ? ROWMAP_FIXED : ROWMAP_EMPTY;
}

void reopenColumn(Presolver* p, int32_t col) {
  p->changed = 1;
  p->colChecked[col] = 0;
  for (int32_t k = p->colBegin[col], end = k + p->colLength[col]; k < end; ++k) p->rowChecked[p->rowIndex[k]] = 0;
}

// Offers the implied bound c on the column of element k. An infinite c bounds nothing.
int32_t offerBound(Env* env, const IpmOption* options, Presolver* p, int32_t row, int32_t k, bool upperSide, double c) {
  const int32_t j = p->colIndex[k];
  if (p->colMap[j] < 0) return QZ_STATUS_OK;
  const double bound = upperSide ? p->upper[j] : p->lower[j];
  const bool taken = upperSide ? c < options->infinityValue && bound > options->tolPrimal + c
                               : c > -options->infinityValue && c - options->tolPrimal > bound;
  if (!taken) return QZ_STATUS_OK;
  const int32_t status = noteBoundChange(env, p, {row, j, upperSide, bound, c});
  if (status != QZ_STATUS_OK) return status;
  if (upperSide)
    cutUpper(env, p, row, j, c);
  else
    raiseLower(env, p, row, j, c);
  reopenColumn(p, j);
  return QZ_STATUS_OK;
}

// Whether the bound c, found with coefficient a, is exact to the tolerance in spite of the rounding of the activity: a
// far bound of the column itself goes in and out of the sum, and may take all digits of the others along.
bool isExact(const IpmOption* options, const TightenRequest& request, double a, double c) {
  const double terms = request.magnitude + std::fabs(request.rhs);
  const double rounding = roundingOf(terms) / std::fabs(a);
  return rounding <= options->tolPrimal * std::max(1.0, std::fabs(c));
}

// The rule of both sides: `less` propagates a'x <= rhs from the least activity, else a'x >= rhs from the most.
int32_t propagateSide(Env* env, const IpmOption* options, Presolver* p, const TightenRequest& request, bool less) {
  if (request.numInfinite > 1 || std::fabs(request.rhs) >= options->infinityValue) return QZ_STATUS_OK;
  const double gap = request.rhs - request.activity;
  if (request.numInfinite == 1) {
    const double a = p->rowValue[request.infinitePosition];
    const double c = gap / a;
    if (!isExact(options, request, a, c)) return QZ_STATUS_OK;
    return offerBound(env, options, p, request.row, request.infinitePosition, (a >= 0.0) == less, c);
  }
  for (int32_t k = p->rowBegin[request.row], end = k + p->rowLength[request.row]; k < end; ++k) {
    const double a = p->rowValue[k];
    const int32_t j = p->colIndex[k];
    const bool upperSide = (a >= 0.0) == less;
    const double c = gap / a + (upperSide ? p->lower[j] : p->upper[j]);
    if (!isExact(options, request, a, c)) continue;
    const int32_t status = offerBound(env, options, p, request.row, k, upperSide, c);
    if (status != QZ_STATUS_OK) return status;
  }
  return QZ_STATUS_OK;
}

// A range row with one side that the bounds imply anyway keeps the other alone.
void dropImpliedSide(Presolver* p, int32_t row, const RowSides& s) {
  if (s.maxAct < s.b) {
    p->rowSense[row] = 'G';
    p->rhs[row] = s.w;
    ++p->numChangeRange;
  } else if (s.w < s.minAct) {
    p->rowSense[row] = 'L';
    ++p->numChangeRange;
  }
}

int32_t propagate(Env* env, const IpmOption* options, Presolver* p, int32_t row, const ActivityRange& range,
                  const RowSides& s) {
  if (p->rowSense[row] == 'R') dropImpliedSide(p, row, s);
  const char sense = p->rowSense[row];
  const double b = p->rhs[row];
  const double low = sense == 'R' ? s.w : b;
  const Extreme& least = range.least;
  const Extreme& most = range.most;
  if (sense == 'L' || sense == 'E' || sense == 'R') {
    const int32_t status =
        tightenBoundL(env, options, p, {row, least.sum, least.magnitude, b, least.numInfinite, least.position});
    if (status != QZ_STATUS_OK) return status;
  }
  if (sense == 'G' || sense == 'E' || sense == 'R')
    return tightenBoundG(env, options, p, {row, most.sum, most.magnitude, low, most.numInfinite, most.position});
  return QZ_STATUS_OK;
}

}  // namespace

int32_t tightenBoundG(Env* env, const IpmOption* options, Presolver* p, const TightenRequest& request) {
  return propagateSide(env, options, p, request, false);
}

int32_t tightenBoundL(Env* env, const IpmOption* options, Presolver* p, const TightenRequest& request) {
  return propagateSide(env, options, p, request, true);
}

int32_t tightenBound(Env* env, const Model* model, const IpmOption* options, Presolver* p, int32_t row) {
  const ActivityRange range = activityRange(p, row, options->infinityValue);
  const RowSides s = sidesOf(model, options, p, row, range);
  Verdict verdict = Verdict::kTighten;
  switch (p->rowSense[row]) {
    case 'L':
      verdict = judgeLess(s);
      break;
    case 'G':
      verdict = judgeGreater(s);
      break;
    case 'E':
      verdict = judgeEquation(s);
      break;
    case 'R':
      verdict = judgeRange(s);
      break;
    default:
      logText(env->log, QZ_LOG_DEBUG, L"Error: unknown row type.");
      return QZ_STATUS_OK;
  }
  switch (verdict) {
    case Verdict::kInfeasible:
      p->infeasRow = row;
      return QZ_STATUS_PRIMAL_INFEASIBLE;
    case Verdict::kForcingMinimum:
      forceColumns(env, options, p, row, true);
      return QZ_STATUS_OK;
    case Verdict::kForcingMaximum:
      forceColumns(env, options, p, row, false);
      return QZ_STATUS_OK;
    case Verdict::kRedundant:
      removeRedundantRow(env, p, row);
      return QZ_STATUS_OK;
    default:
      return propagate(env, options, p, row, range, s);
  }
}

}  // namespace qz
