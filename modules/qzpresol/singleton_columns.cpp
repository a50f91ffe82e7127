#include "singleton_columns.h"

#include <algorithm>
#include <utility>

#include "elementary_steps.h"

namespace qzpresol {

namespace {

constexpr double kPivot = 1e-3;       // least size of an entry that costs are shifted by, relative to its row
constexpr double kCancelled = 1e-13;  // a difference this small against its terms is 0
constexpr double kMostShift = 10.0;   // largest share of a shifted cost against the other costs of its row
constexpr double kMostRoom = 1e9;     // a larger share of a slack would take the digits of the row's sides

// Kinds of record.
constexpr int32_t kInequality = 0;
constexpr int32_t kEquation = 1;
constexpr int32_t kEndsAtUpper = 2;  // an inequality that was made an equation at its upper side
constexpr int32_t kEndsAtLower = 3;

struct Interval {
  double low;
  double high;
};

// One column with its only row, as the steps below hand it on.
struct Slack {
  int32_t i;
  int32_t j;
  double a;
  Interval room;  // bounds of x, infinite where the row implies them
  Interval side;  // of the row
  int32_t kind;
};

// The values that a x can take so that the row stays within `side`, whatever the others do within their bounds.
Interval impliedTerm(const Store& s, const Slack& slack, const Interval& side) {
  RowActivity reach = s.activity(slack.i);
  const auto without = [&](ActivityEnd& end, double bound) {
    if (infinite(bound))
      --end.infinite;
    else
      end.finite -= slack.a * bound;
  };
  without(reach.low, slack.a > 0.0 ? s.lower[slack.j] : s.upper[slack.j]);
  without(reach.high, slack.a > 0.0 ? s.upper[slack.j] : s.lower[slack.j]);
  const double doubt = 1e-14 * reach.magnitude;
  Interval term{-kInfinity, kInfinity};
  if (!infinite(side.low) && reach.high.infinite == 0) term.low = side.low - reach.high.finite - doubt;
  if (!infinite(side.high) && reach.low.infinite == 0) term.high = side.high - reach.low.finite + doubt;
  return term;
}

Interval implied(const Store& s, const Slack& slack, const Interval& side) {
  const Interval term = impliedTerm(s, slack, side);
  const auto over = [&](double end) { return infinite(end) ? end : end / std::fabs(slack.a); };
  if (slack.a > 0.0) return {over(term.low), over(term.high)};
  return {-over(term.high), -over(term.low)};
}

bool impliesLower(double bound, double impliedBound) {
  return infinite(bound) || impliedBound >= bound - kSafe * (1.0 + std::fabs(bound));
}

bool impliesUpper(double bound, double impliedBound) {
  return infinite(bound) || impliedBound <= bound + kSafe * (1.0 + std::fabs(bound));
}

// Takes an inequality as the equation that the cost makes it. False when it may as well not end there.
bool becomesEquation(const Store& s, Slack& slack) {
  const double cost = s.cost[slack.j];
  const bool atLower = (cost > 0.0) == (slack.a > 0.0);
  const double end = atLower ? slack.side.low : slack.side.high;
  if (infinite(end)) return false;
  const Interval reach = implied(s, slack, atLower ? Interval{end, kInfinity} : Interval{-kInfinity, end});
  const bool open = cost > 0.0 ? impliesLower(slack.room.low, reach.low) : impliesUpper(slack.room.high, reach.high);
  if (!open) return false;
  (cost > 0.0 ? slack.room.low : slack.room.high) = cost > 0.0 ? -kInfinity : kInfinity;
  slack.side = {end, end};
  slack.kind = atLower ? kEndsAtLower : kEndsAtUpper;
  return true;
}

void openImpliedBounds(const Store& s, Slack& slack) {
  const Interval reach = implied(s, slack, slack.side);
  if (impliesLower(slack.room.low, reach.low)) slack.room.low = -kInfinity;
  if (impliesUpper(slack.room.high, reach.high)) slack.room.high = kInfinity;
}

// What a x takes at the ends of the room, the smaller one first.
Interval termOf(const Slack& slack) {
  const double atLow = infinite(slack.room.low) ? (slack.a > 0.0 ? -kInfinity : kInfinity) : slack.a * slack.room.low;
  const double atHigh =
      infinite(slack.room.high) ? (slack.a > 0.0 ? kInfinity : -kInfinity) : slack.a * slack.room.high;
  return slack.a > 0.0 ? Interval{atLow, atHigh} : Interval{atHigh, atLow};
}

bool keepsDigits(const Slack& slack, const Interval& term) {
  const double most = kMostRoom * (1.0 + std::fabs(infinite(slack.side.low) ? slack.side.high : slack.side.low));
  return (infinite(term.low) || std::fabs(term.low) <= most) && (infinite(term.high) || std::fabs(term.high) <= most);
}

bool pivotIsSmall(const Store& s, const Slack& slack) {
  double largest = 0.0;
  s.eachInRow(slack.i, [&](int32_t, double a) { largest = std::max(largest, std::fabs(a)); });
  return std::fabs(slack.a) < kPivot * largest;
}

// Whether p is as good as the dual itself. It is where nothing but the row stops the column on the way that its cost
// points to. Elsewhere p is but a bound of the dual, and one that is large against the costs of the row, as that of a
// penalty, would leave large costs whose digits cancel.
bool shiftIsSound(const Store& s, const Slack& slack) {
  const double cost = s.cost[slack.j];
  if (!Store::offsetBears(cost / slack.a * slack.side.low)) return false;
  if (infinite(cost > 0.0 ? slack.room.low : slack.room.high)) return true;
  double largest = 0.0;
  double largestShare = 0.0;
  s.eachInRow(slack.i, [&](int32_t k, double a) {
    if (k == slack.j) return;
    largest = std::max(largest, std::fabs(s.cost[k]));
    largestShare = std::max(largestShare, std::fabs(cost / slack.a * a));
  });
  return largestShare <= kMostShift * largest;
}

// The costs that the row's dual, shifted by p, leaves.
void shiftCosts(Store& s, const Slack& slack, double p) {
  s.offset.add(p * slack.side.low);
  s.eachInRow(slack.i, [&](int32_t k, double a) {
    const double share = p * a;
    const double cost = s.cost[k] - share;
    const bool cancelled = std::fabs(cost) <= kCancelled * (std::fabs(s.cost[k]) + std::fabs(share));
    s.setCost(k, cancelled || k == slack.j ? 0.0 : cost);
  });
}

int32_t recordSlack(Reducer& r, const Slack& slack, double p) {
  const Store& s = r.store;
  const int32_t count = s.rowCount[slack.i] - 1;
  const int32_t status = r.undo.open(UndoKind::kSlackColumn, int64_t{count} + 4, int64_t{count} + 6);
  if (status != QZ_STATUS_OK) return status;
  for (const int32_t index : {slack.i, slack.j, slack.kind, count}) r.undo.index(index);
  for (const double value : {slack.a, p, slack.side.low, slack.side.high, s.lower[slack.j], s.upper[slack.j]})
    r.undo.value(value);
  s.eachInRow(slack.i, [&](int32_t k, double a) {
    if (k == slack.j) return;
    r.undo.index(k);
    r.undo.value(a);
  });
  return QZ_STATUS_OK;
}

}  // namespace

int32_t examineSingletonColumn(Reducer& r, int32_t j) {
  Store& s = r.store;
  if (s.columnCount[j] != 1) return QZ_STATUS_OK;
  Slack slack{};
  slack.j = j;
  slack.i = s.onlyInColumn(j, slack.a);
  slack.room = {s.lower[j], s.upper[j]};
  slack.side = {s.rowLower[slack.i], s.rowUpper[slack.i]};
  slack.kind = s.isEquation(slack.i) ? kEquation : kInequality;
  const double cost = s.cost[j];
  if (slack.kind == kInequality && cost != 0.0 && !becomesEquation(s, slack)) return QZ_STATUS_OK;
  openImpliedBounds(s, slack);
  const Interval term = termOf(slack);
  if (!keepsDigits(slack, term) || (cost != 0.0 && (pivotIsSmall(s, slack) || !shiftIsSound(s, slack)))) {
    r.skipped(ReductionKind::kSingletonColumn);
    return QZ_STATUS_OK;
  }
  const double p = cost / slack.a;
  const int32_t status = recordSlack(r, slack, p);
  if (status != QZ_STATUS_OK) return status;
  if (cost != 0.0) shiftCosts(s, slack, p);
  const double low = infinite(slack.side.low) || infinite(term.high) ? -kInfinity : slack.side.low - term.high;
  const double high = infinite(slack.side.high) || infinite(term.low) ? kInfinity : slack.side.high - term.low;
  s.removeColumn(j);
  s.setSides(slack.i, low, high);
  r.applied(ReductionKind::kSingletonColumn);
  return QZ_STATUS_OK;
}

namespace {

// A record of a slack as it is read back.
struct Removed {
  int32_t i;
  int32_t j;
  int32_t kind;
  double a;
  Interval within;  // bounds of x
  Interval asked;   // values of x that the row allows beside the others
};

double scaled(double side, double factor) {
  return infinite(side) ? side : side * factor;
}

Interval askedBy(double a, Interval side, double rest) {
  const double low = infinite(side.low) ? -kInfinity : (side.low - rest) / a;
  const double high = infinite(side.high) ? kInfinity : (side.high - rest) / a;
  if (a > 0.0) return {low, high};
  return {infinite(side.high) ? -kInfinity : high, infinite(side.low) ? kInfinity : low};
}

// The value that the dual wants, as far as the row allows; where row and bounds disagree by the errors of the answer,
// the one that is violated less gives way.
double valueOf(const Removed& s, double wanted) {
  const double x = std::clamp(wanted, s.asked.low, std::max(s.asked.low, s.asked.high));
  return std::fabs(s.a) < 1.0 ? std::clamp(x, s.within.low, s.within.high) : x;
}

// Where x would best stand for a row with the dual y': the end where a x is largest for y' > 0.
double wantedBy(const Removed& s, double y) {
  const bool high = (y > 0.0) == (s.a > 0.0);
  const double end = high ? s.within.high : s.within.low;
  const double other = high ? s.within.low : s.within.high;
  if (!infinite(end)) return end;
  if (y != 0.0) return end;  // the row's side ends it
  return infinite(other) ? 0.0 : other;
}

uint8_t endPlace(const Removed& s, bool atLower) {
  if (s.kind == kEndsAtUpper) return QZ_BASIS_UPPER;
  return s.kind != kInequality || atLower ? QZ_BASIS_LOWER : QZ_BASIS_UPPER;
}

// The row is basic behind the step: x stands at a bound if the row allows that, else it is basic and the row ends.
void placeOfBasicRow(const Removed& s, Answer& answer) {
  // The rest of the row carries roundoff.
  const auto allowed = [&](double x) {
    const double slack = kSafe * (1.0 + std::fabs(x));
    return !infinite(x) && x >= s.asked.low - slack && x <= s.asked.high + slack;
  };
  answer.columnBasis[s.j] = QZ_BASIS_BASIC;
  if (s.kind != kInequality) {
    answer.rowBasis[s.i] = endPlace(s, true);
    return;
  }
  const bool isFree = infinite(s.within.low) && infinite(s.within.high);
  if (allowed(s.within.low) || allowed(s.within.high) || (isFree && allowed(0.0))) {
    const bool low = allowed(s.within.low);
    answer.x[s.j] = isFree ? 0.0 : low ? s.within.low : s.within.high;
    answer.columnBasis[s.j] = isFree ? QZ_BASIS_FREE : low ? QZ_BASIS_LOWER : QZ_BASIS_UPPER;
    return;
  }
  const bool low = !infinite(s.asked.low) && (s.asked.low >= s.within.low || infinite(s.asked.high));
  answer.x[s.j] = low ? s.asked.low : s.asked.high;
  answer.rowBasis[s.i] = endPlace(s, low == (s.a > 0.0));
}

void placeSlack(const Removed& s, Answer& answer) {
  const uint8_t place = answer.rowBasis[s.i];
  if (place == QZ_BASIS_BASIC) return placeOfBasicRow(s, answer);
  const bool atLower = place == QZ_BASIS_LOWER;
  const bool columnHigh = atLower == (s.a > 0.0);
  answer.columnBasis[s.j] = columnHigh ? QZ_BASIS_UPPER : QZ_BASIS_LOWER;
  answer.x[s.j] = columnHigh ? s.within.high : s.within.low;
  answer.rowBasis[s.i] = endPlace(s, atLower);
}

}  // namespace

void undoSlackColumn(UndoReader record, Answer& answer) {
  Removed s{};
  s.i = record.index();
  s.j = record.index();
  s.kind = record.index();
  const int32_t count = record.index();
  s.a = record.value();
  const double p = answer.costFactor * record.value();
  const double sideLow = scaled(record.value(), answer.sideFactor);
  const double sideHigh = scaled(record.value(), answer.sideFactor);
  s.within.low = scaled(record.value(), answer.sideFactor);
  s.within.high = scaled(record.value(), answer.sideFactor);
  double rest = 0.0;
  for (int32_t k = 0; k < count; ++k) rest += record.value() * answer.x[record.index()];
  s.asked = askedBy(s.a, {sideLow, sideHigh}, rest);
  const double y = answer.y[s.i];
  answer.x[s.j] = valueOf(s, wantedBy(s, y));
  answer.z[s.j] = -s.a * y;
  answer.y[s.i] = y + p;
  if (answer.columnBasis != nullptr) placeSlack(s, answer);
}

}  // namespace qzpresol
