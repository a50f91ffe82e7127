#include "sparsification.h"

#include <algorithm>

namespace qzpresol {

namespace {

constexpr int32_t kMostLength = 100;     // longest equation that is tried
constexpr int32_t kMostCandidates = 50;  // longest column through which rows are looked for
constexpr double kMostFactor = 1e3;
constexpr double kAgree = 1e-13;    // relative distance of quotients that count as one
constexpr double kDoubtful = 1e-7;  // what is left of an entry, relatively, that has lost too many digits

struct Entry {
  int32_t column;
  double value;
};

// An entry that both rows have.
struct Common {
  double quotient;  // of the other row's by the equation's
  double value;     // the other row's
};

class Sparsification {
 public:
  explicit Sparsification(Reducer& r) : r_(r), s_(r.store) {}

  int32_t run() {
    if (inEquation_.allocateZero(s_.pool, s_.numCol) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
    const int64_t mostWork = s_.work + 10 * (s_.liveEntries + s_.numRow);
    int32_t status = QZ_STATUS_OK;
    for (int32_t i = 0; i < s_.numRow && status == QZ_STATUS_OK && s_.work < mostWork; ++i)
      if (s_.rowAlive[i] != 0 && s_.isEquation(i) && s_.rowCount[i] >= 2 && s_.rowCount[i] <= kMostLength)
        status = useEquation(i);
    return status;
  }

 private:
  // Every row that has the equation's columns has the one that the fewest rows have.
  int32_t useEquation(int32_t i) {
    int32_t rarest = -1;
    length_ = 0;
    s_.eachInRow(i, [&](int32_t j, double a) {
      equation_[length_++] = {j, a};
      if (rarest < 0 || s_.columnCount[j] < s_.columnCount[rarest]) rarest = j;
    });
    if (s_.columnCount[rarest] < 2 || s_.columnCount[rarest] > kMostCandidates) return QZ_STATUS_OK;
    int32_t numCandidate = 0;
    s_.eachInColumn(rarest, [&](int32_t row, double) {
      if (row != i) candidate_[numCandidate++] = row;
    });
    for (int32_t k = 0; k < length_; ++k) inEquation_[equation_[k].column] = equation_[k].value;
    int32_t status = QZ_STATUS_OK;
    for (int32_t k = 0; k < numCandidate && status == QZ_STATUS_OK; ++k) status = tryRow(i, candidate_[k]);
    for (int32_t k = 0; k < length_; ++k) inEquation_[equation_[k].column] = 0.0;
    return status;
  }

  int32_t tryRow(int32_t i, int32_t row) {
    numCommon_ = 0;
    s_.eachInRow(row, [&](int32_t j, double a) {
      if (inEquation_[j] != 0.0) common_[numCommon_++] = {a / inEquation_[j], a};
    });
    double factor = 0.0;
    const int32_t cancelled = mostFrequent(factor);
    const int32_t filled = length_ - numCommon_;
    if (cancelled <= filled) return QZ_STATUS_OK;
    if (std::fabs(factor) > kMostFactor || isDoubtful(factor)) {
      r_.skipped(ReductionKind::kSparsification);
      return QZ_STATUS_OK;
    }
    return subtract(i, row, factor);
  }

  // The quotient that most common entries have, and how many.
  int32_t mostFrequent(double& factor) {
    std::sort(common_, common_ + numCommon_, [](const Common& a, const Common& b) { return a.quotient < b.quotient; });
    int32_t best = 0;
    for (int32_t first = 0, k = 0; k < numCommon_; ++k) {
      if (!agree(common_[k].quotient, common_[first].quotient)) first = k;
      if (k - first + 1 <= best) continue;
      best = k - first + 1;
      factor = common_[first].quotient;
    }
    return best;
  }
  static bool agree(double a, double b) { return std::fabs(a - b) <= kAgree * std::fabs(b); }

  bool isDoubtful(double factor) const {
    return std::any_of(common_, common_ + numCommon_, [&](const Common& c) {
      return !agree(c.quotient, factor) && std::fabs(c.quotient - factor) < kDoubtful * std::fabs(factor);
    });
  }

  int32_t subtract(int32_t i, int32_t row, double factor) {
    int32_t status = r_.undo.open(UndoKind::kSparsification, 2, 1);
    if (status != QZ_STATUS_OK) return status;
    r_.undo.index(i);
    r_.undo.index(row);
    r_.undo.value(factor);
    s_.shiftSides(row, -factor * s_.rowLower[i]);
    for (int32_t k = 0; k < length_ && status == QZ_STATUS_OK; ++k) {
      const auto [j, a] = equation_[k];
      const int32_t at = s_.byRow.find(row, j);
      const double old = at < 0 ? 0.0 : s_.byRow.value(row)[at];
      const bool cancels = at >= 0 && agree(old / a, factor);
      status = s_.changeEntry(row, j, cancels ? 0.0 : old - factor * a);
    }
    r_.applied(ReductionKind::kSparsification);
    return status;
  }

  Reducer& r_;
  Store& s_;
  qz::PoolArray<double> inEquation_;  // numCol: the equation's entries, 0 elsewhere and between the equations
  Entry equation_[kMostLength];
  int32_t length_ = 0;
  Common common_[kMostLength];
  int32_t numCommon_ = 0;
  int32_t candidate_[kMostCandidates];
};

}  // namespace

int32_t passSparsification(Reducer& r) {
  return Sparsification(r).run();
}

void undoSparsification(UndoReader record, Answer& answer) {
  const int32_t i = record.index();
  const int32_t row = record.index();
  answer.y[i] -= record.value() * answer.y[row];
}

}  // namespace qzpresol
