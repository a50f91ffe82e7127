#include "parallel_columns.h"

#include "elementary_steps.h"
#include "implied_bounds.h"
#include "parallel_lines.h"
#include "settled_columns.h"

namespace qzpresol {

namespace {

constexpr double kSameCost = 1e-13;  // relative distance of costs that count as one
constexpr double kMostFactor = 1e4;  // beyond it, and below its inverse, one column's roundoff is the other's value

// The bounds that times a factor make up the lower and the upper bound of the product.
double lowEnd(double factor, double lower, double upper) {
  return factor > 0.0 ? lower : upper;
}
double highEnd(double factor, double lower, double upper) {
  return factor > 0.0 ? upper : lower;
}

double sum(double bound, double factor, double other, double beyond) {
  return infinite(bound) || infinite(other) ? beyond : bound + factor * other;
}

// Whether the sum of two half lines is free and yet not 0 where both stand at their bounds. A basis could not say where
// the columns of such a sum are when it is nonbasic at 0.
bool sumIsOutOfPlace(double low, double high, double atBounds) {
  return infinite(low) && infinite(high) && atBounds != 0.0;
}

double onlyBound(double lower, double upper) {
  return infinite(lower) ? upper : lower;
}

int32_t mergeColumns(Reducer& r, RowReaches& reaches, int32_t j, int32_t k, double factor) {
  Store& s = r.store;
  const double low = sum(s.lower[j], factor, lowEnd(factor, s.lower[k], s.upper[k]), -kInfinity);
  const double high = sum(s.upper[j], factor, highEnd(factor, s.lower[k], s.upper[k]), kInfinity);
  const double atBounds = onlyBound(s.lower[j], s.upper[j]) + factor * onlyBound(s.lower[k], s.upper[k]);
  if (sumIsOutOfPlace(low, high, atBounds)) {
    r.skipped(ReductionKind::kParallelColumn);
    return QZ_STATUS_OK;
  }
  const int32_t status = r.undo.open(UndoKind::kMergedColumn, 2, 5);
  if (status != QZ_STATUS_OK) return status;
  r.undo.index(j);
  r.undo.index(k);
  for (const double value : {factor, s.lower[j], s.upper[j], s.lower[k], s.upper[k]}) r.undo.value(value);
  reaches.takeOut(j);
  reaches.takeOut(k);
  s.setBounds(j, low, high);
  s.removeColumn(k);
  reaches.putIn(j);
  r.applied(ReductionKind::kParallelColumn);
  return QZ_STATUS_OK;
}

bool isFree(const Store& s, int32_t j) {
  return infinite(s.lower[j]) && infinite(s.upper[j]);
}

// Columns that cost the same. A free one can do what the other does, whose reduced cost is 0 like its own.
int32_t join(Reducer& r, RowReaches& reaches, int32_t j, int32_t k, double factor, int32_t& head) {
  const bool first = isFree(r.store, j);
  if (!first && !isFree(r.store, k)) {
    head = j;
    return mergeColumns(r, reaches, j, k, factor);
  }
  head = first ? j : k;
  reaches.takeOut(first ? k : j);
  r.applied(ReductionKind::kParallelColumn);
  return fixIdle(r, first ? k : j);
}

// Where `other` = factor * `column` costs `excess` more than `factor` times the latter, and the sign of
// z_other = excess + factor * z_column is known: fixes it at the bound of that sign. `done` tells. A bound of `column`
// that a row implies goes for that.
int32_t fixDominated(Reducer& r, RowReaches& reaches, int32_t column, int32_t other, double factor, double excess,
                     bool& done) {
  const Store& s = r.store;
  const bool above = factor * excess > 0.0;
  const bool open = infinite(above ? s.upper[column] : s.lower[column]);
  if (infinite(excess > 0.0 ? s.lower[other] : s.upper[other])) {
    const double direction = excess > 0.0 ? -1.0 : 1.0;
    if (open) r.settle(QZ_PRESOL_DUAL_INFEASIBLE, {{other, direction}, {column, -factor * direction}});
    return QZ_STATUS_OK;
  }
  done = above ? reaches.upperCanGo(column) : reaches.lowerCanGo(column);
  if (!done) return QZ_STATUS_OK;
  if (!open && above) reaches.openUpper(column);
  if (!open && !above) reaches.openLower(column);
  reaches.takeOut(other);
  r.applied(ReductionKind::kDominatedTwin);
  return excess > 0.0 ? fixAtLower(r, other) : fixAtUpper(r, other);
}

// Which column the next ones are compared with, in `head`.
int32_t meet(Reducer& r, RowReaches& reaches, int32_t j, int32_t k, double factor, int32_t& head) {
  const Store& s = r.store;
  head = k;
  if (std::fabs(factor) > kMostFactor || std::fabs(factor) < 1.0 / kMostFactor) {
    r.skipped(ReductionKind::kParallelColumn);
    return QZ_STATUS_OK;
  }
  const double excess = s.cost[k] - factor * s.cost[j];
  if (std::fabs(excess) <= kSameCost * std::fabs(s.cost[k])) return join(r, reaches, j, k, factor, head);
  bool done = false;
  const int32_t status = fixDominated(r, reaches, j, k, factor, excess, done);
  if (status != QZ_STATUS_OK || done) {
    head = j;
    return status;
  }
  return fixDominated(r, reaches, k, j, 1.0 / factor, -excess / factor, done);
}

}  // namespace

int32_t passParallelColumns(Reducer& r) {
  Store& s = r.store;
  ParallelLines lines;
  RowReaches reaches(s);
  int32_t status = lines.create(s.pool, s.numCol, s.numRow);
  if (status == QZ_STATUS_OK) status = reaches.create();
  if (status != QZ_STATUS_OK) return status;
  const auto each = [&](int32_t j, auto visit) { s.eachInColumn(j, visit); };
  for (int32_t j = 0; j < s.numCol; ++j)
    if (s.columnAlive[j] != 0 && s.columnCount[j] > 0) lines.add(j, each);
  lines.compare(each, [&](int32_t j, int32_t k, double factor) {
    int32_t head = -1;
    status = meet(r, reaches, j, k, factor, head);
    return status == QZ_STATUS_OK && r.outcome == 0 ? head : -1;
  });
  return status;
}

namespace {

// One of the two columns of a merged one, with the bounds that it had, of which it has one at least.
struct Part {
  double lower, upper;

  [[nodiscard]] bool holds(double x) const { return x >= lower && x <= upper; }
  // Its bound on the wanted side, or the one that it has.
  [[nodiscard]] uint8_t place(bool atLower) const {
    return (atLower && !infinite(lower)) || infinite(upper) ? QZ_BASIS_LOWER : QZ_BASIS_UPPER;
  }
  [[nodiscard]] double at(uint8_t where) const { return where == QZ_BASIS_LOWER ? lower : upper; }
};

}  // namespace

// Where a basis has the sum at a bound, or at 0 as a free one, both columns are at bounds. Else one of them goes to a
// bound of its own, and the other takes the rest and the sum's place in the basis.
void undoMergedColumn(UndoReader record, Answer& answer) {
  const int32_t j = record.index();
  const int32_t k = record.index();
  const double factor = record.value();
  const auto bound = [&] {
    const double value = record.value();
    return infinite(value) ? value : answer.sideFactor * value;
  };
  Part first{}, second{};
  first.lower = bound();
  first.upper = bound();
  second.lower = bound();
  second.upper = bound();
  const double total = answer.x[j];
  const uint8_t merged = answer.columnBasis == nullptr ? uint8_t{QZ_BASIS_BASIC} : answer.columnBasis[j];
  const bool atUpper = merged == QZ_BASIS_UPPER;
  uint8_t placeOfFirst = merged == QZ_BASIS_BASIC ? merged : first.place(!atUpper);
  uint8_t placeOfSecond = second.place((factor > 0.0) != atUpper);
  answer.x[k] = second.at(placeOfSecond);
  answer.x[j] = merged == QZ_BASIS_BASIC ? total - factor * answer.x[k] : first.at(placeOfFirst);
  if (!first.holds(answer.x[j])) {
    placeOfFirst = answer.x[j] < first.lower ? QZ_BASIS_LOWER : QZ_BASIS_UPPER;
    placeOfSecond = merged;
    answer.x[j] = first.at(placeOfFirst);
    answer.x[k] = (total - answer.x[j]) / factor;
  }
  answer.z[k] = factor * answer.z[j];
  if (answer.columnBasis == nullptr) return;
  answer.columnBasis[j] = placeOfFirst;
  answer.columnBasis[k] = placeOfSecond;
}

}  // namespace qzpresol
