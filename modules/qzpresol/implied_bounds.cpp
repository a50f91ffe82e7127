#include "implied_bounds.h"

namespace qzpresol {

namespace {

// The implied value may carry this relative error of the terms that it is the difference of.
constexpr double kTermError = 1e-13;
// How far beyond its own bound, relatively, a column may come out that has lost it: far below any tolerance.
constexpr double kPassed = 1e-9;

// An end of the row without column j's own term; false when another term is infinite.
bool endWithout(const ActivityEnd& end, double a, double bound, double& rest) {
  const bool own = infinite(bound);
  if (end.infinite != (own ? 1 : 0)) return false;
  rest = own ? end.finite : end.finite - a * bound;
  return true;
}

// Adds (sign 1) or takes away (-1) what a column at `bound` gives.
void shiftEnd(ActivityEnd& end, double a, double bound, int32_t sign) {
  if (infinite(bound))
    end.infinite += sign;
  else
    end.finite += sign * a * bound;
}

}  // namespace

Interval impliedBounds(const Store& s, int32_t i, int32_t j, double a, const RowActivity& reach) {
  Interval implied{-kInfinity, kInfinity};
  const double atLow = a > 0.0 ? s.lower[j] : s.upper[j];
  const double atHigh = a > 0.0 ? s.upper[j] : s.lower[j];
  const double error = kTermError * reach.magnitude / std::fabs(a);
  double rest = 0.0;
  if (!infinite(s.rowUpper[i]) && endWithout(reach.low, a, atLow, rest)) {
    const double value = (s.rowUpper[i] - rest) / a;
    (a > 0.0 ? implied.high : implied.low) = value + (a > 0.0 ? error : -error);
  }
  if (!infinite(s.rowLower[i]) && endWithout(reach.high, a, atHigh, rest)) {
    const double value = (s.rowLower[i] - rest) / a;
    (a > 0.0 ? implied.low : implied.high) = value + (a > 0.0 ? -error : error);
  }
  return implied;
}

bool impliesLower(const Store& s, int32_t j, const Interval& implied) {
  const double bound = s.lower[j];
  return infinite(bound) || (!infinite(implied.low) && implied.low >= bound - kPassed * (1.0 + std::fabs(bound)));
}

bool impliesUpper(const Store& s, int32_t j, const Interval& implied) {
  const double bound = s.upper[j];
  return infinite(bound) || (!infinite(implied.high) && implied.high <= bound + kPassed * (1.0 + std::fabs(bound)));
}

int32_t RowReaches::create() {
  const int32_t status = reach_.allocate(s_.pool, s_.numRow);
  return status == QZ_STATUS_OK ? known_.allocateZero(s_.pool, s_.numRow) : status;
}

const RowActivity& RowReaches::of(int32_t i) {
  if (known_[i] == 0) reach_[i] = s_.activity(i);
  known_[i] = 1;
  return reach_[i];
}

void RowReaches::shift(int32_t j, int32_t sign) {
  s_.eachInColumn(j, [&](int32_t i, double a) {
    if (known_[i] == 0) return;
    shiftEnd(reach_[i].low, a, a > 0.0 ? s_.lower[j] : s_.upper[j], sign);
    shiftEnd(reach_[i].high, a, a > 0.0 ? s_.upper[j] : s_.lower[j], sign);
  });
}

bool RowReaches::lowerIsImplied(int32_t j) {
  bool is = infinite(s_.lower[j]);
  s_.eachInColumn(j, [&](int32_t i, double a) { is = is || impliesLower(s_, j, impliedBounds(s_, i, j, a, of(i))); });
  return is;
}

bool RowReaches::upperIsImplied(int32_t j) {
  bool is = infinite(s_.upper[j]);
  s_.eachInColumn(j, [&](int32_t i, double a) { is = is || impliesUpper(s_, j, impliedBounds(s_, i, j, a, of(i))); });
  return is;
}

void RowReaches::openLower(int32_t j) {
  takeOut(j);
  s_.setBounds(j, -kInfinity, s_.upper[j]);
  putIn(j);
}

void RowReaches::openUpper(int32_t j) {
  takeOut(j);
  s_.setBounds(j, s_.lower[j], kInfinity);
  putIn(j);
}

}  // namespace qzpresol
