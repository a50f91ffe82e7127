#include "reducer.h"

#include "elementary_steps.h"
#include "reductions.h"
#include "settled_columns.h"
#include "shell/log.h"
#include "singleton_rows.h"
#include "time_limit.h"

namespace qzpresol {

namespace {

constexpr int64_t kLinesPerPoll = 256;   // lines between two looks at the clock
constexpr int64_t kWorkPerEntry = 60;    // entries touched per entry of the model before the reducer stops
constexpr int32_t kMostPassRounds = 20;  // rounds over the passes

class Run {
 public:
  Run(Reducer& r, const LpRecord& caller)
      : r_(r),
        caller_(caller),
        limit_(r.settings.timeLimit, r.settings.timeType),
        mostWork_(kWorkPerEntry * (r.store.liveEntries + r.store.numRow + r.store.numCol)) {}

  // Lines until none has changed, then the passes, as long as one of them changes something.
  int32_t reduce() {
    int32_t status = examineLines();
    for (int32_t round = 0; round < kMostPassRounds && status == QZ_STATUS_OK && !stopped(); ++round) {
      const int64_t before = totalApplied();
      size_t number = rowReductions().size() + columnReductions().size();
      for (const PassReduction& pass : passReductions()) {
        const bool on = isOn(number++, pass.level);
        if (status != QZ_STATUS_OK || stopped() || !on) continue;
        status = pass.run(r_);
        if (status == QZ_STATUS_OK) status = examineLines();
      }
      if (totalApplied() == before) break;
    }
    return status == QZ_STATUS_OK ? tidy() : status;
  }

 private:
  // What the solver does not take must go, even where a limit ended the reductions: free rows, fixed columns, empty
  // rows, empty columns. In this order each step leaves nothing to those before it.
  int32_t tidy() {
    Store& s = r_.store;
    int32_t status = QZ_STATUS_OK;
    for (int32_t i = 0; i < s.numRow && status == QZ_STATUS_OK; ++i)
      if (s.rowAlive[i] != 0 && infinite(s.rowLower[i]) && infinite(s.rowUpper[i])) status = dropRow(r_, i);
    for (int32_t j = 0; j < s.numCol && status == QZ_STATUS_OK; ++j)
      if (s.columnAlive[j] != 0) status = examineFixedColumn(r_, j);
    for (int32_t i = 0; i < s.numRow && status == QZ_STATUS_OK && r_.outcome == 0; ++i)
      if (s.rowAlive[i] != 0) status = examineEmptyRow(r_, i);
    for (int32_t j = 0; j < s.numCol && status == QZ_STATUS_OK && r_.outcome == 0; ++j)
      if (s.columnAlive[j] != 0) status = examineEmptyColumn(r_, j);
    return status;
  }

  // Sweeps alternate, so that a line is looked at once after many changes.
  int32_t examineLines() {
    Store& s = r_.store;
    int32_t status = QZ_STATUS_OK;
    while (status == QZ_STATUS_OK && !stopped() && !(s.changedRows.empty() && s.changedColumns.empty())) {
      status = sweep(s.changedRows, s.rowAlive.get(), rowReductions(), 0);
      if (status == QZ_STATUS_OK)
        status = sweep(s.changedColumns, s.columnAlive.get(), columnReductions(), rowReductions().size());
    }
    return status;
  }

  // `number` is the reduction's place in the three lists.
  bool isOn(size_t number, int32_t level) const {
    return r_.settings.level >= level && (r_.settings.enabled >> number & 1) != 0;
  }

  // `first` is the number of the first of the reductions.
  int32_t sweep(ChangeQueue& queue, const uint8_t* alive, std::span<const LineReduction> reductions, size_t first) {
    for (int64_t left = queue.size(); left > 0 && !stopped(); --left) {
      const int32_t line = queue.pop();
      ++r_.store.work;
      size_t number = first;
      for (const LineReduction& reduction : reductions) {
        if (alive[line] == 0 || r_.outcome != 0) break;
        if (!isOn(number++, reduction.level)) continue;
        const int32_t status = reduction.examine(r_, line);
        if (status != QZ_STATUS_OK) return status;
      }
    }
    return QZ_STATUS_OK;
  }

  bool stopped() {
    if (r_.outcome != 0 || spent_) return true;
    if (++polls_ % kLinesPerPoll != 0) return false;
    if (wantsBreak(caller_)) r_.settle(QZ_PRESOL_INTERRUPTED);
    spent_ = limit_.reached() || r_.store.work > mostWork_;
    return r_.outcome != 0 || spent_;
  }

  int64_t totalApplied() const {
    int64_t total = 0;
    for (const int32_t n : r_.numApplied) total += n;
    return total;
  }

  Reducer& r_;
  const LpRecord& caller_;
  TimeLimit limit_;
  int64_t mostWork_;
  int64_t polls_ = -1;  // the first look is before the first line
  bool spent_ = false;
};

}  // namespace

int32_t reduceModel(Reducer& r, const LpRecord& caller) {
  return Run(r, caller).reduce();
}

void reportReductions(const Reducer& r, QzLog* log, const LpRecord& caller) {
  const Store& s = r.store;
  if (r.settings.printLevel < 1) return;
  for (int32_t k = 0; k < kNumReduction; ++k) {
    if (r.numApplied[k] == 0 && r.numSkipped[k] == 0) continue;
    qz::logText(log, QZ_LOG_NOTE, L"Presolve: %d %s, %d skipped for their numbers.", r.numApplied[k],
                nameOf(static_cast<ReductionKind>(k)), r.numSkipped[k]);
  }
  qz::logText(log, QZ_LOG_NOTE, L"Presolve: from %d rows, %d columns, %d elements to %d, %d, %d.", caller.numRow,
              caller.numCol, caller.numCoef, s.liveRows, s.liveColumns, static_cast<int32_t>(s.liveEntries));
}

void undoReductions(const UndoStack& undo, Answer& answer) {
  for (int64_t k = undo.size() - 1; k >= 0; --k) undoOf(undo.kind(k))(undo.read(k), answer);
}

}  // namespace qzpresol
