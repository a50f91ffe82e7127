// The presolver's driver: runs the reductions over what changed, from cheap to expensive, until nothing applies or the
// work, the time or the caller's patience is used up.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "qzipsolve/host.h"
#include "store.h"
#include "undo_stack.h"

namespace qzpresol {

// What the counters and the log tell apart. A new reduction gets a name in reductions.cpp.
enum class ReductionKind : int32_t {
  kEmptyRow,
  kSingletonRow,
  kRedundantRow,
  kForcingRow,
  kFixedColumn,
  kEmptyColumn,
  kDualFixing,
  kSingletonColumn,
  kDoubletonEquation,
  kFreeSubstitution,
  kParallelRow,
  kParallelColumn,
  kDominatedTwin,
  kDominatedColumn,
  kWeaklyDominatedColumn,
  kSparsification,
  kDependentEquation,
  kTightRow,
  kCount
};

inline constexpr auto kNumReduction = static_cast<int32_t>(ReductionKind::kCount);

// How hard to try: values of the option presolveMode.
enum PresolveLevel : int32_t { kNoReduction = 0, kLight = 1, kModerate = 2, kAll = 3 };

// A relative error that sides and activities carry after honest arithmetic. A row that holds up to this is redundant;
// a bound implied by activities counts only when it holds by this much.
inline constexpr double kSafe = 1e-9;

struct ReducerSettings {
  int32_t level;     // PresolveLevel
  double tolPrimal;  // a violation beyond tolPrimal (1 + size of what is violated) is infeasible
  double timeLimit;  // seconds
  int32_t timeType;  // 0 CPU time, 1 real time
  int32_t printLevel;
  // One bit per reduction in the order of the lists of reductions.h, rows, columns, passes: tests run one alone.
  uint64_t enabled = ~uint64_t{0};
};

// A row or column of a proof and its value there.
struct ProofEntry {
  int32_t line;
  double value;
};

struct Reducer {
  Reducer(QzPool* pool, const ReducerSettings& itsSettings) : store(pool), undo(pool), settings(itsSettings) {}

  void applied(ReductionKind kind) { ++numApplied[static_cast<int32_t>(kind)]; }
  // A step that was possible but for its numbers: a small pivot, a bound too near to be sure of.
  void skipped(ReductionKind kind) { ++numSkipped[static_cast<int32_t>(kind)]; }
  // The model is settled: nothing more is reduced. Infeasible, unbounded or interrupted.
  void settle(int32_t code) {
    if (outcome == 0) outcome = code;
  }
  // The same with the start of a proof, in the model as it stands: rows with duals that no point can meet, or columns
  // with a direction along which the objective falls without end.
  void settle(int32_t code, std::initializer_list<ProofEntry> entries) {
    if (outcome != 0) return;
    settle(code);
    for (const ProofEntry& entry : entries) proof[numProof++] = entry;
  }
  // How much a side or bound of this size may be violated.
  [[nodiscard]] double feasibility(double size) const { return settings.tolPrimal * (1.0 + std::fabs(size)); }

  Store store;
  UndoStack undo;
  ReducerSettings settings;
  int32_t outcome = 0;  // 0: go on; else a QZ_PRESOL_ code
  int32_t numApplied[kNumReduction] = {};
  int32_t numSkipped[kNumReduction] = {};
  ProofEntry proof[2] = {};
  int32_t numProof = 0;
};

// Reduces the loaded model; breaks and limits end it early, with what is done so far. 0 or -1086; the outcome stands in
// the reducer: 0, QZ_PRESOL_PRIMAL_INFEASIBLE, QZ_PRESOL_DUAL_INFEASIBLE or QZ_PRESOL_INTERRUPTED.
[[nodiscard]] int32_t reduceModel(Reducer& r, const LpRecord& caller);

// A line per kind of reduction that applied, and the sizes before and after.
void reportReductions(const Reducer& r, QzLog* log, const LpRecord& caller);

// Takes all records back: the answer of the reduced model becomes one of the caller's. The entries of removed rows and
// columns are 0 before.
void undoReductions(const UndoStack& undo, Answer& answer);

}  // namespace qzpresol
