// The list of reductions. How to add one:
//   1. A pair of files named for it: `examine...` (a line that changed) or `pass...` (the whole model) finds, applies
//      and records; `undo...` takes one record back. Reductions are built from the store's changes and the steps of
//      elementary_steps.h.
//   2. A ReductionKind (reducer.h) with a name for the log, and an UndoKind (undo_stack.h) where its record is its own.
//   3. A line in the tables of reductions.cpp: the level from which on it runs, and its place, cheap before expensive.
#pragma once

#include <cstdint>
#include <span>

#include "reducer.h"

namespace qzpresol {

// Looks at one live line that changed. 0 or -1086; it may remove the line and change whatever it likes.
using Examine = int32_t (*)(Reducer& r, int32_t line);
// Goes over the whole model, within a budget of its own. 0 or -1086.
using Pass = int32_t (*)(Reducer& r);
using Undo = void (*)(UndoReader record, Answer& answer);

struct LineReduction {
  int32_t level;  // PresolveLevel from which on it runs
  Examine examine;
};
struct PassReduction {
  int32_t level;
  Pass run;
};

[[nodiscard]] std::span<const LineReduction> rowReductions();
[[nodiscard]] std::span<const LineReduction> columnReductions();
// Run when no line is left to look at; each that changes something sends the reducer back to the lines.
[[nodiscard]] std::span<const PassReduction> passReductions();
[[nodiscard]] Undo undoOf(UndoKind kind);
[[nodiscard]] const wchar_t* nameOf(ReductionKind kind);

}  // namespace qzpresol
