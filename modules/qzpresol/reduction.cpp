// From the caller's record to the solver's: which rows and columns stay, and the packed copy of what stays.

#include <algorithm>
#include <cmath>

#include "presolve_object.h"
#include "reduced_record.h"
#include "shell/pool.h"
#include "store.h"
#include "store_reduction.h"

namespace qzpresol {

namespace {

char upperCase(char sense) {
  return sense >= 'a' && sense <= 'z' ? static_cast<char>(sense - 'a' + 'A') : sense;
}

int32_t allocateMaps(Reduction& r) {
  const LpRecord& in = *r.caller;
  r.rowSense = qz::poolAllocate<char>(r.pool, in.numRow);
  r.rowLower = qz::poolAllocate<double>(r.pool, in.numRow);
  r.rowUpper = qz::poolAllocate<double>(r.pool, in.numRow);
  r.rowLength = qz::poolAllocateZero<int32_t>(r.pool, in.numRow);
  r.rowMap = qz::poolAllocate<int32_t>(r.pool, in.numRow);
  r.colMap = qz::poolAllocate<int32_t>(r.pool, in.numCol);
  r.fixedValue = qz::poolAllocateZero<double>(r.pool, in.numCol);
  const bool all = r.rowSense != nullptr && r.rowLower != nullptr && r.rowUpper != nullptr && r.rowLength != nullptr &&
                   r.rowMap != nullptr && r.colMap != nullptr && r.fixedValue != nullptr;
  return all ? QZ_STATUS_OK : QZ_STATUS_OUT_OF_MEMORY;
}

bool dimensionsHold(const LpRecord& in) {
  if (in.numRow < 0 || in.numCol < 0 || in.numCoef < 0) return false;
  if (in.objSense != 1 && in.objSense != -1) return false;
  if (in.numRow > 0 && (in.rowSense == nullptr || in.rhs == nullptr)) return false;
  if (in.numCol > 0 && (in.obj == nullptr || in.lower == nullptr || in.upper == nullptr || in.colBegin == nullptr ||
                        in.colLength == nullptr))
    return false;
  return in.numCoef == 0 || (in.rowIndex != nullptr && in.matValue != nullptr);
}

// Every element in its place, finite, and no row twice in a column. `stamp` has an entry per row.
bool matrixHolds(const LpRecord& in, int32_t* stamp) {
  std::fill_n(stamp, in.numRow, -1);
  for (int32_t j = 0; j < in.numCol; ++j) {
    if (in.colLength[j] < 0 || (in.colLength[j] > 0 && in.colBegin[j] < 0)) return false;
    for (int64_t k = in.colBegin[j], end = k + in.colLength[j]; k < end; ++k) {
      const int32_t i = in.rowIndex[k];
      if (i < 0 || i >= in.numRow || stamp[i] == j) return false;
      if (!(std::fabs(in.matValue[k]) <= kInfinity)) return false;
      stamp[i] = j;
    }
  }
  return true;
}

bool vectorsHold(const LpRecord& in) {
  if (!std::isfinite(in.objConstant)) return false;
  for (int32_t j = 0; j < in.numCol; ++j)
    if (!(std::fabs(in.obj[j]) < kInfinity) || std::isnan(in.lower[j]) || std::isnan(in.upper[j])) return false;
  for (int32_t i = 0; i < in.numRow; ++i) {
    if (std::isnan(in.rhs[i])) return false;
    const char sense = upperCase(in.rowSense[i]);
    if (sense != 'E' && sense != 'L' && sense != 'G' && sense != 'R' && sense != 'N') return false;
    if (sense == 'R' && in.range != nullptr && !(in.range[i] >= 0.0)) return false;
  }
  return true;
}

// The interval that a row's activity may lie in. An infinite side is one that the row does not have.
void rowInterval(const LpRecord& in, int32_t i, double& lower, double& upper) {
  lower = -kInfinity;
  upper = kInfinity;
  const double b = in.rhs[i];
  switch (upperCase(in.rowSense[i])) {
    case 'E':
      lower = b;
      upper = b;
      break;
    case 'L':
      upper = b;
      break;
    case 'G':
      lower = b;
      break;
    case 'R': {
      const double width = in.range == nullptr ? 0.0 : in.range[i];
      upper = b;
      lower = infinite(b) || infinite(width) ? -kInfinity : b - width;
      break;
    }
    default:
      break;
  }
}

// An interval beyond infinity on its far side holds no activity.
bool intervalEmpty(double lower, double upper) {
  return lower > upper || lower >= kInfinity || upper <= -kInfinity;
}

bool classifyRows(Reduction& r) {
  for (int32_t i = 0; i < r.caller->numRow; ++i) {
    rowInterval(*r.caller, i, r.rowLower[i], r.rowUpper[i]);
    if (intervalEmpty(r.rowLower[i], r.rowUpper[i])) return false;
    r.rowMap[i] = infinite(r.rowLower[i]) && infinite(r.rowUpper[i]) ? -1 : 0;
  }
  return true;
}

bool boxesHold(const LpRecord& in) {
  for (int32_t j = 0; j < in.numCol; ++j)
    if (intervalEmpty(in.lower[j], in.upper[j])) return false;
  return true;
}

void removeColumn(Reduction& r, int32_t j, double value) {
  r.colMap[j] = -1;
  r.fixedValue[j] = value;
  r.objOffset += r.caller->objSense * r.caller->obj[j] * value;
}

// Takes fixed columns out of the rows' intervals and counts what is left of the rows.
bool classifyColumns(Reduction& r) {
  const LpRecord& in = *r.caller;
  for (int32_t j = 0; j < in.numCol; ++j) {
    if (intervalEmpty(in.lower[j], in.upper[j])) return false;
    const bool fixed = in.upper[j] - in.lower[j] <= kFixedWidth;
    r.colMap[j] = 0;
    if (fixed) removeColumn(r, j, in.lower[j]);
    for (int64_t k = in.colBegin[j], end = k + in.colLength[j]; k < end; ++k) {
      const int32_t i = in.rowIndex[k];
      if (std::fabs(in.matValue[k]) < kSmallest) continue;
      if (!fixed) {
        ++r.rowLength[i];
        continue;
      }
      const double share = in.matValue[k] * in.lower[j];
      if (!infinite(r.rowLower[i])) r.rowLower[i] -= share;
      if (!infinite(r.rowUpper[i])) r.rowUpper[i] -= share;
    }
  }
  return true;
}

// A row without elements holds for 0 or for nothing. The tolerance is relative to the right-hand side, whose digits the
// removed columns may have cancelled.
bool settleEmptyRows(Reduction& r) {
  for (int32_t i = 0; i < r.caller->numRow; ++i) {
    if (r.rowMap[i] < 0 || r.rowLength[i] > 0) continue;
    const double rhs = infinite(r.caller->rhs[i]) ? 0.0 : r.caller->rhs[i];
    const double tolerance = r.owner->settings.tolPrimal * (1.0 + std::fabs(rhs));
    if (r.rowLower[i] > tolerance || r.rowUpper[i] < -tolerance) return false;
    r.rowMap[i] = -1;
  }
  return true;
}

bool columnEmpty(const Reduction& r, int32_t j) {
  const LpRecord& in = *r.caller;
  for (int64_t k = in.colBegin[j], end = k + in.colLength[j]; k < end; ++k)
    if (r.rowMap[in.rowIndex[k]] >= 0 && std::fabs(in.matValue[k]) >= kSmallest) return false;
  return true;
}

// Where a column stands that nothing holds and nothing costs: at a bound, as a vertex has it, near 0.
double idleValue(double lower, double upper) {
  if (infinite(lower)) return infinite(upper) ? 0.0 : upper;
  return infinite(upper) || std::fabs(lower) <= std::fabs(upper) ? lower : upper;
}

// A column without elements goes to the bound that its cost points to. Where that bound is missing no dual point
// exists: its reduced cost is its cost, whose sign only that bound could carry.
bool settleEmptyColumns(Reduction& r) {
  const LpRecord& in = *r.caller;
  for (int32_t j = 0; j < in.numCol; ++j) {
    if (r.colMap[j] < 0 || !columnEmpty(r, j)) continue;
    const double cost = in.objSense * in.obj[j];
    double value = idleValue(in.lower[j], in.upper[j]);
    if (cost > 0.0) value = in.lower[j];
    if (cost < 0.0) value = in.upper[j];
    if (infinite(value)) return false;
    removeColumn(r, j, value);
  }
  return true;
}

// Numbers the columns that stay, and counts them.
void numberColumns(Reduction& r) {
  const LpRecord& in = *r.caller;
  LpRecord& out = r.reduced;
  for (int32_t j = 0; j < in.numCol; ++j) {
    if (r.colMap[j] < 0) continue;
    r.colMap[j] = out.numCol++;
    int32_t length = 0;
    for (int64_t k = in.colBegin[j], end = k + in.colLength[j]; k < end; ++k)
      if (r.rowMap[in.rowIndex[k]] >= 0 && std::fabs(in.matValue[k]) >= kSmallest) ++length;
    out.numCoef += length;
    if (in.lower[j] <= -kInfinity && in.upper[j] >= kInfinity) {
      ++r.numFree;
      r.numFreeCoef += length;
    }
  }
}

void copyColumns(Reduction& r) {
  const LpRecord& in = *r.caller;
  LpRecord& out = r.reduced;
  int32_t position = 0;
  for (int32_t j = 0; j < in.numCol; ++j) {
    const int32_t to = r.colMap[j];
    if (to < 0) continue;
    out.obj[to] = in.objSense * in.obj[j];
    out.lower[to] = in.lower[j];
    out.upper[to] = in.upper[j];
    out.colBegin[to] = position;
    for (int64_t k = in.colBegin[j], end = k + in.colLength[j]; k < end; ++k) {
      const int32_t row = r.rowMap[in.rowIndex[k]];
      if (row < 0 || std::fabs(in.matValue[k]) < kSmallest) continue;
      out.rowIndex[position] = row;
      out.matValue[position] = in.matValue[k];
      ++position;
    }
    out.colLength[to] = position - out.colBegin[to];
    sortColumn(out.colLength[to], out.rowIndex + out.colBegin[to], out.matValue + out.colBegin[to]);
  }
  out.colBegin[out.numCol] = position;
}

int32_t settle(Reduction& r, int32_t outcome) {
  r.outcome = outcome;
  return QZ_STATUS_OK;
}

}  // namespace

int32_t reduceRecord(Reduction& r) {
  const LpRecord& in = *r.caller;
  if (!dimensionsHold(in)) return settle(r, QZ_PRESOL_FAILED);
  int32_t status = allocateMaps(r);
  if (status != QZ_STATUS_OK) return status;
  if (!vectorsHold(in) || !matrixHolds(in, r.rowMap)) return settle(r, QZ_PRESOL_FAILED);
  r.objOffset = in.objSense * in.objConstant;
  if (r.owner->settings.level != kNoReduction) {
    if (!classifyRows(r) || !boxesHold(in)) return settle(r, QZ_PRESOL_PRIMAL_INFEASIBLE);
    return reduceByStore(r);
  }
  if (!classifyRows(r) || !classifyColumns(r) || !settleEmptyRows(r)) return settle(r, QZ_PRESOL_PRIMAL_INFEASIBLE);
  if (!settleEmptyColumns(r)) return settle(r, QZ_PRESOL_DUAL_INFEASIBLE);
  numberRows(r);
  numberColumns(r);
  if (r.reduced.numCoef == 0) return settle(r, QZ_PRESOL_OPTIMAL);
  status = allocateReduced(r);
  if (status != QZ_STATUS_OK) return status;
  // The solver minimises whatever the sense says, and turns the objective value back by it.
  r.reduced.objSense = in.objSense;
  r.reduced.objValue = r.objOffset;
  copyRows(r);
  copyColumns(r);
  return QZ_STATUS_OK;
}

}  // namespace qzpresol
